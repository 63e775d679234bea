#include "progress_display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace tavrin::http_tool {
namespace {

constexpr auto REDRAW_INTERVAL = std::chrono::milliseconds(100);

// A server's words must not steer the terminal.
std::string printable(std::string text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        // C1 too, as UTF-8 writes it.
        if (i > 0 && text[i - 1] == '\xC2' && byte >= 0x80 && byte < 0xA0) {
            text[i - 1] = text[i] = '?';
        } else if ((byte < 0x20 && text[i] != '\t') || byte == 0x7F) {
            text[i] = '?';
        }
    }
    return text;
}

}  // namespace

ProgressDisplay::ProgressDisplay(int descriptor, Style style)
    : descriptor_(descriptor), style_(style) {}

std::size_t ProgressDisplay::add(std::string label) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Line line;
    line.label = printable(std::move(label));
    line.start = Clock::now();
    lines_.push_back(std::move(line));
    return lines_.size() - 1;
}

void ProgressDisplay::update(std::size_t number, std::int64_t now, std::int64_t total) {
    if (style_ == Style::NONE) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto time = Clock::now();
    Line& line = lines_[number];
    if (!line.initial) line.initial = now;
    if (time - line.drawn < REDRAW_INTERVAL) {
        // Kept for finish(), which shows the last state.
        line.progress.now = now;
        line.progress.total = total;
        return;
    }
    line.drawn = time;
    line.speed.note(now, time);
    line.progress = {now, total, line.speed.bytesPerSecond(),
                     std::chrono::duration_cast<std::chrono::seconds>(time - line.start)};
    if (style_ == Style::LINES) {
        writeStep(line);
    } else if (time - lastDrawn_ >= REDRAW_INTERVAL) {
        lastDrawn_ = time;
        redraw("");
    }
}

void ProgressDisplay::finish(std::size_t number) {
    if (style_ == Style::NONE) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    Line& line = lines_[number];
    const std::chrono::duration<double> passed = Clock::now() - line.start;
    line.finished = true;
    line.progress.elapsed = std::chrono::duration_cast<std::chrono::seconds>(passed);
    // At the end the average says more than the last moments.
    const auto received = std::max<std::int64_t>(line.progress.now - line.initial.value_or(0), 0);
    line.progress.bytesPerSecond = static_cast<double>(received) / passed.count();
    const std::string last = progressLine(line.label, line.progress, size().columns) + "\n";
    if (style_ == Style::LINES) {
        write(last);
    } else {
        redraw(last);
    }
}

void ProgressDisplay::message(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (style_ == Style::BARS && onScreen_ > 0) {
        redraw(printable(text) + "\n");
    } else {
        write(printable(text) + "\n");
    }
}

// Writes `above` in place of the lines of progress, and these below it.
void ProgressDisplay::redraw(const std::string& above) {
    std::string text = erased() + above;
    text += drawn();
    write(text);
}

// Back to the top of what was drawn, and everything below cleared.
std::string ProgressDisplay::erased() {
    if (onScreen_ == 0) return "";
    std::string text = "\x1b[" + std::to_string(onScreen_) + "A\r\x1b[J";
    onScreen_ = 0;
    return text;
}

std::string ProgressDisplay::drawn() {
    std::string text;
    const auto [rows, columns] = size();
    for (const Line& line : lines_) {
        // What is above the top of the screen could not be erased again.
        if (line.finished || onScreen_ + 1 >= rows) continue;
        text += progressLine(line.label, line.progress, columns) + "\n";
        ++onScreen_;
    }
    return text;
}

void ProgressDisplay::writeStep(Line& line) {
    // Without a total there are no tenths; then a line every ten seconds.
    const int step = line.progress.total > 0 ? percentDone(line.progress) / 10
                                             : static_cast<int>(line.progress.elapsed.count() / 10);
    // The end is shown by finish().
    if (line.progress.now == 0 || step == line.stepShown || step == 10) return;
    line.stepShown = step;
    write(progressLine(line.label, line.progress, size().columns) + "\n");
}

void ProgressDisplay::write(const std::string& text) const {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(descriptor_, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR) continue;
        // Where messages cannot be written there is no place to say so.
        if (written < 0) return;
        done += static_cast<std::size_t>(written);
    }
}

ProgressDisplay::Size ProgressDisplay::size() const {
    winsize size{};
    if (ioctl(descriptor_, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        // A line as wide as the screen may wrap.
        return {size.ws_row, size.ws_col - 1U};
    }
    return {25, 100};
}

}  // namespace tavrin::http_tool

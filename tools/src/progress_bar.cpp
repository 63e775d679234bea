#include "progress_bar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "utf8.h"

namespace tavrin::http_tool {
namespace {

constexpr std::size_t WIDEST_BAR = 40;
constexpr std::size_t NARROWEST_BAR = 10;
constexpr std::size_t WIDEST_LABEL = 32;

// Characters, which is what a terminal has columns for in nearly all texts.
std::size_t width(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

// The text in exactly `columns` columns, its middle left out if it is longer.
std::string fitted(const std::string& text, std::size_t columns) {
    if (width(text) <= columns) return text + std::string(columns - width(text), ' ');
    if (columns < 5) return std::string(columns, ' ');
    const std::size_t head = (columns - 3) / 2;
    const std::size_t tail = columns - 3 - head;
    std::size_t begin = 0;
    for (std::size_t seen = 0; begin < text.size(); ++begin) {
        if (!isContinuation(text[begin]) && seen++ == head) break;
    }
    std::size_t end = text.size();
    for (std::size_t seen = 0; seen < tail;) {
        if (!isContinuation(text[--end])) ++seen;
    }
    return text.substr(0, begin) + "..." + text.substr(end);
}

std::string bar(const TransferProgress& progress, std::size_t columns) {
    const std::size_t inner = columns - 2;
    const std::size_t filled = inner * static_cast<std::size_t>(percentDone(progress)) / 100;
    std::string text(filled, '=');
    if (filled < inner) text += '>';
    text.resize(inner, ' ');
    return "[" + text + "]";
}

// What stands behind the label and the bar.
std::string figures(const TransferProgress& progress) {
    const std::string speed = formatBytes(std::llround(progress.bytesPerSecond)) + "/s";
    std::array<char, 160> line{};
    if (progress.total <= 0) {
        std::snprintf(line.data(), line.size(), "%10s  %12s  %s", formatBytes(progress.now).c_str(),
                      speed.c_str(), formatDuration(progress.elapsed).c_str());
        return line.data();
    }
    std::string left = "--:--";
    if (progress.now >= progress.total) {
        left = formatDuration(progress.elapsed);
    } else if (progress.bytesPerSecond >= 1) {
        const double seconds =
            static_cast<double>(progress.total - progress.now) / progress.bytesPerSecond;
        left = formatDuration(std::chrono::seconds(std::llround(std::min(seconds, 1e7))));
    }
    std::snprintf(line.data(), line.size(), "%3d%%  %10s of %10s  %12s  %s", percentDone(progress),
                  formatBytes(progress.now).c_str(), formatBytes(progress.total).c_str(),
                  speed.c_str(), left.c_str());
    return line.data();
}

}  // namespace

std::string progressLine(const std::string& label, const TransferProgress& progress,
                         std::size_t columns) {
    const std::string numbers = figures(progress);
    std::size_t left = columns > numbers.size() ? columns - numbers.size() : 0;
    std::string line;
    const std::size_t labelWidth = std::min(width(label), WIDEST_LABEL);
    if (progress.total > 0 && left >= labelWidth + 2 + NARROWEST_BAR + 2) {
        const std::size_t barWidth = std::min(WIDEST_BAR, left - labelWidth - 4);
        line = fitted(label, labelWidth) + "  " + bar(progress, barWidth) + "  " + numbers;
    } else if (left >= 7) {
        line = fitted(label, std::min(labelWidth, left - 2)) + "  " + numbers;
    } else {
        line = numbers.substr(0, columns);
    }
    return line;
}

std::string formatBytes(std::int64_t bytes) {
    if (bytes < 1024) return std::to_string(bytes) + " B";
    static const std::array<const char*, 6> units = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double amount = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    // 1023.95 would be written as 1024.0.
    while (amount >= 1023.95 && unit + 1 < units.size()) {
        amount /= 1024;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", amount, units[unit]);
    return text.data();
}

std::string formatDuration(std::chrono::seconds duration) {
    const long long seconds = duration.count();
    std::array<char, 48> text{};
    if (seconds < 3600) {
        std::snprintf(text.data(), text.size(), "%lld:%02lld", seconds / 60, seconds % 60);
    } else {
        std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", seconds / 3600,
                      seconds / 60 % 60, seconds % 60);
    }
    return text.data();
}

int percentDone(const TransferProgress& progress) {
    if (progress.total <= 0 || progress.now <= 0) return 0;
    if (progress.now >= progress.total) return 100;
    return static_cast<int>(100.0 * static_cast<double>(progress.now) /
                            static_cast<double>(progress.total));
}

void SpeedMeter::note(std::int64_t bytes, TimePoint time) {
    const std::chrono::duration<double> passed = time - time_;
    if (!started_ || bytes < bytes_) {
        started_ = true;
        bytes_ = bytes;
        time_ = time;
        return;
    }
    if (passed.count() <= 0) return;
    const double speed = static_cast<double>(bytes - bytes_) / passed.count();
    // What is three seconds old counts for a third.
    const double weight = measured_ ? 1 - std::exp(-passed.count() / 3) : 1;
    bytesPerSecond_ += (speed - bytesPerSecond_) * weight;
    measured_ = true;
    bytes_ = bytes;
    time_ = time;
}

}  // namespace tavrin::http_tool

#include "progress_display.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>

namespace tavrin::http_tool {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;
using Style = ProgressDisplay::Style;

// What is written to `display` can be read back; nothing waits for more.
class Screen {
public:
    Screen() {
        winsize size{5, 81, 0, 0};
        openpty(&master_, &slave_, nullptr, nullptr, &size);
        fcntl(master_, F_SETFL, O_NONBLOCK);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() {
        close(master_);
        close(slave_);
    }

    int descriptor() const { return slave_; }

    // What came since the last call, line breaks as they were written.
    std::string taken() const {
        std::string text;
        std::array<char, 4096> buffer{};
        for (ssize_t size; (size = read(master_, buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(size));
        }
        for (std::size_t i = 0; (i = text.find("\r\n", i)) != std::string::npos;) text.erase(i, 1);
        return text;
    }

private:
    int master_ = -1;
    int slave_ = -1;
};

TEST(ProgressDisplayOnATerminal, DrawsALineAndErasesItForAMessage) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::BARS);
    display.update(display.add("f"), 512, 1024);
    EXPECT_THAT(screen.taken(), MatchesRegex("f  \\[=+> +\\]   50% .*\n"));

    display.message("hello");

    EXPECT_THAT(screen.taken(),
                MatchesRegex("\x1b\\[1A\r\x1b\\[Jhello\nf  \\[=+> +\\]   50% .*\n"));
}

TEST(ProgressDisplayOnATerminal, LeavesWhatHasEndedAboveWhatGoesOn) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::BARS);
    const auto first = display.add("first");
    const auto second = display.add("second");
    display.update(first, 1, 1024);
    display.update(second, 1024, 1024);
    screen.taken();

    display.finish(second);

    EXPECT_THAT(screen.taken(), MatchesRegex("\x1b\\[2A\r\x1b\\[Jsecond .* 100% .*\nfirst .*\n"));
    display.finish(first);
    EXPECT_THAT(screen.taken(), MatchesRegex("\x1b\\[1A\r\x1b\\[Jfirst .*\n"));
}

TEST(ProgressDisplayOnATerminal, NeverDrawsMoreThanFitsOnTheScreen) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::BARS);
    for (int i = 0; i < 20; ++i) display.add("f");
    display.update(0, 1, 1024);

    const std::string text = screen.taken();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4);
}

TEST(ProgressDisplayOnATerminal, LetsNobodyElseSteerIt) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::BARS);
    display.message(
        "a\x1b[2Jb\nc\x7f\xC2\x9B"
        "d\xC2\xA0");
    EXPECT_EQ(screen.taken(), "a?[2Jb?c???d\xC2\xA0\n");

    display.update(display.add("l\x1b[2J"), 0, 0);
    EXPECT_THAT(screen.taken(), StartsWith("l?[2J "));
}

TEST(ProgressDisplayOnATerminal, ShowsNoSpeedOfWhatNeverBegan) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::BARS);
    display.finish(display.add("f"));

    EXPECT_THAT(screen.taken(), MatchesRegex("f +0 B +0 B/s  0:00\n"));
}

TEST(ProgressDisplayElsewhere, WritesALineAtEveryTenth) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    {
        ProgressDisplay display(ends[1], Style::LINES);
        const auto number = display.add("f");
        display.update(number, 1, 1000);
        // Too soon after the last one to be shown, but not lost.
        display.update(number, 999, 1000);
        display.finish(number);
    }
    std::array<char, 4096> buffer{};
    const std::string text(buffer.data(),
                           static_cast<std::size_t>(read(ends[0], buffer.data(), buffer.size())));

    EXPECT_THAT(text, MatchesRegex("f .*   0% .*\nf .*  99% .*\n"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    close(ends[0]);
    close(ends[1]);
}

TEST(ProgressDisplayWithoutProgress, StillPassesMessagesOn) {
    const Screen screen;
    ProgressDisplay display(screen.descriptor(), Style::NONE);
    const auto number = display.add("f");
    display.update(number, 1, 2);
    display.finish(number);
    display.message("hello");

    EXPECT_EQ(screen.taken(), "hello\n");
}

}  // namespace
}  // namespace tavrin::http_tool

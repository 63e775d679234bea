#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "progress_bar.h"

namespace tavrin::http_tool {

/// Everything that goes to standard error: messages, and a line of progress for each transfer.
///
/// On a terminal the lines of transfers under way stay at the bottom and are drawn anew, ten times
/// a second at most, with messages and what has ended above them. Elsewhere a transfer's line is
/// written out at every tenth of the way.
/// May be used from any thread.
class ProgressDisplay {
public:
    enum class Style { NONE, BARS, LINES };

    /// Writes to `descriptor`, which stays the caller's.
    ProgressDisplay(int descriptor, Style style);

    /// Announces a transfer and returns its number.
    std::size_t add(std::string label);

    /// Tells how far transfer `number` has come; a `total` of 0 means unknown.
    void update(std::size_t number, std::int64_t now, std::int64_t total);

    /// The transfer has ended: its last state is shown, and stays.
    void finish(std::size_t number);

    /// Writes `text` on a line of its own, "?" in place of control characters.
    void message(const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    struct Line {
        std::string label;
        TransferProgress progress;
        SpeedMeter speed;
        Clock::time_point start;
        Clock::time_point drawn;
        std::optional<std::int64_t> initial;  // bytes that were there before this run
        int stepShown = -1;
        bool finished = false;
    };

    void redraw(const std::string& above);
    std::string erased();
    std::string drawn();
    void writeStep(Line& line);
    void write(const std::string& text) const;
    struct Size {
        std::size_t rows;
        std::size_t columns;
    };
    Size size() const;

    const int descriptor_;
    const Style style_;
    std::mutex mutex_;
    std::vector<Line> lines_;
    std::size_t onScreen_ = 0;
    Clock::time_point lastDrawn_;
};

}  // namespace tavrin::http_tool

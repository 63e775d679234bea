#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tavrin::http_tool {

/// How far one transfer has come.
struct TransferProgress {
    std::int64_t now = 0;    ///< bytes that are there
    std::int64_t total = 0;  ///< bytes in all; 0 if unknown
    double bytesPerSecond = 0;
    std::chrono::seconds elapsed{0};
};

/// One line without line break, at most `columns` wide: the label, a bar, per cent, amounts, speed
/// and the time left, or elapsed where no total is known. A narrow line does without the bar, then
/// without part of the label.
std::string progressLine(const std::string& label, const TransferProgress& progress,
                         std::size_t columns);

/// An amount of bytes in at most five digits and a unit: "999 B", "1.5 KiB", "64.0 MiB".
std::string formatBytes(std::int64_t bytes);

/// "0:07", "12:34", "1:02:03".
std::string formatDuration(std::chrono::seconds duration);

/// Per cent that are there, never above 100, and 100 only when all is; 0 if the total is unknown.
int percentDone(const TransferProgress& progress);

/// Current speed out of amounts at points in time: older amounts count for less and less.
class SpeedMeter {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Notes that `bytes` were there at `time`. Fewer bytes than before (the transfer started over)
    /// count as none.
    void note(std::int64_t bytes, TimePoint time);

    /// In bytes per second; 0 until there are two points in time.
    double bytesPerSecond() const { return bytesPerSecond_; }

private:
    bool started_ = false;
    bool measured_ = false;
    std::int64_t bytes_ = 0;
    TimePoint time_;
    double bytesPerSecond_ = 0;
};

}  // namespace tavrin::http_tool

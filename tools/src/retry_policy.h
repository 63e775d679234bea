#pragma once

#include <httpclient_core/retry.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "command_line.h"

namespace tavrin::http_tool {

/// Decides whether a URL is tried again, waits, and says so.
///
/// The library's own strategy for downloads decides; what is added here is what only a program can
/// know: when it has waited long enough, and what no further attempt can change. A server that says
/// when to come again (RFC 9110, 10.2.3) is given that time, and not bothered again if that is more
/// than two minutes. Belongs to one transfer and its thread.
class RetryPolicy {
public:
    using Clock = std::chrono::steady_clock;

    /// Waits that long, or less if something else ends the program; false then.
    using Wait = std::function<bool(std::chrono::milliseconds)>;
    using Announce = std::function<void(const std::string&)>;

    /// Both functions are called on the thread that asks. `start` is when the transfer began.
    RetryPolicy(const CommandLine& line, Clock::time_point start, Wait wait, Announce announce);

    /// Whether to try again, after the wait that comes before it. To be called after each attempt
    /// that the library reports, with the numbers that it gives.
    bool shouldRetry(const httpclient_core::HttpRequest& request,
                     const httpclient_core::HttpResponse& response, const std::exception_ptr& error,
                     int totalAttempts, int consecutiveAttempts);

    /// From here on the library counts from the beginning again, because the next attempt goes on
    /// as a request of its own.
    void startNewCount();

    /// Attempts so far.
    int attempts() const { return attempts_; }

private:
    std::chrono::milliseconds delayAfter(int consecutiveAttempts) const;
    void pause(int consecutiveAttempts);

    const std::optional<std::chrono::milliseconds> fixedDelay_;
    std::optional<Clock::time_point> lastStart_;
    Wait wait_;
    Announce announce_;
    httpclient_core::DefaultRetry strategy_;
    int earlierAttempts_ = 0;
    int earlierConsecutive_ = 0;
    int attempts_ = 0;
    int consecutive_ = 0;
    bool gotOn_ = false;
    std::string failure_;
    std::chrono::milliseconds askedFor_{0};
    bool waited_ = false;
};

}  // namespace tavrin::http_tool

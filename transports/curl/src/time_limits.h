#pragma once

#include <chrono>
#include <cstdint>

#include "settings.h"

namespace tavrin::httpclient_curl::detail {

using Clock = std::chrono::steady_clock;

// Time as the peers of one thread see it: while the thread is held up by the application's own
// streams, it stands still, so that our slowness is nobody's idleness.
class WireClock {
public:
    Clock::time_point now() const { return Clock::now() - excused_; }
    void excuse(Clock::duration duration) { excused_ += duration; }

private:
    Clock::duration excused_{0};
};

// The limits of time of one exchange, from the moment its connection stands. libcurl has none for
// the wait for an answer, and counts idleness in whole seconds, while waiting too.
class TimeLimits {
public:
    void start(const Settings& settings, const WireClock& clock);

    // Whether there is no connection yet, and time left to make one. That limit is libcurl's to
    // watch, but its clock does not stand still; and it rounds.
    bool mayConnect() const {
        return phase_ == Phase::CONNECTING &&
               clock_->now() - startedAt_ + std::chrono::milliseconds(20) < connectTimeout_;
    }
    void connected() {
        sent_ = false;
        enter(Phase::SENDING);
    }
    // The last of the request was handed to the connection.
    void sent();
    // The head was that of an interim answer, which may come while the body is being sent. However
    // many come, they win no time for the final one.
    void interim() {
        if (phase_ == Phase::HEAD) enter(sent_ ? Phase::WAITING : Phase::SENDING);
    }
    void headBegan();
    void bodyBegan() { enter(Phase::BODY); }

    // The transfer's own source was slow, which counts as its idleness, though not as others'.
    void heldUp(Clock::duration duration) { fastAt_ -= duration; }

    // Counts bytes that moved either way.
    void moved(std::size_t bytes) { moved_ += static_cast<std::int64_t>(bytes); }

    // Whether a limit is exceeded now.
    bool exceeded();

    // How long to wait at most before asking again; at most `longest`.
    Clock::duration remaining(Clock::duration longest) const;

private:
    enum class Phase { CONNECTING, SENDING, WAITING, HEAD, BODY };

    void enter(Phase phase);
    bool countsIdleness() const {
        return idleTimeout_.count() > 0 && idleSpeed_ > 0 && phase_ != Phase::CONNECTING &&
               phase_ != Phase::WAITING;
    }
    bool awaitsHead() const {
        return responseTimeout_.count() > 0 && (phase_ == Phase::WAITING || phase_ == Phase::HEAD);
    }

    const WireClock* clock_ = nullptr;
    Clock::duration connectTimeout_{0};
    Clock::duration responseTimeout_{0};
    Clock::duration idleTimeout_{0};
    std::int64_t idleSpeed_ = 0;
    Phase phase_ = Phase::CONNECTING;
    bool sent_ = false;
    Clock::time_point startedAt_;
    Clock::time_point waitingSince_;
    // The last moment at which the transfer was fast enough, and how much had moved by then.
    Clock::time_point fastAt_;
    std::int64_t movedAtFast_ = 0;
    std::int64_t moved_ = 0;
};

}  // namespace tavrin::httpclient_curl::detail

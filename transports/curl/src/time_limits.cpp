#include "time_limits.h"

#include <algorithm>
#include <utility>

namespace tavrin::httpclient_curl::detail {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

void TimeLimits::start(const Settings& settings, const WireClock& clock) {
    clock_ = &clock;
    startedAt_ = clock.now();
    connectTimeout_ = milliseconds(settings.connectTimeout);
    responseTimeout_ = milliseconds(settings.responseTimeout);
    idleTimeout_ = milliseconds(settings.idleTimeout);
    idleSpeed_ = settings.idleSpeed;
    phase_ = Phase::CONNECTING;
    moved_ = movedAtFast_ = 0;
}

void TimeLimits::enter(Phase phase) {
    phase_ = phase;
    fastAt_ = clock_->now();
    movedAtFast_ = moved_;
}

void TimeLimits::sent() {
    if (std::exchange(sent_, true)) return;
    waitingSince_ = clock_->now();
    if (phase_ == Phase::SENDING) enter(Phase::WAITING);
}

void TimeLimits::headBegan() {
    if (phase_ == Phase::SENDING) waitingSince_ = clock_->now();
    if (phase_ != Phase::HEAD && phase_ != Phase::BODY) enter(Phase::HEAD);
}

bool TimeLimits::exceeded() {
    if (phase_ == Phase::CONNECTING) return false;
    const Clock::time_point now = clock_->now();
    if (awaitsHead() && now - waitingSince_ >= responseTimeout_) return true;
    if (!countsIdleness()) return false;
    const std::int64_t moved = moved_ - movedAtFast_;
    const auto elapsed = duration_cast<std::chrono::microseconds>(now - fastAt_).count();
    const double expected = static_cast<double>(idleSpeed_) * static_cast<double>(elapsed) / 1e6;
    if (moved > 0 && static_cast<double>(moved) >= expected) {
        fastAt_ = now;
        movedAtFast_ = moved_;
        return false;
    }
    return now - fastAt_ >= idleTimeout_;
}

Clock::duration TimeLimits::remaining(Clock::duration longest) const {
    if (phase_ == Phase::CONNECTING) return longest;
    const Clock::time_point now = clock_->now();
    if (awaitsHead()) longest = std::min(longest, responseTimeout_ - (now - waitingSince_));
    if (countsIdleness()) longest = std::min(longest, idleTimeout_ - (now - fastAt_));
    return std::max<Clock::duration>(longest, milliseconds(1));
}

}  // namespace tavrin::httpclient_curl::detail

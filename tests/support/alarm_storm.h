#pragma once

#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>

namespace tavrin::httpclient_core::test {

/// While it lives, SIGALRM interrupts the program's system calls again and again, as in a program
/// with a profiling timer. One at a time.
class AlarmStorm {
public:
    explicit AlarmStorm(std::chrono::microseconds period) {
        struct sigaction count {};
        count.sa_handler = [](int) { ++alarms_; };  // and no SA_RESTART
        sigaction(SIGALRM, &count, &previous_);
        repeatEvery(period);
    }

    ~AlarmStorm() {
        repeatEvery(std::chrono::microseconds(0));
        // The last alarm may not have been handled yet, and kills a program that has no handler any
        // more; ignoring the signal takes it back.
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGALRM, &ignore, nullptr);
        sigaction(SIGALRM, &previous_, nullptr);
    }

    AlarmStorm(const AlarmStorm&) = delete;
    AlarmStorm& operator=(const AlarmStorm&) = delete;

    /// How many there were since the program began.
    static int alarms() { return alarms_; }

private:
    static void repeatEvery(std::chrono::microseconds period) {
        const timeval interval{0, period.count()};
        const itimerval timer{interval, interval};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    static inline std::atomic<int> alarms_{0};
    struct sigaction previous_ {};
};

}  // namespace tavrin::httpclient_core::test

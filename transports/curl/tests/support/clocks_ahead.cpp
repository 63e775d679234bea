#include "support/clocks_ahead.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <ctime>

namespace {

std::atomic<std::time_t> secondsAhead{0};

}  // namespace

// In place of the C library's, for everything in this program.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* now) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    now->tv_sec += secondsAhead;
    return result;
}

namespace tavrin::httpclient_curl::test {

void putClocksForward(std::chrono::seconds by) { secondsAhead += by.count(); }

}  // namespace tavrin::httpclient_curl::test

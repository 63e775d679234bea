#include "interruption.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <limits>
#include <system_error>

namespace tavrin::http_tool {
namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int> caughtSignal{0};
// The handler writes to the pipe and nobody reads from it: once readable, it wakes every waiter.
std::atomic<int> wakeUp{-1};
int wakened = -1;

extern "C" void noteSignal(int number) {
    const int saved = errno;
    caughtSignal = number;
    // Nothing can be done in a signal handler if this fails; waiters then sleep to their end.
    [[maybe_unused]] const auto written = write(wakeUp, "", 1);
    errno = saved;
}

// Nobody else sends this one, and without a handler it is ignored.
constexpr int REMINDER = SIGURG;

extern "C" void takeReminder(int) {}

}  // namespace

void watchForInterruption() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
    }
    wakened = ends[0];
    wakeUp = ends[1];
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    struct sigaction reminder {};
    reminder.sa_handler = takeReminder;
    sigaction(REMINDER, &reminder, nullptr);
}

int interruptingSignal() { return caughtSignal; }

void interruptWaiting(std::thread& thread) { pthread_kill(thread.native_handle(), REMINDER); }

bool waitUninterrupted(std::chrono::milliseconds time) {
    const auto end = Clock::now() + time;
    while (caughtSignal == 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) return true;
        pollfd interruption{wakened, POLLIN, 0};
        poll(&interruption, 1, static_cast<int>(std::min<std::int64_t>(left, 1 << 30)));
    }
    return false;
}

}  // namespace tavrin::http_tool

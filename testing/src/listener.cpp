#include "listener.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "loopback.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr int BACKLOG = 1024;
// How long to leave the listening socket alone when there is no descriptor left for a connection.
constexpr int EXHAUSTED_PAUSE_MS = 5;

bool descriptorsExhausted() {
    return errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
}

}  // namespace

Listener::Listener()
    : reservation_(boundSocket(0)), port_(portOf(reservation_)), listening_(boundSocket(port_)) {
    listenOn(listening_, BACKLOG);
}

std::optional<FileDescriptor> Listener::accept(int stopEvent) {
    bool exhausted = false;
    for (;;) {
        const Wait next = exhausted ? Wait{-1, EXHAUSTED_PAUSE_MS} : nextWait();
        std::array<pollfd, 3> waits{
            {{next.socket, POLLIN, 0}, {stopEvent, POLLIN, 0}, {changed_.descriptor(), POLLIN, 0}}};
        ::poll(waits.data(), waits.size(), next.timeoutMs);
        if (waits[1].revents != 0) return std::nullopt;
        if (waits[2].revents != 0) changed_.clear();
        exhausted = false;
        if (waits[0].revents == 0) continue;
        FileDescriptor socket(accept4(next.socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket) return socket;
        exhausted = descriptorsExhausted();
    }
}

void Listener::refuse(std::optional<std::chrono::milliseconds> duration) {
    const std::lock_guard lock(mutex_);
    if (!refusing_) shutdown(listening_.number(), SHUT_RDWR);
    const auto from = refusing_ ? refusingUntil_ : Clock::now();
    refusingUntil_ = from && duration ? std::optional(*from + *duration) : std::nullopt;
    refusing_ = true;
    changed_.set();
}

void Listener::acceptAgain() {
    const std::lock_guard lock(mutex_);
    if (refusing_) listenAgain();
    changed_.set();
}

Listener::Wait Listener::nextWait() {
    const std::lock_guard lock(mutex_);
    if (refusing_ && refusingUntil_ && *refusingUntil_ <= Clock::now()) listenAgain();
    if (!refusing_) return {listening_.number(), -1};
    if (!refusingUntil_) return {-1, -1};
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*refusingUntil_ - Clock::now()).count();
    return {-1, static_cast<int>(std::max<std::int64_t>(0, left))};
}

void Listener::listenAgain() {
    listenOn(listening_, BACKLOG);
    refusing_ = false;
}

}  // namespace tavrin::httpclient_testing::detail

#pragma once

#include <chrono>
#include <mutex>
#include <optional>

#include "event.h"
#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {

// The port that a server listens on, and may stop listening on for a while without losing it.
class Listener {
public:
    Listener();

    int port() const { return port_; }

    // Waits for a connection; nothing once `stopEvent` is readable.
    std::optional<FileDescriptor> accept(int stopEvent);

    // Refuses connections from this moment, for so long or until acceptAgain(). Times add up.
    void refuse(std::optional<std::chrono::milliseconds> duration);
    void acceptAgain();

private:
    using Clock = std::chrono::steady_clock;

    // What the accepting thread is to poll: a socket, or -1 while refusing, and for how long (-1:
    // for ever).
    struct Wait {
        int socket;
        int timeoutMs;
    };
    Wait nextWait();
    void listenAgain();

    // Bound as well, never listening: it found the port, and the other socket, bound to that port
    // by number, keeps it while it doesn't listen.
    FileDescriptor reservation_;
    int port_;
    FileDescriptor listening_;
    Event changed_;

    std::mutex mutex_;
    bool refusing_ = false;
    std::optional<Clock::time_point> refusingUntil_;
};

}  // namespace tavrin::httpclient_testing::detail

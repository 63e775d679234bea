#include "support/local_port.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>

namespace {

std::atomic<in_port_t> localPort{0};

// Beside other sockets, which must have been bound so too.
int bindToLoopback(int socket, in_port_t port) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    local.sin_port = port;
    return bind(socket, reinterpret_cast<const sockaddr*>(&local), sizeof local);
}

}  // namespace

// In place of the C library's, for everything in this program.
extern "C" __attribute__((visibility("default"))) int connect(int socket, const sockaddr* address,
                                                              socklen_t size) {
    if (localPort != 0 && bindToLoopback(socket, localPort) != 0) return -1;
    return static_cast<int>(syscall(SYS_connect, socket, address, size));
}

namespace tavrin::httpclient_curl::test {

LocalPort::LocalPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (bindToLoopback(socket_, 0) != 0)
        throw std::system_error(errno, std::generic_category(), "Cannot bind a socket");
    sockaddr_in local{};
    socklen_t size = sizeof local;
    getsockname(socket_, reinterpret_cast<sockaddr*>(&local), &size);
    localPort = local.sin_port;
}

LocalPort::~LocalPort() {
    localPort = 0;
    close(socket_);
}

}  // namespace tavrin::httpclient_curl::test

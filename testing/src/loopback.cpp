#include "loopback.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace tavrin::httpclient_testing::detail {
namespace {

void want(bool success, const char* what) {
    if (!success) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

FileDescriptor boundSocket(int port) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    want(static_cast<bool>(socket), "socket");
    const int yes = 1;
    want(setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0,
         "setsockopt");
    const sockaddr_in address = loopbackAddress(port);
    want(bind(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
         "bind");
    return socket;
}

int portOf(const FileDescriptor& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    want(getsockname(socket.number(), reinterpret_cast<sockaddr*>(&address), &size) == 0,
         "getsockname");
    return ntohs(address.sin_port);
}

void listenOn(const FileDescriptor& socket, int backlog) {
    want(listen(socket.number(), backlog) == 0, "listen");
}

}  // namespace tavrin::httpclient_testing::detail

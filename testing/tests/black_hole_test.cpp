#include "httpclient_testing/black_hole.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace tavrin::httpclient_testing {
namespace {

TEST(BlackHole, NeitherEstablishesNorRefusesAConnection) {
    const BlackHole hole;
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(hole.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);

    EXPECT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), -1);
    EXPECT_EQ(errno, EINPROGRESS);
    pollfd established{socket, POLLOUT, 0};
    EXPECT_EQ(poll(&established, 1, 300), 0);
    close(socket);
}

TEST(BlackHole, HasAUrl) {
    const BlackHole hole;

    EXPECT_EQ(hole.url("https"), "https://127.0.0.1:" + std::to_string(hole.port()) + "/");
}

}  // namespace
}  // namespace tavrin::httpclient_testing

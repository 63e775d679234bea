#include "kept_sockets.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>
#include <new>

namespace tavrin::httpclient_curl::detail {
namespace {

constexpr std::size_t SMALLEST_CROWD = 64;

// 0 for what is no socket.
int localPortOf(curl_socket_t socket) {
    sockaddr_in6 address{};  // in which the port stands where it does in that of the older version
    socklen_t size = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin6_port);
}

bool hasBytes(curl_socket_t socket) {
    char byte = 0;
    return ::recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

}  // namespace

void KeptSockets::note(CURL* easy) noexcept {
    long connected = 0;
    long port = 0;
    curl_socket_t socket = CURL_SOCKET_BAD;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connected);
    if (connected == 0) return;  // known since its first exchange
    curl_easy_getinfo(easy, CURLINFO_LOCAL_PORT, &port);
    curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &socket);
    if (socket == CURL_SOCKET_BAD) return;  // closed already
    if (byLocalPort_.size() >= crowd_) forgetClosed();
    try {
        byLocalPort_.emplace(static_cast<int>(port), socket);
    } catch (const std::bad_alloc&) {
        // Without memory for it this one will not be looked at.
    }
}

// What was closed meanwhile may be anybody's.
void KeptSockets::forgetClosed() {
    for (auto at = byLocalPort_.begin(); at != byLocalPort_.end();)
        at = localPortOf(at->second) == at->first ? std::next(at) : byLocalPort_.erase(at);
    crowd_ = std::max(SMALLEST_CROWD, 2 * byLocalPort_.size());
}

bool KeptSockets::haveBytes(int localPort) const {
    const auto [begin, end] = byLocalPort_.equal_range(localPort);
    return std::any_of(begin, end, [](const auto& kept) { return hasBytes(kept.second); });
}

}  // namespace tavrin::httpclient_curl::detail

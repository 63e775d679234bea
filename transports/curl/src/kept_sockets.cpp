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

// What was closed meanwhile may be anybody's.
void keepOpen(std::vector<curl_socket_t>& sockets, int localPort) {
    sockets.erase(
        std::remove_if(sockets.begin(), sockets.end(),
                       [&](curl_socket_t socket) { return localPortOf(socket) != localPort; }),
        sockets.end());
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
        std::vector<curl_socket_t>& sockets = byLocalPort_[static_cast<int>(port)];
        keepOpen(sockets, static_cast<int>(port));
        if (std::find(sockets.begin(), sockets.end(), socket) == sockets.end())
            sockets.push_back(socket);
    } catch (const std::bad_alloc&) {
        // Without memory for it this one will not be looked at.
    }
}

void KeptSockets::forgetClosed() {
    for (auto at = byLocalPort_.begin(); at != byLocalPort_.end();) {
        keepOpen(at->second, at->first);
        at = at->second.empty() ? byLocalPort_.erase(at) : std::next(at);
    }
    crowd_ = std::max(SMALLEST_CROWD, 2 * byLocalPort_.size());
}

bool KeptSockets::haveBytes(int localPort) const {
    const auto found = byLocalPort_.find(localPort);
    return found != byLocalPort_.end() &&
           std::any_of(found->second.begin(), found->second.end(), hasBytes);
}

}  // namespace tavrin::httpclient_curl::detail

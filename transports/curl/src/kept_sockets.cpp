#include "kept_sockets.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <new>

namespace tavrin::httpclient_curl::detail {
namespace {

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
    try {
        std::vector<curl_socket_t>& sockets = byLocalPort_[static_cast<int>(port)];
        // What was closed meanwhile may be anybody's.
        sockets.erase(std::remove_if(sockets.begin(), sockets.end(),
                                     [&](curl_socket_t known) {
                                         return known == socket || localPortOf(known) != port;
                                     }),
                      sockets.end());
        if (socket != CURL_SOCKET_BAD) sockets.push_back(socket);
        if (sockets.empty()) byLocalPort_.erase(static_cast<int>(port));
    } catch (const std::bad_alloc&) {
        // Without memory for it this one will not be looked at.
    }
}

bool KeptSockets::haveBytes(int localPort) const {
    const auto found = byLocalPort_.find(localPort);
    return found != byLocalPort_.end() &&
           std::any_of(found->second.begin(), found->second.end(), hasBytes);
}

}  // namespace tavrin::httpclient_curl::detail

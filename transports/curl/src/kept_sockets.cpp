#include "kept_sockets.h"

#include <sys/socket.h>

#include <new>

namespace tavrin::httpclient_curl::detail {

void KeptSockets::note(CURL* easy) noexcept {
    long connected = 0;
    long port = 0;
    curl_socket_t socket = CURL_SOCKET_BAD;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connected);
    if (connected == 0) return;  // known since its first exchange
    curl_easy_getinfo(easy, CURLINFO_LOCAL_PORT, &port);
    curl_easy_getinfo(easy, CURLINFO_ACTIVESOCKET, &socket);
    try {
        byLocalPort_[static_cast<int>(port)] = socket;
    } catch (const std::bad_alloc&) {
        // Without memory for it this one will not be looked at.
    }
}

bool KeptSockets::haveBytes(int localPort) const {
    const auto found = byLocalPort_.find(localPort);
    char byte = 0;
    return found != byLocalPort_.end() &&
           ::recv(found->second, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

}  // namespace tavrin::httpclient_curl::detail

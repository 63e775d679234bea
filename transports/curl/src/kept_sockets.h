#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <unordered_map>

namespace tavrin::httpclient_curl::detail {

// The sockets of the connections that a MultiHandle keeps. libcurl tells a connection's socket when
// an exchange has ended, and only its local port when the next one is about to begin.
class KeptSockets {
public:
    // To be called when the exchange of `easy` has ended, before it is taken off its MultiHandle.
    void note(CURL* easy) noexcept;

    // Whether bytes have come on a connection from this port that nobody has read. It may be taken
    // for another one's, which costs a connection and nothing else.
    bool haveBytes(int localPort) const;

private:
    void forgetClosed();

    // Each of those from one port leads to another server.
    std::unordered_multimap<int, curl_socket_t> byLocalPort_;
    // With so many sockets it is time to look which connections are still there.
    std::size_t crowd_ = 0;
};

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// The tinyproxy of the system on 127.0.0.1, a forward proxy for http and, by CONNECT, for https.
class TinyproxyServer {
public:
    /// Serves when the constructor returns; with `credentials`, "user:password", only those who
    /// give them.
    /// @throws std::runtime_error with what tinyproxy says if it does not start.
    explicit TinyproxyServer(const std::string& credentials = "");

    /// URL of the proxy, with `credentials` before the host if there are any.
    std::string url(const std::string& credentials = "") const;

    /// The lines of its log, one for each connection, request, and so on.
    std::string log() const;

private:
    bool start(const std::string& credentials);

    httpclient_core::test::TemporaryDirectory directory_;
    boost::asio::ip::tcp::endpoint endpoint_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace tavrin::httpclient_curl::test

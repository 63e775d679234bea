#pragma once

#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// The microsocks of the system on 127.0.0.1, a SOCKS5 proxy.
class MicrosocksServer {
public:
    /// Serves when the constructor returns; with `user` and `password` only those who give them.
    /// @throws std::runtime_error with what microsocks says if it does not start.
    explicit MicrosocksServer(const std::string& user = "", const std::string& password = "");

    /// "127.0.0.1:<port>".
    std::string host() const { return hostAndPort(endpoint_); }

    /// What it said so far: a line for each connection that it made.
    std::string log() const { return httpclient_core::test::readFile(directory_.path() / "log"); }

private:
    bool start(const std::string& user, const std::string& password);

    httpclient_core::test::TemporaryDirectory directory_;
    boost::asio::ip::tcp::endpoint endpoint_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace tavrin::httpclient_curl::test

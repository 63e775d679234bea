#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// The httpbin of the system, an application with a route for nearly everything in HTTP, under
/// gunicorn on 127.0.0.1.
class HttpbinServer {
public:
    /// Serves when the constructor returns.
    /// @throws std::runtime_error with what gunicorn says if it does not start.
    HttpbinServer();

    /// "http://127.0.0.1:<port>" and `path`, which begins with a slash.
    std::string url(const std::string& path) const;
    /// The same with user and password before the host.
    std::string urlFor(const std::string& credentials, const std::string& path) const;

private:
    std::string host() const { return hostAndPort(listener_.local_endpoint()); }

    httpclient_core::test::TemporaryDirectory directory_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor listener_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace tavrin::httpclient_curl::test

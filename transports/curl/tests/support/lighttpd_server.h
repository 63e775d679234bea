#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <filesystem>
#include <memory>
#include <string>

#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// The lighttpd of the system, which serves files of its own over http on 127.0.0.1.
class LighttpdServer {
public:
    /// Serves when the constructor returns.
    /// @throws std::runtime_error with what lighttpd says if it does not start.
    LighttpdServer();

    /// URL of a file; `path` begins with a slash.
    std::string url(const std::string& path) const;

    /// Makes `content` what the server has at `path`, from the next request on.
    void serve(const std::string& path, const std::string& content);

    /// Ends lighttpd, which cuts every connection, and starts it anew on the same port. Who
    /// connects meanwhile waits, and is not refused.
    void restart();

private:
    const std::filesystem::path& directory() const { return directory_.path(); }
    void start();

    httpclient_core::test::TemporaryDirectory directory_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor listener_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace tavrin::httpclient_curl::test

#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "httpclient_testing/test_certificates.h"

namespace tavrin::httpclient_curl::test {

/// The nginx of the system, which serves files of its own on 127.0.0.1: over http, and over https
/// with HTTP/2. Everything it needs stands in a temporary directory, which goes with the object.
class NginxServer {
public:
    /// A request that was answered to its end, with two of its headers, empty if it lacks them.
    struct Exchange {
        std::string request;
        int status = 0;
        std::string range;
        std::string ifRange;

        bool operator==(const Exchange& other) const;
        friend std::ostream& operator<<(std::ostream& os, const Exchange& exchange);
    };

    /// Serves when the constructor returns.
    /// @throws std::runtime_error with what nginx says if it does not start.
    NginxServer();
    ~NginxServer();
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    /// URL of a file; `path` begins with a slash.
    std::string url(const std::string& path) const;
    std::string httpsUrl(const std::string& path) const;

    /// PEM file of the CA that signed the server's certificate.
    std::string caFile() const;

    /// Makes `content` what the server has at `path`, with an ETag of its own, from the next
    /// request on. Answers under way go on with what they began with.
    void serve(const std::string& path, const std::string& content);

    /// Ends nginx, which cuts every connection, and starts it anew on the same ports. Who connects
    /// meanwhile waits, and is not refused.
    void restart();

    /// Ends nginx, and returns what it answered, in order.
    std::vector<Exchange> stop();

private:
    void writeConfiguration() const;
    void start();
    bool answers();
    void end();

    httpclient_testing::TestCertificates certificates_;
    std::filesystem::path directory_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor plain_;
    boost::asio::ip::tcp::acceptor tls_;
    pid_t process_ = -1;
};

}  // namespace tavrin::httpclient_curl::test

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "httpclient_testing/test_certificates.h"
#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {

/// The nginx of the system, which serves files of its own on 127.0.0.1: over http, and over https
/// with HTTP/2. Everything it needs stands in a temporary directory, which goes with the object.
class NginxServer {
public:
    /// A request that nginx has done with, with two of its headers, empty if it lacks them.
    struct Exchange {
        std::string request;
        int status = 0;
        std::string range;
        std::string ifRange;
        /// Number of the connection; of no matter when exchanges are compared.
        std::string connection{};

        bool operator==(const Exchange& other) const;
        friend std::ostream& operator<<(std::ostream& os, const Exchange& exchange);
    };

    /// What it is for: FAULTS sends small pieces and keeps a log of what it answered, SPEED
    /// neither. FAULTS also calls a file coded as a query "?coding=..." says.
    enum class Setup { FAULTS, SPEED };

    /// Serves when the constructor returns.
    /// @throws std::runtime_error with what nginx says if it does not start.
    explicit NginxServer(Setup setup = Setup::FAULTS);
    NginxServer(const NginxServer&) = delete;
    NginxServer& operator=(const NginxServer&) = delete;

    /// URL of a file; `path` begins with a slash.
    std::string url(const std::string& path) const;
    std::string httpsUrl(const std::string& path) const;

    /// URL of the same file, which comes at 1000 bytes a second.
    std::string slowHttpsUrl(const std::string& path) const { return httpsUrl("/slow" + path); }

    /// PEM file of the CA that signed the server's certificate.
    std::string caFile() const;

    /// Makes `content` what the server has at `path`, with an ETag of its own, from the next
    /// request on. Answers under way go on with what they began with.
    void serve(const std::string& path, const std::string& content);

    /// The same with a content of `size` zeros, which takes no space.
    void serveZeros(const std::string& path, std::uintmax_t size);

    /// Ends nginx, which cuts every connection, and starts it anew on the same ports. Who connects
    /// meanwhile waits, and is not refused.
    void restart();

    /// Ends nginx, and returns what it answered, in order, if its setup keeps a log.
    std::vector<Exchange> stop();

private:
    const std::filesystem::path& directory() const { return directory_.path(); }
    std::filesystem::path fresh() const { return directory() / "fresh"; }
    void putInPlace(const std::string& path) const;
    void writeConfiguration(Setup setup) const;
    void start();

    httpclient_testing::TestCertificates certificates_;
    httpclient_core::test::TemporaryDirectory directory_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor plain_;
    boost::asio::ip::tcp::acceptor tls_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace tavrin::httpclient_curl::test

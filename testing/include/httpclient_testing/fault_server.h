#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "httpclient_testing/export.h"
#include "httpclient_testing/fault_plan.h"
#include "httpclient_testing/received_request.h"
#include "httpclient_testing/served_content.h"
#include "httpclient_testing/test_certificates.h"

namespace tavrin::httpclient_testing {

/// How a FaultServer begins.
struct FaultServerOptions {
    /// The content of every path that serve() says nothing else about.
    ServedContent content{1, 100000};
    /// The faults; none by default.
    FaultPlan plan;
    /// Speaks TLS with this kind of certificate; unset means plain HTTP.
    std::optional<TlsKind> tls;
    /// The certificates of a TLS server; a null one makes its own. Servers that one client is to
    /// trust share them.
    std::shared_ptr<const TestCertificates> certificates;
};

/// A real HTTP/1.1 server on 127.0.0.1 and a free port that does wrong what it is told to, request
/// by request, and remembers what it received. It runs in threads of its own, one for each
/// connection.
///
///     FaultServer server("rst@1000,503,ok");
///     client.makeRequest(request);  // to server.url("/file"), with retries and resuming on
///     EXPECT_EQ(server.waitForRequests(3)[2].header("Range"), "bytes=1000-");
///
/// Without faults it is a correct server (RFC 9110, RFC 9112):
///
/// - GET and HEAD give a path's content, with ETag, Last-Modified, Date and Accept-Ranges, and
///   honour Range and If-Range; "/bytes/1000" has 1000 bytes, any other path has those of
///   FaultServerOptions::content; "/echo" answers with the request's head as the body.
/// - Any other method reads its body, plain or chunked, after 100 (Continue) if that is expected,
///   and answers with the SHA-256 of the body in 64 hexadecimal digits.
/// - As a proxy it answers a target in absolute form by its path, and CONNECT by a tunnel to that
///   port of 127.0.0.1, whatever the host, or by 502; a plan's faults meet the answer to CONNECT,
///   not what passes through.
/// - Connections are kept alive. A malformed request gets 400.
///
/// Each request takes the next step of its path's plan, if that path has one, else of the server's.
/// Paths are compared without the query. A path that serve() or `change` concerned is remembered as
/// long as the server; so is every request until forgetRequests().
///
/// All operations may be called from any thread. The threads block every signal. Neither copyable
/// nor movable.
class HTTPCLIENT_TESTING_EXPORT FaultServer {
public:
    /// Time that waiting operations wait before they give up.
    static constexpr std::chrono::milliseconds PATIENCE{10000};

    /// Starts a plain server that follows `plan`. It listens when the constructor returns.
    /// @throws std::system_error if a socket or a thread can't be had.
    explicit FaultServer(FaultPlan plan = {});
    /// Starts a server as `options` say.
    /// @throws also what TestCertificates throws, and std::runtime_error "Cannot set up TLS: " +
    /// reason.
    explicit FaultServer(FaultServerOptions options);
    /// As stop().
    ~FaultServer();
    FaultServer(const FaultServer&) = delete;
    FaultServer& operator=(const FaultServer&) = delete;

    /// Stops listening, closes every connection, ends every stall and joins every thread, within
    /// milliseconds. The log and the content may still be asked for; a second call does nothing.
    void stop();

    // --- Where it is ---

    /// The port on which it listens.
    int port() const;
    /// "http://127.0.0.1:<port>" or "https://..." and `path`, which begins with a slash.
    std::string url(const std::string& path = "/") const;
    /// The same with another name for the host, such as "localhost" or "user:secret@127.0.0.1".
    std::string urlWithHost(const std::string& host, const std::string& path = "/") const;
    /// PEM file of the CA that a client has to trust.
    /// @throws std::logic_error "The server is plain." if it has no TLS.
    std::string caFile() const;

    // --- What it serves ---

    /// Gives `path` this content from the next request on, with validators of its own.
    void serve(const std::string& path, ServedContent content);
    /// The content that `path` has now; a step with `change` makes it another one.
    ServedContent content(const std::string& path = "/") const;
    /// The ETag, quotes included, that `path` has now.
    std::string etag(const std::string& path = "/") const;

    // --- What it does wrong ---

    /// Follows `plan` from its beginning, from the next request or connection on; with a path, for
    /// requests to this path only, whose connection faults then take effect at the request.
    void setPlan(FaultPlan plan);
    void setPlan(const std::string& path, FaultPlan plan);

    /// Lets every answer that stalls at this moment go on, and ends every `mute` connection by
    /// closing it.
    void release();
    /// Waits until `count` stalls have been reached since the server began.
    /// @throws std::runtime_error "Waited for 2 stalls, saw 1." if that takes longer than
    /// `patience`.
    void waitForStalls(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;

    /// Stops listening, so that a connection is refused, until acceptAgain(), which listens on the
    /// same port again.
    void refuseConnections();
    void acceptAgain();
    /// Shuts all connections down wherever they are, without a close_notify over TLS, as a server
    /// that is ended does, and goes on accepting.
    void closeConnections();

    // --- What it saw ---

    /// The requests whose heads have been received, in order of their arrival.
    std::vector<ReceivedRequest> requests() const;
    /// Waits until there are at least `count`; the same otherwise.
    /// @throws std::runtime_error "Waited for 3 requests, saw 2." if that takes longer than
    /// `patience`.
    std::vector<ReceivedRequest> waitForRequests(
        std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    /// Forgets the requests received so far; the plans go on where they are.
    void forgetRequests();

    /// Connections accepted, `accept_rst` and `mute` included; open now; open at the same time at
    /// most, not counting those that the client had closed, whether or not the server had noticed.
    std::size_t connectionsAccepted() const;
    std::size_t connectionsOpen() const;
    std::size_t mostConnectionsOpen() const;
    /// Waits until that many connections have been accepted since the server began.
    /// @throws std::runtime_error "Waited for 3 connections, saw 2." if that takes longer than
    /// `patience`.
    void waitForConnections(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    /// Waits until no connection is open.
    /// @throws std::runtime_error "Waited for no open connection, saw 1." if that takes longer than
    /// `patience`.
    void waitUntilIdle(std::chrono::milliseconds patience = PATIENCE) const;

private:
    class HTTPCLIENT_TESTING_HIDDEN Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace tavrin::httpclient_testing

#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tavrin::httpclient_testing {

// How the server's side of a connection ended.
enum class End { OPEN, CLOSED, RESET, TRUNCATED };  // TRUNCATED: TLS without its close_notify

// An answer, taken apart but not believed.
struct RawAnswer {
    std::string head;  // up to the empty line, inclusive
    std::string body;  // as many bytes as Content-Length says, or all that came
    End end = End::OPEN;

    std::string statusLine() const;
    // The value of the first line with this name, compared as it is spelled.
    std::optional<std::string> header(const std::string& name) const;
};

// A TCP connection to 127.0.0.1, plain or TLS, that sends and receives bytes and gives up after ten
// seconds.
class RawClient {
public:
    explicit RawClient(int port);
    // Over TLS; trusts this CA file and nothing else. Throws std::runtime_error with the reason of
    // a failed handshake.
    RawClient(int port, const std::string& caFile);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    // False if the server has gone.
    bool send(const std::string& bytes);
    void shutDownSending();

    // Everything until the server ends, and how it ended.
    std::pair<std::string, End> receiveAll();
    // One answer whose body is told by Content-Length; `withBody` false for an answer to HEAD.
    RawAnswer receiveAnswer(bool withBody = true);
    // Exactly `size` bytes, or fewer if the server ends before.
    std::string receive(std::size_t size);

private:
    struct Tls;

    // More bytes into input_; false at the end.
    bool receiveMore();

    int socket_;
    std::unique_ptr<Tls> tls_;
    std::string input_;
    End end_ = End::OPEN;
};

// Sends one request on a connection of its own and receives everything until the server ends.
std::pair<std::string, End> exchange(int port, const std::string& request);

// "GET <path> HTTP/1.1" with a Host and these lines, each of which ends with CR LF.
std::string get(const std::string& path, const std::string& lines = "");

// Head and body of what receiveAll() gave.
RawAnswer takeApart(const std::pair<std::string, End>& received);

}  // namespace tavrin::httpclient_testing

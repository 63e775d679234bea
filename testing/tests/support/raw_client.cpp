#include "support/raw_client.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tavrin::httpclient_testing {
namespace {

constexpr int PATIENCE_SECONDS = 10;
const std::string HEAD_END = "\r\n\r\n";

int connectTo(int port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{PATIENCE_SECONDS, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        close(socket);
        throw std::system_error(error, std::generic_category(), "connect");
    }
    return socket;
}

}  // namespace

struct RawClient::Tls {
    struct FreeContext {
        void operator()(SSL_CTX* freed) const { SSL_CTX_free(freed); }
    };
    struct FreeConnection {
        void operator()(SSL* freed) const { SSL_free(freed); }
    };
    std::unique_ptr<SSL_CTX, FreeContext> context{SSL_CTX_new(TLS_client_method())};
    std::unique_ptr<SSL, FreeConnection> connection;
};

std::string RawAnswer::statusLine() const { return head.substr(0, head.find("\r\n")); }

std::optional<std::string> RawAnswer::header(const std::string& name) const {
    const auto begin = head.find("\r\n" + name + ": ");
    if (begin == std::string::npos) return std::nullopt;
    const auto value = begin + name.size() + 4;
    return head.substr(value, head.find("\r\n", value) - value);
}

RawClient::RawClient(int port) : socket_(connectTo(port)) {}

RawClient::RawClient(int port, const std::string& caFile)
    : socket_(connectTo(port)), tls_(std::make_unique<Tls>()) {
    SSL_CTX_load_verify_file(tls_->context.get(), caFile.c_str());
    SSL_CTX_set_min_proto_version(tls_->context.get(), TLS1_2_VERSION);
    SSL_CTX_set_verify(tls_->context.get(), SSL_VERIFY_PEER, nullptr);
    tls_->connection.reset(SSL_new(tls_->context.get()));
    SSL* connection = tls_->connection.get();
    X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection), "127.0.0.1");
    SSL_set_fd(connection, socket_);
    ERR_clear_error();
    if (SSL_connect(connection) == 1) return;
    const long verdict = SSL_get_verify_result(connection);
    const char* const reason = verdict != X509_V_OK ? X509_verify_cert_error_string(verdict)
                                                    : ERR_reason_error_string(ERR_get_error());
    close(socket_);
    throw std::runtime_error(reason ? reason : "handshake failed");
}

RawClient::~RawClient() {
    tls_.reset();
    close(socket_);
}

bool RawClient::send(const std::string& bytes) {
    if (tls_) {
        return SSL_write(tls_->connection.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
    }
    for (std::size_t sent = 0; sent < bytes.size();) {
        const auto count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void RawClient::shutDownSending() { shutdown(socket_, SHUT_WR); }

std::pair<std::string, End> RawClient::receiveAll() {
    while (receiveMore()) {
    }
    return {std::exchange(input_, ""), end_};
}

RawAnswer RawClient::receiveAnswer(bool withBody) {
    while (input_.find(HEAD_END) == std::string::npos && receiveMore()) {
    }
    RawAnswer answer;
    const auto headSize = std::min(input_.find(HEAD_END), input_.size());
    answer.head = receive(std::min(headSize + HEAD_END.size(), input_.size()));
    const auto length = answer.header("Content-Length");
    if (withBody && length) answer.body = receive(std::stoul(*length));
    answer.end = end_;
    return answer;
}

std::string RawClient::receive(std::size_t size) {
    while (input_.size() < size && receiveMore()) {
    }
    std::string bytes = input_.substr(0, size);
    input_.erase(0, size);
    return bytes;
}

bool RawClient::receiveMore() {
    std::array<char, 65536> piece{};
    if (tls_) {
        ERR_clear_error();
        const int count =
            SSL_read(tls_->connection.get(), piece.data(), static_cast<int>(piece.size()));
        if (count > 0) {
            input_.append(piece.data(), static_cast<std::size_t>(count));
            return true;
        }
        const int error = SSL_get_error(tls_->connection.get(), count);
        if (error == SSL_ERROR_ZERO_RETURN) {
            end_ = End::CLOSED;
        } else {
            end_ = error == SSL_ERROR_SYSCALL && errno == ECONNRESET ? End::RESET : End::TRUNCATED;
        }
        return false;
    }
    const auto count = recv(socket_, piece.data(), piece.size(), 0);
    if (count > 0) {
        input_.append(piece.data(), static_cast<std::size_t>(count));
        return true;
    }
    if (count < 0 && errno == EAGAIN)
        throw std::runtime_error("The server said nothing for too long.");
    end_ = count == 0 ? End::CLOSED : End::RESET;
    return false;
}

std::pair<std::string, End> exchange(int port, const std::string& request) {
    RawClient client(port);
    client.send(request);
    return client.receiveAll();
}

std::string get(const std::string& path, const std::string& lines) {
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + lines + "\r\n";
}

RawAnswer takeApart(const std::pair<std::string, End>& received) {
    RawAnswer answer;
    const auto headEnd = received.first.find(HEAD_END);
    const auto headSize =
        headEnd == std::string::npos ? received.first.size() : headEnd + HEAD_END.size();
    answer.head = received.first.substr(0, headSize);
    answer.body = received.first.substr(headSize);
    answer.end = received.second;
    return answer;
}

}  // namespace tavrin::httpclient_testing

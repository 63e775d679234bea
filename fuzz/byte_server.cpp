#include "byte_server.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "check.h"

namespace {

// The whole of what the client has to say must be read: closing with bytes unread would reset the
// connection, and take the answer away from the client.
bool readHead(int connection) {
    std::string head;
    while (head.find("\r\n\r\n") == std::string::npos) {
        std::array<char, 4096> bytes{};
        const ssize_t count = recv(connection, bytes.data(), bytes.size(), 0);
        if (count <= 0) return false;
        head.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

ByteServer::ByteServer() : listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    CHECK(bind(listening_, reinterpret_cast<const sockaddr*>(&address), size) == 0);
    CHECK(listen(listening_, 128) == 0);
    CHECK(getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size) == 0);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

ByteServer::~ByteServer() {
    stopping_ = true;
    shutdown(listening_, SHUT_RDWR);
    thread_.join();
    close(listening_);
}

void ByteServer::setAnswers(std::vector<std::string> answers, std::size_t pieceSize) {
    const std::lock_guard lock(mutex_);
    answers_ = std::move(answers);
    next_ = 0;
    pieceSize_ = pieceSize;
}

void ByteServer::serve() {
    while (!stopping_) {
        const int connection = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) continue;
        if (readHead(connection)) answer(connection);
        close(connection);
    }
}

void ByteServer::answer(int connection) {
    const std::lock_guard lock(mutex_);
    if (next_ == answers_.size()) return;
    const std::string& bytes = answers_[next_++];
    const int yes = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    for (std::size_t sent = 0; sent < bytes.size(); sent += pieceSize_) {
        const std::size_t size = std::min(pieceSize_, bytes.size() - sent);
        // A client that has seen enough has closed the connection.
        if (send(connection, bytes.data() + sent, size, MSG_NOSIGNAL) < 0) return;
    }
}

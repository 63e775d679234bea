#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// Listens on 127.0.0.1 and answers the head of a request, whatever it says, with bytes that it was
/// given, then closes the connection. It knows nothing of HTTP, so that it can say anything.
class ByteServer {
public:
    ByteServer();
    ~ByteServer();
    ByteServer(const ByteServer&) = delete;
    ByteServer& operator=(const ByteServer&) = delete;

    int port() const { return port_; }

    /// One of `answers` for each connection from now on, in pieces of `pieceSize` bytes. Later
    /// connections are closed without a byte.
    void setAnswers(std::vector<std::string> answers, std::size_t pieceSize);

private:
    void serve();
    void answer(int connection);

    int listening_;
    int port_;
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::vector<std::string> answers_;
    std::size_t next_ = 0;
    std::size_t pieceSize_ = 0;
    std::thread thread_;
};

#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

/// The far ends of this process's connections. While an object lives, whatever Internet connection
/// is made is one end of a socket pair, in whose other end bytes wait that the object was given. So
/// nothing listens, no thread serves, and what is read at a time is the same in every run. It knows
/// nothing of HTTP, so that it can say anything. One object lives at a time.
class SocketPairs {
public:
    /// One of `answers` for each connection, in reads of `pieceSize` bytes, and then the end. Later
    /// connections end at once. All answers have room in a socket's buffer.
    SocketPairs(std::vector<std::string> answers, std::size_t pieceSize);
    ~SocketPairs();
    SocketPairs(const SocketPairs&) = delete;
    SocketPairs& operator=(const SocketPairs&) = delete;

    /// The near end of a new connection. May be called from any thread.
    int connect();

    /// What was said on each connection so far, in the order of their being made.
    std::vector<std::string> received();

private:
    const std::vector<std::string> answers_;
    const std::size_t pieceSize_;
    std::mutex mutex_;
    std::vector<int> farEnds_;
};

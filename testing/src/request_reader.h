#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "peer_stream.h"
#include "request_head.h"

namespace tavrin::httpclient_testing::detail {

// Thrown for a chunked body that breaks its coding.
struct MalformedBody {};

// Reads the requests of one connection, one after the other: a head, then its body.
class RequestReader {
public:
    explicit RequestReader(PeerStream& stream) : stream_(stream) {}

    // The next head with the empty line at its end; nothing if the peer has ended, or sends more
    // than 4 MiB of it.
    std::optional<std::string> readHead();

    // From now on readBody() reads a body of this framing.
    void beginBody(const BodyFraming& framing);
    // At most `size` more bytes of the body, decoded; 0 at its end. ConnectionEnded if the peer
    // ends before.
    std::size_t readBody(char* to, std::size_t size);
    bool bodyIsRead() const { return !insideBody_; }

    // What was received behind the last request, and is so taken away.
    std::string takeReceived();

private:
    bool receive();
    void receiveOrEnd();
    std::string takeLine();
    void beginChunk();
    void skipTrailers();

    PeerStream& stream_;
    std::string input_;
    std::size_t begin_ = 0;  // what stands before it has been taken
    bool chunked_ = false;
    bool insideBody_ = false;
    std::uint64_t left_ = 0;  // of the body, or of the chunk
};

}  // namespace tavrin::httpclient_testing::detail

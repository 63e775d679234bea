#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "answer.h"
#include "peer_stream.h"
#include "server_state.h"

namespace tavrin::httpclient_testing::detail {

// Sends one answer as its step says. A fault that ends the connection leaves with ConnectionEnded.
class AnswerSender {
public:
    AnswerSender(PeerStream& stream, ServerState& state, const FaultStep& step);

    // `head` is the answer's header block; `withBody` whether its body follows.
    void send(const std::string& head, const Answer& answer, bool withBody);

private:
    enum class Ending { RESET, FINISH, BAD_CHUNK, TRUNCATED_CHUNK };
    struct Cut {
        std::uint64_t at;
        Ending ending;
    };
    struct Pace {
        std::uint64_t pieceSize = 1U << 16U;
        std::uint64_t bytesPerSecond = 0;  // 0: without a pause
        bool chunked = false;
    };
    static Pace paceOf(const std::optional<std::uint64_t>& bytesPerSecond);

    void sendInterim();
    void sendEndlessHead(const std::string& head);
    void sendHead(const std::string& head);
    void sendBody(const AnswerBody& body);
    // Sends bytes [0, end), with a stall on the way.
    void transmit(const AnswerBody& body, std::uint64_t end,
                  const std::optional<std::uint64_t>& stallAt, const Pace& pace);
    void transmitPart(const AnswerBody& body, std::uint64_t begin, std::uint64_t end,
                      const Pace& pace);
    void writeChunk(std::string_view payload);
    void endChunks();
    std::optional<Cut> firstCut() const;
    [[noreturn]] void perform(Ending ending);
    void finish();

    PeerStream& stream_;
    ServerState& state_;
    const FaultStep& step_;
};

}  // namespace tavrin::httpclient_testing::detail

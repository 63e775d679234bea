#include "answer_sender.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace tavrin::httpclient_testing::detail {
namespace {

// A chunked body shows several chunks even if it is small.
constexpr std::uint64_t CHUNKS_OF_A_SMALL_BODY = 4;
constexpr std::uint64_t LARGEST_CHUNK = 16384;
// What a truncated chunk announces and does not deliver.
constexpr std::uint64_t TRUNCATED_BYTES = 16;
constexpr std::uint64_t DRIPS_PER_SECOND = 50;
constexpr int MILLISECONDS = 1000;

std::string sizeLine(std::uint64_t size) {
    std::array<char, 32> line{};
    std::snprintf(line.data(), line.size(), "%llx\r\n", static_cast<unsigned long long>(size));
    return line.data();
}

std::uint64_t chunkSizeFor(std::uint64_t bodySize) {
    return std::clamp<std::uint64_t>(bodySize / CHUNKS_OF_A_SMALL_BODY, 1, LARGEST_CHUNK);
}

std::string interimAnswer(std::uint64_t size) {
    return "HTTP/1.1 103 Early Hints\r\nX-Interim: " + std::string(size, 'i') +
           "\r\nETag: \"interim\"\r\nAccept-Ranges: bytes\r\n\r\n";
}

}  // namespace

AnswerSender::Pace AnswerSender::paceOf(const std::optional<std::uint64_t>& bytesPerSecond) {
    if (!bytesPerSecond) return {};
    const std::uint64_t rate = std::max<std::uint64_t>(1, *bytesPerSecond);
    return {std::clamp<std::uint64_t>(rate / DRIPS_PER_SECOND, 1, Pace{}.pieceSize), rate, false};
}

AnswerSender::AnswerSender(PeerStream& stream, ServerState& state, const FaultStep& step)
    : stream_(stream), state_(state), step_(step) {}

void AnswerSender::send(const std::string& head, const Answer& answer, bool withBody) {
    sendInterim();
    if (step_.endlessHead) sendEndlessHead(head);
    sendHead(head);
    sendBody(withBody ? answer.body : AnswerBody());
    stream_.flush();
}

void AnswerSender::sendInterim() {
    const std::string interim = interimAnswer(step_.interimSize);
    for (std::uint64_t i = 0; i < step_.interimCount || step_.endlessInterim; ++i) {
        stream_.write(interim);
    }
}

void AnswerSender::sendEndlessHead(const std::string& head) {
    stream_.write(head.substr(0, head.size() - 2));
    for (std::uint64_t i = 0;; ++i) {
        stream_.write("X-Endless-" + std::to_string(i) + ": and another one\r\n");
    }
}

void AnswerSender::sendHead(const std::string& head) {
    const AnswerBody text(head);
    const std::uint64_t resetAt = step_.headResetAt.value_or(text.size());
    const std::uint64_t finishAt = step_.headFinishAt.value_or(text.size());
    const std::uint64_t end = std::min({resetAt, finishAt, text.size()});
    transmit(text, end, step_.headStallAt, paceOf(step_.headBytesPerSecond));
    if (step_.headResetAt && resetAt <= finishAt) perform(Ending::RESET);
    if (step_.headFinishAt) perform(Ending::FINISH);
}

void AnswerSender::sendBody(const AnswerBody& body) {
    const auto cut = firstCut();
    const std::uint64_t end = cut ? std::min(cut->at, body.size()) : body.size();
    const bool cutBeforeStall = cut && step_.stallAt && cut->at < *step_.stallAt;
    Pace pace = paceOf(step_.bytesPerSecond);
    pace.chunked = step_.framing == Framing::CHUNKED;
    if (pace.chunked) pace.pieceSize = std::min(pace.pieceSize, chunkSizeFor(body.size()));
    transmit(body, end, cutBeforeStall ? std::nullopt : step_.stallAt, pace);
    if (cut) perform(cut->ending);
    if (pace.chunked) endChunks();
}

void AnswerSender::transmit(const AnswerBody& body, std::uint64_t end,
                            const std::optional<std::uint64_t>& stallAt, const Pace& pace) {
    std::uint64_t begin = 0;
    if (stallAt) {
        begin = std::min(*stallAt, end);
        transmitPart(body, 0, begin, pace);
        state_.stall(stream_);
    }
    transmitPart(body, begin, end, pace);
}

void AnswerSender::transmitPart(const AnswerBody& body, std::uint64_t begin, std::uint64_t end,
                                const Pace& pace) {
    std::string piece;
    for (std::uint64_t offset = begin; offset < end; offset += piece.size()) {
        piece.resize(static_cast<std::size_t>(std::min(pace.pieceSize, end - offset)));
        body.read(offset, piece.data(), piece.size());
        if (pace.chunked) {
            writeChunk(piece);
        } else {
            stream_.write(piece);
        }
        if (pace.bytesPerSecond > 0) {
            stream_.pause(
                std::chrono::milliseconds(MILLISECONDS * piece.size() / pace.bytesPerSecond));
        }
    }
}

void AnswerSender::writeChunk(std::string_view payload) {
    stream_.write(sizeLine(payload.size()));
    stream_.write(payload);
    stream_.write("\r\n");
}

void AnswerSender::endChunks() {
    stream_.write("0\r\n");
    if (step_.trailers) {
        stream_.write("X-Trailer: late\r\nETag: \"trailer\"\r\nAccept-Ranges: none\r\n");
    }
    stream_.write("\r\n");
}

std::optional<AnswerSender::Cut> AnswerSender::firstCut() const {
    std::optional<Cut> first;
    const auto consider = [&](const std::optional<std::uint64_t>& at, Ending ending) {
        if (at && (!first || *at < first->at)) first = Cut{*at, ending};
    };
    consider(step_.resetAt, Ending::RESET);
    consider(step_.finishAt, Ending::FINISH);
    consider(step_.truncatedChunkAt, Ending::TRUNCATED_CHUNK);
    consider(step_.badChunkAt, Ending::BAD_CHUNK);
    return first;
}

void AnswerSender::perform(Ending ending) {
    switch (ending) {
        case Ending::RESET:
            stream_.reset();
            break;
        case Ending::FINISH:
            finish();
            break;
        case Ending::BAD_CHUNK:
            stream_.write("no number\r\n");
            finish();
            break;
        case Ending::TRUNCATED_CHUNK:
            stream_.write(sizeLine(TRUNCATED_BYTES));
            finish();
            break;
    }
    throw ConnectionEnded{};
}

void AnswerSender::finish() {
    stream_.finish(step_.notifyWhenCut ? CloseNotify::SEND : CloseNotify::OMIT);
}

}  // namespace tavrin::httpclient_testing::detail

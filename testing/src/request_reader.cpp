#include "request_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::string_view HEAD_END = "\r\n\r\n";
constexpr std::string_view LINE_END = "\r\n";
constexpr std::size_t LONGEST_HEAD = 4U << 20U;
constexpr std::size_t LONGEST_LINE = 65536;
constexpr std::size_t PIECE = 65536;

}  // namespace

bool RequestReader::receive() {
    input_.erase(0, begin_);
    begin_ = 0;
    std::array<char, PIECE> piece;  // not zeroed: what is read fills it
    const std::size_t count = stream_.read(piece.data(), piece.size());
    input_.append(piece.data(), count);
    return count > 0;
}

void RequestReader::receiveOrEnd() {
    if (!receive()) throw ConnectionEnded{};
}

std::optional<std::string> RequestReader::readHead() {
    std::size_t searched = begin_;
    for (;;) {
        const auto end = input_.find(HEAD_END, searched);
        if (end != std::string::npos) {
            std::string head = input_.substr(begin_, end + HEAD_END.size() - begin_);
            begin_ = end + HEAD_END.size();
            return head;
        }
        const std::size_t seen = input_.size() - begin_;
        if (seen > LONGEST_HEAD || !receive()) return std::nullopt;
        searched = seen - std::min(seen, HEAD_END.size() - 1);
    }
}

void RequestReader::beginBody(const BodyFraming& framing) {
    chunked_ = framing.chunked;
    left_ = framing.length;
    insideBody_ = !framing.isEmpty();
}

std::size_t RequestReader::readBody(char* to, std::size_t size) {
    if (insideBody_ && chunked_ && left_ == 0) beginChunk();
    if (!insideBody_ || size == 0) return 0;
    if (begin_ == input_.size()) receiveOrEnd();
    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>({left_, size, input_.size() - begin_}));
    input_.copy(to, count, begin_);
    begin_ += count;
    left_ -= count;
    if (left_ == 0) {
        if (!chunked_) {
            insideBody_ = false;
        } else if (!takeLine().empty()) {
            throw MalformedBody{};
        }
    }
    return count;
}

std::string RequestReader::takeReceived() {
    std::string received = input_.substr(begin_);
    begin_ = input_.size();
    return received;
}

std::string RequestReader::takeLine() {
    for (;;) {
        const auto end = input_.find(LINE_END, begin_);
        if (end != std::string::npos) {
            std::string line = input_.substr(begin_, end - begin_);
            begin_ = end + LINE_END.size();
            return line;
        }
        if (input_.size() - begin_ > LONGEST_LINE) throw MalformedBody{};
        receiveOrEnd();
    }
}

void RequestReader::beginChunk() {
    const std::string line = takeLine();
    const auto digitsEnd = line.data() + std::min(line.find(';'), line.size());
    const auto [stop, error] = std::from_chars(line.data(), digitsEnd, left_, 16);
    if (error != std::errc() || stop != digitsEnd) throw MalformedBody{};
    if (left_ > 0) return;
    skipTrailers();
    insideBody_ = false;
}

void RequestReader::skipTrailers() {
    while (!takeLine().empty()) {
    }
}

}  // namespace tavrin::httpclient_testing::detail

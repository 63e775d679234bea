#include "answer_body.h"

#include <algorithm>
#include <cstring>

#include "httpclient_testing/sha256.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::uint64_t DIGEST_PIECE = 1U << 16U;

}  // namespace

void AnswerBody::Piece::read(std::uint64_t offset, char* to, std::size_t count) const {
    if (text.empty()) {
        content.read(first + offset, to, count);
    } else {
        std::memcpy(to, text.data() + offset, count);
    }
}

AnswerBody::Piece AnswerBody::Piece::part(std::uint64_t offset, std::uint64_t count) const {
    if (text.empty()) return {count, "", content, first + offset};
    return {count, text.substr(offset, count), {}, 0};
}

AnswerBody::AnswerBody(std::string text) { append(std::move(text)); }

void AnswerBody::append(std::string text) {
    const std::uint64_t size = text.size();
    append(Piece{size, std::move(text), {}, 0});
}

void AnswerBody::append(const ServedContent& content, std::uint64_t first, std::uint64_t count) {
    append(Piece{count, "", content, first});
}

void AnswerBody::append(const AnswerBody& other, std::uint64_t first, std::uint64_t count) {
    for (const Piece& piece : other.pieces_) {
        if (count == 0) return;
        if (first < piece.size) {
            const std::uint64_t part = std::min(count, piece.size - first);
            append(piece.part(first, part));
            first = 0;
            count -= part;
        } else {
            first -= piece.size;
        }
    }
}

void AnswerBody::append(Piece piece) {
    if (piece.size == 0) return;
    size_ += piece.size;
    pieces_.push_back(std::move(piece));
}

void AnswerBody::read(std::uint64_t offset, char* to, std::size_t count) const {
    for (const Piece& piece : pieces_) {
        if (count == 0) return;
        if (offset >= piece.size) {
            offset -= piece.size;
            continue;
        }
        const auto part =
            static_cast<std::size_t>(std::min<std::uint64_t>(count, piece.size - offset));
        piece.read(offset, to, part);
        to += part;
        count -= part;
        offset = 0;
    }
}

std::string AnswerBody::sha256Bytes() const {
    Sha256 digest;
    std::string bytes;
    for (std::uint64_t offset = 0; offset < size_; offset += bytes.size()) {
        bytes.resize(std::min(DIGEST_PIECE, size_ - offset));
        read(offset, bytes.data(), bytes.size());
        digest.update(bytes);
    }
    return digest.bytes();
}

}  // namespace tavrin::httpclient_testing::detail

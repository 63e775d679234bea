#include "httpclient_testing/served_content.h"

#include <algorithm>
#include <cstring>

#include "httpclient_testing/sha256.h"

namespace tavrin::httpclient_testing {
namespace {

constexpr std::uint64_t WORD_SIZE = 8;

// The finaliser of splitmix64: neighbouring indices give unrelated words.
std::uint64_t wordAt(std::uint64_t seed, std::uint64_t index) {
    std::uint64_t word = (seed + 1) * 0x9E3779B97F4A7C15U + index;
    word = (word ^ (word >> 30U)) * 0xBF58476D1CE4E5B9U;
    word = (word ^ (word >> 27U)) * 0x94D049BB133111EBU;
    return word ^ (word >> 31U);
}

Sha256 digestOf(const ServedContent& content) {
    Sha256 digest;
    std::string piece(std::min<std::uint64_t>(content.size, 1U << 16U), '\0');
    for (std::uint64_t offset = 0; offset < content.size; offset += piece.size()) {
        piece.resize(std::min<std::uint64_t>(piece.size(), content.size - offset));
        content.read(offset, piece.data(), piece.size());
        digest.update(piece);
    }
    return digest;
}

}  // namespace

char ServedContent::byteAt(std::uint64_t offset) const {
    return static_cast<char>(wordAt(seed, offset / WORD_SIZE) >> (8 * (offset % WORD_SIZE)));
}

void ServedContent::read(std::uint64_t offset, char* to, std::size_t count) const {
    char* const end = to + count;
    while (to != end && offset % WORD_SIZE != 0) *to++ = byteAt(offset++);
    for (; end - to >= static_cast<std::ptrdiff_t>(WORD_SIZE);
         to += WORD_SIZE, offset += WORD_SIZE) {
        const std::uint64_t word = wordAt(seed, offset / WORD_SIZE);
        std::memcpy(to, &word, WORD_SIZE);  // little endian, as byteAt() counts
    }
    while (to != end) *to++ = byteAt(offset++);
}

std::string ServedContent::range(std::uint64_t offset, std::size_t count) const {
    std::string bytes(count, '\0');
    read(offset, bytes.data(), count);
    return bytes;
}

std::string ServedContent::all() const { return range(0, size); }

std::string ServedContent::sha256() const { return digestOf(*this).hex(); }

std::string ServedContent::sha256Bytes() const { return digestOf(*this).bytes(); }

}  // namespace tavrin::httpclient_testing

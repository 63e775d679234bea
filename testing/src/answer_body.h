#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "httpclient_testing/served_content.h"

namespace tavrin::httpclient_testing::detail {

// The body of an answer: pieces of text and of computed content, one behind the other, of which any
// part can be read.
class AnswerBody {
public:
    AnswerBody() = default;
    explicit AnswerBody(std::string text);

    void append(std::string text);
    // The `count` bytes of `content` from `first` on.
    void append(const ServedContent& content, std::uint64_t first, std::uint64_t count);
    // The `count` bytes of `other` from `first` on.
    void append(const AnswerBody& other, std::uint64_t first, std::uint64_t count);

    std::uint64_t size() const { return size_; }
    void read(std::uint64_t offset, char* to, std::size_t count) const;
    std::string sha256Bytes() const;

private:
    struct Piece {
        std::uint64_t size = 0;
        std::string text;  // empty if the piece is of `content`, from `first` on
        ServedContent content;
        std::uint64_t first = 0;

        void read(std::uint64_t offset, char* to, std::size_t count) const;
        Piece part(std::uint64_t offset, std::uint64_t count) const;
    };

    void append(Piece piece);

    std::vector<Piece> pieces_;
    std::uint64_t size_ = 0;
};

}  // namespace tavrin::httpclient_testing::detail

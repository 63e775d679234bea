#pragma once

#include <cstdint>
#include <functional>
#include <ios>
#include <streambuf>
#include <utility>

namespace tavrin::httpclient_curl::test {

// Keeps nothing of what it is given but the number of bytes, and tells it after each writing.
class ByteCounter : public std::streambuf {
public:
    using Written = std::function<void(std::int64_t count)>;

    explicit ByteCounter(Written written = [](std::int64_t) {}) : written_(std::move(written)) {}

    std::int64_t count() const { return count_; }

private:
    std::streamsize xsputn(const char*, std::streamsize size) override {
        count_ += size;
        written_(count_);
        return size;
    }
    int_type overflow(int_type c) override {
        const char byte = traits_type::to_char_type(c);
        xsputn(&byte, 1);
        return c;
    }
    pos_type seekoff(off_type offset, std::ios::seekdir, std::ios::openmode) override {
        return offset == 0 ? pos_type(count_) : pos_type(-1);
    }
    pos_type seekpos(pos_type position, std::ios::openmode) override {
        return position == pos_type(count_) ? position : pos_type(-1);
    }

    std::int64_t count_ = 0;
    Written written_;
};

}  // namespace tavrin::httpclient_curl::test

#include "content_decoder.h"

#include <new>

#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// By the size of the window zlib is told as well how the data is wrapped.
constexpr int GZIP_WINDOW = MAX_WBITS + 16;
constexpr int ZLIB_WINDOW = MAX_WBITS;
constexpr int RAW_WINDOW = -MAX_WBITS;

// Some servers send deflate without the wrapping that belongs to it. Bare data never begins so: its
// first block would be a stored one, behind whose type stand zeros.
bool isWrapped(char first) { return (static_cast<unsigned char>(first) & 0x0FU) == Z_DEFLATED; }

}  // namespace

std::unique_ptr<ContentDecoder> ContentDecoder::of(std::string_view codings) {
    if (equalIgnoringCase(codings, "gzip") || equalIgnoringCase(codings, "x-gzip"))
        return std::make_unique<ContentDecoder>(Coding::GZIP);
    if (equalIgnoringCase(codings, "deflate"))
        return std::make_unique<ContentDecoder>(Coding::DEFLATE);
    return nullptr;
}

ContentDecoder::~ContentDecoder() {
    if (state_ != State::NOT_BEGUN) inflateEnd(&stream_);
}

bool ContentDecoder::decode(std::string_view piece, const Take& take) {
    stream_.next_in = reinterpret_cast<const Bytef*>(piece.data());
    stream_.avail_in = static_cast<uInt>(piece.size());
    while (stream_.avail_in > 0) {
        if (state_ == State::NOT_BEGUN) begin(static_cast<char>(*stream_.next_in));
        if (state_ == State::ENDED && !goOn()) return false;
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(content_.data());
            stream_.avail_out = static_cast<uInt>(content_.size());
            const int result = inflate(&stream_, Z_NO_FLUSH);
            if (result == Z_MEM_ERROR) throw std::bad_alloc();
            if (result == Z_STREAM_END) {
                state_ = State::ENDED;
            } else if (result != Z_OK && result != Z_BUF_ERROR) {
                return false;
            }
            const std::size_t count = content_.size() - stream_.avail_out;
            if (count > 0) take({content_.data(), count});
        } while (state_ == State::INSIDE && stream_.avail_out == 0);
    }
    return true;
}

void ContentDecoder::begin(char first) {
    const int window = coding_ == Coding::GZIP ? GZIP_WINDOW
                       : isWrapped(first)      ? ZLIB_WINDOW
                                               : RAW_WINDOW;
    if (inflateInit2(&stream_, window) != Z_OK) throw std::bad_alloc();
    state_ = State::INSIDE;
}

// What is coded with gzip may have several members, one behind the other (RFC 1952, 2.2).
bool ContentDecoder::goOn() {
    if (coding_ != Coding::GZIP || inflateReset(&stream_) != Z_OK) return false;
    state_ = State::INSIDE;
    return true;
}

}  // namespace tavrin::httpclient_curl::detail

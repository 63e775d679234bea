#include "request_body.h"

#include <algorithm>
#include <utility>

#include "failure.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// What a stream has at once, or after waiting for its next byte: a source that gives its bytes
// slowly is passed on as it gives them, and one that has given all that was announced is not waited
// for.
std::size_t readSome(std::streambuf& buffer, char* to, std::size_t size) {
    if (buffer.in_avail() <= 0 && std::streambuf::traits_type::eq_int_type(
                                      buffer.sgetc(), std::streambuf::traits_type::eof())) {
        return 0;
    }
    const std::streamsize available = std::max<std::streamsize>(buffer.in_avail(), 1);
    const auto wanted = std::min(static_cast<std::streamsize>(size), available);
    return static_cast<std::size_t>(buffer.sgetn(to, wanted));
}

}  // namespace

StreamBody::StreamBody(std::istream& stream, std::int64_t length, LogicalRequest& logical,
                       std::string host)
    : stream_(stream),
      length_(length),
      logical_(logical),
      host_(std::move(host)),
      fresh_(!logical.bodyStart) {
    if (fresh_) logical_.bodyStart = stream_.rdbuf() ? stream_.tellg() : std::streampos(-1);
}

void StreamBody::rewind() {
    if (stream_.rdbuf() == nullptr) fail("its stream has no buffer");
    position_ = 0;
    if (fresh_ && !logical_.bodyTouched) {
        if (stream_.good()) return;
        logical_.bodyTouched = true;  // by whoever it was; no further attempt takes it as it is
        fail("its stream is not good");
    }
    // The frame's own rewinding leaves a stream that cannot seek with failbit set.
    stream_.clear();
    const std::streampos start = *logical_.bodyStart;
    if (!logical_.bodyTouched && stream_.tellg() == start) return;
    if (start == std::streampos(-1) || stream_.rdbuf()->pubseekpos(start, std::ios::in) != start) {
        fail("its stream cannot go back to be sent again");
    }
}

std::size_t StreamBody::read(char* to, std::size_t size) {
    // An empty body is looked at, and nothing taken of it.
    if (length_ != 0) logical_.bodyTouched = true;
    std::streambuf& buffer = *stream_.rdbuf();
    if (length_ == BodyFraming::CHUNKED) return readSome(buffer, to, size);
    const std::int64_t left = length_ - position_;
    if (left == 0 && length_ != 0) return 0;
    const std::size_t got = left == 0 ? 0
                                      : readSome(buffer, to,
                                                 static_cast<std::size_t>(std::min<std::int64_t>(
                                                     left, static_cast<std::int64_t>(size))));
    if (got == 0 && left != 0) {
        fail("it ended after " + std::to_string(position_) + " of " + std::to_string(length_) +
             " bytes");
    }
    position_ += static_cast<std::int64_t>(got);
    // Noticed before the last bytes are out, so that the server never sees the request complete.
    if (position_ == length_ && buffer.in_avail() > 0) {
        fail("it is longer than its Content-Length of " + std::to_string(length_) + " bytes");
    }
    return got;
}

void StreamBody::fail(const std::string& reason) const {
    throw failed(host_, "request body", reason);
}

}  // namespace tavrin::httpclient_curl::detail

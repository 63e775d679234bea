#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

#include "logical_request.h"
#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {

// The bytes of a request's body, in order, as often as they are wanted.
class BodySource {
public:
    virtual ~BodySource() = default;

    // In bytes; BodyFraming::CHUNKED if only the end will tell.
    virtual std::int64_t length() const = 0;

    // Goes to the first byte. Throws if that cannot be done.
    virtual void rewind() = 0;

    // Some bytes, at least one; 0 at the end. Throws what reading throws, and
    // HttpRequestFailedException when what is there is not what was announced.
    virtual std::size_t read(char* to, std::size_t size) = 0;
};

// The simple body. Where it stood before the first attempt is remembered in `logical`: the frame
// rewinds a stream to its very start, which for one that began elsewhere would be another body.
class StreamBody final : public BodySource {
public:
    StreamBody(std::istream& stream, std::int64_t length, LogicalRequest& logical,
               std::string host);

    std::int64_t length() const override { return length_; }
    void rewind() override;
    std::size_t read(char* to, std::size_t size) override;

private:
    [[noreturn]] void fail(const std::string& reason) const;

    std::istream& stream_;
    const std::int64_t length_;
    LogicalRequest& logical_;
    const std::string host_;
    const bool fresh_;  // made for the first attempt
    std::int64_t position_ = 0;
};

}  // namespace tavrin::httpclient_curl::detail

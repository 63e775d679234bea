#pragma once

// Input that zlib promises not to change.
#define ZLIB_CONST
#include <zlib.h>

#include <array>
#include <functional>
#include <memory>
#include <string_view>

namespace tavrin::httpclient_curl::detail {

// Decodes content that is coded with gzip or deflate (RFC 9110, 8.4.1), and knows whether all of it
// came. libcurl takes content whose coding ends too early for whole, and refuses content of several
// gzip members.
class ContentDecoder {
public:
    enum class Coding { GZIP, DEFLATE };
    using Take = std::function<void(std::string_view content)>;

    // For the value of a Content-Encoding field; null for other codings and for several.
    static std::unique_ptr<ContentDecoder> of(std::string_view codings);

    explicit ContentDecoder(Coding coding) : coding_(coding) {}
    ContentDecoder(const ContentDecoder&) = delete;
    ContentDecoder& operator=(const ContentDecoder&) = delete;
    ~ContentDecoder();

    // Hands over what the piece decodes to, in pieces of bounded size; false if it is damaged, and
    // nothing may follow then. Throws std::bad_alloc, and what `take` throws.
    bool decode(std::string_view piece, const Take& take);

    // Whether the coding has come to its end, or has not begun: empty content is not coded.
    bool isComplete() const { return state_ != State::INSIDE; }

private:
    enum class State { NOT_BEGUN, INSIDE, ENDED };

    void begin(char first);
    bool goOn();

    const Coding coding_;
    State state_ = State::NOT_BEGUN;
    z_stream stream_{};
    std::array<char, 16384> content_;
};

}  // namespace tavrin::httpclient_curl::detail

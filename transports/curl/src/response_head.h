#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "httpclient_core/headers.h"

namespace tavrin::httpclient_curl::detail {

// Collects the lines of a response's head: that of the final response, which is told apart from
// interim ones before it and trailers behind the body.
class ResponseHead {
public:
    struct Limits {
        std::int64_t bytes;
        std::int64_t count;
    };
    enum class Stage { OPEN, INTERIM, COMPLETE };

    explicit ResponseHead(Limits limits) : limits_(limits) {}

    // Forgets everything, for another exchange.
    void restart();

    // Looks at a piece of the next line before libcurl does. Throws MalformedHead for a first field
    // that begins with a blank (RFC 9112, 2.2): libcurl 7.88 takes it for the rest of a line of the
    // response before, writes to the memory that this one had, and frees it twice.
    void check(std::string_view piece);

    // Takes a line with its line end, and tells whether it ended an interim or the final head.
    // Throws MalformedHead for what is no response or exceeds a limit.
    Stage add(std::string_view line);

    // Of the final response, once it is complete.
    bool complete() const { return complete_; }
    int code() const { return code_; }
    const std::string& reason() const { return reason_; }
    httpclient_core::HttpHeaders& headers() { return headers_; }

    // The one value of a field; nothing if it is absent.
    const std::string* value(std::string_view name) const;

    // The values of all fields of a name as one list (RFC 9110, 5.3); empty if there is none.
    std::string allValues(std::string_view name) const;

    // Content-Length; -1 if there is none. Throws MalformedHead for values that differ or are no
    // numbers.
    std::int64_t contentLength() const;

    // Throws MalformedHead for any other transfer coding, which nobody asked for and libcurl would
    // decode, and for more than one.
    bool isChunked() const;

    // Whether the content has any coding other than identity.
    bool isEncoded() const;

private:
    void begin(std::string_view line);
    void addField(std::string_view line);
    void flushField();

    Limits limits_;
    int code_ = 0;
    std::string reason_;
    httpclient_core::HttpHeaders headers_;
    std::string name_;
    std::string value_;
    bool started_ = false;
    bool complete_ = false;
    bool checked_ = false;
    std::int64_t bytes_ = 0;
    std::int64_t count_ = 0;
    int interims_ = 0;
};

// What is wrong with a response; becomes the reason in the failure's text.
struct MalformedHead {
    std::string reason;
};

}  // namespace tavrin::httpclient_curl::detail

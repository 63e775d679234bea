#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavrin::httpclient_testing::detail {

// How the body of a request is delimited.
struct BodyFraming {
    bool chunked = false;
    std::uint64_t length = 0;

    bool isEmpty() const { return !chunked && length == 0; }
};

// A request's head, taken apart. A malformed one keeps what could be read of it.
struct RequestHead {
    std::string method;
    std::string target;
    std::string version;
    std::vector<std::string> headerLines;
    BodyFraming body;
    bool malformed = false;

    std::optional<std::string> header(const char* name) const;
    // The target without origin and query.
    std::string path() const;
    bool wantsClose() const;
    bool expectsContinue() const;
};

// `text` ends with the empty line.
RequestHead parseRequestHead(const std::string& text);

}  // namespace tavrin::httpclient_testing::detail

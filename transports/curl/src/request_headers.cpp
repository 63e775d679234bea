#include "request_headers.h"

#include <algorithm>
#include <charconv>

#include "failure.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpRequest;

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isTokenCharacter(char c) {
    return (c >= '0' && c <= '9') || (lower(c) >= 'a' && lower(c) <= 'z') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

std::int64_t plainNumber(const std::string& value) {
    std::int64_t number = 0;
    const char* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    const bool signedText = !value.empty() && value.front() == '-';
    if (error != std::errc() || stop != end || signedText) {
        throw refused("Content-Length is not a plain number");
    }
    return number;
}

// Reads the framing that the application asked for.
class FramingFields {
public:
    void contentLength(const std::string& value) {
        if (hasLength_) throw refused("Content-Length stands more than once");
        hasLength_ = true;
        length_ = plainNumber(value);
    }

    void transferEncoding(const std::string& value) {
        if (hasCoding_) throw refused("Transfer-Encoding stands more than once");
        hasCoding_ = true;
        chunked_ = equalIgnoringCase(value, "chunked");
        if (!chunked_ && !equalIgnoringCase(value, "identity")) {
            throw refused("Transfer-Encoding is neither chunked nor identity");
        }
    }

    BodyFraming framing(bool hasBody) const {
        if (!hasBody) {
            if (hasLength_ && length_ != 0)
                throw refused("Content-Length announces a body that is not there");
            return {};
        }
        if (hasLength_ && chunked_)
            throw refused("both Content-Length and Transfer-Encoding are given");
        if (chunked_) return {BodyFraming::CHUNKED};
        if (!hasLength_)
            throw refused("the body has neither a Content-Length nor a chunked Transfer-Encoding");
        return {length_};
    }

private:
    bool hasLength_ = false;
    bool hasCoding_ = false;
    bool chunked_ = false;
    std::int64_t length_ = 0;
};

}  // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return lower(x) == lower(y); });
}

const std::string* findHeader(const HeaderList& headers, std::string_view name) {
    for (const auto& header : headers) {
        if (equalIgnoringCase(header.first, name)) return &header.second;
    }
    return nullptr;
}

void removeHeader(HeaderList& headers, std::string_view name) {
    headers.erase(
        std::remove_if(headers.begin(), headers.end(),
                       [&](const auto& header) { return equalIgnoringCase(header.first, name); }),
        headers.end());
}

void checkHeader(const std::string& name, const std::string& value, const char* where) {
    if (name.empty() || !std::all_of(name.begin(), name.end(), isTokenCharacter)) {
        throw refused(std::string("the name of a ") + where + " is not a token");
    }
    if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
        throw refused(std::string("the value of the ") + where + " " + name +
                      " contains CR, LF or NUL");
    }
}

HeaderList checkedHeaders(const HttpRequest& request, BodyFraming& framing) {
    HeaderList checked;
    FramingFields fields;
    const httpclient_core::HttpHeaders headers = request.getHeaders();
    checked.reserve(headers.size() + 4);
    for (const auto& [name, value] : headers) {
        checkHeader(name, value, "header field");
        if (equalIgnoringCase(name, "Content-Length")) {
            fields.contentLength(value);
        } else if (equalIgnoringCase(name, "Transfer-Encoding")) {
            fields.transferEncoding(value);
        } else {
            checked.emplace_back(name, value);
        }
    }
    const bool multipart = request.hasMultipartBody();
    if (multipart && request.hasRequestBody()) {
        throw refused("it has both a simple and a multipart body");
    }
    if (request.getHttpMethod() == httpclient_core::HttpMethod::HEAD &&
        (multipart || request.hasRequestBody())) {
        throw refused("a HEAD request has no body");
    }
    // A multipart body knows its own length.
    if (!multipart) framing = fields.framing(request.hasRequestBody());
    return checked;
}

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_curl::detail {

using HeaderList = std::vector<std::pair<std::string, std::string>>;

// How a simple body is delimited on the wire.
struct BodyFraming {
    static constexpr std::int64_t CHUNKED = -1;
    std::int64_t length = 0;
};

bool equalIgnoringCase(std::string_view a, std::string_view b);

// The value of the first field of that name, or nothing.
const std::string* findHeader(const HeaderList& headers, std::string_view name);
void removeHeader(HeaderList& headers, std::string_view name);

// Throws HttpRequestFailedException unless the name is a token and the value is free of CR, LF and
// NUL. `where` tells whose field it is.
void checkHeader(const std::string& name, const std::string& value, const char* where);

// The request's fields, all checked, without those that frame the body: these are told by the
// framing, so that never both of them, nor a wrong one, go on the wire. Throws
// HttpRequestFailedException.
HeaderList checkedHeaders(const httpclient_core::HttpRequest& request, BodyFraming& framing);

}  // namespace tavrin::httpclient_curl::detail

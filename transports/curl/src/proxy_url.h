#pragma once

#include <optional>
#include <string>

namespace tavrin::httpclient_curl::detail {

// A proxy as libcurl is told of it. User and password stand apart: where libcurl cannot take them
// out of a URL, for want of memory for instance, it says nothing and sends the request past the
// proxy.
struct ProxyUrl {
    // Without a scheme it is an http one. Throws HttpRequestFailedException, with no credential in
    // its text, for what is no URL of a proxy; an empty text is none.
    static ProxyUrl parse(const std::string& text);

    std::string text;
    // "user:password", escaped as in the URL, if it has either.
    std::optional<std::string> credentials;
};

}  // namespace tavrin::httpclient_curl::detail

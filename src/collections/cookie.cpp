#include "httpclient_core/cookie.h"

#include "httpclient_core/headers.h"

namespace tavrin::httpclient_core {

NameValueCollection Cookie::parse(const std::string& text) {
    NameValueCollection cookies;
    HttpHeaders::splitElements(
        text,
        [&](const std::string& piece) { cookies.add(HttpHeaders::splitParameter(piece, "=")); },
        ";", true);
    return cookies;
}

std::string Cookie::toString(const NameValueCollection& cookies) {
    return cookies.toString("; ", "=");
}

}  // namespace tavrin::httpclient_core

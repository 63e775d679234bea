#include "httpclient_core/cookie.h"

#include <string_view>

#include "collections/entry_text.h"
#include "collections/header_value_tokenizer.h"
#include "collections/trim.h"

namespace tavrin::httpclient_core {

NameValueCollection Cookie::parse(const std::string& text) {
    NameValueCollection cookies;
    detail::forEachPiece(text, ";", [&](std::string_view piece) {
        const auto cookie = detail::trimmed(piece);
        if (cookie.empty()) return;
        const auto [name, value] = detail::cut(cookie, "=");
        cookies.append(name, value);
    });
    return cookies;
}

std::string Cookie::toString(const NameValueCollection& cookies) {
    std::string text;
    detail::appendEntries(text, "", "", cookies, "; ");
    return text;
}

}  // namespace tavrin::httpclient_core

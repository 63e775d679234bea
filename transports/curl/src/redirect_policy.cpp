#include "redirect_policy.h"

#include <algorithm>
#include <array>

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpMethod;

namespace {

bool isBodyHeader(std::string_view name) {
    static constexpr std::array<std::string_view, 11> NAMES{
        "Content-Digest", "Content-Encoding", "Content-Language", "Content-Location",
        "Content-MD5",    "Content-Range",    "Content-Type",     "Digest",
        "Expect",         "Last-Modified",    "Repr-Digest"};
    return std::any_of(NAMES.begin(), NAMES.end(),
                       [&](auto known) { return equalIgnoringCase(name, known); });
}

bool isSafeHeader(std::string_view name) {
    static constexpr std::array<std::string_view, 13> NAMES{"Accept",
                                                            "Accept-Charset",
                                                            "Accept-Encoding",
                                                            "Accept-Language",
                                                            "Cache-Control",
                                                            "If-Match",
                                                            "If-Range",
                                                            "If-None-Match",
                                                            "Pragma",
                                                            "If-Modified-Since",
                                                            "If-Unmodified-Since",
                                                            "Range",
                                                            "User-Agent"};
    return std::any_of(NAMES.begin(), NAMES.end(),
                       [&](auto known) { return equalIgnoringCase(name, known); });
}

template <typename Predicate>
void removeIf(HeaderList& headers, Predicate predicate) {
    headers.erase(std::remove_if(headers.begin(), headers.end(), predicate), headers.end());
}

}  // namespace

bool isRedirect(int code) {
    return code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

bool becomesGet(int code, HttpMethod method) {
    if (code == 303) return method != HttpMethod::GET && method != HttpMethod::HEAD;
    return (code == 301 || code == 302) && method == HttpMethod::POST;
}

void dropBodyHeaders(HeaderList& headers) {
    removeIf(headers, [](const auto& header) { return isBodyHeader(header.first); });
}

void keepSafeHeaders(HeaderList& headers, bool withBody) {
    removeIf(headers, [withBody](const auto& header) {
        return !isSafeHeader(header.first) && !(withBody && isBodyHeader(header.first));
    });
}

}  // namespace tavrin::httpclient_curl::detail

#include "credentials.h"

#include "httpclient_core/headers.h"

namespace tavrin::httpclient_testing {

bool isCredential(const std::string& headerName) {
    static const httpclient_core::HttpHeaders NAMES{
        {"Authorization", ""}, {"Proxy-Authorization", ""}, {"Cookie", ""}, {"Set-Cookie", ""}};
    return NAMES.hasHeader(headerName);
}

std::string withoutUserInfo(const std::string& url) {
    const auto scheme = url.find("://");
    if (scheme == std::string::npos) return url;
    const auto authority = scheme + 3;
    const auto end = url.find_first_of("/?#", authority);
    const auto at = url.substr(0, end).rfind('@');
    if (at == std::string::npos || at < authority) return url;
    return url.substr(0, authority) + BLANKED + url.substr(at);
}

}  // namespace tavrin::httpclient_testing

#include "proxy_url.h"

#include <curl/curl.h>

#include <memory>
#include <new>
#include <string_view>

#include "failure.h"
#include "request_headers.h"
#include "url_part.h"

namespace tavrin::httpclient_curl::detail {
namespace {

bool isProxyScheme(std::string_view scheme) {
    for (const char* known : {"http", "https", "socks4", "socks4a", "socks5", "socks5h"}) {
        if (equalIgnoringCase(scheme, known)) return true;
    }
    return false;
}

}  // namespace

// libcurl's own complaints would quote the whole text, password included.
ProxyUrl ProxyUrl::parse(const std::string& text) {
    ProxyUrl proxy;
    if (text.empty()) return proxy;
    if (hasBlankOrControl(text)) {
        throw refused("the proxy's URL contains a blank or a control character");
    }
    const std::size_t scheme = text.find("://");
    const std::unique_ptr<CURLU, void (*)(CURLU*)> url(curl_url(), curl_url_cleanup);
    if (url == nullptr) throw std::bad_alloc();
    const std::string whole = scheme == std::string::npos ? "http://" + text : text;
    const CURLUcode code =
        curl_url_set(url.get(), CURLUPART_URL, whole.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLUE_OK) {
        throw refused(std::string("the proxy's URL is malformed: ") + curl_url_strerror(code));
    }
    if (scheme != std::string::npos && !isProxyScheme(std::string_view(text).substr(0, scheme)))
        throw refused("the proxy's URL has a scheme that is not supported");
    if (hasCredentials(url.get())) {
        for (const CURLUPart part : {CURLUPART_USER, CURLUPART_PASSWORD})
            urlPart(url.get(), part, CURLU_URLDECODE, "proxy's URL");
        proxy.credentials =
            urlPart(url.get(), CURLUPART_USER) + ":" + urlPart(url.get(), CURLUPART_PASSWORD);
        removeCredentials(url.get());
    }
    proxy.text = urlPart(url.get(), CURLUPART_URL);
    return proxy;
}

}  // namespace tavrin::httpclient_curl::detail

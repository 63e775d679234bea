#include "request_url.h"

#include <algorithm>
#include <new>
#include <utility>

#include "failure.h"
#include "url_part.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// Of a longer one nothing could be sent anyway, and libcurl would call it malformed.
constexpr std::size_t MOST_BYTES = 1 << 20;

// Bytes beyond ASCII are escaped behind the authority alone, where they are not part of a name to
// be converted.
std::string escapeHighBytes(const std::string& text) {
    const auto isHigh = [](char c) { return static_cast<unsigned char>(c) >= 0x80; };
    if (std::none_of(text.begin(), text.end(), isHigh)) return text;
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    const std::size_t scheme = text.find("://");
    std::size_t from = text.find_first_of("/?#", scheme == std::string::npos ? 0 : scheme + 3);
    if (from == std::string::npos) from = text.size();
    std::string escaped = text.substr(0, from);
    for (std::size_t i = from; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (isHigh(text[i])) {
            escaped += {'%', DIGITS[c >> 4], DIGITS[c & 15]};
        } else {
            escaped += text[i];
        }
    }
    return escaped;
}

// libcurl takes the first word of "http:///path", "http:/path" and "///path" for the host that is
// missing.
bool lacksHost(const std::string& text) {
    const std::size_t scheme = text.find(':');
    const std::size_t from = text.compare(0, 2, "//") == 0 ? 0
                             : scheme == std::string::npos ? scheme
                                                           : scheme + 1;
    if (from == std::string::npos || text.find_first_of("/?#") < from) return false;
    return text.compare(from, 2, "//") != 0 || from + 2 == text.size() ||
           std::string("/?#").find(text[from + 2]) != std::string::npos;
}

bool isHttpScheme(CURLU* handle) {
    const std::string scheme = urlPart(handle, CURLUPART_SCHEME);
    return scheme == "http" || scheme == "https";
}

}  // namespace

RequestUrl::RequestUrl(Handle handle) : handle_(std::move(handle)) {
    CURLU* url = handle_.get();
    secure_ = urlPart(url, CURLUPART_SCHEME) == "https";
    hasCredentials_ = detail::hasCredentials(url);
    if (hasCredentials_) removeCredentials(url);
    host_ = urlPart(url, CURLUPART_HOST) + ":" + urlPart(url, CURLUPART_PORT, CURLU_DEFAULT_PORT);
    for (char& c : host_) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
}

RequestUrl RequestUrl::parse(const std::string& text) {
    if (text.size() > MOST_BYTES) throw refused("the URL has more than 1 MiB");
    if (hasBlankOrControl(text)) {
        throw refused("the URL contains a blank or a control character");
    }
    Handle handle(curl_url());
    if (handle == nullptr) throw std::bad_alloc();
    const CURLUcode code = curl_url_set(handle.get(), CURLUPART_URL, escapeHighBytes(text).c_str(),
                                        CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK)
        throw refused(std::string("the URL is malformed: ") + curl_url_strerror(code));
    if (!isHttpScheme(handle.get())) throw refused("the URL has neither the scheme http nor https");
    if (lacksHost(text)) throw refused("the URL names no host");
    std::string user = urlPart(handle.get(), CURLUPART_USER, CURLU_URLDECODE);
    std::string password = urlPart(handle.get(), CURLUPART_PASSWORD, CURLU_URLDECODE);
    RequestUrl url(std::move(handle));
    url.user_ = std::move(user);
    url.password_ = std::move(password);
    return url;
}

RequestUrl RequestUrl::resolve(const std::string& location) const {
    if (location.empty()) throw failed(host_, "redirect", "the Location field is empty");
    for (const char character : location) {
        const auto c = static_cast<unsigned char>(character);
        if (c < ' ' || c == 0x7f) {
            throw failed(host_, "redirect", "the Location field contains a control character");
        }
    }
    Handle handle(curl_url_dup(handle_.get()));
    if (handle == nullptr) throw std::bad_alloc();
    const CURLUcode code =
        curl_url_set(handle.get(), CURLUPART_URL, escapeHighBytes(location).c_str(),
                     CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE);
    if (code != CURLUE_OK) {
        throw failed(host_, "redirect",
                     std::string("the Location field is malformed: ") + curl_url_strerror(code));
    }
    if (!isHttpScheme(handle.get())) {
        throw failed(host_, "redirect", "it leads to neither an http nor an https URL");
    }
    if (lacksHost(location)) throw failed(host_, "redirect", "it names no host");
    RequestUrl target(std::move(handle));
    target.hasCredentials_ = hasCredentials_ && sameOrigin(target);
    target.user_ = target.hasCredentials_ ? user_ : std::string();
    target.password_ = target.hasCredentials_ ? password_ : std::string();
    return target;
}

std::string RequestUrl::text() const { return urlPart(handle_.get(), CURLUPART_URL); }

std::string RequestUrl::resource() const {
    return (secure_ ? "https://" : "http://") + host_ + urlPart(handle_.get(), CURLUPART_PATH);
}

}  // namespace tavrin::httpclient_curl::detail

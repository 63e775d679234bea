#include "url_parts.h"

#include <arpa/inet.h>

#include <algorithm>

#include "lowered.h"

namespace tavrin::http_tool {
namespace {

// Where the authority of `url` begins and ends; nothing if it has none. A "://" behind what no
// scheme consists of (RFC 3986, 3.1) belongs to another URL, in the query say.
struct Authority {
    std::size_t begin;
    std::size_t end;
};

std::optional<Authority> authorityOf(const std::string& url) {
    const auto separator =
        url.find_first_not_of("+-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    if (separator == 0 || separator == std::string::npos || url.compare(separator, 3, "://") != 0) {
        return std::nullopt;
    }
    const auto begin = separator + 3;
    return Authority{begin, std::min(url.find_first_of("/?#", begin), url.size())};
}

std::string hostOf(const std::string& authority) {
    const auto at = authority.rfind('@');
    const std::string host = at == std::string::npos ? authority : authority.substr(at + 1);
    if (!host.empty() && host.front() == '[') return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}

// Whether the authority was ended too early, by a "/" in a password: what seems to be a port is
// none.
bool endsInPassword(const std::string& authority) {
    const bool isAddress = !authority.empty() && authority.front() == '[';
    const auto colon = authority.find(':', isAddress ? authority.find(']') : 0);
    if (authority.find('@') != std::string::npos || colon == std::string::npos) return false;
    return authority.find_first_not_of("0123456789", colon + 1) != std::string::npos;
}

}  // namespace

std::optional<UrlParts> splitUrl(const std::string& url) {
    const auto authority = authorityOf(url);
    if (!authority) return std::nullopt;
    UrlParts parts;
    parts.scheme = lowered(url.substr(0, url.find("://")));
    parts.host = lowered(hostOf(url.substr(authority->begin, authority->end - authority->begin)));
    parts.path =
        url.substr(authority->end, url.find_first_of("?#", authority->end) - authority->end);
    if (parts.host.empty()) return std::nullopt;
    return parts;
}

std::string withScheme(const std::string& url) {
    if (authorityOf(url)) return url;
    in6_addr address{};
    const bool isAddress = inet_pton(AF_INET6, url.c_str(), &address) == 1;
    return "http://" + (isAddress ? "[" + url + "]" : url);
}

std::string withoutCredentials(const std::string& url) {
    const auto authority = authorityOf(url);
    if (!authority) return url;
    const bool tooEarly =
        endsInPassword(url.substr(authority->begin, authority->end - authority->begin));
    const auto at = url.substr(0, tooEarly ? url.size() : authority->end).rfind('@');
    if (at == std::string::npos || at < authority->begin) return url;
    return url.substr(0, authority->begin) + "***" + url.substr(at);
}

}  // namespace tavrin::http_tool

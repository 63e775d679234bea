#include "credentials.h"

#include <algorithm>

#include "header_line.h"
#include "httpclient_core/headers.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::HttpHeaders;

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& candidate) {
        return detail::sameName(candidate, name);
    });
}

// Where the authority of a URL begins, and where its user information ends; npos if it has none.
struct UserInfo {
    std::size_t begin = std::string::npos;
    std::size_t end = std::string::npos;
};

UserInfo findUserInfo(const std::string& url) {
    const auto scheme = url.find("://");
    if (scheme == std::string::npos) return {};
    const auto authority = scheme + 3;
    const auto at = url.substr(0, url.find_first_of("/?#", authority)).rfind('@');
    if (at == std::string::npos || at < authority) return {};
    return {authority, at};
}

std::string withoutUserInfo(const std::string& url) {
    const UserInfo info = findUserInfo(url);
    if (info.end == std::string::npos) return url;
    return url.substr(0, info.begin) + BLANKED + url.substr(info.end);
}

// The closing quote of the JSON text whose opening one stands at `open`; the end if it is cut off.
std::size_t closingQuote(const std::string& json, std::size_t open) {
    std::size_t at = open + 1;
    while (at < json.size() && json[at] != '"') at += json[at] == '\\' ? 2 : 1;
    return std::min(at, json.size());
}

// The opening quote of the text that is the member's value, if the name ends at `nameEnd`.
std::size_t openingQuoteOfValue(const std::string& json, std::size_t nameEnd) {
    static const char BLANKS[] = " \t\r\n";
    const auto colon = json.find_first_not_of(BLANKS, nameEnd + 1);
    if (colon == std::string::npos || json[colon] != ':') return std::string::npos;
    const auto value = json.find_first_not_of(BLANKS, colon + 1);
    return value != std::string::npos && json[value] == '"' ? value : std::string::npos;
}

}  // namespace

bool isCredential(const std::string& headerName, const CredentialNames& further) {
    static const HttpHeaders NAMES{{"Authorization", ""}, {"Proxy-Authorization", ""},
                                   {"Cookie", ""},        {"Set-Cookie", ""},
                                   {"X-Api-Key", ""},     {"Api-Key", ""},
                                   {"X-Auth-Token", ""},  {"X-Access-Token", ""},
                                   {"X-Csrf-Token", ""},  {"X-Xsrf-Token", ""}};
    return NAMES.hasHeader(headerName) || contains(further.headers, headerName);
}

bool isSecretParameter(const std::string& name, const CredentialNames& further) {
    static const HttpHeaders NAMES{{"access_token", ""}, {"api_key", ""},       {"apikey", ""},
                                   {"auth_token", ""},   {"client_secret", ""}, {"id_token", ""},
                                   {"password", ""},     {"refresh_token", ""}, {"signature", ""},
                                   {"token", ""}};
    return NAMES.hasHeader(name) || contains(further.parameters, name);
}

std::string fieldValueWithoutCredentials(const std::string& name, const std::string& value,
                                         const CredentialNames& further) {
    static const HttpHeaders URLS{{"Location", ""}, {"Content-Location", ""}, {"Referer", ""}};
    if (isCredential(name, further)) return BLANKED;
    return URLS.hasHeader(name) ? urlWithoutCredentials(value, further) : value;
}

std::string urlWithoutCredentials(const std::string& url, const CredentialNames& further) {
    std::string text = withoutUserInfo(url);
    const auto query = text.find('?');
    if (query == std::string::npos) return text;
    const auto fragment = std::min(text.find('#', query), text.size());
    return text.substr(0, query + 1) +
           parametersWithoutCredentials(text.substr(query + 1, fragment - query - 1), further) +
           text.substr(fragment);
}

std::string parametersWithoutCredentials(const std::string& parameters,
                                         const CredentialNames& further) {
    std::string text;
    for (std::size_t begin = 0; begin <= parameters.size();) {
        const auto end = std::min(parameters.find('&', begin), parameters.size());
        const std::string pair = parameters.substr(begin, end - begin);
        const auto equals = pair.find('=');
        const bool secret =
            equals != std::string::npos && isSecretParameter(pair.substr(0, equals), further);
        text += secret ? pair.substr(0, equals + 1) + BLANKED : pair;
        if (end < parameters.size()) text += '&';
        begin = end + 1;
    }
    return text;
}

std::string jsonWithoutCredentials(const std::string& json, const CredentialNames& further) {
    std::string text;
    std::size_t copied = 0;
    for (auto open = json.find('"'); open != std::string::npos;) {
        const auto close = closingQuote(json, open);
        const auto value = openingQuoteOfValue(json, close);
        if (value != std::string::npos &&
            isSecretParameter(json.substr(open + 1, close - open - 1), further)) {
            text += json.substr(copied, value + 1 - copied) + BLANKED;
            copied = closingQuote(json, value);
        }
        open = json.find('"', std::max(copied, close) + 1);
    }
    return text + json.substr(copied);
}

std::string userInfo(const std::string& url) {
    const UserInfo info = findUserInfo(url);
    if (info.end == std::string::npos) return {};
    return url.substr(info.begin, info.end - info.begin);
}

}  // namespace tavrin::httpclient_testing

#include "message_secrets.h"

#include <algorithm>
#include <vector>

#include "decoded_text.h"
#include "header_line.h"
#include "json_secrets.h"
#include "multipart_secrets.h"
#include "text_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::HttpHeaders;

constexpr std::size_t LONGEST_BOUNDARY = 70;
constexpr std::size_t DEEPEST_MULTIPART = 8;

bool isOneOf(const std::vector<std::string_view>& names, std::string_view name) {
    return std::any_of(names.begin(), names.end(),
                       [name](std::string_view candidate) { return sameName(candidate, name); });
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && sameName(text.substr(text.size() - end.size()), end);
}

// Calls `take` with each piece between two of the separators, and where it begins.
template <typename Take>
void forEachPiece(std::string_view text, const char* separators, Take take) {
    for (std::size_t begin = 0; begin <= text.size();) {
        const auto end = std::min(text.find_first_of(separators, begin), text.size());
        take(text.substr(begin, end - begin), begin);
        begin = end + 1;
    }
}

// The user information of a URL that has the text to itself: nothing but what ends an authority
// ends it, while in a text around it a quote might.
Secrets secretsInAuthority(std::string_view url) {
    Secrets found;
    const auto slashes = url.substr(0, url.find_first_of("?#")).find("//");
    if (slashes == std::string_view::npos) return found;
    const auto begin = slashes + 2;
    const auto at = url.substr(0, url.find_first_of("/?#", begin)).rfind('@');
    if (at != std::string_view::npos && at > begin) add(found, begin, at);
    return found;
}

Secrets secretsInPair(std::string_view pair, const SecretNames& names) {
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos) return secretsInText(pair, names);
    // A fragment may have a path and a query of its own.
    const std::string_view path = pair.substr(0, equals);
    const std::string_view name = path.substr(path.rfind('?') + 1);
    const std::string_view value = pair.substr(equals + 1);
    Secrets found;
    if (names.isParameter(name)) {
        add(found, equals + 1, pair.size());
        return found;
    }
    const DecodedText decoded = percentDecoded(value);
    addAll(found, decoded.original(secretsInText(decoded.text, names)), equals + 1);
    addAll(found, decoded.original(secretsInAuthority(decoded.text)), equals + 1);
    return found;
}

Secrets secretsInParameters(std::string_view parameters, const SecretNames& names) {
    Secrets found;
    forEachPiece(parameters, "&", [&](std::string_view pair, std::size_t begin) {
        addAll(found, secretsInPair(pair, names), begin);
    });
    return found;
}

// Of a challenge the scheme and the realm are for people; the rest is one half of a proof.
Secrets secretsInChallenge(std::string_view value, const CredentialNames& further) {
    CredentialNames challenge = further;
    for (const char* const name : {"nonce", "nextnonce", "opaque"}) {
        challenge.parameters.emplace_back(name);
    }
    return secretsInText(value, SecretNames(challenge));
}

bool isForm(std::string_view type) { return endsWith(type, "/x-www-form-urlencoded"); }

bool isJson(std::string_view type) {
    return endsWith(type, "json") || endsWith(type, "jsonl") || endsWith(type, "json-seq");
}

bool isBinary(std::string_view type, std::string_view body) {
    static const std::vector<std::string_view> KINDS{"image", "audio", "video", "font"};
    static const std::vector<std::string_view> TYPES{"application/zip", "application/gzip",
                                                     "application/pdf"};
    return isOneOf(KINDS, type.substr(0, type.find('/'))) || isOneOf(TYPES, type) ||
           body.find('\0') != std::string_view::npos;
}

// An object, or an array that may hold some.
bool beginsAsJson(std::string_view body) {
    static const char BLANKS[] = " \t\r\n";
    const auto open = body.find_first_not_of(BLANKS);
    if (open == std::string_view::npos) return false;
    const auto inside = body.find_first_not_of(BLANKS, open + 1);
    if (inside == std::string_view::npos) return false;
    return (body[open] == '{' && body[inside] == '"') ||
           (body[open] == '[' && (body[inside] == '{' || body[inside] == '['));
}

// The boundary that the type tells, if the body has such parts.
std::string_view toldDelimiter(std::string_view body, std::string_view contentType) {
    const std::string_view boundary = boundaryOf(contentType);
    const bool isMultipart = sameName(contentType.substr(0, contentType.find('/')), "multipart");
    return isMultipart && hasParts(body, boundary) ? boundary : std::string_view();
}

// The boundary of a text that may be a multipart body; "" if it can be none.
std::string_view firstDelimiter(std::string_view body) {
    if (body.substr(0, 2) != "--") return {};
    const std::string_view line = body.substr(2, body.find_first_of("\r\n") - 2);
    return line.size() <= LONGEST_BOUNDARY ? line : std::string_view();
}

}  // namespace

Secrets secretsInUrl(std::string_view url, const SecretNames& names) {
    const auto path = std::min(url.find_first_of("?#"), url.size());
    Secrets found = secretsInText(url.substr(0, path), names);
    addAll(found, secretsInAuthority(url), 0);
    addAll(found, secretsInBareAuthority(url), 0);
    forEachPiece(url.substr(path), "#", [&](std::string_view parameters, std::size_t begin) {
        addAll(found, secretsInParameters(parameters, names), path + begin);
    });
    return found;
}

Secrets secretsInHeaderValue(std::string_view name, std::string_view value,
                             const SecretNames& names) {
    static const std::vector<std::string_view> CHALLENGES{"WWW-Authenticate", "Proxy-Authenticate"};
    static const std::vector<std::string_view> URLS{"Location", "Content-Location", "Referer"};
    Secrets found;
    if (names.isHeader(name)) {
        add(found, 0, value.size());
        return found;
    }
    if (isOneOf(CHALLENGES, name)) return secretsInChallenge(value, names.further());
    return isOneOf(URLS, name) ? secretsInUrl(value, names) : secretsInText(value, names);
}

Secrets secretsInBody(std::string_view body, std::string_view contentType, const SecretNames& names,
                      std::size_t depth) {
    if (depth > DEEPEST_MULTIPART) return {{0, body.size()}};
    const std::string_view type = withoutBlanks(contentType.substr(0, contentType.find(';')));
    if (isForm(type)) return secretsInParameters(body, names);
    if (isJson(type)) return secretsInJson(body, names);
    if (const auto boundary = toldDelimiter(body, contentType); !boundary.empty()) {
        return secretsInMultipart(body, boundary, names, depth);
    }
    if (isBinary(type, body)) return {};
    if (beginsAsJson(body)) return secretsInJson(body, names);
    Secrets found = secretsInText(body, names);
    // A part says what it is: else each line might begin another body within the one before.
    if (depth > 0) return found;
    if (const auto delimiter = firstDelimiter(body); !delimiter.empty()) {
        addAll(found, secretsInMultipart(body, delimiter, names, depth), 0);
    }
    return found;
}

std::string contentType(const HttpHeaders& headers) {
    const auto type = headers.find(HttpHeaders::CONTENT_TYPE);
    return type == headers.end() ? std::string() : type->second;
}

Secrets secretsInSentence(std::string_view text, const SecretNames& names) {
    Secrets found = secretsInText(text, names);
    forEachPiece(text, " \t\r\n\"'<>(),", [&](std::string_view word, std::size_t begin) {
        addAll(found, secretsInBareAuthority(word), begin);
    });
    return found;
}

}  // namespace tavrin::httpclient_testing::detail

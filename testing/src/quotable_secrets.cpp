#include "quotable_secrets.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>
#include <variant>

#include "ascii.h"
#include "base64.h"
#include "decoded_text.h"
#include "header_line.h"
#include "message_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::DataPart;
using httpclient_core::HttpHeaders;

bool isWordByte(const std::string& text, std::size_t at) {
    return at < text.size() && isLetterOrDigit(text[at]);
}

bool isLong(const std::string& secret) { return secret.size() >= LONG_SECRET; }

bool isWord(const std::string& text, std::size_t begin, std::size_t end) {
    return (begin == 0 || !isWordByte(text, begin - 1)) && !isWordByte(text, end);
}

// The inside of a text of JSON, with escapes for all that is not ASCII, or for none of it.
std::string jsonEscaped(const std::string& text, bool isAscii) {
    using Json = nlohmann::json;
    const std::string json = Json(text).dump(-1, ' ', isAscii, Json::error_handler_t::replace);
    return json.substr(1, json.size() - 2);
}

// Some who write JSON do so, in case that it is put into a script.
std::string withSlashesEscaped(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '/') escaped += '\\';
        escaped += character;
    }
    return escaped;
}

}  // namespace

void QuotableSecrets::take(const RecordedRequest& request, const SecretNames& names) {
    take(request.url, secretsInUrl(request.url, names));
    take(request.headers, names);
    if (request.body) {
        take(*request.body, secretsInBody(*request.body, contentType(request.headers), names));
    }
    if (!request.multipartBody) return;
    for (const auto& part : request.multipartBody->getContent()) {
        std::visit([&](const auto& one) { take(one.getHeader().getCustomHeaders(), names); }, part);
        if (const auto* const data = std::get_if<DataPart>(&part)) take(*data, names);
    }
}

void QuotableSecrets::take(const RecordedResponse& response, const std::string& bodyBefore,
                           const SecretNames& names) {
    static const char SET_COOKIE[] = "Set-Cookie";
    HttpHeaders headers;
    for (const auto& [name, value] : response.headers) {
        // Behind the cookie stands when and where it holds, which is said elsewhere too.
        const bool isCookie = sameName(name, SET_COOKIE);
        headers.addHeaderValue(name, isCookie ? value.substr(0, value.find(';')) : value);
    }
    take(headers, names);
    take(response.effectiveUrl, secretsInUrl(response.effectiveUrl, names));
    const std::string body = bodyBefore + response.body;
    take(body, secretsInBody(body, contentType(response.headers), names));
}

Secrets QuotableSecrets::in(const std::string& text, std::size_t shortest) const {
    Secrets found;
    for (const std::string& secret : texts_) {
        if (secret.size() < shortest) continue;
        for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret, at + 1)) {
            const auto end = at + secret.size();
            if (isLong(secret) || isWord(text, at, end)) add(found, at, end);
        }
    }
    return found;
}

void QuotableSecrets::take(const HttpHeaders& headers, const SecretNames& names) {
    for (const auto& [name, value] : headers) {
        take(value, secretsInHeaderValue(name, value, names));
    }
}

void QuotableSecrets::take(const DataPart& part, const SecretNames& names) {
    const std::string data = part.getData();
    if (names.isParameter(part.getHeader().getPartName())) return keep(data);
    take(data, secretsInBody(data, part.getHeader().getContentType(), names));
}

void QuotableSecrets::take(const std::string& text, const Secrets& secrets) {
    for (const Secret& secret : secrets) {
        const std::string whole = text.substr(secret.begin, secret.end - secret.begin);
        const auto keepBoth = [this](const std::string& piece) {
            keep(piece);
            keep(piece.substr(piece.find_first_of(" =:") + 1));
            keepDecodedUser(piece);
        };
        keep(whole);
        keepEncodedUser(whole);
        HttpHeaders::splitElements(whole, keepBoth, ";", true);
    }
}

void QuotableSecrets::keep(const std::string& text) {
    // In a form it stands for a blank.
    std::string spaced = text;
    std::replace(spaced.begin(), spaced.end(), '+', ' ');
    for (const std::string& meant :
         {text, percentDecoded(text).text, percentDecoded(spaced).text, jsonDecoded(text).text}) {
        keepAsJsonToo(meant);
    }
}

void QuotableSecrets::keepAsJsonToo(const std::string& text) {
    if (text.empty()) return;
    texts_.insert(text);
    for (const bool isAscii : {true, false}) {
        const std::string escaped = jsonEscaped(text, isAscii);
        texts_.insert(escaped);
        texts_.insert(withSlashesEscaped(escaped));
    }
}

// What the scheme Basic tells, "user:password", goes on the wire in base64; a client takes it from
// a URL, too.
void QuotableSecrets::keepEncodedUser(const std::string& user) {
    if (user.find(':') != std::string::npos) keepAsJsonToo(base64(percentDecoded(user).text));
}

void QuotableSecrets::keepDecodedUser(const std::string& credentials) {
    static const std::string SCHEME = "Basic ";
    if (!sameName(credentials.substr(0, SCHEME.size()), SCHEME)) return;
    const std::string_view encoded = std::string_view(credentials).substr(SCHEME.size());
    const auto user = bytesOfBase64(std::string(withoutBlanks(encoded)));
    if (!user) return;
    keep(*user);
    keep(user->substr(user->find(':') + 1));
}

}  // namespace tavrin::httpclient_testing::detail

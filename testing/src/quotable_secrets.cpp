#include "quotable_secrets.h"

#include <cctype>
#include <variant>

#include "decoded_text.h"
#include "message_secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::DataPart;
using httpclient_core::HttpHeaders;

bool isWordByte(const std::string& text, std::size_t at) {
    return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
}

bool isWord(const std::string& text, std::size_t begin, std::size_t end) {
    return (begin == 0 || !isWordByte(text, begin - 1)) && !isWordByte(text, end);
}

}  // namespace

QuotableSecrets::QuotableSecrets(const RecordedRequest& request, const SecretNames& names) {
    take(request.url, secretsInUrl(request.url, names));
    for (const auto& [name, value] : request.headers) {
        take(value, secretsInHeaderValue(name, value, names));
    }
    if (request.body) {
        take(*request.body, secretsInBody(*request.body, contentType(request.headers), names));
    }
    if (!request.multipartBody) return;
    for (const auto& part : request.multipartBody->getContent()) {
        const auto* const data = std::get_if<DataPart>(&part);
        if (data && names.isParameter(data->getHeader().getPartName())) keep(data->getData());
    }
}

Secrets QuotableSecrets::in(const std::string& text, std::size_t shortest) const {
    Secrets found;
    for (const std::string& secret : texts_) {
        if (secret.size() < shortest) continue;
        for (auto at = text.find(secret); at != std::string::npos; at = text.find(secret, at + 1)) {
            if (isWord(text, at, at + secret.size())) add(found, at, at + secret.size());
        }
    }
    return found;
}

void QuotableSecrets::take(const std::string& text, const Secrets& secrets) {
    for (const Secret& secret : secrets) {
        const auto keepBoth = [this](const std::string& piece) {
            keep(piece);
            keep(piece.substr(piece.find_first_of(" =:") + 1));
        };
        HttpHeaders::splitElements(text.substr(secret.begin, secret.end - secret.begin), keepBoth,
                                   ";", true);
    }
}

void QuotableSecrets::keep(const std::string& text) {
    if (text.empty()) return;
    texts_.push_back(text);
    texts_.push_back(percentDecoded(text).text);
}

}  // namespace tavrin::httpclient_testing::detail

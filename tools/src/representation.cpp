#include "representation.h"

#include <openssl/evp.h>

#include <array>
#include <cctype>
#include <charconv>

#include "checksum.h"
#include "http_date.h"

namespace tavrin::http_tool {

using httpclient_core::HttpHeaders;

namespace {

std::string valueOr(const HttpHeaders& headers, const char* name, const char* fallback) {
    const auto field = headers.find(name);
    return field == headers.end() ? fallback : field->second;
}

std::string lowered(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Within a minute of its change a resource may change again under the same date.
bool isStrongDate(const std::string& lastModified, const std::string& answered) {
    const auto modified = parsedDate(lastModified);
    const auto date = parsedDate(answered);
    return modified && date && *date - *modified >= 60;
}

std::string strongValidator(const HttpHeaders& headers) {
    std::string etag = valueOr(headers, "ETag", "");
    if (etag.size() >= 2 && etag.front() == '"' && etag.back() == '"') return etag;
    std::string lastModified = valueOr(headers, "Last-Modified", "");
    return isStrongDate(lastModified, valueOr(headers, "Date", "")) ? lastModified : "";
}

// What a byte sequence of 32 bytes, ":BASE64:" (RFC 8941, 3.3.5), holds, in hexadecimal digits; ""
// for anything else.
std::string hexOfSha256(const std::string& sequence) {
    constexpr std::size_t BYTES = 32;
    constexpr std::size_t CHARACTERS = 44;
    if (sequence.size() != CHARACTERS + 2 || sequence.front() != ':' || sequence.back() != ':' ||
        sequence.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                   "+/",
                                   1) != CHARACTERS ||
        sequence[CHARACTERS] != '=') {
        return "";
    }
    std::array<unsigned char, BYTES + 1> bytes{};
    EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(sequence.data()) + 1,
                    CHARACTERS);
    return inHex({reinterpret_cast<const char*>(bytes.data()), BYTES});
}

bool hasCoding(const HttpHeaders& headers) {
    return lowered(valueOr(headers, "Content-Encoding", "identity")) != "identity";
}

}  // namespace

std::optional<std::int64_t> contentLength(const HttpHeaders& headers) {
    const std::string text = valueOr(headers, "Content-Length", "");
    std::int64_t length = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, length);
    if (error != std::errc() || stop != end || length < 0) return std::nullopt;
    return length;
}

std::string announcedSha256(const HttpHeaders& headers) {
    std::string sha256;
    for (const auto& [name, value] : headers) {
        if (lowered(name) != "repr-digest") continue;
        const auto read = [&sha256](const std::string& member) {
            const auto equals = member.find('=');
            if (member.substr(0, equals) != "sha-256" || equals == std::string::npos) return;
            const auto end = member.find(';', equals);
            sha256 = hexOfSha256(member.substr(equals + 1, end - equals - 1));
        };
        HttpHeaders::splitElements(value, read, ",", true);
    }
    return sha256;
}

std::optional<Representation> representationOf(const HttpHeaders& headers) {
    const auto length = contentLength(headers);
    const std::string validator = strongValidator(headers);
    if (!length || validator.empty() || hasCoding(headers)) return std::nullopt;
    return Representation{validator, *length, announcedSha256(headers)};
}

bool continues(const HttpHeaders& headers, const Representation& representation,
               std::int64_t offset) {
    const std::string range = "bytes " + std::to_string(offset) + "-" +
                              std::to_string(representation.length - 1) + "/" +
                              std::to_string(representation.length);
    const bool isEtag = representation.validator.front() == '"';
    const std::string sha256 = announcedSha256(headers);
    const bool sameDigest =
        sha256.empty() || representation.sha256.empty() || sha256 == representation.sha256;
    const std::string type = lowered(valueOr(headers, "Content-Type", ""));
    return valueOr(headers, "Content-Range", "") == range &&
           valueOr(headers, isEtag ? "ETag" : "Last-Modified", "") == representation.validator &&
           sameDigest && type.rfind("multipart/byteranges", 0) != 0 && !hasCoding(headers);
}

}  // namespace tavrin::http_tool

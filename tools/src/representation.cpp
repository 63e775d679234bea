#include "representation.h"

#include <openssl/evp.h>

#include <charconv>

#include "checksum.h"
#include "http_date.h"
#include "lowered.h"

namespace tavrin::http_tool {

using httpclient_core::HttpHeaders;

namespace {

std::string valueOr(const HttpHeaders& headers, const char* name, const char* fallback) {
    const auto field = headers.find(name);
    return field == headers.end() ? fallback : field->second;
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

// What a byte sequence, ":BASE64:" (RFC 8941, 3.3.5), of so many bytes holds, in hexadecimal form;
// "" for anything else.
std::string hexOf(const std::string& sequence, std::size_t bytes) {
    const std::size_t groups = (bytes + 2) / 3;
    const std::string end = std::string(3 * groups - bytes, '=') + ":";
    const std::size_t characters = 4 * groups + 1 - end.size();
    if (sequence.size() != 1 + characters + end.size() || sequence.front() != ':' ||
        sequence.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                   "+/",
                                   1) != 1 + characters ||
        sequence.substr(1 + characters) != end) {
        return "";
    }
    std::string decoded(3 * groups, '\0');
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                    reinterpret_cast<const unsigned char*>(sequence.data()) + 1,
                    static_cast<int>(4 * groups));
    return inHex({decoded.data(), bytes});
}

// Of several members of that name the last counts (RFC 8941, 3.2).
std::string announcedHex(const HttpHeaders& headers, const std::string& algorithm,
                         std::size_t bytes) {
    std::string hex;
    const auto read = [&](const std::string& member) {
        const auto equals = member.find('=');
        if (equals == std::string::npos || member.substr(0, equals) != algorithm) return;
        const auto end = member.find(';', equals);
        hex = hexOf(member.substr(equals + 1, end - equals - 1), bytes);
    };
    for (const auto& [name, value] : headers) {
        if (lowered(name) == "repr-digest") HttpHeaders::splitElements(value, read, ",", true);
    }
    return hex;
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

bool hasCoding(const HttpHeaders& headers) {
    return lowered(valueOr(headers, "Content-Encoding", "identity")) != "identity";
}

std::optional<ExpectedChecksum> announcedDigest(const HttpHeaders& headers) {
    const std::string sha512 = announcedHex(headers, "sha-512", 64);
    if (!sha512.empty()) return ExpectedChecksum{"sha512", sha512};
    const std::string sha256 = announcedHex(headers, "sha-256", 32);
    if (!sha256.empty()) return ExpectedChecksum{"sha256", sha256};
    return std::nullopt;
}

std::optional<Representation> representationOf(const HttpHeaders& headers) {
    const auto length = contentLength(headers);
    const std::string validator = strongValidator(headers);
    if (!length || validator.empty() || hasCoding(headers)) return std::nullopt;
    return Representation{validator, *length, announcedDigest(headers)};
}

bool continues(const HttpHeaders& headers, const Representation& representation,
               std::int64_t offset) {
    const std::string range = "bytes " + std::to_string(offset) + "-" +
                              std::to_string(representation.length - 1) + "/" +
                              std::to_string(representation.length);
    const bool isEtag = representation.validator.front() == '"';
    const auto digest = announcedDigest(headers);
    const bool sameDigest = !digest || !representation.digest ||
                            digest->algorithm != representation.digest->algorithm ||
                            digest == representation.digest;
    const std::string type = lowered(valueOr(headers, "Content-Type", ""));
    return valueOr(headers, "Content-Range", "") == range &&
           valueOr(headers, isEtag ? "ETag" : "Last-Modified", "") == representation.validator &&
           sameDigest && type.rfind("multipart/byteranges", 0) != 0 && !hasCoding(headers);
}

}  // namespace tavrin::http_tool

#include "representation.h"

#include <cctype>
#include <charconv>

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

std::optional<Representation> representationOf(const HttpHeaders& headers) {
    const auto length = contentLength(headers);
    const std::string validator = strongValidator(headers);
    if (!length || validator.empty() || hasCoding(headers)) return std::nullopt;
    return Representation{validator, *length};
}

bool continues(const HttpHeaders& headers, const Representation& representation,
               std::int64_t offset) {
    const std::string range = "bytes " + std::to_string(offset) + "-" +
                              std::to_string(representation.length - 1) + "/" +
                              std::to_string(representation.length);
    const bool isEtag = representation.validator.front() == '"';
    const std::string type = lowered(valueOr(headers, "Content-Type", ""));
    return valueOr(headers, "Content-Range", "") == range &&
           valueOr(headers, isEtag ? "ETag" : "Last-Modified", "") == representation.validator &&
           type.rfind("multipart/byteranges", 0) != 0 && !hasCoding(headers);
}

}  // namespace tavrin::http_tool

#include "resume_gate.h"

#include <curl/curl.h>

#include <string_view>

#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;

namespace {

// A Last-Modified this much older than the answer cannot have changed twice within its second (RFC
// 9110, 8.8.2.2).
constexpr std::time_t STRONG_AGE_SECONDS = 60;

bool isStrongEtag(const std::string& etag) {
    return etag.size() >= 2 && etag.front() == '"' && etag.back() == '"';
}

bool isStrongDate(const std::string& modified, const std::string& date) {
    const std::time_t then = curl_getdate(modified.c_str(), nullptr);
    const std::time_t now = curl_getdate(date.c_str(), nullptr);
    return then != -1 && now != -1 && now - then >= STRONG_AGE_SECONDS;
}

bool isMultipart(const std::string& type) {
    return equalIgnoringCase(std::string_view(type).substr(0, 10), "multipart/");
}

}  // namespace

bool mayResume(const HttpRequest& request, const HttpResponse& response,
               const LogicalRequest& logical) {
    const HeldBytes& held = logical.held;
    if (!logical.settings->resumeOnRetry || logical.ownRange ||
        request.getHttpMethod() != HttpMethod::GET || held.count >= held.total ||
        !request.hasHeader("Range") || !logical.streamStart) {
        return false;
    }
    std::iostream& stream = response.getResponseBody();
    return stream.good() && stream.tellp() == *logical.streamStart + std::streamoff(held.count);
}

bool fitsHeldBytes(const ResponseHead& head, const RequestUrl& url, const HeldBytes& held) {
    const std::string* validator = head.value(held.validatorIsEtag ? "ETag" : "Last-Modified");
    const std::string* type = head.value("Content-Type");
    const std::int64_t length = head.contentLength();
    const std::string total = std::to_string(held.total);
    return head.code() == 206 && validator != nullptr &&
           head.allValues("Content-Range") == "bytes " + std::to_string(held.count) + "-" +
                                                  std::to_string(held.total - 1) + "/" + total &&
           *validator == held.validator && url.resource() == held.resource && !head.isEncoded() &&
           (type == nullptr || !isMultipart(*type)) &&
           (length < 0 || head.isChunked() || length == held.total - held.count);
}

std::optional<HeldBytes> resumableAnswer(const ResponseHead& head, const RequestUrl& url) {
    if (head.code() != 200 || head.isEncoded() || head.isChunked()) return std::nullopt;
    HeldBytes held;
    held.total = head.contentLength();
    if (held.total <= 0) return std::nullopt;
    const std::string* etag = head.value("ETag");
    const std::string* modified = head.value("Last-Modified");
    const std::string* date = head.value("Date");
    if (etag != nullptr && isStrongEtag(*etag)) {
        held.validator = *etag;
        held.validatorIsEtag = true;
    } else if (modified != nullptr && date != nullptr && isStrongDate(*modified, *date)) {
        held.validator = *modified;
    } else {
        return std::nullopt;
    }
    held.resource = url.resource();
    return held;
}

}  // namespace tavrin::httpclient_curl::detail

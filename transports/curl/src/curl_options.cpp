#include "httpclient_curl/curl_options.h"

#include <utility>

namespace tavrin::httpclient_curl {

CurlOptions::CurlOptions() : userAgent_("httpclient_curl/" HTTPCLIENT_CURL_VERSION) {}

std::string CurlOptions::userAgent() const { return userAgent_; }
void CurlOptions::setUserAgent(std::string userAgent) { userAgent_ = std::move(userAgent); }
CurlOptions& CurlOptions::withUserAgent(std::string userAgent) {
    setUserAgent(std::move(userAgent));
    return *this;
}

HttpVersion CurlOptions::highestHttpVersion() const { return highestHttpVersion_; }
void CurlOptions::setHighestHttpVersion(HttpVersion version) { highestHttpVersion_ = version; }
CurlOptions& CurlOptions::withHighestHttpVersion(HttpVersion version) {
    setHighestHttpVersion(version);
    return *this;
}

bool CurlOptions::decodeContent() const { return decodeContent_; }
void CurlOptions::setDecodeContent(bool decodeContent) { decodeContent_ = decodeContent; }
CurlOptions& CurlOptions::withDecodeContent(bool decodeContent) {
    setDecodeContent(decodeContent);
    return *this;
}

std::int64_t CurlOptions::maxDecodedBytes() const { return maxDecodedBytes_; }
void CurlOptions::setMaxDecodedBytes(std::int64_t bytes) { maxDecodedBytes_ = bytes; }
CurlOptions& CurlOptions::withMaxDecodedBytes(std::int64_t bytes) {
    setMaxDecodedBytes(bytes);
    return *this;
}

std::int64_t CurlOptions::maxHeaderBytes() const { return maxHeaderBytes_; }
void CurlOptions::setMaxHeaderBytes(std::int64_t bytes) { maxHeaderBytes_ = bytes; }
CurlOptions& CurlOptions::withMaxHeaderBytes(std::int64_t bytes) {
    setMaxHeaderBytes(bytes);
    return *this;
}

std::int64_t CurlOptions::maxHeaderCount() const { return maxHeaderCount_; }
void CurlOptions::setMaxHeaderCount(std::int64_t count) { maxHeaderCount_ = count; }
CurlOptions& CurlOptions::withMaxHeaderCount(std::int64_t count) {
    setMaxHeaderCount(count);
    return *this;
}

bool CurlOptions::allowHttpsToHttpRedirects() const { return allowHttpsToHttpRedirects_; }
void CurlOptions::setAllowHttpsToHttpRedirects(bool allow) { allowHttpsToHttpRedirects_ = allow; }
CurlOptions& CurlOptions::withAllowHttpsToHttpRedirects(bool allow) {
    setAllowHttpsToHttpRedirects(allow);
    return *this;
}

}  // namespace tavrin::httpclient_curl

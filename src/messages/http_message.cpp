#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "httpclient_core/cookie.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

HttpMessage::HttpMessage(HttpHeaders headers) : headers_(std::move(headers)) {}

HttpMessage::~HttpMessage() = default;

void HttpMessage::setHeaders(HttpHeaders headers) { headers_ = std::move(headers); }

void HttpMessage::setHeaderValue(const std::string& name, std::string value) {
    headers_.setHeaderValue(name, std::move(value));
}

void HttpMessage::addHeaderValue(const std::string& name, std::string value) {
    headers_.addHeaderValue(name, std::move(value));
}

void HttpMessage::addHeader(const std::string& line) { headers_.addHeader(line); }

void HttpMessage::removeHeader(const std::string& name) { headers_.removeHeader(name); }

HttpHeaders HttpMessage::getHeaders() const { return headers_; }

std::string HttpMessage::getHeaderValue(const std::string& name) const {
    return headers_.getHeaderValue(name);
}

bool HttpMessage::hasHeader(const std::string& name) const { return headers_.hasHeader(name); }

ContentType HttpMessage::getContentType() const {
    return ContentType::parse(getHeaderValue(HttpHeaders::CONTENT_TYPE));
}

void HttpMessage::setContentType(const std::string& contentType) {
    setHeaderValue(HttpHeaders::CONTENT_TYPE, contentType);
}

void HttpMessage::setContentType(const ContentType& contentType) {
    setHeaderValue(HttpHeaders::CONTENT_TYPE, contentType.toString());
}

long HttpMessage::getContentLength() const {
    const std::string value = getHeaderValue(HttpHeaders::CONTENT_LENGTH);
    try {
        return std::stol(value);
    } catch (const std::logic_error& error) {
        detail::logCaughtException();
        throw detail::logged(LOG_MISUSE, std::runtime_error("Failed to convert Content-Length " +
                                                            value + " to long. " + error.what()));
    }
}

void HttpMessage::setContentLength(std::string contentLength) {
    setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::move(contentLength));
}

void HttpMessage::setContentLength(const char* contentLength) {
    setContentLength(std::string(contentLength));
}

Accept HttpMessage::getAccept() const { return Accept::parse(getHeaderValue(HttpHeaders::ACCEPT)); }

void HttpMessage::setAccept(std::string accept) {
    setHeaderValue(HttpHeaders::ACCEPT, std::move(accept));
}

void HttpMessage::setAccept(const Accept& accept) {
    setHeaderValue(HttpHeaders::ACCEPT, accept.toString());
}

std::string HttpMessage::getTransferEncoding() const {
    return getHeaderValue(HttpHeaders::TRANSFER_ENCODING);
}

void HttpMessage::setTransferEncoding(std::string transferEncoding) {
    setHeaderValue(HttpHeaders::TRANSFER_ENCODING, std::move(transferEncoding));
}

NameValueCollection HttpMessage::getCookie() {
    return Cookie::parse(getHeaderValue(HttpHeaders::COOKIE));
}

void HttpMessage::setCookie(const NameValueCollection& cookies) {
    setHeaderValue(HttpHeaders::COOKIE, Cookie::toString(cookies));
}

}  // namespace tavrin::httpclient_core

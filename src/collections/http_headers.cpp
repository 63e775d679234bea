#include "httpclient_core/headers.h"

#include <utility>

#include "collections/header_value_tokenizer.h"

namespace tavrin::httpclient_core {

const std::string HttpHeaders::ACCEPT = "Accept";
const std::string HttpHeaders::CONTENT_TYPE = "Content-Type";
const std::string HttpHeaders::CONTENT_LENGTH = "Content-Length";
const std::string HttpHeaders::COOKIE = "Cookie";
const std::string HttpHeaders::TRANSFER_ENCODING = "Transfer-Encoding";

HttpHeaders::HttpHeaders(std::initializer_list<std::pair<std::string, std::string>> headers)
    : headers_(headers) {}

std::string HttpHeaders::getHeaderValue(const std::string& name) const {
    return headers_.get(name);
}

bool HttpHeaders::hasHeader(const std::string& name) const { return headers_.has(name); }

HttpHeaders::const_iterator HttpHeaders::find(const std::string& name) const {
    return headers_.find(name);
}

bool HttpHeaders::empty() const { return headers_.empty(); }

std::size_t HttpHeaders::size() const { return headers_.size(); }

void HttpHeaders::setHeaderValue(const std::string& name, std::string value) {
    headers_.set(name, std::move(value));
}

void HttpHeaders::addHeaderValue(const std::string& name, std::string value) {
    headers_.append(name, std::move(value));
}

void HttpHeaders::addHeader(const std::string& line) {
    const auto [name, value] = detail::cut(line, ":");
    if (!name.empty()) headers_.append(name, value);
}

void HttpHeaders::removeHeader(const std::string& name) { headers_.erase(name); }

HttpHeaders::iterator HttpHeaders::begin() { return headers_.begin(); }
HttpHeaders::iterator HttpHeaders::end() { return headers_.end(); }
HttpHeaders::const_iterator HttpHeaders::begin() const { return headers_.begin(); }
HttpHeaders::const_iterator HttpHeaders::end() const { return headers_.end(); }
HttpHeaders::const_iterator HttpHeaders::cbegin() const { return headers_.cbegin(); }
HttpHeaders::const_iterator HttpHeaders::cend() const { return headers_.cend(); }

}  // namespace tavrin::httpclient_core

#include <sstream>
#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/messages.h"
#include "messages/memory_body.h"
#include "messages/read_rest.h"

namespace tavrin::httpclient_core {

ResponseStreamFactory defaultResponseStreamFactory() { return detail::MemoryBody(); }

HttpRequest::HttpRequest(HttpMethod method, URL url, HttpHeaders headers)
    : HttpMessage(std::move(headers)),
      method_(method),
      url_(std::move(url)),
      responseStreamFactory_(defaultResponseStreamFactory()) {}

// Exchanged rather than moved, since a moved-from optional or function may stay as it was.
HttpRequest::HttpRequest(HttpRequest&& other) noexcept
    : HttpMessage(std::move(other)),
      method_(other.method_),
      url_(std::move(other.url_)),
      queryParameters_(std::move(other.queryParameters_)),
      requestBody_(std::move(other.requestBody_)),
      multipartBody_(std::exchange(other.multipartBody_, std::nullopt)),
      responseStreamFactory_(std::exchange(other.responseStreamFactory_, nullptr)),
      preRespCodeAndHeadersCallback_(std::exchange(other.preRespCodeAndHeadersCallback_, nullptr)),
      clientConfiguration_(std::move(other.clientConfiguration_)),
      progressCallback_(std::exchange(other.progressCallback_, nullptr)) {}

HttpRequest::~HttpRequest() = default;

HttpMethod HttpRequest::getHttpMethod() const { return method_; }

URL HttpRequest::getURL() const {
    if (queryParameters_.empty()) return url_;
    return URL(url_.toAsciiString() + queryParameters_.toString());
}

QueryParameters HttpRequest::getQueryParameters() { return queryParameters_; }

void HttpRequest::setQueryParameters(QueryParameters parameters) {
    queryParameters_ = std::move(parameters);
}

HttpRequest& HttpRequest::withHeaders(HttpHeaders headers) {
    setHeaders(std::move(headers));
    return *this;
}

void HttpRequest::setRequestBody(std::string body) {
    const auto length = body.size();
    auto stream = std::make_unique<std::stringstream>(std::move(body));

    const bool lacksType = !hasHeader(HttpHeaders::CONTENT_TYPE);
    if (lacksType) setContentType("text/plain");
    if (!hasHeader(HttpHeaders::CONTENT_LENGTH) && !hasHeader(HttpHeaders::TRANSFER_ENCODING)) {
        try {
            setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(length));
        } catch (...) {
            if (lacksType) HttpMessage::removeHeader(HttpHeaders::CONTENT_TYPE);
            throw;
        }
    }
    requestBody_ = std::move(stream);
}

void HttpRequest::setRequestBody(std::unique_ptr<std::istream> body) {
    requestBody_ = std::move(body);
}

bool HttpRequest::hasSimpleBody() const { return requestBody_ != nullptr; }

bool HttpRequest::hasRequestBody() const { return hasSimpleBody(); }

std::istream& HttpRequest::getRequestBody() const {
    if (!requestBody_) throw missing(" does not have a body");
    return *requestBody_;
}

std::string HttpRequest::getRequestBodyString() const {
    return requestBody_ ? detail::readRest(requestBody_->rdbuf()) : std::string();
}

void HttpRequest::setMultipartBody(MultipartBody body) {
    auto parts = body.getContent();
    if (parts.empty()) throw std::logic_error("Multipart body object is empty.");
    multipartBody_ = std::move(parts);
}

bool HttpRequest::hasMultipartBody() const { return multipartBody_.has_value(); }

MultipartBody HttpRequest::getMultipartBody() const {
    if (!multipartBody_) throw std::logic_error("Request does not have a multipart body.");
    MultipartBody body;
    for (const auto& part : *multipartBody_) {
        std::visit([&](const auto& dataOrFile) { body.addPart(dataOrFile); }, part);
    }
    return body;
}

ProgressCallback HttpRequest::getProgressCallback() const {
    if (!progressCallback_) throw missing(" does not have a ProgressCallback");
    return progressCallback_;
}

bool HttpRequest::hasProgressCallback() const { return progressCallback_ != nullptr; }

void HttpRequest::setProgressCallback(ProgressCallback callback) {
    progressCallback_ = std::move(callback);
}

HttpRequest& HttpRequest::withProgressCallback(ProgressCallback callback) {
    setProgressCallback(std::move(callback));
    return *this;
}

ResponseStreamFactory HttpRequest::getResponseStreamFactory() const {
    return responseStreamFactory_;
}

void HttpRequest::setResponseStreamFactory(ResponseStreamFactory factory) {
    responseStreamFactory_ = std::move(factory);
}

HttpRequest& HttpRequest::withResponseStreamFactory(ResponseStreamFactory factory) {
    setResponseStreamFactory(std::move(factory));
    return *this;
}

std::function<void()> HttpRequest::getPreRespCodeAndHeadersCallback() const {
    return preRespCodeAndHeadersCallback_;
}

void HttpRequest::setPreRespCodeAndHeadersCallback(std::function<void()> callback) {
    preRespCodeAndHeadersCallback_ = std::move(callback);
}

HttpRequest& HttpRequest::withPreRespCodeAndHeadersCallback(std::function<void()> callback) {
    setPreRespCodeAndHeadersCallback(std::move(callback));
    return *this;
}

ClientConfiguration HttpRequest::getClientConfiguration() const {
    if (!clientConfiguration_) throw missing(" does not have a ClientConfiguration");
    return *clientConfiguration_;
}

bool HttpRequest::hasClientConfiguration() const { return clientConfiguration_ != nullptr; }

void HttpRequest::setClientConfiguration(ClientConfiguration configuration) {
    clientConfiguration_ = std::make_unique<ClientConfiguration>(std::move(configuration));
}

HttpRequest& HttpRequest::withClientConfiguration(ClientConfiguration configuration) {
    setClientConfiguration(std::move(configuration));
    return *this;
}

// The URL is told without its query parameters, which may be confidential.
std::logic_error HttpRequest::missing(const char* what) const {
    return detail::logged(LOG_MISUSE,
                          std::logic_error("Request for " + url_.toAsciiString() + what));
}

}  // namespace tavrin::httpclient_core

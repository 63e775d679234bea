#include <sstream>
#include <stdexcept>
#include <utility>

#include "httpclient_core/messages.h"
#include "messages/memory_body.h"
#include "messages/no_response.h"
#include "messages/read_rest.h"

namespace tavrin::httpclient_core {

HttpResponse::HttpResponse()
    : HttpMessage(HttpHeaders()),
      responseCode_(detail::NO_RESPONSE),
      responseCodeReason_(detail::NO_RESPONSE_REASON),
      transactionReport_(0, URL()),
      responseStreamFactory_(defaultResponseStreamFactory()),
      bodyStartPosition_(0) {}

HttpResponse::HttpResponse(const HttpRequest& request)
    : HttpMessage(HttpHeaders()),
      responseCode_(detail::NO_RESPONSE),
      responseCodeReason_(detail::NO_RESPONSE_REASON),
      transactionReport_(0, URL()),
      responseStreamFactory_(request.getResponseStreamFactory()),
      preRespCodeAndHeadersCallback_(request.getPreRespCodeAndHeadersCallback()),
      bodyStartPosition_(0) {}

// Functions are exchanged rather than moved, since a moved-from one may stay as it was.
HttpResponse::HttpResponse(HttpResponse&& other) noexcept
    : HttpMessage(std::move(other)),
      responseCode_(other.responseCode_),
      responseCodeReason_(std::move(other.responseCodeReason_)),
      transactionReport_(std::move(other.transactionReport_)),
      responseStreamFactory_(std::exchange(other.responseStreamFactory_, nullptr)),
      preRespCodeAndHeadersCallback_(std::exchange(other.preRespCodeAndHeadersCallback_, nullptr)),
      responseBody_(std::move(other.responseBody_)),
      bodyStartPosition_(other.bodyStartPosition_) {}

HttpResponse& HttpResponse::operator=(HttpResponse&& other) noexcept {
    if (this == &other) return *this;
    HttpMessage::operator=(static_cast<HttpMessage&&>(other));
    responseCode_ = other.responseCode_;
    responseCodeReason_ = std::move(other.responseCodeReason_);
    transactionReport_ = std::move(other.transactionReport_);
    responseStreamFactory_ = std::exchange(other.responseStreamFactory_, nullptr);
    preRespCodeAndHeadersCallback_ = std::exchange(other.preRespCodeAndHeadersCallback_, nullptr);
    responseBody_ = std::move(other.responseBody_);
    bodyStartPosition_ = other.bodyStartPosition_;
    return *this;
}

HttpResponse::~HttpResponse() = default;

void HttpResponse::setHeaders(HttpHeaders headers) {
    announceChange();
    HttpMessage::setHeaders(std::move(headers));
}

void HttpResponse::setHeaderValue(const std::string& name, std::string value) {
    announceChange();
    HttpMessage::setHeaderValue(name, std::move(value));
}

void HttpResponse::addHeaderValue(const std::string& name, std::string value) {
    announceChange();
    HttpMessage::addHeaderValue(name, std::move(value));
}

void HttpResponse::addHeader(const std::string& line) {
    announceChange();
    HttpMessage::addHeader(line);
}

void HttpResponse::removeHeader(const std::string& name) {
    announceChange();
    HttpMessage::removeHeader(name);
}

HttpResponseCode HttpResponse::getResponseCode() const { return responseCode_; }

void HttpResponse::setResponseCode(HttpResponseCode code) {
    announceChange();
    responseCode_ = code;
}

std::string HttpResponse::getResponseCodeReason() const { return responseCodeReason_; }

void HttpResponse::setResponseCodeAndReason(HttpResponseCode code, std::string reason) {
    setResponseCode(code);
    responseCodeReason_ = std::move(reason);
}

TransactionReport HttpResponse::getTransactionReport() const { return transactionReport_; }

void HttpResponse::setTransactionReport(TransactionReport report) {
    transactionReport_ = std::move(report);
}

std::iostream& HttpResponse::getResponseBody() const {
    const std::lock_guard lock(bodyMutex_);
    if (!responseBody_) {
        auto stream = makeStream();
        bodyStartPosition_ = stream->tellp();
        responseBody_ = std::move(stream);
    }
    return *responseBody_;
}

std::string HttpResponse::getResponseBodyString() const {
    return detail::readRest(getResponseBody().rdbuf());
}

void HttpResponse::setResponseBody(std::string body) {
    const bool hadLength = hasHeader(HttpHeaders::CONTENT_LENGTH);
    std::string before = hadLength ? getHeaderValue(HttpHeaders::CONTENT_LENGTH) : std::string();
    setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(body.size()));
    try {
        getResponseBody().write(body.data(), static_cast<std::streamsize>(body.size()));
    } catch (...) {
        if (hadLength) {
            HttpMessage::setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::move(before));
        } else {
            HttpMessage::removeHeader(HttpHeaders::CONTENT_LENGTH);
        }
        throw;
    }
}

void HttpResponse::resetResponseBody() {
    const std::lock_guard lock(bodyMutex_);
    if (!responseBody_) return;
    const auto position = responseBody_->tellp();
    if (!(bodyStartPosition_ < position)) return;
    if (bodyStartPosition_ == std::streampos(0)) {
        responseBody_->flush();
        responseBody_ = makeStream();
    } else {
        responseBody_->seekp(bodyStartPosition_);
    }
}

void HttpResponse::announceChange() const {
    if (preRespCodeAndHeadersCallback_) preRespCodeAndHeadersCallback_();
}

std::unique_ptr<std::iostream> HttpResponse::makeStream() const {
    if (responseStreamFactory_.target<detail::MemoryBody>() != nullptr)
        return std::make_unique<std::stringstream>();
    auto stream = responseStreamFactory_(responseCode_, getResponseCodeReason(), getHeaders());
    if (!stream) throw std::logic_error("Response stream factory returned no stream.");
    return stream;
}

}  // namespace tavrin::httpclient_core

#include <cxxabi.h>

#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "client/prepare_for_retry.h"
#include "httpclient_core/client.h"

namespace tavrin::httpclient_core {
namespace {

// A body needs exactly one thing that tells where it ends.
void validate(const HttpRequest& request) {
    if (!request.hasRequestBody()) return;
    const bool hasLength = request.hasHeader(HttpHeaders::CONTENT_LENGTH);
    const bool hasEncoding = request.hasHeader(HttpHeaders::TRANSFER_ENCODING);
    if (hasLength && hasEncoding && request.getTransferEncoding() != "identity") {
        HTTPCLIENT_LOG(LOG_MISUSE, "HttpRequest headers for "
                                       << request.getURL()
                                       << " must not include Content-Length and a non-identity "
                                          "Transfer-Encoding.");
        throw std::logic_error(
            "HttpRequest headers must not include Content-Length and a non-identity "
            "Transfer-Encoding.");
    }
    if (!hasLength && !hasEncoding) {
        HTTPCLIENT_LOG(LOG_MISUSE, "Request for "
                                       << request.getURL()
                                       << " has no Content-Length or Transfer-Encoding header.");
        throw std::logic_error(
            "A HttpRequest with a body must have a Content-Length or a Transfer-Encoding header.");
    }
}

// The transport gives the Content-Type of a multipart body, which tells the boundary.
void leaveContentTypeToTransport(HttpRequest& request) {
    if (request.hasMultipartBody()) request.removeHeader(HttpHeaders::CONTENT_TYPE);
}

// Tells a future's owner the result, or that there will be none.
class PromiseCompletionHandler {
public:
    PromiseCompletionHandler() = default;
    PromiseCompletionHandler(PromiseCompletionHandler&& other) noexcept
        : brokenPromise_(std::exchange(other.brokenPromise_, nullptr)),
          promise_(std::move(other.promise_)) {}
    PromiseCompletionHandler& operator=(PromiseCompletionHandler&&) = delete;
    ~PromiseCompletionHandler() {
        if (brokenPromise_) promise_.set_exception(brokenPromise_);
    }

    std::future<HttpResponse> future() { return promise_.get_future(); }

    void operator()(HttpRequest&&, HttpResponse&& response, std::exception_ptr&& error) {
        brokenPromise_ = nullptr;
        if (error) {
            promise_.set_exception(std::move(error));
        } else {
            promise_.set_value(std::move(response));
        }
    }

private:
    // Made while there is memory: a promise that takes some to break in its destructor ends the
    // program if there is none.
    std::exception_ptr brokenPromise_ =
        std::make_exception_ptr(std::future_error(std::future_errc::broken_promise));
    std::promise<HttpResponse> promise_;
};

}  // namespace

HttpClient::HttpClient() = default;

HttpClient::~HttpClient() = default;

HttpResponse HttpClient::makeRequest(HttpRequest request) const {
    validate(request);
    HttpResponse response(request);
    const auto configuration = effectiveConfiguration(request);
    const auto strategy = configuration.retryStrategy();

    int totalAttempts = 0;
    int consecutiveAttempts = 0;
    for (;;) {
        if (totalAttempts > 0) {
            detail::prepareForRetry(request, response, configuration.resumeOnRetry());
        }
        leaveContentTypeToTransport(request);

        std::exception_ptr error;
        try {
            performRequest(request, response);
        } catch (const abi::__forced_unwind&) {
            throw;  // not an exception: the thread is being cancelled
        } catch (...) {
            error = std::current_exception();
            detail::logCaughtException();
        }

        ++totalAttempts;
        ++consecutiveAttempts;
        if (!strategy(request, response, error, totalAttempts, consecutiveAttempts)) {
            if (error) std::rethrow_exception(error);
            return response;
        }
        if (isSuccess(response)) consecutiveAttempts = 0;
    }
}

void HttpClient::makeAsyncRequest(HttpRequest request, CompletionHandler handler) const {
    validate(request);
    HttpResponse response(request);
    const auto requestId = nextRequestId_++;
    auto configuration = effectiveConfiguration(request);
    auto sharedHandler = std::make_shared<CompletionHandler>(std::move(handler));
    leaveContentTypeToTransport(request);
    auto task =
        retryCompletionHandler(std::move(sharedHandler), requestId, 0, 0, std::move(configuration));
    performAsyncRequest(std::move(request), std::move(response), requestId, std::move(task));
}

std::future<HttpResponse> HttpClient::makeAsyncRequest(HttpRequest request) const {
    PromiseCompletionHandler handler;
    auto future = handler.future();
    makeAsyncRequest(std::move(request), std::move(handler));
    return future;
}

void HttpClient::configurationChanged(const ClientConfiguration&) {}

ClientConfiguration HttpClient::getClientConfiguration() const {
    const std::lock_guard lock(configMutex_);
    return clientConfiguration_;
}

void HttpClient::setClientConfiguration(ClientConfiguration configuration) {
    ClientConfiguration stored = configuration;
    const std::lock_guard lock(configMutex_);
    // Swapped, so that the old strategy, which may own anything, is destroyed without the lock.
    std::swap(clientConfiguration_, stored);
    configurationChanged(configuration);
}

ClientConfiguration HttpClient::effectiveConfiguration(const HttpRequest& request) const {
    return request.hasClientConfiguration() ? request.getClientConfiguration()
                                            : getClientConfiguration();
}

}  // namespace tavrin::httpclient_core

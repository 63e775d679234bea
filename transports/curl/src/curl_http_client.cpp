#include "httpclient_curl/curl_http_client.h"

#include <curl/curl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <utility>

#include "async_engine.h"
#include "attempt.h"
#include "client_thread.h"
#include "httpclient_core/exceptions.h"
#include "logical_request.h"
#include "synchronous_channels.h"

namespace tavrin::httpclient_curl {

using httpclient_core::ClientConfiguration;
using httpclient_core::CompletionHandler;
using httpclient_core::HttpClient;
using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpResponse;
using httpclient_core::RetryStrategy;
using httpclient_core::RetryTask;

namespace {

using detail::LogicalRequest;

void initialiseLibcurl() {
    static const CURLcode RESULT = [] {
        // A client may outlive main(): OpenSSL must not tear itself down under the threads of one.
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        return curl_global_init(CURL_GLOBAL_DEFAULT);
    }();
    if (RESULT != CURLE_OK) {
        throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(RESULT));
    }
}

// The request that the frame is carrying out on this thread, for the transport operation that it
// calls next. Cleared while the operation runs, so that requests which the application makes from
// its callbacks are not mistaken for it.
template <typename Remembered>
class Carried {
public:
    Carried(const void* client, Remembered remembered)
        : outerClient_(std::exchange(client_, client)),
          outer_(std::exchange(current_, std::move(remembered))) {}
    ~Carried() {
        client_ = outerClient_;
        current_ = std::move(outer_);
    }
    Carried(const Carried&) = delete;
    Carried& operator=(const Carried&) = delete;

    static Remembered of(const void* client) { return client_ == client ? current_ : Remembered(); }

private:
    static thread_local const void* client_;
    static thread_local Remembered current_;

    const void* const outerClient_;
    Remembered outer_;
};

template <typename Remembered>
thread_local const void* Carried<Remembered>::client_ = nullptr;
template <typename Remembered>
thread_local Remembered Carried<Remembered>::current_;

// What a synchronous request has between its attempts, and whether its client ends.
struct Synchronous {
    LogicalRequest* logical = nullptr;
    const std::atomic<bool>* closing = nullptr;
};

using CarriedSynchronously = Carried<Synchronous>;
using CarriedAsynchronously = Carried<std::shared_ptr<LogicalRequest>>;

// What was cancelled stays cancelled, whatever the strategy thinks of it, and however long it would
// sleep before it says so. The strategy may keep a copy of the configuration for other requests, so
// the request is asked for when it matters.
void keepCancelled(const HttpClient& client, HttpRequest& request) {
    ClientConfiguration configuration = request.hasClientConfiguration()
                                            ? request.getClientConfiguration()
                                            : client.getClientConfiguration();
    RetryStrategy strategy = configuration.retryStrategy();
    if (!strategy) return;
    configuration.setRetryStrategy(
        [client = &client, strategy = std::move(strategy)](const auto&... arguments) {
            const auto [logical, closing] = CarriedSynchronously::of(client);
            const bool over = logical != nullptr && (logical->cancelled || *closing);
            return !over && strategy(arguments...);
        });
    request.setClientConfiguration(std::move(configuration));
}

}  // namespace

class CurlHttpClient::Impl {
public:
    explicit Impl(CurlOptions curlOptions) : options(std::move(curlOptions)) {
        initialiseLibcurl();
        begin(std::make_shared<const detail::Settings>(ClientConfiguration()));
    }

    ~Impl() {
        if (ownedByThisProcess()) {
            engine->shutDown();
        } else {
            abandon();
        }
    }

    // The threads and connections of a client belong to the process that made it. In a child the
    // client begins anew, and what it had is left alone: closing a connection would end it for the
    // parent. Nor is any of its locks taken, which one of the threads that are no more may hold.
    void enterProcess(const HttpClient& client) {
        if (ownedByThisProcess()) return;
        auto settings = std::make_shared<const detail::Settings>(client.getClientConfiguration());
        abandon();
        begin(std::move(settings));
    }

    void configure(detail::SharedSettings settings) {
        if (ownedByThisProcess()) {
            engine->configure(std::move(settings));
        } else {
            abandon();
            begin(std::move(settings));
        }
    }

    const CurlOptions options;
    std::unique_ptr<detail::SynchronousChannels> channels;
    std::shared_ptr<detail::AsyncEngine> engine;

private:
    bool ownedByThisProcess() const { return process_ == getpid(); }

    void begin(detail::SharedSettings settings) {
        channels = std::make_unique<detail::SynchronousChannels>(options);
        engine = std::make_shared<detail::AsyncEngine>(options, std::move(settings));
        process_ = getpid();
    }

    void abandon() {
        static_cast<void>(channels.release());
        auto kept = std::make_unique<std::shared_ptr<detail::AsyncEngine>>(std::move(engine));
        static_cast<void>(kept.release());
    }

    pid_t process_ = 0;
};

CurlHttpClient::CurlHttpClient() : impl_(std::make_unique<Impl>(CurlOptions())) {}

CurlHttpClient::CurlHttpClient(ClientConfiguration configuration)
    : CurlHttpClient(std::move(configuration), CurlOptions()) {}

CurlHttpClient::CurlHttpClient(ClientConfiguration configuration, CurlOptions options)
    : impl_(std::make_unique<Impl>(std::move(options))) {
    setClientConfiguration(std::move(configuration));
}

CurlHttpClient::~CurlHttpClient() = default;

void CurlHttpClient::configurationChanged(const ClientConfiguration& configuration) {
    impl_->configure(std::make_shared<const detail::Settings>(configuration));
}

HttpResponse CurlHttpClient::makeRequest(HttpRequest request) const {
    impl_->enterProcess(*this);
    LogicalRequest logical;
    logical.settings = detail::settingsFor(request, impl_->engine->settings());
    if (request.hasProgressCallback() || detail::onClientThread()) keepCancelled(*this, request);
    const CarriedSynchronously carried(this, {&logical, &impl_->engine->closing()});
    return HttpClient::makeRequest(std::move(request));
}

void CurlHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const {
    impl_->enterProcess(*this);
    const std::atomic<bool>& closing = impl_->engine->closing();
    if (closing) throw HttpRequestCancelledException();
    LogicalRequest* logical = CarriedSynchronously::of(this).logical;
    LogicalRequest alone;
    if (logical == nullptr) {
        alone.alone = true;
        alone.settings = detail::settingsFor(request, impl_->engine->settings());
        logical = &alone;
    }
    const CarriedSynchronously none(nullptr, {});
    detail::Attempt attempt(request, response, *logical, impl_->options);
    impl_->channels->run(attempt, request.getURL(), closing);
    if (attempt.failure() != nullptr) std::rethrow_exception(attempt.failure());
}

void CurlHttpClient::makeAsyncRequest(HttpRequest request, CompletionHandler handler) const {
    auto logical = std::make_shared<LogicalRequest>();
    logical->handler.emplace(std::move(handler));
    const CarriedAsynchronously carried(this, logical);
    HttpClient::makeAsyncRequest(
        std::move(request),
        [logical](HttpRequest&& made, HttpResponse&& response, std::exception_ptr&& error) {
            detail::AsyncEngine::handlerBegins();
            (*logical->handler)(std::move(made), std::move(response), std::move(error));
        });
}

void CurlHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response,
                                         std::uint64_t requestId, RetryTask completion) const {
    impl_->enterProcess(*this);
    std::shared_ptr<LogicalRequest> begun = CarriedAsynchronously::of(this);
    const CarriedAsynchronously none(nullptr, nullptr);
    impl_->engine->submit(std::move(request), std::move(response), requestId, std::move(completion),
                          std::move(begun));
}

}  // namespace tavrin::httpclient_curl

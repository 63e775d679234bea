#include "httpclient_testing/recording_http_client.h"

#include <exception>
#include <iostream>
#include <mutex>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "body_tap.h"
#include "httpclient_testing/wire_text.h"
#include "is_cancellation.h"
#include "record_request.h"
#include "recording.h"
#include "whole_file.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::BodyTap;
using detail::isCancellation;
using detail::RecordedExchange;
using detail::RecordedResponse;
using detail::Recording;
using detail::TakenExchange;
using httpclient_core::ClientConfiguration;
using httpclient_core::CompletionHandler;
using httpclient_core::HttpClient;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::RetryTask;

// A body that cannot be read twice goes on as a copy, so that it can still be sent.
std::optional<std::string> readBody(HttpRequest& request) {
    if (!request.hasRequestBody()) return std::nullopt;
    std::streambuf* buffer = request.getRequestBody().rdbuf();
    const bool returns =
        !buffer || buffer->pubseekoff(0, std::ios::cur, std::ios::in) != std::streampos(-1);
    std::string body = peekBody(request);
    if (!returns) request.setRequestBody(std::make_unique<std::istringstream>(body));
    return body;
}

}  // namespace

// What was recorded. Requests may outlive the client that made them, and hold on to it.
class RecordingHttpClient::Tape {
public:
    Tape(std::string path, CredentialNames further)
        : path_(std::move(path)), credentials_(std::move(further)) {}

    // A place in the order of attempts.
    std::size_t reserve() {
        const std::lock_guard lock(mutex_);
        exchanges_.emplace_back();
        return exchanges_.size() - 1;
    }

    void put(std::size_t place, TakenExchange exchange) {
        const std::lock_guard lock(mutex_);
        exchanges_[place] = std::move(exchange);
        ++recorded_;
    }

    std::size_t recorded() const {
        const std::lock_guard lock(mutex_);
        return recorded_;
    }

    bool isSaved() const {
        const std::lock_guard lock(mutex_);
        return saved_ == recorded_;
    }

    void save() {
        // Else an older state might overtake a newer one on its way to the file.
        const std::lock_guard saving(saving_);
        const Recording recording = recordedSoFar();
        detail::writeWholeFile(path_, detail::jsonOf(recording));
        const std::lock_guard lock(mutex_);
        saved_ = recording.exchanges.size();
    }

private:
    Recording recordedSoFar() const {
        std::vector<TakenExchange> taken;
        {
            const std::lock_guard lock(mutex_);
            for (const auto& exchange : exchanges_) {
                if (exchange) taken.push_back(*exchange);
            }
        }
        return {credentials_, detail::withoutCredentials(std::move(taken), credentials_)};
    }

    const std::string path_;
    const Credentials credentials_;
    std::mutex saving_;
    mutable std::mutex mutex_;
    std::vector<std::optional<TakenExchange>> exchanges_;
    std::size_t recorded_ = 0;
    std::optional<std::size_t> saved_;
};

// The attempts of one request, which follow one another.
class RecordingHttpClient::Attempts {
public:
    Attempts(std::shared_ptr<Tape> tape, HttpRequest& request, std::shared_ptr<BodyTap> tap)
        : tape_(std::move(tape)),
          tap_(std::move(tap)),
          request_(detail::recordWithoutBody(request, std::nullopt)) {
        request_.body = readBody(request);
    }

    // Has every attempt of the request recorded by asking the retry strategy, which sees them all.
    static std::shared_ptr<Attempts> watch(std::shared_ptr<Tape> tape, HttpRequest& request,
                                           ClientConfiguration configuration) {
        auto attempts =
            std::make_shared<Attempts>(std::move(tape), request, BodyTap::installIn(request));
        configuration.setRetryStrategy([attempts, strategy = configuration.retryStrategy()](
                                           const HttpRequest& sent, const HttpResponse& response,
                                           const std::exception_ptr& error, int totalAttempts,
                                           int consecutiveAttempts) {
            attempts->end(sent, response, error);
            if (!strategy(sent, response, error, totalAttempts, consecutiveAttempts)) {
                return false;
            }
            attempts->begin();
            return true;
        });
        request.setClientConfiguration(std::move(configuration));
        attempts->begin();
        return attempts;
    }

    void begin() {
        tap_->beginAttempt();
        place_ = tape_->reserve();
    }

    void end(const HttpRequest& request, const HttpResponse& response,
             const std::exception_ptr& error) {
        request_.headers = request.getHeaders();
        std::optional<RecordedResponse> answer;
        if (response.getResponseCode() != NO_RESPONSE || !error) {
            const auto report = response.getTransactionReport();
            answer = RecordedResponse{response.getResponseCode(),
                                      response.getResponseCodeReason(),
                                      response.getHeaders(),
                                      tap_->written(),
                                      tap_->isFresh() && request.hasHeader("Range"),
                                      report.redirectCount(),
                                      report.effectiveURL().toAsciiString()};
        }
        put(std::move(answer), error);
        cancelled_ = isCancellation(error);
    }

    // For an attempt that was cancelled, if the strategy was not asked; the response is out of
    // reach then, but for what its body's factory saw of it.
    void endUnasked(const std::exception_ptr& error) {
        if (!place_ || cancelled_ || !isCancellation(error)) return;
        std::optional<RecordedResponse> answer;
        if (const auto& head = tap_->head()) {
            answer = RecordedResponse{
                head->code, head->reason, head->headers, tap_->written(), false, 0, ""};
        }
        put(std::move(answer), error);
    }

private:
    static constexpr auto NO_RESPONSE = static_cast<HttpResponseCode>(-1);

    void put(std::optional<RecordedResponse> answer, const std::exception_ptr& error) {
        RecordedExchange exchange{request_, std::move(answer), std::nullopt};
        if (error) exchange.failure = detail::recordedFailure(error);
        tape_->put(*place_, {std::move(exchange), tap_->before()});
        place_.reset();
    }

    const std::shared_ptr<Tape> tape_;
    const std::shared_ptr<BodyTap> tap_;
    RecordedRequest request_;
    // Of the attempt that is under way.
    std::optional<std::size_t> place_;
    // The last attempt was: what follows is refused before it begins, whatever the strategy said.
    bool cancelled_ = false;
};

namespace {

std::shared_ptr<BodyTap> tapOf(HttpRequest& request, HttpResponse& response) {
    if (auto tap = BodyTap::of(request)) return tap;
    auto tap = BodyTap::installIn(request);
    response = HttpResponse(request);
    return tap;
}

ClientConfiguration configurationOf(const HttpRequest& request, const HttpClient& client) {
    return request.hasClientConfiguration() ? request.getClientConfiguration()
                                            : client.getClientConfiguration();
}

}  // namespace

RecordingHttpClient::RecordingHttpClient(HttpClient& transport, std::string path,
                                         CredentialNames further)
    : transport_(transport), tape_(std::make_shared<Tape>(std::move(path), std::move(further))) {
    setClientConfiguration(transport.getClientConfiguration());
}

RecordingHttpClient::~RecordingHttpClient() {
    if (tape_->isSaved()) return;
    try {
        save();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
}

std::size_t RecordingHttpClient::recorded() const { return tape_->recorded(); }

void RecordingHttpClient::save() const { tape_->save(); }

HttpResponse RecordingHttpClient::makeRequest(HttpRequest request) const {
    const auto attempts = Attempts::watch(tape_, request, configurationOf(request, *this));
    try {
        return transport_.makeRequest(std::move(request));
    } catch (...) {
        attempts->endUnasked(std::current_exception());
        throw;
    }
}

void RecordingHttpClient::makeAsyncRequest(HttpRequest request, CompletionHandler handler) const {
    auto factory = request.getResponseStreamFactory();
    auto configuration = configurationOf(request, *this);
    const auto attempts = Attempts::watch(tape_, request, configuration);
    transport_.makeAsyncRequest(
        std::move(request),
        [attempts, factory = std::move(factory), configuration = std::move(configuration),
         handler = std::move(handler)](HttpRequest made, HttpResponse response,
                                       std::exception_ptr error) mutable {
            attempts->endUnasked(error);
            // It may be sent again, and then these attempts are over.
            made.setResponseStreamFactory(std::move(factory));
            made.setClientConfiguration(std::move(configuration));
            handler(std::move(made), std::move(response), std::move(error));
        });
}

void RecordingHttpClient::configurationChanged(const ClientConfiguration& configuration) {
    transport_.setClientConfiguration(configuration);
}

void RecordingHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const {
    Attempts attempts(tape_, request, tapOf(request, response));
    attempts.begin();
    try {
        transport_.performRequest(request, response);
    } catch (...) {
        attempts.end(request, response, std::current_exception());
        throw;
    }
    attempts.end(request, response, nullptr);
}

void RecordingHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response,
                                              std::uint64_t requestId, RetryTask completion) const {
    const auto attempts = std::make_shared<Attempts>(tape_, request, tapOf(request, response));
    attempts->begin();
    transport_.performAsyncRequest(
        std::move(request), std::move(response), requestId,
        RetryTask([attempts, completion = std::move(completion)](
                      HttpRequest made, HttpResponse answered, std::exception_ptr error) mutable {
            attempts->end(made, answered, error);
            completion(std::move(made), std::move(answered), std::move(error));
        }));
}

}  // namespace tavrin::httpclient_testing

#include "httpclient_testing/scripted_http_client.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <iostream>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "httpclient_core/exceptions.h"
#include "httpclient_testing/wire_text.h"
#include "record_request.h"
#include "shared_value.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpResponse;
using httpclient_core::RetryTask;

// An expectation is one line or several; beside it stand as many attempts as one can look at.
constexpr std::size_t MOST_RECEIVED_SHOWN = 10;

// A client has a copy, as it may outlive this.
detail::SharedValue<UnmetReporter>& unmetReporter() {
    static detail::SharedValue<UnmetReporter> reporter;
    return reporter;
}

UnmetReporter unmetReporterOrDefault() {
    if (UnmetReporter reporter = unmetReporter().get()) return reporter;
    return [](const std::string& problems) { std::cerr << problems; };
}

// Reads as a transport does, until the stream has no more, and leaves it so.
std::string readToEnd(std::istream& stream) {
    std::string text;
    char block[4096];
    while (stream.read(block, sizeof block), stream.gcount() > 0) {
        text.append(block, static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) throw HttpRequestFailedException("Request body could not be read.");
    return text;
}

}  // namespace

// Everything that changes while the client works, so that the transport operations can be const.
class ScriptedHttpClient::Stage {
public:
    explicit Stage(Completion completion) : completion_(completion) {}

    void expect(ExpectedRequest request, ScriptedAnswer answer, std::size_t times);
    void setOrder(ScriptOrder order);
    void setUnmetAllowed(bool allowed);
    void setDelayHook(std::function<void(std::chrono::milliseconds)> hook);
    void setCredentials(Credentials credentials);

    std::vector<RecordedRequest> requests() const;
    std::string problems();
    std::size_t remaining() const;
    std::size_t pending() const;
    bool waitForPending(std::size_t count, std::chrono::milliseconds limit) const;

    void perform(HttpRequest& request, HttpResponse& response);
    void start(HttpRequest request, HttpResponse response, std::uint64_t requestId,
               RetryTask completion);
    void completeNext();
    void dropNext();

    // Completes what is pending; nothing can be started afterwards.
    void close();

    // What nobody has been told of so far.
    void reportUnmet() noexcept;

private:
    struct Expectation {
        ExpectedRequest request;
        ScriptedAnswer answer;
        std::size_t timesLeft;
    };

    // What an attempt will come to: an answer, or the exception that refuses it.
    struct Outcome {
        std::optional<ScriptedAnswer> answer;
        std::exception_ptr refusal;
    };

    struct Exchange {
        HttpRequest request;
        HttpResponse response;
        RetryTask completion;
        Outcome outcome;
    };

    Outcome outcomeOf(const HttpRequest& request, std::optional<std::uint64_t> requestId);
    std::list<Expectation>::iterator expectationFor(const RecordedRequest& request);
    std::string describeUnexpected(const RecordedRequest& request) const;
    std::string describeReceived() const;
    void play(const Outcome& outcome, HttpRequest& request, HttpResponse& response);
    void waitFor(std::chrono::milliseconds delay);
    void carryOut(Exchange exchange);
    std::optional<Exchange> takeNext();
    Exchange takePending();
    void runThread();

    const Completion completion_;
    const UnmetReporter reportUnmet_ = unmetReporterOrDefault();
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;  // pending_ or closing_
    ScriptOrder order_ = ScriptOrder::AS_WRITTEN;
    std::function<void(std::chrono::milliseconds)> delayHook_;
    Credentials credentials_;
    std::list<Expectation> script_;
    std::vector<RecordedRequest> requests_;
    std::string unexpected_;
    bool unmetAllowed_ = false;
    bool isTold_ = false;  // of what went wrong so far
    std::deque<Exchange> pending_;
    bool closing_ = false;
    std::thread thread_;
};

void ScriptedHttpClient::Stage::expect(ExpectedRequest request, ScriptedAnswer answer,
                                       std::size_t times) {
    if (times == 0) return;
    const std::lock_guard lock(mutex_);
    script_.push_back({std::move(request), std::move(answer), times});
    isTold_ = false;
}

void ScriptedHttpClient::Stage::setOrder(ScriptOrder order) {
    const std::lock_guard lock(mutex_);
    order_ = order;
}

void ScriptedHttpClient::Stage::setUnmetAllowed(bool allowed) {
    const std::lock_guard lock(mutex_);
    unmetAllowed_ = allowed;
}

void ScriptedHttpClient::Stage::setDelayHook(std::function<void(std::chrono::milliseconds)> hook) {
    const std::lock_guard lock(mutex_);
    delayHook_ = std::move(hook);
}

void ScriptedHttpClient::Stage::setCredentials(Credentials credentials) {
    const std::lock_guard lock(mutex_);
    credentials_ = std::move(credentials);
}

std::vector<RecordedRequest> ScriptedHttpClient::Stage::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::string ScriptedHttpClient::Stage::problems() {
    const std::lock_guard lock(mutex_);
    isTold_ = true;
    std::string text = unexpected_;
    for (const Expectation& left : script_) {
        text += "Expected " + std::to_string(left.timesLeft) +
                (left.timesLeft == 1 ? " more time" : " more times") + ", but it never came:\n" +
                left.request.describe() + "\n";
    }
    return script_.empty() ? text : text + describeReceived();
}

std::size_t ScriptedHttpClient::Stage::remaining() const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const Expectation& left : script_) count += left.timesLeft;
    return count;
}

std::size_t ScriptedHttpClient::Stage::pending() const {
    const std::lock_guard lock(mutex_);
    return pending_.size();
}

bool ScriptedHttpClient::Stage::waitForPending(std::size_t count,
                                               std::chrono::milliseconds limit) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return pending_.size() >= count; });
}

void ScriptedHttpClient::Stage::perform(HttpRequest& request, HttpResponse& response) {
    play(outcomeOf(request, std::nullopt), request, response);
}

void ScriptedHttpClient::Stage::start(HttpRequest request, HttpResponse response,
                                      std::uint64_t requestId, RetryTask completion) {
    Outcome outcome = outcomeOf(request, requestId);
    if (outcome.answer && outcome.answer->isRefusal()) return play(outcome, request, response);
    Exchange exchange{std::move(request), std::move(response), std::move(completion),
                      std::move(outcome)};
    if (completion_ == Completion::ON_CALLING_THREAD) return carryOut(std::move(exchange));
    const std::lock_guard lock(mutex_);
    if (completion_ == Completion::ON_OWN_THREAD && !thread_.joinable()) {
        thread_ = std::thread([this] { runThread(); });
    }
    pending_.push_back(std::move(exchange));
    changed_.notify_all();
}

void ScriptedHttpClient::Stage::completeNext() { carryOut(takePending()); }

void ScriptedHttpClient::Stage::dropNext() { takePending(); }

void ScriptedHttpClient::Stage::close() {
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
    while (auto exchange = takeNext()) carryOut(std::move(*exchange));
}

void ScriptedHttpClient::Stage::reportUnmet() noexcept {
    const bool unmet = !unmetAllowed_ && !script_.empty();
    // The code under test may have swallowed the exception of an attempt that was not expected.
    if (isTold_ || (!unmet && unexpected_.empty())) return;
    try {
        reportUnmet_(problems());
    } catch (const std::exception& error) {
        // There is nobody to throw to.
        std::cerr << "Unmet expectations: " << error.what() << '\n';
    }
}

ScriptedHttpClient::Stage::Outcome ScriptedHttpClient::Stage::outcomeOf(
    const HttpRequest& request, std::optional<std::uint64_t> requestId) {
    RecordedRequest recorded = detail::recordWithoutBody(request, requestId);
    std::exception_ptr unreadable;
    try {
        if (request.hasRequestBody()) recorded.body = readToEnd(request.getRequestBody());
    } catch (...) {
        unreadable = std::current_exception();
    }

    const std::lock_guard lock(mutex_);
    if (closing_) throw HttpRequestCancelledException();
    requests_.push_back(recorded);
    isTold_ = false;
    const auto expectation = expectationFor(recorded);
    if (expectation == script_.end()) {
        const std::string text = describeUnexpected(recorded);
        unexpected_ += text;
        return {std::nullopt, std::make_exception_ptr(std::logic_error(text))};
    }
    Outcome outcome{expectation->answer, unreadable};
    if (--expectation->timesLeft == 0) script_.erase(expectation);
    return outcome;
}

std::list<ScriptedHttpClient::Stage::Expectation>::iterator
ScriptedHttpClient::Stage::expectationFor(const RecordedRequest& request) {
    const auto isMet = [&](const Expectation& expectation) {
        return expectation.request.isMetBy(request);
    };
    if (order_ == ScriptOrder::ANY) return std::find_if(script_.begin(), script_.end(), isMet);
    return script_.empty() || isMet(script_.front()) ? script_.begin() : script_.end();
}

std::string ScriptedHttpClient::Stage::describeUnexpected(const RecordedRequest& request) const {
    std::string text = "Unexpected request " + std::to_string(requests_.size()) + ":\n" +
                       wireText(request, credentials_) + "\nExpected instead (! is not met):\n";
    if (script_.empty()) return text + "  no further request\n\n";
    for (const Expectation& left : script_) {
        text += left.request.describeAgainst(request) + "\n";
        if (order_ == ScriptOrder::AS_WRITTEN) break;
    }
    return text;
}

std::string ScriptedHttpClient::Stage::describeReceived() const {
    if (requests_.empty()) return "Received nothing.\n\n";
    const std::size_t first = requests_.size() - std::min(requests_.size(), MOST_RECEIVED_SHOWN);
    std::string text = "Received so far:\n";
    if (first > 0) text += "(" + std::to_string(first) + " before)\n";
    for (std::size_t i = first; i < requests_.size(); ++i) {
        text += std::to_string(i + 1) + ": " + wireText(requests_[i], credentials_) + "\n";
    }
    return text + "\n";
}

void ScriptedHttpClient::Stage::play(const Outcome& outcome, HttpRequest& request,
                                     HttpResponse& response) {
    if (outcome.refusal) std::rethrow_exception(outcome.refusal);
    waitFor(outcome.answer->delay());
    outcome.answer->answer(request, response);
}

void ScriptedHttpClient::Stage::waitFor(std::chrono::milliseconds delay) {
    std::unique_lock lock(mutex_);
    if (delay.count() > 0 && delayHook_ && !closing_) {
        const auto hook = delayHook_;
        lock.unlock();
        return hook(delay);
    }
    if (changed_.wait_for(lock, delay, [this] { return closing_; })) {
        throw HttpRequestCancelledException();
    }
}

void ScriptedHttpClient::Stage::carryOut(Exchange exchange) {
    std::exception_ptr error;
    try {
        play(exchange.outcome, exchange.request, exchange.response);
    } catch (...) {
        error = std::current_exception();
    }
    exchange.completion(std::move(exchange.request), std::move(exchange.response),
                        std::move(error));
}

std::optional<ScriptedHttpClient::Stage::Exchange> ScriptedHttpClient::Stage::takeNext() {
    const std::lock_guard lock(mutex_);
    if (pending_.empty()) return std::nullopt;
    std::optional<Exchange> next(std::move(pending_.front()));
    pending_.pop_front();
    return next;
}

ScriptedHttpClient::Stage::Exchange ScriptedHttpClient::Stage::takePending() {
    auto exchange = takeNext();
    if (!exchange) throw std::logic_error("No exchange is pending.");
    return std::move(*exchange);
}

void ScriptedHttpClient::Stage::runThread() {
    const auto hasWork = [this] { return closing_ || !pending_.empty(); };
    for (;;) {
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, hasWork);
            if (closing_) return;
        }
        if (auto exchange = takeNext()) carryOut(std::move(*exchange));
    }
}

void setUnmetReporter(UnmetReporter reporter) { unmetReporter().set(std::move(reporter)); }

ScriptedHttpClient::ScriptedHttpClient(Completion completion)
    : stage_(std::make_unique<Stage>(completion)) {}

// The tasks that it completes call back into this object, which must still be a whole one.
ScriptedHttpClient::~ScriptedHttpClient() {
    stage_->close();
    stage_->reportUnmet();
}

ScriptedHttpClient& ScriptedHttpClient::expect(ExpectedRequest request, ScriptedAnswer answer,
                                               std::size_t times) {
    stage_->expect(std::move(request), std::move(answer), times);
    return *this;
}

void ScriptedHttpClient::setOrder(ScriptOrder order) { stage_->setOrder(order); }

void ScriptedHttpClient::setUnmetAllowed(bool allowed) { stage_->setUnmetAllowed(allowed); }

void ScriptedHttpClient::setDelayHook(std::function<void(std::chrono::milliseconds)> hook) {
    stage_->setDelayHook(std::move(hook));
}

void ScriptedHttpClient::setCredentials(Credentials credentials) {
    stage_->setCredentials(std::move(credentials));
}

std::vector<RecordedRequest> ScriptedHttpClient::requests() const { return stage_->requests(); }

std::string ScriptedHttpClient::problems() const { return stage_->problems(); }

std::size_t ScriptedHttpClient::remaining() const { return stage_->remaining(); }

void ScriptedHttpClient::verify() const {
    const std::string text = problems();
    if (!text.empty()) throw std::logic_error(text);
}

std::size_t ScriptedHttpClient::pending() const { return stage_->pending(); }

bool ScriptedHttpClient::waitForPending(std::size_t count, std::chrono::milliseconds limit) const {
    return stage_->waitForPending(count, limit);
}

void ScriptedHttpClient::completeNext() { stage_->completeNext(); }

void ScriptedHttpClient::dropNext() { stage_->dropNext(); }

void ScriptedHttpClient::completeAll() {
    while (pending() > 0) completeNext();
}

void ScriptedHttpClient::performRequest(HttpRequest& request, HttpResponse& response) const {
    stage_->perform(request, response);
}

void ScriptedHttpClient::performAsyncRequest(HttpRequest request, HttpResponse response,
                                             std::uint64_t requestId, RetryTask completion) const {
    stage_->start(std::move(request), std::move(response), requestId, std::move(completion));
}

}  // namespace tavrin::httpclient_testing

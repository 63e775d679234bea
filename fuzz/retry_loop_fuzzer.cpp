#include <fuzzer/FuzzedDataProvider.h>

#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_testing/scripted_http_client.h"
#include "retry_model.h"

using namespace tavrin::httpclient_core;
using tavrin::httpclient_testing::Completion;
using tavrin::httpclient_testing::RecordedRequest;
using tavrin::httpclient_testing::ScriptedAnswer;
using tavrin::httpclient_testing::ScriptedHttpClient;

namespace {

enum class Handler { STORES, STORES_AND_THROWS, FUTURE };

// What a request came to, as its caller sees it; nothing if it was lost.
struct Result {
    std::exception_ptr error;
    std::optional<HttpResponse> response;
};
using Outcome = std::optional<Result>;

ScriptedAnswer answerOf(const Step& step) {
    if (!step.answers) {
        return step.refused ? ScriptedAnswer::refusal(step.fault)
                            : ScriptedAnswer::failure(step.fault);
    }
    ScriptedAnswer answer(step.code, "Told");
    if (!step.acceptRanges.empty()) answer.withHeader("Accept-Ranges", step.acceptRanges);
    for (const auto& chunk : step.chunks) answer.withChunk(chunk);
    if (step.fault != nullptr) answer.withFailure(step.fault);
    return answer;
}

// A handler that is called a second time throws before it reaches its callable, into the task of an
// attempt, where nobody but this client looks.
class WatchedClient final : public ScriptedHttpClient {
public:
    using ScriptedHttpClient::ScriptedHttpClient;

    void performAsyncRequest(HttpRequest request, HttpResponse response, std::uint64_t requestId,
                             RetryTask completion) const override {
        auto ran = completion.get_future();
        ScriptedHttpClient::performAsyncRequest(
            std::move(request), std::move(response), requestId,
            RetryTask(
                [completion = std::move(completion), ran = std::move(ran)](
                    HttpRequest made, HttpResponse answered, std::exception_ptr error) mutable {
                    completion(std::move(made), std::move(answered), std::move(error));
                    checkCalledOnce(ran);
                }));
    }

private:
    static void checkCalledOnce(std::future<void>& ran) {
        try {
            ran.get();
        } catch (const std::future_error& error) {
            CHECK(error.code() != std::future_errc::promise_already_satisfied);
        } catch (...) {
            // What the strategy throws is checked by how the request ends.
        }
    }
};

// One request with all that is said in the course of it, held against what is expected.
class Play {
public:
    Play(const Dialogue& dialogue, const Road& road)
        : dialogue_(dialogue), expected_(expectedOf(dialogue, road)) {}

    const Expected& expected() const { return expected_; }

    std::unique_ptr<WatchedClient> client(Completion completion) const {
        auto client = std::make_unique<WatchedClient>(completion);
        // A dialogue may end early; what was asked by then is compared.
        client->setUnmetAllowed(true);
        for (const Step& step : dialogue_.steps) client->expect({}, answerOf(step));
        return client;
    }

    HttpRequest request() {
        HttpRequest request = dialogue_.request();
        if (dialogue_.reportsProgress)
            request.setProgressCallback([this](const Progress& now) { return report(now); });
        ClientConfiguration configuration;
        configuration.setResumeOnRetry(dialogue_.resume);
        configuration.setRetryStrategy(
            [this](const HttpRequest&, const HttpResponse& response,
                   const std::exception_ptr& error, int total,
                   int consecutive) { return advise(response, error, total, consecutive); });
        request.setClientConfiguration(std::move(configuration));
        return request;
    }

    void check(const Outcome& outcome) const {
        CHECK(asked_ == expected_.asked);
        CHECK(progress_ == expected_.progress);
        CHECK(outcome.has_value() == (expected_.end != Expected::LOST));
        if (!outcome) return;
        CHECK(expected_.error.isMetBy(outcome->error));
        if (!outcome->response) return;
        CHECK(outcome->response->getResponseCode() ==
              static_cast<HttpResponseCode>(expected_.code));
        CHECK(outcome->response->getResponseBodyString() == expected_.body);
    }

    void checkAttempts(const std::vector<RecordedRequest>& attempts) const {
        CHECK(attempts.size() == expected_.attempts.size());
        for (std::size_t i = 0; i < attempts.size(); ++i) {
            const RecordedRequest& attempt = attempts[i];
            const ExpectedAttempt& expected = expected_.attempts[i];
            CHECK(attempt.method == dialogue_.method);
            CHECK(attempt.body == expected.body);
            CHECK(attempt.headers.hasHeader("Range") == expected.range.has_value());
            CHECK(!expected.range || attempt.headers.getHeaderValue("Range") == *expected.range);
            const bool isMultipart = dialogue_.body == BodyKind::MULTIPART;
            CHECK(attempt.multipartBody.has_value() == isMultipart);
            CHECK(!isMultipart || !attempt.headers.hasHeader("Content-Type"));
        }
    }

private:
    bool advise(const HttpResponse& response, const std::exception_ptr& error, int total,
                int consecutive) {
        CHECK(asked_ < expected_.asked);
        const ExpectedAttempt& expected = expected_.attempts[asked_];
        const Advice advice = dialogue_.steps[asked_].advice;
        CHECK(total == static_cast<int>(++asked_));
        CHECK(consecutive == expected.consecutive);
        CHECK(expected.error.isMetBy(error));
        CHECK(response.getResponseCode() == static_cast<HttpResponseCode>(expected.code));
        if (advice == Advice::THROW) std::rethrow_exception(dialogue_.strategyFault);
        return advice == Advice::RETRY;
    }

    ProgressResult report(const Progress& now) {
        progress_.emplace_back(now.downloadTotal, now.downloadNow);
        return dialogue_.steps[asked_].cancels ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
    }

    const Dialogue& dialogue_;
    const Expected expected_;
    std::size_t asked_ = 0;
    std::vector<std::pair<std::int64_t, std::int64_t>> progress_;
};

Outcome synchronously(const WatchedClient& client, Play& play) {
    Result result;
    try {
        result.response = client.makeRequest(play.request());
    } catch (...) {
        result.error = std::current_exception();
    }
    return result;
}

// Starts the request, whose result comes out of what is returned.
std::future<Result> start(const WatchedClient& client, Play& play, Handler handler) {
    std::promise<Result> promise;
    auto result = promise.get_future();
    client.makeAsyncRequest(
        play.request(), [promise = std::move(promise), handler](HttpRequest, HttpResponse response,
                                                                std::exception_ptr error) mutable {
            promise.set_value({std::move(error), std::move(response)});
            if (handler == Handler::STORES_AND_THROWS) throw 42;
        });
    return result;
}

// Tells the client when to complete, if it has to be told, until the request is lost or at its end.
void completeAll(std::unique_ptr<WatchedClient>& client, const Road& road) {
    if (!road.isTold) return;
    for (std::size_t attempt = 0; client->pending() > 0; ++attempt) {
        if (road.droppedAt == attempt) {
            client->dropNext();
        } else if (road.destroyedAt == attempt) {
            client.reset();
            return;
        } else {
            client->completeNext();
        }
    }
}

template <typename Value>
Outcome outcomeOf(std::future<Value> future) {
    Result result;
    try {
        if constexpr (std::is_same_v<Value, Result>)
            return future.get();
        else
            result.response = future.get();
    } catch (const std::future_error& error) {
        CHECK(error.code() == std::future_errc::broken_promise);
        return std::nullopt;
    } catch (...) {
        result.error = std::current_exception();
    }
    return result;
}

template <typename Value>
Outcome finish(std::unique_ptr<WatchedClient>& client, const Road& road,
               std::future<Value> future) {
    completeAll(client, road);
    return outcomeOf(std::move(future));
}

Outcome asynchronously(std::unique_ptr<WatchedClient>& client, Play& play, const Road& road,
                       Handler handler) {
    try {
        if (handler == Handler::FUTURE)
            return finish(client, road, client->makeAsyncRequest(play.request()));
        return finish(client, road, start(*client, play, handler));
    } catch (...) {
        return Result{std::current_exception(), std::nullopt};
    }
}

void playSynchronously(const Dialogue& dialogue) {
    Play play(dialogue, Road());
    const auto client = play.client(Completion::ON_CALLING_THREAD);
    play.check(synchronously(*client, play));
    play.checkAttempts(client->requests());
}

void playAsynchronously(const Dialogue& dialogue, const Road& road, Completion completion,
                        Handler handler) {
    Play play(dialogue, road);
    auto client = play.client(completion);
    const Outcome outcome = asynchronously(client, play, road, handler);
    play.check(outcome);
    if (client != nullptr) play.checkAttempts(client->requests());
}

// The frame takes no request whose framing is unclear.
void checkRefused(const Dialogue& dialogue) {
    const ScriptedHttpClient client;
    int refusals = 0;
    try {
        client.makeRequest(dialogue.request());
    } catch (const std::logic_error&) {
        ++refusals;
    }
    try {
        client.makeAsyncRequest(dialogue.request(), [](HttpRequest, HttpResponse,
                                                       std::exception_ptr) { CHECK(false); });
    } catch (const std::logic_error&) {
        ++refusals;
    }
    CHECK(refusals == 2);
    CHECK(client.requests().empty());
}

Road readRoad(FuzzedDataProvider& input, Completion completion) {
    Road road;
    road.asynchronous = true;
    road.isTold = completion == Completion::WHEN_TOLD;
    if (!road.isTold) return road;
    const auto end = input.ConsumeIntegralInRange(0, 3);
    const auto at = input.ConsumeIntegralInRange<std::size_t>(0, 5);
    if (end == 1) road.droppedAt = at;
    if (end == 2) road.destroyedAt = at;
    return road;
}

}  // namespace

// Both roads make the attempts that the strategy asks for, with the bodies and ranges that they are
// to have, and end once: as the last attempt did, or as the strategy that threw.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr Completion COMPLETIONS[] = {Completion::ON_CALLING_THREAD, Completion::WHEN_TOLD,
                                          Completion::ON_OWN_THREAD};
    constexpr Handler HANDLERS[] = {Handler::STORES, Handler::STORES_AND_THROWS, Handler::FUTURE};
    FuzzedDataProvider input(data, size);
    const auto completion = input.PickValueInArray(COMPLETIONS);
    const auto handler = input.PickValueInArray(HANDLERS);
    const Road road = readRoad(input, completion);
    const Dialogue dialogue = readDialogue(input);
    if (dialogue.isRefused()) {
        checkRefused(dialogue);
        return 0;
    }
    playSynchronously(dialogue);
    playAsynchronously(dialogue, road, completion, handler);
    return 0;
}

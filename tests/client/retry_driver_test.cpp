#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/logging.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::BodyIs;
using httpclient_testing::Completion;
using httpclient_testing::IsStatus;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

// The counters that a strategy was called with.
struct Counters {
    std::vector<std::pair<int, int>> seen;

    RetryStrategy until(int attempts) {
        return [this, attempts](const auto&, const auto&, const auto&, int total, int consecutive) {
            seen.emplace_back(total, consecutive);
            return total < attempts;
        };
    }
};

// A handler that nobody is to call.
std::shared_ptr<CompletionHandler> untouchedHandler() {
    return std::make_shared<CompletionHandler>(
        [](HttpRequest, HttpResponse, const std::exception_ptr&) {
            ADD_FAILURE() << "The handler was called.";
        });
}

TEST(RetryDriver, CountsAttemptsSinceTheLastSuccessAndASuccessAsNone) {
    const std::pair<std::vector<int>, std::vector<std::pair<int, int>>> cases[] = {
        {{200, 200, 200}, {{1, 0}, {2, 0}, {3, 0}}},
        {{500, 500, 500}, {{1, 1}, {2, 2}, {3, 3}}},
        {{500, 299, 500, 500}, {{1, 1}, {2, 0}, {3, 1}, {4, 2}}},
        {{199, 300, -1, 404, 200}, {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 0}}},
    };
    for (const auto& [codes, counters] : cases) {
        ScriptedHttpClient client;
        Counters calls;
        client.setClientConfiguration(
            ClientConfiguration().withRetryStrategy(calls.until(static_cast<int>(codes.size()))));
        for (const int code : codes) client.expect({}, ScriptedAnswer(code));

        client.makeAsyncRequest(get()).get();

        EXPECT_EQ(calls.seen, counters);
    }
}

TEST(RetryDriver, CountsABrokenSuccessAsASuccess) {
    ScriptedHttpClient client;
    Counters calls;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(calls.until(2)));
    client.expect({}, ScriptedAnswer(200).withFailure(HttpRequestFailedException("cut")), 2);

    EXPECT_THROW(client.makeAsyncRequest(get()).get(), HttpRequestFailedException);

    EXPECT_THAT(calls.seen, ElementsAre(Pair(1, 0), Pair(2, 0)));
}

TEST(RetryDriver, CallsTheHandlerOnceWithTheLastAttempt) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(500).withBody("error page"))
        .expect({}, ScriptedAnswer(200, "OK").withBody("text"));
    std::vector<std::string> responses;
    std::vector<bool> failed;

    client.makeAsyncRequest(
        get(), [&](HttpRequest, HttpResponse response, const std::exception_ptr& error) {
            responses.push_back(httpclient_testing::wireText(response));
            failed.push_back(error != nullptr);
        });

    EXPECT_THAT(responses, ElementsAre("HTTP/1.1 200 OK\n\ntext"));
    EXPECT_THAT(failed, ElementsAre(false));
}

TEST(RetryDriver, ForgetsTheExceptionOfAnEarlierAttempt) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("first")))
        .expect({}, ScriptedAnswer(404))
        .expect({}, ScriptedAnswer(200))
        .expect({}, ScriptedAnswer::failure(HttpRequestFailedException("last")));

    EXPECT_THAT(client.makeAsyncRequest(get()).get(), IsStatus(404));
    EXPECT_THAT([&] { client.makeAsyncRequest(get()).get(); },
                ThrowsExactly<HttpRequestFailedException>("last"));
}

TEST(RetryDriver, ShowsTheStrategyTheVeryExceptionOfTheTransport) {
    ScriptedHttpClient client;
    const auto error = std::make_exception_ptr(HttpRequestTimeoutException());
    std::exception_ptr seen;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&](const auto&, const auto&, const std::exception_ptr& offered, int, int) {
            seen = offered;
            return false;
        }));
    client.expect({}, ScriptedAnswer::failure(error));

    EXPECT_ANY_THROW(client.makeAsyncRequest(get()).get());

    EXPECT_EQ(seen, error);
}

TEST(RetryDriver, AsksTheStrategyOnTheThreadThatCompletesTheExchange) {
    std::thread::id asked;
    std::thread::id transport;
    {
        ScriptedHttpClient client(Completion::ON_OWN_THREAD);
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            [&](const auto&, const auto&, const auto&, int, int) {
                asked = std::this_thread::get_id();
                return false;
            }));
        client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest&, HttpResponse&) {
            transport = std::this_thread::get_id();
        }));
        client.makeAsyncRequest(get()).get();
    }

    EXPECT_EQ(asked, transport);
    EXPECT_NE(asked, std::this_thread::get_id());
}

TEST(RetryDriver, MakesManyAttempts) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.setClientConfiguration(attempts(1000));
    client.expect({}, ScriptedAnswer(500), 999).expect({}, ScriptedAnswer(200));
    std::future<HttpResponse> response = client.makeAsyncRequest(get());

    client.completeAll();

    EXPECT_THAT(response.get(), IsStatus(200));
    EXPECT_EQ(client.problems(), "");
}

TEST(RetryDriver, LogsNoExceptionItself) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("no route")));
    LogCapture log;

    EXPECT_ANY_THROW(client.makeAsyncRequest(get()).get());

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(RetryDriver, LeavesItToTheDefaultStrategyToLogAnException) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("no route")));
    LogCapture log;

    EXPECT_ANY_THROW(client.makeAsyncRequest(get()).get());

    EXPECT_THAT(log.records(),
                ElementsAre(AllOf(Field(&LogRecord::severity, LOG_EXCEPTION),
                                  Field(&LogRecord::text, AllOf(StartsWith("Exception caught: "),
                                                                HasSubstr("no route"))))));
}

TEST(RetryDriver, BreaksThePromiseOfARequestWithoutAStrategy) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(nullptr));
    client.expect({}, ScriptedAnswer(200));

    std::future<HttpResponse> response = client.makeAsyncRequest(get());

    EXPECT_EQ(futureErrorOf(response), make_error_code(std::future_errc::broken_promise));
    EXPECT_EQ(client.problems(), "");
}

TEST(RetryDriver, BreaksThePromiseOfARequestWhoseStrategyThrows) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [](const auto&, const auto&, const auto&, int, int) -> bool {
            throw std::runtime_error("undecided");
        }));
    client.expect({}, ScriptedAnswer(200), 2);

    std::future<HttpResponse> response = client.makeAsyncRequest(get());
    EXPECT_EQ(futureErrorOf(response), make_error_code(std::future_errc::broken_promise));

    client.setClientConfiguration(attempts(1));
    EXPECT_THAT(client.makeAsyncRequest(get()).get(), IsStatus(200));
}

TEST(RetryDriver, BreaksThePromiseOfARequestWhoseNextAttemptIsRefused) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    client.expect({}, ScriptedAnswer(503))
        .expect({}, ScriptedAnswer::refusal(HttpRequestFailedException("going down")));

    std::future<HttpResponse> response = client.makeAsyncRequest(get());

    EXPECT_EQ(futureErrorOf(response), make_error_code(std::future_errc::broken_promise));
    EXPECT_EQ(client.problems(), "");
}

TEST(RetryDriver, BreaksThePromiseOfARequestThatCannotBePrepared) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    client.expect({}, ScriptedAnswer(503).withBody("error page"));
    int streams = 0;
    HttpRequest request = get();
    request.setResponseStreamFactory(
        [&](auto, const auto&, const auto&) -> std::unique_ptr<std::iostream> {
            if (++streams == 2) throw std::runtime_error("disk is full");
            return std::make_unique<std::stringstream>();
        });

    std::future<HttpResponse> response = client.makeAsyncRequest(std::move(request));

    EXPECT_EQ(futureErrorOf(response), make_error_code(std::future_errc::broken_promise));
    EXPECT_EQ(client.problems(), "");
}

// ---- the task that retryCompletionHandler() builds

TEST(RetryCompletionHandler, StandsForTheAttemptThatFollowsThoseCounted) {
    const ScriptedHttpClient client;
    Counters calls;
    RetryTask task = client.retryCompletionHandler(
        std::make_shared<CompletionHandler>(
            [](HttpRequest, HttpResponse, const std::exception_ptr&) {}),
        5, 3, 1, ClientConfiguration().withRetryStrategy(calls.until(0)));

    task(get(), HttpResponse(), nullptr);

    EXPECT_THAT(calls.seen, ElementsAre(Pair(4, 2)));
}

TEST(RetryCompletionHandler, GivesTheNextAttemptTheIdOfTheRequest) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200));
    RetryTask task = client.retryCompletionHandler(
        std::make_shared<CompletionHandler>(
            [](HttpRequest, HttpResponse, const std::exception_ptr&) {}),
        5, 0, 0, attempts(2));

    task(get(), HttpResponse(), nullptr);

    ASSERT_THAT(client.requests(), SizeIs(1));
    EXPECT_EQ(client.requests().front().requestId, 5u);
}

TEST(RetryCompletionHandler, DeliversToTheHandlerThatItWasGiven) {
    const ScriptedHttpClient client;
    std::string seen;
    const auto error = std::make_exception_ptr(42);
    std::exception_ptr seenError;
    RetryTask task = client.retryCompletionHandler(
        std::make_shared<CompletionHandler>(
            [&](HttpRequest request, HttpResponse response, std::exception_ptr given) {
                seen = request.getRequestBodyString() + to_string(response.getResponseCode());
                seenError = std::move(given);
            }),
        0, 0, 0, attempts(1));
    HttpResponse response;
    response.setResponseCode(HttpResponseCode(418));

    task(put("text"), std::move(response), error);

    EXPECT_EQ(seen, "text418");
    EXPECT_EQ(seenError, error);
}

TEST(RetryCompletionHandler, RunsOnce) {
    const ScriptedHttpClient client;
    int calls = 0;
    RetryTask task = client.retryCompletionHandler(
        std::make_shared<CompletionHandler>(
            [&](HttpRequest, HttpResponse, const std::exception_ptr&) { ++calls; }),
        0, 0, 0, attempts(1));
    task(get(), HttpResponse(), nullptr);

    std::error_code code;
    try {
        task(get(), HttpResponse(), nullptr);
    } catch (const std::future_error& error) {
        code = error.code();
    }

    EXPECT_EQ(code, make_error_code(std::future_errc::promise_already_satisfied));
    EXPECT_EQ(calls, 1);
}

TEST(RetryCompletionHandler, KeepsWhatFailsInTheTaskItself) {
    const ScriptedHttpClient client;
    RetryTask withoutStrategy = client.retryCompletionHandler(
        untouchedHandler(), 0, 0, 0, ClientConfiguration().withRetryStrategy(nullptr));
    RetryTask withThrowingStrategy = client.retryCompletionHandler(
        untouchedHandler(), 0, 0, 0,
        ClientConfiguration().withRetryStrategy(
            [](const auto&, const auto&, const auto&, int, int) -> bool {
                throw std::runtime_error("undecided");
            }));
    auto first = withoutStrategy.get_future();
    auto second = withThrowingStrategy.get_future();

    EXPECT_NO_THROW(withoutStrategy(get(), HttpResponse(), nullptr));
    EXPECT_NO_THROW(withThrowingStrategy(get(), HttpResponse(), nullptr));

    EXPECT_THAT([&] { first.get(); }, ThrowsExactly<std::bad_function_call>("bad_function_call"));
    EXPECT_THAT([&] { second.get(); }, ThrowsExactly<std::runtime_error>("undecided"));
}

TEST(RetryCompletionHandler, HoldsACopyOfTheConfiguration) {
    const ScriptedHttpClient client;
    Counters calls;
    ClientConfiguration configuration = ClientConfiguration().withRetryStrategy(calls.until(0));
    RetryTask task = client.retryCompletionHandler(
        std::make_shared<CompletionHandler>(
            [](HttpRequest, HttpResponse, const std::exception_ptr&) {}),
        0, 0, 0, configuration);

    configuration.setRetryStrategy(nullptr);
    task(get(), HttpResponse(), nullptr);

    EXPECT_THAT(calls.seen, SizeIs(1));
}

TEST(RetryCompletionHandler, GivesEveryAttemptItsOwnCopyOfTheStrategy) {
    // A strategy with a state of its own starts each time from what the configuration holds.
    ScriptedHttpClient client;
    std::vector<int> counts;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&counts, count = 0](const auto&, const auto&, const auto&, int total, int) mutable {
            counts.push_back(++count);
            return total < 3;
        }));
    client.expect({}, ScriptedAnswer(503), 3);

    client.makeAsyncRequest(get()).get();

    EXPECT_THAT(counts, ElementsAre(1, 1, 1));
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

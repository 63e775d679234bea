#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/retry.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/alarm_storm.h"
#include "support/grouping_locale.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::IsStatus;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

HttpResponse response(int code) {
    HttpResponse made;
    made.setResponseCode(HttpResponseCode(code));
    return made;
}

LogRecord decision(const std::string& text) { return {LOG_CHANNEL, LOG_DECISION, text}; }

std::exception_ptr failed() { return std::make_exception_ptr(HttpRequestFailedException("cut")); }
std::exception_ptr cancelled() { return std::make_exception_ptr(HttpRequestCancelledException()); }
std::exception_ptr timedOut() { return std::make_exception_ptr(HttpRequestTimeoutException()); }

// A DefaultRetry without real waiting, and everything that it asks and does.
struct Watched {
    std::vector<std::string> asked;
    std::vector<int> waits;
    DefaultRetry retry;

    explicit Watched(int maxTotal = 10, int maxConsecutive = 10, bool isRetriable = true) {
        retry.maxTotalAttempts = maxTotal;
        retry.maxConsecutiveAttempts = maxConsecutive;
        retry.isRetriable = [this, isRetriable](HttpMethod method, bool timedOut,
                                                HttpResponseCode code) {
            std::ostringstream text;
            text << method << (timedOut ? " timed out " : " in time ") << code;
            asked.push_back(text.str());
            return isRetriable;
        };
        retry.backoffHook = [this](int consecutive) { waits.push_back(consecutive); };
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    bool operator()(const HttpResponse& response, const std::exception_ptr& error, int total,
                    int consecutive) {
        return retry(get(), response, error, total, consecutive);
    }
};

TEST(DefaultRetry, EndsWithASuccess) {
    for (const int code : {200, 206, 299}) {
        Watched retry;
        LogCapture log;

        EXPECT_FALSE(retry(response(code), nullptr, 3, 2));

        EXPECT_THAT(log.records(), ElementsAre(decision("Request to http://host/file was "
                                                        "successful on attempt 3")));
        EXPECT_THAT(retry.asked, IsEmpty());
        EXPECT_THAT(retry.waits, IsEmpty());
    }
}

TEST(DefaultRetry, NamesTheWholeUrlOfASuccess) {
    Watched retry;
    HttpRequest request = get();
    request.setQueryParameters({{"a", "b"}});
    LogCapture log;

    retry.retry(request, response(200), nullptr, 1, 1);

    EXPECT_THAT(log.records(), ElementsAre(decision("Request to http://host/file?a=b was "
                                                    "successful on attempt 1")));
}

TEST(DefaultRetry, ReportsASuccessThoughALimitIsReached) {
    Watched retry(1, 1);
    LogCapture log;

    EXPECT_FALSE(retry(response(200), nullptr, 7, 7));

    EXPECT_THAT(log.records(), ElementsAre(decision("Request to http://host/file was "
                                                    "successful on attempt 7")));
}

TEST(DefaultRetry, TakesNeitherAnErrorNorAnotherCodeForASuccess) {
    const std::pair<int, std::exception_ptr> cases[] = {
        {200, failed()}, {199, nullptr}, {300, nullptr}, {-1, nullptr}};
    for (const auto& [code, error] : cases) {
        Watched retry;

        EXPECT_TRUE(retry(response(code), error, 1, 1));

        EXPECT_THAT(retry.asked, ElementsAre("GET in time " + std::to_string(code)));
    }
}

TEST(DefaultRetry, EndsWhenTheLimitOfAllAttemptsIsReached) {
    for (const int total : {3, 4, std::numeric_limits<int>::max()}) {
        Watched retry(3, 10);
        LogCapture log;

        EXPECT_FALSE(retry(response(503), nullptr, total, 1));

        EXPECT_THAT(log.records(), ElementsAre(decision("Max total attempts = 3 reached.")));
    }
    Watched retry(3, 10);
    EXPECT_TRUE(retry(response(503), nullptr, 2, 1));
}

TEST(DefaultRetry, EndsWhenTheLimitOfAttemptsInARowIsReached) {
    for (const int consecutive : {2, 3, std::numeric_limits<int>::max()}) {
        Watched retry(10, 2);
        LogCapture log;

        EXPECT_FALSE(retry(response(503), nullptr, 5, consecutive));

        EXPECT_THAT(log.records(), ElementsAre(decision("Max consecutive attempts = 2 reached.")));
    }
    Watched retry(10, 2);
    EXPECT_TRUE(retry(response(503), nullptr, 5, 1));
}

TEST(DefaultRetry, NamesTheTotalLimitWhenBothAreReached) {
    Watched retry(-1, -2);
    LogCapture log;

    EXPECT_FALSE(retry(response(503), nullptr, 1, 1));

    EXPECT_THAT(log.records(), ElementsAre(decision("Max total attempts = -1 reached.")));
}

TEST(DefaultRetry, LooksAtNoExceptionOnceALimitIsReached) {
    for (const auto& [maxTotal, maxConsecutive] : {std::pair(3, 10), std::pair(10, 3)}) {
        Watched retry(maxTotal, maxConsecutive);
        LogCapture log(LOG_EXCEPTION);

        EXPECT_FALSE(retry(response(-1), failed(), 3, 3));

        EXPECT_THAT(log.records(), IsEmpty());
        EXPECT_THAT(retry.asked, IsEmpty());
        EXPECT_THAT(retry.waits, IsEmpty());
    }
}

TEST(DefaultRetry, TellsThePredicateMethodTimeoutAndCode) {
    class LateException : public HttpRequestTimeoutException {};
    Watched retry;

    retry.retry(get(), response(503), nullptr, 1, 1);
    retry.retry(put(""), response(-1), timedOut(), 1, 1);
    retry.retry(put(""), response(200), std::make_exception_ptr(LateException()), 1, 1);
    retry.retry(get(), response(206), failed(), 1, 1);
    retry.retry(get(), response(-1), std::make_exception_ptr(42), 1, 1);
    retry.retry(get(), response(500), cancelled(), 1, 1);

    EXPECT_THAT(retry.asked, ElementsAre("GET in time 503", "PUT timed out -1", "PUT timed out 200",
                                         "GET in time 206", "GET in time -1", "GET in time 500"));
}

TEST(DefaultRetry, LogsAnExceptionThatIsNoTimeout) {
    Watched retry;
    LogCapture log;

    EXPECT_TRUE(retry(response(-1), failed(), 1, 1));

    EXPECT_THAT(
        log.records(),
        ElementsAre(AllOf(
            Field(&LogRecord::channel, LOG_CHANNEL), Field(&LogRecord::severity, LOG_EXCEPTION),
            Field(&LogRecord::text,
                  AllOf(StartsWith("Exception caught: "),
                        HasSubstr("tavrin::httpclient_core::HttpRequestFailedException"),
                        HasSubstr("cut"))))));
}

TEST(DefaultRetry, LogsACancellation) {
    Watched retry;
    LogCapture log;

    EXPECT_TRUE(retry(response(-1), cancelled(), 1, 1));

    EXPECT_THAT(
        log.records(),
        ElementsAre(Field(&LogRecord::text, AllOf(StartsWith("Exception caught: "),
                                                  HasSubstr("HttpRequestCancelledException")))));
}

TEST(DefaultRetry, LogsAnExceptionOfAnyType) {
    Watched retry;
    LogCapture log;

    EXPECT_TRUE(retry(response(-1), std::make_exception_ptr(42), 1, 1));

    EXPECT_THAT(log.records(),
                ElementsAre(AllOf(Field(&LogRecord::severity, LOG_EXCEPTION),
                                  Field(&LogRecord::text, StartsWith("Exception caught: ")))));
}

TEST(DefaultRetry, LogsNoTimeoutAndNoFurtherAttempt) {
    Watched retry;
    LogCapture log;

    EXPECT_TRUE(retry(response(-1), timedOut(), 1, 1));
    EXPECT_TRUE(retry(response(503), nullptr, 1, 1));

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(DefaultRetry, EndsWhenThePredicateRefuses) {
    Watched retry(10, 10, false);
    LogCapture log;

    EXPECT_FALSE(retry(response(503), nullptr, 1, 1));

    EXPECT_THAT(retry.asked, ElementsAre("GET in time 503"));
    EXPECT_THAT(retry.waits, IsEmpty());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(DefaultRetry, NeedsAPredicateOnlyToClassify) {
    Watched retry(3, 2);
    retry.retry.isRetriable = nullptr;

    EXPECT_FALSE(retry(response(200), nullptr, 1, 1));
    EXPECT_FALSE(retry(response(503), nullptr, 3, 1));
    EXPECT_FALSE(retry(response(503), nullptr, 1, 2));
    LogCapture log(LOG_EXCEPTION);
    EXPECT_THAT([&] { retry(response(503), failed(), 1, 1); },
                ThrowsExactly<std::bad_function_call>("bad_function_call"));

    EXPECT_EQ(log.records().size(), 1u) << "The exception is classified first.";
}

TEST(DefaultRetry, LetsTheExceptionsOfPredicateAndHookThrough) {
    Watched retry;
    retry.retry.backoffHook = [](int) { throw std::runtime_error("hook"); };
    EXPECT_THAT([&] { retry(response(503), nullptr, 1, 1); },
                ThrowsExactly<std::runtime_error>("hook"));

    retry.retry.isRetriable = [](HttpMethod, bool, HttpResponseCode) -> bool {
        throw std::runtime_error("predicate");
    };
    EXPECT_THAT([&] { retry(response(503), nullptr, 1, 1); },
                ThrowsExactly<std::runtime_error>("predicate"));
}

TEST(DefaultRetry, CallsTheHookWithTheCountWhateverItIs) {
    Watched retry(10, 10);

    for (const int consecutive : {-1, 0, 1, 2, 9}) {
        EXPECT_TRUE(retry(response(503), nullptr, 1, consecutive));
    }

    EXPECT_THAT(retry.waits, ElementsAre(-1, 0, 1, 2, 9));
}

TEST(DefaultRetry, IsAStrategyWithAHook) {
    ScriptedHttpClient client;
    Watched watched(4, 4);
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(watched.retry));
    client.expect({}, ScriptedAnswer(503), 4);

    EXPECT_THAT(client.makeRequest(get()), IsStatus(503));

    EXPECT_THAT(watched.waits, ElementsAre(1, 2, 3));
}

TEST(DefaultRetry, WritesPlainDigitsWhateverTheGlobalLocale) {
    const GroupingLocale locale;
    LogCapture log;
    Watched retry(12345, 6789);

    retry(response(200), nullptr, 54321, 1);
    retry(response(503), nullptr, 12345, 1);
    retry(response(503), nullptr, 1, 6789);

    EXPECT_THAT(log.records(),
                ElementsAre(decision("Request to http://host/file was successful on attempt 54321"),
                            decision("Max total attempts = 12345 reached."),
                            decision("Max consecutive attempts = 6789 reached.")));
}

TEST(DefaultRetry, ServesManyThreadsAtOnce) {
    const RetryStrategy strategy = defaultRetryStrategy(3, 0, seconds(0), defaultIsRetriable());
    std::vector<std::thread> threads;

    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&strategy] {
            for (int j = 0; j < 100; ++j) {
                const HttpRequest request = get();
                const HttpResponse busy = response(503);
                EXPECT_TRUE(strategy(request, busy, nullptr, 2, 2));
                EXPECT_FALSE(strategy(request, busy, nullptr, 3, 3));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// ---- sleeping

TEST(DefaultRetry, WaitsTheWholeDelayThoughSignalsInterruptIt) {
    const RetryStrategy strategy = defaultRetryStrategy(9, 20, seconds(1), defaultIsRetriable());
    const AlarmStorm storm(milliseconds(3));
    const auto start = std::chrono::steady_clock::now();

    EXPECT_TRUE(strategy(get(), response(503), nullptr, 2, 2));

    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(40));
}

// ---- the factories

TEST(DefaultRetryStrategy, EndsAtTheLimitOfAttempts) {
    const RetryStrategy strategy = defaultRetryStrategy(3, 0, seconds(0), defaultIsRetriable());
    LogCapture log;

    EXPECT_TRUE(strategy(get(), response(503), nullptr, 1, 1));
    EXPECT_TRUE(strategy(get(), response(503), nullptr, 2, 2));
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_FALSE(strategy(get(), response(503), nullptr, 3, 3));

    EXPECT_THAT(log.records(), ElementsAre(decision("Max total attempts = 3 reached.")));
}

TEST(DefaultRetryStrategy, EndsWithTheFirstSuccess) {
    const RetryStrategy strategy = defaultRetryStrategy(3, 0, seconds(0), defaultIsRetriable());
    LogCapture log;

    EXPECT_FALSE(strategy(get(), response(200), nullptr, 1, 1));

    EXPECT_THAT(log.records(), ElementsAre(decision("Request to http://host/file was successful "
                                                    "on attempt 1")));
}

TEST(DefaultRetryStrategy, TakesOneLimitForBothCounts) {
    const RetryStrategy strategy = defaultRetryStrategy(3, 0, seconds(0), defaultIsRetriable());
    LogCapture log;

    EXPECT_FALSE(strategy(get(), response(503), nullptr, 2, 3));

    EXPECT_THAT(log.records(), ElementsAre(decision("Max consecutive attempts = 3 reached.")));
}

TEST(DefaultRetryStrategy, TakesALimitOfItsOwnForAttemptsInARow) {
    const RetryStrategy strategy = defaultRetryStrategy(10, 0, seconds(0), defaultIsRetriable(), 2);
    LogCapture log;

    EXPECT_TRUE(strategy(get(), response(503), nullptr, 1, 1));
    EXPECT_FALSE(strategy(get(), response(503), nullptr, 2, 2));
    EXPECT_FALSE(strategy(get(), response(503), nullptr, 10, 1));

    EXPECT_THAT(log.records(), ElementsAre(decision("Max consecutive attempts = 2 reached."),
                                           decision("Max total attempts = 10 reached.")));
}

TEST(DefaultRetryStrategy, RetriesWhatThePredicateApprovesOf) {
    const RetryStrategy strategy = defaultRetryStrategy(9, 0, seconds(0), defaultIsRetriable());
    LogCapture log;

    EXPECT_FALSE(strategy(put(""), response(503), nullptr, 1, 1));
    EXPECT_FALSE(strategy(get(), response(404), nullptr, 1, 1));
    EXPECT_TRUE(strategy(get(), response(416), nullptr, 1, 1));
    EXPECT_TRUE(strategy(get(), response(-1), timedOut(), 1, 1));
    EXPECT_FALSE(strategy(put(""), response(-1), timedOut(), 1, 1));
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_FALSE(strategy(get(), response(-1), failed(), 1, 1));
    EXPECT_FALSE(strategy(get(), response(200), failed(), 1, 1));

    EXPECT_EQ(log.records().size(), 2u);
}

TEST(DefaultRetryStrategy, HoldsADefaultRetryWithoutAHook) {
    const RetryStrategy five = defaultRetryStrategy(7, 8, seconds(9), defaultIsRetriable(), 6);
    const RetryStrategy four = defaultRetryStrategy(7, 8, seconds(9), nullptr);

    const auto* withFive = five.target<DefaultRetry>();
    const auto* withFour = four.target<DefaultRetry>();

    ASSERT_NE(withFive, nullptr);
    EXPECT_EQ(withFive->maxTotalAttempts, 7);
    EXPECT_EQ(withFive->maxConsecutiveAttempts, 6);
    EXPECT_EQ(withFive->backoffBaseMs, 8);
    EXPECT_EQ(withFive->maxBackoffMs, 9000);
    EXPECT_TRUE(withFive->isRetriable);
    EXPECT_FALSE(withFive->backoffHook);
    ASSERT_NE(withFour, nullptr);
    EXPECT_EQ(withFour->maxTotalAttempts, 7);
    EXPECT_EQ(withFour->maxConsecutiveAttempts, 7);
    EXPECT_FALSE(withFour->isRetriable);
}

TEST(DefaultRetryStrategy, TakesTheLongestBackoffsThereAre) {
    const std::pair<seconds, std::int64_t> cases[] = {
        {seconds::max(), MOST},
        {seconds(MOST / 1000 + 1), MOST},
        {seconds(MOST / 1000), MOST / 1000 * 1000},
        {seconds(0), 0},
        {seconds(-1), -1000},
        {seconds(LEAST / 1000), LEAST / 1000 * 1000},
        {seconds::min(), LEAST},
    };
    for (const auto& [longest, inMilliseconds] : cases) {
        const RetryStrategy strategy = defaultRetryStrategy(1, 0, longest, nullptr);
        EXPECT_EQ(strategy.target<DefaultRetry>()->maxBackoffMs, inMilliseconds);
    }
}

TEST(DefaultRetryStrategy, IsTheStrategyOfTheDefaultConfiguration) {
    const RetryStrategy byDefault = ClientConfiguration().retryStrategy();
    LogCapture log;

    for (int attempt = 1; attempt < 5; ++attempt) {
        EXPECT_TRUE(byDefault(get(), response(503), nullptr, attempt, attempt));
    }
    EXPECT_FALSE(byDefault(put(""), response(503), nullptr, 1, 1));
    EXPECT_FALSE(byDefault(get(), response(503), nullptr, 5, 1));
    EXPECT_FALSE(byDefault(get(), response(503), nullptr, 1, 5));

    EXPECT_THAT(log.records(), ElementsAre(decision("Max total attempts = 5 reached."),
                                           decision("Max consecutive attempts = 5 reached.")));
    EXPECT_EQ(byDefault.target<DefaultRetry>()->backoffBaseMs, 0);
    EXPECT_EQ(byDefault.target<DefaultRetry>()->maxBackoffMs, 120000);
}

TEST(NoRetriesStrategy, RefusesEverythingInSilence) {
    const RetryStrategy strategy = noRetriesStrategy();
    LogCapture log;

    EXPECT_FALSE(strategy(get(), response(200), nullptr, 1, 1));
    EXPECT_FALSE(strategy(get(), response(503), nullptr, 1, 1));
    EXPECT_FALSE(strategy(get(), response(-1), timedOut(), 1, 1));
    EXPECT_FALSE(strategy(get(), response(-1), failed(), 0, 0));

    EXPECT_THAT(log.records(), IsEmpty());
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

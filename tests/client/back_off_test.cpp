#include <gmock/gmock.h>
#include <time.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/retry.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/road.h"

namespace {

// One call of nanosleep.
struct Sleep {
    std::int64_t seconds;
    std::int64_t nanoseconds;
    std::thread::id thread;
};

std::vector<Sleep> sleeps;

// What the next calls of nanosleep fail with, first to last, and what they leave to be slept.
struct Failure {
    int error;
    timespec remaining;
};

std::vector<Failure> failures;

}  // namespace

// Stands in for the C library's in this program, so that waits are seen and not spent.
extern "C" int nanosleep(const timespec* requested, timespec* remaining) {
    sleeps.push_back({requested->tv_sec, requested->tv_nsec, std::this_thread::get_id()});
    if (failures.empty()) return 0;
    const Failure failure = failures.front();
    failures.erase(failures.begin());
    if (remaining != nullptr) *remaining = failure.remaining;
    errno = failure.error;
    return -1;
}

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::Completion;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr int MOST_ATTEMPTS = std::numeric_limits<int>::max();

class BackOff : public testing::Test {
protected:
    void SetUp() override {
        sleeps.clear();
        failures.clear();
    }

    // What was slept, in milliseconds; each sleep must be a whole number of them.
    static std::vector<std::int64_t> milliseconds() {
        std::vector<std::int64_t> all;
        for (const Sleep& sleep : sleeps) {
            EXPECT_EQ(sleep.nanoseconds % 1000000, 0);
            EXPECT_LT(sleep.nanoseconds, 1000000000);
            EXPECT_GE(sleep.nanoseconds, 0);
            all.push_back(sleep.seconds * 1000 + sleep.nanoseconds / 1000000);
        }
        return all;
    }

    // What is slept after that many attempts in a row.
    static std::vector<std::int64_t> waits(std::int64_t baseMs, seconds longest, int consecutive) {
        sleeps.clear();
        const RetryStrategy strategy =
            defaultRetryStrategy(MOST_ATTEMPTS, baseMs, longest, defaultIsRetriable());
        HttpResponse busy;
        busy.setResponseCode(HttpResponseCode(503));
        EXPECT_TRUE(strategy(get(), busy, nullptr, 1, consecutive));
        return milliseconds();
    }
};

TEST_F(BackOff, DoublesUpToTheLongest) {
    std::vector<std::vector<std::int64_t>> all;
    for (int consecutive = 1; consecutive <= 5; ++consecutive) {
        all.push_back(waits(1000, seconds(3), consecutive));
    }

    EXPECT_THAT(all, ElementsAre(ElementsAre(), ElementsAre(2000), ElementsAre(3000),
                                 ElementsAre(3000), ElementsAre(3000)));
}

TEST_F(BackOff, DoublesThroughAWholeRun) {
    const std::int64_t expected[] = {200, 400, 800, 1600, 3200, 6400, 12800, 25600, 51200, 102400};
    int consecutive = 2;
    for (const std::int64_t wait : expected) {
        EXPECT_THAT(waits(100, seconds(120), consecutive++), ElementsAre(wait));
    }
    for (; consecutive < 200; ++consecutive) {
        EXPECT_THAT(waits(100, seconds(120), consecutive), ElementsAre(120000));
    }
}

TEST_F(BackOff, SplitsTheDelayIntoSecondsAndNanoseconds) {
    EXPECT_THAT(waits(750, seconds(9), 2), ElementsAre(1500));
    EXPECT_EQ(sleeps.front().seconds, 1);
    EXPECT_EQ(sleeps.front().nanoseconds, 500000000);

    EXPECT_THAT(waits(1, seconds(9), 2), ElementsAre(2));
    EXPECT_EQ(sleeps.front().seconds, 0);
    EXPECT_EQ(sleeps.front().nanoseconds, 2000000);
}

TEST_F(BackOff, NeverWaitsAfterTheFirstOfARun) {
    for (const int consecutive : {1, 0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_THAT(waits(1000, seconds(9), consecutive), IsEmpty()) << consecutive;
        EXPECT_THAT(waits(MOST, seconds::max(), consecutive), IsEmpty()) << consecutive;
    }
}

TEST_F(BackOff, NeverWaitsWithoutABaseOrACap) {
    for (const int consecutive : {2, 3, 64, 65, MOST_ATTEMPTS - 1}) {
        for (const std::int64_t base : {std::int64_t(0), std::int64_t(-1), -MOST - 1}) {
            EXPECT_THAT(waits(base, seconds(9), consecutive), IsEmpty()) << base;
            EXPECT_THAT(waits(base, seconds::max(), consecutive), IsEmpty()) << base;
            EXPECT_THAT(waits(base, seconds::min(), consecutive), IsEmpty()) << base;
        }
        for (const seconds longest : {seconds(0), seconds(-1), seconds::min()}) {
            EXPECT_THAT(waits(1000, longest, consecutive), IsEmpty()) << longest.count();
            EXPECT_THAT(waits(MOST, longest, consecutive), IsEmpty()) << longest.count();
        }
    }
}

TEST_F(BackOff, TakesASingleMillisecondToo) {
    const DefaultRetry retry{9, 9, 1000, 1, defaultIsRetriable(), nullptr};
    HttpResponse busy;
    busy.setResponseCode(HttpResponseCode(503));

    EXPECT_TRUE(retry(get(), busy, nullptr, 2, 2));

    EXPECT_THAT(milliseconds(), ElementsAre(1));
}

TEST_F(BackOff, SaturatesAtTheCap) {
    for (const std::int64_t base :
         {std::int64_t(1), std::int64_t(3), MOST / 2, MOST / 2 + 1, MOST - 1, MOST}) {
        for (const int consecutive :
             {62, 63, 64, 65, 66, 127, 128, 129, 1000, 1 << 30, MOST_ATTEMPTS - 1}) {
            EXPECT_THAT(waits(base, seconds(120), consecutive), ElementsAre(120000))
                << base << ' ' << consecutive;
        }
    }
}

TEST_F(BackOff, SaturatesAtTheLargestNumberWithoutACap) {
    const std::pair<std::pair<std::int64_t, int>, std::int64_t> cases[] = {
        {{1, 2}, 2},
        {{1, 32}, std::int64_t(1) << 31},
        {{1, 33}, std::int64_t(1) << 32},
        {{1, 63}, std::int64_t(1) << 62},
        {{1, 64}, MOST},
        {{1, 65}, MOST},
        {{1, 66}, MOST},
        {{3, 62}, std::int64_t(3) << 61},
        {{3, 63}, MOST},
        {{MOST / 2, 2}, MOST - 1},
        {{MOST / 2 + 1, 2}, MOST},
        {{MOST, 2}, MOST},
        {{MOST, MOST_ATTEMPTS - 1}, MOST},
        {{1, MOST_ATTEMPTS - 1}, MOST},
    };
    for (const auto& [given, wait] : cases) {
        EXPECT_THAT(waits(given.first, seconds::max(), given.second), ElementsAre(wait))
            << given.first << ' ' << given.second;
    }
}

TEST_F(BackOff, HoldsForTheLargestCounts) {
    DefaultRetry retry{MOST_ATTEMPTS, MOST_ATTEMPTS, 1000, 3000, defaultIsRetriable(), nullptr};
    HttpResponse busy;
    busy.setResponseCode(HttpResponseCode(503));

    EXPECT_TRUE(retry(get(), busy, nullptr, MOST_ATTEMPTS - 1, MOST_ATTEMPTS - 1));
    EXPECT_FALSE(retry(get(), busy, nullptr, MOST_ATTEMPTS - 1, MOST_ATTEMPTS));

    EXPECT_THAT(milliseconds(), ElementsAre(3000));
}

TEST_F(BackOff, SleepsOnForTheRestAfterASignal) {
    failures = {{EINTR, {1, 250000000}}, {EINTR, {0, 7}}, {EINTR, {0, 0}}};
    const RetryStrategy strategy = defaultRetryStrategy(9, 1000, seconds(9), defaultIsRetriable());
    HttpResponse busy;
    busy.setResponseCode(HttpResponseCode(503));

    EXPECT_TRUE(strategy(get(), busy, nullptr, 2, 2));

    std::vector<std::pair<std::int64_t, std::int64_t>> requested;
    for (const Sleep& sleep : sleeps) requested.emplace_back(sleep.seconds, sleep.nanoseconds);
    EXPECT_THAT(requested, ElementsAre(std::pair(2, 0), std::pair(1, 250000000), std::pair(0, 7),
                                       std::pair(0, 0)));
}

TEST_F(BackOff, EndsTheSleepAtAnyOtherFailure) {
    failures = {{EINVAL, {1, 0}}};

    EXPECT_THAT(waits(1000, seconds(9), 2), ElementsAre(2000));
}

TEST_F(BackOff, IsLeftToTheHookIfThereIsOne) {
    std::vector<int> counts;
    DefaultRetry retry{9,
                       9,
                       1000,
                       3000,
                       defaultIsRetriable(),
                       [&](int consecutive) { counts.push_back(consecutive); }};
    HttpResponse busy;
    busy.setResponseCode(HttpResponseCode(503));

    EXPECT_TRUE(retry(get(), busy, nullptr, 5, 5));

    EXPECT_THAT(counts, ElementsAre(5));
    EXPECT_THAT(sleeps, IsEmpty());
}

TEST_F(BackOff, NeverComesBeforeTheEndOfARequest) {
    HttpResponse found;
    found.setResponseCode(HttpResponseCode(200));
    HttpResponse missing;
    missing.setResponseCode(HttpResponseCode(404));
    HttpResponse busy;
    busy.setResponseCode(HttpResponseCode(503));
    const RetryStrategy strategy = defaultRetryStrategy(5, 1000, seconds(9), defaultIsRetriable());

    EXPECT_FALSE(strategy(get(), found, nullptr, 3, 3));
    EXPECT_FALSE(strategy(get(), missing, nullptr, 3, 3));
    EXPECT_FALSE(strategy(get(), busy, nullptr, 5, 3));
    EXPECT_FALSE(strategy(get(), busy, nullptr, 3, 5));

    EXPECT_THAT(sleeps, IsEmpty());
}

TEST_F(BackOff, IsSleptBetweenTheAttemptsOfARequest) {
    for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
        sleeps.clear();
        std::vector<std::size_t> sleptBeforeAttempt;
        ScriptedHttpClient client;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            defaultRetryStrategy(5, 100, seconds(120), defaultIsRetriable())));
        client.expect({}, ScriptedAnswer(503).withAction([&](HttpRequest&, HttpResponse&) {
            sleptBeforeAttempt.push_back(sleeps.size());
        }),
                      5);

        send(client, get(), road);

        EXPECT_THAT(milliseconds(), ElementsAre(200, 400, 800));
        EXPECT_THAT(sleptBeforeAttempt, ElementsAre(0, 0, 1, 2, 3));
    }
}

TEST_F(BackOff, StartsAnewAfterASuccess) {
    // Synchronously, each broken success is the first of a run; asynchronously it counts as none.
    for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
        sleeps.clear();
        ScriptedHttpClient client;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            defaultRetryStrategy(4, 100, seconds(120), downloadIsRetriable())));
        client.expect({}, ScriptedAnswer(200).withFailure(HttpRequestFailedException("cut")), 4);

        EXPECT_THROW(send(client, get(), road), HttpRequestFailedException);

        EXPECT_THAT(sleeps, IsEmpty());
    }
}

TEST_F(BackOff, BlocksTheCallersThreadOfASynchronousRequest) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        defaultRetryStrategy(3, 100, seconds(120), defaultIsRetriable())));
    client.expect({}, ScriptedAnswer(503), 3);

    client.makeRequest(get());

    ASSERT_THAT(sleeps, SizeIs(1));
    EXPECT_EQ(sleeps.front().thread, std::this_thread::get_id());
}

TEST_F(BackOff, BlocksTheCompletingThreadOfAnAsynchronousRequest) {
    std::thread::id transport;
    {
        ScriptedHttpClient client(Completion::ON_OWN_THREAD);
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            defaultRetryStrategy(3, 100, seconds(120), defaultIsRetriable())));
        client.expect({}, ScriptedAnswer(503).withAction([&](HttpRequest&, HttpResponse&) {
            transport = std::this_thread::get_id();
        }),
                      3);

        client.makeAsyncRequest(get()).get();
    }

    ASSERT_THAT(sleeps, SizeIs(1));
    EXPECT_EQ(sleeps.front().thread, transport);
    EXPECT_NE(sleeps.front().thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

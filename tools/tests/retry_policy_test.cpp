#include "retry_policy.h"

#include <gmock/gmock.h>
#include <httpclient_core/exceptions.h>

#include "failures.h"

namespace tavrin::http_tool {
namespace {

namespace core = httpclient_core;

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A policy whose waits and words are noted, and take no time.
class RetryPolicies : public ::testing::Test {
protected:
    RetryPolicy policy() {
        return RetryPolicy(
            line_, std::chrono::steady_clock::now(),
            [this](milliseconds time) {
                waits_.push_back(time.count());
                return waitsToTheEnd_;
            },
            [this](const std::string& text) { texts_.push_back(text); });
    }

    static core::HttpRequest request(core::HttpMethod method = core::HttpMethod::GET) {
        return core::HttpRequest(method, core::URL("http://h/"), {});
    }

    static core::HttpResponse answer(int code, const std::string& retryAfter = "") {
        core::HttpResponse response;
        response.setResponseCodeAndReason(static_cast<core::HttpResponseCode>(code), "Reason");
        if (!retryAfter.empty()) response.setHeaderValue("Retry-After", retryAfter);
        return response;
    }

    CommandLine line_;
    std::vector<std::int64_t> waits_;
    std::vector<std::string> texts_;
    bool waitsToTheEnd_ = true;
};

const auto BROKEN = std::make_exception_ptr(
    core::HttpRequestFailedException("Request to h failed: receiving: reset"));

TEST_F(RetryPolicies, StopWhenTheRetriesAreUsedUp) {
    line_.retries = 2;
    auto policy = this->policy();

    EXPECT_TRUE(policy.shouldRetry(request(), answer(503), nullptr, 1, 1));
    EXPECT_TRUE(policy.shouldRetry(request(), answer(503), nullptr, 2, 2));
    EXPECT_FALSE(policy.shouldRetry(request(), answer(503), nullptr, 3, 3));
    EXPECT_EQ(policy.attempts(), 3);
}

TEST_F(RetryPolicies, WaitLongerAndLongerWithinALimit) {
    line_.retries = 100;
    auto policy = this->policy();
    for (int i = 1; i <= 9; ++i) policy.shouldRetry(request(), answer(503), nullptr, i, i);
    policy.shouldRetry(request(), answer(503), nullptr, 50, 50);

    EXPECT_THAT(waits_,
                ElementsAre(0, 2000, 4000, 8000, 16000, 32000, 64000, 120000, 120000, 120000));
}

TEST_F(RetryPolicies, DoNotWaitAfterAnAttemptThatGotOn) {
    auto policy = this->policy();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);
    policy.shouldRetry(request(), answer(200), BROKEN, 2, 1);
    policy.shouldRetry(request(), answer(206), BROKEN, 3, 1);

    EXPECT_THAT(waits_, ElementsAre(0, 0, 0));
}

TEST_F(RetryPolicies, WaitAsLongAsTheCommandLineSays) {
    line_.retryDelay = milliseconds(300);
    auto policy = this->policy();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);
    policy.shouldRetry(request(), answer(503), nullptr, 2, 2);

    EXPECT_THAT(waits_, ElementsAre(300, 300));
}

TEST_F(RetryPolicies, WaitAsLongAsTheServerAsks) {
    line_.retryDelay = milliseconds(1500);
    line_.retries = 100;
    auto policy = this->policy();
    policy.shouldRetry(request(), answer(503, "7"), nullptr, 1, 1);
    policy.shouldRetry(request(), answer(503, "1"), nullptr, 2, 2);
    policy.shouldRetry(request(), answer(503, "soon"), nullptr, 3, 3);
    policy.shouldRetry(request(), answer(503, "-5"), nullptr, 4, 4);
    policy.shouldRetry(request(), answer(503, "Sun, 06 Nov 1994 08:49:37 GMT"), nullptr, 5, 5);
    policy.shouldRetry(request(), answer(200, "7"), BROKEN, 6, 6);

    EXPECT_THAT(waits_, ElementsAre(7000, 1500, 1500, 1500, 1500, 1500));
}

TEST_F(RetryPolicies, GiveUpWhenTheServerAsksForTooMuch) {
    auto policy = this->policy();

    EXPECT_TRUE(policy.shouldRetry(request(), answer(503, "120"), nullptr, 1, 1));
    EXPECT_FALSE(policy.shouldRetry(request(), answer(503, "121"), nullptr, 1, 1));
    EXPECT_FALSE(policy.shouldRetry(request(), answer(503, "99999999999999999999"), nullptr, 1, 1));
    EXPECT_FALSE(
        policy.shouldRetry(request(), answer(503, "Fri, 06 Nov 2399 08:49:37 GMT"), nullptr, 1, 1));
}

TEST_F(RetryPolicies, SayWhatHappenedAndWhatComes) {
    auto policy = this->policy();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);
    policy.shouldRetry(request(), core::HttpResponse(), BROKEN, 2, 2);

    EXPECT_THAT(texts_,
                ElementsAre("the server answered 503 Reason; trying again at once, attempt 2 of 5",
                            "Request to h failed: receiving: reset; trying again in 2 s, attempt 3 "
                            "of 5"));
}

TEST_F(RetryPolicies, StopWhenTheWaitWasInterrupted) {
    waitsToTheEnd_ = false;

    EXPECT_FALSE(policy().shouldRetry(request(), answer(503), nullptr, 1, 1));
}

TEST_F(RetryPolicies, BeginNothingAfterTheTimeForRetries) {
    line_.retryDelay = milliseconds(1001);
    line_.retryMaxTime = milliseconds(1000);
    EXPECT_FALSE(policy().shouldRetry(request(), answer(503), nullptr, 1, 1));
    EXPECT_THAT(waits_, IsEmpty());

    // No limit.
    line_.retryMaxTime = milliseconds(0);
    EXPECT_TRUE(policy().shouldRetry(request(), answer(503), nullptr, 1, 1));
}

TEST_F(RetryPolicies, LeaveAloneWhatIsNotToBeRepeated) {
    auto policy = this->policy();

    EXPECT_FALSE(policy.shouldRetry(request(core::HttpMethod::POST), answer(503), nullptr, 1, 1));
    EXPECT_FALSE(policy.shouldRetry(request(), answer(404), nullptr, 1, 1));
    EXPECT_FALSE(policy.shouldRetry(request(), answer(200), nullptr, 1, 1));
    EXPECT_THAT(texts_, IsEmpty());
}

TEST_F(RetryPolicies, LeaveAloneWhatWouldFailInTheSameWay) {
    auto policy = this->policy();
    const auto isRetried = [&](const std::exception_ptr& error) {
        return policy.shouldRetry(request(), core::HttpResponse(), error, 1, 1);
    };
    const auto failure = [](const std::string& cause) {
        return std::make_exception_ptr(
            core::HttpRequestFailedException("Request to h failed: " + cause));
    };

    EXPECT_TRUE(isRetried(BROKEN));
    EXPECT_TRUE(isRetried(failure("connecting: refused")));
    EXPECT_TRUE(isRetried(std::make_exception_ptr(core::HttpRequestTimeoutException())));
    EXPECT_FALSE(isRetried(std::make_exception_ptr(core::HttpRequestCancelledException())));
    EXPECT_FALSE(isRetried(std::make_exception_ptr(StartOverFailure("x"))));
    EXPECT_FALSE(isRetried(std::make_exception_ptr(WriteFailure("x"))));
    EXPECT_FALSE(isRetried(failure("TLS: SSL certificate problem")));
    EXPECT_FALSE(isRetried(failure("redirect: more than maxRedirects = 5")));
    EXPECT_FALSE(isRetried(failure("response stream: bad")));
    EXPECT_FALSE(
        isRetried(std::make_exception_ptr(core::HttpRequestFailedException("Request refused: x"))));
}

TEST_F(RetryPolicies, CountOnWhenTheLibraryBeginsToCountAgain) {
    line_.retries = 4;
    auto policy = this->policy();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);
    policy.startNewCount();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);
    policy.startNewCount();
    policy.shouldRetry(request(), answer(206), BROKEN, 1, 1);
    policy.startNewCount();
    policy.shouldRetry(request(), answer(503), nullptr, 1, 1);

    EXPECT_THAT(waits_, ElementsAre(0, 2000, 0, 0));
    policy.startNewCount();
    EXPECT_FALSE(policy.shouldRetry(request(), answer(503), nullptr, 1, 1));
    EXPECT_EQ(policy.attempts(), 5);
}

}  // namespace
}  // namespace tavrin::http_tool

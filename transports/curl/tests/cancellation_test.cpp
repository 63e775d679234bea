#include <atomic>
#include <functional>
#include <istream>
#include <thread>

#include "httpclient_testing/black_hole.h"
#include "support.h"
#include "support/owning_stream.h"

namespace tavrin::httpclient_curl {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct Mine : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Cancellation : public OnBothRoads {
protected:
    // A request whose progress callback wants no more from its `nth` call on, and notes when it
    // said so.
    HttpRequest cancelling(const std::string& url, int nth) {
        HttpRequest request = get(url);
        calls_ = 0;
        request.setProgressCallback([this, nth](const Progress&) {
            if (++calls_ < nth) return ProgressResult::CONTINUE;
            said_ = steady_clock::now();
            return ProgressResult::CANCEL;
        });
        return request;
    }

    std::atomic<int> calls_{0};
    steady_clock::time_point said_;
};
ON_BOTH_ROADS(Cancellation);

TEST_P(Cancellation, EndsATransferAtOnceWhereverItStands) {
    httpclient_testing::BlackHole hole;
    FaultServer mute("mute");
    FaultServer waiting("hstall");
    FaultServer stalled("stall@10");
    FaultServer dripping("drip:100");
    const CurlHttpClient client(stubborn());
    for (const std::string& url : {hole.url(), mute.url(), waiting.url(), stalled.url("/bytes/100"),
                                   dripping.url("/bytes/5000")}) {
        for (const int nth : {1, 5}) {
            EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                          [&] { send(client, cancelling(url, nth)); }),
                      "Request cancelled");
            EXPECT_LT(steady_clock::now() - said_, milliseconds(100)) << url;
            EXPECT_EQ(calls_, nth);
        }
    }
    stalled.release();
    dripping.stop();
    waiting.stop();
    FaultServer good;
    EXPECT_EQ(send(client, get(good.url("/bytes/3"))).getContentLength(), 3);
}

TEST_P(Cancellation, OfAnUploadClosesItsConnection) {
    FaultServer server("ustall@1000,ok");
    HttpRequest request = withBody(HttpMethod::PUT, server.url(), std::string(30000000, 'x'));
    request.setProgressCallback([](const Progress& progress) {
        return progress.uploadNow > 0 && progress.uploadTotal == 30000000
                   ? ProgressResult::CANCEL
                   : ProgressResult::CONTINUE;
    });
    EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                  [&] { send(CurlHttpClient(once()), std::move(request)); }),
              "Request cancelled");
    EXPECT_FALSE(server.requests().at(0).bodyComplete);
}

TEST_P(Cancellation, StaysWhateverTheStrategySays) {
    FaultServer server("stall@10");
    ClientConfiguration endless;
    endless.setRetryStrategy([](const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                                int, int) { return true; });
    EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                  [&] { send(CurlHttpClient(endless), cancelling(server.url("/bytes/100"), 1)); }),
              "Request cancelled");
    EXPECT_LE(server.requests().size(), 1u);
}

TEST_P(Cancellation, IsToldWithoutAskingTheStrategyWhichMightSleep) {
    FaultServer server("mute");
    int asked = 0;
    const CurlHttpClient client(ClientConfiguration().withRetryStrategy(
        [&](const auto&, const auto&, const auto&, int, int) { return ++asked < 3; }));
    EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                  [&] { send(client, cancelling(server.url(), 2)); }),
              "Request cancelled");
    EXPECT_EQ(asked, 0);
}

TEST_P(Cancellation, OfOneRequestIsNoneOfAnotherWithACopyOfItsConfiguration) {
    FaultServer server("503,ok");
    ClientConfiguration copy;
    int asked = 0;
    const auto copying = [&](const HttpRequest& request, const auto&, const auto&, int total, int) {
        ++asked;
        if (request.hasClientConfiguration()) copy = request.getClientConfiguration();
        return total < 3;
    };
    {
        const CurlHttpClient client;
        HttpRequest request = get(server.url("/bytes/3"));
        request.setProgressCallback([&](const Progress&) {
            return asked > 0 ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
        });
        request.setClientConfiguration(ClientConfiguration().withRetryStrategy(copying));
        EXPECT_THROW(send(client, std::move(request)), HttpRequestCancelledException);
    }
    asked = 0;
    // A server of its own: the other one may or may not have seen what was cancelled.
    FaultServer another("503,503,ok");

    HttpRequest request = get(another.url("/bytes/3"));
    request.setClientConfiguration(copy);
    send(CurlHttpClient(), std::move(request));

    EXPECT_EQ(asked, 3);
    EXPECT_EQ(another.requests().size(), 3U);
}

TEST_P(Cancellation, ThrowingFromTheCallbackReachesTheCaller) {
    FaultServer server("stall@10");
    for (const int nth : {1, 2, 10}) {
        HttpRequest request = get(server.url("/bytes/100"));
        int calls = 0;
        request.setProgressCallback([&, nth](const Progress&) -> ProgressResult {
            if (++calls == nth) throw Mine("enough");
            return ProgressResult::CONTINUE;
        });
        EXPECT_EQ(failureOf<Mine>([&] { send(CurlHttpClient(once()), std::move(request)); }),
                  "enough");
        EXPECT_EQ(calls, nth);
    }
}

TEST_P(Cancellation, CallbackIsCalledTenTimesASecondWhileNothingMoves) {
    FaultServer server("stall@10");
    const auto start = steady_clock::now();
    failureOf([&] { send(CurlHttpClient(once()), cancelling(server.url("/bytes/100"), 11)); });
    EXPECT_LT(steady_clock::now() - start, milliseconds(1100));
}

class FinalCounts : public OnBothRoads {
protected:
    Progress of(const CurlHttpClient& client, HttpRequest request) const {
        Progress last;
        request.setProgressCallback([&](const Progress& progress) {
            last = progress;
            return ProgressResult::CONTINUE;
        });
        send(client, std::move(request));
        return last;
    }
};
ON_BOTH_ROADS(FinalCounts);

TEST_P(FinalCounts, AreReportedInTheEnd) {
    FaultServer server;
    const Progress last = of(CurlHttpClient(once()),
                             withBody(HttpMethod::PUT, server.url(), std::string(100000, 'x')));
    EXPECT_EQ(last.uploadNow, 100000);
    EXPECT_EQ(last.uploadTotal, 100000);
    EXPECT_EQ(last.downloadNow, 64);
    EXPECT_EQ(last.downloadTotal, 64);
}

TEST_P(FinalCounts, OfADownloadTellOfNoUpload) {
    FaultServer server;
    const Progress last = of(CurlHttpClient(once()), get(server.url("/bytes/100")));
    EXPECT_EQ(last.uploadNow, 0);
    EXPECT_EQ(last.uploadTotal, 0);
    EXPECT_EQ(last.downloadNow, 100);
    EXPECT_EQ(last.downloadTotal, 100);
}

TEST_P(FinalCounts, CountABodyOnceThatWasSentAgainOnAnotherConnection) {
    FaultServer server("finnext,ok");
    const CurlHttpClient client(once());
    send(client, get(server.url("/bytes/1")));
    const Progress last = of(client, withBody(HttpMethod::PUT, server.url(), "body"));
    EXPECT_EQ(last.uploadNow, 4);
    EXPECT_EQ(server.connectionsAccepted(), 2u);
}

// Takes every byte and cannot be flushed.
class Unflushable : public std::stringbuf {
public:
    explicit Unflushable(bool& flushed) : flushed_(flushed) {}

protected:
    int sync() override {
        flushed_ = true;
        return -1;
    }

private:
    bool& flushed_;
};

using UnflushableStream = httpclient_core::test::OwningStream<std::iostream, Unflushable>;

TEST_P(FinalCounts, AreReportedAfterAFailureTooWhateverTheCallbackAnswers) {
    FaultServer server;
    const std::function<ProgressResult()> answers[] = {
        [] { return ProgressResult::CONTINUE; }, [] { return ProgressResult::CANCEL; },
        []() -> ProgressResult { throw Mine("too late"); }};
    for (const auto& answer : answers) {
        bool failed = false;
        std::vector<std::int64_t> countsAfterFailure;
        HttpRequest request = get(server.url("/bytes/1000"));
        request.setResponseStreamFactory(
            [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<UnflushableStream>(failed);
            });
        request.setProgressCallback([&](const Progress& progress) {
            if (!failed) return ProgressResult::CONTINUE;
            countsAfterFailure.push_back(progress.downloadNow);
            return answer();
        });

        EXPECT_EQ(
            failureOf([&] { send(CurlHttpClient(once()), std::move(request)); }),
            "Request to " + hostOf(server) + " failed: response stream: it could not be flushed");

        EXPECT_THAT(countsAfterFailure, testing::ElementsAre(1000));
    }
}

TEST_P(Cancellation, IsCalledOnTheThreadThatMakesTheRequest) {
    if (GetParam() == Road::ASYNCHRONOUS)
        GTEST_SKIP() << "an asynchronous request has no such thread";
    FaultServer server;
    HttpRequest request = get(server.url());
    request.setProgressCallback([self = std::this_thread::get_id()](const Progress&) {
        EXPECT_EQ(std::this_thread::get_id(), self);
        return ProgressResult::CONTINUE;
    });
    send(CurlHttpClient(once()), std::move(request));
}

TEST_P(Cancellation, RequestsMadeFromACallbackAreTheirOwn) {
    FaultServer server("fin@500,ok");
    const CurlHttpClient client(stubborn());
    HttpRequest request = get(server.url("/bytes/1000"));
    bool asked = false;
    request.setProgressCallback([&](const Progress& progress) {
        if (progress.downloadNow == 500 && !std::exchange(asked, true)) {
            FaultServer other;
            EXPECT_EQ(client.makeRequest(get(other.url("/bytes/7"))).getContentLength(), 7);
        }
        return ProgressResult::CONTINUE;
    });
    EXPECT_EQ(send(client, std::move(request)).getResponseBodyString(),
              server.content("/bytes/1000").all());
}

}  // namespace
}  // namespace tavrin::httpclient_curl

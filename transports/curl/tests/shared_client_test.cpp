#include <atomic>
#include <exception>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

constexpr int ROUNDS = 10;
constexpr int THREADS = 8;
constexpr int STEPS = 24;

// Threads that do everything with one client at the same time, and what came of it.
class SharedClient : public testing::Test {
protected:
    // The client goes with the last thread that lets go of it, whatever is under way by then.
    void use(std::shared_ptr<CurlHttpClient> client, int thread) {
        for (int i = 0; i < STEPS; ++i) {
            switch ((thread + i) % 4) {
                case 0:
                    configure(*client, i);
                    break;
                case 1:
                    start(*client, i % 3 == 0 ? 2 : 1);
                    break;
                case 2:
                    waitFor(*client, get(url_));
                    break;
                default:
                    waitFor(*client, cancelledAtOnce());
            }
        }
        client.reset();
    }

    FaultServer server_{"ok,rst@3000,ok,503,fin@4999,ok,chunked"};
    const std::string url_ = server_.url("/bytes/5000");
    std::atomic<int> started_{0};
    std::atomic<int> completed_{0};
    std::atomic<int> wrong_{0};

private:
    static void configure(CurlHttpClient& client, int step) {
        client.setClientConfiguration(
            stubborn(step % 5).withMaxThreads(1 + step % 3).withMaxRequestsPerThread(step % 2));
    }

    HttpRequest cancelledAtOnce() const {
        HttpRequest request = get(url_);
        request.setProgressCallback([](const Progress&) { return ProgressResult::CANCEL; });
        return request;
    }

    // A chain of requests, each of which is made by the handler of the one before, as long as the
    // client takes any.
    void start(const CurlHttpClient& client, int length) {
        ++started_;
        try {
            client.makeAsyncRequest(
                get(url_), [this, &client, length](const HttpRequest&, const HttpResponse& response,
                                                   const std::exception_ptr& error) {
                    ++completed_;
                    if (!error) check(response);
                    if (length > 1) start(client, length - 1);
                });
        } catch (const HttpRequestCancelledException&) {
            --started_;
        }
    }

    void waitFor(const CurlHttpClient& client, HttpRequest request) {
        try {
            check(client.makeRequest(std::move(request)));
        } catch (const HttpRequestFailedException&) {
        }
    }

    void check(const HttpResponse& response) {
        if (isSuccess(response) && response.getResponseBodyString() != right_) ++wrong_;
    }

    const std::string right_ = server_.content("/bytes/5000").all();
};

TEST_F(SharedClient, IsConfiguredUsedCancelledAndDestroyedByManyThreads) {
    for (int round = 0; round < ROUNDS; ++round) {
        auto client = std::make_shared<CurlHttpClient>();
        std::vector<std::future<void>> threads;
        for (int t = 0; t < THREADS; ++t) {
            threads.push_back(std::async(
                std::launch::async, [this, client, t]() mutable { use(std::move(client), t); }));
        }
        client.reset();
        for (auto& thread : threads) thread.get();

        EXPECT_EQ(completed_, started_);
        EXPECT_EQ(wrong_, 0);
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <ctime>
#include <filesystem>
#include <functional>
#include <future>
#include <istream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

#include "httpclient_testing/black_hole.h"
#include "support.h"
#include "support/calling_stream.h"
#include "support/owning_stream.h"

namespace tavrin::httpclient_curl {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds PATIENCE{20};

template <typename T>
T got(std::future<T>& future) {
    if (future.wait_for(PATIENCE) != std::future_status::ready)
        throw std::runtime_error("waited in vain");
    return future.get();
}

// Opens once, for all that wait for it.
class Gate {
public:
    void open() { promise_.set_value(); }
    void pass() const { future_.wait(); }

private:
    std::promise<void> promise_;
    std::shared_future<void> future_{promise_.get_future()};
};

// Counts up to a number that a test waits for.
class Countdown {
public:
    explicit Countdown(int count) : left_(count) {}
    void count() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (--left_ <= 0) reached_.notify_all();
    }
    bool wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        return reached_.wait_for(lock, PATIENCE, [this] { return left_ <= 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable reached_;
    int left_;
};

// A GET whose thread counts in `blocked` and waits for `gate` before there is a stream for the
// response.
HttpRequest getBlocking(const std::string& url, Countdown& blocked, const Gate& gate) {
    HttpRequest request = get(url);
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        blocked.count();
        gate.pass();
        return std::make_unique<std::stringstream>();
    });
    return request;
}

// While it lives no thread can be started: none has room for its stack.
class NoMoreThreads {
public:
    NoMoreThreads() {
        pthread_getattr_default_np(&before_);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 47);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads() {
        pthread_setattr_default_np(&before_);
        pthread_attr_destroy(&before_);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

private:
    pthread_attr_t before_;
};

// On the calling thread.
bool noSignalArrives() {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, SIGPIPE) == 1 && sigismember(&blocked, SIGTERM) == 1;
}

// Of this process.
std::ptrdiff_t threads() {
    using Entries = std::filesystem::directory_iterator;
    return std::distance(Entries("/proc/self/task"), Entries());
}

TEST(Threads, AreStartedWhenFirstNeeded) {
    const auto before = threads();
    const CurlHttpClient client(once());

    EXPECT_THROW(client.makeRequest(get("http://127.0.0.1:1/")), HttpRequestFailedException);

    EXPECT_LE(threads(), before);
    auto future = client.makeAsyncRequest(get("http://127.0.0.1:1/"));
    EXPECT_THROW(got(future), HttpRequestFailedException);
    EXPECT_GT(threads(), before);
}

TEST(Threads, ThatBlockingHandlersTookGoAgain) {
    constexpr int MANY = 50;
    Gate gate;
    Countdown blocked(MANY);
    const CurlHttpClient client(once());
    const auto before = threads();
    for (int i = 0; i < MANY; ++i) {
        client.makeAsyncRequest(get("nonsense://x"), [&](const auto&...) {
            blocked.count();
            gate.pass();
        });
    }
    ASSERT_TRUE(blocked.wait());
    EXPECT_GE(threads(), before + MANY);

    gate.open();

    // What may stay: four event loops, one that looks after the others, and one of a sanitizer's.
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (threads() > before + 6 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_LE(threads(), before + 6);
}

TEST(Threads, ThatWaitDoNotSpin) {
    FaultServer server("ok,delay:500");
    const CurlHttpClient idle;
    const CurlHttpClient waiting;
    auto first = idle.makeAsyncRequest(get(server.url("/bytes/1")));
    got(first);
    const std::clock_t before = std::clock();

    auto second = waiting.makeAsyncRequest(get(server.url("/bytes/1")));
    got(second);

    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20);
}

TEST(AsyncRequest, CallsItsHandlerOnceWithTheResponse) {
    FaultServer server;
    const CurlHttpClient client;
    std::promise<std::string> body;
    std::atomic<int> calls{0};

    client.makeAsyncRequest(
        get(server.url("/bytes/100")),
        CompletionHandler([&](HttpRequest, HttpResponse response, std::exception_ptr error) {
            EXPECT_EQ(error, nullptr);
            ++calls;
            body.set_value(response.getResponseBodyString());
        }));

    auto future = body.get_future();
    EXPECT_EQ(got(future), server.content("/bytes/100").all());
    EXPECT_EQ(calls, 1);
}

TEST(AsyncRequest, RetriesAsTheStrategySays) {
    FaultServer server("500,502,504,ok");
    const CurlHttpClient client;
    auto future = client.makeAsyncRequest(get(server.url("/bytes/9")));
    EXPECT_EQ(got(future).getResponseBodyString(), server.content("/bytes/9").all());
    EXPECT_EQ(server.requests().size(), 4u);
}

TEST(AsyncRequest, ManyEndOnceEachOnNoMoreConnectionsThanAllowed) {
    FaultServer server;
    const CurlHttpClient client;
    constexpr int COUNT = 10000;
    Countdown all(COUNT);
    std::atomic<int> right{0};

    for (int i = 0; i < COUNT; ++i) {
        client.makeAsyncRequest(
            get(server.url("/bytes/" + std::to_string(i % 2000))),
            CompletionHandler([&, i](HttpRequest, HttpResponse response, std::exception_ptr error) {
                if (error == nullptr && response.getContentLength() == i % 2000) ++right;
                all.count();
            }));
    }

    ASSERT_TRUE(all.wait());
    EXPECT_EQ(right, COUNT);
    EXPECT_LE(server.mostConnectionsOpen(), 8u);
    EXPECT_LE(server.connectionsAccepted(), 16u);
}

TEST(AsyncRequest, WaitInAnyNumberWithoutAThreadEach) {
    const httpclient_testing::BlackHole nobody;
    constexpr int COUNT = 20000;
    int handled = 0;
    const auto before = threads();
    {
        const CurlHttpClient client;
        std::mutex mutex;
        for (int i = 0; i < COUNT; ++i) {
            client.makeAsyncRequest(get(nobody.url()), [&](const auto&...) {
                const std::lock_guard<std::mutex> lock(mutex);
                ++handled;
            });
        }
        // Four, and a sanitizer may start one of its own.
        EXPECT_LT(threads(), before + 10);
    }
    EXPECT_EQ(handled, COUNT);
}

TEST(AsyncRequest, StartInOrderOnOneThread) {
    FaultServer server;
    const CurlHttpClient client(
        ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(1));
    std::vector<std::future<HttpResponse>> futures;
    for (int i = 0; i < 50; ++i)
        futures.push_back(client.makeAsyncRequest(get(server.url("/" + std::to_string(i)))));
    for (auto& future : futures) got(future);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(server.requests()[i].target, "/" + std::to_string(i));
}

// A body of one byte that tells when a client's thread first looks at it, which is when its request
// starts.
class TellingBody : public std::stringbuf {
public:
    explicit TellingBody(std::function<void()> starts)
        : std::stringbuf("x"), starts_(std::move(starts)) {}

protected:
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode mode) override {
        if (std::this_thread::get_id() != maker_ && !std::exchange(told_, true)) starts_();
        return std::stringbuf::seekoff(offset, from, mode);
    }

private:
    const std::thread::id maker_ = std::this_thread::get_id();
    std::function<void()> starts_;
    bool told_ = false;
};

using TellingStream = httpclient_core::test::OwningStream<std::istream, TellingBody>;

TEST(AsyncRequest, StartInOrderOnEachThread) {
    FaultServer server;
    constexpr int COUNT = 10000;
    std::mutex mutex;
    std::map<std::thread::id, std::vector<int>> started;
    Countdown all(COUNT);
    const CurlHttpClient client;

    for (int i = 0; i < COUNT; ++i) {
        HttpRequest request(HttpMethod::PUT, URL(server.url()), {{"Content-Length", "1"}});
        request.setRequestBody(std::make_unique<TellingStream>([&, i] {
            const std::lock_guard<std::mutex> lock(mutex);
            started[std::this_thread::get_id()].push_back(i);
        }));
        client.makeAsyncRequest(
            std::move(request),
            CompletionHandler([&](HttpRequest, HttpResponse, std::exception_ptr) { all.count(); }));
    }

    ASSERT_TRUE(all.wait());
    EXPECT_LE(started.size(), 4u);
    std::size_t count = 0;
    for (const auto& [thread, numbers] : started) {
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
        count += numbers.size();
    }
    EXPECT_EQ(count, static_cast<std::size_t>(COUNT));
}

TEST(AsyncRequest, LimitsOfThreadsFollowTheConfiguration) {
    for (const auto& [threads, each, expected] : {std::tuple<long, long, std::size_t>{1, 1, 1},
                                                  {1, 3, 3},
                                                  {2, 2, 4},
                                                  {1, 0, 10},
                                                  {0, 1, 10}}) {
        FaultServer server;
        server.setPlan("hstall");
        CurlHttpClient client;
        client.setClientConfiguration(
            ClientConfiguration().withMaxThreads(threads).withMaxRequestsPerThread(each));
        std::vector<std::future<HttpResponse>> futures;
        for (int i = 0; i < 10; ++i) futures.push_back(client.makeAsyncRequest(get(server.url())));
        server.waitForStalls(expected);
        EXPECT_EQ(server.mostConnectionsOpen(), expected);
        server.setPlan("ok");
        server.release();
        for (auto& future : futures) got(future);
        EXPECT_EQ(server.mostConnectionsOpen(), expected) << threads << " x " << each;
    }
}

TEST(AsyncRequest, HandlersThatBlockDelayNothingElse) {
    FaultServer server;
    Gate gate;
    Countdown blocked(20);
    const CurlHttpClient client;
    for (int i = 0; i < 20; ++i) {
        client.makeAsyncRequest(
            get(server.url("/bytes/1")),
            CompletionHandler([&](HttpRequest, HttpResponse, std::exception_ptr) {
                blocked.count();
                gate.pass();
            }));
    }
    ASSERT_TRUE(blocked.wait());

    auto future = client.makeAsyncRequest(get(server.url("/bytes/2")));

    EXPECT_EQ(got(future).getContentLength(), 2);
    gate.open();
}

TEST(AsyncRequest, StreamThatBlocksLeavesLaterRequestsToOtherThreads) {
    FaultServer server;
    Gate gate;
    Countdown blocked(1);
    const CurlHttpClient client(once().withMaxThreads(2).withMaxRequestsPerThread(0));
    auto first = client.makeAsyncRequest(getBlocking(server.url("/bytes/1"), blocked, gate));
    ASSERT_TRUE(blocked.wait());

    // Until the thread has been away for so long that requests no longer wait for it.
    std::vector<std::future<HttpResponse>> later;
    do {
        later.push_back(client.makeAsyncRequest(get(server.url("/bytes/2"))));
    } while (later.back().wait_for(milliseconds(50)) != std::future_status::ready &&
             later.size() < 40);

    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    const auto came = std::count_if(later.begin(), later.end(), [&](const auto& future) {
        return future.wait_until(deadline) == std::future_status::ready;
    });
    const bool stillBlocked = first.wait_for(seconds(0)) != std::future_status::ready;
    gate.open();
    EXPECT_EQ(static_cast<std::size_t>(came), later.size());
    EXPECT_TRUE(stillBlocked);
    EXPECT_EQ(got(first).getContentLength(), 1);
}

TEST(AsyncRequest, StreamThatBlocksDelaysNoNewConfiguration) {
    FaultServer server;
    Gate gate;
    Countdown blocked(1);
    CurlHttpClient client(once());
    auto request = client.makeAsyncRequest(getBlocking(server.url("/bytes/1"), blocked, gate));
    ASSERT_TRUE(blocked.wait());

    auto configured =
        std::async(std::launch::async, [&] { client.setClientConfiguration(stubborn()); });

    EXPECT_EQ(configured.wait_for(PATIENCE), std::future_status::ready);
    gate.open();
    EXPECT_EQ(got(request).getContentLength(), 1);
}

TEST(AsyncRequest, HandlersThatBlockDelayNothingElseOnceThreadsCanBeHadAgain) {
    const httpclient_testing::BlackHole nobody;
    Gate gate;
    Countdown blocked(1);
    Countdown others(2);
    const CurlHttpClient client(ClientConfiguration().withMaxThreads(1).withRetryStrategy(
        httpclient_core::noRetriesStrategy()));
    client.makeAsyncRequest(get("nonsense://x"), [&](const auto&...) {
        blocked.count();
        gate.pass();
    });
    ASSERT_TRUE(blocked.wait());

    auto noThreads = std::make_unique<NoMoreThreads>();
    client.makeAsyncRequest(get("nonsense://x"), [&](const auto&...) { others.count(); });
    HttpRequest last = get(nobody.url());
    last.setProgressCallback([&, calls = 0](const Progress&) mutable {
        // Before the second call the request ahead of this one was handed to its handler, which
        // found no thread.
        if (++calls < 2) return ProgressResult::CONTINUE;
        noThreads.reset();
        return ProgressResult::CANCEL;
    });
    client.makeAsyncRequest(std::move(last), [&](const auto&...) { others.count(); });

    EXPECT_TRUE(others.wait());
    gate.open();
}

TEST(AsyncRequest, RetriesGoOnWithoutAnyThreadHoweverMany) {
    constexpr int ATTEMPTS = 30000;
    const NoMoreThreads noThreads;
    ClientConfiguration configuration;
    configuration.setRetryStrategy([](const HttpRequest&, const HttpResponse&,
                                      const std::exception_ptr&, int attempt,
                                      int) { return attempt < ATTEMPTS; });
    const CurlHttpClient client(configuration);

    int calls = 0;
    client.makeAsyncRequest(get("http://127.0.0.1/"),
                            [&](const auto&, const auto&, const auto&) { ++calls; });

    EXPECT_EQ(calls, 1);
}

TEST(AsyncRequest, StrategiesThatSleepDelayNothingElse) {
    FaultServer server;
    server.setPlan("/bad", "503");
    Gate gate;
    Countdown backingOff(20);
    ClientConfiguration sleepy;
    sleepy.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int) {
            backingOff.count();
            gate.pass();
            return false;
        });
    const CurlHttpClient client;
    std::vector<std::future<HttpResponse>> sleeping;
    for (int i = 0; i < 20; ++i) {
        HttpRequest request = get(server.url("/bad"));
        request.setClientConfiguration(sleepy);
        sleeping.push_back(client.makeAsyncRequest(std::move(request)));
    }
    ASSERT_TRUE(backingOff.wait());

    auto future = client.makeAsyncRequest(get(server.url("/bytes/2")));

    EXPECT_EQ(got(future).getContentLength(), 2);
    gate.open();
    for (auto& one : sleeping)
        EXPECT_EQ(got(one).getResponseCode(), HttpResponseCode::SERVICE_UNAVAILABLE);
}

TEST(AsyncRequest, HandlersMayMakeRequestsAndWaitForThem) {
    FaultServer server;
    const CurlHttpClient client(
        ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(1));
    std::promise<long> length;

    client.makeAsyncRequest(
        get(server.url()), CompletionHandler([&](HttpRequest, HttpResponse, std::exception_ptr) {
            const HttpResponse inner = client.makeRequest(get(server.url("/bytes/1")));
            auto other = client.makeAsyncRequest(get(server.url("/bytes/2")));
            length.set_value(inner.getContentLength() + got(other).getContentLength());
        }));

    auto future = length.get_future();
    EXPECT_EQ(got(future), 3);
}

TEST(AsyncRequest, HandlersAndStreamsRunWhereNoSignalArrives) {
    FaultServer server;
    std::atomic<bool> inStream{false};
    std::promise<bool> inHandler;
    const CurlHttpClient client(once());
    HttpRequest request = get(server.url());
    request.setResponseStreamFactory([&](const auto&...) {
        inStream = noSignalArrives();
        return std::make_unique<std::stringstream>();
    });

    client.makeAsyncRequest(std::move(request),
                            [&](const auto&...) { inHandler.set_value(noSignalArrives()); });

    auto future = inHandler.get_future();
    EXPECT_TRUE(got(future));
    EXPECT_TRUE(inStream);
}

TEST(AsyncRequest, HandlerThatThrowsDisturbsNobody) {
    FaultServer server;
    const CurlHttpClient client;
    client.makeAsyncRequest(get(server.url()),
                            CompletionHandler([](HttpRequest, HttpResponse, std::exception_ptr) {
                                throw std::runtime_error("mine");
                            }));
    auto future = client.makeAsyncRequest(get(server.url("/bytes/2")));
    EXPECT_EQ(got(future).getContentLength(), 2);
}

TEST(AsyncRequest, StrategyThatThrowsOrIsMissingBreaksItsPromise) {
    FaultServer server;
    const CurlHttpClient client;
    ClientConfiguration missing;
    missing.setRetryStrategy(nullptr);
    ClientConfiguration throwing;
    throwing.setRetryStrategy([](const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                                 int, int) -> bool { throw std::runtime_error("mine"); });
    for (const auto& configuration : {missing, throwing}) {
        HttpRequest request = get(server.url());
        request.setClientConfiguration(configuration);
        auto future = client.makeAsyncRequest(std::move(request));
        try {
            got(future);
            ADD_FAILURE();
        } catch (const std::future_error& error) {
            EXPECT_EQ(error.code(), std::future_errc::broken_promise);
        }
    }
    auto future = client.makeAsyncRequest(get(server.url("/bytes/2")));
    EXPECT_EQ(got(future).getContentLength(), 2);
}

TEST(AsyncRequest, WhatIsRefusedCompletesTheTask) {
    const CurlHttpClient client(once());
    auto future = client.makeAsyncRequest(get("nonsense://x"));
    EXPECT_EQ(failureOf([&] { got(future); }),
              "Request refused: the URL has neither the scheme http nor https");
}

TEST(AsyncRequest, ConfigurationOfItsOwnHoldsForItAlone) {
    FaultServer server("302:/next,ok,302:/next,ok");
    const CurlHttpClient client;
    HttpRequest own = get(server.url());
    own.setClientConfiguration(ClientConfiguration().withFollowRedirects(false));
    auto first = client.makeAsyncRequest(std::move(own));
    EXPECT_EQ(got(first).getResponseCode(), HttpResponseCode::FOUND);
    auto second = client.makeAsyncRequest(get(server.url()));
    EXPECT_EQ(got(second).getResponseCode(), HttpResponseCode::OK);
}

TEST(AsyncRequest, ProgressIsReportedOnAThreadOfTheClients) {
    FaultServer server;
    const CurlHttpClient client;
    std::set<std::thread::id> threads;
    Progress last;
    HttpRequest request = get(server.url("/bytes/3000"));
    request.setProgressCallback([&](const Progress& progress) {
        threads.insert(std::this_thread::get_id());
        last = progress;
        return ProgressResult::CONTINUE;
    });
    auto future = client.makeAsyncRequest(std::move(request));
    got(future);
    EXPECT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0u);
    EXPECT_EQ(last.downloadNow, 3000);
    EXPECT_EQ(last.downloadTotal, 3000);
}

// --- The end of a client ---

class EndOfLife : public testing::Test {
protected:
    // Starts requests whose outcome must be one cancellation each.
    void startMany(const CurlHttpClient& client, const std::string& url, int count,
                   const ClientConfiguration& configuration) {
        for (int i = 0; i < count; ++i) {
            HttpRequest request = get(url);
            request.setClientConfiguration(configuration);
            client.makeAsyncRequest(
                std::move(request),
                CompletionHandler([this](HttpRequest, HttpResponse, std::exception_ptr error) {
                    ++calls_;
                    if (isCancellation(error)) ++cancelled_;
                }));
        }
    }

    static bool isCancellation(const std::exception_ptr& error) {
        return error && !failureOf<HttpRequestCancelledException>([&] {
                             std::rethrow_exception(error);
                         }).empty();
    }

    std::atomic<int> calls_{0};
    std::atomic<int> cancelled_{0};
};

TEST_F(EndOfLife, CancelsWhatIsQueuedConnectingWaitingOrInABody) {
    FaultServer server("hstall*4,stall@100*4");
    const auto begin = [&] {
        auto client = std::make_unique<CurlHttpClient>();
        startMany(*client, server.url("/bytes/1000"), 100, stubborn(3));
        return client;
    };
    auto client = begin();
    server.waitForStalls(4);

    client.reset();

    EXPECT_EQ(calls_, 100);
    EXPECT_EQ(cancelled_, 100);
}

// A thread that was not woken would sleep for ten seconds.
TEST_F(EndOfLife, WakesAThreadThatHasNothingToDo) {
    FaultServer server;
    auto client = std::make_unique<CurlHttpClient>();
    auto done = client->makeAsyncRequest(get(server.url()));
    got(done);
    const auto start = std::chrono::steady_clock::now();

    client.reset();

    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(5));
}

// Threads that were not woken would look after their transfers, and see the end, a tenth of a
// second later each.
TEST_F(EndOfLife, WakesAThreadWhoseTransferWaits) {
    constexpr int CLIENTS = 100;
    FaultServer server("hstall");
    std::chrono::steady_clock::duration took{0};
    for (int i = 1; i <= CLIENTS; ++i) {
        auto client = std::make_unique<CurlHttpClient>();
        startMany(*client, server.url(), 1, once());
        server.waitForStalls(static_cast<std::size_t>(i));
        const auto start = std::chrono::steady_clock::now();

        client.reset();

        took += std::chrono::steady_clock::now() - start;
    }
    EXPECT_EQ(cancelled_, CLIENTS);
    EXPECT_LT(took, seconds(5));
}

TEST_F(EndOfLife, EndsStrategiesThatNeverGiveUp) {
    FaultServer server("hstall");
    ClientConfiguration endless;
    endless.setRetryStrategy([](const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                                int, int) { return true; });
    auto client = std::make_unique<CurlHttpClient>();
    startMany(*client, server.url(), 30, endless);
    server.waitForStalls(8);

    client.reset();

    EXPECT_EQ(calls_, 30);
    EXPECT_EQ(cancelled_, 30);
}

TEST_F(EndOfLife, CancelsWhatWaitsForItsNextAttempt) {
    FaultServer server("503");
    Gate gate;
    Countdown backingOff(5);
    ClientConfiguration sleepy;
    sleepy.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int) {
            backingOff.count();
            gate.pass();
            return true;
        });
    auto client = std::make_unique<CurlHttpClient>();
    startMany(*client, server.url(), 5, sleepy);
    ASSERT_TRUE(backingOff.wait());

    std::thread destroyer([&] { client.reset(); });
    gate.open();
    destroyer.join();

    EXPECT_EQ(calls_, 5);
    EXPECT_EQ(cancelled_, 5);
}

TEST_F(EndOfLife, TellsWhatIsQueuedThoughAStreamBlocks) {
    FaultServer server("stall@10");
    Gate gate;
    Countdown blocked(1);
    Countdown told(5);
    auto client = std::make_unique<CurlHttpClient>(
        ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(1));
    auto underWay = client->makeAsyncRequest(getBlocking(server.url("/bytes/100"), blocked, gate));
    ASSERT_TRUE(blocked.wait());
    for (int i = 0; i < 5; ++i)
        client->makeAsyncRequest(get(server.url()), [&](const auto&...) { told.count(); });

    std::thread destroyer([&] { client.reset(); });

    EXPECT_TRUE(told.wait());
    gate.open();
    destroyer.join();
    EXPECT_EQ(failureOf<HttpRequestCancelledException>([&] { underWay.get(); }),
              "Request cancelled");
}

TEST_F(EndOfLife, HandlerThatAsksForMoreIsRefused) {
    FaultServer server("hstall");
    auto client = std::make_unique<CurlHttpClient>();
    const CurlHttpClient& reference = *client;
    std::atomic<int> refused{0};
    client->makeAsyncRequest(get(server.url()),
                             CompletionHandler([&](HttpRequest, HttpResponse, std::exception_ptr) {
                                 if (!failureOf<HttpRequestCancelledException>([&] {
                                          reference.makeRequest(get(server.url()));
                                      }).empty())
                                     ++refused;
                                 if (!failureOf<HttpRequestCancelledException>([&] {
                                          reference.makeAsyncRequest(get(server.url()));
                                      }).empty())
                                     ++refused;
                             }));
    server.waitForStalls(1);

    client.reset();

    EXPECT_EQ(refused, 2);
}

TEST_F(EndOfLife, RunsHandlersWhereNoSignalArrives) {
    const httpclient_testing::BlackHole nobody;
    std::atomic<int> undisturbed{0};
    {
        const CurlHttpClient client(once().withMaxThreads(1).withMaxRequestsPerThread(1));
        for (int i = 0; i < 5; ++i) {
            client.makeAsyncRequest(get(nobody.url()), [&](const auto&...) {
                if (noSignalArrives()) ++undisturbed;
            });
        }
    }
    EXPECT_EQ(undisturbed, 5);
}

TEST_F(EndOfLife, EndsWhatAHandlerAsksForWithoutGivingUp) {
    FaultServer server;
    server.setPlan("/mute", "mute");
    std::string failure;
    auto client = std::make_unique<CurlHttpClient>(once().withRetryStrategy(
        [](const HttpRequest& request, const auto&, const auto&, int, int) {
            return request.getURL().toAsciiString().back() == 'e';
        }));
    client->makeAsyncRequest(get(server.url()), [&, inner = client.get()](const auto&...) {
        failure = failureOf<HttpRequestCancelledException>(
            [&] { inner->makeRequest(get(server.url("/mute"))); });
    });
    server.waitForRequests(2);

    client.reset();

    EXPECT_EQ(failure, "Request cancelled");
}

TEST_F(EndOfLife, RunsManyQuickHandlersOnFewThreads) {
    const httpclient_testing::BlackHole nobody;
    std::mutex mutex;
    std::set<std::thread::id> threads;
    int calls = 0;

    {
        const CurlHttpClient client;
        for (int i = 0; i < 2000; ++i) {
            client.makeAsyncRequest(get(nobody.url()), [&](const auto&...) {
                const std::lock_guard<std::mutex> lock(mutex);
                threads.insert(std::this_thread::get_id());
                ++calls;
            });
        }
    }

    EXPECT_EQ(calls, 2000);
    EXPECT_LT(threads.size(), 200U);
}

TEST_F(EndOfLife, RunsHandlersThatBlockBesideEachOther) {
    const httpclient_testing::BlackHole nobody;
    constexpr int MANY = 300;
    Countdown all(MANY);
    std::atomic<int> met{0};

    {
        const CurlHttpClient client;
        for (int i = 0; i < MANY; ++i) {
            client.makeAsyncRequest(get(nobody.url()), [&](const auto&...) {
                all.count();
                if (all.wait()) ++met;
            });
        }
    }

    EXPECT_EQ(met, MANY);
}

TEST_F(EndOfLife, MayComeFromAHandlerOfItsOwn) {
    FaultServer server;
    std::promise<void> done;
    auto client =
        std::make_shared<std::unique_ptr<CurlHttpClient>>(std::make_unique<CurlHttpClient>());
    (*client)->makeAsyncRequest(
        get(server.url()),
        CompletionHandler([client, &done](HttpRequest, HttpResponse, std::exception_ptr) {
            client->reset();
            done.set_value();
        }));
    auto future = done.get_future();
    got(future);
}

TEST_F(EndOfLife, MayComeFromAStreamOrCallbackOfATransfer) {
    using Prepare = std::function<void(HttpRequest&, const std::function<void()>&)>;
    const std::pair<const char*, Prepare> places[] = {
        {"progress callback",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setProgressCallback([end](const Progress&) {
                 end();
                 return ProgressResult::CONTINUE;
             });
         }},
        {"progress callback that throws",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setProgressCallback([end](const Progress&) -> ProgressResult {
                 end();
                 throw std::runtime_error("mine");
             });
         }},
        {"callback for changes",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setPreRespCodeAndHeadersCallback(end);
         }},
        {"factory",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setResponseStreamFactory(
                 [end](HttpResponseCode, const std::string&, const HttpHeaders&) {
                     end();
                     return std::make_unique<std::stringstream>();
                 });
         }},
        {"stream of the response",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setResponseStreamFactory(
                 [end](HttpResponseCode, const std::string&, const HttpHeaders&) {
                     return std::make_unique<test::CallingStream>("", end);
                 });
         }},
        {"stream of the request",
         [](HttpRequest& request, const std::function<void()>& end) {
             request.setHeaderValue("Content-Length", "4");
             request.setRequestBody(std::make_unique<test::CallingStream>("body", end));
         }},
    };
    for (const auto& [name, prepare] : places) {
        SCOPED_TRACE(name);
        FaultServer server("stall@100*3,ok");
        Gate queued;
        Countdown all(10);
        calls_ = cancelled_ = 0;
        auto client = std::make_unique<CurlHttpClient>(
            stubborn(3).withMaxThreads(2).withMaxRequestsPerThread(2));
        const auto start = [&](HttpRequest request) {
            client->makeAsyncRequest(
                std::move(request), [&](const auto&, const auto&, const std::exception_ptr& error) {
                    ++calls_;
                    if (isCancellation(error)) ++cancelled_;
                    all.count();
                });
        };
        for (int i = 0; i < 3; ++i) start(get(server.url("/bytes/1000")));
        server.waitForStalls(3);
        HttpRequest ending = get(server.url("/bytes/1000"));
        prepare(ending, [&] {
            queued.pass();
            client.reset();
        });

        start(std::move(ending));
        for (int i = 0; i < 6; ++i) start(get(server.url()));
        queued.open();

        EXPECT_TRUE(all.wait());
        EXPECT_EQ(calls_, 10);
        EXPECT_EQ(cancelled_, 10);
    }
}

TEST_F(EndOfLife, FromAStreamWaitsForHandlersThatRun) {
    FaultServer server;
    Countdown running(1);
    Countdown finished(1);
    std::atomic<bool> over{false};
    std::atomic<bool> early{false};
    auto client = std::make_unique<CurlHttpClient>(once().withMaxThreads(1));
    const auto isEnding = [&server, &reference = *client] {
        return !failureOf<HttpRequestCancelledException>([&] {
                    reference.makeRequest(get(server.url()));
                }).empty();
    };
    client->makeAsyncRequest(get(server.url()), [&](const auto&...) {
        running.count();
        while (!over && !isEnding()) continue;
        for (int i = 0; i < 1000 && !over; ++i) isEnding();
        early = over.load();
        finished.count();
    });
    ASSERT_TRUE(running.wait());
    HttpRequest ending = get(server.url());
    ending.setResponseStreamFactory([&](const auto&...) {
        client.reset();
        over = true;
        return std::make_unique<std::stringstream>();
    });

    auto ended = client->makeAsyncRequest(std::move(ending));

    EXPECT_THROW(got(ended), HttpRequestCancelledException);
    EXPECT_TRUE(finished.wait());
    EXPECT_FALSE(early);
}

TEST_F(EndOfLife, UnderLoadManyTimes) {
    constexpr int MOST = 20;
    FaultServer server("ok,drip:2000,503,302:/x,fin@10,delay:5");
    for (int i = 0; i < 1000; ++i) {
        std::array<std::atomic<int>, MOST> completions{};
        std::atomic<int> wrong{0};
        {
            const CurlHttpClient client(stubborn());
            for (int j = 0; j < i % MOST; ++j) {
                client.makeAsyncRequest(get(server.url("/bytes/5000")),
                                        [&, j](const auto&, const HttpResponse& response,
                                               const std::exception_ptr& error) {
                                            ++completions[j];
                                            const bool right = error ? isCancellation(error)
                                                                     : response.getResponseCode() ==
                                                                           HttpResponseCode::OK;
                                            if (!right) ++wrong;
                                        });
            }
        }
        for (int j = 0; j < MOST; ++j) ASSERT_EQ(completions[j], j < i % MOST ? 1 : 0);
        ASSERT_EQ(wrong, 0);
    }
}

TEST_F(EndOfLife, OfAnUnusedClientIsQuiet) { const CurlHttpClient client; }

}  // namespace
}  // namespace tavrin::httpclient_curl

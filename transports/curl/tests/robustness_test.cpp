#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/alarm_storm.h"
#include "support/child.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_core::test::AlarmStorm;
using test::inChild;

class Robustness : public OnBothRoads {};
ON_BOTH_ROADS(Robustness);

TEST_P(Robustness, AForkedChildWorksAndLeavesTheParentAlone) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    options.plan = "stall@5000,ok";
    FaultServer server(std::move(options));
    const ClientConfiguration trusting = once().withCertificateFile(server.caFile());
    auto client = std::make_unique<CurlHttpClient>(trusting);
    auto parents = client->makeAsyncRequest(get(server.url("/bytes/10000")));
    server.waitForStalls(1);
    client->makeRequest(get(server.url("/bytes/5")));

    const int inherited = inChild([&] {
        return static_cast<int>(send(*client, get(server.url("/bytes/7"))).getContentLength());
    });
    const int own = inChild([&] {
        return static_cast<int>(
            send(CurlHttpClient(trusting), get(server.url("/bytes/8"))).getContentLength());
    });
    const int ended = inChild([&] {
        client.reset();
        return 9;
    });

    EXPECT_EQ(inherited, 7);
    EXPECT_EQ(own, 8);
    EXPECT_EQ(ended, 9);
    server.release();
    EXPECT_EQ(parents.get().getResponseBodyString(), server.content("/bytes/10000").all());
    EXPECT_EQ(send(*client, get(server.url("/bytes/6"))).getContentLength(), 6);
}

// A POST is not sent again where a connection turns out to be dead.
TEST_P(Robustness, AForkedChildThatDestroysAnIdleClientLeavesItsConnectionAlone) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    FaultServer server(std::move(options));
    auto client = std::make_unique<CurlHttpClient>(
        once().withCertificateFile(server.caFile()).withMaxThreads(1));
    send(*client, get(server.url()));

    const int ended = inChild([&] {
        client.reset();
        return 9;
    });

    EXPECT_EQ(ended, 9);
    EXPECT_TRUE(isSuccess(send(*client, withBody(HttpMethod::POST, server.url(), "text"))));
    EXPECT_EQ(server.connectionsAccepted(), 1u);
}

TEST(AForkedChild, LeavesItsParentsConnectionAloneInASingleAttemptToo) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server;
    const CurlHttpClient client(once());
    client.makeRequest(get(server.url()));

    const int length = inChild([&] {
        HttpRequest request = get(server.url("/bytes/7"));
        HttpResponse response(request);
        client.performRequest(request, response);
        return static_cast<int>(response.getContentLength());
    });

    EXPECT_EQ(length, 7);
    EXPECT_EQ(server.connectionsAccepted(), 2u);
}

TEST(AForkedChild, CarriesOutNothingOfTheParentsAfterItConfiguredItsClient) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server("stall@10");
    server.setPlan("/bytes/1", "ok");
    server.setPlan("/bytes/7", "ok");
    CurlHttpClient client(once().withMaxThreads(1).withMaxRequestsPerThread(1));
    auto stalled = client.makeAsyncRequest(get(server.url("/bytes/10000")));
    server.waitForStalls(1);
    auto waiting = client.makeAsyncRequest(get(server.url("/bytes/1")));

    const int inherited = inChild([&] {
        client.setClientConfiguration(once().withMaxThreads(8).withMaxRequestsPerThread(1));
        // Time enough for whatever it should not do.
        for (int i = 1; i < 100; ++i) client.makeRequest(get(server.url("/bytes/7")));
        return static_cast<int>(
            client.makeAsyncRequest(get(server.url("/bytes/7"))).get().getContentLength());
    });

    EXPECT_EQ(inherited, 7);
    server.release();
    EXPECT_EQ(stalled.get().getContentLength(), 10000);
    EXPECT_EQ(waiting.get().getContentLength(), 1);
    int sent = 0;
    for (const auto& request : server.requests()) sent += request.target == "/bytes/1" ? 1 : 0;
    EXPECT_EQ(sent, 1);
}

TEST_P(Robustness, ExitWithRequestsUnderWayIsClean) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server("stall@10");
    for (const bool leaked : {false, true}) {
        EXPECT_EXIT(
            {
                static std::unique_ptr<CurlHttpClient> atExit;
                auto client = std::make_unique<CurlHttpClient>();
                for (int i = 0; i < 20; ++i) {
                    client->makeAsyncRequest(
                        get(server.url("/bytes/100")),
                        CompletionHandler([](HttpRequest, HttpResponse, std::exception_ptr) {}));
                }
                if (leaked) {
                    static_cast<void>(client.release());
                } else {
                    atExit = std::move(client);
                }
                std::exit(7);
            },
            testing::ExitedWithCode(7), "");
    }
}

// Has a handler destroy the client that calls it, and then do something more.
template <typename Action>
void destroyFromItsHandler(Action more) {
    const auto destroyed = std::make_shared<std::promise<void>>();
    const auto client = std::make_shared<std::unique_ptr<CurlHttpClient>>();
    *client = std::make_unique<CurlHttpClient>();
    (*client)->makeAsyncRequest(get("nonsense://x"), [=](const auto&...) {
        client->reset();
        destroyed->set_value();
        more();
    });
    destroyed->get_future().wait();
}

// A fresh process, in which nothing but the test has asked to be told of its end.
bool isFresh() { return std::getenv("FRESH_PROCESS") != nullptr; }
int inFreshProcess() { return test::rerunWith({{"FRESH_PROCESS", "1"}}); }

TEST(Exit, WaitsForHandlersThatDestroyedTheirClients) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    if (!isFresh()) {
        EXPECT_EQ(inFreshProcess(), 7);
        return;
    }
    static std::atomic<int> ended{0};
    static std::promise<void> begun;
    // The first to be registered is called last.
    std::atexit([] { _exit(ended == 3 ? 7 : 1); });
    for (int i = 0; i < 3; ++i) {
        destroyFromItsHandler([i] {
            if (i == 0) begun.get_future().wait();
            httpclient_testing::sha256Hex(std::string(30000000, 'x'));
            ++ended;
        });
    }
    std::atexit([] { begun.set_value(); });
    std::exit(2);
}

TEST(Exit, MayBeCalledByHandlersThatDestroyedTheirClients) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    if (!isFresh()) {
        EXPECT_EQ(inFreshProcess(), 7);
        return;
    }
    std::promise<void> another;
    destroyFromItsHandler([ready = another.get_future().share()] {
        ready.wait();
        std::exit(7);
    });
    destroyFromItsHandler([] {});
    another.set_value();
    pause();
}

TEST(AForkedChild, DoesNotWaitForHandlersOfItsParents) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    std::promise<void> ended;
    destroyFromItsHandler([end = ended.get_future().share()] { end.wait(); });

    EXPECT_EXIT(
        {
            // One of them takes the place of the parent's in memory.
            for (int i = 0; i < 9; ++i) std::thread([] { pause(); }).detach();
            std::exit(7);
        },
        testing::ExitedWithCode(7), "");

    ended.set_value();
}

TEST_P(Robustness, SignalsDisturbNothing) {
    const int alarmsBefore = AlarmStorm::alarms();
    const AlarmStorm storm(std::chrono::milliseconds(1));
    FaultServer server("rst@30000,drip:200000,fin@10,ok");
    for (int i = 0; i < 10; ++i) {
        HttpResponse response = send(CurlHttpClient(stubborn()), get(server.url("/bytes/60000")));
        EXPECT_TRUE(response.getResponseBodyString() == server.content("/bytes/60000").all());
        HttpResponse upload =
            send(CurlHttpClient(stubborn()),
                 withBody(HttpMethod::PUT, server.url(), std::string(100000, 'x')));
        EXPECT_EQ(upload.getResponseBodyString().size(), 64u);
    }
    EXPECT_GT(AlarmStorm::alarms(), alarmsBefore);
}

TEST_P(Robustness, SignalsKeepTheApplicationsHandlers) {
    FaultServer server;
    const auto mine = [](int) {};
    std::vector<bool> kept;
    HttpRequest request = get(server.url());
    request.setResponseStreamFactory([&](const auto&...) {
        for (const int number : {SIGPIPE, SIGALRM}) {
            struct sigaction now {};
            sigaction(number, nullptr, &now);
            kept.push_back(now.sa_handler == static_cast<void (*)(int)>(mine));
        }
        return std::make_unique<std::stringstream>();
    });
    const auto pipeBefore = signal(SIGPIPE, mine);
    const auto alarmBefore = signal(SIGALRM, mine);

    send(CurlHttpClient(once()), std::move(request));

    signal(SIGPIPE, pipeBefore);
    signal(SIGALRM, alarmBefore);
    EXPECT_EQ(kept, std::vector<bool>({true, true}));
}

TEST_P(Robustness, ABrokenPipeKillsNobody) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    FaultServer secure(std::move(options));
    FaultServer plain;
    for (FaultServer* server : {&plain, &secure}) {
        server->setPlan("/reset", "urst@1000");
        server->setPlan("/close", "silentclose");
    }
    const int code = inChild([&] {
        signal(SIGPIPE, SIG_DFL);
        const CurlHttpClient client(once().withCertificateFile(secure.caFile()));
        int resets = 0;
        for (FaultServer* server : {&plain, &secure}) {
            for (int i = 0; i < 10; ++i) {
                const std::string body(3000000, 'x');
                const auto put = [&](const char* path) {
                    send(client, withBody(HttpMethod::PUT, server->url(path), body));
                };
                resets += !failureOf([&] { put("/reset"); }).empty();
                failureOf([&] { send(client, get(server->url("/close"))); });
                failureOf([&] { put("/close"); });
            }
        }
        return resets == 20 ? 0 : 1;
    });
    EXPECT_EQ(code, 0);
}

TEST_P(Robustness, WithoutFileDescriptorsEveryRequestEnds) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    FaultServer server;
    const auto withLimit = [&](rlim_t descriptors) {
        rlimit few{};
        getrlimit(RLIMIT_NOFILE, &few);
        few.rlim_cur = descriptors;
        setrlimit(RLIMIT_NOFILE, &few);
        std::atomic<int> ended{0};
        {
            const CurlHttpClient client(once().withMaxThreads(20).withMaxRequestsPerThread(10));
            std::vector<std::future<HttpResponse>> futures;
            for (int i = 0; i < 200; ++i) {
                if (GetParam() == Road::SYNCHRONOUS) {
                    futures.push_back(std::async(
                        i % 20 == 0 ? std::launch::async : std::launch::deferred,
                        [&] { return client.makeRequest(get(server.url("/bytes/1"))); }));
                } else {
                    futures.push_back(client.makeAsyncRequest(get(server.url("/bytes/1"))));
                }
            }
            for (auto& future : futures) {
                try {
                    future.get();
                } catch (const std::exception&) {
                    ++ended;
                    continue;
                }
                ++ended;
            }
            few.rlim_cur = few.rlim_max;
            setrlimit(RLIMIT_NOFILE, &few);
            if (send(client, get(server.url("/bytes/5"))).getContentLength() != 5) return 1;
        }
        return ended == 200 ? 0 : 2;
    };
    for (const rlim_t descriptors : {24, 64})
        EXPECT_EQ(inChild([&] { return withLimit(descriptors); }), 0) << descriptors;
}

TEST_P(Robustness, SaysThatNoFileDescriptorIsLeft) {
    SKIP_WHERE_NO_CHILD_IS_SAFE();
    const auto withoutAny = [&] {
        const CurlHttpClient client(once());
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const std::string text = failureOf([&] { send(client, get("http://127.0.0.1:1/")); });
        return text == "Request failed: libcurl: no file descriptor is left" ? 0 : 1;
    };
    EXPECT_EQ(inChild(withoutAny), 0);
}

// A client that uses another one as its transport.
class Wrapper final : public httpclient_core::HttpClient {
public:
    explicit Wrapper(const httpclient_core::HttpClient& inner) : inner_(inner) {}
    void performRequest(HttpRequest& request, HttpResponse& response) const override {
        inner_.performRequest(request, response);
    }
    void performAsyncRequest(HttpRequest request, HttpResponse response, std::uint64_t id,
                             httpclient_core::RetryTask completion) const override {
        inner_.performAsyncRequest(std::move(request), std::move(response), id,
                                   std::move(completion));
    }

private:
    const httpclient_core::HttpClient& inner_;
};

TEST_P(Robustness, AsAnothersTransportItDamagesNothing) {
    const CurlHttpClient inner;
    Wrapper outer(inner);
    outer.setClientConfiguration(stubborn());
    for (const char* plan : {"fin@700,ok", "fin@700,503,ok", "fin@700,change,ok",
                             "fin@700,ignorerange,fin@900,ok", "503:ar:b5000,ok"}) {
        FaultServer server(plan);
        HttpRequest request = get(server.url("/bytes/2000"));
        HttpResponse response = send(outer, std::move(request));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_TRUE(response.getResponseBodyString() == server.content("/bytes/2000").all())
            << plan;
    }
    FaultServer server;
    HttpRequest own = get(server.url("/bytes/2000"), {{"Range", "bytes=1000-"}});
    HttpResponse part = send(outer, std::move(own));
    EXPECT_EQ(part.getResponseBodyString(), server.content("/bytes/2000").range(1000, 1000));
}

// It begins each attempt on a thread of its own, as one with a limit on its rate would.
class DeferringWrapper final : public httpclient_core::HttpClient {
public:
    explicit DeferringWrapper(const httpclient_core::HttpClient& inner) : inner_(inner) {}
    void performRequest(HttpRequest& request, HttpResponse& response) const override {
        inner_.performRequest(request, response);
    }
    void performAsyncRequest(HttpRequest request, HttpResponse response, std::uint64_t id,
                             httpclient_core::RetryTask completion) const override {
        const std::lock_guard<std::mutex> lock(mutex_);
        attempts_.push_back(std::async(
            std::launch::async, [this, request = std::move(request), response = std::move(response),
                                 id, completion = std::move(completion)]() mutable {
                inner_.performAsyncRequest(std::move(request), std::move(response), id,
                                           std::move(completion));
            }));
    }

private:
    const httpclient_core::HttpClient& inner_;
    mutable std::mutex mutex_;
    mutable std::vector<std::future<void>> attempts_;
};

TEST(Concurrency, AttemptsThatAnotherClientDefersDamageNothing) {
    const CurlHttpClient inner;
    DeferringWrapper outer(inner);
    outer.setClientConfiguration(stubborn());
    for (const char* plan : {"fin@700,ok", "fin@700,503,ok", "fin@700,change,ok"}) {
        FaultServer server(plan);
        HttpResponse response = outer.makeAsyncRequest(get(server.url("/bytes/2000"))).get();
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_TRUE(response.getResponseBodyString() == server.content("/bytes/2000").all())
            << plan;
    }
}

// Both number their requests from the same number on.
TEST(Concurrency, ARequestMadeInAHandlerByAClientAroundThisOneIsItsOwn) {
    FaultServer server;
    const CurlHttpClient inner;
    const Wrapper outer(inner);
    std::promise<std::future<HttpResponse>> made;
    // Both are the first of their clients.
    inner.makeAsyncRequest(
        get(server.url("/bytes/3000"), {{"Range", "bytes=0-99"}}),
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&) {
            made.set_value(outer.makeAsyncRequest(get(server.url("/bytes/2000"))));
        });
    EXPECT_EQ(made.get_future().get().get().getResponseBodyString(),
              server.content("/bytes/2000").all());
    EXPECT_FALSE(server.requests().at(1).header("Range"));
}

TEST(Concurrency, ARequestMadeInAHandlerBetweenClientsAroundThisOneIsItsOwn) {
    FaultServer server;
    const CurlHttpClient inner;
    const Wrapper first(inner);
    const Wrapper second(inner);
    std::promise<std::future<HttpResponse>> made;
    first.makeAsyncRequest(
        get(server.url("/bytes/3000"), {{"Range", "bytes=0-99"}}),
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr&) {
            made.set_value(second.makeAsyncRequest(get(server.url("/bytes/2000"))));
        });
    EXPECT_EQ(made.get_future().get().get().getResponseBodyString(),
              server.content("/bytes/2000").all());
    EXPECT_FALSE(server.requests().at(1).header("Range"));
}

TEST(Concurrency, ARequestMadeOnATransferThreadEndsWithTheClient) {
    FaultServer server;
    server.setPlan("/bytes/9", "mute");
    auto client = std::make_unique<CurlHttpClient>(ClientConfiguration().withRetryStrategy(
        [](const HttpRequest& request, const auto&, const auto&, int, int) {
            return request.getURL().toAsciiString().back() == '9';
        }));
    HttpRequest request = get(server.url("/bytes/3"));
    request.setResponseStreamFactory([&, inner = client.get()](const auto&...) {
        EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                      [&] { inner->makeRequest(get(server.url("/bytes/9"))); }),
                  "Request cancelled");
        return std::make_unique<std::stringstream>();
    });
    auto response = client->makeAsyncRequest(std::move(request));
    server.waitForRequests(2);
    client.reset();
    response.wait();
}

TEST(Concurrency, ClientsAroundOneClientDoNotMixUpTheirRequests) {
    FaultServer server;
    server.setPlan("/bytes/3000", "503");
    server.setPlan("/bytes/2000", "fin@700,ok");
    const CurlHttpClient inner;
    std::promise<void> asleep;
    std::promise<void> enough;
    Wrapper first(inner);
    first.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&](const auto&, const auto&, const auto&, int, int) {
            asleep.set_value();
            enough.get_future().wait();
            return false;
        }));
    Wrapper second(inner);
    second.setClientConfiguration(stubborn());

    auto part = first.makeAsyncRequest(get(server.url("/bytes/3000"), {{"Range", "bytes=0-99"}}));
    asleep.get_future().wait();
    HttpResponse whole = second.makeAsyncRequest(get(server.url("/bytes/2000"))).get();
    enough.set_value();

    EXPECT_TRUE(whole.getResponseBodyString() == server.content("/bytes/2000").all());
    EXPECT_EQ(part.get().getResponseCode(), HttpResponseCode::SERVICE_UNAVAILABLE);
}

TEST(Concurrency, ManyDownloadsWithMixedFaultsAreRight) {
    constexpr int COUNT = 100;
    FaultServerOptions options;
    options.content = ServedContent{9, 10 << 20};
    options.plan =
        "ok,rst@5000000,ok,fin@1000000,503,ok,noresp,ok,chunked,ok,ignorerange,ok,hfin@20,ok,"
        "noar206,tchunk@3000000,ok";
    FaultServer server(std::move(options));
    const std::string expected = server.content().all();
    std::atomic<int> completed{0};
    std::atomic<int> right{0};
    {
        const CurlHttpClient client(stubborn());
        std::promise<void> all;
        for (int i = 0; i < COUNT; ++i) {
            client.makeAsyncRequest(
                get(server.url()),
                [&](const auto&, const HttpResponse& response, const std::exception_ptr& error) {
                    if (!error && response.getResponseBodyString() == expected) ++right;
                    if (++completed == COUNT) all.set_value();
                });
        }
        all.get_future().wait();
    }
    EXPECT_EQ(right, COUNT);
    EXPECT_LE(server.mostConnectionsOpen(), 8U);
}

TEST(Concurrency, ManyThreadsShareAClient) {
    FaultServer server;
    const CurlHttpClient client;
    std::vector<std::future<bool>> threads;
    for (int t = 0; t < 8; ++t) {
        threads.push_back(std::async(std::launch::async, [&, t] {
            bool right = true;
            for (int i = 0; i < 50; ++i) {
                const std::string path = "/bytes/" + std::to_string(t * 1000 + i);
                right = right && client.makeRequest(get(server.url(path))).getContentLength() ==
                                     t * 1000 + i;
                auto future = client.makeAsyncRequest(get(server.url(path)));
                right = right && future.get().getContentLength() == t * 1000 + i;
            }
            return right;
        }));
    }
    for (auto& thread : threads) EXPECT_TRUE(thread.get());
}

}  // namespace
}  // namespace tavrin::httpclient_curl

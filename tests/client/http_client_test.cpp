#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/logging.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/log_capture.h"
#include "support/road.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::BodyIs;
using httpclient_testing::HasHeader;
using httpclient_testing::IsStatus;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

static_assert(std::is_abstract_v<HttpClient>);
static_assert(std::has_virtual_destructor_v<HttpClient>);
static_assert(!std::is_copy_constructible_v<ScriptedHttpClient>);
static_assert(!std::is_move_constructible_v<ScriptedHttpClient>);
static_assert(!std::is_copy_assignable_v<ScriptedHttpClient>);
static_assert(!std::is_move_assignable_v<ScriptedHttpClient>);

// Hands every call of configurationChanged() to a function that the test gives.
class WatchingClient : public ScriptedHttpClient {
public:
    using ScriptedHttpClient::ScriptedHttpClient;

    std::function<void(const ClientConfiguration&)> onChange;

    void configurationChanged(const ClientConfiguration& configuration) override {
        if (onChange) onChange(configuration);
    }
};

// Every way to start a request, for tests of what comes before the first attempt.
const std::vector<std::function<void(const HttpClient&, HttpRequest)>>& entryPoints() {
    static const std::vector<std::function<void(const HttpClient&, HttpRequest)>> all{
        [](const HttpClient& client, HttpRequest request) {
            client.makeRequest(std::move(request));
        },
        [](const HttpClient& client, HttpRequest request) {
            client.makeAsyncRequest(std::move(request),
                                    [](HttpRequest, HttpResponse, const std::exception_ptr& error) {
                                        if (error) ADD_FAILURE() << "The attempt failed.";
                                    });
        },
        [](const HttpClient& client, HttpRequest request) {
            // The future is not asked: what is wrong with a request leaves the call itself.
            client.makeAsyncRequest(std::move(request));
        },
    };
    return all;
}

HttpRequest putWith(HttpHeaders headers, const std::string& body = "text") {
    HttpRequest request(HttpMethod::PUT, URL(FILE_URL), std::move(headers));
    request.setQueryParameters({{"a", "b"}});
    request.setRequestBody(std::make_unique<std::stringstream>(body));
    return request;
}

// The counters and codes that a strategy was called with.
struct Calls {
    std::vector<std::pair<int, int>> counters;
    std::vector<int> codes;
    std::vector<bool> failed;

    RetryStrategy until(int attempts) {
        return [this, attempts](const HttpRequest&, const HttpResponse& response,
                                const std::exception_ptr& error, int total, int consecutive) {
            counters.emplace_back(total, consecutive);
            codes.push_back(static_cast<int>(response.getResponseCode()));
            failed.push_back(error != nullptr);
            return total < attempts;
        };
    }
};

// What makeRequest() throws; null if it throws nothing.
std::exception_ptr failureOf(const HttpClient& client, HttpRequest request) {
    try {
        client.makeRequest(std::move(request));
    } catch (...) {
        return std::current_exception();
    }
    return nullptr;
}

// ---- what is checked before the first attempt

TEST(RequestValidation, AcceptsWhatTellsTheLengthOfTheBodyOnce) {
    const HttpHeaders accepted[] = {
        {{"Content-Length", "4"}},
        {{"content-length", "nonsense"}},
        {{"Content-Length", "4"}, {"Content-Length", "5"}},
        {{"Transfer-Encoding", "chunked"}},
        {{"TRANSFER-ENCODING", ""}},
        {{"Content-Length", "4"}, {"Transfer-Encoding", "identity"}},
        {{"Content-Length", "4"}, {"Transfer-Encoding", "identity"}, {"Transfer-Encoding", "x"}},
    };
    for (const HttpHeaders& headers : accepted) {
        for (const auto& start : entryPoints()) {
            ScriptedHttpClient client;
            client.expect({}, ScriptedAnswer(200));

            EXPECT_NO_THROW(start(client, putWith(headers)));

            EXPECT_EQ(client.problems(), "");
        }
    }
}

TEST(RequestValidation, AsksNothingOfARequestWithoutASimpleBody) {
    for (const auto& start : entryPoints()) {
        ScriptedHttpClient client;
        client.expect({}, ScriptedAnswer(200), 3);

        EXPECT_NO_THROW(start(client, get()));
        EXPECT_NO_THROW(
            start(client, get({{"Content-Length", "4"}, {"Transfer-Encoding", "chunked"}})));
        EXPECT_NO_THROW(start(client, postMultipart()));

        EXPECT_EQ(client.problems(), "");
    }
}

TEST(RequestValidation, RefusesALengthBesideAnEncodingThatIsNotExactlyIdentity) {
    for (const char* encoding :
         {"chunked", "Identity", "IDENTITY", " identity", "identity ", "identity, chunked", ""}) {
        for (const auto& start : entryPoints()) {
            ScriptedHttpClient client;
            LogCapture log;

            EXPECT_THAT(
                [&] {
                    start(client,
                          putWith({{"content-length", "4"}, {"transfer-encoding", encoding}}));
                },
                ThrowsExactly<std::logic_error>("HttpRequest headers must not include "
                                                "Content-Length and a non-identity "
                                                "Transfer-Encoding."));

            EXPECT_THAT(client.requests(), IsEmpty());
            EXPECT_THAT(log.records(),
                        ElementsAre(LogRecord{LOG_CHANNEL, LOG_MISUSE,
                                              "HttpRequest headers for http://host/file?a=b must "
                                              "not include Content-Length and a non-identity "
                                              "Transfer-Encoding."}));
        }
    }
}

TEST(RequestValidation, LetsTheFirstOfSeveralEncodingsCount) {
    ScriptedHttpClient client;

    EXPECT_THROW(client.makeRequest(putWith({{"Content-Length", "4"},
                                             {"Transfer-Encoding", "chunked"},
                                             {"Transfer-Encoding", "identity"}})),
                 std::logic_error);

    EXPECT_THAT(client.requests(), IsEmpty());
}

TEST(RequestValidation, RefusesABodyOfUnknownLength) {
    for (const auto& start : entryPoints()) {
        ScriptedHttpClient client;
        LogCapture log;

        EXPECT_THAT(
            [&] {
                start(client, putWith({{"Content-Type", "text/plain"}}));
            },
            ThrowsExactly<std::logic_error>("A HttpRequest with a body must have a "
                                            "Content-Length or a Transfer-Encoding "
                                            "header."));

        EXPECT_THAT(client.requests(), IsEmpty());
        EXPECT_THAT(log.records(),
                    ElementsAre(LogRecord{LOG_CHANNEL, LOG_MISUSE,
                                          "Request for http://host/file?a=b has no "
                                          "Content-Length or Transfer-Encoding header."}));
    }
}

TEST(RequestValidation, ThrowsAlthoughNothingIsLogged) {
    ScriptedHttpClient client;
    LogCapture log(LOG_DECISION | LOG_EXCEPTION);

    EXPECT_THROW(client.makeRequest(putWith({})), std::logic_error);
    EXPECT_THROW(client.makeRequest(putWith({{"Content-Length", "4"}, {"Transfer-Encoding", "x"}})),
                 std::logic_error);

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(RequestValidation, ComesBeforeTheStrategyIsCalled) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(nullptr));

    EXPECT_THROW(client.makeRequest(putWith({})), std::logic_error);
}

TEST(RequestValidation, NeverCallsTheHandlerOfARefusedRequest) {
    ScriptedHttpClient client;
    bool called = false;

    EXPECT_THROW(
        client.makeAsyncRequest(putWith({}), [&](HttpRequest, HttpResponse,
                                                 const std::exception_ptr&) { called = true; }),
        std::logic_error);

    EXPECT_FALSE(called);
}

// ---- the configuration of a client

TEST(ClientConfigurationOfAClient, IsTheDefaultUntilItIsSet) {
    const ScriptedHttpClient client;

    const ClientConfiguration configuration = client.getClientConfiguration();

    EXPECT_EQ(configuration.maxRedirects(), 5);
    EXPECT_TRUE(configuration.retryStrategy());
}

TEST(ClientConfigurationOfAClient, IsCopiedInAndOutWithAllItsSettings) {
    ScriptedHttpClient client;
    Calls calls;
    auto configuration = ClientConfiguration()
                             .withCertificateFile(FilePath("/certificates"))
                             .withFollowRedirects(false)
                             .withMaxRedirects(-1)
                             .withRetryStrategy(calls.until(1))
                             .withResumeOnRetry(true)
                             .withConnectTimeout(1)
                             .withResponseTimeout(2)
                             .withIdleTimeout(3)
                             .withIdleSpeed(4)
                             .withMaxThreads(5)
                             .withMaxRequestsPerThread(6)
                             .withProxy("http://proxy/");

    client.setClientConfiguration(configuration);
    configuration.setMaxRedirects(7);
    client.getClientConfiguration().setMaxThreads(8);

    const ClientConfiguration kept = client.getClientConfiguration();
    EXPECT_EQ(kept.certificateFile(), FilePath("/certificates"));
    EXPECT_EQ(kept.followRedirects(), false);
    EXPECT_EQ(kept.maxRedirects(), -1);
    EXPECT_EQ(kept.resumeOnRetry(), true);
    EXPECT_EQ(kept.connectTimeout(), 1);
    EXPECT_EQ(kept.responseTimeout(), 2);
    EXPECT_EQ(kept.idleTimeout(), 3);
    EXPECT_EQ(kept.idleSpeed(), 4);
    EXPECT_EQ(kept.maxThreads(), 5);
    EXPECT_EQ(kept.maxRequestsPerThread(), 6);
    EXPECT_EQ(kept.proxy(), "http://proxy/");
    EXPECT_FALSE(kept.retryStrategy()(get(), HttpResponse(), nullptr, 1, 1));
    EXPECT_THAT(calls.counters, SizeIs(1));
}

TEST(ClientConfigurationOfAClient, IsHandedToTheDerivedClientWhenItIsSet) {
    WatchingClient client;
    std::vector<long> seen;
    client.onChange = [&](const ClientConfiguration& configuration) {
        seen.push_back(configuration.maxThreads());
    };

    client.setClientConfiguration(ClientConfiguration().withMaxThreads(17));
    client.setClientConfiguration(ClientConfiguration().withMaxThreads(18));

    EXPECT_THAT(seen, ElementsAre(17, 18));
}

TEST(ClientConfigurationOfAClient, NeedsNoHookInTheDerivedClient) {
    ScriptedHttpClient client;

    client.setClientConfiguration(ClientConfiguration().withMaxThreads(17));

    EXPECT_EQ(client.getClientConfiguration().maxThreads(), 17);
}

TEST(ClientConfigurationOfAClient, StaysLockedWhileTheHookRuns) {
    WatchingClient client;
    std::future<long> readMeanwhile;
    std::future_status duringTheHook{};
    client.onChange = [&](const ClientConfiguration&) {
        std::promise<void> started;
        auto hasStarted = started.get_future();
        readMeanwhile = std::async(std::launch::async, [&client, &started] {
            started.set_value();
            return client.getClientConfiguration().maxThreads();
        });
        hasStarted.wait();
        duringTheHook = readMeanwhile.wait_for(milliseconds(30));
    };

    client.setClientConfiguration(ClientConfiguration().withMaxThreads(17));

    EXPECT_EQ(duringTheHook, std::future_status::timeout);
    EXPECT_EQ(readMeanwhile.get(), 17);
}

TEST(ClientConfigurationOfAClient, StaysSetAndUnlockedWhenTheHookThrows) {
    WatchingClient client;
    client.onChange = [](const ClientConfiguration&) { throw std::runtime_error("no threads"); };

    EXPECT_THAT([&] { client.setClientConfiguration(ClientConfiguration().withMaxThreads(17)); },
                ThrowsExactly<std::runtime_error>("no threads"));

    EXPECT_EQ(client.getClientConfiguration().maxThreads(), 17);
    client.onChange = nullptr;
    client.setClientConfiguration(ClientConfiguration().withMaxThreads(18));
    EXPECT_EQ(client.getClientConfiguration().maxThreads(), 18);
}

TEST(ClientConfigurationOfAClient, MayBeReadWhileAnOldStrategyIsDestroyed) {
    // A strategy may own anything, for instance what asks the client when it goes.
    ScriptedHttpClient client;
    long seen = 0;
    {
        const std::shared_ptr<int> goodbye(new int, [&](const int* number) {
            delete number;
            seen = client.getClientConfiguration().maxThreads();
        });
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            [goodbye](const auto&, const auto&, const auto&, int, int) { return false; }));
    }

    client.setClientConfiguration(ClientConfiguration().withMaxThreads(17));

    EXPECT_EQ(seen, 17);
}

TEST(EffectiveConfiguration, IsTheClientsUnlessTheRequestHasItsOwn) {
    for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
        ScriptedHttpClient client;
        Calls ofClient;
        Calls ofRequest;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(ofClient.until(1)));
        client.expect({}, ScriptedAnswer(200), 3);

        send(client, get(), road);
        HttpRequest request = get();
        request.setClientConfiguration(ClientConfiguration().withRetryStrategy(ofRequest.until(2)));
        send(client, std::move(request), road);

        EXPECT_THAT(ofClient.counters, SizeIs(1));
        EXPECT_THAT(ofRequest.counters, SizeIs(2));
    }
}

TEST(EffectiveConfiguration, IsTakenOnceForAllAttempts) {
    for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
        ScriptedHttpClient client;
        Calls calls;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(calls.until(3)));
        // Setting it in mid-transfer also shows that no lock is held then.
        client.expect({}, ScriptedAnswer(500).withAction([&](HttpRequest&, HttpResponse&) {
            client.setClientConfiguration(attempts(1).withResumeOnRetry(true));
        }));
        client.expect({}, ScriptedAnswer(500), 2);

        send(client, get(), road);

        EXPECT_THAT(calls.counters, ElementsAre(Pair(1, 1), Pair(2, 2), Pair(3, 3)));
    }
}

TEST(EffectiveConfiguration, OfTheRequestNeverWaitsForTheClients) {
    WatchingClient client;
    client.expect({}, ScriptedAnswer(200), 2);
    int answered = 0;
    client.onChange = [&](const ClientConfiguration&) {
        std::thread other([&] {
            for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
                HttpRequest request = get();
                request.setClientConfiguration(attempts(1));
                send(client, std::move(request), road);
                ++answered;
            }
        });
        other.join();
    };

    client.setClientConfiguration(ClientConfiguration());

    EXPECT_EQ(answered, 2);
}

// ---- makeRequest

TEST(MakeRequest, CallsTheTransportOnceIfTheStrategyDeclines) {
    for (const int code : {200, 404, 503}) {
        ScriptedHttpClient client;
        Calls calls;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(calls.until(1)));
        client.expect({}, ScriptedAnswer(code, "Reason").withHeader("A", "b").withBody("text"));

        const HttpResponse response = client.makeRequest(get());

        EXPECT_EQ(httpclient_testing::wireText(response),
                  "HTTP/1.1 " + std::to_string(code) + " Reason\nA: b\n\ntext");
        EXPECT_THAT(calls.counters, ElementsAre(Pair(1, 1)));
    }
}

TEST(MakeRequest, CountsAttemptsSinceTheLastSuccess) {
    const std::pair<std::vector<int>, std::vector<std::pair<int, int>>> cases[] = {
        {{200, 200, 200}, {{1, 1}, {2, 1}, {3, 1}}},
        {{500, 500, 500}, {{1, 1}, {2, 2}, {3, 3}}},
        {{500, 299, 500, 500}, {{1, 1}, {2, 2}, {3, 1}, {4, 2}}},
        {{199, 300, -1, 404, 200}, {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}}},
    };
    for (const auto& [codes, counters] : cases) {
        ScriptedHttpClient client;
        Calls calls;
        client.setClientConfiguration(
            ClientConfiguration().withRetryStrategy(calls.until(static_cast<int>(codes.size()))));
        for (const int code : codes) client.expect({}, ScriptedAnswer(code));

        client.makeRequest(get());

        EXPECT_EQ(calls.counters, counters);
        EXPECT_EQ(calls.codes, codes);
    }
}

TEST(MakeRequest, CountsABrokenSuccessAsASuccess) {
    ScriptedHttpClient client;
    Calls calls;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(calls.until(3)));
    client.expect({}, ScriptedAnswer(200).withFailure(HttpRequestFailedException("cut")), 3);

    EXPECT_THROW(client.makeRequest(get()), HttpRequestFailedException);

    EXPECT_THAT(calls.counters, ElementsAre(Pair(1, 1), Pair(2, 1), Pair(3, 1)));
}

TEST(MakeRequest, HasNoLimitOfItsOwn) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1000));
    client.expect({}, ScriptedAnswer(500), 1000);

    EXPECT_THAT(client.makeRequest(get()), IsStatus(500));

    EXPECT_EQ(client.problems(), "");
}

TEST(MakeRequest, ShowsTheStrategyTheRequestAndTheWholeResponse) {
    ScriptedHttpClient client;
    std::string seen;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&](const HttpRequest& request, const HttpResponse& response, const auto&, int, int) {
            seen = httpclient_testing::wireText(request) + httpclient_testing::wireText(response);
            return false;
        }));
    client.expect({}, ScriptedAnswer(503, "Busy").withHeader("A", "b").withBody("text"));

    client.makeRequest(get({{"C", "d"}}));

    EXPECT_EQ(seen,
              "GET http://host/file HTTP/1.1\nC: d\n\n"
              "HTTP/1.1 503 Busy\nA: b\n\ntext");
}

TEST(MakeRequest, RethrowsTheVeryExceptionOfTheTransport) {
    const std::exception_ptr errors[] = {
        std::make_exception_ptr(HttpRequestFailedException("cut")),
        std::make_exception_ptr(HttpRequestTimeoutException()),
        std::make_exception_ptr(std::logic_error("of another family")),
        std::make_exception_ptr(42),
    };
    for (const std::exception_ptr& error : errors) {
        ScriptedHttpClient client;
        std::exception_ptr offered;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
            [&](const auto&, const auto&, const std::exception_ptr& seen, int, int) {
                offered = seen;
                return false;
            }));
        client.expect({}, ScriptedAnswer::failure(error));

        const std::exception_ptr thrown = failureOf(client, get());

        EXPECT_EQ(offered, error);
        EXPECT_EQ(thrown, error);
    }
}

TEST(MakeRequest, ReportsTheLastAttemptAlone) {
    ScriptedHttpClient client;
    Calls calls;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(calls.until(2)));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("refused")))
        .expect({}, ScriptedAnswer(404))
        .expect({}, ScriptedAnswer(200).withBody("text"))
        .expect({}, ScriptedAnswer::failure(HttpRequestFailedException("last")));

    EXPECT_THAT(client.makeRequest(get()), IsStatus(404));
    EXPECT_THAT([&] { client.makeRequest(get()); },
                ThrowsExactly<HttpRequestFailedException>("last"));

    EXPECT_THAT(calls.failed, ElementsAre(true, false, false, true));
    EXPECT_THAT(calls.codes, ElementsAre(-1, 404, 200, -1));
}

TEST(MakeRequest, FailsAfterTheFirstAttemptIfTheStrategyIsEmpty) {
    for (const bool broken : {false, true}) {
        ScriptedHttpClient client;
        client.setClientConfiguration(ClientConfiguration().withRetryStrategy(nullptr));
        ScriptedAnswer answer(200);
        if (broken) answer.withFailure(HttpRequestFailedException("cut"));
        client.expect({}, answer);

        EXPECT_THAT([&] { client.makeRequest(get()); },
                    ThrowsExactly<std::bad_function_call>("bad_function_call"));

        EXPECT_EQ(client.problems(), "");
    }
}

TEST(MakeRequest, LetsTheExceptionOfAStrategyThrough) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [](const auto&, const auto&, const auto&, int, int) -> bool {
            throw std::runtime_error("undecided");
        }));
    client.expect({}, ScriptedAnswer(200), 2);

    EXPECT_THAT([&] { client.makeRequest(get()); }, ThrowsExactly<std::runtime_error>("undecided"));

    client.setClientConfiguration(attempts(1));
    EXPECT_THAT(client.makeRequest(get()), IsStatus(200));
}

TEST(MakeRequest, AsksOneCopyOfTheStrategyAfterAllAttempts) {
    ScriptedHttpClient client;
    std::vector<int> counts;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&counts, count = 0](const auto&, const auto&, const auto&, int total, int) mutable {
            counts.push_back(++count);
            return total < 2;
        }));
    client.expect({}, ScriptedAnswer(503), 4);

    client.makeRequest(get());
    client.makeRequest(get());

    EXPECT_THAT(counts, ElementsAre(1, 2, 1, 2));
}

TEST(MakeRequest, SendsTheFirstBodyFromWhereItStandsAndLaterOnesFromTheStart) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    client.expect({}, ScriptedAnswer(503), 3);
    HttpRequest request = put("prefix text");
    request.getRequestBody().ignore(7);

    client.makeRequest(std::move(request));

    EXPECT_THAT(client.requests(),
                ElementsAre(BodyIs("text"), BodyIs("prefix text"), BodyIs("prefix text")));
}

TEST(MakeRequest, GivesTheResponseTheFactoryAndTheCallbackOfTheRequest) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withBody("text"));
    int changes = 0;
    int streams = 0;
    HttpRequest request = get();
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    request.setResponseStreamFactory([&](HttpResponseCode code, const auto&, const auto&) {
        EXPECT_EQ(code, HttpResponseCode::OK);
        ++streams;
        return std::make_unique<std::stringstream>();
    });

    EXPECT_THAT(client.makeRequest(std::move(request)), BodyIs("text"));

    EXPECT_EQ(changes, 2);  // the code with its reason, and the headers
    EXPECT_EQ(streams, 1);
}

TEST(MakeRequest, TakesNothingElseOfTheRequestIntoTheResponse) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    std::string fresh;
    client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest&, HttpResponse& response) {
        fresh = httpclient_testing::wireText(response);
    }));

    client.makeRequest(get({{"A", "b"}}));

    EXPECT_EQ(fresh, "HTTP/1.1 -1 Request Not Made\n\n");
}

TEST(MakeRequest, RemovesTheContentTypeOfAMultipartBodyBeforeEveryAttempt) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    const auto putItBack = [](HttpRequest& request, HttpResponse&) {
        request.addHeaderValue("content-type", "multipart/form-data; boundary=of-the-last-attempt");
        request.addHeaderValue("Content-Type", "twice");
    };
    client.expect({}, ScriptedAnswer(503).withAction(putItBack), 3);

    client.makeRequest(postMultipart());

    EXPECT_THAT(client.requests(), SizeIs(3));
    EXPECT_THAT(client.requests(), Each(Not(HasHeader("Content-Type"))));
}

TEST(MakeRequest, RemovesTheContentTypeOfAMultipartBodyBesideASimpleOne) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200));
    HttpRequest request = postMultipart();
    request.setRequestBody("text");

    client.makeRequest(std::move(request));

    EXPECT_THAT(client.requests(), ElementsAre(AllOf(BodyIs("text"), Not(HasHeader("Content-Type")),
                                                     HasHeader("Content-Length", "4"))));
}

TEST(MakeRequest, LeavesOtherContentTypesAlone) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 2);

    client.makeRequest(put("text"));
    client.makeRequest(get({{"Content-Type", "odd/but-asked-for"}}));

    EXPECT_THAT(client.requests(), ElementsAre(HasHeader("Content-Type", "text/plain"),
                                               HasHeader("Content-Type", "odd/but-asked-for")));
}

TEST(MakeRequest, LogsEveryExceptionOfTheTransport) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(4));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("no route")))
        .expect({}, ScriptedAnswer::failure(HttpRequestTimeoutException()))
        .expect({}, ScriptedAnswer::failure(42))
        .expect({}, ScriptedAnswer(200));
    LogCapture log(LOG_EXCEPTION);

    client.makeRequest(get());

    EXPECT_THAT(
        log.records(),
        ElementsAre(Field(&LogRecord::text,
                          AllOf(StartsWith("Exception caught: "),
                                HasSubstr("tavrin::httpclient_core::HttpRequestFailedException"),
                                HasSubstr("no route"))),
                    Field(&LogRecord::text,
                          AllOf(StartsWith("Exception caught: "),
                                HasSubstr("tavrin::httpclient_core::HttpRequestTimeoutException"),
                                HasSubstr("Request timed out."))),
                    Field(&LogRecord::text, StartsWith("Exception caught: "))));
    EXPECT_THAT(log.records(), Each(AllOf(Field(&LogRecord::channel, LOG_CHANNEL),
                                          Field(&LogRecord::severity, LOG_EXCEPTION))));
}

TEST(MakeRequest, LogsAnExceptionThoughThereIsNoStrategy) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withRetryStrategy(nullptr));
    client.expect({}, ScriptedAnswer::failure(HttpRequestFailedException("cut")));
    LogCapture log(LOG_EXCEPTION);

    EXPECT_THROW(client.makeRequest(get()), std::bad_function_call);

    EXPECT_THAT(log.records(), ElementsAre(Field(&LogRecord::text, HasSubstr("cut"))));
}

TEST(MakeRequest, LogsNothingElseOfItsOwn) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    client.expect({}, ScriptedAnswer(503));
    LogCapture log;

    client.makeRequest(get());

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(MakeRequest, PassesTheProgressCallbackOnUntouched) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200).withBody("text"));
    std::vector<std::int64_t> seen;
    HttpRequest request = get();
    request.setProgressCallback([&](const Progress& progress) {
        seen = {progress.downloadTotal, progress.downloadNow, progress.uploadTotal,
                progress.uploadNow};
        return ProgressResult::CONTINUE;
    });

    client.makeRequest(std::move(request));

    EXPECT_THAT(seen, ElementsAre(4, 4, 0, 0));
}

TEST(MakeRequest, LeavesTheClientUsableWhateverACallbackThrows) {
    const auto failing = [] { throw std::runtime_error("callback"); };
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    client.expect({}, ScriptedAnswer(200).withBody("text"), 4);

    HttpRequest withFactory = get();
    withFactory.setResponseStreamFactory(
        [](auto, const auto&, const auto&) -> std::unique_ptr<std::iostream> {
            throw std::runtime_error("callback");
        });
    HttpRequest withChange = get();
    withChange.setPreRespCodeAndHeadersCallback(failing);
    HttpRequest withProgress = get();
    withProgress.setProgressCallback([&](const Progress&) {
        failing();
        return ProgressResult::CONTINUE;
    });

    for (HttpRequest* request : {&withFactory, &withChange, &withProgress}) {
        EXPECT_THAT([&] { client.makeRequest(std::move(*request)); },
                    ThrowsExactly<std::runtime_error>("callback"));
    }
    EXPECT_THAT(client.makeRequest(get()), BodyIs("text"));
    client.setClientConfiguration(ClientConfiguration());
}

TEST(MakeRequest, LetsACancelledThreadEndWithoutAskingTheStrategy) {
    ScriptedHttpClient client;
    std::promise<void> started;
    client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest&, HttpResponse&) {
        started.set_value();
        for (;;) pause();
    }));
    bool isAsked = false;
    std::function<void()> request = [&] {
        HttpRequest waiting = get();
        waiting.setClientConfiguration(
            ClientConfiguration().withRetryStrategy([&](auto&&...) { return isAsked = true; }));
        client.makeRequest(std::move(waiting));
    };
    const auto run = [](void* function) -> void* {
        (*static_cast<std::function<void()>*>(function))();
        return nullptr;
    };

    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, run, &request), 0);
    started.get_future().wait();
    pthread_cancel(thread);
    void* result = nullptr;
    pthread_join(thread, &result);

    EXPECT_EQ(result, PTHREAD_CANCELED);
    EXPECT_FALSE(isAsked);
}

TEST(MakeRequest, AsksAFactoryAgainThatFailedBefore) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer(200).withBody("text"), 2);
    int calls = 0;
    HttpRequest request = get();
    request.setResponseStreamFactory(
        [&](auto, const auto&, const auto&) -> std::unique_ptr<std::iostream> {
            if (++calls == 1) throw std::runtime_error("disk is busy");
            return std::make_unique<std::stringstream>();
        });

    EXPECT_THAT(client.makeRequest(std::move(request)), BodyIs("text"));

    EXPECT_EQ(calls, 2);
}

TEST(MakeRequest, MayBeCalledFromManyThreadsAtOnce) {
    constexpr int THREADS = 8;
    constexpr int REQUESTS = 30;
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(503).withBody("busy"), THREADS * REQUESTS * 2);
    std::vector<std::thread> threads;

    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            for (int j = 0; j < REQUESTS; ++j) {
                if (i == 0) client.setClientConfiguration(attempts(2));
                HttpRequest request = put("body of " + std::to_string(i));
                request.setClientConfiguration(attempts(2));
                EXPECT_THAT(client.makeRequest(std::move(request)), BodyIs("busy"));
                EXPECT_GT(client.getClientConfiguration().maxThreads(), 0);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(client.problems(), "");
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

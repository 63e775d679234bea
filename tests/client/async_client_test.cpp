#include <gmock/gmock.h>

#include <algorithm>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/requests.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_testing/matchers.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {
namespace {

using httpclient_testing::BodyIs;
using httpclient_testing::Completion;
using httpclient_testing::HasHeader;
using httpclient_testing::IsStatus;
using httpclient_testing::RecordedRequest;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Field;
using testing::IsEmpty;
using testing::Not;

// What came of an asynchronous request.
struct Result {
    int calls = 0;
    std::string request;
    std::string response;
    std::exception_ptr error;
    std::thread::id thread;

    CompletionHandler handler() {
        return [this](HttpRequest finalRequest, HttpResponse finalResponse,
                      std::exception_ptr finalError) {
            ++calls;
            request = httpclient_testing::wireText(finalRequest);
            response = httpclient_testing::wireText(finalResponse);
            error = std::move(finalError);
            thread = std::this_thread::get_id();
        };
    }
};

std::vector<std::uint64_t> idsOf(const ScriptedHttpClient& client) {
    std::vector<std::uint64_t> ids;
    for (const RecordedRequest& request : client.requests()) ids.push_back(*request.requestId);
    return ids;
}

TEST(MakeAsyncRequest, HandsTheOutcomeToTheHandler) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(201, "Created").withHeader("A", "b").withBody("text"));
    Result result;

    client.makeAsyncRequest(get({{"C", "d"}}), result.handler());

    EXPECT_EQ(result.calls, 1);
    EXPECT_EQ(result.request, "GET http://host/file HTTP/1.1\nC: d\n\n");
    EXPECT_EQ(result.response, "HTTP/1.1 201 Created\nA: b\n\ntext");
    EXPECT_EQ(result.error, nullptr);
}

TEST(MakeAsyncRequest, HandsTheVeryExceptionOfTheTransportToTheHandler) {
    ScriptedHttpClient client;
    const auto error = std::make_exception_ptr(HttpRequestFailedException("cut"));
    client.expect({}, ScriptedAnswer(200).withBody("te").withFailure(error));
    Result result;

    client.makeAsyncRequest(get(), result.handler());

    EXPECT_EQ(result.calls, 1);
    EXPECT_EQ(result.error, error);
    EXPECT_EQ(result.response, "HTTP/1.1 200 \n\nte");
}

TEST(MakeAsyncRequest, WaitsForNothing) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200));
    Result result;

    client.makeAsyncRequest(get(), result.handler());
    EXPECT_EQ(result.calls, 0);
    client.completeNext();

    EXPECT_EQ(result.calls, 1);
}

TEST(MakeAsyncRequest, CallsTheHandlerOnTheThreadThatCompletesTheExchange) {
    Result result;
    std::thread::id transport;
    {
        ScriptedHttpClient client(Completion::ON_OWN_THREAD);
        client.expect({}, ScriptedAnswer(200).withAction([&](HttpRequest&, HttpResponse&) {
            transport = std::this_thread::get_id();
        }));
        std::promise<void> done;
        client.makeAsyncRequest(
            get(), [&](HttpRequest request, HttpResponse response, std::exception_ptr error) {
                result.handler()(std::move(request), std::move(response), std::move(error));
                done.set_value();
            });
        done.get_future().wait();
    }

    EXPECT_EQ(result.thread, transport);
    EXPECT_NE(result.thread, std::this_thread::get_id());
}

TEST(MakeAsyncRequest, TakesAHandlerThatOnlyMoves) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200));
    int seen = 0;

    client.makeAsyncRequest(
        get(), [number = std::make_unique<int>(7), &seen](
                   HttpRequest, HttpResponse, const std::exception_ptr&) { seen = *number; });

    EXPECT_EQ(seen, 7);
}

TEST(MakeAsyncRequest, NumbersTheRequestsOfAClientFromZero) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 3);

    client.makeAsyncRequest(get()).get();
    client.makeAsyncRequest(get(), Result().handler());
    client.makeAsyncRequest(get()).get();

    EXPECT_THAT(idsOf(client), ElementsAre(0, 1, 2));
}

TEST(MakeAsyncRequest, NumbersEachClientByItself) {
    for (int i = 0; i < 2; ++i) {
        ScriptedHttpClient client;
        client.expect({}, ScriptedAnswer(200));
        client.makeAsyncRequest(get()).get();
        EXPECT_THAT(idsOf(client), ElementsAre(0));
    }
}

TEST(MakeAsyncRequest, SpendsNoNumberOnSynchronousAndRefusedRequests) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(200), 2);
    HttpRequest refused = get();
    refused.setRequestBody(std::make_unique<std::stringstream>("text"));

    client.makeRequest(get());
    EXPECT_THROW(client.makeAsyncRequest(std::move(refused)), std::logic_error);
    client.makeAsyncRequest(get()).get();

    EXPECT_EQ(client.requests().at(0).requestId, std::nullopt);
    EXPECT_EQ(client.requests().at(1).requestId, 0u);
}

TEST(MakeAsyncRequest, KeepsTheNumberThroughAllAttempts) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    client.expect({}, ScriptedAnswer(503), 6);

    client.makeAsyncRequest(get()).get();
    client.makeAsyncRequest(get()).get();

    EXPECT_THAT(idsOf(client), ElementsAre(0, 0, 0, 1, 1, 1));
}

TEST(MakeAsyncRequest, GivesEachOfManyThreadsItsOwnNumbers) {
    constexpr std::uint64_t THREADS = 8;
    constexpr std::uint64_t REQUESTS = 50;
    ScriptedHttpClient client(Completion::ON_OWN_THREAD);
    client.expect({}, ScriptedAnswer(200).withBody("text"), THREADS * REQUESTS);
    std::vector<std::thread> threads;

    for (std::uint64_t i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (std::uint64_t j = 0; j < REQUESTS; ++j) {
                client.setClientConfiguration(attempts(1));
                EXPECT_THAT(client.makeAsyncRequest(get()).get(), BodyIs("text"));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    auto ids = idsOf(client);
    std::sort(ids.begin(), ids.end());
    std::vector<std::uint64_t> expected;
    for (std::uint64_t id = 0; id < THREADS * REQUESTS; ++id) expected.push_back(id);
    EXPECT_EQ(ids, expected);
}

TEST(MakeAsyncRequest, PreparesTheResponseFromTheRequest) {
    ScriptedHttpClient client;
    std::string fresh;
    client.expect({}, ScriptedAnswer(200).withBody("text").withAction([&](HttpRequest&,
                                                                          HttpResponse& response) {
        fresh = to_string(response.getResponseCode()) + " " + response.getResponseCodeReason() +
                " " + std::to_string(response.getHeaders().size());
    }));
    int changes = 0;
    int streams = 0;
    HttpRequest request = get({{"A", "b"}});
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    request.setResponseStreamFactory([&](auto, const auto&, const auto&) {
        ++streams;
        return std::make_unique<std::stringstream>();
    });

    EXPECT_THAT(client.makeAsyncRequest(std::move(request)).get(), BodyIs("text"));

    EXPECT_EQ(fresh, "-1 Request Not Made 0");
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(streams, 1);
}

TEST(MakeAsyncRequest, RemovesTheContentTypeOfAMultipartBodyBeforeTheFirstAttemptAlone) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(2));
    client.expect({}, ScriptedAnswer(503).withAction([](HttpRequest& request, HttpResponse&) {
        request.addHeaderValue("Content-Type", "multipart/form-data; boundary=x");
    }));
    client.expect({}, ScriptedAnswer(200));

    client.makeAsyncRequest(postMultipart()).get();

    EXPECT_THAT(client.requests(),
                ElementsAre(Not(HasHeader("Content-Type")),
                            HasHeader("Content-Type", "multipart/form-data; boundary=x")));
}

TEST(MakeAsyncRequest, LetsOutWhatTheTransportThrowsAtTheStart) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer::refusal(HttpRequestFailedException("going down")), 2);
    Result result;

    EXPECT_THAT([&] { client.makeAsyncRequest(get(), result.handler()); },
                ThrowsExactly<HttpRequestFailedException>("going down"));
    EXPECT_THAT([&] { client.makeAsyncRequest(get()); },
                ThrowsExactly<HttpRequestFailedException>("going down"));

    EXPECT_EQ(result.calls, 0);
}

TEST(MakeAsyncRequest, NeverCallsAHandlerWhoseTaskIsDropped) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200));
    Result result;
    const auto owned = std::make_shared<int>();
    client.makeAsyncRequest(
        get(), [owned, handler = std::make_shared<CompletionHandler>(result.handler())](
                   HttpRequest request, HttpResponse response, const std::exception_ptr& error) {
            (*handler)(std::move(request), std::move(response), error);
        });
    EXPECT_EQ(owned.use_count(), 2);

    client.dropNext();

    EXPECT_EQ(result.calls, 0);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(FutureOfAnAsyncRequest, YieldsTheResponse) {
    ScriptedHttpClient client;
    client.expect({}, ScriptedAnswer(404, "Not Found").withBody("text"));

    const HttpResponse response = client.makeAsyncRequest(get()).get();

    EXPECT_EQ(httpclient_testing::wireText(response), "HTTP/1.1 404 Not Found\n\ntext");
}

TEST(FutureOfAnAsyncRequest, ThrowsTheVeryExceptionOfTheTransport) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(1));
    for (const auto& error :
         {std::make_exception_ptr(HttpRequestCancelledException()), std::make_exception_ptr(42)}) {
        client.expect({}, ScriptedAnswer(200).withFailure(error));
        std::future<HttpResponse> response = client.makeAsyncRequest(get());

        std::exception_ptr caught;
        try {
            response.get();
        } catch (...) {
            caught = std::current_exception();
        }

        EXPECT_EQ(caught, error);
    }
}

TEST(FutureOfAnAsyncRequest, IsBrokenWhenTheTaskIsDropped) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200));
    std::future<HttpResponse> response = client.makeAsyncRequest(get());

    client.dropNext();

    EXPECT_EQ(futureErrorOf(response), make_error_code(std::future_errc::broken_promise));
}

TEST(FutureOfAnAsyncRequest, GoesThroughAnOverrideOfTheHandlersVariant) {
    class Overriding : public ScriptedHttpClient {
    public:
        using HttpClient::makeAsyncRequest;
        void makeAsyncRequest(HttpRequest request, CompletionHandler handler) const override {
            HttpResponse response;
            response.setResponseCode(HttpResponseCode(299));
            handler(std::move(request), std::move(response), nullptr);
        }
    };
    const Overriding client;

    EXPECT_THAT(client.makeAsyncRequest(get()).get(), IsStatus(299));
}

TEST(HandlerOfAnAsyncRequest, MayThrowWithoutAnyoneNoticing) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200), 2);
    client.makeAsyncRequest(get(), [](HttpRequest, HttpResponse, const std::exception_ptr&) {
        throw std::runtime_error("in the handler");
    });

    EXPECT_NO_THROW(client.completeNext());

    std::future<HttpResponse> next = client.makeAsyncRequest(get());
    client.completeNext();
    EXPECT_THAT(next.get(), IsStatus(200));
}

TEST(HandlerOfAnAsyncRequest, MayMakeFurtherRequests) {
    for (const Completion completion : {Completion::ON_CALLING_THREAD, Completion::ON_OWN_THREAD}) {
        ScriptedHttpClient client(completion);
        client.expect({}, ScriptedAnswer(201)).expect({}, ScriptedAnswer(202));
        client.expect({}, ScriptedAnswer(203));
        std::vector<int> codes;
        std::promise<void> done;

        client.makeAsyncRequest(
            get(), [&](HttpRequest, HttpResponse first, const std::exception_ptr&) {
                codes.push_back(static_cast<int>(first.getResponseCode()));
                codes.push_back(static_cast<int>(client.makeRequest(get()).getResponseCode()));
                client.setClientConfiguration(attempts(1));
                client.makeAsyncRequest(
                    get(), [&](HttpRequest, HttpResponse last, const std::exception_ptr&) {
                        codes.push_back(static_cast<int>(last.getResponseCode()));
                        done.set_value();
                    });
            });
        done.get_future().wait();

        EXPECT_THAT(codes, ElementsAre(201, 202, 203));
    }
}

TEST(HandlerOfAnAsyncRequest, IsReleasedOnceItWasCalled) {
    ScriptedHttpClient client;
    client.setClientConfiguration(attempts(3));
    client.expect({}, ScriptedAnswer(503), 3);
    const auto owned = std::make_shared<int>();

    client.makeAsyncRequest(get(),
                            [owned](HttpRequest, HttpResponse, const std::exception_ptr&) {});

    EXPECT_EQ(owned.use_count(), 1);
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

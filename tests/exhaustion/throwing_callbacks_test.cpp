#include <gtest/gtest.h>

#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/client.h"
#include "httpclient_core/cookie.h"
#include "httpclient_core/logging.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/entry_lines.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core {
namespace {

using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using test::entryLines;

struct CallbackFailed {};

// Counts the calls of a callback and throws at one of them.
class Trap {
public:
    explicit Trap(int goingWell) : goingWell_(goingWell) {}

    void call() {
        if (calls_++ == goingWell_) throw CallbackFailed();
    }
    void disarm() { goingWell_ = -1; }
    bool wasHit() const { return goingWell_ >= 0 && calls_ > goingWell_; }

private:
    int goingWell_;
    int calls_ = 0;
};

// One operation of an object, during which a callback is called that may throw.
template <typename Object>
struct Callback {
    std::string name;
    std::function<std::unique_ptr<Object>(Trap&)> make;
    std::function<void(Object&)> call;
};

// Lets the first, then the second, ... call of the callback throw until the operation passes. Each
// time the exception must arrive and the object show what it showed before; the next call must pass
// and come to what it comes to without an exception.
template <typename Object, typename Show>
void expectUnchangedWhileCallbacksThrow(const std::vector<Callback<Object>>& callbacks,
                                        const Show& show) {
    for (const auto& callback : callbacks) {
        Trap never(-1);
        const auto untroubled = callback.make(never);
        callback.call(*untroubled);
        const std::string after = show(*untroubled);

        int goingWell = 0;
        for (bool hit = true; hit; ++goingWell) {
            SCOPED_TRACE(testing::Message() << callback.name << " throws at call " << goingWell);
            Trap trap(goingWell);
            const auto object = callback.make(trap);
            const std::string before = show(*object);
            bool arrived = false;
            try {
                callback.call(*object);
            } catch (const CallbackFailed&) {
                arrived = true;
            }
            hit = trap.wasHit();
            EXPECT_EQ(arrived, hit);
            if (hit) {
                EXPECT_EQ(show(*object), before);
                trap.disarm();
                callback.call(*object);
            }
            EXPECT_EQ(show(*object), after);
        }
        EXPECT_GT(goingWell, 1) << callback.name << " was never called";
    }
}

TEST(ThrowingCallbacks, LeaveACollectionUnchanged) {
    struct Printed {
        NameValueCollection entries = {{"a", "1"}, {"b", "2"}};
        std::function<std::string(std::string)> encoder;
        std::string text;
    };
    const auto make = [](Trap& trap) {
        auto printed = std::make_unique<Printed>();
        printed->encoder = [&](std::string text) {
            trap.call();
            return text;
        };
        return printed;
    };
    expectUnchangedWhileCallbacksThrow<Printed>(
        {{"the encoder of toString", make,
          [](Printed& printed) {
              printed.text = printed.entries.toString("&", "=", printed.encoder);
          }},
         {"the encoder of toStream", make,
          [](Printed& printed) {
              std::ostringstream os;
              printed.entries.toStream(os, "&", "=", printed.encoder);
              printed.text = os.str();
          }}},
        [](const Printed& printed) { return entryLines(printed.entries) + printed.text; });
}

TEST(ThrowingCallbacks, LeaveWhatWasDeliveredOfAList) {
    std::string delivered;
    Trap trap(1);
    const auto split = [&] {
        HttpHeaders::splitElements(
            "a, b, c",
            [&](const std::string& element) {
                trap.call();
                delivered += element;
            },
            ",", true);
    };

    EXPECT_THROW(split(), CallbackFailed);
    EXPECT_EQ(delivered, "a");
    trap.disarm();
    split();
    EXPECT_EQ(delivered, "aabc");
}

std::string showResponse(const HttpResponse& response) {
    return to_string(response.getResponseCode()) + response.getResponseCodeReason() + "\n" +
           entryLines(response.getHeaders());
}

std::unique_ptr<HttpResponse> responseTo(const HttpRequest& request) {
    auto response = std::make_unique<HttpResponse>(request);
    response->HttpMessage::setHeaders({{"Name", "value"}, {"name", "other"}});
    return response;
}

HttpRequest get() { return HttpRequest(HttpMethod::GET, URL("http://host/file"), {}); }

TEST(ThrowingCallbacks, LeaveAResponseUnchangedThatWasToChange) {
    const auto make = [](Trap& trap) {
        return responseTo(get().withPreRespCodeAndHeadersCallback([&] { trap.call(); }));
    };
    using Response = HttpResponse;
    expectUnchangedWhileCallbacksThrow<Response>(
        {{"setHeaders", make,
          [](Response& response) {
              response.setHeaders({{"a", "b"}});
          }},
         {"setHeaderValue", make,
          [](Response& response) { response.setHeaderValue("Name", "new"); }},
         {"addHeaderValue", make,
          [](Response& response) { response.addHeaderValue("Name", "new"); }},
         {"addHeader", make, [](Response& response) { response.addHeader("Name: new"); }},
         {"removeHeader", make, [](Response& response) { response.removeHeader("Name"); }},
         {"setContentType", make, [](Response& response) { response.setContentType("text/html"); }},
         {"setContentLength", make, [](Response& response) { response.setContentLength("1"); }},
         {"setCookie", make,
          [](Response& response) {
              response.setCookie({{"a", "b"}});
          }},
         {"setResponseCode", make,
          [](Response& response) { response.setResponseCode(HttpResponseCode::OK); }},
         {"setResponseCodeAndReason", make,
          [](Response& response) {
              response.setResponseCodeAndReason(HttpResponseCode::OK, "OK");
          }},
         {"setResponseBody", make, [](Response& response) { response.setResponseBody("body"); }}},
        showResponse);
}

TEST(ThrowingCallbacks, LeaveAResponseWithoutTheStreamThatTheFactoryFailedToMake) {
    const auto make = [](Trap& trap) {
        auto request = get();
        request.setResponseStreamFactory(
            [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                trap.call();
                return std::make_unique<std::stringstream>();
            });
        return responseTo(request);
    };
    // The next call of each takes the response's lock again.
    using Response = HttpResponse;
    expectUnchangedWhileCallbacksThrow<Response>(
        {{"getResponseBody", make, [](Response& response) { response.getResponseBody(); }},
         {"getResponseBodyString", make,
          [](Response& response) { response.getResponseBodyString(); }},
         {"setResponseBody", make, [](Response& response) { response.setResponseBody("body"); }}},
        showResponse);
}

TEST(ThrowingCallbacks, LeaveTheBodyThatTheFactoryFailedToReplace) {
    Trap trap(1);
    auto request = get();
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        trap.call();
        return std::make_unique<std::stringstream>();
    });
    HttpResponse response(request);
    response.setResponseBody("body");
    const auto* const stream = &response.getResponseBody();

    EXPECT_THROW(response.resetResponseBody(), CallbackFailed);

    EXPECT_EQ(&response.getResponseBody(), stream);
    EXPECT_EQ(response.getResponseBodyString(), "body");
    response.resetResponseBody();
    EXPECT_EQ(response.getResponseBodyString(), "");
}

// A client that answers 503, and whose configuration and requests call what may throw.
struct Client {
    explicit Client(const ClientConfiguration& configuration) {
        transport.setClientConfiguration(configuration);
        transport.expect({}, ScriptedAnswer(503).withBody("busy"), 100);
        transport.setUnmetAllowed(true);
    }

    ScriptedHttpClient transport;
    std::string outcome;
};

std::string showClient(const Client& client) {
    return client.outcome + client.transport.getClientConfiguration().proxy();
}

void sendAndWait(Client& client) {
    client.outcome = showResponse(client.transport.makeRequest(get()));
}

// A strategy that asks for two attempts.
template <typename Call>
std::unique_ptr<Client> clientWithStrategy(Call call) {
    return std::make_unique<Client>(ClientConfiguration().withRetryStrategy(
        [call](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int total, int) {
            call();
            return total < 2;
        }));
}

std::unique_ptr<Client> clientWithDefaultRetry(RetriablePredicate predicate,
                                               std::function<void(int)> hook) {
    return std::make_unique<Client>(ClientConfiguration().withRetryStrategy(
        DefaultRetry{3, 3, 0, 0, std::move(predicate), std::move(hook)}));
}

const std::vector<Callback<Client>>& strategies() {
    static const std::vector<Callback<Client>> table = {
        {"the strategy", [](Trap& trap) { return clientWithStrategy([&] { trap.call(); }); },
         sendAndWait},
        {"the predicate",
         [](Trap& trap) {
             return clientWithDefaultRetry(
                 [&](HttpMethod, bool, HttpResponseCode) {
                     trap.call();
                     return true;
                 },
                 nullptr);
         },
         sendAndWait},
        {"the hook of the back-off",
         [](Trap& trap) {
             return clientWithDefaultRetry(defaultIsRetriable(), [&](int) { trap.call(); });
         },
         sendAndWait},
    };
    return table;
}

TEST(ThrowingCallbacks, LeaveTheClientOfASynchronousRequestUnchanged) {
    expectUnchangedWhileCallbacksThrow<Client>(strategies(), showClient);
}

// What the strategy throws stays with the transport's task: the promise is not kept.
TEST(ThrowingCallbacks, BreakThePromiseOfAnAsynchronousRequest) {
    for (auto callback : strategies()) {
        callback.call = [](Client& client) {
            try {
                client.outcome = showResponse(client.transport.makeAsyncRequest(get()).get());
            } catch (const std::future_error& error) {
                EXPECT_EQ(error.code(), std::future_errc::broken_promise);
                throw CallbackFailed();
            }
        };
        expectUnchangedWhileCallbacksThrow<Client>({callback}, showClient);
    }
}

// What a request may bring that is called while a response comes in.
const std::vector<std::pair<std::string, std::function<void(HttpRequest&, Trap&)>>>&
callbacksOfRequests() {
    static const std::vector<std::pair<std::string, std::function<void(HttpRequest&, Trap&)>>>
        table = {
            {"before a change",
             [](HttpRequest& request, Trap& trap) {
                 request.setPreRespCodeAndHeadersCallback([&] { trap.call(); });
             }},
            {"stream factory",
             [](HttpRequest& request, Trap& trap) {
                 request.setResponseStreamFactory(
                     [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                         trap.call();
                         return std::make_unique<std::stringstream>();
                     });
             }},
            {"progress",
             [](HttpRequest& request, Trap& trap) {
                 request.setProgressCallback([&](const Progress&) {
                     trap.call();
                     return ProgressResult::CONTINUE;
                 });
             }},
        };
    return table;
}

TEST(ThrowingCallbacks, OfAResponseOrItsBodyFailTheAttempt) {
    // A strategy that gives up at once hands the attempt's exception on.
    const auto noRetries = ClientConfiguration().withRetryStrategy(noRetriesStrategy());
    Client client(noRetries);
    for (const auto& [name, install] : callbacksOfRequests()) {
        SCOPED_TRACE(name);
        Trap trap(0);
        const auto armed = [&, &install = install] {
            auto request = get();
            install(request, trap);
            return request;
        };
        EXPECT_THROW(client.transport.makeRequest(armed()), CallbackFailed);
        trap = Trap(0);
        EXPECT_THROW(client.transport.makeAsyncRequest(armed()).get(), CallbackFailed);
        trap.disarm();
        EXPECT_EQ(client.transport.makeRequest(armed()).getResponseBodyString(), "busy");
        EXPECT_EQ(client.transport.makeAsyncRequest(armed()).get().getResponseBodyString(), "busy");
    }
}

// What comes of a request whose callback throws at each of its calls in turn, until none is left.
template <typename Send>
std::vector<std::string> outcomesWhile(const std::function<void(HttpRequest&, Trap&)>& install,
                                       Send send) {
    std::vector<std::string> outcomes;
    for (int goingWell = 0;; ++goingWell) {
        const auto client = clientWithStrategy([] {});
        Trap trap(goingWell);
        auto request = get();
        install(request, trap);
        std::string outcome;
        try {
            outcome = send(client->transport, std::move(request)).getResponseBodyString();
        } catch (const CallbackFailed&) {
            outcome = "failed";
        } catch (const std::future_error& error) {
            EXPECT_EQ(error.code(), std::future_errc::broken_promise);
            outcome = "broken";
        }
        if (!trap.wasHit()) return outcomes;
        outcomes.push_back(outcome);
        EXPECT_EQ(send(client->transport, get()).getResponseBodyString(), "busy");
    }
}

// The strategy asks for two attempts: what throws in the first one is made good by the second, and
// what throws between them ends the request, an asynchronous one without anybody to tell.
TEST(ThrowingCallbacks, OfARetriedRequestFailTheirAttemptOrTheRequest) {
    struct {
        std::vector<std::string> synchronous, asynchronous;
    } const expected[] = {
        {{"busy", "busy", "failed", "failed", "failed", "failed"},
         {"busy", "busy", "broken", "broken", "failed", "failed"}},
        {{"busy", "failed"}, {"busy", "broken"}},
        {{"busy", "failed"}, {"busy", "failed"}},
    };
    const auto sendAndWait = [](const HttpClient& client, HttpRequest request) {
        return client.makeRequest(std::move(request));
    };
    const auto sendForFuture = [](const HttpClient& client, HttpRequest request) {
        return client.makeAsyncRequest(std::move(request)).get();
    };
    ASSERT_EQ(std::size(expected), callbacksOfRequests().size());
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const auto& [name, install] = callbacksOfRequests()[i];
        SCOPED_TRACE(name);
        EXPECT_EQ(outcomesWhile(install, sendAndWait), expected[i].synchronous);
        EXPECT_EQ(outcomesWhile(install, sendForFuture), expected[i].asynchronous);
    }
}

TEST(ThrowingCallbacks, OfProgressPassTheAdapterOfAResumedRequest) {
    ScriptedHttpClient client;
    client.setClientConfiguration(ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        [](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int total, int) {
            return total < 2;
        }));
    Trap trap(1);
    auto request = get();
    request.setProgressCallback([&](const Progress&) {
        trap.call();
        return ProgressResult::CONTINUE;
    });
    client.expect({}, ScriptedAnswer(200).withHeader("Accept-Ranges", "bytes").withBody("ab"));
    client.expect({}, ScriptedAnswer(206).withBody("cd"));

    EXPECT_THROW(client.makeRequest(std::move(request)), CallbackFailed);
}

// Notes the settings it is told of, and may throw then.
class WatchingClient : public ScriptedHttpClient {
public:
    void configurationChanged(const ClientConfiguration&) override {
        if (throws) throw CallbackFailed();
    }

    bool throws = false;
};

TEST(ThrowingCallbacks, LeaveTheNewConfigurationInPlaceAndTheClientUnlocked) {
    WatchingClient client;
    client.throws = true;

    EXPECT_THROW(client.setClientConfiguration(ClientConfiguration().withMaxRedirects(9)),
                 CallbackFailed);

    EXPECT_EQ(client.getClientConfiguration().maxRedirects(), 9);
    client.throws = false;
    client.setClientConfiguration(ClientConfiguration().withMaxRedirects(1));
    EXPECT_EQ(client.getClientConfiguration().maxRedirects(), 1);
}

TEST(ThrowingCallbacks, OfAHandlerStayInItsTask) {
    Client client(ClientConfiguration().withRetryStrategy(noRetriesStrategy()));
    int calls = 0;
    const auto send = [&] {
        client.transport.makeAsyncRequest(
            get(), CompletionHandler([&](HttpRequest, HttpResponse, std::exception_ptr) {
                ++calls;
                throw CallbackFailed();
            }));
    };

    EXPECT_NO_THROW(send());
    EXPECT_EQ(calls, 1);
    EXPECT_NO_THROW(send());
    EXPECT_EQ(calls, 2);
}

class ThrowingSink
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::concurrent_feeding> {
public:
    void consume(const boost::log::record_view&) {
        ++calls;
        throw CallbackFailed();
    }

    int calls = 0;
};

TEST(ThrowingCallbacks, OfALogSinkChangeNothing) {
    const test::LogCapture log;
    const auto backend = boost::make_shared<ThrowingSink>();
    const auto sink = boost::make_shared<boost::log::sinks::unlocked_sink<ThrowingSink>>(backend);
    boost::log::core::get()->add_sink(sink);
    const NameValueCollection collection;

    for (int i = 1; i <= 2; ++i) {
        EXPECT_THROW(collection.get("a"), std::out_of_range);
        EXPECT_EQ(backend->calls, i);
    }
    EXPECT_THROW(Cookie::parse("flag"), std::runtime_error);
    Client client(ClientConfiguration().withRetryStrategy(
        defaultRetryStrategy(2, 0, std::chrono::seconds(0), defaultIsRetriable())));
    EXPECT_EQ(client.transport.makeRequest(get()).getResponseBodyString(), "busy");
    EXPECT_GT(backend->calls, 3);

    boost::log::core::get()->remove_sink(sink);
    EXPECT_THROW(collection.get("b"), std::out_of_range);
    EXPECT_EQ(log.records().back().text, "b not found.");
}

}  // namespace
}  // namespace tavrin::httpclient_core

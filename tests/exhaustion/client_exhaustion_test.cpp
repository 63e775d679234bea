#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "exhaustion/show_configuration.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_testing/scripted_http_client.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using httpclient_testing::Completion;
using httpclient_testing::ScriptedAnswer;
using httpclient_testing::ScriptedHttpClient;
using test::entryLines;
using test::expectUnchangedWhileMemoryLacks;
using test::Failing;
using test::FailingAllocations;
using test::longText;
using test::Operation;
using test::refused;
using test::showConfiguration;

const std::string BODY = "a body of sixty bytes, which breaks after the first twenty.";
constexpr std::size_t SENT_AT_FIRST = 20;
const std::string CONNECTION_LOST = longText("connection lost");

// A client whose first attempt comes to a part of the body, and whose next one to the rest that it
// asks for or to all of it.
struct Client {
    Client() {
        transport.expect({},
                         ScriptedAnswer(200, "OK").withAction(
                             [this](auto& request, auto& response) { answer(request, response); }),
                         100);
        transport.setUnmetAllowed(true);
        transport.setClientConfiguration(configuration(longText("proxy")));
    }

    static ClientConfiguration configuration(std::string proxy) {
        return ClientConfiguration()
            .withResumeOnRetry(true)
            .withRetryStrategy(
                defaultRetryStrategy(3, 0, std::chrono::seconds(0), downloadIsRetriable()))
            .withProxy(std::move(proxy));
    }

    void answer(HttpRequest& request, HttpResponse& response) {
        const bool breaks = ++attempts == 1 && request.getHttpMethod() == HttpMethod::GET;
        response.setResponseCodeAndReason(HttpResponseCode::OK, longText("reason"));
        response.setHeaders({{"Accept-Ranges", "bytes"}, {longText("Name"), longText("value")}});
        auto& body = response.getResponseBody();
        const std::string sent =
            BODY.substr(held(request, body), breaks ? SENT_AT_FIRST : BODY.size());
        body.write(sent.data(), static_cast<std::streamsize>(sent.size()));
        if (!body) throw std::bad_alloc();
        if (breaks) throw HttpRequestFailedException(CONNECTION_LOST);
    }

    // As a transport has to: a request goes on asking for a range when its body is gone already.
    static std::size_t held(const HttpRequest& request, std::iostream& body) {
        const auto position = static_cast<long>(body.tellp());
        const std::string range = "bytes=" + std::to_string(position) + "-";
        if (!request.hasHeader("Range") || request.getHeaderValue("Range") != range) return 0;
        return static_cast<std::size_t>(position);
    }

    int attempts = 0;
    ScriptedHttpClient transport;
};

HttpRequest get() {
    HttpRequest request(HttpMethod::GET, URL(longText("http://host/file")), {});
    request.setProgressCallback([](const Progress&) { return ProgressResult::CONTINUE; });
    return request;
}

HttpRequest put() {
    HttpRequest request(HttpMethod::PUT, URL(longText("http://host/file")), {});
    request.setRequestBody(longText("upload"));
    return request;
}

HttpRequest postMultipart() {
    HttpRequest request(HttpMethod::POST, URL(longText("http://host/file")),
                        {{"Content-Type", "multipart/form-data"}});
    request.setMultipartBody(
        MultipartBody().withPart(DataPart(PartHeader("part"), longText("data"))));
    return request;
}

HttpRequest withoutLength() {
    HttpRequest request(HttpMethod::PUT, URL(longText("http://host/file")), {});
    request.setRequestBody(std::make_unique<std::stringstream>(longText("upload")));
    return request;
}

std::string show(const HttpResponse& response) {
    return to_string(response.getResponseCode()) + response.getResponseCodeReason() + "\n" +
           entryLines(response.getHeaders()) + response.getResponseBodyString();
}

// A request that came to nothing although memory was there. It takes none itself.
struct LostWithMemory : std::exception {
    const char* what() const noexcept override { return "lost although memory was there"; }
};

// Only a lack of memory excuses a request that nobody was told the outcome of.
[[noreturn]] void blameMemory() {
    if (!FailingAllocations::anyFailed()) throw LostWithMemory();
    throw std::bad_alloc();
}

// Tells of a lack of memory as the sweep wants it told: during an attempt it may come as the
// attempt's own exception or as a promise that nobody kept. Anything else is passed on.
[[noreturn]] void tellLackOfMemory(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const HttpRequestFailedException& failure) {
        if (failure.what() != CONNECTION_LOST) throw;
    } catch (const std::future_error& broken) {
        if (broken.code() != std::future_errc::broken_promise) throw;
    }
    blameMemory();
}

// Makes a request anew.
std::function<std::string(Client&)> request(const std::function<HttpRequest()>& make,
                                            std::function<std::string(Client&, HttpRequest)> send) {
    return [=](Client& client) {
        client.attempts = 0;
        try {
            return send(client, make());
        } catch (const std::exception&) {
            tellLackOfMemory(std::current_exception());
        }
    };
}

std::string sendAndWait(Client& client, HttpRequest request) {
    return show(client.transport.makeRequest(std::move(request)));
}

std::string sendForFuture(Client& client, HttpRequest request) {
    return show(client.transport.makeAsyncRequest(std::move(request)).get());
}

// What a handler was told.
struct Told {
    CompletionHandler handler() {
        return [this, kept = longText("kept")](HttpRequest, HttpResponse response,
                                               std::exception_ptr error) {
            ++calls;
            failure = error;
            if (!error) shown = show(response);
        };
    }

    // Memory may have run out where nobody can be told of it, or while the response was shown.
    std::string orNoMemory() const {
        EXPECT_LE(calls, 1);
        if (failure) std::rethrow_exception(failure);
        if (shown.empty()) blameMemory();
        return shown;
    }

    int calls = 0;
    std::exception_ptr failure;
    std::string shown;
};

std::string sendForHandler(Client& client, HttpRequest request) {
    Told told;
    client.transport.makeAsyncRequest(std::move(request), told.handler());
    return told.orNoMemory();
}

std::string completeAnAttempt(Client& client, HttpRequest request) {
    Told told;
    auto task =
        client.transport.retryCompletionHandler(std::make_shared<CompletionHandler>(told.handler()),
                                                7, 0, 0, client.transport.getClientConfiguration());
    HttpResponse response(request);
    task(std::move(request), std::move(response), nullptr);
    return told.orNoMemory();
}

std::string callHandler(Client&) {
    Told told;
    CompletionHandler handler = told.handler();
    HttpResponse response;
    response.setResponseCodeAndReason(HttpResponseCode::OK, longText("reason"));
    handler(get(), std::move(response), nullptr);
    return told.orNoMemory();
}

std::string showClient(const Client& client) {
    return showConfiguration(client.transport.getClientConfiguration());
}

TEST(HttpClientExhaustion, LeavesTheClientUnchangedAndNoResponseDamaged) {
    const std::vector<Operation<Client>> operations = {
        {"construct", [](Client&) { return showClient(Client()); }},
        {"getClientConfiguration",
         [](Client& client) { return client.transport.getClientConfiguration().proxy(); }},
        {"setClientConfiguration",
         [](Client& client) {
             client.transport.setClientConfiguration(Client::configuration(longText("new")));
         }},
        {"makeRequest of a download", request(get, sendAndWait)},
        {"makeRequest of an upload", request(put, sendAndWait)},
        {"makeRequest of parts", request(postMultipart, sendAndWait)},
        {"makeRequest without a length", refused<std::logic_error>([](Client& client) {
             client.transport.makeRequest(withoutLength());
         })},
        {"makeAsyncRequest of a download", request(get, sendForFuture)},
        {"makeAsyncRequest of an upload", request(put, sendForFuture)},
        {"makeAsyncRequest of parts", request(postMultipart, sendForFuture)},
        {"makeAsyncRequest without a length", refused<std::logic_error>([](Client& client) {
             client.transport.makeAsyncRequest(withoutLength());
         })},
        {"makeAsyncRequest with a handler", request(get, sendForHandler)},
        {"retryCompletionHandler", request(get, completeAnAttempt)},
        {"call of a CompletionHandler", callHandler},
        {"second call of a CompletionHandler", refused<std::future_error>([](Client&) {
             Told told;
             CompletionHandler handler = told.handler();
             handler(get(), HttpResponse(), nullptr);
             handler(get(), HttpResponse(), nullptr);
         })},
    };
    expectUnchangedWhileMemoryLacks([] { return Client(); }, showClient, operations);
}

TEST(HttpClientExhaustion, BreaksThePromiseOfADroppedRequestWithoutMemory) {
    ScriptedHttpClient client(Completion::WHEN_TOLD);
    client.expect({}, ScriptedAnswer(200));
    auto response = client.makeAsyncRequest(get());
    {
        const FailingAllocations limit(0, Failing::ALL_LATER);
        client.dropNext();
    }

    try {
        response.get();
        FAIL() << "nothing was broken";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

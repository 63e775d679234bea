#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "client/requests.h"
#include "httpclient_core/client.h"
#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_core::test {
namespace {

using Callable = void(HttpRequest, HttpResponse, std::exception_ptr);

static_assert(std::is_nothrow_move_constructible_v<CompletionHandler>);
static_assert(std::is_nothrow_move_assignable_v<CompletionHandler>);
static_assert(!std::is_copy_constructible_v<CompletionHandler>);
static_assert(!std::is_copy_assignable_v<CompletionHandler>);
static_assert(!std::is_default_constructible_v<CompletionHandler>);
static_assert(std::is_convertible_v<std::function<Callable>, CompletionHandler>);
static_assert(std::is_convertible_v<Callable*, CompletionHandler>);
static_assert(!std::is_constructible_v<CompletionHandler, int>);
static_assert(!std::is_constructible_v<CompletionHandler, std::function<void(int)>>);

// The error of calling the handler; none if it works.
std::error_code errorOfCalling(CompletionHandler& handler) {
    try {
        handler(get(), HttpResponse(), nullptr);
    } catch (const std::future_error& error) {
        return error.code();
    }
    return {};
}

TEST(CompletionHandler, MovesTheThreeValuesIntoItsCallable) {
    std::string seen;
    std::exception_ptr seenError;
    CompletionHandler handler(
        [&](HttpRequest request, HttpResponse response, std::exception_ptr error) {
            seen = request.getURL().toAsciiString() + " " + request.getRequestBodyString() + " " +
                   to_string(response.getResponseCode()) + " " + response.getResponseBodyString();
            seenError = std::move(error);
        });
    HttpResponse response;
    response.setResponseCode(HttpResponseCode(206));
    response.setResponseBody("rest");
    const auto error = std::make_exception_ptr(HttpRequestTimeoutException());

    handler(put("text"), std::move(response), error);

    EXPECT_EQ(seen, "http://host/file text 206 rest");
    EXPECT_EQ(seenError, error);
}

TEST(CompletionHandler, RunsOnTheCallingThread) {
    std::thread::id ranOn;
    CompletionHandler handler([&](HttpRequest, HttpResponse, const std::exception_ptr&) {
        ranOn = std::this_thread::get_id();
    });
    std::thread::id other;

    std::thread thread([&] {
        other = std::this_thread::get_id();
        handler(get(), HttpResponse(), nullptr);
    });
    thread.join();

    EXPECT_EQ(ranOn, other);
}

TEST(CompletionHandler, TakesACallableThatOnlyMoves) {
    int seen = 0;
    CompletionHandler handler(
        [number = std::make_unique<int>(7), &seen](HttpRequest, HttpResponse,
                                                   const std::exception_ptr&) { seen = *number; });

    handler(get(), HttpResponse(), nullptr);

    EXPECT_EQ(seen, 7);
}

TEST(CompletionHandler, CopiesACallableThatIsStillNeeded) {
    int calls = 0;
    const std::function<Callable> callable = [&](HttpRequest, HttpResponse,
                                                 const std::exception_ptr&) { ++calls; };
    CompletionHandler first(callable);
    CompletionHandler second(callable);

    first(get(), HttpResponse(), nullptr);
    second(get(), HttpResponse(), nullptr);

    EXPECT_EQ(calls, 2);
}

TEST(CompletionHandler, TakesAMutableCallableAndAFunction) {
    static int calls;
    calls = 0;
    CompletionHandler counting(
        [count = 0](HttpRequest, HttpResponse, const std::exception_ptr&) mutable {
            calls += ++count;
        });
    CompletionHandler function(+[](HttpRequest, HttpResponse, std::exception_ptr) { calls += 10; });

    counting(get(), HttpResponse(), nullptr);
    function(get(), HttpResponse(), nullptr);

    EXPECT_EQ(calls, 11);
}

TEST(CompletionHandler, FailsAtASecondCall) {
    int calls = 0;
    CompletionHandler handler(
        [&](HttpRequest, HttpResponse, const std::exception_ptr&) { ++calls; });
    handler(get(), HttpResponse(), nullptr);

    EXPECT_EQ(errorOfCalling(handler),
              make_error_code(std::future_errc::promise_already_satisfied));
    EXPECT_EQ(calls, 1);
}

TEST(CompletionHandler, FailsWhenItWasMovedFrom) {
    int calls = 0;
    CompletionHandler handler(
        [&](HttpRequest, HttpResponse, const std::exception_ptr&) { ++calls; });
    CompletionHandler target(std::move(handler));

    EXPECT_EQ(errorOfCalling(handler), make_error_code(std::future_errc::no_state));
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(errorOfCalling(target), std::error_code());
    EXPECT_EQ(calls, 1);
}

TEST(CompletionHandler, MovesByAssignmentToo) {
    std::string called;
    CompletionHandler one(
        [&](HttpRequest, HttpResponse, const std::exception_ptr&) { called += "one"; });
    CompletionHandler two(
        [&](HttpRequest, HttpResponse, const std::exception_ptr&) { called += "two"; });

    one = std::move(two);
    one(get(), HttpResponse(), nullptr);

    EXPECT_EQ(called, "two");
    EXPECT_EQ(errorOfCalling(two), make_error_code(std::future_errc::no_state));
}

TEST(CompletionHandler, KeepsWhatItsCallableThrows) {
    CompletionHandler handler([](HttpRequest, HttpResponse, const std::exception_ptr&) {
        throw std::runtime_error("in the handler");
    });

    EXPECT_NO_THROW(handler(get(), HttpResponse(), nullptr));

    EXPECT_EQ(errorOfCalling(handler),
              make_error_code(std::future_errc::promise_already_satisfied));
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

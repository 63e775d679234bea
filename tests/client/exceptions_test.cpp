#include "httpclient_core/exceptions.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <exception>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>

#include "support/grouping_locale.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::GroupingLocale;
using test::ThrowsExactly;

// What all exceptions of the library promise: nothing but a text on top of their base, and copies
// that travel between threads.
template <typename Exception, typename Base>
constexpr bool isPlain =
    std::is_convertible_v<Exception*, Base*>&&
        std::is_convertible_v<Exception*, std::runtime_error*> &&
    !std::is_base_of_v<std::logic_error, Exception> && std::has_virtual_destructor_v<Exception> &&
    sizeof(Exception) == sizeof(std::runtime_error) &&
    std::is_nothrow_copy_constructible_v<Exception> && std::is_copy_assignable_v<Exception>;

static_assert(isPlain<HttpRequestFailedException, std::runtime_error>);
static_assert(isPlain<HttpRequestTimeoutException, HttpRequestFailedException>);
static_assert(isPlain<HttpRequestCancelledException, HttpRequestFailedException>);
static_assert(isPlain<BadWebSocketException, std::runtime_error>);
static_assert(isPlain<NoExistingConnectionException, std::runtime_error>);
static_assert(isPlain<ReadCalledWhenAlreadyReadingException, std::runtime_error>);
static_assert(isPlain<MaxWriteFrameSizeExceededException, std::runtime_error>);

// The others stand beside the failed request, not below it.
static_assert(!std::is_base_of_v<HttpRequestFailedException, BadWebSocketException>);
static_assert(!std::is_base_of_v<HttpRequestFailedException, NoExistingConnectionException>);
static_assert(!std::is_base_of_v<BadWebSocketException, NoExistingConnectionException>);
static_assert(!std::is_base_of_v<BadWebSocketException, ReadCalledWhenAlreadyReadingException>);
static_assert(!std::is_base_of_v<BadWebSocketException, MaxWriteFrameSizeExceededException>);
static_assert(!std::is_base_of_v<HttpRequestTimeoutException, HttpRequestCancelledException> &&
              !std::is_base_of_v<HttpRequestCancelledException, HttpRequestTimeoutException>);

static_assert(std::is_constructible_v<HttpRequestFailedException, const std::string&>);
static_assert(std::is_constructible_v<BadWebSocketException, const std::string&>);
static_assert(std::is_default_constructible_v<HttpRequestTimeoutException>);
static_assert(std::is_default_constructible_v<HttpRequestCancelledException>);
static_assert(std::is_default_constructible_v<NoExistingConnectionException>);
static_assert(std::is_default_constructible_v<ReadCalledWhenAlreadyReadingException>);
static_assert(
    std::is_constructible_v<MaxWriteFrameSizeExceededException, std::uint64_t, std::uint64_t>);

std::string frameTooLarge(const std::string& payloadSize, const std::string& limit) {
    return "WebSocketFrame's payload is " + payloadSize +
           " bytes, which is above the maxWriteFrameSize limit of " + limit +
           " bytes. This limit can be configured in WebSocketClientConfiguration.";
}

// The first of these handlers that takes the exception.
std::string handlerOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::logic_error&) {
        return "logic_error";
    } catch (const HttpRequestFailedException& failed) {
        return std::string("failed request: ") + failed.what();
    } catch (const std::runtime_error& failed) {
        return std::string("runtime_error: ") + failed.what();
    }
}

TEST(Exceptions, TellTheMessageThatTheyWereGiven) {
    for (const std::string message : {"", "x", "Could not connect\n"}) {
        EXPECT_EQ(HttpRequestFailedException(message).what(), message);
        EXPECT_EQ(BadWebSocketException(message).what(), message);
    }
}

TEST(Exceptions, HaveTheirOwnTexts) {
    EXPECT_STREQ(HttpRequestTimeoutException().what(), "Request timed out.");
    EXPECT_STREQ(HttpRequestCancelledException().what(), "Request cancelled");
    EXPECT_STREQ(NoExistingConnectionException().what(),
                 "No working WebSocket connection. Open was not completed or network error "
                 "occurred and has not been recovered from.");
    EXPECT_STREQ(ReadCalledWhenAlreadyReadingException().what(),
                 "Calling read before the previous read completes is illegal.");
}

TEST(Exceptions, TellBothSizesOfAFrameThatIsTooLarge) {
    EXPECT_EQ(MaxWriteFrameSizeExceededException(70000, 65536).what(),
              frameTooLarge("70000", "65536"));
    EXPECT_EQ(MaxWriteFrameSizeExceededException(0, 0).what(), frameTooLarge("0", "0"));
    EXPECT_EQ(MaxWriteFrameSizeExceededException(UINT64_MAX, UINT64_MAX - 1).what(),
              frameTooLarge("18446744073709551615", "18446744073709551614"));
}

TEST(Exceptions, TellSizesInPlainDigitsUnderALocaleThatGroupsThem) {
    const GroupingLocale grouping;

    EXPECT_EQ(MaxWriteFrameSizeExceededException(1234567, 4096).what(),
              frameTooLarge("1234567", "4096"));
}

TEST(Exceptions, AreCaughtAsWhatTheyDeriveFrom) {
    EXPECT_EQ(handlerOf(std::make_exception_ptr(HttpRequestFailedException("x"))),
              "failed request: x");
    EXPECT_EQ(handlerOf(std::make_exception_ptr(HttpRequestTimeoutException())),
              "failed request: Request timed out.");
    EXPECT_EQ(handlerOf(std::make_exception_ptr(HttpRequestCancelledException())),
              "failed request: Request cancelled");
    EXPECT_EQ(handlerOf(std::make_exception_ptr(BadWebSocketException("x"))), "runtime_error: x");
    EXPECT_EQ(handlerOf(std::make_exception_ptr(NoExistingConnectionException())),
              std::string("runtime_error: ") + NoExistingConnectionException().what());
    EXPECT_EQ(handlerOf(std::make_exception_ptr(ReadCalledWhenAlreadyReadingException())),
              std::string("runtime_error: ") + ReadCalledWhenAlreadyReadingException().what());
    EXPECT_EQ(handlerOf(std::make_exception_ptr(MaxWriteFrameSizeExceededException(2, 1))),
              "runtime_error: " + frameTooLarge("2", "1"));
}

TEST(Exceptions, TravelBetweenThreadsWithTypeAndText) {
    std::promise<void> promise;
    std::thread([&] {
        promise.set_exception(std::make_exception_ptr(MaxWriteFrameSizeExceededException(2, 1)));
    }).join();

    EXPECT_THAT([&] { promise.get_future().get(); },
                ThrowsExactly<MaxWriteFrameSizeExceededException>(frameTooLarge("2", "1")));
}

TEST(Exceptions, CopiesKeepTypeAndText) {
    const HttpRequestTimeoutException original;
    const HttpRequestTimeoutException copy = original;
    HttpRequestFailedException assigned("x");

    assigned = HttpRequestFailedException("y");

    EXPECT_STREQ(copy.what(), "Request timed out.");
    EXPECT_STREQ(assigned.what(), "y");
}

}  // namespace
}  // namespace tavrin::httpclient_core

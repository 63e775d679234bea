#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "httpclient_core/messages.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::ThrowsExactly;

static_assert(std::is_same_v<std::underlying_type_t<HttpMethod>, std::int32_t>);
static_assert(!std::is_convertible_v<HttpMethod, int>, "the enumeration is scoped");
static_assert(static_cast<int>(HttpMethod::GET) == 0);
static_assert(static_cast<int>(HttpMethod::POST) == 1);
static_assert(static_cast<int>(HttpMethod::DELETE) == 2);
static_assert(static_cast<int>(HttpMethod::PUT) == 3);
static_assert(static_cast<int>(HttpMethod::HEAD) == 4);
static_assert(static_cast<int>(HttpMethod::PATCH) == 5);

std::string printed(HttpMethod method) {
    std::ostringstream os;
    os << method;
    return os.str();
}

TEST(HttpMethod, PrintsItsName) {
    EXPECT_EQ(printed(HttpMethod::GET), "GET");
    EXPECT_EQ(printed(HttpMethod::POST), "POST");
    EXPECT_EQ(printed(HttpMethod::DELETE), "DELETE");
    EXPECT_EQ(printed(HttpMethod::PUT), "PUT");
    EXPECT_EQ(printed(HttpMethod::HEAD), "HEAD");
    EXPECT_EQ(printed(HttpMethod::PATCH), "PATCH");
}

TEST(HttpMethod, PrintsUnknownForANumberThatNamesNoMethod) {
    for (const int number : {6, -1, 7, 256, INT_MAX, INT_MIN}) {
        EXPECT_EQ(printed(static_cast<HttpMethod>(number)), "UNKNOWN") << number;
    }
}

TEST(HttpMethod, PrintsIntoTheStreamThatItReturns) {
    std::ostringstream os;

    EXPECT_EQ(&(os << HttpMethod::PUT), &os);
}

TEST(HttpMethod, IsFoundByItsName) {
    EXPECT_EQ(createHttpMethod("GET"), HttpMethod::GET);
    EXPECT_EQ(createHttpMethod("POST"), HttpMethod::POST);
    EXPECT_EQ(createHttpMethod("DELETE"), HttpMethod::DELETE);
    EXPECT_EQ(createHttpMethod("PUT"), HttpMethod::PUT);
    EXPECT_EQ(createHttpMethod("HEAD"), HttpMethod::HEAD);
    EXPECT_EQ(createHttpMethod("PATCH"), HttpMethod::PATCH);
}

TEST(HttpMethod, IsFoundByNothingButItsExactName) {
    for (const std::string& name :
         {std::string(), std::string("UNKNOWN"), std::string("get"), std::string("Patch"),
          std::string(" GET"), std::string("GET "), std::string("GE"), std::string("GETS"),
          std::string("OPTIONS"), std::string("GET\0", 4), std::string("0")}) {
        EXPECT_THAT([&] { createHttpMethod(name); }, ThrowsExactly<std::out_of_range>("map::at"))
            << name;
    }
}

TEST(HttpMethod, IsFoundByManyFirstCallersAtOnce) {
    std::vector<std::thread> callers;
    std::vector<HttpMethod> found(8, HttpMethod::GET);
    for (HttpMethod& method : found) {
        callers.emplace_back([&method] { method = createHttpMethod("PATCH"); });
    }

    for (std::thread& caller : callers) caller.join();

    EXPECT_THAT(found, testing::Each(HttpMethod::PATCH));
}

}  // namespace
}  // namespace tavrin::httpclient_core

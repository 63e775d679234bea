#include <gmock/gmock.h>

#include <climits>
#include <cstdint>
#include <iomanip>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>

#include "httpclient_core/messages.h"
#include "support/grouping_locale.h"

namespace tavrin::httpclient_core {
namespace {

using test::GroupingLocale;

static_assert(std::is_same_v<std::underlying_type_t<HttpResponseCode>, std::int32_t>);
static_assert(!std::is_convertible_v<HttpResponseCode, int>, "the enumeration is scoped");
static_assert(static_cast<int>(HttpResponseCode::OK) == 200);
static_assert(static_cast<int>(HttpResponseCode::PARTIAL_CONTENT) == 206);
static_assert(static_cast<int>(HttpResponseCode::NOT_FOUND) == 404);
static_assert(static_cast<int>(HttpResponseCode::PROXY_AUTHENTICATION_REQUIRED) == 407);
static_assert(static_cast<int>(HttpResponseCode::REQUEST_TIMEOUT) == 408);
static_assert(static_cast<int>(HttpResponseCode::RANGE_NOT_SATISFIABLE) == 416);
static_assert(static_cast<int>(HttpResponseCode::TOO_MANY_REQUESTS) == 429);
static_assert(static_cast<int>(HttpResponseCode::INTERNAL_SERVER_ERROR) == 500);
static_assert(static_cast<int>(HttpResponseCode::NETWORK_AUTHENTICATION_REQUIRED) == 511);

HttpResponseCode code(int number) { return static_cast<HttpResponseCode>(number); }

// The classes that a code or a response is in, one letter each.
template <typename Classified>
std::string classes(const Classified& classified) {
    std::string letters;
    if (isInformational(classified)) letters += 'I';
    if (isSuccess(classified)) letters += 'S';
    if (isRedirection(classified)) letters += 'R';
    if (isClientError(classified)) letters += 'C';
    if (isServerError(classified)) letters += 'E';
    return letters;
}

std::string expectedClasses(int number) {
    if (number < 100 || number > 599) return "";
    return std::string(1, "ISRCE"[number / 100 - 1]);
}

TEST(HttpResponseCode, KeepsAnyNumber) {
    for (const int number : {0, -1, 99, 299, 1000, INT_MAX, INT_MIN}) {
        EXPECT_EQ(static_cast<int>(code(number)), number);
    }
}

TEST(HttpResponseCode, BecomesItsPlainDecimalDigits) {
    const std::map<int, std::string> texts = {{0, "0"},
                                              {-1, "-1"},
                                              {7, "7"},
                                              {404, "404"},
                                              {1000, "1000"},
                                              {INT_MAX, "2147483647"},
                                              {INT_MIN, "-2147483648"}};
    for (const auto& [number, text] : texts) EXPECT_EQ(to_string(code(number)), text);
}

TEST(HttpResponseCode, BecomesPlainDigitsUnderALocaleThatGroupsThem) {
    const GroupingLocale grouping;

    EXPECT_EQ(to_string(code(-1000)), "-1000");
}

TEST(HttpResponseCode, PrintsAsAnIntDoes) {
    std::ostringstream os;

    os << code(404) << ' ' << code(-1) << ' ' << std::setw(6) << std::setfill('*') << code(200)
       << ' ' << std::hex << std::showbase << code(255) << ' ' << std::dec << std::showpos
       << code(5);

    EXPECT_EQ(os.str(), "404 -1 ***200 0xff +5");
}

TEST(HttpResponseCode, PrintsAsTheLocaleOfItsStreamGroupsDigits) {
    const GroupingLocale grouping;
    std::ostringstream grouped;
    std::ostringstream plain;
    plain.imbue(std::locale::classic());

    grouped << HttpResponseCode::NOT_FOUND;
    plain << HttpResponseCode::NOT_FOUND;

    EXPECT_EQ(grouped.str(), "4.0.4");
    EXPECT_EQ(plain.str(), "404");
}

TEST(HttpResponseCode, PrintsIntoTheStreamThatItReturns) {
    std::ostringstream os;

    EXPECT_EQ(&(os << HttpResponseCode::OK), &os);
}

TEST(HttpResponseCode, IsInOneClassBetween100And599AndInNoneOutside) {
    for (int number = -700; number <= 1100; ++number) {
        EXPECT_EQ(classes(code(number)), expectedClasses(number)) << number;
    }
    for (const int number : {INT_MIN, INT_MIN + 1, INT_MIN + 99, INT_MIN + 100, INT_MAX}) {
        EXPECT_EQ(classes(code(number)), "") << number;
    }
}

TEST(HttpResponseCode, ClassifiesAResponse) {
    HttpResponse response;
    EXPECT_EQ(classes(response), "");

    for (const int number : {99, 100, 199, 200, 299, 300, 399, 400, 499, 500, 599, 600}) {
        response.setResponseCode(code(number));

        EXPECT_EQ(classes(response), expectedClasses(number)) << number;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

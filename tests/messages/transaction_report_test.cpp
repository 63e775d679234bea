#include <gmock/gmock.h>

#include <climits>
#include <type_traits>
#include <utility>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {
namespace {

static_assert(
    std::is_same_v<decltype(std::declval<const TransactionReport&>().redirectCount()), long>);
static_assert(
    std::is_same_v<decltype(std::declval<const TransactionReport&>().effectiveURL()), URL>);
static_assert(std::is_copy_constructible_v<TransactionReport>);
static_assert(std::is_copy_assignable_v<TransactionReport>);
static_assert(std::is_nothrow_move_constructible_v<TransactionReport>);
static_assert(std::is_nothrow_move_assignable_v<TransactionReport>);

TEST(TransactionReport, TellsTheRedirectsAndTheUrlThatAnswered) {
    const TransactionReport report(3, URL("http://example.com/end"));

    EXPECT_EQ(report.redirectCount(), 3);
    EXPECT_EQ(report.effectiveURL(), URL("http://example.com/end"));
}

TEST(TransactionReport, KeepsAnyCount) {
    EXPECT_EQ(TransactionReport(LONG_MAX, URL()).redirectCount(), LONG_MAX);
    EXPECT_EQ(TransactionReport(LONG_MIN, URL()).redirectCount(), LONG_MIN);
}

TEST(TransactionReport, HandsOutACopyOfTheUrl) {
    const TransactionReport report(0, URL("http://a/"));
    URL url = report.effectiveURL();

    url = URL("http://b/");

    EXPECT_EQ(report.effectiveURL(), URL("http://a/"));
}

TEST(TransactionReport, CopiesAreIndependent) {
    TransactionReport original(1, URL("http://a/"));
    const TransactionReport copy = original;

    original = TransactionReport(2, URL("http://b/"));

    EXPECT_EQ(copy.redirectCount(), 1);
    EXPECT_EQ(copy.effectiveURL(), URL("http://a/"));
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include "httpclient_core/cookie.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>

#include "httpclient_core/collections.h"
#include "httpclient_core/logging.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::LogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(std::is_empty_v<Cookie>);
static_assert(
    std::is_same_v<decltype(&Cookie::parse), NameValueCollection (*)(const std::string&)>);
static_assert(
    std::is_same_v<decltype(&Cookie::toString), std::string (*)(const NameValueCollection&)>);

TEST(Cookie, ParsesPiecesInOrderTrimmedAndWithoutTheEmptyOnes) {
    EXPECT_EQ(entryLines(Cookie::parse("a=1; b=2")), "a: 1\nb: 2\n");
    EXPECT_EQ(entryLines(Cookie::parse(" a = 1 ;;b=2; ")), "a: 1\nb: 2\n");
    EXPECT_EQ(entryLines(Cookie::parse("\t;b=2\r\n;\n a\t=\r1")), "b: 2\na: 1\n");
}

TEST(Cookie, KeepsRepeatedNames) {
    const NameValueCollection cookies = Cookie::parse("a=1;a=2;A=3");

    EXPECT_EQ(entryLines(cookies), "a: 1\na: 2\nA: 3\n");
    EXPECT_EQ(cookies.get("A"), "1");
}

TEST(Cookie, FindsWhatItReadUpToANulByteInTheNameAndUnderNoName) {
    const NameValueCollection cookies = Cookie::parse(std::string("Ab\0c=1; =2; \0d=3; x=4", 21));

    EXPECT_EQ(cookies.get("aB"), "1");
    EXPECT_THAT(cookies.getAll(""), ElementsAre("2", "3"));
    EXPECT_FALSE(cookies.has("abc"));
    EXPECT_EQ(cookies.get("X"), "4");
}

TEST(Cookie, CutsAPieceAtItsFirstEqualsSign) {
    EXPECT_EQ(entryLines(Cookie::parse("token=x=y")), "token: x=y\n");
    EXPECT_EQ(entryLines(Cookie::parse("a==")), "a: =\n");
}

TEST(Cookie, KeepsEmptyNamesAndValues) {
    EXPECT_EQ(entryLines(Cookie::parse("a=")), "a: \n");
    EXPECT_EQ(entryLines(Cookie::parse("=x; b= ;=")), ": x\nb: \n: \n");
}

TEST(Cookie, KnowsNoQuotesAndNoAttributes) {
    EXPECT_EQ(entryLines(Cookie::parse("a=\"1;b=2\"; Path=/; Max-Age=60")),
              "a: \"1\nb: 2\"\nPath: /\nMax-Age: 60\n");
    EXPECT_EQ(entryLines(Cookie::parse("a=1,b=2")), "a: 1,b=2\n");
}

TEST(Cookie, CutsThePiecesAtSemicolonsAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == ';') continue;
        const std::string value = std::string("x") + static_cast<char>(byte) + "y";

        EXPECT_EQ(entryLines(Cookie::parse("a=" + value)), "a: " + value + "\n") << byte;
    }
}

TEST(Cookie, ParsesATextWithoutPiecesAsNoCookies) {
    const LogCapture log;

    for (const std::string text : {"", " ", ";", " ; ;\t\r\n"}) {
        EXPECT_TRUE(Cookie::parse(text).empty());
    }

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(Cookie, APieceWithoutAnEqualsSignThrowsAndRecordsItTrimmed) {
    expectFailureAndRecord<std::runtime_error>(
        [] { Cookie::parse("flag"); }, "Missing delimiter <=> when parsing : <flag>", LOG_DECISION);
    expectFailureAndRecord<std::runtime_error>([] { Cookie::parse("a=1; Http Only \t; secure"); },
                                               "Missing delimiter <=> when parsing : <Http Only>",
                                               LOG_DECISION);
}

TEST(Cookie, PrintsPiecesWithASemicolonAndABlankBetweenThem) {
    EXPECT_EQ(Cookie::toString({{"a", "1"}, {"b", "2"}, {"A", "3"}}), "a=1; b=2; A=3");
    EXPECT_EQ(Cookie::toString(Cookie::parse("a=1; b=2")), "a=1; b=2");
}

TEST(Cookie, PrintsTextsAsStored) {
    EXPECT_EQ(Cookie::toString({{"a", ""}, {"", "x;y \""}}), "a=; =x;y \"");
}

TEST(Cookie, PrintsNoCookiesAsAnEmptyText) { EXPECT_EQ(Cookie::toString({}), ""); }

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/headers.h"
#include "httpclient_core/logging.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::LogCapture;
using test::ThrowsExactly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

using Callback = std::function<void(const std::string&)>;

static_assert(
    std::is_same_v<decltype(&HttpHeaders::splitElements),
                   void (*)(const std::string&, const Callback&, const std::string&, bool)>);
static_assert(std::is_same_v<decltype(&HttpHeaders::splitParameter),
                             std::pair<std::string, std::string> (*)(const std::string&,
                                                                     const std::string&)>);
static_assert(std::is_same_v<decltype(&HttpHeaders::splitParameters),
                             std::pair<std::string, NameValueCollection> (*)(const std::string&,
                                                                             const std::string&)>);

std::vector<std::string> elements(const std::string& text, const std::string& separators,
                                  bool skipEmpty) {
    std::vector<std::string> result;
    HttpHeaders::splitElements(
        text, [&](const std::string& element) { result.push_back(element); }, separators,
        skipEmpty);
    return result;
}

TEST(SplitElements, TrimsEveryElementAndLeavesEmptyOnesOutIfAsked) {
    EXPECT_THAT(elements("a, b,,c ,", ",", true), ElementsAre("a", "b", "c"));
    EXPECT_THAT(elements("a, b,,c ,", ",", false), ElementsAre("a", "b", "", "c", ""));
    EXPECT_THAT(elements(", \t,a\r\n,", ",", true), ElementsAre("a"));
    EXPECT_THAT(elements(", \t,a\r\n,", ",", false), ElementsAre("", "", "a", ""));
}

TEST(SplitElements, TakesAnEmptyTextForOneEmptyElement) {
    for (const std::string text : {"", " ", " \n\r\t"}) {
        EXPECT_THAT(elements(text, ",", false), ElementsAre(""));
        EXPECT_THAT(elements(text, ",", true), IsEmpty());
    }
}

TEST(SplitElements, GivesOneElementMoreThanThereAreSeparators) {
    for (std::size_t separators = 0; separators < 6; ++separators) {
        EXPECT_EQ(elements(std::string(separators, ','), ",", false).size(), separators + 1);
        EXPECT_THAT(elements(std::string(separators, ','), ",", true), IsEmpty());
    }
}

TEST(SplitElements, CutsAtAnyCharacterOfTheSet) {
    EXPECT_THAT(elements("a;b,c", ";,", true), ElementsAre("a", "b", "c"));
    EXPECT_THAT(elements("a;,b", ";,", false), ElementsAre("a", "", "b"));
    EXPECT_THAT(elements("a b  c", " ", false), ElementsAre("a", "b", "", "c"));
    EXPECT_THAT(elements(std::string("a\0b", 3), std::string("\0", 1), false),
                ElementsAre("a", "b"));
}

TEST(SplitElements, WithoutSeparatorsTheTextIsOneElement) {
    EXPECT_THAT(elements(" a, b ", "", false), ElementsAre("a, b"));
    EXPECT_THAT(elements(" a, b ", ";", true), ElementsAre("a, b"));
}

TEST(SplitElements, TrimsBlanksLineFeedsCarriageReturnsAndTabsAtTheEndsOnly) {
    EXPECT_THAT(elements(" \n\r\ta b\t\r\nc \n\r\t,\vd\f,\xC2\xA0", ",", true),
                ElementsAre("a b\t\r\nc", "\vd\f", "\xC2\xA0"));
}

TEST(SplitElements, KnowsNoQuotesAndNoEscapes) {
    EXPECT_THAT(elements("\"x,y\"", ",", true), ElementsAre("\"x", "y\""));
    EXPECT_THAT(elements("x\\,y", ",", true), ElementsAre("x\\", "y"));
}

TEST(SplitElements, CallsACopyOfTheCallbackMadeOnce) {
    struct Callable {
        explicit Callable(int& copiesMade) : copies(&copiesMade) {}
        Callable(const Callable& other) : copies(other.copies), calls(other.calls) { ++*copies; }
        Callable(Callable&& other) noexcept = default;
        void operator()(const std::string&) { ++calls; }
        int* copies;
        int calls = 0;
    };
    int copies = 0;
    const Callback callback = Callable(copies);
    copies = 0;

    HttpHeaders::splitElements("a,b,c", callback, ",", true);

    EXPECT_EQ(copies, 1);
    EXPECT_EQ(callback.target<Callable>()->calls, 0);
}

TEST(SplitElements, GoesOnWithItsCopyIfTheCallbackIsReplacedMeanwhile) {
    std::vector<std::string> seen;
    Callback callback;
    callback = [&](const std::string& element) {
        seen.push_back(element);
        callback = nullptr;
    };

    // The first call destroys the original, so what it captured is reached through the copy.
    HttpHeaders::splitElements("a,b", callback, ",", true);

    EXPECT_THAT(seen, ElementsAre("a", "b"));
    EXPECT_FALSE(callback);
}

TEST(SplitElements, AnEmptyCallbackFailsAtTheFirstElementToBeHandedOver) {
    const std::string text = std::bad_function_call().what();

    EXPECT_THAT([] { HttpHeaders::splitElements(",a", nullptr, ",", true); },
                ThrowsExactly<std::bad_function_call>(text));
    EXPECT_THAT([] { HttpHeaders::splitElements("", nullptr, ",", false); },
                ThrowsExactly<std::bad_function_call>(text));
}

TEST(SplitElements, AnEmptyCallbackIsNotCalledIfEveryElementIsLeftOut) {
    EXPECT_NO_THROW(HttpHeaders::splitElements(" , ,", nullptr, ",", true));
    EXPECT_NO_THROW(HttpHeaders::splitElements("", nullptr, ",", true));
}

TEST(SplitElements, LetsExceptionsOfTheCallbackPassAndStopsThere) {
    std::vector<std::string> seen;
    const Callback callback = [&](const std::string& element) {
        if (element == "c") throw std::domain_error("enough");
        seen.push_back(element);
    };

    EXPECT_THAT([&] { HttpHeaders::splitElements("a,b,c,d", callback, ",", true); },
                ThrowsExactly<std::domain_error>("enough"));
    EXPECT_THAT(seen, ElementsAre("a", "b"));
}

TEST(SplitElements, WritesNoRecords) {
    const LogCapture log;

    elements("a,,b=1;\"", ",;", false);

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(SplitParameter, CutsAtTheFirstDelimiterAndTrimsBothHalves) {
    EXPECT_THAT(HttpHeaders::splitParameter("  k = v  ", "="), Pair("k", "v"));
    EXPECT_THAT(HttpHeaders::splitParameter("a=b=c", "="), Pair("a", "b=c"));
    EXPECT_THAT(HttpHeaders::splitParameter("a: b: c", ":"), Pair("a", "b: c"));
    EXPECT_THAT(HttpHeaders::splitParameter("\t\r\n k \n= \r\tv\n", "="), Pair("k", "v"));
    EXPECT_THAT(HttpHeaders::splitParameter("a b = c d", "="), Pair("a b", "c d"));
    EXPECT_THAT(HttpHeaders::splitParameter("\vk\f=\vv\f", "="), Pair("\vk\f", "\vv\f"));
    EXPECT_THAT(HttpHeaders::splitParameter("\"a=b\"", "="), Pair("\"a", "b\""));
}

TEST(SplitParameter, LeavesEitherHalfEmpty) {
    EXPECT_THAT(HttpHeaders::splitParameter("=x", "="), Pair("", "x"));
    EXPECT_THAT(HttpHeaders::splitParameter(" = x", "="), Pair("", "x"));
    EXPECT_THAT(HttpHeaders::splitParameter("x=", "="), Pair("x", ""));
    EXPECT_THAT(HttpHeaders::splitParameter("x = ", "="), Pair("x", ""));
    EXPECT_THAT(HttpHeaders::splitParameter("=", "="), Pair("", ""));
    EXPECT_THAT(HttpHeaders::splitParameter("==", "="), Pair("", "="));
}

TEST(SplitParameter, TakesABlankTextForTwoEmptyHalves) {
    const LogCapture log;

    for (const std::string text : {"", " ", " \t\r\n"}) {
        EXPECT_THAT(HttpHeaders::splitParameter(text, "="), Pair("", ""));
    }

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(SplitParameter, BeginsTheValueOneCharacterBehindTheStartOfALongerDelimiter) {
    EXPECT_THAT(HttpHeaders::splitParameter("a==b", "=="), Pair("a", "=b"));
    EXPECT_THAT(HttpHeaders::splitParameter("a -> b", "->"), Pair("a", "> b"));
    EXPECT_THAT(HttpHeaders::splitParameter("a==", "=="), Pair("a", "="));
    EXPECT_THAT(HttpHeaders::splitParameter("a=b==c", "=="), Pair("a=b", "=c"));
    EXPECT_THAT(HttpHeaders::splitParameter("abc", ""), Pair("", "bc"));
}

TEST(SplitParameter, SearchesTheTrimmedText) {
    EXPECT_THAT(HttpHeaders::splitParameter(" a b ", " "), Pair("a", "b"));
    EXPECT_THAT([] { HttpHeaders::splitParameter(" a ", " "); },
                ThrowsExactly<std::runtime_error>("Missing delimiter < > when parsing : < a >"));
}

TEST(SplitParameter, WithoutTheDelimiterThrowsAndRecordsTheTextAsPassed) {
    expectFailureAndRecord<std::runtime_error>([] { HttpHeaders::splitParameter("k", "="); },
                                               "Missing delimiter <=> when parsing : <k>",
                                               LOG_DECISION);
    expectFailureAndRecord<std::runtime_error>(
        [] { HttpHeaders::splitParameter(" \tk=v\r\n", "=="); },
        "Missing delimiter <==> when parsing : < \tk=v\r\n>", LOG_DECISION);
}

TEST(SplitParameters, GivesTheLeadingTextAndTheParameters) {
    const auto [text, parameters] =
        HttpHeaders::splitParameters("text/html; charset=utf-8;q = 1 ; Q=2", ";");

    EXPECT_EQ(text, "text/html");
    EXPECT_EQ(entryLines(parameters), "charset: utf-8\nq: 1\nQ: 2\n");
    EXPECT_THAT(parameters.getAll("q"), ElementsAre("1", "2"));
}

TEST(SplitParameters, KeepsTheBlanksOfTheLeadingText) {
    const auto [text, parameters] = HttpHeaders::splitParameters(" text/html ;q=1", ";");
    EXPECT_EQ(text, " text/html ");
    EXPECT_EQ(entryLines(parameters), "q: 1\n");

    const auto [blank, behindBlank] = HttpHeaders::splitParameters(" ;q=1", ";");
    EXPECT_EQ(blank, " ");
    EXPECT_EQ(entryLines(behindBlank), "q: 1\n");
}

TEST(SplitParameters, PassesOverEmptyPiecesAheadOfTheLeadingText) {
    const auto [text, parameters] = HttpHeaders::splitParameters(";;a;b=1", ";");

    EXPECT_EQ(text, "a");
    EXPECT_EQ(entryLines(parameters), "b: 1\n");
    EXPECT_EQ(HttpHeaders::splitParameters(";a", ";").first, "a");
}

TEST(SplitParameters, GivesNothingForATextWithoutPieces) {
    for (const std::string nothing : {"", ";", ";;;"}) {
        const auto [text, parameters] = HttpHeaders::splitParameters(nothing, ";");
        EXPECT_EQ(text, "");
        EXPECT_EQ(entryLines(parameters), "");
    }
}

TEST(SplitParameters, TakesAnEmptyPieceForAnEmptyNameAndValue) {
    EXPECT_EQ(entryLines(HttpHeaders::splitParameters("text/html;", ";").second), ": \n");
    EXPECT_EQ(entryLines(HttpHeaders::splitParameters("a;; \t;b=1;", ";").second),
              ": \n: \nb: 1\n: \n");
}

TEST(SplitParameters, CutsAtAnyCharacterOfTheSetAndWithinQuotes) {
    const auto [text, parameters] = HttpHeaders::splitParameters("a,b=1;c=\"2,d=3\"", ";,");

    EXPECT_EQ(text, "a");
    EXPECT_EQ(entryLines(parameters), "b: 1\nc: \"2\nd: 3\"\n");
}

TEST(SplitParameters, WithoutSeparatorsTheTextIsTheLeadingText) {
    const auto [text, parameters] = HttpHeaders::splitParameters(" a;b ", "");

    EXPECT_EQ(text, " a;b ");
    EXPECT_TRUE(parameters.empty());
}

TEST(SplitParameters, WithoutAnEqualsSignThrowsAndRecordsThePieceUntrimmed) {
    expectFailureAndRecord<std::runtime_error>(
        [] { HttpHeaders::splitParameters("a;b=1; c ;d", ";"); },
        "Missing delimiter <=> when parsing : < c >", LOG_DECISION);
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <initializer_list>
#include <iterator>
#include <list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
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

using Pairs = std::initializer_list<std::pair<std::string, std::string>>;

static_assert(std::is_default_constructible_v<HttpHeaders>);
static_assert(std::is_convertible_v<Pairs, HttpHeaders>);
static_assert(std::is_copy_constructible_v<HttpHeaders>);
static_assert(std::is_copy_assignable_v<HttpHeaders>);
static_assert(std::is_nothrow_move_constructible_v<HttpHeaders>);
static_assert(std::is_nothrow_move_assignable_v<HttpHeaders>);
static_assert(!std::is_polymorphic_v<HttpHeaders>);
static_assert(sizeof(HttpHeaders) == sizeof(NameValueCollection));
static_assert(std::is_same_v<HttpHeaders::iterator, NameValueCollection::iterator>);
static_assert(std::is_same_v<HttpHeaders::const_iterator, NameValueCollection::const_iterator>);
static_assert(std::is_same_v<decltype(HttpHeaders::ACCEPT), const std::string>);

// Headers are no collection to their users, and have no equality of their own.
static_assert(!std::is_convertible_v<HttpHeaders&, NameValueCollection&>);
static_assert(!std::is_convertible_v<NameValueCollection, HttpHeaders>);
template <typename T, typename = void>
constexpr bool IS_COMPARABLE = false;
template <typename T>
constexpr bool IS_COMPARABLE<T, std::void_t<decltype(std::declval<T>() == std::declval<T>())>> =
    true;
static_assert(IS_COMPARABLE<NameValueCollection> && !IS_COMPARABLE<HttpHeaders>);

// Built before main(), from constants that another library builds when it is loaded.
const std::string NAMES_AT_LOAD = HttpHeaders::ACCEPT + "," + HttpHeaders::CONTENT_TYPE + "," +
                                  HttpHeaders::CONTENT_LENGTH + "," + HttpHeaders::COOKIE + "," +
                                  HttpHeaders::TRANSFER_ENCODING;

TEST(HttpHeaders, NamesTheHeadersThatTheLibraryKnowsAlreadyInStaticInitialisers) {
    EXPECT_EQ(NAMES_AT_LOAD, "Accept,Content-Type,Content-Length,Cookie,Transfer-Encoding");
}

TEST(HttpHeaders, AreEmptyAtFirst) {
    const HttpHeaders headers;

    EXPECT_TRUE(headers.empty());
    EXPECT_EQ(headers.size(), 0u);
    EXPECT_EQ(headers.begin(), headers.end());
}

TEST(HttpHeaders, ListConstructorKeepsOrderAndRepeatedNames) {
    const HttpHeaders headers = {{"B", "1"}, {"a", "2"}, {"A", "3"}};

    EXPECT_EQ(entryLines(headers), "B: 1\na: 2\nA: 3\n");
    EXPECT_EQ(headers.getHeaderValue("A"), "2");
    EXPECT_FALSE(headers.empty());
}

TEST(HttpHeaders, AddAppendsARepeatedHeaderAndDoesNotJoinTheValues) {
    HttpHeaders headers;

    headers.addHeaderValue("Set-Cookie", "a=1");
    headers.addHeaderValue("set-cookie", "b=2");

    EXPECT_EQ(headers.size(), 2u);
    EXPECT_EQ(headers.getHeaderValue("SET-COOKIE"), "a=1");
    EXPECT_EQ(entryLines(headers), "Set-Cookie: a=1\nset-cookie: b=2\n");
}

TEST(HttpHeaders, StoreNamesAndValuesUnchecked) {
    HttpHeaders headers;

    headers.addHeaderValue("", "no name");
    headers.addHeaderValue("a: b", " padded\r\n");
    headers.setHeaderValue("empty", "");

    EXPECT_EQ(entryLines(headers), ": no name\na: b:  padded\r\n\nempty: \n");
    EXPECT_EQ(headers.getHeaderValue("A: B"), " padded\r\n");
}

TEST(HttpHeaders, SetReplacesTheFirstValueOnly) {
    HttpHeaders headers = {{"X", "0"}, {"Accept", "a"}, {"accept", "b"}};

    headers.setHeaderValue("ACCEPT", "x");

    EXPECT_EQ(entryLines(headers), "X: 0\nAccept: x\naccept: b\n");
    EXPECT_EQ(headers.size(), 3u);
}

TEST(HttpHeaders, SetAppendsAnAbsentHeader) {
    HttpHeaders headers = {{"Accept", "a"}};

    headers.setHeaderValue("X", "1");

    EXPECT_EQ(entryLines(headers), "Accept: a\nX: 1\n");
}

TEST(HttpHeaders, MoveTheValueIntoPlace) {
    const std::string text(100, 'v');
    for (const auto put : {&HttpHeaders::addHeaderValue, &HttpHeaders::setHeaderValue}) {
        HttpHeaders headers;
        std::string value = text;
        const char* const data = value.data();

        (headers.*put)("name", std::move(value));

        EXPECT_EQ(headers.begin()->second.data(), data);
    }
}

TEST(HttpHeaders, AreAskedForAndFoundInAnyLetterCase) {
    const HttpHeaders headers = {{"X", "0"}, {"Content-Type", "a"}, {"content-type", "b"}};

    EXPECT_TRUE(headers.hasHeader("CONTENT-TYPE"));
    EXPECT_EQ(headers.find("content-TYPE"), std::next(headers.begin()));
    EXPECT_FALSE(headers.hasHeader("Content-Typ"));
    EXPECT_EQ(headers.find("Content-Typ"), headers.end());
}

TEST(HttpHeaders, GetOfAnAbsentHeaderThrowsAndRecordsTheNameAsPassed) {
    const HttpHeaders headers = {{"a", "1"}};

    expectFailureAndRecord<std::out_of_range>([&] { headers.getHeaderValue("Mi-Ssing"); },
                                              "Mi-Ssing not found.", LOG_MISUSE);
    EXPECT_EQ(entryLines(headers), "a: 1\n");
}

TEST(HttpHeaders, RemoveTakesEveryHeaderOfTheName) {
    HttpHeaders headers = {{"Content-Length", "1"}, {"X", "2"}, {"content-LENGTH", "3"}};

    headers.removeHeader("content-length");

    EXPECT_EQ(entryLines(headers), "X: 2\n");
    EXPECT_FALSE(headers.hasHeader("Content-Length"));
}

TEST(HttpHeaders, RemoveOfAnAbsentHeaderChangesAndRecordsNothing) {
    HttpHeaders headers = {{"X", "2"}};
    const LogCapture log;

    headers.removeHeader("Y");
    headers.find("Y");
    headers.hasHeader("Y");

    EXPECT_EQ(entryLines(headers), "X: 2\n");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(HttpHeaders, RemoveTakesANameOutOfTheHeadersThemselves) {
    HttpHeaders headers = {{"X", "1"}, {"Y", "2"}, {"x", "3"}};

    headers.removeHeader(headers.begin()->first);

    EXPECT_EQ(entryLines(headers), "Y: 2\n");
}

TEST(HttpHeaders, IterateInTheOrderOfAddingInEveryForm) {
    HttpHeaders headers = {{"z", "1"}, {"a", "2"}};
    const HttpHeaders& constant = headers;
    const std::list<HttpHeaders::value_type> expected = {{"z", "1"}, {"a", "2"}};

    EXPECT_EQ(std::list(headers.begin(), headers.end()), expected);
    EXPECT_EQ(std::list(constant.begin(), constant.end()), expected);
    EXPECT_EQ(std::list(headers.cbegin(), headers.cend()), expected);
}

TEST(HttpHeaders, AValueChangedThroughAnIteratorIsFound) {
    HttpHeaders headers = {{"a", "1"}};

    headers.begin()->second = "2";

    EXPECT_EQ(headers.getHeaderValue("A"), "2");
}

TEST(HttpHeaders, LineIsCutAtItsFirstColonAndTrimmed) {
    const std::vector<std::pair<std::string, HttpHeaders::value_type>> lines = {
        {"  Content-Type :  text/html \r\n", {"Content-Type", "text/html"}},
        {"Host: example:80", {"Host", "example:80"}},
        {"A: b: c", {"A", "b: c"}},
        {"A:b", {"A", "b"}},
        {"A::b", {"A", ":b"}},
        {"\t\n\r A \r\n\t:\t\n\r b c \r\n\t", {"A", "b c"}},
        {"My Header: x", {"My Header", "x"}},
        {"A: b\r\n c", {"A", "b\r\n c"}},
        {"A: \"b:c\" ", {"A", "\"b:c\""}},
        {"\vA\v:\f1\f", {"\vA\v", "\f1\f"}},
        {"A: \xC2\xA0", {"A", "\xC2\xA0"}},
    };
    for (const auto& [line, entry] : lines) {
        HttpHeaders headers;
        headers.addHeader(line);
        EXPECT_THAT(headers, ElementsAre(entry)) << line;
    }
}

TEST(HttpHeaders, LineIsAppendedEvenIfTheNameIsThere) {
    HttpHeaders headers = {{"A", "1"}};

    headers.addHeader("a: 2");
    headers.addHeader("A: 1");

    EXPECT_EQ(entryLines(headers), "A: 1\na: 2\nA: 1\n");
}

TEST(HttpHeaders, LineWithoutAValueGivesAnEmptyOne) {
    for (const std::string line : {"X-Empty:", "X-Empty:   ", "X-Empty :\t\r\n"}) {
        HttpHeaders headers;
        headers.addHeader(line);
        EXPECT_THAT(headers, ElementsAre(HttpHeaders::value_type("X-Empty", ""))) << line;
    }
}

TEST(HttpHeaders, LineWithoutANameAddsAndRecordsNothing) {
    HttpHeaders headers = {{"A", "1"}};
    const LogCapture log;

    for (const std::string line :
         {"", "   ", " \t\r\n", ":", ":value", ": x", " : x", "\t:\t", "::"}) {
        EXPECT_NO_THROW(headers.addHeader(line)) << line;
    }

    EXPECT_EQ(entryLines(headers), "A: 1\n");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(HttpHeaders, LineWithoutAColonThrowsAndRecordsTheLineAsPassed) {
    HttpHeaders headers = {{"A", "1"}};

    expectFailureAndRecord<std::runtime_error>([&] { headers.addHeader("NoColonHere"); },
                                               "Missing delimiter <:> when parsing : <NoColonHere>",
                                               LOG_DECISION);
    expectFailureAndRecord<std::runtime_error>(
        [&] { headers.addHeader("  No Colon=here \r\n"); },
        "Missing delimiter <:> when parsing : <  No Colon=here \r\n>", LOG_DECISION);
    EXPECT_EQ(entryLines(headers), "A: 1\n");
}

TEST(HttpHeaders, LineMayStandInTheHeadersThemselves) {
    HttpHeaders headers = {{"A", "B: 2"}};

    headers.addHeader(headers.begin()->second);

    EXPECT_EQ(entryLines(headers), "A: B: 2\nB: 2\n");
}

TEST(HttpHeaders, ACopyIsIndependentAndFindsNoOldNames) {
    const HttpHeaders entries = {{"Y", "2"}};
    HttpHeaders source = {{"X", "1"}};
    source = entries;

    HttpHeaders copy = source;
    copy.addHeaderValue("Z", "3");

    EXPECT_EQ(entryLines(copy), "Y: 2\nZ: 3\n");
    EXPECT_FALSE(copy.hasHeader("X"));
    EXPECT_EQ(entryLines(source), "Y: 2\n");
}

TEST(HttpHeaders, CopyAssignmentKeepsOldNamesThatLeadToTheReusedEntries) {
    const HttpHeaders source = {{"Y", "2"}};
    HttpHeaders target = {{"X", "1"}, {"Z", "0"}};

    target = source;

    EXPECT_EQ(target.getHeaderValue("X"), "2");
    EXPECT_FALSE(target.hasHeader("Z"));
    EXPECT_EQ(entryLines(target), "Y: 2\n");
    target.removeHeader("X");
    EXPECT_FALSE(target.hasHeader("Y"));
    EXPECT_TRUE(target.empty());
}

TEST(HttpHeaders, MoveAssignmentLeavesNothingOfTheOldHeaders) {
    HttpHeaders target = {{"X", "1"}};

    target = HttpHeaders{{"Y", "2"}};

    EXPECT_FALSE(target.hasHeader("X"));
    EXPECT_EQ(entryLines(target), "Y: 2\n");
}

TEST(HttpHeaders, AreEmptyAndUsableAfterAMove) {
    const HttpHeaders refill = {{"C", "3"}};
    HttpHeaders source = {{"A", "1"}};
    HttpHeaders constructed = std::move(source);
    HttpHeaders assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.getHeaderValue("A"), "1");

    for (HttpHeaders* const moved : {&source, &constructed}) {
        EXPECT_TRUE(moved->empty());
        EXPECT_EQ(moved->size(), 0u);
        EXPECT_EQ(moved->begin(), moved->end());
        EXPECT_FALSE(moved->hasHeader("A"));
        EXPECT_EQ(moved->find("A"), moved->cend());
        EXPECT_THAT([&] { moved->getHeaderValue("A"); },
                    ThrowsExactly<std::out_of_range>("A not found."));
        moved->removeHeader("A");
        moved->addHeader("A: 4");
        moved->addHeaderValue("B", "5");
        moved->setHeaderValue("b", "6");
        EXPECT_EQ(entryLines(HttpHeaders(*moved)), "A: 4\nB: 6\n");
        EXPECT_EQ(moved->getHeaderValue("B"), "6");
    }
    const HttpHeaders again = std::move(source);
    source = refill;
    EXPECT_EQ(entryLines(source), "C: 3\n");
    EXPECT_FALSE(source.hasHeader("A"));
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <cstddef>
#include <initializer_list>
#include <iomanip>
#include <list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/query_parameters.h"
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

static_assert(std::is_default_constructible_v<QueryParameters>);
static_assert(std::is_convertible_v<Pairs, QueryParameters>);
static_assert(std::is_constructible_v<QueryParameters, NameValueCollection>);
static_assert(std::is_copy_constructible_v<QueryParameters>);
static_assert(std::is_copy_assignable_v<QueryParameters>);
static_assert(std::is_move_constructible_v<QueryParameters>);
static_assert(std::is_move_assignable_v<QueryParameters>);
static_assert(!std::is_polymorphic_v<QueryParameters>);
static_assert(std::is_same_v<QueryParameters::iterator, NameValueCollection::iterator>);
static_assert(std::is_same_v<QueryParameters::const_iterator, NameValueCollection::const_iterator>);

// Several lookups are for objects that may be changed only; that is part of the interface.
template <typename Result, typename... Arguments>
using Member = Result (QueryParameters::*)(Arguments...);
template <typename Result, typename... Arguments>
using ConstMember = Result (QueryParameters::*)(Arguments...) const;
static_assert(std::is_same_v<decltype(&QueryParameters::getParameterValue),
                             Member<std::string, const std::string&>>);
static_assert(std::is_same_v<decltype(&QueryParameters::getAllParameterValues),
                             Member<std::vector<std::string>, const std::string&>>);
static_assert(
    std::is_same_v<decltype(&QueryParameters::hasParameterKey), Member<bool, const std::string&>>);
static_assert(std::is_same_v<decltype(&QueryParameters::size), Member<std::size_t>>);
static_assert(std::is_same_v<decltype(&QueryParameters::getEntrySep), Member<std::string>>);
static_assert(std::is_same_v<decltype(&QueryParameters::getKeyValueSep), Member<std::string>>);
static_assert(std::is_same_v<decltype(&QueryParameters::empty), ConstMember<bool>>);
static_assert(std::is_same_v<decltype(&QueryParameters::toString), ConstMember<std::string>>);
static_assert(std::is_same_v<decltype(&QueryParameters::toStream),
                             ConstMember<std::ostream&, std::ostream&>>);

TEST(QueryParameters, AreEmptyAtFirstAndPrintNothing) {
    QueryParameters parameters;

    EXPECT_TRUE(parameters.empty());
    EXPECT_EQ(parameters.size(), 0u);
    EXPECT_EQ(parameters.begin(), parameters.end());
    EXPECT_EQ(parameters.toString(), "");
}

TEST(QueryParameters, KeepTheirSeparatorsHoweverTheyWereMade) {
    QueryParameters empty;
    QueryParameters listed = {{"a", "1"}};
    QueryParameters collected = NameValueCollection{{"a", "1"}};
    QueryParameters copied = listed;
    QueryParameters moved = std::move(listed);

    for (QueryParameters* const parameters : {&empty, &listed, &collected, &copied, &moved}) {
        EXPECT_EQ(parameters->getEntrySep(), "&");
        EXPECT_EQ(parameters->getKeyValueSep(), "=");
    }
}

TEST(QueryParameters, ListConstructorKeepsOrderAndRepeatedKeys) {
    QueryParameters parameters = {{"b", "1"}, {"a", ""}, {"B", "2"}, {"b", "3"}};

    EXPECT_EQ(entryLines(parameters), "b: 1\na: \nB: 2\nb: 3\n");
    EXPECT_EQ(parameters.size(), 4u);
    EXPECT_FALSE(parameters.empty());
}

TEST(QueryParameters, ListConstructorRefusesAnEmptyKeyWhereverItStands) {
    for (const Pairs& pairs : {Pairs{{"", "1"}}, Pairs{{"", "1"}, {"a", "2"}},
                               Pairs{{"a", "1"}, {"b", "2"}, {"", ""}}}) {
        expectFailureAndRecord<std::logic_error>([&] { QueryParameters{pairs}; },
                                                 "Cannot create QueryParameter with an empty key",
                                                 LOG_MISUSE);
    }
}

TEST(QueryParameters, CollectionConstructorTakesTheEntriesUnexaminedAndUncopied) {
    NameValueCollection collection = {{"", "v"}, {"a", "1"}};
    const NameValueCollection::iterator first = collection.begin();

    QueryParameters parameters = std::move(collection);

    EXPECT_EQ(parameters.begin(), first);
    EXPECT_EQ(entryLines(parameters), ": v\na: 1\n");
    EXPECT_TRUE(parameters.hasParameterKey(""));
    EXPECT_EQ(parameters.getParameterValue(""), "v");
}

TEST(QueryParameters, AddAppendsARepeatedKey) {
    QueryParameters parameters = {{"a", "1"}};

    parameters.addQueryParameter("b", "2");
    parameters.addQueryParameter("a", "");

    EXPECT_EQ(entryLines(parameters), "a: 1\nb: 2\na: \n");
    EXPECT_EQ(parameters.toString(), "?a=1&b=2&a");
}

TEST(QueryParameters, AddMovesTheValueIntoPlace) {
    QueryParameters parameters;
    std::string value(100, 'v');
    const char* const data = value.data();

    parameters.addQueryParameter("key", std::move(value));

    EXPECT_EQ(parameters.begin()->second.data(), data);
}

TEST(QueryParameters, AddRefusesAnEmptyKeyAndChangesNothing) {
    QueryParameters parameters = {{"a", "1"}};

    expectFailureAndRecord<std::logic_error>([&] { parameters.addQueryParameter("", "2"); },
                                             "Cannot add QueryParameter with an empty key",
                                             LOG_MISUSE);
    EXPECT_EQ(entryLines(parameters), "a: 1\n");
}

TEST(QueryParameters, AddTakesKeyAndValueOutOfTheParametersThemselves) {
    QueryParameters parameters = {{"a key too long to be kept inside a string", "value"}};

    parameters.addQueryParameter(parameters.begin()->first, parameters.begin()->second);
    parameters.addQueryParameter(parameters.begin()->second, parameters.begin()->first);

    EXPECT_EQ(entryLines(parameters),
              "a key too long to be kept inside a string: value\n"
              "a key too long to be kept inside a string: value\n"
              "value: a key too long to be kept inside a string\n");
}

TEST(QueryParameters, FindAKeyInAnyLetterCaseAndGiveItsFirstValue) {
    QueryParameters parameters = {{"x", "0"}, {"Page", "1"}, {"page", "2"}};

    EXPECT_TRUE(parameters.hasParameterKey("PAGE"));
    EXPECT_EQ(parameters.getParameterValue("PAGE"), "1");
    EXPECT_EQ(parameters.getParameterValue("page"), "1");
    EXPECT_FALSE(parameters.hasParameterKey("pag"));
    EXPECT_FALSE(parameters.hasParameterKey(""));
}

TEST(QueryParameters, GiveAllValuesOfAKeyInItsOwnLetterCaseOnly) {
    QueryParameters parameters = {{"Page", "1"}, {"page", "2"}, {"Page", "3"}, {"Page ", "4"}};

    EXPECT_THAT(parameters.getAllParameterValues("Page"), ElementsAre("1", "3"));
    EXPECT_THAT(parameters.getAllParameterValues("page"), ElementsAre("2"));
}

TEST(QueryParameters, GiveNoValuesAndNoErrorForAKeyStoredInAnotherLetterCaseOnly) {
    QueryParameters parameters = {{"Page", "1"}};
    const LogCapture log;

    EXPECT_THAT(parameters.getAllParameterValues("page"), IsEmpty());
    EXPECT_EQ(parameters.getParameterValue("page"), "1");
    EXPECT_TRUE(parameters.hasParameterKey("page"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(QueryParameters, CompareKeysBehindANulByteToo) {
    QueryParameters parameters = {{std::string("a\0b", 3), "1"}};

    EXPECT_EQ(parameters.getParameterValue("a"), "1");
    EXPECT_THAT(parameters.getAllParameterValues("a"), IsEmpty());
    EXPECT_THAT(parameters.getAllParameterValues(std::string("a\0b", 3)), ElementsAre("1"));
}

TEST(QueryParameters, GiveEveryValueOnceEvenAfterSelfAssignment) {
    QueryParameters parameters = {{"a", "1"}, {"a", "2"}};
    const QueryParameters& same = parameters;

    parameters = same;

    EXPECT_THAT(parameters.getAllParameterValues("a"), ElementsAre("1", "2"));
    EXPECT_EQ(parameters.toString(), "?a=1&a=2");
}

TEST(QueryParameters, AnAbsentKeyThrowsAndRecordsTheKeyAsPassed) {
    QueryParameters parameters = {{"a", "missing"}};

    expectFailureAndRecord<std::logic_error>([&] { parameters.getParameterValue("missing"); },
                                             "Requested query parameter (missing) doesn't exist",
                                             LOG_MISUSE);
    expectFailureAndRecord<std::logic_error>([&] { parameters.getAllParameterValues("Mi Ss?"); },
                                             "Requested query parameter (Mi Ss?) doesn't exist",
                                             LOG_MISUSE);
    expectFailureAndRecord<std::logic_error>([&] { parameters.getParameterValue(""); },
                                             "Requested query parameter () doesn't exist",
                                             LOG_MISUSE);
    expectFailureAndRecord<std::logic_error>(
        [&] { parameters.getParameterValue(parameters.begin()->second); },
        "Requested query parameter (missing) doesn't exist", LOG_MISUSE);
    EXPECT_EQ(entryLines(parameters), "a: missing\n");
}

TEST(QueryParameters, IterateInTheOrderOfAddingInEveryForm) {
    QueryParameters parameters = {{"z", "1"}, {"a", "2"}};
    const QueryParameters& constant = parameters;
    const std::list<std::pair<std::string, std::string>> expected = {{"z", "1"}, {"a", "2"}};

    EXPECT_EQ(std::list(parameters.begin(), parameters.end()), expected);
    EXPECT_EQ(std::list(constant.begin(), constant.end()), expected);
    EXPECT_EQ(std::list(parameters.cbegin(), parameters.cend()), expected);
    parameters.begin()->second = "3";
    EXPECT_EQ(parameters.toString(), "?z=3&a=2");
}

TEST(QueryParameters, PrintAQuestionMarkAndTheEncodedPairs) {
    EXPECT_EQ((QueryParameters{{"q", "a b"}, {"lang", "C++"}, {"flag", ""}}.toString()),
              "?q=a%20b&lang=C%2B%2B&flag");
    EXPECT_EQ((QueryParameters{{"x y", "1/2"}}.toString()), "?x%20y=1%2F2");
    EXPECT_EQ((QueryParameters{{"a&b", "c=d"}, {"?", "#"}}.toString()), "?a%26b=c%3Dd&%3F=%23");
}

TEST(QueryParameters, PrintAPairWithoutAValueAsABareKey) {
    EXPECT_EQ((QueryParameters{{"key", ""}}.toString()), "?key");
    EXPECT_EQ((QueryParameters{{"a", ""}, {"b", ""}, {"c", "1"}}.toString()), "?a&b&c=1");
}

TEST(QueryParameters, PrintAnEmptyKeyThatACollectionBrought) {
    EXPECT_EQ(QueryParameters(NameValueCollection{{"", "v"}}).toString(), "?=v");
    EXPECT_EQ(QueryParameters(NameValueCollection{{"", ""}}).toString(), "?");
    EXPECT_EQ(QueryParameters(NameValueCollection{{"", ""}, {"", ""}, {"a", "1"}}).toString(),
              "?&&a=1");
}

TEST(QueryParameters, PrintRepeatedKeysInOrder) {
    EXPECT_EQ((QueryParameters{{"a", "1"}, {"b", "2"}, {"a", "1"}}.toString()), "?a=1&b=2&a=1");
}

TEST(QueryParameters, WriteToAStreamAndHandItBack) {
    const QueryParameters parameters = {{"a", "1 2"}};
    std::ostringstream stream("http://host/", std::ios::ate);

    EXPECT_EQ(&parameters.toStream(stream), &stream);
    EXPECT_EQ(stream.str(), "http://host/?a=1%202");
    EXPECT_EQ(&QueryParameters().toStream(stream), &stream);
    EXPECT_EQ(stream.str(), "http://host/?a=1%202");
}

TEST(QueryParameters, LeaveTheFormatOfTheStreamAsItWas) {
    const QueryParameters parameters = {{"\xFF", "/"}};
    std::ostringstream stream;

    parameters.toStream(stream << std::hex << std::showbase) << ' ' << 255;

    EXPECT_EQ(stream.str(), "?%FF=%2F 0xff");
}

TEST(QueryParameters, LeaveTheWidthOfTheStreamIfThereAreNone) {
    std::ostringstream stream;

    QueryParameters().toStream(stream << std::setw(5)) << 255;

    EXPECT_EQ(stream.str(), "  255");
}

TEST(QueryParameters, CopiesAreIndependent) {
    QueryParameters source = {{"a", "1"}};
    QueryParameters copy = source;

    copy.addQueryParameter("b", "2");
    source.addQueryParameter("c", "3");

    EXPECT_EQ(copy.toString(), "?a=1&b=2");
    EXPECT_EQ(source.toString(), "?a=1&c=3");
    EXPECT_FALSE(source.hasParameterKey("b"));
}

TEST(QueryParameters, CopyAssignmentKeepsOldKeysOfReusedPairsForLookupsAlone) {
    const QueryParameters source = {{"c", "3"}};
    QueryParameters target = {{"a", "1"}, {"b", "2"}};

    target = source;

    EXPECT_EQ(target.toString(), "?c=3");
    EXPECT_TRUE(target.hasParameterKey("a"));
    EXPECT_EQ(target.getParameterValue("a"), "3");
    EXPECT_THAT(target.getAllParameterValues("a"), IsEmpty());
    EXPECT_THAT(target.getAllParameterValues("c"), ElementsAre("3"));
    EXPECT_FALSE(target.hasParameterKey("b"));
}

TEST(QueryParameters, AreEmptyAndUsableAfterAMove) {
    QueryParameters source = {{"a", "1"}};
    QueryParameters constructed = std::move(source);
    QueryParameters assigned;
    assigned = std::move(constructed);
    EXPECT_EQ(assigned.toString(), "?a=1");

    for (QueryParameters* const moved : {&source, &constructed}) {
        EXPECT_TRUE(moved->empty());
        EXPECT_EQ(moved->size(), 0u);
        EXPECT_EQ(moved->begin(), moved->end());
        EXPECT_EQ(moved->toString(), "");
        EXPECT_FALSE(moved->hasParameterKey("a"));
        EXPECT_THAT([&] { moved->getParameterValue("a"); },
                    ThrowsExactly<std::logic_error>("Requested query parameter (a) doesn't exist"));
        moved->addQueryParameter("b", "2");
        EXPECT_EQ(moved->toString(), "?b=2");
        EXPECT_EQ(moved->getParameterValue("B"), "2");
        *moved = QueryParameters{{"c", "3"}};
        EXPECT_EQ(moved->toString(), "?c=3");
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/logging.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/latin1_locale.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::Latin1Locale;
using test::LogCapture;
using test::ThrowsExactly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Compare = NameValueCollection::CaseInsensitiveCompare;
using Pairs = std::initializer_list<std::pair<std::string, std::string>>;

static_assert(std::is_default_constructible_v<NameValueCollection>);
static_assert(std::is_convertible_v<Pairs, NameValueCollection>);
static_assert(std::is_copy_constructible_v<NameValueCollection>);
static_assert(std::is_copy_assignable_v<NameValueCollection>);
static_assert(std::is_nothrow_move_constructible_v<NameValueCollection>);
static_assert(std::is_nothrow_move_assignable_v<NameValueCollection>);
static_assert(std::is_nothrow_swappable_v<NameValueCollection>);
static_assert(!std::is_polymorphic_v<NameValueCollection>);
static_assert(!std::is_convertible_v<std::string, NameValueCollection>);

using List = std::list<std::pair<std::string, std::string>>;
static_assert(std::is_same_v<NameValueCollection::value_type, List::value_type>);
static_assert(std::is_same_v<NameValueCollection::iterator, List::iterator>);
static_assert(std::is_same_v<NameValueCollection::const_iterator, List::const_iterator>);

static_assert(std::is_same_v<decltype(&NameValueCollection::get),
                             std::string (NameValueCollection::*)(const std::string&) const>);
static_assert(std::is_same_v<decltype(&NameValueCollection::size),
                             std::size_t (NameValueCollection::*)() const>);

static_assert(std::is_copy_constructible_v<Compare> && std::is_copy_assignable_v<Compare>);

// Longer than what a std::string keeps inside itself, so that a copy has another address.
const char* const LONG_TEXT = "a text that is too long to be kept inside a string object";

NameValueCollection acceptTwice() {
    NameValueCollection collection;
    collection.add("Accept", "a");
    collection.add("accept", "b");
    return collection;
}

std::string identity(std::string text) { return text; }

TEST(NameValueCollection, IsEmptyAtFirst) {
    const NameValueCollection collection;

    EXPECT_TRUE(collection.empty());
    EXPECT_EQ(collection.size(), 0u);
    EXPECT_EQ(collection.begin(), collection.end());
    EXPECT_FALSE(collection.has(""));
}

TEST(NameValueCollection, IsEmptyAndUsableFromAnEmptyList) {
    NameValueCollection collection(Pairs{});
    EXPECT_TRUE(collection.empty());

    collection.add("a", "1");

    EXPECT_EQ(entryLines(collection), "a: 1\n");
}

TEST(NameValueCollection, ListConstructorKeepsOrderAndRepeatedNames) {
    const NameValueCollection collection = {{"b", "1"}, {"A", "2"}, {"a", "3"}, {"", ""}};

    EXPECT_EQ(entryLines(collection), "b: 1\nA: 2\na: 3\n: \n");
    EXPECT_EQ(collection.size(), 4u);
    EXPECT_FALSE(collection.empty());
}

TEST(NameValueCollection, ListConstructorIndexesEveryEntryOnce) {
    const NameValueCollection collection = {{"b", "1"}, {"A", "2"}, {"a", "3"}};

    EXPECT_THAT(collection.getAll("a"), ElementsAre("2", "3"));
    EXPECT_THAT(collection.getAll("B"), ElementsAre("1"));
}

TEST(NameValueCollection, AddKeepsEveryEntryAsSupplied) {
    const NameValueCollection collection = acceptTwice();

    EXPECT_EQ(collection.size(), 2u);
    EXPECT_EQ(collection.get("ACCEPT"), "a");
    EXPECT_THAT(collection.getAll("Accept"), ElementsAre("a", "b"));
    EXPECT_EQ(entryLines(collection), "Accept: a\naccept: b\n");
}

TEST(NameValueCollection, AddOfAPairAppendsLikeAddOfNameAndValue) {
    NameValueCollection collection = acceptTwice();

    collection.add({"ACCEPT", "c"});

    EXPECT_EQ(entryLines(collection), "Accept: a\naccept: b\nACCEPT: c\n");
    EXPECT_THAT(collection.getAll("accept"), ElementsAre("a", "b", "c"));
}

TEST(NameValueCollection, AddAcceptsEmptyNamesAndValues) {
    NameValueCollection collection;
    collection.add("", "value");
    collection.add("name", "");
    collection.add({"", ""});

    EXPECT_EQ(entryLines(collection), ": value\nname: \n: \n");
    EXPECT_THAT(collection.getAll(""), ElementsAre("value", ""));
    EXPECT_EQ(collection.get("NAME"), "");
}

TEST(NameValueCollection, AddOfAPairMovesBothTextsIntoPlace) {
    NameValueCollection collection;
    std::pair<std::string, std::string> entry(LONG_TEXT, LONG_TEXT);
    const char* const name = entry.first.data();
    const char* const value = entry.second.data();

    collection.add(std::move(entry));

    EXPECT_EQ(collection.begin()->first.data(), name);
    EXPECT_EQ(collection.begin()->second.data(), value);
}

TEST(NameValueCollection, AddMovesTheValueIntoPlace) {
    NameValueCollection collection;
    std::string value = LONG_TEXT;
    const char* const data = value.data();

    collection.add("name", std::move(value));

    EXPECT_EQ(collection.begin()->second.data(), data);
}

TEST(NameValueCollection, SetMovesTheValueIntoPlace) {
    NameValueCollection collection = {{"name", "old"}};
    std::string value = LONG_TEXT;
    const char* const data = value.data();

    collection.set("name", std::move(value));

    EXPECT_EQ(collection.begin()->second.data(), data);
}

TEST(NameValueCollection, SetReplacesTheFirstValueOnlyAndKeepsTheSpellingOfTheName) {
    NameValueCollection collection = acceptTwice();

    collection.set("accept", "c");

    EXPECT_EQ(entryLines(collection), "Accept: c\naccept: b\n");
    EXPECT_THAT(collection.getAll("Accept"), ElementsAre("c", "b"));
}

TEST(NameValueCollection, SetKeepsThePlaceOfTheFirstEntry) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"c", "3"}};

    collection.set("B", "4");

    EXPECT_EQ(entryLines(collection), "a: 1\nb: 4\nc: 3\n");
}

TEST(NameValueCollection, SetAppendsAnAbsentName) {
    NameValueCollection collection = acceptTwice();

    collection.set("X", "1");

    EXPECT_EQ(entryLines(collection), "Accept: a\naccept: b\nX: 1\n");
    EXPECT_THAT(collection.getAll("x"), ElementsAre("1"));
}

TEST(NameValueCollection, EraseRemovesEveryEntryOfTheName) {
    NameValueCollection collection = {{"Accept", "a"}, {"b", "1"}, {"accept", "c"}, {"d", "2"}};

    collection.erase("ACCEPT");

    EXPECT_EQ(entryLines(collection), "b: 1\nd: 2\n");
    EXPECT_EQ(collection.size(), 2u);
    EXPECT_FALSE(collection.has("accept"));
    EXPECT_THAT(collection.getAll("accept"), IsEmpty());
    EXPECT_EQ(collection.find("accept"), collection.cend());
}

TEST(NameValueCollection, EraseOfAnAbsentNameChangesNothing) {
    NameValueCollection collection = acceptTwice();

    collection.erase("Accep");
    collection.erase("Accept ");
    collection.erase("");

    EXPECT_EQ(entryLines(collection), "Accept: a\naccept: b\n");
}

TEST(NameValueCollection, ErasedNameCanBeAddedAgain) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}};
    collection.erase("a");

    collection.add("a", "3");

    EXPECT_EQ(entryLines(collection), "b: 2\na: 3\n");
    EXPECT_THAT(collection.getAll("A"), ElementsAre("3"));
}

TEST(NameValueCollection, GetOfAnAbsentNameThrowsAndRecordsTheNameAsPassed) {
    const NameValueCollection collection = acceptTwice();

    expectFailureAndRecord<std::out_of_range>([&] { collection.get("missing"); },
                                              "missing not found.", LOG_MISUSE);
    expectFailureAndRecord<std::out_of_range>([&] { collection.get("Mi Ssing "); },
                                              "Mi Ssing  not found.", LOG_MISUSE);
    expectFailureAndRecord<std::out_of_range>([&] { collection.get(""); }, " not found.",
                                              LOG_MISUSE);
    EXPECT_EQ(entryLines(collection), "Accept: a\naccept: b\n");
}

TEST(NameValueCollection, OtherOperationsOnAnAbsentNameFindNothingAndRecordNothing) {
    NameValueCollection collection = acceptTwice();
    const LogCapture log;

    EXPECT_FALSE(collection.has("missing"));
    EXPECT_EQ(collection.find("missing"), collection.cend());
    EXPECT_THAT(collection.getAll("missing"), IsEmpty());
    collection.erase("missing");
    collection.get("Accept");

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(NameValueCollection, FindGivesTheFirstEntryOfTheName) {
    const NameValueCollection collection = {{"x", "0"}, {"Accept", "a"}, {"accept", "b"}};

    const auto found = collection.find("accept");

    EXPECT_EQ(found, std::next(collection.begin()));
    EXPECT_EQ(*found, (NameValueCollection::value_type("Accept", "a")));
}

TEST(NameValueCollection, GetAllReservesExactlyWhatItReturns) {
    NameValueCollection collection;
    for (int i = 0; i < 5; ++i) collection.add("name", LONG_TEXT);

    EXPECT_EQ(collection.getAll("name").size(), 5u);
    EXPECT_EQ(collection.getAll("name").capacity(), 5u);
}

// A collection may look names up in another way once it holds many.
class NameValueCollectionOfAnySize : public ::testing::TestWithParam<int> {
protected:
    NameValueCollection with(Pairs entries) {
        NameValueCollection collection;
        for (int i = 0; i < GetParam(); ++i) collection.add("filler" + std::to_string(i), "");
        for (const auto& entry : entries) collection.add(entry);
        return collection;
    }
};

INSTANTIATE_TEST_SUITE_P(Fillers, NameValueCollectionOfAnySize, ::testing::Values(0, 10, 1000));

TEST_P(NameValueCollectionOfAnySize, LooksUpAsciiLettersInEitherCaseAndNothingElse) {
    NameValueCollection collection = with({{"", "v"}});
    for (int stored = 1; stored < 256; ++stored) {
        collection.erase(std::prev(collection.end())->first);
        collection.add(std::string(1, static_cast<char>(stored)), "v");
        for (int wanted = 1; wanted < 256; ++wanted) {
            const bool letters = (stored >= 'A' && stored <= 'Z' && wanted == stored + 32) ||
                                 (stored >= 'a' && stored <= 'z' && wanted == stored - 32);
            EXPECT_EQ(collection.has(std::string(1, static_cast<char>(wanted))),
                      stored == wanted || letters)
                << stored << " looked up as " << wanted;
        }
    }
}

// Compared several characters at a time, names could run together at the edges of the pieces.
TEST_P(NameValueCollectionOfAnySize, TellsNamesOfEveryLengthApartByEachOfTheirCharacters) {
    for (std::size_t length = 1; length <= 40; ++length) {
        const NameValueCollection collection = with({{std::string(length, 'n'), "v"}});

        EXPECT_TRUE(collection.has(std::string(length, 'N')));
        EXPECT_FALSE(collection.has(std::string(length - 1, 'n')));
        EXPECT_FALSE(collection.has(std::string(length + 1, 'n')));
        for (std::size_t position = 0; position < length; ++position) {
            for (int byte = 0; byte < 256; ++byte) {
                std::string wanted(length, 'N');
                wanted[position] = static_cast<char>(byte);
                EXPECT_EQ(collection.has(wanted), byte == 'n' || byte == 'N')
                    << "byte " << byte << " at " << position << " of " << length;
            }
        }
    }
}

TEST_P(NameValueCollectionOfAnySize, EndsANameOfAnyLengthAtItsFirstNulByte) {
    for (std::size_t length = 0; length <= 20; ++length) {
        const std::string name(length, 'n');
        const std::string behindNul = name + '\0' + "and 16 more bytes";
        const NameValueCollection collection = with({{behindNul, "v"}});

        EXPECT_TRUE(collection.has(name));
        EXPECT_TRUE(collection.has(name + '\0'));
        EXPECT_FALSE(collection.has(name + 'n'));
        EXPECT_TRUE(with({{name, "v"}}).has(behindNul));
    }
}

// What the index keeps of the names behind moves up then, onto places that it overlaps.
TEST_P(NameValueCollectionOfAnySize, FindsNamesOfEveryLengthAfterShorterOnesBeforeThemAreErased) {
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    for (std::size_t length = 2; length <= letters.size(); ++length) {
        for (std::size_t erased = 1; erased < length; ++erased) {
            const std::string name = letters.substr(0, length);
            NameValueCollection collection = with({{std::string(erased, '-'), ""}, {name, "v"}});

            collection.erase(std::string(erased, '-'));

            EXPECT_TRUE(collection.has(name)) << length << " behind " << erased;
        }
    }
}

TEST_P(NameValueCollectionOfAnySize, KeepsNamesApartThatAreLongTogether) {
    const auto longName = [](char last) { return std::string(150, 'n') + last; };
    NameValueCollection collection = with({{longName('a'), "a"}, {longName('b'), "b"}});
    collection.erase(longName('a'));
    collection.add(longName('c'), "c");
    collection.add(longName('d'), "d");
    collection.add(std::string(1000, 'n'), "longest");

    EXPECT_FALSE(collection.has(longName('A')));
    EXPECT_THAT(collection.getAll(longName('B')), ElementsAre("b"));
    EXPECT_THAT(collection.getAll(longName('C')), ElementsAre("c"));
    EXPECT_THAT(collection.getAll(longName('D')), ElementsAre("d"));
    EXPECT_THAT(collection.getAll(std::string(1000, 'N')), ElementsAre("longest"));
}

TEST_P(NameValueCollectionOfAnySize, FindsANameLongerThanManyOthersTogether) {
    for (const std::size_t length : {359u, 360u, 361u, 10000u}) {
        NameValueCollection collection = with({{std::string(length, 'n'), "v"}, {"last", "w"}});

        EXPECT_EQ(collection.get(std::string(length, 'N')), "v") << length;
        EXPECT_EQ(collection.get("last"), "w") << length;
    }
}

// What is left of names that went must not be in the way of others, nor be taken for them.
TEST_P(NameValueCollectionOfAnySize, FindsTheRestWhileNamesComeAndGo) {
    NameValueCollection collection = with({{"First", "1"}, {"Second", "2"}, {"Third", "3"}});

    for (int i = 0; i < 100; ++i) {
        const std::string name = "Name that comes and goes " + std::to_string(i);
        collection.add(name, "4");
        collection.erase("second");
        EXPECT_THAT(collection.getAll("first"), ElementsAre("1"));
        EXPECT_FALSE(collection.has("second"));
        EXPECT_THAT(collection.getAll("third"), ElementsAre("3"));
        EXPECT_THAT(collection.getAll(name), ElementsAre("4"));
        collection.erase(name);
        collection.add("Second", "2");
    }
}

TEST_P(NameValueCollectionOfAnySize, DoesNotFoldBytesAboveAscii) {
    const NameValueCollection collection = with({{"\xC3\x84", "upper"}, {"\xC3\xA4", "lower"}});

    EXPECT_THAT(collection.getAll("\xC3\x84"), ElementsAre("upper"));
    EXPECT_THAT(collection.getAll("\xC3\xA4"), ElementsAre("lower"));
}

TEST_P(NameValueCollectionOfAnySize, FoldsAsciiAloneWhateverTheLocale) {
    const Latin1Locale locale;
    const NameValueCollection collection =
        with({{"\xC4", "upper"}, {"\xE4", "lower"}, {"I", "ascii"}});

    EXPECT_THAT(collection.getAll("\xC4"), ElementsAre("upper"));
    EXPECT_THAT(collection.getAll("\xE4"), ElementsAre("lower"));
    EXPECT_THAT(collection.getAll("i"), ElementsAre("ascii"));
}

TEST_P(NameValueCollectionOfAnySize, LooksUpANameWithANulByteAsIfItEndedThere) {
    const std::string one("na\0one", 6);
    const std::string two("NA\0two", 6);
    NameValueCollection collection = with({{one, "1"}, {two, "2"}, {"nap", "3"}, {"n", "4"}});

    EXPECT_THAT(collection.getAll("na"), ElementsAre("1", "2"));
    EXPECT_THAT(collection.getAll(std::string("Na\0other", 8)), ElementsAre("1", "2"));
    EXPECT_EQ(std::prev(collection.end(), 4)->first, one);
    collection.erase("nA");
    EXPECT_FALSE(collection.has(one));
    EXPECT_EQ(collection.size(), static_cast<std::size_t>(GetParam()) + 2);
}

TEST_P(NameValueCollectionOfAnySize, KeepsTheOrderOfTheIndexAcrossCopyAssignment) {
    NameValueCollection target = with({{"X", "1"}, {"Y", "2"}});
    const NameValueCollection source = with({{"Y", "p"}, {"X", "q"}, {"x", "r"}});

    target = source;

    EXPECT_EQ(target, source);
    EXPECT_THAT(target.getAll("x"), ElementsAre("p", "q", "r"));
    EXPECT_THAT(target.getAll("y"), ElementsAre("q", "p"));
    target.erase("y");
    EXPECT_THAT(target.getAll("x"), ElementsAre("r"));
    EXPECT_EQ(target.size(), static_cast<std::size_t>(GetParam()) + 1);
}

TEST_P(NameValueCollectionOfAnySize, ErasesANameOutOfTheCollectionItself) {
    NameValueCollection collection =
        with({{LONG_TEXT, "1"}, {"b", "2"}, {LONG_TEXT, "3"}, {"c", LONG_TEXT}});

    collection.erase(std::prev(collection.end(), 4)->first);
    EXPECT_FALSE(collection.has(LONG_TEXT));
    EXPECT_EQ(collection.get("b"), "2");

    collection.add(LONG_TEXT, "4");
    collection.erase(std::prev(collection.end(), 2)->second);
    EXPECT_FALSE(collection.has(LONG_TEXT));
    EXPECT_EQ(collection.size(), static_cast<std::size_t>(GetParam()) + 2);
}

TEST_P(NameValueCollectionOfAnySize, CopiesMovesAndEmptiesWhatItHolds) {
    const NameValueCollection source = with({{"a", "1"}, {"A", "2"}});

    NameValueCollection copy = source;
    const NameValueCollection moved = std::move(copy);

    EXPECT_EQ(moved, source);
    EXPECT_THAT(moved.getAll("a"), ElementsAre("1", "2"));
    EXPECT_TRUE(copy.empty());
    EXPECT_FALSE(copy.has("a"));
    copy = source;
    for (int i = 0; i < GetParam(); ++i) copy.erase("filler" + std::to_string(i));
    EXPECT_EQ(entryLines(copy), "a: 1\nA: 2\n");
    copy.erase("a");
    EXPECT_TRUE(copy.empty());
    copy.add("a", "3");
    EXPECT_THAT(copy.getAll("A"), ElementsAre("3"));
}

TEST(NameValueCollection, KeepsIteratorsWhileOtherEntriesComeAndGo) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
    const NameValueCollection::iterator b = std::next(collection.begin());

    collection.add("d", "4");
    collection.erase("a");
    collection.erase("c");
    b->second = "5";

    EXPECT_EQ(entryLines(collection), "b: 5\nd: 4\n");
    EXPECT_EQ(collection.get("b"), "5");
}

TEST(NameValueCollection, IteratesInTheOrderOfAddingInEveryForm) {
    NameValueCollection collection = {{"z", "1"}, {"a", "2"}, {"m", "3"}};
    const NameValueCollection& constant = collection;
    const List expected = {{"z", "1"}, {"a", "2"}, {"m", "3"}};

    EXPECT_EQ(List(collection.begin(), collection.end()), expected);
    EXPECT_EQ(List(constant.begin(), constant.end()), expected);
    EXPECT_EQ(List(collection.cbegin(), collection.cend()), expected);
    EXPECT_EQ(List(std::make_reverse_iterator(constant.end()),
                   std::make_reverse_iterator(constant.begin())),
              List(expected.rbegin(), expected.rend()));
}

TEST(NameValueCollection, ANameChangedThroughAnIteratorIsStillLookedUpByItsOldName) {
    NameValueCollection collection = {{"old", "1"}, {"b", "2"}};

    collection.begin()->first = "new";

    EXPECT_EQ(entryLines(collection), "new: 1\nb: 2\n");
    EXPECT_EQ(collection.get("OLD"), "1");
    EXPECT_FALSE(collection.has("new"));
    collection.erase("new");
    EXPECT_EQ(entryLines(collection), "new: 1\nb: 2\n");
    collection.erase("old");
    EXPECT_EQ(entryLines(collection), "b: 2\n");
}

TEST(NameValueCollection, EqualityComparesEntriesInOrderByteForByte) {
    const NameValueCollection collection = {{"a", "1"}, {"b", "2"}};

    EXPECT_TRUE((collection == NameValueCollection{{"a", "1"}, {"b", "2"}}));
    EXPECT_FALSE((collection != NameValueCollection{{"a", "1"}, {"b", "2"}}));
    for (const NameValueCollection& other :
         {NameValueCollection{{"b", "2"}, {"a", "1"}}, NameValueCollection{{"A", "1"}, {"b", "2"}},
          NameValueCollection{{"a", "1"}, {"b", "3"}}, NameValueCollection{{"a", "1"}},
          NameValueCollection{{"a", "1"}, {"b", "2"}, {"c", "3"}}, NameValueCollection{}}) {
        EXPECT_FALSE(collection == other) << entryLines(other);
        EXPECT_TRUE(collection != other) << entryLines(other);
        EXPECT_FALSE(other == collection) << entryLines(other);
    }
}

TEST(NameValueCollection, EqualityTakesNoOtherTextForTheSame) {
    const auto holding = [](const std::string& name, const std::string& value) {
        return NameValueCollection{{name, value}};
    };

    EXPECT_NE(holding(std::string("a\0b", 3), ""), holding(std::string("a\0c", 3), ""));
    EXPECT_NE(holding("a", std::string("\0b", 2)), holding("a", std::string("\0c", 2)));
    EXPECT_NE(holding("a", "b"), holding("a", "B"));
    EXPECT_NE(holding("a", "b: c"), holding("a: b", "c"));
    EXPECT_NE(holding("ab", ""), holding("a", "b"));
    EXPECT_EQ(NameValueCollection(), NameValueCollection());
}

TEST(NameValueCollection, WritesEntriesWithSeparatorsBetweenThemOnly) {
    const NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"c", ""}};

    EXPECT_EQ(collection.toString("&", "="), "a=1&b=2&c=");
    EXPECT_EQ(collection.toString("; ", " -> "), "a -> 1; b -> 2; c -> ");
    EXPECT_EQ(collection.toString("", ""), "a1b2c");
}

TEST(NameValueCollection, WritesASingleEntryWithoutAValue) {
    EXPECT_EQ((NameValueCollection{{"k", ""}}.toString("&", "=")), "k=");
    EXPECT_EQ((NameValueCollection{{"", ""}}.toString("&", "=")), "=");
}

TEST(NameValueCollection, WritesNothingIfEmpty) {
    std::ostringstream stream;

    EXPECT_EQ(NameValueCollection().toString("&", "="), "");
    NameValueCollection().toStream(stream, "&", "=", identity);
    EXPECT_EQ(stream.str(), "");
}

TEST(NameValueCollection, WritesNulBytesToo) {
    const std::string text("a\0b", 3);

    EXPECT_EQ((NameValueCollection{{text, text}}.toString("&", "=")), text + "=" + text);
}

TEST(NameValueCollection, HandsItsStreamBackAfterWriting) {
    std::ostringstream stream;
    const NameValueCollection collection = {{"a", "1"}, {"b", "2"}};

    EXPECT_EQ(&collection.toStream(stream, "&", "=", identity), &stream);
    EXPECT_EQ(stream.str(), "a=1&b=2");
    EXPECT_EQ(&NameValueCollection().toStream(stream, "&", "=", identity), &stream);
    EXPECT_EQ(stream.str(), "a=1&b=2");
}

TEST(NameValueCollection, EncodesEveryNameAndValueOnceInOrder) {
    const NameValueCollection collection = {{"a", "1"}, {"b", ""}};
    std::vector<std::string> calls;

    const std::string text = collection.toString("&", "=", [&](std::string given) {
        calls.push_back(given);
        given += '!';
        return given;
    });

    EXPECT_EQ(text, "a!=1!&b!=!");
    EXPECT_THAT(calls, ElementsAre("a", "1", "b", ""));
    EXPECT_EQ(entryLines(collection), "a: 1\nb: \n");
}

TEST(NameValueCollection, AnEmptyEncoderFailsAtTheFirstEntry) {
    const NameValueCollection collection = {{"a", "1"}};
    const std::function<std::string(std::string)> none;
    std::ostringstream stream("before", std::ios::ate);

    EXPECT_THAT([&] { collection.toStream(stream, "&", "=", none); },
                ThrowsExactly<std::bad_function_call>(std::bad_function_call().what()));
    EXPECT_THAT([&] { collection.toString("&", "=", none); },
                ThrowsExactly<std::bad_function_call>(std::bad_function_call().what()));
    EXPECT_EQ(stream.str(), "before");
    EXPECT_EQ(entryLines(collection), "a: 1\n");
}

TEST(NameValueCollection, AnEmptyEncoderIsNotCalledWithoutEntries) {
    std::ostringstream stream;

    EXPECT_NO_THROW(NameValueCollection().toStream(stream, "&", "=", nullptr));
    EXPECT_EQ(NameValueCollection().toString("&", "=", nullptr), "");
    EXPECT_EQ(stream.str(), "");
}

TEST(NameValueCollection, WhatWasWrittenBeforeAnEncoderThrowsStaysWritten) {
    const NameValueCollection collection = {{"a", "1"}, {"b", "2"}};
    const std::vector<std::string> written = {"", "a=", "a=1&", "a=1&b="};

    for (std::size_t callsBefore = 0; callsBefore < written.size(); ++callsBefore) {
        std::ostringstream stream;
        std::size_t calls = 0;
        const auto encoder = [&](std::string text) {
            if (calls++ == callsBefore) throw std::runtime_error("no more");
            return text;
        };

        EXPECT_THAT([&] { collection.toStream(stream, "&", "=", encoder); },
                    ThrowsExactly<std::runtime_error>("no more"));
        EXPECT_EQ(stream.str(), written[callsBefore]);
    }
}

TEST(NameValueCollection, ACopyIsEqualAndIndependent) {
    NameValueCollection source = acceptTwice();
    NameValueCollection copy = source;
    EXPECT_EQ(copy, source);

    copy.set("Accept", "changed");
    copy.add("b", "new");
    source.erase("accept");

    EXPECT_EQ(entryLines(copy), "Accept: changed\naccept: b\nb: new\n");
    EXPECT_THAT(copy.getAll("accept"), ElementsAre("changed", "b"));
    EXPECT_TRUE(source.empty());
}

TEST(NameValueCollection, ACopyFindsEveryEntryOnceAndByItsNameAlone) {
    const NameValueCollection entries = {{"a", "1"}, {"A", "2"}};
    NameValueCollection source = {{"old", "1"}};
    source = entries;
    source.init();
    ASSERT_TRUE(source.has("old"));

    const NameValueCollection copy = source;

    EXPECT_EQ(copy, source);
    EXPECT_THAT(copy.getAll("a"), ElementsAre("1", "2"));
    EXPECT_FALSE(copy.has("old"));
}

TEST(NameValueCollection, InitGivesEveryValueOnceMore) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"A", "3"}};

    collection.init();
    EXPECT_THAT(collection.getAll("a"), ElementsAre("1", "3", "1", "3"));
    collection.init();
    EXPECT_THAT(collection.getAll("b"), ElementsAre("2", "2", "2"));

    EXPECT_EQ(entryLines(collection), "a: 1\nb: 2\nA: 3\n");
    EXPECT_EQ(collection.size(), 3u);
}

TEST(NameValueCollection, InitFindsAChangedNameBesideTheOldOne) {
    NameValueCollection collection = {{"old", "1"}, {"b", "2"}};
    collection.begin()->first = "new";

    collection.init();

    EXPECT_THAT(collection.getAll("old"), ElementsAre("1"));
    EXPECT_THAT(collection.getAll("new"), ElementsAre("1"));
    collection.erase("new");
    EXPECT_EQ(entryLines(collection), "b: 2\n");
    EXPECT_FALSE(collection.has("old"));
}

TEST(NameValueCollection, SelfAssignmentDoublesWhatGetAllFindsAndNothingElse) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"A", "3"}};
    const NameValueCollection& same = collection;

    EXPECT_EQ(&(collection = same), &collection);

    EXPECT_THAT(collection.getAll("a"), ElementsAre("1", "3", "1", "3"));
    EXPECT_THAT(collection.getAll("b"), ElementsAre("2", "2"));
    EXPECT_EQ(collection.get("A"), "1");
    EXPECT_EQ(collection.find("a"), collection.cbegin());
    EXPECT_TRUE(collection.has("b"));
    EXPECT_EQ(collection.size(), 3u);
    EXPECT_EQ(entryLines(collection), "a: 1\nb: 2\nA: 3\n");
}

TEST(NameValueCollection, SelfAssignmentDoublesWhatGetAllFindsOfAnyNumberOfEntries) {
    for (const std::string name : {"", "a", "a name too long to be kept inside"}) {
        for (std::size_t count = 1; count <= 30; ++count) {
            NameValueCollection collection;
            std::vector<std::string> values;
            for (std::size_t i = 0; i < count; ++i) {
                values.push_back(std::to_string(i));
                collection.add(name, values.back());
            }
            const NameValueCollection& same = collection;

            collection = same;

            std::vector<std::string> doubled = values;
            doubled.insert(doubled.end(), values.begin(), values.end());
            EXPECT_EQ(collection.getAll(name), doubled) << count << " of <" << name << ">";
        }
    }
}

TEST(NameValueCollection, SelfAssignmentGivesTheOldOrderFirstAndTheOrderOfEntriesAfterIt) {
    const NameValueCollection entries = {{"Y", "p"}, {"X", "q"}};
    NameValueCollection collection = {{"X", "1"}, {"Y", "2"}};
    collection = entries;
    ASSERT_THAT(collection.getAll("X"), ElementsAre("p", "q"));
    ASSERT_THAT(collection.getAll("Y"), ElementsAre("q", "p"));
    const NameValueCollection& same = collection;

    collection = same;

    EXPECT_THAT(collection.getAll("X"), ElementsAre("p", "q", "q"));
    EXPECT_THAT(collection.getAll("Y"), ElementsAre("q", "p", "p"));
    EXPECT_EQ(entryLines(collection), "Y: p\nX: q\n");
}

TEST(NameValueCollection, AnEntryIndexedTwiceIsErasedOnce) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"A", "3"}};
    const NameValueCollection& same = collection;
    collection = same;

    collection.erase("a");

    EXPECT_EQ(entryLines(collection), "b: 2\n");
    EXPECT_EQ(collection.size(), 1u);
    EXPECT_FALSE(collection.has("a"));
    EXPECT_THAT(collection.getAll("b"), ElementsAre("2", "2"));
}

TEST(NameValueCollection, SetAfterSelfAssignmentChangesOneEntryHoweverOftenItIsFound) {
    NameValueCollection collection = {{"a", "1"}, {"a", "2"}};
    const NameValueCollection& same = collection;
    collection = same;

    collection.set("A", "3");

    EXPECT_EQ(entryLines(collection), "a: 3\na: 2\n");
    EXPECT_THAT(collection.getAll("a"), ElementsAre("3", "2", "3", "2"));
}

TEST(NameValueCollection, CopyAssignmentTakesTheEntriesAndReturnsItsTarget) {
    NameValueCollection target = {{"a", "1"}, {"b", "2"}};
    const NameValueCollection source = {{"c", "3"}, {"C", "4"}, {"d", "5"}};

    EXPECT_EQ(&(target = source), &target);

    EXPECT_EQ(target, source);
    EXPECT_EQ(entryLines(target), "c: 3\nC: 4\nd: 5\n");
    EXPECT_THAT(target.getAll("c"), ElementsAre("3", "4"));
    EXPECT_EQ(target.get("D"), "5");
}

TEST(NameValueCollection, CopyAssignmentLeavesItsSourceAloneAndIndependent) {
    NameValueCollection target = {{"a", "1"}};
    const NameValueCollection source = {{"b", "2"}, {"c", "3"}};

    target = source;
    target.erase("b");
    target.set("c", "4");

    EXPECT_EQ(entryLines(source), "b: 2\nc: 3\n");
    EXPECT_THAT(source.getAll("b"), ElementsAre("2"));
    EXPECT_FALSE(source.has("a"));
}

TEST(NameValueCollection, CopyAssignmentKeepsOldNamesThatLeadToTheReusedEntries) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"Y", "2"}};

    target = source;

    EXPECT_TRUE(target.has("X"));
    EXPECT_EQ(target.get("X"), "2");
    EXPECT_THAT(target.getAll("x"), ElementsAre("2"));
    EXPECT_EQ(*target.find("X"), (NameValueCollection::value_type("Y", "2")));
    EXPECT_EQ(target.get("Y"), "2");
    EXPECT_THAT(target.getAll("Y"), ElementsAre("2"));
    EXPECT_EQ(entryLines(target), "Y: 2\n");
}

TEST(NameValueCollection, CopyAssignmentReusesTheEntriesInPlace) {
    NameValueCollection target = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
    const NameValueCollection source = {{"d", "4"}, {"e", "5"}};
    const NameValueCollection::iterator first = target.begin();
    const NameValueCollection::iterator second = std::next(first);

    target = source;

    EXPECT_EQ(first, target.begin());
    EXPECT_EQ(second, std::next(target.begin()));
    EXPECT_EQ(second->first, "e");
}

TEST(NameValueCollection, EntriesKeptByCopyAssignmentStandFirstInTheIndex) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"Y", "2"}, {"X", "3"}};

    target = source;

    EXPECT_EQ(target.get("X"), "2");
    EXPECT_THAT(target.getAll("X"), ElementsAre("2", "3"));
    EXPECT_EQ(target.find("X"), target.cbegin());
    EXPECT_EQ(entryLines(target), "Y: 2\nX: 3\n");
}

TEST(NameValueCollection, AnOldNameStandsAheadOfEntriesAddedAfterCopyAssignment) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"Y", "2"}};
    target = source;

    target.add("X", "3");

    EXPECT_EQ(target.get("X"), "2");
    EXPECT_THAT(target.getAll("X"), ElementsAre("2", "3"));
    EXPECT_EQ(entryLines(target), "Y: 2\nX: 3\n");
}

TEST(NameValueCollection, CopyAssignmentOfTheSameNamesGivesTheNewValuesTwice) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"X", "2"}};

    target = source;

    EXPECT_THAT(target.getAll("X"), ElementsAre("2", "2"));
    EXPECT_EQ(entryLines(target), "X: 2\n");
}

TEST(NameValueCollection, SetThroughAnOldNameChangesTheReusedEntry) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"Y", "2"}};
    target = source;

    target.set("X", "3");

    EXPECT_EQ(entryLines(target), "Y: 3\n");
    EXPECT_EQ(target.get("Y"), "3");
}

TEST(NameValueCollection, EraseThroughAnOldNameRemovesTheReusedEntryFromEveryName) {
    NameValueCollection target = {{"X", "1"}, {"Z", "0"}};
    const NameValueCollection source = {{"Y", "2"}, {"Z", "3"}};
    target = source;

    target.erase("X");

    EXPECT_EQ(entryLines(target), "Z: 3\n");
    EXPECT_FALSE(target.has("X"));
    EXPECT_FALSE(target.has("Y"));
    EXPECT_THAT(target.getAll("Y"), IsEmpty());
    EXPECT_THAT([&] { target.get("Y"); }, ThrowsExactly<std::out_of_range>("Y not found."));
    target.add("Y", "4");
    EXPECT_THAT(target.getAll("Y"), ElementsAre("4"));
}

TEST(NameValueCollection, EraseByTheNewNameRemovesTheReusedEntryFromTheOldNameToo) {
    NameValueCollection target = {{"X", "1"}};
    const NameValueCollection source = {{"Y", "2"}};
    target = source;

    target.erase("Y");

    EXPECT_TRUE(target.empty());
    EXPECT_FALSE(target.has("X"));
    EXPECT_THAT(target.getAll("X"), IsEmpty());
    EXPECT_EQ(target.find("X"), target.cend());
}

TEST(NameValueCollection, EntriesRemovedByCopyAssignmentAreFoundNoMore) {
    NameValueCollection target = {{"a", "1"}, {"b", "2"}, {"c", "3"}};
    const NameValueCollection source = {{"d", "4"}};

    target = source;

    EXPECT_EQ(entryLines(target), "d: 4\n");
    EXPECT_EQ(target.get("a"), "4");
    for (const std::string gone : {"b", "c"}) {
        EXPECT_FALSE(target.has(gone));
        EXPECT_EQ(target.find(gone), target.cend());
        EXPECT_THAT(target.getAll(gone), IsEmpty());
        EXPECT_THAT([&] { target.get(gone); },
                    ThrowsExactly<std::out_of_range>(gone + " not found."));
        target.erase(gone);
    }
    target.set("b", "5");
    EXPECT_EQ(entryLines(target), "d: 4\nb: 5\n");
    EXPECT_THAT(target.getAll("b"), ElementsAre("5"));
}

TEST(NameValueCollection, CopyAssignmentOfAnEmptyCollectionLeavesNothingToFind) {
    NameValueCollection target = {{"a", "1"}, {"b", "2"}};
    const NameValueCollection empty;

    target = empty;

    EXPECT_TRUE(target.empty());
    EXPECT_FALSE(target.has("a"));
    EXPECT_THAT(target.getAll("b"), IsEmpty());
    target.add("a", "3");
    EXPECT_THAT(target.getAll("a"), ElementsAre("3"));
}

TEST(NameValueCollection, RepeatedCopyAssignmentPilesUpOldNames) {
    NameValueCollection target = {{"first", "1"}};
    const NameValueCollection second = {{"second", "2"}};
    const NameValueCollection third = {{"third", "3"}};

    target = second;
    target = third;

    EXPECT_EQ(entryLines(target), "third: 3\n");
    for (const std::string name : {"first", "second", "third"}) {
        EXPECT_THAT(target.getAll(name), ElementsAre("3")) << name;
    }
    target.erase("second");
    EXPECT_TRUE(target.empty());
    EXPECT_FALSE(target.has("first") || target.has("second") || target.has("third"));
}

TEST(NameValueCollection, AMoveKeepsIteratorsAndTextsWhereTheyAre) {
    NameValueCollection source = {{LONG_TEXT, LONG_TEXT}, {"b", "2"}};
    const NameValueCollection::iterator first = source.begin();
    const char* const name = first->first.data();

    NameValueCollection constructed = std::move(source);
    EXPECT_EQ(first, constructed.begin());
    NameValueCollection assigned;
    assigned = std::move(constructed);

    EXPECT_EQ(first, assigned.begin());
    EXPECT_EQ(assigned.begin()->first.data(), name);
    EXPECT_EQ(assigned.get(LONG_TEXT), LONG_TEXT);
    assigned.erase(LONG_TEXT);
    EXPECT_EQ(entryLines(assigned), "b: 2\n");
}

TEST(NameValueCollection, AMoveTakesOldAndRepeatedIndexEntriesAlong) {
    NameValueCollection source = {{"old", "1"}};
    const NameValueCollection entries = {{"a", "2"}};
    source = entries;
    source.init();

    NameValueCollection constructed = std::move(source);
    EXPECT_EQ(constructed.get("old"), "2");
    NameValueCollection assigned = {{"b", "3"}};
    assigned = std::move(constructed);

    EXPECT_EQ(assigned.get("old"), "2");
    EXPECT_THAT(assigned.getAll("a"), ElementsAre("2", "2"));
    assigned.erase("a");
    EXPECT_TRUE(assigned.empty());
    EXPECT_FALSE(assigned.has("old"));
}

TEST(NameValueCollection, MoveAssignmentLeavesNothingOfTheOldEntries) {
    NameValueCollection target = {{"X", "1"}, {"Z", "0"}};

    EXPECT_EQ(&(target = NameValueCollection{{"Y", "2"}}), &target);

    EXPECT_EQ(entryLines(target), "Y: 2\n");
    EXPECT_FALSE(target.has("X"));
    EXPECT_FALSE(target.has("Z"));
    EXPECT_THAT(target.getAll("Y"), ElementsAre("2"));
}

TEST(NameValueCollection, SwapsItsEntriesAndWhatLookupsFind) {
    NameValueCollection one = {{"a", "1"}};
    NameValueCollection two = {{"b", "2"}, {"b", "3"}};

    std::swap(one, two);

    EXPECT_THAT(one.getAll("b"), ElementsAre("2", "3"));
    EXPECT_FALSE(one.has("a"));
    EXPECT_EQ(two.get("a"), "1");
    EXPECT_FALSE(two.has("b"));
}

// Every operation on collections that `moveAway` takes the entries from, each on one of its own.
void expectEmptyAndUsableAfter(const std::function<void(NameValueCollection&)>& moveAway) {
    const auto movedFrom = [&](NameValueCollection& collection) {
        collection = NameValueCollection{{"a", "1"}, {"A", "2"}};
        collection.init();
        moveAway(collection);
    };

    NameValueCollection read;
    movedFrom(read);
    const NameValueCollection& constant = read;
    EXPECT_TRUE(constant.empty());
    EXPECT_EQ(constant.size(), 0u);
    EXPECT_EQ(constant.begin(), constant.end());
    EXPECT_EQ(constant.cbegin(), constant.cend());
    EXPECT_EQ(read.begin(), read.end());
    EXPECT_FALSE(constant.has("a"));
    EXPECT_EQ(constant.find("a"), constant.end());
    EXPECT_THAT(constant.getAll("a"), IsEmpty());
    EXPECT_THAT([&] { constant.get("a"); }, ThrowsExactly<std::out_of_range>("a not found."));
    EXPECT_EQ(constant, NameValueCollection());
    EXPECT_EQ(constant.toString("&", "="), "");
    EXPECT_TRUE(NameValueCollection(constant).empty());

    const NameValueCollection source = {{"b", "2"}, {"c", "3"}};
    const std::vector<std::function<void(NameValueCollection&)>> fillers = {
        [](NameValueCollection& collection) {
            collection.add("b", "2");
            collection.add({"c", "3"});
        },
        [](NameValueCollection& collection) {
            collection.set("b", "2");
            collection.set("c", "3");
        },
        [](NameValueCollection& collection) {
            collection.erase("a");
            collection.init();
            collection.add("b", "2");
            collection.add("c", "3");
        },
        [&](NameValueCollection& collection) { collection = source; },
        [&](NameValueCollection& collection) { collection = NameValueCollection(source); },
        [&](NameValueCollection& collection) {
            NameValueCollection other(source);
            std::swap(collection, other);
            EXPECT_TRUE(other.empty());
        },
        [&](NameValueCollection& collection) {
            NameValueCollection other(source);
            other = collection;
            EXPECT_TRUE(other.empty());
            EXPECT_FALSE(other.has("b"));
            collection = source;
        },
    };
    for (std::size_t i = 0; i < fillers.size(); ++i) {
        SCOPED_TRACE(::testing::Message() << "filler " << i);
        NameValueCollection collection;
        movedFrom(collection);
        fillers[i](collection);
        EXPECT_EQ(entryLines(collection), "b: 2\nc: 3\n");
        EXPECT_THAT(collection.getAll("B"), ElementsAre("2"));
        EXPECT_THAT(collection.getAll("C"), ElementsAre("3"));
        EXPECT_FALSE(collection.has("a"));
        collection.erase("b");
        EXPECT_EQ(entryLines(collection), "c: 3\n");
    }
}

TEST(NameValueCollection, IsEmptyAndUsableAfterAMove) {
    {
        SCOPED_TRACE("move construction");
        expectEmptyAndUsableAfter([](NameValueCollection& collection) {
            EXPECT_EQ(NameValueCollection(std::move(collection)).size(), 2u);
        });
    }
    {
        SCOPED_TRACE("move assignment");
        expectEmptyAndUsableAfter([](NameValueCollection& collection) {
            NameValueCollection target = {{"x", "1"}};
            target = std::move(collection);
            EXPECT_EQ(target.size(), 2u);
        });
    }
    {
        SCOPED_TRACE("a second move of what is empty already");
        expectEmptyAndUsableAfter([](NameValueCollection& collection) {
            const NameValueCollection first(std::move(collection));
            EXPECT_TRUE(NameValueCollection(std::move(collection)).empty());
        });
    }
}

TEST(NameValueCollection, LooksUpWhatItShowsAfterAMoveToItself) {
    NameValueCollection collection = {{"a", "1"}, {"b", "2"}};
    NameValueCollection& same = collection;

    collection = std::move(same);

    EXPECT_EQ(collection.has("a"), collection.size() == 2);
    EXPECT_EQ(collection.getAll("b").size(), collection.size() / 2);
    collection.erase("a");
    collection.erase("b");
    EXPECT_TRUE(collection.empty());
    collection.add("a", "3");
    EXPECT_THAT(collection.getAll("a"), ElementsAre("3"));
}

TEST(NameValueCollection, EraseTakesANameOutOfAnEntryFoundTwice) {
    NameValueCollection target = {{LONG_TEXT, "1"}, {"x", "2"}, {LONG_TEXT, "3"}};
    const NameValueCollection source = {{LONG_TEXT, "4"}, {LONG_TEXT, "5"}, {"y", "6"}};
    target = source;

    // Both reused entries and the third, whose old name it was.
    target.erase(target.begin()->first);

    EXPECT_TRUE(target.empty());
    EXPECT_FALSE(target.has("x") || target.has("y") || target.has(LONG_TEXT));
}

TEST(NameValueCollection, AddTakesNameAndValueOutOfTheCollectionItself) {
    NameValueCollection collection = {{LONG_TEXT, "value"}};

    collection.add(collection.begin()->first, collection.begin()->second);
    collection.add(*collection.begin());
    collection.add(collection.begin()->second, collection.begin()->first);

    const std::string entry = std::string(LONG_TEXT) + ": value\n";
    EXPECT_EQ(entryLines(collection), entry + entry + entry + "value: " + LONG_TEXT + "\n");
    EXPECT_THAT(collection.getAll(LONG_TEXT), ElementsAre("value", "value", "value"));
    EXPECT_EQ(collection.get("VALUE"), LONG_TEXT);
}

TEST(NameValueCollection, SetTakesNameAndValueOutOfTheCollectionItself) {
    NameValueCollection collection = {{"a", "A"}, {"b", LONG_TEXT}};

    // The name is the text that gives way to the new value.
    collection.set(collection.begin()->second, "new");
    EXPECT_EQ(entryLines(collection), std::string("a: new\nb: ") + LONG_TEXT + "\n");

    collection.set(collection.begin()->first, std::next(collection.begin())->second);
    EXPECT_EQ(collection.get("a"), LONG_TEXT);

    collection.set(collection.begin()->second, collection.begin()->second);
    EXPECT_EQ(collection.size(), 3u);
    EXPECT_EQ(collection.get(LONG_TEXT), LONG_TEXT);
}

TEST(NameValueCollection, LookupsTakeANameOutOfTheCollectionItself) {
    const NameValueCollection collection = {{"a", "missing"}, {"b", "A"}};
    const std::string& missing = collection.begin()->second;
    const std::string& present = std::next(collection.begin())->second;

    EXPECT_EQ(collection.get(present), "missing");
    EXPECT_THAT(collection.getAll(present), ElementsAre("missing"));
    EXPECT_EQ(collection.find(present), collection.begin());
    EXPECT_TRUE(collection.has(present));
    EXPECT_THAT([&] { collection.get(missing); },
                ThrowsExactly<std::out_of_range>("missing not found."));
}

TEST(NameValueCollection, WritesWithSeparatorsOutOfTheCollectionItself) {
    const NameValueCollection collection = {{"a", "="}, {"b", "&"}};

    EXPECT_EQ(
        collection.toString(std::next(collection.begin())->second, collection.begin()->second),
        "a==&b=&");
}

// A lookup or a removal that walked through the entries would take minutes here.
TEST(NameValueCollection, LooksUpAndErasesWithoutWalkingThroughTheEntries) {
    constexpr int COUNT = 200'000;
    NameValueCollection collection;
    for (int i = 0; i < COUNT; ++i) collection.set(std::to_string(i), "value");

    for (int i = 0; i < COUNT; ++i) {
        const std::string name = std::to_string(i);
        ASSERT_TRUE(collection.has(name));
        ASSERT_EQ(collection.get(name), "value");
        ASSERT_EQ(collection.getAll(name).size(), 1u);
        collection.erase(name);
    }

    EXPECT_TRUE(collection.empty());
}

// An assignment that walked through what those before it left behind would take minutes here.
TEST(NameValueCollection, IsCopyAssignedToAgainAndAgainWithoutWalkingThroughItsPast) {
    constexpr int ASSIGNMENTS = 20'000;
    const NameValueCollection source = {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}};
    NameValueCollection target;

    for (int i = 0; i < ASSIGNMENTS; ++i) target = source;

    EXPECT_EQ(target, source);
    EXPECT_EQ(target.getAll("a").size(), static_cast<std::size_t>(ASSIGNMENTS));
}

TEST(NameValueCollection, IsReadFromSeveralThreadsAtOnce) {
    const NameValueCollection collection = {{"a", "1"}, {"b", "2"}, {"A", "3"}};
    std::vector<std::string> seen(4);

    std::vector<std::thread> readers;
    for (std::string& text : seen) {
        readers.emplace_back([&collection, &text] {
            text = collection.get("b") + collection.find("A")->second + entryLines(collection) +
                   collection.toString("&", "=");
            for (const std::string& value : collection.getAll("a")) text += value;
            const NameValueCollection copy = collection;
            text += copy == collection ? "equal" : "different";
        });
    }
    for (std::thread& reader : readers) reader.join();

    EXPECT_THAT(seen, ::testing::Each("21a: 1\nb: 2\nA: 3\na=1&b=2&A=313equal"));
}

TEST(CaseInsensitiveCompare, OrdersAsIfAllLettersWereSmallOnes) {
    const Compare before;
    const std::vector<std::string> ascending = {"",  "-", "0", "[",    "_",    "A",    "ab",
                                                "B", "z", "{", "\x80", "\xC4", "\xE4", "\xFF"};

    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(before(ascending[i], ascending[j]), i < j)
                << ascending[i] << " before " << ascending[j];
        }
    }
}

TEST(CaseInsensitiveCompare, TakesNamesForEqualThatDifferInCaseOrBehindANulByteOnly) {
    const Compare before;

    for (const auto& [one, other] : std::vector<std::pair<std::string, std::string>>{
             {"Content-Type", "CONTENT-type"},
             {std::string("a\0b", 3), "A"},
             {std::string("a\0b", 3), std::string("a\0c", 3)},
             {std::string("\0", 1), ""}}) {
        EXPECT_FALSE(before(one, other));
        EXPECT_FALSE(before(other, one));
    }
}

TEST(CaseInsensitiveCompare, StillComparesAfterItWasMovedFrom) {
    Compare source;
    const Compare target = std::move(source);

    EXPECT_TRUE(source("a", "B"));
    EXPECT_FALSE(source("B", "b"));
    EXPECT_TRUE(target("a", "B"));
}

TEST(CaseInsensitiveCompare, ComparesAfterItWasAssignedTo) {
    Compare target;
    {
        const Compare source;
        target = source;
    }

    EXPECT_TRUE(target("a", "B"));
    EXPECT_FALSE(target("B", "b"));
}

TEST(CaseInsensitiveCompare, CopiesAreUsedAndDestroyedOnDifferentThreads) {
    std::vector<std::thread> threads;
    std::array<bool, 8> ordered{};
    {
        const Compare original;
        for (bool& result : ordered) {
            threads.emplace_back([copy = original, &result] {
                const Compare another = copy;
                result = another("a", "B") && !another("B", "a");
            });
        }
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_THAT(ordered, ::testing::Each(true));
}

}  // namespace
}  // namespace tavrin::httpclient_core

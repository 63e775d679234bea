#include <gtest/gtest.h>

#include <memory_resource>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "httpclient_core/collections.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::allocationsInUse;
using test::entryLines;
using test::expectNoCutText;
using test::expectUnchangedWhileMemoryLacks;
using test::Failing;
using test::FailingAllocations;
using test::longText;
using test::Operation;
using test::refused;

// All that a collection shows.
std::string contents(const NameValueCollection& collection) {
    std::string text = entryLines(collection);
    for (const std::string name : {"a", "b", "c", "d", "old"}) {
        text += name + ":";
        for (const std::string& value : collection.getAll(longText(name))) text += " " + value;
        text += "\n";
    }
    return text;
}

// A collection whose entries are found by old names and more than once, and so many others.
NameValueCollection worn(int fillers) {
    NameValueCollection collection = {{longText("old"), ""}, {longText("a"), ""}};
    const NameValueCollection entries = {{longText("a"), longText("1")},
                                         {longText("b"), longText("2")},
                                         {longText("A"), longText("3")}};
    collection = entries;
    collection.init();
    for (int i = 0; i < fillers; ++i) collection.add("filler", "");
    return collection;
}

std::vector<Operation<NameValueCollection>> operations() {
    const std::string name = longText("d");
    const std::string value = longText("4");
    const NameValueCollection longer = {
        {name, value}, {name, value}, {name, value}, {name, value}, {name, value}};
    const NameValueCollection shorter = {{name, value}};
    const auto same = [](std::string text) { return text; };
    using Collection = NameValueCollection;
    return {
        {"add", [=](Collection& collection) { collection.add(name, value); }},
        {"add a pair",
         [=](Collection& collection) {
             collection.add({name, value});
         }},
        {"set an absent name", [=](Collection& collection) { collection.set(name, value); }},
        {"set a present name",
         [=](Collection& collection) { collection.set(collection.begin()->first, value); }},
        {"erase",
         [](Collection& collection) {
             // Whether or not erasing takes memory, this does.
             const std::string own = collection.begin()->first;
             collection.erase(own);
         }},
        {"init",
         [=](Collection& collection) {
             const std::string own = name;  // As above.
             collection.init();
         }},
        {"construct",
         [=](Collection&) {
             return entryLines(Collection{{name, value}, {value, name}, {name, name}});
         }},
        {"construct a comparison",
         [](Collection&) {
             return std::string(Collection::CaseInsensitiveCompare()("a", "B") ? "less" : "not");
         }},
        {"copy", [](Collection& collection) { return entryLines(Collection(collection)); }},
        {"assign a longer one", [=](Collection& collection) { collection = longer; }},
        {"assign a shorter one", [=](Collection& collection) { collection = shorter; }},
        {"assign a list",
         [=](Collection& collection) {
             collection = {{name, value}};
         }},
        {"assign itself",
         [=](Collection& collection) {
             const std::string own = name;  // As above.
             collection = std::as_const(collection);
         }},
        {"get", [](Collection& collection) { return collection.get(longText("a")); }},
        {"get an absent name",
         refused<std::out_of_range>([=](Collection& collection) { collection.get(name); })},
        {"getAll",
         [](Collection& collection) {
             std::string text;
             for (const auto& found : collection.getAll(longText("a"))) text += found;
             return text;
         }},
        {"toString", [=](Collection& collection) { return collection.toString("&", "=", same); }},
    };
}

TEST(NameValueCollectionExhaustion, LeavesTheCollectionUnchanged) {
    // Many sizes: what a collection takes memory for depends on its size.
    for (const int fillers : {0, 1, 2, 3, 4, 5, 6, 8, 10, 12, 14, 16, 18, 19, 20, 21, 22, 40}) {
        SCOPED_TRACE(testing::Message() << fillers << " fillers");
        expectUnchangedWhileMemoryLacks([=] { return worn(fillers); }, contents, operations());
        expectUnchangedWhileMemoryLacks(
            [=] {
                const NameValueCollection source = worn(fillers);
                return NameValueCollection(source);  // A copy finds every entry once.
            },
            contents, operations());
    }
}

TEST(NameValueCollectionExhaustion, NeverPrintsACutText) {
    const NameValueCollection collection = worn(3);
    expectNoCutText(collection.toString("&", "="), [&](std::ostream& os) {
        collection.toStream(os, "&", "=", [](std::string text) { return text; });
    });
}

// What has a name once can be taken back when memory has run out.
TEST(NameValueCollectionExhaustion, ErasesANameThatStandsOnceWithoutMemory) {
    for (const int fillers : {0, 40}) {
        NameValueCollection collection = worn(fillers);
        const std::string before = contents(collection);
        const std::string name = longText("d");
        collection.add(name, longText("4"));
        {
            const FailingAllocations limit(0, Failing::ALL_LATER);
            collection.erase(name);
        }
        EXPECT_EQ(contents(collection), before);
    }
}

// The program's default resource may be gone before a collection is.
TEST(NameValueCollectionExhaustion, TakesNoMemoryFromTheDefaultResource) {
    auto* const previous = std::pmr::set_default_resource(std::pmr::null_memory_resource());
    const auto inUse = allocationsInUse();
    {
        NameValueCollection collection;
        for (int i = 0; i < 30; ++i) collection.add("name" + std::to_string(i), "value");
        const NameValueCollection copy = collection;
        EXPECT_EQ(copy.size(), 30u);
    }
    std::pmr::set_default_resource(previous);
    EXPECT_EQ(allocationsInUse(), inUse);
}

}  // namespace
}  // namespace tavrin::httpclient_core

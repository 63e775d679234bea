#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "collections/failing_allocation.h"
#include "httpclient_core/collections.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::FailingAllocation;

// Names and values are too long to be kept inside a std::string, so that every copy allocates.
std::string longText(const std::string& text) {
    return text + " and forty more characters behind it";
}

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

// Lets the first, then the second, then the third, ... allocation of `change` fail until it passes,
// and expects the collection to show each time what it showed before.
void expectUnchangedWhileMemoryLacks(const std::function<NameValueCollection()>& make,
                                     const std::function<void(NameValueCollection&)>& change) {
    for (std::size_t allocations = 0;; ++allocations) {
        NameValueCollection collection = make();
        const std::string before = contents(collection);
        bool lacked = false;
        try {
            const FailingAllocation failure(allocations);
            change(collection);
        } catch (const std::bad_alloc&) {
            lacked = true;
        }
        if (!lacked) {
            EXPECT_GT(allocations, 0u) << "nothing failed";
            return;
        }
        EXPECT_EQ(contents(collection), before) << "allocation " << allocations;
        collection.erase(longText("a"));
        collection.erase(longText("old"));
    }
}

TEST(NameValueCollectionExhaustion, LeavesTheCollectionUnchanged) {
    const std::string name = longText("d");
    const std::string value = longText("4");
    const NameValueCollection longer = {
        {name, value}, {name, value}, {name, value}, {name, value}, {name, value}};
    const NameValueCollection shorter = {{name, value}};
    const std::vector<std::pair<std::string, std::function<void(NameValueCollection&)>>> changes = {
        {"add", [&](NameValueCollection& collection) { collection.add(name, value); }},
        {"add a pair",
         [&](NameValueCollection& collection) {
             collection.add({name, value});
         }},
        {"set an absent name",
         [&](NameValueCollection& collection) { collection.set(name, value); }},
        {"set a present name",
         [&](NameValueCollection& collection) {
             collection.set(collection.begin()->first, value);
         }},
        {"erase",
         [&](NameValueCollection& collection) {
             // Whether or not erasing takes memory, this does.
             const std::string own = collection.begin()->first;
             collection.erase(own);
         }},
        {"init", [](NameValueCollection& collection) { collection.init(); }},
        {"assign a longer one", [&](NameValueCollection& collection) { collection = longer; }},
        {"assign a shorter one", [&](NameValueCollection& collection) { collection = shorter; }},
        {"assign itself",
         [](NameValueCollection& collection) { collection = std::as_const(collection); }},
    };
    for (const auto& [operation, change] : changes) {
        SCOPED_TRACE(operation);
        for (int fillers = 0; fillers < 40; ++fillers) {
            expectUnchangedWhileMemoryLacks([=] { return worn(fillers); }, change);
            expectUnchangedWhileMemoryLacks(
                [=] {
                    const NameValueCollection source = worn(fillers);
                    return NameValueCollection(source);  // A copy finds every entry once.
                },
                change);
        }
    }
}

TEST(NameValueCollectionExhaustion, ErasesWithoutMemoryWhatWasOnlyAdded) {
    for (const int fillers : {0, 1000}) {
        NameValueCollection collection = {{longText("a"), "1"}, {"b", "2"}, {longText("A"), "3"}};
        for (int i = 0; i < fillers; ++i) collection.add("filler", "");

        {
            const FailingAllocation failure(0);
            collection.erase(collection.begin()->first);
            collection.erase("filler");
        }

        EXPECT_EQ(entryLines(collection), "b: 2\n");
        EXPECT_FALSE(collection.has(longText("a")));
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

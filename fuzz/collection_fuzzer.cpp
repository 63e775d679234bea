#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/collections.h"
#include "support/collection_model.h"

using tavrin::httpclient_core::NameValueCollection;
using tavrin::httpclient_core::test::CollectionModel;

namespace {

constexpr std::size_t COLLECTIONS = 3;

const std::array<std::string, 8>& names() {
    static const std::array<std::string, 8> names = {"",
                                                     "a",
                                                     "A",
                                                     "b",
                                                     std::string("a\0x", 3),
                                                     "\xC3\x84",
                                                     "a name too long to be kept inside",
                                                     "A NAME TOO LONG TO BE KEPT INSIDE"};
    return names;
}

void checkGet(const NameValueCollection& collection, const std::string& name,
              const std::vector<std::string>& values) {
    try {
        const std::string value = collection.get(name);
        CHECK(!values.empty() && value == values.front());
    } catch (const std::out_of_range& error) {
        CHECK(values.empty());
        CHECK(error.what() == std::string((name + " not found.").c_str()));
    }
}

// A copy and what is printed show the entries alone, and not how they are found.
void checkWhole(const NameValueCollection& collection, const CollectionModel& model) {
    std::string printed;
    for (const auto& [name, value] : model.entries())
        printed += (printed.empty() ? "" : "&") + ("<" + name + ">=<") + value + ">";
    const auto quoted = [](const std::string& text) { return "<" + text + ">"; };
    CHECK(collection.toString("&", "=", quoted) == printed);
    CHECK(collection.size() == model.entries().size());
    CHECK(collection.empty() == model.entries().empty());
    NameValueCollection copy(collection);
    CHECK(copy == collection);
    copy.add("one", "more");
    CHECK(copy != collection);
}

void compare(const NameValueCollection& collection, const CollectionModel& model) {
    const auto entries = model.entries();
    CHECK(std::equal(collection.begin(), collection.end(), entries.begin(), entries.end()));
    for (const auto& name : names()) {
        const auto places = model.find(name);
        std::vector<std::string> values;
        for (const auto place : places) values.push_back(entries[place].second);
        CHECK(collection.getAll(name) == values);
        CHECK(collection.has(name) == !values.empty());
        checkGet(collection, name, values);
        const auto found = collection.find(name);
        CHECK(values.empty() ? found == collection.end()
                             : static_cast<std::size_t>(std::distance(collection.begin(), found)) ==
                                   places.front());
    }
}

}  // namespace

// Three collections go through any sequence of operations, beside three plain models.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    std::array<NameValueCollection, COLLECTIONS> collections;
    std::array<CollectionModel, COLLECTIONS> models;
    while (input.remaining_bytes() > 0) {
        const auto i = input.ConsumeIntegralInRange<std::size_t>(0, COLLECTIONS - 1);
        const auto j = input.ConsumeIntegralInRange<std::size_t>(0, COLLECTIONS - 1);
        auto& collection = collections[i];
        auto& model = models[i];
        const std::string name = input.PickValueInArray(names());
        const std::string value = input.ConsumeRandomLengthString(20);
        switch (input.ConsumeIntegralInRange(0, 9)) {
            case 0:
                collection.add(name, value);
                model.add({name, value});
                break;
            case 1:
                collection.set(name, value);
                model.set(name, value);
                break;
            case 2:
                collection.erase(name);
                model.erase(name);
                break;
            case 3:
                collection = std::as_const(collections[j]);
                model = std::as_const(models[j]);
                break;
            case 4:
                if (i == j) break;
                collection = std::move(collections[j]);
                model = std::move(models[j]);
                break;
            case 5:
                collection = NameValueCollection(collections[j]);
                model = CollectionModel(models[j]);
                break;
            case 6:
                if (collection.empty()) break;
                model.erase(collection.begin()->first);
                collection.erase(collection.begin()->first);
                break;
            case 7:
                if (collection.empty()) break;
                collection.begin()->first = name;
                model.rename(0, name);
                break;
            case 8:
                collection.init();
                model.init();
                break;
            default:
                for (int copies = 0; copies < 30; ++copies) {
                    collection.add(name, value);
                    model.add({name, value});
                }
        }
        if (model.indexSize() > 200) return 0;
        compare(collection, model);
    }
    for (std::size_t i = 0; i < COLLECTIONS; ++i) checkWhole(collections[i], models[i]);
    return 0;
}

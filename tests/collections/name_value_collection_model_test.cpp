#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "support/collection_model.h"
#include "support/entry_lines.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::CollectionModel;
using test::entryLines;
using test::ThrowsExactly;

// Few names, so that they meet often: two in several spellings, and long ones, which a std::string
// keeps outside itself.
const std::vector<std::string>& names() {
    static const std::vector<std::string> names = {"",
                                                   "a",
                                                   "A",
                                                   "b",
                                                   "B",
                                                   "c",
                                                   "\xC3\x84",
                                                   "\xC3\xA4",
                                                   std::string("a\0x", 3),
                                                   "a name too long to be kept inside",
                                                   "A NAME TOO LONG TO BE KEPT INSIDE"};
    return names;
}

constexpr std::size_t COLLECTIONS = 3;

class Sequence {
public:
    explicit Sequence(unsigned seed) : random_(seed) {}

    void step() {
        const std::size_t one = below(COLLECTIONS);
        const std::size_t other = below(COLLECTIONS);
        if (models_[one].indexSize() > 100) return startAgain(one);
        switch (below(15)) {
            case 0:
                return add(one);
            case 1:
                return addPair(one);
            case 2:
                return set(one);
            case 3:
                return erase(one);
            case 4:
                return addOutOf(one, other);
            case 5:
                return setOutOf(one, other);
            case 6:
                return eraseOutOf(one, other);
            case 7:
                return init(one);
            case 8:
                return rename(one);
            case 9:
                return copyConstruct(one, other);
            case 10:
                return moveConstruct(one, other);
            case 11:
                return moveAssign(one, other);
            case 12:
                return swap(one, other);
            default:
                return copyAssign(one, other);
        }
    }

    const std::string& steps() const { return steps_; }

    void compare() const {
        for (std::size_t i = 0; i < COLLECTIONS; ++i) {
            SCOPED_TRACE(i);
            compare(collections_[i], models_[i]);
            for (std::size_t j = 0; j < COLLECTIONS; ++j) {
                EXPECT_EQ(collections_[i] == collections_[j],
                          models_[i].entries() == models_[j].entries());
            }
        }
    }

private:
    std::size_t below(std::size_t bound) {
        return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
    }
    const std::string& anyName() { return names()[below(names().size())]; }
    std::string newValue() { return "value " + std::to_string(nextValue_++); }

    // A text inside a collection: the name or the value of any entry.
    const std::string* anyTextOf(std::size_t which) {
        NameValueCollection& collection = collections_[which];
        if (collection.empty()) return nullptr;
        const auto entry =
            std::next(collection.begin(), static_cast<std::ptrdiff_t>(below(collection.size())));
        return below(3) == 0 ? &entry->second : &entry->first;
    }

    void note(const std::string& step) { steps_ += "\n  " + step; }
    static std::string at(std::size_t which) { return std::to_string(which); }

    void startAgain(std::size_t one) {
        note(at(one) + " = empty, moved");
        collections_[one] = NameValueCollection();
        models_[one] = CollectionModel();
    }

    void add(std::size_t one) {
        const std::string name = anyName();
        const std::string value = newValue();
        note(at(one) + ".add(" + name + ", " + value + ")");
        collections_[one].add(name, value);
        models_[one].add({name, value});
    }

    void addPair(std::size_t one) {
        const std::pair<std::string, std::string> entry(anyName(), newValue());
        note(at(one) + ".add({" + entry.first + ", " + entry.second + "})");
        collections_[one].add(entry);
        models_[one].add(entry);
    }

    void set(std::size_t one) {
        const std::string name = anyName();
        const std::string value = newValue();
        note(at(one) + ".set(" + name + ", " + value + ")");
        collections_[one].set(name, value);
        models_[one].set(name, value);
    }

    void erase(std::size_t one) {
        const std::string name = anyName();
        note(at(one) + ".erase(" + name + ")");
        collections_[one].erase(name);
        models_[one].erase(name);
    }

    void addOutOf(std::size_t one, std::size_t other) {
        const std::string* const name = anyTextOf(other);
        const std::string* const value = anyTextOf(one);
        if (!name || !value) return;
        note(at(one) + ".add(" + *name + " of " + at(other) + ", " + *value + " of its own)");
        models_[one].add({*name, *value});
        collections_[one].add(*name, *value);
    }

    void setOutOf(std::size_t one, std::size_t other) {
        const std::string* const name = anyTextOf(other);
        const std::string* const value = anyTextOf(one);
        if (!name || !value) return;
        note(at(one) + ".set(" + *name + " of " + at(other) + ", " + *value + " of its own)");
        models_[one].set(*name, *value);
        collections_[one].set(*name, *value);
    }

    void eraseOutOf(std::size_t one, std::size_t other) {
        const std::string* const name = anyTextOf(other);
        if (!name) return;
        note(at(one) + ".erase(" + *name + " of " + at(other) + ")");
        models_[one].erase(*name);
        collections_[one].erase(*name);
    }

    void init(std::size_t one) {
        note(at(one) + ".init()");
        collections_[one].init();
        models_[one].init();
    }

    void rename(std::size_t one) {
        if (collections_[one].empty()) return;
        const std::size_t place = below(collections_[one].size());
        const std::string name = anyName();
        note(at(one) + "[" + std::to_string(place) + "].first = " + name);
        std::next(collections_[one].begin(), static_cast<std::ptrdiff_t>(place))->first = name;
        models_[one].rename(place, name);
    }

    void copyConstruct(std::size_t one, std::size_t other) {
        note(at(one) + " = copy of " + at(other) + ", moved");
        collections_[one] = NameValueCollection(collections_[other]);
        models_[one] = CollectionModel(models_[other]);
    }

    void moveConstruct(std::size_t one, std::size_t other) {
        if (one == other) return;
        note(at(one) + " = moved " + at(other) + ", moved");
        collections_[one] = NameValueCollection(std::move(collections_[other]));
        models_[one] = CollectionModel(std::move(models_[other]));
    }

    void moveAssign(std::size_t one, std::size_t other) {
        if (one == other) return;
        note(at(one) + " = moved " + at(other));
        collections_[one] = std::move(collections_[other]);
        models_[one] = std::move(models_[other]);
    }

    void swap(std::size_t one, std::size_t other) {
        if (one == other) return;
        note("swap(" + at(one) + ", " + at(other) + ")");
        std::swap(collections_[one], collections_[other]);
        std::swap(models_[one], models_[other]);
    }

    void copyAssign(std::size_t one, std::size_t other) {
        note(at(one) + " = " + at(other));
        collections_[one] = std::as_const(collections_[other]);
        models_[one] = std::as_const(models_[other]);
    }

    static void compare(const NameValueCollection& collection, const CollectionModel& model) {
        const auto entries = model.entries();
        ASSERT_EQ(entryLines(collection), entryLines(entries));
        ASSERT_EQ(collection.size(), entries.size());
        ASSERT_EQ(collection.empty(), entries.empty());
        for (const std::string& name : names()) {
            const std::vector<std::size_t> places = model.find(name);
            std::vector<std::string> values;
            for (const std::size_t place : places) values.push_back(entries[place].second);

            ASSERT_EQ(collection.getAll(name), values) << name;
            ASSERT_EQ(collection.has(name), !values.empty()) << name;
            if (values.empty()) {
                ASSERT_EQ(collection.find(name), collection.end()) << name;
                ASSERT_THAT([&] { collection.get(name); },
                            ThrowsExactly<std::out_of_range>((name + " not found.").c_str()));
            } else {
                ASSERT_EQ(collection.get(name), values.front()) << name;
                ASSERT_EQ(std::distance(collection.begin(), collection.find(name)),
                          static_cast<std::ptrdiff_t>(places.front()))
                    << name;
            }
        }
    }

    std::mt19937 random_;
    std::array<NameValueCollection, COLLECTIONS> collections_;
    std::array<CollectionModel, COLLECTIONS> models_;
    std::string steps_;
    std::size_t nextValue_ = 0;
};

TEST(NameValueCollectionModel, ShowsWhatItIsToShowAfterAnySequenceOfOperations) {
    constexpr unsigned FIRST_SEED = 20240229;
    constexpr unsigned SEQUENCES = 100;
    constexpr int STEPS = 120;
    std::cout << "seeds " << FIRST_SEED << " to " << FIRST_SEED + SEQUENCES - 1 << std::endl;

    for (unsigned seed = FIRST_SEED; seed < FIRST_SEED + SEQUENCES; ++seed) {
        Sequence sequence(seed);
        for (int i = 0; i < STEPS; ++i) {
            sequence.step();
            sequence.compare();
            ASSERT_FALSE(HasFailure()) << "seed " << seed << sequence.steps();
        }
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

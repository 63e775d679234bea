#include "collections/name_index.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace tavrin::httpclient_core::detail {
namespace {

constexpr char folded(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

bool precedesInMemory(NameIndex::Entry a, NameIndex::Entry b) {
    return std::less<const NameValueCollection::value_type*>()(&*a, &*b);
}

}  // namespace

void NameIndex::reserve(std::size_t entries) {
    if (!many_ && entries <= MOST_TO_WALK) few_.reserve(entries);
}

void NameIndex::add(const std::string& name, Entry entry) {
    if (!many_ && few_.size() == MOST_TO_WALK) growIntoTree();
    if (many_) {
        many_->emplace(name, entry);
    } else {
        few_.emplace_back(name, entry);
    }
}

void NameIndex::makeRoomFor(NameIndex& additions) {
    const auto sum = few_.size() + additions.few_.size();
    if (!many_ && (additions.many_ || sum > MOST_TO_WALK)) growIntoTree();
    if (!many_) {
        few_.reserve(sum);
    } else if (!additions.many_) {
        additions.growIntoTree();
    }
}

void NameIndex::take(NameIndex& additions) noexcept {
    if (many_) {
        many_->merge(*additions.many_);
    } else {
        std::move(additions.few_.begin(), additions.few_.end(), std::back_inserter(few_));
    }
}

std::optional<NameIndex::Entry> NameIndex::first(const std::string& name) const {
    if (many_) {
        const auto position = many_->lower_bound(name);
        if (position == many_->end() || many_->key_comp()(name, position->first)) return {};
        return position->second;
    }
    for (const auto& [indexed, entry] : few_) {
        if (isSameName(indexed, name)) return entry;
    }
    return {};
}

void NameIndex::removeName(const std::string& name) {
    if (many_) {
        many_->erase(name);
        return;
    }
    few_.erase(std::remove_if(few_.begin(), few_.end(),
                              [&](const auto& slot) { return isSameName(slot.first, name); }),
               few_.end());
}

void NameIndex::removeEntry(Entry entry) {
    removeIf([entry](const auto& slot) { return slot.second == entry; });
}

void NameIndex::removeEntries(const std::vector<Entry>& entries) {
    removeIf([&](const auto& slot) {
        return std::binary_search(entries.begin(), entries.end(), slot.second, precedesInMemory);
    });
}

template <typename Predicate>
void NameIndex::removeIf(Predicate isRemoved) {
    few_.erase(std::remove_if(few_.begin(), few_.end(), isRemoved), few_.end());
    if (!many_) return;
    for (auto position = many_->begin(); position != many_->end();) {
        position = isRemoved(*position) ? many_->erase(position) : std::next(position);
    }
}

void NameIndex::sortAndUnify(std::vector<Entry>& entries) {
    std::sort(entries.begin(), entries.end(), precedesInMemory);
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
}

// Names count up to their first NUL byte, which ends every one of them.
bool NameIndex::isSameName(const std::string& a, const std::string& b) {
    const char* x = a.c_str();
    const char* y = b.c_str();
    while (folded(*x) == folded(*y)) {
        if (*x == 0) return true;
        ++x;
        ++y;
    }
    return false;
}

void NameIndex::growIntoTree() {
    auto tree = std::make_unique<Tree>();
    for (const auto& [name, entry] : few_) tree->emplace(name, entry);
    many_ = std::move(tree);
    few_.clear();
}

}  // namespace tavrin::httpclient_core::detail

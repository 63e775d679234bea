#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"

namespace tavrin::httpclient_core::detail {

/// Leads from names, ASCII letter case aside, to entries of a collection, in the order of adding.
/// The names are copies: changing an entry's own name changes nothing here.
class NameIndex {
public:
    using Entry = NameValueCollection::iterator;

    NameIndex() = default;
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    void reserve(std::size_t entries);

    /// Adds an entry under that name. If that fails, nothing has changed.
    void add(const std::string& name, Entry entry);

    /// Makes both ready for take(). If that fails, neither has lost or gained anything.
    void makeRoomFor(NameIndex& additions);

    /// Moves all of `additions` here, behind what stands under the same names, in time that grows
    /// with their number rather than with that of what is here. Both must be ready for it.
    void take(NameIndex& additions) noexcept;

    /// The first entry of that name.
    std::optional<Entry> first(const std::string& name) const;

    /// Calls `visit` with the entries of that name in order, each as often as it was added.
    template <typename Visit>
    void forEach(const std::string& name, Visit visit) const {
        if (many_) {
            const auto [begin, end] = many_->equal_range(name);
            for (auto position = begin; position != end; ++position) visit(position->second);
            return;
        }
        for (const auto& [indexed, entry] : few_) {
            if (isSameName(indexed, name)) visit(entry);
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
    template <typename Predicate>
    void removeIf(Predicate isRemoved);

    static bool isSameName(const std::string& a, const std::string& b);

    using Tree = std::multimap<std::string, Entry, NameValueCollection::CaseInsensitiveCompare>;

    void growIntoTree();

    // Twelve names are indexed in less than half the time of a tree; a longer list becomes a tree,
    // and stays it.
    static constexpr std::size_t MOST_TO_WALK = 24;
    std::vector<std::pair<std::string, Entry>> few_;
    std::unique_ptr<Tree> many_;
};

}  // namespace tavrin::httpclient_core::detail

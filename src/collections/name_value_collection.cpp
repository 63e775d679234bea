#include <locale.h>
#include <strings.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "client/log.h"
#include "httpclient_core/collections.h"

namespace tavrin::httpclient_core {
namespace {

using EntryIterator = NameValueCollection::iterator;

bool precedesInMemory(EntryIterator a, EntryIterator b) {
    return std::less<const NameValueCollection::value_type*>()(&*a, &*b);
}

void sortAndUnify(std::vector<EntryIterator>& entries) {
    std::sort(entries.begin(), entries.end(), precedesInMemory);
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
}

}  // namespace

class NameValueCollection::CaseInsensitiveCompare::Impl {
public:
    Impl() : locale_(newlocale(LC_CTYPE_MASK, "C", nullptr)) {}
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() { freelocale(locale_); }

    locale_t locale() const { return locale_; }

private:
    locale_t locale_;
};

// Without a move of its own, a move copies: a moved-from collection goes on comparing.
NameValueCollection::CaseInsensitiveCompare::CaseInsensitiveCompare()
    : impl_(std::make_shared<const Impl>()) {}
NameValueCollection::CaseInsensitiveCompare::CaseInsensitiveCompare(
    const CaseInsensitiveCompare&) noexcept = default;
NameValueCollection::CaseInsensitiveCompare& NameValueCollection::CaseInsensitiveCompare::operator=(
    const CaseInsensitiveCompare&) noexcept = default;
NameValueCollection::CaseInsensitiveCompare::~CaseInsensitiveCompare() = default;

bool NameValueCollection::CaseInsensitiveCompare::operator()(const std::string& a,
                                                             const std::string& b) const {
    return strcasecmp_l(a.c_str(), b.c_str(), impl_->locale()) < 0;
}

NameValueCollection::NameValueCollection() = default;

NameValueCollection::NameValueCollection(
    std::initializer_list<std::pair<std::string, std::string>> entries)
    : entries_(entries) {
    init();
}

NameValueCollection::NameValueCollection(const NameValueCollection& other)
    : entries_(other.entries_) {
    init();
}

NameValueCollection::NameValueCollection(NameValueCollection&& other) noexcept
    : entries_(std::move(other.entries_)),
      index_(std::move(other.index_)),
      indexedRepeatedly_(std::exchange(other.indexedRepeatedly_, false)) {}

NameValueCollection::~NameValueCollection() = default;

NameValueCollection& NameValueCollection::operator=(const NameValueCollection& other) {
    if (this == &other) {
        init();  // Every entry is indexed twice now, which is kept on purpose.
        return *this;
    }

    // What can fail comes first. An entry that stays is overwritten in its node; a further one
    // brings the node of its copy along.
    Entries copies = other.entries_;
    Index additions(index_.key_comp());
    auto kept = entries_.begin();
    for (auto copy = copies.begin(); copy != copies.end(); ++copy) {
        additions.emplace(copy->first, kept == entries_.end() ? copy : kept++);
    }
    std::vector<iterator> dropped;
    for (auto entry = kept; entry != entries_.end(); ++entry) dropped.push_back(entry);
    sortAndUnify(dropped);
    dropFromIndex(dropped);

    entries_.erase(kept, entries_.end());
    for (auto& entry : entries_) {
        entry.swap(copies.front());
        copies.pop_front();
    }
    entries_.splice(entries_.end(), copies);

    // Old names go on leading to the entries that stay, on purpose.
    indexedRepeatedly_ = !index_.empty();
    index_.merge(additions);
    return *this;
}

NameValueCollection& NameValueCollection::operator=(NameValueCollection&& other) noexcept {
    entries_ = std::move(other.entries_);
    index_ = std::move(other.index_);
    indexedRepeatedly_ = std::exchange(other.indexedRepeatedly_, false);
    return *this;
}

std::string NameValueCollection::get(const std::string& name) const {
    const auto entry = find(name);
    if (entry == end()) {
        throw detail::logged(LOG_MISUSE, std::out_of_range(name + " not found."));
    }
    return entry->second;
}

std::vector<std::string> NameValueCollection::getAll(const std::string& name) const {
    const auto [first, last] = index_.equal_range(name);
    std::vector<std::string> values;
    values.reserve(static_cast<std::size_t>(std::distance(first, last)));
    for (auto position = first; position != last; ++position) {
        values.push_back(position->second->second);
    }
    return values;
}

bool NameValueCollection::has(const std::string& name) const {
    return firstOf(name) != index_.end();
}

NameValueCollection::const_iterator NameValueCollection::find(const std::string& name) const {
    const auto position = firstOf(name);
    return position == index_.end() ? end() : const_iterator(position->second);
}

bool NameValueCollection::empty() const { return entries_.empty(); }

std::size_t NameValueCollection::size() const { return entries_.size(); }

bool NameValueCollection::operator==(const NameValueCollection& other) const {
    return entries_ == other.entries_;
}

void NameValueCollection::add(std::pair<std::string, std::string> entry) {
    Entries added;
    added.push_back(std::move(entry));
    index_.emplace(added.front().first, added.begin());
    entries_.splice(entries_.end(), added);
}

void NameValueCollection::add(const std::string& name, std::string value) {
    add(std::pair(name, std::move(value)));
}

void NameValueCollection::set(const std::string& name, std::string value) {
    const auto position = firstOf(name);
    if (position == index_.end()) {
        add(name, std::move(value));
    } else {
        position->second->second = std::move(value);
    }
}

void NameValueCollection::erase(const std::string& name) {
    const auto [first, last] = index_.equal_range(name);
    Entries removed;  // Keeps the entries until the end: `name` may refer into one of them.
    if (!indexedRepeatedly_) {
        for (auto position = first; position != last; ++position) {
            removed.splice(removed.end(), entries_, position->second);
        }
        index_.erase(first, last);
        return;
    }

    std::vector<iterator> dropped;
    for (auto position = first; position != last; ++position) dropped.push_back(position->second);
    sortAndUnify(dropped);
    for (const auto entry : dropped) removed.splice(removed.end(), entries_, entry);
    dropFromIndex(dropped);
}

void NameValueCollection::init() {
    Index additions(index_.key_comp());
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        additions.emplace(entry->first, entry);
    }
    indexedRepeatedly_ = !index_.empty();
    index_.merge(additions);
}

NameValueCollection::iterator NameValueCollection::begin() { return entries_.begin(); }
NameValueCollection::iterator NameValueCollection::end() { return entries_.end(); }
NameValueCollection::const_iterator NameValueCollection::begin() const { return entries_.begin(); }
NameValueCollection::const_iterator NameValueCollection::end() const { return entries_.end(); }
NameValueCollection::const_iterator NameValueCollection::cbegin() const { return begin(); }
NameValueCollection::const_iterator NameValueCollection::cend() const { return end(); }

std::ostream& NameValueCollection::toStream(
    std::ostream& os, const std::string& entrySeparator, const std::string& keyValueSeparator,
    const std::function<std::string(std::string)>& encoder) const {
    for (auto entry = begin(); entry != end(); ++entry) {
        if (entry != begin()) os << entrySeparator;
        os << encoder(entry->first) << keyValueSeparator;
        os << encoder(entry->second);
    }
    return os;
}

std::string NameValueCollection::toString(
    const std::string& entrySeparator, const std::string& keyValueSeparator,
    const std::function<std::string(std::string)>& encoder) const {
    std::ostringstream os;
    toStream(os, entrySeparator, keyValueSeparator, encoder);
    return os.str();
}

NameValueCollection::Index::const_iterator NameValueCollection::firstOf(
    const std::string& name) const {
    const auto position = index_.lower_bound(name);
    if (position == index_.end() || index_.key_comp()(name, position->first)) return index_.end();
    return position;
}

// Takes every reference to the entries out of the index. They must be sorted by address.
void NameValueCollection::dropFromIndex(const std::vector<iterator>& dropped) {
    if (dropped.empty()) return;
    for (auto position = index_.begin(); position != index_.end();) {
        const bool drop =
            std::binary_search(dropped.begin(), dropped.end(), position->second, precedesInMemory);
        position = drop ? index_.erase(position) : std::next(position);
    }
}

}  // namespace tavrin::httpclient_core

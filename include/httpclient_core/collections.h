#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <list>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Name/value pairs in the order in which they were added; a name may occur any number of times.
///
/// Names are looked up without regard to the case of ASCII letters; bytes from 0x80 up are never
/// folded, and a name that holds a NUL byte is looked up as if it ended there. Names and values are
/// kept and compared (==) exactly as supplied, unchecked.
///
/// A plain value. One object may be read from several threads while none changes it. Lookups, and
/// adding an entry, take time logarithmic in the number of entries, so that making or copying n
/// entries takes n times as much; moving takes constant time. Iteration and output follow the order
/// of adding. A failed operation leaves the collection unchanged. A name or value given to an
/// operation may refer into the collection itself. A moved-from collection is empty and every
/// operation works on it.
class HTTPCLIENT_CORE_EXPORT NameValueCollection {
public:
    using value_type = std::pair<std::string, std::string>;
    using iterator = std::list<value_type>::iterator;
    using const_iterator = std::list<value_type>::const_iterator;

    /// Orders names as the "C" locale does, upper and lower case ASCII letters being the same.
    ///
    /// Copies share one locale handle, which the last of them releases; a moved-from comparator
    /// still shares it. Copies may be used and destroyed on different threads. A comparison takes
    /// time linear in the shorter name, everything else constant time.
    class HTTPCLIENT_CORE_EXPORT CaseInsensitiveCompare {
    public:
        CaseInsensitiveCompare();
        CaseInsensitiveCompare(const CaseInsensitiveCompare& other) noexcept;
        CaseInsensitiveCompare& operator=(const CaseInsensitiveCompare& other) noexcept;
        ~CaseInsensitiveCompare();

        /// Whether `a` orders before `b`; both are read up to their first NUL byte.
        bool operator()(const std::string& a, const std::string& b) const;

    private:
        class Impl;
        std::shared_ptr<const Impl> impl_;
    };

    /// No entries, and no memory until the first one is added.
    NameValueCollection();

    /// The entries in the given order; repeated names are kept.
    NameValueCollection(std::initializer_list<std::pair<std::string, std::string>> entries);

    /// An equal collection with an index of its own, in which every entry stands once.
    NameValueCollection(const NameValueCollection& other);

    /// Takes the entries over without copying or moving any of them; iterators stay valid.
    NameValueCollection(NameValueCollection&& other) noexcept;

    ~NameValueCollection();

    /// Makes the entries equal to those of `other`, reusing this collection's entries in place.
    ///
    /// What lookups find is kept although it surprises: names that this collection's reused entries
    /// had before still find them, ahead of entries added since, so that after {X: 1} = {Y: 2}
    /// has("X") is true and get("X") is "2", while iteration shows (Y, 2) alone. After `c = c`,
    /// getAll() gives every value twice. Entries that the assignment removed are found no more.
    ///
    /// So the index grows with every copy assignment, and memory with it, until the collection is
    /// move-assigned to: `c = NameValueCollection(other)` leaves nothing of old ones. Takes as long
    /// as adding the entries of `other`; if entries are removed, linear in the index besides.
    NameValueCollection& operator=(const NameValueCollection& other);

    /// Takes the entries over; nothing of the old ones remains, in lookups neither.
    NameValueCollection& operator=(NameValueCollection&& other) noexcept;

    /// Value of the first entry of that name.
    /// @throws std::out_of_range `name` + " not found." if there is none.
    std::string get(const std::string& name) const;

    /// Values of all entries of that name, in the order of adding but for what a copy assignment
    /// leaves behind (see there); empty if there are none. Linear in their number beyond the
    /// lookup.
    std::vector<std::string> getAll(const std::string& name) const;

    /// Whether there is an entry of that name.
    bool has(const std::string& name) const;

    /// The first entry of that name, or end().
    const_iterator find(const std::string& name) const;

    /// Number of entries; a repeated name counts each time. Constant time.
    bool empty() const;
    std::size_t size() const;

    /// True if both hold the same entries in the same order, byte for byte and case-sensitively.
    /// Linear.
    bool operator==(const NameValueCollection& other) const;
    bool operator!=(const NameValueCollection& other) const { return !(*this == other); }

    /// Appends an entry, whether or not the name is there already. Empty texts are accepted.
    void add(std::pair<std::string, std::string> entry);
    void add(const std::string& name, std::string value);

    /// Replaces the value of the first entry of that name, which keeps its place and the spelling
    /// of its name; further entries of the name stay as they are. Appends an entry if there is
    /// none.
    void set(const std::string& name, std::string value);

    /// Removes every entry of that name; an absent name is no error. Linear in the index once the
    /// collection was copy-assigned to or init() was called, else in the number of entries removed
    /// beyond the lookup.
    void erase(const std::string& name);

    /// Puts every entry into the index once more, so that getAll() gives its value once more. The
    /// constructors have done it already; there is no need to call it. As long as adding all of
    /// them.
    void init();

    /// The entries in the order of adding. A name changed through a mutable iterator is shown and
    /// written, but the entry is still looked up by its old name.
    iterator begin();
    iterator end();
    const_iterator begin() const;
    const_iterator end() const;
    const_iterator cbegin() const;
    const_iterator cend() const;

    /// Writes name, `keyValueSeparator`, value for each entry, `entrySeparator` between entries; an
    /// empty collection writes nothing. Names and values go through `encoder`, one call each.
    /// Linear in the text written.
    /// @throws std::bad_function_call if `encoder` is empty and an entry is to be written. What was
    /// written before an exception stays written.
    std::ostream& toStream(std::ostream& os, const std::string& entrySeparator,
                           const std::string& keyValueSeparator,
                           const std::function<std::string(std::string)>& encoder) const;

    /// The text that toStream() writes; the default encoder changes nothing.
    std::string toString(
        const std::string& entrySeparator, const std::string& keyValueSeparator,
        const std::function<std::string(std::string)>& encoder = [](const std::string& text) {
            return text;
        }) const;

private:
    // They call append(): a header set is built in 8 % less time if its values are moved once, and
    // what is read out of a text is made where it stays.
    friend class Cookie;
    friend class HttpHeaders;
    friend class QueryParameters;

    // Memory of the entries, and the index over them.
    class Storage;

    // Takes the nodes of entries from their storage: twelve headers take 9 allocations, not 20.
    template <typename T>
    class NodeAllocator {
    public:
        using value_type = T;
        using propagate_on_container_move_assignment = std::true_type;
        using propagate_on_container_swap = std::true_type;

        explicit NodeAllocator(Storage* storage) : storage_(storage) {}
        template <typename U>
        NodeAllocator(const NodeAllocator<U>& other) : storage_(other.storage()) {}

        T* allocate(std::size_t) { return static_cast<T*>(allocateNode(*storage_)); }
        void deallocate(T* node, std::size_t) { deallocateNode(*storage_, node); }

        Storage* storage() const { return storage_; }
        bool operator==(const NodeAllocator& other) const { return storage_ == other.storage_; }
        bool operator!=(const NodeAllocator& other) const { return storage_ != other.storage_; }

    private:
        Storage* storage_;
    };
    using Entries = std::list<value_type, NodeAllocator<value_type>>;

    HTTPCLIENT_CORE_HIDDEN static void* allocateNode(Storage& storage);
    HTTPCLIENT_CORE_HIDDEN static void deallocateNode(Storage& storage, void* node);

    HTTPCLIENT_CORE_HIDDEN void makeStorage();
    HTTPCLIENT_CORE_HIDDEN void append(const std::string& name, std::string&& value);
    HTTPCLIENT_CORE_HIDDEN void append(std::string_view name, std::string_view value);
    template <typename Name, typename Value>
    HTTPCLIENT_CORE_HIDDEN void emplace(Name&& name, Value&& value);
    HTTPCLIENT_CORE_HIDDEN void swap(NameValueCollection& other) noexcept;

    std::unique_ptr<Storage> storage_;  // Made with the first entry.
    Entries entries_{NodeAllocator<value_type>(nullptr)};
};

}  // namespace tavrin::httpclient_core

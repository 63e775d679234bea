#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Media type with its parameters, as in a Content-Type header or one element of an Accept header
/// (RFC 9110, 8.3.1).
///
/// The text is kept as written: no case is changed, nothing is quoted, unquoted or checked, and no
/// "/" is required.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the text unless they say otherwise.
class HTTPCLIENT_CORE_EXPORT ContentType {
public:
    /// A media type of these texts, unchecked.
    ContentType(std::string type, NameValueCollection parameters);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    ContentType(const ContentType&) = default;
    ContentType(ContentType&&) noexcept = default;
    ContentType& operator=(const ContentType& other);
    ContentType& operator=(ContentType&&) noexcept = default;
    ~ContentType() = default;

    /// Reads "type;name=value;name=value". The type is the first piece that is not empty, with the
    /// blanks around it; names and values are freed of blanks, line feeds, carriage returns and
    /// tabs. An empty text gives an empty type.
    /// @throws std::runtime_error "Missing delimiter <=> when parsing : <" + piece + ">" for a
    /// parameter without "=", else "Missing parameter value for <" + name + ">" for the first one
    /// without a value; a ";" at the end is such a parameter, with an empty name.
    static ContentType parse(const std::string& text);

    /// Both parts, as stored.
    std::string getType() const;
    NameValueCollection getParameters() const;

    /// True if the types are equal byte for byte, and the parameters too, in order.
    bool operator==(const ContentType& other) const;
    bool operator!=(const ContentType& other) const { return !(*this == other); }

    /// The type, then "; " and the parameters, joined by ";" without a blank:
    /// "text/html; charset=utf-8;level=1". Texts are written as stored.
    std::string toString() const;

private:
    // Reads and writes its elements without a text of their own for each.
    friend class Accept;

    HTTPCLIENT_CORE_HIDDEN ContentType() = default;
    HTTPCLIENT_CORE_HIDDEN static ContentType parsed(std::string_view text);
    HTTPCLIENT_CORE_HIDDEN void appendTo(std::string& text) const;

    std::string type_;
    NameValueCollection parameters_;
};

/// Media types that an Accept header lists, in its order (RFC 9110, 12.5.1). Weights ("q") are
/// parameters like others: nothing is sorted or interpreted.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the number of media types unless they say otherwise.
class HTTPCLIENT_CORE_EXPORT Accept {
public:
    using const_iterator = std::vector<ContentType>::const_iterator;

    /// These media types, in this order.
    Accept(std::vector<ContentType> types);

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    Accept(const Accept&) = default;
    Accept(Accept&&) noexcept = default;
    Accept& operator=(const Accept& other);
    Accept& operator=(Accept&&) noexcept = default;
    ~Accept() = default;

    /// Reads media types separated by ","; empty elements are passed over. Linear in the text.
    /// @throws std::runtime_error as ContentType::parse() does for the first bad element.
    static Accept parse(const std::string& text);

    /// All media types, and their number, which is known in constant time.
    std::vector<ContentType> getTypes() const;
    std::size_t size() const;

    /// The media type at `index`, which must be less than size(). Constant time.
    const ContentType& operator[](std::size_t index) const;

    /// The media type at `index`. Constant time.
    /// @throws std::out_of_range, with the standard vector's text, if there is none.
    const ContentType& at(std::size_t index) const;

    /// The media types in the header's order.
    const_iterator begin() const;
    const_iterator end() const;

    /// True if the media types are equal, in order.
    bool operator==(const Accept& other) const;
    bool operator!=(const Accept& other) const { return !(*this == other); }

    /// The media types as ContentType::toString() writes them, joined by ", ".
    std::string toString() const;

private:
    std::vector<ContentType> types_;
};

}  // namespace tavrin::httpclient_core

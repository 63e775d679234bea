#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Header fields of a message, a multipart part or a handshake (RFC 9110, 5).
///
/// Fields keep the order in which they were added and may repeat; nothing joins repeated fields.
/// Names are looked up without regard to the case of ASCII letters. Names and values are stored as
/// supplied, unchecked: a transport decides what may go on the wire.
///
/// A plain value on top of a NameValueCollection, with its complexity, its thread rules and its
/// behaviour when copied, moved and assigned.
class HTTPCLIENT_CORE_EXPORT HttpHeaders {
public:
    using value_type = NameValueCollection::value_type;
    using iterator = NameValueCollection::iterator;
    using const_iterator = NameValueCollection::const_iterator;

    /// Names of the fields that this library itself reads or writes.
    static const std::string ACCEPT;             ///< "Accept"
    static const std::string CONTENT_TYPE;       ///< "Content-Type"
    static const std::string CONTENT_LENGTH;     ///< "Content-Length"
    static const std::string COOKIE;             ///< "Cookie"
    static const std::string TRANSFER_ENCODING;  ///< "Transfer-Encoding"

    /// No fields.
    HttpHeaders() = default;

    /// The fields in the given order; repeated names are kept.
    HttpHeaders(std::initializer_list<std::pair<std::string, std::string>> headers);

    /// Value of the first field of that name.
    /// @throws std::out_of_range `name` + " not found." if there is none.
    std::string getHeaderValue(const std::string& name) const;

    /// Whether there is a field of that name.
    bool hasHeader(const std::string& name) const;

    /// The first field of that name, or end().
    const_iterator find(const std::string& name) const;

    /// Number of fields; a repeated name counts each time.
    bool empty() const;
    std::size_t size() const;

    /// Replaces the value of the first field of that name, which keeps its place; further fields of
    /// the name stay. Appends the field if there is none.
    void setHeaderValue(const std::string& name, std::string value);

    /// Appends a field, whether or not the name is there already.
    void addHeaderValue(const std::string& name, std::string value);

    /// Appends the field of one header line, "Name: value". Blanks, line feeds, carriage returns
    /// and tabs around name and value are dropped; the first colon separates them; an empty value
    /// is kept. A blank line, or one without a name before its colon, adds nothing. Linear in the
    /// line.
    /// @throws std::runtime_error "Missing delimiter <:> when parsing : <" + `line` + ">" if other
    /// text has no colon.
    void addHeader(const std::string& line);

    /// Removes every field of that name; an absent one is no error.
    void removeHeader(const std::string& name);

    /// The fields in the order of adding, as (name, value).
    iterator begin();
    iterator end();
    const_iterator begin() const;
    const_iterator end() const;
    const_iterator cbegin() const;
    const_iterator cend() const;

    /// Cuts `text` at every character that is in `separators` and hands each element, freed of
    /// blanks, line feeds, carriage returns and tabs at its ends, to a copy of `callback`, in
    /// order. Elements that are empty then are left out if `skipEmpty` is true. There is no
    /// quoting: a separator between double quotes separates too. Linear in the text.
    /// @throws std::bad_function_call if `callback` is empty and an element is to be handed over.
    /// What `callback` throws passes through.
    static void splitElements(const std::string& text,
                              const std::function<void(const std::string&)>& callback,
                              const std::string& separators, bool skipEmpty);

    /// Cuts `text` at the first occurrence of the whole `delimiter` into name and value, both freed
    /// of blanks, line feeds, carriage returns and tabs at their ends; either may be empty. A blank
    /// text gives two empty ones. The value begins one character after the start of the delimiter,
    /// however long that is: "a==b" cut at "==" gives ("a", "=b"). Linear in the text.
    /// @throws std::runtime_error "Missing delimiter <" + `delimiter` + "> when parsing : <" +
    /// `text` + ">" if other text lacks the delimiter.
    static std::pair<std::string, std::string> splitParameter(const std::string& text,
                                                              const std::string& delimiter);

    /// Cuts `text` at every character that is in `separators`. The first piece that is not empty is
    /// the leading text, untrimmed; every later piece is a parameter, cut by splitParameter() at
    /// "=", so that an empty piece gives an empty name with an empty value. Linear in the text.
    /// @throws std::runtime_error as splitParameter() does for a parameter without "=".
    static std::pair<std::string, NameValueCollection> splitParameters(
        const std::string& text, const std::string& separators);

private:
    friend class ContentType;

    // Does what splitParameters() does, into two that are empty.
    HTTPCLIENT_CORE_HIDDEN static void splitInto(std::string& leading,
                                                 NameValueCollection& parameters,
                                                 std::string_view text,
                                                 std::string_view separators);

    NameValueCollection headers_;
};

}  // namespace tavrin::httpclient_core

#pragma once

#include <cstddef>
#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Parameters of a query string (RFC 3986, 3.4), in the order in which they were added; a key may
/// occur any number of times.
///
/// A plain value. One object may be read from several threads while none changes it. A failed
/// operation leaves the parameters unchanged. Complexities are those of NameValueCollection.
class HTTPCLIENT_CORE_EXPORT QueryParameters {
public:
    using iterator = NameValueCollection::iterator;
    using const_iterator = NameValueCollection::const_iterator;

    /// No parameters.
    QueryParameters() = default;

    /// The pairs of a collection, which are not examined: an empty key is kept.
    QueryParameters(NameValueCollection parameters);

    /// The pairs in the given order.
    /// @throws std::logic_error "Cannot create QueryParameter with an empty key".
    QueryParameters(std::initializer_list<std::pair<std::string, std::string>> parameters);

    /// Appends a parameter, whether or not the key is there already; an empty value is accepted.
    /// @throws std::logic_error "Cannot add QueryParameter with an empty key".
    void addQueryParameter(const std::string& key, std::string value);

    /// Value of the first parameter whose key is `key`, ASCII letter case aside.
    /// @throws std::logic_error "Requested query parameter (" + `key` + ") doesn't exist".
    std::string getParameterValue(const std::string& key);

    /// Values of all parameters whose key is exactly `key`, letter case included, in order. Unlike
    /// getParameterValue(), a key stored in another letter case contributes nothing: the result may
    /// be empty although hasParameterKey(key) is true. Linear in the number of parameters.
    /// @throws std::logic_error "Requested query parameter (" + `key` + ") doesn't exist" if
    /// hasParameterKey(key) is false.
    std::vector<std::string> getAllParameterValues(const std::string& key);

    /// Whether a parameter has the key, ASCII letter case aside.
    bool hasParameterKey(const std::string& key);

    /// Number of parameters; a repeated key counts each time.
    std::size_t size();
    bool empty() const;

    /// The (key, value) pairs in the order of adding.
    iterator begin();
    iterator end();
    const_iterator begin() const;
    const_iterator end() const;
    const_iterator cbegin() const;
    const_iterator cend() const;

    /// What toStream() writes between parameters, and between key and value.
    std::string getEntrySep();     ///< "&"
    std::string getKeyValueSep();  ///< "="

    /// Writes "?" and the percent-encoded parameters joined by "&", or nothing if there are none. A
    /// parameter with an empty value is a bare key, without "=". Only letters, digits and "-._~"
    /// stay as they are; a blank is "%20" (RFC 3986, 2.3). Linear in the text.
    std::ostream& toStream(std::ostream& os) const;

    /// The text that toStream() writes.
    std::string toString() const;

private:
    NameValueCollection parameters_;
};

}  // namespace tavrin::httpclient_core

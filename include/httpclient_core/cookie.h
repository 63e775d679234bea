#pragma once

#include <string>

#include "httpclient_core/collections.h"
#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Converts between the text of a Cookie request header and its names and values (RFC 6265, 4.2).
/// Both functions take time linear in the text and may be called from any thread.
class HTTPCLIENT_CORE_EXPORT Cookie {
public:
    /// Reads "name=value; name=value". Names and values are freed of blanks, line feeds, carriage
    /// returns and tabs; empty pieces are passed over; repeated names, empty names and empty values
    /// are kept; the first "=" of a piece separates.
    /// @throws std::runtime_error "Missing delimiter <=> when parsing : <" + piece + ">" for a
    /// piece without "=".
    static NameValueCollection parse(const std::string& text);

    /// Writes "name=value; name=value", texts as stored, without quoting or encoding.
    static std::string toString(const NameValueCollection& cookies);
};

}  // namespace tavrin::httpclient_core

#pragma once

#include <ostream>
#include <string>

#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Text of a URL, exactly as given: it is not parsed, checked, normalised or encoded here.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take time linear in the text.
class HTTPCLIENT_CORE_EXPORT URL {
public:
    /// The empty text.
    URL() = default;
    /// The URL of that text.
    explicit URL(std::string text);

    /// The text, whatever bytes it holds.
    std::string toAsciiString() const;

    /// True if the texts are equal byte for byte.
    bool operator==(const URL& other) const;
    bool operator!=(const URL& other) const { return !(*this == other); }

private:
    std::string text_;
};

/// Writes the text of the URL.
HTTPCLIENT_CORE_EXPORT std::ostream& operator<<(std::ostream& os, const URL& url);

}  // namespace tavrin::httpclient_core

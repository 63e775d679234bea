#pragma once

#include <string>

#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Path of a file, given as UTF-8 and held as UTF-16. Nothing is looked up in a file system.
///
/// A plain value. One object may be read from several threads while none changes it. Conversions
/// take time linear in the text.
class HTTPCLIENT_CORE_EXPORT FilePath {
public:
    /// The empty path.
    FilePath() = default;

    /// @throws std::runtime_error "File path is not valid UTF-8." for overlong forms, surrogates,
    /// truncated sequences and anything else that is not UTF-8; std::logic_error, with the standard
    /// string's text, for a null pointer.
    FilePath(const std::string& utf8);
    FilePath(const char* utf8);

    /// Whether the path is the empty one. Constant time.
    bool empty() const;

    /// The text in either encoding.
    std::string toUtf8() const;
    std::u16string toUtf16() const;

    /// Paths are ordered and compared by their UTF-16 code units.
    bool operator==(const FilePath& other) const;
    bool operator!=(const FilePath& other) const { return !(*this == other); }
    bool operator<(const FilePath& other) const;

private:
    std::u16string text_;
};

}  // namespace tavrin::httpclient_core

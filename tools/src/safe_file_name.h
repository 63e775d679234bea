#pragma once

#include <string>

namespace tavrin::http_tool {

/// A file name that may be created in the current directory whoever suggested it: the last piece of
/// `suggestion` behind "/" and "\", without control characters and marks that turn the direction of
/// writing, without dots or blanks at its start, "_" for a "-" there and for every byte that is not
/// UTF-8, 240 bytes at most with its extension kept. Empty if nothing is left.
std::string safeFileName(const std::string& suggestion);

/// The safe name that the path of `url` suggests, percent escapes decoded; empty if there is none.
std::string nameFromUrl(const std::string& url);

/// The safe name that a Content-Disposition field suggests (RFC 6266, 4.3), "filename*" before
/// "filename", with "_" behind one that a part file might have; empty if there is none.
std::string nameFromContentDisposition(const std::string& value);

}  // namespace tavrin::http_tool

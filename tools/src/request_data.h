#pragma once

#include <httpclient_core/file_path.h>

#include <string>

#include "command_line.h"

namespace tavrin::http_tool {

/// What --data-binary and --json stand for: `argument` itself, or the content of the file that
/// "@FILE" names, "@-" being standard input.
/// @throws ReadFailure "cannot read \"FILE\": REASON".
std::string dataFrom(const std::string& argument);

/// What --data stands for: the same, but of a file without its line breaks and NUL bytes.
/// @throws ReadFailure as dataFrom() does.
std::string textFrom(const std::string& argument);

/// What --data-urlencode stands for: "text", "=text" and "@FILE" encoded, "name=text" and
/// "name@FILE" with the name in front, which is taken as encoded already.
/// @throws ReadFailure as dataFrom() does.
std::string urlEncodedData(const std::string& argument);

/// Path of a file as the library takes it.
/// @throws ReadFailure if it is not UTF-8.
httpclient_core::FilePath pathOf(const std::string& file);

/// Reads "NAME=VALUE" or "NAME=@FILE", each with or without ";type=TYPE".
/// @throws std::invalid_argument for a text without name or "=", ReadFailure for a file that cannot
/// be opened, or whose path is not UTF-8.
FormField formField(const std::string& argument);

/// "Basic " and the base64 form of `credentials`.
std::string basicAuthorization(const std::string& credentials);

}  // namespace tavrin::http_tool

#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace tavrin::http_tool {

/// Reads a date in the only form that senders may use, "Sun, 06 Nov 1994 08:49:37 GMT" (RFC 9110,
/// 5.6.7); nothing for any other text.
std::optional<std::time_t> parsedDate(const std::string& text);

}  // namespace tavrin::http_tool

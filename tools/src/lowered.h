#pragma once

#include <string>

namespace tavrin::http_tool {

/// The text with the letters of ASCII in lower case: what a locale calls a letter has no place in
/// URLs, names of fields and the like.
std::string lowered(std::string text);

}  // namespace tavrin::http_tool

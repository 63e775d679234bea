#pragma once

#include <string>

namespace tavrin::httpclient_testing::detail {

// The text with each byte that is no printable text as \x00 to \xff.
std::string printable(const std::string& text);

// The beginning of a body in this form, and the length of one that is longer.
std::string printableBeginning(const std::string& body);

}  // namespace tavrin::httpclient_testing::detail

#pragma once

#include <string>

namespace tavrin::httpclient_testing::detail {

// Throws std::system_error with that name if the file cannot be read.
std::string readWholeFile(const std::string& path);

// Puts the text in the place of the file at once: whoever reads it sees either the old file or all
// of the new one. Throws std::system_error with that name and leaves the old file if it fails.
void writeWholeFile(const std::string& path, const std::string& text);

}  // namespace tavrin::httpclient_testing::detail

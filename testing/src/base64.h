#pragma once

#include <optional>
#include <string>

namespace tavrin::httpclient_testing::detail {

// Base64 with padding and without line ends (RFC 4648, 4).
std::string base64(const std::string& bytes);

// The bytes; nothing if the text is no base64.
std::optional<std::string> bytesOfBase64(const std::string& text);

}  // namespace tavrin::httpclient_testing::detail

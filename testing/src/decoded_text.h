#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "secrets.h"

namespace tavrin::httpclient_testing::detail {

// A text without its escapes that still knows where its characters stood.
struct DecodedText {
    std::string text;
    std::vector<std::size_t> origins;  // of each byte, and the end

    // The same credentials in the text as it was before.
    Secrets original(const Secrets& secrets) const;
};

// Escapes that are none stay as they are.
DecodedText percentDecoded(std::string_view text);
DecodedText jsonDecoded(std::string_view text);

}  // namespace tavrin::httpclient_testing::detail

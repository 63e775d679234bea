#pragma once

#include <string_view>

namespace tavrin::httpclient_core::detail {

/// `text` without the blanks, line feeds, carriage returns and tabs at its ends.
inline std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char character) {
        return character == ' ' || character == '\n' || character == '\r' || character == '\t';
    };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace tavrin::httpclient_core::detail

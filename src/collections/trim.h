#pragma once

#include <string_view>

namespace tavrin::httpclient_core::detail {

/// `text` without the blanks, line feeds, carriage returns and tabs at its ends.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view BLANKS = " \n\r\t";
    const auto first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

}  // namespace tavrin::httpclient_core::detail

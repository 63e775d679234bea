#include "decoded_text.h"

#include <charconv>
#include <optional>

namespace tavrin::httpclient_testing::detail {
namespace {

// The number that these hexadecimal digits write; nothing if they are too few, or none.
std::optional<unsigned> hexadecimal(std::string_view text, std::size_t at, std::size_t digits) {
    if (at > text.size() || text.size() - at < digits) return std::nullopt;
    unsigned number = 0;
    const char* const end = text.data() + at + digits;
    const auto [stop, error] = std::from_chars(text.data() + at, end, number, 16);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

struct Escape {
    std::size_t length;
    char character;
};

// Calls `escapeAt` at each place for the escape that begins there, if one does.
template <typename EscapeAt>
DecodedText decoded(std::string_view text, EscapeAt escapeAt) {
    DecodedText result;
    for (std::size_t at = 0; at < text.size();) {
        const std::optional<Escape> escape = escapeAt(at);
        result.text += escape ? escape->character : text[at];
        result.origins.push_back(at);
        at += escape ? escape->length : 1;
    }
    result.origins.push_back(text.size());
    return result;
}

}  // namespace

Secrets DecodedText::original(const Secrets& secrets) const {
    Secrets moved;
    for (const Secret& secret : secrets) {
        moved.push_back({origins[secret.begin], origins[secret.end], secret.isNumber});
    }
    return moved;
}

DecodedText percentDecoded(std::string_view text) {
    return decoded(text, [text](std::size_t at) -> std::optional<Escape> {
        const auto byte = text[at] == '%' ? hexadecimal(text, at + 1, 2) : std::nullopt;
        if (!byte) return std::nullopt;
        return Escape{3, static_cast<char>(*byte)};
    });
}

DecodedText jsonDecoded(std::string_view text) {
    return decoded(text, [text](std::size_t at) -> std::optional<Escape> {
        if (text[at] != '\\' || at + 1 == text.size()) return std::nullopt;
        if (text[at + 1] != 'u') return Escape{2, text[at + 1]};
        const auto unit = hexadecimal(text, at + 2, 4);
        if (!unit) return std::nullopt;
        // No name that is known here has a letter beyond ASCII.
        return Escape{6, *unit < 0x80 ? static_cast<char>(*unit) : '?'};
    });
}

}  // namespace tavrin::httpclient_testing::detail

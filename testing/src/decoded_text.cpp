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

std::string utf8(unsigned codePoint) {
    const auto first = [codePoint](unsigned mark, unsigned shift) {
        return static_cast<char>(mark | (codePoint >> shift));
    };
    const auto further = [codePoint](unsigned shift) {
        return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3f));
    };
    if (codePoint < 0x80) return {first(0, 0)};
    if (codePoint < 0x800) return {first(0xc0, 6), further(0)};
    if (codePoint < 0x10000) return {first(0xe0, 12), further(6), further(0)};
    return {first(0xf0, 18), further(12), further(6), further(0)};
}

struct Escape {
    std::size_t length;
    std::string meaning;
};

// What \u and four digits mean; two of them where it takes a pair. Half a pair stands for itself.
std::optional<Escape> unicodeEscape(std::string_view text, std::size_t at) {
    const auto unit = hexadecimal(text, at + 2, 4);
    if (!unit) return std::nullopt;
    const bool mayHavePartner = (*unit & 0xfc00) == 0xd800 && text.substr(at + 6, 2) == "\\u";
    const auto partner = mayHavePartner ? hexadecimal(text, at + 8, 4) : std::nullopt;
    if (!partner || (*partner & 0xfc00) != 0xdc00) return Escape{6, utf8(*unit)};
    return Escape{12, utf8(0x10000 + ((*unit & 0x3ff) << 10) + (*partner & 0x3ff))};
}

// Calls `escapeAt` at each place for the escape that begins there, if one does.
template <typename EscapeAt>
DecodedText decoded(std::string_view text, EscapeAt escapeAt) {
    DecodedText result;
    for (std::size_t at = 0; at < text.size();) {
        const std::optional<Escape> escape = escapeAt(at);
        const std::string_view meaning = escape ? escape->meaning : text.substr(at, 1);
        result.text += meaning;
        result.origins.insert(result.origins.end(), meaning.size(), at);
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
        return Escape{3, {static_cast<char>(*byte)}};
    });
}

DecodedText jsonDecoded(std::string_view text) {
    return decoded(text, [text](std::size_t at) -> std::optional<Escape> {
        if (text[at] != '\\' || at + 1 == text.size()) return std::nullopt;
        if (text[at + 1] == 'u') return unicodeEscape(text, at);
        static constexpr std::string_view LETTERS = "bfnrt";
        static constexpr std::string_view MEANINGS = "\b\f\n\r\t";
        const auto place = LETTERS.find(text[at + 1]);
        return Escape{2, {place < MEANINGS.size() ? MEANINGS[place] : text[at + 1]}};
    });
}

}  // namespace tavrin::httpclient_testing::detail

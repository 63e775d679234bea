#include "byte_range.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "header_line.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::string_view UNIT = "bytes=";

std::optional<std::uint64_t> number(std::string_view digits) {
    std::uint64_t value = 0;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc() || stop != digits.data() + digits.size()) return std::nullopt;
    return value;
}

// False for a malformed specification; one that can't be satisfied adds nothing.
bool addRange(std::vector<ByteRange>& ranges, std::string_view text, std::uint64_t size) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos) return false;
    const auto last = number(text.substr(dash + 1));
    if (dash == 0) {
        if (!last) return false;
        if (*last > 0 && size > 0) ranges.push_back({size - std::min(*last, size), size - 1});
        return true;
    }
    const auto first = number(text.substr(0, dash));
    const bool openEnd = dash + 1 == text.size();
    if (!first || (!openEnd && (!last || *last < *first))) return false;
    if (*first < size) ranges.push_back({*first, openEnd ? size - 1 : std::min(*last, size - 1)});
    return true;
}

}  // namespace

std::optional<std::vector<ByteRange>> parseRanges(const std::string& header, std::uint64_t size) {
    std::string_view rest = header;
    if (!sameName(rest.substr(0, UNIT.size()), UNIT)) return std::nullopt;
    rest.remove_prefix(UNIT.size());
    std::vector<ByteRange> ranges;
    while (true) {
        const auto comma = std::min(rest.find(','), rest.size());
        if (!addRange(ranges, withoutBlanks(rest.substr(0, comma)), size)) return std::nullopt;
        if (comma == rest.size()) return ranges;
        rest.remove_prefix(comma + 1);
    }
}

}  // namespace tavrin::httpclient_testing::detail

#include "header_line.h"

#include <algorithm>

namespace tavrin::httpclient_testing::detail {
namespace {

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

bool sameName(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

std::string_view withoutBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::string> valueIfNamed(std::string_view line, std::string_view name) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || !sameName(line.substr(0, colon), name))
        return std::nullopt;
    return std::string(withoutBlanks(line.substr(colon + 1)));
}

}  // namespace tavrin::httpclient_testing::detail

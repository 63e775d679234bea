#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavrin::httpclient_testing::detail {

// Whether two names are equal without regard to the case of ASCII letters.
bool sameName(std::string_view left, std::string_view right);

// `text` without blanks and tabs at its ends.
std::string_view withoutBlanks(std::string_view text);

// The value of `line` if its name is `name`.
std::optional<std::string> valueIfNamed(std::string_view line, std::string_view name);

}  // namespace tavrin::httpclient_testing::detail

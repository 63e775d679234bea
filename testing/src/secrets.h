#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin::httpclient_testing::detail {

// What stands in a text for a person in place of a credential.
inline constexpr char BLANKED[] = "***";

// Where a credential stands in a text; never empty.
struct Secret {
    std::size_t begin;
    std::size_t end;
    bool isNumber = false;  // a number of JSON, which only another one or a text can stand for
};

// Those of one text, in any order; they may overlap.
using Secrets = std::vector<Secret>;

// Adds the credentials of a piece that begins at `offset`, or the whole of it.
void addAll(Secrets& secrets, const Secrets& ofPiece, std::size_t offset);
void add(Secrets& secrets, std::size_t begin, std::size_t end);

// The text with BLANKED in place of each.
std::string replaced(std::string_view text, Secrets secrets);

// The text with another character in place of each of their bytes, so that all else stays where it
// is: lengths and byte ranges remain true, and a text that came in pieces can be taken piece by
// piece.
std::string overwritten(std::string text, Secrets secrets);

}  // namespace tavrin::httpclient_testing::detail

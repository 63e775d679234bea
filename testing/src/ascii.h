#pragma once

namespace tavrin::httpclient_testing::detail {

// Of ASCII alone: those of the standard library follow the program's locale.

inline bool isDigit(char character) { return character >= '0' && character <= '9'; }

inline bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

inline bool isLetterOrDigit(char character) { return isLetter(character) || isDigit(character); }

}  // namespace tavrin::httpclient_testing::detail

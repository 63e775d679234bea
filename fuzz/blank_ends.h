#pragma once

#include <string>

/// Whether a blank that a parser skips stands at either end: such a text reads as another one.
inline bool hasBlankAtAnEnd(const std::string& text) {
    const std::string blanks = " \n\r\t";
    return !text.empty() && (blanks.find(text.front()) != std::string::npos ||
                             blanks.find(text.back()) != std::string::npos);
}

#include "lowered.h"

#include <algorithm>

namespace tavrin::http_tool {

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

}  // namespace tavrin::http_tool

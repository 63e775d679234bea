#include "http_date.h"

namespace tavrin::http_tool {

std::optional<std::time_t> parsedDate(const std::string& text) {
    std::tm date{};
    const char* end = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &date);
    if (!end || *end != '\0') return std::nullopt;
    return timegm(&date);
}

}  // namespace tavrin::http_tool

#include "printable.h"

#include <cstddef>

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::size_t LONGEST_BODY_SHOWN = 1024;

bool isPrintable(unsigned char byte) {
    return (byte >= 0x20 && byte < 0x7f) || byte == '\n' || byte == '\t';
}

}  // namespace

std::string printable(const std::string& text) {
    static const char DIGITS[] = "0123456789abcdef";
    std::string shown;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (isPrintable(byte)) {
            shown += static_cast<char>(byte);
        } else {
            shown += {'\\', 'x', DIGITS[byte >> 4], DIGITS[byte & 0xf]};
        }
    }
    return shown;
}

std::string printableBeginning(const std::string& body) {
    if (body.size() <= LONGEST_BODY_SHOWN) return printable(body);
    return printable(body.substr(0, LONGEST_BODY_SHOWN)) + "... (" + std::to_string(body.size()) +
           " bytes)";
}

}  // namespace tavrin::httpclient_testing::detail

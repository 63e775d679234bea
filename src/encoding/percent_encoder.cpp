#include "encoding/percent_encoder.h"

#include <utility>

namespace tavrin::httpclient_core {
namespace {

// By hand: std::isalnum follows the program's locale.
constexpr bool isUnreserved(unsigned char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

}  // namespace

PercentEncoder::PercentEncoder(std::string spaceReplacement)
    : spaceReplacement_(std::move(spaceReplacement)) {}

std::string PercentEncoder::operator()(std::string text) const {
    std::string encoded;
    encoded.reserve(text.size());
    append(encoded, text);
    return encoded;
}

void PercentEncoder::append(std::string& encoded, std::string_view text) const {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (isUnreserved(byte)) {
            encoded += character;
        } else if (character == ' ') {
            encoded += spaceReplacement_;
        } else {
            const char escape[] = {'%', DIGITS[byte >> 4U], DIGITS[byte & 15U]};
            encoded.append(escape, sizeof(escape));
        }
    }
}

}  // namespace tavrin::httpclient_core

#include "base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace tavrin::httpclient_testing::detail {
namespace {

// OpenSSL counts in int. Both are whole groups, so that the pieces join without a seam.
constexpr std::size_t PIECE = 3 << 20;
constexpr std::size_t ENCODED_PIECE = PIECE / 3 * 4;

const unsigned char* unsignedBytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string base64(const std::string& bytes) {
    std::string text;
    // One more for the NUL that OpenSSL puts behind.
    std::string piece(std::min(bytes.size() / 3 * 4 + 4, ENCODED_PIECE) + 1, '\0');
    for (std::size_t begin = 0; begin < bytes.size(); begin += PIECE) {
        const int size = static_cast<int>(std::min(PIECE, bytes.size() - begin));
        const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(piece.data()),
                                            unsignedBytes(bytes) + begin, size);
        text.append(piece, 0, static_cast<std::size_t>(written));
    }
    return text;
}

std::optional<std::string> bytesOfBase64(const std::string& text) {
    if (text.size() % 4 != 0) return std::nullopt;
    const auto data = text.find_last_not_of('=') + 1;
    const auto padding = text.size() - data;
    if (padding > 2 || text.find('=') < data) return std::nullopt;
    std::string bytes;
    std::string piece(PIECE, '\0');
    for (std::size_t begin = 0; begin < text.size(); begin += ENCODED_PIECE) {
        const int size = static_cast<int>(std::min(ENCODED_PIECE, text.size() - begin));
        const int written = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(piece.data()),
                                            unsignedBytes(text) + begin, size);
        // It skips blanks at the ends, and so comes to less than a group of three for each four.
        if (written != size / 4 * 3) return std::nullopt;
        bytes.append(piece, 0, static_cast<std::size_t>(written));
    }
    // Padding counts as bytes there.
    bytes.resize(bytes.size() - padding);
    return bytes;
}

}  // namespace tavrin::httpclient_testing::detail

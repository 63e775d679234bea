#include "checksum.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "lowered.h"

namespace tavrin::http_tool {

ExpectedChecksum ExpectedChecksum::parse(const std::string& text) {
    const std::string lower = lowered(text);
    const auto colon = lower.find(':');
    const std::string algorithm = lower.substr(0, colon);
    if (colon == std::string::npos || (algorithm != "sha256" && algorithm != "sha512")) {
        throw std::runtime_error("a checksum is sha256:HEX or sha512:HEX, not \"" + text + "\"");
    }
    const std::string hex = lower.substr(colon + 1);
    const std::size_t digits = algorithm == "sha256" ? 64 : 128;
    if (hex.size() != digits || hex.find_first_not_of("0123456789abcdef") != std::string::npos) {
        throw std::runtime_error("a " + algorithm + " checksum has " + std::to_string(digits) +
                                 " hexadecimal digits; \"" + hex + "\" has not");
    }
    return {algorithm, hex};
}

Checksum::Checksum(const std::string& algorithm) : context_(EVP_MD_CTX_new()) {
    const EVP_MD* digest = EVP_get_digestbyname(algorithm.c_str());
    if (!context_ || !digest || EVP_DigestInit_ex(context_.get(), digest, nullptr) != 1) {
        throw std::runtime_error("cannot compute " + algorithm + " checksums");
    }
}

void Checksum::Free::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

void Checksum::update(const char* data, std::size_t size) {
    if (EVP_DigestUpdate(context_.get(), data, size) != 1) {
        throw std::runtime_error("cannot compute the checksum");
    }
}

std::string Checksum::hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(context_.get(), digest.data(), &size) != 1) {
        throw std::runtime_error("cannot compute the checksum");
    }
    return inHex({reinterpret_cast<const char*>(digest.data()), size});
}

std::string inHex(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string checksumOfFile(const std::string& algorithm, int descriptor) {
    Checksum checksum(algorithm);
    std::vector<char> buffer(1 << 18);
    off_t position = 0;
    while (true) {
        const ssize_t size = pread(descriptor, buffer.data(), buffer.size(), position);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) throw std::system_error(errno, std::generic_category(), "cannot read back");
        if (size == 0) return checksum.hex();
        checksum.update(buffer.data(), static_cast<std::size_t>(size));
        position += size;
    }
}

std::string checksumOfText(const std::string& algorithm, const std::string& text) {
    Checksum checksum(algorithm);
    checksum.update(text.data(), text.size());
    return checksum.hex();
}

}  // namespace tavrin::http_tool

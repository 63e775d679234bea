#include "httpclient_testing/sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace tavrin::httpclient_testing {
namespace {

struct FreeDigest {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Digest = std::unique_ptr<EVP_MD_CTX, FreeDigest>;

}  // namespace

struct Sha256::Context {
    Digest digest{EVP_MD_CTX_new()};
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
    EVP_MD_CTX* digest = context_->digest.get();
    if (!digest || EVP_DigestInit_ex(digest, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available.");
    }
}

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(const char* data, std::size_t size) {
    EVP_DigestUpdate(context_->digest.get(), data, size);
}

void Sha256::update(const std::string& data) { update(data.data(), data.size()); }

std::string Sha256::bytes() const {
    // Finishing spoils a context; a copy is finished so that this one can go on.
    const Digest copy(EVP_MD_CTX_new());
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (!copy || EVP_MD_CTX_copy_ex(copy.get(), context_->digest.get()) != 1 ||
        EVP_DigestFinal_ex(copy.get(), digest.data(), &size) != 1) {
        throw std::runtime_error("SHA-256 is not available.");
    }
    return std::string(reinterpret_cast<const char*>(digest.data()), size);
}

std::string Sha256::hex() const {
    static const char* const DIGITS = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes()) {
        const auto value = static_cast<unsigned char>(byte);
        text += DIGITS[value >> 4U];
        text += DIGITS[value & 15U];
    }
    return text;
}

std::string sha256Hex(const std::string& text) {
    Sha256 digest;
    digest.update(text);
    return digest.hex();
}

}  // namespace tavrin::httpclient_testing

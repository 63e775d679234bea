#include "body_digest.h"

#include <array>
#include <new>
#include <string_view>
#include <utility>

namespace tavrin::httpclient_curl::detail {
namespace {

constexpr std::size_t SHA256_BYTES = 32;
constexpr std::size_t SHA256_BASE64_CHARACTERS = 44;

// The 32 bytes of "sha-256=:...:" in a list of digests; empty if there is none.
std::string sha256Of(std::string_view digests) {
    static constexpr std::string_view NAME = "sha-256=:";
    const std::size_t at = digests.find(NAME);
    if (at == std::string_view::npos) return {};
    const std::string_view text = digests.substr(at + NAME.size(), SHA256_BASE64_CHARACTERS);
    const std::size_t end = at + NAME.size() + SHA256_BASE64_CHARACTERS;
    if (end >= digests.size() || digests[end] != ':') return {};
    std::array<unsigned char, SHA256_BYTES + 1> bytes{};
    const int count =
        EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    if (count != static_cast<int>(bytes.size())) return {};
    return {reinterpret_cast<const char*>(bytes.data()), SHA256_BYTES};
}

}  // namespace

BodyDigest::BodyDigest(std::string expected)
    : expected_(std::move(expected)), context_(EVP_MD_CTX_new()) {
    if (context_ == nullptr || EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
}

std::shared_ptr<BodyDigest> BodyDigest::announcedBy(const ResponseHead& head) {
    const std::string* digests = head.value("Repr-Digest");
    std::string expected = digests == nullptr ? std::string() : sha256Of(*digests);
    if (expected.empty()) return nullptr;
    return std::make_shared<BodyDigest>(std::move(expected));
}

void BodyDigest::update(const char* data, std::size_t size) {
    EVP_DigestUpdate(context_.get(), data, size);
}

bool BodyDigest::matches() {
    std::array<unsigned char, SHA256_BYTES> actual{};
    return EVP_DigestFinal_ex(context_.get(), actual.data(), nullptr) == 1 &&
           expected_ ==
               std::string_view(reinterpret_cast<const char*>(actual.data()), actual.size());
}

}  // namespace tavrin::httpclient_curl::detail

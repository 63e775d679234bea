#include "body_digest.h"

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <utility>

namespace tavrin::httpclient_curl::detail {
namespace {

struct Algorithm {
    std::string_view name;
    const EVP_MD* (*function)();
    std::size_t bytes;
};

// The strongest first, which counts alone.
constexpr std::array<Algorithm, 2> ALGORITHMS{
    {{"sha-512", EVP_sha512, 64}, {"sha-256", EVP_sha256, 32}}};

// What stands as ":...:", in binary; empty if it is no base64 of so many bytes.
std::string decoded(std::string_view text, std::size_t bytes) {
    const std::size_t groups = (bytes + 2) / 3;
    if (text.size() != 4 * groups + 2 || text.front() != ':' || text.back() != ':') return {};
    std::string all(3 * groups, '\0');
    const int count = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(all.data()),
                                      reinterpret_cast<const unsigned char*>(text.data()) + 1,
                                      static_cast<int>(4 * groups));
    if (count != static_cast<int>(all.size())) return {};
    all.resize(bytes);
    return all;
}

// The digest by `algorithm` in a list of "name=:...:"; of several the last (RFC 8941, 3.2).
std::string announced(std::string_view list, const Algorithm& algorithm) {
    std::string found;
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        std::string_view member = list.substr(0, comma);
        list.remove_prefix(std::min(comma + 1, list.size()));
        member.remove_prefix(std::min(member.find_first_not_of(" \t"), member.size()));
        const std::string_view value = member.substr(0, member.find_first_of("; \t"));
        const std::size_t equals = value.find('=');
        if (equals == std::string_view::npos || value.substr(0, equals) != algorithm.name) continue;
        std::string digest = decoded(value.substr(equals + 1), algorithm.bytes);
        if (!digest.empty()) found = std::move(digest);
    }
    return found;
}

}  // namespace

BodyDigest::BodyDigest(const EVP_MD* function, std::string expected)
    : expected_(std::move(expected)), context_(EVP_MD_CTX_new()) {
    if (context_ == nullptr || EVP_DigestInit_ex(context_.get(), function, nullptr) != 1)
        throw std::bad_alloc();
}

std::shared_ptr<BodyDigest> BodyDigest::announcedBy(const ResponseHead& head) {
    const std::string list = head.allValues("Repr-Digest");
    for (const Algorithm& algorithm : ALGORITHMS) {
        std::string expected = announced(list, algorithm);
        if (!expected.empty())
            return std::make_shared<BodyDigest>(algorithm.function(), std::move(expected));
    }
    return nullptr;
}

void BodyDigest::update(const char* data, std::size_t size) {
    EVP_DigestUpdate(context_.get(), data, size);
}

bool BodyDigest::matches() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> actual{};
    unsigned int size = 0;
    return EVP_DigestFinal_ex(context_.get(), actual.data(), &size) == 1 &&
           expected_ == std::string_view(reinterpret_cast<const char*>(actual.data()), size);
}

}  // namespace tavrin::httpclient_curl::detail

#include "proxy_environment.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "lowered.h"
#include "url_parts.h"

namespace tavrin::http_tool {
namespace {

std::string firstOf(const Environment& environment, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        if (const auto value = environment(name)) return *value;
    }
    return "";
}

// An address as its bytes, 4 or 16 of them; empty for a name.
std::string addressBytes(const std::string& text) {
    std::array<char, 16> bytes{};
    if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) return {bytes.data(), 4};
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) return {bytes.data(), 16};
    return "";
}

bool equalBits(const std::string& a, const std::string& b, std::size_t bits) {
    if (std::memcmp(a.data(), b.data(), bits / 8) != 0) return false;
    if (bits % 8 == 0) return true;
    const auto shift = 8 - bits % 8;
    return static_cast<unsigned char>(a[bits / 8]) >> shift ==
           static_cast<unsigned char>(b[bits / 8]) >> shift;
}

// Whether the address lies in `block`, an address with or without a prefix length.
bool liesInBlock(const std::string& address, const std::string& block) {
    const auto slash = block.find('/');
    const std::string base = addressBytes(block.substr(0, slash));
    if (base.size() != address.size()) return false;
    std::size_t bits = base.size() * 8;
    if (slash != std::string::npos) {
        const char* end = block.data() + block.size();
        const auto [stop, error] = std::from_chars(block.data() + slash + 1, end, bits);
        if (error != std::errc() || stop != end || bits > base.size() * 8) return false;
    }
    return equalBits(address, base, bits);
}

bool liesInDomain(const std::string& host, const std::string& domain) {
    const std::string name = domain.substr(domain.find_first_not_of('.'));
    if (host == name) return true;
    return host.size() > name.size() &&
           host.compare(host.size() - name.size(), name.size(), name) == 0 &&
           host[host.size() - name.size() - 1] == '.';
}

// "example.com." is the same name as "example.com", and "[::1]" the same address as "::1".
std::string simplified(std::string text) {
    if (!text.empty() && text.back() == '.') text.pop_back();
    text.erase(
        std::remove_if(text.begin(), text.end(), [](char c) { return c == '[' || c == ']'; }),
        text.end());
    return text;
}

bool matches(const std::string& host, const std::string& entry) {
    if (entry == "*") return true;
    if (const std::string address = addressBytes(host); !address.empty()) {
        return liesInBlock(address, entry);
    }
    return entry.find_first_not_of('.') != std::string::npos && liesInDomain(host, entry);
}

}  // namespace

Environment processEnvironment() {
    return [](const std::string& name) -> std::optional<std::string> {
        // Nothing in this program changes the environment.
        const char* value = std::getenv(name.c_str());  // NOLINT(concurrency-mt-unsafe)
        return value && *value ? std::optional<std::string>(value) : std::nullopt;
    };
}

bool isExempt(const std::string& host, const std::string& list) {
    const std::string name = simplified(lowered(host));
    const std::string entries = lowered(list);
    std::size_t position = 0;
    while ((position = entries.find_first_not_of(", \t", position)) != std::string::npos) {
        const auto end = std::min(entries.find_first_of(", \t", position), entries.size());
        if (matches(name, simplified(entries.substr(position, end - position)))) return true;
        position = end;
    }
    return false;
}

std::string proxyFor(const std::string& url, const Environment& environment) {
    const auto parts = splitUrl(url);
    if (!parts) return "";
    if (isExempt(parts->host, firstOf(environment, {"no_proxy", "NO_PROXY"}))) return "";
    if (parts->scheme == "https") {
        return firstOf(environment, {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
    }
    return firstOf(environment, {"http_proxy", "all_proxy", "ALL_PROXY"});
}

}  // namespace tavrin::http_tool

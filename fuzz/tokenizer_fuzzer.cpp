#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "check.h"
#include "httpclient_core/headers.h"

using tavrin::httpclient_core::HttpHeaders;

namespace {

std::vector<std::string> elements(const std::string& text, const std::string& separators,
                                  bool skipEmpty) {
    std::vector<std::string> result;
    HttpHeaders::splitElements(
        text, [&](const std::string& element) { result.push_back(element); }, separators,
        skipEmpty);
    return result;
}

}  // namespace

// The first byte tells how many of the next ones are separators; the rest is text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t separatorCount = std::min<std::size_t>(data[0] % 4, size - 1);
    const std::string separators(reinterpret_cast<const char*>(data + 1), separatorCount);
    const std::string text(reinterpret_cast<const char*>(data + 1 + separatorCount),
                           size - 1 - separatorCount);

    auto all = elements(text, separators, false);
    const auto found = std::count_if(
        text.begin(), text.end(), [&](char c) { return separators.find(c) != std::string::npos; });
    CHECK(all.size() == static_cast<std::size_t>(found) + 1);
    all.erase(std::remove(all.begin(), all.end(), ""), all.end());
    CHECK(all == elements(text, separators, true));

    try {
        const auto [leading, parameters] = HttpHeaders::splitParameters(text, separators);
        CHECK(parameters.size() <= static_cast<std::size_t>(found));
        CHECK(leading.empty() ? parameters.empty() : text.find(leading) != std::string::npos);
    } catch (const std::runtime_error&) {
        CHECK(found > 0);
    }
    try {
        const auto [name, value] = HttpHeaders::splitParameter(text, "=");
        CHECK(name.find('=') == std::string::npos);
        CHECK(name.size() + value.size() <= text.size());
    } catch (const std::runtime_error&) {
        CHECK(text.find('=') == std::string::npos);
    }
    return 0;
}

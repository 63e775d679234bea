#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "check.h"
#include "header_value_model.h"
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

model::MediaType parameters(const std::string& text, const std::string& separators) {
    const auto [leading, parameters] = HttpHeaders::splitParameters(text, separators);
    return {leading, model::entriesOf(parameters)};
}

}  // namespace

// The first byte tells how many of the next ones are separators, or a delimiter; the rest is text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t count = std::min<std::size_t>(data[0] % 4, size - 1);
    const std::string separators(reinterpret_cast<const char*>(data + 1), count);
    const std::string text(reinterpret_cast<const char*>(data + 1 + count), size - 1 - count);

    auto expected = model::pieces(text, separators);
    std::transform(expected.begin(), expected.end(), expected.begin(), model::trimmed);
    CHECK(elements(text, separators, false) == expected);
    expected.erase(std::remove(expected.begin(), expected.end(), ""), expected.end());
    CHECK(elements(text, separators, true) == expected);

    CHECK(model::outcomeOf([&] { return parameters(text, separators); }) ==
          model::outcomeOf([&] { return model::mediaType(text, separators); }));
    for (const std::string& delimiter : {separators, std::string("=")}) {
        CHECK(model::outcomeOf([&] { return HttpHeaders::splitParameter(text, delimiter); }) ==
              model::outcomeOf([&] { return model::parameter(text, delimiter); }));
    }
    return 0;
}

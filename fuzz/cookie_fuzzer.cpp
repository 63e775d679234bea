#include <cstddef>
#include <cstdint>
#include <string>

#include "check.h"
#include "header_value_model.h"
#include "httpclient_core/cookie.h"

using tavrin::httpclient_core::Cookie;

// What was read has the cookies of the text, and prints to a text that reads as the same cookies.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = model::outcomeOf([&] { return model::cookies(text); });
    CHECK(model::outcomeOf([&] { return model::entriesOf(Cookie::parse(text)); }) == expected);
    if (!expected.value) return 0;

    const auto cookies = Cookie::parse(text);
    CHECK(cookies.size() == expected.value->size());
    for (const auto& [name, value] : *expected.value) CHECK(cookies.has(name));
    CHECK(Cookie::parse(Cookie::toString(cookies)) == cookies);
    return 0;
}

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "check.h"
#include "httpclient_core/cookie.h"

using tavrin::httpclient_core::Cookie;

// Cookies that were read print to a text that reads as the same cookies.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto cookies = Cookie::parse(text);
        for (const auto& [name, value] : cookies) {
            CHECK(name.find_first_of(";=") == std::string::npos);
            CHECK(value.find(';') == std::string::npos);
            CHECK(cookies.has(name));
        }
        CHECK(Cookie::parse(Cookie::toString(cookies)) == cookies);
    } catch (const std::runtime_error&) {
    }
    return 0;
}

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "check.h"
#include "httpclient_core/headers.h"

using tavrin::httpclient_core::HttpHeaders;

namespace {

bool isTrimmed(const std::string& text) {
    const std::string blanks = " \n\r\t";
    return text.empty() || (blanks.find(text.front()) == std::string::npos &&
                            blanks.find(text.back()) == std::string::npos);
}

}  // namespace

// A line adds one trimmed field, or nothing; printed and read again, the field is the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    HttpHeaders headers{{"Before", "1"}};
    try {
        headers.addHeader(line);
    } catch (const std::runtime_error& error) {
        CHECK(error.what() ==
              std::string(("Missing delimiter <:> when parsing : <" + line + ">").c_str()));
        CHECK(line.find(':') == std::string::npos);
        CHECK(headers.size() == 1);
        return 0;
    }
    if (headers.size() == 1) return 0;

    CHECK(headers.size() == 2);
    const auto [name, value] = *std::prev(headers.end());
    CHECK(!name.empty() && isTrimmed(name) && isTrimmed(value));
    CHECK(headers.hasHeader(name));

    HttpHeaders again;
    again.addHeader(name + ":" + value);
    CHECK(again.size() == 1 && *again.begin() == std::pair(name, value));
    return 0;
}

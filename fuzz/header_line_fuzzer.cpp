#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "check.h"
#include "header_value_model.h"
#include "httpclient_core/headers.h"

using tavrin::httpclient_core::HttpHeaders;

namespace {

// A field without a name is none.
std::vector<model::Pair> fieldsOf(const std::string& line) {
    const model::Pair field = model::parameter(line, ":");
    if (field.first.empty()) return {};
    return {field};
}

std::vector<model::Pair> fieldsAdded(HttpHeaders& headers, const std::string& line) {
    const auto before = static_cast<std::ptrdiff_t>(headers.size());
    headers.addHeader(line);
    return {std::next(headers.begin(), before), headers.end()};
}

}  // namespace

// A line adds one trimmed field behind the others, or nothing; printed and read again, the field is
// the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    HttpHeaders headers{{"Before", "1"}};
    const auto expected = model::outcomeOf([&] { return fieldsOf(line); });
    CHECK(model::outcomeOf([&] { return fieldsAdded(headers, line); }) == expected);
    CHECK(*headers.begin() == model::Pair("Before", "1"));
    CHECK(headers.size() == 1 + (expected.value ? expected.value->size() : 0));
    if (headers.size() == 1) return 0;

    const auto& [name, value] = expected.value->front();
    CHECK(headers.hasHeader(name));
    HttpHeaders again;
    CHECK(fieldsAdded(again, name + ":" + value) == *expected.value);
    return 0;
}

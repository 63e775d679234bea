#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "check.h"
#include "header_value_model.h"
#include "httpclient_core/media_types.h"

using tavrin::httpclient_core::Accept;

namespace {

std::vector<model::MediaType> typesOf(const Accept& accept) {
    std::vector<model::MediaType> types;
    for (const auto& type : accept)
        types.push_back({type.getType(), model::entriesOf(type.getParameters())});
    return types;
}

// A type without text, or with a blank at an end, reads as another one.
bool isReadAgain(const model::MediaType& type) {
    return !type.type.empty() && model::trimmed(type.type) == type.type;
}

}  // namespace

// What was read has the elements of the text, and prints to a text that reads as the same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = model::outcomeOf([&] { return model::accept(text); });
    CHECK(model::outcomeOf([&] { return typesOf(Accept::parse(text)); }) == expected);
    if (!expected.value) return 0;

    const auto accept = Accept::parse(text);
    CHECK(accept.size() == expected.value->size());
    CHECK(accept.getTypes().size() == accept.size());
    if (std::all_of(expected.value->begin(), expected.value->end(), isReadAgain))
        CHECK(Accept::parse(accept.toString()) == accept);
    return 0;
}

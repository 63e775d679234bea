#include <cstddef>
#include <cstdint>
#include <string>

#include "check.h"
#include "header_value_model.h"
#include "httpclient_core/media_types.h"

using tavrin::httpclient_core::ContentType;

namespace {

model::MediaType contentOf(const ContentType& type) {
    return {type.getType(), model::entriesOf(type.getParameters())};
}

std::string printed(const model::MediaType& type) {
    std::string text = type.type;
    std::string separator = "; ";
    for (const auto& [name, value] : type.parameters) {
        text += separator + name + "=" + value;
        separator = ";";
    }
    return text;
}

}  // namespace

// What was read has the type and the parameters of the text, and prints to a text that reads as the
// same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto expected = model::outcomeOf([&] { return model::contentType(text); });
    CHECK(model::outcomeOf([&] { return contentOf(ContentType::parse(text)); }) == expected);
    if (!expected.value) return 0;

    const auto type = ContentType::parse(text);
    CHECK(type.toString() == printed(*expected.value));
    CHECK(ContentType::parse(type.toString()) == type);
    return 0;
}

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "check.h"
#include "httpclient_core/media_types.h"

using tavrin::httpclient_core::Accept;
using tavrin::httpclient_core::ContentType;

namespace {

template <typename Value>
std::optional<Value> parsed(const std::string& text) {
    try {
        return Value::parse(text);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

bool hasBlankAtAnEnd(const std::string& text) {
    const std::string blanks = " \n\r\t";
    return !text.empty() && (blanks.find(text.front()) != std::string::npos ||
                             blanks.find(text.back()) != std::string::npos);
}

}  // namespace

// What was read prints to a text that reads as the same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    if (const auto type = parsed<ContentType>(text)) {
        for (const auto& [name, value] : type->getParameters()) CHECK(!value.empty());
        if (!hasBlankAtAnEnd(type->getType())) {
            CHECK(ContentType::parse(type->toString()) == *type);
        }
    }
    if (const auto accept = parsed<Accept>(text)) {
        CHECK(accept->getTypes().size() == accept->size());
        bool readable = true;
        for (const auto& type : *accept) {
            CHECK(type.getType().find(',') == std::string::npos);
            readable = readable && !type.getType().empty() && !hasBlankAtAnEnd(type.getType());
        }
        if (readable) CHECK(Accept::parse(accept->toString()) == *accept);
    }
    return 0;
}

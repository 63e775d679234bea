#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "blank_ends.h"
#include "check.h"
#include "httpclient_core/media_types.h"

using tavrin::httpclient_core::ContentType;

// What was read prints to a text that reads as the same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto type = ContentType::parse(text);
        for (const auto& [name, value] : type.getParameters()) CHECK(!value.empty());
        if (!hasBlankAtAnEnd(type.getType())) CHECK(ContentType::parse(type.toString()) == type);
    } catch (const std::runtime_error&) {
    }
    return 0;
}

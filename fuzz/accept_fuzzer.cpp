#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "blank_ends.h"
#include "check.h"
#include "httpclient_core/media_types.h"

using tavrin::httpclient_core::Accept;

// What was read has one element for each media type that it counts, and prints to a text that reads
// as the same value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto accept = Accept::parse(text);
        CHECK(accept.getTypes().size() == accept.size());
        bool readable = true;
        for (const auto& type : accept) {
            CHECK(type.getType().find(',') == std::string::npos);
            for (const auto& [name, value] : type.getParameters()) CHECK(!value.empty());
            readable = readable && !type.getType().empty() && !hasBlankAtAnEnd(type.getType());
        }
        if (readable) CHECK(Accept::parse(accept.toString()) == accept);
    } catch (const std::runtime_error&) {
    }
    return 0;
}

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "check.h"
#include "httpclient_core/file_path.h"

using tavrin::httpclient_core::FilePath;

// Text that is accepted comes back byte for byte, and is UTF-16 without lone surrogates inside.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const FilePath path(text);
        CHECK(path.toUtf8() == text);
        CHECK(path.empty() == text.empty());
        CHECK(path == FilePath(text) && !(path < path));
        const auto utf16 = path.toUtf16();
        for (std::size_t i = 0; i < utf16.size(); ++i) {
            const bool high = utf16[i] >= 0xD800 && utf16[i] <= 0xDBFF;
            const bool low = utf16[i] >= 0xDC00 && utf16[i] <= 0xDFFF;
            CHECK(!low);
            if (!high) continue;
            CHECK(i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 && utf16[i + 1] <= 0xDFFF);
            ++i;
        }
    } catch (const std::runtime_error& error) {
        CHECK(error.what() == std::string("File path is not valid UTF-8."));
    }
    return 0;
}

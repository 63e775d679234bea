#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "check.h"
#include "httpclient_testing/credentials.h"

using tavrin::httpclient_testing::Credentials;

namespace {

const char SECRET[] = "geheim";

bool shows(const std::string& text) { return text.find(SECRET) != std::string::npos; }

// Any bytes as the inside of a JSON text.
std::string escaped(const std::string& text) {
    static const char DIGITS[] = "0123456789abcdef";
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        result += {'\\', 'u', '0', '0', DIGITS[byte >> 4], DIGITS[byte & 0xf]};
    }
    return result;
}

void blankAll(const std::string& text, const std::string& type) {
    const Credentials credentials;
    credentials.blankedUrl(text);
    credentials.blankedBody(text, type);
    credentials.blankedHeaderValue(type, text);
    credentials.blankedText(text);
}

// Whatever stands before it.
void checkSecretIsFound(const std::string& text) {
    if (shows(text)) return;
    const Credentials credentials;
    CHECK(!shows(credentials.blankedUrl("http://host/?" + text + "&token=" + SECRET)));
    CHECK(!shows(
        credentials.blankedBody(text + "&token=" + SECRET, "application/x-www-form-urlencoded")));
    const std::string name = escaped(text);
    CHECK(!shows(credentials.blankedBody(
        "{\"" + name + "\": [\"" + name + "\"], \"token\": [\"" + SECRET + "\"]}",
        "application/json")));
    CHECK(!shows(credentials.blankedHeaderValue("Authorization", text + SECRET)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const char* const TYPES[] = {"",
                                        "application/json",
                                        "application/x-www-form-urlencoded",
                                        "multipart/form-data; boundary=b",
                                        "WWW-Authenticate",
                                        "Location"};
    FuzzedDataProvider input(data, size);
    const std::string type = input.PickValueInArray(TYPES);
    const std::string text = input.ConsumeRemainingBytesAsString();

    blankAll(text, type);
    checkSecretIsFound(text);
    return 0;
}

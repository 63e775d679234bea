#include "url_part.h"

#include <algorithm>
#include <memory>
#include <new>

#include "failure.h"

namespace tavrin::httpclient_curl::detail {
namespace {

bool has(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    const CURLUcode code = curl_url_get(url, which, &text, 0);
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    curl_free(text);
    return code == CURLUE_OK;
}

}  // namespace

bool hasBlankOrControl(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto c = static_cast<unsigned char>(character);
        return c <= ' ' || c == 0x7f;
    });
}

std::string urlPart(CURLU* url, CURLUPart which, unsigned flags, const char* whose) {
    char* text = nullptr;
    const CURLUcode code = curl_url_get(url, which, &text, flags);
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code == CURLUE_URLDECODE) {
        throw refused(std::string("the user or password of the ") + whose +
                      " contains a control character");
    }
    if (code != CURLUE_OK) return {};
    const std::unique_ptr<char, void (*)(void*)> owner(text, curl_free);
    return text;
}

bool hasCredentials(CURLU* url) { return has(url, CURLUPART_USER) || has(url, CURLUPART_PASSWORD); }

void removeCredentials(CURLU* url) {
    curl_url_set(url, CURLUPART_USER, nullptr, 0);
    curl_url_set(url, CURLUPART_PASSWORD, nullptr, 0);
}

}  // namespace tavrin::httpclient_curl::detail

#include "tls_session.h"

#include <openssl/ssl.h>

#include <string_view>

namespace tavrin::httpclient_curl::detail {
namespace {

int flagIndex() {
    static const int INDEX = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return INDEX;
}

void noteAlert(const SSL* ssl, int where, int value) {
    if ((where & SSL_CB_READ_ALERT) != SSL_CB_READ_ALERT || (value & 0xff) != SSL_AD_CLOSE_NOTIFY)
        return;
    if (auto* seen = static_cast<bool*>(SSL_get_ex_data(ssl, flagIndex()))) *seen = true;
}

// Null if the connection has no TLS.
SSL* sessionOf(CURL* easy) {
    curl_tlssessioninfo* session = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session) != CURLE_OK || session == nullptr ||
        session->backend != CURLSSLBACKEND_OPENSSL) {
        return nullptr;
    }
    return static_cast<SSL*>(session->internals);
}

CURLcode prepareContext(CURL*, void* context, void*) {
    SSL_CTX_set_info_callback(static_cast<SSL_CTX*>(context), noteAlert);
    return CURLE_OK;
}

}  // namespace

void reportTlsClosure(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, prepareContext);
}

bool watchTlsClosure(CURL* easy, bool* seen) {
    SSL* const session = sessionOf(easy);
    return session != nullptr && SSL_set_ex_data(session, flagIndex(), seen) == 1;
}

bool speaksHttp2(CURL* easy) {
    const SSL* const session = sessionOf(easy);
    if (session == nullptr) return false;
    const unsigned char* name = nullptr;
    unsigned size = 0;
    SSL_get0_alpn_selected(session, &name, &size);
    return std::string_view(reinterpret_cast<const char*>(name), size) == "h2";
}

}  // namespace tavrin::httpclient_curl::detail

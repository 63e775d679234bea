#include "failure.h"

#include <string_view>

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpRequestTimeoutException;

namespace {

bool endsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// What libcurl reports under a code that means something else.
const char* kindOf(CURLcode code, const std::string& reason, bool viaProxy) {
    const auto begins = [&](const char* text) { return reason.rfind(text, 0) == 0; };
    if (begins("Too large response headers") || endsWith(reason, " in chunked-encoding"))
        return "malformed response";
    if (begins("CONNECT tunnel failed")) return "proxy";
    // What a SOCKS proxy cannot resolve or reach has a code of its own.
    if (viaProxy && (code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_CONNECT))
        return "proxy";
    return nullptr;
}

const char* kindOf(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return "name resolution";
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_PROXY:
            return "proxy";
        case CURLE_COULDNT_CONNECT:
        case CURLE_INTERFACE_FAILED:
            return "connecting";
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_SHUTDOWN_FAILED:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_USE_SSL_FAILED:
            return "TLS";
        case CURLE_SEND_ERROR:
        case CURLE_SEND_FAIL_REWIND:
            return "sending";
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
            return "receiving";
        case CURLE_PARTIAL_FILE:
            return "incomplete body";
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return "malformed response";
        default:
            return "transfer";
    }
}

}  // namespace

HttpRequestFailedException refused(const std::string& reason) {
    return HttpRequestFailedException("Request refused: " + reason);
}

HttpRequestFailedException failed(const std::string& host, const char* kind,
                                  const std::string& reason) {
    return HttpRequestFailedException("Request to " + host + " failed: " + kind + ": " + reason);
}

HttpRequestFailedException libcurlFailed(const std::string& reason) {
    return HttpRequestFailedException("Request failed: libcurl: " + reason);
}

std::exception_ptr failureOf(CURLcode code, const std::string& host, const char* message,
                             const Settings& settings) {
    if (code == CURLE_OPERATION_TIMEDOUT) {
        return std::make_exception_ptr(HttpRequestTimeoutException());
    }
    const std::string reason = *message != '\0' ? message : curl_easy_strerror(code);
    if (code == CURLE_SSL_CACERT_BADFILE) {
        const std::string kind = "certificate file " + settings.certificateFile;
        return std::make_exception_ptr(failed(host, kind.c_str(), reason));
    }
    const char* kind = kindOf(code, reason, !settings.proxy.empty());
    return std::make_exception_ptr(failed(host, kind ? kind : kindOf(code), reason));
}

}  // namespace tavrin::httpclient_curl::detail

#include "tls_context.h"

#include <stdexcept>
#include <string>

#include "tls_error.h"

namespace tavrin::httpclient_testing::detail {
namespace {

void want(bool success) {
    if (!success) throw std::runtime_error("Cannot set up TLS: " + tlsError());
}

// Old protocols want their weak digests allowed as well.
void speakOldProtocolsOnly(SSL_CTX* context) {
    SSL_CTX_set_security_level(context, 0);
    want(SSL_CTX_set_min_proto_version(context, TLS1_VERSION) == 1);
    want(SSL_CTX_set_max_proto_version(context, TLS1_1_VERSION) == 1);
}

}  // namespace

TlsContext makeTlsContext(const TestCertificates& certificates, TlsKind kind) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    want(static_cast<bool>(context));
    const std::string certificate = certificates.certificateFile(kind);
    const std::string key = certificates.keyFile(kind);
    want(SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) == 1);
    want(SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) == 1);
    if (kind == TlsKind::OLD_PROTOCOL) speakOldProtocolsOnly(context.get());
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE);
    return context;
}

}  // namespace tavrin::httpclient_testing::detail

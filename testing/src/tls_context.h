#pragma once

#include <openssl/ssl.h>

#include <memory>

#include "httpclient_testing/test_certificates.h"

namespace tavrin::httpclient_testing::detail {

struct FreeTlsContext {
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, FreeTlsContext>;

// What a server of this kind needs. Throws std::runtime_error "Cannot set up TLS: " + reason.
TlsContext makeTlsContext(const TestCertificates& certificates, TlsKind kind);

}  // namespace tavrin::httpclient_testing::detail

#pragma once

#include <memory>
#include <string>

#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// What is right or wrong about a TLS server.
enum class TlsKind {
    GOOD,           ///< For 127.0.0.1, ::1 and localhost, signed by the throw-away CA.
    EXPIRED,        ///< As GOOD, but valid until yesterday.
    NOT_YET_VALID,  ///< As GOOD, but valid from tomorrow on.
    SELF_SIGNED,    ///< For the right hosts, signed by itself.
    WRONG_HOST,     ///< Signed by the throw-away CA, for wrong.example alone.
    UNTRUSTED_CA,   ///< For the right hosts, signed by a CA that nobody has.
    OLD_PROTOCOL    ///< The GOOD certificate; the server speaks TLS 1.0 and 1.1 only.
};

/// A throw-away certification authority and server certificates, made on the spot as PEM files in a
/// new temporary directory, which goes with the object. Keys are EC P-256; nothing of them outlives
/// the test.
///
/// Neither copyable nor movable; the operations may be called from any thread.
class HTTPCLIENT_TESTING_EXPORT TestCertificates {
public:
    /// Makes everything; some milliseconds.
    /// @throws std::runtime_error "Cannot make a test certificate: " + reason, or
    /// std::filesystem::filesystem_error if no directory can be made below the temporary directory.
    TestCertificates();
    ~TestCertificates();
    TestCertificates(const TestCertificates&) = delete;
    TestCertificates& operator=(const TestCertificates&) = delete;

    /// The directory that holds the files.
    std::string directory() const;

    /// The CA's certificate: what a client has to trust.
    std::string caFile() const;

    /// A server's certificate (with the certificate of a CA that signed it, where there is one) and
    /// its private key.
    std::string certificateFile(TlsKind kind) const;
    std::string keyFile(TlsKind kind) const;

private:
    std::string directory_;
};

}  // namespace tavrin::httpclient_testing

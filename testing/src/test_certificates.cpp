#include "httpclient_testing/test_certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <system_error>

#include "tls_error.h"

namespace tavrin::httpclient_testing {
namespace {

constexpr long DAY = 24L * 60 * 60;
const char* const RIGHT_HOSTS = "IP:127.0.0.1,IP:::1,DNS:localhost";

template <auto Free>
struct Freeing {
    template <class Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freeing<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freeing<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freeing<X509_EXTENSION_free>>;
using File = std::unique_ptr<std::FILE, Freeing<std::fclose>>;

[[noreturn]] void fail(const std::string& reason) {
    throw std::runtime_error("Cannot make a test certificate: " + reason);
}

// Every call into the cryptographic library goes through here, so that none fails unseen.
void want(bool success) {
    if (!success) fail(detail::tlsError());
}

struct Identity {
    Key key;
    Certificate certificate;
};

struct Validity {
    long fromNow;
    long untilNow;
};

void addExtension(X509* certificate, X509* issuer, int extensionId, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, extensionId, value));
    want(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

void setSerialNumber(X509* certificate) {
    std::uint64_t serial = 0;
    want(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
    want(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1U) == 1);
}

// A key and a certificate for it, whose extensions are still to come; `issuer` null means itself.
Identity begin(const std::string& name, Validity validity, const Identity* issuer) {
    Identity identity{Key(EVP_EC_gen("P-256")), Certificate(X509_new())};
    X509* certificate = identity.certificate.get();
    want(identity.key && certificate && X509_set_version(certificate, X509_VERSION_3) == 1);
    setSerialNumber(certificate);
    want(X509_gmtime_adj(X509_getm_notBefore(certificate), validity.fromNow) != nullptr);
    want(X509_gmtime_adj(X509_getm_notAfter(certificate), validity.untilNow) != nullptr);
    want(X509_set_pubkey(certificate, identity.key.get()) == 1);
    X509_NAME* subject = X509_get_subject_name(certificate);
    want(X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                                    reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1,
                                    0) == 1);
    const X509* signer = issuer ? issuer->certificate.get() : certificate;
    want(X509_set_issuer_name(certificate, X509_get_subject_name(signer)) == 1);
    return identity;
}

void sign(const Identity& identity, const Identity& issuer) {
    want(X509_sign(identity.certificate.get(), issuer.key.get(), EVP_sha256()) > 0);
}

Identity makeAuthority(const std::string& name) {
    Identity authority = begin(name, {-DAY, 365 * DAY}, nullptr);
    X509* certificate = authority.certificate.get();
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(certificate, certificate, NID_subject_key_identifier, "hash");
    sign(authority, authority);
    return authority;
}

Identity makeServer(const char* hosts, Validity validity, const Identity* issuer) {
    Identity server = begin("throw-away server", validity, issuer);
    X509* certificate = server.certificate.get();
    X509* signer = issuer ? issuer->certificate.get() : certificate;
    addExtension(certificate, signer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate, signer, NID_subject_key_identifier, "hash");
    addExtension(certificate, signer, NID_subject_alt_name, hosts);
    sign(server, issuer ? *issuer : server);
    return server;
}

File openFile(const std::string& path) {
    File file(std::fopen(path.c_str(), "wbe"));
    if (!file) throw std::system_error(errno, std::generic_category(), path);
    return file;
}

void writeCertificates(const std::string& path, std::initializer_list<const Identity*> identities) {
    const File file = openFile(path);
    for (const Identity* identity : identities) {
        want(PEM_write_X509(file.get(), identity->certificate.get()) == 1);
    }
}

void writeKey(const std::string& path, const Identity& identity) {
    const File file = openFile(path);
    want(PEM_write_PrivateKey(file.get(), identity.key.get(), nullptr, nullptr, 0, nullptr,
                              nullptr) == 1);
}

std::string makeDirectory() {
    std::string path = std::filesystem::temp_directory_path() / "httpclient-certificates-XXXXXX";
    if (!mkdtemp(path.data())) {
        throw std::filesystem::filesystem_error("Cannot make a directory", path,
                                                std::error_code(errno, std::generic_category()));
    }
    return path;
}

const char* fileName(TlsKind kind) {
    switch (kind) {
        case TlsKind::GOOD:
        case TlsKind::OLD_PROTOCOL:
            return "good";
        case TlsKind::EXPIRED:
            return "expired";
        case TlsKind::NOT_YET_VALID:
            return "not-yet-valid";
        case TlsKind::SELF_SIGNED:
            return "self-signed";
        case TlsKind::WRONG_HOST:
            return "wrong-host";
        case TlsKind::UNTRUSTED_CA:
            return "untrusted-ca";
    }
    fail("unknown kind");
}

void makeAll(const TestCertificates& files) {
    const Validity now = {-DAY, 30 * DAY};
    const Identity authority = makeAuthority("throw-away CA");
    const Identity stranger = makeAuthority("CA that nobody has");
    writeCertificates(files.caFile(), {&authority});

    const auto write = [&](TlsKind kind, const char* hosts, Validity validity,
                           const Identity* issuer) {
        const Identity server = makeServer(hosts, validity, issuer);
        if (issuer) {
            writeCertificates(files.certificateFile(kind), {&server, issuer});
        } else {
            writeCertificates(files.certificateFile(kind), {&server});
        }
        writeKey(files.keyFile(kind), server);
    };
    write(TlsKind::GOOD, RIGHT_HOSTS, now, &authority);
    write(TlsKind::EXPIRED, RIGHT_HOSTS, {-10 * DAY, -DAY}, &authority);
    write(TlsKind::NOT_YET_VALID, RIGHT_HOSTS, {DAY, 10 * DAY}, &authority);
    write(TlsKind::SELF_SIGNED, RIGHT_HOSTS, now, nullptr);
    write(TlsKind::WRONG_HOST, "DNS:wrong.example", now, &authority);
    write(TlsKind::UNTRUSTED_CA, RIGHT_HOSTS, now, &stranger);
}

void removeDirectory(const std::string& directory) {
    std::error_code ignored;  // what cannot be removed must not end the test's process
    std::filesystem::remove_all(directory, ignored);
}

}  // namespace

TestCertificates::TestCertificates() : directory_(makeDirectory()) {
    try {
        makeAll(*this);
    } catch (...) {
        removeDirectory(directory_);
        throw;
    }
}

TestCertificates::~TestCertificates() { removeDirectory(directory_); }

std::string TestCertificates::directory() const { return directory_; }

std::string TestCertificates::caFile() const { return directory_ + "/ca.pem"; }

std::string TestCertificates::certificateFile(TlsKind kind) const {
    return directory_ + "/" + fileName(kind) + ".pem";
}

std::string TestCertificates::keyFile(TlsKind kind) const {
    return directory_ + "/" + fileName(kind) + ".key";
}

}  // namespace tavrin::httpclient_testing

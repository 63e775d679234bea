#include <fstream>

#include "httpclient_testing/black_hole.h"
#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_testing::TestCertificates;
using httpclient_testing::TlsKind;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class Tls : public OnBothRoads {
protected:
    static const std::shared_ptr<const TestCertificates>& certificates() {
        static const auto made = std::make_shared<const TestCertificates>();
        return made;
    }

    static std::unique_ptr<FaultServer> server(TlsKind kind, const char* plan = "") {
        FaultServerOptions options;
        options.tls = kind;
        options.certificates = certificates();
        options.plan = plan;
        return std::make_unique<FaultServer>(std::move(options));
    }

    static ClientConfiguration trusting() {
        return once().withCertificateFile(certificates()->caFile());
    }

    std::string failureWith(const CurlHttpClient& client, const std::string& url) {
        return failureOf([&] { send(client, get(url)); });
    }
};
ON_BOTH_ROADS(Tls);

TEST_P(Tls, AcceptsTheOwnAuthority) {
    const auto good = server(TlsKind::GOOD);
    HttpResponse response = send(CurlHttpClient(trusting()), get(good->url("/bytes/1000")));
    EXPECT_EQ(response.getResponseBodyString(), good->content("/bytes/1000").all());
    EXPECT_TRUE(good->requests().at(0).overTls);
}

TEST_P(Tls, RefusesWhatIsWrongAndSaysWhich) {
    const std::pair<TlsKind, const char*> wrong[] = {
        {TlsKind::EXPIRED, "certificate has expired"},
        {TlsKind::NOT_YET_VALID, "certificate is not yet valid"},
        {TlsKind::SELF_SIGNED, "certificate problem: self-signed certificate"},
        {TlsKind::WRONG_HOST, "no alternative certificate subject name matches"},
        {TlsKind::UNTRUSTED_CA, "self-signed certificate in certificate chain"},
        // Of TLS 1.1 it is the signatures that OpenSSL no longer takes.
        {TlsKind::OLD_PROTOCOL, "legacy sigalg disallowed or unsupported"},
    };
    for (const auto& [kind, reason] : wrong) {
        const auto bad = server(kind);
        const std::string text = failureWith(CurlHttpClient(trusting()), bad->url());
        EXPECT_THAT(text, AllOf(StartsWith("Request to " + hostOf(*bad) + " failed: TLS: "),
                                HasSubstr(reason)));
        EXPECT_TRUE(bad->requests().empty()) << reason;
    }
}

TEST_P(Tls, TrustsTheFileAndNothingElse) {
    const auto good = server(TlsKind::GOOD);
    EXPECT_THAT(failureWith(CurlHttpClient(once()), good->url()), HasSubstr("failed: TLS: "));
    const TestCertificates other;
    EXPECT_THAT(
        failureWith(CurlHttpClient(once().withCertificateFile(other.caFile())), good->url()),
        HasSubstr("failed: TLS: "));
}

TEST_P(Tls, AMissingOrUselessFileIsAnErrorThatNamesIt) {
    const auto good = server(TlsKind::GOOD);
    EXPECT_THAT(
        failureWith(CurlHttpClient(once().withCertificateFile("/absent/ca.pem")), good->url()),
        StartsWith("Request to " + hostOf(*good) + " failed: certificate file /absent/ca.pem: "));
    EXPECT_THAT(failureWith(CurlHttpClient(once().withCertificateFile("/dev/null")), good->url()),
                HasSubstr("certificate file /dev/null: "));
    EXPECT_TRUE(good->requests().empty());
}

TEST_P(Tls, APathThatContainsNulNamesNoFile) {
    const auto good = server(TlsKind::GOOD);
    const std::string path = certificates()->caFile() + std::string("\0.other", 7);

    EXPECT_EQ(failureWith(CurlHttpClient(once().withCertificateFile(path)), good->url()),
              "Request refused: the path of the certificate file contains NUL");
    EXPECT_EQ(good->connectionsAccepted(), 0u);
}

TEST_P(Tls, AChangedFileCountsForTheNextConnection) {
    const auto good = server(TlsKind::GOOD, "close");
    const TestCertificates other;
    const std::string path = other.directory() + "/changing.pem";
    const auto copy = [&](const std::string& from) {
        std::ofstream(path, std::ios::trunc) << std::ifstream(from).rdbuf();
    };
    const CurlHttpClient client(once().withCertificateFile(path));
    copy(certificates()->caFile());
    EXPECT_EQ(failureWith(client, good->url()), "");
    copy(other.caFile());
    EXPECT_THAT(failureWith(client, good->url()), HasSubstr("failed: TLS: "));
}

TEST_P(Tls, AKeptConnectionServesOnlyTheTrustItWasMadeWith) {
    const auto good = server(TlsKind::GOOD);
    CurlHttpClient client(trusting());
    EXPECT_EQ(failureWith(client, good->url()), "");
    client.setClientConfiguration(once());
    EXPECT_THAT(failureWith(client, good->url()), HasSubstr("failed: TLS: "));
    client.setClientConfiguration(trusting());
    EXPECT_EQ(failureWith(client, good->url()), "");
}

TEST_P(Tls, BrokenHandshakesFail) {
    for (const char* plan : {"garbage", "hello_rst", "accept_rst"}) {
        const auto bad = server(TlsKind::GOOD, plan);
        EXPECT_THAT(failureWith(CurlHttpClient(trusting()), bad->url()),
                    StartsWith("Request to " + hostOf(*bad) + " failed: "))
            << plan;
    }
}

TEST_P(Tls, ABodyWithoutALengthEndsWithACloseNotify) {
    const auto closing = server(TlsKind::GOOD, "nolen");
    HttpResponse response = send(CurlHttpClient(trusting()), get(closing->url("/bytes/50000")));
    EXPECT_EQ(response.getResponseBodyString(), closing->content("/bytes/50000").all());
    for (const char* plan :
         {"nolen+fin@0", "nolen+fin@20000", "nolen+nonotify", "nolen+http10+fin@3"}) {
        const auto cut = server(TlsKind::GOOD, plan);
        EXPECT_EQ(failureWith(CurlHttpClient(trusting()), cut->url("/bytes/50000")),
                  "Request to " + hostOf(*cut) +
                      " failed: incomplete body: the TLS connection ended without a close_notify")
            << plan;
    }
}

TEST_P(Tls, ABodyWithALengthNeedsNone) {
    const auto rude = server(TlsKind::GOOD, "nonotify+close");
    HttpResponse response = send(CurlHttpClient(trusting()), get(rude->url("/bytes/50000")));
    EXPECT_EQ(response.getResponseBodyString(), rude->content("/bytes/50000").all());
    const auto cut = server(TlsKind::GOOD, "fin@10");
    EXPECT_THAT(failureWith(CurlHttpClient(trusting()), cut->url("/bytes/50000")),
                HasSubstr("failed: "));
}

TEST_P(Tls, DownloadsResume) {
    const auto cut = server(TlsKind::GOOD, "fin@10000,rst@20000,503,ok");
    HttpResponse response =
        send(CurlHttpClient(stubborn().withCertificateFile(certificates()->caFile())),
             get(cut->url("/bytes/50000")));
    EXPECT_EQ(response.getResponseBodyString(), cut->content("/bytes/50000").all());
}

}  // namespace
}  // namespace tavrin::httpclient_curl

#include <gmock/gmock.h>

#include "support/program_test.h"

namespace tavrin::http_tool::testing {
namespace {

using httpclient_core::test::writeFile;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using Request = ProgramTest;

TEST_F(Request, IntroducesItself) {
    run({server_.url()});
    run({"-A", "me/1", server_.url()});

    EXPECT_EQ(sent(0, "User-Agent"), "tavrin-http/1.0.0");
    EXPECT_EQ(sent(1, "User-Agent"), "me/1");
}

TEST_F(Request, DoesNotIntroduceItselfWhereItIsToldNotTo) {
    run({"-A", "", server_.url()});
    run({"-H", "user-agent:", server_.url()});

    for (const auto& request : server_.requests()) EXPECT_FALSE(request.header("User-Agent"));
}

TEST_F(Request, CarriesHeaders) {
    run({"-H", "X-A: 1", "-H", "X-A: 2", "-u", "a:b", server_.url()});

    EXPECT_EQ(server_.requests().at(0).countHeader("X-A"), 2U);
    EXPECT_EQ(sent(0, "Authorization"), "Basic YTpi");
}

TEST_F(Request, PostsData) {
    EXPECT_EQ(run({"-d", "a=1", "--data-urlencode", "b= &", server_.url()}).code, 0);

    const auto request = server_.requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, "a=1&b=%20%26");
    EXPECT_EQ(sent(0, "Content-Type"), "application/x-www-form-urlencoded");
    EXPECT_EQ(sent(0, "Content-Length"), "12");
}

TEST_F(Request, PostsStandardInput) {
    ProgramSetting setting;
    setting.input = std::string("x\0y\n", 4);
    run({"--data-binary", "@-", server_.url()}, setting);

    EXPECT_EQ(server_.requests().at(0).body, setting.input);
}

TEST_F(Request, PostsJson) {
    run({"--json", "{\"a\":[1,2]}", server_.url()});

    EXPECT_EQ(server_.requests().at(0).body, "{\"a\":[1,2]}");
    EXPECT_EQ(sent(0, "Content-Type"), "application/json");
    EXPECT_EQ(sent(0, "Accept"), "application/json");
}

TEST_F(Request, PostsAMultipartForm) {
    writeFile(directory_.file("f.txt"), "content of f");
    EXPECT_EQ(run({"-F", "a=1", "-F", "f=@f.txt;type=text/x", server_.url()}).code, 0);

    const auto request = server_.requests().at(0);
    EXPECT_THAT(sent(0, "Content-Type"), StartsWith("multipart/form-data; boundary="));
    EXPECT_THAT(request.body, HasSubstr("name=\"a\"\r\n\r\n1\r\n"));
    EXPECT_THAT(request.body, HasSubstr("name=\"f\"; filename=\"f.txt\"\r\n"));
    EXPECT_THAT(request.body, HasSubstr("Content-Type: text/x\r\n"));
    EXPECT_THAT(request.body, HasSubstr("\r\n\r\ncontent of f\r\n"));
}

TEST_F(Request, UsesTheMethodThatIsNamed) {
    run({"-X", "PUT", "-d", "x", server_.url()});
    run({"-X", "DELETE", server_.url()});

    EXPECT_EQ(server_.requests().at(0).method, "PUT");
    EXPECT_EQ(server_.requests().at(1).method, "DELETE");
}

TEST_F(Request, GoesThroughTheProxyOfTheEnvironment) {
    ProgramSetting setting;
    setting.environment = {{"http_proxy", server_.url("")}};
    const auto outcome = run({"http://example.invalid/bytes/5"}, setting);

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(server_.requests().at(0).target, "http://example.invalid/bytes/5");
}

TEST_F(Request, GoesThroughTheProxyThatIsNamed) {
    EXPECT_EQ(run({"-x", server_.url(""), "http://example.invalid/"}).code, 0);
    EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(Request, GoesAroundTheProxyWhereItMay) {
    ProgramSetting setting;
    setting.environment = {{"http_proxy", "http://127.0.0.1:1"}, {"no_proxy", "127.0.0.1"}};
    EXPECT_EQ(run({server_.url()}, setting).code, 0);

    setting.environment = {{"http_proxy", "http://127.0.0.1:1"}};
    EXPECT_EQ(run({"--retry", "0", server_.url()}, setting).code, 7);
    EXPECT_EQ(run({"--noproxy", "127.0.0.0/8", server_.url()}, setting).code, 0);
    EXPECT_EQ(run({"-x", "", server_.url()}, setting).code, 0);
}

TEST_F(Request, AsksForCompressedContentAndDecodesIt) {
    server_.setPlan("gzip");
    const auto outcome = run({"--compressed", server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, server_.content().all());
    EXPECT_THAT(sent(0, "Accept-Encoding"), HasSubstr("gzip"));
}

TEST_F(Request, DecodesAsMuchAsIsAllowed) {
    server_.setPlan("gzipbomb:1");

    for (const std::string limit : {"1048576", "0"}) {
        EXPECT_EQ(run({"--compressed", "--max-decoded", limit, "-o", "f", server_.url()}).code, 0);
        EXPECT_EQ(file("f").size(), 1048576U);
    }
}

class RequestOverTls : public ProgramTest {
protected:
    RequestOverTls() : ProgramTest(options(httpclient_testing::TlsKind::GOOD)) {}

    static httpclient_testing::FaultServerOptions options(httpclient_testing::TlsKind kind) {
        httpclient_testing::FaultServerOptions options;
        options.tls = kind;
        return options;
    }
};

TEST_F(RequestOverTls, TrustsTheCertificatesThatAreGiven) {
    const auto outcome = run({"--cacert", server_.caFile(), server_.url("/bytes/9")});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, server_.content("/bytes/9").all());
}

TEST_F(RequestOverTls, RefusesACertificateThatNobodyVouchesFor) {
    const auto outcome = run({server_.url()});

    EXPECT_EQ(outcome.code, 60);
    EXPECT_EQ(server_.requests().size(), 0U);
    EXPECT_THAT(outcome.errors, Not(HasSubstr("trying again")));
}

TEST_F(RequestOverTls, SaysThatTheCertificateFileIsMissing) {
    const auto outcome = run({"--cacert", "/no/ca", server_.url()});

    EXPECT_EQ(outcome.code, 77);
    EXPECT_THAT(outcome.errors, HasSubstr("/no/ca"));
}

TEST_F(RequestOverTls, ResumesAsInTheClear) {
    server_.setPlan("rst@1000,ok");
    EXPECT_EQ(run({"--cacert", server_.caFile(), "-o", "f", server_.url()}).code, 0);

    EXPECT_EQ(file("f"), server_.content().all());
    EXPECT_EQ(sent(1, "Range"), "bytes=1000-");
}

}  // namespace
}  // namespace tavrin::http_tool::testing

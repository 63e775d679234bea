#include <gmock/gmock.h>

#include <filesystem>
#include <utility>

#include "support/program_test.h"

namespace tavrin::http_tool::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using Failure = ProgramTest;

TEST_F(Failure, HasTheCodeThatScriptsKnow) {
    const auto codeFor = [this](const std::string& plan) {
        server_.setPlan(plan);
        return run({"--retry", "0", "-o", "f", server_.url()}).code;
    };

    EXPECT_EQ(codeFor("badstatus:letters"), 8);
    EXPECT_EQ(codeFor("fin@1000"), 18);
    EXPECT_EQ(codeFor("tchunk@1000"), 18);
    EXPECT_EQ(codeFor("noresp"), 52);
    EXPECT_EQ(codeFor("noresp:rst"), 56);
    EXPECT_EQ(codeFor("rst@1000"), 56);
    EXPECT_EQ(codeFor("302:/a"), 47);
    EXPECT_EQ(codeFor("302:file:///etc/passwd"), 1);
}

TEST_F(Failure, OfTheWayThereHasTheCodeThatScriptsKnow) {
    const auto codeFor = [this](const std::string& url) { return run({"--retry", "0", url}).code; };

    EXPECT_EQ(codeFor("ftp://127.0.0.1/"), 1);
    EXPECT_EQ(codeFor("http://"), 3);
    EXPECT_EQ(codeFor("http://127.0.0.1:99999/"), 3);
    EXPECT_EQ(codeFor("http://a b/"), 3);
    EXPECT_EQ(codeFor("http://nowhere.invalid/"), 6);

    server_.refuseConnections();
    EXPECT_EQ(codeFor(server_.url()), 7);
}

TEST_F(Failure, OfAProxyHasTheCodeThatScriptsKnow) {
    const std::string nobody = "127.0.0.1:" + std::to_string(server_.port());
    server_.refuseConnections();

    for (const std::string scheme : {"http://", "https://", "socks5://", "socks5h://"}) {
        SCOPED_TRACE(scheme);
        const auto codeVia = [&](const std::string& host) {
            return run({"--retry", "0", "-x", scheme + host, "http://127.0.0.1/"}).code;
        };
        EXPECT_EQ(codeVia("nowhere.invalid"), 5);
        EXPECT_EQ(codeVia(nobody), 7);
    }
}

TEST_F(Failure, OfTlsThatIsNoneHasTheCodeThatScriptsKnow) {
    server_.setPlan("garbage");
    const auto outcome =
        run({"--retry", "0", "https://127.0.0.1:" + std::to_string(server_.port()) + "/"});

    EXPECT_EQ(outcome.code, 35) << outcome.errors;
}

TEST_F(Failure, NamesTheUrlWithoutItsCredentials) {
    server_.setPlan("noresp");
    const auto outcome = run({"--retry", "0", server_.urlWithHost("user:secret@127.0.0.1", "/x")});

    EXPECT_THAT(outcome.errors, HasSubstr("tavrin-http: http://***@127.0.0.1:"));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("secret")));
}

TEST_F(Failure, OfATimeLimitHasItsCode) {
    server_.setPlan("stall@1000");

    EXPECT_EQ(run({"--max-time", "0.2", "-o", "f", server_.url()}).code, 28);
    EXPECT_EQ(run({"--retry", "0", "-Y", "1000", "-y", "1", "-o", "f", server_.url()}).code, 28);
    server_.setPlan("hstall");
    const auto outcome = run({"--retry", "0", "--response-timeout", "0.1", server_.url()});
    EXPECT_EQ(outcome.code, 28);
    EXPECT_THAT(outcome.errors, HasSubstr("Request timed out."));
}

TEST_F(Failure, OfAFullDiskIsSaidAndNotRetried) {
    ProgramSetting setting;
    setting.largestFile = 5000;
    const auto outcome = run({"-o", "f", server_.url()}, setting);

    EXPECT_EQ(outcome.code, 23);
    EXPECT_THAT(outcome.errors, HasSubstr("cannot write to \"f.part\": File too large\n"));
    EXPECT_EQ(server_.requests().size(), 1U);
    EXPECT_FALSE(std::filesystem::exists(directory_.file("f")));
}

TEST_F(Failure, OfAFullDeviceIsSaid) {
    const auto outcome = run({"-o", "/dev/full", server_.url()});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() +
                                  ": cannot write to \"/dev/full\": No space left on device\n");
}

TEST_F(Failure, OfAClosedPipeIsSaid) {
    ProgramSetting setting;
    setting.closedOutput = true;
    const auto outcome = run({server_.url()}, setting);

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors,
              "tavrin-http: " + server_.url() + ": cannot write to standard output: Broken pipe\n");
}

TEST_F(Failure, OfAStandardOutputThatIsClosedHasItsCode) {
    ProgramSetting setting;
    setting.closedStreams = true;

    EXPECT_EQ(run({server_.url("/bytes/5")}, setting).code, 23);
    EXPECT_EQ(run({"--help"}, setting).code, 23);
    EXPECT_EQ(run({"-d", "@-", server_.url()}, setting).code, 26);
    EXPECT_EQ(run({"-o", "f", server_.url()}, setting).code, 0);
    EXPECT_EQ(file("f"), server_.content().all());
}

TEST_F(Failure, OfANameThatTheSystemRefusesIsSaid) {
    const std::string name(300, 'x');
    const auto outcome = run({"-o", name, server_.url()});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() + ": cannot create \"" + name +
                                  ".part\": File name too long\n");
}

TEST_F(Failure, OfAMissingDirectoryComesBeforeTheRequest) {
    const auto outcome = run({"-o", "no/f", server_.url()});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() +
                                  ": cannot create \"no/f.part\": No such file or directory\n");
    EXPECT_EQ(server_.requests().size(), 0U);
}

TEST_F(Failure, OfTheCommandLineIsSaidBeforeAnythingElse) {
    const auto outcome = run({"--nonsense", server_.url()});

    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("Try \"tavrin-http --help\""));
    EXPECT_EQ(server_.requests().size(), 0U);
}

TEST_F(Failure, OfAnAnswerBeyondALimitIsNotTriedAgain) {
    for (const auto& [plan, name] : {std::pair("gzipbomb:1", "maxDecodedBytes = 1048575"),
                                     std::pair("hbomb:1001:10", "maxHeaderCount"),
                                     std::pair("hbomb:400:800", "maxHeaderBytes"),
                                     std::pair("hline:200000", "more than 100 KiB")}) {
        SCOPED_TRACE(plan);
        server_.forgetRequests();
        server_.setPlan(plan);
        const auto outcome = run(
            {"--retry", "1", "--compressed", "--max-decoded", "1048575", "-o", "f", server_.url()});

        EXPECT_EQ(outcome.code, 63);
        EXPECT_THAT(outcome.errors, HasSubstr(name));
        EXPECT_EQ(server_.requests().size(), 1U);
        EXPECT_EQ(directory_.listing(), "");
    }
}

TEST_F(Failure, IsSilentIfAskedTo) {
    server_.setPlan("503,404");

    EXPECT_EQ(run({"-s", "-f", server_.url()}).errors, "");
    server_.setPlan("503,404");
    EXPECT_EQ(run({"-sS", "-f", server_.url()}).errors,
              "tavrin-http: " + server_.url() + ": the server answered 404 Not Found\n");
}

}  // namespace
}  // namespace tavrin::http_tool::testing

#include <gmock/gmock.h>

#include "support/program_test.h"

namespace tavrin::http_tool::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using Talk = ProgramTest;

TEST_F(Talk, ShowsProgressAwayFromATerminalOnlyIfAsked) {
    EXPECT_EQ(run({"-o", "f", server_.url()}).errors, "");

    const auto outcome = run({"--progress", "-o", "f", server_.url()});
    EXPECT_THAT(outcome.errors, HasSubstr("f  [=="));
    EXPECT_THAT(outcome.errors, HasSubstr("100%"));
    EXPECT_EQ(outcome.output, "");
}

TEST_F(Talk, KeepsProgressOutOfTheData) {
    const auto outcome = run({"--progress", server_.url()});

    EXPECT_EQ(outcome.output, server_.content().all());
    EXPECT_THAT(outcome.errors, HasSubstr("100%"));
}

TEST_F(Talk, ShowsTheLibrarysDecisions) {
    server_.setPlan("rst@1000,ok");
    const auto outcome = run({"-v", "-o", "f", server_.url()});

    EXPECT_THAT(outcome.errors,
                HasSubstr("* [decision] Requesting a byte range starting from where last request "
                          "left off up to the end: bytes=1000-\n"));
    EXPECT_THAT(outcome.errors, HasSubstr("* [decision] Request to " + server_.url() +
                                          " was successful on attempt 2\n"));
    EXPECT_THAT(outcome.errors, HasSubstr("answered 200 after 0 redirects, 2 attempts\n"));
}

TEST_F(Talk, CountsOneOfEachAsOne) {
    server_.setPlan("302:/there,ok");

    EXPECT_THAT(run({"-v", "-o", "f", server_.url()}).errors,
                HasSubstr("answered 200 after 1 redirect, 1 attempt\n"));
}

TEST_F(Talk, ShowsDecisionsWithoutCredentials) {
    const auto outcome = run({"-v", server_.urlWithHost("user:secret@127.0.0.1", "/x")});

    EXPECT_THAT(outcome.errors, HasSubstr("Request to http://***@127.0.0.1"));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("secret")));
}

TEST_F(Talk, LetsNoServerSteerTheTerminal) {
    server_.setPlan("header:Content-Disposition=attachment; filename=\"a\x1b[2Jb\"");
    const auto outcome = run({"-v", "--progress", "-O", "-J", server_.url("/x%1b%5b2J")});

    EXPECT_THAT(outcome.errors, Not(HasSubstr("\x1b")));
}

TEST_F(Talk, PrintsHelpAndVersionOnStandardOutput) {
    const auto help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_THAT(help.output, StartsWith("tavrin-http - fetch URLs"));
    EXPECT_EQ(help.errors, "");
    EXPECT_EQ(run({"--version"}).output, "tavrin-http 1.0.0\n");
}

}  // namespace
}  // namespace tavrin::http_tool::testing

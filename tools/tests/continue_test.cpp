#include <gmock/gmock.h>

#include <csignal>
#include <utility>

#include "support/program_test.h"

namespace tavrin::http_tool::testing {
namespace {

using httpclient_core::test::writeFile;
using ::testing::EndsWith;
using ::testing::HasSubstr;

// Runs of the program that go on where an earlier one ended.
class Continue : public ProgramTest {
protected:
    // Leaves a part file of `bytes` bytes behind.
    void breakAfter(int bytes, const std::string& alsoWrong = "") {
        server_.setPlan("rst@" + std::to_string(bytes) + alsoWrong);
        EXPECT_NE(run({"--retry", "0", "-o", "f", server_.url()}).code, 0);
        ASSERT_EQ(directory_.listing(), "f.part f.part.validator");
        ASSERT_EQ(file("f.part").size(), static_cast<std::size_t>(bytes));
        server_.forgetRequests();
        server_.setPlan("ok");
    }

    Outcome goOn(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.end(), {"-C", "-o", "f", server_.url()});
        return run(arguments);
    }

    void expectWhole() {
        EXPECT_EQ(file("f"), server_.content().all());
        EXPECT_EQ(directory_.listing(), "f");
    }
};

TEST_F(Continue, AsksForTheRestOfThatVersion) {
    breakAfter(1000);
    const auto outcome = goOn();

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(sent(0, "Range"), "bytes=1000-");
    EXPECT_EQ(sent(0, "If-Range"), server_.etag());
    EXPECT_EQ(server_.requests().size(), 1U);
    expectWhole();
}

TEST_F(Continue, TakesTheDashThatStandsForAnOffset) {
    breakAfter(1000);

    EXPECT_EQ(run({"-C", "-", "-o", "f", server_.url()}).code, 0);

    EXPECT_EQ(sent(0, "Range"), "bytes=1000-");
    expectWhole();
}

TEST_F(Continue, IsNotDoneUnasked) {
    breakAfter(1000);

    EXPECT_EQ(run({"-o", "f", server_.url()}).code, 0);
    EXPECT_EQ(sent(0, "Range"), "none");
    expectWhole();
}

TEST_F(Continue, StartsNormallyWhereNothingIsThere) {
    EXPECT_EQ(goOn().code, 0);
    EXPECT_EQ(sent(0, "Range"), "none");
    expectWhole();
}

TEST_F(Continue, StartsAnewWhenTheContentChanged) {
    breakAfter(1000);
    server_.setPlan("change,ok");
    const auto outcome = goOn();

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(server_.requests().size(), 1U);
    expectWhole();
}

TEST_F(Continue, GoesOnByALastModifiedThatIsOldEnough) {
    breakAfter(1000, "+noetag");
    server_.setPlan("noetag");

    EXPECT_EQ(goOn().code, 0);
    EXPECT_EQ(sent(0, "Range"), "bytes=1000-");
    expectWhole();
}

TEST_F(Continue, GetsOnFromCutToCut) {
    breakAfter(1000);
    server_.setPlan("rst@1000,rst@1000,503,rst@1000,ok");
    const auto outcome = goOn({"--retry", "4"});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(sent(4, "Range"), "bytes=4000-");
    expectWhole();
}

TEST_F(Continue, KeepsWhatCameWhenItFailsAgain) {
    breakAfter(1000);
    server_.setPlan("rst@500");
    EXPECT_EQ(goOn({"--retry", "1"}).code, 56);
    EXPECT_EQ(file("f.part").size(), 2000U);

    server_.setPlan("503");
    EXPECT_EQ(goOn({"-f", "--retry", "0"}).code, 22);
    EXPECT_EQ(file("f.part").size(), 2000U);

    server_.refuseConnections();
    EXPECT_EQ(goOn({"--retry", "0"}).code, 7);
    EXPECT_EQ(file("f.part").size(), 2000U);
    server_.acceptAgain();

    server_.forgetRequests();
    server_.setPlan("ok");
    EXPECT_EQ(goOn().code, 0);
    EXPECT_EQ(sent(0, "Range"), "bytes=2000-");
    expectWhole();
}

TEST_F(Continue, TakesNoErrorPageForTheRest) {
    breakAfter(1000);
    server_.setPlan("503:b50");

    EXPECT_EQ(goOn({"--retry", "0"}).code, 18);
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
    EXPECT_EQ(file("f.part").size(), 1000U);
}

TEST_F(Continue, JoinsNothingThatDoesNotFit) {
    for (const std::string fault :
         {"wrongrange:+1", "wrongrange:-1", "lietotal:+1", "nocr", "multirange", "shortrange:10",
          "ifrangedrop", "change+ifrangeignore", "416", "ignorerange", "gzip"}) {
        SCOPED_TRACE(fault);
        breakAfter(1000);
        server_.setPlan(fault + ",ok");
        const auto outcome = goOn({"--retry", "0"});

        EXPECT_EQ(outcome.code, 0) << outcome.errors;
        if (fault != "gzip") expectWhole();
        std::remove(directory_.file("f").c_str());
    }
}

TEST_F(Continue, DecodesWhatComesInPlaceOfTheRest) {
    breakAfter(1000);
    server_.setPlan("gzip");
    const auto outcome = goOn({"--compressed"});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(sent(0, "Range"), "bytes=1000-");
    expectWhole();
}

TEST_F(Continue, StartsAnewWhenTheDigestShowsAnotherVersionUnderTheSameValidator) {
    breakAfter(40000, "+digest");
    server_.setPlan("change+keepetag+digest,ok");
    const auto outcome = goOn();

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(sent(0, "Range"), "bytes=40000-");
    EXPECT_EQ(sent(1, "Range"), "none");
    expectWhole();
}

TEST_F(Continue, TakesTheDigestForTheWholeWhicheverAnswerToldIt) {
    for (const auto& [first, second] : {std::pair("+digest", ""), std::pair("", "+digest")}) {
        SCOPED_TRACE(first);
        breakAfter(40000, first);
        server_.setPlan(std::string("change+keepetag") + second);
        const auto outcome = goOn({"--retry", "0"});

        EXPECT_EQ(outcome.code, 100);
        EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() +
                                      ": digest: the body is not what its Repr-Digest tells\n");
        EXPECT_EQ(directory_.listing(), "");

        breakAfter(40000, first);
        server_.setPlan(std::string("ok") + second);
        EXPECT_EQ(goOn().code, 0);
        EXPECT_EQ(sent(0, "Range"), "bytes=40000-");
        expectWhole();
        std::remove(directory_.file("f").c_str());
    }
}

TEST_F(Continue, KeepsNothingThatItsDigestRefuted) {
    server_.setPlan("digest+fin@40000,change+keepetag+digest");
    const auto outcome = run({"--retry", "1", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 100);
    EXPECT_THAT(outcome.errors, EndsWith(": digest: the body is not what its Repr-Digest tells\n"));
    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(Continue, PutsNothingBehindAnAnswerThatTookThePlaceOfWhatWasHeld) {
    breakAfter(1000);
    server_.setPlan("ignorerange+noetag+nolm+fin@500,ok");
    const auto outcome = goOn();

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(sent(1, "Range"), "none");
    expectWhole();
}

TEST_F(Continue, TakesARestThatEndsEarlyForAFailure) {
    breakAfter(1000);
    server_.setPlan("clless:10");

    EXPECT_EQ(goOn({"--retry", "0"}).code, 18);
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
}

TEST_F(Continue, OfAFileThatIsWholeAsksOnlyWhetherItIsCurrent) {
    breakAfter(1000);
    writeFile(directory_.file("f.part"), server_.content().all());
    EXPECT_EQ(goOn().code, 0);

    EXPECT_EQ(sent(0, "Range"), "bytes=99999-");
    expectWhole();
}

TEST_F(Continue, DoesNotMixUpTwoUrls) {
    breakAfter(1000);
    server_.serve("/other", {9, 100000});
    EXPECT_EQ(run({"-C", "-o", "f", server_.url("/other")}).code, 0);

    EXPECT_EQ(sent(0, "Range"), "none");
    EXPECT_EQ(file("f"), server_.content("/other").all());
}

TEST_F(Continue, WorksAfterAKill) {
    server_.setPlan("stall@70000,ok");
    ProgramSetting setting;
    setting.directory = directory_.path();
    ProgramRun program({"-o", "f", server_.url()}, setting);
    server_.waitForStalls(1);
    program.signal(SIGKILL);
    EXPECT_EQ(program.wait(), 1000 + SIGKILL);
    server_.forgetRequests();

    EXPECT_EQ(goOn().code, 0);
    expectWhole();
}

TEST_F(Continue, ChecksTheDigestOverAllRuns) {
    breakAfter(1000);
    writeFile(directory_.file("f.part"), std::string(1000, 'x'));
    const auto outcome = goOn({"--checksum", "sha256:" + server_.content().sha256()});

    EXPECT_EQ(outcome.code, 100);
    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(Continue, TwoRunsDoNotWriteToOneFile) {
    server_.setPlan("stall@1000,ok");
    ProgramSetting setting;
    setting.directory = directory_.path();
    ProgramRun first({"-o", "f", server_.url()}, setting);
    server_.waitForStalls(1);

    const auto second = goOn();
    EXPECT_EQ(second.code, 23);
    EXPECT_THAT(second.errors, HasSubstr("another download is writing to it"));

    server_.release();
    EXPECT_EQ(first.wait(), 0);
    expectWhole();
}

}  // namespace
}  // namespace tavrin::http_tool::testing

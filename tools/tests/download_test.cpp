#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>
#include <sstream>
#include <utility>

#include "checksum.h"
#include "support/program_test.h"

#if defined(__has_feature)
#define WITH_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define WITH_THREAD_SANITIZER 0
#endif

namespace tavrin::http_tool::testing {
namespace {

using httpclient_core::test::writeFile;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

using Download = ProgramTest;

// Paths of the URLs of which a message says that they failed for good.
std::set<std::string> failedPaths(const std::string& messages) {
    std::set<std::string> paths;
    std::istringstream lines(messages);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("; trying again ") != std::string::npos ||
            line.find(" are kept in ") != std::string::npos) {
            continue;
        }
        const auto path = line.find('/', line.find("://") + 3);
        paths.insert(line.substr(path, line.find(':', path) - path));
    }
    return paths;
}

TEST_F(Download, GoesToStandardOutputAndSaysNothingElse) {
    const auto outcome = run({server_.url("/bytes/1000")});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output, server_.content("/bytes/1000").all());
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(Download, GoesToTheFileThatIsNamed) {
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_EQ(directory_.listing(), "f");
    EXPECT_EQ(file("f"), server_.content().all());
}

TEST_F(Download, OfSeveralUrlsGoesToTheFilesInTheirOrder) {
    server_.serve("/a", {1, 10});
    server_.serve("/b", {2, 20});
    const auto outcome =
        run({"-o", "a", "-o", "b", server_.url("/a"), server_.url("/b"), server_.url("/bytes/3")});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(file("a"), server_.content("/a").all());
    EXPECT_EQ(file("b"), server_.content("/b").all());
    EXPECT_EQ(outcome.output, server_.content("/bytes/3").all());
}

TEST_F(Download, OfSeveralUrlsFollowOneAnotherOnStandardOutput) {
    const auto outcome = run({server_.url("/bytes/10"), server_.url("/bytes/20")});

    EXPECT_EQ(outcome.output,
              server_.content("/bytes/10").all() + server_.content("/bytes/20").all());
}

TEST_F(Download, NamesTheFileAsTheUrlDoes) {
    run({"-O", server_.url("/dir/two%20words.txt?x=1"), "--output-dir", directory_.path()});

    EXPECT_EQ(directory_.listing(), "two words.txt");
}

TEST_F(Download, NamesNoFileOutsideTheDirectory) {
    std::filesystem::create_directory(directory_.file("inner"));
    ProgramSetting inside;
    inside.directory = directory_.file("inner");
    run({"-O", server_.url("/..%2f..%2f.profile")}, inside);

    EXPECT_EQ(directory_.listing(), "inner");
    EXPECT_TRUE(std::filesystem::exists(directory_.file("inner/profile")));
}

TEST_F(Download, RefusesAUrlThatNamesNoFile) {
    const auto outcome = run({"-O", server_.url("/")});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors,
              "tavrin-http: " + server_.url("/") + " names no file; say with -o how to call it\n");
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(Download, RefusesTwoUrlsForOneFile) {
    const auto outcome = run({"-O", server_.url("/a/x"), server_.url("/b/x")});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_EQ(outcome.errors, "tavrin-http: two URLs would be written to \"x\"\n");
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(Download, RefusesAUrlForThePartFileOfAnother) {
    for (const std::string name : {"x.part", "x.part.validator"}) {
        for (const auto& urls : {std::vector{"/" + name, std::string("/x")}, {"/x", "/" + name}}) {
            const auto outcome = run({"-O", server_.url(urls[0]), server_.url(urls[1])});

            EXPECT_EQ(outcome.code, 23);
            EXPECT_EQ(outcome.errors,
                      "tavrin-http: two URLs would be written to \"" + name + "\"\n");
        }
    }
    EXPECT_THAT(server_.requests(), IsEmpty());
}

TEST_F(Download, NamesTheFileAsTheServerDoes) {
    server_.setPlan("header:Content-Disposition=attachment; filename=\"../x y.txt\"");
    const auto outcome = run({"-O", "-J", server_.url("/f")});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(directory_.listing(), "x y.txt");
}

TEST_F(Download, KeepsTheNameThatIsGivenWhateverTheServerSays) {
    writeFile(directory_.file("f"), "old");
    server_.setPlan("header:Content-Disposition=attachment; filename=\"x\"");
    EXPECT_EQ(run({"-o", "f", "-O", "-J", server_.url("/a"), server_.url("/b")}).code, 0);

    EXPECT_EQ(directory_.listing(), "f x");
    EXPECT_EQ(file("f"), server_.content("/a").all());
}

TEST_F(Download, ReplacesNothingUnderANameThatTheServerChose) {
    writeFile(directory_.file("precious"), "mine");
    server_.setPlan("header:Content-Disposition=attachment; filename=precious");
    const auto outcome = run({"-O", "-J", server_.url("/f")});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_THAT(outcome.errors, HasSubstr("cannot rename \"f.part\" to \"precious\": File exists"));
    EXPECT_EQ(file("precious"), "mine");
}

TEST_F(Download, UnderANameThatTheServerChoosesReplacesNoneOfTheSameRun) {
    server_.setPlan("/f", "header:Content-Disposition=attachment; filename=g");
    const auto outcome = run({"-O", "-J", server_.url("/f"), server_.url("/g")});

    EXPECT_EQ(outcome.code, 23);
    EXPECT_THAT(outcome.errors, HasSubstr("cannot rename \"g.part\" to \"g\": File exists"));
    EXPECT_EQ(file("g"), server_.content("/f").all());
}

TEST_F(Download, TakesNoNameOfAPartFileFromTheServer) {
    for (const std::string name : {"g.part", "f.part.validator"}) {
        SCOPED_TRACE(name);
        server_.setPlan("/f",
                        "noetag+nolm+header:Content-Disposition=attachment; filename=" + name);
        EXPECT_EQ(run({"-O", "-J", server_.url("/f"), server_.url("/g")}).code, 0);

        EXPECT_EQ(file(name + "_"), server_.content("/f").all());
        EXPECT_EQ(file("g"), server_.content("/g").all());
        std::filesystem::remove(directory_.file(name + "_"));
        std::filesystem::remove(directory_.file("g"));
    }
}

TEST_F(Download, UnderANameThatTheServerChoosesStaysInItsDirectory) {
    std::filesystem::create_directory(directory_.file("elsewhere"));
    std::filesystem::create_symlink("elsewhere/f", directory_.file("f"));
    writeFile(directory_.file("elsewhere/f"), "other");
    server_.setPlan("header:Content-Disposition=attachment; filename=g");

    EXPECT_EQ(run({"-O", "-J", server_.url("/f")}).code, 0);
    EXPECT_EQ(directory_.listing(), "elsewhere f g");
    EXPECT_EQ(file("elsewhere/f"), "other");
}

TEST_F(Download, ReplacesAnEarlierFileOnlyWhenItIsWhole) {
    writeFile(directory_.file("f"), "old");
    server_.setPlan("rst@500,ok");

    EXPECT_EQ(run({"--retry", "0", "-o", "f", server_.url()}).code, 56);
    EXPECT_EQ(file("f"), "old");

    EXPECT_EQ(run({"-o", "f", server_.url()}).code, 0);
    EXPECT_EQ(file("f"), server_.content().all());
    EXPECT_EQ(directory_.listing(), "f");
}

TEST_F(Download, OfNothingLeavesAnEmptyFile) {
    EXPECT_EQ(run({"-o", "f", server_.url("/bytes/0")}).code, 0);
    EXPECT_EQ(file("f"), "");

    server_.setPlan("204");
    EXPECT_EQ(run({"-o", "g", server_.url("/")}).code, 0);
    EXPECT_EQ(file("g"), "");
}

TEST_F(Download, WritesToADeviceAsItIs) {
    EXPECT_EQ(run({"-o", "/dev/null", server_.url()}).code, 0);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(Download, ShowsStatusAndHeadersInFrontOfTheBody) {
    server_.setPlan("header:X-A=1");
    const auto outcome = run({"-i", server_.url("/bytes/5")});

    EXPECT_THAT(outcome.output, StartsWith("HTTP 200 OK\r\n"));
    EXPECT_THAT(outcome.output, HasSubstr("\r\nX-A: 1\r\n"));
    EXPECT_THAT(outcome.output,
                ::testing::EndsWith("\r\n\r\n" + server_.content("/bytes/5").all()));
}

TEST_F(Download, WithHeadersResumesBehindThem) {
    server_.setPlan("rst@1000,ok");
    run({"-i", "-o", "f", server_.url()});

    const std::string text = file("f");
    const auto body = text.find("\r\n\r\n");
    ASSERT_NE(body, std::string::npos);
    EXPECT_THAT(text, StartsWith("HTTP 200 OK\r\n"));
    EXPECT_EQ(text.substr(body + 4), server_.content().all());
    EXPECT_EQ(sent(1, "Range"), "bytes=1000-");
}

TEST_F(Download, AsksForTheHeadAlone) {
    const auto outcome = run({"-I", server_.url("/bytes/5")});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.output, StartsWith("HTTP 200 OK\r\n"));
    EXPECT_THAT(outcome.output, HasSubstr("Content-Length: 5\r\n"));
    EXPECT_EQ(server_.requests().at(0).method, "HEAD");
}

TEST_F(Download, GoesOnWhereItBrokeOff) {
    server_.setPlan("rst@1000,rst@3000,fin@2000,ok");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(file("f"), server_.content().all());
    EXPECT_EQ(sent(1, "Range"), "bytes=1000-");
    EXPECT_EQ(sent(1, "If-Range"), server_.etag());
    EXPECT_EQ(sent(2, "Range"), "bytes=4000-");
    EXPECT_EQ(sent(3, "Range"), "bytes=6000-");
    EXPECT_EQ(directory_.listing(), "f");
}

TEST_F(Download, OnStandardOutputGoesOnWhereItBrokeOff) {
    server_.setPlan("rst@1000,rst@3000,ok");
    const auto outcome = run({server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, server_.content().all());
}

TEST_F(Download, SaysWhyItTriesAgain) {
    server_.setPlan("503,ok");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() +
                                  ": the server answered 503 Service Unavailable; trying again at "
                                  "once, attempt 2 of 5\n");
}

TEST_F(Download, KeepsWhatItHasWhenAnErrorPageComesInBetween) {
    server_.setPlan("rst@1000,503:b5000,ok");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(file("f"), server_.content().all());
    EXPECT_EQ(sent(2, "Range"), "bytes=1000-");
    EXPECT_EQ(directory_.listing(), "f");
}

TEST_F(Download, GoesOnWithoutAcceptRangesToo) {
    server_.setPlan("noar+rst@1000,noar+rst@1000,noar");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(file("f"), server_.content().all());
    EXPECT_EQ(sent(2, "Range"), "bytes=2000-");
}

TEST_F(Download, StartsAnewWhenTheContentChanged) {
    server_.setPlan("rst@1000,change,ok");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(file("f"), server_.content().all());
}

TEST_F(Download, NeverJoinsWhatARedirectTookFromTwoPlaces) {
    server_.serve("/a", {1, 50000});
    server_.serve("/b", {2, 50000});
    const std::string sameTag = "noar+noetag+ifrangeignore+header:ETag=\"x\"";
    for (const std::string between : {"", "503,"}) {
        SCOPED_TRACE(between);
        server_.setPlan("/r", std::string("302:/a,").append(between).append("302:/b"));
        server_.setPlan("/a", sameTag + "+fin@1000");
        server_.setPlan("/b", std::string(sameTag).append("+fin@1000,").append(sameTag));
        const auto outcome = run({"-o", "f", server_.url("/r")});

        EXPECT_EQ(outcome.code, 0) << outcome.errors;
        EXPECT_EQ(checksumOfText("sha256", file("f")), server_.content("/b").sha256());
    }
}

TEST_F(Download, GoesOnWhereARedirectLeadsToTheSamePathByAnotherQuery) {
    server_.setPlan("/r", "302:/a?signed=1,302:/a?signed=2");
    server_.setPlan("/a", "noar+fin@1000,noar");
    const auto outcome = run({"-o", "f", server_.url("/r")});

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(file("f"), server_.content("/a").all());
    EXPECT_EQ(server_.requests().size(), 4U);
    EXPECT_EQ(sent(3, "Range"), "bytes=1000-");
}

TEST_F(Download, OnStandardOutputNeverJoinsTwoVersions) {
    server_.setPlan("rst@1000,change,ok");
    const auto outcome = run({server_.url()});

    EXPECT_EQ(outcome.code, 18);
    EXPECT_EQ(server_.requests().size(), 2U);
    EXPECT_EQ(outcome.output.size(), 1000U);
    EXPECT_THAT(outcome.errors,
                HasSubstr("the body would have to begin anew, but 1000 bytes of it have been "
                          "written already"));
}

TEST_F(Download, NeverJoinsTwoVersionsThatTheirDigestsTellApart) {
    for (const std::string between : {"", "503,", "503,fin@20000,"}) {
        SCOPED_TRACE(between);
        server_.setPlan("digest+fin@40000," + between + "change+keepetag+digest,digest");
        const auto outcome = run({"-o", "f", server_.url()});

        EXPECT_EQ(outcome.code, 0) << outcome.errors;
        EXPECT_EQ(file("f"), server_.content().all());
        EXPECT_EQ(directory_.listing(), "f");
    }
}

TEST_F(Download, OnStandardOutputSaysThatTheDigestDiffers) {
    server_.setPlan("digest+fin@40000,change+keepetag+digest");

    EXPECT_EQ(run({"--retry", "1", server_.url()}).code, 100);
}

TEST_F(Download, WithoutResumingStartsAnewAndLeavesNothing) {
    server_.setPlan("rst@1000,rst@3000");
    const auto outcome = run({"--no-resume", "--retry", "1", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 56);
    EXPECT_EQ(sent(1, "Range"), "none");
    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(Download, GivesUpAfterTheRetriesAndSaysHowToGoOn) {
    server_.setPlan("rst@1000");
    const auto outcome = run({"--retry", "2", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 56);
    EXPECT_EQ(server_.requests().size(), 3U);
    EXPECT_THAT(outcome.errors,
                HasSubstr("2.9 KiB of 97.7 KiB are kept in \"f.part\"; --continue goes on with "
                          "them\n"));
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
}

TEST_F(Download, DoesNotRetryAPost) {
    server_.setPlan("503");
    const auto outcome = run({"-d", "x", "-f", server_.url()});

    EXPECT_EQ(outcome.code, 22);
    EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(Download, WaitsAsLongAsItIsTold) {
    server_.setPlan("503,ok");
    const auto outcome = run({"--retry-delay", "0.02", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("trying again in 20 ms, attempt 2 of 5"));
}

TEST_F(Download, BeginsNoAttemptAfterTheTimeForRetries) {
    server_.setPlan("503");
    const auto outcome =
        run({"--retry-delay", "100", "--retry-max-time", "50", "-f", server_.url()});

    EXPECT_EQ(outcome.code, 22);
    EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(Download, TakesNoErrorPageForTheAnswerWhenItsTimeIsOver) {
    server_.setPlan("503");
    const auto outcome =
        run({"--retry-delay", "100", "--max-time", "0.3", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 28);
    EXPECT_THAT(outcome.errors, HasSubstr(": not done within 300 ms\n"));
    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(Download, TakesAnErrorPageForTheAnswer) {
    server_.setPlan("404:b50");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(file("f"), std::string(50, 'e'));
}

TEST_F(Download, LeavesAFileThatIsCurrentAsItIs) {
    writeFile(directory_.file("f"), "current");
    server_.setPlan("304");
    const std::vector<std::string> asked{"-H", "If-None-Match: \"x\"", "-o", "f", server_.url()};

    EXPECT_EQ(run(asked).code, 0);
    EXPECT_EQ(directory_.listing(), "f");
    EXPECT_EQ(file("f"), "current");

    EXPECT_THAT(run({"-i", server_.url()}).output, StartsWith("HTTP 304 Not Modified\r\n"));
}

TEST_F(Download, ShowsNoBodyOfAnEarlierAnswer) {
    for (const std::string last : {"304", "404:b0"}) {
        SCOPED_TRACE(last);
        server_.setPlan("503:ar:b50," + last);

        EXPECT_THAT(run({"-i", server_.url()}).output, ::testing::EndsWith("\r\n\r\n"));
        server_.setPlan("503:ar:b50," + last);
        EXPECT_EQ(run({server_.url()}).output, "");
    }
}

TEST_F(Download, TakesNotModifiedForNoRest) {
    for (const std::string output : {"f", "-"}) {
        server_.setPlan("rst@1000,304");
        const auto outcome = run({"-o", output, server_.url()});

        EXPECT_EQ(outcome.code, 18);
        EXPECT_FALSE(std::filesystem::exists(directory_.file("f")));
    }
    server_.setPlan("304");
    EXPECT_EQ(run({"-C", "-o", "f", server_.url()}).code, 18);
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
}

TEST_F(Download, TakesNoErrorPageForTheRest) {
    server_.setPlan("rst@1000,404:b50");
    const auto outcome = run({"-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 18);
    EXPECT_THAT(outcome.errors, HasSubstr(": incomplete body: the server answered 404 Not Found in "
                                          "place of the rest\n"));
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
    EXPECT_EQ(file("f.part").size(), 1000U);
}

TEST_F(Download, TakesAnErrorForAFailureIfAskedTo) {
    server_.setPlan("404:b50");
    const auto outcome = run({"-f", "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 22);
    EXPECT_EQ(outcome.errors,
              "tavrin-http: " + server_.url() + ": the server answered 404 Not Found\n");
    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(Download, NeedsNoPlaceForAnErrorPageThatNobodyWants) {
    ProgramSetting setting;
    setting.largestFile = 5000;
    server_.setPlan("503:b5001,ok");

    EXPECT_EQ(run({"-f", "-o", "f", server_.url("/bytes/5000")}, setting).code, 0);
    EXPECT_EQ(file("f"), server_.content("/bytes/5000").all());
}

TEST_F(Download, ChecksTheDigest) {
    const std::string good = "sha256:" + server_.content().sha256();
    server_.setPlan("rst@1000,ok");

    EXPECT_EQ(run({"--checksum", good, "-o", "f", server_.url()}).code, 0);
    EXPECT_EQ(directory_.listing(), "f");
    EXPECT_EQ(run({"--checksum", good, server_.url()}).code, 0);
}

TEST_F(Download, WithAnotherDigestGetsNoName) {
    const std::string wrong = std::string(64, 'a');
    const auto outcome = run({"--checksum", "sha256:" + wrong, "-o", "f", server_.url()});

    EXPECT_EQ(outcome.code, 100);
    EXPECT_EQ(outcome.errors, "tavrin-http: " + server_.url() + ": the sha256 checksum is " +
                                  server_.content().sha256() + ", not " + wrong + "\n");
    EXPECT_EQ(directory_.listing(), "");
    EXPECT_EQ(run({"--checksum", "sha256:" + wrong, server_.url()}).code, 100);
}

TEST_F(Download, InParallelBringsEachFileWhole) {
    std::vector<std::string> arguments{"-Z", "--parallel-max", "3", "-O"};
    for (int i = 0; i < 8; ++i) {
        const std::string path = "/f" + std::to_string(i);
        server_.serve(path, {static_cast<std::uint64_t>(i + 1), 50000});
        server_.setPlan(path, "rst@1000,rst@20000,ok");
        arguments.push_back(server_.url(path));
    }
    const auto outcome = run(arguments);

    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(directory_.listing(), "f0 f1 f2 f3 f4 f5 f6 f7");
    for (int i = 0; i < 8; ++i) {
        const std::string name = "f" + std::to_string(i);
        EXPECT_EQ(checksumOfText("sha256", file(name)), server_.content("/" + name).sha256());
    }
}

TEST_F(Download, InParallelBringsEachFileWholeOrNamesIt) {
    const std::vector<std::pair<std::string, bool>> plans{
        {"rst@1000,fin@30000,ok", true},
        {"baddigest", false},
        {"digest+fin@40000,503,change+keepetag+digest,digest", true},
        {"fin@1000", false},
        {"503,ok", true},
        {"404", false},
        {"gzip+fin@1000,wrongrange:+1,ok", true},
        {"noresp", false},
    };
    std::vector<std::string> arguments{"-Z", "-f", "-O", "--retry", "3", "--retry-delay", "0.001"};
    std::set<std::string> broken;
    std::set<std::string> whole;
    for (int i = 0; i < 24; ++i) {
        const auto& [plan, succeeds] = plans[static_cast<std::size_t>(i) % plans.size()];
        const std::string path = "/f" + std::to_string(i);
        server_.serve(path, {static_cast<std::uint64_t>(i + 1), 50000});
        server_.setPlan(path, plan);
        arguments.push_back(server_.url(path));
        (succeeds ? whole : broken).insert(path);
    }
    const auto outcome = run(arguments);

    // The second file's, whichever fails first.
    EXPECT_EQ(outcome.code, 100);
    for (const auto& path : whole) {
        EXPECT_EQ(checksumOfText("sha256", file(path.substr(1))), server_.content(path).sha256())
            << path;
    }
    EXPECT_EQ(failedPaths(outcome.errors), broken);
    for (const auto& path : broken) {
        EXPECT_FALSE(std::filesystem::exists(directory_.file(path.substr(1)))) << path;
    }
}

TEST_F(Download, InParallelKeepsToTheMostAtATime) {
    std::vector<std::string> arguments{"-Z", "--parallel-max", "2", "-O"};
    for (const std::string path : {"/a", "/b", "/c", "/d"}) {
        server_.setPlan(path, "stall@10");
        arguments.push_back(server_.url(path));
    }
    ProgramSetting setting;
    setting.directory = directory_.path();
    ProgramRun program(arguments, setting);

    server_.waitForStalls(2);
    EXPECT_EQ(server_.requests().size(), 2U);
    server_.release();
    server_.waitForStalls(4);
    server_.release();

    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(directory_.listing(), "a b c d");
}

TEST_F(Download, InParallelGoesOnWithTheThreadsThatItCanHave) {
    if (WITH_THREAD_SANITIZER) GTEST_SKIP() << "the sanitizer does not start with such a stack";
    ProgramSetting setting;
    setting.noThreads = true;
    EXPECT_EQ(
        run({"-Z", "-O", server_.url("/a"), server_.url("/b"), server_.url("/c")}, setting).code,
        0);

    EXPECT_EQ(directory_.listing(), "a b c");
}

TEST_F(Download, OfOthersGoesOnAfterAFailureWhoseCodeIsKept) {
    server_.setPlan("/a", "404");
    const auto outcome = run({"-f", "-o", "a", "-o", "b", server_.url("/a"), server_.url("/b")});

    EXPECT_EQ(outcome.code, 22);
    EXPECT_EQ(directory_.listing(), "b");
}

TEST_F(Download, FollowsRedirectsUnlessTold) {
    server_.setPlan("/r", "302:/bytes/7");

    EXPECT_EQ(run({server_.url("/r")}).output, server_.content("/bytes/7").all());
    EXPECT_THAT(run({"-i", "--no-location", server_.url("/r")}).output, StartsWith("HTTP 302"));
}

TEST_F(Download, IsInterruptedInGoodOrder) {
    server_.setPlan("stall@1000");
    ProgramSetting setting;
    setting.directory = directory_.path();
    ProgramRun program({"-o", "f", server_.url()}, setting);
    server_.waitForStalls(1);
    program.signal(SIGINT);

    EXPECT_EQ(program.wait(), 130);
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
}

TEST_F(Download, InParallelIsInterruptedThoughNobodyReads) {
    std::vector<int> readers;
    for (const std::string name : {"a", "b", "c"}) {
        ASSERT_EQ(mkfifo(directory_.file(name).c_str(), 0600), 0);
        readers.push_back(open(directory_.file(name).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
    ProgramSetting setting;
    setting.directory = directory_.path();
    const std::string url = server_.url("/bytes/1000000");
    ProgramRun program({"-Z", "-o", "a", "-o", "b", "-o", "c", url, url, url}, setting);
    for (const int reader : readers) {
        const int capacity = fcntl(reader, F_GETPIPE_SZ);
        for (int held = 0; held < capacity;) ASSERT_EQ(ioctl(reader, FIONREAD, &held), 0);
    }
    program.signal(SIGTERM);

    EXPECT_EQ(program.wait(), 143);
    for (const int reader : readers) close(reader);
}

TEST_F(Download, IsInterruptedWhileItWaitsForTheNextAttempt) {
    server_.setPlan("503");
    ProgramSetting setting;
    setting.directory = directory_.path();
    ProgramRun program({"--no-resume", "--retry-delay", "100", "-o", "f", server_.url()}, setting);
    server_.waitForRequests(1);
    program.signal(SIGTERM);

    EXPECT_EQ(program.wait(), 143);
    EXPECT_EQ(directory_.listing(), "");
}

}  // namespace
}  // namespace tavrin::http_tool::testing

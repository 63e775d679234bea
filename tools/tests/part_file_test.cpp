#include "part_file.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "failures.h"
#include "support/temporary_directory.h"

namespace tavrin::http_tool {
namespace {

using httpclient_core::test::readFile;
using httpclient_core::test::TemporaryDirectory;
using httpclient_core::test::writeFile;
using ::testing::ThrowsMessage;

constexpr char URL[] = "http://host/f?token=secret";
const Representation& version() {
    static const Representation version{"\"v1\"", 10,
                                        ExpectedChecksum{"sha256", std::string(64, 'd')}};
    return version;
}

class PartFiles : public ::testing::Test {
protected:
    std::string path() const { return directory_.file("f"); }

    // A run that ends after some bytes.
    void leave(const std::string& bytes) const {
        PartFile part(path());
        part.keep();
        *part.begin(URL, "", version()) << bytes;
    }

    std::string held(const std::string& url = URL) const {
        PartFile part(path());
        part.keep();
        const auto held = part.held(url);
        return held ? std::to_string(held->size) + " of " +
                          std::to_string(held->representation.length) + " " +
                          held->representation.validator +
                          (held->representation.digest ? " digest" : "")
                    : "none";
    }

    TemporaryDirectory directory_;
};

TEST_F(PartFiles, BecomeTheTargetOnlyWhenFinished) {
    PartFile part(path());
    *part.begin(URL, "", version()) << "0123456789";
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");

    part.finish();

    EXPECT_EQ(directory_.listing(), "f");
    EXPECT_EQ(readFile(path()), "0123456789");
}

TEST_F(PartFiles, LeaveTheTargetAloneUntilThen) {
    writeFile(path(), "old");
    {
        PartFile part(path());
        *part.begin(URL, "", version()) << "01234";
    }

    EXPECT_EQ(directory_.listing(), "f");
    EXPECT_EQ(readFile(path()), "old");
}

TEST_F(PartFiles, KeepThePermissionsOfWhatTheyReplace) {
    writeFile(path(), "old");
    chmod(path().c_str(), 0600);
    PartFile part(path());
    *part.begin(URL, "", version()) << "0123456789";
    part.finish();

    struct stat status {};
    stat(path().c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(PartFiles, AreTheirOwnersAloneWhileTheyReplaceSomething) {
    writeFile(path(), "old");
    chmod(path().c_str(), 0640);
    PartFile part(path());

    struct stat status {};
    ASSERT_EQ(stat((path() + ".part").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    part.finish();
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(PartFiles, BelongToTheOwnersOfWhatTheyReplace) {
    writeFile(path(), "old");
    if (chown(path().c_str(), 1234, 5678) != 0) GTEST_SKIP() << "nobody but root gives files away";
    chmod(path().c_str(), 0640);
    PartFile(path()).finish();

    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 5678U);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(PartFiles, GiveAnotherGroupNoMoreThanOthersHad) {
    writeFile(path(), "old");
    if (chown(path().c_str(), 1234, 5678) != 0) GTEST_SKIP() << "nobody but root gives files away";
    chmod(path().c_str(), 0674);
    chmod(directory_.path().c_str(), 0777);
    const pid_t child = fork();
    if (child == 0) {
        const bool isStranger =
            setgroups(0, nullptr) == 0 && setgid(4321) == 0 && setuid(4321) == 0;
        if (isStranger) PartFile(path()).finish();
        _exit(isStranger ? 0 : 1);
    }
    int code = -1;
    waitpid(child, &code, 0);
    ASSERT_EQ(code, 0);

    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_gid, 4321U);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(PartFiles, MayBeReadByOthersWhereTheyReplaceNothing) {
    writeFile(path(), "old");
    const mode_t mask = umask(022);
    PartFile(path(), PartFile::Existing::KEPT).finishAs("new");
    umask(mask);

    struct stat status {};
    ASSERT_EQ(stat(directory_.file("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(PartFiles, TakeNoOtherUsersRightsOverFromWhatTheyReplace) {
    writeFile(path(), "old");
    chmod(path().c_str(), 06755);
    PartFile(path()).finish();

    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0755U);
}

TEST_F(PartFiles, AreHeldForALaterRun) {
    leave("01234");

    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
    EXPECT_EQ(held(), "5 of 10 \"v1\" digest");
}

TEST_F(PartFiles, AreHeldWithTheDigestThatWasAnnounced) {
    leave("01234");
    PartFile part(path());
    part.keep();

    const auto held = part.held(URL);
    ASSERT_TRUE(held);
    EXPECT_EQ(held->representation, version());
}

TEST_F(PartFiles, AreHeldWithoutADigestToo) {
    {
        PartFile part(path());
        part.keep();
        *part.begin(URL, "", Representation{"\"v1\"", 10, std::nullopt}) << "01234";
    }

    EXPECT_EQ(held(), "5 of 10 \"v1\"");
}

TEST_F(PartFiles, AreNotHeldForAnotherUrl) {
    leave("01234");

    EXPECT_EQ(held("http://host/g"), "none");
}

TEST_F(PartFiles, DoNotTellTheUrl) {
    leave("01234");

    EXPECT_THAT(readFile(path() + ".part.validator"),
                ::testing::Not(::testing::HasSubstr("secret")));
}

TEST_F(PartFiles, AreContinuedWhereTheyEnd) {
    leave("01234");
    PartFile part(path());
    *part.continueFrom(4) << "456789";
    part.finish();

    EXPECT_EQ(readFile(path()), "0123456789");
}

TEST_F(PartFiles, WithoutAValidatorAreRemovedThoughTheyWereToBeKept) {
    {
        PartFile part(path());
        part.keep();
        *part.begin(URL, "", std::nullopt) << "01234";
    }

    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(PartFiles, WithoutBytesAreRemovedThoughTheyWereToBeKept) {
    leave("");

    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(PartFiles, OfAnEarlierRunStayWhileNothingTookTheirPlace) {
    leave("01234");
    { const PartFile untouched(path()); }

    EXPECT_EQ(held(), "5 of 10 \"v1\" digest");
}

TEST_F(PartFiles, OfAnEarlierRunGoWhenTheyWereReplacedAndNotToBeKept) {
    leave("01234");
    {
        PartFile part(path());
        *part.begin(URL, "", version()) << "x";
    }

    EXPECT_EQ(directory_.listing(), "");
}

TEST_F(PartFiles, DistrustEveryTruncationOfTheValidator) {
    leave("01234");
    const std::string validator = readFile(path() + ".part.validator");
    ASSERT_EQ(validator.back(), '\n');

    // The last line break tells nothing that the digits before it don't.
    for (std::size_t size = 0; size + 1 < validator.size(); ++size) {
        writeFile(path() + ".part.validator", validator.substr(0, size));
        EXPECT_EQ(held(), "none") << size;
    }
}

TEST_F(PartFiles, DistrustAValidatorThatIsNoFileOfTheirs) {
    const std::string validator = path() + ".part.validator";
    leave("01234");
    std::filesystem::rename(validator, directory_.file("elsewhere"));
    std::filesystem::create_symlink("elsewhere", validator);
    EXPECT_EQ(held(), "none");

    leave("01234");
    std::filesystem::remove(validator);
    ASSERT_EQ(mkfifo(validator.c_str(), 0600), 0);
    EXPECT_EQ(held(), "none");
}

TEST_F(PartFiles, DistrustAValidatorThatCannotBeSent) {
    leave("01234");
    std::string text = readFile(path() + ".part.validator");
    text[text.find("v1")] = '\0';
    writeFile(path() + ".part.validator", text);

    EXPECT_EQ(held(), "none");
}

TEST_F(PartFiles, LongerThanTheResourceAreDistrusted) {
    leave("0123456789");
    EXPECT_EQ(held(), "10 of 10 \"v1\" digest");
    leave("0123456789x");

    EXPECT_EQ(held(), "none");
}

TEST_F(PartFiles, ForgetWhatTheyHeld) {
    leave("01234");
    PartFile part(path());
    part.forget();

    EXPECT_FALSE(part.held(URL).has_value());
    EXPECT_EQ(readFile(path() + ".part"), "");
    EXPECT_EQ(directory_.listing(), "f.part");
}

TEST_F(PartFiles, TakeNothingNewBesideAValidatorThatCannotBeRemoved) {
    leave("01234");
    std::filesystem::remove(path() + ".part.validator");
    std::filesystem::create_directory(path() + ".part.validator");
    PartFile part(path());
    const auto refusal = ThrowsMessage<WriteFailure>("cannot remove \"" + path() +
                                                     ".part.validator\": Is a directory");

    EXPECT_THAT([&] { part.begin(URL, "", std::nullopt); }, refusal);
    EXPECT_THAT([&] { part.begin(URL, "", version()); }, refusal);
    EXPECT_THAT([&] { part.forget(); }, refusal);
    EXPECT_EQ(readFile(path() + ".part"), "01234");
}

TEST_F(PartFiles, WithAHeadCannotBeContinued) {
    PartFile part(path());
    *part.begin(URL, "head\n", version()) << "body";

    EXPECT_EQ(readFile(path() + ".part"), "head\nbody");
    EXPECT_FALSE(part.held(URL).has_value());
}

TEST_F(PartFiles, ThatSomebodyReplacedAreLeftToThem) {
    {
        PartFile part(path());
        *part.begin(URL, "", version()) << "0123456789";
        std::filesystem::remove(path() + ".part");
        writeFile(path() + ".part", "another");

        EXPECT_THAT(
            [&] { part.finish(); },
            ThrowsMessage<WriteFailure>("cannot rename \"" + path() + ".part\" to \"" + path() +
                                        "\": somebody else replaced or removed it"));
        EXPECT_FALSE(part.held(URL));
    }
    EXPECT_EQ(directory_.listing(), "f.part f.part.validator");
    EXPECT_EQ(readFile(path() + ".part"), "another");
}

TEST_F(PartFiles, AreWrittenByOneAtATime) {
    const PartFile first(path());

    EXPECT_THAT([&] { PartFile second(path()); },
                ThrowsMessage<WriteFailure>("cannot write to \"" + path() +
                                            ".part\": another download is writing to it"));
}

TEST_F(PartFiles, DoNotWriteThroughALinkThatSomebodyPutThere) {
    writeFile(directory_.file("victim"), "precious");
    std::filesystem::create_symlink("victim", path() + ".part");

    EXPECT_THAT([&] { PartFile part(path()); },
                ThrowsMessage<WriteFailure>("cannot create \"" + path() +
                                            ".part\": Too many levels of symbolic links"));
    EXPECT_EQ(readFile(directory_.file("victim")), "precious");
}

TEST_F(PartFiles, FollowALinkInPlaceOfTheTarget) {
    std::filesystem::create_directory(directory_.file("d"));
    writeFile(directory_.file("d/real"), "old");
    std::filesystem::create_symlink("d/real", path());
    PartFile part(path());
    *part.begin(URL, "", version()) << "0123456789";
    part.finish();

    EXPECT_TRUE(std::filesystem::is_symlink(path()));
    EXPECT_EQ(readFile(directory_.file("d/real")), "0123456789");
}

TEST_F(PartFiles, RefuseADirectory) {
    EXPECT_THAT([&] { PartFile part(directory_.path()); },
                ThrowsMessage<WriteFailure>("cannot write to \"" + directory_.path().string() +
                                            "\": it is a directory"));
}

TEST_F(PartFiles, SayWhyTheyCannotBeMade) {
    EXPECT_THAT([&] { PartFile part(directory_.file("no/f")); },
                ThrowsMessage<WriteFailure>("cannot create \"" + directory_.file("no/f") +
                                            ".part\": No such file or directory"));
}

TEST_F(PartFiles, ReplaceNothingUnderANameThatTheServerChose) {
    writeFile(directory_.file("chosen"), "precious");
    {
        PartFile part(path());
        *part.begin(URL, "", version()) << "0123456789";
        EXPECT_THAT([&] { part.finishAs("chosen"); },
                    ThrowsMessage<WriteFailure>("cannot rename \"" + path() + ".part\" to \"" +
                                                directory_.file("chosen") + "\": File exists"));
    }
    EXPECT_EQ(readFile(directory_.file("chosen")), "precious");
    EXPECT_EQ(directory_.listing(), "chosen");

    PartFile part(path());
    *part.begin(URL, "", version()) << "0123456789";
    part.finishAs("new");
    EXPECT_EQ(part.target(), directory_.file("new"));
    EXPECT_EQ(readFile(directory_.file("new")), "0123456789");
    EXPECT_EQ(directory_.listing(), "chosen new");
}

}  // namespace
}  // namespace tavrin::http_tool

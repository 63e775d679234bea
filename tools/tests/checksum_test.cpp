#include "checksum.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <stdexcept>

#include "support/temporary_directory.h"

namespace tavrin::http_tool {
namespace {

using ::testing::ThrowsMessage;

// FIPS 180-2, appendix B.1.
constexpr char ABC_SHA256[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Checksum, IsTheDigestOfThePiecesJoined) {
    Checksum checksum("sha256");
    checksum.update("a", 1);
    checksum.update("", 0);
    checksum.update("bc", 2);

    EXPECT_EQ(checksum.hex(), ABC_SHA256);
}

TEST(Checksum, OfATextKnowsSha512) {
    EXPECT_EQ(checksumOfText("sha512", "abc"),
              "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

TEST(Checksum, OfAFileReadsAllOfItWhereverItsPositionIs) {
    const httpclient_core::test::TemporaryDirectory directory;
    const std::string content(700000, 'x');
    httpclient_core::test::writeFile(directory.file("f"), content);
    const int descriptor = open(directory.file("f").c_str(), O_RDONLY | O_CLOEXEC);
    lseek(descriptor, 5, SEEK_SET);

    const std::string hex = checksumOfFile("sha256", descriptor);

    EXPECT_EQ(hex, checksumOfText("sha256", content));
    EXPECT_EQ(lseek(descriptor, 0, SEEK_CUR), 5);
    close(descriptor);
}

TEST(ExpectedChecksum, ReadsAlgorithmAndDigitsInAnyLetterCase) {
    const auto expected =
        ExpectedChecksum::parse("SHA256:" + std::string(32, 'A') + std::string(32, '0'));

    EXPECT_EQ(expected.algorithm, "sha256");
    EXPECT_EQ(expected.hex, std::string(32, 'a') + std::string(32, '0'));
}

TEST(ExpectedChecksum, RefusesOtherAlgorithms) {
    for (const std::string text : {"", "sha256", "md5:00", ":00", "sha1:00"}) {
        EXPECT_THAT([&] { ExpectedChecksum::parse(text); },
                    ThrowsMessage<std::runtime_error>(
                        "a checksum is sha256:HEX or sha512:HEX, not \"" + text + "\""));
    }
}

TEST(ExpectedChecksum, RefusesAnotherNumberOfDigits) {
    for (const std::string& hex :
         {std::string(), std::string(63, 'a'), std::string(65, 'a'), std::string(63, 'a') + "g"}) {
        EXPECT_THAT([&] { ExpectedChecksum::parse("sha256:" + hex); },
                    ThrowsMessage<std::runtime_error>(
                        "a sha256 checksum has 64 hexadecimal digits; \"" + hex + "\" has not"));
    }
}

}  // namespace
}  // namespace tavrin::http_tool

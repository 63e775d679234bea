#include "httpclient_testing/sha256.h"

#include <gtest/gtest.h>

#include <utility>

namespace tavrin::httpclient_testing {
namespace {

const char* const DIGEST_OF_ABC =
    "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Sha256, KnowsThePublishedDigests) {
    EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Hex("abc"), DIGEST_OF_ABC);
}

TEST(Sha256, GivesTheSameForPiecesAndMayBeAskedInBetween) {
    Sha256 digest;
    digest.update("a");
    EXPECT_EQ(digest.hex(), sha256Hex("a"));
    digest.update("bcd", 2);

    EXPECT_EQ(digest.hex(), DIGEST_OF_ABC);
    EXPECT_EQ(digest.bytes().substr(0, 4), "\xba\x78\x16\xbf");
    EXPECT_EQ(digest.bytes().size(), 32U);
}

TEST(Sha256, MovesWithWhatWasTakenIn) {
    Sha256 first;
    first.update("ab");
    Sha256 second = std::move(first);
    second.update("c");

    EXPECT_EQ(second.hex(), DIGEST_OF_ABC);
}

}  // namespace
}  // namespace tavrin::httpclient_testing

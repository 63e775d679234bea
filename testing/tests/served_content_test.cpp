#include "httpclient_testing/served_content.h"

#include <gtest/gtest.h>

#include <set>

#include "httpclient_testing/sha256.h"

namespace tavrin::httpclient_testing {
namespace {

TEST(ServedContent, GivesEveryRangeAsItsBytesOneByOne) {
    const ServedContent content{3, 64};
    for (std::uint64_t offset = 0; offset < 20; ++offset) {
        for (std::size_t count = 0; count < 30; ++count) {
            std::string bytes;
            for (std::size_t i = 0; i < count; ++i) bytes += content.byteAt(offset + i);

            ASSERT_EQ(content.range(offset, count), bytes) << offset << " " << count;
        }
    }
}

TEST(ServedContent, DependsOnTheSeedAndNeverRepeatsAPiece) {
    const ServedContent content{3, 80000};
    std::set<std::string> pieces;
    for (std::uint64_t offset = 0; offset < content.size; offset += 16) {
        pieces.insert(content.range(offset, 16));
    }

    EXPECT_EQ(pieces.size(), content.size / 16);
    EXPECT_NE(content.range(0, 16), (ServedContent{4, 80000}).range(0, 16));
}

TEST(ServedContent, ReachesBehindFourGibibytes) {
    const ServedContent content{3, 5ULL << 30U};

    EXPECT_EQ(content.range(4831838208, 100).substr(50), content.range(4831838258, 50));
    EXPECT_NE(content.range(4831838208, 16), content.range(4831838208 - (1ULL << 32U), 16));
}

TEST(ServedContent, KnowsItsDigest) {
    const ServedContent content{9, 200001};

    EXPECT_EQ(content.sha256(), sha256Hex(content.all()));
    EXPECT_EQ(content.sha256Bytes().size(), 32U);
    EXPECT_EQ((ServedContent{9, 0}).sha256(), sha256Hex(""));
}

}  // namespace
}  // namespace tavrin::httpclient_testing

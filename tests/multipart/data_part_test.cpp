#include <gmock/gmock.h>

#include <string>
#include <type_traits>
#include <utility>

#include "httpclient_core/multipart.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;

static_assert(!std::is_default_constructible_v<DataPart>);
static_assert(std::is_convertible_v<PartHeader, DataPart>);
static_assert(std::is_convertible_v<std::string, DataPart>);
static_assert(std::is_copy_constructible_v<DataPart> && std::is_copy_assignable_v<DataPart>);
static_assert(std::is_nothrow_move_constructible_v<DataPart>);
static_assert(std::is_nothrow_move_assignable_v<DataPart>);
static_assert(!std::is_polymorphic_v<DataPart>);

// Everything that a part holds as one text.
std::string described(const DataPart& part) {
    const PartHeader header = part.getHeader();
    return header.getPartName() + "|" + header.getContentType() + "|" + part.getData() + "\n" +
           entryLines(header.getCustomHeaders());
}

TEST(DataPart, OfDataHasAnEmptyHeader) {
    EXPECT_EQ(described(DataPart("abc")), "||abc\n");
    EXPECT_EQ(described(DataPart(std::string())), "||\n");
}

TEST(DataPart, OfAHeaderHasNoData) {
    EXPECT_EQ(described(DataPart(PartHeader("a", "x/y"))), "a|x/y|\n");
}

TEST(DataPart, HasTheHeaderAndDataItWasMadeOf) {
    EXPECT_EQ(described(DataPart(PartHeader("a", "x/y").withCustomHeaderValue("X", "1"), "data")),
              "a|x/y|data\nX: 1\n");
}

TEST(DataPart, KeepsAnyBytes) {
    const std::string bytes("\0\r\n--\xFF\0", 7);
    DataPart part(bytes);
    EXPECT_EQ(part.getData(), bytes);

    part.setData(bytes + bytes);
    EXPECT_EQ(part.getData(), bytes + bytes);
}

TEST(DataPart, ReplacesItsData) {
    DataPart part(PartHeader("a"), "old");

    part.setData("new");
    EXPECT_EQ(described(part), "a||new\n");

    EXPECT_EQ(&part.withData(""), &part);
    EXPECT_EQ(described(part), "a||\n");
}

TEST(DataPart, ReplacesItsHeader) {
    DataPart part(PartHeader("a", "x/y").withCustomHeaderValue("X", "1"), "data");

    part.setHeader(PartHeader("b"));
    EXPECT_EQ(described(part), "b||data\n");

    EXPECT_EQ(&part.withHeader(PartHeader("c", "z/z")), &part);
    EXPECT_EQ(described(part), "c|z/z|data\n");
}

TEST(DataPart, ChangesItsHeaderInPlace) {
    DataPart part(PartHeader("a", "x/y"), "data");

    part.setPartName("b");
    part.setContentType("z/z");
    part.addCustomHeaderValue("X", "1");
    part.addCustomHeaderValue("X", "2");
    EXPECT_EQ(described(part), "b|z/z|data\nX: 1\nX: 2\n");

    part.setCustomHeaders(HttpHeaders{{"Y", "3"}});
    EXPECT_EQ(described(part), "b|z/z|data\nY: 3\n");
}

TEST(DataPart, IsBuiltInAChainOnOneObject) {
    DataPart part("data");

    EXPECT_EQ(&part.withPartName("a"), &part);
    EXPECT_EQ(&part.withContentType("x/y"), &part);
    EXPECT_EQ(&part.withCustomHeaderValue("X", "1"), &part);
    EXPECT_EQ(described(part), "a|x/y|data\nX: 1\n");

    part.withHeader(PartHeader("b")).withContentType("z/z").withData("new").withPartName("c");
    EXPECT_EQ(described(part), "c|z/z|new\n");
}

TEST(DataPart, HandsOutACopyOfItsHeader) {
    DataPart part(PartHeader("a", "x/y"), "data");
    PartHeader header = part.getHeader();

    header.withPartName("b").withContentType("").withCustomHeaderValue("X", "1");

    EXPECT_EQ(described(part), "a|x/y|data\n");
}

TEST(DataPart, CopiesAreIndependent) {
    DataPart original(PartHeader("a"), "data");
    const DataPart copy = original;

    original.withPartName("b").withData("new");

    EXPECT_EQ(described(copy), "a||data\n");
}

TEST(DataPart, MovesAndIsUsableOnceMovedFrom) {
    DataPart original(PartHeader("a").withCustomHeaderValue("X", "1"), "data");
    const DataPart moved = std::move(original);
    EXPECT_EQ(described(moved), "a||data\nX: 1\n");

    original.withPartName("b").withContentType("").withData("new").addCustomHeaderValue("Y", "2");

    EXPECT_EQ(described(original), "b||new\nY: 2\n");
}

}  // namespace
}  // namespace tavrin::httpclient_core

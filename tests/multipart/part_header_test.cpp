#include <gmock/gmock.h>

#include <string>
#include <type_traits>
#include <utility>

#include "httpclient_core/multipart.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;

static_assert(!std::is_default_constructible_v<PartHeader>, "a header always gets a name");
static_assert(std::is_convertible_v<std::string, PartHeader>);
static_assert(std::is_copy_constructible_v<PartHeader> && std::is_copy_assignable_v<PartHeader>);
static_assert(std::is_nothrow_move_constructible_v<PartHeader>);
static_assert(std::is_nothrow_move_assignable_v<PartHeader>);
static_assert(!std::is_polymorphic_v<PartHeader>);

// Whether a type tells a name and a content type itself; parts leave that to their header.
template <typename T, typename = void>
struct TellsName : std::false_type {};
template <typename T>
struct TellsName<T, std::void_t<decltype(&T::getPartName)>> : std::true_type {};
template <typename T, typename = void>
struct TellsContentType : std::false_type {};
template <typename T>
struct TellsContentType<T, std::void_t<decltype(&T::getContentType)>> : std::true_type {};
static_assert(TellsName<PartHeader>::value && TellsContentType<PartHeader>::value);
static_assert(!TellsName<DataPart>::value && !TellsContentType<DataPart>::value);
static_assert(!TellsName<FilePart>::value && !TellsContentType<FilePart>::value);

// Name, content type and custom headers as one text.
std::string described(const PartHeader& header) {
    return header.getPartName() + "|" + header.getContentType() + "\n" +
           entryLines(header.getCustomHeaders());
}

TEST(PartHeader, HasAName) { EXPECT_EQ(described(PartHeader("avatar")), "avatar|\n"); }

TEST(PartHeader, HasANameAndAContentType) {
    EXPECT_EQ(described(PartHeader("avatar", "image/png")), "avatar|image/png\n");
}

TEST(PartHeader, AcceptsEmptyTexts) {
    EXPECT_EQ(described(PartHeader("")), "|\n");
    EXPECT_EQ(described(PartHeader("", "")), "|\n");
}

TEST(PartHeader, KeepsItsTextsAsGiven) {
    const std::string name(" \"a\";\0\r\n", 8);

    EXPECT_EQ(described(PartHeader(name, " no ; type ")), name + "| no ; type \n");
}

TEST(PartHeader, ReplacesItsName) {
    PartHeader header("a", "x/y");

    header.setPartName("b");
    EXPECT_EQ(described(header), "b|x/y\n");

    header.setPartName("");
    EXPECT_EQ(described(header), "|x/y\n");
}

TEST(PartHeader, ReplacesItsContentType) {
    PartHeader header("a", "x/y");

    header.setContentType("z/z");
    EXPECT_EQ(described(header), "a|z/z\n");

    header.setContentType("");
    EXPECT_EQ(described(header), "a|\n");
}

TEST(PartHeader, ReplacesAllItsCustomHeaders) {
    PartHeader header("a");
    header.addCustomHeaderValue("X", "1");

    header.setCustomHeaders(HttpHeaders{{"Y", "2"}, {"y", "3"}});

    EXPECT_EQ(described(header), "a|\nY: 2\ny: 3\n");
    EXPECT_FALSE(header.getCustomHeaders().hasHeader("X"));
}

TEST(PartHeader, AddsACustomHeaderWhoseNameIsThereAlready) {
    PartHeader header("a");

    header.addCustomHeaderValue("X", "1");
    header.addCustomHeaderValue("x", "");
    header.addCustomHeaderValue("X", "1");
    header.addCustomHeaderValue("", "");

    EXPECT_EQ(described(header), "a|\nX: 1\nx: \nX: 1\n: \n");
    EXPECT_EQ(header.getCustomHeaders().getHeaderValue("x"), "1");
}

TEST(PartHeader, IsBuiltInAChainOnOneObject) {
    PartHeader header("a");

    EXPECT_EQ(&header.withPartName("b"), &header);
    EXPECT_EQ(&header.withContentType("x/y"), &header);
    EXPECT_EQ(&header.withCustomHeaderValue("X", "1"), &header);
    header.withPartName("c").withContentType("z/z").withCustomHeaderValue("X", "2");

    EXPECT_EQ(described(header), "c|z/z\nX: 1\nX: 2\n");
}

TEST(PartHeader, HandsOutACopyOfItsCustomHeaders) {
    PartHeader header("a");
    header.addCustomHeaderValue("X", "1");
    HttpHeaders headers = header.getCustomHeaders();

    headers.setHeaderValue("X", "2");

    EXPECT_EQ(described(header), "a|\nX: 1\n");
}

TEST(PartHeader, CopiesAreIndependent) {
    PartHeader original("a", "x/y");
    original.addCustomHeaderValue("X", "1");
    const PartHeader copy = original;

    original.withPartName("b").withContentType("").setCustomHeaders({});

    EXPECT_EQ(described(copy), "a|x/y\nX: 1\n");
    EXPECT_EQ(described(original), "b|\n");
}

TEST(PartHeader, MovesAndIsUsableOnceMovedFrom) {
    PartHeader original("a", "x/y");
    original.addCustomHeaderValue("X", "1");
    const PartHeader moved = std::move(original);
    EXPECT_EQ(described(moved), "a|x/y\nX: 1\n");

    original.withPartName("b").withContentType("z/z").addCustomHeaderValue("Y", "2");

    EXPECT_EQ(described(original), "b|z/z\nY: 2\n");
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "httpclient_core/multipart.h"
#include "support/entry_lines.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::LogCapture;
using test::ThrowsExactly;

static_assert(!std::is_default_constructible_v<FilePart>, "a part always gets a file");
static_assert(std::is_convertible_v<FilePath, FilePart>);
static_assert(!std::is_constructible_v<FilePart, PartHeader>);
static_assert(std::is_copy_constructible_v<FilePart> && std::is_copy_assignable_v<FilePart>);
static_assert(std::is_nothrow_move_constructible_v<FilePart>);
static_assert(std::is_nothrow_move_assignable_v<FilePart>);
static_assert(!std::is_polymorphic_v<FilePart>);

template <typename Part, typename = void>
struct BuildsWithAPath : std::false_type {};
template <typename Part>
struct BuildsWithAPath<Part, std::void_t<decltype(&Part::withFilePath)>> : std::true_type {};
static_assert(!BuildsWithAPath<FilePart>::value, "a path that may be refused has a setter alone");

// Everything that a part holds as one text.
std::string described(const FilePart& part) {
    const PartHeader header = part.getHeader();
    return header.getPartName() + "|" + header.getContentType() + "|" +
           part.getFilePath().toUtf8() + "\n" + entryLines(header.getCustomHeaders());
}

TEST(FilePart, OfAPathHasAnEmptyHeader) {
    EXPECT_EQ(described(FilePart("/a/b.png")), "||/a/b.png\n");
}

TEST(FilePart, HasTheHeaderAndPathItWasMadeOf) {
    EXPECT_EQ(described(FilePart(PartHeader("a", "x/y").withCustomHeaderValue("X", "1"), "/f")),
              "a|x/y|/f\nX: 1\n");
}

TEST(FilePart, AcceptsAFileThatDoesNotExist) {
    FilePart part("/no/such/directory/no such file");

    part.setFilePath("/nor/such/a/one");

    EXPECT_EQ(part.getFilePath(), FilePath("/nor/such/a/one"));
}

TEST(FilePart, RefusesAnEmptyPathWithoutARecord) {
    const LogCapture log;

    EXPECT_THAT([] { FilePart(FilePath("")); },
                ThrowsExactly<std::logic_error>("Empty file path."));
    EXPECT_THAT([] { FilePart(FilePath{}); }, ThrowsExactly<std::logic_error>("Empty file path."));
    EXPECT_THAT([] { FilePart(PartHeader("a"), FilePath("")); },
                ThrowsExactly<std::logic_error>("Empty file path."));
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

TEST(FilePart, KeepsItsPathWhenAnEmptyOneIsSet) {
    const LogCapture log;
    FilePart part(PartHeader("a"), "/old");

    EXPECT_THAT([&] { part.setFilePath(FilePath("")); },
                ThrowsExactly<std::logic_error>("Empty file path."));

    EXPECT_EQ(described(part), "a||/old\n");
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

TEST(FilePart, ReplacesItsPath) {
    FilePart part(PartHeader("a"), "/old");

    part.setFilePath(" ");

    EXPECT_EQ(described(part), "a|| \n");
}

TEST(FilePart, ReplacesItsHeader) {
    FilePart part(PartHeader("a", "x/y").withCustomHeaderValue("X", "1"), "/f");

    part.setHeader(PartHeader("b"));
    EXPECT_EQ(described(part), "b||/f\n");

    EXPECT_EQ(&part.withHeader(PartHeader("c", "z/z")), &part);
    EXPECT_EQ(described(part), "c|z/z|/f\n");
}

TEST(FilePart, ChangesItsHeaderInPlace) {
    FilePart part(PartHeader("a", "x/y"), "/f");

    part.setPartName("b");
    part.setContentType("z/z");
    part.addCustomHeaderValue("X", "1");
    part.addCustomHeaderValue("X", "2");
    EXPECT_EQ(described(part), "b|z/z|/f\nX: 1\nX: 2\n");

    part.setCustomHeaders(HttpHeaders{{"Y", "3"}});
    EXPECT_EQ(described(part), "b|z/z|/f\nY: 3\n");
}

TEST(FilePart, IsBuiltInAChainOnOneObject) {
    FilePart part("/f");

    EXPECT_EQ(&part.withPartName("a"), &part);
    EXPECT_EQ(&part.withContentType("x/y"), &part);
    EXPECT_EQ(&part.withCustomHeaderValue("X", "1"), &part);
    EXPECT_EQ(described(part), "a|x/y|/f\nX: 1\n");

    part.withHeader(PartHeader("b")).withContentType("z/z").withPartName("c");
    EXPECT_EQ(described(part), "c|z/z|/f\n");
}

TEST(FilePart, HandsOutCopiesOfItsHeaderAndPath) {
    FilePart part(PartHeader("a"), "/f");
    PartHeader header = part.getHeader();
    FilePath path = part.getFilePath();

    header.setPartName("b");
    path = "/g";

    EXPECT_EQ(described(part), "a||/f\n");
}

TEST(FilePart, CopiesAreIndependent) {
    FilePart original(PartHeader("a"), "/f");
    const FilePart copy = original;

    original.withPartName("b").setFilePath("/g");

    EXPECT_EQ(described(copy), "a||/f\n");
}

TEST(FilePart, MovesAndIsUsableOnceMovedFrom) {
    FilePart original(PartHeader("a").withCustomHeaderValue("X", "1"), "/f");
    const FilePart moved = std::move(original);
    EXPECT_EQ(described(moved), "a||/f\nX: 1\n");

    original.withPartName("b").withContentType("").addCustomHeaderValue("Y", "2");
    original.setFilePath("/g");

    EXPECT_EQ(described(original), "b||/g\nY: 2\n");
}

}  // namespace
}  // namespace tavrin::httpclient_core

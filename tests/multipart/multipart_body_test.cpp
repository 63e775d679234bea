#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "httpclient_core/multipart.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::LogCapture;
using test::ThrowsExactly;

static_assert(std::is_default_constructible_v<MultipartBody>);
static_assert(std::is_copy_constructible_v<MultipartBody>);
static_assert(std::is_copy_assignable_v<MultipartBody>);
static_assert(std::is_nothrow_move_constructible_v<MultipartBody>);
static_assert(std::is_nothrow_move_assignable_v<MultipartBody>);
static_assert(!std::is_polymorphic_v<MultipartBody>);
static_assert(std::is_same_v<decltype(std::declval<const MultipartBody&>().getContent()),
                             std::vector<std::variant<DataPart, FilePart>>>,
              "alternative 0 is data, 1 is a file");

DataPart data(const std::string& name, const std::string& content) {
    return DataPart(PartHeader(name), content);
}

FilePart file(const std::string& name, const std::string& path) {
    return FilePart(PartHeader(name), path);
}

// The parts in order, one line each: the index of the alternative, the name and the content.
std::string lines(const MultipartBody& body) {
    std::string text;
    for (const auto& part : body.getContent()) {
        text += std::to_string(part.index()) + " ";
        if (part.index() == 0) {
            const auto& dataPart = std::get<0>(part);
            text += dataPart.getHeader().getPartName() + " " + dataPart.getData() + "\n";
        } else {
            const auto& filePart = std::get<1>(part);
            text +=
                filePart.getHeader().getPartName() + " " + filePart.getFilePath().toUtf8() + "\n";
        }
    }
    return text;
}

MultipartBody mixedBody() {
    return MultipartBody()
        .withPart(data("a", "1"))
        .withPart(file("b", "/1"))
        .withPart(data("a", "2"))
        .withPart(file("a", "/2"))
        .withPart(data("c", "3"))
        .withPart(file("a", "/3"));
}

TEST(MultipartBody, HasNoPartsAtFirst) {
    const MultipartBody body;

    EXPECT_TRUE(body.getContent().empty());
    EXPECT_FALSE(body.hasDataPart("x"));
    EXPECT_FALSE(body.hasFilePart("x"));
    EXPECT_FALSE(body.hasPartType<DataPart>(""));
    EXPECT_FALSE(body.hasPartType<FilePart>(""));
}

TEST(MultipartBody, KeepsTheOrderAndKindOfItsParts) {
    EXPECT_EQ(lines(mixedBody()), "0 a 1\n1 b /1\n0 a 2\n1 a /2\n0 c 3\n1 a /3\n");
}

TEST(MultipartBody, AppendsPartsWhateverTheirNames) {
    MultipartBody body;

    body.addPart(data("", ""));
    body.addPart(file("", "/f"));
    body.addPart(data("", ""));

    EXPECT_EQ(lines(body), "0  \n1  /f\n0  \n");
}

TEST(MultipartBody, KeepsTheWholeHeaderOfAPart) {
    MultipartBody body;
    body.addPart(data("a", "1").withContentType("x/y").withCustomHeaderValue("X", "2"));

    const PartHeader header = body.getDataPart("a").getHeader();

    EXPECT_EQ(header.getContentType(), "x/y");
    EXPECT_EQ(header.getCustomHeaders().getHeaderValue("X"), "2");
}

TEST(MultipartBody, IsBuiltInAChainOnOneObject) {
    MultipartBody body;

    EXPECT_EQ(&body.withPart(data("a", "1")), &body);
    EXPECT_EQ(&body.withPart(file("b", "/1")), &body);

    EXPECT_EQ(lines(body), "0 a 1\n1 b /1\n");
}

TEST(MultipartBody, TellsDataPartsFromFilePartsOfOneName) {
    const MultipartBody body = mixedBody();

    EXPECT_TRUE(body.hasDataPart("a"));
    EXPECT_TRUE(body.hasFilePart("a"));
    EXPECT_FALSE(body.hasDataPart("b"));
    EXPECT_TRUE(body.hasFilePart("b"));
    EXPECT_TRUE(body.hasDataPart("c"));
    EXPECT_FALSE(body.hasFilePart("c"));
    EXPECT_TRUE(body.hasPartType<DataPart>("c"));
    EXPECT_FALSE(body.hasPartType<FilePart>("c"));
    EXPECT_FALSE(body.hasPartType<DataPart>("b"));
    EXPECT_TRUE(body.hasPartType<FilePart>("b"));
}

TEST(MultipartBody, FindsTheFirstPartOfANameAndKind) {
    const MultipartBody body = mixedBody();

    EXPECT_EQ(body.getDataPart("a").getData(), "1");
    EXPECT_EQ(body.getFilePart("a").getFilePath(), FilePath("/2"));
}

TEST(MultipartBody, ComparesNamesByteForByte) {
    const MultipartBody body =
        MultipartBody().withPart(data("file", "1")).withPart(file(std::string("f\0g", 3), "/f"));

    for (const std::string& name :
         {std::string("File"), std::string("FILE"), std::string("fil"), std::string("file "),
          std::string("file\0", 5), std::string()}) {
        EXPECT_FALSE(body.hasDataPart(name)) << name;
    }
    EXPECT_TRUE(body.hasDataPart("file"));
    EXPECT_FALSE(body.hasFilePart("f"));
    EXPECT_TRUE(body.hasFilePart(std::string("f\0g", 3)));
}

TEST(MultipartBody, RemovesNoPartWhoseNameOnlyBeginsAlike) {
    const std::string name("f\0g", 3);
    MultipartBody body = MultipartBody().withPart(data(name, "1")).withPart(data("f", "2"));

    body.removePart("f");

    EXPECT_EQ(lines(body), "0 " + name + " 1\n");
}

TEST(MultipartBody, FindsAPartWithoutAName) {
    const MultipartBody body = MultipartBody().withPart(data("a", "1")).withPart(DataPart("2"));

    EXPECT_TRUE(body.hasDataPart(""));
    EXPECT_EQ(body.getDataPart("").getData(), "2");
    EXPECT_FALSE(body.hasFilePart(""));
}

TEST(MultipartBody, ThrowsTheQuotedNameOfAnAbsentPart) {
    const LogCapture log;
    const MultipartBody body =
        MultipartBody().withPart(file("data", "/f")).withPart(data("file", "1"));

    EXPECT_THAT([&] { body.getDataPart("avatar"); },
                ThrowsExactly<std::out_of_range>("Data part with name=\"avatar\" not found."));
    EXPECT_THAT([&] { body.getDataPart("data"); },
                ThrowsExactly<std::out_of_range>("Data part with name=\"data\" not found."));
    EXPECT_THAT([&] { body.getDataPart("File"); },
                ThrowsExactly<std::out_of_range>("Data part with name=\"File\" not found."));
    EXPECT_THAT([&] { body.getDataPart("a\"b"); },
                ThrowsExactly<std::out_of_range>("Data part with name=\"a\"b\" not found."));
    EXPECT_THAT([&] { body.getFilePart(""); },
                ThrowsExactly<std::out_of_range>("File part with name=\"\" not found."));
    EXPECT_THAT([&] { body.getFilePart("file"); },
                ThrowsExactly<std::out_of_range>("File part with name=\"file\" not found."));
    EXPECT_THAT([] { MultipartBody().getDataPart("x"); },
                ThrowsExactly<std::out_of_range>("Data part with name=\"x\" not found."));
    EXPECT_EQ(lines(body), "1 data /f\n0 file 1\n");
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

TEST(MultipartBody, RemovesEveryPartOfANameOfEitherKind) {
    MultipartBody body = mixedBody();

    body.removePart("a");

    EXPECT_EQ(lines(body), "1 b /1\n0 c 3\n");
    EXPECT_FALSE(body.hasDataPart("a"));
    EXPECT_FALSE(body.hasFilePart("a"));
}

TEST(MultipartBody, StaysAsItIsWhenAnAbsentNameIsRemoved) {
    MultipartBody body = mixedBody();
    const std::string before = lines(body);

    body.removePart("A");
    body.removePart("");
    body.removePart("absent");

    EXPECT_EQ(lines(body), before);
    MultipartBody().removePart("absent");
}

TEST(MultipartBody, RemovesPartsWithoutANameByTheEmptyOne) {
    MultipartBody body =
        MultipartBody().withPart(DataPart("1")).withPart(data("a", "2")).withPart(FilePart("/f"));

    body.removePart("");

    EXPECT_EQ(lines(body), "0 a 2\n");
}

TEST(MultipartBody, IsEmptyOnceItsLastPartIsRemovedAndTakesPartsAgain) {
    MultipartBody body = MultipartBody().withPart(data("a", "1"));

    body.removePart("a");
    EXPECT_EQ(lines(body), "");

    body.addPart(data("a", "2"));
    EXPECT_EQ(lines(body), "0 a 2\n");
}

TEST(MultipartBody, HandsOutCopiesOfItsParts) {
    MultipartBody body = MultipartBody().withPart(data("a", "1")).withPart(file("b", "/1"));

    body.getDataPart("a").setData("changed");
    body.getFilePart("b").setFilePath("/changed");
    auto content = body.getContent();
    std::get<DataPart>(content[0]).setPartName("changed");
    content.clear();

    EXPECT_EQ(lines(body), "0 a 1\n1 b /1\n");
}

TEST(MultipartBody, CopiesAreIndependent) {
    MultipartBody original = MultipartBody().withPart(data("a", "1"));
    const MultipartBody copy = original;

    original.addPart(data("b", "2"));
    original.removePart("a");

    EXPECT_EQ(lines(copy), "0 a 1\n");
    EXPECT_EQ(lines(original), "0 b 2\n");
}

TEST(MultipartBody, MovesItsPartsAndIsUsableOnceMovedFrom) {
    MultipartBody original = MultipartBody().withPart(data("a", "1"));
    const MultipartBody moved = std::move(original);
    EXPECT_EQ(lines(moved), "0 a 1\n");
    EXPECT_EQ(lines(original), "");

    original.addPart(file("b", "/f"));

    EXPECT_EQ(lines(original), "1 b /f\n");
}

}  // namespace
}  // namespace tavrin::httpclient_core

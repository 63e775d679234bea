#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/collections.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/media_types.h"
#include "support/entry_lines.h"
#include "support/failure_and_record.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectFailureAndRecord;
using test::LogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(!std::is_default_constructible_v<ContentType>);
static_assert(std::is_copy_constructible_v<ContentType> && std::is_copy_assignable_v<ContentType>);
static_assert(std::is_move_constructible_v<ContentType> && std::is_move_assignable_v<ContentType>);
static_assert(!std::is_polymorphic_v<ContentType>);
static_assert(
    std::is_same_v<decltype(&ContentType::getType), std::string (ContentType::*)() const>);
static_assert(std::is_same_v<decltype(&ContentType::getParameters),
                             NameValueCollection (ContentType::*)() const>);

// The type and, a line each, the parameters.
std::string parsed(const std::string& text) {
    const ContentType type = ContentType::parse(text);
    return "<" + type.getType() + ">\n" + entryLines(type.getParameters());
}

TEST(ContentType, HoldsTypeAndParametersUnchecked) {
    const ContentType type(" no slash;", {{"b", ""}, {"", "1"}, {"B", "\""}});

    EXPECT_EQ(type.getType(), " no slash;");
    EXPECT_EQ(entryLines(type.getParameters()), "b: \n: 1\nB: \"\n");
}

TEST(ContentType, GivesParametersThatFindEveryEntryOnce) {
    const NameValueCollection entries = {{"a", "1"}};
    NameValueCollection parameters = {{"old", "0"}};
    parameters = entries;
    parameters.init();

    const ContentType type("t", std::move(parameters));

    EXPECT_THAT(type.getParameters().getAll("a"), ElementsAre("1"));
    EXPECT_FALSE(type.getParameters().has("old"));
}

TEST(ContentType, ChangesToWhatAGetterReturnedStayOutside) {
    const ContentType type("t", {{"a", "1"}});

    type.getParameters().add("b", "2");
    type.getType() += "x";

    EXPECT_EQ(type, ContentType("t", {{"a", "1"}}));
}

TEST(ContentType, ParsesATypeWithoutParameters) {
    EXPECT_EQ(parsed("text/html"), "<text/html>\n");
    EXPECT_EQ(ContentType::parse("text/html").toString(), "text/html");
}

TEST(ContentType, ParsesParametersInOrderAndKeepsRepeatedOnes) {
    EXPECT_EQ(parsed("text/html;charset=utf-8"), "<text/html>\ncharset: utf-8\n");
    EXPECT_EQ(parsed("a/b; z = 1;y=2 ;\tZ=3=4\r\n"), "<a/b>\nz: 1\ny: 2\nZ: 3=4\n");
}

TEST(ContentType, KeepsTheBlanksAroundTheTypeAndTrimsParameters) {
    EXPECT_EQ(parsed("text/html ; charset = utf-8 "), "<text/html >\ncharset: utf-8\n");
    EXPECT_EQ(parsed("  text/html"), "<  text/html>\n");
    EXPECT_EQ(parsed(" "), "< >\n");
}

TEST(ContentType, KeepsTheLetterCaseOfTheText) {
    EXPECT_EQ(parsed("Text/HTML;CharSet=UTF-8"), "<Text/HTML>\nCharSet: UTF-8\n");
    EXPECT_NE(ContentType::parse("Text/HTML"), ContentType::parse("text/html"));
}

TEST(ContentType, TakesTheFirstPieceThatIsNotEmptyForTheType) {
    EXPECT_EQ(parsed(";charset=utf-8"), "<charset=utf-8>\n");
    EXPECT_EQ(parsed(";;a;b=1"), "<a>\nb: 1\n");
}

TEST(ContentType, CutsThePiecesAtSemicolonsAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == ';') continue;
        const std::string type = std::string("a") + static_cast<char>(byte) + "b";

        EXPECT_EQ(ContentType::parse(type), ContentType(type, {})) << byte;
    }
}

TEST(ContentType, ParsesATextWithoutPiecesAsAnEmptyType) {
    EXPECT_EQ(parsed(""), "<>\n");
    EXPECT_EQ(parsed(";;"), "<>\n");
}

TEST(ContentType, KeepsQuotesAndAcceptsAnEmptyParameterName) {
    EXPECT_EQ(parsed("a/b;c=\"d\";=x"), "<a/b>\nc: \"d\"\n: x\n");
}

TEST(ContentType, WritesNoRecordWhileParsingSucceeds) {
    const LogCapture log;

    ContentType::parse("text/html ; charset = utf-8 ");
    ContentType::parse("");

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ContentType, AParameterWithoutAValueThrowsAndRecordsItsName) {
    const std::vector<std::pair<std::string, std::string>> namesInTexts = {
        {"text/html; charset=", "charset"},
        {"text/html; CharSet = \t", "CharSet"},
        {"text/html;", ""},
        {"text/html; ;a=1", ""},
        {"text/html;;a=1", ""},
        {"text/html;=", ""},
        {"text/html;a=1;b=;c=", "b"},
    };
    for (const auto& [text, name] : namesInTexts) {
        SCOPED_TRACE(text);
        expectFailureAndRecord<std::runtime_error>([&, &text = text] { ContentType::parse(text); },
                                                   "Missing parameter value for <" + name + ">",
                                                   LOG_DECISION);
    }
}

TEST(ContentType, AParameterWithoutAnEqualsSignThrowsAndRecordsThePieceUntrimmed) {
    expectFailureAndRecord<std::runtime_error>([] { ContentType::parse("text/html; charset"); },
                                               "Missing delimiter <=> when parsing : < charset>",
                                               LOG_DECISION);
}

TEST(ContentType, AMissingEqualsSignIsReportedAheadOfAMissingValue) {
    expectFailureAndRecord<std::runtime_error>([] { ContentType::parse("text/html;a=;b "); },
                                               "Missing delimiter <=> when parsing : <b >",
                                               LOG_DECISION);
}

TEST(ContentType, PrintsABlankBehindTheTypeAndNoneBetweenParameters) {
    EXPECT_EQ(ContentType("text/html", {{"charset", "utf-8"}, {"level", "1"}}).toString(),
              "text/html; charset=utf-8;level=1");
    EXPECT_EQ(ContentType::parse("text/html;charset=utf-8").toString(), "text/html; charset=utf-8");
}

TEST(ContentType, PrintsTextsAsStored) {
    EXPECT_EQ(ContentType("", {}).toString(), "");
    EXPECT_EQ(ContentType(" T ", {}).toString(), " T ");
    EXPECT_EQ(ContentType("", {{"a", ""}}).toString(), "; a=");
    EXPECT_EQ(ContentType("t", {{"a b", "c;\"d"}, {"", ""}}).toString(), "t; a b=c;\"d;=");
}

TEST(ContentType, ParsesToAnEqualValueWhatItPrinted) {
    for (const ContentType& type :
         {ContentType("text/html", {}), ContentType("", {}),
          ContentType("text/html", {{"a", "1"}, {"b", "2"}}),
          ContentType("Text/Html", {{"A", "\"x\""}, {"a", "x=y"}, {"", "z"}})}) {
        EXPECT_EQ(ContentType::parse(type.toString()), type) << type.toString();
    }
}

TEST(ContentType, EqualityComparesTypeAndParametersInOrderByteForByte) {
    const ContentType type("t", {{"a", "1"}, {"b", "2"}});

    EXPECT_TRUE(type == ContentType("t", {{"a", "1"}, {"b", "2"}}));
    EXPECT_FALSE(type != ContentType("t", {{"a", "1"}, {"b", "2"}}));
    for (const ContentType& other :
         {ContentType("T", {{"a", "1"}, {"b", "2"}}), ContentType("t", {{"b", "2"}, {"a", "1"}}),
          ContentType("t", {{"A", "1"}, {"b", "2"}}), ContentType("t", {{"a", "1"}}),
          ContentType("t ", {{"a", "1"}, {"b", "2"}})}) {
        EXPECT_FALSE(type == other) << other.toString();
        EXPECT_TRUE(type != other) << other.toString();
    }
}

TEST(ContentType, CopiesAreEqualAndMovesTakeTheTextsAlong) {
    const ContentType type("text/html", {{"a", "1"}});
    ContentType copy = type;
    EXPECT_EQ(copy, type);

    ContentType moved = std::move(copy);
    EXPECT_EQ(moved, type);
    copy = type;
    EXPECT_EQ(copy, type);
    copy = ContentType("x", {});
    EXPECT_EQ(copy.toString(), "x");
}

}  // namespace
}  // namespace tavrin::httpclient_core

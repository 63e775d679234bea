#include <gmock/gmock.h>

#include <iterator>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "httpclient_core/logging.h"
#include "httpclient_core/media_types.h"
#include "support/failure_and_record.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::expectFailureAndRecord;
using test::LogCapture;
using test::ThrowsExactly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(!std::is_default_constructible_v<Accept>);
static_assert(std::is_constructible_v<Accept, std::vector<ContentType>>);
static_assert(std::is_copy_constructible_v<Accept> && std::is_copy_assignable_v<Accept>);
static_assert(std::is_move_constructible_v<Accept> && std::is_move_assignable_v<Accept>);
static_assert(!std::is_polymorphic_v<Accept>);
static_assert(std::is_same_v<Accept::const_iterator, std::vector<ContentType>::const_iterator>);
static_assert(std::is_same_v<decltype(&Accept::operator[]),
                             const ContentType& (Accept::*)(std::size_t) const>);
static_assert(
    std::is_same_v<decltype(&Accept::at), const ContentType& (Accept::*)(std::size_t) const>);
static_assert(
    std::is_same_v<decltype(&Accept::getTypes), std::vector<ContentType> (Accept::*)() const>);

const ContentType HTML("text/html", {});
const ContentType JSON("application/json", {{"q", "0.9"}});

TEST(Accept, HoldsTheTypesInTheirOrder) {
    const Accept accept({JSON, HTML, HTML});

    EXPECT_THAT(accept.getTypes(), ElementsAre(JSON, HTML, HTML));
    EXPECT_EQ(accept.size(), 3u);
}

TEST(Accept, IteratesAndIndexesTheTypesItHolds) {
    const Accept accept({JSON, HTML});

    EXPECT_THAT(std::vector(accept.begin(), accept.end()), ElementsAre(JSON, HTML));
    for (std::size_t i = 0; i < accept.size(); ++i) {
        EXPECT_EQ(&accept[i], &accept.begin()[static_cast<std::ptrdiff_t>(i)]);
        EXPECT_EQ(&accept.at(i), &accept[i]);
    }
}

TEST(Accept, AnIndexBehindTheEndFailsAsThatOfAVectorDoes) {
    const Accept accept({JSON, HTML});
    const auto vectorsText = [](std::size_t index) -> std::string {
        try {
            return std::vector<ContentType>({JSON, HTML}).at(index).toString();
        } catch (const std::out_of_range& error) {
            return error.what();
        }
    };

    for (const std::size_t index : {std::size_t{2}, std::size_t{3}, std::size_t{1000000}}) {
        EXPECT_THAT([&] { accept.at(index); },
                    ThrowsExactly<std::out_of_range>(vectorsText(index)));
    }
    EXPECT_THAT([] { Accept({}).at(0); }, ::testing::Throws<std::out_of_range>());
}

TEST(Accept, ParsesTypesInOrderAndPassesOverEmptyElements) {
    EXPECT_THAT(Accept::parse("text/html, application/json;q=0.9,,").getTypes(),
                ElementsAre(HTML, JSON));
    EXPECT_THAT(Accept::parse(" , application/json; q = 0.9 ,\ttext/html\r\n").getTypes(),
                ElementsAre(JSON, HTML));
}

TEST(Accept, SortsNothingByWeight) {
    EXPECT_EQ(Accept::parse("a;q=0.1,b;q=1,c").toString(), "a; q=0.1, b; q=1, c");
}

TEST(Accept, TrimsElementsButKeepsTheBlankAheadOfASemicolon) {
    EXPECT_THAT(Accept::parse("  text/html ; level=1 , b ").getTypes(),
                ElementsAre(ContentType("text/html ", {{"level", "1"}}), ContentType("b", {})));
}

TEST(Accept, CutsWithinQuotesToo) {
    EXPECT_THAT(Accept::parse("a;b=\"x,y\"").getTypes(),
                ElementsAre(ContentType("a", {{"b", "\"x"}}), ContentType("y\"", {})));
}

TEST(Accept, CutsElementsAtCommasAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == ',' || byte == ';') continue;
        const std::string value = std::string("x") + static_cast<char>(byte) + "y";

        EXPECT_THAT(Accept::parse("a;b=" + value).getTypes(),
                    ElementsAre(ContentType("a", {{"b", value}})))
            << byte;
    }
}

TEST(Accept, ParsesATextWithoutElementsAsNoTypes) {
    const LogCapture log;

    for (const std::string text : {"", " ", " \t\r\n", ",", ", ,"}) {
        EXPECT_EQ(Accept::parse(text).size(), 0u);
    }

    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(Accept, FailsAtTheFirstBadElementAsThatElementDoes) {
    expectFailureAndRecord<std::runtime_error>([] { Accept::parse("a, b;c= ,d;e"); },
                                               "Missing parameter value for <c>", LOG_DECISION);
    expectFailureAndRecord<std::runtime_error>([] { Accept::parse("a, b; c ,d;e="); },
                                               "Missing delimiter <=> when parsing : < c>",
                                               LOG_DECISION);
    expectFailureAndRecord<std::runtime_error>([] { Accept::parse("a;,b"); },
                                               "Missing parameter value for <>", LOG_DECISION);
}

TEST(Accept, PrintsTypesWithACommaAndABlankBetweenThem) {
    EXPECT_EQ(Accept({HTML, JSON}).toString(), "text/html, application/json; q=0.9");
    EXPECT_EQ(Accept::parse("text/html, application/json;q=0.9,,").toString(),
              "text/html, application/json; q=0.9");
    EXPECT_EQ(Accept({HTML}).toString(), "text/html");
}

TEST(Accept, PrintsNoTypesAsAnEmptyText) {
    EXPECT_EQ(Accept({}).toString(), "");
    EXPECT_EQ(Accept::parse("").toString(), "");
}

TEST(Accept, PrintsEmptyTypesToo) {
    const ContentType empty("", {});

    EXPECT_EQ(Accept({empty}).toString(), "");
    EXPECT_EQ(Accept({empty, empty}).toString(), ", ");
}

TEST(Accept, ParsesToAnEqualValueWhatItPrinted) {
    const Accept accept({JSON, HTML, ContentType("a", {{"b", "1"}, {"c", "2"}})});

    EXPECT_EQ(Accept::parse(accept.toString()), accept);
}

TEST(Accept, EqualityComparesTypesInOrder) {
    const Accept accept({HTML, JSON});

    EXPECT_TRUE(accept == Accept({HTML, JSON}));
    EXPECT_FALSE(accept != Accept({HTML, JSON}));
    for (const Accept& other : {Accept({JSON, HTML}), Accept({HTML}), Accept({HTML, JSON, JSON}),
                                Accept({HTML, ContentType("application/json", {{"Q", "0.9"}})})}) {
        EXPECT_FALSE(accept == other) << other.toString();
        EXPECT_TRUE(accept != other) << other.toString();
    }
    EXPECT_EQ(Accept({}), Accept({}));
}

TEST(Accept, ACopyIsEqualAndIndependent) {
    Accept source({HTML, JSON});
    const Accept copy = source;

    source = Accept({HTML});

    EXPECT_EQ(copy, Accept({HTML, JSON}));
    EXPECT_EQ(source, Accept({HTML}));
}

}  // namespace
}  // namespace tavrin::httpclient_core

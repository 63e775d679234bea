#include "representation.h"

#include <gmock/gmock.h>

namespace tavrin::http_tool {
namespace {

using httpclient_core::HttpHeaders;

constexpr char DATE[] = "Sun, 06 Nov 1994 08:49:37 GMT";
constexpr char MINUTE_BEFORE[] = "Sun, 06 Nov 1994 08:48:37 GMT";
constexpr char SECONDS_BEFORE[] = "Sun, 06 Nov 1994 08:48:38 GMT";

std::string rendered(const HttpHeaders& headers) {
    const auto representation = representationOf(headers);
    return representation ? representation->validator + " " + std::to_string(representation->length)
                          : "none";
}

TEST(RepresentationOf, IsToldByAStrongETag) {
    EXPECT_EQ(rendered({{"ETag", "\"a\""}, {"Content-Length", "5"}}), "\"a\" 5");
    EXPECT_EQ(rendered({{"ETag", "W/\"a\""}, {"Content-Length", "5"}}), "none");
    EXPECT_EQ(rendered({{"ETag", "a"}, {"Content-Length", "5"}}), "none");
    EXPECT_EQ(rendered({{"ETag", "\""}, {"Content-Length", "5"}}), "none");
}

TEST(RepresentationOf, IsToldByADateThatIsAMinuteOld) {
    EXPECT_EQ(rendered({{"Last-Modified", MINUTE_BEFORE}, {"Date", DATE}, {"Content-Length", "5"}}),
              std::string(MINUTE_BEFORE) + " 5");
    EXPECT_EQ(
        rendered({{"Last-Modified", SECONDS_BEFORE}, {"Date", DATE}, {"Content-Length", "5"}}),
        "none");
    EXPECT_EQ(rendered({{"Last-Modified", MINUTE_BEFORE}, {"Content-Length", "5"}}), "none");
    EXPECT_EQ(rendered({{"Last-Modified", "yesterday"}, {"Date", DATE}, {"Content-Length", "5"}}),
              "none");
    EXPECT_EQ(rendered({{"Last-Modified", std::string(MINUTE_BEFORE) + "x"},
                        {"Date", DATE},
                        {"Content-Length", "5"}}),
              "none");
}

TEST(RepresentationOf, PrefersTheETag) {
    EXPECT_EQ(rendered({{"Last-Modified", MINUTE_BEFORE},
                        {"Date", DATE},
                        {"ETag", "\"a\""},
                        {"Content-Length", "5"}}),
              "\"a\" 5");
}

TEST(RepresentationOf, NeedsAPlainLengthAndNoCoding) {
    EXPECT_EQ(rendered({{"ETag", "\"a\""}}), "none");
    EXPECT_EQ(rendered({{"ETag", "\"a\""}, {"Content-Length", "5x"}}), "none");
    EXPECT_EQ(rendered({{"ETag", "\"a\""}, {"Content-Length", "-5"}}), "none");
    EXPECT_EQ(rendered({{"ETag", "\"a\""}, {"Content-Length", "99999999999999999999"}}), "none");
    EXPECT_EQ(rendered({{"ETag", "\"a\""}, {"Content-Length", "5"}, {"Content-Encoding", "gzip"}}),
              "none");
    EXPECT_EQ(
        rendered({{"ETag", "\"a\""}, {"Content-Length", "5"}, {"Content-Encoding", "Identity"}}),
        "\"a\" 5");
}

TEST(Continues, TakesExactlyTheMissingRange) {
    const Representation representation{"\"a\"", 100};

    EXPECT_TRUE(
        continues({{"ETag", "\"a\""}, {"Content-Range", "bytes 40-99/100"}}, representation, 40));
    for (const std::string range :
         {"bytes 39-99/100", "bytes 41-99/100", "bytes 40-98/100", "bytes 40-99/101",
          "bytes 40-99/*", "bytes */100", "40-99/100", "bytes 40-99/100 ", ""}) {
        EXPECT_FALSE(continues({{"ETag", "\"a\""}, {"Content-Range", range}}, representation, 40))
            << range;
    }
}

TEST(Continues, NeedsTheSameValidator) {
    const std::string range = "bytes 40-99/100";

    EXPECT_FALSE(continues({{"Content-Range", range}}, {"\"a\"", 100}, 40));
    EXPECT_FALSE(continues({{"ETag", "\"b\""}, {"Content-Range", range}}, {"\"a\"", 100}, 40));
    EXPECT_FALSE(continues({{"ETag", "W/\"a\""}, {"Content-Range", range}}, {"\"a\"", 100}, 40));
    EXPECT_TRUE(continues({{"Last-Modified", DATE}, {"Content-Range", range}}, {DATE, 100}, 40));
    EXPECT_FALSE(
        continues({{"Last-Modified", MINUTE_BEFORE}, {"Content-Range", range}}, {DATE, 100}, 40));
}

TEST(Continues, RefusesCodingsAndSeveralParts) {
    const HttpHeaders fitting{{"ETag", "\"a\""}, {"Content-Range", "bytes 40-99/100"}};
    HttpHeaders coded = fitting;
    coded.addHeaderValue("Content-Encoding", "gzip");
    HttpHeaders parts = fitting;
    parts.addHeaderValue("Content-Type", "Multipart/ByteRanges; boundary=x");

    EXPECT_FALSE(continues(coded, {"\"a\"", 100}, 40));
    EXPECT_FALSE(continues(parts, {"\"a\"", 100}, 40));
}

}  // namespace
}  // namespace tavrin::http_tool

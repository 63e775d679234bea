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

// Of the text "abc" (FIPS 180-2, B.1 and C.1), as a server tells it.
constexpr char SHA256[] = "sha-256=:ungWv48Bz+pBQUDeXa4iI7ADYaOWF3qctBD/YfIAFa0=:";
constexpr char SHA512[] =
    "sha-512=:3a81oZNherrMQXNJriBBMRLm+k6JqX6iCp7u5ktV05ohkpkqJ0/BqDa6PCOj/"
    "uu9RU1EI2Q86A4qmslPpUyknw==:";
const ExpectedChecksum& abc() {
    static const ExpectedChecksum abc{"sha256", checksumOfText("sha256", "abc")};
    return abc;
}

std::string announced(const HttpHeaders& headers) {
    const auto digest = announcedDigest(headers);
    return digest ? digest->text() : "none";
}

TEST(AnnouncedDigest, IsFoundAmongOthersAndParameters) {
    const std::string member = SHA256;

    EXPECT_EQ(announced({{"repr-digest", member}}), abc().text());
    EXPECT_EQ(announced({{"Repr-Digest", "sha-512=:AAAA:, " + member + ";a=1 ,x=:AA==:"}}),
              abc().text());
    EXPECT_EQ(announced({{"Repr-Digest", "x=:AA==:"}, {"Repr-Digest", member}}), abc().text());
}

TEST(AnnouncedDigest, IsTheStrongestAndOfItTheLast) {
    const std::string sha512 = "sha512:" + checksumOfText("sha512", "abc");
    const std::string other = "sha-256=:" + std::string(43, 'A') + "=:";

    EXPECT_EQ(announced({{"Repr-Digest", SHA512}, {"Repr-Digest", SHA256}}), sha512);
    EXPECT_EQ(announced({{"Repr-Digest", SHA256}, {"Repr-Digest", SHA512}}), sha512);
    EXPECT_EQ(announced({{"Repr-Digest", other + "," + SHA256}}), abc().text());
}

TEST(AnnouncedDigest, IsTakenFromNothingElse) {
    const std::string sequence = std::string(SHA256).substr(8);

    EXPECT_EQ(announced({}), "none");
    EXPECT_EQ(announced({{"Content-Digest", SHA256}}), "none");
    for (const std::string& value :
         {std::string(), std::string("sha-256"), std::string("sha-256="), "sha-25=" + sequence,
          "xsha-256=" + sequence, "SHA-256=" + sequence, "sha-512=" + sequence,
          "sha-256=" + sequence.substr(1), "sha-256=" + sequence.substr(0, 45),
          "sha-256=:" + sequence.substr(2), "sha-256=:A" + sequence.substr(1),
          "sha-256=:=" + sequence.substr(2), "sha-256=:-" + sequence.substr(2),
          "sha-256=" + sequence.substr(0, 44) + "A:", "sha-256=" + sequence.substr(0, 43) + "-:",
          "sha-256=" + sequence.substr(0, 44) + "-:", "sha-256=" + sequence.substr(0, 45) + "A",
          "sha-256=A" + sequence.substr(1)}) {
        EXPECT_EQ(announced({{"Repr-Digest", value}}), "none") << value;
    }
}

TEST(RepresentationOf, KnowsTheDigestThatWasAnnounced) {
    const auto representation =
        representationOf({{"ETag", "\"a\""}, {"Content-Length", "3"}, {"Repr-Digest", SHA256}});

    ASSERT_TRUE(representation);
    EXPECT_EQ(representation->digest, abc());
}

TEST(Continues, RefusesAnotherDigestAndNeedsNone) {
    const HttpHeaders plain{{"ETag", "\"a\""}, {"Content-Range", "bytes 40-99/100"}};
    HttpHeaders told = plain;
    told.addHeaderValue("Repr-Digest", SHA256);

    EXPECT_TRUE(continues(told, {"\"a\"", 100, abc()}, 40));
    EXPECT_TRUE(continues(told, {"\"a\"", 100, std::nullopt}, 40));
    EXPECT_TRUE(continues(plain, {"\"a\"", 100, abc()}, 40));
    EXPECT_FALSE(continues(told, {"\"a\"", 100, ExpectedChecksum{"sha256", "00"}}, 40));
    EXPECT_TRUE(continues(told, {"\"a\"", 100, ExpectedChecksum{"sha512", "00"}}, 40));
}

TEST(Continues, TakesExactlyTheMissingRange) {
    const Representation representation{"\"a\"", 100, std::nullopt};

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

    EXPECT_FALSE(continues({{"Content-Range", range}}, {"\"a\"", 100, std::nullopt}, 40));
    EXPECT_FALSE(
        continues({{"ETag", "\"b\""}, {"Content-Range", range}}, {"\"a\"", 100, std::nullopt}, 40));
    EXPECT_FALSE(continues({{"ETag", "W/\"a\""}, {"Content-Range", range}},
                           {"\"a\"", 100, std::nullopt}, 40));
    EXPECT_TRUE(continues({{"Last-Modified", DATE}, {"Content-Range", range}},
                          {DATE, 100, std::nullopt}, 40));
    EXPECT_FALSE(continues({{"Last-Modified", MINUTE_BEFORE}, {"Content-Range", range}},
                           {DATE, 100, std::nullopt}, 40));
}

TEST(Continues, RefusesCodingsAndSeveralParts) {
    const HttpHeaders fitting{{"ETag", "\"a\""}, {"Content-Range", "bytes 40-99/100"}};
    HttpHeaders coded = fitting;
    coded.addHeaderValue("Content-Encoding", "gzip");
    HttpHeaders parts = fitting;
    parts.addHeaderValue("Content-Type", "Multipart/ByteRanges; boundary=x");

    EXPECT_FALSE(continues(coded, {"\"a\"", 100, std::nullopt}, 40));
    EXPECT_FALSE(continues(parts, {"\"a\"", 100, std::nullopt}, 40));
}

}  // namespace
}  // namespace tavrin::http_tool

// How a FaultServer answers range requests, correctly and not.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/small_server.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::HasSubstr;
using testing::Optional;

std::string getRange(const std::string& range, const std::string& ifRange = "") {
    return get("/", "Range: bytes=" + range + "\r\n" +
                        (ifRange.empty() ? "" : "If-Range: " + ifRange + "\r\n"));
}

std::optional<std::string> contentRange(const std::string& value) { return value; }

const char* const LAST_MODIFIED = "Sun, 13 Sep 2020 12:26:40 GMT";

// --- Correct ---

TEST(Ranges, AreGivenAsAsked) {
    SmallServer server;
    const auto expectRange = [&](const std::string& asked, std::size_t first, std::size_t last) {
        const RawAnswer answer = server.askKeeping(getRange(asked));
        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 206 Partial Content") << asked;
        EXPECT_EQ(
            answer.header("Content-Range"),
            contentRange("bytes " + std::to_string(first) + "-" + std::to_string(last) + "/2000"));
        EXPECT_EQ(answer.body, SMALL.range(first, last - first + 1)) << asked;
        EXPECT_THAT(answer.header("ETag"), Optional(server.etag()));
        EXPECT_THAT(answer.header("Accept-Ranges"), Optional<std::string>("bytes"));
    };

    expectRange("100-199", 100, 199);
    expectRange("0-0", 0, 0);
    expectRange("1999-", 1999, 1999);
    expectRange("500-", 500, 1999);
    expectRange("500-99999999999", 500, 1999);
    expectRange("-5", 1995, 1999);
    expectRange("-5000", 0, 1999);
}

TEST(Ranges, BehindTheEndCannotBeSatisfied) {
    SmallServer server;
    for (const std::string range : {"2000-", "3000-4000", "-0"}) {
        const RawAnswer answer = server.askKeeping(getRange(range));

        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 416 Range Not Satisfiable") << range;
        EXPECT_EQ(answer.header("Content-Range"), contentRange("bytes */2000"));
    }
    EXPECT_THAT(server.askKeeping(get("/bytes/0", "Range: bytes=0-\r\n")).statusLine(),
                HasSubstr("416"));
}

TEST(Ranges, ThatAreMalformedAreIgnored) {
    SmallServer server;
    for (const std::string range : {"", "x", "5", "5-4", "-", "1-2,x", "0x1-5"}) {
        EXPECT_EQ(server.askKeeping(getRange(range)).body, SMALL.all()) << range;
    }
    EXPECT_EQ(server.askKeeping(get("/", "Range: lines=1-2\r\n")).body, SMALL.all());
}

TEST(Ranges, ThatAreSeveralComeAsParts) {
    SmallServer server;
    const RawAnswer answer = server.askKeeping(getRange("0-4, 100-109"));

    EXPECT_THAT(answer.header("Content-Type"), Optional(HasSubstr("multipart/byteranges")));
    EXPECT_FALSE(answer.header("Content-Range"));
    EXPECT_THAT(answer.body,
                HasSubstr("Content-Range: bytes 0-4/2000\r\n\r\n" + SMALL.range(0, 5)));
    EXPECT_THAT(answer.body,
                HasSubstr("Content-Range: bytes 100-109/2000\r\n\r\n" + SMALL.range(100, 10)));
}

TEST(Ranges, HoldOnlyIfTheValidatorDoes) {
    SmallServer server;
    const auto statusFor = [&](const std::string& ifRange) {
        return server.askKeeping(getRange("5-", ifRange)).statusLine().substr(9, 3);
    };

    EXPECT_EQ(statusFor(server.etag()), "206");
    EXPECT_EQ(statusFor(LAST_MODIFIED), "206");
    EXPECT_EQ(statusFor("\"other\""), "200");
    EXPECT_EQ(statusFor("W/" + server.etag()), "200");
    EXPECT_EQ(statusFor("Sun, 13 Sep 2020 12:26:41 GMT"), "200");
}

TEST(Ranges, AreForGetAlone) {
    SmallServer server;
    RawClient client(server.port());
    client.send("HEAD / HTTP/1.1\r\nHost: h\r\nRange: bytes=5-\r\n\r\n");

    EXPECT_EQ(client.receiveAnswer(false).statusLine(), "HTTP/1.1 200 OK");
}

// --- Wrong ---

TEST(RangeFaults, IgnoreTheRange) {
    SmallServer server("ignorerange+rst@500");
    const RawAnswer answer = server.ask(getRange("100-"));

    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 200 OK");
    EXPECT_EQ(answer.body, SMALL.range(0, 500));
}

TEST(RangeFaults, BeginTheRangeElsewhere) {
    SmallServer server;
    const auto expectRange = [&](const std::string& step, std::size_t first) {
        server.setPlan(step);
        const RawAnswer answer = server.askKeeping(getRange("1000-"));
        EXPECT_EQ(answer.header("Content-Range"),
                  contentRange("bytes " + std::to_string(first) + "-1999/2000"));
        EXPECT_EQ(answer.body, SMALL.range(first, 2000 - first)) << step;
    };

    expectRange("wrongrange:+1", 1001);
    expectRange("wrongrange:-1", 999);
    expectRange("wrongrange:+4096", 1999);
    expectRange("wrongrange:-4096", 0);
}

TEST(RangeFaults, LieAboutTheTotal) {
    SmallServer server("lietotal:+1,lietotal:-1");

    EXPECT_EQ(server.askKeeping(getRange("5-9")).header("Content-Range"),
              contentRange("bytes 5-9/2001"));
    EXPECT_EQ(server.askKeeping(getRange("5-9")).header("Content-Range"),
              contentRange("bytes 5-9/1999"));
}

TEST(RangeFaults, GiveOnlyTheBeginningOfTheRange) {
    SmallServer server("shortrange:10");
    const RawAnswer answer = server.askKeeping(getRange("100-"));

    EXPECT_EQ(answer.header("Content-Range"), contentRange("bytes 100-109/2000"));
    EXPECT_EQ(answer.body, SMALL.range(100, 10));
}

TEST(RangeFaults, LeaveOutContentRange) {
    SmallServer server("nocr");
    const RawAnswer answer = server.askKeeping(getRange("100-"));

    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 206 Partial Content");
    EXPECT_FALSE(answer.header("Content-Range"));
    EXPECT_EQ(answer.body, SMALL.range(100, 1900));
}

TEST(RangeFaults, WrapOneRangeIntoParts) {
    SmallServer server("multirange");
    const RawAnswer answer = server.askKeeping(getRange("100-"));

    EXPECT_THAT(answer.header("Content-Type"), Optional(HasSubstr("multipart/byteranges")));
    EXPECT_THAT(answer.body, HasSubstr(SMALL.range(100, 1900)));
}

TEST(RangeFaults, AnswerPartiallyWhereNobodyAskedForIt) {
    SmallServer server("unasked206");
    const RawAnswer answer = server.askKeeping();

    EXPECT_EQ(answer.header("Content-Range"), contentRange("bytes 0-1999/2000"));
    EXPECT_EQ(answer.body, SMALL.all());
}

TEST(RangeFaults, LeaveOutAcceptRanges) {
    SmallServer server("noar206,noar206,noar");

    EXPECT_TRUE(server.askKeeping().header("Accept-Ranges"));
    EXPECT_FALSE(server.askKeeping(getRange("5-")).header("Accept-Ranges"));
    EXPECT_FALSE(server.askKeeping().header("Accept-Ranges"));
}

TEST(RangeFaults, ChangeTheContentAndItsValidatorsFromNowOn) {
    SmallServer server("ok,change,ok");
    const std::string oldTag = server.etag();
    const RawAnswer before = server.askKeeping();

    const RawAnswer changed = server.askKeeping(getRange("100-", oldTag));
    const RawAnswer after = server.askKeeping();

    EXPECT_EQ(changed.statusLine(), "HTTP/1.1 200 OK");
    EXPECT_EQ(changed.body, server.content().all());
    EXPECT_NE(changed.body, before.body);
    EXPECT_NE(changed.header("ETag"), before.header("ETag"));
    EXPECT_NE(changed.header("Last-Modified"), before.header("Last-Modified"));
    EXPECT_EQ(after.body, changed.body);
    EXPECT_EQ(server.askKeeping(get("/other")).body, SMALL.all());
}

TEST(RangeFaults, ChangeTheSizeToo) {
    SmallServer server("change:-500,change:+50");

    EXPECT_EQ(server.askKeeping().body.size(), 1500U);
    EXPECT_EQ(server.askKeeping().body.size(), 1550U);
}

TEST(RangeFaults, ChangeTheContentUnderTheSameValidators) {
    SmallServer server("change+keepetag");
    const std::string oldTag = server.etag();
    const RawAnswer answer = server.askKeeping(getRange("100-", oldTag));

    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 206 Partial Content");
    EXPECT_THAT(answer.header("ETag"), Optional(oldTag));
    EXPECT_THAT(answer.header("Last-Modified"), Optional<std::string>(LAST_MODIFIED));
    EXPECT_EQ(answer.body, server.content().range(100, 1900));
    EXPECT_NE(answer.body, SMALL.range(100, 1900));
}

TEST(RangeFaults, TakeEveryIfRangeAsTrue) {
    SmallServer server("change+ifrangeignore");
    const RawAnswer answer = server.askKeeping(getRange("100-", "\"old\""));

    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 206 Partial Content");
    EXPECT_THAT(answer.header("ETag"), Optional(server.etag()));
}

TEST(RangeFaults, LeaveOutTheValidatorsOfAPart) {
    SmallServer server("ifrangedrop");

    const RawAnswer part = server.askKeeping(getRange("5-", server.etag()));
    EXPECT_EQ(part.statusLine(), "HTTP/1.1 206 Partial Content");
    EXPECT_FALSE(part.header("ETag"));
    EXPECT_FALSE(part.header("Last-Modified"));
    EXPECT_TRUE(server.askKeeping().header("ETag"));
}

TEST(RangeFaults, WeakenOrLeaveOutValidators) {
    SmallServer server;
    const auto with = [&](const std::string& step, const std::string& request = get("/")) {
        server.setPlan(step);
        return server.askKeeping(request);
    };

    EXPECT_THAT(with("weaketag").header("ETag"), Optional("W/" + server.etag()));
    EXPECT_EQ(with("weaketag", getRange("5-", "W/" + server.etag())).statusLine(),
              "HTTP/1.1 200 OK");
    EXPECT_FALSE(with("noetag").header("ETag"));
    EXPECT_EQ(with("noetag", getRange("5-", server.etag())).statusLine(), "HTTP/1.1 200 OK");
    EXPECT_FALSE(with("nolm").header("Last-Modified"));
    EXPECT_EQ(with("nolm", getRange("5-", LAST_MODIFIED)).statusLine(), "HTTP/1.1 200 OK");
    EXPECT_FALSE(with("nodate").header("Date"));
    const RawAnswer recent = with("recentlm");
    EXPECT_EQ(recent.header("Last-Modified")->substr(0, 16), recent.header("Date")->substr(0, 16));
}

TEST(RangeFaults, TakeRangesOfTheCompressedRepresentation) {
    SmallServer server("gzip");
    const std::string whole = server.askKeeping().body;
    const RawAnswer part = server.askKeeping(getRange("10-19"));

    EXPECT_EQ(part.body, whole.substr(10, 10));
    EXPECT_EQ(part.header("Content-Range"),
              contentRange("bytes 10-19/" + std::to_string(whole.size())));
}

}  // namespace
}  // namespace tavrin::httpclient_testing

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "support.h"
#include "support/byte_counter.h"
#include "support/child.h"

namespace tavrin::httpclient_curl {
namespace {

using test::ByteCounter;
using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class Responses : public OnBothRoads {
protected:
    std::string failureOfPlan(httpclient_testing::FaultPlan plan,
                              const std::string& path = "/bytes/1000",
                              CurlOptions options = CurlOptions()) {
        FaultServer server(std::move(plan));
        const CurlHttpClient client(once().withIdleTimeout(3000).withResponseTimeout(3000),
                                    std::move(options));
        codeSeen_ = 0;
        HttpRequest request = get(server.url(path));
        ClientConfiguration configuration = client.getClientConfiguration();
        configuration.setRetryStrategy([this](const HttpRequest&, const HttpResponse& response,
                                              const std::exception_ptr&, int, int) {
            codeSeen_ = static_cast<int>(response.getResponseCode());
            headersSeen_ = response.getHeaders().size();
            return false;
        });
        request.setClientConfiguration(configuration);
        std::string text = failureOf([&] { response_ = send(client, std::move(request)); });
        const std::string prefix = "Request to " + hostOf(server) + " failed: ";
        return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
    }

    std::string failureOfLength(const std::string& contentLength) {
        httpclient_testing::FaultStep step = httpclient_testing::FaultStep::parse("nolen");
        step.headers = {{"Content-Length", contentLength}};
        return failureOfPlan(std::vector{step});
    }

    int codeSeen_ = 0;
    std::size_t headersSeen_ = 0;
    HttpResponse response_;
};
ON_BOTH_ROADS(Responses);

TEST_P(Responses, CutBodiesFail) {
    EXPECT_THAT(failureOfPlan("fin@500"), HasSubstr("incomplete body: "));
    EXPECT_EQ(codeSeen_, 200);
    EXPECT_THAT(failureOfPlan("clmore"), HasSubstr("incomplete body: "));
    EXPECT_NE(failureOfPlan("rst@500"), "");
    for (const char* plan : {"tchunk@0", "tchunk@500", "badchunk@0", "badchunk@500",
                             "chunked+fin@end", "chunked+fin@500"}) {
        EXPECT_NE(failureOfPlan(plan), "") << plan;
    }
}

TEST_P(Responses, WithoutAnyByteFail) {
    for (const char* plan :
         {"noresp", "noresp:rst", "accept_rst", "hfin@0", "hrst@0", "hfin@30", "hrst@30"}) {
        EXPECT_NE(failureOfPlan(plan), "") << plan;
        EXPECT_EQ(codeSeen_, -1) << plan;
        EXPECT_EQ(headersSeen_, 0u) << plan;
    }
}

TEST_P(Responses, WithoutALengthEndWithTheConnection) {
    EXPECT_EQ(failureOfPlan("nolen"), "");
    EXPECT_EQ(response_.getResponseBodyString().size(), 1000u);
    // Nothing tells that anything is missing.
    EXPECT_EQ(failureOfPlan("nolen+fin@500"), "");
    EXPECT_EQ(response_.getResponseBodyString().size(), 500u);
}

TEST_P(Responses, BytesBehindTheLengthAreCutAndTheConnectionClosed) {
    FaultServer server("clless,ok");
    const CurlHttpClient client(once());
    HttpResponse response = send(client, get(server.url("/bytes/1000")));
    EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/1000").range(0, 990));
    EXPECT_EQ(send(client, get(server.url("/bytes/7"))).getContentLength(), 7);
    EXPECT_EQ(server.connectionsAccepted(), 2u);
}

TEST_P(Responses, WithTwoLengthsFailAtOnce) {
    EXPECT_EQ(failureOfPlan("dupcl"), "malformed response: it has two Content-Lengths that differ");
    EXPECT_EQ(codeSeen_, -1);
    EXPECT_EQ(failureOfPlan("dupcl:0"), "");
}

TEST_P(Responses, MayRepeatTheirLengthInOneField) {
    for (const char* length : {"1000", "01000", "1000, 1000", "1000,1000 ,1000"})
        EXPECT_EQ(failureOfLength(length), "") << length;
    for (const char* length : {"1000, 1001", "0, 1000", "1000, 1000, 999"}) {
        EXPECT_EQ(failureOfLength(length),
                  "malformed response: it has two Content-Lengths that differ")
            << length;
    }
}

// libcurl reads as far as there are digits, and nothing at all where the number is too large.
TEST_P(Responses, WhoseLengthIsNoPlainNumberFail) {
    for (const char* length :
         {"1000,", "1000, 1000,", "1000, , 1000", "1000, x", "1000, 1000x", "1000, -1000", "+1000",
          "10 00", "10\r00", "1000\v", "1000.0", "1e3", "0x3e8", "1000;q=1", "9223372036854775808",
          "18446744073709552616", "1000, 10000000000000000000"}) {
        EXPECT_EQ(failureOfLength(length), "malformed response: its Content-Length is no number")
            << length;
    }
    for (const char* length : {"", ",1000", "-1000", "\"1000\"", "\v1000", "x"}) {
        EXPECT_EQ(failureOfLength(length), "malformed response: Invalid Content-Length: value")
            << length;
    }
}

TEST_P(Responses, WithALengthAndChunksAreReadByChunksAndNotTrustedFurther) {
    FaultServer server("clte,ok");
    const CurlHttpClient client(once());
    EXPECT_EQ(send(client, get(server.url("/bytes/1000"))).getResponseBodyString(),
              server.content("/bytes/1000").all());
    send(client, get(server.url("/bytes/7")));
    send(client, get(server.url("/bytes/7")));
    EXPECT_EQ(server.connectionsAccepted(), 2u);
}

TEST_P(Responses, HeaderBombsFailByTheNameOfTheLimit) {
    EXPECT_THAT(
        failureOfPlan("hbomb:20000:200"),
        HasSubstr("malformed response: it has more than maxHeaderCount = 1000 header fields"));
    EXPECT_THAT(
        failureOfPlan("hbomb:900:1000"),
        HasSubstr("malformed response: its head has more than maxHeaderBytes = 262144 bytes"));
    EXPECT_THAT(failureOfPlan("hline:200000"),
                HasSubstr("malformed response: a line of its head has more than 100 KiB"));
    EXPECT_THAT(failureOfPlan("hinf"), HasSubstr("malformed response: "));
    EXPECT_EQ(failureOfPlan("hbomb:3000:50", "/bytes/1000", CurlOptions().withMaxHeaderCount(0)),
              "");
    EXPECT_EQ(failureOfPlan("hbomb:900:300", "/bytes/1000", CurlOptions().withMaxHeaderBytes(0)),
              "");
}

TEST_P(Responses, WithExactlyAsManyHeadersAsAllowedPass) {
    ASSERT_EQ(failureOfPlan("ok"), "");
    const HttpHeaders headers = response_.getHeaders();
    const auto count = static_cast<long>(headers.size());
    long bytes = static_cast<long>(std::string("HTTP/1.1 200 OK\r\n\r\n").size());
    for (const auto& [name, value] : headers)
        bytes += static_cast<long>((name + ": " + value + "\r\n").size());

    EXPECT_EQ(failureOfPlan("ok", "/bytes/1000", CurlOptions().withMaxHeaderCount(count)), "");
    EXPECT_EQ(failureOfPlan("ok", "/bytes/1000", CurlOptions().withMaxHeaderBytes(bytes)), "");
    for (const long tooFew : {1L, count - 1}) {
        EXPECT_EQ(failureOfPlan("ok", "/bytes/1000", CurlOptions().withMaxHeaderCount(tooFew)),
                  "malformed response: it has more than maxHeaderCount = " +
                      std::to_string(tooFew) + " header fields");
    }
    for (const long tooFew : {1L, bytes - 1}) {
        EXPECT_EQ(failureOfPlan("ok", "/bytes/1000", CurlOptions().withMaxHeaderBytes(tooFew)),
                  "malformed response: its head has more than maxHeaderBytes = " +
                      std::to_string(tooFew) + " bytes");
    }
}

TEST_P(Responses, WithOddHeaderLinesAreTakenAsTheyAreOrRefused) {
    for (const char* plan : {"odd:nul", "odd:nulname", "odd:nocolon", "odd:leadingfold"}) {
        EXPECT_THAT(failureOfPlan(plan), HasSubstr("malformed response: ")) << plan;
    }
    const std::pair<const char*, const char*> lenient[] = {
        {"odd:emptyname", ""},
        {"odd:fold", "X-Odd=first second;"},
        {"odd:barecr", "X-Odd=a X-Injected: b;"},
        {"odd:barelf", "X-Odd=a;X-After-Bare-LF=b;"},
        {"odd:space", "X-Odd=a;"},
        {"odd:high", "X-Odd=\xC3\xA4\xFF\x80;"},
        {"odd:control",
         "X-Odd=a\x01\x7F"
         "b;"},
        {"odd:emptyvalue", "X-Odd=;"},
    };
    ASSERT_EQ(failureOfPlan("ok"), "");
    const std::size_t usual = response_.getHeaders().size();
    for (const auto& [plan, expected] : lenient) {
        ASSERT_EQ(failureOfPlan(plan), "") << plan;
        std::string odd;
        std::size_t others = 0;
        for (const auto& [name, value] : response_.getHeaders()) {
            if (name.rfind("X-", 0) == 0) {
                odd += name + "=" + value + ";";
            } else {
                ++others;
            }
        }
        EXPECT_EQ(odd, expected) << plan;
        EXPECT_EQ(others, usual) << plan;
        EXPECT_EQ(response_.getResponseBodyString().size(), 1000u) << plan;
    }
}

TEST_P(Responses, ThatSwitchProtocolsUnaskedFail) {
    httpclient_testing::FaultStep step;
    step.statusLine = "HTTP/1.1 101 Switching Protocols";
    EXPECT_EQ(failureOfPlan(std::vector{step}),
              "malformed response: it switches protocols unasked");
    EXPECT_EQ(codeSeen_, -1);
}

TEST_P(Responses, FoldedLineWithNoneBeforeItFailsOnAConnectionThatIsUsedAgainToo) {
    httpclient_testing::FaultStep folded;
    folded.oddFirstLines = " Folded: before any line\r\n";
    FaultServer server(httpclient_testing::FaultPlan({folded, {}, folded}));
    const CurlHttpClient client(once());
    const std::string url = server.url("/bytes/5");
    const std::string malformed = "Request to " + hostOf(server) +
                                  " failed: malformed response: its first field begins with a "
                                  "blank";

    EXPECT_EQ(failureOf([&] { send(client, get(url)); }), malformed);
    EXPECT_EQ(send(client, get(url)).getResponseBodyString().size(), 5U);
    EXPECT_EQ(failureOf([&] { send(client, get(url)); }), malformed);
}

// libcurl reads these fields as well; where the two might read them differently, neither is right.
TEST_P(Responses, FieldsThatTellWhereTheBodyEndsArePlainOrFail) {
    const auto failureOfLines = [&](const std::string& lines) {
        httpclient_testing::FaultStep step;
        step.oddFirstLines = lines;
        return failureOfPlan(std::vector{step}, "/bytes/5", CurlOptions().withDecodeContent(true));
    };
    EXPECT_EQ(failureOfLines("Content-Length : 5\r\n"),
              "malformed response: a blank stands behind the name of its Content-Length");
    EXPECT_EQ(failureOfLines("content-encoding\t: gzip\r\n"),
              "malformed response: a blank stands behind the name of its content-encoding");
    EXPECT_EQ(failureOfLines("Transfer-Encoding:\r\n chunked\r\n"),
              "malformed response: its Transfer-Encoding is folded");
    const std::string unknown = "malformed response: its Transfer-Encoding is not chunked alone";
    EXPECT_EQ(failureOfLines("Transfer-Encoding: gzip\r\n"), unknown);
    EXPECT_EQ(failureOfLines("Transfer-Encoding: identity\r\nTransfer-Encoding: chunked\r\n"),
              unknown);
    EXPECT_EQ(failureOfLines("X-Odd : a\r\n"), "");
}

TEST_P(Responses, WithALengthAndAnIdentityTransferCodingMustHaveThatLength) {
    const auto failureOfStep = [&](const std::string& text) {
        httpclient_testing::FaultStep step = httpclient_testing::FaultStep::parse(text);
        step.oddFirstLines = "Transfer-Encoding: identity\r\n";
        return failureOfPlan(std::vector{step});
    };
    EXPECT_EQ(failureOfStep("fin@500"), "incomplete body: 500 of 1000 bytes came");
    EXPECT_EQ(failureOfStep("fin@1000"), "");
}

TEST_P(Responses, RepeatedHeadersStayInOrder) {
    FaultServer server("header:X-A=1+header:X-B=2+header:x-a=3");
    HttpResponse response = send(CurlHttpClient(once()), get(server.url("/bytes/5")));
    std::string seen;
    for (const auto& [name, value] : response.getHeaders()) {
        if (name.size() == 3) seen += name + "=" + value + ";";
    }
    EXPECT_EQ(seen, "X-A=1;X-B=2;x-a=3;");
}

TEST_P(Responses, BadStatusLinesFail) {
    for (const char* kind : {"empty", "letters", "short", "four", "zero", "negative", "nospace",
                             "foreign", "version", "nul", "headless"}) {
        EXPECT_NE(failureOfPlan("badstatus:" + std::string(kind)), "") << kind;
        EXPECT_EQ(codeSeen_, -1) << kind;
    }
    EXPECT_EQ(failureOfPlan("badstatus:noreason"), "");
    EXPECT_EQ(response_.getResponseCodeReason(), "");
    EXPECT_EQ(failureOfPlan("badstatus:long"), "");
    EXPECT_EQ(response_.getResponseCodeReason().size(), 5000u);
}

TEST_P(Responses, InterimOnesAreNotSeen) {
    for (const char* plan : {"interim:1000", "interim:5:100"}) {
        FaultServer server(plan);
        HttpRequest request = get(server.url("/bytes/9"));
        int changes = 0;
        request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
        HttpResponse response = send(CurlHttpClient(once()), std::move(request));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
        EXPECT_FALSE(response.hasHeader("X-Interim"));
        EXPECT_EQ(changes, 2);
    }
    EXPECT_EQ(failureOfPlan("interim:2000"), "");
    EXPECT_EQ(failureOfPlan("interim:2001"),
              "malformed response: more than 2000 interim responses");
    EXPECT_THAT(failureOfPlan("interiminf"), StartsWith("malformed response: "));
}

TEST_P(Responses, TrailersAreNotSeen) {
    FaultServer server("trailers");
    HttpRequest request = get(server.url("/bytes/900"));
    int changes = 0;
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    HttpResponse response = send(CurlHttpClient(once()), std::move(request));
    EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/900").all());
    EXPECT_FALSE(response.hasHeader("X-Trailer"));
    EXPECT_EQ(changes, 2);
}

TEST_P(Responses, FailuresLeaveOnlyTheirLastBody) {
    FaultServer server("503:b5000,500:b100,502,ok");
    std::vector<int> codes;
    int changes = 0;
    HttpRequest request = get(server.url("/bytes/9"));
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    request.setResponseStreamFactory(
        [&](HttpResponseCode code, const std::string&, const HttpHeaders&) {
            codes.push_back(static_cast<int>(code));
            return std::make_unique<std::stringstream>();
        });
    HttpResponse response = send(CurlHttpClient(), std::move(request));
    EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/9").all());
    EXPECT_EQ(codes.back(), 200);
    // Of code and headers, by each of four answers and by three retries.
    EXPECT_EQ(changes, 14);
}

TEST_P(Responses, RetryAfterLeavesTheDefaultsBackOffAsItIs) {
    const auto backOffs = [&](const std::string& plan) {
        FaultServer server(plan);
        std::vector<int> counts;
        httpclient_core::DefaultRetry retry{
            6, 6, 2000, 120000, httpclient_core::defaultIsRetriable(), [&](int count) {
                counts.push_back(count);
            }};
        HttpResponse response = send(CurlHttpClient(ClientConfiguration().withRetryStrategy(retry)),
                                     get(server.url("/bytes/9")));
        EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/9").all());
        EXPECT_FALSE(response.hasHeader("Retry-After"));
        return counts;
    };
    EXPECT_EQ(backOffs("503:ra2,503:rd2,503:rabad,503:rahuge,ok"), backOffs("503*4,ok"));
}

// --- Decoding ---

TEST_P(Responses, ComeAsTheyAreUnlessDecodingIsAskedFor) {
    FaultServer server("gzip");
    HttpResponse raw = send(CurlHttpClient(once()), get(server.url("/bytes/1000")));
    EXPECT_EQ(raw.getHeaderValue("Content-Encoding"), "gzip");
    EXPECT_NE(raw.getResponseBodyString(), server.content("/bytes/1000").all());
    EXPECT_FALSE(server.requests().at(0).header("Accept-Encoding"));

    HttpRequest request = get(server.url("/bytes/1000"));
    int changes = 0;
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    HttpResponse decoded =
        send(CurlHttpClient(once(), CurlOptions().withDecodeContent(true)), std::move(request));
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(decoded.getResponseBodyString(), server.content("/bytes/1000").all());
    EXPECT_FALSE(decoded.hasHeader("Content-Encoding"));
    EXPECT_FALSE(decoded.hasHeader("Content-Length"));
    EXPECT_TRUE(server.requests().at(1).header("Accept-Encoding"));

    HttpResponse own = send(CurlHttpClient(once(), CurlOptions().withDecodeContent(true)),
                            get(server.url("/bytes/1000"), {{"Accept-Encoding", "gzip"}}));
    EXPECT_EQ(own.getHeaderValue("Content-Encoding"), "gzip");
}

TEST_P(Responses, AreDecodedByTurnsOnOneConnectionAsEachRequestAsks) {
    FaultServer server("gzip");
    const CurlHttpClient client(once().withMaxThreads(1), CurlOptions().withDecodeContent(true));
    const std::string plain = server.content("/bytes/1000").all();
    for (int i = 0; i < 2; ++i) {
        HttpResponse decoded = send(client, get(server.url("/bytes/1000")));
        HttpResponse raw =
            send(client, get(server.url("/bytes/1000"), {{"Accept-Encoding", "gzip"}}));

        EXPECT_EQ(decoded.getResponseBodyString(), plain);
        EXPECT_EQ(raw.getHeaderValue("Content-Encoding"), "gzip");
        EXPECT_NE(raw.getResponseBodyString(), plain);
    }
    EXPECT_EQ(server.connectionsAccepted(), 1u);
}

TEST_P(Responses, ThatAreDecodedFailWhenDamagedAndAreNeverResumed) {
    const CurlOptions decoding = CurlOptions().withDecodeContent(true);
    EXPECT_NE(failureOfPlan("badgzip", "/bytes/100000", decoding), "");
    EXPECT_NE(failureOfPlan("gzip+fin@100", "/bytes/100000", decoding), "");
    FaultServer server("gzip+rst@100,gzip+fin@20000,gzip");
    HttpResponse response =
        send(CurlHttpClient(stubborn(), decoding), get(server.url("/bytes/100000")));
    EXPECT_TRUE(response.getResponseBodyString() == server.content("/bytes/100000").all());
    for (const auto& request : server.requests()) EXPECT_FALSE(request.header("Range"));
    FaultServer raw("gzip+fin@100,gzip+fin@200,ok");
    EXPECT_TRUE(
        send(CurlHttpClient(stubborn()), get(raw.url("/bytes/100000"))).getResponseBodyString() ==
        raw.content("/bytes/100000").all());
}

HttpRequest counting(const std::string& url, ByteCounter& counter) {
    HttpRequest request = get(url);
    request.setResponseStreamFactory(
        [&counter](HttpResponseCode, const std::string&, const HttpHeaders&) {
            return std::make_unique<std::iostream>(&counter);
        });
    return request;
}

TEST_P(Responses, MayHaveExactlyAsManyDecodedBytesAsAllowed) {
    const auto failureWithLimit = [&](std::int64_t limit) {
        return failureOfPlan("gzip", "/bytes/1000",
                             CurlOptions().withDecodeContent(true).withMaxDecodedBytes(limit));
    };
    EXPECT_EQ(failureWithLimit(1000), "");
    EXPECT_EQ(failureWithLimit(0), "");
    EXPECT_EQ(failureWithLimit(999),
              "malformed response: its decoded body has more than maxDecodedBytes = 999 bytes");
}

TEST_P(Responses, ABombBehindAnIdentityStopsAtTheLimitToo) {
    httpclient_testing::FaultStep step = httpclient_testing::FaultStep::parse("gzipbomb:200");
    step.oddFirstLines = "Content-Encoding: identity\r\n";
    FaultServer server(httpclient_testing::FaultPlan({step}));
    ByteCounter counter;
    const CurlHttpClient client(once(),
                                CurlOptions().withDecodeContent(true).withMaxDecodedBytes(8 << 20));
    EXPECT_THAT(failureOf([&] { send(client, counting(server.url(), counter)); }),
                HasSubstr("maxDecodedBytes = 8388608"));
}

TEST_P(Responses, DecodingABombStopsAtTheLimit) {
    FaultServer server("gzipbomb:200");
    ByteCounter counter;
    const CurlHttpClient client(once(),
                                CurlOptions().withDecodeContent(true).withMaxDecodedBytes(8 << 20));
    EXPECT_THAT(failureOf([&] { send(client, counting(server.url(), counter)); }),
                HasSubstr("maxDecodedBytes = 8388608"));
    EXPECT_LE(counter.count(), 8 << 20);
}

TEST_P(Responses, TheLimitOfDecodedBytesHoldsForNothingThatCameUncoded) {
    const CurlOptions options = CurlOptions().withDecodeContent(true).withMaxDecodedBytes(999);
    EXPECT_EQ(failureOfPlan("ok", "/bytes/1000", options), "");
    EXPECT_THAT(failureOfPlan("gzip", "/bytes/1000", options), HasSubstr("maxDecodedBytes = 999"));
    EXPECT_EQ(failureOfPlan("gzip", "/bytes/999", options), "");
}

TEST_P(Responses, PositionsAreCountedInSixtyFourBits) {
    constexpr std::uint64_t SIZE = 5ull << 30;
    FaultServerOptions options;
    options.content = ServedContent{1, SIZE};
    options.plan = "fin@10,ok";
    FaultServer server(std::move(options));
    std::int64_t total = 0;
    ByteCounter counter;
    HttpRequest request = counting(server.url(), counter);
    ClientConfiguration configuration = stubborn(2);
    request.setClientConfiguration(configuration);
    request.setProgressCallback([&](const Progress& progress) {
        total = std::max(total, progress.downloadTotal);
        return progress.downloadNow > 5000000 ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
    });
    EXPECT_EQ(failureOf<HttpRequestCancelledException>(
                  [&] { send(CurlHttpClient(), std::move(request)); }),
              "Request cancelled");
    EXPECT_EQ(total, static_cast<std::int64_t>(SIZE));
}

TEST_P(Responses, AreResumedBehindFourGibibytes) {
    if (WITH_SANITIZER) GTEST_SKIP() << "so many bytes take a sanitizer minutes";
    constexpr std::uint64_t CUT = (4ULL << 30) + 50'000'000;
    constexpr std::uint64_t SIZE = CUT + 50'000'000;
    FaultServerOptions options;
    options.content = ServedContent{1, SIZE};
    options.plan = "fin@" + std::to_string(CUT) + ",ok";
    FaultServer server(std::move(options));
    ByteCounter counter;

    const HttpResponse response =
        send(CurlHttpClient(stubborn(2)), counting(server.url(), counter));

    EXPECT_EQ(counter.count(), static_cast<std::int64_t>(SIZE));
    EXPECT_EQ(response.getContentLength(), static_cast<std::int64_t>(SIZE));
    EXPECT_EQ(server.requests().at(1).header("Range"), "bytes=" + std::to_string(CUT) + "-");
}

// --- Streams that go wrong ---

TEST_P(Responses, AFullDiskIsAnErrorThatIsNotResumed) {
    FaultServer server;
    const auto full = [&](ClientConfiguration configuration, const std::string& path) {
        HttpRequest request = get(server.url(path));
        request.setResponseStreamFactory(
            [](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<std::fstream>(
                    "/dev/full", std::ios::in | std::ios::out | std::ios::binary);
            });
        return failureOf(
            [&] { send(CurlHttpClient(std::move(configuration)), std::move(request)); });
    };
    const std::string failed = "Request to " + hostOf(server) + " failed: response stream: ";
    EXPECT_THAT(full(once(), "/bytes/100000"),
                MatchesRegex(failed + "writing to it failed after [0-9]+ bytes"));
    EXPECT_EQ(full(once(), "/bytes/10"), failed + "it could not be flushed");
    server.forgetRequests();
    EXPECT_THAT(full(stubborn(3), "/bytes/100000"), HasSubstr("response stream: "));
    for (const auto& request : server.requests()) EXPECT_FALSE(request.header("Range"));
}

TEST_P(Responses, MayGoWhereThereAreNoPositions) {
    FaultServer server;
    for (const char* path : {"/bytes/0", "/bytes/5", "/bytes/100000"}) {
        HttpRequest request = get(server.url(path));
        request.setResponseStreamFactory([](const auto&...) {
            return std::make_unique<std::fstream>("/dev/null", std::ios::in | std::ios::out);
        });
        EXPECT_EQ(failureOf([&] { send(CurlHttpClient(once()), std::move(request)); }), "") << path;
    }
}

// Goes to its end, but nowhere by number.
class ForgetfulBuffer : public std::stringbuf {
    pos_type seekpos(pos_type, std::ios::openmode) override { return pos_type(off_type(-1)); }
};

TEST_P(Responses, AStreamThatDoesNotComeBackToItsPositionIsAnError) {
    FaultServer server;
    for (const char* path : {"/bytes/5", "/bytes/0"}) {
        ForgetfulBuffer buffer;
        HttpRequest request = get(server.url(path));
        request.setResponseStreamFactory(
            [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<std::iostream>(&buffer);
            });
        EXPECT_EQ(failureOf([&] { send(CurlHttpClient(once()), std::move(request)); }),
                  "Request to " + hostOf(server) + " failed: response stream: it lost its position")
            << path;
    }
}

struct Mine : std::runtime_error {
    using std::runtime_error::runtime_error;
};

TEST_P(Responses, WhatFactoriesAndCallbacksThrowArrivesAsItWasThrown) {
    FaultServer server;
    const auto failing = [&](const httpclient_core::ResponseStreamFactory& factory) {
        HttpRequest request = get(server.url("/bytes/10"));
        request.setResponseStreamFactory(factory);
        return request;
    };
    const CurlHttpClient client(once());
    EXPECT_EQ(failureOf<Mine>([&] {
                  send(client, failing([](auto&&...) -> std::unique_ptr<std::iostream> {
                           throw Mine("no stream today");
                       }));
              }),
              "no stream today");
    EXPECT_EQ(failureOf<std::logic_error>(
                  [&] { send(client, failing([](auto&&...) { return nullptr; })); }),
              "Response stream factory returned no stream.");
    EXPECT_THROW(send(client, failing(nullptr)), std::bad_function_call);
    EXPECT_EQ(failureOf([&] {
                  send(client, failing([](auto&&...) {
                           return std::make_unique<std::fstream>("/absent/file");
                       }));
              }),
              "Request to " + hostOf(server) + " failed: response stream: it is not good");
    EXPECT_THROW(send(client, failing([](auto&&...) {
                          auto stream = std::make_unique<std::fstream>(
                              "/dev/full", std::ios::in | std::ios::out);
                          stream->exceptions(std::ios::badbit);
                          return stream;
                      })),
                 std::exception);
    for (int nth = 1; nth <= 2; ++nth) {
        HttpRequest request = get(server.url("/bytes/10"));
        request.setPreRespCodeAndHeadersCallback([nth, calls = 0]() mutable {
            if (++calls == nth) throw Mine("not now");
        });
        EXPECT_EQ(failureOf<Mine>([&] { send(client, std::move(request)); }), "not now");
    }
    EXPECT_EQ(send(client, get(server.url("/bytes/10"))).getContentLength(), 10);
}

}  // namespace
}  // namespace tavrin::httpclient_curl

#include <zlib.h>

#include <stdexcept>

#include "support.h"
#include "support/nginx_server.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::EndsWith;

constexpr int GZIP = MAX_WBITS + 16;
constexpr int ZLIB = MAX_WBITS;
constexpr int RAW = -MAX_WBITS;

const char* const EARLY = "incomplete body: its coded content ends too early";

std::string coded(const std::string& content, int window) {
    z_stream stream{};
    if (deflateInit2(&stream, 9, Z_DEFLATED, window, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("No compressor");
    std::string result(deflateBound(&stream, content.size()), '\0');
    std::string input = content;
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    return result;
}

// Content of nginx that is called coded and framed as it should be, whatever it is.
class ContentCodings : public OnBothRoads {
protected:
    void expectDecoded(const std::string& content, const std::string& codings,
                       const std::string& decoded) {
        for (const auto& url : urlsOf(content, codings))
            EXPECT_TRUE(send(client_, get(url)).getResponseBodyString() == decoded) << url;
    }

    void expectFailure(const std::string& content, const std::string& codings,
                       const std::string& reason) {
        for (const auto& url : urlsOf(content, codings)) {
            EXPECT_THAT(failureOf([&] { send(client_, get(url)); }), EndsWith(" failed: " + reason))
                << url << ", " << content.size() << " bytes";
        }
    }

    // Over HTTP/1.1 and HTTP/2.
    std::vector<std::string> urlsOf(const std::string& content, const std::string& codings) {
        server_.serve("/file", content);
        const std::string path = "/file?coding=" + codings;
        return {server_.url(path), server_.httpsUrl(path)};
    }

    test::NginxServer server_;
    const CurlHttpClient client_{once().withCertificateFile(server_.caFile()),
                                 CurlOptions().withDecodeContent(true)};
    const std::string text_ = ServedContent{7, 300}.all();
};
ON_BOTH_ROADS(ContentCodings);

TEST_P(ContentCodings, AreDecoded) {
    const std::string large = ServedContent{8, 300000}.all() + std::string(1000000, 'x');
    for (const std::string& content : {text_, large, std::string()}) {
        expectDecoded(coded(content, GZIP), "gzip", content);
        expectDecoded(coded(content, GZIP), "X-GZip", content);
        expectDecoded(coded(content, ZLIB), "deflate", content);
        expectDecoded(coded(content, RAW), "deflate", content);
        expectDecoded(coded(coded(content, ZLIB), GZIP), "deflate,gzip", content);
        expectDecoded(content, "identity", content);
    }
    expectDecoded("", "gzip", "");
    expectDecoded("", "deflate", "");
}

// A buffer of theirs may be full when all that came is used up: much may still come of it, or
// nothing.
TEST_P(ContentCodings, OfVeryFewBytesAreDecodedAsFarAsTheyGo) {
    for (const std::size_t size : {16383, 16384, 16385, 16500, 32768, 33000}) {
        const std::string content(size, 'x');
        const std::string raw = coded(content, RAW);
        expectDecoded(raw, "deflate", content);
        expectDecoded(coded(content, GZIP), "gzip", content);
        for (std::size_t cut = 1; cut < 4; ++cut)
            expectFailure(raw.substr(0, raw.size() - cut), "deflate", EARLY);
    }
}

TEST_P(ContentCodings, OfSeveralMembersAreOneContent) {
    expectDecoded(coded(text_, GZIP) + coded("", GZIP) + coded("more", GZIP), "gzip",
                  text_ + "more");
}

TEST_P(ContentCodings, ThatEndTooEarlyFail) {
    for (const auto& [window, name] :
         {std::pair(GZIP, "gzip"), {ZLIB, "deflate"}, {RAW, "deflate"}}) {
        const std::string whole = coded(text_, window);
        for (std::size_t size = 1; size < whole.size(); size += size < 20 ? 1 : 37)
            expectFailure(whole.substr(0, size), name, EARLY);
        expectFailure(whole.substr(0, whole.size() - 1), name, EARLY);
    }
    const std::string members = coded(text_, GZIP) + coded("more", GZIP);
    expectFailure(members.substr(0, members.size() - 1), "gzip", EARLY);
}

TEST_P(ContentCodings, ThatEndWithTheConnectionTooEarlyFail) {
    FaultServer server("gzip+nolen+fin@100,gzip+nolen");
    const CurlHttpClient client(once(), CurlOptions().withDecodeContent(true));

    EXPECT_EQ(failureOf([&] { send(client, get(server.url("/bytes/1000"))); }),
              "Request to " + hostOf(server) +
                  " failed: incomplete body: its coded content ends too early");
    EXPECT_EQ(send(client, get(server.url("/bytes/1000"))).getResponseBodyString(),
              server.content("/bytes/1000").all());
}

TEST_P(ContentCodings, ThatAreDamagedFail) {
    const std::string damaged = "malformed response: its coded content is damaged";
    const std::string gzip = coded(text_, GZIP);
    std::string checksum = gzip;
    checksum[gzip.size() - 5] = static_cast<char>(~checksum[gzip.size() - 5]);
    expectFailure(checksum, "gzip", damaged);
    expectFailure(gzip + "more", "gzip", damaged);
    expectFailure(text_, "gzip", damaged);
    expectFailure(coded(text_, ZLIB), "gzip", damaged);
    expectFailure(coded(text_, ZLIB) + coded(text_, ZLIB), "deflate", damaged);
    expectFailure(coded(text_, RAW) + "more", "deflate", damaged);
}

TEST_P(ContentCodings, OfAnswersWithoutABodyAreNoMatter) {
    FaultServer server(
        "header:Content-Encoding=gzip,204+header:Content-Encoding=gzip,"
        "304+header:Content-Encoding=gzip,header:Content-Encoding=deflate+header:Content-Encoding="
        "br");
    const CurlHttpClient client(once(), CurlOptions().withDecodeContent(true));
    const HttpMethod methods[] = {HttpMethod::HEAD, HttpMethod::GET, HttpMethod::GET,
                                  HttpMethod::HEAD};
    std::string codes;
    for (const HttpMethod method : methods) {
        const HttpResponse response = send(client, HttpRequest(method, URL(server.url()), {}));
        EXPECT_EQ(response.getResponseBodyString(), "");
        codes += std::to_string(static_cast<int>(response.getResponseCode())) + " ";
    }
    EXPECT_EQ(codes, "200 204 304 200 ");
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST_P(ContentCodings, OfRedirectsAreNoMatter) {
    FaultServer server("302:/bytes/9+header:Content-Encoding=gzip,gzip");
    const CurlHttpClient client(once(), CurlOptions().withDecodeContent(true));

    EXPECT_EQ(send(client, get(server.url())).getResponseBodyString(),
              server.content("/bytes/9").all());
}

TEST_P(ContentCodings, LeaveTheLengthUnknownAndProgressCountsWhatTheyAreDecodedTo) {
    FaultServer server("gzip");
    HttpRequest request = get(server.url("/bytes/1000"));
    std::pair<std::int64_t, std::int64_t> last;
    request.setProgressCallback([&](const Progress& progress) {
        last = {progress.downloadNow, progress.downloadTotal};
        return ProgressResult::CONTINUE;
    });

    send(CurlHttpClient(once(), CurlOptions().withDecodeContent(true)), std::move(request));

    EXPECT_EQ(last, std::pair(std::int64_t{1000}, std::int64_t{0}));
}

TEST_P(ContentCodings, AreLeftToTheResponseAsTheyAreWhereARangeIsTheApplicationsOwn) {
    FaultServer server("gzip");
    const CurlHttpClient client(once(), CurlOptions().withDecodeContent(true));

    const HttpResponse response =
        send(client, get(server.url("/bytes/1000"), {{"Range", "bytes=0-9"}}));

    EXPECT_EQ(response.getHeaderValue("Content-Encoding"), "gzip");
    EXPECT_EQ(response.getResponseBodyString().size(), 10U);
    EXPECT_FALSE(server.requests().at(0).header("Accept-Encoding"));
}

}  // namespace
}  // namespace tavrin::httpclient_curl

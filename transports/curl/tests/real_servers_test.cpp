#include <chrono>
#include <nlohmann/json.hpp>
#include <string>

#include "httpclient_core/multipart.h"
#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/httpbin_server.h"
#include "support/interrupted_download.h"
#include "support/lighttpd_server.h"
#include "support/microsocks_server.h"
#include "support/tinyproxy_server.h"

namespace tavrin::httpclient_curl::test {
namespace {

using httpclient_core::DataPart;
using httpclient_core::defaultIsRetriable;
using httpclient_core::defaultRetryStrategy;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;
using httpclient_testing::sha256Hex;
using httpclient_testing::TlsKind;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// More than the buffers between server and client hold, so that a cut in the middle is one.
constexpr std::size_t LARGE = 32 * 1024 * 1024;

json bodyOf(const HttpResponse& response) { return json::parse(response.getResponseBodyString()); }

// --- lighttpd, whose partial answers carry Accept-Ranges ---

class Lighttpd : public OnBothRoads {
protected:
    LighttpdServer server_;
};
ON_BOTH_ROADS(Lighttpd);

TEST_P(Lighttpd, AnswersAPlainRequest) {
    server_.serve("/greeting", "Hello.\n");

    const HttpResponse response = send(CurlHttpClient(), get(server_.url("/greeting")));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getHeaderValue("Accept-Ranges"), "bytes");
    EXPECT_EQ(response.getResponseBodyString(), "Hello.\n");
}

TEST_P(Lighttpd, AnswersARangeOfTheApplicationsOwn) {
    server_.serve("/digits", "0123456789");

    const HttpResponse response =
        send(CurlHttpClient(), get(server_.url("/digits"), {{"Range", "bytes=2-4"}}));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::PARTIAL_CONTENT);
    EXPECT_EQ(response.getHeaderValue("Content-Range"), "bytes 2-4/10");
    EXPECT_EQ(response.getResponseBodyString(), "234");
}

TEST_P(Lighttpd, DownloadIsResumedWhereverItWasCutAndIdenticalAtTheEnd) {
    const std::string content = ServedContent{1, LARGE}.all();
    server_.serve("/file", content);
    const CurlHttpClient client(stubborn());
    int cuts = 0;
    const auto cut = [&] {
        ++cuts;
        server_.restart();
    };

    const HttpResponse response = send(client, getInterruptedBy(server_.url("/file"), cut, 3));

    EXPECT_EQ(cuts, 3);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(sha256Hex(response.getResponseBodyString()), sha256Hex(content));
}

TEST_P(Lighttpd, DownloadStartsAfreshWhenTheFileChangedMeanwhile) {
    const std::string changed = ServedContent{3, LARGE + 1}.all();
    server_.serve("/file", ServedContent{2, LARGE}.all());
    const CurlHttpClient client(stubborn());

    const HttpResponse response = send(client, getInterruptedBy(server_.url("/file"), [&] {
                                           server_.serve("/file", changed);
                                           server_.restart();
                                       }));

    EXPECT_EQ(sha256Hex(response.getResponseBodyString()), sha256Hex(changed));
}

// --- httpbin, an application server ---

class Httpbin : public OnBothRoads {
protected:
    HttpResponse answer(HttpRequest request) const { return send(client_, std::move(request)); }

    HttpbinServer server_;
    CurlHttpClient client_;
};
ON_BOTH_ROADS(Httpbin);

TEST_P(Httpbin, GetsQueryAndHeadersAsTheyWereGiven) {
    HttpRequest request = get(server_.url("/get"), {{"X-One", "first; \"quoted\""}});
    request.setQueryParameters({{"q", "a b&c"}, {"q", "\xc3\xa4"}});

    const json seen = bodyOf(answer(std::move(request)));

    EXPECT_EQ(seen["headers"]["X-One"], "first; \"quoted\"");
    EXPECT_EQ(seen["args"]["q"], json({"a b&c", "\xc3\xa4"}));
}

TEST_P(Httpbin, BodiesArriveWithTheirMethodAndType) {
    const std::pair<HttpMethod, std::string> routes[] = {{HttpMethod::POST, "/post"},
                                                         {HttpMethod::PUT, "/put"},
                                                         {HttpMethod::PATCH, "/patch"},
                                                         {HttpMethod::DELETE, "/delete"}};
    for (const auto& [method, path] : routes) {
        const json seen = bodyOf(answer(withBody(method, server_.url(path), R"({"n": 17})",
                                                 {{"Content-Type", "application/json"}})));

        EXPECT_EQ(seen["json"]["n"], 17) << path;
        EXPECT_EQ(seen["headers"]["Content-Type"], "application/json") << path;
    }
}

TEST_P(Httpbin, FormIsUnderstood) {
    const json seen =
        bodyOf(answer(withBody(HttpMethod::POST, server_.url("/post"), "name=J%C3%BCrgen+A&x=",
                               {{"Content-Type", "application/x-www-form-urlencoded"}})));

    EXPECT_EQ(seen["form"]["name"], "J\xc3\xbcrgen A");
    EXPECT_EQ(seen["form"]["x"], "");
}

TEST_P(Httpbin, MultipartBodyIsUnderstood) {
    HttpRequest request(HttpMethod::POST, URL(server_.url("/post")), {});
    MultipartBody body;
    body.addPart(DataPart(PartHeader("field"), "some text"));
    body.addPart(DataPart(PartHeader("other"), std::string(100000, 'z')));
    request.setMultipartBody(body);

    const json seen = bodyOf(answer(std::move(request)));

    EXPECT_EQ(seen["form"]["field"], "some text");
    EXPECT_EQ(seen["form"]["other"], std::string(100000, 'z'));
}

TEST_P(Httpbin, BodyOfOneMebibyteArrivesWithoutWaitingToBeAskedFor) {
    const std::string body(1024 * 1024 + 1, 'b');
    const auto from = std::chrono::steady_clock::now();

    const json seen = bodyOf(answer(withBody(HttpMethod::PUT, server_.url("/put"), body)));

    EXPECT_EQ(seen["data"].get<std::string>().size(), body.size());
    EXPECT_EQ(seen["headers"].count("Expect"), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - from, std::chrono::seconds(30));
}

TEST_P(Httpbin, EveryStatusIsDelivered) {
    client_.setClientConfiguration(once());
    for (const int code : {200, 204, 206, 304, 400, 401, 404, 418, 500, 503}) {
        const std::string path = "/status/" + std::to_string(code);
        // A part that nobody asked for would be an error.
        const HttpHeaders headers =
            code == 206 ? HttpHeaders{{"Range", "bytes=0-"}} : HttpHeaders();

        EXPECT_EQ(answer(get(server_.url(path), headers)).getResponseCode(),
                  HttpResponseCode(code));
    }
}

TEST_P(Httpbin, ServerErrorIsRetriedAndThenShown) {
    int attempts = 0;
    client_.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        [&, retry = defaultRetryStrategy(3, 0, std::chrono::seconds(1), defaultIsRetriable())](
            const auto&... outcome) {
            ++attempts;
            return retry(outcome...);
        }));

    const HttpResponse response = answer(get(server_.url("/status/503")));

    EXPECT_EQ(attempts, 3);
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::SERVICE_UNAVAILABLE);
}

TEST_P(Httpbin, RedirectsAreFollowedAndCounted) {
    for (const std::string kind : {"/redirect/3", "/relative-redirect/3", "/absolute-redirect/3"}) {
        const HttpResponse response = answer(get(server_.url(kind)));

        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK) << kind;
        EXPECT_EQ(response.getTransactionReport().redirectCount(), 3) << kind;
        EXPECT_EQ(response.getTransactionReport().effectiveURL().toAsciiString(),
                  server_.url("/get"));
    }
}

TEST_P(Httpbin, RedirectThatKeepsTheMethodBringsTheBodyAgain) {
    const HttpResponse response = answer(withBody(
        HttpMethod::POST, server_.url("/redirect-to?status_code=307&url=%2Fpost"), "the body"));

    EXPECT_EQ(bodyOf(response)["data"], "the body");
}

TEST_P(Httpbin, MoreRedirectsThanAllowedAreAnError) {
    client_.setClientConfiguration(once().withMaxRedirects(2));

    EXPECT_THAT(failureOf([&] { answer(get(server_.url("/redirect/3"))); }),
                HasSubstr("failed: redirect: more than maxRedirects = 2"));
}

TEST_P(Httpbin, ChunkedStreamArrivesWhole) {
    const HttpResponse response = answer(get(server_.url("/stream/20")));

    EXPECT_EQ(response.getHeaderValue("Transfer-Encoding"), "chunked");
    std::string line;
    int lines = 0;
    while (std::getline(response.getResponseBody(), line))
        EXPECT_EQ(json::parse(line)["id"], lines++);
    EXPECT_EQ(lines, 20);
}

TEST_P(Httpbin, CompressedContentIsDecodedIfThatIsWanted) {
    const CurlHttpClient decoding(once(), CurlOptions().withDecodeContent(true));

    EXPECT_EQ(bodyOf(send(decoding, get(server_.url("/gzip"))))["gzipped"], true);
    EXPECT_EQ(bodyOf(send(decoding, get(server_.url("/deflate"))))["deflated"], true);
    EXPECT_EQ(answer(get(server_.url("/gzip"))).getResponseBodyString().substr(0, 2), "\x1f\x8b");
}

TEST_P(Httpbin, CredentialsOfTheUrlLetIn) {
    client_.setClientConfiguration(once());

    const std::string path = "/basic-auth/user/pa%20ss";
    EXPECT_EQ(answer(get(server_.urlFor("user:pa%20ss", path))).getResponseCode(),
              HttpResponseCode::OK);
    EXPECT_EQ(answer(get(server_.urlFor("user:wrong", path))).getResponseCode(),
              HttpResponseCode::UNAUTHORIZED);
    EXPECT_EQ(answer(get(server_.url(path))).getResponseCode(), HttpResponseCode::UNAUTHORIZED);
}

TEST_P(Httpbin, RangeIsAnswered) {
    const HttpResponse response = answer(get(server_.url("/range/26"), {{"Range", "bytes=3-7"}}));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::PARTIAL_CONTENT);
    EXPECT_EQ(response.getHeaderValue("Content-Range"), "bytes 3-7/26");
    EXPECT_EQ(response.getResponseBodyString(), "defgh");
}

TEST_P(Httpbin, CookiesAreSentAsGivenAndNoneIsKept) {
    HttpRequest request = get(server_.url("/cookies"));
    request.setHeaderValue("Cookie", "one=1; two=2");

    EXPECT_EQ(bodyOf(answer(std::move(request)))["cookies"], json({{"one", "1"}, {"two", "2"}}));
    EXPECT_EQ(bodyOf(answer(get(server_.url("/cookies/set?kept=no"))))["cookies"], json::object());
    EXPECT_EQ(bodyOf(answer(get(server_.url("/cookies"))))["cookies"], json::object());
}

TEST_P(Httpbin, UnchangedContentIsNotSentAgain) {
    const HttpResponse response =
        answer(get(server_.url("/etag/abc"), {{"If-None-Match", "\"abc\""}}));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::NOT_MODIFIED);
    EXPECT_EQ(response.getResponseBodyString(), "");
}

TEST_P(Httpbin, HeadHasTheHeadersAndNoBody) {
    const HttpResponse response =
        answer(HttpRequest(HttpMethod::HEAD, URL(server_.url("/image/png")), {}));

    EXPECT_EQ(response.getContentType().toString(), "image/png");
    EXPECT_GT(response.getContentLength(), 1000);
    EXPECT_EQ(response.getResponseBodyString(), "");
}

TEST_P(Httpbin, AnswerThatTakesTooLongIsATimeout) {
    client_.setClientConfiguration(once().withResponseTimeout(100));

    EXPECT_THROW(answer(get(server_.url("/delay/2"))), HttpRequestTimeoutException);
}

// --- tinyproxy, a forward proxy ---

class Tinyproxy : public OnBothRoads {};
ON_BOTH_ROADS(Tinyproxy);

TEST_P(Tinyproxy, CarriesAPlainRequest) {
    FaultServer origin;
    TinyproxyServer proxy;
    const CurlHttpClient client(once().withProxy(proxy.url()));

    const HttpResponse response = send(client, get(origin.url("/bytes/1000")));

    EXPECT_EQ(response.getResponseBodyString(), origin.content("/bytes/1000").all());
    EXPECT_THAT(origin.waitForRequests(1)[0].header("Via").value_or(""), HasSubstr("tinyproxy"));
}

TEST_P(Tinyproxy, CarriesTlsThroughATunnelAndShowsNothingOfItself) {
    FaultServerOptions options;
    options.tls = TlsKind::GOOD;
    FaultServer origin(options);
    TinyproxyServer proxy;
    const CurlHttpClient client(once().withProxy(proxy.url()).withCertificateFile(origin.caFile()));

    const HttpResponse response = send(client, get(origin.url("/bytes/1000")));

    EXPECT_EQ(response.getResponseBodyString(), origin.content("/bytes/1000").all());
    EXPECT_FALSE(response.hasHeader("Proxy-agent"));
    EXPECT_EQ(origin.waitForRequests(1)[0].header("Via"), std::nullopt);
    EXPECT_THAT(proxy.log(), HasSubstr("CONNECT 127.0.0.1:"));
}

TEST_P(Tinyproxy, CertificateIsVerifiedThroughTheTunnel) {
    FaultServerOptions options;
    options.tls = TlsKind::UNTRUSTED_CA;
    FaultServer origin(options);
    TinyproxyServer proxy;
    const CurlHttpClient client(once().withProxy(proxy.url()).withCertificateFile(origin.caFile()));

    EXPECT_THAT(failureOf([&] { send(client, get(origin.url("/"))); }), HasSubstr("TLS: "));
    EXPECT_TRUE(origin.requests().empty());
}

TEST_P(Tinyproxy, CredentialsGoToTheProxyAlone) {
    FaultServer origin;
    TinyproxyServer proxy("user:secret");
    const CurlHttpClient client(once().withProxy(proxy.url("user:secret")));

    EXPECT_EQ(send(client, get(origin.url("/bytes/10"))).getResponseCode(), HttpResponseCode::OK);

    EXPECT_THAT(origin.waitForRequests(1)[0].head, Not(HasSubstr("uthorization")));
}

TEST_P(Tinyproxy, DownloadThatBreaksBehindItIsResumed) {
    FaultServer origin("rst@40000,rst@20000,ok");
    TinyproxyServer proxy;
    const CurlHttpClient client(stubborn().withProxy(proxy.url()));

    const HttpResponse response = send(client, get(origin.url("/file")));

    EXPECT_EQ(response.getResponseBodyString(), origin.content("/file").all());
    EXPECT_GE(origin.requests().size(), 3U);
}

TEST_P(Tinyproxy, WithoutCredentialsATunnelIsAnErrorAndNothingIsSent) {
    FaultServerOptions options;
    options.tls = TlsKind::GOOD;
    FaultServer origin(options);
    TinyproxyServer proxy("user:secret");
    const CurlHttpClient client(once().withProxy(proxy.url()).withCertificateFile(origin.caFile()));

    EXPECT_THAT(failureOf([&] { send(client, get(origin.url("/"))); }),
                HasSubstr(": proxy: CONNECT tunnel failed, response 407"));
    EXPECT_EQ(origin.connectionsAccepted(), 0U);
}

// --- microsocks, a SOCKS5 proxy ---

class Microsocks : public OnBothRoads {};
ON_BOTH_ROADS(Microsocks);

TEST_P(Microsocks, CarriesPlainRequestsAndTls) {
    FaultServer plain;
    FaultServerOptions options;
    options.tls = TlsKind::GOOD;
    FaultServer secure(options);
    const MicrosocksServer proxy;
    for (const char* scheme : {"socks5://", "socks5h://"}) {
        const CurlHttpClient client(
            once().withProxy(scheme + proxy.host()).withCertificateFile(secure.caFile()));

        for (const FaultServer* origin : {&plain, &secure}) {
            const HttpResponse response = send(client, get(origin->url("/bytes/1000")));
            EXPECT_EQ(response.getResponseBodyString(), origin->content("/bytes/1000").all());
            EXPECT_EQ(origin->requests().back().target, "/bytes/1000");
            EXPECT_THAT(proxy.log(), HasSubstr(std::to_string(origin->port())));
        }
    }
}

TEST_P(Microsocks, LeavesTheNameOfTheHostToTheProxyWhereAskedTo) {
    FaultServer origin;
    const MicrosocksServer proxy;

    send(CurlHttpClient(once().withProxy("socks5h://" + proxy.host())),
         get(origin.urlWithHost("localhost")));

    EXPECT_THAT(proxy.log(), HasSubstr("localhost:" + std::to_string(origin.port())));
}

TEST_P(Microsocks, CredentialsGoToTheProxyAlone) {
    FaultServer origin;
    const MicrosocksServer proxy("user", "secret");
    const auto through = [&](const std::string& credentials) {
        return failureOf([&] {
            send(CurlHttpClient(once().withProxy("socks5://" + credentials + proxy.host())),
                 get(origin.url("/bytes/10")));
        });
    };

    EXPECT_EQ(through("user:secret@"), "");

    EXPECT_THAT(origin.waitForRequests(1)[0].head, Not(HasSubstr("uthorization")));
    for (const char* credentials : {"", "user:wr0ng@"}) {
        const std::string text = through(credentials);
        EXPECT_THAT(text, HasSubstr(" failed: proxy: "));
        EXPECT_THAT(text, Not(HasSubstr("wr0ng")));
    }
    EXPECT_EQ(origin.requests().size(), 1U);
}

TEST_P(Microsocks, HostThatItCannotReachIsAnErrorByName) {
    FaultServer origin;
    const MicrosocksServer proxy;
    origin.refuseConnections();

    EXPECT_THAT(failureOf([&] {
                    send(CurlHttpClient(once().withProxy("socks5://" + proxy.host())),
                         get(origin.url()));
                }),
                HasSubstr("Request to " + hostOf(origin) + " failed: proxy: "));
}

TEST_P(Microsocks, DownloadThatBreaksBehindItIsResumed) {
    FaultServer origin("rst@40000,rst@20000,ok");
    const MicrosocksServer proxy;
    const CurlHttpClient client(stubborn().withProxy("socks5://" + proxy.host()));

    const HttpResponse response = send(client, get(origin.url("/file")));

    EXPECT_EQ(response.getResponseBodyString(), origin.content("/file").all());
    EXPECT_GE(origin.requests().size(), 3U);
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

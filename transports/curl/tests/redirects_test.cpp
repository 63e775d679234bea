#include "support.h"
#include "support/owning_stream.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

class Redirects : public OnBothRoads {};
ON_BOTH_ROADS(Redirects);

TEST_P(Redirects, FollowAsManyAsAllowedAndReportThem) {
    FaultServer server("302:/a,301:/b,303:/c,307:/d,308:/bytes/99,ok");
    const CurlHttpClient client(once());

    HttpResponse response = send(client, get(server.url("/start")));

    EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/99").all());
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 5);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL(server.url("/bytes/99")));
    EXPECT_EQ(server.connectionsAccepted(), 1u);
}

TEST_P(Redirects, OneTooManyFailsAndLeavesNoResponse) {
    FaultServer server("302:/next*6,ok");
    const CurlHttpClient client(once());

    const std::string text = failureOf([&] { send(client, get(server.url())); });

    EXPECT_EQ(text,
              "Request to " + hostOf(server) + " failed: redirect: more than maxRedirects = 5");
    EXPECT_EQ(server.requests().size(), 6u);
}

TEST_P(Redirects, LimitIsClamped) {
    for (const long limit : {0L, -1L, -1000000000000L}) {
        FaultServer server("302:/next,ok");
        const CurlHttpClient client(once().withMaxRedirects(limit));
        EXPECT_THAT(failureOf([&] { send(client, get(server.url())); }),
                    HasSubstr("more than maxRedirects = 0"));
    }
    for (const std::string plan : {"loop", "alternate"}) {
        FaultServer server("302:" + plan);
        const CurlHttpClient client(once().withMaxRedirects(1000000000000L));
        EXPECT_THAT(failureOf([&] { send(client, get(server.url())); }),
                    HasSubstr("more than maxRedirects = 1000"));
        EXPECT_EQ(server.requests().size(), 1001u);
    }
}

TEST_P(Redirects, KeepTheConnectionUnlessTheirBodyIsLong) {
    constexpr std::uint64_t LONGEST_READ = 256 * 1024;
    for (const std::uint64_t excess : {0, 1}) {
        httpclient_testing::FaultStep redirect = httpclient_testing::FaultStep::parse("302:/next");
        redirect.statusBodySize = LONGEST_READ + excess;
        FaultServer server(httpclient_testing::FaultPlan({redirect, {}}));

        EXPECT_TRUE(httpclient_core::isSuccess(send(CurlHttpClient(once()), get(server.url()))));

        EXPECT_EQ(server.connectionsAccepted(), 1 + excess);
    }
}

TEST_P(Redirects, AreDeliveredWhenTheyAreNotFollowed) {
    FaultServer server("302:/next,ok");
    const CurlHttpClient client(once().withFollowRedirects(false));

    HttpResponse response = send(client, get(server.url()));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::FOUND);
    EXPECT_EQ(response.getHeaderValue("Location"), "/next");
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
}

TEST_P(Redirects, WithoutALocationAreTheResponse) {
    FaultServer server("302:none");
    HttpResponse response = send(CurlHttpClient(once()), get(server.url()));
    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::FOUND);
}

TEST_P(Redirects, ThatLeadNowhereFail) {
    const std::string otherScheme = "redirect: it leads to neither an http nor an https URL";
    const std::string noHost = "redirect: it names no host";
    const std::string control = "redirect: the Location field contains a control character";
    const std::string bareCr = "malformed response: its Location contains CR";
    const std::pair<std::string, std::string> cases[] = {
        {"Location: file:///etc/hostname", otherScheme},
        {"Location: ftp://127.0.0.1/", otherScheme},
        {"Location: gopher://127.0.0.1/", otherScheme},
        {"Location: dict://127.0.0.1/", otherScheme},
        {"Location: http:///path", noHost},
        {"Location: http:/path", noHost},
        {"Location: ///path", noHost},
        {"Location: /there\x1f", control},
        {"Location: /\x7fthere", control},
        {"Location: /there\rX-Injected: yes", bareCr},
        {"Location:/\rX-Injected: yes", bareCr},
        {"Location:", "redirect: the Location field is empty"},
        {"Location: /a\r\nLocation: /b", "redirect: there are two Location fields that differ"},
        {"Location: /" + std::string(200000, 'l'),
         "malformed response: a line of its head has more than 100 KiB, or memory has run out"},
    };
    for (const auto& [lines, reason] : cases) {
        httpclient_testing::FaultStep redirect = httpclient_testing::FaultStep::parse("302:none");
        redirect.oddLines = lines + "\r\n";
        FaultServer server(httpclient_testing::FaultPlan({redirect, {}}));
        SCOPED_TRACE(lines.substr(0, 50));

        const std::string text =
            failureOf([&] { send(CurlHttpClient(once()), get(server.url())); });

        EXPECT_EQ(text, "Request to " + hostOf(server) + " failed: " + reason);
        EXPECT_EQ(server.requests().size(), 1u);
    }
}

TEST_P(Redirects, ToWhatCannotBeReachedFail) {
    const std::pair<std::string, std::string> cases[] = {
        {"data", "redirect: the Location field is malformed: [A-Z].*"},
        {"badhost", "name resolution: .*"},
    };
    for (const auto& [kind, reason] : cases) {
        FaultServer server("302:" + kind + ",ok");

        const std::string text =
            failureOf([&] { send(CurlHttpClient(once()), get(server.url())); });

        EXPECT_THAT(text, MatchesRegex("Request to .* failed: " + reason)) << kind;
        EXPECT_EQ(server.requests().size(), 1u) << kind;
    }
}

TEST_P(Redirects, EscapedLineEndsStayEscaped) {
    FaultServer server("302:crlf,ok");
    send(CurlHttpClient(once()), get(server.url()));
    const ReceivedRequest second = server.requests().at(1);
    EXPECT_THAT(second.target, HasSubstr("%0"));
    for (const auto& line : second.headerLines)
        EXPECT_EQ(line.find("njected"), std::string::npos) << line;
}

const HttpHeaders SECRETS{{"Authorization", "Bearer s3cret"},
                          {"Cookie", "id=s3cret"},
                          {"Proxy-Authorization", "Basic s3cret"},
                          {"X-Api-Key", "s3cret"},
                          {"Accept", "text/plain"},
                          {"Accept-Language", "de"}};

TEST_P(Redirects, KeepEveryFieldAtTheSameOrigin) {
    FaultServer server("302:/next,ok");
    send(CurlHttpClient(once()), get(server.url(), SECRETS));
    EXPECT_EQ(server.requests().at(1).header("X-Api-Key"), "s3cret");
    EXPECT_EQ(server.requests().at(1).header("Authorization"), "Bearer s3cret");
}

void expectNoSecret(const ReceivedRequest& request) {
    EXPECT_THAT(request.head, testing::Not(HasSubstr("s3cret")));
    EXPECT_THAT(request.head, testing::Not(HasSubstr("Authorization")));
    EXPECT_EQ(request.header("Accept"), "text/plain");
    EXPECT_EQ(request.header("Accept-Language"), "de");
}

TEST_P(Redirects, TakeNoSecretToAnotherPort) {
    FaultServer other;
    FaultServer server("302:" + other.url("/there") + ",ok");
    send(CurlHttpClient(once()), get(server.url(), SECRETS));
    expectNoSecret(other.requests().at(0));
}

TEST_P(Redirects, TakeNoSecretToAnotherHost) {
    FaultServer server("302:host,ok");
    send(CurlHttpClient(once()), get(server.url(), SECRETS));
    expectNoSecret(server.requests().at(1));
}

const HttpHeaders HARMLESS{{"Accept", "text/plain"},
                           {"Accept-Charset", "utf-8"},
                           {"Accept-Encoding", "identity"},
                           {"Accept-Language", "de"},
                           {"Cache-Control", "no-store"},
                           {"If-Match", "\"a\""},
                           {"If-Modified-Since", "Sun, 06 Nov 1994 08:49:37 GMT"},
                           {"If-None-Match", "\"b\""},
                           {"If-Range", "\"c\""},
                           {"If-Unmodified-Since", "Mon, 07 Nov 1994 08:49:37 GMT"},
                           {"Pragma", "no-cache"},
                           {"Range", "bytes=0-"},
                           {"User-Agent", "redirected"}};

const HttpHeaders ABOUT_THE_BODY{{"Content-Digest", "md5=:hBotaJqKa8FheoWwtNJXJw==:"},
                                 {"Content-Encoding", "identity"},
                                 {"Content-Language", "de"},
                                 {"Content-Location", "/body"},
                                 {"Content-MD5", "hBotaJqKa8FheoWwtNJXJw=="},
                                 {"Content-Range", "bytes 0-3/4"},
                                 {"Content-Type", "text/css"},
                                 {"Digest", "md5=hBotaJqKa8FheoWwtNJXJw=="},
                                 {"Expect", "100-continue"},
                                 {"Last-Modified", "Sun, 06 Nov 1994 08:49:37 GMT"},
                                 {"Repr-Digest", "md5=:hBotaJqKa8FheoWwtNJXJw==:"}};

TEST_P(Redirects, TakeHarmlessFieldsAndThoseOfTheBodyElsewhere) {
    FaultServer other;
    FaultServer server("307:" + other.url("/there") + ",ok");
    HttpHeaders headers = HARMLESS;
    for (const auto& [name, value] : ABOUT_THE_BODY) headers.addHeaderValue(name, value);

    send(CurlHttpClient(once()), withBody(HttpMethod::PUT, server.url(), "body", headers));

    for (const auto& [name, value] : headers) {
        EXPECT_EQ(other.requests().at(0).header(name), value) << name;
    }
}

TEST_P(Redirects, LeaveFieldsOfADroppedBodyBehind) {
    FaultServer other;
    FaultServer server("303:/next,303:" + other.url("/there") + ",ok");
    HttpHeaders headers = HARMLESS;
    for (const auto& [name, value] : ABOUT_THE_BODY) headers.addHeaderValue(name, value);

    send(CurlHttpClient(once()), withBody(HttpMethod::PUT, server.url(), "body", headers));

    for (const auto& request : {server.requests().at(1), other.requests().at(0)}) {
        for (const auto& [name, value] : HARMLESS) EXPECT_EQ(request.header(name), value) << name;
        for (const auto& [name, value] : ABOUT_THE_BODY) {
            EXPECT_EQ(request.header(name), std::nullopt) << name;
        }
    }
}

TEST_P(Redirects, TakeNoUserFromALocation) {
    FaultServer server;
    const std::string undecodable =
        "302:" + server.urlWithHost("us%0aer:pw@127.0.0.1", "/") + ",ok";
    for (const std::string& plan : {std::string("302:userinfo,ok"), undecodable}) {
        server.setPlan(plan);
        server.forgetRequests();
        send(CurlHttpClient(once()), get(server.url(), SECRETS));
        const ReceivedRequest second = server.requests().at(1);
        EXPECT_FALSE(second.header("Authorization") &&
                     *second.header("Authorization") != "Bearer s3cret")
            << plan;
    }
}

TEST_P(Redirects, TakeNoSecretToAnotherSchemeNorBack) {
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    FaultServer secure(std::move(options));
    FaultServer plain;
    ClientConfiguration trusting = once().withCertificateFile(secure.caFile());

    plain.setPlan("302:" + secure.url("/up") + ",ok");
    send(CurlHttpClient(trusting), get(plain.url(), SECRETS));
    expectNoSecret(secure.requests().at(0));

    plain.forgetRequests();
    secure.setPlan("302:" + plain.url("/down") + ",ok");
    EXPECT_THAT(failureOf([&] { send(CurlHttpClient(trusting), get(secure.url(), SECRETS)); }),
                HasSubstr("redirect: it leads from https to http"));
    EXPECT_TRUE(plain.requests().empty());

    secure.setPlan("302:" + plain.url("/down") + ",ok");
    send(CurlHttpClient(trusting, CurlOptions().withAllowHttpsToHttpRedirects(true)),
         get(secure.url(), SECRETS));
    expectNoSecret(plain.requests().at(0));
}

TEST_P(Redirects, CredentialsOfTheUrlStayAtItsOrigin) {
    FaultServer other;
    FaultServer server("302:/here,302:" + other.url("/there") + ",ok");

    HttpResponse response =
        send(CurlHttpClient(once()), get(server.urlWithHost("user:pa%3Ass@127.0.0.1")));

    EXPECT_EQ(server.requests().at(0).header("Authorization"), "Basic dXNlcjpwYTpzcw==");
    EXPECT_EQ(server.requests().at(1).header("Authorization"), "Basic dXNlcjpwYTpzcw==");
    EXPECT_FALSE(other.requests().at(0).header("Authorization"));
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL(other.url("/there")));
}

TEST_P(Redirects, CredentialsShowInNoReport) {
    FaultServer server("503");
    HttpResponse response =
        send(CurlHttpClient(once()), get(server.urlWithHost("user:secret@127.0.0.1")));
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL(server.url("/")));
}

TEST_P(Redirects, TurnPostIntoGetWithoutItsBody) {
    for (const std::string code : {"301", "302", "303"}) {
        FaultServer server(code + ":/next,ok");

        send(CurlHttpClient(once()), withBody(HttpMethod::POST, server.url(), "body"));

        const ReceivedRequest second = server.requests().at(1);
        EXPECT_EQ(second.method, "GET");
        EXPECT_EQ(second.bodySize, 0u);
        EXPECT_FALSE(second.header("Content-Length"));
        EXPECT_FALSE(second.header("Content-Type"));
    }
}

TEST_P(Redirects, KeepOtherMethodsAndTheirBodies) {
    for (const std::string code : {"301", "302", "307", "308"}) {
        for (const HttpMethod method : {HttpMethod::PUT, HttpMethod::PATCH, HttpMethod::DELETE}) {
            FaultServer server(code + ":/next,ok");

            send(CurlHttpClient(once()), withBody(method, server.url(), "body"));

            const ReceivedRequest second = server.requests().at(1);
            EXPECT_EQ(second.method, server.requests().at(0).method);
            EXPECT_EQ(second.body, "body");
        }
    }
    FaultServer server("303:/next,ok");
    send(CurlHttpClient(once()), withBody(HttpMethod::PUT, server.url(), "body"));
    EXPECT_EQ(server.requests().at(1).method, "GET");
    FaultServer heads("303:/next,ok");
    send(CurlHttpClient(once()), HttpRequest(HttpMethod::HEAD, URL(heads.url()), {}));
    EXPECT_EQ(heads.requests().at(1).method, "HEAD");
}

TEST_P(Redirects, SendTheWholeBodyAgainWhereTheMethodStays) {
    const std::string body(300000, 'b');
    for (const std::string code : {"307", "308"}) {
        FaultServer server(code + ":/next,ok");

        HttpResponse response =
            send(CurlHttpClient(once()), withBody(HttpMethod::POST, server.url(), body));

        EXPECT_TRUE(httpclient_core::isSuccess(response));
        EXPECT_EQ(server.requests().at(1).bodySize, body.size());
        EXPECT_EQ(server.requests().at(1).bodySha256, server.requests().at(0).bodySha256);
    }
}

TEST_P(Redirects, OfABodyInChunksKeepItsFramingAsLongAsItself) {
    FaultServer other;
    FaultServer server("307:/next,307:" + other.url("/there"));
    other.setPlan("303:/done,ok");

    send(CurlHttpClient(once()),
         withBody(HttpMethod::PUT, server.url(), "body", {{"Transfer-Encoding", "chunked"}}));

    for (const auto& request :
         {server.requests().at(0), server.requests().at(1), other.requests().at(0)}) {
        EXPECT_EQ(request.header("Transfer-Encoding"), "chunked") << request.target;
        EXPECT_EQ(request.body, "body") << request.target;
    }
    EXPECT_EQ(other.requests().at(1).header("Transfer-Encoding"), std::nullopt);
}

TEST_P(Redirects, OfNothingThatTheHopsSaidIsInTheResponse) {
    FaultServer server(
        "302:/"
        "next+header:Set-Cookie=a=b+header:X-Hop=1+header:ETag=\"hop\"+header:Accept-Ranges=bytes,"
        "nolm+noetag+noar");
    const CurlHttpClient client(once());

    HttpResponse response = send(client, get(server.url("/bytes/5")));
    send(client, get(server.url("/bytes/6")));

    for (const char* name : {"Set-Cookie", "X-Hop", "ETag", "Accept-Ranges", "Location"}) {
        EXPECT_FALSE(response.hasHeader(name)) << name;
    }
    EXPECT_FALSE(server.requests().back().header("Cookie"));
}

TEST_P(Redirects, CallbackAndFactorySeeTheFinalResponseAlone) {
    httpclient_testing::FaultPlan plan("302:/a,302:/bytes/3,ok");
    plan.steps[0].statusBodySize = 5000;
    FaultServer server(plan);
    HttpRequest request = get(server.url());
    int changes = 0;
    std::vector<int> codes;
    request.setPreRespCodeAndHeadersCallback([&] { ++changes; });
    request.setResponseStreamFactory(
        [&](HttpResponseCode code, const std::string&, const HttpHeaders&) {
            codes.push_back(static_cast<int>(code));
            return std::make_unique<std::stringstream>();
        });

    send(CurlHttpClient(once()), std::move(request));

    EXPECT_EQ(changes, 2);  // code and reason; headers
    EXPECT_EQ(codes, std::vector<int>{200});
}

// A body that cannot be read twice.
class Pipe : public std::streambuf {
public:
    explicit Pipe(std::string text) : text_(std::move(text)) {
        setg(text_.data(), text_.data(), text_.data() + text_.size());
    }

private:
    std::string text_;
};

using PipeStream = httpclient_core::test::OwningStream<std::istream, Pipe>;

TEST_P(Redirects, WithABodyThatCannotGoBackFail) {
    FaultServer server("307:/next,ok");
    HttpRequest request(HttpMethod::POST, URL(server.url()), {{"Content-Length", "4"}});
    request.setRequestBody(std::make_unique<PipeStream>("body"));

    const std::string text = failureOf([&] { send(CurlHttpClient(once()), std::move(request)); });

    EXPECT_EQ(text, "Request to " + hostOf(server) +
                        " failed: request body: its stream cannot go back to be sent again");
    EXPECT_EQ(server.requests().size(), 1u);
}

}  // namespace
}  // namespace tavrin::httpclient_curl

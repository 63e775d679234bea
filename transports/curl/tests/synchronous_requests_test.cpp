#include <array>

#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(SynchronousRequest, DeliversCodeReasonHeadersAndBody) {
    FaultServer server;
    const CurlHttpClient client;

    HttpResponse response = client.makeRequest(get(server.url("/bytes/1000")));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseCodeReason(), "OK");
    EXPECT_EQ(response.getHeaderValue("etag"), server.etag("/bytes/1000"));
    EXPECT_EQ(response.getResponseBodyString(), server.content("/bytes/1000").all());
    EXPECT_EQ(response.getTransactionReport().redirectCount(), 0);
    EXPECT_EQ(response.getTransactionReport().effectiveURL(), URL(server.url("/bytes/1000")));
}

TEST(SynchronousRequest, SendsNoFieldUnasked) {
    FaultServer server;
    const CurlHttpClient client(ClientConfiguration(), CurlOptions().withUserAgent(""));

    const std::string head = client.makeRequest(get(server.url("/echo"))).getResponseBodyString();

    EXPECT_EQ(head, "GET /echo HTTP/1.1\r\nHost: " + hostOf(server) + "\r\n\r\n");
}

TEST(SynchronousRequest, SendsTheFieldsAsGivenEmptyOnesToo) {
    FaultServer server;
    const CurlHttpClient client;
    const HttpHeaders headers{{"X-Empty", ""},
                              {"X-Blank", "  "},
                              {"x-twice", "1"},
                              {"X-Twice", "2"},
                              {"Host", "elsewhere.example"},
                              {"User-Agent", "mine"},
                              {"Connection", "close"},
                              {"Accept-Encoding", "br"}};

    const std::string head =
        client.makeRequest(get(server.url("/echo"), headers)).getResponseBodyString();

    EXPECT_EQ(
        head,
        "GET /echo HTTP/1.1\r\nHost: elsewhere.example\r\nX-Empty:\r\nX-Blank:\r\nx-twice: 1\r\n"
        "X-Twice: 2\r\nUser-Agent: mine\r\nConnection: close\r\nAccept-Encoding: br\r\n\r\n");
}

TEST(SynchronousRequest, SendsTheFieldsThatLibcurlMakesAsGivenEmptyOnesToo) {
    FaultServer server;
    const CurlHttpClient client(ClientConfiguration(), CurlOptions().withUserAgent(""));
    const std::string host = "Host: " + hostOf(server) + "\r\n";
    for (const std::string name :
         {"Host", "Connection", "Expect", "Accept", "Accept-Encoding", "User-Agent"}) {
        for (const std::string value : {"", "mine"}) {
            const std::string line = name + (value.empty() ? ":" : ": ") + value + "\r\n";

            const std::string head = client.makeRequest(get(server.url("/echo"), {{name, value}}))
                                         .getResponseBodyString();

            EXPECT_EQ(head,
                      "GET /echo HTTP/1.1\r\n" + (name == "Host" ? "" : host) + line + "\r\n");
        }
    }
}

TEST(SynchronousRequest, NamesItselfUnlessToldOtherwise) {
    FaultServer server;

    CurlHttpClient().makeRequest(get(server.url()));
    CurlHttpClient(ClientConfiguration(), CurlOptions().withUserAgent("other/2"))
        .makeRequest(get(server.url()));

    EXPECT_THAT(server.requests()[0].header("User-Agent").value(), StartsWith("httpclient_curl/"));
    EXPECT_EQ(server.requests()[1].header("User-Agent"), "other/2");
}

TEST(SynchronousRequest, SendsEveryMethodWithItsBody) {
    FaultServer server;
    const CurlHttpClient client;

    for (const char* name : {"POST", "PUT", "PATCH", "DELETE"}) {
        HttpResponse response = client.makeRequest(
            withBody(httpclient_core::createHttpMethod(name), server.url("/x"), "some text"));

        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK) << name;
        const ReceivedRequest received = server.requests().back();
        EXPECT_EQ(received.method, name);
        EXPECT_EQ(received.body, "some text");
        EXPECT_EQ(received.header("Content-Length"), "9");
        EXPECT_EQ(received.header("Content-Type"), "text/plain");
        EXPECT_FALSE(received.header("Expect"));
        EXPECT_FALSE(received.header("Transfer-Encoding"));
    }
}

TEST(SynchronousRequest, SendsEveryMethodWithoutABody) {
    FaultServer server;
    const CurlHttpClient client;

    for (const char* name : {"GET", "POST", "PUT", "PATCH", "DELETE", "HEAD", "GET"}) {
        client.makeRequest(
            HttpRequest(httpclient_core::createHttpMethod(name), URL(server.url("/x")), {}));

        const ReceivedRequest received = server.requests().back();
        const bool announces = received.method[0] == 'P';
        EXPECT_EQ(received.method, name);
        EXPECT_EQ(received.header("Content-Length"),
                  announces ? std::optional<std::string>("0") : std::nullopt);
        EXPECT_FALSE(received.header("Content-Type"));
        EXPECT_FALSE(received.header("Accept"));
    }
}

TEST(SynchronousRequest, SendsNothingByAMethodThatThereIsNot) {
    FaultServer server;
    const auto method = static_cast<HttpMethod>(99);
    const CurlHttpClient client(once());

    for (HttpRequest& request : std::array{HttpRequest(method, URL(server.url()), {}),
                                           withBody(method, server.url(), "x")}) {
        EXPECT_EQ(failureOf([&] { client.makeRequest(std::move(request)); }),
                  "Request refused: its method is unknown");
    }
    EXPECT_EQ(server.connectionsAccepted(), 0u);
}

TEST(SynchronousRequest, HeadHasNoBodyAndMakesNoStream) {
    FaultServer server;
    const CurlHttpClient client;
    HttpRequest request(HttpMethod::HEAD, URL(server.url("/bytes/70")), {});
    int streams = 0;
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        ++streams;
        return std::make_unique<std::stringstream>();
    });

    HttpResponse response = client.makeRequest(std::move(request));

    EXPECT_EQ(streams, 0);
    EXPECT_EQ(response.getContentLength(), 70);
}

TEST(SynchronousRequest, EmptyBodyMakesItsStream) {
    FaultServer server;
    const CurlHttpClient client;
    HttpRequest request = get(server.url("/bytes/0"));
    int streams = 0;
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        ++streams;
        return std::make_unique<std::stringstream>();
    });

    client.makeRequest(std::move(request));

    EXPECT_EQ(streams, 1);
}

TEST(SynchronousRequest, QueryParametersAreAppended) {
    FaultServer server;
    HttpRequest request = get(server.url("/search"));
    httpclient_core::QueryParameters query;
    query.addQueryParameter("a", "1 2");
    query.addQueryParameter("b", "\xc3\xa9");
    request.setQueryParameters(query);

    CurlHttpClient().makeRequest(std::move(request));

    EXPECT_THAT(server.requests()[0].target, StartsWith("/search?a=1"));
}

TEST(SynchronousRequest, KeepsItsConnection) {
    FaultServer server;
    const CurlHttpClient client;

    for (int i = 0; i < 5; ++i) client.makeRequest(get(server.url("/bytes/10")));
    client.makeRequest(withBody(HttpMethod::POST, server.url(), "x"));

    EXPECT_EQ(server.connectionsAccepted(), 1u);
}

TEST(SynchronousRequest, BodyIsOpenForNothingElseThanItsBytes) {
    FaultServer server(FaultServerOptions{ServedContent{7, 3000000}, {}, {}, {}});

    EXPECT_EQ(CurlHttpClient().makeRequest(get(server.url())).getResponseBodyString(),
              server.content().all());
}

TEST(SynchronousRequest, NothingListeningFailsByName) {
    FaultServer server;
    server.refuseConnections();

    EXPECT_THAT(failureOf([&] { CurlHttpClient().makeRequest(get(server.url())); }),
                StartsWith("Request to " + hostOf(server) +
                           " failed: connecting: Failed to connect to 127.0.0.1 port "));
}

}  // namespace
}  // namespace tavrin::httpclient_curl

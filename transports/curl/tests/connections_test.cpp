#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <utility>

#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/clocks_ahead.h"
#include "support/local_port.h"

namespace tavrin::httpclient_curl {
namespace {

class KeptConnections : public OnBothRoads {
protected:
    // Connections that it takes to make a request, let some time pass, and make another one.
    std::size_t takenWithPause(HttpMethod method, int seconds) const {
        const FaultServer server;
        // One thread, since one that seems to have been away for so long gets no request.
        const CurlHttpClient client(once().withMaxThreads(1));
        send(client, withBody(HttpMethod::PUT, server.url(), "first"));
        test::putClocksForward(std::chrono::seconds(seconds));
        if (method == HttpMethod::GET) {
            send(client, get(server.url()));
        } else {
            send(client, withBody(method, server.url(), "second"));
        }
        return server.connectionsAccepted();
    }

    // Expects the connection of this request, which fails, not to be used again.
    void expectNotReusedAfter(HttpRequest failing, const FaultServer& server) const {
        const CurlHttpClient client(once());
        EXPECT_ANY_THROW(send(client, std::move(failing)));
        EXPECT_EQ(send(client, get(server.url("/bytes/3"))).getResponseBodyString(),
                  server.content("/bytes/3").all());
        EXPECT_EQ(server.connectionsAccepted(), 2U);
    }
};
ON_BOTH_ROADS(KeptConnections);

TEST_P(KeptConnections, AreUsedAgainForAMinute) {
    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::PUT}) {
        EXPECT_EQ(takenWithPause(method, 58), 1U);
        EXPECT_EQ(takenWithPause(method, 61), 2U);
    }
}

TEST_P(KeptConnections, AreUsedAgainForFiveSecondsByWhatMustNotBeSentTwice) {
    for (const HttpMethod method : {HttpMethod::POST, HttpMethod::PATCH}) {
        EXPECT_EQ(takenWithPause(method, 4), 1U);
        EXPECT_EQ(takenWithPause(method, 6), 2U);
    }
}

TEST(KeptConnection, IsFoundAgainBesideAnotherThatWasUsedLater) {
    const FaultServer first;
    const FaultServer second;
    const CurlHttpClient client(once());
    HttpRequest outer = get(second.url("/bytes/1"));
    outer.setResponseStreamFactory([&](const auto&...) {
        client.makeRequest(get(first.url("/bytes/1")));
        return std::make_unique<std::stringstream>();
    });
    client.makeRequest(std::move(outer));

    for (int i = 0; i < 3; ++i) {
        client.makeRequest(get(first.url("/bytes/" + std::to_string(i))));
        client.makeRequest(get(second.url("/bytes/" + std::to_string(i))));
    }

    EXPECT_EQ(first.connectionsAccepted(), 1U);
    EXPECT_EQ(second.connectionsAccepted(), 1U);
}

TEST_P(KeptConnections, CarryEveryRequestWithItsOwnFields) {
    const FaultServer server;
    const CurlHttpClient client(once().withMaxThreads(1), CurlOptions().withUserAgent(""));
    const std::string beginning = "GET /echo HTTP/1.1\r\nHost: " + hostOf(server) + "\r\n";
    for (const std::string lines : {"", "X-One: 1\r\n", "X-One: 1\r\n", "X-One: 2\r\n",
                                    "X-one: 2\r\n", "X-One: 2\r\nX-Two: 2\r\n", ""}) {
        HttpHeaders headers;
        for (std::size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1)
            headers.addHeaderValue(lines.substr(at, 5), lines.substr(at + 7, 1));

        EXPECT_EQ(send(client, get(server.url("/echo"), headers)).getResponseBodyString(),
                  beginning + lines + "\r\n");
    }
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

// A thread that has slept for long is not taken for one that is held up.
TEST(KeptConnection, OfAThreadThatSleepsIsUsedThoughThereMayBeOthers) {
    constexpr std::size_t REQUESTS = 20;
    const FaultServer server;
    const CurlHttpClient client(once().withMaxThreads(0));
    for (std::size_t i = 0; i < REQUESTS; ++i) {
        client.makeAsyncRequest(get(server.url())).get();
        test::putClocksForward(std::chrono::seconds(1));
    }

    // It may not have fallen asleep yet when the clocks are put forward.
    EXPECT_LT(server.connectionsAccepted(), REQUESTS / 2);
}

// Sockets of this process whose peer listens at the port, and how many of them a program that it
// starts would inherit.
std::pair<int, int> socketsTo(int port) {
    std::pair<int, int> found{0, 0};
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) != 0) continue;
        if (ntohs(peer.sin_port) != port) continue;
        ++found.first;
        if ((fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0) ++found.second;
    }
    return found;
}

TEST_P(KeptConnections, AreNotInheritedByProgramsThatTheApplicationStarts) {
    const FaultServer server;
    const CurlHttpClient client(once());

    send(client, get(server.url()));

    EXPECT_EQ(socketsTo(server.port()), std::pair(1, 0));
}

TEST_P(KeptConnections, DoNotIncludeThoseOfCancelledRequests) {
    FaultServer server("stall@100,ok");
    HttpRequest request = get(server.url("/bytes/1000"));
    request.setProgressCallback([](const Progress& progress) {
        return progress.downloadNow == 100 ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
    });
    expectNotReusedAfter(std::move(request), server);
}

TEST_P(KeptConnections, DoNotIncludeThoseOfRequestsWhoseStreamFailed) {
    FaultServer server("stall@100,ok");
    HttpRequest request = get(server.url("/bytes/1000"));
    request.setResponseStreamFactory([](HttpResponseCode, const std::string&, const HttpHeaders&) {
        auto stream = std::make_unique<std::stringstream>();
        stream->setstate(std::ios::badbit);
        return stream;
    });
    expectNotReusedAfter(std::move(request), server);
}

// Behind its Content-Length the first answer has bytes that come when the client is done with it.
// They are no answer to the next request.
TEST_P(KeptConnections, DoNotIncludeThoseThatBringBytesUnasked) {
    for (const bool overTls : {false, true}) {
        for (const HttpMethod method : {HttpMethod::PUT, HttpMethod::POST}) {
            FaultServerOptions options;
            options.content = {1, 1000};
            options.plan = "clless:100+stall@900+silentclose,ok";
            if (overTls) options.tls = httpclient_testing::TlsKind::GOOD;
            FaultServer server(options);
            ClientConfiguration configuration = once();
            if (overTls) configuration.setCertificateFile(server.caFile());
            const CurlHttpClient client(configuration);
            EXPECT_EQ(send(client, get(server.url())).getResponseBodyString(),
                      server.content().range(0, 900));
            server.waitForStalls(1);
            server.release();
            server.waitUntilIdle();

            const HttpResponse response = send(client, withBody(method, server.url(), "body"));

            EXPECT_EQ(response.getResponseBodyString(), httpclient_testing::sha256Hex("body"));
            EXPECT_EQ(server.connectionsAccepted(), 2U);
            EXPECT_EQ(server.requests().size(), 2U);
        }
    }
}

// Two connections to different servers may come from the same port.
TEST_P(KeptConnections, DoNotIncludeThoseThatBringBytesUnaskedBesideOthersFromTheSamePort) {
    FaultServer server("clless:100+stall@900+silentclose,ok");
    const FaultServer other;
    const CurlHttpClient client(once().withMaxThreads(1));
    {
        const test::LocalPort port;
        send(client, get(server.url("/bytes/1000")));
        send(client, get(other.url("/bytes/1")));
    }
    server.waitForStalls(1);
    server.release();
    server.waitUntilIdle();

    const HttpResponse response = send(client, withBody(HttpMethod::PUT, server.url(), "body"));

    EXPECT_EQ(response.getResponseBodyString(), httpclient_testing::sha256Hex("body"));
    EXPECT_EQ(server.connectionsAccepted(), 2U);
}

TEST_P(KeptConnections, AreUsedAgainOverTls) {
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    const FaultServer server(options);
    const CurlHttpClient client(once().withCertificateFile(server.caFile()));

    for (const HttpMethod method : {HttpMethod::PUT, HttpMethod::POST, HttpMethod::PUT})
        send(client, withBody(method, server.url(), "body"));

    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

// A request that must not be sent twice is lost on a connection of which the server has taken
// leave.
TEST_P(KeptConnections, ThatTheServerHasClosedAreNotTried) {
    for (const bool overTls : {false, true}) {
        FaultServerOptions options;
        options.plan = "silentclose,ok";
        if (overTls) options.tls = httpclient_testing::TlsKind::GOOD;
        FaultServer server(options);
        ClientConfiguration configuration = once();
        if (overTls) configuration.setCertificateFile(server.caFile());
        const CurlHttpClient client(configuration);
        send(client, get(server.url("/bytes/1")));
        server.waitUntilIdle();

        const HttpResponse response =
            send(client, withBody(HttpMethod::POST, server.url(), "body"));

        EXPECT_EQ(response.getResponseBodyString(), httpclient_testing::sha256Hex("body"));
        EXPECT_EQ(server.requests().size(), 2U);
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

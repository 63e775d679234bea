#include "httpclient_testing/fault_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <vector>

#include "httpclient_testing/sha256.h"
#include "support/small_server.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::ThrowsMessage;

// Far less than anything that is stopped would take, and enough for a busy machine.
constexpr std::chrono::milliseconds AT_ONCE{1000};

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::chrono::steady_clock::duration timeOf(const std::function<void()>& what) {
    const auto begin = std::chrono::steady_clock::now();
    what();
    return std::chrono::steady_clock::now() - begin;
}

TEST(FaultServer, ServesItsContentWithValidatorsAndKeepsTheConnection) {
    SmallServer server;
    RawClient client(server.port());

    for (int request = 0; request < 2; ++request) {
        client.send(get("/file"));
        const RawAnswer answer = client.receiveAnswer();

        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 200 OK");
        EXPECT_EQ(answer.body, SMALL.all());
        EXPECT_THAT(answer.header("ETag"), Optional(server.etag("/file")));
        EXPECT_THAT(answer.header("Accept-Ranges"), Optional<std::string>("bytes"));
        EXPECT_THAT(answer.header("Last-Modified"),
                    Optional<std::string>("Sun, 13 Sep 2020 12:26:40 GMT"));
        EXPECT_TRUE(answer.header("Date"));
        EXPECT_FALSE(answer.header("Connection"));
    }
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST(FaultServer, ServesAHundredThousandBytesWhenOnlyAPlanIsGiven) {
    FaultServer server("ok");
    RawClient client(server.port());
    client.send(get("/file"));

    EXPECT_EQ(client.receiveAnswer().body, ServedContent({1, 100000}).all());
}

TEST(FaultServer, AnswersRequestsThatWereSentTogetherInOrder) {
    SmallServer server("503,ok");
    RawClient client(server.port());
    client.send(get("/a") + get("/bytes/3"));

    EXPECT_EQ(client.receiveAnswer().statusLine(), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(client.receiveAnswer().body, SMALL.range(0, 3));
}

TEST(FaultServer, AnswersHeadWithoutABody) {
    SmallServer server;
    RawClient client(server.port());
    client.send("HEAD / HTTP/1.1\r\nHost: h\r\n\r\n" + get("/bytes/3"));

    EXPECT_THAT(client.receiveAnswer(false).header("Content-Length"),
                Optional<std::string>("2000"));
    EXPECT_EQ(client.receiveAnswer().body, SMALL.range(0, 3));
}

TEST(FaultServer, AnswersEchoWithTheHeadItReceived) {
    SmallServer server;
    const std::string head = get("/echo?x=1", "X-Empty:\r\nX-Two: a  b \r\n");

    EXPECT_EQ(server.askKeeping(head).body, head);
}

TEST(FaultServer, AnswersAnUploadWithItsDigestAndLogsIt) {
    SmallServer server;
    RawClient client(server.port());
    client.send(
        "PUT /up?q HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
        "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\nX-T: t\r\n\r\n");

    const RawAnswer answer = client.receiveAnswer();
    const auto log = server.requests();

    EXPECT_EQ(answer.body, sha256Hex("abcde"));
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].method, "PUT");
    EXPECT_EQ(log[0].target, "/up?q");
    EXPECT_THAT(log[0].headerLines, ElementsAre("Host: h", "Transfer-Encoding: chunked"));
    EXPECT_THAT(log[0].header("transfer-encoding"), Optional<std::string>("chunked"));
    EXPECT_EQ(log[0].header("Content-Length"), std::nullopt);
    EXPECT_EQ(log[0].countHeader("HOST"), 1U);
    EXPECT_EQ(log[0].body, "abcde");
    EXPECT_EQ(log[0].bodySize, 5U);
    EXPECT_EQ(log[0].bodySha256, sha256Hex("abcde"));
    EXPECT_TRUE(log[0].bodyComplete);
    EXPECT_EQ(log[0].answerStatus, 200);
    EXPECT_EQ(log[0].answerHeadSize, answer.head.size());
}

TEST(FaultServer, KeepsTheBeginningOfALargeUploadAndTheDigestOfAllOfIt) {
    SmallServer server;
    const std::string body = SMALL.range(0, 300000);
    const RawAnswer answer =
        server.askKeeping("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 300000\r\n\r\n" + body);

    EXPECT_EQ(answer.body, sha256Hex(body));
    EXPECT_EQ(server.requests()[0].body, body.substr(0, ReceivedRequest::KEPT_BODY_BYTES));
    EXPECT_EQ(server.requests()[0].bodySize, 300000U);
}

TEST(FaultServer, LogsAnUploadThatBreaksOffAsIncomplete) {
    SmallServer server;
    {
        RawClient client(server.port());
        client.send("POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 10\r\n\r\nabc");
    }
    server.waitForRequests(1);
    server.waitUntilIdle();

    EXPECT_EQ(server.requests()[0].body, "abc");
    EXPECT_FALSE(server.requests()[0].bodyComplete);
    EXPECT_EQ(server.requests()[0].answerStatus, 0);
}

TEST(FaultServer, RefusesMalformedRequestsAndLogsThem) {
    for (const std::string request :
         {"GET /\r\n\r\n", "GET / HTTP/2.0\r\n\r\n", "GET  / HTTP/1.1\r\n\r\n", "\r\n\r\n",
          "GET / HTTP/1.1\r\nno colon\r\n\r\n", "GET / HTTP/1.1\r\n: v\r\n\r\n",
          "GET / HTTP/1.1\r\nX: a\nY: b\r\n\r\n", "GET / HTTP/1.1\r\nX : a\r\n\r\n",
          "PUT / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 1\r\n\r\na",
          "PUT / HTTP/1.1\r\nContent-Length: +1\r\n\r\na",
          "PUT / HTTP/1.1\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
          "PUT / HTTP/1.1\r\nTransfer-Encoding: identity\r\n\r\n",
          "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n",
          "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nab\r\n0\r\n\r\n"}) {
        SmallServer server;
        RawClient client(server.port());
        client.send(request);
        client.shutDownSending();

        const RawAnswer answer = takeApart(client.receiveAll());

        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 400 Bad Request") << request;
        EXPECT_EQ(server.requests().size(), 1U) << request;
    }
}

TEST(FaultServer, AnswersATargetInAbsoluteFormByItsPath) {
    SmallServer server;

    EXPECT_EQ(server.askKeeping(get("http://example.org/bytes/5?q")).body, SMALL.range(0, 5));
    EXPECT_EQ(server.askKeeping(get("http://example.org")).body, SMALL.all());
    EXPECT_EQ(server.requests()[0].target, "http://example.org/bytes/5?q");
}

TEST(FaultServer, ClosesWhenTheRequestAsksForIt) {
    SmallServer server;

    const RawAnswer answer = server.ask(get("/", "Connection: close\r\n"));

    EXPECT_EQ(answer.end, End::CLOSED);
    EXPECT_THAT(answer.header("Connection"), Optional<std::string>("close"));
    EXPECT_EQ(server.ask("GET / HTTP/1.0\r\n\r\n").end, End::CLOSED);
}

TEST(FaultServer, TakesAStepForEachRequestAndRepeatsTheLast) {
    SmallServer server("500,502");

    std::vector<std::string> statuses;
    for (int i = 0; i < 3; ++i) statuses.push_back(server.askKeeping().statusLine().substr(9, 3));
    const auto log = server.requests();

    EXPECT_THAT(statuses, ElementsAre("500", "502", "502"));
    EXPECT_EQ(log[0].step, 0U);
    EXPECT_EQ(log[1].step, 1U);
    EXPECT_EQ(log[2].step, 1U);
    EXPECT_EQ(log[2].stepText, "502");
    EXPECT_EQ(log[2].answerStatus, 502);
}

TEST(FaultServer, FollowsAPathsOwnPlanForThatPathAlone) {
    SmallServer server("500,ok");
    server.setPlan("/a", "404,ok");

    EXPECT_THAT(server.askKeeping(get("/a?x")).statusLine(), HasSubstr("404"));
    EXPECT_THAT(server.askKeeping(get("/b")).statusLine(), HasSubstr("500"));
    EXPECT_THAT(server.askKeeping(get("/a")).statusLine(), HasSubstr("200"));
    EXPECT_THAT(server.askKeeping(get("/b")).statusLine(), HasSubstr("200"));
}

TEST(FaultServer, FollowsANewPlanFromItsBeginning) {
    SmallServer server("500*5");
    server.askKeeping();
    server.setPlan("404,ok");

    EXPECT_THAT(server.askKeeping().statusLine(), HasSubstr("404"));
    EXPECT_THAT(server.askKeeping().statusLine(), HasSubstr("200"));
}

TEST(FaultServer, TakesAStepThatWasMadeInCode) {
    FaultStep step;
    step.locations = {"/a,b+c"};
    step.status = 302;
    step.text = "to a comma";
    SmallServer server(FaultPlan(std::vector<FaultStep>{step}));

    EXPECT_THAT(server.askKeeping().header("Location"), Optional<std::string>("/a,b+c"));
    EXPECT_EQ(server.requests()[0].stepText, "to a comma");
}

TEST(FaultServer, GivesAPathTheContentItIsTold) {
    SmallServer server;
    const std::string before = server.etag("/x");
    server.serve("/x", {11, 50});

    EXPECT_EQ(server.askKeeping(get("/x")).body, (ServedContent{11, 50}).all());
    EXPECT_EQ(server.askKeeping(get("/y")).body, SMALL.all());
    EXPECT_EQ(server.content("/x").size, 50U);
    EXPECT_NE(server.etag("/x"), before);
}

TEST(FaultServer, HasUrls) {
    SmallServer server;
    const std::string port = std::to_string(server.port());

    EXPECT_EQ(server.url("/x"), "http://127.0.0.1:" + port + "/x");
    EXPECT_EQ(server.urlWithHost("localhost"), "http://localhost:" + port + "/");
    EXPECT_THAT([&] { server.caFile(); }, ThrowsMessage<std::logic_error>("The server is plain."));
}

TEST(FaultServer, CountsConnections) {
    SmallServer server;
    {
        RawClient first(server.port());
        RawClient second(server.port());
        server.waitForConnections(2);
        EXPECT_EQ(server.connectionsOpen(), 2U);
    }
    server.waitUntilIdle();
    server.askKeeping();
    server.waitUntilIdle();

    EXPECT_EQ(server.connectionsAccepted(), 3U);
    EXPECT_EQ(server.connectionsOpen(), 0U);
    EXPECT_EQ(server.mostConnectionsOpen(), 2U);
    EXPECT_EQ(server.requests()[0].connection, 3U);
    EXPECT_EQ(server.requests()[0].numberOnConnection, 1U);
}

TEST(FaultServer, CountsNoConnectionBesideItsSuccessor) {
    constexpr std::size_t CLIENTS = 8;
    constexpr std::size_t EACH = 100;
    const SmallServer server;
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([&] {
            for (std::size_t j = 0; j < EACH; ++j) const RawClient client(server.port());
        });
    }

    for (auto& client : clients) client.join();

    server.waitForConnections(CLIENTS * EACH);
    EXPECT_LE(server.mostConnectionsOpen(), CLIENTS);
}

TEST(FaultServer, SaysWhatItWaitedForInVain) {
    SmallServer server;
    RawClient client(server.port());
    server.waitForConnections(1);
    const std::chrono::milliseconds nothing(0);

    EXPECT_THAT([&] { server.waitForRequests(3, nothing); },
                ThrowsMessage<std::runtime_error>("Waited for 3 requests, saw 0."));
    EXPECT_THAT([&] { server.waitForStalls(2, nothing); },
                ThrowsMessage<std::runtime_error>("Waited for 2 stalls, saw 0."));
    EXPECT_THAT([&] { server.waitForConnections(2, nothing); },
                ThrowsMessage<std::runtime_error>("Waited for 2 connections, saw 1."));
    EXPECT_THAT([&] { server.waitUntilIdle(nothing); },
                ThrowsMessage<std::runtime_error>("Waited for no open connection, saw 1."));
}

TEST(FaultServer, ForgetsRequestsButNotItsPlan) {
    SmallServer server("500,501,502");
    server.askKeeping();
    server.forgetRequests();
    EXPECT_TRUE(server.requests().empty());
    server.askKeeping();

    const auto log = server.waitForRequests(1);

    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].answerStatus, 501);
}

TEST(FaultServer, ForgetsARequestThatIsBeingAnswered) {
    SmallServer server("stall@0");
    RawClient client(server.port());
    client.send(get("/"));
    server.waitForStalls(1);
    server.forgetRequests();
    server.release();

    EXPECT_EQ(client.receiveAnswer().body, SMALL.all());
    EXPECT_TRUE(server.requests().empty());
}

TEST(FaultServer, StopsAtOnceWhateverItDoes) {
    for (const std::string plan :
         {"stall@1000", "hstall", "mute", "delay:60000", "drip:1", "hinf", "interiminf", "ok"}) {
        SmallServer server(plan);
        RawClient asking(server.port());
        RawClient silent(server.port());
        asking.send(get("/bytes/100000000"));
        server.waitForConnections(2);

        EXPECT_LT(timeOf([&] { server.stop(); }), AT_ONCE) << plan;
        EXPECT_EQ(server.connectionsOpen(), 0U);
    }
}

TEST(FaultServer, StopsAtOnceWhileAClientKeepsReadingOrSending) {
    SmallServer server("hinf*2,ok");
    std::vector<std::thread> clients;
    for (int i = 0; i < 2; ++i) {
        clients.emplace_back([&] {
            RawClient client(server.port());
            client.send(get("/"));
            while (client.receive(1U << 20U).size() == 1U << 20U) {
            }
        });
    }
    server.waitForRequests(2);
    clients.emplace_back([&] {
        RawClient client(server.port());
        client.send("PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1000000000000\r\n\r\n");
        const std::string piece(1U << 20U, 'p');
        while (client.send(piece)) {
        }
    });
    server.waitForRequests(3);

    EXPECT_LT(timeOf([&] { server.stop(); }), AT_ONCE);
    for (auto& client : clients) client.join();
}

TEST(FaultServer, KeepsItsLogAfterStopping) {
    SmallServer server;
    server.askKeeping();
    server.stop();
    server.stop();

    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.content("/").size, SMALL.size);
    EXPECT_THROW(RawClient client(server.port()), std::system_error);
}

TEST(FaultServer, LeavesNoDescriptorBehind) {
    SmallServer().askKeeping();
    const std::size_t before = openDescriptors();
    for (const std::string plan : {"ok", "rst@10", "stall@10", "mute", "refused", "noresp"}) {
        SmallServer server("ok," + plan);
        RawClient client(server.port());
        client.send(get("/") + get("/"));
        client.receiveAnswer();
    }

    EXPECT_EQ(openDescriptors(), before);
}

TEST(FaultServer, ClosesAConnectionWhenItIsServed) {
    SmallServer server("close,rst@5,fin@5,noresp");
    const std::size_t before = openDescriptors();
    for (int i = 0; i < 4; ++i) server.ask();
    server.waitUntilIdle();

    EXPECT_EQ(openDescriptors(), before);
}

TEST(FaultServer, ClosesAllConnectionsWhenAsked) {
    SmallServer server;
    RawClient client(server.port());
    client.send(get("/bytes/1"));
    client.receiveAnswer();
    server.closeConnections();

    EXPECT_EQ(client.receiveAll().second, End::CLOSED);
    EXPECT_EQ(server.askKeeping().body, SMALL.all());
}

TEST(FaultServer, RefusesConnectionsUntilItIsToAcceptAgain) {
    SmallServer server;
    server.refuseConnections();
    EXPECT_THROW(server.askKeeping(), std::system_error);
    EXPECT_THROW(server.askKeeping(), std::system_error);
    server.acceptAgain();

    EXPECT_EQ(server.askKeeping().body, SMALL.all());
}

TEST(FaultServer, ServesManyConnectionsAtATime) {
    FaultServer server(FaultServerOptions{{3, 300000}, "rst@1000,ok", {}, {}});
    const std::string wanted = server.content().sha256();
    std::vector<std::thread> clients;
    std::atomic<int> right{0};
    for (int i = 0; i < 20; ++i) {
        clients.emplace_back([&] {
            RawClient client(server.port());
            client.send(get("/"));
            if (sha256Hex(client.receiveAnswer().body) == wanted) ++right;
        });
    }
    for (auto& client : clients) client.join();

    EXPECT_EQ(right, 19);
}

TEST(FaultServer, ServesAnyPlaceOfFiveGibibytes) {
    const ServedContent content{5, 5ULL << 30U};
    FaultServer server(FaultServerOptions{content, {}, {}, {}});
    RawClient client(server.port());
    client.send(get("/", "Range: bytes=4831838208-4831838307\r\n"));

    const RawAnswer answer = client.receiveAnswer();

    EXPECT_THAT(answer.header("Content-Range"),
                Optional<std::string>("bytes 4831838208-4831838307/5368709120"));
    EXPECT_EQ(answer.body, content.range(4831838208, 100));
}

}  // namespace
}  // namespace tavrin::httpclient_testing

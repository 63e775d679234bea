// A FaultServer in the place of a proxy.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/small_server.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::HasSubstr;
using testing::Optional;

std::string connectTo(int port) {
    const std::string authority = "example.org:" + std::to_string(port);
    return "CONNECT " + authority + " HTTP/1.1\r\nHost: " + authority + "\r\n\r\n";
}

TEST(Proxy, OpensATunnelToAPortOfThisMachine) {
    SmallServer proxy("header:X-Proxy=yes");
    SmallServer server;
    RawClient client(proxy.port());
    client.send(connectTo(server.port()) + get("/bytes/3"));

    const RawAnswer opened = client.receiveAnswer();
    EXPECT_EQ(opened.statusLine(), "HTTP/1.1 200 OK");
    EXPECT_FALSE(opened.header("Content-Length"));
    EXPECT_THAT(opened.header("X-Proxy"), Optional<std::string>("yes"));
    EXPECT_EQ(client.receiveAnswer().body, SMALL.range(0, 3));
    client.send(get("/bytes/1000000"));
    EXPECT_EQ(client.receiveAnswer().body, (ServedContent{SMALL.seed, 1000000}).all());
    EXPECT_EQ(proxy.requests().size(), 1U);
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST(Proxy, OpensATunnelOverTls) {
    FaultServer proxy(FaultServerOptions{SMALL, {}, TlsKind::GOOD, {}});
    SmallServer server;
    RawClient client(proxy.port(), proxy.caFile());
    client.send(connectTo(server.port()) + get("/bytes/100000"));

    client.receiveAnswer();

    EXPECT_EQ(client.receiveAnswer().body, (ServedContent{SMALL.seed, 100000}).all());
}

TEST(Proxy, EndsATunnelWithTheServer) {
    SmallServer proxy;
    SmallServer server("fin@100");
    RawClient client(proxy.port());
    client.send(connectTo(server.port()) + get("/"));
    client.receiveAnswer();

    const RawAnswer answer = takeApart(client.receiveAll());

    EXPECT_EQ(answer.body, SMALL.range(0, 100));
    EXPECT_EQ(answer.end, End::CLOSED);
}

TEST(Proxy, EndsATunnelWithTheClient) {
    SmallServer proxy;
    SmallServer server;
    {
        RawClient client(proxy.port());
        client.send(connectTo(server.port()));
        client.receiveAnswer();
        server.waitForConnections(1);
    }

    EXPECT_NO_THROW(server.waitUntilIdle());
    EXPECT_NO_THROW(proxy.waitUntilIdle());
}

TEST(Proxy, CannotReachAPortWhereNobodyListens) {
    SmallServer proxy;
    SmallServer server;
    server.refuseConnections();

    EXPECT_EQ(proxy.ask(connectTo(server.port())).statusLine(), "HTTP/1.1 502 Bad Gateway");
    EXPECT_EQ(proxy.ask("CONNECT nowhere HTTP/1.1\r\n\r\n").statusLine(),
              "HTTP/1.1 502 Bad Gateway");
    EXPECT_EQ(proxy.ask("CONNECT h:65536 HTTP/1.1\r\n\r\n").statusLine(),
              "HTTP/1.1 502 Bad Gateway");
}

TEST(Proxy, FailsWhereAPlanSaysSo) {
    SmallServer proxy("407:b20,hfin@20");
    SmallServer server;

    EXPECT_THAT(proxy.askKeeping(connectTo(server.port())).statusLine(), HasSubstr("407"));
    EXPECT_EQ(server.connectionsAccepted(), 0U);
    EXPECT_EQ(exchange(proxy.port(), connectTo(server.port())).first.size(), 20U);
}

TEST(Proxy, StopsAtOnceInATunnel) {
    SmallServer proxy;
    SmallServer server("stall@0");
    RawClient client(proxy.port());
    client.send(connectTo(server.port()) + get("/"));
    server.waitForStalls(1);
    proxy.stop();

    EXPECT_EQ(proxy.connectionsOpen(), 0U);
}

}  // namespace
}  // namespace tavrin::httpclient_testing

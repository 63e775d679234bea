#include "httpclient_testing/fault_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "httpclient_testing/sha256.h"
#include "support/raw_client.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::HasSubstr;
using testing::Optional;

const ServedContent SMALL{7, 2000};

FaultServerOptions small(FaultPlan plan) { return {SMALL, std::move(plan), {}, {}}; }

FaultServerOptions smallOverTls(FaultPlan plan, TlsKind kind = TlsKind::GOOD) {
    return {SMALL, std::move(plan), kind, {}};
}

TEST(FaultServer, ServesItsContentWithValidatorsAndKeepsTheConnection) {
    FaultServer server(small({}));
    RawClient client(server.port());

    for (int request = 0; request < 2; ++request) {
        client.send(get("/file"));
        const RawAnswer answer = client.receiveAnswer();

        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 200 OK");
        EXPECT_EQ(answer.body, SMALL.all());
        EXPECT_THAT(answer.header("ETag"), Optional(server.etag("/file")));
        EXPECT_THAT(answer.header("Accept-Ranges"), Optional<std::string>("bytes"));
        EXPECT_TRUE(answer.header("Last-Modified"));
        EXPECT_TRUE(answer.header("Date"));
    }
    EXPECT_EQ(server.connectionsAccepted(), 1U);
}

TEST(FaultServer, ResetsAfterEveryByteOfTheBodyAndDeliversExactlyThose) {
    FaultServer server;
    server.serve("/file", SMALL);
    for (std::size_t k = 0; k <= SMALL.size; ++k) {
        server.setPlan("rst@" + std::to_string(k));

        const RawAnswer answer = takeApart(exchange(server.port(), get("/file")));

        ASSERT_EQ(answer.body, SMALL.range(0, k));
        ASSERT_EQ(answer.end, End::RESET) << k;
    }
}

TEST(FaultServer, StopsAStallAtOnce) {
    FaultServer server(small("stall@1000"));
    RawClient client(server.port());
    client.send(get("/"));
    server.waitForStalls(1);

    const auto begin = std::chrono::steady_clock::now();
    server.stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
    EXPECT_EQ(takeApart(client.receiveAll()).body, SMALL.range(0, 1000));
}

TEST(FaultServer, SpeaksTls) {
    FaultServer server(smallOverTls("rst@1000,ok"));
    {
        RawClient client(server.port(), server.caFile());
        client.send(get("/"));
        const RawAnswer cut = takeApart(client.receiveAll());
        EXPECT_EQ(cut.body, SMALL.range(0, 1000));
        EXPECT_EQ(cut.end, End::RESET);
    }
    RawClient client(server.port(), server.caFile());
    client.send(get("/", "Range: bytes=1000-\r\nIf-Range: " + server.etag() + "\r\n"));

    const RawAnswer rest = client.receiveAnswer();

    EXPECT_EQ(rest.statusLine(), "HTTP/1.1 206 Partial Content");
    EXPECT_THAT(rest.header("Content-Range"), Optional<std::string>("bytes 1000-1999/2000"));
    EXPECT_EQ(rest.body, SMALL.range(1000, 1000));
}

TEST(FaultServer, AnswersAnUploadWithItsDigestAndLogsIt) {
    FaultServer server;
    RawClient client(server.port());
    client.send(
        "PUT /up HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
        "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\nX-T: t\r\n\r\n");

    const RawAnswer answer = client.receiveAnswer();
    const auto log = server.waitForRequests(1);

    EXPECT_EQ(answer.body, sha256Hex("abcde"));
    EXPECT_EQ(log[0].method, "PUT");
    EXPECT_EQ(log[0].body, "abcde");
    EXPECT_EQ(log[0].bodySha256, sha256Hex("abcde"));
    EXPECT_THAT(log[0].header("transfer-encoding"), Optional<std::string>("chunked"));
}

}  // namespace
}  // namespace tavrin::httpclient_testing

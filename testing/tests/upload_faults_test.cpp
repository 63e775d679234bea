// What a FaultServer can do to a request that has a body.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "httpclient_testing/sha256.h"
#include "support/small_server.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::Optional;

const std::string CONTINUE = "HTTP/1.1 100 Continue\r\n\r\n";

std::string headOfUpload(std::size_t size, const std::string& lines = "") {
    return "PUT /up HTTP/1.1\r\nHost: h\r\nContent-Length: " + std::to_string(size) + "\r\n" +
           lines + "\r\n";
}

std::string upload() { return headOfUpload(SMALL.size) + SMALL.all(); }

TEST(UploadFaults, NoneContinueWhenThatIsExpected) {
    SmallServer server;
    RawClient client(server.port());
    client.send(headOfUpload(5, "Expect: 100-continue\r\n"));
    EXPECT_EQ(client.receive(CONTINUE.size()), CONTINUE);
    client.send("abcde");

    EXPECT_EQ(client.receiveAnswer().body, sha256Hex("abcde"));
}

TEST(UploadFaults, KeepSilentAboutContinuing) {
    SmallServer server("no100");
    RawClient client(server.port());
    client.send(headOfUpload(5, "Expect: 100-continue\r\n"));
    client.send("abcde");

    EXPECT_EQ(client.receiveAnswer().statusLine(), "HTTP/1.1 200 OK");
}

TEST(UploadFaults, RefuseAnExpectationAndNothingElse) {
    SmallServer server("e417");
    {
        RawClient client(server.port());
        client.send(headOfUpload(5, "Expect: 100-continue\r\n"));
        const RawAnswer answer = client.receiveAnswer();
        EXPECT_EQ(answer.statusLine(), "HTTP/1.1 417 Expectation Failed");
        EXPECT_THAT(answer.header("Connection"), Optional<std::string>("close"));
    }

    EXPECT_EQ(server.askKeeping(upload()).body, SMALL.sha256());
}

TEST(UploadFaults, WaitBeforeContinuing) {
    SmallServer server("delay100:60");
    RawClient client(server.port());
    const auto begin = std::chrono::steady_clock::now();
    client.send(headOfUpload(5, "Expect: 100-continue\r\n"));
    client.receive(CONTINUE.size());

    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
}

TEST(UploadFaults, AnswerEarlyAndReadTheRest) {
    SmallServer server("early@100:413");
    RawClient client(server.port());
    client.send(headOfUpload(SMALL.size) + SMALL.range(0, 100));
    const RawAnswer answer = client.receiveAnswer();
    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 413 Content Too Large");
    EXPECT_THAT(answer.header("Connection"), Optional<std::string>("close"));
    EXPECT_TRUE(client.send(SMALL.range(100, 1900)));

    EXPECT_EQ(client.receiveAll().second, End::CLOSED);
    EXPECT_EQ(server.requests()[0].bodySha256, SMALL.sha256());
}

TEST(UploadFaults, AnswerEarlyAndReset) {
    SmallServer server("early@100:503:rst");
    RawClient client(server.port());
    client.send(upload());
    const RawAnswer answer = takeApart(client.receiveAll());

    EXPECT_EQ(answer.statusLine(), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(answer.end, End::RESET);
    EXPECT_EQ(server.requests()[0].bodySize, 100U);
    EXPECT_FALSE(server.requests()[0].bodyComplete);
}

TEST(UploadFaults, AnswerAnExpectationByTheFinalStatus) {
    SmallServer server("early@0:413");
    RawClient client(server.port());
    client.send(headOfUpload(5, "Expect: 100-continue\r\n"));

    EXPECT_EQ(client.receiveAnswer().statusLine(), "HTTP/1.1 413 Content Too Large");
}

TEST(UploadFaults, ResetOrCloseAfterAByteOfTheBody) {
    for (const std::size_t k : {std::size_t{0}, std::size_t{1}, std::size_t{1000}, SMALL.size}) {
        for (const auto& [word, end] :
             {std::pair("urst", End::RESET), std::pair("ufin", End::CLOSED)}) {
            SmallServer server(std::string(word) + "@" + std::to_string(k));
            RawClient client(server.port());
            client.send(upload());

            EXPECT_EQ(client.receiveAll(), std::pair(std::string(), end)) << word << k;
            EXPECT_EQ(server.requests()[0].bodySize, k);
            EXPECT_EQ(server.requests()[0].answerStatus, 0);
        }
    }
}

TEST(UploadFaults, EndAtTheFirstOfSeveral) {
    SmallServer server("urst@500+early@100:413,urst@100+early@500:413");

    EXPECT_EQ(server.ask(upload()).statusLine(), "HTTP/1.1 413 Content Too Large");
    EXPECT_EQ(exchange(server.port(), upload()), std::pair(std::string(), End::RESET));
}

TEST(UploadFaults, StallAfterAByteOfTheBodyUntilReleased) {
    SmallServer server("ustall@700");
    RawClient client(server.port());
    client.send(upload());
    server.waitForStalls(1);
    EXPECT_EQ(server.requests()[0].bodySize, 700U);
    server.release();

    EXPECT_EQ(client.receiveAnswer().body, SMALL.sha256());
}

TEST(UploadFaults, AnswerAfterTheBodyWithTheStatusOfTheStep) {
    SmallServer server("503,303:/next");
    RawClient client(server.port());
    client.send(upload() + upload());

    EXPECT_EQ(client.receiveAnswer().statusLine(), "HTTP/1.1 503 Service Unavailable");
    EXPECT_THAT(client.receiveAnswer().header("Location"), Optional<std::string>("/next"));
    EXPECT_EQ(server.requests()[0].bodySha256, server.requests()[1].bodySha256);
}

}  // namespace
}  // namespace tavrin::httpclient_testing

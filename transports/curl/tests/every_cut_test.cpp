#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

class EveryCut : public OnBothRoads {
protected:
    // The whole exchange is cut once, in this way, and must end right with retries and loud
    // without.
    void expectRightOrLoud(const std::string& cut) {
        server_.setPlan(cut + ",ok");
        EXPECT_NE(failureOf([&] { send(loud_, get(server_.url("/bytes/2000"))); }), "") << cut;
        server_.setPlan(cut + ",ok");
        HttpResponse response = send(stubborn_, get(server_.url("/bytes/2000")));
        EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK) << cut;
        EXPECT_TRUE(response.getResponseBodyString() == content_) << cut;
    }

    FaultServer server_;
    const CurlHttpClient loud_{once()};
    const CurlHttpClient stubborn_{stubborn(4)};
    const std::string content_ = server_.content("/bytes/2000").all();
};
ON_BOTH_ROADS(EveryCut);

TEST_P(EveryCut, OfTheHeadByAReset) {
    for (int k = 0; k < 600; ++k) expectRightOrLoud("hbomb:3:150+hrst@" + std::to_string(k));
}

TEST_P(EveryCut, OfTheHeadByAClose) {
    for (int k = 0; k < 600; ++k) expectRightOrLoud("hbomb:3:150+hfin@" + std::to_string(k));
}

TEST_P(EveryCut, OfTheBodyByAReset) {
    for (int k = 0; k < 2000; ++k) expectRightOrLoud("rst@" + std::to_string(k));
}

TEST_P(EveryCut, OfTheBodyByAClose) {
    for (int k = 0; k < 2000; ++k) expectRightOrLoud("fin@" + std::to_string(k));
}

// Nothing is missing then but the end, which a length makes unnecessary.
TEST_P(EveryCut, BehindTheLastByteOfTheBody) {
    for (const char* cut : {"rst@end", "fin@end"}) {
        server_.setPlan(cut);
        server_.forgetRequests();
        HttpResponse response = send(loud_, get(server_.url("/bytes/2000")));
        EXPECT_TRUE(response.getResponseBodyString() == content_) << cut;
        EXPECT_EQ(server_.requests().size(), 1U) << cut;
        expectRightOrLoud("chunked+" + std::string(cut));
    }
}

// There is nothing left to ask for, so the whole is asked for again.
TEST_P(EveryCut, ByTheApplicationWhenAllBytesHaveCome) {
    HttpRequest request = get(server_.url("/bytes/2000"));
    bool failed = false;
    request.setProgressCallback([&](const Progress& progress) {
        if (progress.downloadNow == 2000 && !std::exchange(failed, true))
            throw std::runtime_error("not now");
        return ProgressResult::CONTINUE;
    });

    HttpResponse response = send(stubborn_, std::move(request));

    EXPECT_TRUE(response.getResponseBodyString() == content_);
    ASSERT_EQ(server_.requests().size(), 2U);
    EXPECT_FALSE(server_.requests()[1].header("Range"));
}

TEST_P(EveryCut, OfChunks) {
    for (int k = 0; k < 2000; k += 7) {
        expectRightOrLoud("tchunk@" + std::to_string(k));
        expectRightOrLoud("badchunk@" + std::to_string(k));
    }
}

// Faults that concern resuming, one after the other in every order.
TEST_P(EveryCut, OfTwoAndThreeFaultsInARow) {
    const std::vector<std::string> faults{"fin@700",
                                          "rst@1500",
                                          "503",
                                          "503:ar:b5000",
                                          "416",
                                          "ignorerange",
                                          "ignorerange+fin@900",
                                          "change+fin@300",
                                          "noar206+fin@100",
                                          "wrongrange:+1",
                                          "nocr",
                                          "multirange",
                                          "hfin@50",
                                          "ifrangedrop+fin@50",
                                          "shortrange:5",
                                          "lietotal:-1",
                                          "weaketag+nolm+fin@800",
                                          "noresp"};
    const CurlHttpClient client(stubborn(12));
    int wrong = 0;
    const auto check = [&](const std::string& plan) {
        server_.setPlan(plan + ",ok");
        HttpResponse response = send(client, get(server_.url("/bytes/2000")));
        const bool right = response.getResponseBodyString() == server_.content("/bytes/2000").all();
        EXPECT_TRUE(right) << plan;
        wrong += !right;
    };
    for (const auto& first : faults) {
        for (const auto& second : faults) {
            check(first + "," + second);
            for (const auto& third : faults) check(first + "," + second + "," + third);
            ASSERT_LT(wrong, 10);
        }
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

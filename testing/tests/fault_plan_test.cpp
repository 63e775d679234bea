#include "httpclient_testing/fault_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace tavrin::httpclient_testing {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::Pair;
using testing::ThrowsMessage;

std::vector<std::string> textsOf(const FaultPlan& plan) {
    std::vector<std::string> texts;
    for (const auto& step : plan.steps) texts.push_back(step.text);
    return texts;
}

TEST(FaultPlan, SeparatesStepsByCommasAndFaultsByPlus) {
    const FaultPlan plan("rst@1000,ignorerange+rst@500,ok");

    EXPECT_THAT(textsOf(plan), ElementsAre("rst@1000", "ignorerange+rst@500", "ok"));
    EXPECT_THAT(plan.steps[0].resetAt, Optional(1000U));
    EXPECT_FALSE(plan.steps[0].ignoreRange);
    EXPECT_THAT(plan.steps[1].resetAt, Optional(500U));
    EXPECT_TRUE(plan.steps[1].ignoreRange);
    EXPECT_FALSE(plan.steps[2].resetAt);
}

TEST(FaultPlan, RepeatsAStep) {
    EXPECT_THAT(textsOf("302:/next*3,ok"),
                ElementsAre("302:/next", "302:/next", "302:/next", "ok"));
}

TEST(FaultPlan, IsEmptyForAnEmptyText) { EXPECT_TRUE(FaultPlan("").steps.empty()); }

TEST(FaultPlan, TakesAStepFromCode) {
    FaultStep step;
    step.resetAt = 5;
    const FaultPlan plan(std::vector<FaultStep>{step, FaultStep::parse("503")});

    EXPECT_THAT(textsOf(plan), ElementsAre("ok", "503"));
}

TEST(FaultPlan, NamesAnUnknownFault) {
    for (const std::string word : {"rts", "OK", "", "rst ", "99", "1000", "100"}) {
        EXPECT_THAT([&] { FaultPlan::parse("ok," + word + "+rst@1"); },
                    ThrowsMessage<std::runtime_error>("Unknown fault <" + word + ">"));
    }
}

TEST(FaultPlan, NamesAMalformedFault) {
    for (const std::string text : {"rst",           "rst@",
                                   "rst@x",         "rst@-1",
                                   "rst@1:2",       "ok@1",
                                   "ok:1",          "nolen:1",
                                   "nolen@1",       "drip",
                                   "drip:",         "drip:-5",
                                   "drip@5:5",      "delay:1x",
                                   "hbomb:1",       "hbomb:1:2:3",
                                   "interim",       "interim:x",
                                   "early@1",       "early:413",
                                   "early@1:99",    "early@1:413:x",
                                   "503:x",         "503:b",
                                   "503:ra-1",      "503@5",
                                   "odd:unheardof", "odd",
                                   "badstatus:x",   "noresp:fin",
                                   "header:x",      "header:=x",
                                   "mute:1",        "refused:soon",
                                   "change:x",      "dupcl:x",
                                   "clmore:-1",     "rst@18446744073709551616"}) {
        EXPECT_THAT([&] { FaultStep::parse(text); },
                    ThrowsMessage<std::runtime_error>("Malformed fault <" + text + ">"))
            << text;
    }
}

TEST(FaultPlan, NamesABadNumberOfRepetitions) {
    for (const std::string text : {"ok*0", "ok*", "ok*-1", "ok*1000001", "ok*x"}) {
        EXPECT_THAT([&] { FaultPlan::parse(text); },
                    ThrowsMessage<std::runtime_error>("Malformed fault <" + text + ">"));
    }
}

TEST(FaultStep, ReadsASignAfterAColonAsANumbersSign) {
    EXPECT_EQ(FaultStep::parse("wrongrange:+4096+nocr").rangeShift, 4096);
    EXPECT_TRUE(FaultStep::parse("wrongrange:+4096+nocr").noContentRange);
    EXPECT_EQ(FaultStep::parse("wrongrange:-1").rangeShift, -1);
    EXPECT_EQ(FaultStep::parse("lietotal:+1").totalError, 1);
}

TEST(FaultStep, ReadsTheOptionsOfAStatus) {
    const FaultStep step = FaultStep::parse("503:ar:b5000:ra2");

    EXPECT_EQ(step.status, 503);
    EXPECT_TRUE(step.statusAcceptsRanges);
    EXPECT_THAT(step.statusBodySize, Optional(5000U));
    EXPECT_THAT(step.retryAfter, Optional<std::string>("2"));
    EXPECT_THAT(FaultStep::parse("503:rd2").retryAfterDate, Optional(std::chrono::seconds(2)));
}

TEST(FaultStep, ReadsTheLocationOfARedirect) {
    EXPECT_THAT(FaultStep::parse("302:http://u:p@127.0.0.1:1/x?y=z").locations,
                ElementsAre("http://u:p@127.0.0.1:1/x?y=z"));
    EXPECT_THAT(FaultStep::parse("308:two").locations, ElementsAre("/first", "/second"));
    EXPECT_THAT(FaultStep::parse("303:none").locations, ElementsAre());
    EXPECT_THAT(FaultStep::parse("304").locations, ElementsAre());
    EXPECT_EQ(FaultStep::parse("301:long").locations[0].size(), 200000U);
}

TEST(FaultStep, ReadsHeaders) {
    EXPECT_THAT(FaultStep::parse("header:Set-Cookie=a=1+header:X-Empty=").headers,
                ElementsAre(Pair("Set-Cookie", "a=1"), Pair("X-Empty", "")));
}

TEST(FaultStep, ReadsTheEndAsAPositionBehindEverything) {
    EXPECT_GT(FaultStep::parse("rst@end").resetAt, 1ULL << 62U);
}

TEST(FaultStep, ReadsAnEarlyAnswer) {
    const auto drained = FaultStep::parse("early@100:413").early;
    ASSERT_TRUE(drained);
    EXPECT_EQ(drained->afterBytes, 100U);
    EXPECT_EQ(drained->status, 413);
    EXPECT_FALSE(drained->reset);
    EXPECT_FALSE(FaultStep::parse("early@100:413:drain").early->reset);
    EXPECT_TRUE(FaultStep::parse("early@0:503:rst").early->reset);
}

}  // namespace
}  // namespace tavrin::httpclient_testing

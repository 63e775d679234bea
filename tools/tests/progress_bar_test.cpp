#include "progress_bar.h"

#include <gmock/gmock.h>

namespace tavrin::http_tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(FormatBytes, ChoosesAUnitThatKeepsTheNumberShort) {
    EXPECT_EQ(formatBytes(0), "0 B");
    EXPECT_EQ(formatBytes(1023), "1023 B");
    EXPECT_EQ(formatBytes(1024), "1.0 KiB");
    EXPECT_EQ(formatBytes(64 << 20), "64.0 MiB");
    EXPECT_EQ(formatBytes((1 << 20) - 1), "1.0 MiB");
    EXPECT_EQ(formatBytes(1536LL << 30), "1.5 TiB");
    EXPECT_EQ(formatBytes(INT64_MAX), "8.0 EiB");
}

TEST(FormatDuration, ShowsHoursOnlyWhereThereAreAny) {
    EXPECT_EQ(formatDuration(seconds(0)), "0:00");
    EXPECT_EQ(formatDuration(seconds(61)), "1:01");
    EXPECT_EQ(formatDuration(seconds(3599)), "59:59");
    EXPECT_EQ(formatDuration(seconds(3600 + 120 + 3)), "1:02:03");
}

TEST(PercentDone, IsAHundredOnlyWhenAllIsThere) {
    EXPECT_EQ(percentDone({0, 0, 0, {}}), 0);
    EXPECT_EQ(percentDone({5, 0, 0, {}}), 0);
    EXPECT_EQ(percentDone({999999999, 1000000000, 0, {}}), 99);
    EXPECT_EQ(percentDone({10, 10, 0, {}}), 100);
    EXPECT_EQ(percentDone({11, 10, 0, {}}), 100);
}

TEST(ProgressLine, ShowsLabelBarAndFigures) {
    EXPECT_EQ(
        progressLine("big.iso", {32 << 20, 64 << 20, 1 << 20, seconds(9)}, 100),
        "big.iso  [==================>                  ]   50%    32.0 MiB of   64.0 MiB     "
        "1.0 MiB/s  0:32");
}

TEST(ProgressLine, ShowsTheTimeItTookWhenAllIsThere) {
    EXPECT_EQ(progressLine("f", {1024, 1024, 512, seconds(2)}, 70),
              "f  [=============]  100%     1.0 KiB of    1.0 KiB       512 B/s  0:02");
}

TEST(ProgressLine, ShowsTheElapsedTimeWhereNoTotalIsKnown) {
    EXPECT_EQ(progressLine("f", {2048, 0, 1024, seconds(2)}, 100),
              "f     2.0 KiB     1.0 KiB/s  0:02");
}

TEST(ProgressLine, SaysNothingAboutTheTimeLeftOfATransferThatStands) {
    EXPECT_THAT(progressLine("f", {1, 100, 0, seconds(2)}, 100), ::testing::EndsWith("  --:--"));
}

TEST(ProgressLine, NeverGrowsBeyondTheScreen) {
    for (std::size_t columns = 0; columns < 200; ++columns) {
        const auto line = progressLine(std::string(80, 'n') + ".iso",
                                       {1LL << 50, INT64_MAX, 1e18, seconds(1000000)}, columns);
        EXPECT_LE(line.size(), columns);
    }
}

TEST(ProgressLine, LeavesOutTheMiddleOfALongLabel) {
    const auto line = progressLine("abcdefghijklmnopqrstuvwxyz-ABCDEFGHIJKLMNOPQRSTUVWXYZ",
                                   {0, 0, 0, seconds(0)}, 100);

    EXPECT_THAT(line, ::testing::StartsWith("abcdefghijklmn...LMNOPQRSTUVWXYZ  "));
}

TEST(ProgressLine, CutsBetweenCharacters) {
    std::string label;
    for (int i = 0; i < 50; ++i) label += "ä";

    const auto line = progressLine(label, {0, 0, 0, seconds(0)}, 100);

    std::string expected;
    for (int i = 0; i < 14; ++i) expected += "ä";
    expected += "...";
    for (int i = 0; i < 15; ++i) expected += "ä";
    EXPECT_THAT(line, ::testing::StartsWith(expected + "  "));
}

TEST(SpeedMeter, MeasuresASteadyStream) {
    SpeedMeter meter;
    const SpeedMeter::TimePoint start{};
    for (int i = 0; i <= 50; ++i) meter.note(i * 100LL, start + milliseconds(i * 100));

    EXPECT_NEAR(meter.bytesPerSecond(), 1000, 1e-6);
}

TEST(SpeedMeter, FollowsAChangeWithinSeconds) {
    SpeedMeter meter;
    const SpeedMeter::TimePoint start{};
    for (int i = 0; i <= 50; ++i) meter.note(i * 1000LL, start + milliseconds(i * 100));
    for (int i = 51; i <= 200; ++i) meter.note(50000, start + milliseconds(i * 100));

    EXPECT_LT(meter.bytesPerSecond(), 100);
}

TEST(SpeedMeter, TakesAFreshStartForNoSpeed) {
    SpeedMeter meter;
    const SpeedMeter::TimePoint start{};
    meter.note(1000, start);
    meter.note(0, start + seconds(1));

    EXPECT_EQ(meter.bytesPerSecond(), 0);
}

}  // namespace
}  // namespace tavrin::http_tool

#include "httpclient_core/progress.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <type_traits>

namespace tavrin::httpclient_core {
namespace {

static_assert(std::is_aggregate_v<Progress>);
static_assert(std::is_trivially_copyable_v<Progress>);
static_assert(sizeof(Progress) == 4 * sizeof(std::int64_t), "four counters and nothing else");
static_assert(std::is_same_v<decltype(Progress::downloadTotal), std::int64_t>);
static_assert(std::is_same_v<decltype(Progress::downloadNow), std::int64_t>);
static_assert(std::is_same_v<decltype(Progress::uploadTotal), std::int64_t>);
static_assert(std::is_same_v<decltype(Progress::uploadNow), std::int64_t>);
static_assert(!std::is_convertible_v<ProgressResult, int>, "the enumeration is scoped");
static_assert(static_cast<int>(ProgressResult::CONTINUE) == 0, "as programs are compiled");
static_assert(static_cast<int>(ProgressResult::CANCEL) == 1, "as programs are compiled");
static_assert(
    std::is_same_v<ProgressCallback, std::function<ProgressResult(const Progress& progress)>>);

TEST(Progress, BeginsWithZeros) {
    const Progress progress;

    EXPECT_EQ(progress.downloadTotal, 0);
    EXPECT_EQ(progress.downloadNow, 0);
    EXPECT_EQ(progress.uploadTotal, 0);
    EXPECT_EQ(progress.uploadNow, 0);
}

TEST(Progress, HoldsTheDownloadFirstAndTheTotalBeforeWhatIsDone) {
    const Progress progress{1, 2, INT64_MAX, INT64_MIN};

    EXPECT_EQ(progress.downloadTotal, 1);
    EXPECT_EQ(progress.downloadNow, 2);
    EXPECT_EQ(progress.uploadTotal, INT64_MAX);
    EXPECT_EQ(progress.uploadNow, INT64_MIN);
}

}  // namespace
}  // namespace tavrin::httpclient_core

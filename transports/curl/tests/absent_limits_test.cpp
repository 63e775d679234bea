#include <poll.h>

#include <atomic>
#include <cstdint>
#include <future>

#include "httpclient_testing/black_hole.h"
#include "support.h"
#include "support/clocks_ahead.h"

namespace tavrin::httpclient_curl {
namespace {

using std::chrono::seconds;

// More than any limit that libcurl has of its own accord.
constexpr seconds LONG{400};

class AbsentLimits : public OnBothRoads {
protected:
    // Expects a request for `url` to be still under way long after `reached` has returned and
    // `downloaded` bytes have come.
    template <typename Reached>
    void expectPatience(const CurlHttpClient& client, const std::string& url, Reached reached,
                        std::int64_t downloaded) const {
        std::promise<void> waits;
        int calls = 0;
        std::atomic<bool> later{false};
        HttpRequest request = get(url);
        request.setProgressCallback([&, after = 0](const Progress& progress) mutable {
            if (progress.downloadNow == downloaded && ++calls == 2) waits.set_value();
            // The limits are looked at between one call and the next.
            return later && ++after == 3 ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
        });
        auto outcome = std::async(std::launch::async, [&] {
            const std::string failure =
                failureOf<std::exception>([&] { send(client, std::move(request)); });
            if (calls < 2) waits.set_value();
            return failure;
        });
        reached();
        waits.get_future().wait();
        // The callback's own time counts towards no limit. It has returned when time passes.
        ::poll(nullptr, 0, 20);
        test::putClocksForward(LONG);
        later = true;
        EXPECT_EQ(outcome.get(), "Request cancelled");
    }
};
ON_BOTH_ROADS(AbsentLimits);

// 0, less, and the greatest of all.
constexpr std::int64_t NO_LIMITS[] = {0, -5, INT64_MAX};

TEST_P(AbsentLimits, OfConnecting) {
    for (const std::int64_t none : NO_LIMITS) {
        SCOPED_TRACE(none);
        const httpclient_testing::BlackHole hole;
        expectPatience(
            CurlHttpClient(once().withConnectTimeout(none)), hole.url(), [] {}, 0);
    }
}

TEST_P(AbsentLimits, OfTheAnswer) {
    for (const std::int64_t none : NO_LIMITS) {
        SCOPED_TRACE(none);
        FaultServer server("hstall");
        expectPatience(
            CurlHttpClient(once().withResponseTimeout(none)), server.url("/bytes/100"),
            [&] { server.waitForStalls(1); }, 0);
    }
}

TEST_P(AbsentLimits, OfIdleness) {
    for (const std::int64_t none : NO_LIMITS) {
        SCOPED_TRACE(none);
        FaultServer server("stall@10");
        expectPatience(
            CurlHttpClient(once().withIdleTimeout(none).withIdleSpeed(1)), server.url("/bytes/100"),
            [&] { server.waitForStalls(1); }, 10);
    }
}

TEST_P(AbsentLimits, OfSpeed) {
    for (const long none : {0L, -5L}) {
        SCOPED_TRACE(none);
        FaultServer server("stall@10");
        expectPatience(
            CurlHttpClient(once().withIdleTimeout(300).withIdleSpeed(none)),
            server.url("/bytes/100"), [&] { server.waitForStalls(1); }, 10);
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

#pragma once

#include <atomic>
#include <memory>
#include <unordered_map>
#include <vector>

#include "attempt.h"
#include "easy_handle.h"
#include "job_queue.h"
#include "multi_handle.h"
#include "time_limits.h"

namespace tavrin::httpclient_curl::detail {

// Carries transfers on one thread. It takes them from the engine and gives them back when they have
// ended; nothing of the application's runs here but the streams and callbacks of the transfers
// themselves.
class EventLoop {
public:
    EventLoop(AsyncEngine& engine, const CurlOptions& options);

    // Runs until the engine closes; then every transfer ends with HttpRequestCancelledException.
    void run() noexcept;

    // May be called from any thread.
    void wake() { multi_.wake(); }

    // What the engine notes about this loop, under its own lock: transfers given to it that have
    // not come back, whether it has been woken to fetch more, and when it last came to do so.
    std::size_t carried = 0;
    bool woken = false;
    Clock::time_point fetchedAt = Clock::now();

    // Whether it waits for something to do. May be asked from any thread.
    bool isAsleep() const { return asleep_; }

private:
    struct Transfer {
        // Takes the job last, so that it is not lost if anything before it throws.
        Transfer(AsyncJobPtr& asyncJob, const CurlOptions& options,
                 std::unique_ptr<EasyHandle> handle)
            : attempt(asyncJob->request, asyncJob->response, *asyncJob->logical, options),
              easy(std::move(handle)),
              job(std::move(asyncJob)) {}

        Attempt attempt;
        std::unique_ptr<EasyHandle> easy;
        AsyncJobPtr job;
    };
    using TransferPtr = std::unique_ptr<Transfer>;

    void begin(AsyncJobPtr job);
    void carryOn(TransferPtr transfer, bool more);
    void collectEnded();
    void lookAfterAll();
    void stop(CURL* handle, std::exception_ptr failure);
    void stopAll(const std::exception_ptr& failure);
    void hand();
    std::unique_ptr<EasyHandle> takeHandle();

    AsyncEngine& engine_;
    const CurlOptions& options_;
    MultiHandle multi_;
    std::atomic<bool> asleep_{false};
    WireClock clock_;
    std::unordered_map<CURL*, TransferPtr> transfers_;
    std::vector<std::unique_ptr<EasyHandle>> idleHandles_;
    JobQueue ended_;
    Clock::time_point nextLook_;
};

}  // namespace tavrin::httpclient_curl::detail

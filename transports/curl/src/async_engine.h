#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "async_job.h"
#include "completion_pool.h"
#include "event_loop.h"
#include "settings.h"

namespace tavrin::httpclient_curl::detail {

// Everything asynchronous of a client: the queue, the event loops that empty it, the threads that
// complete what they bring back, and what is remembered of each request from one attempt to the
// next.
class AsyncEngine : public std::enable_shared_from_this<AsyncEngine> {
public:
    AsyncEngine(const CurlOptions& options, SharedSettings settings);
    // shutDown() has been called.
    ~AsyncEngine() = default;

    // Settings for the requests to come. Stores and signals, and never waits.
    void configure(SharedSettings settings);
    SharedSettings settings() const;

    // Puts an attempt into the queue. `begun` is what is to be remembered of a request that begins
    // here, null for one that another attempt may have gone before. Throws
    // HttpRequestCancelledException after shutDown() was called, unless the request's handler could
    // be told so.
    void submit(httpclient_core::HttpRequest request, httpclient_core::HttpResponse response,
                std::uint64_t id, httpclient_core::RetryTask completion,
                std::shared_ptr<LogicalRequest> begun);

    // Cancels everything, completes it and joins the threads.
    void shutDown();
    const std::atomic<bool>& closing() const { return closing_; }

    // For the loops. Fetches what `loop` has room for; false if it is to end.
    bool fetch(EventLoop& loop, std::vector<AsyncJobPtr>& jobs);
    void ended(EventLoop& loop, std::vector<AsyncJobPtr> jobs);

    // For the pool. Runs a job's completion.
    static void complete(AsyncJobPtr job);

private:
    std::shared_ptr<LogicalRequest> remembered(std::uint64_t id,
                                               std::shared_ptr<LogicalRequest> begun);
    void completeAll(std::deque<AsyncJobPtr> jobs, const std::exception_ptr& error);
    void dispatch();
    bool startLoop();
    std::size_t room(const EventLoop& loop) const;
    bool isUsable(std::size_t loop) const {
        return settings_->maxThreads == 0 || loop < settings_->maxThreads;
    }

    const CurlOptions& options_;
    std::atomic<bool> closing_{false};
    mutable std::mutex mutex_;
    SharedSettings settings_;
    std::deque<AsyncJobPtr> queue_;
    std::unordered_map<std::uint64_t, std::shared_ptr<LogicalRequest>> requests_;
    std::vector<std::unique_ptr<EventLoop>> loops_;
    std::vector<std::thread> threads_;
    std::exception_ptr noLoop_;  // why the last loop could not be started
    CompletionPool pool_;
};

// Settings of a request: its own configuration's, else `common`.
SharedSettings settingsFor(const httpclient_core::HttpRequest& request, SharedSettings common);

}  // namespace tavrin::httpclient_curl::detail

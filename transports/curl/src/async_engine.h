#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "completion_pool.h"
#include "event_loop.h"
#include "job_queue.h"
#include "left_thread.h"
#include "settings.h"

namespace tavrin::httpclient_curl::detail {

// Everything asynchronous of a client: the queue, the event loops that empty it, and the threads
// that complete what they bring back.
class AsyncEngine : public std::enable_shared_from_this<AsyncEngine> {
public:
    AsyncEngine(const CurlOptions& options, SharedSettings settings);
    // shutDown() has been called.
    ~AsyncEngine() = default;

    // Settings for the requests to come. Stores and signals, and never waits.
    void configure(SharedSettings settings);
    SharedSettings settings() const;

    // Puts an attempt into the queue. `begun` is what is to be remembered of a request that begins
    // here, null for one that another attempt may have gone before: a completion that calls this
    // for the request it completes. Throws HttpRequestCancelledException after shutDown() was
    // called, unless the request's handler could be told so, and nothing else.
    void submit(httpclient_core::HttpRequest request, httpclient_core::HttpResponse response,
                std::uint64_t id, httpclient_core::RetryTask completion,
                std::shared_ptr<LogicalRequest> begun);

    // Cancels everything, completes it and joins the threads. Called by a transfer's stream or
    // callback on a loop's own thread, it does so for all but that loop, whose transfers end and
    // complete when the application's code has returned; that thread becomes a LeftThread.
    void shutDown();
    const std::atomic<bool>& closing() const { return closing_; }

    // What is cancelled ends with it.
    const std::exception_ptr& cancelled() const { return cancelled_; }

    // For the loops. Fetches what `loop` has room for; false if it is to end.
    bool fetch(EventLoop& loop, JobQueue& jobs) noexcept;
    void ended(EventLoop& loop, JobQueue jobs) noexcept;

    // For the pool. Runs a job's completion.
    static void complete(AsyncJobPtr job);

    // The completion that runs on this thread has come to the application's handler: what is
    // submitted from here on is no further attempt of its request.
    static void handlerBegins() noexcept;

private:
    void completeAll(JobQueue jobs, const std::exception_ptr& error);
    void dispatch();
    bool startLoop();
    void run(EventLoop& loop) noexcept;
    std::size_t room(const EventLoop& loop) const;
    bool isUsable(std::size_t loop) const {
        return settings_->maxThreads == 0 || loop < settings_->maxThreads;
    }

    // Its own, which a loop may read after the client has gone.
    const CurlOptions options_;
    // Made while there is memory: without any, a client still ends.
    const std::exception_ptr cancelled_;
    std::atomic<bool> closing_{false};
    // The client has gone while one of its loops runs on: no completion may turn to it any more.
    std::atomic<bool> orphaned_{false};
    mutable std::mutex mutex_;
    SharedSettings settings_;
    JobQueue queue_;
    std::vector<std::unique_ptr<EventLoop>> loops_;
    std::list<std::thread> threads_;
    std::exception_ptr noLoop_;  // why the last loop could not be started
    CompletionPool pool_;

    // For the loop whose thread shut the engine down, what it has to join, and what keeps the
    // engine alive for it.
    std::unique_ptr<LeftThread> left_ = std::make_unique<LeftThread>();
    std::unique_ptr<LeftThread> leftBefore_;
    std::shared_ptr<AsyncEngine> forLeft_;
};

// Settings of a request: its own configuration's, else `common`.
SharedSettings settingsFor(const httpclient_core::HttpRequest& request, SharedSettings common);

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <list>
#include <memory>
#include <thread>

#include "job_queue.h"

namespace tavrin::httpclient_curl::detail {

// Threads that run completions: retry strategies, which sleep, and handlers, which may block.
// With 32 small requests in flight, waking a thread for each completion takes 9 futex calls and 3
// switches of context a request, instead of 5 and 0.7 if one thread runs them as long as it gets
// on. So more are called or started, twice as many every few milliseconds if need be, as soon as
// completions wait behind others that sleep or block. A thread that found nothing to do for a while
// goes.
class CompletionPool {
public:
    CompletionPool();
    // As close().
    ~CompletionPool();

    // Has the completions run, each on some thread of the pool; on the calling thread if no thread
    // can be had.
    void post(JobQueue jobs) noexcept;

    // Waits until everything posted has run. Not called from a completion.
    void waitUntilIdle();

    // Waits until everything posted has run and joins the threads. Called from a completion, it
    // does so for the others; that completion's own thread becomes a LeftThread.
    void close();

private:
    struct State;

    using Threads = std::list<std::thread>;

    static void work(const std::shared_ptr<State>& state, Threads::iterator self);
    static void watch(const std::shared_ptr<State>& state);
    static bool addThread(const std::shared_ptr<State>& state);
    static bool startWatcher(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
};

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "async_job.h"

namespace tavrin::httpclient_curl::detail {

// Threads that run completions: retry strategies, which sleep, and handlers, which may block. There
// is always one for a completion that waits, so that none delays another; one that found nothing to
// do for a while goes.
class CompletionPool {
public:
    CompletionPool();
    // As close().
    ~CompletionPool();

    // Has the completions run, each on some thread of the pool; on the calling thread if no thread
    // can be had.
    void post(std::vector<AsyncJobPtr> jobs);

    // Waits until everything posted has run and joins the threads. Called from a completion, it
    // does so for the others; that completion's own thread then ends by itself.
    void close();

    // Whether the calling thread belongs to a pool.
    static bool onCompletionThread();

private:
    struct State;

    static void work(const std::shared_ptr<State>& state);
    static bool startThread(const std::shared_ptr<State>& state);

    std::shared_ptr<State> state_;
};

}  // namespace tavrin::httpclient_curl::detail

#include "async_engine.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <future>
#include <limits>
#include <utility>

#include "httpclient_core/exceptions.h"
#include "signal_block.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpResponse;
using httpclient_core::RetryTask;

namespace {

// A loop that has not come back for so long is held up by a stream or callback of the
// application's.
constexpr std::chrono::milliseconds HELD_UP{200};

// The request whose completion runs on this thread. Its next attempt comes from within; a further
// one of the same number is another frame's.
class Completing {
public:
    Completing(const AsyncEngine* engine, std::uint64_t id, std::shared_ptr<LogicalRequest> logical)
        : engine_(engine), id_(id), logical_(std::move(logical)), outer_(current_) {
        current_ = this;
    }
    ~Completing() { current_ = outer_; }
    Completing(const Completing&) = delete;
    Completing& operator=(const Completing&) = delete;

    static std::shared_ptr<LogicalRequest> next(const AsyncEngine* engine, std::uint64_t id) {
        if (current_ == nullptr || current_->engine_ != engine || current_->id_ != id)
            return nullptr;
        return std::move(current_->logical_);
    }

    static void noFurtherAttempt() noexcept {
        if (current_ != nullptr) current_->logical_.reset();
    }

private:
    static thread_local Completing* current_;

    const AsyncEngine* const engine_;
    const std::uint64_t id_;
    std::shared_ptr<LogicalRequest> logical_;
    Completing* const outer_;
};

thread_local Completing* Completing::current_ = nullptr;

}  // namespace

SharedSettings settingsFor(const HttpRequest& request, SharedSettings common) {
    if (!request.hasClientConfiguration()) return common;
    return std::make_shared<const Settings>(request.getClientConfiguration());
}

AsyncEngine::AsyncEngine(const CurlOptions& options, SharedSettings settings)
    : options_(options),
      cancelled_(std::make_exception_ptr(HttpRequestCancelledException())),
      settings_(std::move(settings)) {}

SharedSettings AsyncEngine::settings() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return settings_;
}

void AsyncEngine::configure(SharedSettings settings) {
    const std::lock_guard<std::mutex> lock(mutex_);
    settings_ = std::move(settings);
    dispatch();
}

void AsyncEngine::submit(HttpRequest request, HttpResponse response, std::uint64_t id,
                         RetryTask completion, std::shared_ptr<LogicalRequest> begun) {
    const bool begins = begun != nullptr;
    std::shared_ptr<LogicalRequest> logical =
        begins ? std::move(begun) : Completing::next(this, id);
    JobQueue stranded;
    std::exception_ptr noLoop;
    bool goesOn = false;
    try {
        if (logical == nullptr) {
            logical = std::make_shared<LogicalRequest>();
            logical->alone = true;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        goesOn = !closing_;
        if (goesOn) {
            if (logical->settings == nullptr) logical->settings = settingsFor(request, settings_);
            queue_.push(std::make_unique<AsyncJob>(std::move(request), std::move(response), id,
                                                   std::move(completion), logical,
                                                   shared_from_this()));
            dispatch();
            if (!loops_.empty()) return;
            stranded.append(std::move(queue_));
            noLoop = noLoop_;
        }
    } catch (const std::exception&) {
        // There is no memory for the job, which therefore has taken nothing yet.
        // cppcheck-suppress accessMoved
        completion(std::move(request), std::move(response), std::current_exception());
        return;
    }
    if (goesOn) {
        completeAll(std::move(stranded), noLoop);
        return;
    }
    // The strategy wants what the client's end has cancelled. Asking it again might never end, so
    // the handler is told without it.
    if (begins || !logical->handler) std::rethrow_exception(cancelled_);
    // NOLINTNEXTLINE(bugprone-use-after-move)
    (*logical->handler)(std::move(request), std::move(response), std::exception_ptr(cancelled_));
}

// Hands jobs that no loop has carried to the pool.
void AsyncEngine::completeAll(JobQueue jobs, const std::exception_ptr& error) {
    jobs.setError(error);
    pool_.post(std::move(jobs));
}

std::size_t AsyncEngine::room(const EventLoop& loop) const {
    const std::size_t most = settings_->maxRequestsPerThread;
    if (most == 0) return std::numeric_limits<std::size_t>::max();
    return loop.carried < most ? most - loop.carried : 0;
}

// Sees to it that the queue's first job is fetched, if any loop may. With the lock held.
void AsyncEngine::dispatch() {
    if (queue_.empty() || closing_) return;
    const Clock::time_point longAgo = Clock::now() - HELD_UP;
    std::size_t left = queue_.size();
    EventLoop* roomiest = nullptr;
    std::pair<bool, std::size_t> least;
    for (std::size_t i = 0; i < loops_.size() && isUsable(i); ++i) {
        EventLoop& loop = *loops_[i];
        const std::size_t free = room(loop);
        if (free == 0) continue;
        const bool heldUp = !loop.isAsleep() && loop.fetchedAt < longAgo;
        if (!heldUp) left -= std::min(left, free);
        const std::pair burden(heldUp, loop.carried);
        if (!loop.woken && (roomiest == nullptr || burden < least)) {
            roomiest = &loop;
            least = burden;
        }
    }
    if (left > 0 && isUsable(loops_.size()) && startLoop()) return;
    if (roomiest != nullptr) {
        roomiest->woken = true;
        roomiest->wake();
    }
}

// With the lock held.
bool AsyncEngine::startLoop() {
    const SignalBlock block;
    try {
        loops_.reserve(loops_.size() + 1);
        auto loop = std::make_unique<EventLoop>(*this, options_);
        loop->woken = true;
        threads_.emplace_back([this, raw = loop.get()] { run(*raw); });
        loops_.push_back(std::move(loop));
        return true;
    } catch (const std::exception&) {
        noLoop_ = std::current_exception();
        return false;  // the loops that are there will come to it
    }
}

void AsyncEngine::run(EventLoop& loop) noexcept {
    loop.run();
    if (!orphaned_) return;
    std::shared_ptr<AsyncEngine> self = std::move(forLeft_);
    std::unique_ptr<LeftThread> before = std::move(leftBefore_);
    pool_.close();
    self.reset();
    LeftThread::join(std::move(before));
}

bool AsyncEngine::fetch(EventLoop& loop, JobQueue& jobs) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    loop.woken = false;
    loop.fetchedAt = Clock::now();
    if (closing_) return false;
    bool usable = false;
    for (std::size_t i = 0; i < loops_.size() && isUsable(i); ++i)
        usable = usable || loops_[i].get() == &loop;
    while (usable && !queue_.empty() && room(loop) > 0) {
        ++loop.carried;
        jobs.push(queue_.pop());
    }
    dispatch();
    return true;
}

void AsyncEngine::ended(EventLoop& loop, JobQueue jobs) noexcept {
    if (jobs.empty()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        loop.carried -= jobs.size();
    }
    pool_.post(std::move(jobs));
}

void AsyncEngine::complete(AsyncJobPtr job) {
    // It lives until the completion has run.
    const std::shared_ptr<AsyncEngine> engine = std::move(job->engine);
    const std::shared_ptr<LogicalRequest> logical = job->logical;
    if (engine->orphaned_) {
        logical->cancelled = true;
        job->error = engine->cancelled_;
    }
    if (logical->cancelled && logical->handler) {
        // Not by way of the strategy, which might sleep before it lets the application know.
        (*logical->handler)(std::move(job->request), std::move(job->response),
                            std::move(job->error));
    } else {
        // Nothing tells where the handler of another frame's request begins, and a request that
        // this makes by a third frame may have the same number: each of its attempts stands for
        // itself.
        const bool ownFrame = logical->handler.has_value();
        const Completing completing(engine.get(), job->id, ownFrame ? logical : nullptr);
        try {
            job->completion(std::move(job->request), std::move(job->response),
                            std::move(job->error));
        } catch (const std::future_error&) {
            // A task that had run before, or none: there is nobody to tell.
        }
    }
    job.reset();
}

void AsyncEngine::handlerBegins() noexcept { Completing::noFurtherAttempt(); }

void AsyncEngine::shutDown() {
    JobQueue waiting;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closing_ = true;
        waiting.append(std::move(queue_));
        for (const auto& loop : loops_) loop->wake();
    }
    // First, since a loop may be held up by a stream of the application's.
    completeAll(std::move(waiting), cancelled_);
    std::thread self = LeftThread::joinOthers(threads_);
    if (!self.joinable()) {
        pool_.close();
        return;
    }
    orphaned_ = true;
    pool_.waitUntilIdle();  // some completions have turned to the client before
    forLeft_ = shared_from_this();
    leftBefore_ = LeftThread::leave(std::move(left_), std::move(self));
}

}  // namespace tavrin::httpclient_curl::detail

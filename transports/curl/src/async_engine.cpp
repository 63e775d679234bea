#include "async_engine.h"

#include <algorithm>
#include <exception>
#include <future>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

#include "httpclient_core/exceptions.h"
#include "signal_block.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpResponse;
using httpclient_core::RetryTask;

SharedSettings settingsFor(const HttpRequest& request, SharedSettings common) {
    if (!request.hasClientConfiguration()) return common;
    return std::make_shared<const Settings>(request.getClientConfiguration());
}

AsyncEngine::AsyncEngine(const CurlOptions& options, SharedSettings settings)
    : options_(options), settings_(std::move(settings)) {}

SharedSettings AsyncEngine::settings() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return settings_;
}

void AsyncEngine::configure(SharedSettings settings) {
    const std::lock_guard<std::mutex> lock(mutex_);
    settings_ = std::move(settings);
    dispatch();
}

// With the lock held.
std::shared_ptr<LogicalRequest> AsyncEngine::remembered(std::uint64_t id,
                                                        std::shared_ptr<LogicalRequest> begun) {
    auto& known = requests_[id];
    if (begun == nullptr && known != nullptr && !known->underWay) return known;
    // A client that wraps this one counts its requests itself, and may come upon a number that is
    // in use.
    const bool taken = known != nullptr;
    if (begun == nullptr) begun = std::make_shared<LogicalRequest>();
    if (!taken) known = begun;
    return begun;
}

void AsyncEngine::submit(HttpRequest request, HttpResponse response, std::uint64_t id,
                         RetryTask completion, std::shared_ptr<LogicalRequest> begun) {
    std::shared_ptr<LogicalRequest> logical;
    std::optional<std::deque<AsyncJobPtr>> stranded;
    std::exception_ptr noLoop;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!closing_) {
            logical = remembered(id, std::move(begun));
            if (logical->settings == nullptr) logical->settings = settingsFor(request, settings_);
        } else if (begun == nullptr && requests_.count(id) != 0) {
            logical = requests_[id];
        }
        const bool goesOn = !closing_ && !(logical->cancelled && logical->handler);
        if (goesOn) {
            logical->underWay = true;
            ++logical->begun;
            queue_.push_back(std::make_unique<AsyncJob>(std::move(request), std::move(response), id,
                                                        std::move(completion), logical,
                                                        shared_from_this()));
            dispatch();
            if (!loops_.empty()) return;
            stranded.emplace().swap(queue_);
            noLoop = noLoop_;
        }
    }
    if (stranded) {
        completeAll(std::move(*stranded), noLoop);
        return;
    }
    // The strategy wants what the application, or the client's end, has cancelled. Asking it again
    // might never end, so the handler is told without it.
    if (logical == nullptr || !logical->handler) throw HttpRequestCancelledException();
    // A job that was queued has returned above, from the queue or as a stranded one.
    // NOLINTNEXTLINE(bugprone-use-after-move)
    (*logical->handler)(std::move(request), std::move(response),
                        std::make_exception_ptr(HttpRequestCancelledException()));
}

// Hands jobs that no loop has carried to the pool.
void AsyncEngine::completeAll(std::deque<AsyncJobPtr> jobs, const std::exception_ptr& error) {
    if (jobs.empty()) return;
    for (auto& job : jobs) job->error = error;
    pool_.post({std::make_move_iterator(jobs.begin()), std::make_move_iterator(jobs.end())});
}

std::size_t AsyncEngine::room(const EventLoop& loop) const {
    const std::size_t most = settings_->maxRequestsPerThread;
    if (most == 0) return std::numeric_limits<std::size_t>::max();
    return loop.carried < most ? most - loop.carried : 0;
}

// Sees to it that the queue's first job is fetched, if any loop may. With the lock held.
void AsyncEngine::dispatch() {
    if (queue_.empty() || closing_) return;
    std::size_t left = queue_.size();
    EventLoop* roomiest = nullptr;
    for (std::size_t i = 0; i < loops_.size() && isUsable(i); ++i) {
        EventLoop& loop = *loops_[i];
        const std::size_t free = room(loop);
        if (free == 0) continue;
        left -= std::min(left, free);
        if (!loop.woken && (roomiest == nullptr || loop.carried < roomiest->carried))
            roomiest = &loop;
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
        threads_.reserve(threads_.size() + 1);
        loops_.reserve(loops_.size() + 1);
        auto loop = std::make_unique<EventLoop>(*this, options_);
        loop->woken = true;
        threads_.emplace_back([raw = loop.get()] { raw->run(); });
        loops_.push_back(std::move(loop));
        return true;
    } catch (const std::exception&) {
        noLoop_ = std::current_exception();
        return false;  // the loops that are there will come to it
    }
}

bool AsyncEngine::fetch(EventLoop& loop, std::vector<AsyncJobPtr>& jobs) {
    const std::lock_guard<std::mutex> lock(mutex_);
    loop.woken = false;
    if (closing_) return false;
    bool usable = false;
    for (std::size_t i = 0; i < loops_.size() && isUsable(i); ++i)
        usable = usable || loops_[i].get() == &loop;
    while (usable && !queue_.empty() && room(loop) > 0) {
        ++loop.carried;
        jobs.push_back(std::move(queue_.front()));
        queue_.pop_front();
    }
    dispatch();
    return true;
}

void AsyncEngine::ended(EventLoop& loop, std::vector<AsyncJobPtr> jobs) {
    if (jobs.empty()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        loop.carried -= jobs.size();
    }
    pool_.post(std::move(jobs));
}

void AsyncEngine::complete(AsyncJobPtr job) {
    const std::shared_ptr<AsyncEngine> engine = std::move(job->engine);
    const std::shared_ptr<LogicalRequest> logical = job->logical;
    const std::uint64_t id = job->id;
    const std::uint64_t begun = logical->begun;
    logical->underWay = false;
    try {
        job->completion(std::move(job->request), std::move(job->response), std::move(job->error));
    } catch (const std::future_error&) {
        // A task that had run before, or none: there is nobody to tell.
    }
    job.reset();
    const std::lock_guard<std::mutex> lock(engine->mutex_);
    if (logical->begun != begun) return;  // a further attempt is on its way
    const auto known = engine->requests_.find(id);
    if (known != engine->requests_.end() && known->second == logical)
        engine->requests_.erase(known);
}

void AsyncEngine::shutDown() {
    std::deque<AsyncJobPtr> waiting;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        closing_ = true;
        waiting.swap(queue_);
        for (const auto& loop : loops_) loop->wake();
    }
    for (auto& thread : threads_) thread.join();
    completeAll(std::move(waiting), std::make_exception_ptr(HttpRequestCancelledException()));
    pool_.close();
}

}  // namespace tavrin::httpclient_curl::detail

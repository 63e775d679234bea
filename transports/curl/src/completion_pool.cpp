#include "completion_pool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <utility>

#include "async_engine.h"
#include "client_thread.h"
#include "left_thread.h"
#include "signal_block.h"

namespace tavrin::httpclient_curl::detail {
namespace {

constexpr std::chrono::seconds IDLE_TIME{2};

// A completion that takes longer counts as one that sleeps or blocks.
constexpr std::chrono::milliseconds ROUND{1};

// Completions for which there is no thread. Each may come back with its request's next attempt, so
// they are run one after another, however many, and not one within the other.
void completeHere(JobQueue orphans) {
    static thread_local JobQueue* waiting = nullptr;
    if (orphans.empty()) return;
    if (waiting != nullptr) {
        waiting->append(std::move(orphans));
        return;
    }
    waiting = &orphans;
    while (!orphans.empty()) AsyncEngine::complete(orphans.pop());
    waiting = nullptr;
}

}  // namespace

struct CompletionPool::State {
    std::mutex mutex;
    std::condition_variable called;
    std::condition_variable wanted;
    std::condition_variable idle;
    JobQueue queue;
    std::uint64_t posted = 0;
    std::uint64_t taken = 0;
    bool closing = false;
    bool closed = false;
    Threads threads;
    Threads ended;
    std::thread watcher;
    bool watching = false;

    // For the thread that closes the pool, if it is one of its own, and what it has to join.
    std::unique_ptr<LeftThread> left = std::make_unique<LeftThread>();
    std::unique_ptr<LeftThread> leftBefore;

    // Threads that sleep until they are called, calls that none of them has heard yet, and threads
    // that run a completion; what remains of all threads is about to take one.
    std::size_t asleep = 0;
    std::size_t calls = 0;
    std::size_t running = 0;
    // The watcher's rounds, and how many running completions were taken in this one.
    std::uint64_t round = 0;
    std::size_t fresh = 0;

    std::size_t free() const { return threads.size() - asleep - running; }
    std::size_t gettingOn() const { return free() + fresh; }
    bool isCrowded() const { return queue.size() > free(); }
};

CompletionPool::CompletionPool() : state_(std::make_shared<State>()) {}

CompletionPool::~CompletionPool() { close(); }

void CompletionPool::post(JobQueue jobs) noexcept {
    Threads ended;
    JobQueue orphans;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->posted += jobs.size();
        state_->queue.append(std::move(jobs));
        if (state_->gettingOn() == 0) addThread(state_);
        if (state_->isCrowded() && !startWatcher(state_)) {
            while (state_->isCrowded() && addThread(state_)) continue;
        }
        if (state_->threads.empty()) orphans.append(std::move(state_->queue));
        ended.swap(state_->ended);
    }
    for (auto& thread : ended) thread.join();
    completeHere(std::move(orphans));
}

// Calls one that sleeps, else starts one. With the lock held.
bool CompletionPool::addThread(const std::shared_ptr<State>& state) {
    if (state->asleep > 0) {
        --state->asleep;
        ++state->calls;
        state->called.notify_one();
        return true;
    }
    const SignalBlock block;
    Threads added;
    try {
        added.emplace_back();
        added.back() = std::thread([state, self = added.begin()] { work(state, self); });
    } catch (const std::exception&) {
        return false;  // those that are there will come to it
    }
    state->threads.splice(state->threads.end(), added);
    return true;
}

// With the lock held.
bool CompletionPool::startWatcher(const std::shared_ptr<State>& state) {
    if (state->watching) return true;
    if (state->watcher.joinable()) {
        state->wanted.notify_one();
    } else {
        const SignalBlock block;
        try {
            state->watcher = std::thread([state] { watch(state); });
        } catch (const std::exception&) {
            return false;
        }
    }
    state->watching = true;
    return true;
}

void CompletionPool::work(const std::shared_ptr<State>& state, Threads::iterator self) {
    markAsClientThread();
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        if (!state->queue.empty()) {
            AsyncJobPtr job = state->queue.pop();
            ++state->taken;
            ++state->running;
            ++state->fresh;
            const std::uint64_t round = state->round;
            lock.unlock();
            AsyncEngine::complete(std::move(job));
            lock.lock();
            --state->running;
            if (round == state->round) --state->fresh;
            continue;
        }
        if (state->running == 0) state->idle.notify_all();
        if (state->closing) break;
        ++state->asleep;
        state->called.wait_for(lock, IDLE_TIME, [&] { return state->calls > 0 || state->closing; });
        if (state->calls > 0) {
            --state->calls;
        } else {
            --state->asleep;
            if (!state->closing) break;
        }
    }
    if (state->closed) {  // close() takes care of it
        std::unique_ptr<LeftThread> before = std::move(state->leftBefore);
        lock.unlock();
        LeftThread::join(std::move(before));
        return;
    }
    state->ended.splice(state->ended.end(), state->threads, self);
}

// Adds threads while completions wait for a whole round: as many again in each further round that
// finds every thread held up, and no more than there are processors while some get on. It goes on
// until nothing was posted for a round, since waking it for each post would cost as much as waking
// a thread.
void CompletionPool::watch(const std::shared_ptr<State>& state) {
    const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
    std::size_t growth = 1;
    std::uint64_t target = 0;
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        if (!state->isCrowded()) {
            // From here on every completion that waits has a thread that comes to it.
            if (state->closing) return;
            growth = 1;
            if (state->posted == target) {
                state->watching = false;
                state->wanted.wait(lock, [&] { return state->watching || state->closing; });
                continue;
            }
        }
        ++state->round;
        state->fresh = 0;
        target = state->posted;
        state->wanted.wait_for(lock, ROUND, [&] { return state->closing && !state->isCrowded(); });
        if (state->taken >= target || !state->isCrowded()) continue;
        std::size_t more = state->gettingOn() < processors ? 1 : 0;
        if (state->gettingOn() == 0) {
            more = growth;
            growth *= 2;
        } else {
            growth = 1;
        }
        for (more = std::min(more, state->queue.size()); more > 0; --more) {
            if (!addThread(state)) break;
        }
    }
}

void CompletionPool::waitUntilIdle() {
    std::unique_lock<std::mutex> lock(state_->mutex);
    state_->idle.wait(lock, [this] { return state_->queue.empty() && state_->running == 0; });
}

void CompletionPool::close() {
    std::thread watcher;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->closing = true;
        watcher.swap(state_->watcher);
    }
    // As long as completions wait there may have to be more threads.
    state_->wanted.notify_one();
    if (watcher.joinable()) watcher.join();
    Threads threads;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->closed = true;
        threads.swap(state_->threads);
        threads.splice(threads.end(), state_->ended);
    }
    state_->called.notify_all();
    std::thread self = LeftThread::joinOthers(threads);
    if (self.joinable())
        state_->leftBefore = LeftThread::leave(std::move(state_->left), std::move(self));
}

}  // namespace tavrin::httpclient_curl::detail

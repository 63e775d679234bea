#include "completion_pool.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "async_engine.h"
#include "signal_block.h"

namespace tavrin::httpclient_curl::detail {
namespace {

constexpr std::chrono::seconds IDLE_TIME{2};

// A completion that takes longer counts as one that sleeps or blocks.
constexpr std::chrono::milliseconds ROUND{1};

thread_local bool completionThread = false;

}  // namespace

struct CompletionPool::State {
    std::mutex mutex;
    std::condition_variable ready;
    std::condition_variable crowded;
    std::deque<AsyncJobPtr> queue;
    std::uint64_t posted = 0;
    std::uint64_t taken = 0;
    bool closing = false;
    std::map<std::thread::id, std::thread> threads;
    std::vector<std::thread> ended;
    std::thread watcher;

    // Threads that wait for work, and threads that run a completion; what remains of all threads is
    // about to take one.
    std::size_t idle = 0;
    std::size_t running = 0;
    // The watcher's rounds, and how many running completions were taken in this one.
    std::uint64_t round = 0;
    std::size_t fresh = 0;

    std::size_t free() const { return threads.size() - running; }
    bool isCrowded() const { return queue.size() > free(); }
};

CompletionPool::CompletionPool() : state_(std::make_shared<State>()) {}

CompletionPool::~CompletionPool() { close(); }

bool CompletionPool::onCompletionThread() { return completionThread; }

void CompletionPool::post(std::vector<AsyncJobPtr> jobs) {
    std::vector<std::thread> ended;
    std::deque<AsyncJobPtr> orphans;
    std::size_t wanted = 0;
    bool crowded = false;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        for (auto& job : jobs) state_->queue.push_back(std::move(job));
        state_->posted += jobs.size();
        wanted = std::min(jobs.size(), state_->idle);
        if (state_->isCrowded()) startThread(state_);
        crowded = state_->isCrowded();
        if (crowded && !startWatcher(state_)) {
            while (state_->isCrowded() && startThread(state_)) continue;
        }
        if (state_->threads.empty()) orphans.swap(state_->queue);
        ended.swap(state_->ended);
    }
    for (; wanted > 0; --wanted) state_->ready.notify_one();
    if (crowded) state_->crowded.notify_one();
    for (auto& thread : ended) thread.join();
    for (auto& job : orphans) AsyncEngine::complete(std::move(job));
}

// With the lock held.
bool CompletionPool::startThread(const std::shared_ptr<State>& state) {
    const SignalBlock block;
    try {
        std::thread thread([state] { work(state); });
        const std::thread::id id = thread.get_id();
        state->threads.emplace(id, std::move(thread));
        return true;
    } catch (const std::system_error&) {
        return false;  // those that are there will come to it
    }
}

// With the lock held.
bool CompletionPool::startWatcher(const std::shared_ptr<State>& state) {
    if (state->watcher.joinable()) return true;
    const SignalBlock block;
    try {
        state->watcher = std::thread([state] { watch(state); });
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

void CompletionPool::work(const std::shared_ptr<State>& state) {
    completionThread = true;
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        if (!state->queue.empty()) {
            AsyncJobPtr job = std::move(state->queue.front());
            state->queue.pop_front();
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
        if (state->closing) break;
        ++state->idle;
        const bool called = state->ready.wait_for(
            lock, IDLE_TIME, [&] { return !state->queue.empty() || state->closing; });
        --state->idle;
        if (!called) break;
    }
    const auto self = state->threads.find(std::this_thread::get_id());
    if (self == state->threads.end()) return;  // close() takes care of it
    state->ended.push_back(std::move(self->second));
    state->threads.erase(self);
}

// Adds threads while completions wait for a whole round: as many again in each further round that
// finds every thread held up, and no more than there are processors while some get on.
void CompletionPool::watch(const std::shared_ptr<State>& state) {
    const std::size_t processors = std::max(1U, std::thread::hardware_concurrency());
    std::size_t growth = 1;
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        if (!state->isCrowded()) {
            // From here on every completion that waits has a thread that comes to it.
            if (state->closing) return;
            growth = 1;
            state->crowded.wait(lock, [&] { return state->isCrowded() || state->closing; });
            continue;
        }
        ++state->round;
        state->fresh = 0;
        const std::uint64_t target = state->posted;
        state->crowded.wait_for(lock, ROUND, [&] { return state->closing && !state->isCrowded(); });
        if (state->taken >= target || !state->isCrowded()) continue;
        const std::size_t heldUp = state->running - state->fresh;
        const std::size_t gettingOn = state->threads.size() - heldUp;
        std::size_t more = gettingOn < processors ? 1 : 0;
        if (gettingOn == 0) {
            more = growth;
            growth *= 2;
        } else {
            growth = 1;
        }
        for (more = std::min(more, state->queue.size()); more > 0; --more) {
            if (!startThread(state)) break;
        }
    }
}

void CompletionPool::close() {
    std::thread watcher;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->closing = true;
        watcher.swap(state_->watcher);
    }
    // As long as completions wait there may have to be more threads.
    state_->crowded.notify_one();
    if (watcher.joinable()) watcher.join();
    std::map<std::thread::id, std::thread> threads;
    std::vector<std::thread> ended;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        threads.swap(state_->threads);
        ended.swap(state_->ended);
    }
    state_->ready.notify_all();
    for (auto& thread : ended) thread.join();
    for (auto& [id, thread] : threads) {
        if (id == std::this_thread::get_id()) {
            thread.detach();
        } else {
            thread.join();
        }
    }
}

}  // namespace tavrin::httpclient_curl::detail

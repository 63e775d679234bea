#include "completion_pool.h"

#include <chrono>
#include <condition_variable>
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

thread_local bool completionThread = false;

}  // namespace

struct CompletionPool::State {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<AsyncJobPtr> queue;
    std::size_t idle = 0;
    bool closing = false;
    std::map<std::thread::id, std::thread> threads;
    std::vector<std::thread> ended;
};

CompletionPool::CompletionPool() : state_(std::make_shared<State>()) {}

CompletionPool::~CompletionPool() { close(); }

bool CompletionPool::onCompletionThread() { return completionThread; }

void CompletionPool::post(std::vector<AsyncJobPtr> jobs) {
    std::vector<std::thread> ended;
    std::deque<AsyncJobPtr> orphans;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        for (auto& job : jobs) state_->queue.push_back(std::move(job));
        for (std::size_t waiting = state_->queue.size(); waiting > state_->idle; --waiting) {
            if (!startThread(state_)) break;
        }
        if (state_->threads.empty()) orphans.swap(state_->queue);
        ended.swap(state_->ended);
    }
    if (jobs.size() == 1) {
        state_->ready.notify_one();
    } else {
        state_->ready.notify_all();
    }
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

void CompletionPool::work(const std::shared_ptr<State>& state) {
    completionThread = true;
    std::unique_lock<std::mutex> lock(state->mutex);
    for (;;) {
        if (!state->queue.empty()) {
            AsyncJobPtr job = std::move(state->queue.front());
            state->queue.pop_front();
            lock.unlock();
            AsyncEngine::complete(std::move(job));
            lock.lock();
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

void CompletionPool::close() {
    std::map<std::thread::id, std::thread> threads;
    std::vector<std::thread> ended;
    {
        const std::lock_guard<std::mutex> lock(state_->mutex);
        state_->closing = true;
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

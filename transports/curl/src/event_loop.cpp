#include "event_loop.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "async_engine.h"
#include "client_thread.h"
#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_curl::detail {
namespace {

// No wake-up should ever be lost, but if one is, what it was for comes so late and no later.
constexpr std::chrono::seconds UNTIL_WOKEN{10};

// With one handle to a transfer, more than these lie idle only after a limit was lowered.
constexpr std::size_t MOST_IDLE_HANDLES = 64;

}  // namespace

EventLoop::EventLoop(AsyncEngine& engine, const CurlOptions& options)
    : engine_(engine), options_(options) {
    idleHandles_.reserve(MOST_IDLE_HANDLES);
}

void EventLoop::run() noexcept {
    markAsClientThread();
    JobQueue fresh;
    while (engine_.fetch(*this, fresh)) {
        asleep_ = false;
        try {
            while (!fresh.empty()) begin(fresh.pop());
            if (!transfers_.empty()) {
                multi_.perform();
                collectEnded();
                if (Clock::now() >= nextLook_) lookAfterAll();
            }
            if (!ended_.empty()) {
                hand();
                continue;  // there is room for more
            }
            asleep_ = true;
            multi_.wait(transfers_.empty() ? UNTIL_WOKEN : nextLook_ - Clock::now());
        } catch (...) {
            stopAll(std::current_exception());
        }
    }
    stopAll(engine_.cancelled());
}

void EventLoop::begin(AsyncJobPtr job) {
    TransferPtr transfer;
    try {
        transfer = std::make_unique<Transfer>(job, options_, takeHandle());
    } catch (...) {
        job->error = std::current_exception();
        ended_.push(std::move(job));
        return;
    }
    const bool more = transfer->attempt.start(*transfer->easy, clock_);
    carryOn(std::move(transfer), more);
}

void EventLoop::carryOn(TransferPtr transfer, bool more) {
    if (more) {
        CURL* const handle = transfer->easy->get();
        try {
            TransferPtr& place = transfers_[handle];
            multi_.add(handle);
            place = std::move(transfer);
            nextLook_ = Clock::time_point();
            return;
        } catch (...) {
            transfers_.erase(handle);
            transfer->attempt.fail(std::current_exception());
            transfer->attempt.exchangeStopped();
        }
    }
    transfer->job->error = transfer->attempt.failure();
    if (transfer->easy->isUsable() && idleHandles_.size() < MOST_IDLE_HANDLES)
        idleHandles_.push_back(std::move(transfer->easy));
    ended_.push(std::move(transfer->job));
}

std::unique_ptr<EasyHandle> EventLoop::takeHandle() {
    if (idleHandles_.empty()) return std::make_unique<EasyHandle>(options_, multi_.sockets());
    std::unique_ptr<EasyHandle> handle = std::move(idleHandles_.back());
    idleHandles_.pop_back();
    return handle;
}

void EventLoop::collectEnded() {
    CURLcode code = CURLE_OK;
    while (CURL* const handle = multi_.ended(code)) {
        multi_.remove(handle);
        TransferPtr transfer = std::move(transfers_[handle]);
        transfers_.erase(handle);
        const bool more = transfer->attempt.exchangeEnded(code);
        carryOn(std::move(transfer), more);
    }
}

void EventLoop::lookAfterAll() {
    Clock::duration patience = std::chrono::hours(1);
    std::vector<CURL*> stopped;
    for (const auto& [handle, transfer] : transfers_) {
        if (transfer->attempt.keepsGoing()) {
            patience = std::min(patience, transfer->attempt.patience());
        } else {
            stopped.push_back(handle);
        }
    }
    for (CURL* const handle : stopped) stop(handle, nullptr);
    nextLook_ = Clock::now() + patience;
}

// With its own failure, if none is given.
void EventLoop::stop(CURL* handle, std::exception_ptr failure) {
    multi_.remove(handle);
    TransferPtr transfer = std::move(transfers_[handle]);
    transfers_.erase(handle);
    if (failure != nullptr) transfer->attempt.fail(std::move(failure));
    transfer->attempt.exchangeStopped();
    carryOn(std::move(transfer), false);
}

void EventLoop::stopAll(const std::exception_ptr& failure) {
    while (!transfers_.empty()) stop(transfers_.begin()->first, failure);
    hand();
}

void EventLoop::hand() { engine_.ended(*this, std::move(ended_)); }

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <cstddef>
#include <exception>
#include <utility>

#include "async_job.h"

namespace tavrin::httpclient_curl::detail {

// Jobs, first in, first out. They are linked to one another, so that none is ever lost or held up
// because there is no memory for its place in a queue.
class JobQueue {
public:
    JobQueue() = default;
    JobQueue(JobQueue&& other) noexcept { append(std::move(other)); }
    JobQueue(const JobQueue&) = delete;
    JobQueue& operator=(const JobQueue&) = delete;
    JobQueue& operator=(JobQueue&&) = delete;
    // One by one: a chain that destroyed itself would need a stack as deep as it is long.
    ~JobQueue() {
        while (!empty()) pop();
    }

    bool empty() const noexcept { return first_ == nullptr; }
    std::size_t size() const noexcept { return size_; }

    void push(AsyncJobPtr job) noexcept {
        AsyncJobPtr& place = empty() ? first_ : last_->next;
        place = std::move(job);
        last_ = place.get();
        ++size_;
    }

    AsyncJobPtr pop() noexcept {
        AsyncJobPtr job = std::move(first_);
        first_ = std::move(job->next);
        --size_;
        return job;
    }

    // All of `other`, which is empty afterwards.
    void append(JobQueue&& other) noexcept {
        if (other.empty()) return;
        (empty() ? first_ : last_->next) = std::move(other.first_);
        last_ = other.last_;
        size_ += std::exchange(other.size_, 0);
    }

    // Has each of them end with `error`.
    void setError(const std::exception_ptr& error) noexcept {
        for (AsyncJob* job = first_.get(); job != nullptr; job = job->next.get())
            job->error = error;
    }

private:
    AsyncJobPtr first_;
    AsyncJob* last_ = nullptr;  // while there is a first one
    std::size_t size_ = 0;
};

}  // namespace tavrin::httpclient_curl::detail

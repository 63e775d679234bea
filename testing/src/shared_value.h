#pragma once

#include <mutex>
#include <utility>

namespace tavrin::httpclient_testing::detail {

// What holds for the whole program. Any thread may set it; who asks gets a copy, and keeps it
// whatever is set later.
template <typename Value>
class SharedValue {
public:
    void set(Value value) {
        const std::lock_guard lock(mutex_);
        value_ = std::move(value);
    }

    Value get() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }

private:
    mutable std::mutex mutex_;
    Value value_;
};

}  // namespace tavrin::httpclient_testing::detail

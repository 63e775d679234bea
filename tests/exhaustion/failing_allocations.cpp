#include "exhaustion/failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

using tavrin::httpclient_core::test::Failing;
using tavrin::httpclient_core::test::Whose;

constexpr std::size_t NEVER = std::numeric_limits<std::size_t>::max();
std::atomic<std::size_t> allocationsUntilFailure{NEVER};
std::atomic<Failing> failingThen{Failing::ONE};
std::atomic<Whose> whoseFail{Whose::THIS_THREAD};
std::atomic<bool> failed{false};
std::atomic<std::size_t> inUse{0};
thread_local bool saysSo = false;

// Whether this allocation is the one to fail, or one behind it.
bool failsNow() {
    std::size_t left = allocationsUntilFailure;
    while (left != NEVER && left > 0) {
        if (allocationsUntilFailure.compare_exchange_weak(left, left - 1)) return false;
    }
    if (left == NEVER) return false;
    return failingThen == Failing::ALL_LATER ||
           allocationsUntilFailure.compare_exchange_strong(left, NEVER);
}

void failIfTold() {
    if (saysSo != (whoseFail == Whose::THIS_THREAD) || !failsNow()) return;
    failed = true;
    throw std::bad_alloc();
}

void* counted(void* memory) {
    if (!memory) throw std::bad_alloc();
    ++inUse;
    return memory;
}

void release(void* memory) {
    if (!memory) return;
    --inUse;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    failIfTold();
    return counted(std::malloc(size == 0 ? 1 : size));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    failIfTold();
    const auto boundary = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary));
}

void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }

namespace tavrin::httpclient_core::test {

FailingAllocations::FailingAllocations(std::size_t succeeding, Failing failing, Whose whose) {
    saysSo = true;
    failed = false;
    failingThen = failing;
    whoseFail = whose;
    allocationsUntilFailure = succeeding;
}

FailingAllocations::~FailingAllocations() {
    allocationsUntilFailure = NEVER;
    saysSo = false;
}

bool FailingAllocations::anyFailed() { return failed; }

std::size_t allocationsInUse() { return inUse; }

}  // namespace tavrin::httpclient_core::test

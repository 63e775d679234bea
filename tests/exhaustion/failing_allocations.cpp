#include "exhaustion/failing_allocations.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

using tavrin::httpclient_core::test::Failing;

constexpr std::size_t NEVER = std::numeric_limits<std::size_t>::max();
std::size_t allocationsUntilFailure = NEVER;
Failing failingThen = Failing::ONE;
bool failed = false;
std::size_t inUse = 0;

void failIfTold() {
    if (allocationsUntilFailure == NEVER) return;
    if (allocationsUntilFailure > 0) {
        --allocationsUntilFailure;
        return;
    }
    if (failingThen == Failing::ONE) allocationsUntilFailure = NEVER;
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

FailingAllocations::FailingAllocations(std::size_t succeeding, Failing failing) {
    allocationsUntilFailure = succeeding;
    failingThen = failing;
    failed = false;
}

FailingAllocations::~FailingAllocations() { allocationsUntilFailure = NEVER; }

bool FailingAllocations::anyFailed() { return failed; }

std::size_t allocationsInUse() { return inUse; }

}  // namespace tavrin::httpclient_core::test

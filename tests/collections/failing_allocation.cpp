#include "collections/failing_allocation.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t NEVER = std::numeric_limits<std::size_t>::max();
std::size_t allocationsUntilFailure = NEVER;

}  // namespace

void* operator new(std::size_t size) {
    if (allocationsUntilFailure == 0) {
        allocationsUntilFailure = NEVER;
        throw std::bad_alloc();
    }
    if (allocationsUntilFailure != NEVER) --allocationsUntilFailure;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tavrin::httpclient_core::test {

FailingAllocation::FailingAllocation(std::size_t count) { allocationsUntilFailure = count; }

FailingAllocation::~FailingAllocation() { allocationsUntilFailure = NEVER; }

}  // namespace tavrin::httpclient_core::test

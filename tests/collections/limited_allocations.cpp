#include "collections/limited_allocations.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t UNLIMITED = std::numeric_limits<std::size_t>::max();
std::size_t allocationsLeft = UNLIMITED;

}  // namespace

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) throw std::bad_alloc();
    if (allocationsLeft != UNLIMITED) --allocationsLeft;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace tavrin::httpclient_core::test {

LimitedAllocations::LimitedAllocations(std::size_t count) { allocationsLeft = count; }

LimitedAllocations::~LimitedAllocations() { allocationsLeft = UNLIMITED; }

}  // namespace tavrin::httpclient_core::test

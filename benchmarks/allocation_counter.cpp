#include "allocation_counter.h"

#include <atomic>

// The functions of the C library behind the ones below: operator new and libraries written in C
// come through here alike.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size) noexcept;
void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
void* __libc_realloc(void* memory, std::size_t size) noexcept;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::atomic<std::size_t> allocations{0};

// Not in one step, which would take as long as a small allocation itself.
void count() {
    allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

std::size_t allocationCount() { return allocations.load(std::memory_order_relaxed); }

extern "C" {

void* malloc(std::size_t size) noexcept {
    count();
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) noexcept {
    count();
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    count();
    return __libc_realloc(memory, size);
}

}  // extern "C"

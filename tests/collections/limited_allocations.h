#pragma once

#include <cstddef>

namespace tavrin::httpclient_core::test {

/// While it lives, the first `count` allocations of the program succeed and every further one
/// throws std::bad_alloc. For tests of a single thread; linking it replaces the program's `operator
/// new`.
class LimitedAllocations {
public:
    explicit LimitedAllocations(std::size_t count);
    ~LimitedAllocations();
    LimitedAllocations(const LimitedAllocations&) = delete;
    LimitedAllocations& operator=(const LimitedAllocations&) = delete;
};

}  // namespace tavrin::httpclient_core::test

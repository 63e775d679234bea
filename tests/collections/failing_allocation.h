#pragma once

#include <cstddef>

namespace tavrin::httpclient_core::test {

/// While it lives, one allocation of the program throws std::bad_alloc: the one that follows
/// `count` others. For tests of a single thread; linking it replaces the program's `operator new`.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t count);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace tavrin::httpclient_core::test

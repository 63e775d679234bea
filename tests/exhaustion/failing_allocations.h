#pragma once

#include <cstddef>
#include <ostream>

namespace tavrin::httpclient_core::test {

/// Which allocations fail once some have succeeded.
enum class Failing {
    ONE,       ///< the next one; what swallows its failure finds memory again
    ALL_LATER  ///< the next one and all that follow
};

inline std::ostream& operator<<(std::ostream& os, Failing failing) {
    return os << (failing == Failing::ONE ? "one fails" : "all later ones fail");
}

/// Whose allocations fail.
enum class Whose {
    THIS_THREAD,   ///< those of the thread that says so
    OTHER_THREADS  ///< those of all others, counted together
};

inline std::ostream& operator<<(std::ostream& os, Whose whose) {
    return os << (whose == Whose::THIS_THREAD ? "this thread's" : "other threads'");
}

/// While it lives, allocations throw std::bad_alloc after `succeeding` others. One may live at a
/// time; linking it replaces the program's allocation functions.
class FailingAllocations {
public:
    FailingAllocations(std::size_t succeeding, Failing failing, Whose whose = Whose::THIS_THREAD);
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Whether any allocation has failed since the last such object was made.
    static bool anyFailed();
};

/// How much of the program's memory, counted in allocations, is in use now.
std::size_t allocationsInUse();

}  // namespace tavrin::httpclient_core::test

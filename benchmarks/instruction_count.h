#pragma once

#ifdef WITH_CALLGRIND
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS
#endif

/// Does `work`; under callgrind, what it executes outside the kernel makes a profile of its own.
template <typename Work>
void countInstructions(const Work& work) {
    CALLGRIND_ZERO_STATS;
    work();
    CALLGRIND_DUMP_STATS;
}

#pragma once

#include <cstddef>

/// Number of times that the program and its libraries have asked for memory so far. Exact as long
/// as no two threads ask at once.
std::size_t allocationCount();

#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program with the text of a property that doesn't hold, so that the fuzzer keeps the
/// input.
#define CHECK(property) \
    ((property)         \
         ? void()       \
         : (std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #property), std::abort()))

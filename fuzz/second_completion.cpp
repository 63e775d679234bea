#include <future>

#include "check.h"

// Stands before the standard library's for every library of the program. A task that is run a
// second time throws before it reaches its callable, and who runs it may catch that: here it is
// seen.
namespace std {  // NOLINT(cert-dcl58-cpp)

// NOLINTNEXTLINE(bugprone-reserved-identifier)
[[gnu::visibility("default")]] void __throw_future_error(int code) {
    CHECK(code != static_cast<int>(future_errc::promise_already_satisfied));
    throw future_error(static_cast<future_errc>(code));
}

}  // namespace std

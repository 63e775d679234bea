#pragma once

#include <cstddef>
#include <functional>

namespace tavrin::http_tool {

/// Calls `work` on this thread and on `count` - 1 others at the same time, or on as many as can be
/// had, and returns when all calls have. An interruption ends what any of them waits for in the
/// system, be it a pipe that nobody reads.
void runOnThreads(std::size_t count, const std::function<void()>& work);

}  // namespace tavrin::http_tool

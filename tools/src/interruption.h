#pragma once

#include <chrono>
#include <thread>

namespace tavrin::http_tool {

/// Makes SIGINT, SIGTERM and SIGHUP ask for an orderly end; the same signal once more ends the
/// process at once. Those that are ignored (nohup) stay ignored.
/// To be called once, before any thread starts.
void watchForInterruption();

/// The signal that asked for the end, or 0. May be called from any thread.
int interruptingSignal();

/// Ends what the thread waits for in a call to the system: the signal itself comes to one thread
/// alone. To be repeated until it has noticed.
void interruptWaiting(std::thread& thread);

/// Waits, at most for `time`; false if an interruption came first or is already there. Any number
/// of threads may wait at a time.
bool waitUninterrupted(std::chrono::milliseconds time);

}  // namespace tavrin::http_tool

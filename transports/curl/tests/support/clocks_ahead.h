#pragma once

#include <chrono>

namespace tavrin::httpclient_curl::test {

/// Puts all clocks of this program forward, libcurl's among them. They are never put back, so that
/// what is to happen at a certain time comes soon enough. A program that does this does not wait
/// for a time of its own: the system, which counts from its own clock, would wait for longer.
void putClocksForward(std::chrono::seconds by);

}  // namespace tavrin::httpclient_curl::test

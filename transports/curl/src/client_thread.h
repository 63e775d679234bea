#pragma once

namespace tavrin::httpclient_curl::detail {

// Threads that a client starts and, when it is destroyed, waits for: event loops and those that run
// completions. A request that is made on one of them must not outlast a client's wish to end.
void markAsClientThread() noexcept;
bool onClientThread() noexcept;

}  // namespace tavrin::httpclient_curl::detail

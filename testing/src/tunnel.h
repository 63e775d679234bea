#pragma once

#include <optional>
#include <string>

#include "peer_stream.h"

namespace tavrin::httpclient_testing::detail {

// Connects to the port that a CONNECT request's target names, on 127.0.0.1 whatever host it names,
// so that no test leaves the machine. Nothing if there is no port, or nobody listens on it.
std::optional<PeerStream> connectTunnel(const std::string& target, int stopEvent);

// Passes bytes on in both directions until one side ends.
void relay(PeerStream& client, PeerStream& server);

}  // namespace tavrin::httpclient_testing::detail

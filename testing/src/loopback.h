#pragma once

#include <netinet/in.h>

#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {

// The address 127.0.0.1 with this port.
sockaddr_in loopbackAddress(int port);

// A non-blocking TCP socket bound to 127.0.0.1 and `port`, 0 for a free one; not listening yet.
// Throws std::system_error.
FileDescriptor boundSocket(int port);

// Throws std::system_error.
int portOf(const FileDescriptor& socket);
void listenOn(const FileDescriptor& socket, int backlog);

}  // namespace tavrin::httpclient_testing::detail

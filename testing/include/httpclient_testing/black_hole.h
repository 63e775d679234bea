#pragma once

#include <memory>
#include <string>

#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// A port on 127.0.0.1 to which a connection is never established nor refused: the attempts go
/// unanswered.
///
/// Neither copyable nor movable; the operations may be called from any thread.
class HTTPCLIENT_TESTING_EXPORT BlackHole {
public:
    /// @throws std::system_error if a socket can't be had.
    BlackHole();
    /// Frees the port.
    ~BlackHole();
    BlackHole(const BlackHole&) = delete;
    BlackHole& operator=(const BlackHole&) = delete;

    /// The port that was found.
    int port() const;
    /// "<scheme>://127.0.0.1:<port>/".
    std::string url(const std::string& scheme = "http") const;

private:
    struct HTTPCLIENT_TESTING_HIDDEN Sockets;
    std::unique_ptr<Sockets> sockets_;
};

}  // namespace tavrin::httpclient_testing

#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "httpclient_testing/fault_server.h"

namespace tavrin::httpclient_curl::test {

/// A FaultServer in a process of its own, for tests of what the client's process uses, or of what
/// happens to one of the two. It ends with the object, or with the process that made it.
class ServerProcess {
public:
    using Preparation = std::function<void(httpclient_testing::FaultServer&)>;

    /// Serves when the constructor returns, after `prepare` was called in the new process. To be
    /// made while the process has no other threads.
    /// @throws std::runtime_error if the server does not start.
    explicit ServerProcess(
        httpclient_testing::FaultServerOptions options = {},
        const Preparation& prepare = [](httpclient_testing::FaultServer&) {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    int port() const { return port_; }
    /// "http://127.0.0.1:<port>" or "https://..." and `path`, which begins with a slash.
    std::string url(const std::string& path = "/") const;

    /// Stops the process where it is, and lets it go on.
    void freeze() const;
    void thaw() const;

private:
    bool tls_;
    int port_ = 0;
    int lifeline_ = -1;
    pid_t process_ = -1;
};

}  // namespace tavrin::httpclient_curl::test

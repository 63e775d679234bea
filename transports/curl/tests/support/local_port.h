#pragma once

namespace tavrin::httpclient_curl::test {

/// A port of this machine's that nobody listens at, kept as long as this lives. Meanwhile every
/// connection that this program makes comes from it, as it may of itself where each leads
/// elsewhere. There is one at a time at most.
class LocalPort {
public:
    /// @throws std::system_error if there is none.
    LocalPort();
    ~LocalPort();
    LocalPort(const LocalPort&) = delete;
    LocalPort& operator=(const LocalPort&) = delete;

private:
    const int socket_;
};

}  // namespace tavrin::httpclient_curl::test

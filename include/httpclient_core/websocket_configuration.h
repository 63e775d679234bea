#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <utility>

#include "httpclient_core/export.h"
#include "httpclient_core/file_path.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

/// How a WebSocket client connects, limits its frames and recovers (RFC 6455).
///
/// Nothing is checked. A callback counts as set once its setter was called, whatever function was
/// passed, and cannot be taken away again.
///
/// A plain value. One object may be read from several threads while none changes it. Operations
/// take constant time, or time linear in what they copy.
class HTTPCLIENT_CORE_EXPORT WebSocketClientConfiguration {
public:
    /// Given the response of a failed handshake and a count: whether to try the connect again.
    using RecoverableConnectErrorCallback = std::function<bool(HttpResponse&&, unsigned long)>;

    /// Given the response of the handshake after an automatic reconnection.
    using ReconnectedCallback = std::function<void(HttpResponse&&)>;

    /// Given the last delay and the number of the reconnection attempt: the next delay, and whether
    /// to go on.
    using ReconnectBackoffFcn = std::function<std::pair<std::chrono::milliseconds, bool>(
        const std::chrono::milliseconds&, unsigned long)>;

    /// The defaults that are named below.
    WebSocketClientConfiguration();

    /// Copies and moves as a whole. A copy that fails leaves the target unchanged.
    WebSocketClientConfiguration(const WebSocketClientConfiguration&) = default;
    WebSocketClientConfiguration(WebSocketClientConfiguration&&) noexcept = default;
    WebSocketClientConfiguration& operator=(const WebSocketClientConfiguration& other);
    WebSocketClientConfiguration& operator=(WebSocketClientConfiguration&&) noexcept = default;
    ~WebSocketClientConfiguration() = default;

    /// File of the certificates that are trusted; empty by default.
    FilePath certificateFile() const;
    void setCertificateFile(FilePath certificateFile);
    WebSocketClientConfiguration& withCertificateFile(FilePath certificateFile);

    /// Header fields sent with the opening handshake; none by default.
    HttpHeaders customHandshakeHeaders() const;
    void setCustomHandshakeHeaders(HttpHeaders headers);
    WebSocketClientConfiguration& withCustomHandshakeHeaders(HttpHeaders headers);

    /// Most time for the opening handshake, in milliseconds; 5000 by default, 0 for no limit.
    std::int64_t handshakeTimeout() const;
    void setHandshakeTimeout(std::int64_t handshakeTimeoutMs);
    WebSocketClientConfiguration& withHandshakeTimeout(std::int64_t handshakeTimeoutMs);

    /// Time between pings, in milliseconds; empty, the default: no pings.
    std::optional<std::int64_t> pingInterval() const;
    void setPingInterval(std::optional<std::int64_t> pingIntervalMs);
    WebSocketClientConfiguration& withPingInterval(std::optional<std::int64_t> pingIntervalMs);

    /// Recovery from a failed handshake; how it goes together with recoverableConnectErrorCodes()
    /// is up to the WebSocket client.
    /// onRecoverableConnectError() @throws std::logic_error "OnRecoverableConnectError not set."
    bool connectErrorRecoveryEnabled() const;
    RecoverableConnectErrorCallback onRecoverableConnectError() const;
    void setConnectErrorRecovery(RecoverableConnectErrorCallback callback);
    WebSocketClientConfiguration& withConnectErrorRecovery(
        RecoverableConnectErrorCallback callback);

    /// Codes of a handshake's response that count as recoverable; by default 407 alone.
    std::set<HttpResponseCode> recoverableConnectErrorCodes() const;
    void setRecoverableConnectErrorRespCodes(std::set<HttpResponseCode> codes);
    WebSocketClientConfiguration& withRecoverableConnectErrorCodes(
        std::set<HttpResponseCode> codes);

    /// Automatic reconnection, and what is called after it succeeded.
    /// onReconnected() @throws std::logic_error "OnReconnected not set."
    bool reconnectEnabled() const;
    ReconnectedCallback onReconnected() const;
    void setReconnectEnabled(ReconnectedCallback callback);
    WebSocketClientConfiguration& withReconnectEnabled(ReconnectedCallback callback);

    /// Delays between reconnection attempts. By default 30 ms for the attempts 0 and 1, then twice
    /// the last delay, 20 seconds at most (a negative one is doubled as it is), without an end;
    /// that function may be called from any thread. A function that was set is given back as it is,
    /// even an empty one.
    ReconnectBackoffFcn reconnectBackoffFcn() const;
    void setCustomReconnectBackoffFcn(ReconnectBackoffFcn backoff);
    WebSocketClientConfiguration& withCustomReconnectBackoffFcn(ReconnectBackoffFcn backoff);

    /// What is called when reconnection is given up.
    /// onReconnectAborted() @throws std::logic_error "OnReconnectAborted not set."
    bool hasOnReconnectAborted() const;
    std::function<void()> onReconnectAborted() const;
    void setOnReconnectAborted(std::function<void()> callback);
    WebSocketClientConfiguration& withOnReconnectAborted(std::function<void()> callback);

    /// Largest payload of a frame that is accepted, in bytes; 16384 by default.
    unsigned long maxReadFrameSize() const;
    void setMaxReadFrameSize(unsigned long bytes);
    WebSocketClientConfiguration& withMaxReadFrameSize(unsigned long bytes);

    /// Largest payload of a frame that is sent, in bytes; 4096 by default.
    unsigned long maxWriteFrameSize() const;
    void setMaxWriteFrameSize(unsigned long bytes);
    WebSocketClientConfiguration& withMaxWriteFrameSize(unsigned long bytes);

private:
    FilePath certificateFile_;
    HttpHeaders customHandshakeHeaders_;
    std::int64_t handshakeTimeout_ = 5000;
    std::optional<std::int64_t> pingInterval_;
    std::optional<RecoverableConnectErrorCallback> recoverableConnectErrorCallback_;
    std::set<HttpResponseCode> recoverableConnectErrorCodes_{
        HttpResponseCode::PROXY_AUTHENTICATION_REQUIRED};
    std::optional<ReconnectedCallback> reconnectedCallback_;
    std::optional<ReconnectBackoffFcn> customReconnectBackoffFcn_;
    std::optional<std::function<void()>> reconnectAbortedCallback_;
    unsigned long maxReadFrameSize_ = 16384;
    unsigned long maxWriteFrameSize_ = 4096;
};

}  // namespace tavrin::httpclient_core

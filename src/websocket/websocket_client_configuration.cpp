#include "httpclient_core/websocket_configuration.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tavrin::httpclient_core {
namespace {

// A copy of the callback, which must have been set.
template <typename Callback>
Callback requireSet(const std::optional<Callback>& callback, const char* message) {
    if (!callback) throw std::logic_error(message);
    return *callback;
}

std::pair<std::chrono::milliseconds, bool> defaultNextBackoffAndShouldReconnectFcn(
    const std::chrono::milliseconds& previous, unsigned long attempt) {
    constexpr std::chrono::milliseconds FIRST(30);
    constexpr std::chrono::milliseconds LONGEST(20000);
    if (attempt <= 1) return {FIRST, true};
    // Asked before doubling, which could overflow; a negative delay is doubled all the same.
    if (previous > LONGEST / 2) return {LONGEST, true};
    if (previous < std::chrono::milliseconds::min() / 2) {
        return {std::chrono::milliseconds::min(), true};
    }
    return {previous * 2, true};
}

}  // namespace

WebSocketClientConfiguration::WebSocketClientConfiguration() = default;

WebSocketClientConfiguration& WebSocketClientConfiguration::operator=(
    const WebSocketClientConfiguration& other) {
    return *this = WebSocketClientConfiguration(other);
}

FilePath WebSocketClientConfiguration::certificateFile() const { return certificateFile_; }

void WebSocketClientConfiguration::setCertificateFile(FilePath certificateFile) {
    certificateFile_ = std::move(certificateFile);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withCertificateFile(
    FilePath certificateFile) {
    setCertificateFile(std::move(certificateFile));
    return *this;
}

HttpHeaders WebSocketClientConfiguration::customHandshakeHeaders() const {
    return customHandshakeHeaders_;
}

void WebSocketClientConfiguration::setCustomHandshakeHeaders(HttpHeaders headers) {
    customHandshakeHeaders_ = std::move(headers);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withCustomHandshakeHeaders(
    HttpHeaders headers) {
    setCustomHandshakeHeaders(std::move(headers));
    return *this;
}

std::int64_t WebSocketClientConfiguration::handshakeTimeout() const { return handshakeTimeout_; }

void WebSocketClientConfiguration::setHandshakeTimeout(std::int64_t handshakeTimeoutMs) {
    handshakeTimeout_ = handshakeTimeoutMs;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withHandshakeTimeout(
    std::int64_t handshakeTimeoutMs) {
    setHandshakeTimeout(handshakeTimeoutMs);
    return *this;
}

std::optional<std::int64_t> WebSocketClientConfiguration::pingInterval() const {
    return pingInterval_;
}

void WebSocketClientConfiguration::setPingInterval(std::optional<std::int64_t> pingIntervalMs) {
    pingInterval_ = pingIntervalMs;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withPingInterval(
    std::optional<std::int64_t> pingIntervalMs) {
    setPingInterval(pingIntervalMs);
    return *this;
}

bool WebSocketClientConfiguration::connectErrorRecoveryEnabled() const {
    return recoverableConnectErrorCallback_.has_value();
}

WebSocketClientConfiguration::RecoverableConnectErrorCallback
WebSocketClientConfiguration::onRecoverableConnectError() const {
    return requireSet(recoverableConnectErrorCallback_, "OnRecoverableConnectError not set.");
}

void WebSocketClientConfiguration::setConnectErrorRecovery(
    RecoverableConnectErrorCallback callback) {
    recoverableConnectErrorCallback_ = std::move(callback);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withConnectErrorRecovery(
    RecoverableConnectErrorCallback callback) {
    setConnectErrorRecovery(std::move(callback));
    return *this;
}

std::set<HttpResponseCode> WebSocketClientConfiguration::recoverableConnectErrorCodes() const {
    return recoverableConnectErrorCodes_;
}

void WebSocketClientConfiguration::setRecoverableConnectErrorRespCodes(
    std::set<HttpResponseCode> codes) {
    recoverableConnectErrorCodes_ = std::move(codes);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withRecoverableConnectErrorCodes(
    std::set<HttpResponseCode> codes) {
    setRecoverableConnectErrorRespCodes(std::move(codes));
    return *this;
}

bool WebSocketClientConfiguration::reconnectEnabled() const {
    return reconnectedCallback_.has_value();
}

WebSocketClientConfiguration::ReconnectedCallback WebSocketClientConfiguration::onReconnected()
    const {
    return requireSet(reconnectedCallback_, "OnReconnected not set.");
}

void WebSocketClientConfiguration::setReconnectEnabled(ReconnectedCallback callback) {
    reconnectedCallback_ = std::move(callback);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withReconnectEnabled(
    ReconnectedCallback callback) {
    setReconnectEnabled(std::move(callback));
    return *this;
}

WebSocketClientConfiguration::ReconnectBackoffFcn
WebSocketClientConfiguration::reconnectBackoffFcn() const {
    return customReconnectBackoffFcn_.value_or(defaultNextBackoffAndShouldReconnectFcn);
}

void WebSocketClientConfiguration::setCustomReconnectBackoffFcn(ReconnectBackoffFcn backoff) {
    customReconnectBackoffFcn_ = std::move(backoff);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withCustomReconnectBackoffFcn(
    ReconnectBackoffFcn backoff) {
    setCustomReconnectBackoffFcn(std::move(backoff));
    return *this;
}

bool WebSocketClientConfiguration::hasOnReconnectAborted() const {
    return reconnectAbortedCallback_.has_value();
}

std::function<void()> WebSocketClientConfiguration::onReconnectAborted() const {
    return requireSet(reconnectAbortedCallback_, "OnReconnectAborted not set.");
}

void WebSocketClientConfiguration::setOnReconnectAborted(std::function<void()> callback) {
    reconnectAbortedCallback_ = std::move(callback);
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withOnReconnectAborted(
    std::function<void()> callback) {
    setOnReconnectAborted(std::move(callback));
    return *this;
}

unsigned long WebSocketClientConfiguration::maxReadFrameSize() const { return maxReadFrameSize_; }

void WebSocketClientConfiguration::setMaxReadFrameSize(unsigned long bytes) {
    maxReadFrameSize_ = bytes;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withMaxReadFrameSize(
    unsigned long bytes) {
    setMaxReadFrameSize(bytes);
    return *this;
}

unsigned long WebSocketClientConfiguration::maxWriteFrameSize() const { return maxWriteFrameSize_; }

void WebSocketClientConfiguration::setMaxWriteFrameSize(unsigned long bytes) {
    maxWriteFrameSize_ = bytes;
}

WebSocketClientConfiguration& WebSocketClientConfiguration::withMaxWriteFrameSize(
    unsigned long bytes) {
    setMaxWriteFrameSize(bytes);
    return *this;
}

}  // namespace tavrin::httpclient_core

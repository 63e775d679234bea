#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// A request got no complete response. A transport throws it, or one of the two below; what() is
/// the message given. All exceptions here copy, so that they can travel between threads.
class HTTPCLIENT_CORE_EXPORT HttpRequestFailedException : public std::runtime_error {
public:
    explicit HttpRequestFailedException(const std::string& message);
    ~HttpRequestFailedException() override;
};

/// A request exceeded a time limit: "Request timed out."
class HTTPCLIENT_CORE_EXPORT HttpRequestTimeoutException : public HttpRequestFailedException {
public:
    HttpRequestTimeoutException();
    ~HttpRequestTimeoutException() override;
};

/// A request was cancelled: "Request cancelled"
class HTTPCLIENT_CORE_EXPORT HttpRequestCancelledException : public HttpRequestFailedException {
public:
    HttpRequestCancelledException();
    ~HttpRequestCancelledException() override;
};

/// A WebSocket failed in another way than those below; what() is the message given.
class HTTPCLIENT_CORE_EXPORT BadWebSocketException : public std::runtime_error {
public:
    explicit BadWebSocketException(const std::string& message);
    ~BadWebSocketException() override;
};

/// An operation needs an open WebSocket connection: "No working WebSocket connection. Open was not
/// completed or network error occurred and has not been recovered from."
class HTTPCLIENT_CORE_EXPORT NoExistingConnectionException : public std::runtime_error {
public:
    NoExistingConnectionException();
    ~NoExistingConnectionException() override;
};

/// A read was begun while another was pending: "Calling read before the previous read completes is
/// illegal."
class HTTPCLIENT_CORE_EXPORT ReadCalledWhenAlreadyReadingException : public std::runtime_error {
public:
    ReadCalledWhenAlreadyReadingException();
    ~ReadCalledWhenAlreadyReadingException() override;
};

/// A frame to be sent is larger than WebSocketClientConfiguration::maxWriteFrameSize() allows:
/// "WebSocketFrame's payload is " + `payloadSize` + " bytes, which is above the maxWriteFrameSize
/// limit of " + `maxWriteFrameSize` + " bytes. This limit can be configured in
/// WebSocketClientConfiguration.", the numbers in plain decimal digits. Both are in bytes.
class HTTPCLIENT_CORE_EXPORT MaxWriteFrameSizeExceededException : public std::runtime_error {
public:
    MaxWriteFrameSizeExceededException(std::uint64_t payloadSize, std::uint64_t maxWriteFrameSize);
    ~MaxWriteFrameSizeExceededException() override;
};

}  // namespace tavrin::httpclient_core

#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_core {

HttpRequestFailedException::HttpRequestFailedException(const std::string& message)
    : std::runtime_error(message) {}
HttpRequestFailedException::~HttpRequestFailedException() = default;

HttpRequestTimeoutException::HttpRequestTimeoutException()
    : HttpRequestFailedException("Request timed out.") {}
HttpRequestTimeoutException::~HttpRequestTimeoutException() = default;

HttpRequestCancelledException::HttpRequestCancelledException()
    : HttpRequestFailedException("Request cancelled") {}
HttpRequestCancelledException::~HttpRequestCancelledException() = default;

BadWebSocketException::BadWebSocketException(const std::string& message)
    : std::runtime_error(message) {}
BadWebSocketException::~BadWebSocketException() = default;

NoExistingConnectionException::NoExistingConnectionException()
    : std::runtime_error(
          "No working WebSocket connection. Open was not completed or network error occurred and "
          "has not been recovered from.") {}
NoExistingConnectionException::~NoExistingConnectionException() = default;

ReadCalledWhenAlreadyReadingException::ReadCalledWhenAlreadyReadingException()
    : std::runtime_error("Calling read before the previous read completes is illegal.") {}
ReadCalledWhenAlreadyReadingException::~ReadCalledWhenAlreadyReadingException() = default;

MaxWriteFrameSizeExceededException::MaxWriteFrameSizeExceededException(
    std::uint64_t payloadSize, std::uint64_t maxWriteFrameSize)
    : std::runtime_error("WebSocketFrame's payload is " + std::to_string(payloadSize) +
                         " bytes, which is above the maxWriteFrameSize limit of " +
                         std::to_string(maxWriteFrameSize) +
                         " bytes. This limit can be configured in WebSocketClientConfiguration.") {}
MaxWriteFrameSizeExceededException::~MaxWriteFrameSizeExceededException() = default;

}  // namespace tavrin::httpclient_core

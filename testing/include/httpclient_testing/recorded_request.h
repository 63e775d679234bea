#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/multipart.h"

namespace tavrin::httpclient_testing {

/// One attempt of a request, as it reached the transport. A plain value.
struct RecordedRequest {
    httpclient_core::HttpMethod method;
    std::string url;  ///< with the query parameters

    /// The header fields as they came, in their order.
    httpclient_core::HttpHeaders headers;

    /// What the transport could read of the simple body; nothing if the request had none.
    std::optional<std::string> body;

    /// The parts of the multipart body; nothing if the request had none.
    std::optional<httpclient_core::MultipartBody> multipartBody;

    /// The id of an asynchronous request, the same for all its attempts; none if it was
    /// synchronous.
    std::optional<std::uint64_t> requestId;
};

}  // namespace tavrin::httpclient_testing

#pragma once

#include <cstdint>
#include <optional>

#include "httpclient_core/messages.h"
#include "httpclient_testing/recorded_request.h"

namespace tavrin::httpclient_testing::detail {

// All of the request but its simple body, which is only read once there is need to.
RecordedRequest recordWithoutBody(const httpclient_core::HttpRequest& request,
                                  std::optional<std::uint64_t> requestId);

}  // namespace tavrin::httpclient_testing::detail

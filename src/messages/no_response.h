#pragma once

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core::detail {

/// Status code and reason phrase of a response that there isn't yet.
inline constexpr auto NO_RESPONSE = static_cast<HttpResponseCode>(-1);
inline constexpr char NO_RESPONSE_REASON[] = "Request Not Made";

}  // namespace tavrin::httpclient_core::detail

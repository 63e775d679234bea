#pragma once

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core::detail {

/// Puts the request and the response of a failed attempt back into a state to be sent again; when
/// resuming is wanted and the server serves byte ranges, the next attempt asks for the rest of the
/// body alone, and progress is reported for the whole.
void prepareForRetry(HttpRequest& request, HttpResponse& response, bool resumeOnRetry);

}  // namespace tavrin::httpclient_core::detail

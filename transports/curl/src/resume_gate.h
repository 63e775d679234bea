#pragma once

#include <cstdint>
#include <optional>

#include "httpclient_core/messages.h"
#include "logical_request.h"
#include "request_url.h"
#include "response_head.h"

namespace tavrin::httpclient_curl::detail {

// A client that only obeys damages downloads: the frame asks for a range by the position of a
// stream, whatever stands in it and whatever became of the resource. These three say when a range
// may be asked for, what may be appended, and what may be held for later.

// Whether the bytes that `response` holds may be completed by a range, as the frame wishes.
bool mayResume(const httpclient_core::HttpRequest& request,
               const httpclient_core::HttpResponse& response, const LogicalRequest& logical);

// Whether the answer from `url` is exactly the missing rest of what is held. A redirect may lead
// elsewhere than before, where the same validator may be another content's (RFC 9110, 8.8).
bool fitsHeldBytes(const ResponseHead& head, const RequestUrl& url, const HeldBytes& held);

// What the body under this head will be bytes of, none of them held yet; nothing if the answer
// could never be resumed. Headers and reason are left empty: they are copied only when there is a
// use for them.
std::optional<HeldBytes> resumableAnswer(const ResponseHead& head, const RequestUrl& url);

}  // namespace tavrin::httpclient_curl::detail

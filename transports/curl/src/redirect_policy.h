#pragma once

#include "httpclient_core/messages.h"
#include "request_headers.h"

namespace tavrin::httpclient_curl::detail {

// Whether the code asks to send the request to another place.
bool isRedirect(int code);

// Whether the redirect turns the request into a GET without a body.
bool becomesGet(int code, httpclient_core::HttpMethod method);

// Takes away the fields that describe a body.
void dropBodyHeaders(HeaderList& headers);

// Takes away every field that is not known to be harmless at another origin: any other may be a
// credential.
void keepSafeHeaders(HeaderList& headers, bool withBody);

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <curl/curl.h>

namespace tavrin::httpclient_curl::detail {

// libcurl takes a TLS connection that just ends for one that was closed properly, so a body without
// a length could be cut off by anybody on the way without a sign. These two look at the
// close_notify themselves.

// Makes the connections that this handle opens report their alerts.
void reportTlsClosure(CURL* easy);

// To be called while the handle transfers: sets `*seen` when the connection is closed properly.
// Returns false, and does nothing, if the connection has no TLS. `seen` must live until the
// connection is closed.
bool watchTlsClosure(CURL* easy, bool* seen);

// To be called while the handle has a connection: whether it agreed to HTTP/2. Without TLS none
// does.
bool speaksHttp2(CURL* easy);

}  // namespace tavrin::httpclient_curl::detail

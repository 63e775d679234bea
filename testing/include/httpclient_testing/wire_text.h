#pragma once

#include <string>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_testing/credentials.h"
#include "httpclient_testing/export.h"
#include "httpclient_testing/received_request.h"
#include "httpclient_testing/recorded_request.h"

namespace tavrin::httpclient_testing {

/// A message as it would stand on the wire, for people to read: start line, header fields, an empty
/// line, body, with line feeds for line ends. In place of what `credentials` knows to be one stands
/// "***". Bytes that are no printable text are written as \x00 to \xff, and of a body that is
/// longer than 1024 bytes only the beginning is shown, with its length. Of a multipart body the
/// names of the parts are shown.
///
/// Linear in the message. A request's or response's body is read where it stands and put back to
/// that place; a body stream that cannot go back is consumed. A response that has no body stream
/// yet gets one.
HTTPCLIENT_TESTING_EXPORT std::string wireText(const RecordedRequest& request,
                                               const Credentials& credentials = Credentials());
HTTPCLIENT_TESTING_EXPORT std::string wireText(const httpclient_core::HttpRequest& request,
                                               const Credentials& credentials = Credentials());
HTTPCLIENT_TESTING_EXPORT std::string wireText(const httpclient_core::HttpResponse& response,
                                               const Credentials& credentials = Credentials());

/// The same of what a FaultServer received, as far as it keeps it: the lines are those that came,
/// malformed ones too.
HTTPCLIENT_TESTING_EXPORT std::string wireText(const ReceivedRequest& request,
                                               const Credentials& credentials = Credentials());

/// The header fields alone, a line each.
HTTPCLIENT_TESTING_EXPORT std::string wireText(const httpclient_core::HttpHeaders& headers,
                                               const Credentials& credentials = Credentials());

/// What is left to read of a message's simple body, which is put back to where it stood; a body
/// stream that cannot go back is consumed. "" for a request without a body. Linear.
HTTPCLIENT_TESTING_EXPORT std::string peekBody(const httpclient_core::HttpRequest& request);
HTTPCLIENT_TESTING_EXPORT std::string peekBody(const httpclient_core::HttpResponse& response);

}  // namespace tavrin::httpclient_testing

#pragma once

#include <httpclient_core/headers.h>
#include <httpclient_core/messages.h>

#include <string>

namespace tavrin::http_tool {

/// Status line and header fields as text with CR LF and an empty line at the end. The version of
/// HTTP that was spoken is not known here, so the line is "HTTP 200 OK".
std::string responseHead(httpclient_core::HttpResponseCode code, const std::string& reason,
                         const httpclient_core::HttpHeaders& headers);

/// "the server answered 200 OK", for people.
std::string answerText(const httpclient_core::HttpResponse& response);

}  // namespace tavrin::http_tool

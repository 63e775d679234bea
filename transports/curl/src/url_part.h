#pragma once

#include <curl/curl.h>

#include <string>

namespace tavrin::httpclient_curl::detail {

// Whether the text of a URL holds what would split a line or end a text for libcurl. It never gets
// there, escaped or not by libcurl's leave.
bool hasBlankOrControl(const std::string& text);

// A part of a URL; empty if it has none. Throws HttpRequestFailedException if the part is to be
// decoded and cannot be; `whose` URL it is stands in the text.
std::string urlPart(CURLU* url, CURLUPart which, unsigned flags = 0, const char* whose = "URL");

// Whether it names a user or a password, be they empty.
bool hasCredentials(CURLU* url);

// Takes both away.
void removeCredentials(CURLU* url);

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <curl/curl.h>

#include <exception>
#include <string>

#include "httpclient_core/exceptions.h"
#include "settings.h"

namespace tavrin::httpclient_curl::detail {

// A request that must not go on the wire: "Request refused: " + reason.
httpclient_core::HttpRequestFailedException refused(const std::string& reason);

// "Request to " + host + " failed: " + kind + ": " + reason.
httpclient_core::HttpRequestFailedException failed(const std::string& host, const char* kind,
                                                   const std::string& reason);

// What libcurl says before or beside a transfer: "Request failed: libcurl: " + reason.
httpclient_core::HttpRequestFailedException libcurlFailed(const std::string& reason);

// The exception that tells what libcurl reported. `message` is libcurl's own text for this
// transfer, which is empty when there is nothing to add to the code.
std::exception_ptr failureOf(CURLcode code, const std::string& host, const char* message,
                             const Settings& settings);

}  // namespace tavrin::httpclient_curl::detail

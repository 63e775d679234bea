#pragma once

/// Marks a class or function as part of the library's binary interface; everything else is hidden.
#define HTTPCLIENT_CURL_EXPORT __attribute__((visibility("default")))

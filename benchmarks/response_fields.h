#pragma once

#include <string>
#include <utility>
#include <vector>

using Fields = std::vector<std::pair<std::string, std::string>>;

/// What a web server sends with a page.
inline const Fields& responseFields() {
    static const Fields fields = {
        {"Date", "Fri, 20 Nov 2026 10:00:00 GMT"},
        {"Server", "nginx/1.22.1"},
        {"Content-Type", "text/html; charset=utf-8"},
        {"Content-Length", "10240"},
        {"Connection", "keep-alive"},
        {"Last-Modified", "Thu, 19 Nov 2026 08:30:00 GMT"},
        {"ETag", "\"653b1f2a-2800\""},
        {"Cache-Control", "public, max-age=3600"},
        {"Vary", "Accept-Encoding"},
        {"Accept-Ranges", "bytes"},
        {"X-Request-Id", "7f3c9a52-41d8-4b7e-9c11-0d5e8f6a2b34"},
        {"Strict-Transport-Security", "max-age=31536000"},
    };
    return fields;
}

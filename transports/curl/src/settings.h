#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "httpclient_core/configuration.h"

namespace tavrin::httpclient_curl::detail {

// What the transport reads of a configuration, brought into the ranges that it works with. Made
// once per configuration rather than per request: a configuration's getters copy.
struct Settings {
    explicit Settings(const httpclient_core::ClientConfiguration& configuration);

    std::string certificateFile;
    std::string proxy;
    bool followRedirects;
    bool resumeOnRetry;
    long maxRedirects;
    // Milliseconds and bytes per second; 0 means no limit.
    std::int64_t connectTimeout;
    std::int64_t responseTimeout;
    std::int64_t idleTimeout;
    std::int64_t idleSpeed;
    // 0 means no limit.
    std::size_t maxThreads;
    std::size_t maxRequestsPerThread;
};

using SharedSettings = std::shared_ptr<const Settings>;

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "attempt.h"
#include "easy_handle.h"
#include "multi_handle.h"
#include "time_limits.h"

namespace tavrin::httpclient_curl::detail {

// Handles with their connections for requests that run on their callers' threads; one is lent to
// each. Of those that were at the wanted server last, else of all, the one that was used last goes
// out first, since its connection is the likeliest to be alive.
class SynchronousChannels {
public:
    explicit SynchronousChannels(const CurlOptions& options) : options_(options) {}

    // Carries the attempt for `url` to its end, or until `closing` becomes true. Throws
    // std::bad_alloc and HttpRequestFailedException if libcurl gives no channel, or fails it.
    void run(Attempt& attempt, const httpclient_core::URL& url, const std::atomic<bool>& closing);

private:
    struct Channel {
        explicit Channel(const CurlOptions& options) : easy(options, multi.sockets()) {}

        MultiHandle multi;
        EasyHandle easy;
        WireClock clock;
        std::string server;
    };

    std::unique_ptr<Channel> take(std::string server);
    void giveBack(std::unique_ptr<Channel> channel);

    const CurlOptions& options_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Channel>> idle_;
};

}  // namespace tavrin::httpclient_curl::detail

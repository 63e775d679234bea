#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>

#include "kept_sockets.h"

namespace tavrin::httpclient_curl::detail {

// A set of transfers and their connections. Belongs to one thread, but for wake(). What libcurl
// reports is thrown as HttpRequestFailedException, and want of memory as std::bad_alloc.
class MultiHandle {
public:
    // Fails, too, if it could not be woken for want of file descriptors: libcurl would go on
    // without, and sleep for ever.
    MultiHandle();

    void add(CURL* easy);
    void remove(CURL* easy) { curl_multi_remove_handle(handle_.get(), easy); }

    // Moves what can be moved at once.
    void perform();

    // A transfer that has ended, or null.
    CURL* ended(CURLcode& code);

    // Waits until something can be moved, wake() is called or the time is over.
    void wait(std::chrono::steady_clock::duration time);

    // May be called from any thread.
    void wake();

    const KeptSockets& sockets() const { return sockets_; }

private:
    struct Cleanup {
        void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
    };
    std::unique_ptr<CURLM, Cleanup> handle_;
    KeptSockets sockets_;
};

}  // namespace tavrin::httpclient_curl::detail

#include "multi_handle.h"

#include <algorithm>
#include <new>
#include <thread>

#include "failure.h"

namespace tavrin::httpclient_curl::detail {
namespace {

constexpr int MOST_TRIES_TO_WAKE = 1000;

void check(CURLMcode code) {
    if (code == CURLM_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLM_OK) throw libcurlFailed(curl_multi_strerror(code));
}

}  // namespace

MultiHandle::MultiHandle() : handle_(curl_multi_init()) {
    if (handle_ == nullptr) throw std::bad_alloc();
    if (curl_multi_wakeup(handle_.get()) != CURLM_OK) {
        throw libcurlFailed("no file descriptor is left");
    }
}

void MultiHandle::add(CURL* easy) { check(curl_multi_add_handle(handle_.get(), easy)); }

void MultiHandle::perform() {
    int running = 0;
    check(curl_multi_perform(handle_.get(), &running));
}

CURL* MultiHandle::ended(CURLcode& code) {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(handle_.get(), &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        code = message->data.result;
        sockets_.note(message->easy_handle);
        return message->easy_handle;
    }
    return nullptr;
}

void MultiHandle::wait(std::chrono::steady_clock::duration time) {
    using std::chrono::milliseconds;
    const auto rounded = std::chrono::ceil<milliseconds>(time).count();
    const int timeout = static_cast<int>(std::clamp<std::int64_t>(rounded, 0, 1000000));
    check(curl_multi_poll(handle_.get(), nullptr, 0, timeout, nullptr));
}

void MultiHandle::wake() {
    // What the system refuses now it may grant a moment later; a sleeper that is not woken would
    // sleep on.
    for (int tries = 0; tries < MOST_TRIES_TO_WAKE; ++tries) {
        if (curl_multi_wakeup(handle_.get()) == CURLM_OK) return;
        std::this_thread::yield();
    }
}

}  // namespace tavrin::httpclient_curl::detail

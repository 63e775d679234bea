#pragma once

#include <cstddef>
#include <functional>
#include <ios>
#include <istream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "httpclient_core/messages.h"
#include "support/owning_stream.h"

namespace tavrin::httpclient_curl::test {

// Keeps what is written, and has something happen in the middle of it.
class InterruptedBuffer : public std::stringbuf {
public:
    using Written = std::function<void(std::size_t)>;

    explicit InterruptedBuffer(Written written) : written_(std::move(written)) {}

protected:
    std::streamsize xsputn(const char* text, std::streamsize count) override {
        const std::streamsize kept = std::stringbuf::xsputn(text, count);
        written_(static_cast<std::size_t>(kept));
        return kept;
    }

private:
    Written written_;
};

using InterruptedStream = httpclient_core::test::OwningStream<std::iostream, InterruptedBuffer>;

// A request during which `event` happens, `times` times, whenever a further MiB of the body has
// arrived.
inline httpclient_core::HttpRequest getInterruptedBy(const std::string& url,
                                                     std::function<void()> event, int times = 1) {
    struct State {
        std::size_t arrived = 0;
        int left = 0;
    };
    const auto state = std::make_shared<State>();
    state->left = times;
    const auto written = [=](std::size_t count) {
        state->arrived += count;
        if (state->left == 0 || state->arrived < 1024 * 1024) return;
        --state->left;
        state->arrived = 0;
        event();
    };
    httpclient_core::HttpRequest request(httpclient_core::HttpMethod::GET,
                                         httpclient_core::URL(url), {});
    request.setResponseStreamFactory([written](httpclient_core::HttpResponseCode,
                                               const std::string&,
                                               const httpclient_core::HttpHeaders&) {
        return std::make_unique<InterruptedStream>(written);
    });
    return request;
}

}  // namespace tavrin::httpclient_curl::test

#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "httpclient_core/messages.h"

namespace tavrin::httpclient_testing::detail {

// Copies what a transport writes to a response's body on its way to wherever the application has
// it written. It stays with a request, whose attempts follow one another.
class BodyTap {
public:
    // What was known of the response when its body's stream was made.
    struct Head {
        httpclient_core::HttpResponseCode code;
        std::string reason;
        httpclient_core::HttpHeaders headers;
    };

    // Lets the streams of every response made from `request` from now on pass through a tap.
    static std::shared_ptr<BodyTap> installIn(httpclient_core::HttpRequest& request);

    // The one that was installed last; null if none was.
    static std::shared_ptr<BodyTap> of(const httpclient_core::HttpRequest& request);

    // What was written so far is an earlier attempt's from now on.
    void beginAttempt();

    // The body that was written since then.
    const std::string& written() const { return written_; }

    // What earlier attempts had written, as far as it still stands before it.
    const std::string& before() const { return before_; }

    // Whether that body takes the place of bytes that an earlier attempt had written.
    bool isFresh() const { return fresh_; }

    // Nothing if no stream was made since then.
    const std::optional<Head>& head() const { return head_; }

private:
    class Buffer;
    class Stream;
    struct TappedFactory;

    // Takes back as many of the bytes that earlier attempts had written.
    void drop(std::size_t bytes);

    std::string written_;
    std::string before_;
    std::optional<Head> head_;
    bool made_ = false;
    bool fresh_ = false;
};

}  // namespace tavrin::httpclient_testing::detail

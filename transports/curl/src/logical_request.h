#pragma once

#include <atomic>
#include <cstdint>
#include <ios>
#include <memory>
#include <optional>
#include <string>

#include "httpclient_core/client.h"
#include "httpclient_core/headers.h"
#include "settings.h"

namespace tavrin::httpclient_curl::detail {

class BodyDigest;

// Bytes of a representation that the response's stream holds, and what they are bytes of.
struct HeldBytes {
    // Both 0 while nothing is held.
    std::int64_t count = 0;
    std::int64_t total = 0;
    std::string resource;
    std::string validator;
    bool validatorIsEtag = false;
    // The head that they came with; the answer that completes them shows it again.
    std::string reason;
    httpclient_core::HttpHeaders headers;
    // Over exactly these bytes, if their server announced it.
    std::shared_ptr<BodyDigest> digest;
};

// The application's handler of an asynchronous request, which the frame calls or, while the client
// is being destroyed, the transport itself; the first to come counts.
class OnceHandler {
public:
    explicit OnceHandler(httpclient_core::CompletionHandler handler);
    void operator()(httpclient_core::HttpRequest&& request,
                    httpclient_core::HttpResponse&& response, std::exception_ptr&& error);

private:
    std::atomic<bool> called_{false};
    httpclient_core::CompletionHandler handler_;
};

// What the transport remembers from one attempt of a request to the next. Attempts follow one
// another, so only what a waiting thread looks at is atomic.
struct LogicalRequest {
    SharedSettings settings;

    // The application's own Range; later attempts may carry one of the frame's in its place.
    std::optional<std::string> ownRange;
    int attempts = 0;
    int firstPlanned = 0;  // the first attempt that was not refused before it was planned

    // The attempts come from elsewhere than this client's frame.
    bool alone = false;

    std::optional<std::streampos> bodyStart;
    bool bodyTouched = false;

    // The response's stream: where it began, if it was made by us, and the highest position
    // written.
    std::optional<std::streampos> streamStart;
    std::streamoff highest = 0;
    HeldBytes held;

    // The application has said that it wants the request no more; further attempts end at once.
    std::atomic<bool> cancelled{false};

    // Asynchronous requests of the client's own frame.
    std::optional<OnceHandler> handler;
};

}  // namespace tavrin::httpclient_curl::detail

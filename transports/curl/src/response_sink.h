#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "httpclient_core/messages.h"
#include "logical_request.h"
#include "request_url.h"
#include "response_head.h"

namespace tavrin::httpclient_curl::detail {

// Fills the response of one attempt: its head once, then its body, which it keeps free of anything
// that belongs to another answer.
class ResponseSink {
public:
    ResponseSink(httpclient_core::HttpRequest& request, httpclient_core::HttpResponse& response,
                 LogicalRequest& logical)
        : request_(request), response_(response), logical_(logical) {}

    // Shows the answer in the response, after what its body held from earlier attempts was
    // discarded. Takes the headers out of `head`.
    void beginFresh(ResponseHead& head, bool mayHaveBody, bool decoded, const RequestUrl& url);

    // Shows the answer that the held bytes came with; what follows is appended to them.
    void beginAppending(const std::string& host);

    void write(const char* data, std::size_t size);

    // The body has come to its end. Throws HttpRequestFailedException unless the stream holds
    // exactly the body.
    void finish();

    // The attempt failed: remembers what a further one may hold on to.
    void keepHeldBytes() noexcept;

    std::int64_t written() const { return written_; }

private:
    void discard();
    std::iostream& stream();
    void checkPosition(std::iostream& stream);
    [[noreturn]] void fail(const std::string& reason) const;

    httpclient_core::HttpRequest& request_;
    httpclient_core::HttpResponse& response_;
    LogicalRequest& logical_;
    std::string host_;
    std::iostream* stream_ = nullptr;
    bool appending_ = false;
    bool mayHaveBody_ = true;
    std::int64_t written_ = 0;
    // Where this attempt's first byte goes; -1 if the stream cannot tell.
    std::streamoff from_ = -1;
    std::optional<HeldBytes> resumable_;
    std::shared_ptr<BodyDigest> digest_;
};

}  // namespace tavrin::httpclient_curl::detail

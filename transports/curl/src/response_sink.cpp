#include "response_sink.h"

#include <algorithm>
#include <utility>

#include "body_digest.h"
#include "failure.h"
#include "resume_gate.h"

namespace tavrin::httpclient_curl::detail {

using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;

void ResponseSink::beginFresh(ResponseHead& head, bool mayHaveBody, bool decoded,
                              const RequestUrl& url) {
    host_ = url.host();
    mayHaveBody_ = mayHaveBody;
    if (logical_.settings->resumeOnRetry && !logical_.ownRange)
        resumable_ = resumableAnswer(head, url);
    logical_.held = HeldBytes();
    // It tells of the whole representation as it is encoded.
    if (mayHaveBody && !decoded && head.code() != 206) digest_ = BodyDigest::announcedBy(head);
    const bool startsLater = logical_.streamStart && *logical_.streamStart > std::streampos(0);
    // A stream that an earlier answer was written to, or was made for, goes: the factory is to see
    // this one. The old stream is gone before the new one is made, so that nothing of it is flushed
    // into the same file.
    if (logical_.attempts > 1 && !startsLater) response_ = HttpResponse(request_);
    if (decoded) {
        for (const char* name : {"Content-Encoding", "Content-Length"})
            head.headers().removeHeader(name);
    }
    response_.setResponseCodeAndReason(HttpResponseCode(head.code()), head.reason());
    response_.setHeaders(std::move(head.headers()));
    discard();
}

void ResponseSink::discard() {
    if (logical_.attempts > 1 && logical_.streamStart &&
        *logical_.streamStart > std::streampos(0)) {
        std::iostream& body = response_.getResponseBody();
        body.clear();
        response_.resetResponseBody();
        body.seekp(*logical_.streamStart);
        return;
    }
    logical_.streamStart.reset();
    response_.resetResponseBody();
}

void ResponseSink::beginAppending(const std::string& host) {
    host_ = host;
    appending_ = true;
    digest_ = logical_.held.digest;
    response_.setResponseCodeAndReason(HttpResponseCode::OK, logical_.held.reason);
    response_.setHeaders(logical_.held.headers);
}

std::iostream& ResponseSink::stream() {
    if (stream_ != nullptr) return *stream_;
    std::iostream& body = response_.getResponseBody();
    const std::streampos position = body.tellp();
    if (!logical_.streamStart) {
        logical_.streamStart = position;
        logical_.highest = position;
    }
    from_ = position;
    stream_ = &body;
    return body;
}

void ResponseSink::write(const char* data, std::size_t size) {
    std::iostream& body = stream();
    if (!body.good()) fail("it is not good");
    body.write(data, static_cast<std::streamsize>(size));
    if (!body.good()) fail("writing to it failed after " + std::to_string(written_) + " bytes");
    if (digest_) digest_->update(data, size);
    const bool first = written_ == 0;
    written_ += static_cast<std::int64_t>(size);
    if (first) checkPosition(body);
}

void ResponseSink::checkPosition(std::iostream& stream) {
    if (from_ < 0) return;
    const std::streamoff position = stream.tellp();
    if (position == from_ && written_ > 0) {
        from_ = -1;  // a device such as /dev/null, which has no positions
    } else if (position != from_ + written_) {
        fail("it writes elsewhere than where it stands, as one that was opened for appending does");
    }
}

void ResponseSink::finish() {
    if (!mayHaveBody_) return;
    std::iostream& body = stream();
    body.flush();
    if (!body.good()) fail("it could not be flushed");
    checkPosition(body);
    if (appending_ && logical_.held.count + written_ != logical_.held.total) {
        throw failed(host_, "range", "the parts do not add up to the whole");
    }
    if (digest_ && !digest_->matches()) {
        throw failed(host_, "digest", "the body is not what its Repr-Digest tells");
    }
    if (from_ < 0) return;
    const std::streamoff end = from_ + written_;
    const std::streamoff last = body.rdbuf()->pubseekoff(0, std::ios::end, std::ios::out);
    const bool restored = body.rdbuf()->pubseekpos(end, std::ios::out) == std::streampos(end);
    if (last > end || logical_.highest > end) {
        fail("bytes that are not the body's stand behind it and cannot be cut off");
    }
    if (!restored && last >= 0) fail("it lost its position");
}

void ResponseSink::keepHeldBytes() noexcept {
    if (from_ >= 0) logical_.highest = std::max(logical_.highest, from_ + std::streamoff(written_));
    try {
        if (appending_) {
            logical_.held.count += written_;
        } else if (resumable_ && written_ > 0) {
            resumable_->count = written_;
            resumable_->reason = response_.getResponseCodeReason();
            resumable_->headers = response_.getHeaders();
            resumable_->digest = digest_;
            logical_.held = std::move(*resumable_);
        }
    } catch (...) {
        // Without memory for the head nothing is held, and the next attempt asks for the whole.
        logical_.held = HeldBytes();
    }
}

void ResponseSink::fail(const std::string& reason) const {
    throw failed(host_, "response stream", reason);
}

}  // namespace tavrin::httpclient_curl::detail

#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_testing/export.h"

namespace tavrin::httpclient_testing {

/// What a ScriptedHttpClient does when the request came that it waited for.
///
/// In this order: it waits for the delay; runs the action; sets code and reason, header fields and
/// transaction report; writes the chunks of the body one by one, calling the request's progress
/// callback after each; throws the failure. What is not given is left out. Nothing is added to what
/// is written here, a Content-Length neither.
///
/// A plain value. One object may be read from several threads while none changes it; the action is
/// then called from all of them. Operations take time linear in what they copy or write.
class HTTPCLIENT_TESTING_EXPORT ScriptedAnswer {
public:
    /// A status, as a number or by name, and a reason phrase.
    explicit ScriptedAnswer(int code, std::string reason = {});
    explicit ScriptedAnswer(httpclient_core::HttpResponseCode code, std::string reason = {});

    /// No status at all: the attempt throws a copy of `exception`, which may be of any type, or, if
    /// it is an exception pointer, the very object that it points to.
    template <typename Exception>
    static ScriptedAnswer failure(Exception exception) {
        ScriptedAnswer answer;
        answer.withFailure(std::move(exception));
        return answer;
    }

    /// An attempt that does not even start: what failure() throws leaves performAsyncRequest()
    /// itself, and nothing is ever completed. A synchronous attempt just fails.
    template <typename Exception>
    static ScriptedAnswer refusal(Exception exception) {
        ScriptedAnswer answer = failure(std::move(exception));
        answer.isRefusal_ = true;
        return answer;
    }

    /// Appends a header field. Every field is set before the first byte of the body is written.
    ScriptedAnswer& withHeader(std::string name, std::string value);

    /// The number of redirects followed and the URL that answered.
    ScriptedAnswer& withTransactionReport(httpclient_core::TransactionReport report);

    /// Appends to the body, in a write of its own.
    ScriptedAnswer& withChunk(std::string chunk);

    /// Appends the body in chunks of `chunkSize` bytes; the last one may be shorter.
    /// @throws std::logic_error "The size of a chunk must not be 0." if it is.
    ScriptedAnswer& withBody(const std::string& body, std::size_t chunkSize);

    /// Appends the whole body as one chunk.
    ScriptedAnswer& withBody(std::string body) { return withChunk(std::move(body)); }

    /// Throws `exception`, of any type, when the body was written. An exception pointer is
    /// rethrown: each attempt throws the same object. A later failure replaces an earlier one.
    template <typename Exception>
    ScriptedAnswer& withFailure(Exception exception) {
        if constexpr (std::is_same_v<Exception, std::exception_ptr>) {
            failure_ = [exception] { std::rethrow_exception(exception); };
        } else {
            failure_ = [exception] { throw exception; };
        }
        bodyLimit_.reset();
        return *this;
    }

    /// The same after the first `bytes` bytes of the body; all of it, if it is shorter.
    template <typename Exception>
    ScriptedAnswer& withFailureAfter(std::size_t bytes, Exception exception) {
        withFailure(std::move(exception));
        bodyLimit_ = bytes;
        return *this;
    }

    /// How long the answer takes to come; see ScriptedHttpClient::setDelayHook().
    ScriptedAnswer& withDelay(std::chrono::milliseconds delay);

    /// Called first, with the request and the response of the attempt, for what has no place in a
    /// script. What it throws fails the attempt.
    ScriptedAnswer& withAction(
        std::function<void(httpclient_core::HttpRequest&, httpclient_core::HttpResponse&)> action);

    /// The delay; 0 by default.
    std::chrono::milliseconds delay() const;

    /// Whether it came from refusal().
    bool isRefusal() const;

    /// Does all of the above but wait.
    /// @throws the failure; what the action, the response's callbacks and the request's progress
    /// callback throw; HttpRequestCancelledException if the progress callback answers CANCEL;
    /// HttpRequestFailedException "Response body could not be written." if the response's body
    /// stream is or goes bad.
    void answer(httpclient_core::HttpRequest& request,
                httpclient_core::HttpResponse& response) const;

private:
    ScriptedAnswer() = default;

    HTTPCLIENT_TESTING_HIDDEN void writeBody(httpclient_core::HttpRequest& request,
                                             httpclient_core::HttpResponse& response) const;

    std::chrono::milliseconds delay_{0};
    std::function<void(httpclient_core::HttpRequest&, httpclient_core::HttpResponse&)> action_;
    std::optional<httpclient_core::HttpResponseCode> code_;
    std::string reason_;
    httpclient_core::HttpHeaders headers_;
    std::optional<httpclient_core::TransactionReport> report_;
    std::vector<std::string> chunks_;
    std::optional<std::size_t> bodyLimit_;
    std::function<void()> failure_;
    bool isRefusal_ = false;
};

}  // namespace tavrin::httpclient_testing

#include "httpclient_testing/scripted_answer.h"

#include <algorithm>
#include <limits>
#include <ostream>
#include <stdexcept>

#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_testing {

using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::Progress;
using httpclient_core::ProgressResult;
using httpclient_core::TransactionReport;

ScriptedAnswer::ScriptedAnswer(int code, std::string reason)
    : ScriptedAnswer(static_cast<HttpResponseCode>(code), std::move(reason)) {}

ScriptedAnswer::ScriptedAnswer(HttpResponseCode code, std::string reason)
    : code_(code), reason_(std::move(reason)) {}

ScriptedAnswer& ScriptedAnswer::withHeader(std::string name, std::string value) {
    headers_.addHeaderValue(name, std::move(value));
    return *this;
}

ScriptedAnswer& ScriptedAnswer::withTransactionReport(TransactionReport report) {
    report_ = std::move(report);
    return *this;
}

ScriptedAnswer& ScriptedAnswer::withChunk(std::string chunk) {
    chunks_.push_back(std::move(chunk));
    return *this;
}

ScriptedAnswer& ScriptedAnswer::withBody(const std::string& body, std::size_t chunkSize) {
    if (chunkSize == 0) throw std::logic_error("The size of a chunk must not be 0.");
    for (std::size_t start = 0; start < body.size(); start += chunkSize) {
        withChunk(body.substr(start, chunkSize));
    }
    return *this;
}

ScriptedAnswer& ScriptedAnswer::withDelay(std::chrono::milliseconds delay) {
    delay_ = delay;
    return *this;
}

ScriptedAnswer& ScriptedAnswer::withAction(
    std::function<void(HttpRequest&, HttpResponse&)> action) {
    action_ = std::move(action);
    return *this;
}

std::chrono::milliseconds ScriptedAnswer::delay() const { return delay_; }

bool ScriptedAnswer::isRefusal() const { return isRefusal_; }

void ScriptedAnswer::answer(HttpRequest& request, HttpResponse& response) const {
    if (action_) action_(request, response);
    if (code_) {
        response.setResponseCodeAndReason(*code_, reason_);
        response.setHeaders(headers_);
    }
    if (report_) response.setTransactionReport(*report_);
    writeBody(request, response);
    if (failure_) failure_();
}

void ScriptedAnswer::writeBody(HttpRequest& request, HttpResponse& response) const {
    std::size_t left = bodyLimit_.value_or(std::numeric_limits<std::size_t>::max());
    Progress progress;
    for (const std::string& chunk : chunks_) {
        progress.downloadTotal += static_cast<std::int64_t>(chunk.size());
    }
    for (const std::string& chunk : chunks_) {
        const std::size_t length = std::min(left, chunk.size());
        if (length == 0) continue;
        left -= length;
        if (!response.getResponseBody().write(chunk.data(), static_cast<std::streamsize>(length))) {
            throw HttpRequestFailedException("Response body could not be written.");
        }
        progress.downloadNow += static_cast<std::int64_t>(length);
        if (request.hasProgressCallback() &&
            request.getProgressCallback()(progress) == ProgressResult::CANCEL) {
            throw HttpRequestCancelledException();
        }
    }
}

}  // namespace tavrin::httpclient_testing

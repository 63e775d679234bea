#include "client/prepare_for_retry.h"

#include <string>
#include <utility>

#include "client/log.h"
#include "messages/no_response.h"

namespace tavrin::httpclient_core::detail {
namespace {

// A stream that was read to its end carries eofbit and failbit, and doesn't seek until cleared.
void rewindBody(const HttpRequest& request) {
    if (!request.hasRequestBody()) return;
    auto& body = request.getRequestBody();
    body.clear();
    body.seekg(0, std::ios::beg);
}

bool servesByteRanges(const HttpResponse& response) {
    return response.hasHeader("Accept-Ranges") &&
           response.getHeaderValue("Accept-Ranges") == "bytes";
}

// Reports the progress of a transfer that brings only what follows the first `offset` bytes. When a
// request resumes again, the adapter in place is wrapped in a further one, on purpose.
ProgressCallback raiseProgress(std::int64_t offset, ProgressCallback wrapped) {
    return [offset, wrapped = std::move(wrapped)](const Progress& progress) {
        Progress raised = progress;
        raised.downloadTotal += offset;
        raised.downloadNow += offset;
        return wrapped(raised);
    };
}

void askForWholeBody(HttpRequest& request, HttpResponse& response) {
    HTTPCLIENT_LOG(
        LOG_DECISION,
        "Server responded with Range not satisfiable for "
            << request.getURL() << " for request with Range: "
            << (request.hasHeader("Range") ? request.getHeaderValue("Range") : "NOT SET"));
    request.removeHeader("Range");
    response.resetResponseBody();
}

void askForRest(HttpRequest& request, HttpResponse& response) {
    auto& body = response.getResponseBody();
    const std::int64_t offset = body.tellp();
    if (offset < 0) {
        response.resetResponseBody();
        return;
    }
    const std::string range = "bytes=" + std::to_string(offset) + "-";
    request.setHeaderValue("Range", range);
    HTTPCLIENT_LOG(LOG_DECISION,
                   "Requesting a byte range starting from where last request left "
                   "off up to the end: "
                       << range);
    if (request.hasProgressCallback()) {
        request.setProgressCallback(raiseProgress(offset, request.getProgressCallback()));
    }
    body.flush();
}

}  // namespace

void prepareForRetry(HttpRequest& request, HttpResponse& response, bool resumeOnRetry) {
    rewindBody(request);

    const auto code = response.getResponseCode();
    if (code == NO_RESPONSE) {
        HTTPCLIENT_LOG(LOG_DECISION, "Request not made.");
        return;
    }
    if (code == HttpResponseCode::RANGE_NOT_SATISFIABLE) {
        askForWholeBody(request, response);
    } else if (resumeOnRetry && servesByteRanges(response)) {
        askForRest(request, response);
    } else {
        response.resetResponseBody();
    }
    response.setResponseCodeAndReason(NO_RESPONSE, NO_RESPONSE_REASON);
    response.setHeaders(HttpHeaders());
}

}  // namespace tavrin::httpclient_core::detail

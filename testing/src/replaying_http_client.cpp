#include "httpclient_testing/replaying_http_client.h"

#include <stdexcept>
#include <utility>

#include "httpclient_core/url.h"
#include "httpclient_testing/wire_text.h"
#include "printable.h"
#include "recording.h"
#include "same_fields.h"
#include "whole_file.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::RecordedExchange;
using detail::Recording;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::TransactionReport;
using httpclient_core::URL;

Recording readRecording(const std::string& path) {
    const std::string text = detail::readWholeFile(path);
    try {
        return detail::parseRecording(text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error("Recording \"" + path + "\": " + error.what());
    }
}

// The request as it would stand in the recording: without credentials. What an edited recording
// holds of them is blanked as well; what was recorded need not be: a text without its credentials
// may look as if it held others.
ExpectedRequest expectedRequest(const RecordedRequest& recorded, const Credentials& credentials,
                                Matching matching) {
    const RecordedRequest wanted = detail::withoutCredentials(recorded, credentials);
    const auto agrees = [recorded, wanted, credentials](auto isEqual) {
        return [recorded, wanted, credentials, isEqual](const RecordedRequest& request) {
            const RecordedRequest blanked = detail::withoutCredentials(request, credentials);
            return isEqual(blanked, recorded) || isEqual(blanked, wanted);
        };
    };
    ExpectedRequest expected;
    expected.withMethod(wanted.method);
    expected.withCondition("URL " + wanted.url, agrees([](const auto& request, const auto& other) {
                               return request.url == other.url;
                           }));
    if (matching == Matching::LOOSE) return expected;
    expected.withCondition("exactly these headers:\n" + wireText(wanted.headers, credentials),
                           agrees([](const auto& request, const auto& other) {
                               return detail::sameFields(request.headers, other.headers);
                           }));
    expected.withCondition(
        wanted.body ? "body \"" + detail::printableBeginning(*wanted.body) + "\"" : "no body",
        agrees([](const auto& request, const auto& other) { return request.body == other.body; }));
    expected.withCondition(
        wanted.multipartBody ? "these parts: " + detail::jsonOf(wanted.multipartBody) : "no parts",
        agrees([](const auto& request, const auto& other) {
            return detail::jsonOf(request.multipartBody) == detail::jsonOf(other.multipartBody);
        }));
    return expected;
}

ScriptedAnswer answerOf(const RecordedExchange& exchange) {
    if (!exchange.response) return ScriptedAnswer::failure(exceptionOf(*exchange.failure));
    const auto& recorded = *exchange.response;
    ScriptedAnswer answer(recorded.code, recorded.reason);
    for (const auto& [name, value] : recorded.headers) answer.withHeader(name, value);
    answer.withTransactionReport(TransactionReport(recorded.redirects, URL(recorded.effectiveUrl)));
    if (!recorded.body.empty()) answer.withBody(recorded.body);
    if (recorded.startsOver) {
        answer.withAction(
            [](HttpRequest&, HttpResponse& response) { response.resetResponseBody(); });
    }
    if (exchange.failure) answer.withFailure(exceptionOf(*exchange.failure));
    return answer;
}

}  // namespace

ReplayingHttpClient::ReplayingHttpClient(const std::string& path, Matching matching,
                                         Completion completion)
    : ScriptedHttpClient(completion) {
    if (matching == Matching::LOOSE) setOrder(ScriptOrder::ANY);
    const Recording recording = readRecording(path);
    setCredentials(recording.credentials);
    for (const RecordedExchange& exchange : recording.exchanges) {
        expect(expectedRequest(exchange.request, recording.credentials, matching),
               answerOf(exchange));
    }
}

ReplayingHttpClient::~ReplayingHttpClient() = default;

}  // namespace tavrin::httpclient_testing

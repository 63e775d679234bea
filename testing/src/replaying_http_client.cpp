#include "httpclient_testing/replaying_http_client.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "httpclient_core/url.h"
#include "httpclient_testing/wire_text.h"
#include "printable.h"
#include "quotable_secrets.h"
#include "recording.h"
#include "whole_file.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::RecordedExchange;
using detail::Recording;
using httpclient_core::HttpHeaders;
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

// Whether a text is the recorded one but for what was overwritten there, in whose place anything
// may stand.
bool agrees(std::string_view text, std::string_view recorded) {
    static const std::string OVERWRITTEN(detail::LONG_SECRET, '*');
    const auto first = recorded.find(OVERWRITTEN);
    if (first == std::string_view::npos) return text == recorded;
    if (text.substr(0, first) != recorded.substr(0, first)) return false;
    for (std::string_view rest = text.substr(first);;) {
        recorded.remove_prefix(std::min(recorded.find(OVERWRITTEN), recorded.size()));
        recorded.remove_prefix(std::min(recorded.find_first_not_of('*'), recorded.size()));
        const auto next = recorded.find(OVERWRITTEN);
        if (rest.empty()) return false;
        rest.remove_prefix(1);
        const std::string_view between = recorded.substr(0, next);
        if (next == std::string_view::npos) {
            return rest.size() >= between.size() &&
                   rest.substr(rest.size() - between.size()) == between;
        }
        const auto found = rest.find(between);
        if (found == std::string_view::npos) return false;
        rest.remove_prefix(found + between.size());
    }
}

bool agrees(const HttpHeaders& headers, const HttpHeaders& recorded) {
    return std::equal(headers.begin(), headers.end(), recorded.begin(), recorded.end(),
                      [](const auto& field, const auto& other) {
                          return field.first == other.first && agrees(field.second, other.second);
                      });
}

// The request as it would stand in the recording: without credentials. What an edited recording
// holds of them is blanked as well; what was recorded need not be: a text without its credentials
// may look as if it held others.
ExpectedRequest expectedRequest(const RecordedRequest& recorded, const Credentials& credentials,
                                Matching matching) {
    const RecordedRequest wanted = detail::withoutCredentials(recorded, credentials);
    const auto either = [recorded, wanted, credentials](auto isEqual) {
        return [recorded, wanted, credentials, isEqual](const RecordedRequest& request) {
            const RecordedRequest blanked = detail::withoutCredentials(request, credentials);
            return isEqual(blanked, recorded) || isEqual(blanked, wanted);
        };
    };
    ExpectedRequest expected;
    expected.withMethod(wanted.method);
    expected.withCondition("URL " + wanted.url, either([](const auto& request, const auto& other) {
                               return agrees(request.url, other.url);
                           }));
    if (matching == Matching::LOOSE) return expected;
    expected.withCondition("exactly these headers:\n" + wireText(wanted.headers, credentials),
                           either([](const auto& request, const auto& other) {
                               return agrees(request.headers, other.headers);
                           }));
    expected.withCondition(
        wanted.body ? "body \"" + detail::printableBeginning(*wanted.body) + "\"" : "no body",
        either([](const auto& request, const auto& other) {
            return request.body.has_value() == other.body.has_value() &&
                   (!request.body || agrees(*request.body, *other.body));
        }));
    expected.withCondition(
        wanted.multipartBody ? "these parts: " + detail::jsonOf(wanted.multipartBody) : "no parts",
        either([](const auto& request, const auto& other) {
            return agrees(detail::jsonOf(request.multipartBody),
                          detail::jsonOf(other.multipartBody));
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

#include "httpclient_testing/expected_request.h"

#include <algorithm>
#include <utility>

#include "httpclient_testing/credentials.h"
#include "httpclient_testing/wire_text.h"
#include "method_name.h"
#include "printable.h"
#include "recording.h"
#include "same_fields.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::MultipartBody;

// Header names compare here as the library's own lookups do.
bool hasField(const HttpHeaders& headers, const std::string& name, const std::string& value) {
    return std::any_of(headers.begin(), headers.end(), [&](const auto& field) {
        return field.second == value && HttpHeaders{field}.hasHeader(name);
    });
}

}  // namespace

ExpectedRequest::ExpectedRequest(HttpMethod method, std::string url) {
    withMethod(method).withUrl(std::move(url));
}

ExpectedRequest& ExpectedRequest::withMethod(HttpMethod method) {
    return withCondition("method " + detail::methodName(method),
                         [method](const auto& request) { return request.method == method; });
}

ExpectedRequest& ExpectedRequest::withUrl(std::string url) {
    std::string description = "URL " + Credentials().blankedUrl(url);
    return withCondition(std::move(description), [url = std::move(url)](const auto& request) {
        return request.url == url;
    });
}

ExpectedRequest& ExpectedRequest::withHeader(std::string name, std::string value) {
    std::string description =
        "header " + name + ": " + Credentials().blankedHeaderValue(name, value);
    return withCondition(std::move(description),
                         [name = std::move(name), value = std::move(value)](const auto& request) {
                             return hasField(request.headers, name, value);
                         });
}

ExpectedRequest& ExpectedRequest::withoutHeader(std::string name) {
    std::string description = "no header " + name;
    return withCondition(std::move(description), [name = std::move(name)](const auto& request) {
        return !request.headers.hasHeader(name);
    });
}

ExpectedRequest& ExpectedRequest::withHeaders(HttpHeaders headers) {
    std::string description = "exactly these headers:\n" + wireText(headers);
    return withCondition(std::move(description),
                         [headers = std::move(headers)](const auto& request) {
                             return detail::sameFields(request.headers, headers);
                         });
}

ExpectedRequest& ExpectedRequest::withBody(std::string body) {
    std::string description =
        "body \"" + detail::printableBeginning(Credentials().blankedBody(body)) + "\"";
    return withCondition(std::move(description), [body = std::move(body)](const auto& request) {
        return request.body == body;
    });
}

ExpectedRequest& ExpectedRequest::withoutBody() {
    return withCondition(
        "no body", [](const auto& request) { return !request.body && !request.multipartBody; });
}

ExpectedRequest& ExpectedRequest::withParts(MultipartBody body) {
    std::string description = "these parts: " + detail::jsonOf(Credentials().blanked(body));
    return withCondition(std::move(description),
                         [parts = detail::jsonOf(std::move(body))](const auto& request) {
                             return detail::jsonOf(request.multipartBody) == parts;
                         });
}

ExpectedRequest& ExpectedRequest::withCondition(
    std::string description, std::function<bool(const RecordedRequest&)> condition) {
    conditions_.push_back({std::move(description), std::move(condition)});
    return *this;
}

bool ExpectedRequest::isMetBy(const RecordedRequest& request) const {
    return std::all_of(conditions_.begin(), conditions_.end(),
                       [&](const Condition& condition) { return condition.isMet(request); });
}

std::string ExpectedRequest::describe() const {
    return describe([](const Condition&) { return true; });
}

std::string ExpectedRequest::describeAgainst(const RecordedRequest& request) const {
    return describe([&](const Condition& condition) { return condition.isMet(request); });
}

std::string ExpectedRequest::describe(const std::function<bool(const Condition&)>& isMet) const {
    if (conditions_.empty()) return "  any request\n";
    std::string text;
    for (const Condition& condition : conditions_) {
        text += (isMet(condition) ? "  " : "! ") + detail::printable(condition.description) + "\n";
    }
    return text;
}

}  // namespace tavrin::httpclient_testing

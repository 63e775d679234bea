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

constexpr char ANY_REQUEST[] = "  any request\n";

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
    const std::string blanked = Credentials().blankedUrl(url);
    return withBlanked(
        "URL " + blanked,
        [url = std::move(url)](const auto& request) { return request.url == url; },
        [blanked](const auto& request) {
            return Credentials().blankedUrl(request.url) == blanked;
        });
}

ExpectedRequest& ExpectedRequest::withHeader(std::string name, std::string value) {
    const std::string blanked = Credentials().blankedHeaderValue(name, value);
    return withBlanked(
        "header " + name + ": " + blanked,
        [name, value = std::move(value)](const auto& request) {
            return hasField(request.headers, name, value);
        },
        [name, blanked](const auto& request) {
            return hasField(Credentials().blanked(request.headers), name, blanked);
        });
}

ExpectedRequest& ExpectedRequest::withoutHeader(std::string name) {
    std::string description = "no header " + name;
    return withCondition(std::move(description), [name = std::move(name)](const auto& request) {
        return !request.headers.hasHeader(name);
    });
}

ExpectedRequest& ExpectedRequest::withHeaders(HttpHeaders headers) {
    const std::string blanked = wireText(headers);
    return withBlanked(
        "exactly these headers:\n" + blanked,
        [headers = std::move(headers)](const auto& request) {
            return detail::sameFields(request.headers, headers);
        },
        [blanked](const auto& request) { return wireText(request.headers) == blanked; });
}

ExpectedRequest& ExpectedRequest::withBody(std::string body) {
    const std::string blanked = Credentials().blankedBody(body);
    return withBlanked(
        "body \"" + detail::printableBeginning(blanked) + "\"",
        [body = std::move(body)](const auto& request) { return request.body == body; },
        [blanked](const auto& request) {
            return request.body && Credentials().blankedBody(*request.body) == blanked;
        });
}

ExpectedRequest& ExpectedRequest::withoutBody() {
    return withCondition(
        "no body", [](const auto& request) { return !request.body && !request.multipartBody; });
}

ExpectedRequest& ExpectedRequest::withParts(MultipartBody body) {
    const std::string blanked = detail::jsonOf(Credentials().blanked(body));
    return withBlanked(
        "these parts: " + blanked,
        [parts = detail::jsonOf(std::move(body))](const auto& request) {
            return detail::jsonOf(request.multipartBody) == parts;
        },
        [blanked](const auto& request) {
            return request.multipartBody &&
                   detail::jsonOf(Credentials().blanked(*request.multipartBody)) == blanked;
        });
}

ExpectedRequest& ExpectedRequest::withCondition(
    std::string description, std::function<bool(const RecordedRequest&)> condition) {
    return withBlanked(std::move(description), std::move(condition), nullptr);
}

ExpectedRequest& ExpectedRequest::withBlanked(
    std::string description, std::function<bool(const RecordedRequest&)> isMet,
    std::function<bool(const RecordedRequest&)> looksMet) {
    conditions_.push_back({std::move(description), std::move(isMet), std::move(looksMet)});
    return *this;
}

bool ExpectedRequest::isMetBy(const RecordedRequest& request) const {
    return std::all_of(conditions_.begin(), conditions_.end(),
                       [&](const Condition& condition) { return condition.isMet(request); });
}

std::string ExpectedRequest::describe() const {
    if (conditions_.empty()) return ANY_REQUEST;
    std::string text;
    for (const Condition& condition : conditions_)
        text += "  " + detail::printable(condition.description) + "\n";
    return text;
}

std::string ExpectedRequest::describeAgainst(const RecordedRequest& request) const {
    if (conditions_.empty()) return ANY_REQUEST;
    std::string text;
    for (const Condition& condition : conditions_) {
        const bool isMet = condition.isMet(request);
        std::string description = detail::printable(condition.description);
        // Header fields end with their line.
        if (!isMet && condition.looksMet && condition.looksMet(request))
            description.insert(description.find_last_not_of('\n') + 1,
                               ", which differs in what is blanked");
        text += (isMet ? "  " : "! ") + description + "\n";
    }
    return text;
}

}  // namespace tavrin::httpclient_testing

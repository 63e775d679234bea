#include "recording.h"

#include <cstddef>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "httpclient_core/exceptions.h"
#include "message_secrets.h"
#include "quotable_secrets.h"
#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::HttpHeaders;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpRequestTimeoutException;

struct FailureType {
    const char* name;
    bool (*matches)(const std::exception&);
    std::exception_ptr (*make)(const std::string& text);
};

template <typename Exception>
FailureType failureType(const char* name) {
    return {name,
            [](const std::exception& error) {
                return dynamic_cast<const Exception*>(&error) != nullptr;
            },
            [](const std::string& text) {
                if constexpr (std::is_constructible_v<Exception, std::string>) {
                    return std::make_exception_ptr(Exception(text));
                } else {
                    static_cast<void>(text);
                    return std::make_exception_ptr(Exception());
                }
            }};
}

// The derived ones come before those that they derive from.
const std::vector<FailureType>& failureTypes() {
    static const std::vector<FailureType> TYPES{
        failureType<HttpRequestTimeoutException>("HttpRequestTimeoutException"),
        failureType<HttpRequestCancelledException>("HttpRequestCancelledException"),
        failureType<HttpRequestFailedException>("HttpRequestFailedException"),
        failureType<std::logic_error>("std::logic_error"),
        failureType<std::runtime_error>("std::runtime_error")};
    return TYPES;
}

// In a sentence a word is easily spared; in a body it may be what the application waits for.
constexpr std::size_t SHORTEST_IN_SENTENCE = 2;
constexpr std::size_t SHORTEST_IN_MESSAGE = LONG_SECRET;

// The length of a body that was blanked, if the field had been right before.
void adjustContentLength(HttpHeaders& headers, std::size_t before, std::size_t now) {
    const auto field = headers.find(HttpHeaders::CONTENT_LENGTH);
    if (field == headers.end() || field->second != std::to_string(before)) return;
    headers.setHeaderValue(HttpHeaders::CONTENT_LENGTH, std::to_string(now));
}

// Takes all credentials out of what came for a request.
class ResponseBlanking {
public:
    ResponseBlanking(const RecordedRequest& request, const Credentials& credentials)
        : names_(credentials.further()), quotable_(request, names_) {}

    void blankSentence(std::string& text) const {
        Secrets found = secretsInSentence(text, names_);
        addAll(found, quotable_.in(text, SHORTEST_IN_SENTENCE), 0);
        text = replaced(text, std::move(found));
    }

    void blank(RecordedResponse& response, const std::string& bodyBefore) const {
        blankSentence(response.reason);
        response.body = overwrittenRest(bodyBefore, response);
        HttpHeaders headers;
        for (const auto& [name, value] : response.headers) {
            headers.addHeaderValue(name,
                                   replacedIn(value, secretsInHeaderValue(name, value, names_)));
        }
        response.headers = std::move(headers);
        response.effectiveUrl =
            replacedIn(response.effectiveUrl, secretsInUrl(response.effectiveUrl, names_));
    }

private:
    // What the request had goes with them.
    std::string replacedIn(const std::string& text, Secrets found) const {
        addAll(found, quotable_.in(text, SHORTEST_IN_MESSAGE), 0);
        return replaced(text, std::move(found));
    }

    // A credential, or its name, may have begun in what an earlier attempt brought.
    std::string overwrittenRest(const std::string& before, const RecordedResponse& response) const {
        const std::string whole = before + response.body;
        Secrets found = secretsInBody(whole, contentType(response.headers), names_);
        addAll(found, quotable_.in(whole, SHORTEST_IN_MESSAGE), 0);
        return overwritten(whole, found).substr(before.size());
    }

    const SecretNames names_;
    const QuotableSecrets quotable_;
};

}  // namespace

RecordedRequest withoutCredentials(RecordedRequest request, const Credentials& credentials) {
    request.url = credentials.blankedUrl(request.url);
    if (request.body) {
        const std::size_t before = request.body->size();
        request.body = credentials.blankedBody(*request.body, contentType(request.headers));
        adjustContentLength(request.headers, before, request.body->size());
    }
    if (request.multipartBody) request.multipartBody = credentials.blanked(*request.multipartBody);
    request.headers = credentials.blanked(request.headers);
    return request;
}

RecordedExchange withoutCredentials(RecordedExchange exchange, const std::string& bodyBefore,
                                    const Credentials& credentials) {
    const ResponseBlanking blanking(exchange.request, credentials);
    if (exchange.failure) blanking.blankSentence(exchange.failure->text);
    if (exchange.response) blanking.blank(*exchange.response, bodyBefore);
    exchange.request = withoutCredentials(std::move(exchange.request), credentials);
    return exchange;
}

RecordedFailure recordedFailure(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& failure) {
        for (const FailureType& type : failureTypes()) {
            if (type.matches(failure)) return {type.name, failure.what()};
        }
        return {failureTypes().back().name, failure.what()};
    } catch (...) {
        return {failureTypes().back().name, "An exception of a type unknown to the recording."};
    }
}

std::exception_ptr exceptionOf(const RecordedFailure& failure) {
    for (const FailureType& type : failureTypes()) {
        if (failure.type == type.name) return type.make(failure.text);
    }
    return nullptr;
}

}  // namespace tavrin::httpclient_testing::detail

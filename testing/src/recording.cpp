#include "recording.h"

#include <cstddef>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "httpclient_core/exceptions.h"
#include "message_secrets.h"
#include "quotable_secrets.h"
#include "secret_names.h"
#include "secrets.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::DataPart;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpRequestTimeoutException;
using httpclient_core::MultipartBody;
using httpclient_core::PartHeader;

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
    // `known` are the credentials of all requests and responses.
    ResponseBlanking(const RecordedRequest& request, const QuotableSecrets& known,
                     const SecretNames& names)
        : names_(names), known_(known) {
        own_.take(request, names);
    }

    void blankSentence(std::string& text) const {
        Secrets found = secretsInSentence(text, names_);
        addAll(found, own_.in(text, SHORTEST_IN_SENTENCE), 0);
        addAll(found, known_.in(text, SHORTEST_IN_MESSAGE), 0);
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
    // What any request or response had goes with them.
    std::string replacedIn(const std::string& text, Secrets found) const {
        addAll(found, known_.in(text, SHORTEST_IN_MESSAGE), 0);
        return replaced(text, std::move(found));
    }

    // A credential, or its name, may have begun in what an earlier attempt brought.
    std::string overwrittenRest(const std::string& before, const RecordedResponse& response) const {
        const std::string whole = before + response.body;
        Secrets found = secretsInBody(whole, contentType(response.headers), names_);
        addAll(found, known_.in(whole, SHORTEST_IN_MESSAGE), 0);
        return overwritten(whole, std::move(found)).substr(before.size());
    }

    const SecretNames& names_;
    const QuotableSecrets& known_;
    QuotableSecrets own_;
};

// Overwrites what is known for a credential, wherever it stands in a request.
class RequestOverwriting {
public:
    explicit RequestOverwriting(const QuotableSecrets& known) : known_(known) {}

    void overwrite(RecordedRequest& request) const {
        request.url = without(request.url);
        request.headers = without(request.headers);
        if (request.body) request.body = without(*request.body);
        if (request.multipartBody) request.multipartBody = without(*request.multipartBody);
    }

private:
    std::string without(const std::string& text) const {
        return overwritten(text, known_.in(text, SHORTEST_IN_MESSAGE));
    }

    HttpHeaders without(const HttpHeaders& headers) const {
        HttpHeaders overwritten;
        for (const auto& [name, value] : headers) overwritten.addHeaderValue(name, without(value));
        return overwritten;
    }

    MultipartBody without(const MultipartBody& body) const {
        MultipartBody overwritten;
        const auto addPart = [&](auto part) {
            PartHeader header = part.getHeader();
            header.setCustomHeaders(without(header.getCustomHeaders()));
            part.setHeader(std::move(header));
            if constexpr (std::is_same_v<decltype(part), DataPart>)
                part.setData(without(part.getData()));
            overwritten.addPart(std::move(part));
        };
        for (const auto& part : body.getContent()) std::visit(addPart, part);
        return overwritten;
    }

    const QuotableSecrets& known_;
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

std::vector<RecordedExchange> withoutCredentials(std::vector<TakenExchange> taken,
                                                 const Credentials& credentials) {
    const SecretNames names(credentials.further());
    QuotableSecrets known;
    for (const auto& [exchange, bodyBefore] : taken) {
        known.take(exchange.request, names);
        if (exchange.response) known.take(*exchange.response, bodyBefore, names);
    }
    const RequestOverwriting overwriting(known);
    std::vector<RecordedExchange> blanked;
    for (auto& [exchange, bodyBefore] : taken) {
        const ResponseBlanking blanking(exchange.request, known, names);
        if (exchange.failure) blanking.blankSentence(exchange.failure->text);
        if (exchange.response) blanking.blank(*exchange.response, bodyBefore);
        exchange.request = withoutCredentials(std::move(exchange.request), credentials);
        overwriting.overwrite(exchange.request);
        blanked.push_back(std::move(exchange));
    }
    return blanked;
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

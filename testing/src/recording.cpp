#include "recording.h"

#include <stdexcept>
#include <type_traits>
#include <utility>
#include <variant>

#include "credentials.h"
#include "header_line.h"
#include "httpclient_core/exceptions.h"

namespace tavrin::httpclient_testing::detail {
namespace {

using httpclient_core::DataPart;
using httpclient_core::FilePart;
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

HttpHeaders withoutCredentials(const HttpHeaders& headers, const CredentialNames& further) {
    HttpHeaders blanked;
    for (const auto& [name, value] : headers) {
        blanked.addHeaderValue(name, fieldValueWithoutCredentials(name, value, further));
    }
    return blanked;
}

// The media type alone, without parameters; "" if there is none.
std::string mediaType(const HttpHeaders& headers) {
    const auto type = headers.find(HttpHeaders::CONTENT_TYPE);
    if (type == headers.end()) return {};
    return std::string(withoutBlanks(type->second.substr(0, type->second.find(';'))));
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && sameName(text.substr(text.size() - end.size()), end);
}

std::string bodyWithoutCredentials(const std::string& body, const HttpHeaders& headers,
                                   const CredentialNames& further) {
    const std::string type = mediaType(headers);
    if (endsWith(type, "/x-www-form-urlencoded"))
        return parametersWithoutCredentials(body, further);
    if (endsWith(type, "/json") || endsWith(type, "+json")) {
        return jsonWithoutCredentials(body, further);
    }
    return body;
}

template <typename Part>
Part partWithoutCredentials(Part part, const CredentialNames& further) {
    PartHeader header = part.getHeader();
    header.setCustomHeaders(withoutCredentials(header.getCustomHeaders(), further));
    part.setHeader(std::move(header));
    if constexpr (std::is_same_v<Part, DataPart>) {
        if (isSecretParameter(part.getHeader().getPartName(), further)) part.setData(BLANKED);
    }
    return part;
}

MultipartBody withoutCredentials(const MultipartBody& body, const CredentialNames& further) {
    MultipartBody blanked;
    for (const auto& part : body.getContent()) {
        std::visit([&](const auto& one) { blanked.addPart(partWithoutCredentials(one, further)); },
                   part);
    }
    return blanked;
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
    return text;
}

}  // namespace

RecordedRequest withoutCredentials(RecordedRequest request, const CredentialNames& further) {
    request.url = urlWithoutCredentials(request.url, further);
    if (request.body) {
        request.body = bodyWithoutCredentials(*request.body, request.headers, further);
    }
    if (request.multipartBody) {
        request.multipartBody = withoutCredentials(*request.multipartBody, further);
    }
    request.headers = withoutCredentials(request.headers, further);
    return request;
}

RecordedExchange withoutCredentials(RecordedExchange exchange, const CredentialNames& further) {
    const std::string user = userInfo(exchange.request.url);
    if (exchange.failure && !user.empty()) {
        exchange.failure->text =
            replaced(exchange.failure->text, user + "@", BLANKED + std::string("@"));
    }
    exchange.request = withoutCredentials(std::move(exchange.request), further);
    if (exchange.response) {
        RecordedResponse& response = *exchange.response;
        response.body = bodyWithoutCredentials(response.body, response.headers, further);
        response.headers = withoutCredentials(response.headers, further);
        response.effectiveUrl = urlWithoutCredentials(response.effectiveUrl, further);
    }
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

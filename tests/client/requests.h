#pragma once

#include <future>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "httpclient_core/configuration.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/multipart.h"
#include "httpclient_core/retry.h"

namespace tavrin::httpclient_core::test {

inline constexpr char FILE_URL[] = "http://host/file";

inline HttpRequest get(HttpHeaders headers = {}) {
    return HttpRequest(HttpMethod::GET, URL(FILE_URL), std::move(headers));
}

inline HttpRequest put(std::string body) {
    HttpRequest request(HttpMethod::PUT, URL(FILE_URL), {});
    request.setRequestBody(std::move(body));
    return request;
}

/// Has the Content-Type that the library is to remove.
inline HttpRequest postMultipart() {
    HttpRequest request(HttpMethod::POST, URL(FILE_URL), {{"Content-Type", "multipart/form-data"}});
    request.setMultipartBody(MultipartBody().withPart(DataPart(PartHeader("field"), "value")));
    return request;
}

/// A strategy that has a request made that many times, whatever each attempt comes to.
inline RetryStrategy makeAttempts(int count) {
    return [count](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int total,
                   int) { return total < count; };
}

inline ClientConfiguration attempts(int count) {
    return ClientConfiguration().withRetryStrategy(makeAttempts(count));
}

/// The code of the std::future_error that the future ends in; none if it yields a response.
inline std::error_code futureErrorOf(std::future<HttpResponse>& response) {
    try {
        response.get();
    } catch (const std::future_error& error) {
        return error.code();
    }
    return {};
}

}  // namespace tavrin::httpclient_core::test

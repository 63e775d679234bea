#pragma once

#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <system_error>
#include <utility>

#include "httpclient_core/client.h"
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

/// The two ways to make a request, for tests of what holds for both.
enum class Road { SYNCHRONOUS, ASYNCHRONOUS };

inline std::ostream& operator<<(std::ostream& os, Road road) {
    return os << (road == Road::SYNCHRONOUS ? "Synchronous" : "Asynchronous");
}

/// Makes the request and returns its response or throws its exception.
inline HttpResponse send(const HttpClient& client, HttpRequest request, Road road) {
    if (road == Road::SYNCHRONOUS) return client.makeRequest(std::move(request));
    return client.makeAsyncRequest(std::move(request)).get();
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

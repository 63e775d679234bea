#include <httpclient_core/httpclient_core.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <utility>

using namespace tavrin::httpclient_core;

// [transport]
// Answers every request with the request's own body.
class EchoClient : public HttpClient {
public:
    void performRequest(HttpRequest& request, HttpResponse& response) const override {
        if (!request.hasRequestBody())
            throw HttpRequestFailedException("There is nothing to echo.");
        response.setResponseCodeAndReason(HttpResponseCode::OK, "OK");
        response.setHeaders({{"Content-Type", request.getHeaderValue("Content-Type")}});
        response.getResponseBody() << request.getRequestBody().rdbuf();
    }

    void performAsyncRequest(HttpRequest request, HttpResponse response, std::uint64_t,
                             RetryTask completion) const override {
        std::exception_ptr error;
        try {
            performRequest(request, response);
        } catch (...) {
            error = std::current_exception();
        }
        completion(std::move(request), std::move(response), error);
    }
};
// [transport]

int main() {
    const EchoClient client;

    // [use]
    HttpRequest request(HttpMethod::POST, URL("echo:"), {});
    request.setRequestBody("Hello.");
    std::cout << client.makeAsyncRequest(std::move(request)).get().getResponseBodyString() << '\n';

    try {
        client.makeRequest(HttpRequest(HttpMethod::GET, URL("echo:"), {}));
    } catch (const HttpRequestFailedException& failure) {
        std::cout << failure.what() << '\n';
        return 0;
    }
    // [use]
    return 1;
}

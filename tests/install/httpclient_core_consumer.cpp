#include <httpclient_core/httpclient_core.h>

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <utility>

namespace http = tavrin::httpclient_core;

// Answers every request with the request's own body, without a network.
class EchoClient : public http::HttpClient {
public:
    void performRequest(http::HttpRequest& request, http::HttpResponse& response) const override {
        response.setResponseCodeAndReason(http::HttpResponseCode::OK, "OK");
        response.setResponseBody(request.getRequestBodyString());
    }

    void performAsyncRequest(http::HttpRequest request, http::HttpResponse response, std::uint64_t,
                             http::RetryTask completion) const override {
        performRequest(request, response);
        completion(std::move(request), std::move(response), nullptr);
    }
};

int main() {
    const EchoClient client;

    http::HttpRequest synchronous(http::HttpMethod::POST, http::URL("http://example.org/"), {});
    synchronous.setRequestBody("echoed");
    const std::string echoed = client.makeRequest(std::move(synchronous)).getResponseBodyString();

    http::HttpRequest asynchronous(http::HttpMethod::POST, http::URL("http://example.org/"), {});
    asynchronous.setRequestBody("later");
    const std::string later =
        client.makeAsyncRequest(std::move(asynchronous)).get().getResponseBodyString();

    std::cout << echoed << ' ' << later << '\n';
    return echoed == "echoed" && later == "later" ? 0 : 1;
}

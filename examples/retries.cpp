#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>

#include <chrono>
#include <exception>
#include <iostream>
#include <string>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

// [deadline]
// Retries as `strategy` does, but not behind the deadline.
RetryStrategy until(std::chrono::steady_clock::time_point deadline, RetryStrategy strategy) {
    return [=](const HttpRequest& request, const HttpResponse& response,
               const std::exception_ptr& error, int totalAttempts, int consecutiveAttempts) {
        return std::chrono::steady_clock::now() < deadline &&
               strategy(request, response, error, totalAttempts, consecutiveAttempts);
    };
}
// [deadline]

int main() {
    tavrin::httpclient_testing::FaultServer server;
    server.setPlan("/busy", "503,503,ok");
    server.setPlan("/down", "503");
    const std::string url = server.url("/busy");

    // [strategy]
    // At most 5 attempts; 200 ms, 400 ms, ... between them, from the third one on, and 10 s at
    // most.
    const RetryStrategy patient =
        defaultRetryStrategy(5, 100, std::chrono::seconds(10), downloadIsRetriable());
    const CurlHttpClient client(ClientConfiguration().withRetryStrategy(patient));

    const HttpResponse response = client.makeRequest(HttpRequest(HttpMethod::GET, URL(url), {}));
    std::cout << response.getResponseCode() << '\n';
    // [strategy]

    const auto attempts = server.requests().size();
    std::cout << attempts << " attempts\n";

    HttpRequest late(HttpMethod::GET, URL(server.url("/down")), {});
    late.setClientConfiguration(
        ClientConfiguration().withRetryStrategy(until(std::chrono::steady_clock::now(), patient)));
    const HttpResponse down = client.makeRequest(std::move(late));

    return isSuccess(response) && attempts == 3 &&
                   down.getResponseCode() == HttpResponseCode::SERVICE_UNAVAILABLE &&
                   server.requests().size() == 4
               ? 0
               : 1;
}

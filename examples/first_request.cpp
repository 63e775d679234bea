#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>

#include <iostream>
#include <string>
#include <utility>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

int main() {
    // Answers a POST with the SHA-256 of what it received.
    const tavrin::httpclient_testing::FaultServer server;
    const std::string url = server.url("/notes");

    // [request]
    const CurlHttpClient client;

    HttpRequest request(HttpMethod::POST, URL(url), {{"Accept", "text/plain"}});
    request.setQueryParameters({{"title", "tea & milk"}});
    request.setRequestBody("Two spoons of sugar.");

    const HttpResponse response = client.makeRequest(std::move(request));
    std::cout << response.getResponseCode() << ' ' << response.getResponseCodeReason() << '\n'
              << response.getHeaderValue("content-type") << '\n'
              << response.getResponseBodyString() << '\n';
    // [request]

    const auto received = server.requests().at(0);
    return isSuccess(response) && received.body == "Two spoons of sugar." &&
                   received.target == "/notes?title=tea%20%26%20milk"
               ? 0
               : 1;
}

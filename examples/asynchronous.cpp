#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>

#include <exception>
#include <future>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

int main() {
    tavrin::httpclient_testing::FaultServer server;
    server.setPlan("/missing", "404");
    const std::string base = server.url("");

    // [futures]
    const CurlHttpClient client;

    std::vector<std::future<HttpResponse>> responses;
    for (const std::string path : {"/bytes/1000", "/bytes/2000", "/missing"}) {
        responses.push_back(
            client.makeAsyncRequest(HttpRequest(HttpMethod::GET, URL(base + path), {})));
    }
    for (auto& future : responses) {
        const HttpResponse response = future.get();
        std::cout << response.getResponseCode() << ", " << response.getContentLength() << '\n';
    }
    // [futures]

    // [handler]
    std::promise<int> done;
    client.makeAsyncRequest(
        HttpRequest(HttpMethod::GET, URL(base + "/bytes/1000"), {}),
        [&done](HttpRequest, HttpResponse response, std::exception_ptr error) {
            done.set_value(error ? -1 : static_cast<int>(response.getResponseCode()));
        });
    // [handler]

    return done.get_future().get() == 200 && server.requests().size() == 4 ? 0 : 1;
}

#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>

#include <chrono>
#include <iostream>
#include <string>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
namespace kit = tavrin::httpclient_testing;

int main() {
    // [server]
    // Serves a million bytes; resets the connection after 400,000, and closes it 300,000 later.
    kit::FaultServer server;
    server.serve("/film", kit::ServedContent{7, 1000000});
    server.setPlan("/film", "rst@400000,fin@300000,ok");
    // [server]

    // [download]
    const CurlHttpClient client(ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        defaultRetryStrategy(5, 0, std::chrono::seconds(1), downloadIsRetriable())));
    const HttpResponse response =
        client.makeRequest(HttpRequest(HttpMethod::GET, URL(server.url("/film")), {}));

    const bool identical = response.getResponseBodyString() == server.content("/film").all();
    std::cout << (identical ? "identical" : "damaged") << '\n';
    for (const kit::ReceivedRequest& request : server.requests()) {
        std::cout << request.stepText << ": " << request.header("Range").value_or("everything")
                  << '\n';
    }
    // [download]

    return identical && server.requests().size() == 3 ? 0 : 1;
}

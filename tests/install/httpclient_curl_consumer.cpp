#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>

#include <exception>
#include <iostream>

namespace http = tavrin::httpclient_core;

int main() {
    const tavrin::httpclient_curl::CurlHttpClient client;
    try {
        // Nobody listens on port 1; what counts is that the transport gets as far as finding that
        // out.
        client.makeRequest(
            http::HttpRequest(http::HttpMethod::GET, http::URL("http://127.0.0.1:1/"), {}));
    } catch (const http::HttpRequestFailedException& refused) {
        std::cout << refused.what() << '\n';
        return 0;
    }
    return 1;
}

#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>

#include <iostream>
#include <string>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

// Prints what the URL has.
int main(int count, char** arguments) {
    if (count != 2) return 2;
    try {
        const HttpResponse response =
            CurlHttpClient().makeRequest(HttpRequest(HttpMethod::GET, URL(arguments[1]), {}));
        std::cout << response.getResponseBodyString();
        return isSuccess(response) ? 0 : 1;
    } catch (const HttpRequestFailedException& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}

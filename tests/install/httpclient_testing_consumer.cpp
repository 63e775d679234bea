#include <httpclient_core/httpclient_core.h>
#include <httpclient_testing/fault_server.h>
#include <httpclient_testing/scripted_http_client.h>

#include <iostream>
#include <string>

namespace http = tavrin::httpclient_core;
namespace kit = tavrin::httpclient_testing;

int main() {
    const kit::FaultServer server;
    const std::string url = server.url("/file");

    kit::ScriptedHttpClient client;
    client.expect({http::HttpMethod::GET, url}, kit::ScriptedAnswer(404, "Not Found"));
    const http::HttpResponse response =
        client.makeRequest(http::HttpRequest(http::HttpMethod::GET, http::URL(url), {}));
    client.verify();

    std::cout << url << ' ' << response.getResponseCode() << '\n';
    return response.getResponseCode() == http::HttpResponseCode::NOT_FOUND ? 0 : 1;
}

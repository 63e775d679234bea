#include <httpclient_core/httpclient_core.h>
#include <httpclient_testing/fault_server.h>
#include <httpclient_testing/recording_http_client.h>
#include <httpclient_testing/replaying_http_client.h>
#include <httpclient_testing/scripted_http_client.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace http = tavrin::httpclient_core;
namespace kit = tavrin::httpclient_testing;

http::HttpResponse get(const http::HttpClient& client, const std::string& url) {
    return client.makeRequest(http::HttpRequest(http::HttpMethod::GET, http::URL(url), {}));
}

int main() {
    const kit::FaultServer server;
    const std::string url = server.url("/file");
    const std::string file = "/tmp/consumer-" + std::to_string(::getpid()) + ".json";

    kit::ScriptedHttpClient client;
    client.expect({http::HttpMethod::GET, url}, kit::ScriptedAnswer(404, "Not Found"));
    { get(kit::RecordingHttpClient(client, file), url); }
    client.verify();

    const kit::ReplayingHttpClient replaying(file);
    std::remove(file.c_str());
    const http::HttpResponse response = get(replaying, url);
    replaying.verify();

    std::cout << url << ' ' << response.getResponseCode() << '\n';
    return response.getResponseCode() == http::HttpResponseCode::NOT_FOUND ? 0 : 1;
}

#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>
#include <httpclient_testing/recording_http_client.h>
#include <httpclient_testing/replaying_http_client.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
namespace kit = tavrin::httpclient_testing;

namespace {

// [tested]
// The code under test: stores a text and returns the checksum that the server answers with.
std::string store(const HttpClient& client, const std::string& url, const std::string& text) {
    HttpRequest request(HttpMethod::PUT, URL(url), {{"Authorization", "Bearer 5ecre7"}});
    request.setRequestBody(text);
    return client.makeRequest(std::move(request)).getResponseBodyString();
}
// [tested]

}  // namespace

int main() {
    std::string directory = (std::filesystem::temp_directory_path() / "recording-XXXXXX").string();
    if (!::mkdtemp(directory.data())) return 1;
    const std::string file = directory + "/stored.json";
    std::string url;
    std::string recorded;
    {
        const kit::FaultServer server;
        url = server.url("/notes");
        // [record]
        // Once, with the server at hand:
        CurlHttpClient transport;
        const kit::RecordingHttpClient client(transport, file);
        recorded = store(client, url, "tea");
        client.save();
        // [record]
    }

    // [replay]
    // From then on without it:
    const kit::ReplayingHttpClient client(file);
    const std::string replayed = store(client, url, "tea");
    client.verify();
    std::cout << (replayed == recorded ? "the same answer" : "another answer") << '\n';
    // [replay]

    std::ifstream lines(file);
    bool secret = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("Authorization") != std::string::npos) std::cout << line << '\n';
        secret = secret || line.find("5ecre7") != std::string::npos;
    }
    std::filesystem::remove_all(directory);
    return replayed == recorded && replayed.size() == 64 && !secret ? 0 : 1;
}

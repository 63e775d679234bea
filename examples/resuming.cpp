#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>
#include <httpclient_testing/sha256.h>

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
namespace kit = tavrin::httpclient_testing;

namespace {

std::string sha256OfFile(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return kit::sha256Hex(content.str());
}

}  // namespace

int main() {
    // Closes the connection after a million bytes, and after half a million more.
    kit::FaultServer server;
    server.serve("/file", kit::ServedContent{7, 4000000});
    server.setPlan("/file", "fin@1000000,fin@500000,ok");
    const std::string url = server.url("/file");
    std::string directory = (std::filesystem::temp_directory_path() / "resuming-XXXXXX").string();
    if (!::mkdtemp(directory.data())) return 1;
    const std::filesystem::path path = std::filesystem::path(directory) / "file";

    // [download]
    const CurlHttpClient client(ClientConfiguration().withResumeOnRetry(true).withRetryStrategy(
        defaultRetryStrategy(10, 100, std::chrono::seconds(10), downloadIsRetriable())));

    HttpRequest request(HttpMethod::GET, URL(url), {});
    request.setResponseStreamFactory(
        [path](HttpResponseCode, const std::string&, const HttpHeaders&) {
            const auto mode = std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary;
            return std::make_unique<std::fstream>(path, mode);
        });
    client.makeRequest(std::move(request));
    // [download]

    for (const auto& attempt : server.requests()) {
        std::cout << attempt.method << ' ' << attempt.header("Range").value_or("everything")
                  << '\n';
    }
    const bool identical = sha256OfFile(path) == server.content("/file").sha256();
    std::cout << (identical ? "identical" : "damaged") << '\n';

    std::filesystem::remove_all(directory);
    return identical && server.requests().size() == 3 ? 0 : 1;
}

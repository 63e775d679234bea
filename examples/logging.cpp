#include <httpclient_core/httpclient_core.h>
#include <httpclient_curl/curl_http_client.h>
#include <httpclient_testing/fault_server.h>

#include <boost/log/expressions.hpp>
#include <boost/log/utility/setup/console.hpp>
#include <chrono>
#include <iostream>
#include <sstream>
#include <string>

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;

int main() {
    const tavrin::httpclient_testing::FaultServer server("503");
    const std::string url = server.url("/busy");

    // [sink]
    namespace expressions = boost::log::expressions;
    boost::log::add_console_log(
        std::cout, boost::log::keywords::format =
                       (expressions::stream << expressions::attr<std::string>("Channel") << " "
                                            << expressions::attr<int>("Severity") << ": "
                                            << expressions::smessage));
    setLogSeverityMask(LOG_CHANNEL, LOG_DECISION | LOG_EXCEPTION | LOG_MISUSE);
    // [sink]

    // [request]
    HttpRequest request(HttpMethod::GET, URL(url), {});
    request.setClientConfiguration(ClientConfiguration().withRetryStrategy(
        defaultRetryStrategy(3, 0, std::chrono::seconds(1), downloadIsRetriable())));
    const HttpResponse response = CurlHttpClient().makeRequest(std::move(request));
    // [request]

    return server.requests().size() == 3 && !isSuccess(response) ? 0 : 1;
}

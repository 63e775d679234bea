#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/client.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/retry.h"
#include "httpclient_curl/curl_http_client.h"
#include "httpclient_testing/fault_server.h"

namespace tavrin::httpclient_curl {

using httpclient_core::ClientConfiguration;
using httpclient_core::CompletionHandler;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpRequestCancelledException;
using httpclient_core::HttpRequestFailedException;
using httpclient_core::HttpRequestTimeoutException;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::Progress;
using httpclient_core::ProgressResult;
using httpclient_core::URL;
using httpclient_testing::FaultServer;
using httpclient_testing::FaultServerOptions;
using httpclient_testing::ReceivedRequest;
using httpclient_testing::ServedContent;

// The road that a request takes through the client: the outcomes are the same on both.
enum class Road { SYNCHRONOUS, ASYNCHRONOUS };

inline std::string nameOf(const testing::TestParamInfo<Road>& road) {
    return road.param == Road::SYNCHRONOUS ? "Synchronous" : "Asynchronous";
}

inline HttpResponse send(const CurlHttpClient& client, HttpRequest request, Road road) {
    if (road == Road::SYNCHRONOUS) return client.makeRequest(std::move(request));
    return client.makeAsyncRequest(std::move(request)).get();
}

class OnBothRoads : public testing::TestWithParam<Road> {
protected:
    HttpResponse send(const CurlHttpClient& client, HttpRequest request) const {
        return httpclient_curl::send(client, std::move(request), GetParam());
    }
};

#define ON_BOTH_ROADS(suite)                                                                  \
    INSTANTIATE_TEST_SUITE_P(, suite, testing::Values(Road::SYNCHRONOUS, Road::ASYNCHRONOUS), \
                             nameOf)

inline HttpRequest get(const std::string& url, HttpHeaders headers = {}) {
    return HttpRequest(HttpMethod::GET, URL(url), std::move(headers));
}

inline HttpRequest withBody(HttpMethod method, const std::string& url, std::string body,
                            HttpHeaders headers = {}) {
    HttpRequest request(method, URL(url), std::move(headers));
    request.setRequestBody(std::move(body));
    return request;
}

// One attempt and no more.
inline ClientConfiguration once() {
    ClientConfiguration configuration;
    configuration.setRetryStrategy(httpclient_core::noRetriesStrategy());
    return configuration;
}

// Retries every failure, as often as anybody could want, and resumes.
inline ClientConfiguration stubborn(int attempts = 50) {
    ClientConfiguration configuration;
    configuration.setResumeOnRetry(true);
    configuration.setRetryStrategy([attempts](const HttpRequest&, const HttpResponse& response,
                                              const std::exception_ptr& error, int total, int) {
        return (error != nullptr || !httpclient_core::isSuccess(response)) && total < attempts;
    });
    return configuration;
}

// The text of what `action` throws; "" if it throws nothing.
template <typename Exception = HttpRequestFailedException, typename Action>
std::string failureOf(Action action) {
    try {
        action();
    } catch (const Exception& exception) {
        return exception.what();
    }
    return "";
}

inline std::string hostOf(const FaultServer& server) {
    return "127.0.0.1:" + std::to_string(server.port());
}

}  // namespace tavrin::httpclient_curl

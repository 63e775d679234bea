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
#include "support/road.h"

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
using httpclient_core::test::Road;
using httpclient_core::test::send;
using httpclient_testing::FaultServer;
using httpclient_testing::FaultServerOptions;
using httpclient_testing::ReceivedRequest;
using httpclient_testing::ServedContent;

class OnBothRoads : public testing::TestWithParam<Road> {
protected:
    HttpResponse send(const httpclient_core::HttpClient& client, HttpRequest request) const {
        return httpclient_core::test::send(client, std::move(request), GetParam());
    }
};

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

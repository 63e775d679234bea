#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "exhaustion/show_configuration.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/retry.h"
#include "httpclient_core/websocket_configuration.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using std::chrono::milliseconds;
using test::entryLines;
using test::expectUnchangedWhileMemoryLacks;
using test::longText;
using test::Operation;
using test::refused;
using test::showConfiguration;

// A strategy too large to be kept inside a std::function.
RetryStrategy strategy() {
    return [text = longText("kept")](const HttpRequest&, const HttpResponse&,
                                     const std::exception_ptr&, int, int) { return false; };
}

TEST(ClientConfigurationExhaustion, LeavesTheConfigurationUnchanged) {
    using Configuration = ClientConfiguration;
    const std::string text = longText("new");
    const auto other = Configuration()
                           .withCertificateFile(FilePath(text))
                           .withFollowRedirects(false)
                           .withMaxRedirects(9)
                           .withResumeOnRetry(true)
                           .withConnectTimeout(9)
                           .withResponseTimeout(9)
                           .withIdleTimeout(9)
                           .withIdleSpeed(9)
                           .withMaxThreads(9)
                           .withMaxRequestsPerThread(9)
                           .withRetryStrategy(strategy())
                           .withProxy(text);
    const std::vector<Operation<Configuration>> operations = {
        {"construct", [](Configuration&) { return showConfiguration(Configuration()); }},
        {"copy",
         [](Configuration& configuration) {
             return showConfiguration(Configuration(configuration));
         }},
        {"assign", [=](Configuration& configuration) { configuration = other; }},
        {"certificateFile",
         [](Configuration& configuration) { return configuration.certificateFile().toUtf8(); }},
        {"setCertificateFile",
         [=](Configuration& configuration) { configuration.setCertificateFile(FilePath(text)); }},
        {"withCertificateFile",
         [=](Configuration& configuration) { configuration.withCertificateFile(FilePath(text)); }},
        {"retryStrategy", [](Configuration& configuration) { configuration.retryStrategy(); }},
        {"setRetryStrategy",
         [](Configuration& configuration) { configuration.setRetryStrategy(strategy()); }},
        {"withRetryStrategy",
         [](Configuration& configuration) { configuration.withRetryStrategy(strategy()); }},
        {"proxy", [](Configuration& configuration) { return configuration.proxy(); }},
        {"setProxy", [=](Configuration& configuration) { configuration.setProxy(text); }},
        {"withProxy", [=](Configuration& configuration) { configuration.withProxy(text); }},
    };
    expectUnchangedWhileMemoryLacks(
        [] {
            return Configuration()
                .withCertificateFile(FilePath(longText("file")))
                .withProxy(longText("proxy"));
        },
        showConfiguration, operations);
}

std::string show(const WebSocketClientConfiguration& configuration) {
    std::string text = configuration.certificateFile().toUtf8() +
                       entryLines(configuration.customHandshakeHeaders()) +
                       std::to_string(configuration.maxReadFrameSize()) +
                       std::to_string(configuration.handshakeTimeout()) + "\n";
    for (const auto code : configuration.recoverableConnectErrorCodes()) text += to_string(code);
    if (configuration.connectErrorRecoveryEnabled()) {
        text += configuration.onRecoverableConnectError().target_type().name();
    }
    if (configuration.reconnectEnabled()) {
        text += configuration.onReconnected().target_type().name();
    }
    if (configuration.hasOnReconnectAborted()) {
        text += configuration.onReconnectAborted().target_type().name();
    }
    return text + configuration.reconnectBackoffFcn().target_type().name();
}

// Everything is set, in each KIND to callbacks of types of their own, which are too large to be
// kept inside a std::function.
template <int KIND>
WebSocketClientConfiguration furnished(const std::string& text) {
    return WebSocketClientConfiguration()
        .withCertificateFile(FilePath(text))
        .withCustomHandshakeHeaders({{text, text}})
        .withHandshakeTimeout(KIND)
        .withConnectErrorRecovery([text](HttpResponse&&, unsigned long) { return true; })
        .withRecoverableConnectErrorCodes({HttpResponseCode::NOT_FOUND, HttpResponseCode::CONFLICT})
        .withReconnectEnabled([text](HttpResponse&&) {})
        .withCustomReconnectBackoffFcn([text](const milliseconds& previous, unsigned long) {
            return std::make_pair(previous, true);
        })
        .withOnReconnectAborted([text] {})
        .withMaxReadFrameSize(KIND);
}

std::vector<Operation<WebSocketClientConfiguration>> webSocketOperations() {
    using Configuration = WebSocketClientConfiguration;
    const std::string text = longText("new");
    const auto recover = [text](HttpResponse&&, unsigned long) { return true; };
    const auto reconnected = [text](HttpResponse&&) {};
    const auto backoff = [text](const milliseconds& previous, unsigned long) {
        return std::make_pair(previous, true);
    };
    const auto aborted = [text] {};
    const std::set codes = {HttpResponseCode::GONE, HttpResponseCode::LOCKED};
    const auto other = furnished<1>(text);
    return {
        {"construct", [](Configuration&) { return show(Configuration()); }},
        {"copy", [](Configuration& configuration) { return show(Configuration(configuration)); }},
        {"assign", [=](Configuration& configuration) { configuration = other; }},
        {"certificateFile",
         [](Configuration& configuration) { return configuration.certificateFile().toUtf8(); }},
        {"setCertificateFile",
         [=](Configuration& configuration) { configuration.setCertificateFile(FilePath(text)); }},
        {"withCertificateFile",
         [=](Configuration& configuration) { configuration.withCertificateFile(FilePath(text)); }},
        {"customHandshakeHeaders",
         [](Configuration& configuration) {
             return entryLines(configuration.customHandshakeHeaders());
         }},
        {"setCustomHandshakeHeaders",
         [=](Configuration& configuration) {
             configuration.setCustomHandshakeHeaders({{text, text}});
         }},
        {"withCustomHandshakeHeaders",
         [=](Configuration& configuration) {
             configuration.withCustomHandshakeHeaders({{text, text}});
         }},
        {"setConnectErrorRecovery",
         [=](Configuration& configuration) { configuration.setConnectErrorRecovery(recover); }},
        {"withConnectErrorRecovery",
         [=](Configuration& configuration) { configuration.withConnectErrorRecovery(recover); }},
        {"recoverableConnectErrorCodes",
         [](Configuration& configuration) {
             return std::to_string(configuration.recoverableConnectErrorCodes().size());
         }},
        {"setRecoverableConnectErrorRespCodes",
         [=](Configuration& configuration) {
             configuration.setRecoverableConnectErrorRespCodes(codes);
         }},
        {"withRecoverableConnectErrorCodes",
         [=](Configuration& configuration) {
             configuration.withRecoverableConnectErrorCodes(codes);
         }},
        {"setReconnectEnabled",
         [=](Configuration& configuration) { configuration.setReconnectEnabled(reconnected); }},
        {"withReconnectEnabled",
         [=](Configuration& configuration) { configuration.withReconnectEnabled(reconnected); }},
        {"setCustomReconnectBackoffFcn",
         [=](Configuration& configuration) {
             configuration.setCustomReconnectBackoffFcn(backoff);
         }},
        {"withCustomReconnectBackoffFcn",
         [=](Configuration& configuration) {
             configuration.withCustomReconnectBackoffFcn(backoff);
         }},
        {"setOnReconnectAborted",
         [=](Configuration& configuration) { configuration.setOnReconnectAborted(aborted); }},
        {"withOnReconnectAborted",
         [=](Configuration& configuration) { configuration.withOnReconnectAborted(aborted); }},
    };
}

const auto showWebSocket = [](const WebSocketClientConfiguration& c) { return show(c); };

WebSocketClientConfiguration bareWebSocket() {
    return WebSocketClientConfiguration()
        .withCertificateFile(FilePath(longText("file")))
        .withCustomHandshakeHeaders({{longText("Name"), longText("value")}});
}

TEST(WebSocketClientConfigurationExhaustion, LeavesTheConfigurationUnchanged) {
    const auto operations = webSocketOperations();
    expectUnchangedWhileMemoryLacks(bareWebSocket, showWebSocket, operations);
    expectUnchangedWhileMemoryLacks([] { return furnished<0>(longText("old")); }, showWebSocket,
                                    operations);
}

// The callbacks, by the types of what they hold.
std::vector<Operation<WebSocketClientConfiguration>> callbacksOfAWebSocket() {
    using Configuration = WebSocketClientConfiguration;
    return {
        {"onRecoverableConnectError",
         [](Configuration& configuration) {
             return std::string(configuration.onRecoverableConnectError().target_type().name());
         }},
        {"onReconnected",
         [](Configuration& configuration) {
             return std::string(configuration.onReconnected().target_type().name());
         }},
        {"reconnectBackoffFcn",
         [](Configuration& configuration) {
             return std::string(configuration.reconnectBackoffFcn().target_type().name());
         }},
        {"onReconnectAborted",
         [](Configuration& configuration) {
             return std::string(configuration.onReconnectAborted().target_type().name());
         }},
    };
}

TEST(WebSocketClientConfigurationExhaustion, GetsACallbackWholeOrNotAtAll) {
    expectUnchangedWhileMemoryLacks([] { return furnished<0>(longText("old")); }, showWebSocket,
                                    callbacksOfAWebSocket());
}

TEST(WebSocketClientConfigurationExhaustion, FailsToGetWhatIsAbsentAsItDoesWithMemory) {
    using Configuration = WebSocketClientConfiguration;
    expectUnchangedWhileMemoryLacks(
        bareWebSocket, showWebSocket,
        {{"onRecoverableConnectError",
          refused<std::logic_error>([](Configuration& c) { c.onRecoverableConnectError(); })},
         {"onReconnected", refused<std::logic_error>([](Configuration& c) { c.onReconnected(); })},
         {"onReconnectAborted",
          refused<std::logic_error>([](Configuration& c) { c.onReconnectAborted(); })}});
}

struct Nothing {};

// One attempt that came to `error` and a bare response of that code.
std::string decide(const RetryStrategy& decides, const std::exception_ptr& error, int code) {
    const HttpRequest request(HttpMethod::GET, URL(longText("http://host/")), {});
    HttpResponse response;
    response.setResponseCode(static_cast<HttpResponseCode>(code));
    return decides(request, response, error, 1, 1) ? "yes" : "no";
}

TEST(RetryStrategiesExhaustion, DecideAsTheyDoWithMemory) {
    const auto failed = std::make_exception_ptr(HttpRequestFailedException(longText("failed")));
    const auto fresh = [](int attempts) {
        return defaultRetryStrategy(attempts, 0, std::chrono::seconds(1), defaultIsRetriable());
    };
    const std::vector<Operation<Nothing>> operations = {
        {"success", [=](Nothing&) { return decide(fresh(5), nullptr, 200); }},
        {"limit", [=](Nothing&) { return decide(fresh(1), nullptr, 503); }},
        {"consecutive limit",
         [](Nothing&) {
             return decide(
                 defaultRetryStrategy(5, 0, std::chrono::seconds(1), downloadIsRetriable(), 1),
                 nullptr, 503);
         }},
        {"retry", [=](Nothing&) { return decide(fresh(5), nullptr, 503); }},
        {"failure", [=](Nothing&) { return decide(fresh(5), failed, -1); }},
    };
    expectUnchangedWhileMemoryLacks([] { return Nothing(); },
                                    [](const Nothing&) { return std::string(); }, operations);
}

TEST(DefaultRetryExhaustion, IsAssignedWholeOrNotAtAllByWayOfACopy) {
    const auto predicate = [text = longText("kept")](HttpMethod, bool, HttpResponseCode) {
        return true;
    };
    const DefaultRetry other{9, 9, 9, 9, predicate, [text = longText("kept")](int) {}};
    expectUnchangedWhileMemoryLacks(
        [] { return DefaultRetry(); },
        [](const DefaultRetry& retry) {
            return std::to_string(retry.maxTotalAttempts) + (retry.isRetriable ? "set" : "unset") +
                   (retry.backoffHook ? "set" : "unset");
        },
        {{"copy and exchange", [&](DefaultRetry& retry) { retry = DefaultRetry(other); }}});
}

// The text outlives the exception.
std::string textOf(const std::exception& exception) { return exception.what(); }

TEST(ExceptionsExhaustion, TellTheWholeTextOrAreNotMade) {
    const std::vector<Operation<Nothing>> operations = {
        {"failed", [](Nothing&) { return textOf(HttpRequestFailedException(longText("text"))); }},
        {"timeout", [](Nothing&) { return textOf(HttpRequestTimeoutException()); }},
        {"cancelled", [](Nothing&) { return textOf(HttpRequestCancelledException()); }},
        {"bad WebSocket", [](Nothing&) { return textOf(BadWebSocketException(longText("text"))); }},
        {"no connection", [](Nothing&) { return textOf(NoExistingConnectionException()); }},
        {"already reading",
         [](Nothing&) { return textOf(ReadCalledWhenAlreadyReadingException()); }},
        {"too large a frame",
         [](Nothing&) { return textOf(MaxWriteFrameSizeExceededException(2, 1)); }},
    };
    expectUnchangedWhileMemoryLacks([] { return Nothing(); },
                                    [](const Nothing&) { return std::string(); }, operations);
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gmock/gmock.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/websocket_configuration.h"
#include "support/entry_lines.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using std::chrono::milliseconds;
using test::entryLines;
using test::LogCapture;
using test::ThrowsExactly;

using Configuration = WebSocketClientConfiguration;
using Backoff = std::pair<milliseconds, bool>;

static_assert(std::is_default_constructible_v<Configuration>);
static_assert(std::is_copy_constructible_v<Configuration>);
static_assert(std::is_copy_assignable_v<Configuration>);
static_assert(std::is_move_constructible_v<Configuration>);
static_assert(std::is_move_assignable_v<Configuration>);
static_assert(!std::is_polymorphic_v<Configuration>);
static_assert(std::is_same_v<Configuration::RecoverableConnectErrorCallback,
                             std::function<bool(HttpResponse&&, unsigned long)>>);
static_assert(
    std::is_same_v<Configuration::ReconnectedCallback, std::function<void(HttpResponse&&)>>);
static_assert(std::is_same_v<
              Configuration::ReconnectBackoffFcn,
              std::function<std::pair<milliseconds, bool>(const milliseconds&, unsigned long)>>);
static_assert(std::is_same_v<decltype(&Configuration::maxReadFrameSize),
                             unsigned long (Configuration::*)() const>);
static_assert(std::is_same_v<decltype(&Configuration::maxWriteFrameSize),
                             unsigned long (Configuration::*)() const>);
static_assert(std::is_same_v<decltype(&Configuration::handshakeTimeout),
                             std::int64_t (Configuration::*)() const>);
static_assert(std::is_same_v<decltype(&Configuration::pingInterval),
                             std::optional<std::int64_t> (Configuration::*)() const>);

// All settings as one text, so that a test sees what a setter touches besides its own.
std::string described(const Configuration& configuration) {
    std::string text =
        "certificate " + configuration.certificateFile().toUtf8() + "\nhandshake " +
        std::to_string(configuration.handshakeTimeout()) + "\npings " +
        (configuration.pingInterval() ? std::to_string(*configuration.pingInterval()) : "none") +
        "\nread " + std::to_string(configuration.maxReadFrameSize()) + "\nwrite " +
        std::to_string(configuration.maxWriteFrameSize()) + "\nrecoverable";
    for (const HttpResponseCode code : configuration.recoverableConnectErrorCodes()) {
        text += " " + to_string(code);
    }
    text += configuration.connectErrorRecoveryEnabled() ? "\nrecovers" : "";
    text += configuration.reconnectEnabled() ? "\nreconnects" : "";
    text += configuration.hasOnReconnectAborted() ? "\ntells when it gives up" : "";
    return text + "\n" + entryLines(configuration.customHandshakeHeaders());
}

std::string defaults() {
    return "certificate \nhandshake 5000\npings none\nread 16384\nwrite 4096\nrecoverable 407\n";
}

// The defaults with one piece of their text changed.
std::string defaultsBut(const std::string& piece, const std::string& replacement) {
    std::string text = defaults();
    return text.replace(text.find(piece), piece.size(), replacement);
}

TEST(WebSocketClientConfiguration, HasItsDefaults) {
    EXPECT_EQ(described(Configuration()), defaults());
    EXPECT_TRUE(Configuration().certificateFile().empty());
    EXPECT_TRUE(Configuration().customHandshakeHeaders().empty());
}

TEST(WebSocketClientConfiguration, KeepsACertificateFile) {
    Configuration configuration;

    configuration.setCertificateFile("/a.pem");
    EXPECT_EQ(described(configuration), defaultsBut("certificate ", "certificate /a.pem"));

    EXPECT_EQ(&configuration.withCertificateFile(FilePath()), &configuration);
    EXPECT_EQ(described(configuration), defaults());
}

TEST(WebSocketClientConfiguration, ReplacesAllHandshakeHeaders) {
    Configuration configuration;

    configuration.setCustomHandshakeHeaders(HttpHeaders{{"A", "1"}, {"a", "2"}});
    EXPECT_EQ(described(configuration), defaults() + "A: 1\na: 2\n");

    EXPECT_EQ(&configuration.withCustomHandshakeHeaders(HttpHeaders{{"B", "3"}}), &configuration);
    EXPECT_EQ(described(configuration), defaults() + "B: 3\n");
    EXPECT_FALSE(configuration.customHandshakeHeaders().hasHeader("A"));
}

TEST(WebSocketClientConfiguration, HandsOutACopyOfTheHandshakeHeaders) {
    Configuration configuration;
    configuration.setCustomHandshakeHeaders(HttpHeaders{{"A", "1"}});
    HttpHeaders headers = configuration.customHandshakeHeaders();

    headers.setHeaderValue("A", "2");

    EXPECT_EQ(entryLines(configuration.customHandshakeHeaders()), "A: 1\n");
}

TEST(WebSocketClientConfiguration, KeepsAnyHandshakeTimeout) {
    Configuration configuration;

    for (const std::int64_t timeout : {std::int64_t{0}, INT64_MIN, INT64_MAX}) {
        const std::string expected = defaultsBut("5000", std::to_string(timeout));

        configuration.setHandshakeTimeout(timeout);
        EXPECT_EQ(described(configuration), expected);

        configuration.setHandshakeTimeout(1);
        EXPECT_EQ(&configuration.withHandshakeTimeout(timeout), &configuration);
        EXPECT_EQ(described(configuration), expected);
    }
}

TEST(WebSocketClientConfiguration, KeepsAPingIntervalOrNone) {
    Configuration configuration;

    configuration.setPingInterval(250);
    EXPECT_EQ(described(configuration), defaultsBut("pings none", "pings 250"));

    EXPECT_EQ(&configuration.withPingInterval(std::nullopt), &configuration);
    EXPECT_EQ(described(configuration), defaults());

    configuration.withPingInterval(0);
    EXPECT_EQ(configuration.pingInterval(), std::optional<std::int64_t>(0));
}

TEST(WebSocketClientConfiguration, KeepsAnyFrameSizes) {
    for (const unsigned long size : {0ul, 1ul, ULONG_MAX}) {
        Configuration configuration;

        configuration.setMaxReadFrameSize(size);
        EXPECT_EQ(described(configuration), defaultsBut("16384", std::to_string(size)));

        configuration.setMaxReadFrameSize(16384);
        configuration.setMaxWriteFrameSize(size);
        EXPECT_EQ(described(configuration), defaultsBut("4096", std::to_string(size)));

        configuration.setMaxWriteFrameSize(7);
        EXPECT_EQ(&configuration.withMaxReadFrameSize(5), &configuration);
        EXPECT_EQ(&configuration.withMaxWriteFrameSize(size), &configuration);
        EXPECT_EQ(configuration.maxReadFrameSize(), 5u);
        EXPECT_EQ(configuration.maxWriteFrameSize(), size);
    }
}

TEST(WebSocketClientConfiguration, ReplacesTheRecoverableCodes) {
    Configuration configuration;

    configuration.setRecoverableConnectErrorRespCodes(
        {HttpResponseCode::SERVICE_UNAVAILABLE, HttpResponseCode::UNAUTHORIZED});
    EXPECT_EQ(described(configuration), defaultsBut("407", "401 503"));

    EXPECT_EQ(&configuration.withRecoverableConnectErrorCodes(
                  {HttpResponseCode::PROXY_AUTHENTICATION_REQUIRED, HttpResponseCode::OK}),
              &configuration);
    EXPECT_EQ(described(configuration), defaultsBut("407", "200 407"));

    configuration.withRecoverableConnectErrorCodes({});
    EXPECT_EQ(described(configuration), defaultsBut(" 407", ""));
}

TEST(WebSocketClientConfiguration, RecoversFromConnectErrorsOnceACallbackIsSet) {
    Configuration configuration;

    configuration.setConnectErrorRecovery([](HttpResponse&& response, unsigned long count) {
        return response.getResponseCode() == HttpResponseCode::OK && count == ULONG_MAX;
    });

    EXPECT_EQ(described(configuration), defaultsBut("407", "407\nrecovers"));
    HttpResponse response;
    response.setResponseCode(HttpResponseCode::OK);
    const auto callback = configuration.onRecoverableConnectError();
    EXPECT_TRUE(callback(std::move(response), ULONG_MAX));
    EXPECT_FALSE(callback(HttpResponse(), 1));
}

TEST(WebSocketClientConfiguration, ReplacesTheConnectErrorCallback) {
    Configuration configuration;
    configuration.setConnectErrorRecovery([](HttpResponse&&, unsigned long) { return false; });

    EXPECT_EQ(&configuration.withConnectErrorRecovery(
                  [](HttpResponse&&, unsigned long count) { return count == 2; }),
              &configuration);

    EXPECT_TRUE(configuration.onRecoverableConnectError()(HttpResponse(), 2));
    EXPECT_FALSE(configuration.onRecoverableConnectError()(HttpResponse(), 3));
}

TEST(WebSocketClientConfiguration, ReconnectsOnceACallbackIsSet) {
    Configuration configuration;
    HttpResponseCode code{};
    configuration.setReconnectEnabled(
        [&](HttpResponse&& response) { code = response.getResponseCode(); });
    EXPECT_EQ(described(configuration), defaultsBut("407", "407\nreconnects"));

    configuration.onReconnected()(HttpResponse());
    EXPECT_EQ(code, static_cast<HttpResponseCode>(-1));

    EXPECT_EQ(&configuration.withReconnectEnabled(
                  [&](HttpResponse&&) { code = HttpResponseCode::SWITCHING_PROTOCOLS; }),
              &configuration);
    configuration.onReconnected()(HttpResponse());
    EXPECT_EQ(code, HttpResponseCode::SWITCHING_PROTOCOLS);
}

TEST(WebSocketClientConfiguration, TellsThatReconnectionWasGivenUpOnceACallbackIsSet) {
    Configuration configuration;
    std::string calls;
    configuration.setOnReconnectAborted([&] { calls += "first"; });
    EXPECT_EQ(described(configuration), defaultsBut("407", "407\ntells when it gives up"));

    configuration.onReconnectAborted()();
    EXPECT_EQ(&configuration.withOnReconnectAborted([&] { calls += " second"; }), &configuration);
    configuration.onReconnectAborted()();

    EXPECT_EQ(calls, "first second");
}

TEST(WebSocketClientConfiguration, HandsOutNoCallbackThatWasNeverSet) {
    const LogCapture log;
    const Configuration configuration;

    EXPECT_THAT([&] { configuration.onRecoverableConnectError(); },
                ThrowsExactly<std::logic_error>("OnRecoverableConnectError not set."));
    EXPECT_THAT([&] { configuration.onReconnected(); },
                ThrowsExactly<std::logic_error>("OnReconnected not set."));
    EXPECT_THAT([&] { configuration.onReconnectAborted(); },
                ThrowsExactly<std::logic_error>("OnReconnectAborted not set."));
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

TEST(WebSocketClientConfiguration, CountsAnEmptyCallbackAsSet) {
    Configuration configuration;

    configuration.setConnectErrorRecovery(nullptr);
    configuration.setReconnectEnabled(nullptr);
    configuration.setOnReconnectAborted(nullptr);

    EXPECT_EQ(described(configuration),
              defaultsBut("407", "407\nrecovers\nreconnects\ntells when it gives up"));
    EXPECT_FALSE(configuration.onRecoverableConnectError());
    EXPECT_FALSE(configuration.onReconnected());
    EXPECT_FALSE(configuration.onReconnectAborted());
    EXPECT_THROW(configuration.onReconnectAborted()(), std::bad_function_call);
}

TEST(WebSocketClientConfiguration, StaysEnabledWhenACallbackIsReplacedByAnEmptyOne) {
    Configuration configuration;
    configuration.setReconnectEnabled([](HttpResponse&&) {});

    configuration.withReconnectEnabled(nullptr);

    EXPECT_TRUE(configuration.reconnectEnabled());
    EXPECT_FALSE(configuration.onReconnected());
}

TEST(WebSocketClientConfiguration, HandsOutCopiesOfItsCallbacks) {
    Configuration configuration;
    std::vector<int> counts;
    configuration.setOnReconnectAborted(
        [&counts, count = 0]() mutable { counts.push_back(++count); });

    const auto callback = configuration.onReconnectAborted();
    callback();
    callback();
    configuration.onReconnectAborted()();

    EXPECT_THAT(counts, testing::ElementsAre(1, 2, 1));
}

TEST(WebSocketBackoff, BeginsWith30MillisecondsWhateverCameBefore) {
    const auto backoff = Configuration().reconnectBackoffFcn();

    for (const unsigned long attempt : {0ul, 1ul}) {
        for (const std::int64_t previous : {std::int64_t{0}, std::int64_t{30}, std::int64_t{999},
                                            std::int64_t{-5}, INT64_MIN, INT64_MAX}) {
            EXPECT_EQ(backoff(milliseconds(previous), attempt), Backoff(30, true)) << previous;
        }
    }
}

TEST(WebSocketBackoff, DoublesTheDelayUpTo20Seconds) {
    const auto backoff = Configuration().reconnectBackoffFcn();
    std::vector<std::int64_t> delays;

    milliseconds delay(0);
    for (unsigned long attempt = 1; attempt <= 13; ++attempt) {
        const auto [next, goOn] = backoff(delay, attempt);
        EXPECT_TRUE(goOn);
        delays.push_back(next.count());
        delay = next;
    }

    EXPECT_THAT(delays, testing::ElementsAre(30, 60, 120, 240, 480, 960, 1920, 3840, 7680, 15360,
                                             20000, 20000, 20000));
}

TEST(WebSocketBackoff, DependsOnTheLastDelayAloneAfterTheFirstAttempt) {
    const auto backoff = Configuration().reconnectBackoffFcn();
    const std::vector<std::pair<std::int64_t, std::int64_t>> delays = {
        {0, 0},
        {30, 60},
        {9999, 19998},
        {10000, 20000},
        {10001, 20000},
        {15000, 20000},
        {20000, 20000},
        {-5, -10},
        {-30000, -60000},
        {INT64_MAX, 20000},
        {INT64_MIN / 2 + 1, INT64_MIN + 2},
        {INT64_MIN / 2, INT64_MIN},
        {INT64_MIN, INT64_MIN}};

    for (const unsigned long attempt : {2ul, 7ul, 99ul, ULONG_MAX}) {
        for (const auto& [previous, next] : delays) {
            EXPECT_EQ(backoff(milliseconds(previous), attempt), Backoff(next, true)) << previous;
        }
    }
}

TEST(WebSocketBackoff, MayBeAskedForFromManyThreads) {
    const auto backoff = Configuration().reconnectBackoffFcn();
    std::vector<std::thread> threads;
    std::vector<Backoff> delays(8);
    for (Backoff& delay : delays) {
        threads.emplace_back([&] { delay = backoff(milliseconds(100), 2); });
    }

    for (std::thread& thread : threads) thread.join();

    EXPECT_THAT(delays, testing::Each(Backoff(200, true)));
}

TEST(WebSocketBackoff, IsTheCallersOwnOnceItIsSet) {
    Configuration configuration;
    configuration.setCustomReconnectBackoffFcn(
        [](const milliseconds& previous, unsigned long attempt) {
            return Backoff(previous + milliseconds(attempt), attempt < 3);
        });
    EXPECT_EQ(configuration.reconnectBackoffFcn()(milliseconds(10), 1), Backoff(11, true));
    EXPECT_EQ(configuration.reconnectBackoffFcn()(milliseconds(10), 3), Backoff(13, false));
    EXPECT_EQ(described(configuration), defaults());

    EXPECT_EQ(&configuration.withCustomReconnectBackoffFcn(
                  [](const milliseconds&, unsigned long) { return Backoff(1, false); }),
              &configuration);
    EXPECT_EQ(configuration.reconnectBackoffFcn()(milliseconds(10), 1), Backoff(1, false));
}

TEST(WebSocketBackoff, IsEmptyOnceAnEmptyOneIsSet) {
    Configuration configuration;
    configuration.setCustomReconnectBackoffFcn(nullptr);
    EXPECT_FALSE(configuration.reconnectBackoffFcn());

    configuration.setCustomReconnectBackoffFcn(Configuration().reconnectBackoffFcn());
    configuration.withCustomReconnectBackoffFcn(Configuration::ReconnectBackoffFcn());
    EXPECT_FALSE(configuration.reconnectBackoffFcn());
}

// A configuration with everything it can have.
Configuration fullConfiguration() {
    return Configuration()
        .withCertificateFile("/a.pem")
        .withCustomHandshakeHeaders(HttpHeaders{{"A", "1"}})
        .withHandshakeTimeout(1)
        .withPingInterval(2)
        .withConnectErrorRecovery([](HttpResponse&&, unsigned long) { return true; })
        .withRecoverableConnectErrorCodes({HttpResponseCode::OK})
        .withReconnectEnabled([](HttpResponse&&) {})
        .withCustomReconnectBackoffFcn(
            [](const milliseconds&, unsigned long) { return Backoff(3, false); })
        .withOnReconnectAborted([] {})
        .withMaxReadFrameSize(4)
        .withMaxWriteFrameSize(5);
}

std::string fullDescription() {
    return "certificate /a.pem\nhandshake 1\npings 2\nread 4\nwrite 5\nrecoverable 200\nrecovers\n"
           "reconnects\ntells when it gives up\nA: 1\n";
}

TEST(WebSocketClientConfiguration, CopiesAreIndependent) {
    Configuration original = fullConfiguration();
    const Configuration copy = original;
    Configuration assigned;
    assigned = original;

    original = Configuration();

    EXPECT_EQ(described(original), defaults());
    EXPECT_EQ(described(copy), fullDescription());
    EXPECT_EQ(described(assigned), fullDescription());
    EXPECT_EQ(copy.reconnectBackoffFcn()(milliseconds(0), 0), Backoff(3, false));
    EXPECT_TRUE(copy.onRecoverableConnectError()(HttpResponse(), 0));
}

TEST(WebSocketClientConfiguration, MovesAndIsUsableOnceMovedFrom) {
    Configuration original = fullConfiguration();

    const Configuration moved = std::move(original);
    EXPECT_EQ(described(moved), fullDescription());
    EXPECT_EQ(moved.reconnectBackoffFcn()(milliseconds(0), 0), Backoff(3, false));

    original = fullConfiguration();
    EXPECT_EQ(described(original), fullDescription());
}

}  // namespace
}  // namespace tavrin::httpclient_core

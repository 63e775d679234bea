#include <gmock/gmock.h>

#include <chrono>
#include <climits>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "httpclient_core/configuration.h"

namespace tavrin::httpclient_core {
namespace {

static_assert(std::is_default_constructible_v<ClientConfiguration>);
static_assert(std::is_copy_constructible_v<ClientConfiguration>);
static_assert(std::is_copy_assignable_v<ClientConfiguration>);
static_assert(std::is_nothrow_move_constructible_v<ClientConfiguration>);
static_assert(std::is_nothrow_move_assignable_v<ClientConfiguration>);
static_assert(!std::is_polymorphic_v<ClientConfiguration>);

// All settings but the strategy as one text, so that a test sees what a setter touches besides its
// own.
std::string described(const ClientConfiguration& configuration) {
    return "certificateFile=" + configuration.certificateFile().toUtf8() +
           " followRedirects=" + std::to_string(configuration.followRedirects()) +
           " maxRedirects=" + std::to_string(configuration.maxRedirects()) +
           " resumeOnRetry=" + std::to_string(configuration.resumeOnRetry()) +
           " connectTimeout=" + std::to_string(configuration.connectTimeout()) +
           " responseTimeout=" + std::to_string(configuration.responseTimeout()) +
           " idleTimeout=" + std::to_string(configuration.idleTimeout()) +
           " idleSpeed=" + std::to_string(configuration.idleSpeed()) +
           " maxThreads=" + std::to_string(configuration.maxThreads()) +
           " maxRequestsPerThread=" + std::to_string(configuration.maxRequestsPerThread()) +
           " proxy=" + configuration.proxy();
}

std::string defaults() {
    return "certificateFile= followRedirects=1 maxRedirects=5 resumeOnRetry=0 connectTimeout=5000 "
           "responseTimeout=30000 idleTimeout=30000 idleSpeed=1 maxThreads=4 "
           "maxRequestsPerThread=2 proxy=";
}

// The defaults with another value of one setting.
std::string defaultsBut(const std::string& setting, const std::string& value) {
    std::string text = defaults();
    const std::size_t begin = text.find(" " + setting + "=");
    const std::size_t valueAt =
        begin == std::string::npos ? setting.size() + 1 : begin + setting.size() + 2;
    const std::size_t end = text.find(' ', valueAt);
    return text.replace(valueAt, end == std::string::npos ? end : end - valueAt, value);
}

// What a strategy answers for a request with that outcome.
bool retries(const RetryStrategy& strategy, HttpMethod method, HttpResponseCode code, int total,
             int consecutive, const std::exception_ptr& error = nullptr) {
    HttpResponse response;
    response.setResponseCode(code);
    return strategy(HttpRequest(method, URL("http://a/"), {}), response, error, total, consecutive);
}

TEST(ClientConfiguration, HasItsDefaults) {
    const ClientConfiguration configuration;

    EXPECT_EQ(described(configuration), defaults());
    EXPECT_TRUE(configuration.certificateFile().empty());
    EXPECT_TRUE(configuration.retryStrategy());
}

TEST(ClientConfiguration, RetriesAGetFourTimesByDefault) {
    const RetryStrategy strategy = ClientConfiguration().retryStrategy();
    const auto code = HttpResponseCode::SERVICE_UNAVAILABLE;

    for (int attempt = 1; attempt <= 4; ++attempt) {
        EXPECT_TRUE(retries(strategy, HttpMethod::GET, code, attempt, attempt)) << attempt;
    }
    EXPECT_FALSE(retries(strategy, HttpMethod::GET, code, 5, 5));
}

TEST(ClientConfiguration, LimitsAttemptsInAllAndInARowByDefault) {
    const RetryStrategy strategy = ClientConfiguration().retryStrategy();
    const auto code = HttpResponseCode::SERVICE_UNAVAILABLE;

    EXPECT_FALSE(retries(strategy, HttpMethod::GET, code, 5, 1));
    EXPECT_FALSE(retries(strategy, HttpMethod::GET, code, 4, 5));
    EXPECT_TRUE(retries(strategy, HttpMethod::GET, code, 4, 4));
}

TEST(ClientConfiguration, RetriesWhatTheDefaultPredicateApprovesOf) {
    const RetryStrategy strategy = ClientConfiguration().retryStrategy();
    const RetriablePredicate predicate = defaultIsRetriable();

    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::POST, HttpMethod::HEAD}) {
        for (const int number : {-1, 304, 404, 408, 416, 429, 500, 599, 600}) {
            const auto code = static_cast<HttpResponseCode>(number);
            EXPECT_EQ(retries(strategy, method, code, 1, 1), predicate(method, false, code))
                << number;
        }
    }
    EXPECT_FALSE(retries(strategy, HttpMethod::GET, HttpResponseCode::OK, 1, 1));
}

TEST(ClientConfiguration, NeverWaitsByDefault) {
    const RetryStrategy strategy = ClientConfiguration().retryStrategy();

    const auto* retry = strategy.target<DefaultRetry>();

    ASSERT_NE(retry, nullptr);
    EXPECT_EQ(retry->maxTotalAttempts, 5);
    EXPECT_EQ(retry->maxConsecutiveAttempts, 5);
    EXPECT_EQ(retry->backoffBaseMs, 0);
    EXPECT_EQ(retry->maxBackoffMs, 120000);
    EXPECT_TRUE(retry->isRetriable);
    EXPECT_FALSE(retry->backoffHook);
}

TEST(ClientConfiguration, KeepsACertificateFile) {
    ClientConfiguration configuration;

    configuration.setCertificateFile("/a.pem");
    EXPECT_EQ(configuration.certificateFile(), FilePath("/a.pem"));
    EXPECT_EQ(described(configuration), defaultsBut("certificateFile", "/a.pem"));

    EXPECT_EQ(&configuration.withCertificateFile(FilePath()), &configuration);
    EXPECT_EQ(described(configuration), defaults());
}

TEST(ClientConfiguration, KeepsWhetherToFollowRedirectsAndToResume) {
    ClientConfiguration configuration;

    configuration.setFollowRedirects(false);
    EXPECT_EQ(described(configuration), defaultsBut("followRedirects", "0"));
    EXPECT_EQ(&configuration.withFollowRedirects(true), &configuration);
    EXPECT_EQ(described(configuration), defaults());

    configuration.setResumeOnRetry(true);
    EXPECT_EQ(described(configuration), defaultsBut("resumeOnRetry", "1"));
    EXPECT_EQ(&configuration.withResumeOnRetry(false), &configuration);
    EXPECT_EQ(described(configuration), defaults());
}

TEST(ClientConfiguration, KeepsAProxy) {
    ClientConfiguration configuration;

    configuration.setProxy("http://user@proxy:8080");
    EXPECT_EQ(described(configuration), defaultsBut("proxy", "http://user@proxy:8080"));

    EXPECT_EQ(&configuration.withProxy(""), &configuration);
    EXPECT_EQ(described(configuration), defaults());
}

// The three operations of one setting that is a number.
template <typename Number>
struct NumberSetting {
    std::string name;
    Number (ClientConfiguration::*get)() const;
    void (ClientConfiguration::*set)(Number);
    ClientConfiguration& (ClientConfiguration::*with)(Number);
};

template <typename Number>
void expectToKeepAnyNumber(const std::vector<NumberSetting<Number>>& settings) {
    for (const auto& setting : settings) {
        for (const Number number : {Number{0}, Number{-1}, std::numeric_limits<Number>::max(),
                                    std::numeric_limits<Number>::min()}) {
            const std::string expected = defaultsBut(setting.name, std::to_string(number));

            ClientConfiguration configuration;
            (configuration.*setting.set)(number);
            EXPECT_EQ((configuration.*setting.get)(), number);
            EXPECT_EQ(described(configuration), expected);

            ClientConfiguration built;
            EXPECT_EQ(&(built.*setting.with)(number), &built);
            EXPECT_EQ(described(built), expected);
        }
    }
}

TEST(ClientConfiguration, KeepsAnyLimitUnchecked) {
    using Configuration = ClientConfiguration;
    expectToKeepAnyNumber<long>({
        {"maxRedirects", &Configuration::maxRedirects, &Configuration::setMaxRedirects,
         &Configuration::withMaxRedirects},
        {"idleSpeed", &Configuration::idleSpeed, &Configuration::setIdleSpeed,
         &Configuration::withIdleSpeed},
        {"maxThreads", &Configuration::maxThreads, &Configuration::setMaxThreads,
         &Configuration::withMaxThreads},
        {"maxRequestsPerThread", &Configuration::maxRequestsPerThread,
         &Configuration::setMaxRequestsPerThread, &Configuration::withMaxRequestsPerThread},
    });
}

TEST(ClientConfiguration, KeepsAnyTimeoutUnchecked) {
    using Configuration = ClientConfiguration;
    expectToKeepAnyNumber<std::int64_t>({
        {"connectTimeout", &Configuration::connectTimeout, &Configuration::setConnectTimeout,
         &Configuration::withConnectTimeout},
        {"responseTimeout", &Configuration::responseTimeout, &Configuration::setResponseTimeout,
         &Configuration::withResponseTimeout},
        {"idleTimeout", &Configuration::idleTimeout, &Configuration::setIdleTimeout,
         &Configuration::withIdleTimeout},
    });
}

TEST(ClientConfiguration, KeepsARetryStrategy) {
    ClientConfiguration configuration;
    configuration.setRetryStrategy(noRetriesStrategy());
    EXPECT_FALSE(retries(configuration.retryStrategy(), HttpMethod::GET,
                         HttpResponseCode::BAD_GATEWAY, 1, 1));

    EXPECT_EQ(
        &configuration.withRetryStrategy([](const HttpRequest& request, const HttpResponse&,
                                            const std::exception_ptr&, int total, int consecutive) {
            return request.getHttpMethod() == HttpMethod::POST && total == 7 && consecutive == 3;
        }),
        &configuration);
    EXPECT_TRUE(
        retries(configuration.retryStrategy(), HttpMethod::POST, HttpResponseCode::OK, 7, 3));
    EXPECT_EQ(described(configuration), defaults());
}

TEST(ClientConfiguration, KeepsAnEmptyRetryStrategy) {
    ClientConfiguration configuration;

    configuration.setRetryStrategy(nullptr);
    EXPECT_FALSE(configuration.retryStrategy());

    configuration.withRetryStrategy(noRetriesStrategy()).withRetryStrategy(RetryStrategy());
    EXPECT_FALSE(configuration.retryStrategy());
}

// Answers yes at its first call and no from then on; copies remember for themselves.
RetryStrategy onceStrategy() {
    return [asked = false](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int,
                           int) mutable { return !std::exchange(asked, true); };
}

TEST(ClientConfiguration, HandsOutACopyOfItsRetryStrategy) {
    ClientConfiguration configuration;
    configuration.setRetryStrategy(onceStrategy());
    const RetryStrategy strategy = configuration.retryStrategy();

    EXPECT_TRUE(retries(strategy, HttpMethod::GET, HttpResponseCode::OK, 1, 1));
    EXPECT_FALSE(retries(strategy, HttpMethod::GET, HttpResponseCode::OK, 1, 1));

    EXPECT_TRUE(
        retries(configuration.retryStrategy(), HttpMethod::GET, HttpResponseCode::OK, 1, 1));
}

TEST(ClientConfiguration, IsBuiltInAChainOnOneObject) {
    ClientConfiguration configuration;

    ClientConfiguration& returned = configuration.withMaxRedirects(0).withFollowRedirects(false);

    EXPECT_EQ(&returned, &configuration);
    EXPECT_EQ(configuration.maxRedirects(), 0);
    EXPECT_FALSE(configuration.followRedirects());
}

// A configuration in which every setting differs from its default.
ClientConfiguration fullConfiguration() {
    return ClientConfiguration()
        .withCertificateFile("/a.pem")
        .withFollowRedirects(false)
        .withMaxRedirects(11)
        .withRetryStrategy(nullptr)
        .withResumeOnRetry(true)
        .withConnectTimeout(12)
        .withResponseTimeout(13)
        .withIdleTimeout(14)
        .withIdleSpeed(15)
        .withMaxThreads(16)
        .withMaxRequestsPerThread(17)
        .withProxy("p");
}

std::string fullDescription() {
    return "certificateFile=/a.pem followRedirects=0 maxRedirects=11 resumeOnRetry=1 "
           "connectTimeout=12 responseTimeout=13 idleTimeout=14 idleSpeed=15 maxThreads=16 "
           "maxRequestsPerThread=17 proxy=p";
}

TEST(ClientConfiguration, CopiesEverySetting) {
    const ClientConfiguration original = fullConfiguration();

    const ClientConfiguration copy = original;
    ClientConfiguration assigned;
    assigned = original;

    EXPECT_EQ(described(copy), fullDescription());
    EXPECT_FALSE(copy.retryStrategy());
    EXPECT_EQ(described(assigned), fullDescription());
    EXPECT_FALSE(assigned.retryStrategy());
}

TEST(ClientConfiguration, CopiesKeepTheOldValues) {
    ClientConfiguration original;
    original.setRetryStrategy(onceStrategy());
    const ClientConfiguration copy = original;

    original = fullConfiguration();

    EXPECT_EQ(described(copy), defaults());
    EXPECT_TRUE(retries(copy.retryStrategy(), HttpMethod::GET, HttpResponseCode::OK, 1, 1));
    EXPECT_FALSE(original.retryStrategy());
}

TEST(ClientConfiguration, MovesEverySettingAndIsUsableOnceMovedFrom) {
    ClientConfiguration original = fullConfiguration();

    const ClientConfiguration moved = std::move(original);
    EXPECT_EQ(described(moved), fullDescription());

    original = fullConfiguration();
    EXPECT_EQ(described(original), fullDescription());
    original.setRetryStrategy(noRetriesStrategy());
    EXPECT_TRUE(original.retryStrategy());
}

TEST(ClientConfiguration, ReleasesItsStrategyWhenDestroyed) {
    const auto held = std::make_shared<int>(0);
    {
        ClientConfiguration configuration;
        configuration.setRetryStrategy([held](const HttpRequest&, const HttpResponse&,
                                              const std::exception_ptr&, int,
                                              int) { return false; });
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <functional>
#include <optional>
#include <ostream>
#include <tuple>
#include <typeindex>

#include "httpclient_testing/test_certificates.h"
#include "support.h"
#include "support/calling_stream.h"

namespace tavrin::httpclient_curl {
namespace {

using testing::MatchesRegex;

// What a retry predicate is shown of a failure.
enum class Seen { TIMEOUT, NO_ANSWER, CODE, CANCELLED };

// A request and all that makes it fail.
struct Scene {
    FaultServer& server;
    std::optional<HttpRequest> request;
    ClientConfiguration configuration;
};

struct Failure {
    std::string name;
    std::string text;  // %h: the host
    Seen seen;
    std::string plan;
    std::function<void(Scene&)> arrange = [](Scene&) {};
    bool overTls = false;
    std::type_index type = typeid(HttpRequestFailedException);
};

void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.name; }

struct Mine : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void through(Scene& scene, const std::string& proxy) { scene.configuration.setProxy(proxy); }

void replaceUrl(Scene& scene, const std::string& url) { scene.request.emplace(get(url)); }

std::vector<Failure> failures() {
    const std::string failed = "Request to %h failed: ";
    return {
        {"LimitOfTime", "Request timed out.", Seen::TIMEOUT, "hstall",
         [](Scene& scene) { scene.configuration.setResponseTimeout(100); }, false,
         typeid(HttpRequestTimeoutException)},
        {"CancelledByCallback", "Request cancelled", Seen::CANCELLED, "ok",
         [](Scene& scene) {
             scene.request->setProgressCallback(
                 [](const Progress&) { return ProgressResult::CANCEL; });
         },
         false, typeid(HttpRequestCancelledException)},
        {"MustNotBeSent", "Request refused: the value of the header field X contains .*",
         Seen::NO_ANSWER, "ok", [](Scene& scene) { scene.request->setHeaderValue("X", "a\rb"); }},
        {"NameOfTheHost", "Request to nowhere.invalid:80 failed: name resolution: .*",
         Seen::NO_ANSWER, "ok", [](Scene& scene) { replaceUrl(scene, "http://nowhere.invalid/"); }},
        {"NoConnection", failed + "connecting: .*", Seen::NO_ANSWER, "ok",
         [](Scene& scene) { scene.server.refuseConnections(); }},
        {"HttpProxyThatIsNotThere", failed + "proxy: Failed to connect to 127.0.0.1 port 1 .*",
         Seen::NO_ANSWER, "ok", [](Scene& scene) { through(scene, "http://127.0.0.1:1"); }},
        {"HttpsProxyThatIsNotThere", failed + "proxy: Failed to connect to 127.0.0.1 port 1 .*",
         Seen::NO_ANSWER, "ok", [](Scene& scene) { through(scene, "https://127.0.0.1:1"); }},
        {"SocksProxyThatIsNotThere", failed + "proxy: Failed to connect to 127.0.0.1 port 1 .*",
         Seen::NO_ANSWER, "ok", [](Scene& scene) { through(scene, "socks5://127.0.0.1:1"); }},
        {"HttpProxyWithoutAnAddress", failed + "proxy: .*nowhere.invalid", Seen::NO_ANSWER, "ok",
         [](Scene& scene) { through(scene, "http://nowhere.invalid:1"); }},
        {"SocksProxyWithoutAnAddress", failed + "proxy: .*nowhere.invalid", Seen::NO_ANSWER, "ok",
         [](Scene& scene) { through(scene, "socks5h://nowhere.invalid:1"); }},
        {"TunnelThatTheProxyRefuses", "Request to 127.0.0.1:1 failed: proxy: CONNECT tunnel .*",
         Seen::NO_ANSWER, "403",
         [](Scene& scene) {
             through(scene, scene.server.url());
             replaceUrl(scene, "https://127.0.0.1:1/");
         }},
        {"Tls", failed + "TLS: .*certificate.*", Seen::NO_ANSWER, "ok", [](Scene&) {}, true},
        {"CertificateFile", failed + "certificate file /absent/ca.pem: .*", Seen::NO_ANSWER, "ok",
         [](Scene& scene) { scene.configuration.setCertificateFile("/absent/ca.pem"); }, true},
        {"Redirect", failed + "redirect: more than maxRedirects = 0", Seen::NO_ANSWER, "302:/next",
         [](Scene& scene) { scene.configuration.setMaxRedirects(0); }},
        {"ConnectionLostInTheRequest", failed + "sending: Send failure: Connection reset by peer",
         Seen::NO_ANSWER, "ustall@0+urst@0",
         [](Scene& scene) {
             const auto cut = [&server = scene.server, attempts = std::size_t{0}]() mutable {
                 server.waitForStalls(++attempts);
                 server.release();
                 server.waitUntilIdle();
             };
             scene.request->setHeaderValue("Content-Length", "4");
             scene.request->setRequestBody(std::make_unique<test::CallingStream>("body", cut));
         }},
        {"ConnectionLostBeforeAnAnswer", failed + "receiving: .*", Seen::NO_ANSWER, "noresp"},
        {"ConnectionLostInTheBody", failed + "receiving: .*", Seen::CODE, "rst@500"},
        {"BodyCutOff", failed + "incomplete body: .*", Seen::CODE, "fin@500"},
        {"ChunksCutOff", failed + "incomplete body: .*", Seen::CODE, "tchunk@500"},
        {"MalformedHead", failed + "malformed response: it has two Content-Lengths that differ",
         Seen::NO_ANSWER, "dupcl"},
        {"MalformedChunk", failed + "malformed response: .* in chunked-encoding", Seen::CODE,
         "badchunk@500"},
        {"PartThatWasNotAskedFor", failed + "range: a part came that nobody asked for",
         Seen::NO_ANSWER, "unasked206"},
        {"BodyUnlikeItsDigest", failed + "digest: the body is not what its Repr-Digest tells",
         Seen::CODE, "baddigest"},
        {"BodyOfTheRequest", failed + "request body: it ended after 4 of 5 bytes", Seen::NO_ANSWER,
         "ok",
         [](Scene& scene) {
             scene.request->setRequestBody("body");
             scene.request->setHeaderValue("Content-Length", "5");
         }},
        {"StreamOfTheResponse", failed + "response stream: it is not good", Seen::CODE, "ok",
         [](Scene& scene) {
             scene.request->setResponseStreamFactory(
                 [](HttpResponseCode, const std::string&, const HttpHeaders&) {
                     auto stream = std::make_unique<std::stringstream>();
                     stream->setstate(std::ios::badbit);
                     return stream;
                 });
         }},
        {"AnythingElse",
         "Request to b\xc3\xbc"
         "cher.invalid:80 failed: transfer: .*",
         Seen::NO_ANSWER, "ok",
         // Only a locale, which this program has not set, tells what such a name is.
         [](Scene& scene) {
             replaceUrl(scene,
                        "http://b\xc3\xbc"
                        "cher.invalid/");
         }},
        {"FactoryThatThrows", "mine", Seen::CODE, "ok",
         [](Scene& scene) {
             scene.request->setResponseStreamFactory(
                 [](HttpResponseCode, const std::string&,
                    const HttpHeaders&) -> std::unique_ptr<std::iostream> { throw Mine("mine"); });
         },
         false, typeid(Mine)},
    };
}

class Failures : public testing::TestWithParam<std::tuple<Failure, Road>> {
protected:
    struct Outcome {
        std::type_index type;
        std::string text;
        HttpResponseCode code;
        bool retried;
    };

    // Carries the request out under the default strategy, two attempts at most.
    Outcome outcome(httpclient_core::RetriablePredicate predicate) {
        const Failure& failure = std::get<Failure>(GetParam());
        const Road road = std::get<Road>(GetParam());
        FaultServerOptions options;
        options.plan = failure.plan;
        if (failure.overTls) options.tls = httpclient_testing::TlsKind::GOOD;
        FaultServer server(options);
        Scene scene{server, get(server.url("/bytes/1000")), ClientConfiguration()};
        failure.arrange(scene);
        Outcome outcome{typeid(void), "", HttpResponseCode::OK, false};
        const httpclient_core::DefaultRetry strategy{
            2, 2, 0, 0, std::move(predicate), [&](int) { outcome.retried = true; }};
        scene.configuration.setRetryStrategy(
            [&outcome, strategy](const HttpRequest& request, const HttpResponse& response,
                                 const std::exception_ptr& error, int total, int consecutive) {
                outcome.code = response.getResponseCode();
                return strategy(request, response, error, total, consecutive);
            });
        try {
            send(CurlHttpClient(scene.configuration), std::move(*scene.request), road);
        } catch (const std::runtime_error& error) {
            outcome.type = typeid(error);
            outcome.text = error.what();
        }
        const std::string host = hostOf(server);
        const std::size_t at = outcome.text.find(host);
        if (at != std::string::npos) outcome.text.replace(at, host.size(), "%h");
        return outcome;
    }
};

std::string nameOfRow(const testing::TestParamInfo<std::tuple<Failure, Road>>& row) {
    const auto& [failure, road] = row.param;
    return failure.name + testing::PrintToString(road);
}

INSTANTIATE_TEST_SUITE_P(, Failures,
                         testing::Combine(testing::ValuesIn(failures()),
                                          testing::Values(Road::SYNCHRONOUS, Road::ASYNCHRONOUS)),
                         nameOfRow);

TEST_P(Failures, AreToldAsTheTableSaysAndRetriedByWhatThePredicatesSee) {
    const Failure& failure = std::get<Failure>(GetParam());

    const Outcome byDefault = outcome(httpclient_core::defaultIsRetriable());
    const Outcome download = outcome(httpclient_core::downloadIsRetriable());

    EXPECT_STREQ(byDefault.type.name(), failure.type.name());
    EXPECT_THAT(byDefault.text, MatchesRegex(failure.text));
    EXPECT_THAT(download.text, MatchesRegex(failure.text));
    EXPECT_EQ(byDefault.code == HttpResponseCode(-1),
              failure.seen == Seen::TIMEOUT || failure.seen == Seen::NO_ANSWER);
    EXPECT_EQ(byDefault.retried, failure.seen == Seen::TIMEOUT);
    EXPECT_EQ(download.retried, failure.seen != Seen::CANCELLED);
}

class FailureToSend : public OnBothRoads {};
ON_BOTH_ROADS(FailureToSend);

// A request that is never retried by itself, so it has no place in the table above.
TEST_P(FailureToSend, NamesItselfWhereAKeptConnectionWasDead) {
    FaultServer server("finnext,ok");
    const CurlHttpClient client(ClientConfiguration().withMaxThreads(1).withRetryStrategy(
        httpclient_core::noRetriesStrategy()));
    send(client, get(server.url("/bytes/1")));

    EXPECT_EQ(failureOf([&] { send(client, withBody(HttpMethod::POST, server.url(), "text")); }),
              "Request to " + hostOf(server) +
                  " failed: sending: the connection was closed before an answer came");
}

}  // namespace
}  // namespace tavrin::httpclient_curl

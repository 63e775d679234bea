#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "httpclient_testing/served_content.h"
#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/interrupted_download.h"
#include "support/nginx_server.h"

namespace tavrin::httpclient_curl::test {
namespace {

using httpclient_core::defaultRetryStrategy;
using httpclient_core::downloadIsRetriable;
using httpclient_testing::sha256Hex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

using Exchange = NginxServer::Exchange;

// More than the buffers between server and client hold, so that a cut in the middle is one.
constexpr std::size_t LARGE = 32 * 1024 * 1024;

TEST(Nginx, AnswersAPlainRequest) {
    NginxServer server;
    server.serve("/greeting", "Hello.\n");

    const HttpResponse response = CurlHttpClient().makeRequest(get(server.url("/greeting")));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseCodeReason(), "OK");
    EXPECT_EQ(response.getHeaderValue("accept-ranges"), "bytes");
    EXPECT_EQ(response.getResponseBodyString(), "Hello.\n");
    EXPECT_THAT(server.stop(), ElementsAre(Exchange{"GET /greeting HTTP/1.1", 200, "", ""}));
}

TEST(Nginx, AnswersOverTlsWithHttp2AndWithoutAReasonPhrase) {
    NginxServer server;
    server.serve("/greeting", "Hello.\n");
    const CurlHttpClient client(ClientConfiguration().withCertificateFile(server.caFile()));

    const HttpResponse response = client.makeRequest(get(server.httpsUrl("/greeting")));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::OK);
    EXPECT_EQ(response.getResponseCodeReason(), "");
    EXPECT_EQ(response.getResponseBodyString(), "Hello.\n");
    EXPECT_THAT(server.stop(), ElementsAre(Exchange{"GET /greeting HTTP/2.0", 200, "", ""}));
}

TEST(Nginx, CarriesRequestsBesideEachOtherOnOneHttp2ConnectionThatOutlivesACancelledOne) {
    NginxServer server;
    server.serve("/greeting", "Hello.\n");
    server.serve("/file", std::string(LARGE, 'x'));
    const CurlHttpClient client(
        once().withCertificateFile(server.caFile()).withMaxThreads(1).withMaxRequestsPerThread(10));
    std::promise<void> begun;
    std::atomic<bool> enough{false};
    HttpRequest slow = get(server.slowHttpsUrl("/file"));
    slow.setProgressCallback([&, told = false](const Progress& progress) mutable {
        if (progress.downloadNow > 0 && !std::exchange(told, true)) begun.set_value();
        return enough ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
    });
    auto underWay = client.makeAsyncRequest(std::move(slow));
    begun.get_future().wait();

    std::vector<std::future<HttpResponse>> beside;
    for (int i = 0; i < 8; ++i)
        beside.push_back(client.makeAsyncRequest(get(server.httpsUrl("/greeting"))));
    for (auto& response : beside) EXPECT_EQ(response.get().getResponseBodyString(), "Hello.\n");
    enough = true;
    EXPECT_THROW(underWay.get(), HttpRequestCancelledException);
    HttpResponse after = client.makeAsyncRequest(get(server.httpsUrl("/greeting"))).get();

    EXPECT_EQ(after.getResponseBodyString(), "Hello.\n");
    const std::vector<Exchange> exchanges = server.stop();
    EXPECT_EQ(exchanges.size(), 10U);
    for (const Exchange& exchange : exchanges) {
        EXPECT_THAT(exchange.request, EndsWith(" HTTP/2.0"));
        EXPECT_EQ(exchange.connection, exchanges.front().connection);
    }
}

TEST(Nginx, AnswersOverTlsWithHttp11ToAClientThatWantsNoMore) {
    NginxServer server;
    server.serve("/greeting", "Hello.\n");
    const CurlHttpClient client(ClientConfiguration().withCertificateFile(server.caFile()),
                                CurlOptions().withHighestHttpVersion(HttpVersion::HTTP_1_1));

    const HttpResponse response = client.makeRequest(get(server.httpsUrl("/greeting")));

    EXPECT_EQ(response.getResponseCodeReason(), "OK");
    EXPECT_EQ(response.getResponseBodyString(), "Hello.\n");
    EXPECT_THAT(server.stop(), ElementsAre(Exchange{"GET /greeting HTTP/1.1", 200, "", ""}));
}

TEST(Nginx, AnswersAUrlThatIsTooLongForItWhileItIsBeingSent) {
    const NginxServer server;

    const HttpResponse response =
        CurlHttpClient(once()).makeRequest(get(server.url("/" + std::string(1000000, 'l'))));

    EXPECT_EQ(response.getResponseCode(), HttpResponseCode::URI_TOO_LONG);
}

TEST(Nginx, IsNotTrustedWithoutItsCa) {
    NginxServer server;
    server.serve("/greeting", "Hello.\n");

    EXPECT_THROW(CurlHttpClient().makeRequest(get(server.httpsUrl("/greeting"))),
                 HttpRequestFailedException);

    EXPECT_THAT(server.stop(), ElementsAre());
}

// Each over plain HTTP/1.1 and over HTTP/2 with TLS.
class NginxDownload : public testing::TestWithParam<bool> {
protected:
    std::string url(const std::string& path) const {
        return GetParam() ? server_.httpsUrl(path) : server_.url(path);
    }

    CurlHttpClient client() const {
        return CurlHttpClient(ClientConfiguration()
                                  .withCertificateFile(server_.caFile())
                                  .withResumeOnRetry(true)
                                  .withRetryStrategy(defaultRetryStrategy(
                                      5, 0, std::chrono::seconds(1), downloadIsRetriable())));
    }

    NginxServer server_;
};

INSTANTIATE_TEST_SUITE_P(EachVersion, NginxDownload, testing::Bool(), [](const auto& overTls) {
    return overTls.param ? "OverHttp2" : "OverHttp1";
});

TEST_P(NginxDownload, IsResumedWhereItWasCutAndIdenticalAtTheEnd) {
    const std::string content = ServedContent{1, LARGE}.all();
    server_.serve("/file", content);

    const HttpResponse response =
        client().makeRequest(getInterruptedBy(url("/file"), [this] { server_.restart(); }));

    EXPECT_EQ(sha256Hex(response.getResponseBodyString()), sha256Hex(content));
    const std::vector<Exchange> exchanges = server_.stop();
    ASSERT_FALSE(exchanges.empty());
    EXPECT_EQ(exchanges.back().status, 206);
    EXPECT_THAT(exchanges.back().range, StartsWith("bytes="));
    EXPECT_EQ(exchanges.back().ifRange, response.getHeaderValue("ETag"));
}

TEST_P(NginxDownload, GoesOnAfterEachOfTenCutsThoughThe206CarriesNoAcceptRanges) {
    constexpr int CUTS = 10;
    const std::string content = ServedContent{2, LARGE}.all();
    server_.serve("/file", content);
    const CurlHttpClient client(stubborn().withCertificateFile(server_.caFile()));
    for (const Road road : {Road::SYNCHRONOUS, Road::ASYNCHRONOUS}) {
        int cuts = 0;
        int beginnings = 0;
        HttpRequest request = getInterruptedBy(
            url("/file"),
            [&] {
                ++cuts;
                server_.restart();
            },
            CUTS);
        request.setResponseStreamFactory([&, factory = request.getResponseStreamFactory()](
                                             auto code, const auto& reason, const auto& headers) {
            ++beginnings;
            return factory(code, reason, headers);
        });

        const HttpResponse response = send(client, std::move(request), road);

        EXPECT_EQ(sha256Hex(response.getResponseBodyString()), sha256Hex(content));
        EXPECT_EQ(cuts, CUTS);
        // What begins anew is given a stream of its own.
        EXPECT_EQ(beginnings, 1);
    }
    // nginx tells of those exchanges alone that came to their end.
    for (const Exchange& last : server_.stop()) {
        EXPECT_EQ(last.status, 206);
        EXPECT_THAT(last.range, StartsWith("bytes="));
    }
}

TEST_P(NginxDownload, StartsAfreshWhenTheFileChangedMeanwhile) {
    const std::string changed = ServedContent{4, LARGE + 1}.all();
    server_.serve("/file", ServedContent{3, LARGE}.all());

    const HttpResponse response = client().makeRequest(getInterruptedBy(url("/file"), [&] {
        server_.serve("/file", changed);
        server_.restart();
    }));

    EXPECT_EQ(sha256Hex(response.getResponseBodyString()), sha256Hex(changed));
    const std::vector<Exchange> exchanges = server_.stop();
    ASSERT_FALSE(exchanges.empty());
    EXPECT_EQ(exchanges.back().status, 200);
    EXPECT_THAT(exchanges.back().range, StartsWith("bytes="));
    EXPECT_NE(exchanges.back().ifRange, response.getHeaderValue("ETag"));
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

#include "httpclient_testing/recording_http_client.h"

#include <unistd.h>

#include <filesystem>

#include "httpclient_testing/replaying_http_client.h"
#include "httpclient_testing/sha256.h"
#include "support.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_core::HttpClient;
using httpclient_testing::RecordingHttpClient;
using httpclient_testing::ReplayingHttpClient;

class Recording : public OnBothRoads {
protected:
    ~Recording() override { std::filesystem::remove(path_); }

    std::string sha256OfBody(HttpClient& client, HttpRequest request) const {
        client.setClientConfiguration(stubborn());
        const HttpResponse response = send(client, std::move(request));
        return httpclient_testing::sha256Hex(response.getResponseBodyString());
    }

    void record() {
        RecordingHttpClient client(transport_, path_);
        const std::string arrived = sha256OfBody(client, get(server_.url()));
        EXPECT_EQ(arrived, server_.content().sha256());
    }

    void expectReplayed(std::size_t attempts) {
        ReplayingHttpClient client(path_);
        EXPECT_EQ(client.remaining(), attempts);
        const std::string arrived = sha256OfBody(client, get(server_.url()));
        EXPECT_EQ(arrived, server_.content().sha256());
        EXPECT_NO_THROW(client.verify());
    }

    const std::string path_ =
        testing::TempDir() + "curl-recording-" + std::to_string(::getpid()) + ".json";
    FaultServer server_{FaultServerOptions{ServedContent{1, 5000}, {}, {}, nullptr}};
    CurlHttpClient transport_;
};
ON_BOTH_ROADS(Recording);

TEST_P(Recording, LeavesResumingToTheTransport) {
    server_.setPlan("fin@1000,503,fin@2500,ok");

    record();

    const auto received = server_.requests();
    ASSERT_EQ(received.size(), 4u);
    EXPECT_EQ(received[1].header("Range"), "bytes=1000-");
    EXPECT_EQ(received[1].header("If-Range"), server_.etag());
    expectReplayed(4);
}

TEST_P(Recording, ReplaysADownloadThatHadToStartOver) {
    server_.setPlan("fin@4000,change,ok");

    record();

    expectReplayed(2);
}

TEST_P(Recording, HoldsACancelledDownload) {
    const auto cancelled = [&](HttpClient& client) {
        HttpRequest request = get(server_.url());
        request.setProgressCallback([](const Progress& progress) {
            return progress.downloadNow > 0 ? ProgressResult::CANCEL : ProgressResult::CONTINUE;
        });
        EXPECT_THROW(sha256OfBody(client, std::move(request)), HttpRequestCancelledException);
    };
    {
        RecordingHttpClient client(transport_, path_);
        cancelled(client);
        EXPECT_EQ(client.recorded(), 1u);
    }

    ReplayingHttpClient client(path_);
    EXPECT_EQ(client.remaining(), 1u);
    client.setClientConfiguration(once());
    HttpRequest request = get(server_.url());
    EXPECT_THROW(client.makeRequest(std::move(request)), HttpRequestCancelledException);
}

}  // namespace
}  // namespace tavrin::httpclient_curl

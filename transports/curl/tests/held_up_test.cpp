#include <chrono>
#include <functional>
#include <future>
#include <streambuf>
#include <thread>

#include "support.h"
#include "support/clocks_ahead.h"

// Application code that takes its time is played by clocks that run ahead meanwhile.
namespace tavrin::httpclient_curl {
namespace {

// Longer than any limit here.
constexpr std::chrono::seconds LONG{100};

void takeLong() { test::putClocksForward(LONG); }

// Gives one byte, again and again, and takes `effort` for each.
class LaboriousSource : public std::streambuf {
public:
    explicit LaboriousSource(std::function<void()> effort) : effort_(std::move(effort)) {}

protected:
    int_type underflow() override {
        effort_();
        setg(&byte_, &byte_, &byte_ + 1);
        return traits_type::to_int_type(byte_);
    }
    pos_type seekpos(pos_type position, std::ios::openmode) override { return position; }
    pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return 0; }

private:
    std::function<void()> effort_;
    char byte_ = 'x';
};

HttpRequest put(const std::string& url, std::streambuf& source, const std::string& length) {
    HttpRequest request(HttpMethod::PUT, URL(url), {{"Content-Length", length}});
    request.setRequestBody(std::make_unique<std::istream>(&source));
    return request;
}

// A request whose progress callback takes long at its first call, while it connects.
HttpRequest laborious(const FaultServer& server) {
    HttpRequest request = get(server.url("/bytes/5"));
    request.setProgressCallback([&server, calls = 0](const Progress&) mutable {
        if (++calls == 1) {
            server.waitForConnections(1);
            takeLong();
        }
        return ProgressResult::CONTINUE;
    });
    return request;
}

FaultServerOptions overTls(const std::string& plan) {
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    options.plan = plan;
    return options;
}

class HeldUp : public OnBothRoads {};
ON_BOTH_ROADS(HeldUp);

TEST_P(HeldUp, ConnectingIsNotOverForACallbackThatTakesLong) {
    const FaultServer server(overTls("mute,ok"));
    const CurlHttpClient client(once().withCertificateFile(server.caFile()));

    EXPECT_EQ(send(client, laborious(server)).getContentLength(), 5);
}

TEST_P(HeldUp, ConnectingIsOverAfterItsOwnTimeAllTheSame) {
    const FaultServer server(overTls("mute"));
    const CurlHttpClient client(once().withConnectTimeout(200));

    EXPECT_EQ(failureOf<HttpRequestTimeoutException>([&] { send(client, laborious(server)); }),
              "Request timed out.");
}

TEST_P(HeldUp, ASourceThatIsSlowerThanAllowedIsATimeout) {
    const FaultServer server;
    const CurlHttpClient client(once().withIdleTimeout(1000));
    LaboriousSource slow(takeLong);

    EXPECT_EQ(failureOf<HttpRequestTimeoutException>(
                  [&] { send(client, put(server.url(), slow, "1000")); }),
              "Request timed out.");
}

// What a request's stream, or a response's, does to another request on the same thread.
class Neighbours : public testing::Test {
protected:
    static ClientConfiguration onOneThread() {
        return once().withMaxThreads(1).withMaxRequestsPerThread(2);
    }
};

TEST_F(Neighbours, AreNotOutOfTimeForAResponseStreamWhileTheyConnect) {
    const FaultServer secure(overTls("mute,ok"));
    const FaultServer plain;
    const CurlHttpClient client(onOneThread().withCertificateFile(secure.caFile()));
    auto connecting = client.makeAsyncRequest(get(secure.url("/bytes/5")));
    secure.waitForConnections(1);
    HttpRequest slow = get(plain.url("/bytes/1"));
    slow.setResponseStreamFactory([](const auto&...) {
        takeLong();
        return std::make_unique<std::stringstream>();
    });

    EXPECT_EQ(client.makeAsyncRequest(std::move(slow)).get().getContentLength(), 1);

    EXPECT_EQ(connecting.get().getContentLength(), 5);
}

TEST_F(Neighbours, AreNotIdleForARequestStreamThatIsSlow) {
    FaultServer server;
    server.setPlan("/bytes/1000", "stall@10");
    const CurlHttpClient client(onOneThread());
    auto receiving = client.makeAsyncRequest(get(server.url("/bytes/1000")));
    server.waitForStalls(1);
    LaboriousSource slow([calls = 0]() mutable {
        if (++calls == 1) takeLong();
    });

    EXPECT_EQ(client.makeAsyncRequest(put(server.url(), slow, "1")).get().getResponseCode(),
              HttpResponseCode::OK);

    server.release();
    EXPECT_EQ(receiving.get().getContentLength(), 1000);
}

}  // namespace
}  // namespace tavrin::httpclient_curl

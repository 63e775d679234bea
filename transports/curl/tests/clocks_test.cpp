#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>

#include "support.h"
#include "support/child.h"
#include "support/child_process.h"
#include "support/interrupted_download.h"
#include "support/server_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

// More than the buffers between server and client hold.
constexpr std::size_t LARGE = 32 * 1024 * 1024;

class Clocks : public OnBothRoads {
protected:
    static FaultServerOptions large() {
        FaultServerOptions options;
        options.content = ServedContent{1, LARGE};
        return options;
    }

    static bool isWhole(const HttpResponse& response) {
        return response.getResponseBodyString() == ServedContent{1, LARGE}.all();
    }

    static ClientConfiguration impatient(ClientConfiguration configuration) {
        return configuration.withResponseTimeout(500).withIdleTimeout(500);
    }
};
ON_BOTH_ROADS(Clocks);

TEST_P(Clocks, RunWhileTheServersProcessStands) {
    const ServerProcess server(large());
    int timeouts = 0;
    ClientConfiguration configuration = impatient(stubborn());
    configuration.setRetryStrategy(
        [&](const HttpRequest&, const HttpResponse&, const std::exception_ptr& error, int, int) {
            if (error == nullptr) return false;
            EXPECT_NE(
                failureOf<HttpRequestTimeoutException>([&] { std::rethrow_exception(error); }), "");
            ++timeouts;
            server.thaw();
            return true;
        });

    const HttpResponse response =
        send(CurlHttpClient(configuration),
             getInterruptedBy(server.url("/file"), [&] { server.freeze(); }));

    EXPECT_EQ(timeouts, 1);
    EXPECT_TRUE(isWhole(response));
}

TEST_P(Clocks, DoNoHarmAfterTheClientsProcessStood) {
    const ServerProcess server(large());
    const pid_t client = startChild([&] {
        const HttpResponse response =
            send(CurlHttpClient(impatient(stubborn(5))),
                 getInterruptedBy(server.url("/file"), [] { ::kill(::getpid(), SIGSTOP); }));
        return isWhole(response) ? 0 : 1;
    });
    int status = 0;
    ::waitpid(client, &status, WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(status));
    std::promise<void> never;
    never.get_future().wait_for(milliseconds(1000));

    ::kill(client, SIGCONT);

    EXPECT_EQ(statusOf(client), 0);
}

TEST_P(Clocks, OfTheDayMayJump) {
    const std::string library = "/usr/lib/x86_64-linux-gnu/faketime/libfaketimeMT.so.1";
    if (WITH_SANITIZER) GTEST_SKIP() << "a sanitizer suffers no other library before it";
    if (!std::filesystem::exists(library)) GTEST_SKIP() << library << " is not there";
    const char* offset = std::getenv("FAKETIME_TIMESTAMP_FILE");
    if (offset == nullptr) {
        const httpclient_core::test::TemporaryDirectory directory;
        const std::string file = directory.path() / "offset";
        std::ofstream(file) << "+0";
        EXPECT_EQ(rerunWith({{"LD_PRELOAD", library},
                             {"FAKETIME_TIMESTAMP_FILE", file},
                             {"FAKETIME_NO_CACHE", "1"},
                             {"FAKETIME_DONT_FAKE_MONOTONIC", "1"}}),
                  0);
        return;
    }
    const auto jump = [&](const std::string& by) {
        const std::time_t before = std::time(nullptr);
        std::ofstream(offset) << by;
        EXPECT_GT(std::abs(std::time(nullptr) - before), 1800);
    };
    const ServerProcess server(
        large(), [](FaultServer& faulty) { faulty.setPlan("/stalls", "stall@2000000"); });
    const CurlHttpClient client(impatient(once()));
    for (const std::string there : {"+3600", "-3600"}) {
        EXPECT_TRUE(
            isWhole(send(client, getInterruptedBy(server.url("/file"), [&] { jump(there); }))));
        jump("+0");

        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(failureOf<HttpRequestTimeoutException>([&] {
                      send(client, getInterruptedBy(server.url("/stalls"), [&] { jump(there); }));
                  }),
                  "Request timed out.");
        EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(500));
        EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(20));
        jump("+0");
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

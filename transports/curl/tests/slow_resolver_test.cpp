#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>

#include <cstring>
#include <fstream>

#include "support.h"
#include "support/child.h"
#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr int NOT_ALLOWED = 77;

// In this process alone: the only network is a loopback, and its name server never answers, for
// which the system's resolver waits half a minute.
bool dropOutOfTheWorld(const std::string& directory) {
    constexpr int OWN = CLONE_NEWNS | CLONE_NEWNET;
    if (::unshare(OWN) != 0 && ::unshare(CLONE_NEWUSER | OWN) != 0) return false;
    const std::string file = directory + "/resolv.conf";
    std::ofstream(file) << "nameserver 127.0.0.1\noptions timeout:30 attempts:1\n";
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount(file.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) != 0) {
        return false;
    }
    const int nameServer = ::socket(AF_INET, SOCK_DGRAM, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return ::ioctl(nameServer, SIOCSIFFLAGS, &loopback) == 0 &&
           ::bind(nameServer, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

class SlowResolver : public OnBothRoads {
protected:
    const httpclient_core::test::TemporaryDirectory directory_;
};
ON_BOTH_ROADS(SlowResolver);

TEST_P(SlowResolver, IsWaitedForNeitherAtALimitNorAfterACancellationNorAtTheEnd) {
    const int code = inChild([&] {
        if (!dropOutOfTheWorld(directory_.path())) return NOT_ALLOWED;
        const auto start = steady_clock::now();
        auto client = std::make_unique<CurlHttpClient>(once().withConnectTimeout(200));
        if (failureOf<HttpRequestTimeoutException>([&] {
                send(*client, get("http://one.example/"));
            }).empty())
            return 1;
        client->setClientConfiguration(once().withConnectTimeout(0));
        HttpRequest cancelled = get("http://two.example/");
        cancelled.setProgressCallback([calls = 0](const Progress&) mutable {
            return ++calls < 3 ? ProgressResult::CONTINUE : ProgressResult::CANCEL;
        });
        if (failureOf<HttpRequestCancelledException>([&] {
                send(*client, std::move(cancelled));
            }).empty())
            return 2;
        auto left = client->makeAsyncRequest(get("http://three.example/"));
        client.reset();
        if (failureOf<HttpRequestCancelledException>([&] { left.get(); }).empty()) return 3;
        return steady_clock::now() - start < seconds(15) ? 0 : 4;
    });
    if (code == NOT_ALLOWED) GTEST_SKIP() << "this process may have no network of its own";
    EXPECT_EQ(code, 0);
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

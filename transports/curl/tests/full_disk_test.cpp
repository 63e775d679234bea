#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "support.h"
#include "support/child.h"
#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {
namespace {

constexpr int NOT_ALLOWED = 77;

class FullDisk : public OnBothRoads {
protected:
    // Downloads 3 MiB to where they have no room, retrying as often as it helps. 0 if that fails by
    // name, leaves nothing in the file that is not the body's, and asks for no part.
    int download() const {
        FaultServerOptions options;
        options.content = ServedContent{5, 3 << 20};
        FaultServer server(std::move(options));
        const std::string path = directory_.path() / "file";
        for (const ClientConfiguration& configuration : {once(), stubborn(3)}) {
            HttpRequest request = get(server.url());
            request.setResponseStreamFactory(
                [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                    return std::make_unique<std::fstream>(
                        path, std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary);
                });
            const std::string text =
                failureOf([&] { send(CurlHttpClient(configuration), std::move(request)); });
            if (text.find(" failed: response stream: ") == std::string::npos) return 1;
            const std::string written = httpclient_core::test::readFile(path);
            if (written.empty() || written != server.content().range(0, written.size())) return 2;
        }
        for (const ReceivedRequest& request : server.requests())
            if (request.header("Range")) return 3;
        return server.requests().size() == 4 ? 0 : 4;
    }

    const httpclient_core::test::TemporaryDirectory directory_;
};
ON_BOTH_ROADS(FullDisk);

TEST_P(FullDisk, EndsADownloadByName) {
    const int code = inChild([&] {
        // Seen by this process alone, and gone with it.
        if (::unshare(CLONE_NEWNS) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            return NOT_ALLOWED;
        if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", directory_.path().c_str(), "tmpfs", 0, "size=1m") != 0)
            return NOT_ALLOWED;
        return download();
    });
    if (code == NOT_ALLOWED) GTEST_SKIP() << "this process may mount nothing";
    EXPECT_EQ(code, 0);
}

TEST_P(FullDisk, IsNotDifferentFromALimitOfTheFilesSize) {
    EXPECT_EQ(inChild([&] {
                  ::signal(SIGXFSZ, SIG_IGN);
                  const rlimit size{1000000, 1000000};
                  if (::setrlimit(RLIMIT_FSIZE, &size) != 0) return NOT_ALLOWED;
                  return download();
              }),
              0);
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

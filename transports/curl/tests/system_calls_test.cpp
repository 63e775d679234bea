#include <algorithm>
#include <fstream>
#include <sstream>
#include <utility>

#include "httpclient_testing/black_hole.h"
#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/child.h"
#include "support/child_process.h"
#include "support/server_process.h"
#include "support/system_call_trace.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {
namespace {

using httpclient_testing::sha256Hex;
using testing::HasSubstr;

#define SKIP_WHERE_NOBODY_MAY_TRACE() \
    if (!SystemCallTrace("trace=none").attached()) GTEST_SKIP() << "this process cannot be traced"

class SystemCalls : public OnBothRoads {
protected:
    // Short limits: a call that fails may leave a transfer with nothing to wait for.
    static ClientConfiguration quick() {
        return once().withConnectTimeout(300).withResponseTimeout(300).withIdleTimeout(300);
    }

    static HttpRequest into(const std::string& path, const std::string& url) {
        HttpRequest request = get(url);
        request.setResponseStreamFactory(
            [path](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<std::fstream>(
                    path, std::ios::in | std::ios::out | std::ios::trunc);
            });
        return request;
    }

    template <typename Action>
    static bool endsWell(Action action) {
        try {
            action();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    const httpclient_core::test::TemporaryDirectory directory_;
};
ON_BOTH_ROADS(SystemCalls);

// The calls of a transfer, and how each may fail. What wakes a thread is sent, too, and says EAGAIN
// only to a thread that was woken already; so that is not tried on what sends.
const std::pair<const char*, std::vector<const char*>> FAILURES[] = {
    {"socket", {"EMFILE", "ENOMEM"}},
    {"connect", {"ECONNRESET", "EINTR"}},
    {"setsockopt,getsockopt,getsockname,getpeername", {"ENOMEM"}},
    {"fcntl,ioctl", {"EIO"}},
    {"poll,ppoll", {"EINTR", "ENOMEM"}},
    {"sendto,sendmsg", {"EPIPE", "EINTR"}},
    {"recvfrom,recvmsg", {"ECONNRESET", "EINTR", "EAGAIN"}},
    {"eventfd2,pipe2,socketpair", {"EMFILE"}},
    {"openat", {"EMFILE"}},
    {"write,writev", {"ENOSPC", "EIO", "EINTR"}},
    {"read,readv", {"EIO", "EINTR", "EAGAIN"}},
    {"lseek,close", {"EIO"}},
    {"clone3,clone", {"EAGAIN"}},
#if !WITH_SANITIZER  // which ends the process
    {"mmap,mprotect,madvise", {"ENOMEM"}},
#endif
};

// Downloads into the file, true if that goes well; and uploads, "" if that does not.
struct Outcome {
    bool downloaded = false;
    std::string uploaded;
};

TEST_P(SystemCalls, ThatFailMakeATransferLoudAtTheWorst) {
    const std::string content = ServedContent{1, 100000}.all();
    const std::string path = directory_.path() / "file";
    const ServerProcess server;
    SKIP_WHERE_NOBODY_MAY_TRACE();
    const auto transfer = [&] {
        Outcome outcome;
        const CurlHttpClient client(quick());
        outcome.downloaded = endsWell([&] { send(client, into(path, server.url("/file"))); });
        endsWell([&] {
            outcome.uploaded = send(client, withBody(HttpMethod::PUT, server.url(), content))
                                   .getResponseBodyString();
        });
        return outcome;
    };
    int failures = 0;
    const auto failsAt = [&](const std::string& calls, const std::string& error, int nth) {
        SCOPED_TRACE(calls + ": " + error + ", " + std::to_string(nth));
        SystemCallTrace trace("inject=" + calls + ":error=" + error +
                              ":when=" + std::to_string(nth));
        const Outcome outcome = transfer();
        if (trace.stop().find("(INJECTED)") == std::string::npos) return false;
        ++failures;
        EXPECT_TRUE(!outcome.downloaded || httpclient_core::test::readFile(path) == content);
        EXPECT_TRUE(outcome.uploaded.empty() || outcome.uploaded == sha256Hex(content));
        return true;
    };

    for (const auto& [calls, errors] : FAILURES) {
        for (const char* error : errors) {
            for (int nth = 1; failsAt(calls, error, nth); ++nth) continue;
        }
    }

    EXPECT_GT(failures, 60);
}

TEST_P(SystemCalls, AreFewWhileATransferWaits) {
    SKIP_WHERE_NOBODY_MAY_TRACE();
    const httpclient_testing::BlackHole hole;
    const CurlHttpClient client(quick());
    for (const bool reports : {false, true}) {
        HttpRequest request = get(hole.url());
        if (reports) {
            request.setProgressCallback([](const Progress&) { return ProgressResult::CONTINUE; });
        }
        SystemCallTrace trace("trace=poll,ppoll");

        EXPECT_FALSE(endsWell([&] { send(client, std::move(request)); }));

        const std::string calls = trace.stop();
        EXPECT_GT(std::count(calls.begin(), calls.end(), '\n'), 0);
        EXPECT_LT(std::count(calls.begin(), calls.end(), '\n'), 100);
    }
}

TEST_P(SystemCalls, OfARedirectGoToNoFileAndNoOtherPort) {
    const ServerProcess server({}, [](FaultServer& faulty) {
        for (const std::string kind : {"file", "ftp", "gopher", "dict", "data", "nohost", "crlf"})
            faulty.setPlan("/" + kind, "302:" + kind);
    });
    SKIP_WHERE_NOBODY_MAY_TRACE();
    const CurlHttpClient client(quick());
    SystemCallTrace trace("trace=%file,connect");

    for (const std::string kind : {"file", "ftp", "gopher", "dict", "data", "nohost", "crlf"})
        endsWell([&] { send(client, get(server.url("/" + kind))); });

    std::istringstream log(trace.stop());
    int connections = 0;
    for (std::string line; std::getline(log, line);) {
        EXPECT_EQ(line.find("/etc/hostname"), std::string::npos) << line;
        if (line.find("connect(") == std::string::npos) continue;
        ++connections;
        EXPECT_THAT(line, HasSubstr("sin_port=htons(" + std::to_string(server.port()) + ")"));
    }
    EXPECT_GT(connections, 0);
}

// What is not trusted is what makes OpenSSL look everywhere that it may.
TEST_P(SystemCalls, ReadNoCertificatesOfTheSystemsBesideTheOwnFile) {
    const std::string ofTheSystem = "\"/etc/ssl/certs";
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::UNTRUSTED_CA;
    options.certificates = std::make_shared<const httpclient_testing::TestCertificates>();
    const std::string own = options.certificates->caFile();
    const ServerProcess server(options);
    SKIP_WHERE_NOBODY_MAY_TRACE();
    const auto filesOf = [&](const ClientConfiguration& configuration, const std::string& url) {
        SystemCallTrace trace("trace=%file");
        EXPECT_FALSE(endsWell([&] { send(CurlHttpClient(configuration), get(url)); }));
        return trace.stop();
    };
    const ClientConfiguration proxied = quick().withProxy(server.url());
    for (const auto& [configuration, url] :
         {std::pair{quick(), server.url()},
          std::pair{proxied, std::string("http://127.0.0.1:1/")}}) {
        EXPECT_THAT(filesOf(configuration, url), HasSubstr(ofTheSystem)) << url;

        const std::string files =
            filesOf(ClientConfiguration(configuration).withCertificateFile(own), url);

        EXPECT_THAT(files, HasSubstr(own)) << url;
        EXPECT_THAT(files, testing::Not(HasSubstr(ofTheSystem))) << url;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

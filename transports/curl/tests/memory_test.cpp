#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>

#include "httpclient_core/multipart.h"
#include "support.h"
#include "support/byte_counter.h"
#include "support/child.h"
#include "support/child_process.h"
#include "support/server_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl::test {
namespace {

// What a sanitizer allocates is not what the library does.
#define SKIP_WHERE_MEMORY_TELLS_NOTHING() \
    if (WITH_SANITIZER) GTEST_SKIP() << "a sanitizer keeps memory of its own"

// The most memory that was resident at the same time, in KiB, since it was last asked to begin.
class ResidentPeak {
public:
    static void begin() { std::ofstream("/proc/self/clear_refs") << 5; }
    static std::int64_t kibibytes() {
        std::ifstream status("/proc/self/status");
        std::int64_t peak = -1;
        for (std::string word; status >> word && peak < 0;) {
            if (word == "VmHWM:") status >> peak;
        }
        return peak;
    }
};

// Of a large body. HTTPCLIENT_MIB asks for a larger one than is quick.
std::uint64_t largeSize() {
    const char* mebibytes = std::getenv("HTTPCLIENT_MIB");
    return (mebibytes != nullptr ? std::strtoull(mebibytes, nullptr, 10) : 150) << 20;
}

class Memory : public OnBothRoads {
protected:
    // KiB by which the peak grows while `path` is asked for, beyond what a first answer and
    // a first failure take: the code that they run, above all.
    std::int64_t growth(const CurlHttpClient& client, const std::string& path) {
        for (const char* first : {"/small", "/cut"})
            failureOf([&] { send(client, get(server_.url(first))); });
        ResidentPeak::begin();
        const std::int64_t before = ResidentPeak::kibibytes();
        HttpRequest request = get(server_.url(path));
        request.setResponseStreamFactory(
            [](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<std::fstream>(
                    "/dev/null", std::ios::in | std::ios::out | std::ios::binary);
            });
        EXPECT_NE(failureOf([&] { send(client, std::move(request)); }), "") << path;
        return ResidentPeak::kibibytes() - before;
    }

    const ServerProcess server_{{}, [](FaultServer& server) {
                                    server.serve("/file", ServedContent{1, largeSize()});
                                    server.setPlan("/small", "gzip");
                                    server.setPlan("/cut", "hfin@10");
                                    server.setPlan("/count", "hbomb:20000:200");
                                    server.setPlan("/line", "hline:200000");
                                    server.setPlan("/endless", "hinf");
                                    server.setPlan("/interim", "interiminf");
                                    server.setPlan("/gzip", "gzipbomb:200");
                                }};
};
ON_BOTH_ROADS(Memory);

TEST_P(Memory, IsNotFilledByHeaders) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    const CurlHttpClient client(once());
    for (const char* path : {"/count", "/line", "/endless", "/interim"})
        EXPECT_LT(growth(client, path), 1024) << path;
}

TEST_P(Memory, IsNotFilledByWhatIsDecoded) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    const CurlHttpClient client(
        once(), CurlOptions().withDecodeContent(true).withMaxDecodedBytes(100 << 20));
    EXPECT_LT(growth(client, "/gzip"), 16 * 1024);
}

constexpr std::int64_t MOST_KIBIBYTES = 64 * 1024;

TEST_P(Memory, IsSmallHoweverLargeADownloadIs) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    ByteCounter counter;
    HttpRequest request = get(server_.url("/file"));
    request.setResponseStreamFactory([&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::iostream>(&counter);
    });
    ResidentPeak::begin();

    send(CurlHttpClient(once()), std::move(request));

    EXPECT_EQ(static_cast<std::uint64_t>(counter.count()), largeSize());
    EXPECT_LT(ResidentPeak::kibibytes(), MOST_KIBIBYTES);
}

TEST_P(Memory, IsSmallHoweverLargeAFileThatIsSentIs) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    const httpclient_core::test::TemporaryDirectory directory;
    const std::string path = directory.path() / "file";
    std::ofstream(path).close();
    std::filesystem::resize_file(path, largeSize());
    HttpRequest form(HttpMethod::POST, URL(server_.url()), {});
    form.setMultipartBody(
        httpclient_core::MultipartBody().withPart(httpclient_core::FilePart(path)));
    HttpRequest chunked(HttpMethod::PUT, URL(server_.url()), {{"Transfer-Encoding", "chunked"}});
    chunked.setRequestBody(std::make_unique<std::ifstream>(path));
    HttpRequest plain(HttpMethod::PUT, URL(server_.url()),
                      {{"Content-Length", std::to_string(largeSize())}});
    plain.setRequestBody(std::make_unique<std::ifstream>(path));
    const CurlHttpClient client(once());
    ResidentPeak::begin();

    EXPECT_TRUE(httpclient_core::isSuccess(send(client, std::move(form))));
    EXPECT_TRUE(httpclient_core::isSuccess(send(client, std::move(chunked))));
    EXPECT_TRUE(httpclient_core::isSuccess(send(client, std::move(plain))));

    EXPECT_LT(ResidentPeak::kibibytes(), MOST_KIBIBYTES);
}

// The frame's copies cannot be helped: the request's own, which is not counted, and three more.
TEST_P(Memory, HoldsThePartsOfAFormNoMoreOftenThanItMust) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    constexpr std::size_t SIZE = 40 << 20;
    HttpRequest form(HttpMethod::POST, URL(server_.url()), {});
    form.setMultipartBody(httpclient_core::MultipartBody().withPart(
        httpclient_core::DataPart(std::string(SIZE, 'x'))));
    const CurlHttpClient client(once());
    ResidentPeak::begin();
    const std::int64_t before = ResidentPeak::kibibytes();

    EXPECT_TRUE(httpclient_core::isSuccess(send(client, std::move(form))));

    EXPECT_LT(ResidentPeak::kibibytes() - before, static_cast<std::int64_t>(SIZE / 1024 * 7 / 2));
}

std::size_t allocatedBytes() {
    malloc_trim(0);
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// Whether the server keeps connections, or closes them without having said so.
class MemoryOfManyRequests : public ::testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(, MemoryOfManyRequests, testing::Bool(), [](const auto& kept) {
    return kept.param ? "OnKeptConnections" : "OnAConnectionEach";
});

TEST_P(MemoryOfManyRequests, IsAllGivenBack) {
    SKIP_WHERE_MEMORY_TELLS_NOTHING();
    // What each thread of malloc's keeps at hand for itself would count as allocated.
    const char* tunables = std::getenv("GLIBC_TUNABLES");
    if (tunables == nullptr) {
        EXPECT_EQ(rerunWith({{"GLIBC_TUNABLES", "glibc.malloc.tcache_count=0"}}), 0);
        return;
    }
    constexpr int COUNT = 10000;
    const ServerProcess server({}, [](FaultServer& faulty) {
        if (!GetParam()) faulty.setPlan("/bytes/100", "silentclose");
    });
    const CurlHttpClient client;
    const auto makeMany = [&] {
        std::atomic<int> left{COUNT};
        std::promise<void> ended;
        for (int i = 0; i < COUNT; ++i) {
            client.makeAsyncRequest(get(server.url("/bytes/100")), [&](const auto&...) {
                if (--left == 0) ended.set_value();
            });
        }
        ended.get_future().wait();
    };
    for (int i = 0; i < 3; ++i) makeMany();  // until every thread has all that it will need
    const std::size_t before = allocatedBytes();

    makeMany();

    // Less than a pointer for each request.
    EXPECT_LT(allocatedBytes(), before + COUNT * sizeof(void*));
}

}  // namespace
}  // namespace tavrin::httpclient_curl::test

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>

#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/child_process.h"
#include "support/fault_chooser.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl {
namespace {

using httpclient_core::test::FaultChooser;

// A stream over a buffer that stays when it goes.
class SharedStream : public std::iostream {
public:
    explicit SharedStream(std::shared_ptr<std::stringbuf> buffer)
        : std::iostream(buffer.get()), buffer_(std::move(buffer)) {}

private:
    const std::shared_ptr<std::stringbuf> buffer_;
};

// Many transfers through faults chosen at random: each must be right or say that it is not. The
// seed is printed; HTTPCLIENT_SEED and HTTPCLIENT_ROUNDS repeat a run or make a longer one.
class RandomFaults : public OnBothRoads {
protected:
    RandomFaults() {
        if (const char* rounds = std::getenv("HTTPCLIENT_ROUNDS")) rounds_ = std::atoi(rounds);
    }

    static std::uint64_t seed() {
        const char* given = std::getenv("HTTPCLIENT_SEED");
        const std::uint64_t seed =
            given ? std::strtoull(given, nullptr, 10) : std::random_device()();
        std::cout << "HTTPCLIENT_SEED=" << seed << std::endl;
        return seed;
    }

    // Streams that stand behind what they hold already.
    std::unique_ptr<std::iostream> fileStream(const std::string& start) const {
        auto stream = std::make_unique<std::fstream>(
            file_, std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary);
        *stream << start << std::flush;
        return stream;
    }
    std::unique_ptr<std::iostream> memoryStream(const std::string& start) {
        memory_ = std::make_shared<std::stringbuf>();
        auto stream = std::make_unique<SharedStream>(memory_);
        *stream << start;
        return stream;
    }

    // What the last stream holds, which outlives it.
    std::string stored(bool inFile) const {
        return inFile ? httpclient_core::test::readFile(file_) : memory_->str();
    }

    int rounds_ = 1000;
    FaultChooser chooser_{seed() + static_cast<std::uint64_t>(GetParam())};
    const httpclient_core::test::TemporaryDirectory directory_;
    const std::string file_ = directory_.path() / "file";
    std::shared_ptr<std::stringbuf> memory_;
};
ON_BOTH_ROADS(RandomFaults);

TEST_P(RandomFaults, DownloadsAreRightUnlessBytesBehindThemCannotBeCutOff) {
    FaultServer plain;
    FaultServerOptions options;
    options.tls = httpclient_testing::TlsKind::GOOD;
    FaultServer secure(std::move(options));
    const CurlHttpClient client(stubborn(30).withCertificateFile(secure.caFile()));
    int right = 0;
    int spoilt = 0;
    for (int round = 0; round < rounds_; ++round) {
        FaultServer& server = round % 4 == 3 ? secure : plain;
        const std::uint64_t size = 1 + chooser_.below(20000);
        const std::string path = "/bytes/" + std::to_string(size);
        std::string plan;
        for (std::uint64_t faults = 1 + chooser_.below(6); faults > 0; --faults)
            plan += chooser_.downloadFault(size, true) + ",";
        plan += "ok";
        server.setPlan(plan);
        const std::string prefix = chooser_.oneIn(2) ? "0123456789" : "";
        const bool toFile = chooser_.oneIn(2);
        HttpRequest request = get(server.url(path));
        request.setResponseStreamFactory(
            [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return toFile ? fileStream(prefix) : memoryStream(prefix);
            });

        const std::string failure = failureOf([&] { send(client, std::move(request)); });

        const std::string whole = prefix + server.content(path).all();
        const std::string body = stored(toFile);
        if (failure.empty()) {
            ++right;
            ASSERT_TRUE(body == whole) << plan;
        } else {
            // A stream that begins later cannot be cut off where an earlier answer was longer.
            ++spoilt;
            ASSERT_EQ(failure, "Request to " + hostOf(server) +
                                   " failed: response stream: bytes that are not the body's stand "
                                   "behind it and cannot be cut off")
                << plan;
            ASSERT_FALSE(prefix.empty()) << plan;
            ASSERT_GT(body.size(), whole.size()) << plan;
            ASSERT_EQ(body.substr(0, prefix.size()), prefix) << plan;
        }
    }
    std::cout << right << " right, " << spoilt << " loud for the bytes behind them\n";
}

TEST_P(RandomFaults, UploadsAreWholeOrFail) {
    FaultServer server;
    const CurlHttpClient client(once());
    for (int round = 0; round < rounds_; ++round) {
        const std::string body(chooser_.below(200000), static_cast<char>('a' + round % 26));
        std::string plan;
        for (std::uint64_t faults = chooser_.below(3); faults > 0; --faults)
            plan += chooser_.uploadFault(body.size()) + ",";
        plan += "ok";
        server.setPlan(plan);
        server.forgetRequests();
        for (int i = 0; i < 2; ++i) {
            const HttpMethod method = i == 0 ? HttpMethod::PUT : HttpMethod::POST;
            HttpResponse response;
            const std::string text =
                failureOf([&] { response = send(client, withBody(method, server.url(), body)); });
            if (text.empty() && httpclient_core::isSuccess(response)) {
                ASSERT_EQ(response.getResponseBodyString(), httpclient_testing::sha256Hex(body))
                    << plan;
            }
        }
        int posts = 0;
        // It goes again only where a redirect says so.
        for (const auto& request : server.requests())
            posts += request.method == "POST" && request.answerStatus != 307;
        ASSERT_LE(posts, 1) << plan;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

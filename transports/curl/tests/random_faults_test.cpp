#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>

#include "httpclient_testing/sha256.h"
#include "support.h"
#include "support/child_process.h"
#include "support/temporary_directory.h"

namespace tavrin::httpclient_curl {
namespace {

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
        if (const char* seed = std::getenv("HTTPCLIENT_SEED"))
            seed_ = static_cast<unsigned>(std::strtoul(seed, nullptr, 10));
        if (const char* rounds = std::getenv("HTTPCLIENT_ROUNDS")) rounds_ = std::atoi(rounds);
        random_.seed(seed_ + static_cast<unsigned>(GetParam()));
        std::cout << "HTTPCLIENT_SEED=" << seed_ << std::endl;
    }

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    std::string at(int size) { return "@" + std::to_string(below(size + 1)); }

    std::string downloadFault(int size) {
        switch (below(24)) {
            case 0:
                return "rst" + at(size);
            case 1:
                return "fin" + at(size);
            case 2:
                return "hrst" + at(300);
            case 3:
                return "hfin" + at(300);
            case 4:
                return "503:ar:b" + std::to_string(below(9000));
            case 5:
                return "404:ar:b" + std::to_string(below(9000));
            case 6:
                return "416";
            case 7:
                return "noresp";
            case 8:
                return "accept_rst";
            case 9:
                return "ignorerange+fin" + at(size);
            case 10:
                return "change+fin" + at(size);
            case 11:
                return "change:" + std::string(below(2) ? "+" : "-") +
                       std::to_string(1 + below(200)) + "+rst" + at(size);
            case 12:
                return "noar206+fin" + at(size);
            case 13:
                return "ifrangedrop+fin" + at(size);
            case 14:
                return "wrongrange:" + std::string(below(2) ? "+" : "-") +
                       std::to_string(1 + below(4096));
            case 15:
                return "lietotal:+" + std::to_string(1 + below(9));
            case 16:
                return "nocr";
            case 17:
                return "multirange";
            case 18:
                return "shortrange:" + std::to_string(1 + below(size));
            case 19:
                return "tchunk" + at(size);
            case 20:
                return "weaketag+nolm+fin" + at(size);
            case 21:
                return "302:/bytes/" + std::to_string(size) + ",fin" + at(size);
            case 22:
                return "change+ifrangeignore+fin" + at(size);
            default:
                return "interim:2+trailers+badchunk" + at(size);
        }
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

    unsigned seed_ = std::random_device()();
    int rounds_ = 1000;
    const httpclient_core::test::TemporaryDirectory directory_;
    const std::string file_ = directory_.path() / "file";
    std::shared_ptr<std::stringbuf> memory_;
    std::mt19937 random_;
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
        const int size = 1 + below(20000);
        const std::string path = "/bytes/" + std::to_string(size);
        std::string plan;
        for (int i = below(6); i >= 0; --i) plan += downloadFault(size) + ",";
        plan += "ok";
        server.setPlan(plan);
        const std::string prefix = below(2) == 0 ? "0123456789" : "";
        const bool toFile = below(2) == 0;
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
        const int size = below(200000);
        const std::string body(static_cast<std::size_t>(size), static_cast<char>('a' + round % 26));
        const std::string faults[] = {"ok",
                                      "urst" + at(size + 1),
                                      "ufin" + at(size + 1),
                                      "503",
                                      "early" + at(size + 1) + ":413",
                                      "early" + at(size + 1) + ":413:rst",
                                      "rstnext",
                                      "silentclose",
                                      "finnext",
                                      "noresp",
                                      "307:/x",
                                      "hfin" + at(100)};
        const std::string plan = faults[below(12)] + "," + faults[below(12)] + ",ok";
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
        for (const auto& request : server.requests())
            posts += request.method == "POST" && request.target != "/x";
        ASSERT_LE(posts, 1) << plan;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_curl

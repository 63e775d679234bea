// Sends many downloads and uploads through CurlHttpClient to servers that fail at random, and
// checks every one by its SHA-256: each has to be right, or to say that it is not. What is chosen
// at random depends on the seed and the transfer's number alone, so that one can be repeated.

#include <malloc.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "httpclient_testing/fault_server.h"
#include "httpclient_testing/served_content.h"
#include "httpclient_testing/sha256.h"
#include "httpclient_testing/test_certificates.h"
#include "support/fault_chooser.h"
#include "support/temporary_directory.h"

namespace {

using namespace tavrin::httpclient_core;
using tavrin::httpclient_core::test::FaultChooser;
using tavrin::httpclient_core::test::TemporaryDirectory;
using tavrin::httpclient_curl::CurlHttpClient;
using tavrin::httpclient_testing::FaultPlan;
using tavrin::httpclient_testing::FaultServer;
using tavrin::httpclient_testing::FaultServerOptions;
using tavrin::httpclient_testing::ReceivedRequest;
using tavrin::httpclient_testing::ServedContent;
using tavrin::httpclient_testing::sha256Hex;
using tavrin::httpclient_testing::TestCertificates;
using tavrin::httpclient_testing::TlsKind;
using Clock = std::chrono::steady_clock;

// What a stream that does not begin at 0 holds already.
const std::string PREFIX = "0123456789";

// Kinds of transfers; the first two are retried until they are right.
const std::string DOWNLOAD = "download";
const std::string PUT = "upload by PUT";
const std::string POST = "upload by POST";

// No transfer takes nearly as long unless it hangs: its limits are half a second each.
constexpr std::chrono::seconds HANGS_AFTER{120};

constexpr int MOST_ATTEMPTS = 60;

// Pages come and go by hundreds, so that a small leak is seen only in what is allocated. That grows
// too, with the number of threads and not of requests, and settles: at 8 threads some 130 KiB above
// what it was.
constexpr double MOST_RESIDENT_GROWTH = 1.05;
constexpr std::size_t MOST_ALLOCATED_GROWTH = std::size_t{256} * 1024;

// --- What is left of a run ---

struct Resources {
    std::size_t allocatedBytes = 0;
    std::int64_t residentKib = 0;
    std::int64_t threads = 0;
    std::int64_t descriptors = 0;

    bool hasGrownSince(const Resources& before) const {
        return static_cast<double>(residentKib) >
                   static_cast<double>(before.residentKib) * MOST_RESIDENT_GROWTH ||
               allocatedBytes > before.allocatedBytes + MOST_ALLOCATED_GROWTH ||
               threads > before.threads || descriptors > before.descriptors;
    }
};

Resources ownResources() {
    malloc_trim(0);
    Resources resources;
    const struct mallinfo2 heap = mallinfo2();
    resources.allocatedBytes = heap.uordblks + heap.hblkhd;
    std::ifstream status("/proc/self/status");
    for (std::string name; status >> name; status.ignore(1000, '\n')) {
        if (name == "VmRSS:") status >> resources.residentKib;
        if (name == "Threads:") status >> resources.threads;
    }
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    // The one that reads the directory is not counted.
    resources.descriptors = std::distance(begin(descriptors), end(descriptors)) - 1;
    return resources;
}

std::ostream& operator<<(std::ostream& os, const Resources& resources) {
    return os << resources.residentKib << " KiB resident, " << resources.allocatedBytes
              << " bytes allocated, " << resources.threads << " threads, " << resources.descriptors
              << " descriptors";
}

// --- What came of the transfers ---

// May be used by several threads at once.
class Tally {
public:
    void attempt(int number) {
        if (number > 1) ++retries_;
    }

    void right(const std::string& transfer) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++right_[transfer];
    }

    void resumed(std::uint64_t count) { resumes_ += count; }

    void wrong(const std::string& what) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++wrong_;
        std::cout << "WRONG: " << what << std::endl;
    }

    void loud(const std::string& transfer, const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++errors_[transfer + ", " + kindOf(text)];
        if (transfer != POST) ++failedDespiteRetries_;
    }

    std::uint64_t wrong() const { return wrong_; }

    // Of what is retried, too much failed nevertheless.
    bool givesUpTooOften() const {
        std::uint64_t right = 0;
        for (const auto& [transfer, count] : right_)
            if (transfer != POST) right += count;
        return failedDespiteRetries_ * 1000 > right + failedDespiteRetries_;
    }

    friend std::ostream& operator<<(std::ostream& os, const Tally& tally) {
        for (const auto& [transfer, count] : tally.right_)
            os << "right: " << transfer << ": " << count << '\n';
        os << "retries " << tally.retries_ << ", resumes " << tally.resumes_ << "\nwrong "
           << tally.wrong_ << '\n';
        for (const auto& [kind, count] : tally.errors_)
            os << "loud: " << kind << ": " << count << '\n';
        return os;
    }

private:
    // The text without what differs from one request to the next.
    static std::string kindOf(const std::string& text) {
        const std::string mark = " failed: ";
        const std::size_t found = text.find(mark);
        std::string kind = found == std::string::npos ? text : text.substr(found + mark.size());
        kind.erase(
            std::remove_if(kind.begin(), kind.end(), [](char c) { return c >= '0' && c <= '9'; }),
            kind.end());
        return kind;
    }

    std::atomic<std::uint64_t> retries_{0}, resumes_{0}, wrong_{0};
    std::mutex mutex_;
    std::map<std::string, std::uint64_t> right_;
    std::map<std::string, std::uint64_t> errors_;
    std::uint64_t failedDespiteRetries_ = 0;
};

// --- What is chosen at random ---

class Chooser : public FaultChooser {
public:
    using FaultChooser::FaultChooser;

    std::uint64_t size(std::uint64_t usual) {
        return oneIn(50) ? below(40 * usual) : oneIn(50) ? 0 : 1 + below(usual);
    }

    std::string failingDownload(std::uint64_t size, bool mayLeaveBytes) {
        return oneIn(32) ? downloadStall(size) : downloadFault(size, mayLeaveBytes);
    }

    std::string failingUpload(std::uint64_t size) {
        return oneIn(60) ? uploadStall(size) : uploadFault(size);
    }
};

// --- The transfers ---

// One thread's transfers, to servers of its own, through a client that all threads share.
class Worker {
public:
    Worker(const CurlHttpClient& client, std::shared_ptr<const TestCertificates> certificates,
           const std::filesystem::path& directory, Tally& tally)
        : client_(client),
          tally_(tally),
          file_(directory / std::to_string(plain_.port())),
          secure_(secureOptions(std::move(certificates))) {}

    ~Worker() {
        std::error_code ignored;
        std::filesystem::remove(file_, ignored);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void transfer(std::uint64_t seed, bool download) {
        begun_ = Clock::now().time_since_epoch().count();
        Chooser chooser(seed);
        FaultServer& server = chooser.oneIn(4) ? secure_ : plain_;
        if (download) {
            this->download(server, chooser, seed);
        } else {
            upload(server, chooser, seed);
        }
        server.setPlan(FaultPlan());
        server.release();
        server.forgetRequests();
        begun_ = 0;
    }

    // Whether the transfer under way should have ended long ago.
    bool hangs() const {
        const Clock::rep begun = begun_;
        return begun != 0 && Clock::now() - Clock::time_point(Clock::duration(begun)) > HANGS_AFTER;
    }

private:
    static FaultServerOptions secureOptions(std::shared_ptr<const TestCertificates> certificates) {
        FaultServerOptions options;
        options.tls = TlsKind::GOOD;
        options.certificates = std::move(certificates);
        return options;
    }

    void download(FaultServer& server, Chooser& chooser, std::uint64_t seed) {
        const std::uint64_t size = chooser.size(20000);
        const bool later = chooser.oneIn(3);
        const bool toFile = chooser.oneIn(2);
        server.serve("/file", ServedContent{seed, size});
        std::string plan;
        for (std::uint64_t faults = chooser.below(6); faults > 0; --faults)
            plan += chooser.failingDownload(size, !later) + ",";
        server.setPlan(plan + "ok");

        HttpRequest request(HttpMethod::GET, URL(server.url("/file")), {});
        const std::string start = later ? PREFIX : "";
        request.setResponseStreamFactory(
            [=](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return toFile ? fileStream(start) : memoryStream(start);
            });
        try {
            const HttpResponse response = send(std::move(request), chooser);
            std::iostream& body = response.getResponseBody();
            body.seekg(0);
            const std::string received{std::istreambuf_iterator<char>(body), {}};
            if (sha256Hex(received) == sha256Hex(start + server.content("/file").all())) {
                tally_.right(DOWNLOAD);
            } else {
                tally_.wrong("download " + std::to_string(seed) + ": " + plan);
            }
        } catch (const std::exception& error) {
            tally_.loud(DOWNLOAD, error.what());
        }
        std::uint64_t resumed = 0;
        for (const ReceivedRequest& received : server.requests())
            if (received.answerStatus == 206) ++resumed;
        tally_.resumed(resumed);
    }

    void upload(FaultServer& server, Chooser& chooser, std::uint64_t seed) {
        const std::string content = ServedContent{seed, chooser.size(50000)}.all();
        const bool put = chooser.oneIn(2);
        std::string plan;
        for (std::uint64_t faults = chooser.below(4); faults > 0; --faults)
            plan += chooser.failingUpload(content.size()) + ",";
        server.setPlan(plan + "ok");

        HttpRequest request(put ? HttpMethod::PUT : HttpMethod::POST, URL(server.url("/upload")),
                            {});
        if (chooser.oneIn(2)) {
            request.setRequestBody(content);
        } else {
            std::ofstream(file_, std::ios::binary) << content;
            request.setTransferEncoding("chunked");
            request.setRequestBody(std::make_unique<std::ifstream>(file_, std::ios::binary));
        }
        const std::string transfer = put ? PUT : POST;
        const std::string expected = sha256Hex(content);
        try {
            const HttpResponse response = send(std::move(request), chooser);
            if (!isSuccess(response)) {
                tally_.loud(transfer, "status " + to_string(response.getResponseCode()) + " ");
            } else if (response.getResponseBodyString() == expected) {
                tally_.right(transfer);
            } else {
                tally_.wrong(transfer + " " + std::to_string(seed) + ": " + plan);
            }
        } catch (const std::exception& error) {
            tally_.loud(transfer, error.what());
        }
        if (!put) checkCarriedOutOnce(server, transfer + " " + std::to_string(seed) + ": " + plan);
    }

    // A POST goes again only where a redirect says so.
    void checkCarriedOutOnce(const FaultServer& server, const std::string& what) {
        int times = 0;
        for (const ReceivedRequest& received : server.requests())
            if (received.answerStatus != 307) ++times;
        if (times > 1) tally_.wrong("sent " + std::to_string(times) + " times: " + what);
    }

    HttpResponse send(HttpRequest request, Chooser& chooser) const {
        if (chooser.oneIn(2)) return client_.makeRequest(std::move(request));
        return client_.makeAsyncRequest(std::move(request)).get();
    }

    std::unique_ptr<std::iostream> fileStream(const std::string& start) const {
        auto stream = std::make_unique<std::fstream>(
            file_, std::ios::in | std::ios::out | std::ios::trunc | std::ios::binary);
        *stream << start << std::flush;
        return stream;
    }

    static std::unique_ptr<std::iostream> memoryStream(const std::string& start) {
        auto stream = std::make_unique<std::stringstream>();
        *stream << start;
        return stream;
    }

    const CurlHttpClient& client_;
    Tally& tally_;
    FaultServer plain_;
    const std::filesystem::path file_;
    FaultServer secure_;
    std::atomic<Clock::rep> begun_{0};
};

ClientConfiguration retryingEverything(const std::string& caFile, Tally& tally) {
    const auto everything = [](HttpMethod method, bool, HttpResponseCode) {
        return method != HttpMethod::POST;
    };
    const auto strategy = [&tally, retry = defaultRetryStrategy(
                                       MOST_ATTEMPTS, 1, std::chrono::seconds(1), everything)](
                              const HttpRequest& request, const HttpResponse& response,
                              const std::exception_ptr& error, int total, int consecutive) {
        tally.attempt(total);
        return retry(request, response, error, total, consecutive);
    };
    return ClientConfiguration()
        .withResumeOnRetry(true)
        .withRetryStrategy(strategy)
        .withCertificateFile(caFile)
        .withConnectTimeout(2000)
        .withResponseTimeout(500)
        .withIdleTimeout(500);
}

// Which transfers a run makes.
struct Run {
    std::uint64_t seed = 0;
    std::uint64_t downloads = 2000;
    std::uint64_t uploads = 500;
    std::size_t threads = 8;
    bool ignoreGrowth = false;

    // Spreads the uploads evenly among the downloads.
    bool isDownload(std::uint64_t number) const {
        return number * uploads / total() == (number + 1) * uploads / total();
    }
    std::uint64_t total() const { return downloads + uploads; }
};

void carryOut(const Run& run, const std::filesystem::path& directory, Tally& tally) {
    const auto certificates = std::make_shared<const TestCertificates>();
    const CurlHttpClient client(retryingEverything(certificates->caFile(), tally));
    std::vector<std::unique_ptr<Worker>> workers;
    workers.reserve(run.threads);
    for (std::size_t i = 0; i < run.threads; ++i)
        workers.push_back(std::make_unique<Worker>(client, certificates, directory, tally));

    std::atomic<std::uint64_t> next{0};
    std::atomic<std::size_t> working{run.threads};
    std::mutex mutex;
    std::condition_variable ended;
    std::vector<std::thread> threads;
    threads.reserve(workers.size());
    for (const auto& worker : workers) {
        threads.emplace_back([&, raw = worker.get()] {
            for (std::uint64_t number = next++; number < run.total(); number = next++)
                raw->transfer(run.seed * 1000003 + number, run.isDownload(number));
            const std::lock_guard<std::mutex> lock(mutex);
            --working;
            ended.notify_one();
        });
    }
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended.wait_for(lock, std::chrono::seconds(1), [&] { return working == 0; })) {
        for (const auto& worker : workers) {
            if (!worker->hangs()) continue;
            // Nothing can be taken down in order any more.
            std::cout << tally << "HANGS: a transfer of seed " << run.seed << std::endl;
            std::_Exit(EXIT_FAILURE);
        }
    }
    lock.unlock();
    for (std::thread& thread : threads) thread.join();
}

// Whether everything was right, and nothing stayed behind.
bool soak(const Run& run, const std::filesystem::path& directory) {
    // What the process takes once and for all is taken before it is measured.
    Tally ignored;
    Run first = run;
    first.downloads = std::max<std::uint64_t>(run.downloads / 10, 200);
    first.uploads = std::max<std::uint64_t>(run.uploads / 10, 50);
    carryOut(first, directory, ignored);
    const Resources before = ownResources();
    std::cout << "seed " << run.seed << ", " << run.downloads << " downloads, " << run.uploads
              << " uploads, " << run.threads << " threads\nbefore: " << before << std::endl;

    Tally tally;
    const auto from = Clock::now();
    carryOut(run, directory, tally);
    const std::chrono::duration<double> took = Clock::now() - from;
    const Resources after = ownResources();

    std::cout << tally << "after: " << after << "\ntook " << took.count() << " s" << std::endl;
    const bool flat = run.ignoreGrowth || !after.hasGrownSince(before);
    if (!flat) std::cout << "LEAKS" << std::endl;
    if (tally.givesUpTooOften()) std::cout << "GIVES UP TOO OFTEN" << std::endl;
    return flat && tally.wrong() == 0 && ignored.wrong() == 0 && !tally.givesUpTooOften();
}

int run(int argc, char** argv) {
    CLI::App app(
        "Downloads and uploads through random faults, and checks every byte. Ends with 1 if a "
        "result was wrong, a POST was sent twice unasked, a transfer hung, more than one in a "
        "thousand failed in spite of retries, or memory, threads or descriptors grew.");
    Run wanted;
    wanted.seed = std::random_device()();
    app.add_option("--seed", wanted.seed, "What the random choices depend on; random by default");
    app.add_option("--downloads", wanted.downloads, "Downloads")->capture_default_str();
    app.add_option("--uploads", wanted.uploads, "Uploads")->capture_default_str();
    app.add_flag("--ignore-growth", wanted.ignoreGrowth,
                 "Let memory, threads and descriptors grow, as sanitizers need some themselves");
    app.add_option("--threads", wanted.threads, "Threads that make transfers")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    // Threads that come and go leave memory of the allocator's unused in many arenas; in one it can
    // be told from a leak.
    mallopt(M_ARENA_MAX, 1);  // NOLINT(concurrency-mt-unsafe): there is one thread yet.
    const TemporaryDirectory directory;
    return soak(wanted, directory.path()) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "soak: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}

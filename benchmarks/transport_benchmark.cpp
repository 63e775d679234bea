// What a request costs through CurlHttpClient, beside plain libcurl doing the same work: both in
// one run and by turns, against the system's nginx in another process. A ratio above 1 is in our
// favour.

#include <curl/curl.h>
#include <malloc.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "httpclient_testing/black_hole.h"
#include "support/nginx_server.h"

namespace {

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
using tavrin::httpclient_curl::test::NginxServer;
using tavrin::httpclient_testing::BlackHole;

constexpr std::size_t SMALL_BYTES = 100;
constexpr std::size_t IN_FLIGHT = 32;

struct Cost {
    double wallSeconds = 0;
    double cpuSeconds = 0;
};

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

Cost costOf(const std::function<void()>& work) {
    const double cpu = cpuSeconds();
    const auto from = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - from;
    return {wall.count(), cpuSeconds() - cpu};
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// Not the process's resident memory, which an earlier measurement may have left behind.
std::size_t allocatedBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// A field of /proc/self/status, such as "Threads".
std::int64_t ownStatus(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string name; status >> name; status.ignore(1000, '\n')) {
        std::int64_t value = 0;
        if (name == field + ":" && status >> value) return value;
    }
    throw std::runtime_error("No " + field + " in /proc/self/status");
}

void expect(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

// --- Plain libcurl ---

// What one transfer left behind.
struct PlainResponse {
    std::uint64_t bytes = 0;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
};

std::size_t discard(char*, std::size_t size, std::size_t count, void* to) {
    static_cast<PlainResponse*>(to)->bytes += size * count;
    return size * count;
}

std::size_t keep(char* data, std::size_t size, std::size_t count, void* to) {
    static_cast<PlainResponse*>(to)->body.append(data, size * count);
    return size * count;
}

std::size_t keepHeader(char* data, std::size_t size, std::size_t count, void* to) {
    const std::string_view line(data, size * count);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos) {
        const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
        const std::size_t end = std::max(line.find_last_not_of("\r\n") + 1, value);
        static_cast<PlainResponse*>(to)->headers.emplace_back(line.substr(0, colon),
                                                              line.substr(value, end - value));
    }
    return size * count;
}

using Handle = std::unique_ptr<CURL, void (*)(CURL*)>;

Handle plainHandle(const std::string& url, curl_write_callback write, bool keepsHeaders) {
    Handle handle(curl_easy_init(), curl_easy_cleanup);
    expect(handle != nullptr, "No handle");
    curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, write);
    if (keepsHeaders) curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, keepHeader);
    return handle;
}

void receiveInto(const Handle& handle, PlainResponse& response, bool keepsHeaders) {
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &response);
    // With data but no function for headers, libcurl would write them into the body.
    if (keepsHeaders) curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &response);
}

void plainDownload(const std::string& url, std::uint64_t bytes, curl_write_callback write) {
    const Handle handle = plainHandle(url, write, false);
    PlainResponse response;
    receiveInto(handle, response, false);
    expect(curl_easy_perform(handle.get()) == CURLE_OK, "Plain download failed");
    expect(response.bytes + response.body.size() == bytes, "Plain download is short");
}

void plainSequence(const std::string& url, std::size_t count, bool keepsHeaders) {
    const Handle handle = plainHandle(url, keep, keepsHeaders);
    for (std::size_t i = 0; i < count; ++i) {
        PlainResponse response;
        receiveInto(handle, response, keepsHeaders);
        expect(curl_easy_perform(handle.get()) == CURLE_OK, "Plain request failed");
        expect(response.body.size() == SMALL_BYTES, "Plain response is short");
    }
}

void plainMultiLoop(const std::string& url, std::size_t count, bool keepsHeaders) {
    const std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)> multi(curl_multi_init(),
                                                              curl_multi_cleanup);
    std::vector<Handle> handles;
    std::vector<PlainResponse> responses(IN_FLIGHT);
    std::size_t started = 0;
    const auto start = [&](std::size_t slot) {
        responses[slot] = PlainResponse();
        receiveInto(handles[slot], responses[slot], keepsHeaders);
        curl_easy_setopt(handles[slot].get(), CURLOPT_PRIVATE, &responses[slot]);
        curl_multi_add_handle(multi.get(), handles[slot].get());
        ++started;
    };
    for (std::size_t slot = 0; slot < IN_FLIGHT; ++slot)
        handles.push_back(plainHandle(url, keep, keepsHeaders));
    for (std::size_t slot = 0; slot < IN_FLIGHT && started < count; ++slot) start(slot);
    int running = 1;
    std::size_t ended = 0;
    while (ended < count) {
        curl_multi_perform(multi.get(), &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
            expect(message->data.result == CURLE_OK, "Plain request failed");
            char* response = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &response);
            const auto slot = static_cast<std::size_t>(reinterpret_cast<PlainResponse*>(response) -
                                                       responses.data());
            expect(responses[slot].body.size() == SMALL_BYTES, "Plain response is short");
            curl_multi_remove_handle(multi.get(), message->easy_handle);
            ++ended;
            if (started < count) start(slot);
        }
        if (ended < count) curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr);
    }
    for (const Handle& handle : handles) curl_multi_remove_handle(multi.get(), handle.get());
}

// --- Ours ---

// Counts what is written and forgets it.
class Sink : public std::iostream {
public:
    Sink() : std::iostream(&buffer_) {}

private:
    class Buffer : public std::streambuf {
    protected:
        int_type overflow(int_type c) override {
            ++count_;
            return traits_type::not_eof(c);
        }
        std::streamsize xsputn(const char*, std::streamsize count) override {
            count_ += count;
            return count;
        }
        pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override {
            return count_;
        }
        pos_type seekpos(pos_type position, std::ios::openmode) override { return position; }

    private:
        std::streamoff count_ = 0;
    };

    Buffer buffer_;
};

HttpRequest get(const std::string& url) { return HttpRequest(HttpMethod::GET, URL(url), {}); }

void ownDownload(const std::string& url, std::uint64_t bytes, bool keeps) {
    const CurlHttpClient client;
    HttpRequest request = get(url);
    if (!keeps) {
        request.setResponseStreamFactory(
            [](HttpResponseCode, const std::string&, const HttpHeaders&) {
                return std::make_unique<Sink>();
            });
    }
    const HttpResponse response = client.makeRequest(std::move(request));
    expect(static_cast<std::uint64_t>(response.getResponseBody().tellp()) == bytes,
           "Download is short");
}

void expectSmall(const HttpResponse& response) {
    expect(response.getResponseBodyString().size() == SMALL_BYTES, "Response is short");
}

void ownSequence(const std::string& url, std::size_t count) {
    const CurlHttpClient client;
    for (std::size_t i = 0; i < count; ++i) expectSmall(client.makeRequest(get(url)));
}

// All at once, each with a future; the client lets so many go at a time.
void ownInFlight(const std::string& url, std::size_t count) {
    const CurlHttpClient client(
        ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(IN_FLIGHT));
    std::vector<std::future<HttpResponse>> futures;
    for (std::size_t i = 0; i < count; ++i) futures.push_back(client.makeAsyncRequest(get(url)));
    for (auto& future : futures) expectSmall(future.get());
}

// --- What is compared ---

struct Contender {
    std::string name;
    std::function<void()> work;
};

// Prints the medians of all, which take turns; each of them does `units` units of work.
void compare(const std::string& subject, const std::string& unit, double units, int repetitions,
             const Contender& ours, const std::vector<Contender>& peers) {
    std::vector<Contender> contenders = peers;
    contenders.insert(contenders.begin(), ours);
    std::vector<std::vector<double>> wall(contenders.size()), cpu(contenders.size());
    for (int repetition = -1; repetition < repetitions; ++repetition) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const Cost cost = costOf(contenders[i].work);
            if (repetition < 0) continue;  // warms up
            wall[i].push_back(cost.wallSeconds);
            cpu[i].push_back(cost.cpuSeconds);
        }
    }
    std::cout << subject << '\n' << std::fixed;
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        std::cout << "  " << std::left << std::setw(30) << contenders[i].name << std::right
                  << std::setprecision(2) << std::setw(10) << median(wall[i]) * 1e6 / units
                  << " us wall" << std::setw(10) << median(cpu[i]) * 1e6 / units << " us CPU a "
                  << unit;
        if (i > 0) {
            std::cout << std::setprecision(3) << "; plain/ours: wall "
                      << median(wall[i]) / median(wall[0]) << ", CPU "
                      << median(cpu[i]) / median(cpu[0]);
        }
        std::cout << '\n';
    }
    std::cout << std::flush;
}

// What requests cost while they wait in the queue: nothing answers the first ones.
void queue(std::size_t count) {
    const BlackHole hole;
    const std::string url = hole.url();
    std::size_t completed = 0;
    std::mutex mutex;
    const std::size_t before = allocatedBytes();
    const std::int64_t threadsBefore = ownStatus("Threads");
    std::size_t held = 0;
    std::int64_t threads = 0;
    Cost queued;
    const Cost all = costOf([&] {
        const CurlHttpClient client(ClientConfiguration().withConnectTimeout(0));
        queued = costOf([&] {
            for (std::size_t i = 0; i < count; ++i) {
                client.makeAsyncRequest(get(url), [&](const auto&...) {
                    const std::lock_guard<std::mutex> lock(mutex);
                    ++completed;
                });
            }
        });
        held = allocatedBytes() - before;
        threads = ownStatus("Threads") - threadsBefore;
    });
    expect(completed == count, "Not every queued request completed");
    std::cout << "queue of " << count << ": " << std::fixed << std::setprecision(2)
              << static_cast<double>(held) / static_cast<double>(count) << " bytes and "
              << queued.wallSeconds * 1e6 / static_cast<double>(count) << " us a request, "
              << threads << " more threads; cancelled and destroyed in "
              << (all.wallSeconds - queued.wallSeconds) * 1e3 << " ms\n"
              << std::flush;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Compares CurlHttpClient with plain libcurl, against nginx on loopback.");
    int repetitions = 5;
    std::size_t requests = 20000;
    std::uint64_t bytes = std::uint64_t{1} << 30;
    std::vector<std::string> only{"discard", "memory", "sequential", "parallel", "queue"};
    app.add_option("--repetitions", repetitions, "Measured rounds; the first of all is not")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--requests", requests, "Small requests a round")->capture_default_str();
    app.add_option("--bytes", bytes, "Size of a download")
        ->transform(CLI::AsSizeValue(false))
        ->capture_default_str();
    app.add_option("--only", only, "Subjects to measure")
        ->check(CLI::IsMember(std::vector<std::string>(only)))
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    const auto wanted = [&](const char* name) {
        return std::find(only.begin(), only.end(), name) != only.end();
    };

    try {
        curl_global_init(CURL_GLOBAL_DEFAULT);
        NginxServer server(NginxServer::Setup::SPEED);
        server.serve("/small", std::string(SMALL_BYTES, 'x'));
        const std::string small = server.url("/small"), large = server.url("/large");
        const auto count = static_cast<double>(requests);
        const double gibibytes = static_cast<double>(bytes) / (1 << 30);
        if (wanted("discard") || wanted("memory")) server.serveZeros("/large", bytes);

        if (wanted("discard")) {
            compare("download, discarded", "GiB", gibibytes, repetitions,
                    {"CurlHttpClient", [&] { ownDownload(large, bytes, false); }},
                    {{"plain libcurl", [&] { plainDownload(large, bytes, discard); }}});
        }
        if (wanted("memory")) {
            compare("download, into memory", "GiB", gibibytes, repetitions,
                    {"CurlHttpClient", [&] { ownDownload(large, bytes, true); }},
                    {{"plain libcurl", [&] { plainDownload(large, bytes, keep); }}});
        }
        if (wanted("sequential")) {
            compare(
                "GET of 100 bytes, sequential", "request", count, repetitions,
                {"CurlHttpClient", [&] { ownSequence(small, requests); }},
                {{"plain libcurl", [&] { plainSequence(small, requests, false); }},
                 {"plain libcurl, headers kept", [&] { plainSequence(small, requests, true); }}});
        }
        if (wanted("parallel")) {
            compare("GET of 100 bytes, 32 in flight", "request", count, repetitions,
                    {"CurlHttpClient, futures", [&] { ownInFlight(small, requests); }},
                    {{"plain multi loop", [&] { plainMultiLoop(small, requests, false); }},
                     {"plain multi loop, headers kept",
                      [&] { plainMultiLoop(small, requests, true); }}});
        }
        if (wanted("queue")) {
            for (const std::size_t length : {1000, 10000, 100000}) queue(length);
        }
    } catch (const std::exception& error) {
        std::cerr << "transport_benchmark: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

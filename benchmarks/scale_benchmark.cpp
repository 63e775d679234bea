// What an element costs among 10, and what among 100,000: each operation handles as many as its
// argument says.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstddef>
#include <iterator>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "httpclient_testing/black_hole.h"

namespace {

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
using tavrin::httpclient_testing::BlackHole;

constexpr std::size_t MOST = 100000;

std::size_t allocatedBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

std::size_t count(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

// Different names in no alphabetical order.
const std::vector<std::string>& names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> made;
        for (std::size_t i = 0; i < MOST; ++i)
            made.push_back("X-Name-" + std::to_string(i * 48271 % MOST + MOST));
        return made;
    }();
    return names;
}

const std::string VALUE = "a value of some length";

// Tells what an element of `make(n)` takes of the heap, then how long making and destroying takes.
template <typename Make>
void making(benchmark::State& state, Make make) {
    const std::size_t size = count(state);
    {
        // So many that what the heap has ready for small needs does not matter.
        std::vector<decltype(make(size))> made;
        made.reserve(MOST / size);
        const std::size_t before = allocatedBytes();
        while (made.size() < MOST / size) made.push_back(make(size));
        state.counters["bytes"] = static_cast<double>(allocatedBytes() - before) / MOST;
    }
    // Otherwise the first of the measured ones would tidy up what so many left behind.
    malloc_trim(0);
    benchmark::DoNotOptimize(make(size));
    for (auto _ : state) benchmark::DoNotOptimize(make(size));
}

benchmark::internal::Benchmark* registerAll(const char* name, void (*function)(benchmark::State&)) {
    return benchmark::RegisterBenchmark(name, function)->RangeMultiplier(10)->Range(10, MOST);
}

NameValueCollection collectionOf(std::size_t size) {
    NameValueCollection made;
    for (std::size_t i = 0; i < size; ++i) made.add(names()[i], VALUE);
    return made;
}

HttpHeaders headersOf(std::size_t size) {
    HttpHeaders made;
    for (std::size_t i = 0; i < size; ++i) made.addHeaderValue(names()[i], VALUE);
    return made;
}

// What the containers of the standard library take for the same: the entries in their order, and
// an index over them.
void standardContainers(benchmark::State& state) {
    using Entries = std::list<std::pair<std::string, std::string>>;
    making(state, [](std::size_t size) {
        std::pair<Entries, std::multimap<std::string, Entries::iterator>> made;
        for (std::size_t i = 0; i < size; ++i) {
            made.first.emplace_back(names()[i], VALUE);
            made.second.emplace(names()[i], std::prev(made.first.end()));
        }
        return made;
    });
}

void addHeaders(benchmark::State& state) { making(state, headersOf); }

void addHeadersOfOneName(benchmark::State& state) {
    making(state, [](std::size_t size) {
        HttpHeaders made;
        for (std::size_t i = 0; i < size; ++i) made.addHeaderValue("Set-Cookie", VALUE);
        return made;
    });
}

void copyHeaders(benchmark::State& state) {
    const HttpHeaders headers = headersOf(count(state));
    making(state, [&](std::size_t) { return HttpHeaders(headers); });
}

void findHeaders(benchmark::State& state) {
    const HttpHeaders headers = headersOf(count(state));
    for (auto _ : state) {
        for (std::size_t i = 0; i < count(state); ++i)
            benchmark::DoNotOptimize(headers.find(names()[i]));
    }
}

void removeHeaders(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        HttpHeaders headers = headersOf(count(state));
        state.ResumeTiming();
        for (std::size_t i = 0; i < count(state); ++i) headers.removeHeader(names()[i]);
    }
}

void addQueryParameters(benchmark::State& state) {
    making(state, [](std::size_t size) {
        QueryParameters made;
        for (std::size_t i = 0; i < size; ++i) made.addQueryParameter(names()[i], VALUE);
        return made;
    });
}

void printQueryParameters(benchmark::State& state) {
    const QueryParameters parameters(collectionOf(count(state)));
    making(state, [&](std::size_t) { return parameters.toString(); });
}

void encodeForm(benchmark::State& state) {
    const NameValueCollection fields = collectionOf(count(state));
    making(state, [&](std::size_t) { return FormUrlEncoded(fields); });
}

void parseCookies(benchmark::State& state) {
    const std::string text = Cookie::toString(collectionOf(count(state)));
    making(state, [&](std::size_t) { return Cookie::parse(text); });
}

void printCookies(benchmark::State& state) {
    const NameValueCollection cookies = collectionOf(count(state));
    making(state, [&](std::size_t) { return Cookie::toString(cookies); });
}

void parseAccept(benchmark::State& state) {
    std::string text = "text/plain";
    for (std::size_t i = 1; i < count(state); ++i) text += ", text/html;q=0.5";
    making(state, [&](std::size_t) { return Accept::parse(text); });
}

void addParts(benchmark::State& state) {
    making(state, [](std::size_t size) {
        MultipartBody made;
        for (std::size_t i = 0; i < size; ++i)
            made.addPart(DataPart(PartHeader(names()[i], "text/plain"), VALUE));
        return made;
    });
}

// Requests that wait because nothing answers those before them. Threads and what else the first
// one brings along is there before the others are counted.
class Queue {
public:
    Queue() { add(1); }

    void add(std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            client_.makeAsyncRequest(HttpRequest(HttpMethod::GET, URL(hole_.url()), {}),
                                     [](const auto&...) {});
        }
    }

private:
    BlackHole hole_;
    CurlHttpClient client_{ClientConfiguration().withConnectTimeout(0)};
};

void queueRequests(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::optional<Queue> queue(std::in_place);
        const std::size_t before = allocatedBytes();
        state.ResumeTiming();
        queue->add(count(state));
        state.PauseTiming();
        state.counters["bytes"] =
            static_cast<double>(allocatedBytes() - before) / static_cast<double>(count(state));
        queue.reset();
        state.ResumeTiming();
    }
}

// Other threads than this one take part.
void cancelRequests(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        std::optional<Queue> queue(std::in_place);
        queue->add(count(state));
        state.ResumeTiming();
        queue.reset();
    }
}

}  // namespace

int main(int argc, char** argv) {
    registerAll("Headers added", addHeaders);
    registerAll("Headers of one name added", addHeadersOfOneName);
    registerAll("std::list and std::multimap filled", standardContainers);
    registerAll("Headers copied", copyHeaders);
    registerAll("Headers found", findHeaders);
    registerAll("Headers removed", removeHeaders);
    registerAll("Query parameters added", addQueryParameters);
    registerAll("Query parameters printed", printQueryParameters);
    registerAll("Form fields encoded", encodeForm);
    registerAll("Cookies parsed", parseCookies);
    registerAll("Cookies printed", printCookies);
    registerAll("Media ranges parsed", parseAccept);
    registerAll("Multipart parts added", addParts);
    registerAll("Requests queued", queueRequests);
    registerAll("Queued requests cancelled", cancelRequests)->UseRealTime();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}

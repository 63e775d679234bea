#include <benchmark/benchmark.h>

#include <boost/beast/http/fields.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "allocation_counter.h"
#include "httpclient_core/headers.h"

namespace {

namespace http = boost::beast::http;
using tavrin::httpclient_core::HttpHeaders;

using Fields = std::vector<std::pair<std::string, std::string>>;

// What a web server sends with a page.
const Fields& typicalFields() {
    static const Fields fields = {
        {"Date", "Fri, 20 Nov 2026 10:00:00 GMT"},
        {"Server", "nginx/1.22.1"},
        {"Content-Type", "text/html; charset=utf-8"},
        {"Content-Length", "10240"},
        {"Connection", "keep-alive"},
        {"Last-Modified", "Thu, 19 Nov 2026 08:30:00 GMT"},
        {"ETag", "\"653b1f2a-2800\""},
        {"Cache-Control", "public, max-age=3600"},
        {"Vary", "Accept-Encoding"},
        {"Accept-Ranges", "bytes"},
        {"X-Request-Id", "7f3c9a52-41d8-4b7e-9c11-0d5e8f6a2b34"},
        {"Strict-Transport-Security", "max-age=31536000"},
    };
    return fields;
}

const std::vector<std::string>& lookedUp() {
    static const std::vector<std::string> names = {"content-type", "CONTENT-LENGTH", "etag",
                                                   "accept-ranges"};
    return names;
}

HttpHeaders buildHeaders() {
    HttpHeaders headers;
    for (const auto& [name, value] : typicalFields()) headers.addHeaderValue(name, value);
    return headers;
}

http::fields buildBeast() {
    http::fields fields;
    for (const auto& [name, value] : typicalFields()) fields.insert(name, value);
    return fields;
}

void BuildOurs(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(buildHeaders());
}
BENCHMARK(BuildOurs)->Name("Build/Ours");

void BuildBeast(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(buildBeast());
}
BENCHMARK(BuildBeast)->Name("Build/Beast");

void LookupOurs(benchmark::State& state) {
    const auto headers = buildHeaders();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        for (const auto& name : lookedUp()) benchmark::DoNotOptimize(headers.find(name));
    }
}
BENCHMARK(LookupOurs)->Name("Lookup/Ours");

void LookupBeast(benchmark::State& state) {
    const auto fields = buildBeast();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        for (const auto& name : lookedUp()) benchmark::DoNotOptimize(fields.find(name));
    }
}
BENCHMARK(LookupBeast)->Name("Lookup/Beast");

void CopyOurs(benchmark::State& state) {
    const auto headers = buildHeaders();
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(HttpHeaders(headers));
}
BENCHMARK(CopyOurs)->Name("Copy/Ours");

void CopyBeast(benchmark::State& state) {
    const auto fields = buildBeast();
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(http::fields(fields));
}
BENCHMARK(CopyBeast)->Name("Copy/Beast");

void ParseLinesOurs(benchmark::State& state) {
    std::vector<std::string> lines;
    for (const auto& [name, value] : typicalFields()) lines.push_back(name + ": " + value + "\r\n");
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        HttpHeaders headers;
        for (const auto& line : lines) headers.addHeader(line);
        benchmark::DoNotOptimize(headers);
    }
}
BENCHMARK(ParseLinesOurs)->Name("ParseLines/Ours");

}  // namespace

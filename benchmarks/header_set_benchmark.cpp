#include <benchmark/benchmark.h>

#ifdef WITH_POCO
#include <Poco/Net/MessageHeader.h>
#endif

#include <boost/beast/http/fields.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "allocation_counter.h"
#include "httpclient_core/headers.h"
#include "response_fields.h"

namespace {

namespace http = boost::beast::http;
using tavrin::httpclient_core::HttpHeaders;

const std::vector<std::string>& lookedUp() {
    static const std::vector<std::string> names = {"content-type", "CONTENT-LENGTH", "etag",
                                                   "accept-ranges"};
    return names;
}

HttpHeaders buildHeaders() {
    HttpHeaders headers;
    for (const auto& [name, value] : responseFields()) headers.addHeaderValue(name, value);
    return headers;
}

http::fields buildBeast() {
    http::fields fields;
    for (const auto& [name, value] : responseFields()) fields.insert(name, value);
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
    for (const auto& [name, value] : responseFields())
        lines.push_back(name + ": " + value + "\r\n");
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        HttpHeaders headers;
        for (const auto& line : lines) headers.addHeader(line);
        benchmark::DoNotOptimize(headers);
    }
}
BENCHMARK(ParseLinesOurs)->Name("ParseLines/Ours");

void MoveOurs(benchmark::State& state) {
    auto headers = buildHeaders();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        HttpHeaders moved = std::move(headers);
        headers = std::move(moved);
        benchmark::DoNotOptimize(headers);
    }
}
BENCHMARK(MoveOurs)->Name("Move/Ours");

void MoveBeast(benchmark::State& state) {
    auto fields = buildBeast();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        http::fields moved = std::move(fields);
        fields = std::move(moved);
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(MoveBeast)->Name("Move/Beast");

// As lines of a message.
template <typename Headers>
std::string written(const Headers& headers) {
    std::string text;
    for (const auto& [name, value] : headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text;
}

void WriteOurs(benchmark::State& state) {
    const auto headers = buildHeaders();
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(written(headers));
}
BENCHMARK(WriteOurs)->Name("Write/Ours");

void WriteBeast(benchmark::State& state) {
    const auto fields = buildBeast();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        std::string text;
        for (const auto& field : fields) {
            const auto name = field.name_string();
            const auto value = field.value();
            text.append(name.data(), name.size()).append(": ");
            text.append(value.data(), value.size()).append("\r\n");
        }
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(WriteBeast)->Name("Write/Beast");

// A vector is no header set, but holds the same texts.
void BuildFloor(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        Fields fields;
        fields.reserve(responseFields().size());
        for (const auto& field : responseFields()) fields.push_back(field);
        benchmark::DoNotOptimize(fields);
    }
}
BENCHMARK(BuildFloor)->Name("Build/Floor");

void CopyFloor(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(Fields(responseFields()));
}
BENCHMARK(CopyFloor)->Name("Copy/Floor");

void WriteFloor(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(written(responseFields()));
}
BENCHMARK(WriteFloor)->Name("Write/Floor");

#ifdef WITH_POCO
using Poco::Net::MessageHeader;

MessageHeader buildPoco() {
    MessageHeader header;
    for (const auto& [name, value] : responseFields()) header.add(name, value);
    return header;
}

void BuildPoco(benchmark::State& state) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(buildPoco());
}
BENCHMARK(BuildPoco)->Name("Build/Poco");

void LookupPoco(benchmark::State& state) {
    const auto header = buildPoco();
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        for (const auto& name : lookedUp()) benchmark::DoNotOptimize(header.find(name));
    }
}
BENCHMARK(LookupPoco)->Name("Lookup/Poco");

void CopyPoco(benchmark::State& state) {
    const auto header = buildPoco();
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(MessageHeader(header));
}
BENCHMARK(CopyPoco)->Name("Copy/Poco");

void ParseLinesPoco(benchmark::State& state) {
    const std::string text = written(responseFields()) + "\r\n";
    const AllocationsPerIteration count(state);
    for (auto _ : state) {
        std::istringstream lines(text);
        MessageHeader header;
        header.read(lines);
        benchmark::DoNotOptimize(header);
    }
}
BENCHMARK(ParseLinesPoco)->Name("ParseLines/Poco");
#endif

}  // namespace

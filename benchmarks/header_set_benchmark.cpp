#include <benchmark/benchmark.h>

#ifdef WITH_POCO
#include <Poco/Net/MessageHeader.h>
#endif

#include <boost/beast/http/fields.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/headers.h"
#include "measure.h"
#include "response_fields.h"

namespace {

namespace http = boost::beast::http;
using tavrin::httpclient_core::HttpHeaders;

HttpHeaders ours() {
    HttpHeaders headers;
    for (const auto& [name, value] : responseFields()) headers.addHeaderValue(name, value);
    return headers;
}

http::fields beast() {
    http::fields fields;
    for (const auto& [name, value] : responseFields()) fields.insert(name, value);
    return fields;
}

#ifdef WITH_POCO
using Poco::Net::MessageHeader;

MessageHeader poco() {
    MessageHeader header;
    for (const auto& [name, value] : responseFields()) header.add(name, value);
    return header;
}
#endif

// A vector is no header set, but holds the same texts.
Fields vector() {
    Fields fields;
    fields.reserve(responseFields().size());
    for (const auto& field : responseFields()) fields.push_back(field);
    return fields;
}

const std::vector<std::string>& lookedUp() {
    static const std::vector<std::string> names = {"content-type", "CONTENT-LENGTH", "etag",
                                                   "accept-ranges"};
    return names;
}

// As lines of a message.
template <typename Headers>
std::string written(const Headers& headers) {
    std::string text;
    for (const auto& [name, value] : headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text;
}

std::string written(const http::fields& fields) {
    std::string text;
    for (const auto& field : fields) {
        const auto name = field.name_string();
        const auto value = field.value();
        text.append(name.data(), name.size()).append(": ");
        text.append(value.data(), value.size()).append("\r\n");
    }
    return text;
}

// --- What is measured, with the header set that MAKE gives ---

template <auto MAKE>
void build(benchmark::State& state) {
    measure(state, MAKE);
}

template <auto MAKE>
void lookUp(benchmark::State& state) {
    const auto headers = MAKE();
    measure(state, [&] {
        for (const auto& name : lookedUp()) benchmark::DoNotOptimize(headers.find(name));
        return true;
    });
}

template <auto MAKE>
void copy(benchmark::State& state) {
    const auto headers = MAKE();
    measure(state, [&] { return decltype(MAKE())(headers); });
}

template <auto MAKE>
void moveThereAndBack(benchmark::State& state) {
    auto headers = MAKE();
    measure(
        state, [&]() -> const auto& {
            auto moved = std::move(headers);
            headers = std::move(moved);
            return headers;
        });
}

template <auto MAKE>
void write(benchmark::State& state) {
    const auto headers = MAKE();
    measure(state, [&] { return written(headers); });
}

BENCHMARK(build<ours>)->Name("Build/Ours");
BENCHMARK(build<beast>)->Name("Build/Beast");
BENCHMARK(build<vector>)->Name("Build/Floor");
BENCHMARK(lookUp<ours>)->Name("Lookup/Ours");
BENCHMARK(lookUp<beast>)->Name("Lookup/Beast");
BENCHMARK(copy<ours>)->Name("Copy/Ours");
BENCHMARK(copy<beast>)->Name("Copy/Beast");
BENCHMARK(copy<vector>)->Name("Copy/Floor");
BENCHMARK(moveThereAndBack<ours>)->Name("Move/Ours");
BENCHMARK(moveThereAndBack<beast>)->Name("Move/Beast");
BENCHMARK(write<ours>)->Name("Write/Ours");
BENCHMARK(write<beast>)->Name("Write/Beast");
BENCHMARK(write<vector>)->Name("Write/Floor");
#ifdef WITH_POCO
BENCHMARK(build<poco>)->Name("Build/Poco");
BENCHMARK(lookUp<poco>)->Name("Lookup/Poco");
BENCHMARK(copy<poco>)->Name("Copy/Poco");
#endif

void parseLinesOurs(benchmark::State& state) {
    std::vector<std::string> lines;
    for (const auto& [name, value] : responseFields())
        lines.push_back(name + ": " + value + "\r\n");
    measure(state, [&] {
        HttpHeaders headers;
        for (const auto& line : lines) headers.addHeader(line);
        return headers;
    });
}
BENCHMARK(parseLinesOurs)->Name("ParseLines/Ours");

#ifdef WITH_POCO
void parseLinesPoco(benchmark::State& state) {
    const std::string text = written(responseFields()) + "\r\n";
    measure(state, [&] {
        std::istringstream lines(text);
        MessageHeader header;
        header.read(lines);
        return header;
    });
}
BENCHMARK(parseLinesPoco)->Name("ParseLines/Poco");
#endif

}  // namespace

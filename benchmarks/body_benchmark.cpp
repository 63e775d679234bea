#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string>
#include <utility>

#include "allocation_counter.h"
#include "httpclient_core/messages.h"

namespace {

using namespace tavrin::httpclient_core;

constexpr std::size_t PIECE = 16 * 1024;

template <typename Work>
void measure(benchmark::State& state, Work work) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(work());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

std::string bodyOf(const benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

void inPieces(std::ostream& os, const std::string& body) {
    for (std::size_t begin = 0; begin < body.size(); begin += PIECE) {
        os.write(&body[begin], static_cast<std::streamsize>(std::min(PIECE, body.size() - begin)));
    }
}

std::string readOut(std::stringstream& stream, std::size_t size) {
    std::string text(size, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(size));
    return text;
}

void setOurs(benchmark::State& state) {
    const std::string body = bodyOf(state);
    HttpRequest request(HttpMethod::POST, URL("http://localhost/"), {});
    measure(state, [&] {
        request.setRequestBody(body);
        return request.getRequestBodyString();
    });
}

void setFloor(benchmark::State& state) {
    const std::string body = bodyOf(state);
    measure(state, [&] {
        std::stringstream stream(body);
        return readOut(stream, body.size());
    });
}

void receiveOurs(benchmark::State& state) {
    const std::string body = bodyOf(state);
    measure(state, [&] {
        const HttpResponse response;
        inPieces(response.getResponseBody(), body);
        return response.getResponseBodyString();
    });
}

void receiveFloor(benchmark::State& state) {
    const std::string body = bodyOf(state);
    measure(state, [&] {
        std::stringstream stream;
        inPieces(stream, body);
        return readOut(stream, body.size());
    });
}

// The sizes that bodies are measured in.
void typicalSizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(100)->Arg(10 * 1024)->Arg(1024 * 1024);
}
BENCHMARK(setOurs)->Name("SetAndRead/Ours")->Apply(typicalSizes);
BENCHMARK(setFloor)->Name("SetAndRead/Floor")->Apply(typicalSizes);
BENCHMARK(receiveOurs)->Name("Receive/Ours")->Apply(typicalSizes);
BENCHMARK(receiveFloor)->Name("Receive/Floor")->Apply(typicalSizes);

}  // namespace

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sstream>
#include <string>

#include "httpclient_core/messages.h"
#include "measure.h"

namespace {

using namespace tavrin::httpclient_core;

constexpr std::size_t PIECE = 16 * 1024;

void inPieces(std::ostream& os, const std::string& body) {
    for (std::size_t begin = 0; begin < body.size(); begin += PIECE) {
        os.write(&body[begin], static_cast<std::streamsize>(std::min(PIECE, body.size() - begin)));
    }
}

// In memory that stays with the program once it is freed. Whether the C library hands large pieces
// back to the kernel each time depends on where the benchmarks before have left others, and to
// fetch them again takes up to ten times what is to be measured.
template <typename Work>
void measureInOwnMemory(benchmark::State& state, Work work) {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    measure(state, work);
}

template <std::size_t LENGTH>
void setOurs(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    HttpRequest request(HttpMethod::POST, URL("http://localhost/"), {});
    measureInOwnMemory(state, [&] {
        request.setRequestBody(body);
        return request.getRequestBodyString();
    });
}

// Takes the text by value and keeps the stream until the next one is there, as ours does.
template <std::size_t LENGTH>
void setFloor(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    std::unique_ptr<std::stringstream> stream;
    const auto set = [&](std::string text) { stream = std::make_unique<std::stringstream>(text); };
    measureInOwnMemory(state, [&] {
        set(body);
        return stream->str();
    });
}

template <std::size_t LENGTH>
void receiveOurs(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    measureInOwnMemory(state, [&] {
        const HttpResponse response;
        inPieces(response.getResponseBody(), body);
        return response.getResponseBodyString();
    });
}

template <std::size_t LENGTH>
void receiveFloor(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    measureInOwnMemory(state, [&] {
        std::stringstream stream;
        inPieces(stream, body);
        return stream.str();
    });
}

BENCHMARK(setOurs<100>)->Name("SetAndRead100/Ours");
BENCHMARK(setFloor<100>)->Name("SetAndRead100/Floor");
BENCHMARK(setOurs<10 * 1024>)->Name("SetAndRead10KiB/Ours");
BENCHMARK(setFloor<10 * 1024>)->Name("SetAndRead10KiB/Floor");
BENCHMARK(setOurs<1024 * 1024>)->Name("SetAndRead1MiB/Ours");
BENCHMARK(setFloor<1024 * 1024>)->Name("SetAndRead1MiB/Floor");
BENCHMARK(receiveOurs<100>)->Name("Receive100/Ours");
BENCHMARK(receiveFloor<100>)->Name("Receive100/Floor");
BENCHMARK(receiveOurs<10 * 1024>)->Name("Receive10KiB/Ours");
BENCHMARK(receiveFloor<10 * 1024>)->Name("Receive10KiB/Floor");
BENCHMARK(receiveOurs<1024 * 1024>)->Name("Receive1MiB/Ours");
BENCHMARK(receiveFloor<1024 * 1024>)->Name("Receive1MiB/Floor");

}  // namespace

int main(int argc, char** argv) {
    // What is freed stays at hand. Otherwise it hangs on what ran before whether each large body
    // gets fresh pages from the kernel, and then they are 20 times the cost of filling them.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}

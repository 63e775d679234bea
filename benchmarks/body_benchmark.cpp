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

template <std::size_t LENGTH>
void setOurs(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    HttpRequest request(HttpMethod::POST, URL("http://localhost/"), {});
    measure(state, [&] {
        request.setRequestBody(body);
        return request.getRequestBodyString();
    });
}

template <std::size_t LENGTH>
void setFloor(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    measure(state, [&] {
        std::stringstream stream(body);
        return readOut(stream, body.size());
    });
}

template <std::size_t LENGTH>
void receiveOurs(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    measure(state, [&] {
        const HttpResponse response;
        inPieces(response.getResponseBody(), body);
        return response.getResponseBodyString();
    });
}

template <std::size_t LENGTH>
void receiveFloor(benchmark::State& state) {
    const std::string body(LENGTH, 'x');
    measure(state, [&] {
        std::stringstream stream;
        inPieces(stream, body);
        return readOut(stream, body.size());
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

// cpprestsdk: a client whose pool keeps the connections; up to 32 tasks at once.

#include <cpprest/filestream.h>
#include <cpprest/http_client.h>
#include <cpprest/rawptrstream.h>

#include <deque>
#include <string>
#include <vector>

#include "contender.h"

namespace {

using web::http::http_request;
using web::http::http_response;
using web::http::methods;
using web::http::status_codes;
using web::http::client::http_client;

pplx::task<std::vector<unsigned char>> getBody(http_client& client) {
    return client.request(methods::GET).then([](const http_response& response) {
        return response.extract_vector();
    });
}

void expectWhole(const std::vector<unsigned char>& body, const Task& task) {
    expect(body.size() == task.bytes, "A response is short");
}

void sequential(const Task& task) {
    http_client client(task.url);
    for (std::size_t i = 0; i < task.requests; ++i) expectWhole(getBody(client).get(), task);
}

void parallel(const Task& task) {
    http_client client(task.url);
    std::deque<pplx::task<std::vector<unsigned char>>> tasks;
    for (std::size_t i = 0; i < task.requests; ++i) {
        tasks.push_back(getBody(client));
        if (tasks.size() < IN_FLIGHT) continue;
        expectWhole(tasks.front().get(), task);
        tasks.pop_front();
    }
    for (auto& last : tasks) expectWhole(last.get(), task);
}

void discard(const Task& task) {
    http_client client(task.url);
    const auto body = client.request(methods::GET).get().body();
    std::vector<unsigned char> piece(64 * 1024);
    std::uint64_t received = 0;
    for (;;) {
        const concurrency::streams::rawptr_buffer<unsigned char> part(piece.data(), piece.size());
        const std::size_t count = body.read(part, piece.size()).get();
        if (count == 0) break;
        received += count;
    }
    expect(received == task.bytes, "The download is short");
}

void toFile(const Task& task) {
    http_client client(task.url);
    const auto file = concurrency::streams::fstream::open_ostream(task.file).get();
    const auto body = client.request(methods::GET).get().body();
    expect(body.read_to_end(file.streambuf()).get() == task.bytes, "The download is short");
    file.close().get();
}

void intoMemory(const Task& task) {
    http_client client(task.url);
    expectWhole(getBody(client).get(), task);
}

void upload(const Task& task) {
    http_client client(task.url);
    http_request request(methods::PUT);
    request.set_body(concurrency::streams::fstream::open_istream(task.file).get(), task.bytes);
    expect(client.request(request).get().status_code() == status_codes::NoContent,
           "The upload failed");
}

}  // namespace

int main(int argc, char** argv) {
    return compete(argc, argv,
                   {{"sequential", sequential},
                    {"parallel", parallel},
                    {"discard", discard},
                    {"file", toFile},
                    {"memory", intoMemory},
                    {"upload", upload}});
}

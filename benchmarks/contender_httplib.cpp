// cpp-httplib: a client that stays connected, or one in each of 32 threads.

#include <httplib.h>

#include <fstream>
#include <string>
#include <vector>

#include "contender.h"

namespace {

void session(const Task& task, std::size_t requests) {
    httplib::Client client(task.host, task.port);
    client.set_keep_alive(true);
    for (std::size_t i = 0; i < requests; ++i) {
        const httplib::Result result = client.Get(task.path.c_str());
        expect(result && result->body.size() == task.bytes, "A request failed");
    }
}

void sequential(const Task& task) { session(task, task.requests); }

void parallel(const Task& task) {
    inThreads(task.requests, [&](std::size_t share) { session(task, share); });
}

void download(const Task& task, const httplib::ContentReceiver& receiver) {
    std::uint64_t received = 0;
    const httplib::Result result = httplib::Client(task.host, task.port)
                                       .Get(task.path.c_str(), [&](const char* data, size_t size) {
                                           received += size;
                                           return receiver(data, size);
                                       });
    expect(result && received == task.bytes, "The download failed");
}

void discard(const Task& task) {
    download(task, [](const char*, size_t) { return true; });
}

void toFile(const Task& task) {
    std::ofstream file(task.file, std::ios::binary);
    download(task, [&](const char* data, size_t size) {
        return file.write(data, static_cast<std::streamsize>(size)).good();
    });
}

void intoMemory(const Task& task) { session(task, 1); }

void upload(const Task& task) {
    std::ifstream file(task.file, std::ios::binary);
    std::vector<char> piece(64 * 1024);
    const auto provide = [&](size_t, size_t, httplib::DataSink& sink) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        return sink.write(piece.data(), static_cast<size_t>(file.gcount()));
    };
    httplib::Client client(task.host, task.port);
    const httplib::Result result =
        client.Put(task.path.c_str(), task.bytes, provide, "application/octet-stream");
    expect(result && result->status == 204, "The upload failed");
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

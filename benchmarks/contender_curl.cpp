// Plain libcurl with its defaults, the way its own examples go: handles are used again, and the
// header fields of small answers are kept.

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "contender.h"
#include "curl_response.h"

namespace {

std::size_t countPiece(char*, std::size_t size, std::size_t count, void* to) {
    *static_cast<std::uint64_t*>(to) += size * count;
    return size * count;
}

using Handle = std::unique_ptr<CURL, void (*)(CURL*)>;

Handle handleFor(const Task& task) {
    Handle handle(curl_easy_init(), curl_easy_cleanup);
    expect(handle != nullptr, "No handle");
    curl_easy_setopt(handle.get(), CURLOPT_URL, task.url.c_str());
    return handle;
}

Handle smallHandleFor(const Task& task) {
    Handle handle = handleFor(task);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, CurlResponse::keepPiece);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, CurlResponse::keepHeader);
    return handle;
}

void receiveInto(const Handle& handle, CurlResponse& response) {
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &response);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &response);
}

void sequential(const Task& task) {
    const Handle handle = smallHandleFor(task);
    for (std::size_t i = 0; i < task.requests; ++i) {
        CurlResponse response;
        receiveInto(handle, response);
        expect(curl_easy_perform(handle.get()) == CURLE_OK, "A request failed");
        expect(response.body.size() == task.bytes, "A response is short");
    }
}

using Multi = std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)>;

void inFlight(std::size_t most, const Task& task) {
    const Multi multi(curl_multi_init(), curl_multi_cleanup);
    std::vector<Handle> handles;
    std::vector<CurlResponse> responses(std::min(most, task.requests));
    std::size_t started = 0;
    const auto start = [&](const Handle& handle, CurlResponse& response) {
        response = CurlResponse();
        receiveInto(handle, response);
        curl_easy_setopt(handle.get(), CURLOPT_PRIVATE, &response);
        curl_multi_add_handle(multi.get(), handle.get());
        ++started;
    };
    for (CurlResponse& response : responses)
        start(handles.emplace_back(smallHandleFor(task)), response);

    for (std::size_t ended = 0; ended < task.requests;) {
        int running = 0;
        curl_multi_perform(multi.get(), &running);
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
            expect(message->data.result == CURLE_OK, "A request failed");
            char* own = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &own);
            CurlResponse& response = *reinterpret_cast<CurlResponse*>(own);
            expect(response.body.size() == task.bytes, "A response is short");
            curl_multi_remove_handle(multi.get(), message->easy_handle);
            ++ended;
            const auto slot = static_cast<std::size_t>(&response - responses.data());
            if (started < task.requests) start(handles[slot], response);
        }
        if (ended < task.requests) curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr);
    }
}

void parallel(const Task& task) { inFlight(IN_FLIGHT, task); }

void queued(const Task& task) { inFlight(1, task); }

void download(const Task& task, curl_write_callback write, void* to) {
    const Handle handle = handleFor(task);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, write);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, to);
    expect(curl_easy_perform(handle.get()) == CURLE_OK, "The download failed");
}

void discard(const Task& task) {
    std::uint64_t bytes = 0;
    download(task, countPiece, &bytes);
    expect(bytes == task.bytes, "The download is short");
}

void intoMemory(const Task& task) {
    CurlResponse response;
    download(task, CurlResponse::keepPiece, &response);
    expect(response.body.size() == task.bytes, "The download is short");
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

void toFile(const Task& task) {
    const Handle handle = handleFor(task);
    const File file(std::fopen(task.file.c_str(), "wb"), std::fclose);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, file.get());
    expect(curl_easy_perform(handle.get()) == CURLE_OK, "The download failed");
    expect(static_cast<std::uint64_t>(std::ftell(file.get())) == task.bytes,
           "The download is short");
}

void upload(const Task& task) {
    const Handle handle = handleFor(task);
    const File file(std::fopen(task.file.c_str(), "rb"), std::fclose);
    curl_easy_setopt(handle.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_READDATA, file.get());
    curl_easy_setopt(handle.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(task.bytes));
    expect(curl_easy_perform(handle.get()) == CURLE_OK, "The upload failed");
    expect(static_cast<std::uint64_t>(std::ftell(file.get())) == task.bytes, "The upload is short");
}

}  // namespace

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return compete(argc, argv,
                   {{"sequential", sequential},
                    {"parallel", parallel},
                    {"queued", queued},
                    {"discard", discard},
                    {"file", toFile},
                    {"memory", intoMemory},
                    {"asynchronous", queued},
                    {"upload", upload}});
}

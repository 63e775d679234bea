// CurlHttpClient at the work that all contenders do.

#include <deque>
#include <fstream>
#include <future>
#include <iostream>
#include <memory>
#include <streambuf>
#include <utility>

#include "contender.h"
#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"

namespace {

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
using tavrin::httpclient_curl::CurlOptions;

// Counts what is written and forgets it.
class Sink : public std::iostream {
public:
    Sink() : std::iostream(&buffer_) {}

private:
    class Buffer : public std::streambuf {
    protected:
        int_type overflow(int_type c) override {
            ++count_;
            return traits_type::not_eof(c);
        }
        std::streamsize xsputn(const char*, std::streamsize count) override {
            count_ += count;
            return count;
        }
        pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override {
            return count_;
        }
        pos_type seekpos(pos_type position, std::ios::openmode) override { return position; }

    private:
        std::streamoff count_ = 0;
    };

    Buffer buffer_;
};

HttpRequest get(const Task& task) { return HttpRequest(HttpMethod::GET, URL(task.url), {}); }

void expectWhole(const HttpResponse& response, const Task& task) {
    expect(response.getResponseBodyString().size() == task.bytes, "A response is short");
}

// Plain libcurl, unless it is told to, names no user agent; so neither do we where both are to do
// the same work.
CurlOptions options() { return CurlOptions().withUserAgent(""); }

void sequential(const Task& task) {
    const CurlHttpClient client(ClientConfiguration(), options());
    for (std::size_t i = 0; i < task.requests; ++i)
        expectWhole(client.makeRequest(get(task)), task);
}

void inFlight(std::size_t most, const Task& task) {
    const CurlHttpClient client(
        ClientConfiguration().withMaxThreads(1).withMaxRequestsPerThread(static_cast<long>(most)),
        options());
    std::deque<std::future<HttpResponse>> futures;
    const auto takeFirst = [&] {
        expectWhole(futures.front().get(), task);
        futures.pop_front();
    };
    for (std::size_t i = 0; i < task.requests; ++i) {
        futures.push_back(client.makeAsyncRequest(get(task)));
        if (futures.size() == QUEUED * most) takeFirst();
    }
    while (!futures.empty()) takeFirst();
}

void parallel(const Task& task) { inFlight(IN_FLIGHT, task); }

void queued(const Task& task) { inFlight(1, task); }

void expectDownloaded(const HttpResponse& response, const Task& task) {
    expect(static_cast<std::uint64_t>(response.getResponseBody().tellp()) == task.bytes,
           "The download is short");
}

void download(const Task& task, const ResponseStreamFactory& factory) {
    const CurlHttpClient client;
    HttpRequest request = get(task);
    request.setResponseStreamFactory(factory);
    expectDownloaded(client.makeRequest(std::move(request)), task);
}

void discard(const Task& task) {
    download(task, [](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<Sink>();
    });
}

void toFile(const Task& task) {
    download(task, [&](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::fstream>(
            task.file, std::ios::in | std::ios::out | std::ios::binary | std::ios::trunc);
    });
}

void intoMemory(const Task& task) { download(task, defaultResponseStreamFactory()); }

void asynchronous(const Task& task) {
    const CurlHttpClient client;
    expectDownloaded(client.makeAsyncRequest(get(task)).get(), task);
}

void upload(const Task& task) {
    const CurlHttpClient client;
    HttpRequest request(HttpMethod::PUT, URL(task.url), {});
    request.setContentLength(std::to_string(task.bytes));
    request.setRequestBody(std::make_unique<std::ifstream>(task.file, std::ios::binary));
    expect(isSuccess(client.makeRequest(std::move(request))), "The upload failed");
}

}  // namespace

int main(int argc, char** argv) {
    return compete(argc, argv,
                   {{"sequential", sequential},
                    {"parallel", parallel},
                    {"queued", queued},
                    {"discard", discard},
                    {"file", toFile},
                    {"memory", intoMemory},
                    {"asynchronous", asynchronous},
                    {"upload", upload}});
}

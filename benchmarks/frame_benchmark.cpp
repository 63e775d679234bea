#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

#include "httpclient_core/client.h"
#include "measure.h"
#include "response_fields.h"

namespace {

using namespace tavrin::httpclient_core;

const Fields& requestFields() {
    static const Fields fields = {
        {"Host", "www.example.com"},
        {"User-Agent", "benchmark/1.0 (Linux; x86_64)"},
        {"Accept", "text/html,application/xhtml+xml;q=0.9,*/*;q=0.8"},
        {"Accept-Language", "en-GB,en;q=0.5"},
        {"Accept-Encoding", "gzip, deflate"},
        {"Cookie", "session=38afes7a8cd1e42f9b; theme=dark"},
        {"X-Request-Id", "7f3c9a52-41d8-4b7e-9c11-0d5e8f6a2b34"},
        {"Cache-Control", "no-cache"},
    };
    return fields;
}

HttpHeaders headersOf(const Fields& fields) {
    HttpHeaders headers;
    for (const auto& [name, value] : fields) headers.addHeaderValue(name, value);
    return headers;
}

// Answers at once, first with as many server errors as it is told. The kit's scripted client would
// do, were it not what is measured then: it records each request and holds it against a script.
class InstantClient final : public HttpClient {
public:
    explicit InstantClient(int failures) : failures_(failures) {}

    void performRequest(HttpRequest&, HttpResponse& response) const override { answer(response); }

    void performAsyncRequest(HttpRequest request, HttpResponse response, std::uint64_t,
                             RetryTask completion) const override {
        answer(response);
        completion(std::move(request), std::move(response), nullptr);
    }

private:
    void answer(HttpResponse& response) const {
        const bool fails = failed_ < failures_;
        failed_ = fails ? failed_ + 1 : 0;
        response.setResponseCodeAndReason(
            fails ? HttpResponseCode::SERVICE_UNAVAILABLE : HttpResponseCode::OK, "reason");
        response.setHeaders(headersOf(responseFields()));
    }

    int failures_;
    mutable int failed_ = 0;
};

HttpRequest request() {
    return HttpRequest(HttpMethod::GET, URL("http://www.example.com/index.html"),
                       headersOf(requestFields()));
}

// What a request costs its caller, and an answer the transport: none of it is the frame's.
void withoutFrame(benchmark::State& state) {
    measure(state, [] { return std::make_pair(request(), headersOf(responseFields())); });
}
BENCHMARK(withoutFrame)->Name("Request/Floor");
BENCHMARK(withoutFrame)->Name("AsyncRequest/Floor");

// What a further answer costs the transport.
void furtherAnswer(benchmark::State& state) {
    measure(state, [] {
        return std::make_pair(
            request(), std::make_pair(headersOf(responseFields()), headersOf(responseFields())));
    });
}
BENCHMARK(furtherAnswer)->Name("RetriedRequest/Floor");
BENCHMARK(furtherAnswer)->Name("RetriedAsyncRequest/Floor");

template <int FAILURES>
void synchronous(benchmark::State& state) {
    const InstantClient client(FAILURES);
    measure(state, [&] { return client.makeRequest(request()); });
}
BENCHMARK(synchronous<0>)->Name("Request/Ours");
BENCHMARK(synchronous<1>)->Name("RetriedRequest/Ours");

template <int FAILURES>
void asynchronous(benchmark::State& state) {
    const InstantClient client(FAILURES);
    measure(state, [&] { return client.makeAsyncRequest(request()).get(); });
}
BENCHMARK(asynchronous<0>)->Name("AsyncRequest/Ours");
BENCHMARK(asynchronous<1>)->Name("RetriedAsyncRequest/Ours");

}  // namespace

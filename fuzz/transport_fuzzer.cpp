#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "check.h"
#include "httpclient_core/httpclient_core.h"
#include "httpclient_curl/curl_http_client.h"
#include "response_model.h"
#include "socket_pairs.h"

using namespace tavrin::httpclient_core;
using tavrin::httpclient_curl::CurlHttpClient;
using tavrin::httpclient_curl::CurlOptions;

namespace {

constexpr std::int64_t MOST_DECODED_BYTES = 1 << 20;
constexpr std::size_t MOST_PIECES = 64;
constexpr std::size_t MOST_BYTES = 1 << 16;

const std::string UPLOAD = "an upload\r\n\r\n";

// The first byte chooses among these, the second one how finely the answers are cut; then the
// answers follow, with NEXT between them.
struct Dialogue {
    static constexpr const char* NEXT = "<next>";

    AskedFor asked;
    bool resume = false;
    bool uploads = false;
    std::size_t pieceSize = 1;
    std::vector<std::string> answers;
};

Dialogue readDialogue(const std::uint8_t* data, std::size_t size) {
    const unsigned flags = data[0];
    Dialogue dialogue;
    dialogue.asked = {(flags & 1U) != 0, (flags & 2U) != 0, (flags & 4U) != 0};
    dialogue.resume = (flags & 8U) != 0;
    dialogue.uploads = (flags & 16U) != 0 && !dialogue.asked.head;
    std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
    const std::string next = Dialogue::NEXT;
    for (auto end = rest.find(next); end != std::string::npos; end = rest.find(next)) {
        dialogue.answers.push_back(rest.substr(0, end));
        rest.erase(0, end + next.size());
    }
    dialogue.answers.push_back(std::move(rest));
    // What comes late on a connection that is used again is taken for the next answer: nobody can
    // tell. So pieces are only for what needs one connection.
    const bool one = dialogue.answers.size() == 1 && !dialogue.asked.followed;
    dialogue.pieceSize = one ? std::size_t{1} + data[1] + size / MOST_PIECES : size;
    return dialogue;
}

// What a request comes to. Of a failed one only that it failed is the same every time: how much had
// come by then depends on how it was cut into packets.
struct Outcome {
    bool failed = false;
    int code = 0;
    std::string reason;
    std::string headers;
    std::string body;
};

bool operator==(const Outcome& a, const Outcome& b) {
    if (a.failed || b.failed) return a.failed == b.failed;
    return a.code == b.code && a.reason == b.reason && a.headers == b.headers && a.body == b.body;
}

Outcome outcomeOf(const HttpResponse& response) {
    Outcome outcome;
    outcome.code = static_cast<int>(response.getResponseCode());
    outcome.reason = response.getResponseCodeReason();
    for (const auto& [name, value] : response.getHeaders())
        outcome.headers += name + ": " + value + "\n";
    outcome.body = response.getResponseBodyString();
    return outcome;
}

Outcome failure() {
    Outcome outcome;
    outcome.failed = true;
    return outcome;
}

// Every host is reached through a proxy, so that no name is looked up, wherever a redirect may
// lead. There is no limit of time: the answers end by themselves, and a client that waits on is
// found to hang.
ClientConfiguration configurationFor(const Dialogue& dialogue) {
    const int attempts = static_cast<int>(dialogue.answers.size());
    return ClientConfiguration()
        .withProxy("http://127.0.0.1:1")
        .withFollowRedirects(dialogue.asked.followed)
        .withMaxRedirects(5)
        .withResumeOnRetry(dialogue.resume)
        .withConnectTimeout(0)
        .withResponseTimeout(0)
        .withIdleTimeout(0)
        .withMaxThreads(1)
        .withRetryStrategy([attempts](const HttpRequest&, const HttpResponse&,
                                      const std::exception_ptr& error, int total,
                                      int) { return error != nullptr && total < attempts; });
}

CurlOptions optionsFor(const Dialogue& dialogue) {
    return CurlOptions()
        .withDecodeContent(dialogue.asked.decoded)
        .withMaxDecodedBytes(MOST_DECODED_BYTES);
}

HttpRequest requestFor(const Dialogue& dialogue) {
    const URL url("http://server.example/");
    if (!dialogue.uploads)
        return HttpRequest(dialogue.asked.head ? HttpMethod::HEAD : HttpMethod::GET, url, {});
    HttpRequest request(HttpMethod::POST, url, {});
    request.setRequestBody(UPLOAD);
    return request;
}

// A server may answer, and so end the request, before it has all of the upload, but what it has is
// the upload's beginning.
void checkReceived(const std::vector<std::string>& connections, const Dialogue& dialogue) {
    if (connections.empty()) return;
    const auto end = connections.front().find("\r\n\r\n");
    CHECK(end != std::string::npos);
    const std::string body = connections.front().substr(end + 4, UPLOAD.size());
    if (dialogue.uploads)
        CHECK(UPLOAD.rfind(body, 0) == 0);
    else
        CHECK(dialogue.asked.followed || body.empty());
}

// Each request has a client of its own, and so no connection that an earlier one left.
Outcome synchronously(const Dialogue& dialogue) {
    SocketPairs connections(dialogue.answers, MOST_BYTES);
    const CurlHttpClient client(configurationFor(dialogue), optionsFor(dialogue));
    Outcome outcome = failure();
    try {
        outcome = outcomeOf(client.makeRequest(requestFor(dialogue)));
    } catch (const HttpRequestFailedException&) {
    }
    checkReceived(connections.received(), dialogue);
    return outcome;
}

Outcome asynchronously(const Dialogue& dialogue) {
    SocketPairs connections(dialogue.answers, dialogue.pieceSize);
    std::promise<Outcome> promise;
    auto outcome = promise.get_future();
    {
        const CurlHttpClient client(configurationFor(dialogue), optionsFor(dialogue));
        client.makeAsyncRequest(
            requestFor(dialogue),
            [&](const HttpRequest&, const HttpResponse& response, const std::exception_ptr& error) {
                try {
                    if (error) std::rethrow_exception(error);
                    promise.set_value(outcomeOf(response));
                } catch (const HttpRequestFailedException&) {
                    promise.set_value(failure());
                }
            });
        outcome.wait();
    }
    // The client is gone, and with it whatever might complete the request again.
    checkReceived(connections.received(), dialogue);
    return outcome.get();
}

// The first answer that is not cut off counts, unless the bytes of the one before may be kept.
ModelledResponse expectedOf(const Dialogue& dialogue) {
    ModelledResponse model;
    for (const std::string& answer : dialogue.answers) {
        model = modelOf(answer, dialogue.asked);
        if (model.verdict != ModelledResponse::CUT_OFF || dialogue.resume) break;
    }
    const bool mayResume = dialogue.resume && dialogue.answers.size() > 1;
    return model.verdict == ModelledResponse::CUT_OFF && mayResume ? ModelledResponse() : model;
}

// Behind a NUL at the beginning of a line libcurl drops from a head what it has read by then.
bool dependsOnPackets(const Dialogue& dialogue) {
    return std::any_of(dialogue.answers.begin(), dialogue.answers.end(),
                       [](const std::string& answer) {
                           return answer.find(std::string("\n\0", 2)) != std::string::npos;
                       });
}

}  // namespace

// Whatever a server says, a request ends once, on both roads alike and however the bytes are cut,
// with the response that a model makes of it where it has an opinion.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > MOST_BYTES) return 0;
    const Dialogue dialogue = readDialogue(data, size);
    const Outcome whole = synchronously(dialogue);
    const Outcome cut = asynchronously(dialogue);
    if (!dependsOnPackets(dialogue)) CHECK(cut == whole);

    if (dialogue.asked.decoded) CHECK(whole.body.size() <= MOST_DECODED_BYTES);
    const ModelledResponse expected = expectedOf(dialogue);
    if (expected.verdict == ModelledResponse::CUT_OFF) CHECK(whole.failed);
    if (expected.verdict == ModelledResponse::GOOD) {
        CHECK(!whole.failed);
        CHECK(whole.code == expected.code);
        CHECK(whole.reason == expected.reason);
        CHECK(whole.headers == expected.headers);
        CHECK(whole.body == expected.body);
    }
    return 0;
}

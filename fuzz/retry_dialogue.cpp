#include "retry_dialogue.h"

#include <array>
#include <istream>
#include <memory>
#include <sstream>
#include <stdexcept>

using namespace tavrin::httpclient_core;

namespace {

constexpr std::size_t MOST_STEPS = 30;

class BufferThatCannotGoBack : public std::stringbuf {
public:
    using std::stringbuf::stringbuf;

protected:
    pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return -1; }
    pos_type seekpos(pos_type, std::ios::openmode) override { return -1; }
};

class StreamThatCannotGoBack : public std::istream {
public:
    explicit StreamThatCannotGoBack(const std::string& text)
        : std::istream(nullptr), buffer_(text) {
        rdbuf(&buffer_);
    }

private:
    BufferThatCannotGoBack buffer_;
};

// Of no type that the library knows, too.
const std::array<std::exception_ptr, 6>& faults() {
    static const std::array<std::exception_ptr, 6> faults = {
        std::make_exception_ptr(HttpRequestFailedException("told to")),
        std::make_exception_ptr(HttpRequestTimeoutException()),
        std::make_exception_ptr(HttpRequestCancelledException()),
        std::make_exception_ptr(std::logic_error("told to")),
        std::make_exception_ptr(42),
        std::make_exception_ptr(std::string("told to")),
    };
    return faults;
}

std::exception_ptr pickFault(FuzzedDataProvider& input) { return input.PickValueInArray(faults()); }

std::vector<std::string> readChunks(FuzzedDataProvider& input) {
    std::vector<std::string> chunks;
    for (int count = input.ConsumeIntegralInRange(0, 3); count > 0; --count)
        chunks.push_back(input.ConsumeRandomLengthString(20));
    return chunks;
}

Step readStep(FuzzedDataProvider& input) {
    constexpr int CODES[] = {100, 200, 206, 299, 302, 404, 416, 429, 503, -1, 0};
    constexpr const char* ACCEPT_RANGES[] = {"bytes", "", "none", "Bytes", "bytes "};
    Step step;
    step.answers = input.ConsumeBool();
    if (step.answers) {
        step.code = input.PickValueInArray(CODES);
        step.acceptRanges = input.PickValueInArray(ACCEPT_RANGES);
        step.chunks = readChunks(input);
        step.cancels = input.ConsumeBool();
    }
    if (!step.answers || input.ConsumeBool()) step.fault = pickFault(input);
    step.refused = !step.answers && input.ConsumeBool();
    return step;
}

Advice readAdvice(FuzzedDataProvider& input, std::size_t stepsBefore) {
    if (input.remaining_bytes() == 0 || stepsBefore == MOST_STEPS) return Advice::STOP;
    constexpr Advice ADVICE[] = {Advice::RETRY, Advice::RETRY, Advice::RETRY, Advice::STOP,
                                 Advice::THROW};
    return input.PickValueInArray(ADVICE);
}

std::unique_ptr<std::istream> streamOf(BodyKind kind) {
    if (kind == BodyKind::STREAM) return std::make_unique<std::istringstream>(Dialogue::BODY);
    return std::make_unique<StreamThatCannotGoBack>(Dialogue::BODY);
}

bool isStream(BodyKind kind) {
    return kind == BodyKind::STREAM || kind == BodyKind::STREAM_THAT_CANNOT_GO_BACK;
}

void frame(HttpRequest& request, BodyKind body, FramingKind framing) {
    const bool isSimple = body == BodyKind::TEXT || isStream(body);
    if (isSimple && framing == FramingKind::DOUBLE)
        request.setHeaderValue("Transfer-Encoding", "chunked");
    if (isSimple && framing != FramingKind::MISSING)
        request.setHeaderValue("Content-Length",
                               std::to_string(std::string(Dialogue::BODY).size()));
}

}  // namespace

bool Dialogue::isRefused() const {
    if (framing == FramingKind::GOOD) return false;
    return isStream(body) || (body == BodyKind::TEXT && framing == FramingKind::DOUBLE);
}

HttpRequest Dialogue::request() const {
    HttpRequest request(method, URL("http://example/"), {});
    if (asksForRange) request.setHeaderValue("Range", RANGE);
    frame(request, body, framing);
    if (body == BodyKind::TEXT) request.setRequestBody(BODY);
    if (isStream(body)) request.setRequestBody(streamOf(body));
    if (body == BodyKind::MULTIPART) {
        request.setHeaderValue("Content-Type", "multipart/form-data");
        request.setMultipartBody(MultipartBody().withPart(DataPart(BODY)));
    }
    return request;
}

Dialogue readDialogue(FuzzedDataProvider& input) {
    constexpr HttpMethod METHODS[] = {HttpMethod::GET,    HttpMethod::HEAD, HttpMethod::POST,
                                      HttpMethod::DELETE, HttpMethod::PUT,  HttpMethod::PATCH};
    constexpr BodyKind BODIES[] = {BodyKind::NONE, BodyKind::TEXT, BodyKind::MULTIPART,
                                   BodyKind::STREAM, BodyKind::STREAM_THAT_CANNOT_GO_BACK};
    constexpr FramingKind FRAMINGS[] = {FramingKind::GOOD, FramingKind::GOOD, FramingKind::GOOD,
                                        FramingKind::MISSING, FramingKind::DOUBLE};
    Dialogue dialogue;
    dialogue.method = input.PickValueInArray(METHODS);
    dialogue.body = input.PickValueInArray(BODIES);
    dialogue.framing = input.PickValueInArray(FRAMINGS);
    dialogue.resume = input.ConsumeBool();
    dialogue.reportsProgress = input.ConsumeBool();
    dialogue.asksForRange = input.ConsumeBool();
    dialogue.strategyFault = pickFault(input);
    do {
        dialogue.steps.push_back(readStep(input));
        dialogue.steps.back().advice = readAdvice(input, dialogue.steps.size());
    } while (dialogue.steps.back().advice == Advice::RETRY);
    return dialogue;
}

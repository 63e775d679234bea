#include "connection.h"

#include <algorithm>
#include <array>
#include <limits>

#include "answer_sender.h"
#include "tunnel.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::uint64_t WHOLE_BODY = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t BODY_PIECE = 65536;
constexpr std::size_t GARBAGE_SIZE = 1000;

// Its first byte begins neither a TLS record nor a status line.
std::string garbage() {
    return '\xFE' + ServedContent{99, GARBAGE_SIZE}.range(1, GARBAGE_SIZE - 1);
}

// Where a step stops reading a request's body.
std::uint64_t uploadEnd(const FaultStep& step) {
    return std::min({step.uploadResetAt.value_or(WHOLE_BODY),
                     step.uploadFinishAt.value_or(WHOLE_BODY),
                     step.early ? step.early->afterBytes : WHOLE_BODY});
}

bool endsUpload(const FaultStep& step) {
    return step.uploadResetAt || step.uploadFinishAt || step.early;
}

bool sendsContinue(const RequestHead& request, const FaultStep& step) {
    const bool answeredInstead = endsUpload(step) && uploadEnd(step) == 0;
    return request.expectsContinue() && !request.body.isEmpty() && !step.no100 && !answeredInstead;
}

}  // namespace

Connection::Connection(FileDescriptor socket, ServerState& state, Place place, SSL_CTX* tls)
    : fault_(state.takeConnectionFault()),
      open_(state, socket.number()),
      state_(state),
      stream_(std::move(socket), state.stopEvent().descriptor()),
      reader_(stream_),
      place_(place),
      tls_(tls) {}

Connection::~Connection() { state_.removeSocket(open_.number()); }

void Connection::serve() {
    try {
        performConnectionFault(fault_);
        if (tls_) stream_.startTls(tls_);
        while (auto head = reader_.readHead()) {
            if (serveRequest(std::move(*head)) == Next::NOTHING) return;
        }
        stream_.finish(CloseNotify::SEND);
    } catch (const ConnectionEnded&) {  // nothing is left to be done
    }
}

void Connection::performConnectionFault(ConnectionFault fault) {
    switch (fault) {
        case ConnectionFault::NONE:
        case ConnectionFault::REFUSED:
            return;
        case ConnectionFault::ACCEPT_RST:
            stream_.reset();
        case ConnectionFault::MUTE:
            state_.stall(stream_);
            break;
        case ConnectionFault::GARBAGE:
            if (requests_ == 0) stream_.waitReadable();
            stream_.write(garbage());
            break;
        case ConnectionFault::HELLO_RST:
            if (requests_ == 0) stream_.waitReadable();
            stream_.reset();
    }
    closeSilently();
}

Connection::Next Connection::serveRequest(std::string headText) {
    Exchange exchange = begin(std::move(headText));
    const FaultStep& step = exchange.taken.step;
    if (breakAtNext_) {
        if (step.resetNext) stream_.reset();
        closeSilently();
    }
    if (exchange.request.malformed) return refuse(exchange, 400);
    performConnectionFault(step.connection);
    if (step.delayBeforeBody.count() > 0) stream_.pause(step.delayBeforeBody);
    if (step.refuseExpect && exchange.request.header("Expect")) return refuse(exchange, 417);
    try {
        receiveBody(exchange);
    } catch (const MalformedBody&) {
        return refuse(exchange, 400);
    }
    if (step.noAnswerReset) stream_.reset();
    if (step.noAnswer) closeSilently();
    if (step.delay.count() > 0) stream_.pause(step.delay);
    if (exchange.request.method == "CONNECT" && step.status == 0) return openTunnel(exchange);
    send(exchange, answerTo(exchange));
    return endOf(exchange);
}

Connection::Exchange Connection::begin(std::string headText) {
    Exchange exchange;
    exchange.request = parseRequestHead(headText);
    exchange.taken = breakAtNext_ ? *breakAtNext_ : state_.takeStep(exchange.request.path());
    const FaultStep& step = exchange.taken.step;
    exchange.close = step.close || step.http10 || step.framing == Framing::UNTIL_CLOSE ||
                     exchange.taken.refusedNext || exchange.request.wantsClose();
    exchange.headText = std::move(headText);

    ReceivedRequest received;
    received.method = exchange.request.method;
    received.target = exchange.request.target;
    received.headerLines = exchange.request.headerLines;
    received.head = exchange.headText;
    received.connection = open_.number();
    received.numberOnConnection = ++requests_;
    received.overTls = stream_.isTls();
    received.step = exchange.taken.number;
    received.stepText = step.text;
    exchange.logNumber = state_.addRequest(std::move(received));
    return exchange;
}

Connection::Next Connection::refuse(Exchange& exchange, int status) {
    exchange.close = true;
    send(exchange, statusAnswer(status, exchange.request, exchange.taken.step, place_));
    stream_.finish(CloseNotify::SEND);
    // Closing with something unread would reset the connection, and lose the answer.
    stream_.drain();
    return Next::NOTHING;
}

void Connection::receiveBody(Exchange& exchange) {
    const FaultStep& step = exchange.taken.step;
    const std::uint64_t end = uploadEnd(step);
    if (sendsContinue(exchange.request, step)) {
        stream_.write("HTTP/1.1 100 Continue\r\n\r\n");
        stream_.flush();
    }
    reader_.beginBody(exchange.request.body);
    if (step.uploadStallAt && *step.uploadStallAt <= end) {
        readBodyUntil(exchange, *step.uploadStallAt);
        state_.stall(stream_);
    }
    readBodyUntil(exchange, end);
    if (endsUpload(step)) endUploadEarly(exchange);
}

void Connection::readBodyUntil(Exchange& exchange, std::uint64_t end) {
    std::array<char, BODY_PIECE> piece;  // not zeroed: what is read fills it
    while (exchange.bodyRead < end) {
        const auto wanted = std::min<std::uint64_t>(piece.size(), end - exchange.bodyRead);
        const std::size_t count = reader_.readBody(piece.data(), static_cast<std::size_t>(wanted));
        if (count == 0) break;
        exchange.bodyRead += count;
        exchange.digest.update(piece.data(), count);
        state_.changeRequest(exchange.logNumber, [&](ReceivedRequest& received) {
            const std::size_t room = ReceivedRequest::KEPT_BODY_BYTES - received.body.size();
            received.body.append(piece.data(), std::min(room, count));
            received.bodySize = exchange.bodyRead;
        });
    }
    if (!reader_.bodyIsRead()) return;
    state_.changeRequest(exchange.logNumber, [&](ReceivedRequest& received) {
        received.bodyComplete = true;
        received.bodySha256 = exchange.digest.hex();
    });
}

void Connection::endUploadEarly(Exchange& exchange) {
    const FaultStep& step = exchange.taken.step;
    const std::uint64_t end = uploadEnd(step);
    if (step.uploadResetAt == end) stream_.reset();
    if (step.early && step.early->afterBytes == end) {
        exchange.close = true;
        send(exchange, statusAnswer(step.early->status, exchange.request, step, place_));
        if (step.early->reset) stream_.reset();
        readBodyUntil(exchange, WHOLE_BODY);
        closeSilently();
    }
    stream_.finish(CloseNotify::OMIT);
    // What is unread would turn the orderly end into a reset.
    stream_.drain();
    throw ConnectionEnded{};
}

Answer Connection::answerTo(const Exchange& exchange) {
    const RequestHead& request = exchange.request;
    const FaultStep& step = exchange.taken.step;
    const Resource resource = state_.resource(request.path(), step);
    if (step.status == 416) return unsatisfiableAnswer(resource, request, step, place_);
    if (step.status != 0) return statusAnswer(step.status, request, step, place_);
    if (request.path() == "/echo") return textAnswer(exchange.headText);
    if (request.method == "GET" || request.method == "HEAD") {
        return contentAnswer(request, step, resource, place_);
    }
    return textAnswer(exchange.digest.hex());
}

void Connection::send(Exchange& exchange, Answer answer) {
    answer.close = exchange.close;
    const FaultStep& step = exchange.taken.step;
    const std::string head = headOf(answer, step, exchange.request.method);
    state_.changeRequest(exchange.logNumber, [&](ReceivedRequest& received) {
        received.answerStatus = answer.status;
        received.answerHeadSize = head.size();
    });
    AnswerSender(stream_, state_, step)
        .send(head, answer, mayHaveBody(answer, exchange.request.method));
}

Connection::Next Connection::openTunnel(Exchange& exchange) {
    auto target = connectTunnel(exchange.request.target, state_.stopEvent().descriptor());
    if (!target) return refuse(exchange, 502);
    send(exchange, Answer());
    target->write(reader_.takeReceived());
    target->flush();
    relay(stream_, *target);
    return Next::NOTHING;
}

Connection::Next Connection::endOf(const Exchange& exchange) {
    const FaultStep& step = exchange.taken.step;
    if (step.resetNext || step.finishNext) breakAtNext_ = exchange.taken;
    if (!exchange.close && !step.silentClose && step.lengthError <= 0) return Next::REQUEST;
    stream_.finish(step.noCloseNotify ? CloseNotify::OMIT : CloseNotify::SEND);
    return Next::NOTHING;
}

void Connection::closeSilently() {
    stream_.finish(CloseNotify::OMIT);
    throw ConnectionEnded{};
}

}  // namespace tavrin::httpclient_testing::detail

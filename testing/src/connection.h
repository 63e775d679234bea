#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "answer.h"
#include "httpclient_testing/sha256.h"
#include "peer_stream.h"
#include "request_head.h"
#include "request_reader.h"
#include "server_state.h"

namespace tavrin::httpclient_testing::detail {

// Serves one accepted connection from its first byte to its last.
class Connection {
public:
    // `tls` null means plain.
    Connection(FileDescriptor socket, ServerState& state, Place place, SSL_CTX* tls);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void serve();

private:
    // One request on its way from head to answer.
    struct Exchange {
        std::string headText;
        RequestHead request;
        TakenStep taken;
        std::size_t logNumber = 0;
        bool close = false;  // after the answer, which says so
        Sha256 digest;
        std::uint64_t bodyRead = 0;
    };
    enum class Next { REQUEST, NOTHING };

    void performConnectionFault(ConnectionFault fault);
    Next serveRequest(std::string headText);
    Exchange begin(std::string headText);
    Next refuse(Exchange& exchange, int status);
    void receiveBody(Exchange& exchange);
    void readBodyUntil(Exchange& exchange, std::uint64_t end);
    void endUploadEarly(Exchange& exchange);
    Answer answerTo(const Exchange& exchange);
    void send(Exchange& exchange, Answer answer);
    Next openTunnel(Exchange& exchange);
    Next endOf(const Exchange& exchange);
    [[noreturn]] void closeSilently();

    // Taken before the connection is counted: who has waited for it knows that the next one meets
    // the next step.
    const ConnectionFault fault_;
    // Destroyed last, so that no connection is counted as closed before its socket is.
    ServerState::OpenConnection open_;
    ServerState& state_;
    PeerStream stream_;
    RequestReader reader_;
    Place place_;
    SSL_CTX* tls_;
    std::size_t requests_ = 0;
    // The step that breaks the connection at the request after its own.
    std::optional<TakenStep> breakAtNext_;
};

}  // namespace tavrin::httpclient_testing::detail

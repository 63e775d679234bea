#pragma once

#include <openssl/ssl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "file_descriptor.h"

namespace tavrin::httpclient_testing::detail {

// Thrown to leave a connection, wherever its thread is: the peer has gone, the server stops, or a
// fault has ended it. Nobody is told, so it is no std::exception.
struct ConnectionEnded {};

enum class CloseNotify { SEND, OMIT };

// The server's side of one TCP connection, plain or TLS. Every wait ends at once, with
// ConnectionEnded, when the server stops.
class PeerStream {
public:
    // `stopEvent` becomes readable when the server stops.
    PeerStream(FileDescriptor socket, int stopEvent);

    int socket() const { return socket_.number(); }
    bool isTls() const { return static_cast<bool>(tls_); }
    void startTls(SSL_CTX* context);

    // Waits for the peer's first bytes, below any TLS, and leaves them there.
    void waitReadable();
    // The same for a connection that is being established.
    void waitWritable();
    // Waits for bytes here (true), TLS's own included, or for `other` to become readable (false).
    bool waitReadableOr(int other);
    // Reads at least one byte, or 0 at the end of what the peer sends.
    std::size_t read(char* to, std::size_t size);
    // Reads and throws away until the peer ends.
    void drain();

    // Output is gathered; flush(), and everything below, sends it.
    void write(std::string_view bytes);
    void flush();

    // Waits; ConnectionEnded if the peer goes meanwhile.
    void pause(std::chrono::milliseconds duration);
    // The same until `event` becomes readable.
    void waitFor(int event);

    // Makes the connection's closing a reset and leaves with ConnectionEnded. What was written
    // before arrives.
    [[noreturn]] void reset();
    // Ends what the server sends; the peer may go on.
    void finish(CloseNotify notify);

private:
    struct FreeTls {
        void operator()(SSL* tls) const { SSL_free(tls); }
    };

    void poll(short events);
    void endIfStopping() const;
    // Waits for what the last TLS operation wants; false at the end of the peer's stream.
    bool waitForTls(int result);
    std::size_t send(std::string_view bytes);
    void waitUntil(int event, std::chrono::milliseconds limit);

    FileDescriptor socket_;
    int stopEvent_;
    std::unique_ptr<SSL, FreeTls> tls_;
    std::string output_;
};

}  // namespace tavrin::httpclient_testing::detail

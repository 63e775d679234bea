#include "tunnel.h"

#include <sys/socket.h>

#include <charconv>
#include <string_view>

#include "loopback.h"

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::size_t PIECE = 65536;
constexpr int LARGEST_PORT = 65535;

std::optional<int> portIn(std::string_view target) {
    const auto colon = target.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    int port = 0;
    const char* const end = target.data() + target.size();
    const auto [stop, error] = std::from_chars(target.data() + colon + 1, end, port);
    if (error != std::errc() || stop != end || port < 1 || port > LARGEST_PORT) return std::nullopt;
    return port;
}

// False at the end of what `from` sends.
bool passOn(PeerStream& from, PeerStream& to) {
    std::string piece(PIECE, '\0');
    piece.resize(from.read(piece.data(), piece.size()));
    to.write(piece);
    to.flush();
    return !piece.empty();
}

}  // namespace

std::optional<PeerStream> connectTunnel(const std::string& target, int stopEvent) {
    const auto port = portIn(target);
    if (!port) return std::nullopt;
    FileDescriptor socket = boundSocket(0);
    const sockaddr_in address = loopbackAddress(*port);
    // Non-blocking: it succeeds, or fails, when the socket becomes writable.
    (void)connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    PeerStream stream(std::move(socket), stopEvent);
    stream.waitWritable();
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(stream.socket(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) return std::nullopt;
    return stream;
}

void relay(PeerStream& client, PeerStream& server) {
    bool open = true;
    while (open) {
        const bool fromClient = client.waitReadableOr(server.socket());
        open = fromClient ? passOn(client, server) : passOn(server, client);
    }
    server.finish(CloseNotify::OMIT);
    client.finish(CloseNotify::SEND);
}

}  // namespace tavrin::httpclient_testing::detail

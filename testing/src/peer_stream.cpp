#include "peer_stream.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace tavrin::httpclient_testing::detail {
namespace {

constexpr std::size_t OUTPUT_SIZE = 1U << 16U;
constexpr short GONE = POLLERR | POLLHUP | POLLRDHUP;

}  // namespace

PeerStream::PeerStream(FileDescriptor socket, int stopEvent)
    : socket_(std::move(socket)), stopEvent_(stopEvent) {
    const int yes = 1;
    setsockopt(socket_.number(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

void PeerStream::startTls(SSL_CTX* context) {
    tls_.reset(SSL_new(context));
    if (!tls_ || SSL_set_fd(tls_.get(), socket()) != 1) throw ConnectionEnded{};
    for (;;) {
        ERR_clear_error();
        const int result = SSL_accept(tls_.get());
        if (result == 1) return;
        if (!waitForTls(result)) throw ConnectionEnded{};
    }
}

void PeerStream::poll(short events) {
    std::array<pollfd, 2> waits{{{socket(), events, 0}, {stopEvent_, POLLIN, 0}}};
    while (::poll(waits.data(), waits.size(), -1) < 0) {
        if (errno != EINTR) throw ConnectionEnded{};
    }
    if (waits[1].revents != 0) throw ConnectionEnded{};
}

// A peer that is quick enough never makes anybody wait, and so never makes poll() see the stop.
void PeerStream::endIfStopping() const {
    pollfd stopping{stopEvent_, POLLIN, 0};
    if (::poll(&stopping, 1, 0) > 0) throw ConnectionEnded{};
}

bool PeerStream::waitForTls(int result) {
    switch (SSL_get_error(tls_.get(), result)) {
        case SSL_ERROR_WANT_READ:
            poll(POLLIN);
            return true;
        case SSL_ERROR_WANT_WRITE:
            poll(POLLOUT);
            return true;
        case SSL_ERROR_ZERO_RETURN:
            return false;
        default:
            throw ConnectionEnded{};
    }
}

void PeerStream::waitReadable() { poll(POLLIN); }

void PeerStream::waitWritable() { poll(POLLOUT); }

bool PeerStream::waitReadableOr(int other) {
    if (tls_ && SSL_pending(tls_.get()) > 0) return true;
    std::array<pollfd, 3> waits{
        {{socket(), POLLIN, 0}, {stopEvent_, POLLIN, 0}, {other, POLLIN, 0}}};
    ::poll(waits.data(), waits.size(), -1);
    if (waits[1].revents != 0) throw ConnectionEnded{};
    return waits[2].revents == 0;
}

std::size_t PeerStream::read(char* to, std::size_t size) {
    flush();
    endIfStopping();
    for (;;) {
        if (tls_) {
            ERR_clear_error();
            const int count = SSL_read(tls_.get(), to, static_cast<int>(size));
            if (count > 0) return static_cast<std::size_t>(count);
            if (!waitForTls(count)) return 0;
        } else {
            const ssize_t count = recv(socket(), to, size, 0);
            if (count >= 0) return static_cast<std::size_t>(count);
            if (errno != EAGAIN && errno != EINTR) throw ConnectionEnded{};
            poll(POLLIN);
        }
    }
}

void PeerStream::drain() {
    std::array<char, 16384> nowhere{};
    while (read(nowhere.data(), nowhere.size()) > 0) {
    }
}

void PeerStream::write(std::string_view bytes) {
    output_.append(bytes);
    if (output_.size() < OUTPUT_SIZE) return;
    endIfStopping();
    flush();
}

void PeerStream::flush() {
    std::string_view rest = output_;
    while (!rest.empty()) rest.remove_prefix(send(rest));
    output_.clear();
}

std::size_t PeerStream::send(std::string_view bytes) {
    for (;;) {
        if (tls_) {
            ERR_clear_error();
            const int count = SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()));
            if (count > 0) return static_cast<std::size_t>(count);
            if (!waitForTls(count)) throw ConnectionEnded{};
        } else {
            const ssize_t count = ::send(socket(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count >= 0) return static_cast<std::size_t>(count);
            if (errno != EAGAIN && errno != EINTR) throw ConnectionEnded{};
            poll(POLLOUT);
        }
    }
}

void PeerStream::pause(std::chrono::milliseconds duration) {
    flush();
    waitUntil(-1, duration);
}

void PeerStream::waitFor(int event) {
    flush();
    waitUntil(event, std::chrono::milliseconds(-1));
}

void PeerStream::waitUntil(int event, std::chrono::milliseconds limit) {
    std::array<pollfd, 3> waits{
        {{socket(), POLLRDHUP, 0}, {stopEvent_, POLLIN, 0}, {event, POLLIN, 0}}};
    ::poll(waits.data(), waits.size(), static_cast<int>(limit.count()));
    if (waits[1].revents != 0 || (waits[0].revents & GONE) != 0) throw ConnectionEnded{};
}

void PeerStream::reset() {
    flush();
    // A reset throws away what has not been sent. Where everything is local, what was sent has
    // arrived.
    for (int unsent = 0; ioctl(socket(), SIOCOUTQNSD, &unsent) == 0 && unsent > 0;) {
        pause(std::chrono::milliseconds(1));
    }
    const linger atOnce{1, 0};
    setsockopt(socket(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    throw ConnectionEnded{};
}

void PeerStream::finish(CloseNotify notify) {
    flush();
    if (tls_ && notify == CloseNotify::SEND) {
        ERR_clear_error();
        SSL_shutdown(tls_.get());
    }
    shutdown(socket(), SHUT_WR);
}

}  // namespace tavrin::httpclient_testing::detail

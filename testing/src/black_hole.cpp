#include "httpclient_testing/black_hole.h"

#include <poll.h>
#include <sys/socket.h>

#include <vector>

#include "loopback.h"

namespace tavrin::httpclient_testing {
namespace {

// One connection fills a queue of length 0; the others make sure of it.
constexpr int FILLERS = 3;

}  // namespace

struct BlackHole::Sockets {
    detail::FileDescriptor listener = detail::boundSocket(0);
    std::vector<detail::FileDescriptor> fillers;
};

BlackHole::BlackHole() : sockets_(std::make_unique<Sockets>()) {
    detail::listenOn(sockets_->listener, 0);
    const sockaddr_in address = detail::loopbackAddress(port());
    for (int i = 0; i < FILLERS; ++i) {
        auto& filler = sockets_->fillers.emplace_back(detail::boundSocket(0));
        // Never established, or established and left alone: either way there is nothing to see to.
        (void)connect(filler.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

BlackHole::~BlackHole() = default;

int BlackHole::port() const { return detail::portOf(sockets_->listener); }

std::string BlackHole::url(const std::string& scheme) const {
    return scheme + "://127.0.0.1:" + std::to_string(port()) + "/";
}

}  // namespace tavrin::httpclient_testing

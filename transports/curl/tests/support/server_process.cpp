#include "support/server_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <utility>

namespace tavrin::httpclient_curl::test {
namespace {

using httpclient_testing::FaultServer;
using httpclient_testing::FaultServerOptions;

// Two pipes: the port comes through the one; the other ends when nobody needs the server any more.
[[noreturn]] void serve(FaultServerOptions options, const ServerProcess::Preparation& prepare,
                        int port, int lifeline) {
    int code = EXIT_FAILURE;
    try {
        FaultServer server(std::move(options));
        prepare(server);
        const int number = server.port();
        char nothing = 0;
        if (::write(port, &number, sizeof number) == sizeof number) {
            while (::read(lifeline, &nothing, 1) < 0) continue;
            code = EXIT_SUCCESS;
        }
    } catch (const std::exception&) {
        // Who waits for the port gets none.
    }
    ::_exit(code);
}

}  // namespace

ServerProcess::ServerProcess(FaultServerOptions options, const Preparation& prepare)
    : tls_(options.tls.has_value()) {
    std::array<int, 2> port{};
    std::array<int, 2> lifeline{};
    if (::pipe(port.data()) != 0 || ::pipe(lifeline.data()) != 0 || (process_ = ::fork()) < 0)
        throw std::runtime_error("the server's process does not start");
    if (process_ == 0) {
        ::close(port[0]);
        ::close(lifeline[1]);
        serve(std::move(options), prepare, port[1], lifeline[0]);
    }
    ::close(port[1]);
    ::close(lifeline[0]);
    lifeline_ = lifeline[1];
    const bool serves = ::read(port[0], &port_, sizeof port_) == sizeof port_;
    ::close(port[0]);
    if (!serves) throw std::runtime_error("the server does not start");
}

ServerProcess::~ServerProcess() {
    ::close(lifeline_);
    ::kill(process_, SIGCONT);
    ::waitpid(process_, nullptr, 0);
}

std::string ServerProcess::url(const std::string& path) const {
    return (tls_ ? "https" : "http") + ("://127.0.0.1:" + std::to_string(port_)) + path;
}

void ServerProcess::freeze() const {
    ::kill(process_, SIGSTOP);
    ::waitpid(process_, nullptr, WUNTRACED);
}

void ServerProcess::thaw() const { ::kill(process_, SIGCONT); }

}  // namespace tavrin::httpclient_curl::test

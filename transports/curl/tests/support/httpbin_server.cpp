#include "support/httpbin_server.h"

#include <stdexcept>

namespace tavrin::httpclient_curl::test {

HttpbinServer::HttpbinServer() : listener_(listenOnFreePort(context_)) {
    const int listener = listener_.native_handle();
    ChildProcess::Command command;
    // The worker with threads is the one that keeps connections.
    command.words = {"/usr/bin/gunicorn",
                     "--bind",
                     "fd://" + std::to_string(listener),
                     "--worker-class",
                     "gthread",
                     "--threads",
                     "4",
                     "httpbin:app"};
    command.descriptors = {listener};
    command.output = directory_.path() / "output";
    process_ = std::make_unique<ChildProcess>(command);
    if (answers(listener_.local_endpoint())) return;
    process_.reset();
    throw std::runtime_error("httpbin does not start: " +
                             httpclient_core::test::readFile(command.output));
}

std::string HttpbinServer::url(const std::string& path) const { return "http://" + host() + path; }

std::string HttpbinServer::urlFor(const std::string& credentials, const std::string& path) const {
    return "http://" + credentials + "@" + host() + path;
}

}  // namespace tavrin::httpclient_curl::test

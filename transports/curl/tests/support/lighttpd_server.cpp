#include "support/lighttpd_server.h"

#include <fstream>
#include <stdexcept>

namespace tavrin::httpclient_curl::test {

LighttpdServer::LighttpdServer() : listener_(listenOnFreePort(context_)) {
    std::filesystem::create_directory(directory() / "files");
    // The listening socket is its standard input, so that the port stays ours while it restarts.
    std::ofstream(directory() / "lighttpd.conf")
        << "server.document-root = \"" << (directory() / "files").string() << "\"\n"
        << "server.bind = \"/dev/stdin\"\n"
        << "mimetype.assign = ( \"\" => \"application/octet-stream\" )\n";
    start();
}

std::string LighttpdServer::url(const std::string& path) const {
    return "http://" + hostAndPort(listener_.local_endpoint()) + path;
}

void LighttpdServer::serve(const std::string& path, const std::string& content) {
    const std::filesystem::path fresh = directory() / "fresh";
    std::ofstream(fresh, std::ios::binary) << content;
    std::filesystem::rename(fresh, directory() / "files" / path.substr(1));
}

void LighttpdServer::restart() {
    process_.reset();
    start();
}

void LighttpdServer::start() {
    ChildProcess::Command command;
    command.words = {"/usr/sbin/lighttpd", "-D", "-f", (directory() / "lighttpd.conf").string()};
    command.standardInput = listener_.native_handle();
    command.output = directory() / "output";
    process_ = std::make_unique<ChildProcess>(command);
    if (answers(listener_.local_endpoint())) return;
    process_.reset();
    throw std::runtime_error("lighttpd does not start: " +
                             httpclient_core::test::readFile(command.output));
}

}  // namespace tavrin::httpclient_curl::test

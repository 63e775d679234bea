#include "support/tinyproxy_server.h"

#include <fstream>
#include <stdexcept>

namespace tavrin::httpclient_curl::test {

TinyproxyServer::TinyproxyServer(const std::string& credentials) {
    // It takes over no socket, so somebody else may take the port before it does.
    for (int tries = 0; tries < 5; ++tries) {
        if (start(credentials)) return;
    }
    throw std::runtime_error("tinyproxy does not start: " + log() +
                             httpclient_core::test::readFile(directory_.path() / "output"));
}

bool TinyproxyServer::start(const std::string& credentials) {
    boost::asio::io_context context;
    endpoint_ = listenOnFreePort(context).local_endpoint();
    const std::filesystem::path file = directory_.path() / "tinyproxy.conf";
    std::ofstream configuration(file);
    configuration << "Listen 127.0.0.1\nPort " << endpoint_.port()
                  << "\nTimeout 60\nMaxClients 20\nLogLevel Connect\nLogFile \""
                  << (directory_.path() / "log").string() << "\"\n";
    if (const std::size_t colon = credentials.find(':'); colon != std::string::npos) {
        configuration << "BasicAuth " << credentials.substr(0, colon) << ' '
                      << credentials.substr(colon + 1) << '\n';
    }
    configuration.close();

    ChildProcess::Command command;
    command.words = {"/usr/bin/tinyproxy", "-d", "-c", file.string()};
    command.output = directory_.path() / "output";
    process_ = std::make_unique<ChildProcess>(command);
    // Nobody listens until it does.
    while (process_->running()) {
        if (answers(endpoint_)) return true;
    }
    return false;
}

std::string TinyproxyServer::url(const std::string& credentials) const {
    return "http://" + (credentials.empty() ? "" : credentials + "@") + hostAndPort(endpoint_);
}

std::string TinyproxyServer::log() const {
    return httpclient_core::test::readFile(directory_.path() / "log");
}

}  // namespace tavrin::httpclient_curl::test

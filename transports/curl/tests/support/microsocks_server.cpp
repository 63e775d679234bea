#include "support/microsocks_server.h"

#include <stdexcept>

namespace tavrin::httpclient_curl::test {

MicrosocksServer::MicrosocksServer(const std::string& user, const std::string& password) {
    // It takes over no socket, so somebody else may take the port before it does.
    for (int tries = 0; tries < 5; ++tries) {
        if (start(user, password)) return;
    }
    throw std::runtime_error("microsocks does not start: " + log());
}

bool MicrosocksServer::start(const std::string& user, const std::string& password) {
    boost::asio::io_context context;
    endpoint_ = listenOnFreePort(context).local_endpoint();
    ChildProcess::Command command;
    command.words = {"/usr/bin/microsocks", "-i", "127.0.0.1", "-p",
                     std::to_string(endpoint_.port())};
    if (!user.empty()) command.words.insert(command.words.end(), {"-u", user, "-P", password});
    command.output = directory_.path() / "log";
    process_ = std::make_unique<ChildProcess>(command);
    // Nobody listens until it does.
    while (process_->running()) {
        boost::asio::ip::tcp::socket socket(context);
        boost::system::error_code refused;
        socket.connect(endpoint_, refused);
        if (!refused) return true;
    }
    return false;
}

}  // namespace tavrin::httpclient_curl::test

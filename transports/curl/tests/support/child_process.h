#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <filesystem>
#include <string>
#include <vector>

namespace tavrin::httpclient_curl::test {

/// A program that runs beside the test, and ends with the object or with the thread that started
/// it.
class ChildProcess {
public:
    struct Command {
        /// Path of the program, and its arguments.
        std::vector<std::string> words;
        /// All of its environment, "NAME=value" each.
        std::vector<std::string> environment;
        /// Descriptors that it has, by the same numbers; `standardInput` as 0, if it is not -1.
        std::vector<int> descriptors;
        int standardInput = -1;
        /// File for what it writes to standard output and standard error.
        std::filesystem::path output;
    };

    /// Starts the program.
    /// @throws std::system_error if that can't be done.
    explicit ChildProcess(const Command& command);
    /// Asks it to end, by SIGTERM, and waits until it has.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// False once it has ended by itself.
    bool running();

private:
    pid_t process_ = -1;
};

/// Listens on a port of 127.0.0.1 that was free.
boost::asio::ip::tcp::acceptor listenOnFreePort(boost::asio::io_context& context);

/// "127.0.0.1:<port>".
std::string hostAndPort(const boost::asio::ip::tcp::endpoint& endpoint);

/// Whether something at `endpoint` answers a request for "/", with whatever status, within ten
/// seconds.
bool answers(const boost::asio::ip::tcp::endpoint& endpoint);

}  // namespace tavrin::httpclient_curl::test

#include "support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tavrin::httpclient_curl::test {
namespace {

using boost::asio::ip::tcp;

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ChildProcess::ChildProcess(const Command& command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // Onto itself: the descriptor stays open in the new program.
    for (const int descriptor : command.descriptors)
        posix_spawn_file_actions_adddup2(&actions, descriptor, descriptor);
    if (command.standardInput >= 0)
        posix_spawn_file_actions_adddup2(&actions, command.standardInput, STDIN_FILENO);
    const std::string output = command.output.string();
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);

    // It may be started on a thread that blocks signals, and must hear the one that ends it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);

    // A test that is killed leaves no server behind.
    std::vector<std::string> words{"/usr/bin/setpriv", "--pdeathsig", "TERM"};
    words.insert(words.end(), command.words.begin(), command.words.end());
    std::vector<std::string> environment = command.environment;
    const int error = ::posix_spawn(&process_, words.front().c_str(), &actions, &attributes,
                                    pointersTo(words).data(), pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), command.words.front());
}

ChildProcess::~ChildProcess() {
    if (process_ < 0) return;
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
}

bool ChildProcess::running() {
    if (process_ >= 0 && ::waitpid(process_, nullptr, WNOHANG) == process_) process_ = -1;
    return process_ >= 0;
}

tcp::acceptor listenOnFreePort(boost::asio::io_context& context) {
    return tcp::acceptor(context, tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0));
}

std::string hostAndPort(const tcp::endpoint& endpoint) {
    return "127.0.0.1:" + std::to_string(endpoint.port());
}

bool answers(const tcp::endpoint& endpoint) {
    tcp::iostream connection;
    connection.expires_after(std::chrono::seconds(10));
    connection.connect(endpoint);
    connection << "GET / HTTP/1.0\r\n\r\n" << std::flush;
    std::string statusLine;
    return static_cast<bool>(std::getline(connection, statusLine));
}

}  // namespace tavrin::httpclient_curl::test

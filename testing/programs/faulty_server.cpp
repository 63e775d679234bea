// Runs a FaultServer for a demonstration, or for a test of a program in another process.

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "httpclient_testing/fault_server.h"

namespace {

using tavrin::httpclient_testing::FaultPlan;
using tavrin::httpclient_testing::FaultServer;
using tavrin::httpclient_testing::FaultServerOptions;
using tavrin::httpclient_testing::TlsKind;

// A descriptor that becomes readable when the process is asked to end. Blocked before any other
// thread starts, the signals come nowhere else.
int terminationDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

// Returns when standard input has ended or `termination` is readable.
void waitForTheEnd(int termination) {
    std::array<pollfd, 2> waits{{{STDIN_FILENO, POLLIN, 0}, {termination, POLLIN, 0}}};
    std::array<char, 4096> ignored{};
    while (poll(waits.data(), waits.size(), -1) >= 0 && waits[1].revents == 0) {
        if (waits[0].revents != 0 && read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0)
            return;
    }
}

void serve(const FaultServerOptions& options, const std::string& path) {
    const int termination = terminationDescriptor();
    FaultServer server(options);
    std::cout << "url " << server.url(path) << "\nsha256 " << server.content(path).sha256() << '\n';
    if (options.tls) std::cout << "ca " << server.caFile() << '\n';
    std::cout << std::flush;
    waitForTheEnd(termination);
}

int run(int argc, char** argv) {
    CLI::App app(
        "Serves bytes on 127.0.0.1 and a free port, and fails as told. Prints the URL and the "
        "SHA-256 of what is served there; ends when standard input does, or with SIGINT or "
        "SIGTERM.");
    FaultServerOptions options;
    std::string plan;
    std::string path = "/file";
    bool tls = false;
    app.add_option("--size", options.content.size, "Bytes to serve")
        ->transform(CLI::AsSizeValue(false))
        ->capture_default_str();
    app.add_option("--seed", options.content.seed, "Which bytes to serve")->capture_default_str();
    app.add_option("--path", path, "Path to print in the URL")->capture_default_str();
    app.add_option("--plan", plan,
                   "What goes wrong, request by request, such as \"rst@1000,503,ok\"");
    app.add_flag("--tls", tls,
                 "Speak TLS with a throw-away certificate, and print the file of its CA");
    CLI11_PARSE(app, argc, argv);

    options.plan = FaultPlan::parse(plan);
    if (tls) options.tls = TlsKind::GOOD;
    serve(options, path);
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "faulty-server: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}

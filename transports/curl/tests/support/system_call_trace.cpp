#include "support/system_call_trace.h"

#include <sched.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace tavrin::httpclient_curl::test {
namespace {

constexpr const char* STRACE = "/usr/bin/strace";

bool isTraced() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != "TracerPid:") continue;
        int tracer = 0;
        status >> tracer;
        return tracer != 0;
    }
    return false;
}

}  // namespace

SystemCallTrace::SystemCallTrace(const std::string& expression) {
    if (!std::filesystem::exists(STRACE)) return;
    ::prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY);
    ChildProcess::Command command;
    command.words = {STRACE,
                     "-f",
                     "-qq",
                     "-o",
                     directory_.path() / "calls",
                     "-e",
                     expression,
                     "-p",
                     std::to_string(::getpid())};
    command.output = directory_.path() / "output";
    strace_ = std::make_unique<ChildProcess>(command);
    while (!(attached_ = isTraced()) && strace_->running()) ::sched_yield();
}

std::string SystemCallTrace::stop() {
    strace_.reset();
    return httpclient_core::test::readFile(directory_.path() / "calls");
}

}  // namespace tavrin::httpclient_curl::test

#include "support/program_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace tavrin::http_tool::testing {
namespace {

std::system_error lastError(const char* what) { return {errno, std::generic_category(), what}; }

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw lastError("pipe");
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    int readEnd = -1;
    int writeEnd = -1;
};

// An unnamed file that holds the whole input, so that nobody has to feed a pipe.
int inputFile(const std::string& content) {
    std::FILE* file = std::tmpfile();
    if (!file) throw lastError("tmpfile");
    std::fwrite(content.data(), 1, content.size(), file);
    std::fflush(file);
    const int descriptor = dup(fileno(file));
    std::fclose(file);
    lseek(descriptor, 0, SEEK_SET);
    return descriptor;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (auto& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Takes what there is to read; false at the end.
bool takeFrom(int descriptor, std::string& text) {
    std::array<char, 65536> buffer{};
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) return true;
    if (size <= 0) return false;
    text.append(buffer.data(), static_cast<std::size_t>(size));
    return true;
}

}  // namespace

ProgramRun::ProgramRun(const std::vector<std::string>& arguments, const ProgramSetting& setting) {
    std::vector<std::string> words{TAVRIN_HTTP_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables;
    for (const auto& [name, value] : setting.environment) {
        variables.push_back(std::string(name).append("=").append(value));
    }
    // The sanitizers' settings are the tests' own.
    for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LSAN_OPTIONS"}) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment.
        if (const char* value = std::getenv(name))
            variables.push_back(std::string(name) + "=" + value);
    }
    const auto argv = pointers(words);
    const auto envp = pointers(variables);
    const int input = inputFile(setting.input);
    const Pipe output;
    const Pipe errors;
    if (setting.closedOutput) close(output.readEnd);

    process_ = fork();
    if (process_ < 0) throw lastError("fork");
    if (process_ == 0) {
        dup2(input, STDIN_FILENO);
        dup2(output.writeEnd, STDOUT_FILENO);
        dup2(errors.writeEnd, STDERR_FILENO);
        if (setting.closedStreams) {
            for (const int each : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(each);
        }
        if (setting.noThreads) {
            // As large as this is a new thread's stack: more than there are addresses.
            const rlimit limit{rlim_t{1} << 47, rlim_t{1} << 47};
            setrlimit(RLIMIT_STACK, &limit);
        }
        if (setting.largestFile >= 0) {
            const auto bytes = static_cast<rlim_t>(setting.largestFile);
            const rlimit limit{bytes, bytes};
            setrlimit(RLIMIT_FSIZE, &limit);
            // Over the limit a write is to fail as on a full disk.
            std::signal(SIGXFSZ, SIG_IGN);
        }
        if (!setting.directory.empty() && chdir(setting.directory.c_str()) != 0) _exit(126);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(input);
    close(output.writeEnd);
    close(errors.writeEnd);
    outputEnd_ = setting.closedOutput ? -1 : output.readEnd;
    errorEnd_ = errors.readEnd;
}

ProgramRun::~ProgramRun() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    if (outputEnd_ >= 0) close(outputEnd_);
    if (errorEnd_ >= 0) close(errorEnd_);
}

void ProgramRun::signal(int number) const { kill(process_, number); }

int ProgramRun::wait() {
    std::array<pollfd, 2> ends{pollfd{outputEnd_, POLLIN, 0}, pollfd{errorEnd_, POLLIN, 0}};
    while (ends[0].fd >= 0 || ends[1].fd >= 0) {
        if (poll(ends.data(), ends.size(), -1) < 0 && errno != EINTR) throw lastError("poll");
        if (ends[0].revents != 0 && !takeFrom(outputEnd_, output_)) ends[0].fd = -1;
        if (ends[1].revents != 0 && !takeFrom(errorEnd_, errors_)) ends[1].fd = -1;
    }
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace tavrin::http_tool::testing

// The program faulty-server, in a process of its own.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "httpclient_testing/served_content.h"
#include "support/raw_client.h"

namespace tavrin::httpclient_testing {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const ServedContent CONTENT{7, 2048};

// The program with pipes to its input and from its output and errors.
class Program {
public:
    explicit Program(std::vector<std::string> arguments) {
        std::array<int, 2> input{};
        std::array<int, 2> output{};
        if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
        arguments.insert(arguments.begin(), FAULTY_SERVER);
        std::vector<char*> argv;
        for (auto& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        const int error =
            posix_spawn(&process_, FAULTY_SERVER, &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(input[0]);
        close(output[1]);
        input_ = input[1];
        output_.reset(fdopen(output[0], "r"));
        if (error != 0) throw std::runtime_error("no program");
    }
    ~Program() {
        if (process_ > 0) end();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // The next line it prints, without the line's end.
    std::string line() {
        std::array<char, 512> text{};
        if (!fgets(text.data(), static_cast<int>(text.size()), output_.get())) return "";
        std::string line = text.data();
        return line.substr(0, line.find('\n'));
    }

    void signal(int number) const { kill(process_, number); }

    // Ends its input, unless a signal has ended it, and gives its exit code.
    int end() {
        close(input_);
        return wait();
    }
    int wait() {
        int status = 0;
        waitpid(process_, &status, 0);
        process_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    pid_t process_ = 0;
    int input_ = -1;
    std::unique_ptr<std::FILE, CloseFile> output_;
};

int portIn(const std::string& url) { return std::stoi(url.substr(url.rfind(':') + 1)); }

TEST(FaultyServer, ServesAndFailsAsToldUntilItsInputEnds) {
    Program program({"--size", "2KiB", "--seed", "7", "--plan", "fin@1000,ok", "--path", "/a"});
    const std::string url = program.line();
    EXPECT_THAT(url, StartsWith("url http://127.0.0.1:"));
    EXPECT_THAT(url, HasSubstr("/a"));
    EXPECT_EQ(program.line(), "sha256 " + CONTENT.sha256());

    EXPECT_EQ(takeApart(exchange(portIn(url), get("/a"))).body, CONTENT.range(0, 1000));
    EXPECT_EQ(takeApart(exchange(portIn(url), get("/a", "Connection: close\r\n"))).body,
              CONTENT.all());
    EXPECT_EQ(program.end(), 0);
}

TEST(FaultyServer, SpeaksTlsAndEndsOnASignal) {
    Program program({"--tls"});
    const std::string url = program.line();
    EXPECT_THAT(url, StartsWith("url https://127.0.0.1:"));
    program.line();
    const std::string ca = program.line();
    ASSERT_THAT(ca, StartsWith("ca /"));

    EXPECT_NO_THROW(RawClient(portIn(url), ca.substr(3)));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_NE(access(ca.substr(3).c_str(), F_OK), 0);
}

TEST(FaultyServer, SaysWhatIsWrongWithAPlan) {
    Program program({"--plan", "ok,rts@5"});

    EXPECT_EQ(program.line(), "faulty-server: Unknown fault <rts>");
    EXPECT_EQ(program.end(), 1);
}

}  // namespace
}  // namespace tavrin::httpclient_testing

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#if defined(__has_feature)
#define WITH_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#define WITH_SANITIZER (WITH_ADDRESS_SANITIZER || __has_feature(thread_sanitizer))
#else
#define WITH_ADDRESS_SANITIZER 0
#define WITH_SANITIZER 0
#endif

// AddressSanitizer's allocator does not hold its locks across fork(): the child of a process with
// several threads may wait for one of them forever.
#define SKIP_WHERE_NO_CHILD_IS_SAFE() \
    if (WITH_ADDRESS_SANITIZER) GTEST_SKIP() << "the sanitizer's locks do not survive fork()"

namespace tavrin::httpclient_curl::test {

/// Exit status of a child process when it has ended; 200 and more for a signal.
inline int statusOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 200 + WTERMSIG(status);
}

/// Starts a child process that runs `action` and ends with what that returns.
template <typename Action>
pid_t startChild(Action action) {
    const pid_t child = fork();
    if (child != 0) return child;
    int code = 99;
    try {
        code = action();
    } catch (const std::exception& error) {
        fprintf(stderr, "%s\n", error.what());
    }
    _exit(code);
}

/// Runs `action` in a child process and returns its exit status; 200 and more for a signal.
template <typename Action>
int inChild(Action action) {
    return statusOf(startChild(std::move(action)));
}

/// Runs the current test, and no other, in a fresh process whose environment has these variables
/// too, and returns its exit status.
inline int rerunWith(const std::vector<std::pair<std::string, std::string>>& variables) {
    return inChild([&] {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        const std::string filter =
            std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name();
        for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
        execl("/proc/self/exe", "test", filter.c_str(), static_cast<char*>(nullptr));
        return 98;
    });
}

}  // namespace tavrin::httpclient_curl::test

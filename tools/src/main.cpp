#include <httpclient_curl/curl_http_client.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "assignment.h"
#include "command_line.h"
#include "download.h"
#include "exit_code.h"
#include "interruption.h"
#include "log_output.h"
#include "progress_display.h"
#include "request.h"
#include "standard_streams.h"
#include "url_parts.h"
#include "worker_threads.h"

namespace tavrin::http_tool {
namespace {

ProgressDisplay::Style displayStyle(const CommandLine& line,
                                    const std::vector<Assignment>& assignments) {
    using Style = ProgressDisplay::Style;
    const bool terminal = isatty(STDERR_FILENO) != 0;
    // On one screen bodies and bars would get mixed up.
    const bool bodiesOnScreen =
        isatty(STDOUT_FILENO) != 0 &&
        std::any_of(assignments.begin(), assignments.end(),
                    [](const Assignment& each) { return each.output == "-"; });
    if (line.silent || !line.progress.value_or(terminal && !bodiesOnScreen)) return Style::NONE;
    return terminal ? Style::BARS : Style::LINES;
}

httpclient_curl::CurlOptions curlOptions(const CommandLine& line) {
    httpclient_curl::CurlOptions options;
    options.setUserAgent(line.userAgent);
    options.setDecodeContent(line.compressed);
    options.setMaxDecodedBytes(line.maxDecoded);
    if (line.onlyHttp1) options.setHighestHttpVersion(httpclient_curl::HttpVersion::HTTP_1_1);
    return options;
}

// The library writes URLs as they were given.
std::string withoutCredentialsOf(const std::vector<Assignment>& assignments, std::string text) {
    for (const Assignment& each : assignments) {
        const std::string shown = withoutCredentials(each.url);
        if (shown == each.url) continue;
        for (std::size_t i = 0; (i = text.find(each.url, i)) != std::string::npos;) {
            text.replace(i, each.url.size(), shown);
            i += shown.size();
        }
    }
    return text;
}

// Runs the downloads, in their order or several at a time, and returns the first failure's code.
int runAll(const CommandLine& line, const std::vector<Assignment>& assignments,
           ProgressDisplay& display) {
    const httpclient_curl::CurlHttpClient client(httpclient_core::ClientConfiguration(),
                                                 curlOptions(line));
    const Environment environment = processEnvironment();
    std::vector<ExitCode> codes(assignments.size(), ExitCode::OK);
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < assignments.size(); i = next++) {
            if (interruptingSignal() != 0) return;
            const auto configuration = configurationFor(line, assignments[i].url, environment);
            codes[i] = Download(client, line, configuration, assignments[i], display).run();
        }
    };
    const std::size_t workers =
        line.parallel ? std::min(assignments.size(), static_cast<std::size_t>(line.parallelMax))
                      : 1;
    runOnThreads(workers, work);
    if (const int signal = interruptingSignal(); signal != 0) return 128 + signal;
    const auto failed = std::find_if(codes.begin(), codes.end(),
                                     [](ExitCode code) { return code != ExitCode::OK; });
    return failed == codes.end() ? 0 : static_cast<int>(*failed);
}

int run(int argc, char** argv) {
    const CommandLine line = parseCommandLine(argc, argv);
    // A closed pipe is told by the failed write, with a message and a code of its own.
    std::signal(SIGPIPE, SIG_IGN);
    watchForInterruption();
    const auto assignments = assignmentsFor(line);
    ProgressDisplay display(STDERR_FILENO, displayStyle(line, assignments));
    std::optional<LogOutput> log;
    if (line.verbose) {
        log.emplace([&](const std::string& text) {
            display.message(withoutCredentialsOf(assignments, text));
        });
    }
    return runAll(line, assignments, display);
}

}  // namespace
}  // namespace tavrin::http_tool

int main(int argc, char** argv) {
    using namespace tavrin::http_tool;
    fillClosedStandardStreams();
    try {
        return run(argc, argv);
    } catch (const CommandLineExit& exit) {
        const auto& answer = exit.answer();
        if (answer.exitCode != 0) {
            std::fputs(answer.text.c_str(), stderr);
            return answer.exitCode;
        }
        std::fputs(answer.text.c_str(), stdout);
        // --help into a full disk or a closed pipe is a failure like any other, and what doesn't
        // fit the buffer fails before the flush.
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return answer.exitCode;
        std::fputs("tavrin-http: cannot write to standard output\n", stderr);
        return static_cast<int>(ExitCode::NOT_WRITTEN);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tavrin-http: %s\n", failure.what());
        return static_cast<int>(exitCodeFor(std::current_exception()));
    }
}

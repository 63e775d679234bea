#pragma once

#include <httpclient_core/file_path.h>
#include <httpclient_core/headers.h>
#include <httpclient_core/messages.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "checksum.h"

namespace tavrin::http_tool {

/// One field of a multipart form.
struct FormField {
    std::string name;
    std::string value;  ///< the data itself, or the path of a file
    bool isFile = false;
    std::string mediaType;  ///< "" for none
};

/// Everything that the command line asks for, checked and with the defaults filled in.
struct CommandLine {
    std::vector<std::string> urls;  ///< each with a scheme

    std::vector<std::string> outputs;  ///< the n-th belongs to the n-th URL; "-" is standard output
    std::string outputDirectory;       ///< "" for the current one
    bool remoteName = false;
    bool remoteHeaderName = false;
    bool includeHead = false;
    std::vector<ExpectedChecksum> checksums;  ///< the n-th belongs to the n-th URL

    httpclient_core::HttpMethod method = httpclient_core::HttpMethod::GET;
    httpclient_core::HttpHeaders headers;
    std::optional<std::string> body;
    std::vector<FormField> form;
    std::string userAgent;  ///< "" for none

    int retries = 4;
    std::optional<std::chrono::milliseconds> retryDelay;  ///< none: growing from one second on
    std::optional<std::chrono::milliseconds> retryMaxTime;
    bool resume = true;
    bool continueEarlier = false;

    std::optional<std::chrono::milliseconds> maxTime;
    std::chrono::milliseconds connectTimeout{5000};
    std::chrono::milliseconds responseTimeout{30000};
    std::int64_t speedLimit = 1;  ///< bytes per second
    std::chrono::milliseconds speedTime{30000};

    bool followRedirects = true;
    int maxRedirects = 5;
    bool failOnHttpError = false;
    bool compressed = false;
    std::int64_t maxDecoded = std::int64_t{1} << 30;  ///< bytes; 0: no limit
    bool onlyHttp1 = false;
    httpclient_core::FilePath certificateFile;  ///< empty: the system's certificates
    std::optional<std::string> proxy;           ///< none: as the environment says; "": no proxy
    std::optional<std::string> noProxy;

    bool parallel = false;
    int parallelMax = 8;

    bool silent = false;
    bool showError = false;
    bool verbose = false;
    std::optional<bool> progress;  ///< none: if standard error is a terminal
};

/// What is to be said and returned instead of doing anything: help, version, or a complaint.
struct CommandLineAnswer {
    int exitCode;
    std::string text;
};

/// The command line could not be obeyed, or asked for a text; see answer().
class CommandLineExit : public std::runtime_error {
public:
    explicit CommandLineExit(CommandLineAnswer answer)
        : std::runtime_error(answer.text), answer_(std::move(answer)) {}
    const CommandLineAnswer& answer() const { return answer_; }

private:
    CommandLineAnswer answer_;
};

/// Reads the arguments, the program's name first, and the files that they name with "@".
/// @throws CommandLineExit with code 0 and a text for --help and --version, with 2 and a complaint
/// for what cannot be obeyed, with 26 for a file that cannot be read.
CommandLine parseCommandLine(int argc, const char* const* argv);

/// Long and short names of all options, as they are written: for checking the manual against them.
std::vector<std::string> optionNames();

}  // namespace tavrin::http_tool

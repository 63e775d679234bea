#pragma once

#include <exception>
#include <string>

namespace tavrin::http_tool {

/// What the program returns. Numbers below 100 are the ones that scripts know from curl.
enum class ExitCode : int {
    OK = 0,
    UNSUPPORTED_PROTOCOL = 1,
    USAGE = 2,
    BAD_URL = 3,
    PROXY_NOT_RESOLVED = 5,
    HOST_NOT_RESOLVED = 6,
    NOT_CONNECTED = 7,
    BAD_ANSWER = 8,
    PARTIAL_BODY = 18,
    HTTP_ERROR = 22,
    NOT_WRITTEN = 23,
    NOT_READ = 26,
    TIMED_OUT = 28,
    TLS_HANDSHAKE = 35,
    TOO_MANY_REDIRECTS = 47,
    NO_ANSWER = 52,
    NOT_SENT = 55,
    NOT_RECEIVED = 56,
    CERTIFICATE_REFUSED = 60,
    BAD_CONTENT_ENCODING = 61,
    TOO_LARGE = 63,
    CERTIFICATE_FILE = 77,
    CHECKSUM = 100,
};

/// The code for a failed request: by the type of the exception, then by what its text says about
/// the cause.
ExitCode exitCodeFor(const std::exception_ptr& error);

/// Whether another attempt would fail in the same way: the cause lies in what was asked for, in
/// certificates, or on this machine.
bool isPermanent(ExitCode code);

/// The text of the exception.
std::string textOf(const std::exception_ptr& error);

}  // namespace tavrin::http_tool

#include "exit_code.h"

#include <httpclient_core/exceptions.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include "failures.h"

namespace tavrin::http_tool {
namespace {

bool beginsWith(const std::string& text, const char* part) { return text.rfind(part, 0) == 0; }

// What a cause begins with and what stands somewhere in it, and the code of such.
struct Cause {
    const char* beginning;
    const char* part;
    ExitCode code;
};

// `cause` is what the transport says behind "Request to HOST failed: ", or the whole text.
ExitCode codeForCause(const std::string& cause) {
    // The first that fits counts.
    static constexpr std::array<Cause, 29> CAUSES{{
        {"Request refused: the URL ", "scheme", ExitCode::UNSUPPORTED_PROTOCOL},
        {"Request refused: the URL ", "", ExitCode::BAD_URL},
        {"Request refused: the proxy's URL ", "scheme", ExitCode::UNSUPPORTED_PROTOCOL},
        {"Request refused: the proxy's URL ", "", ExitCode::BAD_URL},
        {"Request refused: the user or password of ", "", ExitCode::BAD_URL},
        // What else is refused are headers and bodies that contradict themselves.
        {"Request refused: ", "", ExitCode::USAGE},
        {"name resolution: ", "", ExitCode::HOST_NOT_RESOLVED},
        {"connecting: ", "", ExitCode::NOT_CONNECTED},
        {"Request failed: libcurl: no file descriptor", "", ExitCode::NOT_CONNECTED},
        {"proxy: ", "resolve", ExitCode::PROXY_NOT_RESOLVED},
        {"proxy: ", "", ExitCode::NOT_CONNECTED},
        {"certificate file ", "", ExitCode::CERTIFICATE_FILE},
        {"TLS: ", "certificate", ExitCode::CERTIFICATE_REFUSED},
        {"TLS: ", "", ExitCode::TLS_HANDSHAKE},
        {"sending: ", "", ExitCode::NOT_SENT},
        {"receiving: ", "mpty reply", ExitCode::NO_ANSWER},
        {"incomplete body: ", "", ExitCode::PARTIAL_BODY},
        {"range: ", "", ExitCode::PARTIAL_BODY},
        {"digest: ", "", ExitCode::CHECKSUM},
        {"malformed response: ", "more than", ExitCode::TOO_LARGE},
        {"malformed response: ", "Too large", ExitCode::TOO_LARGE},
        {"malformed response: ", "chunked-encoding", ExitCode::NOT_RECEIVED},
        {"malformed response: ", "ncoding", ExitCode::BAD_CONTENT_ENCODING},
        {"malformed response: ", "", ExitCode::BAD_ANSWER},
        {"redirect: ", "more than", ExitCode::TOO_MANY_REDIRECTS},
        {"redirect: ", "", ExitCode::UNSUPPORTED_PROTOCOL},
        {"request body: ", "", ExitCode::NOT_READ},
        {"response stream: ", "", ExitCode::NOT_WRITTEN},
        {"", "", ExitCode::NOT_RECEIVED},
    }};
    return std::find_if(CAUSES.begin(), CAUSES.end(),
                        [&](const Cause& known) {
                            return beginsWith(cause, known.beginning) &&
                                   cause.find(known.part) != std::string::npos;
                        })
        ->code;
}

ExitCode codeForText(const std::string& text) {
    static const std::string MARK = " failed: ";
    const auto mark = beginsWith(text, "Request to ") ? text.find(MARK) : std::string::npos;
    return codeForCause(mark == std::string::npos ? text : text.substr(mark + MARK.size()));
}

}  // namespace

ExitCode exitCodeFor(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const WriteFailure&) {
        return ExitCode::NOT_WRITTEN;
    } catch (const ReadFailure&) {
        return ExitCode::NOT_READ;
    } catch (const StartOverFailure&) {
        return ExitCode::PARTIAL_BODY;
    } catch (const HttpErrorFailure&) {
        return ExitCode::HTTP_ERROR;
    } catch (const ChecksumFailure&) {
        return ExitCode::CHECKSUM;
    } catch (const httpclient_core::HttpRequestTimeoutException&) {
        return ExitCode::TIMED_OUT;
    } catch (const httpclient_core::HttpRequestFailedException& failure) {
        return codeForText(failure.what());
    } catch (const std::logic_error&) {
        // The library refuses requests that contradict themselves before anything is sent.
        return ExitCode::USAGE;
    } catch (...) {
        return ExitCode::NOT_RECEIVED;
    }
}

bool isPermanent(ExitCode code) {
    switch (code) {
        case ExitCode::UNSUPPORTED_PROTOCOL:
        case ExitCode::USAGE:
        case ExitCode::BAD_URL:
        case ExitCode::NOT_WRITTEN:
        case ExitCode::NOT_READ:
        case ExitCode::TOO_MANY_REDIRECTS:
        case ExitCode::CERTIFICATE_REFUSED:
        case ExitCode::TOO_LARGE:
        case ExitCode::CERTIFICATE_FILE:
            return true;
        default:
            return false;
    }
}

std::string textOf(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "unknown failure";
    }
}

}  // namespace tavrin::http_tool

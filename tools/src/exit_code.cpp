#include "exit_code.h"

#include <httpclient_core/exceptions.h>

#include <stdexcept>
#include <string>

#include "failures.h"

namespace tavrin::http_tool {
namespace {

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

bool beginsWith(const std::string& text, const char* part) { return text.rfind(part, 0) == 0; }

// `cause` is what the transport says behind "Request to HOST failed: ", or the whole text.
ExitCode codeForCause(const std::string& cause) {
    if (beginsWith(cause, "Request refused: ")) {
        if (contains(cause, "scheme")) return ExitCode::UNSUPPORTED_PROTOCOL;
        // What else is refused are headers and bodies that contradict themselves.
        return contains(cause, "URL") ? ExitCode::BAD_URL : ExitCode::USAGE;
    }
    if (beginsWith(cause, "name resolution: ")) return ExitCode::HOST_NOT_RESOLVED;
    if (beginsWith(cause, "connecting: ")) return ExitCode::NOT_CONNECTED;
    if (beginsWith(cause, "proxy: ")) {
        return contains(cause, "resolve") ? ExitCode::PROXY_NOT_RESOLVED : ExitCode::NOT_CONNECTED;
    }
    if (beginsWith(cause, "certificate file ")) return ExitCode::CERTIFICATE_FILE;
    if (beginsWith(cause, "TLS: ")) {
        return contains(cause, "certificate") ? ExitCode::CERTIFICATE_REFUSED
                                              : ExitCode::TLS_HANDSHAKE;
    }
    if (beginsWith(cause, "sending: ")) return ExitCode::NOT_SENT;
    if (beginsWith(cause, "receiving: ")) {
        return contains(cause, "mpty reply") ? ExitCode::NO_ANSWER : ExitCode::NOT_RECEIVED;
    }
    if (beginsWith(cause, "incomplete body: ") || beginsWith(cause, "range: ")) {
        return ExitCode::PARTIAL_BODY;
    }
    if (beginsWith(cause, "digest: ")) return ExitCode::CHECKSUM;
    if (beginsWith(cause, "malformed response: ")) {
        if (contains(cause, "more than") || contains(cause, "Too large")) {
            return ExitCode::TOO_LARGE;
        }
        if (contains(cause, "chunked-encoding")) return ExitCode::NOT_RECEIVED;
        return contains(cause, "ncoding") ? ExitCode::BAD_CONTENT_ENCODING : ExitCode::BAD_ANSWER;
    }
    if (beginsWith(cause, "redirect: ")) {
        return contains(cause, "aximum") || contains(cause, "more than")
                   ? ExitCode::TOO_MANY_REDIRECTS
                   : ExitCode::UNSUPPORTED_PROTOCOL;
    }
    if (beginsWith(cause, "request body: ")) return ExitCode::NOT_READ;
    if (beginsWith(cause, "response stream: ")) return ExitCode::NOT_WRITTEN;
    return ExitCode::NOT_RECEIVED;
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

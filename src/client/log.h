#pragma once

#include <ostream>
#include <sstream>

#include "httpclient_core/logging.h"

/// One diagnostic record, streamed: HTTPCLIENT_LOG(LOG_DECISION) << "Attempt " << number << ".";
/// Nothing that is streamed is evaluated unless the record is wanted.
#define HTTPCLIENT_LOG(severity)                           \
    !::tavrin::httpclient_core::detail::isLogged(severity) \
        ? void()                                           \
        : ::tavrin::httpclient_core::detail::Statement() & \
              ::tavrin::httpclient_core::detail::LogRecord(severity).stream()

namespace tavrin::httpclient_core::detail {

/// Whether a record of that severity is wanted on the library's channel now.
bool isLogged(LogSeverity severity);

/// Text of one record, written when it is destroyed. Nothing that goes wrong in writing it leaves:
/// records never change what the code does.
class LogRecord {
public:
    explicit LogRecord(LogSeverity severity);
    LogRecord(const LogRecord&) = delete;
    LogRecord& operator=(const LogRecord&) = delete;
    ~LogRecord();

    std::ostream& stream() { return text_; }

private:
    LogSeverity severity_;
    std::ostringstream text_;
};

/// Makes a streamed record an expression of type void, binding looser than << and tighter than ?:.
struct Statement {
    void operator&(std::ostream&) const {}
};

/// Writes the exception's text and hands the exception back, to be thrown.
template <typename Exception>
Exception logged(LogSeverity severity, Exception exception) {
    HTTPCLIENT_LOG(severity) << exception.what();
    return exception;
}

/// Writes what can be told of the exception that is being handled.
void logCaughtException();

}  // namespace tavrin::httpclient_core::detail

#pragma once

#include <ostream>
#include <sstream>
#include <string>

#include "httpclient_core/logging.h"

/// One diagnostic record: HTTPCLIENT_LOG(LOG_DECISION, "Attempt " << number << "."). Nothing that
/// is streamed is evaluated unless the record is wanted, and nothing that goes wrong with it
/// leaves: records never change what the code does.
#define HTTPCLIENT_LOG(severity, ...)             \
    ::tavrin::httpclient_core::detail::logRecord( \
        severity, [&](std::ostream& record) { record << __VA_ARGS__; })

namespace tavrin::httpclient_core::detail {

/// Whether a record of that severity is wanted on the library's channel now.
bool isLogged(LogSeverity severity);

/// A stream for the text of one record, which throws rather than leave a part out.
std::ostringstream recordText();

/// Writes a record of that text.
void writeRecord(LogSeverity severity, const std::string& text);

/// Writes what `print` puts into a stream, if a record of that severity is wanted.
template <typename Print>
void logRecord(LogSeverity severity, const Print& print) noexcept {
    try {
        if (!isLogged(severity)) return;
        auto text = recordText();
        print(text);
        writeRecord(severity, text.str());
    } catch (...) {  // Memory ran out, or a sink threw, which is the program's own affair.
    }
}

/// Writes the exception's text and hands the exception back, to be thrown.
template <typename Exception>
Exception logged(LogSeverity severity, Exception exception) {
    HTTPCLIENT_LOG(severity, exception.what());
    return exception;
}

/// Writes what can be told of the exception that is being handled.
void logCaughtException();

}  // namespace tavrin::httpclient_core::detail

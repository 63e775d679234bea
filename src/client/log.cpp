#include "client/log.h"

#include <atomic>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <locale>
#include <stdexcept>

namespace tavrin::httpclient_core {
namespace {

// The source of a channel's records, and the severities that it is to write.
class DiagnosticLogger {
public:
    using Source = boost::log::sources::severity_channel_logger_mt<int, std::string>;

    explicit DiagnosticLogger(const char* channel)
        : source_(boost::log::keywords::channel = std::string(channel)) {}
    DiagnosticLogger(const DiagnosticLogger&) = delete;
    DiagnosticLogger& operator=(const DiagnosticLogger&) = delete;

    // At process exit the channel falls silent: other objects may still report misuse.
    ~DiagnosticLogger() { mask_ = 0; }

    Source& source() { return source_; }
    std::atomic<std::uint32_t>& mask() { return mask_; }

private:
    Source source_;
    std::atomic<std::uint32_t> mask_{0};
};

DiagnosticLogger& coreLogger() {
    static DiagnosticLogger logger(LOG_CHANNEL);
    return logger;
}

DiagnosticLogger& webSocketLogger() {
    static DiagnosticLogger logger(WEBSOCKET_LOG_CHANNEL);
    return logger;
}

DiagnosticLogger& loggerOf(const std::string& channel) {
    if (channel == LOG_CHANNEL) return coreLogger();
    if (channel == WEBSOCKET_LOG_CHANNEL) return webSocketLogger();
    throw std::out_of_range(channel + " not found.");
}

}  // namespace

void setLogSeverityMask(const std::string& channel, std::uint32_t mask) {
    loggerOf(channel).mask() = mask;
}

std::uint32_t getLogSeverityMask(const std::string& channel) { return loggerOf(channel).mask(); }

namespace detail {

bool isLogged(LogSeverity severity) {
    return (coreLogger().mask().load(std::memory_order_relaxed) & severity) != 0 &&
           boost::log::core::get()->get_logging_enabled();
}

LogRecord::LogRecord(LogSeverity severity) : severity_(severity) {
    text_.imbue(std::locale::classic());
}

LogRecord::~LogRecord() {
    try {
        auto& source = coreLogger().source();
        auto record =
            source.open_record(boost::log::keywords::severity = static_cast<int>(severity_));
        if (!record) return;
        boost::log::record_ostream(record) << text_.str() << std::flush;
        source.push_record(std::move(record));
    } catch (...) {  // A sink that throws is the program's own affair.
    }
}

void logCaughtException() {
    HTTPCLIENT_LOG(LOG_EXCEPTION) << "Exception caught: "
                                  << boost::current_exception_diagnostic_information();
}

}  // namespace detail
}  // namespace tavrin::httpclient_core

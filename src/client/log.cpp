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

// Which records a channel writes. It has no destructor, so that it can be asked until the very end.
struct ChannelState {
    std::atomic<std::uint32_t> mask{0};
    std::atomic<bool> ended{false};
};

ChannelState& coreState() {
    static ChannelState state;
    return state;
}

ChannelState& webSocketState() {
    static ChannelState state;
    return state;
}

// The source of a channel's records. Once it is gone, at process exit, the channel is silent: other
// objects may still report misuse.
class DiagnosticLogger {
public:
    using Source = boost::log::sources::severity_channel_logger_mt<int, std::string>;

    DiagnosticLogger(const char* channel, ChannelState& state)
        : source_(boost::log::keywords::channel = std::string(channel)), state_(state) {}
    DiagnosticLogger(const DiagnosticLogger&) = delete;
    DiagnosticLogger& operator=(const DiagnosticLogger&) = delete;
    ~DiagnosticLogger() { state_.ended = true; }

    Source& source() { return source_; }

private:
    Source source_;
    ChannelState& state_;
};

DiagnosticLogger& coreLogger() {
    static DiagnosticLogger logger(LOG_CHANNEL, coreState());
    return logger;
}

ChannelState& stateOf(const std::string& channel) {
    if (channel == LOG_CHANNEL) return coreState();
    if (channel == WEBSOCKET_LOG_CHANNEL) return webSocketState();
    throw std::out_of_range(channel + " not found.");
}

}  // namespace

void setLogSeverityMask(const std::string& channel, std::uint32_t mask) {
    stateOf(channel).mask = mask;
}

std::uint32_t getLogSeverityMask(const std::string& channel) { return stateOf(channel).mask; }

namespace detail {

bool isLogged(LogSeverity severity) {
    const auto& state = coreState();
    return (state.mask.load(std::memory_order_relaxed) & severity) != 0 && !state.ended &&
           boost::log::core::get()->get_logging_enabled();
}

std::ostringstream recordText() {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.exceptions(std::ios::badbit);
    return text;
}

void writeRecord(LogSeverity severity, const std::string& text) {
    auto& source = coreLogger().source();
    auto record = source.open_record(boost::log::keywords::severity = static_cast<int>(severity));
    if (!record) return;
    // Its stream shows by its state alone that it could not take the text.
    if (boost::log::record_ostream(record) << text << std::flush) {
        source.push_record(std::move(record));
    }
}

void logCaughtException() {
    HTTPCLIENT_LOG(LOG_EXCEPTION,
                   "Exception caught: " << boost::current_exception_diagnostic_information());
}

}  // namespace detail
}  // namespace tavrin::httpclient_core

#include "support/log_capture.h"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <mutex>
#include <utility>

#include "httpclient_core/logging.h"

namespace tavrin::httpclient_core::test {
namespace {

template <typename T>
T attribute(const boost::log::record_view& record, const char* name, T missing) {
    const auto value = boost::log::extract<T>(name, record);
    return value ? value.get() : missing;
}

class Collector
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::concurrent_feeding> {
public:
    void consume(const boost::log::record_view& record) {
        const std::lock_guard<std::mutex> lock(mutex_);
        records_.push_back({attribute(record, "Channel", std::string()),
                            attribute(record, "Severity", -1),
                            attribute(record, "Message", std::string())});
    }

    std::vector<LogRecord> records() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return records_;
    }

    std::vector<LogRecord> take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return std::exchange(records_, {});
    }

private:
    mutable std::mutex mutex_;
    std::vector<LogRecord> records_;
};

}  // namespace

bool LogRecord::operator==(const LogRecord& other) const {
    return channel == other.channel && severity == other.severity && text == other.text;
}

std::ostream& operator<<(std::ostream& os, const LogRecord& record) {
    return os << '[' << record.channel << "] " << record.severity << ": \"" << record.text << '"';
}

class LogCapture::Sink {
public:
    Sink() { boost::log::core::get()->add_sink(frontend_); }
    ~Sink() { boost::log::core::get()->remove_sink(frontend_); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    Collector& collector() { return *collector_; }

private:
    boost::shared_ptr<Collector> collector_ = boost::make_shared<Collector>();
    boost::shared_ptr<boost::log::sinks::unlocked_sink<Collector>> frontend_ =
        boost::make_shared<boost::log::sinks::unlocked_sink<Collector>>(collector_);
};

LogCapture::LogCapture(std::uint32_t mask)
    : previousMask_(getLogSeverityMask(LOG_CHANNEL)),
      previousWebSocketMask_(getLogSeverityMask(WEBSOCKET_LOG_CHANNEL)),
      sink_(std::make_unique<Sink>()) {
    setLogSeverityMask(LOG_CHANNEL, mask);
    setLogSeverityMask(WEBSOCKET_LOG_CHANNEL, mask);
}

LogCapture::~LogCapture() {
    setLogSeverityMask(LOG_CHANNEL, previousMask_);
    setLogSeverityMask(WEBSOCKET_LOG_CHANNEL, previousWebSocketMask_);
}

std::vector<LogRecord> LogCapture::records() const { return sink_->collector().records(); }

std::vector<LogRecord> LogCapture::take() { return sink_->collector().take(); }

LoggingDisabled::LoggingDisabled()
    : enabledBefore_(boost::log::core::get()->set_logging_enabled(false)) {}

LoggingDisabled::~LoggingDisabled() {
    boost::log::core::get()->set_logging_enabled(enabledBefore_);
}

}  // namespace tavrin::httpclient_core::test

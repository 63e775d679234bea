#include "log_output.h"

#include <httpclient_core/logging.h>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <sstream>
#include <utility>

namespace tavrin::http_tool {
namespace {

using httpclient_core::LOG_CHANNEL;

const char* nameOf(int severity) {
    switch (severity) {
        case httpclient_core::LOG_DECISION:
            return "decision";
        case httpclient_core::LOG_EXCEPTION:
            return "exception";
        case httpclient_core::LOG_MISUSE:
            return "misuse";
        default:
            return "note";
    }
}

// The frontend serialises the records, so that the backend needs no lock of its own.
class Backend : public boost::log::sinks::basic_formatted_sink_backend<char> {
public:
    explicit Backend(std::function<void(const std::string&)> write) : write_(std::move(write)) {}

    void consume(const boost::log::record_view& record, const std::string& text) {
        const auto severity = boost::log::extract_or_default<int>("Severity", record, 0);
        std::string lead = std::string("* [") + nameOf(severity) + "] ";
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            write_(lead + line);
            // What follows belongs to the same record.
            lead.replace(1, std::string::npos, lead.size() - 1, ' ');
        }
    }

private:
    std::function<void(const std::string&)> write_;
};

}  // namespace

class LogOutput::Sink : public boost::log::sinks::synchronous_sink<Backend> {
public:
    using boost::log::sinks::synchronous_sink<Backend>::synchronous_sink;
};

LogOutput::LogOutput(std::function<void(const std::string&)> write)
    : sink_(boost::make_shared<Sink>(boost::make_shared<Backend>(std::move(write)))) {
    namespace expressions = boost::log::expressions;
    sink_->set_filter(expressions::attr<std::string>("Channel") == std::string(LOG_CHANNEL));
    sink_->set_formatter(expressions::stream << expressions::smessage);
    boost::log::core::get()->add_sink(sink_);
    httpclient_core::setLogSeverityMask(LOG_CHANNEL, httpclient_core::LOG_DECISION |
                                                         httpclient_core::LOG_EXCEPTION |
                                                         httpclient_core::LOG_MISUSE);
}

LogOutput::~LogOutput() {
    httpclient_core::setLogSeverityMask(LOG_CHANNEL, 0);
    boost::log::core::get()->remove_sink(sink_);
}

}  // namespace tavrin::http_tool

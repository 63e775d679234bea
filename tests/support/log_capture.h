#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace tavrin::httpclient_core::test {

/// One diagnostic record as a sink receives it. An attribute that is missing, or of another type
/// than the library promises, reads as an empty text or a severity of -1.
struct LogRecord {
    std::string channel;
    int severity = -1;
    std::string text;

    bool operator==(const LogRecord& other) const;
};

std::ostream& operator<<(std::ostream& os, const LogRecord& record);

/// While it lives, sets the masks of both channels and collects every record that reaches the
/// Boost.Log core, from any thread. Afterwards the masks are those of before and the sink is gone.
class LogCapture {
public:
    static constexpr std::uint32_t EVERY_SEVERITY = 0xFFFFFFFF;

    explicit LogCapture(std::uint32_t mask = EVERY_SEVERITY);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The records so far, in the order in which they were written.
    std::vector<LogRecord> records() const;

    /// The records so far, which are forgotten then.
    std::vector<LogRecord> take();

private:
    class Sink;

    std::uint32_t previousMask_;
    std::uint32_t previousWebSocketMask_;
    std::unique_ptr<Sink> sink_;
};

/// While it lives, the Boost.Log core takes no records, whatever the masks say.
class LoggingDisabled {
public:
    LoggingDisabled();
    ~LoggingDisabled();
    LoggingDisabled(const LoggingDisabled&) = delete;
    LoggingDisabled& operator=(const LoggingDisabled&) = delete;

private:
    bool enabledBefore_;
};

}  // namespace tavrin::httpclient_core::test

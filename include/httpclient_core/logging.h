#pragma once

#include <cstdint>
#include <string>

#include "httpclient_core/export.h"

namespace tavrin::httpclient_core {

/// Severity of a diagnostic record: a single bit, to be combined into a channel's mask.
enum LogSeverity : std::uint32_t {
    LOG_DECISION = 4,    ///< a retry or resume decision, or a text that could not be parsed
    LOG_EXCEPTION = 16,  ///< an exception caught from a transport or a conversion
    LOG_MISUSE = 512,    ///< misuse, about to be reported by an exception
};

/// The two channels. Records go to the Boost.Log core with the attributes "Channel" (std::string)
/// and "Severity" (int); a program filters and writes them with sinks of its own.
inline constexpr char LOG_CHANNEL[] = "tavrin::httpclient_core";
inline constexpr char WEBSOCKET_LOG_CHANNEL[] = "tavrin::httpclient_core::websocket";

/// Which severities a channel writes: a record is made only if the mask has its bit and the logging
/// of the Boost.Log core is enabled. A mask is 0 until it is set, so the library is silent at
/// first. Both functions may be called from any thread at any time and take constant time.
/// @throws std::out_of_range `channel` + " not found." for another name than the two above.
HTTPCLIENT_CORE_EXPORT void setLogSeverityMask(const std::string& channel, std::uint32_t mask);
HTTPCLIENT_CORE_EXPORT std::uint32_t getLogSeverityMask(const std::string& channel);

}  // namespace tavrin::httpclient_core

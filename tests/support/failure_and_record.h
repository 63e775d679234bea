#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "httpclient_core/logging.h"
#include "support/log_capture.h"
#include "support/throws_exactly.h"

namespace tavrin::httpclient_core::test {

/// Expects `call` to throw exactly an `Exception` with the text `text`, and to write that text as
/// its only record: with every severity wanted, and with `severity` alone. With every other
/// severity wanted, or none, or with logging disabled, it throws the same and writes nothing.
template <typename Exception>
void expectFailureAndRecord(const std::function<void()>& call, const std::string& text,
                            LogSeverity severity) {
    const LogRecord record{LOG_CHANNEL, static_cast<int>(severity), text};
    for (const std::uint32_t mask : {LogCapture::EVERY_SEVERITY, std::uint32_t{severity}}) {
        SCOPED_TRACE(testing::Message() << "mask " << mask);
        const LogCapture log(mask);
        EXPECT_THAT(call, ThrowsExactly<Exception>(text));
        EXPECT_THAT(log.records(), testing::ElementsAre(record));
    }
    for (const std::uint32_t mask : {LogCapture::EVERY_SEVERITY & ~severity, std::uint32_t{0}}) {
        SCOPED_TRACE(testing::Message() << "mask " << mask);
        const LogCapture log(mask);
        EXPECT_THAT(call, ThrowsExactly<Exception>(text));
        EXPECT_THAT(log.records(), testing::IsEmpty());
    }
    SCOPED_TRACE("logging disabled");
    const LogCapture log;
    const LoggingDisabled disabled;
    EXPECT_THAT(call, ThrowsExactly<Exception>(text));
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

}  // namespace tavrin::httpclient_core::test

#include <gmock/gmock.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include "exhaustion/allocation_sweep.h"
#include "exhaustion/failing_allocations.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/retry.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core {
namespace {

using test::expectUnchangedWhileMemoryLacks;
using test::Failing;
using test::FailingAllocations;
using test::LogCapture;
using test::longText;
using test::refused;

// A record is whole or missing; what the library decides is the same with it and without.
TEST(LoggingExhaustion, WritesNoCutRecordAndChangesNoDecision) {
    const std::string path(3000, 'x');
    const HttpRequest request(HttpMethod::GET, URL("http://host/" + path), {});
    HttpResponse response;
    response.setResponseCode(HttpResponseCode::OK);
    const RetryStrategy strategy =
        defaultRetryStrategy(5, 0, std::chrono::seconds(1), defaultIsRetriable());
    const std::string whole = "Request to http://host/" + path + " was successful on attempt 1";
    LogCapture log;
    strategy(request, response, nullptr, 1, 1);
    ASSERT_EQ(log.take().at(0).text, whole);

    for (const Failing failing : {Failing::ONE, Failing::ALL_LATER}) {
        for (std::size_t succeeding = 0;; ++succeeding) {
            SCOPED_TRACE(testing::Message()
                         << "after " << succeeding << " allocations " << failing);
            bool retried = true;
            try {
                const FailingAllocations limit(succeeding, failing);
                retried = strategy(request, response, nullptr, 1, 1);
            } catch (...) {
                ADD_FAILURE() << "left by an exception";
            }
            EXPECT_FALSE(retried);
            for (const auto& record : log.take()) EXPECT_EQ(record.text, whole);
            if (!FailingAllocations::anyFailed()) break;
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST(LoggingExhaustion, LeavesTheMasksUnchangedWhenItRefusesAChannel) {
    struct Masks {
        Masks() { setLogSeverityMask(LOG_CHANNEL, LOG_MISUSE); }
    };
    const LogCapture restoringThem;
    const std::string unknown = longText("unknown");
    expectUnchangedWhileMemoryLacks(
        [] { return Masks(); },
        [](const Masks&) { return std::to_string(getLogSeverityMask(LOG_CHANNEL)); },
        {{"setLogSeverityMask",
          refused<std::out_of_range>([=](Masks&) { setLogSeverityMask(unknown, 0); })},
         {"getLogSeverityMask",
          refused<std::out_of_range>([=](Masks&) { getLogSeverityMask(unknown); })}});
}

}  // namespace
}  // namespace tavrin::httpclient_core

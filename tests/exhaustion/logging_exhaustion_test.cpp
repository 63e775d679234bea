#include <gmock/gmock.h>

#include <cstddef>
#include <new>
#include <stdexcept>
#include <string>

#include "exhaustion/failing_allocations.h"
#include "httpclient_core/collections.h"
#include "httpclient_core/logging.h"
#include "httpclient_core/messages.h"
#include "httpclient_core/retry.h"
#include "support/log_capture.h"

namespace tavrin::httpclient_core {
namespace {

using test::allocationsInUse;
using test::Failing;
using test::FailingAllocations;
using test::LogCapture;

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

TEST(LoggingExhaustion, KeepsTheMaskThatItCannotChange) {
    const LogCapture log(LOG_MISUSE);
    const std::string unknown(300, 'x');
    for (std::size_t succeeding = 0;; ++succeeding) {
        const auto inUse = allocationsInUse();
        try {
            const FailingAllocations limit(succeeding, Failing::ALL_LATER);
            setLogSeverityMask(unknown, 0);
            ADD_FAILURE() << "not refused";
        } catch (const std::bad_alloc&) {
        } catch (const std::out_of_range& error) {
            EXPECT_EQ(error.what(), unknown + " not found.");
        }
        EXPECT_EQ(allocationsInUse(), inUse);
        EXPECT_EQ(getLogSeverityMask(LOG_CHANNEL), LOG_MISUSE);
        if (!FailingAllocations::anyFailed()) break;
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core

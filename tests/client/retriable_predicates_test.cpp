#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "httpclient_core/retry.h"

namespace tavrin::httpclient_core::test {
namespace {

// The codes from -1 to 999 that the predicate approves of, as ranges: "416 500-599".
std::string approvedCodes(const RetriablePredicate& isRetriable, HttpMethod method, bool timedOut) {
    std::string ranges;
    int first = 0;
    bool inRange = false;
    for (int code = -1; code <= 1000; ++code) {
        const bool approved =
            code < 1000 && isRetriable(method, timedOut, static_cast<HttpResponseCode>(code));
        if (approved && !inRange) first = code;
        if (!approved && inRange) {
            ranges += (ranges.empty() ? "" : " ") + std::to_string(first);
            if (first != code - 1) ranges += "-" + std::to_string(code - 1);
        }
        inRange = approved;
    }
    return ranges;
}

TEST(DefaultIsRetriable, ApprovesOfGetAfterServerErrorsAndUnsatisfiableRanges) {
    EXPECT_EQ(approvedCodes(defaultIsRetriable(), HttpMethod::GET, false), "416 500-599");
}

TEST(DefaultIsRetriable, ApprovesOfGetAfterATimeoutWhateverTheCode) {
    EXPECT_EQ(approvedCodes(defaultIsRetriable(), HttpMethod::GET, true), "-1-999");
}

TEST(DefaultIsRetriable, ApprovesOfNoOtherMethod) {
    for (const HttpMethod method : {HttpMethod::POST, HttpMethod::DELETE, HttpMethod::PUT,
                                    HttpMethod::HEAD, HttpMethod::PATCH, HttpMethod(6)}) {
        for (const bool timedOut : {false, true}) {
            EXPECT_EQ(approvedCodes(defaultIsRetriable(), method, timedOut), "") << method;
        }
    }
}

TEST(DownloadIsRetriable, ApprovesOfGetAndHeadAfterWhatMayPass) {
    for (const HttpMethod method : {HttpMethod::GET, HttpMethod::HEAD}) {
        EXPECT_EQ(approvedCodes(downloadIsRetriable(), method, false),
                  "-1 200-299 408 416 429 500-599")
            << method;
        EXPECT_EQ(approvedCodes(downloadIsRetriable(), method, true), "-1-999") << method;
    }
}

TEST(DownloadIsRetriable, ApprovesOfNoOtherMethod) {
    for (const HttpMethod method : {HttpMethod::POST, HttpMethod::DELETE, HttpMethod::PUT,
                                    HttpMethod::PATCH, HttpMethod(6)}) {
        for (const bool timedOut : {false, true}) {
            EXPECT_EQ(approvedCodes(downloadIsRetriable(), method, timedOut), "") << method;
        }
    }
}

}  // namespace
}  // namespace tavrin::httpclient_core::test

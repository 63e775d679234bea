#include "retry_policy.h"

#include <httpclient_core/exceptions.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <ctime>
#include <utility>

#include "exit_code.h"
#include "failures.h"
#include "http_date.h"
#include "response_head.h"

namespace tavrin::http_tool {

namespace core = httpclient_core;

namespace {

constexpr auto FIRST_DELAY = std::chrono::seconds(1);
constexpr auto LONGEST_DELAY = std::chrono::seconds(120);

std::string failureText(const core::HttpResponse& response, const std::exception_ptr& error) {
    return error ? textOf(error) : answerText(response);
}

// What Retry-After asks for, in either of its forms; 0 if it asks for nothing that can be read.
std::chrono::milliseconds retryAfter(const core::HttpResponse& response) {
    if (!response.hasHeader("Retry-After")) return {};
    const std::string text = response.getHeaderValue("Retry-After");
    if (const auto date = parsedDate(text)) {
        return std::max(std::chrono::seconds(*date - std::time(nullptr)), std::chrono::seconds(0));
    }
    std::uint32_t seconds = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    if (stop != end || error == std::errc::invalid_argument) return {};
    // Beyond the type's end is more than anybody waits, too.
    if (error == std::errc::result_out_of_range) seconds = UINT32_MAX;
    return std::chrono::seconds(seconds);
}

bool isHopeless(const std::exception_ptr& error) {
    if (!error) return false;
    try {
        std::rethrow_exception(error);
    } catch (const core::HttpRequestCancelledException&) {
        return true;
    } catch (const StartOverFailure&) {
        return true;
    } catch (...) {
        return isPermanent(exitCodeFor(error));
    }
}

std::string describe(std::chrono::milliseconds delay) {
    if (delay.count() == 0) return "at once";
    if (delay.count() % 1000 == 0) return "in " + std::to_string(delay.count() / 1000) + " s";
    return "in " + std::to_string(delay.count()) + " ms";
}

}  // namespace

RetryPolicy::RetryPolicy(const CommandLine& line, Clock::time_point start, Wait wait,
                         Announce announce)
    : fixedDelay_(line.retryDelay), wait_(std::move(wait)), announce_(std::move(announce)) {
    if (line.retryMaxTime && line.retryMaxTime->count() > 0) {
        lastStart_ = start + *line.retryMaxTime;
    }
    strategy_.maxTotalAttempts = line.retries + 1;
    strategy_.maxConsecutiveAttempts = line.retries + 1;
    strategy_.isRetriable = core::downloadIsRetriable();
    // The library sleeps deaf to signals, and a download that is interrupted has to put its files
    // in order.
    strategy_.backoffHook = [this](int consecutiveAttempts) { pause(consecutiveAttempts); };
}

bool RetryPolicy::shouldRetry(const core::HttpRequest& request, const core::HttpResponse& response,
                              const std::exception_ptr& error, int totalAttempts,
                              int consecutiveAttempts) {
    attempts_ = earlierAttempts_ + totalAttempts;
    // An attempt that was answered with success got on, whatever the ones before it came to.
    gotOn_ = core::isSuccess(response.getResponseCode());
    consecutive_ = gotOn_ ? 1 : earlierConsecutive_ + consecutiveAttempts;
    if (isHopeless(error)) return false;
    failure_ = failureText(response, error);
    askedFor_ = error ? std::chrono::milliseconds(0) : retryAfter(response);
    if (askedFor_ > LONGEST_DELAY) return false;
    waited_ = true;
    return strategy_(request, response, error, attempts_, consecutive_) && waited_;
}

void RetryPolicy::startNewCount() {
    earlierAttempts_ = attempts_;
    earlierConsecutive_ = gotOn_ ? 0 : consecutive_;
}

std::chrono::milliseconds RetryPolicy::delayAfter(int consecutiveAttempts) const {
    if (fixedDelay_) return std::max(*fixedDelay_, askedFor_);
    if (consecutiveAttempts < 2) return askedFor_;
    // 2^7 seconds are more than the longest delay already.
    const int doublings = std::min(consecutiveAttempts - 1, 7);
    return std::max<std::chrono::milliseconds>(
        std::min<std::chrono::milliseconds>(FIRST_DELAY * (1 << doublings), LONGEST_DELAY),
        askedFor_);
}

void RetryPolicy::pause(int consecutiveAttempts) {
    const auto delay = delayAfter(consecutiveAttempts);
    if (lastStart_ && Clock::now() + delay > *lastStart_) {
        waited_ = false;
        return;
    }
    announce_(failure_ + "; trying again " + describe(delay) + ", attempt " +
              std::to_string(attempts_ + 1) + " of " + std::to_string(strategy_.maxTotalAttempts));
    waited_ = wait_(delay);
}

}  // namespace tavrin::http_tool

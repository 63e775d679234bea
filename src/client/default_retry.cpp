#include <time.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <typeinfo>
#include <utility>

#include "client/log.h"
#include "httpclient_core/exceptions.h"
#include "httpclient_core/retry.h"
#include "messages/no_response.h"

namespace tavrin::httpclient_core {
namespace {

// Whether it is certain, without a throw, that `error` was cancelled. A client that ends cancels
// all that waits, and throwing each of so many would take 1.6 times the instructions of all else
// that is done about them.
bool isSurelyCancelled(const std::exception_ptr& error) {
#ifdef __GLIBCXX__
    return *error.__cxa_exception_type() == typeid(HttpRequestCancelledException);
#else
    static_cast<void>(error);
    return false;
#endif
}

bool isTimeout(const std::exception_ptr& error) {
    if (!error) return false;
    if (isSurelyCancelled(error) && !detail::isLogged(LOG_EXCEPTION)) return false;
    try {
        std::rethrow_exception(error);
    } catch (const HttpRequestTimeoutException&) {
        return true;
    } catch (...) {
        detail::logCaughtException();
        return false;
    }
}

// `baseMs` times 2 to the power of `consecutiveAttempts` - 1, `longestMs` at most.
std::int64_t backoffMs(std::int64_t baseMs, int consecutiveAttempts, std::int64_t longestMs) {
    if (baseMs <= 0) return std::min(baseMs, longestMs);
    const int doublings = consecutiveAttempts - 1;
    const bool overflows = doublings >= std::numeric_limits<std::int64_t>::digits ||
                           baseMs > std::numeric_limits<std::int64_t>::max() >> doublings;
    return overflows ? longestMs : std::min(baseMs << doublings, longestMs);
}

void sleepFor(std::int64_t milliseconds) {
    timespec remaining{milliseconds / 1000, (milliseconds % 1000) * 1000000};
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

std::int64_t toMilliseconds(std::chrono::seconds duration) {
    using Limits = std::numeric_limits<std::int64_t>;
    const std::int64_t seconds = duration.count();
    if (seconds > Limits::max() / 1000) return Limits::max();
    if (seconds < Limits::min() / 1000) return Limits::min();
    return seconds * 1000;
}

}  // namespace

bool DefaultRetry::operator()(const HttpRequest& request, const HttpResponse& response,
                              const std::exception_ptr& error, int totalAttempts,
                              int consecutiveAttempts) const {
    if (!error && isSuccess(response)) {
        HTTPCLIENT_LOG(LOG_DECISION, "Request to " << request.getURL()
                                                   << " was successful on attempt "
                                                   << totalAttempts);
        return false;
    }
    if (maxTotalAttempts <= totalAttempts) {
        HTTPCLIENT_LOG(LOG_DECISION, "Max total attempts = " << maxTotalAttempts << " reached.");
        return false;
    }
    if (maxConsecutiveAttempts <= consecutiveAttempts) {
        HTTPCLIENT_LOG(LOG_DECISION,
                       "Max consecutive attempts = " << maxConsecutiveAttempts << " reached.");
        return false;
    }

    const bool timedOut = isTimeout(error);
    if (!isRetriable(request.getHttpMethod(), timedOut, response.getResponseCode())) return false;

    if (backoffHook) {
        backoffHook(consecutiveAttempts);
    } else if (consecutiveAttempts >= 2) {
        const auto delay = backoffMs(backoffBaseMs, consecutiveAttempts, maxBackoffMs);
        if (delay >= 1) sleepFor(delay);
    }
    return true;
}

RetryStrategy defaultRetryStrategy(int maxTotalAttempts, std::int64_t backoffBaseMs,
                                   std::chrono::seconds maxBackoff, RetriablePredicate isRetriable,
                                   int maxConsecutiveAttempts) {
    return DefaultRetry{maxTotalAttempts,           maxConsecutiveAttempts, backoffBaseMs,
                        toMilliseconds(maxBackoff), std::move(isRetriable), nullptr};
}

RetryStrategy defaultRetryStrategy(int maxAttempts, std::int64_t backoffBaseMs,
                                   std::chrono::seconds maxBackoff,
                                   RetriablePredicate isRetriable) {
    return defaultRetryStrategy(maxAttempts, backoffBaseMs, maxBackoff, std::move(isRetriable),
                                maxAttempts);
}

RetriablePredicate defaultIsRetriable() {
    return [](HttpMethod method, bool timedOut, HttpResponseCode code) {
        if (method != HttpMethod::GET) return false;
        return timedOut || isServerError(code) || code == HttpResponseCode::RANGE_NOT_SATISFIABLE;
    };
}

RetriablePredicate downloadIsRetriable() {
    return [](HttpMethod method, bool timedOut, HttpResponseCode code) {
        if (method != HttpMethod::GET && method != HttpMethod::HEAD) return false;
        return timedOut || code == detail::NO_RESPONSE || isSuccess(code) || isServerError(code) ||
               code == HttpResponseCode::REQUEST_TIMEOUT ||
               code == HttpResponseCode::RANGE_NOT_SATISFIABLE ||
               code == HttpResponseCode::TOO_MANY_REQUESTS;
    };
}

RetryStrategy noRetriesStrategy() {
    return [](const HttpRequest&, const HttpResponse&, const std::exception_ptr&, int, int) {
        return false;
    };
}

}  // namespace tavrin::httpclient_core

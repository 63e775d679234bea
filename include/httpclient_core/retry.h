#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>

#include "httpclient_core/export.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

/// Decides after every attempt whether the request is made once more, and waits before it says so.
///
/// Called with the request, the attempt's response, its exception or null, the number of attempts
/// of the request so far, and the number of them since the last one that was answered with a 2xx
/// code. It runs on the thread that made the attempt (synchronous) or that completes it
/// (asynchronous), for different requests on several threads at once.
using RetryStrategy =
    std::function<bool(const HttpRequest&, const HttpResponse&, const std::exception_ptr&,
                       int totalAttempts, int consecutiveAttempts)>;

/// Whether an attempt with that method and outcome may be repeated; the code is -1 if there was no
/// response. Called where the strategy is, for different requests on several threads at once.
using RetriablePredicate =
    std::function<bool(HttpMethod method, bool timedOut, HttpResponseCode code)>;

/// Retries what `isRetriable` approves of, up to two limits, with exponential back-off.
///
/// Reading its fields only, one object may be called from several threads at once. It is assigned
/// field by field: where memory runs out on the way, some fields are the other's already. A copy
/// that is moved in (`retry = DefaultRetry(other)`) is assigned whole or not at all.
struct HTTPCLIENT_CORE_EXPORT DefaultRetry {
    int maxTotalAttempts = 0;              ///< most attempts of a request
    int maxConsecutiveAttempts = 0;        ///< most attempts since the last 2xx response
    std::int64_t backoffBaseMs = 0;        ///< base of the back-off, in milliseconds
    std::int64_t maxBackoffMs = 0;         ///< longest single back-off, in milliseconds
    RetriablePredicate isRetriable;        ///< which outcomes may be retried
    std::function<void(int)> backoffHook;  ///< if set, called with the count instead of sleeping

    /// Asks in this order: success without an exception (no), total limit reached (no), consecutive
    /// limit reached (no), `isRetriable` refuses (no). Else it waits and answers yes: not at all
    /// while `consecutiveAttempts` is below 2, then `backoffBaseMs` times 2 to the power of
    /// `consecutiveAttempts` - 1 milliseconds, `maxBackoffMs` at most, asleep on the calling
    /// thread. An HttpRequestTimeoutException counts as a timeout; no exception in `error` is
    /// thrown on.
    /// @throws std::bad_function_call if `isRetriable` is empty when it is needed.
    bool operator()(const HttpRequest& request, const HttpResponse& response,
                    const std::exception_ptr& error, int totalAttempts,
                    int consecutiveAttempts) const;
};

/// A DefaultRetry with these values, the hook empty. Back-offs saturate; none overflows. What this
/// function and those below return may be called from several threads at once, if `isRetriable` may
/// be; it answers in constant time, back-off aside.
HTTPCLIENT_CORE_EXPORT RetryStrategy defaultRetryStrategy(int maxTotalAttempts,
                                                          std::int64_t backoffBaseMs,
                                                          std::chrono::seconds maxBackoff,
                                                          RetriablePredicate isRetriable,
                                                          int maxConsecutiveAttempts);

/// The same with one limit for attempts in all and in a row.
HTTPCLIENT_CORE_EXPORT RetryStrategy defaultRetryStrategy(int maxAttempts,
                                                          std::int64_t backoffBaseMs,
                                                          std::chrono::seconds maxBackoff,
                                                          RetriablePredicate isRetriable);

/// Approves of GET after a timeout and for the codes 416 and 500-599, and of nothing else: neither
/// a connection that could not be made nor one that broke in the middle of a body is retried.
HTTPCLIENT_CORE_EXPORT RetriablePredicate defaultIsRetriable();

/// Made for downloads: approves of GET and HEAD after a timeout, for the code -1 (no response at
/// all), for 200-299 (a body that broke off: without an exception such an attempt is a success and
/// no predicate is asked), and for 408, 416, 429 and 500-599.
HTTPCLIENT_CORE_EXPORT RetriablePredicate downloadIsRetriable();

/// A strategy that never retries.
HTTPCLIENT_CORE_EXPORT RetryStrategy noRetriesStrategy();

}  // namespace tavrin::httpclient_core

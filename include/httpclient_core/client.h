#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "httpclient_core/configuration.h"
#include "httpclient_core/export.h"
#include "httpclient_core/messages.h"

namespace tavrin::httpclient_core {

/// What a transport runs, exactly once, when an asynchronous exchange has ended: with the request,
/// the response, and null or the exception that tells why it failed. A second call throws
/// std::future_error with std::future_errc::promise_already_satisfied. What goes wrong inside, a
/// strategy that throws for instance, stays in the task's own state, which nobody reads.
using RetryTask = std::packaged_task<void(HttpRequest, HttpResponse, std::exception_ptr)>;

/// Where the result of an asynchronous request goes. It moves but does not copy, and is called
/// once.
class HTTPCLIENT_CORE_EXPORT CompletionHandler {
public:
    /// Takes any callable of void(HttpRequest, HttpResponse, std::exception_ptr), move-only ones
    /// too.
    template <typename Callable, typename = std::enable_if_t<
                                     !std::is_same_v<std::decay_t<Callable>, CompletionHandler> &&
                                     std::is_invocable_v<std::decay_t<Callable>&, HttpRequest,
                                                         HttpResponse, std::exception_ptr>>>
    CompletionHandler(Callable&& callable)
        : task_(
              std::make_unique<TaskOf<std::decay_t<Callable>>>(std::forward<Callable>(callable))) {}

    CompletionHandler(CompletionHandler&&) noexcept = default;
    CompletionHandler& operator=(CompletionHandler&&) noexcept = default;
    ~CompletionHandler();

    /// Runs the callable on the calling thread. What the callable throws goes no further. Of calls
    /// from several threads at once only one runs it.
    /// @throws std::future_error with std::future_errc::promise_already_satisfied at a second call,
    /// and with std::future_errc::no_state on a moved-from handler.
    void operator()(HttpRequest request, HttpResponse response, std::exception_ptr error);

private:
    // What a std::packaged_task would be if nobody could ask for its result: the system call by
    // which that one wakes those who might is a tenth of what it takes to cancel a waiting request.
    struct Task {
        virtual ~Task() = default;
        virtual void run(HttpRequest&& request, HttpResponse&& response,
                         std::exception_ptr&& error) = 0;
        std::atomic<bool> hasRun{false};
    };

    template <typename Callable>
    struct TaskOf final : Task {
        explicit TaskOf(Callable theCallable) : callable(std::move(theCallable)) {}
        void run(HttpRequest&& request, HttpResponse&& response,
                 std::exception_ptr&& error) override {
            std::invoke(callable, std::move(request), std::move(response), std::move(error));
        }
        Callable callable;
    };

    std::unique_ptr<Task> task_;
};

/// Client that makes requests, checks them, retries and resumes them; a derived class adds the
/// network by performRequest() and performAsyncRequest().
///
/// Requests may be made from many threads at once. A client neither copies nor moves, and must
/// outlive every asynchronous request that it started; a transport says what its destructor does to
/// those that are under way.
class HTTPCLIENT_CORE_EXPORT HttpClient {
public:
    HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    virtual ~HttpClient();

    /// Makes the request, on the calling thread, as often as the retry strategy asks for, and
    /// returns the last response, whatever its code. The configuration is the request's own, else a
    /// copy of the client's taken at the start. Before a further attempt the request's body is
    /// rewound and the response's body reset or, when resuming, kept. A Content-Type header is
    /// removed from a request with a multipart body, so that the transport gives its own.
    /// @throws std::logic_error "HttpRequest headers must not include Content-Length and a
    /// non-identity Transfer-Encoding." or "A HttpRequest with a body must have a Content-Length or
    /// a Transfer-Encoding header." before anything is sent; std::bad_function_call after the first
    /// attempt if the retry strategy is empty; what the strategy throws; what the request's
    /// callback and response stream factory throw while the response is made ready for a further
    /// attempt; and the exception of the last attempt, as the transport threw it.
    virtual HttpResponse makeRequest(HttpRequest request) const;

    /// Starts the request and returns without waiting. `handler` is called once, with the last
    /// response and its exception or null, on the thread on which the transport completes the last
    /// attempt; back-off sleeps happen there too. The handler is never called if the
    /// strategy is empty or throws, if the request's callback or response stream factory throws
    /// while the response is made ready for a further attempt, or if the transport refuses to start
    /// an attempt.
    /// @throws std::logic_error as makeRequest() does; what performAsyncRequest() throws. `handler`
    /// is not called then.
    virtual void makeAsyncRequest(HttpRequest request, CompletionHandler handler) const;

    /// The same with a future, which yields the last response or throws its exception. Where a
    /// handler would never be called, the future throws std::future_error with
    /// std::future_errc::broken_promise.
    virtual std::future<HttpResponse> makeAsyncRequest(HttpRequest request) const;

    /// Called whenever the client's configuration was set, under the lock that guards it: an
    /// override must not call getClientConfiguration() or setClientConfiguration(). What it throws
    /// passes through setClientConfiguration(); the new settings stay. Does nothing by default.
    virtual void configurationChanged(const ClientConfiguration& configuration);

    /// The synchronous transport: makes one attempt, filling the response's code, reason, headers,
    /// body and transaction report.
    /// @throws HttpRequestFailedException or one derived from it if there is no complete response.
    virtual void performRequest(HttpRequest& request, HttpResponse& response) const = 0;

    /// The asynchronous transport: starts one attempt and returns without waiting. When the attempt
    /// has ended, on any thread, `completion` is called exactly once. `requestId` is the same for
    /// all attempts of one request, and differs between the requests of one client.
    virtual void performAsyncRequest(HttpRequest request, HttpResponse response,
                                     std::uint64_t requestId, RetryTask completion) const = 0;

    /// Configuration of requests that carry none of their own. May be called from any thread;
    /// requests under way keep the one that they started with. Linear in what is copied.
    /// setClientConfiguration() @throws what configurationChanged() throws.
    ClientConfiguration getClientConfiguration() const;
    void setClientConfiguration(ClientConfiguration configuration);

    /// Builds the completion of the attempt that follows `totalAttempts` attempts, of which
    /// `consecutiveAttempts` came after the last 2xx response. Run by the transport, it asks the
    /// configuration's retry strategy, and then either starts the next attempt or calls `handler`,
    /// which must not be null.
    RetryTask retryCompletionHandler(std::shared_ptr<CompletionHandler> handler,
                                     std::uint64_t requestId, int totalAttempts,
                                     int consecutiveAttempts,
                                     ClientConfiguration configuration) const;

private:
    HTTPCLIENT_CORE_HIDDEN ClientConfiguration
    effectiveConfiguration(const HttpRequest& request) const;

    mutable std::mutex configMutex_;
    ClientConfiguration clientConfiguration_;
    mutable std::atomic<std::uint64_t> nextRequestId_{0};
};

}  // namespace tavrin::httpclient_core

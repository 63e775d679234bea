#include <utility>

#include "client/prepare_for_retry.h"
#include "httpclient_core/client.h"

namespace tavrin::httpclient_core {
namespace {

// Completes one attempt of an asynchronous request: starts the next one or delivers the result.
struct RetryDriver {
    const HttpClient* client;
    int totalAttempts;
    int consecutiveAttempts;
    std::shared_ptr<CompletionHandler> handler;
    std::uint64_t requestId;
    ClientConfiguration configuration;

    void operator()(HttpRequest&& request, HttpResponse&& response, std::exception_ptr&& error) {
        const auto strategy = configuration.retryStrategy();
        // Before the strategy is asked, unlike in the synchronous loop, and on purpose.
        if (isSuccess(response)) consecutiveAttempts = 0;

        if (!strategy(request, response, error, totalAttempts, consecutiveAttempts)) {
            (*handler)(std::move(request), std::move(response), std::move(error));
            return;
        }
        detail::prepareForRetry(request, response, configuration.resumeOnRetry());
        auto next = client->retryCompletionHandler(std::move(handler), requestId, totalAttempts,
                                                   consecutiveAttempts, std::move(configuration));
        client->performAsyncRequest(std::move(request), std::move(response), requestId,
                                    std::move(next));
    }
};

}  // namespace

RetryTask HttpClient::retryCompletionHandler(std::shared_ptr<CompletionHandler> handler,
                                             std::uint64_t requestId, int totalAttempts,
                                             int consecutiveAttempts,
                                             ClientConfiguration configuration) const {
    return RetryTask(RetryDriver{this, totalAttempts + 1, consecutiveAttempts + 1,
                                 std::move(handler), requestId, std::move(configuration)});
}

}  // namespace tavrin::httpclient_core

#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

#include "httpclient_core/client.h"
#include "httpclient_core/messages.h"
#include "logical_request.h"

namespace tavrin::httpclient_curl::detail {

class AsyncEngine;

// An asynchronous attempt on its way from the queue over an event loop to its completion.
struct AsyncJob {
    AsyncJob(httpclient_core::HttpRequest&& theRequest, httpclient_core::HttpResponse&& theResponse,
             std::uint64_t theId, httpclient_core::RetryTask&& theCompletion,
             std::shared_ptr<LogicalRequest> theLogical, std::shared_ptr<AsyncEngine> theEngine)
        : request(std::move(theRequest)),
          response(std::move(theResponse)),
          id(theId),
          completion(std::move(theCompletion)),
          logical(std::move(theLogical)),
          engine(std::move(theEngine)) {}

    httpclient_core::HttpRequest request;
    httpclient_core::HttpResponse response;
    std::uint64_t id;
    httpclient_core::RetryTask completion;
    std::shared_ptr<LogicalRequest> logical;
    std::exception_ptr error;
    // The engine lives until its last completion has run, whatever becomes of the client meanwhile.
    std::shared_ptr<AsyncEngine> engine;
    // Behind this one in a JobQueue.
    std::unique_ptr<AsyncJob> next;
};

using AsyncJobPtr = std::unique_ptr<AsyncJob>;

}  // namespace tavrin::httpclient_curl::detail

#include <cxxabi.h>

#include <future>
#include <utility>

#include "httpclient_core/client.h"

namespace tavrin::httpclient_core {

CompletionHandler::~CompletionHandler() = default;

void CompletionHandler::operator()(HttpRequest request, HttpResponse response,
                                   std::exception_ptr error) {
    if (task_ == nullptr) throw std::future_error(std::future_errc::no_state);
    if (task_->hasRun.exchange(true))
        throw std::future_error(std::future_errc::promise_already_satisfied);
    try {
        task_->run(std::move(request), std::move(response), std::move(error));
    } catch (const abi::__forced_unwind&) {
        throw;  // not an exception: the thread is being cancelled
    } catch (...) {
        // What the callable throws is its own affair.
    }
}

}  // namespace tavrin::httpclient_core

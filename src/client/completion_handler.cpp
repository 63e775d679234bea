#include <utility>

#include "httpclient_core/client.h"

namespace tavrin::httpclient_core {

CompletionHandler::~CompletionHandler() = default;

void CompletionHandler::operator()(HttpRequest request, HttpResponse response,
                                   std::exception_ptr error) {
    task_(std::move(request), std::move(response), std::move(error));
}

}  // namespace tavrin::httpclient_core

#include "logical_request.h"

#include <utility>

namespace tavrin::httpclient_curl::detail {

OnceHandler::OnceHandler(httpclient_core::CompletionHandler handler)
    : handler_(std::move(handler)) {}

void OnceHandler::operator()(httpclient_core::HttpRequest&& request,
                             httpclient_core::HttpResponse&& response, std::exception_ptr&& error) {
    if (!called_.exchange(true))
        handler_(std::move(request), std::move(response), std::move(error));
}

}  // namespace tavrin::httpclient_curl::detail

#include "record_request.h"

namespace tavrin::httpclient_testing::detail {

RecordedRequest recordWithoutBody(const httpclient_core::HttpRequest& request,
                                  std::optional<std::uint64_t> requestId) {
    RecordedRequest recorded{request.getHttpMethod(),
                             request.getURL().toAsciiString(),
                             request.getHeaders(),
                             std::nullopt,
                             std::nullopt,
                             requestId};
    if (request.hasMultipartBody()) recorded.multipartBody = request.getMultipartBody();
    return recorded;
}

}  // namespace tavrin::httpclient_testing::detail

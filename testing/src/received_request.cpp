#include "httpclient_testing/received_request.h"

#include <algorithm>

#include "header_line.h"

namespace tavrin::httpclient_testing {

std::optional<std::string> ReceivedRequest::header(const std::string& name) const {
    for (const auto& line : headerLines) {
        if (auto value = detail::valueIfNamed(line, name)) return value;
    }
    return std::nullopt;
}

std::size_t ReceivedRequest::countHeader(const std::string& name) const {
    return static_cast<std::size_t>(std::count_if(
        headerLines.begin(), headerLines.end(),
        [&](const auto& line) { return detail::valueIfNamed(line, name).has_value(); }));
}

}  // namespace tavrin::httpclient_testing

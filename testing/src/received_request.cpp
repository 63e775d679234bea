#include "httpclient_testing/received_request.h"

#include <algorithm>
#include <string_view>

#include "header_line.h"

namespace tavrin::httpclient_testing {

using httpclient_core::HttpHeaders;

std::string ReceivedRequest::url() const {
    const auto host = header("Host");
    if (target.empty() || target.front() != '/' || !host) return target;
    return (overTls ? "https://" : "http://") + *host + target;
}

HttpHeaders ReceivedRequest::headers() const {
    HttpHeaders fields;
    for (const std::string& line : headerLines) {
        const auto colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::string_view value = std::string_view(line).substr(colon + 1);
        fields.addHeaderValue(line.substr(0, colon), std::string(detail::withoutBlanks(value)));
    }
    return fields;
}

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

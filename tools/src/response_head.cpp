#include "response_head.h"

namespace tavrin::http_tool {

std::string responseHead(httpclient_core::HttpResponseCode code, const std::string& reason,
                         const httpclient_core::HttpHeaders& headers) {
    std::string head = "HTTP " + httpclient_core::to_string(code);
    if (!reason.empty()) head += " " + reason;
    head += "\r\n";
    for (const auto& [name, value] : headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head + "\r\n";
}

}  // namespace tavrin::http_tool

#include "response_head.h"

namespace tavrin::http_tool {
namespace {

// "200 OK"; what HTTP/2 answers has no reason.
std::string statusText(httpclient_core::HttpResponseCode code, const std::string& reason) {
    return httpclient_core::to_string(code) + (reason.empty() ? "" : " " + reason);
}

}  // namespace

std::string responseHead(httpclient_core::HttpResponseCode code, const std::string& reason,
                         const httpclient_core::HttpHeaders& headers) {
    std::string head = "HTTP " + statusText(code, reason) + "\r\n";
    for (const auto& [name, value] : headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    return head + "\r\n";
}

std::string answerText(const httpclient_core::HttpResponse& response) {
    return "the server answered " +
           statusText(response.getResponseCode(), response.getResponseCodeReason());
}

}  // namespace tavrin::http_tool

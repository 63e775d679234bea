#include "httpclient_testing/wire_text.h"

#include <iterator>
#include <sstream>

#include "credentials.h"
#include "printable.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::printable;
using detail::printableBeginning;
using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::MultipartBody;

std::string multipartText(const MultipartBody& body) {
    std::string text = "(multipart:";
    for (const auto& part : body.getContent()) {
        const auto* data = std::get_if<DataPart>(&part);
        const auto header = data ? data->getHeader() : std::get<FilePart>(part).getHeader();
        text +=
            std::string(data ? " data" : " file") + " \"" + printable(header.getPartName()) + "\"";
    }
    return text + ")";
}

std::string requestText(HttpMethod method, const std::string& url, const HttpHeaders& headers,
                        const std::string& body) {
    std::ostringstream text;
    text << method << ' ' << printable(urlWithoutCredentials(url)) << " HTTP/1.1\n"
         << wireText(headers) << '\n'
         << body;
    return text.str();
}

// Reads the buffer, not the stream, so that a stream at its end is put back as it was.
std::string peek(std::istream& stream) {
    std::streambuf* buffer = stream.rdbuf();
    if (buffer == nullptr) return {};
    const auto position = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    std::string text{std::istreambuf_iterator<char>(buffer), std::istreambuf_iterator<char>()};
    buffer->pubseekpos(position, std::ios::in);
    return text;
}

}  // namespace

std::string wireText(const RecordedRequest& request) {
    std::string body = printableBeginning(request.body.value_or(""));
    if (request.multipartBody) body += multipartText(*request.multipartBody);
    return requestText(request.method, request.url, request.headers, body);
}

std::string wireText(const HttpRequest& request) {
    std::string body = printableBeginning(peekBody(request));
    if (request.hasMultipartBody()) body += multipartText(request.getMultipartBody());
    return requestText(request.getHttpMethod(), request.getURL().toAsciiString(),
                       request.getHeaders(), body);
}

std::string wireText(const HttpResponse& response) {
    return "HTTP/1.1 " + to_string(response.getResponseCode()) + " " +
           printable(response.getResponseCodeReason()) + "\n" + wireText(response.getHeaders()) +
           "\n" + printableBeginning(peekBody(response));
}

std::string wireText(const HttpHeaders& headers) {
    std::string text;
    for (const auto& [name, value] : headers) {
        text +=
            printable(name) + ": " + printable(fieldValueWithoutCredentials(name, value)) + "\n";
    }
    return text;
}

std::string peekBody(const HttpRequest& request) {
    return request.hasRequestBody() ? peek(request.getRequestBody()) : std::string();
}

std::string peekBody(const HttpResponse& response) { return peek(response.getResponseBody()); }

}  // namespace tavrin::httpclient_testing

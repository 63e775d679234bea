#include "httpclient_testing/wire_text.h"

#include <iterator>
#include <sstream>

#include "credentials.h"

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::MultipartBody;

constexpr std::size_t LONGEST_BODY_SHOWN = 1024;

bool isPrintable(unsigned char byte) {
    return (byte >= 0x20 && byte < 0x7f) || byte == '\n' || byte == '\t';
}

std::string printable(const std::string& text) {
    static const char DIGITS[] = "0123456789abcdef";
    std::string shown;
    for (const unsigned char byte : text) {
        if (isPrintable(byte)) {
            shown += static_cast<char>(byte);
        } else {
            shown += {'\\', 'x', DIGITS[byte >> 4], DIGITS[byte & 0xf]};
        }
    }
    return shown;
}

std::string bodyText(const std::string& body) {
    if (body.size() <= LONGEST_BODY_SHOWN) return printable(body);
    return printable(body.substr(0, LONGEST_BODY_SHOWN)) + "... (" + std::to_string(body.size()) +
           " bytes)";
}

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
    text << method << ' ' << printable(withoutUserInfo(url)) << " HTTP/1.1\n"
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
    std::string body = bodyText(request.body.value_or(""));
    if (request.multipartBody) body += multipartText(*request.multipartBody);
    return requestText(request.method, request.url, request.headers, body);
}

std::string wireText(const HttpRequest& request) {
    std::string body = bodyText(peekBody(request));
    if (request.hasMultipartBody()) body += multipartText(request.getMultipartBody());
    return requestText(request.getHttpMethod(), request.getURL().toAsciiString(),
                       request.getHeaders(), body);
}

std::string wireText(const HttpResponse& response) {
    return "HTTP/1.1 " + to_string(response.getResponseCode()) + " " +
           printable(response.getResponseCodeReason()) + "\n" + wireText(response.getHeaders()) +
           "\n" + bodyText(peekBody(response));
}

std::string wireText(const HttpHeaders& headers) {
    std::string text;
    for (const auto& [name, value] : headers) {
        text += printable(name) + ": " + (isCredential(name) ? BLANKED : printable(value)) + "\n";
    }
    return text;
}

std::string peekBody(const HttpRequest& request) {
    return request.hasRequestBody() ? peek(request.getRequestBody()) : std::string();
}

std::string peekBody(const HttpResponse& response) { return peek(response.getResponseBody()); }

}  // namespace tavrin::httpclient_testing

#include "httpclient_testing/wire_text.h"

#include <iterator>
#include <sstream>

#include "message_secrets.h"
#include "printable.h"
#include "record_request.h"

namespace tavrin::httpclient_testing {
namespace {

using detail::printable;
using detail::printableBeginning;
using httpclient_core::DataPart;
using httpclient_core::FilePart;
using httpclient_core::HttpHeaders;
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

// What the body shows is cut off at last: half a credential would not be known for one.
std::string bodyText(const std::string& body, const HttpHeaders& headers,
                     const Credentials& credentials) {
    return printableBeginning(credentials.blankedBody(body, detail::contentType(headers)));
}

std::string blankedLine(const std::string& line, const Credentials& credentials) {
    const auto value = line.find_first_not_of(" \t", line.find(':') + 1);
    if (line.find(':') == std::string::npos || value == std::string::npos) {
        return credentials.blankedText(line);
    }
    return line.substr(0, value) +
           credentials.blankedHeaderValue(line.substr(0, line.find(':')), line.substr(value));
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

std::string wireText(const RecordedRequest& request, const Credentials& credentials) {
    std::ostringstream text;
    text << request.method << ' ' << printable(credentials.blankedUrl(request.url)) << " HTTP/1.1\n"
         << wireText(request.headers, credentials) << '\n'
         << bodyText(request.body.value_or(""), request.headers, credentials);
    if (request.multipartBody) text << multipartText(*request.multipartBody);
    return text.str();
}

std::string wireText(const HttpRequest& request, const Credentials& credentials) {
    RecordedRequest recorded = detail::recordWithoutBody(request, std::nullopt);
    recorded.body = peekBody(request);
    return wireText(recorded, credentials);
}

std::string wireText(const HttpResponse& response, const Credentials& credentials) {
    const HttpHeaders headers = response.getHeaders();
    return "HTTP/1.1 " + to_string(response.getResponseCode()) + " " +
           printable(credentials.blankedText(response.getResponseCodeReason())) + "\n" +
           wireText(headers, credentials) + "\n" +
           bodyText(peekBody(response), headers, credentials);
}

std::string wireText(const ReceivedRequest& request, const Credentials& credentials) {
    std::string text =
        printable(request.method + ' ' + credentials.blankedUrl(request.target)) + " HTTP/1.1\n";
    for (const std::string& line : request.headerLines) {
        text += printable(blankedLine(line, credentials)) + '\n';
    }
    text += '\n' + bodyText(request.body, request.headers(), credentials);
    if (request.bodySize > request.body.size()) {
        text += "... of " + std::to_string(request.bodySize) + " bytes";
    }
    return text;
}

std::string wireText(const HttpHeaders& headers, const Credentials& credentials) {
    std::string text;
    for (const auto& [name, value] : credentials.blanked(headers)) {
        text += printable(name) + ": " + printable(value) + "\n";
    }
    return text;
}

std::string peekBody(const HttpRequest& request) {
    return request.hasRequestBody() ? peek(request.getRequestBody()) : std::string();
}

std::string peekBody(const HttpResponse& response) { return peek(response.getResponseBody()); }

}  // namespace tavrin::httpclient_testing

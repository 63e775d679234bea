#include <gtest/gtest.h>

#include <array>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "exhaustion/allocation_sweep.h"
#include "exhaustion/show_configuration.h"
#include "httpclient_core/configuration.h"
#include "httpclient_core/messages.h"
#include "support/entry_lines.h"

namespace tavrin::httpclient_core {
namespace {

using test::entryLines;
using test::expectNoCutText;
using test::expectUnchangedWhileMemoryLacks;
using test::longText;
using test::Operation;
using test::refused;
using test::showConfiguration;

// Found by old names and more than once, which makes taking a header back the hardest.
HttpHeaders wornHeaders() {
    HttpHeaders headers = {{longText("Old"), ""}, {longText("Name"), ""}};
    const HttpHeaders others = {{longText("Name"), longText("value")},
                                {"Range", longText("bytes")}};
    headers = others;
    return headers;
}

std::string showHeaders(const HttpMessage& message) {
    return entryLines(message.getHeaders()) + std::to_string(message.hasHeader(longText("Old")));
}

// All the bytes of a body in memory, without reading them.
template <typename Stream>
std::string bytes(Stream& stream) {
    return dynamic_cast<std::stringstream&>(stream).str();
}

std::vector<Operation<HttpMessage>> messageOperations() {
    const std::string text = longText("new");
    const std::string name = longText("Name");
    return {
        {"setHeaders",
         [=](HttpMessage& message) {
             message.setHeaders({{text, text}});
         }},
        {"setHeaderValue", [=](HttpMessage& message) { message.setHeaderValue(name, text); }},
        {"setHeaderValue of an absent name",
         [=](HttpMessage& message) { message.setHeaderValue(text, text); }},
        {"addHeaderValue", [=](HttpMessage& message) { message.addHeaderValue(name, text); }},
        {"addHeader", [=](HttpMessage& message) { message.addHeader(text + ": " + text); }},
        {"addHeader without a colon",
         refused<std::runtime_error>([=](HttpMessage& message) { message.addHeader(text); })},
        {"removeHeader", [](HttpMessage& message) { message.removeHeader(longText("Name")); }},
        {"getHeaders", [](HttpMessage& message) { return entryLines(message.getHeaders()); }},
        {"getHeaderValue", [=](HttpMessage& message) { return message.getHeaderValue(name); }},
        {"getHeaderValue of an absent name",
         refused<std::out_of_range>([=](HttpMessage& message) { message.getHeaderValue(text); })},
        {"setContentType", [=](HttpMessage& message) { message.setContentType(text); }},
        {"setContentType of a value",
         [=](HttpMessage& message) {
             message.setContentType(ContentType(text, {{text, text}}));
         }},
        {"getContentType",
         [](HttpMessage& message) { return message.getContentType().toString(); }},
        {"setContentLength", [=](HttpMessage& message) { message.setContentLength(text); }},
        {"setContentLength of an array",
         [=](HttpMessage& message) { message.setContentLength(text.c_str()); }},
        {"getContentLength",
         refused<std::runtime_error>([=](HttpMessage& message) { message.getContentLength(); })},
        {"setAccept", [=](HttpMessage& message) { message.setAccept(text); }},
        {"setAccept of a value",
         [=](HttpMessage& message) { message.setAccept(Accept({ContentType(text, {})})); }},
        {"getAccept", [](HttpMessage& message) { return message.getAccept().toString(); }},
        {"setTransferEncoding", [=](HttpMessage& message) { message.setTransferEncoding(text); }},
        {"getTransferEncoding",
         [=](HttpMessage& message) { return message.getTransferEncoding(); }},
        {"setCookie",
         [=](HttpMessage& message) {
             message.setCookie({{text, text}, {"a", "b"}});
         }},
        {"construct",
         [=](HttpMessage&) {
             return entryLines(HttpMessage(HttpHeaders{{text, text}}).getHeaders());
         }},
        {"copy",
         [](HttpMessage& message) { return entryLines(HttpMessage(message).getHeaders()); }},
        {"assign",
         [=](HttpMessage& message) {
             const HttpMessage other({{text, text}});
             message = other;
         }},
        {"getCookie", [](HttpMessage& message) { return message.getCookie().toString(";", "="); }},
    };
}

std::string showRequest(HttpRequest& request) {
    std::string text = request.getURL().toAsciiString() + "\n" + showHeaders(request);
    if (request.hasSimpleBody()) text += "body: " + bytes(request.getRequestBody());
    if (request.hasMultipartBody()) {
        text += "first part: " + request.getMultipartBody().getDataPart("part").getData();
    }
    if (request.hasClientConfiguration())
        text += showConfiguration(request.getClientConfiguration());
    if (request.hasProgressCallback()) text += "progress";
    return text;
}

HttpRequest bareRequest() {
    return HttpRequest(HttpMethod::POST, URL(longText("http://host/")), wornHeaders());
}

HttpRequest furnishedRequest() {
    HttpRequest request = bareRequest();
    request.setQueryParameters({{longText("key"), longText("value")}});
    request.setRequestBody(longText("old body"));
    request.setMultipartBody(
        MultipartBody().withPart(DataPart(PartHeader("part"), longText("data"))));
    request.setClientConfiguration(ClientConfiguration().withProxy(longText("proxy")));
    request.setProgressCallback(
        [text = longText("kept")](const Progress&) { return ProgressResult::CONTINUE; });
    return request;
}

std::vector<Operation<HttpRequest>> requestOperations() {
    const std::string text = longText("new");
    using Request = HttpRequest;
    // Too large to be kept inside a std::function.
    const auto progress = [text](const Progress&) { return ProgressResult::CONTINUE; };
    const auto factory = [text](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<std::stringstream>();
    };
    const auto callback = [text] {};
    return {
        {"construct",
         [=](Request&) {
             return entryLines(Request(HttpMethod::GET, URL(text), {{text, text}}).getHeaders());
         }},
        {"getURL", [](Request& request) { return request.getURL().toAsciiString(); }},
        {"setQueryParameters",
         [=](Request& request) {
             request.setQueryParameters({{text, text}});
         }},
        {"getQueryParameters",
         [=](Request& request) {
             return request.getQueryParameters().toString() + longText("result");
         }},
        {"withHeaders",
         [=](Request& request) {
             request.withHeaders({{text, text}});
         }},
        {"setRequestBody", [=](Request& request) { request.setRequestBody(text); }},
        {"setRequestBody of a stream",
         [=](Request& request) {
             request.setRequestBody(std::make_unique<std::stringstream>(text));
         }},
        {"setMultipartBody",
         [=](Request& request) {
             request.setMultipartBody(MultipartBody().withPart(DataPart(PartHeader("part"), text)));
         }},
        {"setMultipartBody without parts", refused<std::logic_error>([](Request& request) {
             request.setMultipartBody(MultipartBody());
         })},
        {"setProgressCallback", [=](Request& request) { request.setProgressCallback(progress); }},
        {"withProgressCallback", [=](Request& request) { request.withProgressCallback(progress); }},
        {"setResponseStreamFactory",
         [=](Request& request) { request.setResponseStreamFactory(factory); }},
        {"withResponseStreamFactory",
         [=](Request& request) { request.withResponseStreamFactory(factory); }},
        {"getResponseStreamFactory",
         [=](Request& request) {
             request.setResponseStreamFactory(factory);
             request.getResponseStreamFactory();
         }},
        {"setPreRespCodeAndHeadersCallback",
         [=](Request& request) { request.setPreRespCodeAndHeadersCallback(callback); }},
        {"withPreRespCodeAndHeadersCallback",
         [=](Request& request) { request.withPreRespCodeAndHeadersCallback(callback); }},
        {"getPreRespCodeAndHeadersCallback",
         [=](Request& request) {
             request.setPreRespCodeAndHeadersCallback(callback);
             request.getPreRespCodeAndHeadersCallback();
         }},
        {"setClientConfiguration",
         [=](Request& request) {
             request.setClientConfiguration(ClientConfiguration().withProxy(text));
         }},
        {"withClientConfiguration",
         [=](Request& request) {
             request.withClientConfiguration(ClientConfiguration().withProxy(text));
         }},
    };
}

HttpMessage furnishedMessage() {
    HttpMessage message(wornHeaders());
    message.setContentType(longText("type") + ";a=b");
    message.setContentLength(longText("none"));
    message.setAccept(longText("type"));
    message.setTransferEncoding(longText("encoding"));
    message.setCookie({{longText("name"), "value"}});
    return message;
}

TEST(HttpMessageExhaustion, LeavesTheMessageUnchanged) {
    expectUnchangedWhileMemoryLacks(furnishedMessage, showHeaders, messageOperations());
}

TEST(HttpRequestExhaustion, LeavesTheRequestUnchanged) {
    expectUnchangedWhileMemoryLacks(bareRequest, showRequest, requestOperations());
    expectUnchangedWhileMemoryLacks(furnishedRequest, showRequest, requestOperations());
}

TEST(HttpRequestExhaustion, FailsToGetWhatIsAbsentAsItDoesWithMemory) {
    using Request = HttpRequest;
    expectUnchangedWhileMemoryLacks(
        bareRequest, showRequest,
        {{"getRequestBody",
          refused<std::logic_error>([](Request& request) { request.getRequestBody(); })},
         {"getMultipartBody",
          refused<std::logic_error>([](Request& request) { request.getMultipartBody(); })},
         {"getProgressCallback",
          refused<std::logic_error>([](Request& request) { request.getProgressCallback(); })},
         {"getClientConfiguration",
          refused<std::logic_error>([](Request& request) { request.getClientConfiguration(); })}});
}

TEST(HttpRequestExhaustion, GetsWhatIsThereWholeOrNotAtAll) {
    using Request = HttpRequest;
    expectUnchangedWhileMemoryLacks(
        furnishedRequest, showRequest,
        {{"getMultipartBody",
          [](Request& request) {
              return request.getMultipartBody().getDataPart("part").getData();
          }},
         {"getRequestBodyString",
          [](Request& request) {
              request.getRequestBody().clear();
              request.getRequestBody().seekg(0);
              return request.getRequestBodyString();
          }},
         {"getProgressCallback", [](Request& request) { request.getProgressCallback(); }},
         {"getClientConfiguration",
          [](Request& request) { return request.getClientConfiguration().proxy(); }}});
}

// A stream whose bytes stand in itself, so that taking them takes no memory.
class SelfContainedStream : private std::streambuf, public std::iostream {
public:
    SelfContainedStream() : std::iostream(this) { setp(bytes_.data(), bytes_.data() + SIZE); }

private:
    static constexpr std::size_t SIZE = 256;

    std::streambuf::int_type underflow() override {
        setg(bytes_.data(), gptr() ? gptr() : bytes_.data(), pptr());
        return gptr() == egptr() ? std::streambuf::traits_type::eof()
                                 : std::streambuf::traits_type::to_int_type(*gptr());
    }

    std::array<char, SIZE> bytes_;
};

HttpResponse bareResponse() {
    HttpRequest request(HttpMethod::GET, URL("http://host/"), {});
    request.setResponseStreamFactory([](HttpResponseCode, const std::string&, const HttpHeaders&) {
        return std::make_unique<SelfContainedStream>();
    });
    request.setPreRespCodeAndHeadersCallback([text = longText("kept")] {});
    HttpResponse response(request);
    response.setHeaders(wornHeaders());
    response.setResponseCodeAndReason(HttpResponseCode::OK, longText("reason"));
    response.setTransactionReport(TransactionReport(1, URL(longText("http://other/"))));
    return response;
}

std::string showResponse(const HttpResponse& response) {
    return to_string(response.getResponseCode()) + response.getResponseCodeReason() +
           response.getTransactionReport().effectiveURL().toAsciiString() + showHeaders(response);
}

TEST(HttpResponseExhaustion, LeavesTheResponseUnchanged) {
    const std::string text = longText("new");
    using Response = HttpResponse;
    const std::vector<Operation<Response>> operations = {
        {"construct", [](Response&) { return showResponse(HttpResponse()); }},
        {"construct for a request",
         [](Response&) { return showResponse(HttpResponse(furnishedRequest())); }},
        {"setHeaders",
         [=](Response& response) {
             response.setHeaders({{text, text}});
         }},
        {"setHeaderValue", [=](Response& response) { response.setHeaderValue(text, text); }},
        {"addHeaderValue", [=](Response& response) { response.addHeaderValue(text, text); }},
        {"addHeader", [=](Response& response) { response.addHeader(text + ":" + text); }},
        {"removeHeader", [](Response& response) { response.removeHeader(longText("Name")); }},
        {"setResponseCodeAndReason",
         [=](Response& response) {
             response.setResponseCodeAndReason(HttpResponseCode::NOT_FOUND, text);
         }},
        {"getResponseCodeReason",
         [](Response& response) { return response.getResponseCodeReason(); }},
        {"setTransactionReport",
         [=](Response& response) {
             response.setTransactionReport(TransactionReport(2, URL(text)));
         }},
        {"getTransactionReport",
         [](Response& response) {
             return response.getTransactionReport().effectiveURL().toAsciiString();
         }},
        {"setResponseBody", [=](Response& response) { response.setResponseBody(text); }},
        {"getResponseBody", [](Response& response) { response.getResponseBody().flush(); }},
    };
    expectUnchangedWhileMemoryLacks(bareResponse, showResponse, operations);
}

// The body as it was sent, or nothing of it.
TEST(HttpResponseExhaustion, ReadsTheWholeBodyOrNone) {
    struct Answered {
        Answered() { response.setResponseBody(longText(std::string(5000, 'x'))); }
        HttpResponse response;
    };
    expectUnchangedWhileMemoryLacks([] { return Answered(); },
                                    [](const Answered&) { return std::string(); },
                                    {{"getResponseBodyString", [](Answered& answered) {
                                          answered.response.getResponseBody().seekg(0);
                                          return answered.response.getResponseBodyString();
                                      }}});
}

TEST(HttpResponseExhaustion, FailsWithoutAStreamAsItDoesWithMemory) {
    const auto streamless = [] {
        HttpRequest request(HttpMethod::GET, URL("http://host/"), {});
        request.setResponseStreamFactory(
            [](HttpResponseCode, const std::string&, const HttpHeaders&) { return nullptr; });
        return HttpResponse(request);
    };
    using Response = HttpResponse;
    expectUnchangedWhileMemoryLacks(
        streamless, showResponse,
        {{"getResponseBody",
          refused<std::logic_error>([](Response& response) { response.getResponseBody(); })},
         {"getResponseBodyString",
          refused<std::logic_error>([](Response& response) { response.getResponseBodyString(); })},
         {"setResponseBody", refused<std::logic_error>(
                                 [](Response& response) { response.setResponseBody("text"); })}});
}

TEST(HttpResponseExhaustion, KeepsTheBodyThatItCannotReset) {
    expectUnchangedWhileMemoryLacks(
        [] {
            HttpResponse response;
            response.setResponseBody(longText("old"));
            return response;
        },
        [](const HttpResponse& response) { return bytes(response.getResponseBody()); },
        {{"resetResponseBody", [](HttpResponse& response) { response.resetResponseBody(); }}});
}

TEST(MessagesExhaustion, NameCodesAndMethodsWholeOrNotAtAll) {
    struct Nothing {};
    expectUnchangedWhileMemoryLacks(
        [] { return Nothing(); }, [](const Nothing&) { return std::string(); },
        {{"URL",
          [](Nothing&) {
              const URL url(longText("http://host/"));
              const URL copy = url;
              return copy.toAsciiString();
          }},
         {"createHttpMethod",
          refused<std::out_of_range>([](Nothing&) { createHttpMethod(longText("METHOD")); })},
         {"defaultResponseStreamFactory", [](Nothing&) {
              const auto factory = defaultResponseStreamFactory();
              return bytes(*factory(HttpResponseCode::OK, longText("reason"), {}));
          }}});
}

TEST(MessagesExhaustion, NeverPrintACutText) {
    constexpr int MORE_THAN_A_STREAM_HOLDS_AT_FIRST = 100;
    const auto expectNoCut = [](const std::string& text, const auto& value) {
        std::string whole;
        for (int i = 0; i < MORE_THAN_A_STREAM_HOLDS_AT_FIRST; ++i) whole += text;
        expectNoCutText(whole, [&](std::ostream& os) {
            for (int i = 0; i < MORE_THAN_A_STREAM_HOLDS_AT_FIRST; ++i) os << value;
        });
    };
    expectNoCut("DELETE", HttpMethod::DELETE);
    expectNoCut("404", HttpResponseCode::NOT_FOUND);
    expectNoCut(longText("http://host/"), URL(longText("http://host/")));
}

TEST(TransactionReportExhaustion, IsAssignedWholeOrNotAtAll) {
    const TransactionReport other(2, URL(longText("http://other/")));
    expectUnchangedWhileMemoryLacks(
        [] { return TransactionReport(1, URL("http://host/")); },
        [](const TransactionReport& report) {
            return std::to_string(report.redirectCount()) + report.effectiveURL().toAsciiString();
        },
        {{"assign", [&](TransactionReport& report) { report = other; }},
         {"copy", [&](TransactionReport&) {
              return TransactionReport(other).effectiveURL().toAsciiString();
          }}});
}

}  // namespace
}  // namespace tavrin::httpclient_core

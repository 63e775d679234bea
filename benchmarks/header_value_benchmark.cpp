#include <benchmark/benchmark.h>
#ifdef WITH_POCO
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/MediaType.h>
#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/NameValueCollection.h>
#endif

#include <boost/beast/http/rfc7230.hpp>
#include <string>
#include <utility>
#include <vector>

#include "httpclient_core/cookie.h"
#include "httpclient_core/media_types.h"
#include "measure.h"

namespace {

namespace http = boost::beast::http;
using tavrin::httpclient_core::Accept;
using tavrin::httpclient_core::ContentType;
using tavrin::httpclient_core::Cookie;

using Pairs = std::vector<std::pair<std::string, std::string>>;

const std::string MEDIA_TYPE = "multipart/form-data; boundary=d74496d66958873e; charset=utf-8";
// What browsers send.
const std::string ACCEPT = "text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8";
const std::string COOKIES = "session=38afes7a8cd1e42f9b; theme=dark; lang=en; visits=12";

void parseMediaTypeOurs(benchmark::State& state) {
    measure(state, [] { return ContentType::parse(MEDIA_TYPE); });
}
BENCHMARK(parseMediaTypeOurs)->Name("ParseMediaType/Ours");

void printMediaTypeOurs(benchmark::State& state) {
    const auto type = ContentType::parse(MEDIA_TYPE);
    measure(state, [&] { return type.toString(); });
}
BENCHMARK(printMediaTypeOurs)->Name("PrintMediaType/Ours");

void parseAcceptOurs(benchmark::State& state) {
    measure(state, [] { return Accept::parse(ACCEPT); });
}
BENCHMARK(parseAcceptOurs)->Name("ParseAccept/Ours");

void printAcceptOurs(benchmark::State& state) {
    const auto accept = Accept::parse(ACCEPT);
    measure(state, [&] { return accept.toString(); });
}
BENCHMARK(printAcceptOurs)->Name("PrintAccept/Ours");

void parseCookieOurs(benchmark::State& state) {
    measure(state, [] { return Cookie::parse(COOKIES); });
}
BENCHMARK(parseCookieOurs)->Name("ParseCookie/Ours");

void printCookieOurs(benchmark::State& state) {
    const auto cookies = Cookie::parse(COOKIES);
    measure(state, [&] { return Cookie::toString(cookies); });
}
BENCHMARK(printCookieOurs)->Name("PrintCookie/Ours");

std::string textOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

// Beast shows views into the text; kept, they are texts of their own. It looks for the type's end
// itself, as its user has to.
void parseMediaTypeBeast(benchmark::State& state) {
    measure(state, [] {
        const auto end = MEDIA_TYPE.find(';');
        std::pair<std::string, Pairs> type(MEDIA_TYPE.substr(0, end), {});
        const boost::beast::string_view rest(MEDIA_TYPE.data() + end, MEDIA_TYPE.size() - end);
        for (const auto& parameter : http::param_list(rest)) {
            type.second.emplace_back(textOf(parameter.first), textOf(parameter.second));
        }
        return type;
    });
}
BENCHMARK(parseMediaTypeBeast)->Name("ParseMediaType/Beast");

#ifdef WITH_POCO
using Poco::Net::HTTPRequest;
using Poco::Net::MediaType;
using Poco::Net::MessageHeader;

void parseMediaTypePoco(benchmark::State& state) {
    measure(state, [] { return MediaType(MEDIA_TYPE); });
}
BENCHMARK(parseMediaTypePoco)->Name("ParseMediaType/Poco");

void printMediaTypePoco(benchmark::State& state) {
    const MediaType type(MEDIA_TYPE);
    measure(state, [&] { return type.toString(); });
}
BENCHMARK(printMediaTypePoco)->Name("PrintMediaType/Poco");

void parseAcceptPoco(benchmark::State& state) {
    measure(state, [] {
        std::vector<std::string> elements;
        MessageHeader::splitElements(ACCEPT, elements);
        return std::vector<MediaType>(elements.begin(), elements.end());
    });
}
BENCHMARK(parseAcceptPoco)->Name("ParseAccept/Poco");

void parseCookiePoco(benchmark::State& state) {
    HTTPRequest request;
    request.set(HTTPRequest::COOKIE, COOKIES);
    measure(state, [&] {
        Poco::Net::NameValueCollection cookies;
        request.getCookies(cookies);
        return cookies;
    });
}
BENCHMARK(parseCookiePoco)->Name("ParseCookie/Poco");

void printCookiePoco(benchmark::State& state) {
    HTTPRequest request;
    request.set(HTTPRequest::COOKIE, COOKIES);
    Poco::Net::NameValueCollection cookies;
    request.getCookies(cookies);
    measure(state, [&] {
        HTTPRequest written;
        written.setCookies(cookies);
        return written;
    });
}
BENCHMARK(printCookiePoco)->Name("PrintCookie/Poco");
#endif

}  // namespace

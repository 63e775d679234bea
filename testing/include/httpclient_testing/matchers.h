#pragma once

/// GoogleMock matchers and printers for messages. Header only: the library itself needs no
/// GoogleMock, a test that includes this file links its own.

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "httpclient_core/cookie.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_testing/recorded_request.h"
#include "httpclient_testing/wire_text.h"

/// GoogleTest finds its printers beside the type. They write wireText(), without credentials.
namespace tavrin::httpclient_core {

inline void PrintTo(const HttpHeaders& headers, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(headers);
}
inline void PrintTo(const HttpRequest& request, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(request);
}
inline void PrintTo(const HttpResponse& response, std::ostream* os) {
    *os << '\n' << httpclient_testing::wireText(response);
}

}  // namespace tavrin::httpclient_core

namespace tavrin::httpclient_testing {

inline void PrintTo(const RecordedRequest& request, std::ostream* os) {
    *os << '\n' << wireText(request);
}

namespace detail {

// One way to ask for everything that a matcher looks at, whatever the message is.
inline const httpclient_core::HttpHeaders& headersOf(const httpclient_core::HttpHeaders& headers) {
    return headers;
}
inline httpclient_core::HttpHeaders headersOf(const httpclient_core::HttpMessage& message) {
    return message.getHeaders();
}
inline const httpclient_core::HttpHeaders& headersOf(const RecordedRequest& request) {
    return request.headers;
}

inline httpclient_core::HttpMethod methodOf(const httpclient_core::HttpRequest& request) {
    return request.getHttpMethod();
}
inline httpclient_core::HttpMethod methodOf(const RecordedRequest& request) {
    return request.method;
}

inline std::string urlOf(const httpclient_core::HttpRequest& request) {
    return request.getURL().toAsciiString();
}
inline std::string urlOf(const RecordedRequest& request) { return request.url; }

inline std::string bodyOf(const httpclient_core::HttpRequest& request) { return peekBody(request); }
inline std::string bodyOf(const httpclient_core::HttpResponse& response) {
    return peekBody(response);
}
inline std::string bodyOf(const RecordedRequest& request) { return request.body.value_or(""); }

inline std::vector<std::string> valuesOf(const httpclient_core::HttpHeaders& headers,
                                         const std::string& name) {
    httpclient_core::NameValueCollection fields;
    for (const auto& field : headers) fields.add(field);
    return fields.getAll(name);
}

inline std::vector<std::string> cookiesOf(const httpclient_core::HttpHeaders& headers,
                                          const std::string& name) {
    std::vector<std::string> cookies;
    for (const std::string& field : valuesOf(headers, httpclient_core::HttpHeaders::COOKIE)) {
        for (const auto& [cookie, value] : httpclient_core::Cookie::parse(field)) {
            if (cookie == name) cookies.push_back(value);
        }
    }
    return cookies;
}

}  // namespace detail

/// A message or header set with a field of that name, in any letter case, whose value `value`
/// matches; one of several is enough.
MATCHER_P2(HasHeader, name, value,
           std::string(negation ? "has no header " : "has a header ") + name + " whose value " +
               testing::DescribeMatcher<std::string>(value)) {
    const testing::Matcher<std::string> matcher = testing::SafeMatcherCast<std::string>(value);
    for (const std::string& candidate : detail::valuesOf(detail::headersOf(arg), name)) {
        if (matcher.Matches(candidate)) return true;
    }
    return false;
}

/// The same, whatever the value.
inline auto HasHeader(const std::string& name) { return HasHeader(name, testing::_); }

/// A request whose Cookie header holds a cookie of exactly that name whose value `value` matches;
/// one of several is enough.
MATCHER_P2(HasCookie, name, value,
           std::string(negation ? "has no cookie " : "has a cookie ") + name + " whose value " +
               testing::DescribeMatcher<std::string>(value)) {
    const testing::Matcher<std::string> matcher = testing::SafeMatcherCast<std::string>(value);
    for (const std::string& candidate : detail::cookiesOf(detail::headersOf(arg), name)) {
        if (matcher.Matches(candidate)) return true;
    }
    return false;
}

/// The same, whatever the value.
inline auto HasCookie(const std::string& name) { return HasCookie(name, testing::_); }

/// A request of that method.
MATCHER_P(HasMethod, method, "has the method " + testing::PrintToString(method)) {
    return detail::methodOf(arg) == method;
}

/// A request whose URL, query parameters included, `url` matches.
MATCHER_P(HasUrl, url, "has a URL that " + testing::DescribeMatcher<std::string>(url, negation)) {
    return testing::ExplainMatchResult(url, detail::urlOf(arg), result_listener);
}

/// A response of that status, given as a number, by name, or as a matcher of the number.
MATCHER_P(IsStatus, code, "has a status that " + testing::DescribeMatcher<int>(code, negation)) {
    return testing::ExplainMatchResult(code, static_cast<int>(arg.getResponseCode()),
                                       result_listener);
}

inline auto IsStatus(httpclient_core::HttpResponseCode code) {
    return IsStatus(static_cast<int>(code));
}

/// A message whose simple body, from where its stream stands to its end, `body` matches; the stream
/// is put back. A request without a body has "".
MATCHER_P(BodyIs, body,
          "has a body that " + testing::DescribeMatcher<std::string>(body, negation)) {
    return testing::ExplainMatchResult(body, detail::bodyOf(arg), result_listener);
}

}  // namespace tavrin::httpclient_testing

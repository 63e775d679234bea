#pragma once

/// GoogleMock matchers for messages, with printers.h and googletest.h. Header only: the library
/// itself needs no GoogleMock, a test that includes this file links its own.
///
/// The matchers take an HttpRequest, a RecordedRequest or a ReceivedRequest; HasHeader takes any
/// message and an HttpHeaders too, BodyIs any message, IsStatus an HttpResponse. What they say
/// about a failure has "***" in place of what Credentials knows for a credential, expected or not;
/// setCredentialNames() adds names. What is expected there is shown if it is a text; a matcher of a
/// credential is not described at all, as it may hold anything.

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "httpclient_core/cookie.h"
#include "httpclient_core/headers.h"
#include "httpclient_core/messages.h"
#include "httpclient_testing/credentials.h"
#include "httpclient_testing/googletest.h"
#include "httpclient_testing/printers.h"
#include "httpclient_testing/received_request.h"
#include "httpclient_testing/recorded_request.h"
#include "httpclient_testing/wire_text.h"

namespace tavrin::httpclient_testing {
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
inline httpclient_core::HttpHeaders headersOf(const ReceivedRequest& request) {
    return request.headers();
}

inline bool hasMethod(const httpclient_core::HttpRequest& request,
                      httpclient_core::HttpMethod method) {
    return request.getHttpMethod() == method;
}
inline bool hasMethod(const RecordedRequest& request, httpclient_core::HttpMethod method) {
    return request.method == method;
}
inline bool hasMethod(const ReceivedRequest& request, httpclient_core::HttpMethod method) {
    return request.method == testing::PrintToString(method);
}

inline std::string urlOf(const httpclient_core::HttpRequest& request) {
    return request.getURL().toAsciiString();
}
inline std::string urlOf(const RecordedRequest& request) { return request.url; }
inline std::string urlOf(const ReceivedRequest& request) { return request.url(); }

inline std::string bodyOf(const httpclient_core::HttpRequest& request) { return peekBody(request); }
inline std::string bodyOf(const httpclient_core::HttpResponse& response) {
    return peekBody(response);
}
inline std::string bodyOf(const RecordedRequest& request) { return request.body.value_or(""); }
inline std::string bodyOf(const ReceivedRequest& request) { return request.body; }

inline std::vector<std::string> valuesOf(const httpclient_core::HttpHeaders& headers,
                                         const std::string& name) {
    httpclient_core::NameValueCollection fields;
    for (const auto& field : headers) fields.add(field);
    return fields.getAll(name);
}

// A piece without "=" is no cookie.
inline std::vector<std::string> cookiesOf(const httpclient_core::HttpHeaders& headers,
                                          const std::string& name) {
    std::vector<std::string> cookies;
    const auto take = [&](const std::string& piece) {
        if (piece.find('=') == std::string::npos) return;
        for (const auto& [cookie, value] : httpclient_core::Cookie::parse(piece)) {
            if (cookie == name) cookies.push_back(value);
        }
    };
    for (const std::string& field : valuesOf(headers, httpclient_core::HttpHeaders::COOKIE)) {
        httpclient_core::HttpHeaders::splitElements(field, take, ";", true);
    }
    return cookies;
}

// What a test expects of a text, and how a failure tells it. `Blank` takes the credentials out of a
// text of that kind.
template <typename Expected, typename Blank>
class ExpectedText {
public:
    ExpectedText(const Expected& expected, Blank blank) : expected_(expected), blank_(blank) {}

    bool isMetBy(const std::string& actual) const {
        return testing::SafeMatcherCast<std::string>(expected_).Matches(actual);
    }

    std::string describe(bool negation) const {
        if constexpr (IS_TEXT) {
            return testing::DescribeMatcher<std::string>(blank_(text()), negation);
        } else {
            const std::string text = testing::DescribeMatcher<std::string>(expected_, negation);
            if (hidesAll() && text != "is anything") return "is the one that is expected";
            return Credentials().blankedText(text);
        }
    }

    // What a matcher says of the text, and that there is more to it than is shown.
    std::string explain(const std::string& actual) const {
        const bool isBlanked = blank_(actual) != actual;
        if constexpr (IS_TEXT) {
            const bool looksEqual = isBlanked && blank_(actual) == blank_(text());
            return looksEqual && !isMetBy(actual) ? ", which differs in what is blanked" : "";
        } else {
            testing::StringMatchResultListener listener;
            testing::SafeMatcherCast<std::string>(expected_).MatchAndExplain(actual, &listener);
            const bool isTold = !hidesAll() && !listener.str().empty();
            return (isTold ? ", " + Credentials().blankedText(listener.str()) : "") +
                   (isBlanked ? ", with something blanked" : "");
        }
    }

    std::string shown(const std::string& actual) const {
        return testing::PrintToString(blank_(actual));
    }

private:
    static constexpr bool IS_TEXT = std::is_convertible_v<const Expected&, std::string_view>;

    std::string text() const { return std::string(std::string_view(expected_)); }

    // Not even a text without a credential in it is shown.
    bool hidesAll() const { return blank_("any text") != "any text"; }

    const Expected& expected_;
    const Blank blank_;
};

template <typename Expected>
auto expectedField(const std::string& name, const Expected& expected) {
    return ExpectedText(expected, [name](const std::string& value) {
        return Credentials().blankedHeaderValue(name, value);
    });
}

// Every cookie proves something, whatever its name.
template <typename Expected>
auto expectedCookie(const Expected& expected) {
    return expectedField(httpclient_core::HttpHeaders::COOKIE, expected);
}

template <typename Expected>
auto expectedUrl(const Expected& expected) {
    return ExpectedText(expected,
                        [](const std::string& url) { return Credentials().blankedUrl(url); });
}

template <typename Expected>
auto expectedBody(const Expected& expected, const std::string& contentType = "") {
    return ExpectedText(expected, [contentType](const std::string& body) {
        return Credentials().blankedBody(body, contentType);
    });
}

inline std::string contentTypeOf(const httpclient_core::HttpHeaders& headers) {
    const auto types = valuesOf(headers, httpclient_core::HttpHeaders::CONTENT_TYPE);
    return types.empty() ? "" : types.front();
}

// Whether one of the values is what is expected; tells them all.
template <typename Text>
bool hasOne(const std::vector<std::string>& values, const Text& expected, const std::string& what,
            std::ostream* os) {
    bool isThere = false;
    for (const std::string& value : values) isThere = isThere || expected.isMetBy(value);
    if (os == nullptr) return isThere;
    if (values.empty()) *os << "which has no " << what;
    const char* separator = "whose ";
    for (const std::string& value : values) {
        *os << separator << what << " is " << expected.shown(value) << expected.explain(value);
        separator = ", and whose ";
    }
    return isThere;
}

}  // namespace detail

/// A message or header set with a field of that name, in any letter case, whose value `value`
/// matches; one of several is enough.
MATCHER_P2(HasHeader, name, value,
           std::string(negation ? "has no header " : "has a header ") + name + " whose value " +
               detail::expectedField(name, value).describe(false)) {
    return detail::hasOne(detail::valuesOf(detail::headersOf(arg), name),
                          detail::expectedField(name, value), "header " + std::string(name),
                          result_listener->stream());
}

/// The same, whatever the value.
inline auto HasHeader(const std::string& name) { return HasHeader(name, testing::_); }

/// A request whose Cookie header holds a cookie of exactly that name whose value `value` matches;
/// one of several is enough. The values are credentials, whatever the name.
MATCHER_P2(HasCookie, name, value,
           std::string(negation ? "has no cookie " : "has a cookie ") + name + " whose value " +
               detail::expectedCookie(value).describe(false)) {
    return detail::hasOne(detail::cookiesOf(detail::headersOf(arg), name),
                          detail::expectedCookie(value), "cookie " + std::string(name),
                          result_listener->stream());
}

/// The same, whatever the value.
inline auto HasCookie(const std::string& name) { return HasCookie(name, testing::_); }

/// A request of that method.
MATCHER_P(HasMethod, method,
          std::string(negation ? "hasn't" : "has") + " the method " +
              testing::PrintToString(method)) {
    return detail::hasMethod(arg, method);
}

/// A request whose URL, query parameters included, `url` matches. That of a ReceivedRequest is its
/// url().
MATCHER_P(HasUrl, url, "has a URL that " + detail::expectedUrl(url).describe(negation)) {
    const auto expected = detail::expectedUrl(url);
    const std::string actual = detail::urlOf(arg);
    *result_listener << "whose URL is " << expected.shown(actual) << expected.explain(actual);
    return expected.isMetBy(actual);
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
/// is put back. A request without a body has "". Of a ReceivedRequest it is what is kept of it.
MATCHER_P(BodyIs, body, "has a body that " + detail::expectedBody(body).describe(negation)) {
    const auto expected = detail::expectedBody(body, detail::contentTypeOf(detail::headersOf(arg)));
    const std::string actual = detail::bodyOf(arg);
    const std::string difference = expected.explain(actual);
    if (!difference.empty()) *result_listener << "whose body is shown" << difference;
    return expected.isMetBy(actual);
}

}  // namespace tavrin::httpclient_testing

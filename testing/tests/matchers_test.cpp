#include "httpclient_testing/matchers.h"

#include <gtest/gtest.h>

#include <utility>

namespace tavrin::httpclient_testing {
namespace {

using httpclient_core::HttpHeaders;
using httpclient_core::HttpMethod;
using httpclient_core::HttpRequest;
using httpclient_core::HttpResponse;
using httpclient_core::HttpResponseCode;
using httpclient_core::URL;
using testing::_;
using testing::AllOf;
using testing::DescribeMatcher;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Lt;
using testing::Matches;
using testing::Not;
using testing::PrintToString;
using testing::StartsWith;

HttpRequest get(HttpHeaders headers = {}) {
    return HttpRequest(HttpMethod::GET, URL("http://host/file"), std::move(headers));
}

RecordedRequest recorded(HttpHeaders headers = {}) {
    return {HttpMethod::PUT, "http://host/file", std::move(headers), "body", {}, {}};
}

HttpResponse response(int code, const std::string& body = "") {
    HttpResponse made;
    made.setResponseCodeAndReason(HttpResponseCode(code), "Reason");
    made.getResponseBody() << body;
    return made;
}

// What a failing EXPECT_THAT would print.
template <typename Matcher, typename Value>
std::string explain(const Matcher& matcher, const Value& value) {
    testing::StringMatchResultListener listener;
    testing::SafeMatcherCast<const Value&>(matcher).MatchAndExplain(value, &listener);
    return listener.str();
}

TEST(HasHeader, FindsAFieldInAnyLetterCaseByItsValue) {
    const HttpHeaders fields{{"Range", "bytes=5-"}};

    EXPECT_THAT(fields, HasHeader("range", "bytes=5-"));
    EXPECT_THAT(fields, HasHeader("Range", StartsWith("bytes=")));
    EXPECT_THAT(fields, Not(HasHeader("Range", "bytes=6-")));
    EXPECT_THAT(fields, Not(HasHeader("If-Range", _)));
}

TEST(HasHeader, FindsAFieldWhateverItsValue) {
    EXPECT_THAT((HttpHeaders{{"Range", ""}}), HasHeader("Range"));
    EXPECT_THAT(HttpHeaders(), Not(HasHeader("Range")));
}

TEST(HasHeader, IsContentWithOneOfSeveralFields) {
    const HttpHeaders fields{{"Via", "one"}, {"via", "two"}};

    EXPECT_THAT(fields, AllOf(HasHeader("Via", "one"), HasHeader("Via", "two")));
}

TEST(HasHeader, LooksIntoRequestsResponsesAndRecords) {
    HttpResponse answer = response(200);
    answer.setHeaderValue("A", "b");

    EXPECT_THAT(get({{"A", "b"}}), HasHeader("A", "b"));
    EXPECT_THAT(answer, HasHeader("A", "b"));
    EXPECT_THAT(recorded({{"A", "b"}}), HasHeader("A", "b"));
}

TEST(HasHeader, SaysWhatItLooksFor) {
    const testing::Matcher<const HttpHeaders&> matcher = HasHeader("Range", "x");

    EXPECT_EQ(DescribeMatcher<const HttpHeaders&>(matcher),
              "has a header Range whose value is equal to \"x\"");
    EXPECT_EQ(DescribeMatcher<const HttpHeaders&>(Not(matcher)),
              "has no header Range whose value is equal to \"x\"");
}

TEST(HasCookie, FindsACookieByItsExactName) {
    const HttpRequest request = get({{"Cookie", "id=7; theme=dark"}});

    EXPECT_THAT(request, HasCookie("theme", "dark"));
    EXPECT_THAT(request, HasCookie("id"));
    EXPECT_THAT(request, Not(HasCookie("ID")));
    EXPECT_THAT(request, Not(HasCookie("id", "8")));
    EXPECT_THAT(get(), Not(HasCookie("id")));
    EXPECT_THAT(recorded({{"cookie", "id=7"}}), HasCookie("id", "7"));
}

TEST(HasMethod, ComparesTheMethod) {
    EXPECT_THAT(get(), HasMethod(HttpMethod::GET));
    EXPECT_THAT(get(), Not(HasMethod(HttpMethod::HEAD)));
    EXPECT_THAT(recorded(), HasMethod(HttpMethod::PUT));
    EXPECT_EQ(DescribeMatcher<const HttpRequest&>(HasMethod(HttpMethod::PUT)),
              "has the method PUT");
}

TEST(HasUrl, MatchesTheUrlWithItsQuery) {
    HttpRequest request = get();
    request.setQueryParameters({{"a", "b"}});

    EXPECT_THAT(request, HasUrl("http://host/file?a=b"));
    EXPECT_THAT(request, HasUrl(EndsWith("?a=b")));
    EXPECT_THAT(request, Not(HasUrl("http://host/file")));
    EXPECT_THAT(recorded(), HasUrl("http://host/file"));
    EXPECT_EQ(DescribeMatcher<const HttpRequest&>(HasUrl("x")), "has a URL that is equal to \"x\"");
}

TEST(IsStatus, ComparesTheCodeAsANumberByNameAndByMatcher) {
    EXPECT_THAT(response(206), IsStatus(206));
    EXPECT_THAT(response(206), IsStatus(HttpResponseCode::PARTIAL_CONTENT));
    EXPECT_THAT(response(206), IsStatus(Lt(300)));
    EXPECT_THAT(response(206), Not(IsStatus(200)));
    EXPECT_EQ(DescribeMatcher<const HttpResponse&>(IsStatus(200)),
              "has a status that is equal to 200");
}

TEST(BodyIs, MatchesTheBodyAgainAndAgain) {
    const HttpResponse answer = response(200, "text");
    HttpRequest request = get();
    request.setRequestBody("more text");

    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(answer, BodyIs("text"));
        EXPECT_THAT(request, BodyIs(EndsWith("text")));
        EXPECT_THAT(answer, Not(BodyIs("")));
    }
    EXPECT_THAT(recorded(), BodyIs("body"));
    EXPECT_THAT(get(), BodyIs(""));
    EXPECT_EQ(answer.getResponseBodyString(), "text");
}

TEST(Printers, WriteAMessageAsItWouldStandOnTheWire) {
    const HttpRequest request = get({{"Authorization", "secret"}, {"A", "b"}});

    EXPECT_EQ(PrintToString(request),
              "\nGET http://host/file HTTP/1.1\nAuthorization: ***\nA: b\n\n");
    EXPECT_EQ(PrintToString(request.getHeaders()), "\nAuthorization: ***\nA: b\n");
    EXPECT_EQ(PrintToString(response(404, "gone")), "\nHTTP/1.1 404 Reason\n\ngone");
    EXPECT_EQ(PrintToString(recorded()), "\nPUT http://host/file HTTP/1.1\n\nbody");
}

TEST(Printers, ShowNoCredentialInTheTextOfAFailure) {
    const HttpRequest request = get({{"Cookie", "id=secret"}, {"Authorization", "Basic secret"}});

    EXPECT_THAT(explain(HasCookie("id", "other"), request), Not(HasSubstr("secret")));
    EXPECT_THAT(explain(HasHeader("Authorization", "other"), request), Not(HasSubstr("secret")));
    EXPECT_THAT(PrintToString(request), Not(HasSubstr("secret")));
}

}  // namespace
}  // namespace tavrin::httpclient_testing

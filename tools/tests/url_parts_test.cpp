#include "url_parts.h"

#include <gmock/gmock.h>

namespace tavrin::http_tool {
namespace {

std::string rendered(const std::string& url) {
    const auto parts = splitUrl(url);
    return parts ? parts->scheme + " " + parts->host + " " + parts->path : "none";
}

TEST(SplitUrl, TakesTheUrlApart) {
    EXPECT_EQ(rendered("HTTPS://User:pw@Example.COM:8443/A/b?q=/#f"), "https example.com /A/b");
    EXPECT_EQ(rendered("http://host"), "http host ");
    EXPECT_EQ(rendered("http://host?q"), "http host ");
    EXPECT_EQ(rendered("http://[::1]:80/x"), "http ::1 /x");
    EXPECT_EQ(rendered("http://a@b@c/"), "http c /");
    EXPECT_EQ(rendered("http://h/a@b"), "http h /a@b");
}

TEST(SplitUrl, RefusesWhatHasNoSchemeOrHost) {
    for (const std::string url :
         {"", "host/path", "://host", "http:///x", "http://:80/", "/x", "host/?u=http://other/"}) {
        EXPECT_EQ(rendered(url), "none") << url;
    }
}

TEST(WithScheme, AddsHttpWhereNoneIsNamed) {
    EXPECT_EQ(withScheme("example.com/x"), "http://example.com/x");
    EXPECT_EQ(withScheme("localhost:8080"), "http://localhost:8080");
    EXPECT_EQ(withScheme("ftp://x"), "ftp://x");
    EXPECT_EQ(withScheme("svn+ssh://x"), "svn+ssh://x");
    EXPECT_EQ(withScheme("h/?next=http://x/"), "http://h/?next=http://x/");
}

TEST(WithoutCredentials, HidesUserAndPassword) {
    EXPECT_EQ(withoutCredentials("http://u:p@h/x@y"), "http://***@h/x@y");
    EXPECT_EQ(withoutCredentials("http://u:p@q@h"), "http://***@h");
    EXPECT_EQ(withoutCredentials("http://h/x@y?u:p@z"), "http://h/x@y?u:p@z");
    EXPECT_EQ(withoutCredentials("nonsense"), "nonsense");
    EXPECT_EQ(withoutCredentials("http://u:p/q@h/x"), "http://***@h/x");
    EXPECT_EQ(withoutCredentials("http://u:p?q#r@h/x"), "http://***@h/x");
    EXPECT_EQ(withoutCredentials("http://u:p://q@h/x"), "http://***@h/x");
    EXPECT_EQ(withoutCredentials("http://u:p]/q@h/x"), "http://***@h/x");
    EXPECT_EQ(withoutCredentials("http://h:80/@x"), "http://h:80/@x");
    EXPECT_EQ(withoutCredentials("http://[::a]/@x"), "http://[::a]/@x");
}

}  // namespace
}  // namespace tavrin::http_tool

#include "httpclient_core/url.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace tavrin::httpclient_core {
namespace {

static_assert(std::is_default_constructible_v<URL>);
static_assert(std::is_constructible_v<URL, std::string>);
static_assert(!std::is_convertible_v<std::string, URL>, "a text is no URL by accident");
static_assert(std::is_copy_constructible_v<URL> && std::is_copy_assignable_v<URL>);
static_assert(std::is_nothrow_move_constructible_v<URL> && std::is_nothrow_move_assignable_v<URL>);

TEST(URL, IsEmptyByDefault) { EXPECT_EQ(URL().toAsciiString(), ""); }

TEST(URL, KeepsItsTextExactlyAsGiven) {
    for (const std::string& text :
         {std::string(), std::string("http://example.com/a?b=c#d"), std::string(" no url at all\n"),
          std::string("HTTP://EXAMPLE.com:080/a/../b//%7e%7E"),
          std::string("http://b\xC3\xBC"
                      "cher.example/\xFF"),
          std::string("a\0b", 3)}) {
        EXPECT_EQ(URL(text).toAsciiString(), text);
    }
}

TEST(URL, EqualsAnotherOfTheSameBytes) {
    EXPECT_TRUE(URL("http://a/") == URL("http://a/"));
    EXPECT_FALSE(URL("http://a/") != URL("http://a/"));
}

TEST(URL, DiffersByLetterCaseSlashEscapeAndWhatFollowsANulByte) {
    const URL url("http://a/%7e");
    for (const std::string& text :
         {std::string("http://A/%7e"), std::string("http://a/%7E"), std::string("http://a/~"),
          std::string("http://a/%7e/"), std::string("http://a/%7e\0", 13), std::string()}) {
        EXPECT_FALSE(url == URL(text)) << text;
        EXPECT_TRUE(url != URL(text)) << text;
    }
}

TEST(URL, PrintsItsText) {
    std::ostringstream os;

    os << URL("http://a/?q=1") << '|' << URL();

    EXPECT_EQ(os.str(), "http://a/?q=1|");
}

TEST(URL, PrintsIntoTheStreamThatItReturns) {
    std::ostringstream os;

    EXPECT_EQ(&(os << URL("x")), &os);
}

TEST(URL, CopiesAreIndependent) {
    URL original("http://a/");
    const URL copy = original;

    original = URL("http://b/");

    EXPECT_EQ(copy.toAsciiString(), "http://a/");
}

}  // namespace
}  // namespace tavrin::httpclient_core

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

#include "httpclient_core/collections.h"
#include "httpclient_core/form_body.h"
#include "httpclient_core/query_parameters.h"
#include "support/grouping_locale.h"
#include "support/latin1_locale.h"

namespace tavrin::httpclient_core {
namespace {

using test::GroupingLocale;
using test::Latin1Locale;

// The encoding of a text in a query string, as a key and as a value.
std::string inQuery(const std::string& text) {
    const std::string asKey = QueryParameters(NameValueCollection{{text, ""}}).toString().substr(1);
    if (!text.empty()) {
        EXPECT_EQ(QueryParameters(NameValueCollection{{"", text}}).toString(), "?=" + asKey);
    }
    return asKey;
}

// The encoding of a text in a form body, as a name and as a value.
std::string inForm(const std::string& text) {
    const std::unique_ptr<std::istream> body =
        FormUrlEncoded(NameValueCollection{{text, text}}).stream();
    const std::string whole{std::istreambuf_iterator<char>(*body), {}};
    const std::string encoded = whole.substr(0, whole.size() / 2);
    EXPECT_EQ(whole, encoded + "=" + encoded);
    return encoded;
}

std::string everyByte() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
    return bytes;
}

// The escape of every byte one by one, with `blank` for a blank.
std::string everyByteEncoded(const std::string& blank) {
    static const std::string unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    static const std::string digits = "0123456789ABCDEF";
    std::string encoded;
    for (std::size_t byte = 0; byte < 256; ++byte) {
        if (unreserved.find(static_cast<char>(byte)) != std::string::npos) {
            encoded += static_cast<char>(byte);
        } else if (byte == ' ') {
            encoded += blank;
        } else {
            encoded += std::string("%") + digits[byte / 16] + digits[byte % 16];
        }
    }
    return encoded;
}

TEST(PercentEncoding, KeepsLettersDigitsAndFourMarksAndEscapesEveryOtherByte) {
    EXPECT_EQ(inQuery(everyByte()), everyByteEncoded("%20"));
    EXPECT_EQ(inForm(everyByte()), everyByteEncoded("+"));
}

TEST(PercentEncoding, IsTheSameUnderAGlobalLocaleThatGroupsDigits) {
    const GroupingLocale locale;

    EXPECT_EQ(inQuery(everyByte()), everyByteEncoded("%20"));
    EXPECT_EQ(inForm(everyByte()), everyByteEncoded("+"));
}

TEST(PercentEncoding, IsTheSameUnderALocaleWithMoreLetters) {
    const Latin1Locale locale;

    EXPECT_EQ(inQuery(everyByte()), everyByteEncoded("%20"));
    EXPECT_EQ(inForm(everyByte()), everyByteEncoded("+"));
}

TEST(PercentEncoding, WritesABlankByItsReplacementAndAPlusSignAsAnEscape) {
    EXPECT_EQ(inQuery("a b+c~*"), "a%20b%2Bc~%2A");
    EXPECT_EQ(inForm("a b+c~*"), "a+b%2Bc~%2A");
}

TEST(PercentEncoding, EscapesCharactersOfSeveralBytesByteByByte) {
    EXPECT_EQ(inQuery("\xC3\xA9\xF0\x9F\x98\x80"), "%C3%A9%F0%9F%98%80");
    EXPECT_EQ(inForm("\xC3\xA9"), "%C3%A9");
}

TEST(PercentEncoding, EscapesWhatIsEscapedAlreadyOnceMore) {
    EXPECT_EQ(inQuery("%41%2f"), "%2541%252f");
    EXPECT_EQ(inForm("%41"), "%2541");
}

TEST(PercentEncoding, PadsEveryEscapeToTwoDigitsInARow) {
    EXPECT_EQ(inQuery("\n\t\x01/a\n"), "%0A%09%01%2Fa%0A");
    EXPECT_EQ(inQuery(std::string(2, '\0')), "%00%00");
}

// Longer than any buffer on the way, which each length in front lets end at another character.
TEST(PercentEncoding, OfALongTextIsThatOfItsPieces) {
    std::string text;
    std::string encoded;
    for (int i = 0; i < 40; ++i) {
        text += everyByte();
        encoded += everyByteEncoded("%20");
    }
    for (std::size_t length = 0; length < 8; ++length) {
        const std::string front(length, 'x');
        EXPECT_EQ(inQuery(front + text), front + encoded);
    }
}

// Nothing but what stands between them, which fills any buffer on the way to its last place.
TEST(PercentEncoding, OfManyEmptyTextsIsWhatSeparatesThem) {
    NameValueCollection entries;
    std::string separators;
    for (int i = 0; i < 10000; ++i) {
        entries.add("", "");
        separators += "&=";
    }

    EXPECT_EQ(QueryParameters(entries).toString(), "?" + std::string(9999, '&'));
    EXPECT_EQ(FormUrlEncoded(entries).contentLength(), separators.size() - 1);
    const std::unique_ptr<std::istream> body = FormUrlEncoded(entries).stream();
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(*body), {}), separators.substr(1));
}

TEST(PercentEncoding, OfAnEmptyTextIsEmpty) {
    EXPECT_EQ(inQuery(""), "");
    EXPECT_EQ(inForm(""), "");
}

}  // namespace
}  // namespace tavrin::httpclient_core

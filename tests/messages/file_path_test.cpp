#include "httpclient_core/file_path.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "support/throws_exactly.h"

namespace tavrin::httpclient_core {
namespace {

using test::ThrowsExactly;

static_assert(std::is_convertible_v<std::string, FilePath>);
static_assert(std::is_convertible_v<const char*, FilePath>);
static_assert(std::is_copy_constructible_v<FilePath> && std::is_copy_assignable_v<FilePath>);
static_assert(std::is_nothrow_move_constructible_v<FilePath>);
static_assert(std::is_nothrow_move_assignable_v<FilePath>);

// UTF-8 as RFC 3629, 3 lays the bits out, `length` bytes long even where fewer would do.
std::string utf8(char32_t codePoint, int length) {
    if (length == 1) return std::string(1, static_cast<char>(codePoint));
    std::string bytes;
    for (int i = 1; i < length; ++i) {
        bytes.insert(bytes.begin(), static_cast<char>(0x80 | (codePoint & 0x3F)));
        codePoint >>= 6;
    }
    const unsigned marker = (0xFF00u >> length) & 0xFF;
    return static_cast<char>(marker | codePoint) + bytes;
}

std::string utf8(char32_t codePoint) {
    return utf8(codePoint, codePoint < 0x80      ? 1
                           : codePoint < 0x800   ? 2
                           : codePoint < 0x10000 ? 3
                                                 : 4);
}

// UTF-16 as RFC 2781, 2.1 makes it.
std::u16string utf16(char32_t codePoint) {
    if (codePoint < 0x10000) return {static_cast<char16_t>(codePoint)};
    const char32_t offset = codePoint - 0x10000;
    return {static_cast<char16_t>(0xD800 + (offset >> 10)),
            static_cast<char16_t>(0xDC00 + (offset & 0x3FF))};
}

void expectInvalid(const std::string& text) {
    EXPECT_THAT([&] { FilePath{text}; },
                ThrowsExactly<std::runtime_error>("File path is not valid UTF-8."))
        << testing::PrintToString(text);
}

TEST(FilePath, IsEmptyByDefault) {
    const FilePath path;

    EXPECT_TRUE(path.empty());
    EXPECT_EQ(path.toUtf8(), "");
    EXPECT_EQ(path.toUtf16(), u"");
}

TEST(FilePath, OfAnEmptyTextIsEmpty) {
    EXPECT_TRUE(FilePath("").empty());
    EXPECT_TRUE(FilePath(std::string()).empty());
    EXPECT_FALSE(FilePath(" ").empty());
}

TEST(FilePath, KeepsItsTextAsGiven) {
    for (const std::string& text :
         {std::string("/tmp/a b.txt"), std::string("../a//./b\\c\n"), std::string("a\0b", 3)}) {
        EXPECT_EQ(FilePath(text).toUtf8(), text);
    }
}

TEST(FilePath, TurnsUtf8IntoUtf16) {
    const std::map<std::string, std::u16string> texts = {
        {"abc", u"abc"},
        {"\xC3\xA9", u"\u00E9"},
        {"\xE2\x82\xAC", u"\u20AC"},
        {"\xF0\x9F\x98\x80", u"\U0001F600"},
        {"a\xF0\x90\x80\x80z", u"a\xD800\xDC00z"},
        {"\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
    };
    for (const auto& [narrow, wide] : texts) {
        EXPECT_EQ(FilePath(narrow).toUtf16(), wide) << narrow;
        EXPECT_EQ(FilePath(narrow.c_str()).toUtf16(), wide) << narrow;
        EXPECT_EQ(FilePath(narrow).toUtf8(), narrow);
    }
}

TEST(FilePath, ConvertsEveryCodePointAndBack) {
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (codePoint == 0xD800) codePoint = 0xE000;
        const std::string text = utf8(codePoint);
        const FilePath path(text);

        ASSERT_EQ(path.toUtf16(), utf16(codePoint)) << static_cast<unsigned>(codePoint);
        ASSERT_EQ(path.toUtf8(), text) << static_cast<unsigned>(codePoint);
    }
}

TEST(FilePath, RejectsOverlongForms) {
    for (const char32_t codePoint : {0x00, 0x2F, 0x7F}) expectInvalid(utf8(codePoint, 2));
    for (const char32_t codePoint : {0x00, 0x2F, 0x80, 0x7FF}) expectInvalid(utf8(codePoint, 3));
    for (const char32_t codePoint : {0x00, 0x2F, 0x800, 0xFFFF}) expectInvalid(utf8(codePoint, 4));
}

TEST(FilePath, RejectsEverySurrogateAlsoInPairs) {
    for (char32_t surrogate = 0xD800; surrogate <= 0xDFFF; ++surrogate) {
        expectInvalid(utf8(surrogate, 3));
    }
    expectInvalid(utf8(0xD83D, 3) + utf8(0xDE00, 3));
}

TEST(FilePath, RejectsWhatLiesBeyondTheLastCodePoint) {
    expectInvalid(utf8(0x110000, 4));
    expectInvalid(utf8(0x13FFFF, 4));
    expectInvalid(utf8(0x1FFFFF, 4));
    expectInvalid(utf8(0x200000, 5));
    expectInvalid(utf8(0x4000000, 6));
}

TEST(FilePath, RejectsTruncatedSequencesAtTheEndAndBeforeOtherText) {
    for (const char32_t codePoint : {0xE9, 0x20AC, 0x1F600}) {
        const std::string whole = utf8(codePoint);
        for (std::size_t length = 1; length < whole.size(); ++length) {
            const std::string part = whole.substr(0, length);
            expectInvalid(part);
            expectInvalid("a" + part + "b");
            expectInvalid(part + whole);
        }
    }
}

TEST(FilePath, RejectsBareContinuationAndImpossibleBytes) {
    for (int byte = 0x80; byte <= 0xFF; ++byte) {
        if (byte >= 0xC2 && byte <= 0xF4) continue;
        const char character = static_cast<char>(byte);
        expectInvalid(std::string(1, character));
        expectInvalid(std::string("ok") + character + "ok");
        expectInvalid(utf8(0xE9) + character);
    }
}

TEST(FilePath, RejectsInvalidTextFromACharacterArrayToo) {
    EXPECT_THAT([] { FilePath("\xC3"); },
                ThrowsExactly<std::runtime_error>("File path is not valid UTF-8."));
}

TEST(FilePath, EqualsAnotherOfTheSameTextAlone) {
    const FilePath path("/a/b");

    EXPECT_TRUE(path == FilePath(std::string("/a/b")));
    EXPECT_FALSE(path != FilePath("/a/b"));
    for (const char* other : {"/a/B", "/a/b/", "/a", "", "/a/./b"}) {
        EXPECT_FALSE(path == FilePath(other)) << other;
        EXPECT_TRUE(path != FilePath(other)) << other;
    }
}

TEST(FilePath, IsOrderedByItsUtf16CodeUnits) {
    const std::vector<FilePath> ascending = {FilePath(),    "A",          "AA",
                                             "a",           utf8(0xE9),   utf8(0x10000),
                                             utf8(0x1F600), utf8(0xE000), utf8(0xFFFF)};

    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << ' ' << j;
        }
    }
}

TEST(FilePath, CopiesAreIndependent) {
    FilePath original("/a");
    const FilePath copy = original;

    original = "/b";

    EXPECT_EQ(copy.toUtf8(), "/a");
    EXPECT_EQ(original.toUtf8(), "/b");
}

}  // namespace
}  // namespace tavrin::httpclient_core

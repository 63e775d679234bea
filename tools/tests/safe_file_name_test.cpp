#include "safe_file_name.h"

#include <gmock/gmock.h>

namespace tavrin::http_tool {
namespace {

TEST(SafeFileName, KeepsAnOrdinaryName) {
    for (const std::string name : {"a", "big.iso", "two words.txt", "a-b_c(1).tar.gz", "größe.txt",
                                   "文件", "trailing.", "semi;colon", "~home"}) {
        EXPECT_EQ(safeFileName(name), name);
    }
}

TEST(SafeFileName, TakesTheLastPieceOfAPath) {
    EXPECT_EQ(safeFileName("/etc/passwd"), "passwd");
    EXPECT_EQ(safeFileName("../../x"), "x");
    EXPECT_EQ(safeFileName("C:\\Windows\\x.dll"), "x.dll");
    EXPECT_EQ(safeFileName("a/b\\c/d"), "d");
}

TEST(SafeFileName, LeavesNothingOfADirectory) {
    for (const std::string name : {"", "/", "..", ".", "a/", "a/..", "...", " ", "..\\", ". . ."}) {
        EXPECT_EQ(safeFileName(name), "") << name;
    }
}

TEST(SafeFileName, HidesNoFileBehindALeadingDot) {
    EXPECT_EQ(safeFileName(".bashrc"), "bashrc");
    EXPECT_EQ(safeFileName("..hidden"), "hidden");
    EXPECT_EQ(safeFileName(" .x"), "x");
}

TEST(SafeFileName, DropsControlCharacters) {
    EXPECT_EQ(safeFileName(std::string("a\0b\x01\n\r\t\x1b[31mc\x7f", 13)), "ab[31mc");
    EXPECT_EQ(safeFileName("a\xC2\x9B"
                           "b"),
              "ab");
    EXPECT_EQ(safeFileName("a\xC2\xA0"
                           "b"),
              "a\xC2\xA0"
              "b");
}

TEST(SafeFileName, ShowsItsCharactersInTheOrderThatTheyHave) {
    EXPECT_EQ(safeFileName("photo\u202Egpj.exe"), "photogpj.exe");
    EXPECT_EQ(safeFileName("\u2066a\u2069\u200Fb\u061C"), "ab");
    EXPECT_EQ(safeFileName("\u05D0\u2070\u202F"), "\u05D0\u2070\u202F");
}

TEST(SafeFileName, IsNoOption) {
    EXPECT_EQ(safeFileName("-rf"), "_rf");
    EXPECT_EQ(safeFileName(".-x"), "_x");
}

TEST(SafeFileName, ReplacesBytesThatAreNotUtf8) {
    EXPECT_EQ(safeFileName("a\xFF"
                           "b"),
              "a_b");
    EXPECT_EQ(safeFileName("\xC0\xAF"), "__");
    EXPECT_EQ(safeFileName("\xE0\x80\xAF"), "___");
    EXPECT_EQ(safeFileName("\xED\xA0\x80"), "___");
    EXPECT_EQ(safeFileName("\xF4\x90\x80\x80"), "____");
    EXPECT_EQ(safeFileName("a\xC3"), "a_");
}

TEST(SafeFileName, FitsIntoADirectoryAndKeepsTheExtension) {
    const std::string name = safeFileName(std::string(300, 'x') + ".iso");
    EXPECT_EQ(name, std::string(236, 'x') + ".iso");

    // "ä" has two bytes; the cut falls between characters.
    std::string umlauts;
    for (int i = 0; i < 200; ++i) umlauts += "ä";
    EXPECT_EQ(safeFileName("x" + umlauts).size(), 239U);
}

TEST(NameFromUrl, IsTheLastPieceOfThePathDecoded) {
    EXPECT_EQ(nameFromUrl("https://h/a/big.iso?x=/y#z"), "big.iso");
    EXPECT_EQ(nameFromUrl("http://h/my%20file%2etxt"), "my file.txt");
    EXPECT_EQ(nameFromUrl("http://h/%2e%2e%2fetc%2fpasswd"), "passwd");
    EXPECT_EQ(nameFromUrl("http://h/100%"), "100%");
    EXPECT_EQ(nameFromUrl("http://h/%zz%4"), "%zz%4");
}

TEST(NameFromUrl, IsEmptyWithoutOne) {
    EXPECT_EQ(nameFromUrl("http://host"), "");
    EXPECT_EQ(nameFromUrl("http://host/"), "");
    EXPECT_EQ(nameFromUrl("http://host/?a=b"), "");
    EXPECT_EQ(nameFromUrl("nonsense"), "");
}

TEST(NameFromContentDisposition, ReadsTokensAndQuotedStrings) {
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=a.txt"), "a.txt");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=\"a;b\\\".txt\""), "a;b\".txt");
    EXPECT_EQ(nameFromContentDisposition("inline;x=\"filename=no\" ; FileName = \"yes\""), "yes");
    EXPECT_EQ(nameFromContentDisposition("attachment"), "");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename"), "");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=\"open"), "open");
    EXPECT_EQ(nameFromContentDisposition(""), "");
}

TEST(NameFromContentDisposition, PrefersTheExtendedForm) {
    EXPECT_EQ(nameFromContentDisposition(
                  "attachment; filename=\"e.txt\"; filename*=UTF-8''%e2%82%ac%20x.txt"),
              "€ x.txt");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename*=KOI8-R''x; filename=e.txt"),
              "e.txt");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename*=utf-8'de'..%2f; filename=e.txt"),
              "e.txt");
}

TEST(NameFromContentDisposition, IsNoNameOfAPartFile) {
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=f.part"), "f.part_");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=f.part.validator"),
              "f.part.validator_");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename*=UTF-8''f.p%61rt"), "f.part_");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=f.validator"), "f.validator");
}

TEST(NameFromContentDisposition, IsMadeSafe) {
    EXPECT_EQ(nameFromContentDisposition("attachment; filename=\"../../.ssh/authorized_keys\""),
              "authorized_keys");
    EXPECT_EQ(nameFromContentDisposition("attachment; filename*=UTF-8''..%2f..%2f.profile"),
              "profile");
}

}  // namespace
}  // namespace tavrin::http_tool

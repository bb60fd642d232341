// TextClean_test.cpp: query and archive-name normalisation, and HTML-to-text cleaning.
#include "Utility/TextClean.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using vt_test::G;

// Norm: str_normalization over an exact-size buffer (nLen + 1 bytes), checking the terminator.
std::string Norm(const std::string& sLine, bool bQuery = false) {
    std::vector<char> vecBuf(sLine.begin(), sLine.end());
    vecBuf.push_back('#');
    const int n = str_normalization(vecBuf.data(), static_cast<int>(sLine.size()), bQuery);
    EXPECT_TRUE(n >= 0 && n <= static_cast<int>(sLine.size()));
    EXPECT_EQ(vecBuf[n], '\0');
    return std::string(vecBuf.data(), n);
}

// Clean: vHtmlToText from an input of exactly nLen bytes into nLen + 1 bytes (so a sanitizer sees
// any access outside them), checking the terminator and that cleaning in place gives the same.
std::string Clean(const std::string& sHtml) {
    const size_t nLen = sHtml.size();
    std::unique_ptr<char[]> pIn(new char[nLen]), pOut(new char[nLen + 1]);
    sHtml.copy(pIn.get(), nLen);
    size_t nOut = 12345;
    vHtmlToText(pIn.get(), nLen, pOut.get(), nOut);
    EXPECT_LE(nOut, nLen);
    if (nOut > nLen) return "<overrun>";
    EXPECT_EQ(pOut[nOut], '\0');
    std::string sResult(pOut.get(), nOut);

    std::unique_ptr<char[]> pSame(new char[nLen + 1]);
    sHtml.copy(pSame.get(), nLen);
    size_t nSame = 0;
    vHtmlToText(pSame.get(), nLen, pSame.get(), nSame);
    EXPECT_EQ(std::string(pSame.get(), nSame), sResult) << "in place";
    return sResult;
}

// Restores the language setting a test changed.
struct LangGuard {
    int nSaved = g_nLangType;
    ~LangGuard() { g_nLangType = nSaved; }
};

TEST(StrNormalizationTest, AsciiBytes) {
    EXPECT_EQ(Norm("A,b/C_d Z!@[`{"), "a\tb\tc\td z!@[`{");
    EXPECT_EQ(Norm("A,b/C_d Z!", true), "a,b/c_d z!");  // queries keep their separators
    EXPECT_EQ(Norm(std::string("A\0B", 3)), std::string("a\0b", 3));
}

// Every two-byte rule, and the neighbours of the full-width ranges, which stay.
TEST(StrNormalizationTest, TwoByteCharacters) {
    EXPECT_EQ(Norm(G("（【x】）“‘＇”")), "((x))\"\"\"\"");
    EXPECT_EQ(Norm(G("＼｜，．。、－—　") + "\xAA\xA4"), std::string(10, '\t'));
    EXPECT_EQ(Norm(G("０９ＡＺａｚ１Ｑｑ")), "09azaz1qq");
    for (const char* s : {"／", "：", "＠", "［", "｀", "｛", "中", "！"})
        EXPECT_EQ(Norm(G(s)), G(s)) << s;
    // Deliberate: the right single quotation mark is not in the quote list.
    EXPECT_EQ(Norm(G("’")), G("’"));
    EXPECT_EQ(Norm(G("Ｂ、Ｃ"), true), "b\tc");  // bQueryPaser leaves the two-byte rules alone
}

// A lead byte takes the next byte whatever it is; a lead byte at the end stands alone; with the
// language setting 0 every byte stands alone.
TEST(StrNormalizationTest, CharacterBoundaries) {
    EXPECT_EQ(Norm("\x81\x41,"), "\x81\x41\t");  // 81 'A' is a pair: no lower case
    EXPECT_EQ(Norm("a\xD6"), "a\xD6");
    EXPECT_EQ(Norm("\xA3\xB1\xB0\xA3\xC1"), "1\xB0\xA3\xC1");  // １, then B0 A3, then a lone C1
    LangGuard guard;
    g_nLangType = 0;
    EXPECT_EQ(Norm("\xA3\xC1\x41,\xA1\xA1"), "\xA3\xC1\x61\t\xA1\xA1");  // Ａ A , 　
}

TEST(StrNormalizationTest, BadArgumentsAndPartialLength) {
    EXPECT_EQ(str_normalization(nullptr, 5, false), 0);
    char sLine[] = "ABCD";
    EXPECT_EQ(str_normalization(sLine, 0, false), 0);
    EXPECT_EQ(str_normalization(sLine, -3, true), 0);
    EXPECT_STREQ(sLine, "ABCD");  // untouched
    EXPECT_EQ(str_normalization(sLine, 2, false), 2);
    EXPECT_STREQ(sLine, "ab");
    EXPECT_EQ(sLine[3], 'D');  // nothing past the terminator
}

TEST(ZipnameNormalizationTest, PathPartsBecomeTabs) {
    const std::string sName = "Dir/Sub_Name," + G("Ｖ１。") + "TXT";
    std::vector<char> vecBuf(sName.begin(), sName.end());
    vecBuf.push_back('#');
    const int n = zipname_normalization(vecBuf.data(), static_cast<int>(sName.size()));
    EXPECT_EQ(std::string(vecBuf.data(), n), "dir\tsub\tname\tv1\ttxt");
    EXPECT_EQ(zipname_normalization(nullptr, 3), 0);
}

TEST(HtmlToTextTest, TagsAndComments) {
    EXPECT_EQ(Clean("a<b>c</b>d<!DOCTYPE html>e<?xml v?>f"), "a c d e f");
    EXPECT_EQ(Clean("x<!-- <p> -->y<!--" + std::string(1000, 'x') + "-->z"), "x y z");
    EXPECT_EQ(Clean("a<!-- b > c"), "a c");  // unclosed comment: an ordinary tag
    EXPECT_EQ(Clean("1 < 2 <3 <b"), "1 < 2 <3 <b");
    EXPECT_EQ(Clean("a<"), "a<");
    // The ">" must lie less than 500 bytes after the "<".
    const std::string sNear = "<b" + std::string(497, 'x') + ">";
    EXPECT_EQ(Clean(sNear + "z"), " z");
    EXPECT_EQ(Clean("<b" + std::string(498, 'x') + ">"), "<b" + std::string(498, 'x') + ">");
    // Deliberate: the space of a tag is always written, only copied spaces collapse.
    EXPECT_EQ(Clean("a <b> c"), "a  c");
}

TEST(HtmlToTextTest, ScriptBlocks) {
    EXPECT_EQ(Clean("a<script>if (1 < 2) f();</script>b"), "a b");
    EXPECT_EQ(Clean("a<SCRIPT>f()</SCRIPT>b<Script>g</Script>c"), "a b c");
    EXPECT_EQ(Clean("a<script>x"), "a x");        // no end: only the opening tag goes
    EXPECT_EQ(Clean("a<script>x</s"), "a x</s");  // "</s" without ">" after it
    // Deliberate: any "</s" ends the block and a lower-case one wins over an earlier "</S".
    EXPECT_EQ(Clean("a<script>x</SCRIPT>b</span>c"), "a c");
    // Deliberate: only a bare "<script>" opens a block; with attributes it is an ordinary tag.
    EXPECT_EQ(Clean("a<script type=\"t\">x</script>b"), "a x b");
    // Unclosed openings by the thousand: every search is answered from the last one.
    std::string sPage;
    for (int i = 0; i < 50000; ++i) sPage += "<script><!--&lt;";
    EXPECT_EQ(Clean(sPage), std::string(50000, ' ') + "<!-- ");
}

TEST(HtmlToTextTest, NumericEntities) {
    EXPECT_EQ(Clean("&#65;&#20013;&#128512;"), "A\xE4\xB8\xAD\xF0\x9F\x98\x80");  // A 中 😀
    EXPECT_EQ(Clean("&#2047;&#2048;&#65535;&#65536;"),
              "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80");
    // Beyond Unicode the original 5- and 6-byte forms; 8 digits is the most the window holds.
    EXPECT_EQ(Clean("&#2097152;&#67108864;&#99999999;"),
              "\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80\xFC\x85\xBD\x9E\x83\xBF");
    EXPECT_EQ(Clean("&#999999999;"), "&#999999999;");  // ";" 11 bytes after "&"
    EXPECT_EQ(Clean("a&#;b&#0;c&#x41;d&#65xy;"), "abcdA");
    EXPECT_EQ(Clean("a&#"), "a&#");
    EXPECT_EQ(Clean("a&#65"), "a&#65");
}

TEST(HtmlToTextTest, EscapedTagsAndNamedEntities) {
    EXPECT_EQ(Clean("a&lt;b class=x&gt;c"), "a c");
    EXPECT_EQ(Clean("a&lt;b"), "a b");
    EXPECT_EQ(Clean("&lt;" + std::string(695, 'x') + "&gt;"), " ");  // "&gt;" 699 bytes ahead
    EXPECT_EQ(Clean("&lt;" + std::string(696, 'x') + "&gt;"), " " + std::string(696, 'x') + " ");
    EXPECT_EQ(Clean("a&amp;b&copy;c&nbsp;d&abcdefgh;e"), "a b c d e");
    EXPECT_EQ(Clean("&abcdefghi;"), "&abcdefghi;");  // ";" 10 bytes after "&"
    EXPECT_EQ(Clean("R& D; &"), "R& D; &");
}

TEST(HtmlToTextTest, UrlEscapes) {
    EXPECT_EQ(Clean("a%20b%41%7e%7E"), "a bA~~");
    EXPECT_EQ(Clean("%/1%{1 100% %4"), "%/1%{1 100% %4");
    // Deliberate: bytes between '0' and 'z' that are no hexadecimal digits are decoded as 0.
    EXPECT_EQ(Clean("%4z%g1%zz"), std::string("@\x01\0", 3));
}

TEST(HtmlToTextTest, NulBytesBareNbspAndSpaces) {
    EXPECT_EQ(Clean(std::string("a\0\0\0b\0", 6)), std::string("a\0b\0", 4));
    EXPECT_EQ(Clean("  a   b\t\tc "), " a b\t\tc ");
    // Deliberate: a bare "nbsp;" adds a second space after a space and nothing elsewhere.
    EXPECT_EQ(Clean("a nbsp;b"), "a  b");
    EXPECT_EQ(Clean("anbsp;b nbsp"), "ab nbsp");
}

TEST(HtmlToTextTest, ByteOrderMarkAndBadArguments) {
    EXPECT_EQ(Clean("\xEF\xBB\xBF\x61<b>"), "a ");  // the mark, then "a<b>"
    EXPECT_EQ(Clean("a\xEF\xBB\xBF"), "a\xEF\xBB\xBF");
    EXPECT_EQ(Clean("\xEF\xBB"), "\xEF\xBB");
    EXPECT_EQ(Clean(""), "");

    char sText[8] = "keep";
    size_t nLen = 7;
    vHtmlToText("abc", static_cast<size_t>(-1), sText, nLen);  // a negative length
    EXPECT_EQ(nLen, 0u);
    EXPECT_STREQ(sText, "keep");
    nLen = 7;
    vHtmlToText("abc", 3, nullptr, nLen);
    EXPECT_EQ(nLen, 0u);
    nLen = 7;
    vHtmlToText(nullptr, 5, sText, nLen);
    EXPECT_EQ(nLen, 0u);
    EXPECT_STREQ(sText, "");
}

}  // namespace

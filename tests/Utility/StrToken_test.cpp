// StrToken_test.cpp: CStrToken, plain and English mode.
#include "Utility/StrToken.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

// Tokens: every token of sLine, cut with a fresh tokenizer.
std::vector<std::string> Tokens(const std::string& sLine, const char* sSeparators, bool bEnglish) {
    std::vector<char> vec(sLine.begin(), sLine.end());
    vec.push_back('\0');
    CStrToken token(bEnglish);
    std::vector<std::string> vecOut;
    for (char* p = token.GetToken(vec.data(), nullptr, sSeparators); p != nullptr;
         p = token.GetToken(nullptr, nullptr, sSeparators)) {
        vecOut.push_back(p);
    }
    return vecOut;
}

using Words = std::vector<std::string>;

// Separators and leading spaces, tabs and CRs are skipped; a space that is not a separator stays
// inside a token; each cut byte is put back at the next call, so the line is whole again at the
// end.
TEST(StrTokenTest, CutsAndRestoresTheLine) {
    EXPECT_EQ(Tokens(" \t a b,,c;d\r", ",;", false), (Words{"a b", "c", "d\r"}));
    EXPECT_EQ(Tokens(",,,", ",", false), Words{});
    EXPECT_EQ(Tokens("", ",", false), Words{});
    EXPECT_EQ(Tokens("a,b", nullptr, false), Words{"a,b"});

    char sLine[] = "one,two;three";
    CStrToken token;
    EXPECT_STREQ(token.GetToken(sLine, nullptr, ",;"), "one");
    EXPECT_FALSE(token.IsOutputSep());
    EXPECT_STREQ(token.GetToken(nullptr, nullptr, ",;"), "two");
    EXPECT_STREQ(token.GetToken(nullptr, nullptr, ",;"), "three");
    EXPECT_TRUE(token.IsOutputSep());  // reached the line end
    EXPECT_EQ(token.GetToken(nullptr, nullptr, ",;"), nullptr);
    EXPECT_STREQ(sLine, "one,two;three");

    EXPECT_EQ(CStrToken().GetToken(nullptr, nullptr, ","), nullptr);  // no line started
}

// A given line end is respected: nothing after it is read or cut. Two tokenizers over two lines do
// not disturb each other.
TEST(StrTokenTest, StopsAtGivenLineEndAndTokenizersAreIndependent) {
    char sLine[] = "ab,cd,ef", sOther[] = "b1 b2";
    CStrToken token, other;
    EXPECT_STREQ(token.GetToken(sLine, sLine + 5, ","), "ab");
    EXPECT_STREQ(other.GetToken(sOther, nullptr, " "), "b1");
    EXPECT_EQ(token.GetToken(nullptr, nullptr, ","),
              sLine + 3);  // "cd" reaches the end, not cut there
    EXPECT_STREQ(other.GetToken(nullptr, nullptr, " "), "b2");
    EXPECT_EQ(token.GetToken(nullptr, nullptr, ","), nullptr);
    EXPECT_STREQ(sLine, "ab,cd,ef");
}

// English mode keeps "." and "," inside numbers and words.
TEST(StrTokenTest, EnglishModeKeepsNumbersTogether) {
    const std::string sLine = "Pi is 3.14, 1,000 or 1,9.";
    EXPECT_EQ(Tokens(sLine, " ,.", true), (Words{"Pi", "is", "3.14", "1,000", "or", "1", "9"}));
    EXPECT_EQ(Tokens(sLine, " ,.", false),
              (Words{"Pi", "is", "3", "14", "1", "000", "or", "1", "9"}));
    EXPECT_EQ(Tokens("e.g. a..b", " .", true), (Words{"e.g", "a", "b"}));
    // Deliberate: the comma test is "not above '8'" on signed char: "9" splits, a blank or a GBK
    // byte (negative) does not.
    EXPECT_EQ(Tokens("1,8 1,9", " ,", true), (Words{"1,8", "1", "9"}));
    EXPECT_EQ(Tokens("a, b", ",", true), (Words{"a, b"}));
    const std::string sGbk = "x," + vt_test::G("中");
    EXPECT_EQ(Tokens(sGbk, ",", true), (Words{sGbk}));
}

}  // namespace

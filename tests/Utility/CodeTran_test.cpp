// CodeTran_test.cpp: the encoding converter on small tables made by the tests: conversion both ways
// against glibc iconv, the "^^" markers for bytes without a counterpart, line and blank handling,
// byte-order marks per code, the load statuses, the file forms, damaged table files, bad input, the
// direct tables against the literal engine on random tables and texts, and concurrent use.
#include "Utility/CodeTran.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "support/ConverterTables.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;
using vt_test::Pairs;
using vt_test::WriteMap;
using vt_test::WriteSide;
const auto& FILE_NAMES = vt_test::CONVERTER_FILE_NAMES;

// A table set: the units of each side (a unit's handle is its index; units are distinct) and the
// maps as handle pairs.
struct CTables {
    std::vector<std::string> vecGbk;
    std::vector<std::string> vecCode;
    Pairs vecCode2Gbk;
    Pairs vecGbk2Code;
};

void WriteTables(const vt_test::CTempDir& dir, int nCode, const CTables& tables) {
    const char* const* names = FILE_NAMES[nCode];
    WriteSide(tables.vecGbk, dir.File(names[0]), dir.File(names[1]));
    WriteSide(tables.vecCode, dir.File(names[2]), dir.File(names[3]));
    WriteMap(tables.vecCode2Gbk, dir.File(names[4]));
    WriteMap(tables.vecGbk2Code, dir.File(names[5]));
}

// The standard UTF-8 table: printable ASCII, a few hanzi and the two-character unit 中国, each
// mapped to its iconv counterpart; 人民 maps as a whole to 人们; 民 maps to a GBK handle beyond the
// word list (no text); 们 is a code unit without a map.
const char* const HANZI[] = {"中", "国", "人", "你", "好", "中国"};
constexpr int MISSING_TARGET = 999;

CTables StandardTables() {
    CTables t;
    for (int c = 0x20; c < 0x7F; ++c) t.vecCode.push_back(std::string(1, static_cast<char>(c)));
    for (const char* s : HANZI) t.vecCode.push_back(s);
    for (const std::string& s : t.vecCode) t.vecGbk.push_back(G(s));
    for (int i = 0; i < static_cast<int>(t.vecCode.size()); ++i) {
        t.vecCode2Gbk.push_back({i, i});
        t.vecGbk2Code.push_back({i, i});
    }
    int nRenMin = static_cast<int>(t.vecCode.size());
    t.vecCode.push_back("人民");
    t.vecGbk.push_back(G("人们"));
    t.vecCode2Gbk.push_back({nRenMin, nRenMin});
    t.vecCode.push_back("民");
    t.vecCode2Gbk.push_back({nRenMin + 1, MISSING_TARGET});
    t.vecCode.push_back("们");
    return t;
}

class CodeTranTest : public testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path();
    }
    // Make: writes the standard tables for nCode and builds a converter over them.
    std::unique_ptr<CCodeTran> Make(int nCode) {
        WriteTables(m_dir, nCode, StandardTables());
        std::unique_ptr<CCodeTran> p(new CCodeTran(m_dir.Path().c_str(), nCode));
        EXPECT_EQ(p->GetStatus(), 1);
        return p;
    }
    static std::string ToGbk(const CCodeTran& tran, const std::string& s) {
        std::string r = "junk";
        tran.CodeToGBK(s.c_str(), r);
        return r;
    }
    static std::string ToCode(const CCodeTran& tran, const std::string& s) {
        std::string r = "junk";
        tran.GBKToCode(s.c_str(), r);
        return r;
    }
    vt_test::CTempDir m_dir;
};

// Texts made of table characters convert like iconv in both directions, including random ones of
// several lines (no line starting with a blank, so the line handling changes nothing).
TEST_F(CodeTranTest, ConvertsTableCharactersLikeIconv) {
    auto pTran = Make(1);
    for (std::string s : {"中国人", "你好, world! 123", "a中b国c", "中国\n人\r你好", "国中国中",
                          "x ~{}|`\"'"}) {
        EXPECT_EQ(ToGbk(*pTran, s), G(s)) << s;
        EXPECT_EQ(ToCode(*pTran, G(s)), s) << s;
    }
    std::vector<std::string> vecAlphabet = {"中", "国", "人", "你", "好", "a", "Z", "0", " ", "\"",
                                            ",", "-", "~", "(", "\n"};
    std::mt19937 rng(7);
    for (int nRound = 0; nRound < 300; ++nRound) {
        std::string s = "a";
        for (int n = rng() % 40; n > 0; --n) s += vecAlphabet[rng() % vecAlphabet.size()];
        // Every line starts with a non-blank.
        for (size_t i = 0; i + 1 < s.size(); ++i) {
            if (s[i] == '\n' && (s[i + 1] == ' ' || s[i + 1] == '\n')) s[i + 1] = 'b';
        }
        if (s.back() == '\n') s += "c";
        ASSERT_EQ(ToGbk(*pTran, s), G(s)) << s;
        ASSERT_EQ(ToCode(*pTran, G(s)), s) << s;
    }
}

// The longest unit wins: 人民 is one unit (mapped to 人们), 人 alone is its own.
TEST_F(CodeTranTest, TakesTheLongestUnit) {
    auto pTran = Make(1);
    EXPECT_EQ(ToGbk(*pTran, "人民"), G("人们"));
    EXPECT_EQ(ToGbk(*pTran, "人人民人"), G("人人们人"));
}

// Bytes without a counterpart towards GBK are wrapped in "^^"; adjacent ones (the three bytes of a
// character, two characters in a row) share one pair; ASCII, a line end or a converted unit ends
// the run. The way back strips the markers.
TEST_F(CodeTranTest, WrapsUnconvertedRunsInMarkers) {
    auto pTran = Make(1);
    const std::string sSmile = "\xF0\x9F\x98\x80", sE = "\xC3\xA9";  // 😀 é
    EXPECT_EQ(ToGbk(*pTran, "中" + sSmile + "国"), G("中") + "^^" + sSmile + "^^" + G("国"));
    EXPECT_EQ(ToGbk(*pTran, sSmile + sE + "们"), "^^" + sSmile + sE + "们^^");
    EXPECT_EQ(ToGbk(*pTran, sE + "a" + sE), "^^" + sE + "^^a^^" + sE + "^^");
    EXPECT_EQ(ToGbk(*pTran, sE + "\n" + sE), "^^" + sE + "^^\n^^" + sE + "^^");

    // Round trips of texts with characters outside the table.
    for (std::string s : {"中" + sSmile + "国", "你" + sE + sSmile + "a们b", "x们y\n人" + sE + "y"}) {
        std::string sGbk = ToGbk(*pTran, s);
        EXPECT_EQ(ToCode(*pTran, sGbk), s) << s;
    }
    // A protected run ending a line takes no line end with it, and the line end that follows is a
    // leading blank of the next piece: the line break is lost on the way back.
    EXPECT_EQ(ToCode(*pTran, "^^" + sE + "^^\n^^" + sE + "^^"), sE + sE);
    // Towards GBK, protected runs of the input lose their markers too; a lone "^^" is plain text.
    EXPECT_EQ(ToGbk(*pTran, "中^^" + sE + "^^国"), G("中") + sE + G("国"));
    EXPECT_EQ(ToGbk(*pTran, "中^^国"), G("中^^国"));
    // Towards the code unconverted bytes pass as they are, without markers.
    EXPECT_EQ(ToCode(*pTran, G("中") + "\x81\x30" + G("国")), "中\x81\x30国");
}

// A mapped target without a text is logged and the unit passes unconverted.
TEST_F(CodeTranTest, ReportsAMissingTargetText) {
    auto pTran = Make(1);
    EXPECT_EQ(ToGbk(*pTran, "民"), "^^民^^");
    EXPECT_STREQ(GetLastErrorMessage(), "Cannot find map info of 民");
    EXPECT_EQ(ToGbk(*pTran, "中民们"), G("中") + "^^民们^^");
}

// Leading blanks of every line go; one terminator per line stays; blank lines vanish.
TEST_F(CodeTranTest, DropsLeadingBlanksAndKeepsOneLineEnd) {
    auto pTran = Make(1);
    EXPECT_EQ(ToGbk(*pTran, "  \t中 国\r\n\r\n  人\n"), G("中 国\r人\n"));
    EXPECT_EQ(ToGbk(*pTran, " \t\r\n  "), "");
    EXPECT_EQ(ToCode(*pTran, G("\n\n 中\t国 ")), "中国 ");  // the tab inside a line goes too
}

// Null and empty input: CodeToGBK answers null, GBKToCode the empty result.
TEST_F(CodeTranTest, NullAndEmptyInput) {
    auto pTran = Make(1);
    std::string r = "junk";
    EXPECT_EQ(pTran->CodeToGBK(nullptr, r), nullptr);
    EXPECT_EQ(r, "");
    r = "junk";
    EXPECT_EQ(pTran->CodeToGBK("", r), nullptr);
    EXPECT_EQ(r, "");
    r = "junk";
    EXPECT_STREQ(pTran->GBKToCode(nullptr, r), "");
    r = "junk";
    EXPECT_STREQ(pTran->GBKToCode("", r), "");
    EXPECT_EQ(r, "");
    EXPECT_STREQ(pTran->CodeTrans(nullptr, r, nullptr, nullptr, nullptr, false), "");
}

// The UTF-8 codes (1, 4, 5) skip a leading byte-order mark in both directions; 2 and 3 treat it as
// bytes without a counterpart.
TEST_F(CodeTranTest, ByteOrderMarkPerCode) {
    const std::string sBom = "\xEF\xBB\xBF";
    for (int nCode = 1; nCode <= 5; ++nCode) {
        vt_test::CTempDir dir;
        WriteTables(dir, nCode, StandardTables());
        CCodeTran tran(dir.Path().c_str(), nCode);
        ASSERT_EQ(tran.GetStatus(), 1) << nCode;
        EXPECT_EQ(tran.GetEncoding(), nCode);
        bool bUtf8 = nCode == 1 || nCode == 4 || nCode == 5;
        EXPECT_EQ(ToGbk(tran, sBom + "中国"), bUtf8 ? G("中国") : "^^" + sBom + "^^" + G("中国"))
            << nCode;
        EXPECT_EQ(ToCode(tran, sBom + G("中国")), bUtf8 ? "中国" : sBom + "中国") << nCode;
    }
}

// Code 4 loads GBKA2UTF.map as its code-to-GBK map and UTF2GBKA.map as its GBK-to-code map.
TEST_F(CodeTranTest, Code4TakesItsMapsByColumn) {
    CTables t = StandardTables();
    // Swap 中 and 国 in the code-to-GBK map only.
    int nZhong = 0x7F - 0x20, nGuo = nZhong + 1;
    for (auto& pair : t.vecCode2Gbk) {
        if (pair.first == nZhong) pair.second = nGuo;
        else if (pair.first == nGuo) pair.second = nZhong;
    }
    WriteTables(m_dir, 4, t);
    CCodeTran tran(m_dir.Path().c_str(), 4);
    ASSERT_EQ(tran.GetStatus(), 1);
    EXPECT_EQ(ToGbk(tran, "中国"), G("中国"));  // the two-character unit is unchanged
    EXPECT_EQ(ToGbk(tran, "中a国"), G("国a中"));
    EXPECT_EQ(ToCode(tran, G("中a国")), "中a国");
}

// A missing dictionary or word list fails construction; a missing map file is logged, frees every
// table, and still gives status 1: the converter then passes texts through.
TEST_F(CodeTranTest, LoadStatuses) {
    for (int nColumn = 0; nColumn < 6; ++nColumn) {
        vt_test::CTempDir dir;
        WriteTables(dir, 1, StandardTables());
        std::string sMissing = dir.File(FILE_NAMES[1][nColumn]);
        std::remove(sMissing.c_str());
        CCodeTran tran(dir.Path().c_str(), 1);
        EXPECT_STREQ(GetLastErrorMessage(), (sMissing + " cannot load!\n").c_str());
        if (nColumn < 4) {
            EXPECT_EQ(tran.GetStatus(), 0) << nColumn;
            EXPECT_EQ(tran.GetEncoding(), 0);
            continue;
        }
        // Deliberate quirk: success without tables.
        EXPECT_EQ(tran.GetStatus(), 1) << nColumn;
        EXPECT_EQ(ToGbk(tran, "中a 国"), "^^中^^a ^^国^^");
        EXPECT_EQ(ToCode(tran, G("中a")), G("中a"));
        EXPECT_EQ(ToCode(tran, " x\r\n"), "x\r");
    }
    for (int nCode : {0, 6, -1, 1 << 30}) {
        CCodeTran tran(m_dir.Path().c_str(), nCode);
        EXPECT_EQ(tran.GetStatus(), 0) << nCode;
        std::string r;
        EXPECT_EQ(tran.CodeToGBK("a中", r), std::string("a^^中^^"));  // no tables
    }
    CCodeTran tranNull(nullptr, 1);
    EXPECT_EQ(tranNull.GetStatus(), 0);
}

// CLoadedTables: the tests' own copies of a converter's six tables, for the literal engine.
struct CLoadedTables {
    CPDAT gbkDict{1}, codeDict{1};
    CWordList gbkList{false, nullptr}, codeList{false, nullptr};
    CIDMaps code2Gbk, gbk2Code;

    bool Load(const vt_test::CTempDir& dir, int nCode) {
        const char* const* names = FILE_NAMES[nCode];
        return gbkDict.Load(dir.File(names[0]).c_str()) && gbkList.Load(dir.File(names[1]).c_str()) &&
               codeDict.Load(dir.File(names[2]).c_str()) &&
               codeList.Load(dir.File(names[3]).c_str()) &&
               code2Gbk.Load(dir.File(names[4]).c_str()) && gbk2Code.Load(dir.File(names[5]).c_str());
    }
    // ExpectSame: CodeToGBK and GBKToCode (the direct tables) give what the literal engine gives.
    void ExpectSame(const CCodeTran& tran, const std::string& s) {
        std::string sDirect, sPlain;
        tran.CodeToGBK(s.c_str(), sDirect);
        tran.CodeTransPlain(s.c_str(), sPlain, &codeDict, &code2Gbk, &gbkList, false);
        ASSERT_EQ(sDirect, sPlain) << "to GBK: " << s;
        tran.GBKToCode(s.c_str(), sDirect);
        tran.CodeTransPlain(s.c_str(), sPlain, &gbkDict, &gbk2Code, &codeList, true);
        ASSERT_EQ(sDirect, sPlain) << "to code: " << s;
    }
};

// Damaged table files: a truncated dictionary or word list gives status 0, a truncated map status
// 1; whatever loads converts without crashing, and its direct tables agree with the literal engine.
TEST_F(CodeTranTest, DamagedTableFiles) {
    WriteTables(m_dir, 1, StandardTables());
    const std::vector<std::string> vecTexts = {
        "中国人民 abc\xC3\xA9\n你好^^x^^们\xF0\x9F", G("中国人 abc\n") + "\x81",
        "\x80\xBF\xC0\xAF\xED\xA0\x80 \"q\" \t-x_y"};
    for (int nColumn : {0, 1, 2, 3, 4}) {
        std::string sFile = m_dir.File(FILE_NAMES[1][nColumn]);
        std::string sGood = vt_test::ReadWholeFile(sFile);
        vt_test::ForEachDamagedCopy(sGood, sFile, 12, 40, 11 + nColumn, [&](bool bTruncated) {
            CCodeTran tran(m_dir.Path().c_str(), 1);
            if (bTruncated) {
                EXPECT_EQ(tran.GetStatus(), nColumn == 4 ? 1 : 0) << nColumn;
            }
            if (tran.GetStatus() != 1) return;
            CLoadedTables tables;
            bool bAll = tables.Load(m_dir, 1);
            for (const std::string& s : vecTexts) {
                if (bAll) {
                    tables.ExpectSame(tran, s);
                } else {
                    std::string r;
                    tran.CodeToGBK(s.c_str(), r);
                    tran.GBKToCode(s.c_str(), r);
                }
            }
        });
        vt_test::WriteWholeFile(sFile, sGood);
    }
    CCodeTran tran(m_dir.Path().c_str(), 1);
    EXPECT_EQ(ToGbk(tran, "中国"), G("中国"));
}

// Bad input (invalid UTF-8: lone continuation bytes, truncated sequences, overlong forms,
// surrogates; binary junk; stray markers; a long line) gives a defined result: every byte without
// a unit passes, wrapped towards GBK, and a single line of it comes back unchanged.
TEST_F(CodeTranTest, BadInputPassesThrough) {
    auto pTran = Make(1);
    CLoadedTables tables;
    ASSERT_TRUE(tables.Load(m_dir, 1));
    std::mt19937 rng(3);
    std::vector<std::string> vecTexts = {"\x80", "a\xBF\xBF", "\xE4\xB8", "\xC0\xAF", "\xED\xA0\x80",
                                         "\xF8\x88\x80\x80\x80", "\xFF\xFE", "^^", "a^^b", "^^^^^",
                                         "^^a\n^^", std::string(100000, 'x') + "中"};
    for (int i = 0; i < 200; ++i) {
        std::string s;
        for (int n = 1 + rng() % 30; n > 0; --n) s += static_cast<char>(1 + rng() % 255);
        vecTexts.push_back(s);
    }
    for (const std::string& s : vecTexts) {
        tables.ExpectSame(*pTran, s);
        // Blanks would be lost after a protected run, and tabs inside a line anyway.
        bool bPlainLine = s.find_first_of(" \t\r\n^") == std::string::npos;
        if (bPlainLine) {
            EXPECT_EQ(ToCode(*pTran, ToGbk(*pTran, s)), s);
        }
    }
    EXPECT_EQ(ToGbk(*pTran, "\xE4\xB8"), "^^\xE4\xB8^^");  // 中 cut short
}

// The direct tables give the literal engine's output on random tables over a small byte alphabet
// (tabs, quotes, blanks, markers and high bytes inside units; multi-byte units; maps to several
// targets, to no text and to nothing) and random texts.
TEST(CodeTranDirectTest, AgreesWithTheLiteralEngine) {
    g_bLog = false;  // thousands of "Cannot find map info" lines
    const std::string sAlphabet = "ab\"\t ^-x\x81\xC3\xE4\xB8\r\n";
    std::mt19937 rng(2024);
    auto randomText = [&](size_t nMax, bool bUnit) {
        std::string s;
        for (size_t n = 1 + rng() % nMax; n > 0; --n) {
            char c = sAlphabet[rng() % sAlphabet.size()];
            if (bUnit && (c == '\r' || c == '\n' || c == '\t')) c = 'a';  // never in units
            s += c;
        }
        return s;
    };
    for (int nRound = 0; nRound < 40; ++nRound) {
        vt_test::CTempDir dir;
        CTables t;
        for (std::vector<std::string>* pSide : {&t.vecGbk, &t.vecCode}) {
            std::vector<std::string> vecUnits;
            for (int n = rng() % 40; n > 0; --n) {
                std::string s = randomText(4, true);
                if (std::find(vecUnits.begin(), vecUnits.end(), s) == vecUnits.end())
                    vecUnits.push_back(s);
            }
            *pSide = vecUnits;
        }
        for (int n = rng() % 60; n > 0; --n) {
            int nSrc = static_cast<int>(rng() % (t.vecCode.size() + 2));
            int nDst = static_cast<int>(rng() % (t.vecGbk.size() + 3)) - 1;  // -1 and beyond the list
            t.vecCode2Gbk.push_back({nSrc, nDst});
            nSrc = static_cast<int>(rng() % (t.vecGbk.size() + 2));
            nDst = static_cast<int>(rng() % (t.vecCode.size() + 3)) - 1;
            t.vecGbk2Code.push_back({nSrc, nDst});
        }
        WriteTables(dir, 1 + nRound % 5, t);
        CCodeTran tran(dir.Path().c_str(), 1 + nRound % 5);
        ASSERT_EQ(tran.GetStatus(), 1);
        CLoadedTables tables;
        ASSERT_TRUE(tables.Load(dir, 1 + nRound % 5));
        for (int i = 0; i < 100; ++i) {
            std::string s = randomText(60, false);
            tables.ExpectSame(tran, s);
            if (HasFatalFailure()) return;
        }
    }
}

// A built converter serves many threads at once (missing targets logged from all of them); each
// gets what a lone call gives.
TEST_F(CodeTranTest, ConcurrentConversions) {
    auto pTran = Make(1);
    std::vector<std::string> vecTexts = {"中国人民 abc\n你好", "\xC3\xA9们^^x^^国", "x\r\n 人 民"};
    std::vector<std::string> vecGbk, vecCode;
    for (const std::string& s : vecTexts) {
        vecGbk.push_back(ToGbk(*pTran, s));
        vecCode.push_back(ToCode(*pTran, vecGbk.back()));
    }
    std::vector<std::thread> vecThreads;
    std::vector<int> vecBad(4, 0);
    for (int t = 0; t < 4; ++t) {
        vecThreads.emplace_back([&, t] {
            std::string r;
            for (int i = 0; i < 2000; ++i) {
                size_t k = static_cast<size_t>(i + t) % vecTexts.size();
                pTran->CodeToGBK(vecTexts[k].c_str(), r);
                if (r != vecGbk[k]) ++vecBad[t];
                pTran->GBKToCode(vecGbk[k].c_str(), r);
                if (r != vecCode[k]) ++vecBad[t];
            }
        });
    }
    for (std::thread& th : vecThreads) th.join();
    EXPECT_EQ(vecBad, std::vector<int>(4, 0));
}

// The file forms: code 1 skips a source mark towards GBK and writes one towards the code; other
// codes write none; missing sources and uncreatable targets give false and write nothing.
TEST_F(CodeTranTest, FileForms) {
    auto pTran = Make(1);
    std::string sSrc = m_dir.File("src.txt"), sDsn = m_dir.File("dsn.txt");
    vt_test::WriteWholeFile(sSrc, "\xEF\xBB\xBF中国\n 人");
    ASSERT_TRUE(pTran->CodeToGBKFile(sSrc.c_str(), sDsn.c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(sDsn), G("中国\n人\n"));
    vt_test::WriteWholeFile(sSrc, G("中国\n人"));
    ASSERT_TRUE(pTran->GBKToCodeFile(sSrc.c_str(), sDsn.c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(sDsn), "\xEF\xBB\xBF中国\n人\n");

    vt_test::CTempDir dir2;
    WriteTables(dir2, 2, StandardTables());
    CCodeTran tran2(dir2.Path().c_str(), 2);
    ASSERT_TRUE(tran2.GBKToCodeFile(sSrc.c_str(), sDsn.c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(sDsn), "中国\n人\n");

    std::string sNew = m_dir.File("new.txt");
    EXPECT_FALSE(pTran->CodeToGBKFile(m_dir.File("absent.txt").c_str(), sNew.c_str()));
    EXPECT_FALSE(pTran->GBKToCodeFile(m_dir.File("absent.txt").c_str(), sNew.c_str()));
    EXPECT_FALSE(vt_test::FileExists(sNew));
    vt_test::WriteWholeFile(m_dir.File("empty.txt"), "");
    EXPECT_FALSE(pTran->CodeToGBKFile(m_dir.File("empty.txt").c_str(), sNew.c_str()));
    EXPECT_FALSE(vt_test::FileExists(sNew));
    EXPECT_FALSE(pTran->CodeToGBKFile(sSrc.c_str(), m_dir.File("no/dir.txt").c_str()));
    EXPECT_FALSE(pTran->CodeToGBKFile(nullptr, sNew.c_str()));
    EXPECT_FALSE(pTran->GBKToCodeFile(sSrc.c_str(), nullptr));
}

}  // namespace

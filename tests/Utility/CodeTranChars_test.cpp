// CodeTranChars_test.cpp: the encoding converter's units taken one by one without the trie: which
// two-byte units and UTF-8 characters qualify when phrases do or do not convert as their
// characters in a row, and the output against the literal engine on random tables and texts made
// of their units (phrases, unmapped units, targets without text, lone lead bytes, invalid UTF-8,
// markers, line ends) and on the built tables of the data directory.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Utility/CodeTran.h"
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

// CTables: units of each side (a unit's handle is its index) and the maps as handle pairs.
struct CTables {
    std::vector<std::string> vecGbk, vecCode;
    Pairs vecCode2Gbk, vecGbk2Code;

    void Write(const std::string& sDir, int nCode) const {
        const char* const* names = FILE_NAMES[nCode];
        WriteSide(vecGbk, sDir + "/" + names[0], sDir + "/" + names[1]);
        WriteSide(vecCode, sDir + "/" + names[2], sDir + "/" + names[3]);
        WriteMap(vecCode2Gbk, sDir + "/" + names[4]);
        WriteMap(vecGbk2Code, sDir + "/" + names[5]);
    }
};

// CLiteral: the six tables of a directory loaded once more, for the literal engine. The converter
// writes into the same string every time, as callers that keep one per thread do.
struct CLiteral {
    CPDAT gbkDict{1}, codeDict{1};
    CWordList gbkList{false, nullptr}, codeList{false, nullptr};
    CIDMaps code2Gbk, gbk2Code;
    std::string sFast;

    bool Load(const std::string& sDir, int nCode) {
        const char* const* names = FILE_NAMES[nCode];
        auto path = [&](int i) { return sDir + "/" + names[i]; };
        return gbkDict.Load(path(0).c_str()) && gbkList.Load(path(1).c_str()) &&
               codeDict.Load(path(2).c_str()) && codeList.Load(path(3).c_str()) &&
               code2Gbk.Load(path(4).c_str()) && gbk2Code.Load(path(5).c_str());
    }
    void ExpectToGbk(const CCodeTran& tran, const std::string& s) {
        std::string sPlain;
        tran.CodeToGBK(s.c_str(), sFast);
        tran.CodeTransPlain(s.c_str(), sPlain, &codeDict, &code2Gbk, &gbkList, false);
        ASSERT_EQ(sFast, sPlain) << "to GBK: " << s;
    }
    void ExpectToCode(const CCodeTran& tran, const std::string& s) {
        std::string sPlain;
        tran.GBKToCode(s.c_str(), sFast);
        tran.CodeTransPlain(s.c_str(), sPlain, &gbkDict, &gbk2Code, &codeList, true);
        ASSERT_EQ(sFast, sPlain) << "to code: " << s;
    }
};

std::string ToGbk(const CCodeTran& tran, const std::string& s) {
    std::string r;
    tran.CodeToGBK(s.c_str(), r);
    return r;
}

std::string ToCode(const CCodeTran& tran, const std::string& s) {
    std::string r;
    tran.GBKToCode(s.c_str(), r);
    return r;
}

// Utf8: the UTF-8 form of code point c (below 0x110000), surrogates included.
std::string Utf8(uint32_t c) {
    if (c < 0x80) return std::string(1, static_cast<char>(c));
    auto tail = [c](int nShift) { return static_cast<char>(0x80 | ((c >> nShift) & 0x3F)); };
    if (c < 0x800) return {static_cast<char>(0xC0 | (c >> 6)), tail(0)};
    if (c < 0x10000) return {static_cast<char>(0xE0 | (c >> 12)), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | (c >> 18)), tail(12), tail(6), tail(0)};
}

// RandomUtf8: up to 60 pieces, CJK characters most, then ASCII (blanks, tabs, line ends and "^"
// among it), four-byte and other characters, invalid sequences (a CJK character cut short or in
// an overlong four-byte form, a surrogate, a code point above U+10FFFF, a stray byte of 0x80 or
// above), "^^" and byte-order marks.
std::string RandomUtf8(std::mt19937& rng) {
    auto cjk = [&]() { return 0x4E00 + static_cast<uint32_t>(rng() % 0x5200); };
    auto byte = [](uint32_t b) { return static_cast<char>(b); };
    std::string s;
    for (int n = 1 + rng() % 60; n > 0; --n) {
        uint32_t nRoll = rng() % 20, c = cjk();
        if (nRoll < 9) {
            s += Utf8(c);
        } else if (nRoll < 13) {
            s += nRoll == 9 ? "\t\r\n ^"[rng() % 5] : byte(0x20 + rng() % 0x5F);
        } else if (nRoll < 15) {
            s += Utf8(0x10000 + static_cast<uint32_t>(rng() % 0x100000));
        } else if (nRoll < 16) {
            s += Utf8(0x80 + static_cast<uint32_t>(rng() % 0xFF80));
        } else if (nRoll < 18) {
            switch (rng() % 5) {
                case 0:
                    s += Utf8(c).substr(0, 1 + rng() % 2);
                    break;
                case 1:
                    s += {byte(0xF0), byte(0x80 | c >> 12), Utf8(c)[1], Utf8(c)[2]};
                    break;
                case 2:
                    s += Utf8(0xD800 + static_cast<uint32_t>(rng() % 0x800));
                    break;
                case 3:
                    s += {byte(0xF4), byte(0x90 + rng() % 0x30), byte(0x80), byte(0x80)};
                    break;
                default:
                    s += byte(0x80 + rng() % 0x80);
                    break;
            }
        } else if (nRoll < 19) {
            s += "^^";
        } else {
            s += "\xEF\xBB\xBF";
        }
    }
    return s;
}

// A phrase that does not convert as its characters in a row takes its first character off the
// table, and so does a phrase whose later character is off it; an unmapped unit stays on it (as it
// is towards the caller's encoding, wrapped in markers towards GBK). Both sides are GBK texts here
// (code 3, traditional characters written in GBK), so both directions have two-byte units.
TEST(CodeTranCharsTest, PhrasesDecideWhichUnitsSkipTheTrie) {
    vt_test::CTempDir dir;
    CTables t;
    t.vecGbk = {G("中"), G("国"), G("人"), G("民"), G("好"), G("中国"), G("国人")};
    t.vecCode = {G("中"),   G("國"), G("人"), G("民"),       G("中國"),
                 G("國民"), G("你"), G("好"), G("好") + "a", "a"};
    // 中国 -> 中國 is its characters in a row; 国人 -> 國民 is not; 好 has no map row.
    t.vecGbk2Code = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {5, 4}, {6, 5}};
    // 中國 -> 中国 is its characters in a row; 國民 -> 国人 is not; 你, 好, 好a and a have no map
    // row: 好a is wrapped whole, but its a would not be wrapped on its own.
    t.vecCode2Gbk = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 5}, {5, 6}};
    t.Write(dir.Path(), 3);
    CCodeTran tran(dir.Path().c_str(), 3);
    ASSERT_EQ(tran.GetStatus(), 1);
    // 国, 國 and 好 (code side) begin a phrase that breaks the rule; 中 begins 中国 (中國), whose
    // 国 (國) is off.
    EXPECT_EQ(tran.GetCharUnitCount(true), 3);   // 人 民 好
    EXPECT_EQ(tran.GetCharUnitCount(false), 3);  // 人 民 你

    EXPECT_EQ(ToCode(tran, G("中国人好民")), G("中國人好民"));
    EXPECT_EQ(ToCode(tran, G("国人民")), G("國民民"));
    EXPECT_EQ(ToCode(tran, G("人国人")), G("人國民"));
    EXPECT_EQ(ToGbk(tran, G("你你人國民中國")), "^^" + G("你你") + "^^" + G("人国人中国"));
    EXPECT_EQ(ToGbk(tran, G("你人你")), "^^" + G("你") + "^^" + G("人") + "^^" + G("你") + "^^");
    EXPECT_EQ(ToGbk(tran, G("好a好")), "^^" + G("好") + "a" + G("好") + "^^");

    CLiteral literal;
    ASSERT_TRUE(literal.Load(dir.Path(), 3));
    for (const char* s :
         {"中国人好民", "国人民", "人国人", "好人好", "你你人國民中國", "中國你", "好a好好aa你"}) {
        literal.ExpectToCode(tran, G(s));
        literal.ExpectToGbk(tran, G(s));
    }
}

// The same towards GBK from UTF-8 (code 1), where the units are UTF-8 characters of two to four
// bytes: 国 begins 国人, which converts to 国民, not to 国 and 人 in a row; 中 begins 中国, whose
// 国 is off; 你 has no map row and is wrapped. An overlong or cut-short form of a character is no
// unit: its bytes pass wrapped, as they do through the trie.
TEST(CodeTranCharsTest, Utf8PhrasesDecideWhichCharactersSkipTheTrie) {
    vt_test::CTempDir dir;
    CTables t;
    t.vecGbk = {G("中"), G("国"), G("人"), G("民"), G("笑"), "e", G("中国"), G("国民")};
    t.vecCode = {"中", "国", "人", "民", "\U0001F600", "\u00E9", "中国", "国人", "你"};
    t.vecCode2Gbk = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}};
    t.Write(dir.Path(), 1);
    CCodeTran tran(dir.Path().c_str(), 1);
    ASSERT_EQ(tran.GetStatus(), 1);
    EXPECT_EQ(tran.GetCharUnitCount(false), 5);  // 人 民 😀 é 你

    EXPECT_EQ(ToGbk(tran, "中国人你你\U0001F600\u00E9"), G("中国人") + "^^你你^^" + G("笑") + "e");
    EXPECT_EQ(ToGbk(tran, "国人民"), G("国民民"));
    EXPECT_EQ(ToGbk(tran, "人\xF0\x84\xBA\xBA"), G("人") + "^^\xF0\x84\xBA\xBA^^");  // 人, overlong
    EXPECT_EQ(ToGbk(tran, "\xF0\x9F\x98\u00E9"), "^^\xF0\x9F\x98^^e");  // 😀 cut short

    CLiteral literal;
    ASSERT_TRUE(literal.Load(dir.Path(), 1));
    for (const char* s : {"中国人民", "人国人\t你", "^^你^^你\r\n\xE4\xBA", "\xEF\xBB\xBF你人",
                          "\xC3\xA9\xC3", "\xE0\x83\xA9\xC1\xA9\xED\xA0\x80\xF4\x90\x80\x80"}) {
        literal.ExpectToGbk(tran, s);
    }
}

// Random tables over a small alphabet of two-byte units (trail bytes that are ASCII, "^", a blank
// or another lead byte among them) and ASCII units, with phrases that convert as their units in a
// row, phrases that do not, unmapped units, targets without text and phrases ending in a lone lead
// byte; texts made of those units, of stray bytes, invalid UTF-8 and line ends. Both directions
// agree with the literal engine, and the units taken one by one are many. Every third round is
// code 1, whose code side has UTF-8 characters of two to four bytes (sharing lead and second
// bytes) for units, and phrases that may end in a character cut short.
TEST(CodeTranCharsTest, AgreesWithTheLiteralEngineOnRandomTables) {
    g_bLog = false;  // many "Cannot find map info" lines
    std::mt19937 rng(7);
    auto pick = [&](const std::string& s) { return s[rng() % s.size()]; };
    const std::string sLeads = "\x80\x81\xA1\xB0\xFE\xFF";
    const std::string sTrails = "\x40^a \xA1\xB0\x81\xFF";
    const std::string sAscii = "ab^- \"";
    auto unit = [&]() {
        if (rng() % 4 == 0) return std::string(1, pick(sAscii));
        return std::string{pick(sLeads), pick(sTrails)};
    };
    // é ÿ U+07FF U+0800 一 丿 中 人 U+D7FF U+FFFD 😀 U+20000 U+10FFFF
    const std::vector<std::string> vecUtf8 = {
        "\u00E9", "\u00FF", "\u07FF", "\u0800",     "\u4E00",     "\u4E3F",    "\u4E2D",
        "\u4EBA", "\uD7FF", "\uFFFD", "\U0001F600", "\U00020000", "\U0010FFFF"};
    // Cut short, overlong (é, 中), a surrogate, above U+10FFFF, bytes that begin nothing.
    const std::vector<std::string> vecInvalid = {
        "\xE4\xB8", "\xF0\x9F\x98",     "\xC3",         "\xC3\xE4\xB8\xAD", "\xE0\x83\xA9",
        "\xC1\xA9", "\xF0\x84\xB8\xAD", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80\xBF",
        "\xF8\xFF"};
    auto utf8Unit = [&]() {
        if (rng() % 4 == 0) return std::string(1, pick(sAscii));
        return vecUtf8[rng() % vecUtf8.size()];
    };
    int nToCodeUnits = 0, nToGbkUnits = 0, nUtf8Units = 0;
    for (int nRound = 0; nRound < 30; ++nRound) {
        const int nCode = nRound % 3 == 2 ? 1 : 2 + nRound % 2;
        auto sideUnit = [&](int nSide) { return nSide == 1 && nCode == 1 ? utf8Unit() : unit(); };
        // Each side: units by text, with their conversions decided afterwards.
        std::vector<std::string> avecSide[2];
        std::map<std::string, int> amapIndex[2];
        auto add = [&](int nSide, const std::string& s) {
            auto it = amapIndex[nSide].find(s);
            if (it != amapIndex[nSide].end()) return it->second;
            int nIndex = static_cast<int>(avecSide[nSide].size());
            avecSide[nSide].push_back(s);
            amapIndex[nSide][s] = nIndex;
            return nIndex;
        };
        std::vector<std::vector<std::string>> avecParts[2];  // the units of each phrase, by index
        for (int nSide = 0; nSide < 2; ++nSide) {
            for (int n = 0; n < 25; ++n) add(nSide, sideUnit(nSide));
            size_t nUnits = avecSide[nSide].size();
            avecParts[nSide].resize(nUnits);
            for (int n = 0; n < 12; ++n) {
                std::vector<std::string> vecParts;
                std::string sPhrase;
                for (int k = 2 + rng() % 2; k > 0; --k) {
                    vecParts.push_back(avecSide[nSide][rng() % nUnits]);
                    sPhrase += vecParts.back();
                }
                if (rng() % 8 == 0) {  // ends with a lone lead byte or a character cut short
                    sPhrase += nSide == 1 && nCode == 1 ? vecInvalid[rng() % 3]
                                                        : std::string(1, pick(sLeads));
                }
                size_t nBefore = avecSide[nSide].size();
                int nIndex = add(nSide, sPhrase);
                if (avecSide[nSide].size() > nBefore) avecParts[nSide].push_back(vecParts);
                (void)nIndex;
            }
        }
        // Maps: a unit to a random unit of the other side, a phrase mostly to its units' targets in
        // a row (added to the other side when new), some to nothing or to a handle without text.
        Pairs avecMap[2];
        int nUnmapped = rng() % 3 == 0 ? 5 : 1;  // in tenths; many unmapped units in some rounds
        for (int nSide = 0; nSide < 2; ++nSide) {
            int nOther = 1 - nSide;
            std::map<int, int> mapTarget;
            size_t nOwn = avecParts[nSide].size();
            for (size_t i = 0; i < nOwn; ++i) {
                int nRoll = static_cast<int>(rng() % 10);
                if (nRoll < nUnmapped) continue;  // no map row
                int nTarget;
                if (nRoll == nUnmapped) {
                    nTarget = 1000;  // beyond the other side's list: no text
                } else if (!avecParts[nSide][i].empty() && nRoll < 8) {
                    std::string sRow;
                    bool bAll = true;
                    for (const std::string& sPart : avecParts[nSide][i]) {
                        auto it = mapTarget.find(amapIndex[nSide][sPart]);
                        bAll = bAll && it != mapTarget.end() && it->second < 1000;
                        if (bAll) sRow += avecSide[nOther][static_cast<size_t>(it->second)];
                    }
                    if (!bAll) continue;
                    nTarget = add(nOther, sRow);
                } else {
                    nTarget = static_cast<int>(rng() % avecSide[nOther].size());
                }
                mapTarget[static_cast<int>(i)] = nTarget;
                avecMap[nSide].push_back({static_cast<int>(i), nTarget});
            }
        }
        CTables t;
        t.vecGbk = avecSide[0];
        t.vecCode = avecSide[1];
        t.vecGbk2Code = avecMap[0];
        t.vecCode2Gbk = avecMap[1];
        vt_test::CTempDir dir;
        t.Write(dir.Path(), nCode);
        if (HasFatalFailure()) return;
        CCodeTran tran(dir.Path().c_str(), nCode);
        ASSERT_EQ(tran.GetStatus(), 1);
        nToCodeUnits += tran.GetCharUnitCount(true);
        (nCode == 1 ? nUtf8Units : nToGbkUnits) += tran.GetCharUnitCount(false);
        CLiteral literal;
        ASSERT_TRUE(literal.Load(dir.Path(), nCode));
        const std::string sStray = "\r\n\t ^a\x81\xB0";
        for (int i = 0; i < 200; ++i) {
            std::string s;
            for (int n = 1 + rng() % 30; n > 0; --n) {
                int nRoll = static_cast<int>(rng() % 8);
                if (nRoll < 3) {
                    s += avecSide[0][rng() % avecSide[0].size()];
                } else if (nRoll < 6) {
                    s += avecSide[1][rng() % avecSide[1].size()];
                } else if (nRoll == 6) {
                    s += sideUnit(static_cast<int>(rng() % 2));
                } else if (rng() % 2 == 0) {
                    s += vecInvalid[rng() % vecInvalid.size()];
                } else {
                    s += pick(sStray);
                }
            }
            literal.ExpectToCode(tran, s);
            literal.ExpectToGbk(tran, s);
            if (HasFatalFailure()) return;
        }
    }
    EXPECT_GT(nToCodeUnits, 0);
    EXPECT_GT(nToGbkUnits, 0);
    EXPECT_GT(nUtf8Units, 0);
}

// The built tables: GBK characters are converted one by one towards UTF-8 (the phrases the GBK
// dictionary holds for the traditional tables convert as their characters), and UTF-8 characters
// towards GBK; texts made of the dictionary's units, phrases included, random UTF-8 texts (CJK,
// ASCII, four-byte characters, invalid sequences, markers) and the PKU test text in both
// encodings give what the literal engine gives.
TEST(CodeTranCharsTest, BuiltTablesAgreeWithTheLiteralEngine) {
    const std::string sData = std::string(VINTREL_BUILD_DIR) + "/data";
    ASSERT_TRUE(vt_test::FileExists(sData + "/GBK.pdat")) << "no tables in " << sData;
    const std::string sPkuDir = std::string(VINTREL_SHARED_DIR) + "/benchmarks/sighan2005/";
    std::string sPku = vt_test::ReadWholeFile(sPkuDir + "pku_test.txt");
    std::string sPkuUtf8 = vt_test::ReadWholeFile(sPkuDir + "pku_test.utf8");
    g_bLog = false;
    std::mt19937 rng(11);
    for (int nCode = 1; nCode <= 5; ++nCode) {
        CCodeTran tran(sData.c_str(), nCode);
        ASSERT_EQ(tran.GetStatus(), 1);
        CLiteral literal;
        ASSERT_TRUE(literal.Load(sData, nCode));
        std::printf("code %d: %d units towards the code, %d towards GBK\n", nCode,
                    tran.GetCharUnitCount(true), tran.GetCharUnitCount(false));
        if (nCode == 1 || nCode == 5) {
            // At least every GBK/2 hanzi (cells B0A1 to F7FE) and GBK/3 and GBK/4 hanzi.
            EXPECT_GT(tran.GetCharUnitCount(true), 20000);
        }
        if (nCode == 1 || nCode == 4 || nCode == 5) {
            // The same hanzi by code point, towards GBK.
            EXPECT_GT(tran.GetCharUnitCount(false), 20000);
            for (int i = 0; i < 300; ++i) {
                literal.ExpectToGbk(tran, RandomUtf8(rng));
                if (HasFatalFailure()) return;
            }
            if (!sPkuUtf8.empty()) literal.ExpectToGbk(tran, sPkuUtf8);
        }
        int nGbkBound = literal.gbkList.GetBound(), nCodeBound = literal.codeList.GetBound();
        ASSERT_GT(nGbkBound, 0);
        ASSERT_GT(nCodeBound, 0);
        for (int i = 0; i < 300; ++i) {
            std::string sGbk, sCode;
            for (int n = 1 + rng() % 40; n > 0; --n) {
                if (rng() % 10 == 0) {
                    sGbk += static_cast<char>(rng() % 255 + 1);
                    sCode += static_cast<char>(rng() % 255 + 1);
                    continue;
                }
                sGbk += literal.gbkList.GetWord(static_cast<int>(rng() % nGbkBound));
                sCode += literal.codeList.GetWord(static_cast<int>(rng() % nCodeBound));
            }
            literal.ExpectToCode(tran, sGbk);
            literal.ExpectToGbk(tran, sCode);
            if (HasFatalFailure()) return;
        }
        if (!sPku.empty()) literal.ExpectToCode(tran, sPku);
    }
}

}  // namespace

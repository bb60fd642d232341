// CodeTranChars_test.cpp: the encoding converter's units taken one by one without the trie: which
// two-byte units qualify when phrases do or do not convert as their characters in a row, and the
// output against the literal engine on random tables and texts made of their units (phrases,
// unmapped units, targets without text, lone lead bytes, markers, line ends) and on the built
// tables of the data directory.
#include <gtest/gtest.h>

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

// CLiteral: the six tables of a directory loaded once more, for the literal engine.
struct CLiteral {
    CPDAT gbkDict{1}, codeDict{1};
    CWordList gbkList{false, nullptr}, codeList{false, nullptr};
    CIDMaps code2Gbk, gbk2Code;

    bool Load(const std::string& sDir, int nCode) {
        const char* const* names = FILE_NAMES[nCode];
        auto path = [&](int i) { return sDir + "/" + names[i]; };
        return gbkDict.Load(path(0).c_str()) && gbkList.Load(path(1).c_str()) &&
               codeDict.Load(path(2).c_str()) && codeList.Load(path(3).c_str()) &&
               code2Gbk.Load(path(4).c_str()) && gbk2Code.Load(path(5).c_str());
    }
    void ExpectToGbk(const CCodeTran& tran, const std::string& s) {
        std::string sFast, sPlain;
        tran.CodeToGBK(s.c_str(), sFast);
        tran.CodeTransPlain(s.c_str(), sPlain, &codeDict, &code2Gbk, &gbkList, false);
        ASSERT_EQ(sFast, sPlain) << "to GBK: " << s;
    }
    void ExpectToCode(const CCodeTran& tran, const std::string& s) {
        std::string sFast, sPlain;
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

// Random tables over a small alphabet of two-byte units (trail bytes that are ASCII, "^", a blank
// or another lead byte among them) and ASCII units, with phrases that convert as their units in a
// row, phrases that do not, unmapped units, targets without text and phrases ending in a lone lead
// byte; texts made of those units, of stray bytes and line ends. Both directions agree with the
// literal engine, and the units taken one by one are many.
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
    int nToCodeUnits = 0, nToGbkUnits = 0;
    for (int nRound = 0; nRound < 30; ++nRound) {
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
            for (int n = 0; n < 25; ++n) add(nSide, unit());
            size_t nUnits = avecSide[nSide].size();
            avecParts[nSide].resize(nUnits);
            for (int n = 0; n < 12; ++n) {
                std::vector<std::string> vecParts;
                std::string sPhrase;
                for (int k = 2 + rng() % 2; k > 0; --k) {
                    vecParts.push_back(avecSide[nSide][rng() % nUnits]);
                    sPhrase += vecParts.back();
                }
                if (rng() % 8 == 0) sPhrase += pick(sLeads);  // ends with a lone lead byte
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
        int nCode = 2 + nRound % 2;
        vt_test::CTempDir dir;
        t.Write(dir.Path(), nCode);
        if (HasFatalFailure()) return;
        CCodeTran tran(dir.Path().c_str(), nCode);
        ASSERT_EQ(tran.GetStatus(), 1);
        nToCodeUnits += tran.GetCharUnitCount(true);
        nToGbkUnits += tran.GetCharUnitCount(false);
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
                    s += unit();
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
}

// The built tables: GBK characters are converted one by one towards UTF-8 (the phrases the GBK
// dictionary holds for the traditional tables convert as their characters); texts made of the
// dictionary's units, phrases included, and the PKU test text give what the literal engine gives.
TEST(CodeTranCharsTest, BuiltTablesAgreeWithTheLiteralEngine) {
    const std::string sData = std::string(VINTREL_BUILD_DIR) + "/data";
    ASSERT_TRUE(vt_test::FileExists(sData + "/GBK.pdat")) << "no tables in " << sData;
    std::string sPku = vt_test::ReadWholeFile(std::string(VINTREL_SHARED_DIR) +
                                              "/benchmarks/sighan2005/pku_test.txt");
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

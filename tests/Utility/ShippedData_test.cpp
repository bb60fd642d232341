// ShippedData_test.cpp: the default data directory that the build makes from data/ (build/data):
// known rows of every table, every conversion unit mapped to a text, the GBK/UTF-8 tables against
// iconv, and the converters that load them; and the exact files vintrel-build-data makes from a
// tiny source tree.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Utility/Charset.h"
#include "Utility/CodeTran.h"
#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Pinyin.h"
#include "Utility/StrTran.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

const std::string DATA_DIR = std::string(VINTREL_BUILD_DIR) + "/data";

// One side of the encoding tables, loaded as the converter loads it (byte mode, plain word list).
struct CSide {
    CPDAT dict{1};
    CWordList list{false, nullptr};
    explicit CSide(const std::string& sName) {
        EXPECT_EQ(dict.Load((DATA_DIR + "/" + sName + ".pdat").c_str()), 1) << sName;
        EXPECT_EQ(list.Load((DATA_DIR + "/" + sName + ".wordlist").c_str()), 1) << sName;
    }
};

std::unique_ptr<CIDMaps> LoadMap(const std::string& sName) {
    auto pMap = std::make_unique<CIDMaps>();
    EXPECT_EQ(pMap->Load((DATA_DIR + "/" + sName + ".map").c_str()), 1) << sName;
    return pMap;
}

// Map: the target text of a source unit through one map ("" when the unit or its row is missing).
std::string Map(const CSide& from, const CIDMaps& map, const CSide& to, const std::string& sUnit) {
    int nId = from.dict.Find(sUnit.c_str(), static_cast<unsigned int>(sUnit.size()));
    if (nId < 0) return "";
    int nCount = 0;
    const idmaps_info* pTargets = map.GetMaps(nId, &nCount);
    return nCount > 0 ? to.list.GetWord(pTargets[0].handle2) : "";
}

// Iconv: the conversion of a text, or "" when iconv cannot convert it.
std::string Iconv(const std::string& s, const char* sFrom, const char* sTo) {
    try {
        return vt_test::Convert(s, sFrom, sTo);
    } catch (...) {
        return "";
    }
}

// Hex: the bytes of a text as upper-case hex digits ("A451").
std::string Hex(const std::string& s) {
    static const char DIGITS[] = "0123456789ABCDEF";
    std::string sHex;
    for (unsigned char c : s) {
        sHex += DIGITS[c >> 4];
        sHex += DIGITS[c & 15];
    }
    return sHex;
}

TEST(ShippedData, LookAlikeTableRewritesKnownSpellings) {
    CStrTran tran((DATA_DIR + "/").c_str(), "Xing", "Zi", "");
    ASSERT_TRUE(tran.Load());
    const char* rows[][2] = {
        {"弓长", "张"},     {"辶斤", "近"}, {"言午", "许"},  // split into their parts
        {"張", "张"},       {"國", "国"},                    // traditional forms
        {"弓长三", "张三"},                                  // inside a text
    };
    for (const auto& row : rows) {
        std::string sResult;
        ASSERT_NE(tran.Src2Dsn(G(row[0]).c_str(), sResult), nullptr) << row[0];
        EXPECT_EQ(sResult, G(row[1])) << row[0];
    }
    std::string sResult;
    EXPECT_EQ(tran.Src2Dsn(G("abc").c_str(), sResult), nullptr);  // nothing to replace
}

TEST(ShippedData, PinyinReadsEveryGB2312Hanzi) {
    CPinyin pinyin(DATA_DIR.c_str());
    ASSERT_EQ(pinyin.Load(), 1);
    std::string sPinyin, sAbbrev;
    // The most common reading comes first.
    const char* rows[][2] = {{"曦", "xi"}, {"地", "di"}, {"谁", "shui"}, {"中国", "zhongguo"}};
    for (const auto& row : rows) {
        EXPECT_STREQ(pinyin.Hanzi2Pinyin(G(row[0]).c_str(), sPinyin, sAbbrev), row[1]) << row[0];
    }
    // GB2312 level 1 and 2 hanzi: rows B0..F7, cells A1..FE, without the empty D7FA..D7FE.
    int nChecked = 0;
    std::vector<std::string> vecBad;
    for (int nLead = 0xB0; nLead <= 0xF7; ++nLead) {
        for (int nTrail = 0xA1; nTrail <= 0xFE; ++nTrail) {
            if (nLead == 0xD7 && nTrail >= 0xFA) continue;
            std::string sChar{static_cast<char>(nLead), static_cast<char>(nTrail)};
            pinyin.Hanzi2Pinyin(sChar.c_str(), sPinyin, sAbbrev);
            ++nChecked;
            bool bOk = !sPinyin.empty() &&
                       sPinyin.find_first_not_of("abcdefghijklmnopqrstuvwxyz") == std::string::npos;
            if (!bOk) vecBad.push_back(vt_test::U(sChar));
        }
    }
    EXPECT_EQ(nChecked, 6763);
    EXPECT_TRUE(vecBad.empty()) << vecBad.size() << " without a reading, first " << vecBad[0];
}

// The pinyin scan reads each character by its first reading, so the built table must give every
// character of the source table its most common reading (的 de, 了 le, 漂 piao), not merely some reading.
TEST(ShippedData, PinyinTakesTheMostCommonReadingOfEveryCharacter) {
    CPinyin pinyin(DATA_DIR.c_str());
    ASSERT_EQ(pinyin.Load(), 1);
    std::ifstream in(std::string(VINTREL_SOURCE_DIR) + "/data/pinyin/pinyin.tsv");
    ASSERT_TRUE(in.good());
    std::string sLine, sPinyin, sAbbrev;
    int nRows = 0;
    std::vector<std::string> vecWrong;
    while (std::getline(in, sLine)) {
        if (sLine.empty() || sLine[0] == '#') continue;
        std::istringstream fields(sLine);
        std::string sChar, sCode, sFirst;
        fields >> sChar >> sCode >> sFirst;
        ++nRows;
        std::string sGBK;  // the character's GBK code, as hex digits in the second column
        for (size_t i = 0; i + 1 < sCode.size(); i += 2) {
            sGBK += static_cast<char>(std::stoi(sCode.substr(i, 2), nullptr, 16));
        }
        pinyin.Hanzi2Pinyin(sGBK.c_str(), sPinyin, sAbbrev);
        if (sPinyin != sFirst) vecWrong.push_back(sChar + ":" + sPinyin + "/" + sFirst);
    }
    EXPECT_GT(nRows, 20000);
    EXPECT_TRUE(vecWrong.empty()) << vecWrong.size() << " wrong, first " << vecWrong[0];
}

TEST(ShippedData, GbkAndUtf8TablesAgreeWithIconv) {
    CSide gbk("GBK"), utf8("UTF8");
    auto pGbk2Utf = LoadMap("GBK2UTF");
    auto pUtf2Gbk = LoadMap("UTF2GBK");
    EXPECT_EQ(Map(gbk, *pGbk2Utf, utf8, G("中")), "中");
    EXPECT_EQ(Map(utf8, *pUtf2Gbk, gbk, "中"), G("中"));
    // Every two-byte cell that iconv's GBK knows converts both ways as iconv converts it.
    int nCells = 0;
    std::vector<std::string> vecBad;
    for (int nLead = 0x81; nLead <= 0xFE; ++nLead) {
        for (int nTrail = 0x40; nTrail <= 0xFE; ++nTrail) {
            if (nTrail == 0x7F) continue;
            std::string sCell{static_cast<char>(nLead), static_cast<char>(nTrail)};
            std::string sUtf8 = Iconv(sCell, "GBK", "UTF-8");
            // Not a GBK cell, or a private-use cell (U+E000..U+F8FF; these pass through unmapped).
            if (sUtf8.empty() || (sUtf8 >= "\xEE\x80\x80" && sUtf8 < "\xEF\xA4\x80")) continue;
            ++nCells;
            if (Map(gbk, *pGbk2Utf, utf8, sCell) != sUtf8 ||
                Map(utf8, *pUtf2Gbk, gbk, sUtf8) != sCell) {
                vecBad.push_back(sUtf8);
            }
        }
    }
    EXPECT_GT(nCells, 21000);
    EXPECT_TRUE(vecBad.empty()) << vecBad.size() << " cells differ, first " << vecBad[0];
    // One-way extras: a full-width form of a character outside GBK maps to its GBK form.
    EXPECT_EQ(Map(utf8, *pUtf2Gbk, gbk, "\xE2\xBC\x80"), G("一"));  // Kangxi radical one (U+2F00)
}

// NoCounterpart: whether a two-byte cell of a map's source side is one the references give no
// character to convert: a GBK cell that GB18030 reads as a private-use code point or not at all,
// a BIG5 cell that BIG5-HKSCS cannot read or whose character GBK cannot write. The sources follow
// HKSCS-2004: the cells that HKSCS-2008 added to row 87 (31 of them GBK can write) are not in
// them and count as having none.
bool NoCounterpart(const std::string& sCell, bool bBig5) {
    if (sCell.size() != 2 || static_cast<unsigned char>(sCell[0]) < 0x81) return false;
    if (bBig5 && static_cast<unsigned char>(sCell[0]) == 0x87) return true;
    std::string sUtf8 = Iconv(sCell, bBig5 ? "BIG5-HKSCS" : "GB18030", "UTF-8");
    if (sUtf8.empty()) return true;
    if (bBig5) return Iconv(sUtf8, "UTF-8", "GBK").empty();
    // U+E000..U+F8FF is EE 80 80 .. EF A3 BF.
    return sUtf8.size() == 3 && (sUtf8.compare("\xEE\x80\x80") >= 0) &&
           (sUtf8.compare("\xEF\xA3\xBF") <= 0);
}

// Every unit of every map's source side has its row, and the row's target has a text; the source
// word list and dictionary agree on every handle. The units allowed to have no row: GBK characters
// without any BIG5 counterpart (GBK2BIG), and the pass-through cells of the GBK, GBKA and BIG5
// sides (private-use, user-defined and unassigned cells, HKSCS cells GBK cannot write), which are
// units only so that the converter reads them whole.
TEST(ShippedData, EveryConversionUnitMapsToAText) {
    CSide gbk("GBK"), utf8("UTF8"), big5("BIG5"), gbka("GBKA");
    struct _stMap {
        const char* sName;
        const CSide& from;
        const CSide& to;
    } maps[] = {
        {"UTF2GBK", utf8, gbk},   {"GBK2UTF", gbk, utf8},   {"BIG2GBK", big5, gbk},
        {"GBK2BIG", gbk, big5},   {"GBKA2GBK", gbka, gbk},  {"GBK2GBKA", gbk, gbka},
        {"GBKA2UTF", utf8, gbka}, {"UTF2GBKA", gbka, utf8},
    };
    for (const _stMap& m : maps) {
        auto pMap = LoadMap(m.sName);
        int nUnits = static_cast<int>(m.from.dict.GetItemCount());
        ASSERT_GT(nUnits, 10000) << m.sName;
        bool bUtf8 = &m.from == &utf8, bBig5 = &m.from == &big5;
        int nBad = 0, nNoRow = 0;
        std::string sFirstBad;
        for (int h = 0; h < nUnits; ++h) {
            std::string sUnit = m.from.list.GetWord(h);
            if (sUnit.empty() || m.from.dict.Find(sUnit.c_str()) != h) {
                ++nBad;
                continue;
            }
            int nCount = 0;
            const idmaps_info* pTargets = pMap->GetMaps(h, &nCount);
            if (nCount == 0) {
                ++nNoRow;
                // Only a GBK character that BIG5 cannot write may lack a BIG5 row.
                bool bAllowed = !bUtf8 && NoCounterpart(sUnit, bBig5);
                if (!bAllowed && std::string(m.sName) == "GBK2BIG" && sUnit.size() == 2) {
                    std::string sUtf8 = Iconv(sUnit, "GBK", "UTF-8");
                    bAllowed = Iconv(sUtf8, "UTF-8", "BIG5").empty();
                }
                if (!bAllowed && nBad++ == 0) sFirstBad = sUnit;
                continue;
            }
            if (nCount != 1 || *m.to.list.GetWord(pTargets[0].handle2) == '\0') ++nBad;
        }
        EXPECT_EQ(nBad, 0) << m.sName << ", first without a row: " << sFirstBad;
        if (bUtf8) {
            EXPECT_EQ(nNoRow, 0) << m.sName;
        } else {
            // GBK has 23,940 two-byte cells, BIG5 (trail bytes 40-7E, A1-FE) 19,782; the units
            // without a row are thousands of them (GBK's private-use areas alone hold 2,000 cells).
            EXPECT_GT(nNoRow, 1500) << m.sName;
        }
    }
    // Known rows: the GBKA tables map traditional and simplified characters and phrases.
    auto pGbka2Gbk = LoadMap("GBKA2GBK");
    auto pGbk2Gbka = LoadMap("GBK2GBKA");
    EXPECT_EQ(Map(gbka, *pGbka2Gbk, gbk, G("習")), G("习"));
    EXPECT_EQ(Map(gbka, *pGbka2Gbk, gbk, G("中")), G("中"));
    EXPECT_EQ(Map(gbka, *pGbka2Gbk, gbk, G("乾元")), G("乾元"));  // a phrase keeps 乾
    EXPECT_EQ(Map(gbk, *pGbk2Gbka, gbka, G("习")), G("習"));
    EXPECT_EQ(Map(gbk, *pGbk2Gbka, gbka, G("头发")), G("頭髮"));
    // A character that usually stays itself in traditional text is not replaced by its rarer
    // traditional candidate (了 not 瞭, 家 not 傢); one that usually changes is (后 -> 後).
    EXPECT_EQ(Map(gbk, *pGbk2Gbka, gbka, G("了")), G("了"));
    EXPECT_EQ(Map(gbk, *pGbk2Gbka, gbka, G("家")), G("家"));
    EXPECT_EQ(Map(gbk, *pGbk2Gbka, gbka, G("后")), G("後"));
    auto pBig2Gbk = LoadMap("BIG2GBK");
    EXPECT_EQ(Map(big5, *pBig2Gbk, gbk, vt_test::Convert("頭", "UTF-8", "BIG5")), G("头"));
}

class ShippedConverterTest : public testing::Test {
protected:
    static std::string ToGbk(const CCodeTran& tran, const std::string& s) {
        std::string sResult;
        tran.CodeToGBK(s.c_str(), sResult);
        return sResult;
    }
    static std::string ToCode(const CCodeTran& tran, const std::string& s) {
        std::string sResult;
        tran.GBKToCode(s.c_str(), sResult);
        return sResult;
    }
};

TEST_F(ShippedConverterTest, Utf8RoundTrips) {
    const std::string sText = "扫描中文关键词，English 123。頭髮";
    const std::string sSmile = "\xF0\x9F\x98\x80";  // no GBK counterpart
    for (int nCode : {1, 5}) {
        CCodeTran tran(DATA_DIR.c_str(), nCode);
        ASSERT_EQ(tran.GetStatus(), 1);
        EXPECT_EQ(ToGbk(tran, sText), G(sText)) << nCode;
        EXPECT_EQ(ToCode(tran, G(sText)), sText) << nCode;
        EXPECT_EQ(ToCode(tran, G("头发")), "头发") << nCode;  // a phrase unit, written as it is
        std::string sGbk = ToGbk(tran, "中" + sSmile + "国");
        EXPECT_EQ(sGbk, G("中") + "^^" + sSmile + "^^" + G("国"));
        EXPECT_EQ(ToCode(tran, sGbk), "中" + sSmile + "国");
    }
    // Code 4 keeps the characters as they are (its GBK side is the GBKA table).
    CCodeTran tran(DATA_DIR.c_str(), 4);
    ASSERT_EQ(tran.GetStatus(), 1);
    EXPECT_EQ(ToGbk(tran, "習慣 习惯 乾元"), G("習慣 习惯 乾元"));
    EXPECT_EQ(ToCode(tran, G("習慣 习惯 乾元")), "習慣 习惯 乾元");
}

TEST_F(ShippedConverterTest, TraditionalCodesConvertToSimplifiedAndBack) {
    CCodeTran big5(DATA_DIR.c_str(), 2);
    ASSERT_EQ(big5.GetStatus(), 1);
    std::string sBig5 = vt_test::Convert("頭髮很長，乾淨。", "UTF-8", "BIG5");
    EXPECT_EQ(ToGbk(big5, sBig5), G("头发很长，干净。"));
    EXPECT_EQ(ToCode(big5, G("头发很长，干净。")), sBig5);
    // A simplified character that BIG5 also holds as a rare form is written as the traditional
    // character it usually stands for, as glibc writes it; one whose traditional candidate is
    // the rarer reading (了 and 瞭, 家 and 傢) stays; 十 and 卅 take their hanzi cells (A451,
    // A4CA), not the duplicates of the symbol area (A2CC, A2CE).
    EXPECT_EQ(Hex(ToCode(big5, G("气机与后并儿，了家，十卅"))),
              Hex(vt_test::Convert("氣機與後並兒，了家，十卅", "UTF-8", "BIG5")));
    EXPECT_EQ(Hex(ToCode(big5, G("十卅"))), "A451A4CA");

    CCodeTran gbka(DATA_DIR.c_str(), 3);
    ASSERT_EQ(gbka.GetStatus(), 1);
    EXPECT_EQ(ToGbk(gbka, G("習慣乾淨，乾元")), G("习惯干净，乾元"));
    EXPECT_EQ(ToCode(gbka, G("头发很长")), G("頭髮很長"));
}

TEST(ShippedData, CharacterClasses) {
    std::string sFile = DATA_DIR + "/charset.type";
    EXPECT_EQ(vt_test::ReadWholeFile(sFile).size(), 65540u);
    CCharset charset;
    ASSERT_EQ(charset.Load(sFile.c_str()), 1);
    const std::pair<const char*, int> rows[] = {
        {"中", 1}, {"〇", 1}, {"A", 2},  {"z", 2},  {"7", 3},   {"Ａ", 4},  {"ｚ", 4}, {"５", 5},
        {",", 6},  {"，", 6}, {"。", 6}, {"《", 6}, {"α", 7},   {"ア", 7},  {"①", 8},  {"Ⅻ", 8},
        {"+", 9},  {"→", 9},  {"￥", 9}, {" ", 28}, {"\t", 28}, {"　", 28},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(charset.GetType(G(row.first).c_str()), row.second) << row.first;
    }
    EXPECT_EQ(charset.GetType(0xAAA1), 0);  // a private-use cell has no class
}

// Int32s: little-endian bytes of 32-bit values.
std::string Int32s(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        char bytes[4];
        std::memcpy(bytes, &v, 4);
        s.append(bytes, 4);
    }
    return s;
}

// A source tree of four GBK cells (發 B06C, 发 B7A2, 头 CDB7, 頭 EE5E, and ASCII A), one
// simplified-to-traditional phrase (头发 -> 頭發) and one traditional-side phrase (發頭 -> 发头).
TEST(BuildDataTool, WritesTheTablesOfATinySourceTree) {
    vt_test::CTempDir dir;
    std::string sSrc = dir.File("src");
    std::string sOut = dir.File("out/data");
    for (const char* sSub : {"", "/encoding", "/xingzi", "/pinyin"}) {
        ASSERT_EQ(std::system(("mkdir -p " + sSrc + sSub).c_str()), 0);
    }
    auto write = [&](const char* sName, const std::string& sText) {
        ASSERT_TRUE(vt_test::WriteWholeFile(sSrc + "/" + sName, sText)) << sName;
    };
    write("encoding/enc_gbk_unicode.tsv",
          "#gbk\tunicode\tchar\tsource\n41\tU+0041\tA\tascii\nB06C\tU+767C\t發\tcp936\n"
          "B7A2\tU+53D1\t发\tcp936\nCDB7\tU+5934\t头\tcp936\nEE5E\tU+982D\t頭\tcp936\n");
    write("encoding/enc_utf8_extra.tsv", "#unicode\tchar\tgbk\ttarget\tvia\n");
    write("encoding/enc_big5_gbk.tsv",
          "#big5\tunicode\tchar\tgbk_same_char\tgbk_simplified\tvia\tset\n"
          "C059\tU+982D\t頭\tEE5E\tCDB7\tsame\tbig5\n");
    write("encoding/enc_gbk_big5.tsv",
          "#gbk\tchar\tbig5\tbig5_char\tvia\nCDB7\t头\tC059\t頭\ts2t\n");
    write("encoding/gbka_s2t.gbk.txt", G("发 發\n头 頭\n"));
    write("encoding/gbka_t2s.gbk.txt", G("發 发\n頭 头\n"));
    write("encoding/gbka_s2t_phrases.gbk.txt", G("头发 頭發\n"));
    write("encoding/gbka_t2s_phrases.gbk.txt", G("發頭 发头\n"));
    write("xingzi/Xing2Zi.gbk.txt", G("弓长 张\n"));
    write("pinyin/pinyin.gbk.txt", G("头 tou\n发 fa\n"));

    std::string sTool = std::string(VINTREL_BUILD_DIR) + "/vintrel-build-data";
    ASSERT_EQ(std::system((sTool + " " + sSrc + " " + sOut + " > /dev/null").c_str()), 0);

    // GBK units in byte order, then the phrase: 發 0, 发 1, 头 2, 頭 3, 头发 4; behind them every
    // other two-byte GBK cell (lead 81-FE, trail 40-FE but 7F: 126 x 190 = 23,940 cells, 23,936
    // of them new) as a pass-through unit without a row, handles 5 to 23,940. GBKA units: the same
    // cells, then 發頭 4, then the same pass-through cells; its word list also holds 頭發 (the
    // phrase's target) at 23,941. So GBK2GBKA maps 發->0 (itself), 发->0, 头->3, 頭->3 (itself),
    // 头发->23,941: five sources with one target each, and no row for any handle from 5 on.
    const int32_t nExtra = 5 + 23936;
    EXPECT_EQ(vt_test::ReadWholeFile(sOut + "/GBK2GBKA.map"),
              Int32s({5, 5, 0, 0, 3, 3, nExtra, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4}));
    // GBKA2GBK: the cells 發->1, 发->1, 头->2, 頭->2, and 發頭 -> the extra GBK text 发头.
    EXPECT_EQ(vt_test::ReadWholeFile(sOut + "/GBKA2GBK.map"),
              Int32s({5, 5, 1, 1, 2, 2, nExtra, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4}));
    // The GBKA word list: the texts by handle, the offset of each NUL-terminated text, the unused
    // entry behind the last handle, the bytes of text, plain (not scrambled).
    std::vector<std::string> vecTexts = {G("發"), G("发"), G("头"), G("頭"), G("發頭")};
    for (int nLead = 0x81; nLead <= 0xFE; ++nLead) {
        for (int nTrail = 0x40; nTrail <= 0xFE; ++nTrail) {
            std::string sCell = {static_cast<char>(nLead), static_cast<char>(nTrail)};
            if (nTrail != 0x7F && std::find(vecTexts.begin(), vecTexts.begin() + 4, sCell) ==
                                      vecTexts.begin() + 4) {
                vecTexts.push_back(sCell);
            }
        }
    }
    vecTexts.push_back(G("頭發"));
    ASSERT_EQ(vecTexts.size(), static_cast<size_t>(nExtra) + 1);
    std::string sHeader = Int32s({nExtra + 1, nExtra + 1}), sTexts;
    for (const std::string& sText : vecTexts) {
        sHeader += Int32s({static_cast<int32_t>(sTexts.size())});
        sTexts += sText + '\0';
    }
    sHeader += Int32s({0, static_cast<int32_t>(sTexts.size())});
    EXPECT_TRUE(vt_test::ReadWholeFile(sOut + "/GBKA.wordlist") == sHeader + sTexts);

    // The converters read them: GBK to BIG5 writes the phrase in BIG5 where BIG5 has the
    // characters (頭) and passes the rest as the simplified character alone would (发 has no
    // BIG5 cell here).
    CCodeTran big5(sOut.c_str(), 2);
    ASSERT_EQ(big5.GetStatus(), 1);
    std::string sResult;
    EXPECT_EQ(std::string(big5.GBKToCode(G("头发").c_str(), sResult)), "\xC0\x59" + G("发"));
    CCodeTran utf8(sOut.c_str(), 1);
    ASSERT_EQ(utf8.GetStatus(), 1);
    EXPECT_EQ(std::string(utf8.GBKToCode(G("头发A").c_str(), sResult)), "头发A");
    // A cell without a row passes whole: AA CD then 发 B7 A2. Cut byte by byte, its trail byte
    // would be read with B7 as 头 CD B7 and A2 left alone.
    EXPECT_EQ(std::string(utf8.GBKToCode("\xAA\xCD\xB7\xA2", sResult)), "\xAA\xCD发");
    CPinyin pinyin(sOut.c_str());
    ASSERT_EQ(pinyin.Load(), 1);
    std::string sAbbrev;
    EXPECT_STREQ(pinyin.Hanzi2Pinyin(G("头发").c_str(), sResult, sAbbrev), "toufa");
}

}  // namespace

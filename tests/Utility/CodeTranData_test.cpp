// CodeTranData_test.cpp: the encoding converter on the tables of the build's data directory: every
// GBK character to UTF-8 and back against glibc iconv, every code point towards GBK (characters
// outside GBK as "^^" runs, the one-way extras of the sources), BIG5 on a real traditional text and
// GBK written with traditional characters.
//
// References. GBK here is the table the data sources define (see data/scripts/README.md): CP936 as
// glibc's "GBK" codec reads it, plus the cells to which GB18030-2005 gives real characters (glibc's
// "GBK" rejects those; they are checked against glibc's "GB18030"); private-use cells have no
// counterpart. Two differences from glibc's "GBK" codec are by design: the euro sign is written
// A2 E3 (its GB18030 cell) where glibc writes 0x80, and 0x80 still reads as the euro sign.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Utility/CodeTran.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

const std::string DATA_DIR = std::string(VINTREL_BUILD_DIR) + "/data";
const std::string SOURCE_DIR = std::string(VINTREL_SOURCE_DIR) + "/data/encoding";
const std::string CITYU_TEXT =
    std::string(VINTREL_SHARED_DIR) + "/benchmarks/sighan2005/cityu_test.txt";

// CIconv: one glibc iconv direction, reused for many short conversions.
class CIconv {
public:
    CIconv(const char* sFrom, const char* sTo) : m_cd(iconv_open(sTo, sFrom)) {}
    ~CIconv() {
        if (m_cd != reinterpret_cast<iconv_t>(-1)) iconv_close(m_cd);
    }
    CIconv(const CIconv&) = delete;  // owns the iconv descriptor
    CIconv& operator=(const CIconv&) = delete;

    // Convert: the whole text converted into sOut; false when any of it is invalid or unmappable.
    bool Convert(const std::string& sIn, std::string& sOut) {
        if (m_cd == reinterpret_cast<iconv_t>(-1)) return false;
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        sOut.assign(sIn.size() * 4 + 16, '\0');
        char* pIn = const_cast<char*>(sIn.data());
        size_t nIn = sIn.size();
        char* pOut = &sOut[0];
        size_t nOut = sOut.size();
        if (iconv(m_cd, &pIn, &nIn, &pOut, &nOut) == static_cast<size_t>(-1) || nIn != 0) {
            return false;
        }
        sOut.resize(sOut.size() - nOut);
        return true;
    }

private:
    iconv_t m_cd;
};

std::unique_ptr<CCodeTran> LoadTranslator(int nCode) {
    auto pTran = std::make_unique<CCodeTran>(DATA_DIR.c_str(), nCode);
    return pTran->GetStatus() == 1 ? std::move(pTran) : nullptr;
}

std::string Hex(const std::string& s) {
    std::string sHex;
    char sByte[4];
    for (unsigned char ch : s) {
        std::snprintf(sByte, sizeof(sByte), "%02X", ch);
        sHex += sByte;
    }
    return sHex;
}

std::string Utf8(unsigned nCode) {
    std::string s;
    if (nCode < 0x80) {
        s += static_cast<char>(nCode);
    } else if (nCode < 0x800) {
        s += static_cast<char>(0xC0 | (nCode >> 6));
        s += static_cast<char>(0x80 | (nCode & 0x3F));
    } else if (nCode < 0x10000) {
        s += static_cast<char>(0xE0 | (nCode >> 12));
        s += static_cast<char>(0x80 | ((nCode >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (nCode & 0x3F));
    } else {
        s += static_cast<char>(0xF0 | (nCode >> 18));
        s += static_cast<char>(0x80 | ((nCode >> 12) & 0x3F));
        s += static_cast<char>(0x80 | ((nCode >> 6) & 0x3F));
        s += static_cast<char>(0x80 | (nCode & 0x3F));
    }
    return s;
}

std::vector<std::string> SplitLines(const std::string& sText, char chEnd) {
    std::vector<std::string> vecLines;
    size_t nStart = 0;
    for (size_t nEnd; (nEnd = sText.find(chEnd, nStart)) != std::string::npos; nStart = nEnd + 1) {
        vecLines.push_back(sText.substr(nStart, nEnd - nStart));
    }
    if (nStart < sText.size()) vecLines.push_back(sText.substr(nStart));
    return vecLines;
}

// Characters: a double-byte text (GBK or BIG5) cut into characters.
std::vector<std::string> Characters(const std::string& sText) {
    std::vector<std::string> vecChars;
    for (size_t i = 0; i < sText.size();) {
        size_t nLen = static_cast<unsigned char>(sText[i]) >= 0x81 && i + 1 < sText.size() ? 2 : 1;
        vecChars.push_back(sText.substr(i, nLen));
        i += nLen;
    }
    return vecChars;
}

size_t CountChar(const std::string& sText, const std::string& sChar) {
    size_t nCount = 0;
    for (const std::string& s : Characters(sText)) nCount += s == sChar;
    return nCount;
}

// Differences: for texts made of lines ("\n") of units, the units whose conversion by fnOurs and
// by fnRef differ when each is converted alone, as "unit: ours .. reference .." lines (hex), up to
// 20; used to say precisely where two whole outputs part.
template <typename FnOurs, typename FnRef>
std::string Differences(const std::vector<std::vector<std::string>>& vecLines, FnOurs fnOurs,
                        FnRef fnRef) {
    std::string sReport;
    int nShown = 0;
    for (const auto& vecUnits : vecLines) {
        for (const std::string& sUnit : vecUnits) {
            std::string sOurs = fnOurs(sUnit), sRef = fnRef(sUnit);
            if (sOurs == sRef) continue;
            if (++nShown > 20) return sReport + "...\n";
            sReport += Hex(sUnit) + ": ours " + Hex(sOurs) + " reference " + Hex(sRef) + "\n";
        }
    }
    return sReport.empty() ? "(each unit alone agrees; the whole texts differ)\n" : sReport;
}

std::string Join(const std::vector<std::vector<std::string>>& vecLines) {
    std::string sText;
    for (const auto& vecUnits : vecLines) {
        for (const std::string& s : vecUnits) sText += s;
        sText += '\n';
    }
    return sText;
}

// The GBK cells by the references: those glibc's GBK decodes (one line per lead byte), those only
// glibc's GB18030 decodes to a character that is not private-use, and those it decodes to a
// private-use one. (Pairs that neither decodes, a lead byte and 0x80 or 0xFF, are no characters.)
struct CGbkCells {
    std::vector<std::vector<std::string>> vecGbk;
    std::vector<std::string> vecGb18030;
    std::vector<std::string> vecPrivate;
};

CGbkCells ClassifyGbkCells() {
    CGbkCells cells;
    CIconv gbk("GBK", "UTF-8"), gb18030("GB18030", "UTF-8"), utf32("UTF-8", "UTF-32LE");
    std::string sUtf8, sUtf32;
    for (int nLead = 0x81; nLead <= 0xFE; ++nLead) {
        cells.vecGbk.emplace_back();
        for (int nTrail = 0x40; nTrail <= 0xFE; ++nTrail) {
            if (nTrail == 0x7F) continue;
            std::string sCell = {static_cast<char>(nLead), static_cast<char>(nTrail)};
            if (gbk.Convert(sCell, sUtf8)) {
                cells.vecGbk.back().push_back(sCell);
            } else if (gb18030.Convert(sCell, sUtf8) && utf32.Convert(sUtf8, sUtf32) &&
                       sUtf32.size() == 4) {
                unsigned nCode = static_cast<unsigned char>(sUtf32[0]) |
                                 static_cast<unsigned char>(sUtf32[1]) << 8 |
                                 static_cast<unsigned char>(sUtf32[2]) << 16;
                bool bPrivate = nCode >= 0xE000 && nCode <= 0xF8FF;
                (bPrivate ? cells.vecPrivate : cells.vecGb18030).push_back(sCell);
            }
        }
    }
    return cells;
}

// The ASCII that passes every converter unchanged: all bytes but NUL, tab (the segmenter's
// separator, dropped by the converter), CR and LF (line ends), led by a non-blank byte because the
// blanks that start a line are dropped.
std::string AsciiLine() {
    std::string s = "!";
    for (int ch = 1; ch < 0x80; ++ch) {
        if (ch != '\t' && ch != '\n' && ch != '\r') s += static_cast<char>(ch);
    }
    return s;
}

// The UTF-8 codes (1, 5 and 4, whose GBK side holds the same cells) against glibc iconv.
class CodeTranUtf8Data : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override {
        m_pTran = LoadTranslator(GetParam());
        ASSERT_NE(m_pTran, nullptr) << "no data directory " << DATA_DIR;
    }
    std::unique_ptr<CCodeTran> m_pTran;
};

TEST_P(CodeTranUtf8Data, EveryGbkCharacterMatchesIconvAndComesBack) {
    CGbkCells cells = ClassifyGbkCells();
    cells.vecGbk.insert(cells.vecGbk.begin(), Characters(AsciiLine()));
    CIconv gbkToUtf8("GBK", "UTF-8"), gb18030ToUtf8("GB18030", "UTF-8"), utf8ToGbk("UTF-8", "GBK");
    auto fnToCode = [&](const std::string& s) {
        std::string sOut;
        return std::string(m_pTran->GBKToCode(s.c_str(), sOut));
    };
    auto fnToGbk = [&](const std::string& s) {
        std::string sOut;
        m_pTran->CodeToGBK(s.c_str(), sOut);
        return sOut;
    };

    // The 21,791 cells of glibc's GBK and the ASCII line: the whole text at once, both ways.
    size_t nCells = 0;
    for (const auto& vecLine : cells.vecGbk) nCells += vecLine.size();
    EXPECT_GT(nCells, 21000u);
    std::string sGbk = Join(cells.vecGbk), sExpected, sOurs;
    ASSERT_TRUE(gbkToUtf8.Convert(sGbk, sExpected));
    m_pTran->GBKToCode(sGbk.c_str(), sOurs);
    EXPECT_TRUE(sOurs == sExpected)
        << Differences(cells.vecGbk, fnToCode, [&](const std::string& s) {
               std::string sRef;
               return gbkToUtf8.Convert(s, sRef) ? sRef : "(invalid)";
           });
    m_pTran->CodeToGBK(sExpected.c_str(), sOurs);
    EXPECT_TRUE(sOurs == sGbk) << Differences(
        cells.vecGbk,
        [&](const std::string& s) {
            std::string sRef;
            return gbkToUtf8.Convert(s, sRef) ? fnToGbk(sRef) : "(invalid)";
        },
        [](const std::string& s) { return s; });

    // Cells that only GB18030-2005 fills (the data's README counts 106): glibc's GB18030 decodes
    // them, and they come back.
    EXPECT_EQ(cells.vecGb18030.size(), 106u);
    std::vector<std::vector<std::string>> vecExtra = {cells.vecGb18030};
    sGbk = Join(vecExtra);
    ASSERT_TRUE(gb18030ToUtf8.Convert(sGbk, sExpected));
    m_pTran->GBKToCode(sGbk.c_str(), sOurs);
    EXPECT_TRUE(sOurs == sExpected) << Differences(vecExtra, fnToCode, [&](const std::string& s) {
        std::string sRef;
        return gb18030ToUtf8.Convert(s, sRef) ? sRef : "(invalid)";
    });
    m_pTran->CodeToGBK(sExpected.c_str(), sOurs);
    EXPECT_EQ(Hex(sOurs), Hex(sGbk));

    // The euro sign: 0x80 reads as the euro sign as glibc reads it, yet the euro sign is written as
    // its GB18030 cell A2 E3, not as 0x80, so 0x80 alone does not come back.
    ASSERT_TRUE(gbkToUtf8.Convert("\x80", sExpected));
    EXPECT_EQ(fnToCode("a\x80z"), "a" + sExpected + "z");
    EXPECT_EQ(Hex(fnToGbk("a\xE2\x82\xAC"
                          "z")),
              "61A2E37A");  // a€z
    ASSERT_TRUE(utf8ToGbk.Convert("\xE2\x82\xAC", sExpected));
    EXPECT_EQ(Hex(sExpected), "80");  // where glibc's GBK differs
}

// Private-use cells have no counterpart and pass GBK-to-code as they are, whole: an unmatched lead
// byte must not be read with the next byte as another character.
// The converter's dictionaries work on bytes, so a two-byte cell that were no unit of the
// dictionary would be cut into two one-byte tokens and its trail byte matched with the byte after
// it (AA A1 followed by 中 D6 D0 would give AA, then the cell A1 D6, then D0); the tables hold every
// such cell as a unit without a map row, which keeps it whole.
TEST_P(CodeTranUtf8Data, PrivateUseCellsPassWhole) {
    CGbkCells cells = ClassifyGbkCells();
    ASSERT_FALSE(cells.vecPrivate.empty());
    std::vector<std::vector<std::string>> vecPrivate = {cells.vecPrivate};
    std::string sGbk = Join(vecPrivate), sOut;
    auto fnToCode = [&](const std::string& s) {
        std::string sResult;
        return std::string(m_pTran->GBKToCode(s.c_str(), sResult));
    };
    EXPECT_TRUE(fnToCode(sGbk) == sGbk)
        << Differences(vecPrivate, fnToCode, [](const std::string& s) { return s; });
    size_t nBroken = 0;
    for (const std::string& sCell : cells.vecPrivate) {
        nBroken += fnToCode(G("中") + sCell + G("文")) != "中" + sCell + "文";
    }
    EXPECT_EQ(nBroken, 0u) << "of " << cells.vecPrivate.size() << " private-use cells";
}

// The one-way rows of the sources: UTF-8 extras (code point -> GBK text) and the code points that
// GB18030-2000 gave to cells GB18030-2005 fills; code point -> GBK bytes (hex, spaces between
// characters).
std::map<unsigned, std::string> OneWayExtras() {
    std::map<unsigned, std::string> mapExtras;
    auto fnHexBytes = [](const std::string& sHex) {
        std::string s;
        for (size_t i = 0; i + 1 < sHex.size(); i += sHex[i] == ' ' ? 1 : 2) {
            if (sHex[i] != ' ') s += static_cast<char>(std::stoi(sHex.substr(i, 2), nullptr, 16));
        }
        return s;
    };
    for (const std::string& sLine :
         SplitLines(vt_test::ReadWholeFile(SOURCE_DIR + "/enc_utf8_extra.tsv"), '\n')) {
        // U+XXXX <TAB> char <TAB> gbk codes (hex) <TAB> target <TAB> via
        if (sLine.compare(0, 2, "U+") != 0) continue;
        size_t nTab1 = sLine.find('\t'), nTab2 = sLine.find('\t', nTab1 + 1);
        size_t nTab3 = sLine.find('\t', nTab2 + 1);
        mapExtras[std::stoul(sLine.substr(2, nTab1 - 2), nullptr, 16)] =
            fnHexBytes(sLine.substr(nTab2 + 1, nTab3 - nTab2 - 1));
    }
    for (const std::string& sLine :
         SplitLines(vt_test::ReadWholeFile(SOURCE_DIR + "/enc_gbk_unicode.tsv"), '\n')) {
        // gbk <TAB> U+XXXX <TAB> char <TAB> source
        if (sLine.find("\tpua-alias") == std::string::npos) continue;
        size_t nTab1 = sLine.find('\t');
        mapExtras[std::stoul(sLine.substr(nTab1 + 3, 4), nullptr, 16)] =
            fnHexBytes(sLine.substr(0, nTab1));
    }
    return mapExtras;
}

TEST_P(CodeTranUtf8Data, EveryCodePointTowardsGbk) {
    std::map<unsigned, std::string> mapExtras = OneWayExtras();
    ASSERT_GT(mapExtras.size(), 4000u) << "sources under " << SOURCE_DIR;
    CIconv utf8ToGbk("UTF-8", "GBK"), utf8ToGb18030("UTF-8", "GB18030");

    // Sort the code points of the planes in use (and the ends of the others) by the reference.
    std::vector<unsigned> vecCodes;
    for (unsigned n = 0x80; n < 0x40000; ++n) {
        if (n < 0xD800 || n > 0xDFFF) vecCodes.push_back(n);
    }
    for (unsigned n : {0xE0001u, 0xE0100u, 0xEFFFDu, 0xF0000u, 0xFFFFDu, 0x100000u, 0x10FFFFu}) {
        vecCodes.push_back(n);
    }
    std::vector<std::vector<std::string>> vecInGbk(1), vecOneWay(1), vecOutside(1);
    std::map<std::string, std::string> mapOneWayRef;  // UTF-8 -> GBK
    std::string sGbkRef, sOneWayRef, sGbk;
    for (unsigned nCode : vecCodes) {
        std::string sChar = Utf8(nCode);
        auto it = mapExtras.find(nCode);
        // (glibc's GBK drops the tag characters U+E0000..U+E007F: no reference for those.)
        bool bGbk = nCode != 0x20AC && utf8ToGbk.Convert(sChar, sGbk) && !sGbk.empty();
        bool bPrivate = nCode >= 0xE000 && nCode <= 0xF8FF;
        bool bGb18030Cell =
            !bGbk && !bPrivate && utf8ToGb18030.Convert(sChar, sGbk) && sGbk.size() == 2;
        bool bOneWay = !bGbk && (bGb18030Cell || it != mapExtras.end());
        auto& vecTo = bGbk ? vecInGbk : bOneWay ? vecOneWay : vecOutside;
        if (vecTo.back().size() == 64) vecTo.emplace_back();
        vecTo.back().push_back(sChar);
        if (bOneWay) mapOneWayRef[sChar] = bGb18030Cell ? sGbk : it->second;
    }
    for (const auto& vecLine : vecOneWay) {
        for (const std::string& s : vecLine) sOneWayRef += mapOneWayRef[s];
        sOneWayRef += '\n';
    }
    auto fnToGbk = [&](const std::string& s) {
        std::string sOut;
        m_pTran->CodeToGBK(s.c_str(), sOut);
        return sOut;
    };
    auto fnToCode = [&](const std::string& s) {
        std::string sOut;
        return std::string(m_pTran->GBKToCode(s.c_str(), sOut));
    };

    // What glibc's GBK encodes: the same bytes.
    std::string sText = Join(vecInGbk);
    ASSERT_TRUE(utf8ToGbk.Convert(sText, sGbkRef));
    EXPECT_TRUE(fnToGbk(sText) == sGbkRef)
        << Differences(vecInGbk, fnToGbk, [&](const std::string& s) {
               std::string sRef;
               return utf8ToGbk.Convert(s, sRef) ? sRef : "(none)";
           });

    // The one-way extras (4,546 rows, the GB18030 cells and their old private-use code points):
    // the GBK text the sources give.
    size_t nOneWay = 0;
    for (const auto& vecLine : vecOneWay) nOneWay += vecLine.size();
    EXPECT_GT(nOneWay, 4600u);
    sText = Join(vecOneWay);
    EXPECT_TRUE(fnToGbk(sText) == sOneWayRef)
        << Differences(vecOneWay, fnToGbk, [&](const std::string& s) { return mapOneWayRef[s]; });
    // A few of them by hand: half-width katakana, a Kangxi radical, a half-width full stop, a
    // superscript digit.
    EXPECT_EQ(fnToGbk("\xEF\xBD\xB1\xE2\xBC\x80\xEF\xBD\xA1\xC2\xB2"), G("ア一。2"));  // ｱ⼀｡²

    // Everything else (emoji, Hangul, Ext-B hanzi, private use ...): one "^^" run per line that
    // comes back unchanged. Each line is framed by ASCII so that its line end survives the way back
    // (after a run that ends a line the converter appends no line end).
    std::string sWrapped, sFramed;
    for (const auto& vecLine : vecOutside) {
        std::string sLine;
        for (const std::string& s : vecLine) sLine += s;
        sFramed += "<" + sLine + ">\n";
        sWrapped += "<^^" + sLine + "^^>\n";
    }
    std::string sOurs = fnToGbk(sFramed);
    EXPECT_TRUE(sOurs == sWrapped)
        << Differences(vecOutside, fnToGbk, [](const std::string& s) { return "^^" + s + "^^"; });
    EXPECT_TRUE(fnToCode(sOurs) == sFramed);
    EXPECT_EQ(fnToCode(fnToGbk("\xF0\x9F\x98\x80\n\xF0\x9F\x98\x80\n")),  // 😀 LF 😀 LF
              "\xF0\x9F\x98\x80\xF0\x9F\x98\x80");
}

INSTANTIATE_TEST_SUITE_P(Codes, CodeTranUtf8Data, ::testing::Values(1, 5, 4));

// BIG5: the CityU text of the SIGHAN 2005 bakeoff (traditional characters, a few HKSCS cells).
TEST(CodeTranBig5Data, TraditionalTextToSimplifiedGbkAndBack) {
    std::string sBig5 = vt_test::ReadWholeFile(CITYU_TEXT);
    if (sBig5.empty()) GTEST_SKIP() << "no " << CITYU_TEXT;
    std::unique_ptr<CCodeTran> pTran = LoadTranslator(2);
    ASSERT_NE(pTran, nullptr);
    std::string sGbk, sBack, sUtf8;
    pTran->CodeToGBK(sBig5.c_str(), sGbk);
    pTran->GBKToCode(sGbk.c_str(), sBack);

    // Every character has a GBK counterpart (no "^^" run), and the result is GBK.
    EXPECT_EQ(sGbk.find("^^"), std::string::npos);
    CIconv gbkToUtf8("GBK", "UTF-8");
    EXPECT_TRUE(gbkToUtf8.Convert(sGbk, sUtf8));

    // Simplified: each of these traditional characters occurs, and none is left in the GBK text;
    // its simplified form occurs at least as often (这 is no BIG5 character, so all come from 這).
    const std::pair<const char*, const char*> PAIRS[] = {
        {"這", "这"}, {"們", "们"}, {"說", "说"}, {"國", "国"}, {"會", "会"},
        {"時", "时"}, {"為", "为"}, {"來", "来"}, {"個", "个"}, {"學", "学"}};
    for (const auto& pair : PAIRS) {
        std::string sTrad = vt_test::Convert(pair.first, "UTF-8", "BIG5");
        size_t nTrad = CountChar(sBig5, sTrad);
        EXPECT_GT(nTrad, 0u) << pair.first;
        EXPECT_EQ(CountChar(sGbk, G(pair.first)), 0u) << pair.first;
        EXPECT_GE(CountChar(sGbk, G(pair.second)), nTrad) << pair.second;
    }

    // Back to BIG5: line by line (a CR LF comes back as CR: the LF starts the next line and is
    // dropped with the blanks there) the same number of characters, and the same characters except
    // where the simplified form stands for several traditional ones (气 for 氣 and 气, 后 for 後
    // and 后) and the table gives another.
    std::vector<std::string> vecOrig, vecBack = SplitLines(sBack, '\r');
    for (const std::string& sLine : SplitLines(sBig5, '\n')) {
        std::string s = sLine.substr(0, sLine.find('\r'));
        size_t nStart = s.find_first_not_of(" \t");
        if (nStart != std::string::npos) vecOrig.push_back(s.substr(nStart));
    }
    while (!vecBack.empty() && vecBack.back().find_first_not_of("\n") == std::string::npos) {
        vecBack.pop_back();
    }
    ASSERT_EQ(vecOrig.size(), vecBack.size());
    size_t nHanzi = 0, nHanziSame = 0, nOther = 0, nOtherSame = 0;
    for (size_t i = 0; i < vecOrig.size(); ++i) {
        std::vector<std::string> vecA = Characters(vecOrig[i]);
        std::string sLine = vecBack[i].substr(vecBack[i].find_first_not_of('\n'));
        std::vector<std::string> vecB = Characters(sLine);
        ASSERT_EQ(vecA.size(), vecB.size()) << "line " << i + 1;
        for (size_t k = 0; k < vecA.size(); ++k) {
            unsigned nCode = vecA[k].size() == 2 ? static_cast<unsigned char>(vecA[k][0]) << 8 |
                                                       static_cast<unsigned char>(vecA[k][1])
                                                 : 0;
            // Plain BIG5's hanzi and the HKSCS cells.
            bool bHanzi = (nCode >= 0x8140 && nCode <= 0xA0FE) ||
                          (nCode >= 0xA440 && nCode <= 0xC67E) || nCode >= 0xC940;
            (bHanzi ? nHanzi : nOther) += 1;
            (bHanzi ? nHanziSame : nOtherSame) += vecA[k] == vecB[k];
        }
    }
    double fHanzi = 100.0 * static_cast<double>(nHanziSame) / static_cast<double>(nHanzi);
    std::printf("BIG5 round trip: %zu of %zu hanzi (%.2f%%), %zu of %zu other characters\n",
                nHanziSame, nHanzi, fHanzi, nOtherSame, nOther);
    RecordProperty("hanzi_same_percent", std::to_string(fHanzi));
    EXPECT_GE(fHanzi, 95.0);
    EXPECT_GE(nOtherSame * 100, nOther * 99);
}

// Every BIG5 cell, whether the table maps it or not, is read whole: the character after it is
// converted as it would be alone. The BIG5 table holds its cells without a GBK counterpart
// (user-defined areas, the HKSCS cells left out) as units without a map row; see
// PrivateUseCellsPassWhole.
TEST(CodeTranBig5Data, EveryCellIsReadWhole) {
    std::unique_ptr<CCodeTran> pTran = LoadTranslator(2);
    ASSERT_NE(pTran, nullptr);
    const std::string sZhong = "\xA4\xA4", sWen = "\xA4\xE5";  // 中 文 in BIG5
    std::string sOut;
    std::vector<std::string> vecBroken;
    for (int nLead = 0x81; nLead <= 0xFE; ++nLead) {
        for (int nTrail = 0x40; nTrail <= 0xFE; ++nTrail) {
            if (nTrail > 0x7E && nTrail < 0xA1) continue;
            std::string sCell = {static_cast<char>(nLead), static_cast<char>(nTrail)};
            pTran->CodeToGBK((sZhong + sCell + sWen).c_str(), sOut);
            if (sOut.size() < 4 || sOut.compare(0, 2, G("中")) != 0 ||
                sOut.compare(sOut.size() - 2, 2, G("文")) != 0) {
                vecBroken.push_back(Hex(sCell));
            }
        }
    }
    EXPECT_TRUE(vecBroken.empty()) << vecBroken.size() << " cells, first " << vecBroken[0];
}

// GBK written with traditional characters (code 3) and UTF-8 over those tables (code 4), on the
// CityU text made GBK by glibc (lines with a character GBK lacks left out).
TEST(CodeTranGbkaData, TraditionalTextAgainstBig5AndIconv) {
    std::string sBig5 = vt_test::ReadWholeFile(CITYU_TEXT);
    if (sBig5.empty()) GTEST_SKIP() << "no " << CITYU_TEXT;
    std::unique_ptr<CCodeTran> pBig5 = LoadTranslator(2), pGbka = LoadTranslator(3),
                               pUtf8 = LoadTranslator(4);
    ASSERT_NE(pBig5, nullptr);
    ASSERT_NE(pGbka, nullptr);
    ASSERT_NE(pUtf8, nullptr);
    CIconv big5ToUtf8("BIG5-HKSCS", "UTF-8"), utf8ToGbk("UTF-8", "GBK");
    size_t nLines = 0, nChars = 0, nSameAsBig5 = 0, nBack = 0;
    std::string sUtf8, sTrad, sSimp, sFromBig5, sOut;
    for (const std::string& sLine : SplitLines(sBig5, '\n')) {
        std::string sText = sLine.substr(0, sLine.find('\r'));
        size_t nStart = sText.find_first_not_of(" \t");
        if (nStart == std::string::npos) continue;
        sText = sText.substr(nStart);
        if (!big5ToUtf8.Convert(sText, sUtf8) || !utf8ToGbk.Convert(sUtf8, sTrad)) continue;
        ++nLines;
        // Code 4 writes the same characters: exactly glibc's GBK, both ways.
        EXPECT_EQ(pUtf8->CodeToGBK(sUtf8.c_str(), sOut), sTrad) << "line " << nLines;
        EXPECT_EQ(pUtf8->GBKToCode(sTrad.c_str(), sOut), sUtf8) << "line " << nLines;
        // Code 3 simplifies as BIG5 does (both read traditional text; the tables come from the
        // same sources but by different routes), and its way back gives the traditional text.
        pGbka->CodeToGBK(sTrad.c_str(), sSimp);
        pBig5->CodeToGBK(sText.c_str(), sFromBig5);
        std::vector<std::string> vecSimp = Characters(sSimp), vecBig5 = Characters(sFromBig5);
        std::vector<std::string> vecTrad = Characters(sTrad);
        pGbka->GBKToCode(sSimp.c_str(), sOut);
        std::vector<std::string> vecBack = Characters(sOut);
        ASSERT_EQ(vecSimp.size(), vecTrad.size()) << "line " << nLines;
        ASSERT_EQ(vecBig5.size(), vecTrad.size()) << "line " << nLines;
        ASSERT_EQ(vecBack.size(), vecTrad.size()) << "line " << nLines;
        for (size_t k = 0; k < vecTrad.size(); ++k) {
            ++nChars;
            nSameAsBig5 += vecSimp[k] == vecBig5[k];
            nBack += vecBack[k] == vecTrad[k];
        }
    }
    ASSERT_GT(nLines, 1000u);
    std::printf(
        "GBKA: %zu lines, %zu characters; simplified as BIG5 does %zu (%.2f%%), back %zu "
        "(%.2f%%)\n",
        nLines, nChars, nSameAsBig5, 100.0 * nSameAsBig5 / nChars, nBack, 100.0 * nBack / nChars);
    EXPECT_GE(nSameAsBig5 * 100, nChars * 99);
    EXPECT_GE(nBack * 100, nChars * 95);
    // 習 -> 习 and back, 後 -> 后 and back (后 alone takes its first traditional form).
    EXPECT_EQ(pGbka->CodeToGBK(G("習後").c_str(), sOut), G("习后"));
    EXPECT_EQ(pGbka->GBKToCode(G("习后").c_str(), sOut), G("習後"));
}

}  // namespace

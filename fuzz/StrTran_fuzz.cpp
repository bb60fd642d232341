// StrTran_fuzz.cpp: translation tables given arbitrary texts and arbitrary text tables: every
// translation must stay inside its input and result, and every table made from any text must load
// and translate safely.
//
// Input: byte 0 even: the rest is a text translated with a fixed table (look-alike characters,
// ASCII pieces, an empty destination) with and without a delimiter. Byte 0 odd: the rest is a text
// table, imported, loaded back and used to translate itself and a fixed text.
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Utility/StrTran.h"

namespace {

const CFuzzScratch& GetScratch() {
    static const CFuzzScratch scratch("strtran");
    return scratch;
}

// The fixed table: 弓长 -> 张, 習 -> 习, 言午 -> (empty), ab -> xyz, ^ -> caret.
const CStrTran& FixedTable(bool bDelimited) {
    static CStrTran* pPlain = nullptr;
    static CStrTran* pDelimited = nullptr;
    if (pPlain == nullptr) {
        const std::string sPrefix = GetScratch().Dir() + "/";
        std::vector<map_str> vecPairs = {{"\xB9\xAD\xB3\xA4", "\xD5\xC5"},
                                         {"\xC1\x95", "\xCF\xB0"},
                                         {"\xD1\xD4\xCE\xE7", ""},
                                         {"ab", "xyz"},
                                         {"^", "caret"}};
        pPlain = new CStrTran(sPrefix.c_str(), "fx", "fz", "");
        pPlain->Import(vecPairs);
        pDelimited = new CStrTran(sPrefix.c_str(), "fx", "fz", "|");
        FUZZ_CHECK(pDelimited->Load());
    }
    return bDelimited ? *pDelimited : *pPlain;
}

void CheckTranslation(const CStrTran& tran, const std::string& sText) {
    std::string sResult;
    std::vector<_TermPositionPair> vecPos;
    const char* s = tran.Src2Dsn(sText.c_str(), sResult, vecPos);
    if (s == nullptr) {
        FUZZ_CHECK(sResult.empty() && vecPos.empty());
        return;
    }
    FUZZ_CHECK(s == sResult.c_str());
    const size_t nIn = std::strlen(sText.c_str());
    int nLastIn = -1, nLastOut = -1;
    for (const _TermPositionPair& pair : vecPos) {
        FUZZ_CHECK(pair.second.iStartPos > nLastIn && pair.second.nWordLen > 0);
        FUZZ_CHECK(static_cast<size_t>(pair.second.iStartPos) + pair.second.nWordLen <=
                           nIn);
        FUZZ_CHECK(pair.first.iStartPos >= nLastOut && pair.first.nWordLen >= 0);
        FUZZ_CHECK(static_cast<size_t>(pair.first.iStartPos) + pair.first.nWordLen <=
                           sResult.size());
        nLastIn = pair.second.iStartPos;
        nLastOut = pair.first.iStartPos;
    }
    std::string sPlain;
    FUZZ_CHECK(tran.Src2Dsn(sText.c_str(), sPlain) != nullptr && sPlain == sResult);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 16) return 0;
    std::string sRest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    const std::string sText = sRest.substr(0, std::strlen(sRest.c_str()));
    if (pData[0] % 2 == 0) {
        CheckTranslation(FixedTable(false), sText);
        CheckTranslation(FixedTable(true), sText);
        return 0;
    }
    // The input as a text table.
    const std::string sPrefix = GetScratch().Dir() + "/";
    const std::string sTable = sPrefix + "table.txt";
    FILE* fp = std::fopen(sTable.c_str(), "wb");
    if (fp == nullptr) return 0;
    std::fwrite(sRest.data(), 1, sRest.size(), fp);
    std::fclose(fp);
    CStrTran built(sPrefix.c_str(), "tx", "tz", "");
    const int nPairs = built.Import(sTable.c_str());
    CStrTran loaded(sPrefix.c_str(), "tx", "tz", "");
    FUZZ_CHECK(loaded.Load());
    std::vector<map_str> vecBuilt, vecLoaded;
    FUZZ_CHECK(built.Export(vecBuilt) == loaded.Export(vecLoaded));
    FUZZ_CHECK(static_cast<int>(vecLoaded.size()) <= nPairs);
    CheckTranslation(loaded, sText);
    CheckTranslation(loaded, "\xB9\xAD\xB3\xA4 ab\r\n^^x^^ \xB5");
    for (int nID = -1; nID < 8; ++nID) loaded.SrcID2Dsn(nID);
    return 0;
}

// Pinyin_fuzz.cpp: the pinyin converter given arbitrary texts and arbitrary import files: every
// position pair must stay inside the text and the pinyin, with one initial per pair, and any import
// must load back and convert safely.
//
// Input: byte 0 % 3 == 0: the rest is converted with a fixed table; 1: the rest, cut at its first
// NUL, is a content and a hit for IsValidPinyinAbbrev; 2: the rest is an import file, imported,
// loaded back and used to convert itself.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Utility/Pinyin.h"

namespace {

const CFuzzScratch& GetScratch() {
    static const CFuzzScratch scratch("pinyin");
    static const bool bDirs = std::filesystem::create_directories(scratch.Dir() + "/fixed") &&
                              std::filesystem::create_directories(scratch.Dir() + "/input");
    (void)bDirs;
    return scratch;
}

bool WriteFile(const std::string& sPath, const std::string& sBytes) {
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    if (fp == nullptr) return false;
    std::fwrite(sBytes.data(), 1, sBytes.size(), fp);
    std::fclose(fp);
    return true;
}

// The fixed table: 中 zhong, 国 guo, 地 di, 地 de, 人 ren.
const CPinyin& FixedTable() {
    static CPinyin* pPinyin = nullptr;
    if (pPinyin == nullptr) {
        const std::string sDir = GetScratch().Dir() + "/fixed";
        WriteFile(sDir + "/p.txt",
                  "\xD6\xD0 zhong\n\xB9\xFA guo\n\xB5\xD8 di\n\xB5\xD8 de\n\xC8\xCB ren\n");
        CPinyin builder(sDir.c_str());
        builder.ImportPinyin2Hanzi((sDir + "/p.txt").c_str());
        pPinyin = new CPinyin(sDir.c_str());
        FUZZ_CHECK(pPinyin->Load() == 1);
    }
    return *pPinyin;
}

void CheckConversion(const CPinyin& pinyin, const std::string& sText) {
    std::string sPinyin, sAbbrev;
    std::vector<_TermPositionPair> vecPos;
    const char* s = pinyin.Hanzi2Pinyin(sText.c_str(), sPinyin, sAbbrev, vecPos);
    FUZZ_CHECK(s == sPinyin.c_str());
    FUZZ_CHECK(vecPos.size() == sAbbrev.size());
    size_t nNextIn = 0, nNextOut = 0;
    for (size_t i = 0; i < vecPos.size(); ++i) {
        const _TermPositionPair& pair = vecPos[i];
        FUZZ_CHECK(static_cast<size_t>(pair.second.iStartPos) >= nNextIn);
        FUZZ_CHECK(pair.second.nWordLen == 1 || pair.second.nWordLen == 2);
        FUZZ_CHECK(static_cast<size_t>(pair.first.iStartPos) == nNextOut);
        FUZZ_CHECK(pair.first.nWordLen >= 1);
        nNextIn = static_cast<size_t>(pair.second.iStartPos) + pair.second.nWordLen;
        nNextOut = static_cast<size_t>(pair.first.iStartPos) + pair.first.nWordLen;
        FUZZ_CHECK(nNextIn <= sText.size() && nNextOut <= sPinyin.size());
        FUZZ_CHECK(sAbbrev[i] == sPinyin[static_cast<size_t>(pair.first.iStartPos)]);
    }
    FUZZ_CHECK(nNextOut == sPinyin.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 16) return 0;
    const std::string sRest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    const std::string sText = sRest.substr(0, std::strlen(sRest.c_str()));
    switch (pData[0] % 3) {
        case 0:
            CheckConversion(FixedTable(), sText);
            break;
        case 1: {
            const size_t nNul = sRest.find('\0');
            const std::string sHit = nNul == std::string::npos ? "" : sRest.substr(nNul + 1);
            CPinyin::IsValidPinyinAbbrev(sText.c_str(), sHit.c_str());
            CPinyin::IsValidPinyinAbbrev(sHit.c_str(), sText.c_str());
            break;
        }
        default: {
            const std::string sDir = GetScratch().Dir() + "/input";
            if (!WriteFile(sDir + "/p.txt", sRest)) break;
            CPinyin built(sDir.c_str());
            const int nImported = built.ImportPinyin2Hanzi((sDir + "/p.txt").c_str());
            CPinyin loaded(sDir.c_str());
            const int nLoaded = loaded.Load();
            if (nImported == 1) FUZZ_CHECK(nLoaded == 1);
            CheckConversion(built, sText);
            CheckConversion(loaded, sText);
            loaded.ExportHanzi2Pinyin();
            break;
        }
    }
    return 0;
}

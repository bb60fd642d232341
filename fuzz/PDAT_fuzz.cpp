// PDAT_fuzz.cpp: builds a dictionary from arbitrary words and scans an arbitrary text with it; every
// answer must stay inside the text and the handles handed out, and a save/load round trip must keep the
// file's bytes.
//
// Input: byte 0 picks the coding mode (value % 3) and the scan mode ((value / 3) % 3); then words
// separated by '\n' up to the first NUL byte; the rest is the text.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Utility/PDAT.h"

namespace {

std::string ReadBytes(const std::string& sPath) {
    std::ifstream in(sPath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 16) return 0;
    const int nMode = pData[0] % 3;
    const int nScanMode = (pData[0] / 3) % 3;
    std::string sRest(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    size_t nNul = sRest.find('\0');
    std::string sWords = sRest.substr(0, nNul);
    std::string sText = nNul == std::string::npos ? sWords : sRest.substr(nNul + 1);
    sText = sText.substr(0, std::strlen(sText.c_str()));

    CPDAT dict(nMode);
    std::vector<std::string> vecWords;
    for (size_t nStart = 0; nStart <= sWords.size();) {
        size_t nEnd = sWords.find('\n', nStart);
        if (nEnd == std::string::npos) nEnd = sWords.size();
        vecWords.push_back(sWords.substr(nStart, nEnd - nStart));
        nStart = nEnd + 1;
    }
    for (const std::string& sWord : vecWords) {
        int nHandle = dict.AddWord(sWord.c_str());
        FUZZ_CHECK(nHandle >= -1 && nHandle < static_cast<int>(dict.GetItemCount()));
        FUZZ_CHECK(dict.AddWord(sWord.c_str()) == nHandle);
    }
    dict.AddWordComplete();
    const int nCount = static_cast<int>(dict.GetItemCount());
    const int nLen = static_cast<int>(sText.size());

    std::vector<_stTermPosition> vecHits;
    dict.MMScanPosition(sText.c_str(), vecHits, nScanMode);
    for (const _stTermPosition& hit : vecHits) {
        FUZZ_CHECK(hit.iStartPos >= 0 && hit.nWordLen >= 1 && hit.iStartPos + hit.nWordLen <= nLen);
        FUZZ_CHECK(hit.nHandle >= 0 && hit.nHandle < nCount);
    }
    int nHandle = -2;
    bool bSpace = false;
    int nMax = dict.GetMaxWord(sText.c_str(), &nHandle, &bSpace);
    FUZZ_CHECK(nMax >= 0 && nMax <= nLen && nHandle >= -1 && nHandle < nCount);
    unsigned int* pHandles = nullptr;
    unsigned int* pLengths = nullptr;
    unsigned int nCap = 0, nWords = 0;
    int nLongest = dict.GetWords(sText.c_str(), &pHandles, &pLengths, &nCap, &nWords, 0);
    FUZZ_CHECK(nLongest >= 0 && nLongest <= nLen && nWords <= nCap);
    for (unsigned i = 0; i < nWords; ++i) FUZZ_CHECK(static_cast<int>(pLengths[i]) <= nLen);
    std::free(pHandles);
    std::free(pLengths);
    const char* sSegments = dict.MMSegment(sText.c_str(), nScanMode, '\n');
    FUZZ_CHECK(sSegments != nullptr && std::strlen(sSegments) <= 2 * sText.size());
    for (const std::string& sWord : vecWords) dict.Find(sWord.c_str());
    for (int nCode = -1; nCode <= 256; ++nCode) dict.Find(nCode);

    const std::string sPath = "/tmp/vintrel-pdat-fuzz-" + std::to_string(getpid());
    if (dict.Save((sPath + ".a").c_str()) == 1) {
        CPDAT loaded(0);
        FUZZ_CHECK(loaded.Load((sPath + ".a").c_str()) == 1);
        FUZZ_CHECK(loaded.Save((sPath + ".b").c_str()) == 1);
        FUZZ_CHECK(ReadBytes(sPath + ".a") == ReadBytes(sPath + ".b"));
        for (const std::string& sWord : vecWords) {
            FUZZ_CHECK(loaded.Find(sWord.c_str()) == dict.Find(sWord.c_str()));
        }
        std::remove((sPath + ".b").c_str());
    }
    std::remove((sPath + ".a").c_str());
    return 0;
}

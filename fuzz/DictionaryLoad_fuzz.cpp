// DictionaryLoad_fuzz.cpp: every dictionary loader given arbitrary bytes must either refuse the file or
// load something that answers lookups without reading outside its arrays.
//
// The first input byte picks the format; the rest is the file. A .pdat file opens with a 256 KiB rank
// table that a fuzzer would rarely produce, so for that format a fixed table (ASCII codes ranked by their
// value) is put in front of the fuzzed bytes, which then cover the counts and the states.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/Trie.h"
#include "Utility/Unigram.h"
#include "Utility/WordList.h"

namespace {

// A scratch file private to this process.
const std::string& ScratchPath() {
    static const std::string sPath = "/tmp/vintrel-fuzz-" + std::to_string(getpid()) + ".bin";
    return sPath;
}

void WriteScratch(const uint8_t* pData, size_t nSize, const std::string& sPrefix) {
    FILE* fp = std::fopen(ScratchPath().c_str(), "wb");
    if (fp == nullptr) return;
    std::fwrite(sPrefix.data(), 1, sPrefix.size(), fp);
    if (nSize > 0) std::fwrite(pData, 1, nSize, fp);
    std::fclose(fp);
}

std::string RankTable() {
    std::vector<int32_t> vecRanks(65536, -1);
    for (int c = 0; c < 128; ++c) vecRanks[c] = c;
    return std::string(reinterpret_cast<const char*>(vecRanks.data()), vecRanks.size() * sizeof(int32_t));
}

void Probe(const CPDAT& dict) {
    static const char* kTexts[] = {"a", "ab", "abc", "hello world", "\xC4\xCF\xBE\xA9", "zz\xB0"};
    for (const char* sText : kTexts) {
        int nHandle = -1;
        dict.Find(sText);
        dict.GetMaxWord(sText, &nHandle, nullptr);
        std::vector<_stTermPosition> vecHits;
        for (int nMode = 0; nMode < 3; ++nMode) dict.MMScanPosition(sText, vecHits, nMode);
    }
    for (int nCode = 0; nCode < 128; ++nCode) dict.Find(nCode);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0) return 0;
    const int nFormat = pData[0] % 6;
    ++pData;
    --nSize;
    WriteScratch(pData, nSize, nFormat == 0 ? RankTable() : std::string());
    const char* sPath = ScratchPath().c_str();
    switch (nFormat) {
        case 0: {
            CPDAT dict(0);
            if (dict.Load(sPath)) Probe(dict);
            break;
        }
        case 1: {
            CWordList words(nSize % 2 == 0, nullptr);
            if (words.Load(sPath)) {
                for (int h = -2; h < 64; ++h) words.GetWord(h);
            }
            break;
        }
        case 2: {
            CPOS pos;
            if (pos.Load(sPath)) {
                for (int h = -2; h < 64; ++h) {
                    int nCount = 0;
                    pos.GetPOS(h, &nCount);
                    pos.GetPOS(h);
                    pos.GetMaxPOS(h);
                    pos.GetPOSFreq(h, 1);
                }
                std::vector<POS_elem> vecOut;
                pos.GetAllItem(vecOut, std::vector<int>());
            }
            break;
        }
        case 3: {
            CUnigram unigram(0);
            if (unigram.Load(sPath)) {
                for (int h = -2; h < 64; ++h) unigram.GetFreq(h);
                std::vector<unigram_elem> vecOut;
                unigram.OutputFreq(vecOut);
            }
            break;
        }
        case 4: {
            CIDMaps maps;
            if (maps.Load(sPath)) {
                for (int h = -2; h < 64; ++h) {
                    int nCount = 0;
                    maps.GetMaps(h, &nCount);
                    maps.GetMapID(h);
                }
            }
            break;
        }
        default: {
            CTrie trie;
            if (trie.Load(sPath)) {
                int nHandle = -1;
                trie.Find("ab");
                trie.GetMaxWord("abc", &nHandle);
                trie.AddTrie("ab n", false);
                trie.DelTrie("ab");
            }
            break;
        }
    }
    std::remove(sPath);
    return 0;
}

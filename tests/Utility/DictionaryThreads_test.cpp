// DictionaryThreads_test.cpp: completed dictionaries are read-only: many threads may look words up,
// scan texts and read word lists, class tables and id maps at once, and every thread sees exactly
// the answers of a single-threaded run. Run under ThreadSanitizer by `make tsan`.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

// A random GBK hanzi from the GB2312 level-1 block.
std::string RandomHanzi(std::mt19937& rng) {
    std::string s(2, '\0');
    s[0] = static_cast<char>(0xB0 + rng() % 0x28);
    s[1] = static_cast<char>(0xA1 + rng() % 0x5E);
    return s;
}

std::string RandomWord(std::mt19937& rng) {
    std::string sWord;
    int nLen = 1 + static_cast<int>(rng() % 4);
    for (int i = 0; i < nLen; ++i)
        sWord += (rng() % 5 == 0) ? std::string(1, 'a' + rng() % 26) : RandomHanzi(rng);
    return sWord;
}

// Everything one reader computes; two runs must give equal values.
struct Answers {
    std::vector<int> vecFind;
    std::vector<int> vecMaxLen;
    std::vector<int> vecMaxHandle;
    std::vector<std::string> vecHits;
    std::vector<std::string> vecWords;
    std::vector<int> vecPOS;
    std::vector<int> vecMaps;
    bool operator==(const Answers& o) const {
        return vecFind == o.vecFind && vecMaxLen == o.vecMaxLen && vecMaxHandle == o.vecMaxHandle &&
               vecHits == o.vecHits && vecWords == o.vecWords && vecPOS == o.vecPOS &&
               vecMaps == o.vecMaps;
    }
};

struct Dictionaries {
    CPDAT dict{0};
    CWordList words{true, &dict};
    CPOS pos;
    CIDMaps maps;
};

Answers ReadAll(const Dictionaries& d, const std::vector<std::string>& vecQueries,
                const std::vector<std::string>& vecTexts) {
    Answers a;
    for (const std::string& sQuery : vecQueries) {
        int nHandle = d.dict.Find(sQuery.c_str());
        a.vecFind.push_back(nHandle);
        int nMaxHandle = -1;
        a.vecMaxLen.push_back(d.dict.GetMaxWord(sQuery.c_str(), &nMaxHandle, nullptr));
        a.vecMaxHandle.push_back(nMaxHandle);
        a.vecWords.push_back(d.words.GetWord(nHandle));
        int nCount = 0;
        const POS_info* pInfo = d.pos.GetPOS(nHandle, &nCount);
        a.vecPOS.push_back(pInfo ? pInfo[0].POS_id * 1000 + nCount : -1);
        int nMaps = 0;
        const idmaps_info* pMaps = d.maps.GetMaps(nHandle, &nMaps);
        a.vecMaps.push_back(pMaps ? pMaps[nMaps - 1].handle2 : -2);
    }
    for (const std::string& sText : vecTexts) {
        std::vector<_stTermPosition> vecHits;
        d.dict.MMScanPosition(sText.c_str(), vecHits, 1);
        std::string sHits;
        for (const _stTermPosition& hit : vecHits) {
            sHits += std::to_string(hit.nHandle) + "@" + std::to_string(hit.iStartPos) + "+" +
                     std::to_string(hit.nWordLen) + " ";
        }
        a.vecHits.push_back(sHits);
    }
    return a;
}

TEST(DictionaryThreads, ConcurrentReadersSeeTheSingleThreadedAnswers) {
    std::mt19937 rng(20261122);
    std::vector<std::string> vecWords;
    for (int i = 0; i < 3000; ++i) vecWords.push_back(RandomWord(rng));

    // Build all four structures, save them and load them into a second set, which the threads read.
    vt_test::CTempDir tmp;
    {
        Dictionaries built;
        for (const std::string& sWord : vecWords) built.dict.AddWord(sWord.c_str());
        built.dict.AddWordComplete();
        built.words.AddWordInit();
        std::vector<POS_elem> vecElems;
        built.maps.MapInit();
        for (const std::string& sWord : vecWords) {
            int nHandle = built.dict.Find(sWord.c_str());
            ASSERT_GE(nHandle, 0);
            built.words.AddWord(sWord.c_str(), nHandle);
            POS_elem elem;
            elem.handle = nHandle;
            elem.POS_id = static_cast<unsigned char>(nHandle % 7);
            elem.freq = nHandle;
            vecElems.push_back(elem);
            built.maps.MapAdd(nHandle, (nHandle * 31) % static_cast<int>(vecWords.size()));
        }
        built.words.AddWordComplete();
        built.pos.Import(vecElems, static_cast<int>(built.dict.GetItemCount()));
        built.maps.MapComplete();
        ASSERT_EQ(built.dict.Save(tmp.File("k.pdat").c_str()), 1);
        ASSERT_EQ(built.words.Save(tmp.File("k.wordlist").c_str()), 1);
        ASSERT_EQ(built.pos.Save(tmp.File("k.pos").c_str()), 1);
        ASSERT_EQ(built.maps.Save(tmp.File("k.map").c_str()), 1);
    }
    Dictionaries loaded;
    ASSERT_EQ(loaded.dict.Load(tmp.File("k.pdat").c_str()), 1);
    ASSERT_EQ(loaded.words.Load(tmp.File("k.wordlist").c_str()), 1);
    ASSERT_EQ(loaded.pos.Load(tmp.File("k.pos").c_str()), 1);
    ASSERT_EQ(loaded.maps.Load(tmp.File("k.map").c_str()), 1);

    std::vector<std::string> vecQueries = vecWords;
    for (int i = 0; i < 500; ++i) vecQueries.push_back(RandomWord(rng) + RandomWord(rng));
    std::vector<std::string> vecTexts;
    for (int i = 0; i < 200; ++i) {
        std::string sText;
        for (int j = 0; j < 20; ++j)
            sText += (rng() % 3 == 0) ? vecWords[rng() % vecWords.size()] : RandomHanzi(rng);
        vecTexts.push_back(sText);
    }

    const Answers expected = ReadAll(loaded, vecQueries, vecTexts);
    // The answers themselves are right: every word is found under a handle whose text is the word.
    for (size_t i = 0; i < vecWords.size(); ++i) {
        ASSERT_GE(expected.vecFind[i], 0);
        EXPECT_EQ(expected.vecWords[i], vecWords[i]);
    }

    constexpr int kThreads = 8;
    std::vector<Answers> vecResults(kThreads);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < kThreads; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int round = 0; round < 3; ++round)
                vecResults[t] = ReadAll(loaded, vecQueries, vecTexts);
        });
    }
    for (std::thread& thread : vecThreads) thread.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_TRUE(vecResults[t] == expected) << "thread " << t;
}

}  // namespace

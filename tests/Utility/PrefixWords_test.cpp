// PrefixWords_test.cpp: the allocation-free prefix lookups of CPDAT and CTrie against the longer ways
// of asking the same.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Trie.h"

namespace {

// Words and texts over a few GBK characters and letters, so that words share prefixes.
std::string RandomText(std::mt19937& rng, int nChars) {
    static const char* const units[] = {"\xD6\xD0", "\xB9\xFA", "\xC8\xCB", "\xC3\xF1", "a", "b", "A"};
    std::string s;
    for (int i = 0; i < nChars; ++i) s += units[rng() % 7];
    return s;
}

TEST(PrefixWords, DictionaryGivesEveryPrefixWordShortestFirst) {
    std::mt19937 rng(7);
    CPDAT dict;
    dict.AddWordInit();
    for (int i = 0; i < 300; ++i) dict.AddWord(RandomText(rng, 1 + static_cast<int>(rng() % 4)).c_str());
    dict.AddWordComplete();
    for (int t = 0; t < 500; ++t) {
        std::string sText = RandomText(rng, 8);
        unsigned int* pHandles = nullptr;
        unsigned int* pLengths = nullptr;
        unsigned int nCap = 0, nCount = 0;
        dict.GetWords(sText.c_str(), &pHandles, &pLengths, &nCap, &nCount, 0);
        int handles[32], lengths[32];
        int n = dict.PrefixWords(sText.data(), sText.size(), handles, lengths, 32);
        ASSERT_EQ(static_cast<unsigned>(n), nCount) << sText;
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(static_cast<unsigned>(handles[k]), pHandles[k]);
            EXPECT_EQ(static_cast<unsigned>(lengths[k]), pLengths[k]);
            EXPECT_EQ(dict.Find(sText.c_str(), static_cast<unsigned>(lengths[k])), handles[k]);
        }
        // A shorter window sees only the words inside it; the cap is kept.
        int nShort = dict.PrefixWords(sText.data(), 2, handles, lengths, 32);
        for (int k = 0; k < nShort; ++k) EXPECT_LE(lengths[k], 2);
        EXPECT_LE(dict.PrefixWords(sText.data(), sText.size(), handles, lengths, 1), 1);
        // Prefetch names the word of the first character, if any, and changes nothing.
        int nFirstLen = static_cast<unsigned char>(sText[0]) >= 0x80 ? 2 : 1;
        EXPECT_EQ(dict.Prefetch(sText.data(), sText.size(), 2), dict.Find(sText.c_str(), static_cast<unsigned>(nFirstLen)));
        EXPECT_EQ(dict.Prefetch(sText.data(), sText.size(), 1), -1);
        EXPECT_EQ(dict.PrefixWords(sText.data(), sText.size(), handles, lengths, 32), n);
        std::free(pHandles);
        std::free(pLengths);
    }
    int h, l;
    EXPECT_EQ(dict.PrefixWords(nullptr, 3, &h, &l, 1), 0);
    EXPECT_EQ(CPDAT().PrefixWords("ab", 2, &h, &l, 1), 0);
}

TEST(PrefixWords, UserTrieSkipsDeletedWordsAndGivesTags) {
    CTrie trie;
    trie.AddTrie("\xD6\xD0 ns", false);            // 中
    trie.AddTrie("\xD6\xD0\xB9\xFA nt", false);    // 中国
    trie.AddTrie("\xD6\xD0\xB9\xFA\xC8\xCB", true);  // 中国人
    trie.DelTrie("\xD6\xD0\xB9\xFA");
    std::string sText = "\xD6\xD0\xB9\xFA\xC8\xCB\xC3\xF1";
    int lengths[8];
    const char* tags[8];
    ASSERT_EQ(trie.PrefixWords(sText.data(), sText.size(), lengths, tags, 8), 2);
    EXPECT_EQ(lengths[0], 2);
    EXPECT_STREQ(tags[0], "ns");
    EXPECT_EQ(lengths[1], 6);
    EXPECT_EQ(trie.PrefixWords(sText.data(), 4, lengths, nullptr, 8), 1);  // the window ends at 中国
    EXPECT_EQ(trie.PrefixWords(sText.data(), sText.size(), lengths, tags, 1), 1);
    EXPECT_EQ(CTrie().PrefixWords(sText.data(), sText.size(), lengths, tags, 8), 0);
}

}  // namespace

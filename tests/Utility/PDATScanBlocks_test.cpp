// PDATScanBlocks_test.cpp: the overlapping scan (scan mode 1) of a dictionary with scan tables
// takes the text in blocks and settles most start offsets from the first three steps of their walk;
// a dictionary without the tables walks every offset one after another. Both must give the very
// same hits (handles, offsets, lengths, order) for every dictionary and text: long texts across
// many blocks, dense hits, words that end at the first, second and third step with and without
// longer words, words that fail the English word-boundary test, characters without rank or that end
// every match, and broken GBK.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "support/ScanHits.h"
#include "support/TestSupport.h"

namespace {

using vt_test::Hits;
using vt_test::Scan;

// Pieces of words and texts. Few hanzi, so that words share prefixes and walks go deep; letters and
// digits for the boundary test, also as GBK trail bytes (B0 41 reads as a hanzi lead and the letter
// 'A'); characters that end every match in scan mode 1 (full-width letters, punctuation, capitals
// in mode 1, a GBK character outside GB2312); hanzi that no word holds (they have no rank).
const std::vector<std::string>& WordPieces() {
    static const std::vector<std::string> vec = {
        "\xB0\xA1", "\xB0\xA2", "\xB1\xA1", "\xC4\xCF", "\xBE\xA9",  // 啊阿癌南京
        "a",        "b",        "1",        "\xB0\x41", "\xA3\xC1",
        "\x81\x40", "A",  // B0 41, Ａ, a GBK extension
    };
    return vec;
}
const std::vector<std::string>& TextOnlyPieces() {
    static const std::vector<std::string> vec = {
        "\xCA\xD0", "\xB3\xA4",  // 市长: hanzi without rank
        "\xA3\xAC", "\xA1\xA3",  // ， 。
        " ",        "z",        "9", "Z",
    };
    return vec;
}

std::string RandomWord(std::mt19937& rng) {
    std::string s;
    int n = 1 + static_cast<int>(rng() % 5);
    for (int i = 0; i < n; ++i) s += WordPieces()[rng() % WordPieces().size()];
    return s;
}

// A text of 100 to 700 pieces, most of them dictionary words, then a lone lead byte now and then.
std::string RandomText(std::mt19937& rng, const std::vector<std::string>& vecWords) {
    std::string s;
    int n = 100 + static_cast<int>(rng() % 600);
    for (int i = 0; i < n; ++i) {
        unsigned k = rng() % 10;
        if (k < 5) {
            s += vecWords[rng() % vecWords.size()];
        } else if (k < 8) {
            s += WordPieces()[rng() % WordPieces().size()];
        } else {
            s += TextOnlyPieces()[rng() % TextOnlyPieces().size()];
        }
    }
    if (rng() % 3 == 0) s += "\xB0";
    return s;
}

void Build(CPDAT& dict, const std::vector<std::string>& vecWords) {
    for (const std::string& s : vecWords) dict.AddWord(s.c_str());
    dict.AddWordComplete();
}

TEST(PDATScanBlocks, RandomDictionariesAndLongTextsScanAlike) {
    std::mt19937 rng(20261122);
    for (int nRound = 0; nRound < 36; ++nRound) {
        const int nMode = nRound % 3;
        std::vector<std::string> vecWords;
        int nWords = 1 + static_cast<int>(rng() % 120);
        for (int i = 0; i < nWords; ++i) vecWords.push_back(RandomWord(rng));
        CPDAT blocks(nMode), plain(nMode);
        blocks.SetScanFilter(true);
        plain.SetScanFilter(false);
        Build(blocks, vecWords);
        Build(plain, vecWords);
        for (int t = 0; t < 12; ++t) {
            const std::string sText = RandomText(rng, vecWords);
            SCOPED_TRACE("round " + std::to_string(nRound) + " text " + std::to_string(t));
            Hits expected = Scan(plain, sText, 1);
            ASSERT_EQ(Scan(blocks, sText, 1), expected);
            // The tables serve scan mode 1 only; the other modes must not notice them.
            ASSERT_EQ(Scan(blocks, sText, 0), Scan(plain, sText, 0));
            ASSERT_EQ(Scan(blocks, sText, 2), Scan(plain, sText, 2));
        }
    }
}

TEST(PDATScanBlocks, WalksEndingAtEachStep) {
    // 南 a word by itself; 南京 a word without longer words (the walk ends at the second step);
    // 啊阿 a word with longer ones (啊阿癌 ends at the third step, 啊阿癌南 goes further); 阿 only
    // a prefix; "ab" and "a1" meet the boundary test.
    std::vector<std::string> vecWords = {"\xC4\xCF",
                                         "\xC4\xCF\xBE\xA9",
                                         "\xB0\xA1\xB0\xA2",
                                         "\xB0\xA1\xB0\xA2\xB1\xA1",
                                         "\xB0\xA1\xB0\xA2\xB1\xA1\xC4\xCF",
                                         "\xB0\xA2\xB1\xA1\xBE\xA9",
                                         "ab",
                                         "a1",
                                         "b"};
    CPDAT blocks(0), plain(0);
    blocks.SetScanFilter(true);
    plain.SetScanFilter(false);
    Build(blocks, vecWords);
    Build(plain, vecWords);
    // Each text is also repeated to cross block boundaries at every phase.
    const std::vector<std::string> vecTexts = {
        "\xC4\xCF\xBE\xA9\xB0\xA1\xB0\xA2\xB1\xA1\xC4\xCF",  // 南京啊阿癌南
        "\xB0\xA1\xB0\xA2\xCA\xD0",                          // 啊阿 then an unranked 市
        "\xB0\xA1\xB0\xA2\xB1\xA1\xCA\xD0",                  // ... after three steps
        "\xB0\xA1\xB0\xA2\xA3\xAC\xB0\xA1\xB0\xA2",          // 啊阿，啊阿
        "xab ab1 abc a1b b",                                 // words failing the boundary test
        "\xB0\xA2\xB1\xA1\xBE",                              // a lone lead byte ends the text
        "\xC4\xCF\xB0\x41"
        "b",  // 南, then B0 41 ('A' as a trail) before "b"
    };
    for (const std::string& sText : vecTexts) {
        std::string sLong;
        for (int i = 0; i < 40; ++i) sLong += sText + std::string(static_cast<size_t>(i % 3), 'z');
        EXPECT_EQ(Scan(blocks, sText, 1), Scan(plain, sText, 1)) << sText;
        EXPECT_EQ(Scan(blocks, sLong, 1), Scan(plain, sLong, 1)) << sText;
    }
    // A block's characters run up to the end of the text at every offset of the block, ending in a
    // word or in a lone lead byte.
    for (int n = 60; n <= 136; ++n) {
        std::string sText;
        for (int i = 0; i < n; ++i) sText += i % 2 == 0 ? "\xB0\xA1" : "\xB0\xA2";  // 啊阿...
        EXPECT_EQ(Scan(blocks, sText, 1), Scan(plain, sText, 1)) << n;
        EXPECT_EQ(Scan(blocks, sText + "\xB0", 1), Scan(plain, sText + "\xB0", 1)) << n;
    }
    // Spot checks reasoned from the rules: 南京 ends at its second step and 南 is shadowed by it;
    // the attempt at 京 finds nothing; 啊阿癌南 is the longest walk from 啊.
    Hits hits = Scan(blocks, vecTexts[0], 1);
    ASSERT_GE(hits.size(), 2u);
    EXPECT_EQ(hits[0], (vt_test::Hit{1, 0, 4}));
    EXPECT_EQ(hits[1], (vt_test::Hit{4, 4, 8}));
}

TEST(PDATScanBlocks, EmptiedAndReloadedDictionaries) {
    std::mt19937 rng(5);
    std::vector<std::string> vecWords;
    for (int i = 0; i < 80; ++i) vecWords.push_back(RandomWord(rng));
    vt_test::CTempDir dir;
    CPDAT blocks(0), plain(0);
    blocks.SetScanFilter(true);
    plain.SetScanFilter(false);
    Build(blocks, vecWords);
    Build(plain, vecWords);
    ASSERT_EQ(blocks.Save(dir.File("d.pdat").c_str()), 1);
    CPDAT loaded(1);
    loaded.SetScanFilter(true);
    ASSERT_EQ(loaded.Load(dir.File("d.pdat").c_str()), 1);
    const std::string sText = RandomText(rng, vecWords);
    EXPECT_EQ(Scan(loaded, sText, 1), Scan(plain, sText, 1));
    // SetEmpty keeps the arrays but forgets the bound: only cell 0 is left, with or without tables.
    blocks.SetEmpty();
    plain.SetEmpty();
    for (int t = 0; t < 10; ++t) {
        std::string s = RandomText(rng, vecWords);
        EXPECT_EQ(Scan(blocks, s, 1), Scan(plain, s, 1));
    }
}

}  // namespace

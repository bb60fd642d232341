// WordList_test.cpp: CWordList, its lookups, imports, export and the .wordlist file.
#include "Utility/WordList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Encript/QMTEncript.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "support/TestSupport.h"

namespace {

using vt_test::CTempDir;
using vt_test::G;
using vt_test::ReadWholeFile;
using vt_test::WriteWholeFile;

std::string Int32(int32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }

// Words (GBK) of a small dictionary, given handles 0, 1, 2, ... in this order.
std::vector<std::string> DictWords() {
    return {G("中国"), G("人民"), "abc", G("关键词"), G("好"), "x"};
}

class WordListTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_sLogPath = m_dir.Path();  // unknown words are logged here
        for (const std::string& sWord : DictWords()) m_dict.AddWord(sWord.c_str());
        m_dict.AddWordComplete();
        ASSERT_EQ(m_dict.GetItemCount(), DictWords().size());
    }

    // A completed list of the dictionary's words, each under its own handle.
    void FillWithDictWords(CWordList& list) {
        for (const std::string& sWord : DictWords()) list.AddWord(sWord.c_str());
        list.AddWordComplete();
    }

    CTempDir m_dir;
    CPDAT m_dict;
};

TEST_F(WordListTest, LookupsInsideAndOutsideTheBound) {
    CWordList list(false, nullptr);
    EXPECT_STREQ(list.GetWord(0), "");  // empty list
    ASSERT_EQ(list.AddWord("first", 0), 1);
    ASSERT_EQ(list.AddWord("third", 2), 1);
    ASSERT_EQ(list.AddWord(G("第五").c_str(), 4), 1);
    EXPECT_STREQ(list.GetWord(0), "") << "no table before AddWordComplete";
    ASSERT_EQ(list.AddWordComplete(), 1);

    EXPECT_EQ(list.GetItemCount(), 3u);
    EXPECT_EQ(list.GetBound(), 5);
    // Deliberate: handles inside the bound without a text give the first text; outside the bound
    // the answer is one shared empty string.
    const std::vector<std::string> vecExpected = {"first", "first", "third", "first", G("第五")};
    for (int h = 0; h < 5; ++h) EXPECT_EQ(list.GetWord(h), vecExpected[h]) << h;
    const char* sOut = list.GetWord(5);
    EXPECT_STREQ(sOut, "");
    for (int nHandle : {-1, 6, INT_MAX, INT_MIN}) EXPECT_EQ(list.GetWord(nHandle), sOut);
    EXPECT_EQ(CWordList(false, nullptr).GetWord(-1), sOut);
}

// Deliberate: the pairs are applied in the order added, so the later text of a handle wins; both
// are counted.
TEST_F(WordListTest, AddingEdgeCases) {
    CWordList list(false, &m_dict);
    list.AddWord("old", 1);
    list.AddWord("new", 1);
    list.AddWord("zero", 0);
    // Negative handles and words the dictionary lacks are not stored but still succeed.
    EXPECT_EQ(list.AddWord("neg", -1), 1);
    EXPECT_EQ(list.AddWord("unknown"), 1);
    // A byte-order mark before a word is skipped before the dictionary is asked.
    EXPECT_EQ(list.AddWord(("\xEF\xBB\xBF" + G("好")).c_str()), 1);
    EXPECT_EQ(list.AddWord("\xEF\xBB"), 1);  // a cut mark is just an unknown word
    // Failures store nothing.
    EXPECT_EQ(list.AddWord(nullptr, 0) + list.AddWord(nullptr), 0);
    EXPECT_EQ(list.AddWord("huge", CWordList::MAX_HANDLE + 1) + list.AddWord("huge", INT_MAX), 0);
    list.AddWordComplete();
    EXPECT_EQ(list.GetItemCount(), 4u);
    EXPECT_EQ(list.GetBound(), 5);
    EXPECT_STREQ(list.GetWord(1), "new");
    EXPECT_STREQ(list.GetWord(0), "zero");
    EXPECT_EQ(list.GetWord(4), G("好"));
    // A second completion does nothing, even after more words.
    list.AddWord("later", 2);
    list.AddWordComplete();
    EXPECT_STREQ(list.GetWord(2), "old") << "still the first text: the table was not rebuilt";

    // AddWordInit starts over but keeps the bound.
    list.AddWordInit();
    EXPECT_EQ(list.GetItemCount(), 0u);
    list.AddWord("again", 0);
    list.AddWordComplete();
    EXPECT_EQ(list.GetBound(), 5);
    EXPECT_STREQ(list.GetWord(3), "again");

    // The unknown words went to the log.
    std::vector<std::string> vecLogs;
    gfn_vScanFiles(m_dir.Path().c_str(), vecLogs, ".log");
    ASSERT_EQ(vecLogs.size(), 1u);
    const std::string sLog = ReadWholeFile(vecLogs[0]);
    EXPECT_NE(sLog.find("\tneg\n"), std::string::npos) << sLog;
    EXPECT_NE(sLog.find("\tunknown\n"), std::string::npos) << sLog;
}

TEST_F(WordListTest, TextsBeyondOneBufferBlock) {
    CWordList list(false, nullptr);
    const std::string sLong(CWordList::TEXT_BLOCK + 10, 'w');  // more than one growth step at once
    std::vector<std::string> vecTexts;
    for (int i = 0; i < 25000; ++i) vecTexts.push_back("word" + std::to_string(i));
    for (int i = 0; i < 25000; ++i) list.AddWord(vecTexts[i].c_str(), i);
    list.AddWord(sLong.c_str(), 25000);
    list.AddWordComplete();
    ASSERT_EQ(list.GetItemCount(), 25001u);
    for (int i = 0; i < 25000; i += 997) EXPECT_EQ(list.GetWord(i), vecTexts[i]);
    EXPECT_EQ(list.GetWord(25000), sLong);
}

// Deliberate: a line without a token adds the previous token again.
TEST_F(WordListTest, ImportFromTextFile) {
    const std::vector<std::string> vecWords = DictWords();
    // A mark at the start; a line read in pieces, none of them a word.
    ASSERT_TRUE(WriteWholeFile(m_dir.File("words.txt"),
                               "\xEF\xBB\xBF" + vecWords[1] + " trailing fields\n  \t" +
                                   vecWords[0] + "\n\nunknown\n" + std::string(1500, 'z') + "\n" +
                                   vecWords[3] + "\r\n"));

    CWordList list(false, nullptr);
    EXPECT_EQ(list.Import(m_dir.File("words.txt").c_str(), &m_dict), 4);
    EXPECT_EQ(list.GetItemCount(), 4u);
    EXPECT_EQ(list.GetBound(), 4);
    for (int h : {0, 1, 3}) EXPECT_EQ(list.GetWord(h), vecWords[h]);
    EXPECT_EQ(list.GetWord(2), vecWords[1]) << "handle 2 has no text: the first text";

    // The dictionary given earlier stays when none is passed; a missing file gives 0.
    EXPECT_EQ(list.Import(m_dir.File("words.txt").c_str(), nullptr), 4);
    EXPECT_EQ(list.Import(m_dir.File("missing.txt").c_str(), &m_dict), 0);
    EXPECT_EQ(list.Import(nullptr, &m_dict), 0);
}

TEST_F(WordListTest, ImportPrintsProgressFromALineCounterStartingAtOne) {
    // The counter is 1 before the first line and is raised before each line, so the 99th line is
    // the first to reach 100.
    CWordList list(false, &m_dict);
    for (int nLines : {98, 99}) {
        std::string sText;
        for (int i = 0; i < nLines; ++i) sText += "x\n";
        ASSERT_TRUE(WriteWholeFile(m_dir.File("n.txt"), sText));
        testing::internal::CaptureStdout();
        EXPECT_EQ(list.Import(m_dir.File("n.txt").c_str(), nullptr), nLines);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), nLines == 99 ? "Line 100\r" : "");
    }
}

TEST_F(WordListTest, ImportFromKeywordRecords) {
    std::vector<WORD_INFO> vecInfo(4);
    const char* sPairs[4][2] = {
        {"人民", "类别甲"}, {"unknown", "skipped"}, {"abc", ""}, {"x", "info-x"}};
    for (size_t i = 0; i < 4; ++i) {
        vecInfo[i].word = G(sPairs[i][0]);
        vecInfo[i].store_info = G(sPairs[i][1]);
    }

    CWordList info(true, nullptr);
    EXPECT_EQ(info.Import(vecInfo, &m_dict, true), 3);
    EXPECT_EQ(info.GetBound(), 6) << "the bound is the dictionary's item count";
    EXPECT_EQ(info.GetWord(1), G("类别甲"));
    EXPECT_STREQ(info.GetWord(2), "");
    EXPECT_STREQ(info.GetWord(5), "info-x");
    EXPECT_EQ(info.GetWord(0), G("类别甲")) << "no record: the first text";

    CWordList words(false, nullptr);
    words.AddWord("stale", 0);  // replaced by the import
    EXPECT_EQ(words.Import(vecInfo, &m_dict, false), 3);
    EXPECT_EQ(words.GetWord(1), G("人民"));
    EXPECT_STREQ(words.GetWord(2), "abc");
    EXPECT_STREQ(words.GetWord(5), "x");
    EXPECT_STREQ(words.GetWord(6), "");

    EXPECT_EQ(words.Import(vecInfo, nullptr, false), 0);
}

TEST_F(WordListTest, ExportWithExclusionList) {
    CWordList list(false, &m_dict);
    FillWithDictWords(list);
    // Only tokens that start with a non-ASCII byte and are longer than 2 bytes exclude their word:
    // 中国 and 关键词 go; 好 (2 bytes) and abc (ASCII) stay; unknown tokens do nothing.
    const std::string sExclude =
        G("中国") + " 1\n" + G("好") + "\nabc\n\n" + G("关键词") + "\n" + G("不在") + "\n";
    ASSERT_TRUE(WriteWholeFile(m_dir.File("exclude.txt"), sExclude));
    ASSERT_EQ(
        list.Export(m_dir.File("out.txt").c_str(), &m_dict, m_dir.File("exclude.txt").c_str()), 0);
    EXPECT_EQ(ReadWholeFile(m_dir.File("out.txt")), G("人民") + "\nabc\n" + G("好") + "\nx\n");

    // Without an exclusion list (or with one that cannot be opened) every handle is written.
    const std::string sNone = m_dir.File("none");
    for (const char* sExcl : {static_cast<const char*>(nullptr), sNone.c_str()}) {
        ASSERT_EQ(list.Export(m_dir.File("all.txt").c_str(), &m_dict, sExcl), 0);
        EXPECT_EQ(ReadWholeFile(m_dir.File("all.txt")), G("中国") + "\n" + G("人民") + "\nabc\n" +
                                                            G("关键词") + "\n" + G("好") + "\nx\n");
    }
    // Deliberate: 0 is success here, unlike Save and Load. Failure is 1, with a message for an
    // output that cannot be opened.
    const std::string sBad = m_dir.File("no/such/dir.txt");
    testing::internal::CaptureStdout();
    EXPECT_EQ(list.Export(sBad.c_str(), &m_dict, nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error open file " + sBad + ".\n");
    EXPECT_EQ(list.Export(nullptr, &m_dict, nullptr), 1);
    EXPECT_EQ(list.Export(m_dir.File("x.txt").c_str(), nullptr, nullptr), 1);
}

TEST_F(WordListTest, GoldenPlainFile) {
    CWordList list(false, nullptr);
    list.AddWord("ab", 0);
    list.AddWord("c", 2);
    list.AddWordComplete();
    ASSERT_EQ(list.Save(m_dir.File("golden.wordlist").c_str()), 1);
    // count 2, bound 3, offsets of handles 0..3 (handle 1 without text: 0; the entry at the bound:
    // 0), text size 5, texts "ab\0c\0".
    const std::string sExpected = Int32(2) + Int32(3) + Int32(0) + Int32(0) + Int32(3) + Int32(0) +
                                  Int32(5) + std::string("ab\0c\0", 5);
    EXPECT_EQ(ReadWholeFile(m_dir.File("golden.wordlist")), sExpected);

    // The scrambled form differs only in the text part, which is XORed with the word-list key.
    CWordList scrambled(true, nullptr);
    scrambled.AddWord("ab", 0);
    scrambled.AddWord("c", 2);
    scrambled.AddWordComplete();
    ASSERT_EQ(scrambled.Save(m_dir.File("golden.scrambled").c_str()), 1);
    std::string sText("ab\0c\0", 5);
    for (size_t i = 0; i < sText.size(); ++i)
        sText[i] = static_cast<char>(sText[i] ^ QMT_WORD_LIST_KEY[i]);
    EXPECT_EQ(ReadWholeFile(m_dir.File("golden.scrambled")), sExpected.substr(0, 28) + sText);
    // An empty list is its four zero counts.
    CWordList empty(true, nullptr);
    empty.AddWordComplete();
    ASSERT_EQ(empty.Save(m_dir.File("empty.wordlist").c_str()), 1);
    EXPECT_EQ(ReadWholeFile(m_dir.File("empty.wordlist")),
              Int32(0) + Int32(0) + Int32(0) + Int32(0));
}

TEST_F(WordListTest, SaveAndLoadRoundTrips) {
    for (bool bEncript : {false, true}) {
        SCOPED_TRACE(bEncript ? "scrambled" : "plain");
        CWordList list(bEncript, &m_dict);
        FillWithDictWords(list);
        const std::string sFile = m_dir.File(bEncript ? "s.wordlist" : "p.wordlist");
        ASSERT_EQ(list.Save(sFile.c_str()), 1);
        ASSERT_EQ(list.Save((sFile + "2").c_str()), 1);
        const std::string sBytes = ReadWholeFile(sFile);
        EXPECT_EQ(sBytes, ReadWholeFile(sFile + "2")) << "same list, same bytes";
        // Saving leaves the texts in memory plain.
        EXPECT_EQ(list.GetWord(3), G("关键词"));

        // The text part on disk is plain exactly when the list is not scrambled.
        std::string sPlainText;
        for (const std::string& sWord : DictWords()) sPlainText += sWord + '\0';
        const std::string sOnDisk = sBytes.substr(sBytes.size() - sPlainText.size());
        EXPECT_EQ(sOnDisk == sPlainText, !bEncript);

        CWordList loaded(bEncript, nullptr);
        ASSERT_EQ(loaded.Load(sFile.c_str()), 1);
        EXPECT_EQ(loaded.GetItemCount(), list.GetItemCount());
        EXPECT_EQ(loaded.GetBound(), list.GetBound());
        for (int h = -1; h <= list.GetBound(); ++h)
            EXPECT_STREQ(loaded.GetWord(h), list.GetWord(h));
        ASSERT_EQ(loaded.Save((sFile + "3").c_str()), 1);
        EXPECT_EQ(ReadWholeFile(sFile + "3"), sBytes);
        EXPECT_EQ(loaded.Save(m_dir.File("no/such/dir").c_str()), 0);
        EXPECT_EQ(loaded.Save(nullptr), 0);
    }
}

TEST_F(WordListTest, LoadRejectsBadFilesAndStaysUsable) {
    for (bool bEncript : {false, true}) {
        SCOPED_TRACE(bEncript ? "scrambled" : "plain");
        CWordList good(bEncript, &m_dict);
        FillWithDictWords(good);
        const std::string sGoodFile = m_dir.File("good.wordlist");
        ASSERT_EQ(good.Save(sGoodFile.c_str()), 1);
        const std::string sGood = ReadWholeFile(sGoodFile);

        CWordList list(bEncript, nullptr);
        auto fnCheck = [&](bool bTruncated) {
            const int nRet = list.Load(m_dir.File("bad.wordlist").c_str());
            if (bTruncated) {
                EXPECT_EQ(nRet, 0);
            }
            if (nRet == 0) {
                EXPECT_EQ(list.GetItemCount(), 0u);
                EXPECT_EQ(list.GetBound(), 0);
            }
            // Every lookup stays inside the list's memory (checked by the sanitizers).
            for (int h = -1; h <= list.GetBound() && h < 100; ++h) {
                EXPECT_LT(strlen(list.GetWord(h)), sGood.size());
            }
        };
        vt_test::ForEachDamagedCopy(sGood, m_dir.File("bad.wordlist"), 40, 300, 7, fnCheck);

        // Inconsistent counts and offsets, around a good file with count 1, bound 1, offsets 0 0,
        // text size 3.
        auto fnLoadBytes = [&](const std::string& sBytes) {
            WriteWholeFile(m_dir.File("bad.wordlist"), sBytes);
            return list.Load(m_dir.File("bad.wordlist").c_str());
        };
        std::string sText("ab\0", 3);
        if (bEncript) CQMTEncript(QMT_WORD_LIST_KEY).Encrypt(sText);
        auto fnFile = [&](int32_t nCount, int32_t nOffset, int32_t nSize,
                          const std::string& sTail) {
            return Int32(nCount) + Int32(1) + Int32(nOffset) + Int32(0) + Int32(nSize) + sTail;
        };
        EXPECT_EQ(fnLoadBytes(fnFile(1, 0, 3, sText)), 1);
        EXPECT_STREQ(list.GetWord(0), "ab");
        // Offset at the end of the text or negative, count beyond the texts, size or trailing bytes
        // that disagree, a negative bound, a huge bound (no gigabyte table).
        for (const std::string& sBad :
             {fnFile(1, 3, 3, sText), fnFile(1, -2, 3, sText), fnFile(2, 0, 3, sText),
              fnFile(1, 0, 4, sText), fnFile(1, 0, 3, sText + "z"),
              Int32(1) + Int32(-1) + Int32(0) + Int32(3) + sText,
              Int32(1) + Int32(0x7FFFFFF0) + Int32(0)}) {
            EXPECT_EQ(fnLoadBytes(sBad), 0);
        }
        EXPECT_EQ(list.GetBound(), 0);
        EXPECT_STREQ(list.GetWord(0), "");
        EXPECT_EQ(list.Load(m_dir.File("missing").c_str()), 0);
        EXPECT_EQ(list.Load(nullptr), 0);

        // And the good file loads again.
        ASSERT_EQ(list.Load(sGoodFile.c_str()), 1);
        EXPECT_EQ(list.GetWord(1), G("人民"));
    }
    // A text part that does not end with a NUL, seen through the right key.
    std::string sText("ab\0c", 4);
    CWordList list(false, nullptr);
    WriteWholeFile(m_dir.File("nonul.wordlist"),
                   Int32(1) + Int32(1) + Int32(0) + Int32(0) + Int32(4) + sText);
    EXPECT_EQ(list.Load(m_dir.File("nonul.wordlist").c_str()), 0);
}

TEST(WordListSort, QuicksortOrdersPairsByHandle) {
    // Random handles with many repeats, and a reversed run (the pivot is always an extreme).
    std::mt19937 rng(3);
    for (bool bReversed : {false, true}) {
        std::vector<word_elem> vecPairs(bReversed ? 3000 : 5000);
        for (size_t i = 0; i < vecPairs.size(); ++i) {
            vecPairs[i].handle =
                bReversed ? static_cast<int>(vecPairs.size() - i) : static_cast<int>(rng() % 300);
            vecPairs[i].nWordIndex = static_cast<int>(i);
        }
        std::vector<word_elem> vecSorted = vecPairs;
        CWordList::qksort(vecSorted.data(), 0, static_cast<int>(vecSorted.size()) - 1);
        // Ordered by handle, and a permutation of the input.
        auto fnKeys = [](const std::vector<word_elem>& vec, bool bSort) {
            std::vector<std::pair<int, int>> v;
            for (const word_elem& e : vec) v.emplace_back(e.handle, e.nWordIndex);
            if (bSort) std::sort(v.begin(), v.end());
            return v;
        };
        std::vector<std::pair<int, int>> vecKeys = fnKeys(vecSorted, false);
        EXPECT_TRUE(std::is_sorted(vecKeys.begin(), vecKeys.end(),
                                   [](const auto& a, const auto& b) { return a.first < b.first; }));
        EXPECT_EQ(fnKeys(vecSorted, true), fnKeys(vecPairs, true));
    }
    word_elem one{};
    CWordList::qksort(nullptr, 0, 10);
    CWordList::qksort(&one, 0, 0);
}

}  // namespace

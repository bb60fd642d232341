// TextSearch_test.cpp: the searches for long texts with many words give exactly what the plain
// searches give: first occurrences, the joined list's Contains, and the sentence bounds cut short at
// a limit.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Utility/TextSearch.h"
#include "Utility/Utility.h"

namespace {

// RandomText: n bytes over a small alphabet (so words overlap and repeat), GBK lead bytes included.
std::string RandomText(std::mt19937& rng, size_t n, const std::string& sAlphabet) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += sAlphabet[rng() % sAlphabet.size()];
    return s;
}

TEST(TextSearch, FirstOccurrencesAgreeWithFind) {
    std::mt19937 rng(7);
    const std::string sAlphabet = "ab/ \xC4\xCF\xB1";
    for (int nRound = 0; nRound < 200; ++nRound) {
        const std::string sText = RandomText(rng, rng() % 400, sAlphabet);
        std::vector<std::string> vecWords;
        const size_t nWords = rng() % 40;  // below and above the count that builds the automaton
        for (size_t i = 0; i < nWords; ++i) vecWords.push_back(RandomText(rng, rng() % 7, sAlphabet));
        if (nWords > 2) vecWords.push_back(vecWords[0]);  // a word given twice
        const std::vector<size_t> vecFirst = FirstOccurrences(sText, vecWords);
        ASSERT_EQ(vecFirst.size(), vecWords.size());
        for (size_t i = 0; i < vecWords.size(); ++i) {
            ASSERT_EQ(vecFirst[i], sText.find(vecWords[i])) << "round " << nRound << " word " << vecWords[i];
        }
    }
}

TEST(TextSearch, JoinedListContainsWhatFindFinds) {
    std::mt19937 rng(11);
    const std::string sAlphabet = "abc-#>\xC4\xCF";
    for (int nRound = 0; nRound < 20; ++nRound) {
        CJoinedList list(nRound % 2 == 0 ? "(x)" : "");
        // Long enough for the index; now and then an entry too long for it.
        for (int i = 0; i < 1500; ++i) {
            list.AppendEntry(RandomText(rng, 1 + rng() % (nRound == 3 ? 80 : 6), sAlphabet));
            if (rng() % 4 == 0) {
                list.AppendSeparator("-->");
                list.AppendEntry(RandomText(rng, 1 + rng() % 4, sAlphabet));
            }
            list.AppendSeparator("##");
            const std::string sWord = RandomText(rng, rng() % 8, sAlphabet);
            ASSERT_EQ(list.Contains(sWord), list.Text().find(sWord) != std::string::npos)
                << "round " << nRound << " step " << i << " word " << sWord;
        }
    }
}

TEST(TextSearch, SentenceBoundsCutShortAgreeWithTheWholeWalk) {
    std::mt19937 rng(3);
    const std::string sAlphabet = std::string("ab.!\t\xA3\xA1\xA1\xA3\xA3\xBF\xC4\xCF", 13);  // ！ 。 ？ among others
    for (int nRound = 0; nRound < 2000; ++nRound) {
        const std::string sText = RandomText(rng, 1 + rng() % 60, sAlphabet);
        const size_t nLen = sText.size();
        const size_t nPos = rng() % (nLen + 2), nLimit = rng() % (nLen + 2);
        const size_t nStart = FindSentenceStart(sText.c_str(), nPos);
        const size_t nAbove = FindSentenceStartAbove(sText.c_str(), nLen, nPos, nLimit);
        if (nStart >= nLimit) ASSERT_EQ(nAbove, nStart) << nRound;
        else ASSERT_LT(nAbove, nLimit) << nRound;
        const size_t nEnd = FindSentenceEnd(sText.c_str(), nPos);
        const size_t nBelow = FindSentenceEndBelow(sText.c_str(), nLen, nPos, nLimit);
        if (nEnd <= nLimit) ASSERT_EQ(nBelow, nEnd) << nRound;
        else ASSERT_GT(nBelow, nLimit) << nRound;
    }
}

}  // namespace

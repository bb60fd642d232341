// PDATReference_test.cpp: CPDAT's compiler against the plain reference layout (tests/support/ReferencePDAT)
// on random word lists with fixed seeds: same handles, same ranks, same cells, same lookups.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "support/ReferencePDAT.h"

namespace {

using vt_test::CReferencePDAT;

enum class Alphabet { kHanzi, kAscii, kMixed };

// RandomChar: one character of the alphabet. Small pools, so that words share prefixes often.
std::string RandomChar(std::mt19937& rng, Alphabet alphabet) {
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    if (alphabet == Alphabet::kHanzi || (alphabet == Alphabet::kMixed && pick(2) == 0)) {
        // GB2312 hanzi: lead 0xB0..0xB3, trail 0xA1..0xAC.
        std::string s;
        s += static_cast<char>(0xB0 + pick(4));
        s += static_cast<char>(0xA1 + pick(12));
        return s;
    }
    if (alphabet == Alphabet::kAscii) {
        static const char kAscii[] = "abcdeABC019";
        return std::string(1, kAscii[pick(sizeof(kAscii) - 1)]);
    }
    // Mixed extras: separators, full-width forms, brackets and quotes that mode 2 folds.
    static const char* const kExtras[] = {
        "a",        "b",        "Z",        "7",        ",",        " ",        "_",
        "\xA3\xAC", /* ， */    "\xA1\xA3", /* 。 */    "\xA3\xC1", /* Ａ */    "\xA3\xE2", /* ｂ */
        "\xA3\xB3", /* ３ */    "\xA3\xA8", /* （ */    "\xA1\xBF", /* 】 */    "\xA1\xB0", /* “ */
        "\xA1\xAA", /* — */     "(",        "\"",
    };
    return kExtras[pick(sizeof(kExtras) / sizeof(kExtras[0]))];
}

std::vector<std::string> RandomWords(uint32_t nSeed, Alphabet alphabet, size_t nCount) {
    std::mt19937 rng(nSeed);
    std::vector<std::string> vecWords;
    while (vecWords.size() < nCount) {
        unsigned nKind = rng() % 10;
        if (nKind == 0 && !vecWords.empty()) {
            vecWords.push_back(vecWords[rng() % vecWords.size()]);  // duplicate
        } else if (nKind == 1 && !vecWords.empty()) {
            const std::string& s = vecWords[rng() % vecWords.size()];  // prefix (may cut a character)
            vecWords.push_back(s.substr(0, 1 + rng() % s.size()));
        } else {
            std::string s;
            size_t nLen = 1 + rng() % 5;
            for (size_t i = 0; i < nLen; ++i) s += RandomChar(rng, alphabet);
            vecWords.push_back(s);
        }
    }
    return vecWords;
}

// ExpectSameLayout: identical rank tables and cells.
void ExpectSameLayout(const CPDAT& dict, const CReferencePDAT& ref) {
    ASSERT_EQ(dict.GetLowerBound(), ref.LowerBound());
    for (int c = 0; c < 65536; ++c) {
        ASSERT_EQ(dict.GetCharRank(c), ref.Ranks()[static_cast<size_t>(c)]) << "code " << c;
    }
    const CPDAT::state* pStates = dict.GetStates();
    ASSERT_EQ(pStates == nullptr, ref.Cells().empty());
    for (size_t i = 0; i < ref.Cells().size(); ++i) {
        const CReferencePDAT::Cell& cell = ref.Cells()[i];
        ASSERT_EQ(pStates[i].base, cell.base) << "cell " << i;
        ASSERT_EQ(pStates[i].check, cell.check) << "cell " << i;
        ASSERT_EQ(pStates[i].handle, cell.handle) << "cell " << i;
    }
}

// RankZeroOnly: the text is one or more copies of the rank-0 character, where Find's unchecked cell 0
// answers for any repetition; those queries are left out of the comparison with the plain trie.
bool RankZeroOnly(const CPDAT& dict, const std::string& s, int nMode) {
    auto vecCodes = CReferencePDAT::Codes(s, nMode);
    for (const auto& code : vecCodes) {
        if (dict.GetCharRank(code.first) != 0) return false;
    }
    return !vecCodes.empty();
}

struct Case {
    uint32_t nSeed;
    Alphabet alphabet;
    int nMode;
    size_t nWords;
};

class PDATReferenceTest : public ::testing::TestWithParam<Case> {};

TEST_P(PDATReferenceTest, SameLayoutAndLookups) {
    const Case& c = GetParam();
    std::vector<std::string> vecWords = RandomWords(c.nSeed, c.alphabet, c.nWords);
    CPDAT dict(c.nMode);
    CReferencePDAT ref(c.nMode);
    std::set<int> setHandles;
    for (const std::string& s : vecWords) {
        int h = dict.AddWord(s.c_str());
        ASSERT_EQ(h, ref.AddWord(s)) << s;
        if (h >= 0) setHandles.insert(h);
    }
    dict.AddWordComplete();
    ref.Compile();
    ExpectSameLayout(dict, ref);
    // Handles are dense in order of first insertion.
    EXPECT_EQ(dict.GetItemCount(), setHandles.size());
    if (!setHandles.empty()) {
        EXPECT_EQ(*setHandles.rbegin() + 1, static_cast<int>(setHandles.size()));
    }

    // Every added word and random non-words: the same answer as a walk of the plain trie.
    size_t nFound = 0;
    for (const std::string& s : vecWords) {
        if (RankZeroOnly(dict, s, c.nMode)) continue;
        int h = ref.Find(s);
        EXPECT_EQ(dict.Find(s.c_str()), h) << s;
        nFound += h >= 0;
    }
    if (vecWords.size() >= 50) {
        EXPECT_GT(nFound, vecWords.size() / 2);  // the comparison is not vacuous
    }
    std::mt19937 rng(c.nSeed + 1);
    for (int i = 0; i < 300; ++i) {
        std::string s;
        for (unsigned n = 1 + rng() % 4; n > 0; --n) s += RandomChar(rng, c.alphabet);
        if (RankZeroOnly(dict, s, c.nMode)) continue;
        EXPECT_EQ(dict.Find(s.c_str()), ref.Find(s)) << s;
        // Longest prefix word of a word followed by more text.
        std::string sText = vecWords[rng() % vecWords.size()] + s;
        int nHandle = -2, nRefHandle = -3;
        int nLen = dict.GetMaxWord(sText.c_str(), &nHandle);
        EXPECT_EQ(nLen, ref.GetMaxWord(sText, &nRefHandle)) << sText;
        EXPECT_EQ(nHandle, nRefHandle) << sText;
    }
}

std::vector<Case> Cases() {
    std::vector<Case> vec;
    const size_t kSizes[] = {1, 2, 7, 60, 400, 2000};
    uint32_t nSeed = 1000;
    for (size_t nWords : kSizes) {
        vec.push_back({nSeed++, Alphabet::kHanzi, 0, nWords});
        vec.push_back({nSeed++, Alphabet::kAscii, 0, nWords});
        vec.push_back({nSeed++, Alphabet::kAscii, 1, nWords});
        vec.push_back({nSeed++, Alphabet::kMixed, 0, nWords});
        vec.push_back({nSeed++, Alphabet::kMixed, 1, nWords});
        vec.push_back({nSeed++, Alphabet::kMixed, 2, nWords});
        vec.push_back({nSeed++, Alphabet::kHanzi, 2, nWords});
    }
    return vec;
}

std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
    const char* sAlphabet = info.param.alphabet == Alphabet::kHanzi   ? "Hanzi"
                            : info.param.alphabet == Alphabet::kAscii ? "Ascii"
                                                                      : "Mixed";
    return std::string(sAlphabet) + "_Mode" + std::to_string(info.param.nMode) + "_" +
           std::to_string(info.param.nWords) + "Words_Seed" + std::to_string(info.param.nSeed);
}

INSTANTIATE_TEST_SUITE_P(RandomLists, PDATReferenceTest, ::testing::ValuesIn(Cases()), CaseName);

// Term frequencies, filter words and FindWord during the build change handles and ranks the same way.
TEST(PDATReference, FilterWordsAndFindWordCounts) {
    for (uint32_t nSeed = 1; nSeed <= 6; ++nSeed) {
        std::mt19937 rng(nSeed);
        std::vector<std::string> vecWords = RandomWords(nSeed * 77, Alphabet::kMixed, 300);
        CPDAT dict(static_cast<int>(nSeed % 3));
        CReferencePDAT ref(static_cast<int>(nSeed % 3));
        for (const std::string& s : vecWords) {
            switch (rng() % 5) {
                case 0:
                    ASSERT_EQ(dict.AddFilterWord(s.c_str()), ref.AddFilterWord(s)) << s;
                    break;
                case 1:
                    ASSERT_EQ(dict.FindWord(s.c_str()), ref.FindWord(s)) << s;
                    break;
                case 2:
                    ASSERT_EQ(dict.AddWord(s.c_str(), true), ref.AddWord(s, true)) << s;
                    break;
                default:
                    ASSERT_EQ(dict.AddWord(s.c_str()), ref.AddWord(s)) << s;
                    break;
            }
        }
        dict.AddWordComplete();
        ref.Compile();
        ExpectSameLayout(dict, ref);
    }
}

// Words ending in a tab leave nodes that are no word; they are laid out like any other node.
TEST(PDATReference, NodesWithoutWordsAreLaidOut) {
    std::mt19937 rng(99);
    std::vector<std::string> vecWords = RandomWords(4242, Alphabet::kAscii, 200);
    CPDAT dict(0);
    CReferencePDAT ref(0);
    for (std::string s : vecWords) {
        if (rng() % 4 == 0) s += "\t";
        ASSERT_EQ(dict.AddWord(s.c_str()), ref.AddWord(s));
    }
    dict.AddWordComplete();
    ref.Compile();
    ExpectSameLayout(dict, ref);
}

}  // namespace

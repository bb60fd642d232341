// PDAT_test.cpp: CPDAT, the double-array trie dictionary: building, lookups, scans, the deliberate
// quirks callers rely on, the .pdat file (golden bytes, round trip, damaged copies) and the text outputs.
#include "Utility/PDAT.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/ScanHits.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

using vt_test::Hit;
using vt_test::Hits;
using vt_test::Scan;

// Build: a compiled dictionary of the words, handles 0, 1, 2 ... in order.
void Build(CPDAT& dict, const std::vector<std::string>& vecWords) {
    for (const std::string& s : vecWords) dict.AddWord(s.c_str());
    dict.AddWordComplete();
}

// ExpectFinds: Find(text) gives each expected handle; ExpectAdds: AddWord gives each expected result.
using Cases = std::vector<std::pair<std::string, int>>;
void ExpectFinds(const CPDAT& dict, const Cases& vec) {
    for (const auto& [s, h] : vec) EXPECT_EQ(dict.Find(s.c_str()), h) << s;
}
void ExpectAdds(CPDAT& dict, const Cases& vec) {
    for (const auto& [s, h] : vec) EXPECT_EQ(dict.AddWord(s.c_str()), h) << s;
}

void ExpectStates(const CPDAT& dict, const std::vector<CPDAT::state>& vecExpected) {
    ASSERT_NE(dict.GetStates(), nullptr);
    for (size_t i = 0; i < vecExpected.size(); ++i) {
        const CPDAT::state& st = dict.GetStates()[i];
        EXPECT_EQ(std::make_tuple(st.base, st.check, st.handle),
                  std::make_tuple(vecExpected[i].base, vecExpected[i].check, vecExpected[i].handle))
            << "cell " << i;
    }
}

std::string Int32(int32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }

// ---------------------------------------------------------------------------------------------------------
// Building.

TEST(PDATBuild, HandlesAreDenseAndDuplicatesKeepTheirHandle) {
    CPDAT dict(0);
    // A prefix of an earlier word is a new word; mode 0 folds capitals; a byte-order mark is skipped.
    ExpectAdds(dict, {{"abc", 0}, {G("中国"), 1}, {"ab", 2}, {"abc", 0}, {"ABC", 0}, {"", -1},
                      {"\xEF\xBB\xBF", -1}, {"\xEF\xBB\xBF" "ab", 2}});
    EXPECT_EQ(dict.FindWord("ab"), 2);
    EXPECT_EQ(dict.FindWord("abcd"), -1);
    EXPECT_EQ(dict.FindWord("a"), -1);  // a node, but no word
    EXPECT_EQ(dict.GetItemCount(), 3u);  // FindWord adds nothing
    EXPECT_EQ(dict.AddWord("xyz", 17, false), 17);  // caller-given handle
    EXPECT_EQ(dict.GetItemCount(), 4u);
    EXPECT_EQ(dict.AddWord(nullptr), -1);
    EXPECT_EQ(dict.AddWord("q", -4, false), -1);
    EXPECT_EQ(dict.Find("abc"), -1);  // nothing compiled yet

    EXPECT_EQ(dict.AddWordComplete(), 1);
    const Cases vecAfter = {{"abc", 0}, {"ABC", 0}, {G("中国"), 1}, {"ab", 2}, {"xyz", 17}, {"a", -1},
                            {"abcd", -1}};
    ExpectFinds(dict, vecAfter);
    EXPECT_EQ(dict.AddWordComplete(), 1);  // a second call changes nothing
    ExpectFinds(dict, vecAfter);
    EXPECT_EQ(dict.AddWord("late"), -1);  // no build in progress
}

TEST(PDATBuild, ModesCodeCharactersDifferently) {
    CPDAT dict1(1);
    ExpectAdds(dict1, {{"ABC", 0}, {"abc", 1}});  // mode 1: bytes, no folding
    dict1.AddWord(G("中").c_str());
    dict1.AddWordComplete();
    ExpectFinds(dict1, {{"ABC", 0}, {"abc", 1}});
    EXPECT_GE(dict1.GetCharRank(0xD6), 0);  // single bytes of the GBK pair
    EXPECT_EQ(dict1.GetCharRank(0xD6D0), -1);

    // Mode 2 folds full-width forms, brackets and quotes, drops separators inside a word and strips them
    // at its end; one byte is not stripped, and a separator is never stored.
    CPDAT dict2(2);
    ExpectAdds(dict2, {{G("ａＢ１"), 0}, {"AB1", 0}, {"x,_ y", 1}, {"xy", 1}, {G("xy，"), 1},
                       {G("xy、 "), 1}, {G("（c】“d"), 2}, {"(c)\"d", 2}, {",", -1}, {G("，"), -1}});
    dict2.AddWordComplete();
    // Find folds white space to a space, which mode 2 never stores: a text with a separator is not found.
    ExpectFinds(dict2, {{"ab1", 0}, {G("ａｂ１"), 0}, {"xy", 1}, {G("（c）”d"), 2}, {"x y", -1}});
    EXPECT_EQ(dict2.GetCharRank(9), -1);
}

// Deliberate: FindWord counts the characters it looks at, so lookups during a build change the ranks.
TEST(PDATBuild, FindWordCountsCharacters) {
    CPDAT plain(0), looked(0);
    Build(plain, {"ab"});
    looked.AddWord("ab");
    for (const char* s : {"b", "b", "c"}) EXPECT_EQ(looked.FindWord(s), -1);
    looked.AddWordComplete();
    EXPECT_EQ(plain.GetCharRank('a'), 0);  // equal counts: the lower code first
    EXPECT_EQ(plain.GetCharRank('b'), 1);
    EXPECT_EQ(looked.GetCharRank('b'), 0);  // b counted three times
    EXPECT_EQ(looked.GetCharRank('a'), 1);
    EXPECT_EQ(looked.GetCharRank('c'), 2);  // ranked, though in no word
    ExpectFinds(looked, {{"ab", 0}, {"c", -1}});
}

// Deliberate: a filter word stops every word that extends it, when frequencies are counted.
TEST(PDATBuild, FilterWordsStopExtensions) {
    CPDAT dict(0);
    EXPECT_EQ(dict.AddFilterWord("ab"), 0);
    EXPECT_EQ(dict.AddWord("abc", true), -1);
    EXPECT_EQ(dict.AddWord("ab", true), 0);  // the filter word itself: its count stays -1
    EXPECT_EQ(dict.AddWord("xy", true), 1);
    EXPECT_EQ(dict.AddWord("xy", true), 1);
    EXPECT_EQ(dict.AddWord("abd", false), 2);  // without counting the filter does not apply
    EXPECT_STREQ(dict.GetTopWords(-1), "xy/2#ab/-1#");
}

// Deliberate: AddWordInit restarts the words but keeps the character range seen so far.
TEST(PDATBuild, AddWordInitKeepsCharacterRangeAndOldArray) {
    vt_test::CTempDir dir;
    CPDAT dict(0);
    Build(dict, {"z"});
    EXPECT_EQ(dict.AddWordInit(), 1);
    EXPECT_EQ(dict.GetItemCount(), 0u);
    EXPECT_EQ(dict.Find("z"), 0);  // the old array answers until the next compile
    EXPECT_EQ(dict.AddWord("a"), 0);
    dict.AddWordComplete();
    ExpectFinds(dict, {{"z", -1}, {"a", 0}});
    ASSERT_EQ(dict.Export(dir.File("d.txt").c_str()), 1);
    std::string sDump = vt_test::ReadWholeFile(dir.File("d.txt"));
    EXPECT_EQ(sDump.substr(0, sDump.find("Char\t")),
              "LowerBound=0\nm_LowerChar=97\tUpperChar=122\tCharset Size=1\n");
}

// ---------------------------------------------------------------------------------------------------------
// The layout, reasoned by hand.
//
// Mode 0, words "ab" (0), "ac" (1), "b" (2). Counts a 2, b 2, c 1: ranks a 0, b 1, c 2 (equal counts go
// to the lower code). The root's children sit at their ranks: a in cell 0 (check -2, expanded later), b
// in cell 1 (a word without children: base -1, handle 2). Node a has children b and c: base 1 fits (cells
// 2 and 3 are free), so ab goes to cell 2 and ac to cell 3, each a word without children (base -index).
const std::vector<CPDAT::state> kGoldenStates = {{1, -2, -1}, {-1, -2, 2}, {-2, 0, 0}, {-3, 0, 1}};

TEST(PDATLayout, GoldenStatesAndFileBytes) {
    vt_test::CTempDir dir;
    CPDAT dict(0);
    Build(dict, {"ab", "ac", "b"});
    ASSERT_EQ(dict.GetLowerBound(), 3);
    ExpectStates(dict, kGoldenStates);
    // Ranks, lower bound, item count, the states, the mode.
    std::string sExpected(262144, '\xFF');
    for (int c : {'a', 'b', 'c'}) sExpected.replace(c * 4, 4, Int32(c - 'a'));
    sExpected += Int32(3) + Int32(3);
    for (const CPDAT::state& st : kGoldenStates) sExpected += Int32(st.base) + Int32(st.check) + Int32(st.handle);
    sExpected += Int32(0);
    ASSERT_EQ(dict.Save(dir.File("g.pdat").c_str()), 1);
    EXPECT_TRUE(vt_test::ReadWholeFile(dir.File("g.pdat")) == sExpected);

    ASSERT_EQ(dict.Export(dir.File("g.txt").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("g.txt")),
              "LowerBound=3\nm_LowerChar=97\tUpperChar=99\tCharset Size=3\nChar\tCharDec\tRank\tFrequency\n"
              "97\ta\t0\t2\n98\tb\t1\t2\n99\tc\t2\t1\n"
              "nID\tBase\tCheck\tHandle\n0\t1\t-2\t-1\n1\t-1\t-2\t2\n2\t-2\t0\t0\n3\t-3\t0\t1\n");
}

TEST(PDATLayout, FirstFitSkipsUsedCellsAndOwnIndex) {
    // "aab" (0), "aac" (1), "ab" (2): counts a 5, b 2, c 1. Root child a in cell 0. Node a (children a,
    // b) is no word: base 1 puts a in cell 1, b in cell 2 (word "ab"). Node aa (children b, c, in cell
    // 1) tries base 1 (cells 2, 3: 2 is used), then base 2 (cells 3, 4).
    CPDAT dict(0);
    Build(dict, {"aab", "aac", "ab"});
    ASSERT_EQ(dict.GetLowerBound(), 4);
    ExpectStates(dict, {{1, -2, -1}, {2, 0, -1}, {-2, 0, 2}, {-3, 1, 0}, {-4, 1, 1}});
    // "b" (0), "bb" (1): the word b sits in cell 0 with a child of rank 0; base 1 is the first try and
    // fits, so b gets base -1 and bb cell 1.
    CPDAT word(0);
    Build(word, {"b", "bb"});
    ASSERT_EQ(word.GetLowerBound(), 1);
    ExpectStates(word, {{-1, -2, 0}, {-1, 0, 1}});
    // "xa" (0), "x" (1), "a" (2), "xb" (3): ranks x 0, a 1, b 2. Node x is a word in cell 0 and takes
    // base 1 (cells 2 and 3): the own-index skip only concerns base 0 here.
    CPDAT other(0);
    Build(other, {"xa", "x", "a", "xb"});
    ExpectStates(other, {{-1, -2, 1}, {-1, -2, 2}, {-2, 0, 0}, {-3, 0, 3}});
    // The own-index skip: a word node in cell p never gets base p (its stored -p would read as "no
    // children"). "ba" (0), "b" (1), "a" (2), "c" (3), "ca" (4): ranks a 0, b 1, c 2. Root children b
    // (cell 1), a (cell 0, no children: base 0), c (cell 2). Node b (cell 1, a word) has one child a:
    // base 1 is its own index -> skipped; base 2 -> cell 2 used; base 3 -> cell 3. Node c (cell 2):
    // base 1 -> cell 1 used; base 2 is its own index; base 3 -> cell 3 used; base 4 -> cell 4.
    CPDAT own(0);
    Build(own, {"ba", "b", "a", "c", "ca"});
    ASSERT_EQ(own.GetLowerBound(), 4);
    ExpectStates(own, {{0, -2, 2}, {-3, -2, 1}, {-4, -2, 3}, {-3, 1, 0}, {-4, 2, 4}});
    ExpectFinds(own, {{"ba", 0}, {"ca", 4}, {"b", 1}});
    // There the own index is a used cell anyway; a child of rank 1 makes the skip decide: "a" three
    // times, "b", "bb": ranks a 0, b 1. Node b (cell 1, a word) would fit at base 1 (cell 2 is free),
    // its own index, so it takes base 2 and bb goes to cell 3.
    CPDAT skip(0);
    Build(skip, {"a", "a", "a", "b", "bb"});
    EXPECT_EQ(skip.GetStates()[1].base, -2);
    EXPECT_EQ(skip.GetStates()[3].check, 1);
    ExpectFinds(skip, {{"b", 1}, {"bb", 2}});
}

// ---------------------------------------------------------------------------------------------------------
// Lookups and their deliberate edges.

// Deliberate: Find(text) skips the check test at cell 0 and accepts base 0; Find(code) needs a strictly
// negative base and an index strictly below the lower bound.
TEST(PDATLookup, FindAndFindCodeDifferAtTheEdges) {
    CPDAT dict(0);
    Build(dict, {"a", "b"});  // a in cell 0 (base 0), b in cell 1 (base -1), lower bound 1
    // The second step of "aa" lands on cell 0 again, unchecked.
    ExpectFinds(dict, {{"a", 0}, {"b", 1}, {"aa", 0}, {"aaa", 0}, {"ab", -1}});
    EXPECT_EQ(dict.Find(static_cast<int>('a')), -1);  // base 0 is not negative
    EXPECT_EQ(dict.Find(static_cast<int>('b')), -1);  // index 1 is not below the bound 1

    CPDAT wide(0);
    Build(wide, {"x", "x", "x", "yz"});  // x in cell 0 (base 0); y in cell 1; z in cell 3
    EXPECT_EQ(wide.GetLowerBound(), 3);
    ExpectFinds(wide, {{"x", 0}, {"xx", 0}, {"yz", 1}});
    EXPECT_EQ(wide.Find(static_cast<int>('x')), -1);
    EXPECT_EQ(wide.Find(static_cast<int>('y')), -1);  // not a word

    CPDAT codes(0);
    Build(codes, {"q", "r", "qr", "s"});
    // q is a word with a child: in cell 0 but with a negative base, so Find(code) finds it.
    EXPECT_EQ(codes.Find(static_cast<int>('q')), 0);
    EXPECT_EQ(codes.Find(static_cast<int>('r')), 1);
    EXPECT_EQ(codes.Find(static_cast<int>('s')), 3);
    for (int nCode : {-1, 65536, INT_MAX, INT_MIN, int{'z'}}) EXPECT_EQ(codes.Find(nCode), -1);
}

TEST(PDATLookup, FindTextRules) {
    CPDAT dict(0);
    Build(dict, {"new york", "ab", G("中国"), "\xB0"});  // the last: a lone lead byte as a word
    // White space runs fold to one space; surrounding double quotes and a byte-order mark are dropped.
    ExpectFinds(dict, {{"new york", 0}, {"new \t\r\n york", 0}, {"new\tyork", 0}, {"\"ab\"", 1},
                       {"\xEF\xBB\xBF" "ab", 1}, {"\"ab", -1}, {"\xB0", 3}, {G("中"), -1}, {G("中国"), 2},
                       {G("中国").substr(0, 3), -1}, {"", -1}, {"\"\"", -1}});
    EXPECT_EQ(dict.Find("ab", 1), -1);  // explicit length
    EXPECT_EQ(dict.Find("abc", 2), 1);
    EXPECT_EQ(dict.Find(nullptr), -1);
    EXPECT_EQ(dict.Find(nullptr, 5), -1);
}

TEST(PDATLookup, GetMaxWordAndGetWords) {
    CPDAT dict(0);
    Build(dict, {"a", "ab", "abc", "abcd", "new york", "x"});
    struct MaxCase {
        const char* sText;
        int nLen, nHandle;
        bool bSpace;
    };
    // The folded run is counted; a text starting with an unranked character has no word.
    for (const MaxCase& c : {MaxCase{"abcx", 3, 2, false}, MaxCase{"abcdef", 4, 3, false},
                             MaxCase{"new   york!", 10, 4, true}, MaxCase{"zab", 0, -1, false},
                             MaxCase{"ba", 0, -1, false}, MaxCase{nullptr, 0, -1, false}}) {
        int nHandle = 7;
        bool bSpace = !c.bSpace;
        EXPECT_EQ(dict.GetMaxWord(c.sText, &nHandle, &bSpace), c.nLen) << c.sText;
        EXPECT_EQ(nHandle, c.nHandle) << c.sText;
        if (c.sText != nullptr) {
            EXPECT_EQ(bSpace, c.bSpace) << c.sText;
        }
    }
    EXPECT_EQ(dict.GetMaxWord("abcd", nullptr, nullptr), 4);

    unsigned int* pHandles = nullptr;
    unsigned int* pLengths = nullptr;
    unsigned int nCap = 0, nCount = 99;
    EXPECT_EQ(dict.GetWords("abcdx", &pHandles, &pLengths, &nCap, &nCount, 0), 4);
    ASSERT_EQ(nCount, 4u);
    EXPECT_EQ(nCap, 5u);  // grown by 5
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_EQ(pHandles[i], i);
        EXPECT_EQ(pLengths[i], i + 1);
    }
    EXPECT_EQ(dict.GetWords("abcd", &pHandles, &pLengths, &nCap, &nCount, 2), 4);  // longest, whatever nMinLen
    ASSERT_EQ(nCount, 2u);
    EXPECT_EQ(pLengths[0], 3u);
    EXPECT_EQ(pLengths[1], 4u);
    EXPECT_EQ(dict.GetWords("new york", &pHandles, &pLengths, &nCap, &nCount, 0), 8);
    EXPECT_EQ(dict.GetWords("new  york", &pHandles, &pLengths, &nCap, &nCount, 0), 0);  // no folding
    EXPECT_EQ(nCount, 0u);
    EXPECT_EQ(dict.GetWords(nullptr, &pHandles, &pLengths, &nCap, &nCount, 0), 0);
    EXPECT_EQ(dict.GetWords("abc", nullptr, nullptr, nullptr, nullptr, 0), 3);
    std::free(pHandles);
    std::free(pLengths);
}

// ---------------------------------------------------------------------------------------------------------
// Scanning.

TEST(PDATScan, OverlapsWordBoundariesAndOtherCharacters) {
    CPDAT dict(0);
    Build(dict, {G("中国"), G("国")});
    // Overlapping hits only in scan mode 1.
    EXPECT_EQ(Scan(dict, G("中国"), 1), (Hits{{0, 0, 4}, {1, 2, 2}}));
    EXPECT_EQ(Scan(dict, G("中国"), 0), (Hits{{0, 0, 4}}));
    EXPECT_EQ(Scan(dict, G("中国"), 2), (Hits{{0, 0, 4}}));
    EXPECT_EQ(Scan(dict, G("在中国，国家"), 0), (Hits{{0, 2, 4}, {1, 8, 2}}));
    EXPECT_EQ(Scan(dict, G("在中国，国家"), 1), (Hits{{0, 2, 4}, {1, 4, 2}, {1, 8, 2}}));

    // Deliberate: scan modes 0 and 1 never match inside a longer English word or number; mode 2 does.
    CPDAT en(0);
    Build(en, {"ab", "12"});
    for (int nMode : {0, 1}) {
        for (const char* s : {"cab", "abc", "3125"}) EXPECT_TRUE(Scan(en, s, nMode).empty()) << nMode << s;
        EXPECT_EQ(Scan(en, "x ab 12.", nMode), (Hits{{0, 2, 2}, {1, 5, 2}})) << nMode;
        EXPECT_EQ(Scan(en, "ab12", nMode), (Hits{{0, 0, 2}, {1, 2, 2}})) << nMode;
    }
    EXPECT_EQ(Scan(en, "cab", 2), (Hits{{0, 1, 2}}));
    EXPECT_EQ(Scan(en, "abc", 2), (Hits{{0, 0, 2}}));

    // In scan mode 1 a character outside letters, digits and hanzi may not continue a match.
    CPDAT dash(0);
    Build(dash, {"a-b", "ab", G("中国")});
    EXPECT_TRUE(Scan(dash, "a-b", 1).empty());
    EXPECT_EQ(Scan(dash, "a-b", 0), (Hits{{0, 0, 3}}));
    EXPECT_EQ(Scan(dash, "ab-" + G("中国"), 1), (Hits{{1, 0, 2}, {2, 3, 4}}));
}

// Deliberate: when an attempt meets a character without rank and has no word to emit, scanning resumes
// after that character, so a keyword starting inside the attempt is missed; a failing step instead
// resumes one character after the start.
TEST(PDATScan, ResumesAfterUnrankedCharacter) {
    CPDAT dict(0);
    Build(dict, {G("中国人"), G("国"), G("中")});
    CPDAT nopending(0);
    Build(nopending, {G("中国人"), G("国")});
    for (int nMode : {0, 1}) {
        // 中国 walks on and 们 has no rank: the pending word 中 is emitted, and the scan goes on after it.
        EXPECT_EQ(Scan(dict, G("中国们国"), nMode), (Hits{{2, 0, 2}, {1, 2, 2}, {1, 6, 2}})) << nMode;
        // Nothing pending when 们 stops the walk: 国 at offset 2 is never examined.
        EXPECT_EQ(Scan(nopending, G("中国们国"), nMode), (Hits{{1, 6, 2}})) << nMode;
        // A failing step (中 after 中国) resumes one character after the start instead.
        EXPECT_EQ(Scan(nopending, G("中国中"), nMode), (Hits{{1, 2, 2}})) << nMode;
    }
    // The end of the text ends an attempt like a failing step: the pending word is emitted and the
    // scan goes on, so a keyword inside an unfinished longer match at the end is still found.
    for (int nMode : {0, 1, 2}) {
        EXPECT_EQ(Scan(nopending, G("中国"), nMode), (Hits{{1, 2, 2}})) << nMode;
        EXPECT_EQ(Scan(dict, G("中国"), nMode), (Hits{{2, 0, 2}, {1, 2, 2}})) << nMode;
    }
}

TEST(PDATScan, BadTextsAreSafe) {
    CPDAT dict(0);
    Build(dict, {G("中国"), "ab"});
    std::vector<_stTermPosition> vecHits;
    EXPECT_EQ(dict.MMScanPosition(nullptr, vecHits, 1), 0);
    EXPECT_TRUE(vecHits.empty());
    for (int nMode = -1; nMode <= 3; ++nMode) {  // empty, ending in a lone lead byte, a lone lead byte
        for (const std::string& s : {std::string(), G("中国").substr(0, 3), std::string("\xD6")})
            EXPECT_TRUE(Scan(dict, s, nMode).empty()) << nMode;
    }
    std::string sBig;
    for (int i = 0; i < 200000; ++i) sBig += G("中国") + " ab ";
    EXPECT_EQ(Scan(dict, sBig, 1).size(), 400000u);
    // Never compiled: nothing is found.
    CPDAT empty(0);
    EXPECT_TRUE(Scan(empty, G("中国ab"), 1).empty());
    EXPECT_EQ(empty.Find("ab"), -1);
    EXPECT_EQ(empty.Find(static_cast<int>('a')), -1);
    EXPECT_EQ(empty.GetMaxWord("ab", nullptr), 0);
    EXPECT_EQ(empty.GetStates(), nullptr);
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(PDATScan, SegmentScanAndFullScan) {
    CPDAT dict(0);
    Build(dict, {G("中国"), G("人民"), "hello", G("中国人")});
    const std::string sText = G("中国人民hello world,ok们");
    int* pHandles = nullptr;
    char* pOut = nullptr;
    int nHandleCap = 0, nOutCap = 0;
    int n = dict.MMSegment(sText.c_str(), &pHandles, &nHandleCap, &pOut, &nOutCap, false, false, 0, '/');
    EXPECT_EQ(std::string(pOut), G("中国人/民/hello/ /world/,/ok/们/"));
    EXPECT_GE(nOutCap, static_cast<int>(6 * sText.size() + 1));
    ASSERT_EQ(n, 2);
    EXPECT_EQ(pHandles[0], 3);
    EXPECT_EQ(pHandles[1], 2);
    n = dict.MMSegment(sText.c_str(), &pHandles, &nHandleCap, &pOut, &nOutCap, false, true, 0, '/');
    ASSERT_EQ(n, 8);
    EXPECT_EQ(pHandles[1], -1);
    // A length limit cuts the walk: 中国人 is 6 bytes.
    n = dict.MMSegment(sText.c_str(), &pHandles, &nHandleCap, &pOut, &nOutCap, false, false, 4, '/');
    EXPECT_EQ(std::string(pOut), G("中国/人民/hello/ /world/,/ok/们/"));
    EXPECT_EQ(n, 2);
    EXPECT_EQ(dict.MMSegment(nullptr, &pHandles, &nHandleCap, &pOut, &nOutCap, false, false, 0, '/'), 0);
    std::free(pHandles);
    std::free(pOut);

    EXPECT_STREQ(dict.MMSegment(G("人民中国").c_str(), 0, '|'), G("人民|中国|").c_str());
    EXPECT_STREQ(dict.MMSegment("", 0, '|'), "");
    EXPECT_EQ(dict.MMSegment(nullptr, 0, '|'), nullptr);
    EXPECT_STREQ(dict.MMScan(G("我爱中国人民").c_str(), 0, ' '), G("中国人 ").c_str());
    EXPECT_STREQ(dict.MMFullScan(G("中国人民").c_str(), ' '), G("中国 中国人 人民 ").c_str());

    vt_test::CTempDir dir;
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("in.txt"), G("人民中国")));
    EXPECT_GT(dict.FileSegment(dir.File("in.txt").c_str(), dir.File("out.txt").c_str()), 0.0f);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("out.txt")), G("人民\t中国\t") + "\n");
    EXPECT_EQ(dict.FileSegment(dir.File("missing.txt").c_str(), dir.File("out2.txt").c_str()), 0.0f);
}

// ---------------------------------------------------------------------------------------------------------
// Term frequencies.

TEST(PDATTerms, TopWordsSkipContainedTerms) {
    CPDAT dict(0);
    for (const char* s : {"中国", "中国", "中国", "中国人", "人民", "人民", "ab"}) dict.AddWord(G(s).c_str(), true);
    // Falling counts: 中国 3, 人民 2, then 中国人 1 and ab 1 in insertion order. 中国人 (6 bytes) contains
    // the earlier 中国 (4 bytes) and is left out, but still counts toward n.
    EXPECT_EQ(std::string(dict.GetTopWords(-1)), G("中国/3#人民/2#ab/1#"));
    EXPECT_EQ(std::string(dict.GetTopWords(3)), G("中国/3#人民/2#"));
    EXPECT_EQ(std::string(dict.GetTopWords(0)), "");
    std::vector<_stTermFreq>& vec = dict.GetTopWordVector();
    ASSERT_EQ(vec.size(), 4u);
    EXPECT_EQ(vec[0].freq, 3);

    CPDAT other(0);
    for (const char* s : {"ab", "ab", "xy"}) other.AddWord(s, true);
    std::string sFirst, sSecond, sBoth;
    WordTermCompare(&dict, &other, sFirst, sSecond, sBoth);
    EXPECT_EQ(sFirst, G("中国/3#人民/2#中国人/1#"));
    EXPECT_EQ(sSecond, "xy/1#");
    EXPECT_EQ(sBoth, "ab/1/2#");
    WordTermCompare(nullptr, nullptr, sFirst, sSecond, sBoth);
    EXPECT_EQ(sFirst + sSecond + sBoth, "");
}

// ---------------------------------------------------------------------------------------------------------
// Files.

std::vector<std::string> SampleWords(uint32_t nSeed, size_t nCount) {
    std::mt19937 rng(nSeed);
    std::vector<std::string> vec;
    for (size_t i = 0; i < nCount; ++i) {
        std::string s;
        for (unsigned n = 1 + rng() % 4; n > 0; --n) {
            if (rng() % 3 == 0) {
                s += static_cast<char>('a' + rng() % 6);
            } else {
                s += static_cast<char>(0xB0 + rng() % 6);
                s += static_cast<char>(0xA1 + rng() % 20);
            }
        }
        vec.push_back(s);
    }
    return vec;
}

// ExpectSameAnswers: two dictionaries answer every lookup alike.
void ExpectSameAnswers(const CPDAT& a, const CPDAT& b, const std::vector<std::string>& vecWords) {
    std::string sText;
    for (const std::string& s : vecWords) {
        ASSERT_EQ(a.Find(s.c_str()), b.Find(s.c_str())) << s;
        ASSERT_EQ(a.Find((s + "a").c_str()), b.Find((s + "a").c_str())) << s;
        int h1, h2;
        ASSERT_EQ(a.GetMaxWord((s + s).c_str(), &h1), b.GetMaxWord((s + s).c_str(), &h2));
        ASSERT_EQ(h1, h2);
        sText += s + (sText.size() % 3 ? " " : "");
    }
    for (int c = 0; c < 65536; ++c) ASSERT_EQ(a.Find(c), b.Find(c)) << c;
    for (int nMode = 0; nMode < 3; ++nMode) ASSERT_EQ(Scan(a, sText, nMode), Scan(b, sText, nMode));
}

TEST(PDATFile, SaveLoadRoundTripAndSameBytes) {
    vt_test::CTempDir dir;
    const std::vector<std::string> vecWords = SampleWords(5, 3000);
    CPDAT dict(2);
    Build(dict, vecWords);
    ASSERT_EQ(dict.Save(dir.File("a.pdat").c_str()), 1);
    const std::string sBytes = vt_test::ReadWholeFile(dir.File("a.pdat"));
    EXPECT_EQ(sBytes.size(), 262156u + 12u * (static_cast<size_t>(dict.GetLowerBound()) + 1));

    CPDAT loaded(0);
    ASSERT_EQ(loaded.Load(dir.File("a.pdat").c_str()), 1);
    EXPECT_EQ(loaded.GetMode(), 2);  // the mode comes from the file
    EXPECT_EQ(loaded.GetItemCount(), dict.GetItemCount());
    EXPECT_EQ(loaded.GetLowerBound(), dict.GetLowerBound());
    ExpectSameAnswers(dict, loaded, vecWords);
    ASSERT_EQ(loaded.Save(dir.File("b.pdat").c_str()), 1);
    EXPECT_TRUE(vt_test::ReadWholeFile(dir.File("b.pdat")) == sBytes);
    CPDAT again(2);
    Build(again, vecWords);
    ASSERT_EQ(again.Save(dir.File("c.pdat").c_str()), 1);
    EXPECT_TRUE(vt_test::ReadWholeFile(dir.File("c.pdat")) == sBytes);

    // A dictionary never compiled has no states: the file is the fixed part only, and loads as empty.
    CPDAT blank(1);
    ASSERT_EQ(blank.Save(dir.File("blank.pdat").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("blank.pdat")).size(), 262156u);
    ASSERT_EQ(loaded.Load(dir.File("blank.pdat").c_str()), 1);
    EXPECT_EQ(loaded.GetMode(), 1);
    EXPECT_EQ(loaded.Find(vecWords[0].c_str()), -1);
    EXPECT_EQ(dict.Save(dir.File("nodir/x.pdat").c_str()), 0);
    EXPECT_EQ(dict.Save(nullptr), 0);
}

// ExpectEmptyAndUsable: a failed load leaves an empty dictionary that answers safely.
void ExpectEmptyAndUsable(const CPDAT& dict, const std::vector<std::string>& vecWords) {
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_EQ(dict.GetItemCount(), 0u);
    EXPECT_EQ(dict.GetStates(), nullptr);
    for (size_t i = 0; i < vecWords.size(); i += 97) EXPECT_EQ(dict.Find(vecWords[i].c_str()), -1);
    EXPECT_TRUE(Scan(dict, vecWords[0] + vecWords[1], 1).empty());
}

TEST(PDATFile, DamagedFilesAreRefused) {
    vt_test::CTempDir dir;
    const std::vector<std::string> vecWords = SampleWords(9, 400);
    CPDAT good(0);
    Build(good, vecWords);
    ASSERT_EQ(good.Save(dir.File("good.pdat").c_str()), 1);
    const std::string sGood = vt_test::ReadWholeFile(dir.File("good.pdat"));
    std::string sText;
    for (size_t i = 0; i < 50; ++i) sText += vecWords[i];

    CPDAT dict(0);
    vt_test::ForEachDamagedCopy(sGood, dir.File("bad.pdat"), 40, 300, 17, [&](bool bTruncated) {
        int nResult = dict.Load(dir.File("bad.pdat").c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) {
            ExpectEmptyAndUsable(dict, vecWords);
        } else {  // flipped bytes that pass every check: lookups stay inside the array
            for (size_t i = 0; i < vecWords.size(); i += 13) dict.Find(vecWords[i].c_str());
            for (int nMode = 0; nMode < 3; ++nMode) Scan(dict, sText, nMode);
            for (int c = 0; c < 65536; c += 7) dict.Find(c);
        }
    });
    ASSERT_EQ(dict.Load(dir.File("good.pdat").c_str()), 1);
    ExpectSameAnswers(good, dict, vecWords);

    // Targeted damage: each field out of range.
    const size_t nBound = 262144, nCount = 262148, nStates = 262152, nLast = sGood.size() - 4;
    auto patched = [&](size_t nOffset, int32_t nValue) {
        std::string s = sGood;
        s.replace(nOffset, 4, Int32(nValue));
        return s;
    };
    const int nLowerBound = good.GetLowerBound();
    std::string sGap = sGood;  // a rank table with a gap (rank 0 missing)
    for (int c = 0; c < 65536; ++c) {
        if (good.GetCharRank(c) == 0) sGap.replace(static_cast<size_t>(c) * 4, 4, Int32(-1));
    }
    const std::vector<std::string> vecBad = {
        patched(nBound, 0x7FFFFFF0),                      // huge lower bound
        patched(nBound, -1),                              // negative lower bound
        patched(nBound, nLowerBound - 1),                 // size no longer matches
        patched(nCount, nLowerBound + 2),                 // more words than cells
        patched('a' * 4, 70000),                          // rank out of range
        patched('a' * 4, -2),
        patched('a' * 4, good.GetCharRank(0xB0A1)),       // duplicate rank
        sGap,
        patched(nStates + 12 * 5 + 4, nLowerBound + 1),   // check beyond the array
        patched(nStates + 12 * 5 + 4, -3),
        patched(nStates + 12 * 7, INT_MAX),               // base whose walk would overflow
        patched(nStates + 12 * 7, INT_MIN),
        patched(nStates + 12 * 9 + 8, -7),                // handle
        patched(nLast, 3),                                // mode
        patched(nLast, -1),
        sGood + "x",                                      // trailing byte
        sGood.substr(0, 262156),                          // states missing, bound not 0
    };
    for (size_t i = 0; i < vecBad.size(); ++i) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("bad.pdat"), vecBad[i]));
        EXPECT_EQ(dict.Load(dir.File("bad.pdat").c_str()), 0) << "case " << i;
        ExpectEmptyAndUsable(dict, vecWords);
    }
    EXPECT_EQ(dict.Load(dir.File("missing.pdat").c_str()), 0);
    EXPECT_EQ(dict.Load(nullptr), 0);
    ExpectEmptyAndUsable(dict, vecWords);
    ASSERT_EQ(dict.Load(dir.File("good.pdat").c_str()), 1);
    EXPECT_EQ(dict.Find(vecWords[3].c_str()), good.Find(vecWords[3].c_str()));
}

TEST(PDATFile, SetEmptyKeepsTheArrays) {
    vt_test::CTempDir dir;
    CPDAT dict(0);
    Build(dict, {"a", "bc"});  // a in cell 0, b in cell 1 (base 1), c in cell 3
    EXPECT_EQ(dict.SetEmpty(), 1);
    EXPECT_TRUE(dict.IsEmpty());
    EXPECT_EQ(dict.GetItemCount(), 0u);
    ExpectFinds(dict, {{"bc", -1}, {"a", 0}});  // bc is beyond the bound now, cell 0 still within it
    // Saved, it is one cell, and loads back as such.
    ASSERT_EQ(dict.Save(dir.File("e.pdat").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("e.pdat")).size(), 262156u + 12u);
    CPDAT loaded(0);
    ASSERT_EQ(loaded.Load(dir.File("e.pdat").c_str()), 1);
    EXPECT_TRUE(loaded.IsEmpty());
    ExpectFinds(loaded, {{"bc", -1}, {"a", 0}});
}

TEST(PDATFile, ImportReadsFirstTokens) {
    vt_test::CTempDir dir;
    CPDAT exclude(0);
    Build(exclude, {"skip"});
    std::string sFile = "alpha n\n   \n\xEF\xBB\xBF" "beta\tx\n  skip 3\nalpha\n" + G("中国") + " ns\r\n";
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("w.txt"), sFile));
    CPDAT dict(0);
    EXPECT_EQ(dict.Import(dir.File("w.txt").c_str(), &exclude), 3);
    ExpectFinds(dict, {{"alpha", 0}, {"beta", 1}, {G("中国"), 2}, {"skip", -1}, {"n", -1}});
    CPDAT all(0);
    EXPECT_EQ(all.Import(dir.File("w.txt").c_str()), 4);
    EXPECT_EQ(all.Import(dir.File("missing.txt").c_str()), 0);
    EXPECT_EQ(all.Import(nullptr), 0);

    // Progress every 100 words; a line longer than the 3072-byte buffer is read in pieces.
    std::string sMany;
    for (int i = 0; i < 250; ++i) sMany += "w" + std::to_string(i) + "\n";
    sMany += std::string(5000, 'z') + "\n";
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("many.txt"), sMany));
    CPDAT many(0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(many.Import(dir.File("many.txt").c_str()), 252);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "100\tw99 Completed!\r200\tw199 Completed!\r");
    ExpectFinds(many, {{std::string(3071, 'z'), 250}, {std::string(5000 - 3071, 'z'), 251}});
}

}  // namespace

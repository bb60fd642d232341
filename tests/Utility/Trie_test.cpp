// Trie_test.cpp: tests of CTrie (the modifiable user-word trie) and its node array CDynamicArry.
#include "Utility/Trie.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "support/TestSupport.h"

namespace {

using vt_test::G;

std::string Le32(int32_t nValue) {
    std::string s(4, '\0');
    std::memcpy(&s[0], &nValue, 4);
    return s;
}

// Record: the 64 bytes of one node as the trie file stores them.
std::string Record(uint32_t nCode, int nChildCount, int nChildren, int nHandle,
                   const std::string& sPos, int nNext, int nFreq) {
    std::string sTag = sPos;
    sTag.resize(40, '\0');
    return Le32(static_cast<int32_t>(nCode)) + Le32(nChildCount) + Le32(nChildren) + Le32(nHandle) +
           sTag + Le32(nNext) + Le32(nFreq);
}

std::string Tag(const CTrie& trie) {
    char sPos[40];
    trie.GetPos(sPos, 40);
    return std::string(sPos, strnlen(sPos, 40));
}

// ExpectEmptyAndUsable: the state after a failed load.
void ExpectEmptyAndUsable(CTrie& trie, const std::string& sExportPath) {
    int nHandle = 7;
    EXPECT_EQ(0, trie.GetLowerBound());
    EXPECT_EQ(-1, trie.Find("a"));
    EXPECT_EQ(-1, trie.GetMaxWord("abc", &nHandle));
    EXPECT_EQ(-1, nHandle);
    EXPECT_EQ(0, trie.Export(sExportPath.c_str()));
    EXPECT_EQ(1, trie.AddTrie("fresh", true));
    EXPECT_EQ(0, trie.Find("fresh"));
}

TEST(DynamicArryTest, GrowsByZeroedStepsAndChecksIndexes) {
    CDynamicArry array;
    EXPECT_TRUE(array.Empty());
    EXPECT_EQ(10000, array.GetBufSize());
    trie_elem* pElem = nullptr;
    EXPECT_EQ(0, array.GetElem(0, pElem));
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(i, array.NewElem());
        ASSERT_EQ(1, array.GetElem(i, pElem));
        pElem->freq = i + 1;
    }
    EXPECT_TRUE(array.Full());
    EXPECT_EQ(10000, array.NewElem());
    EXPECT_EQ(20000, array.GetBufSize());
    EXPECT_EQ(10001, array.GetElemNum());
    // Old elements moved intact; the new block is zero, up to the last allocated element.
    EXPECT_EQ(10000, array.GetBufPoint()[9999].freq);
    const trie_elem zero = {};
    EXPECT_EQ(0, std::memcmp(&zero, &array.GetBufPoint()[10000], sizeof(zero)));
    EXPECT_EQ(0, std::memcmp(&zero, &array.GetBufPoint()[19999], sizeof(zero)));
    pElem = nullptr;
    for (int nBad : {-1, INT_MIN, 10001, INT_MAX}) {
        EXPECT_FALSE(array.ValidateIndex(nBad));
        EXPECT_EQ(0, array.GetElem(nBad, pElem));
    }
    EXPECT_EQ(nullptr, pElem);
}

// Deliberate: a missing word reports handle 0; the word count is one more than the handles issued.
TEST(TrieTest, AddingFindingAndCounting) {
    CTrie trie;
    EXPECT_EQ(1, trie.GetWordNum());  // count + 1 even when empty
    EXPECT_EQ(-1, trie.Find("ab"));
    EXPECT_EQ(1, trie.AddTrie("ab n", false));
    EXPECT_EQ(2, trie.AddTrie("ab n", false));
    EXPECT_EQ(1, trie.GetLowerBound());
    EXPECT_EQ(1, trie.AddTrie(G("你好").c_str(), true));
    EXPECT_EQ(1, trie.Find(G("你好").c_str()));
    EXPECT_EQ(3, trie.GetWordNum());
    // Capitals fold; a repeated word keeps its handle, counts up and takes the newest tag.
    EXPECT_EQ(2, trie.AddTrie("AB v extra", false));
    int nHandle = -5;
    EXPECT_EQ(3, trie.GetFreq("ab", nHandle));
    EXPECT_EQ(0, nHandle);
    EXPECT_EQ("v", Tag(trie));
    // Find reads the first token; the length form reads a prefix of the bytes, up to a NUL.
    for (const char* s : {"ab", "  ab tail"}) EXPECT_EQ(0, trie.Find(s)) << s;
    for (const char* s : {"a", "abc", "   ", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(-1, trie.Find(s));
    }
    EXPECT_EQ(0, trie.Find("abc", 2));
    EXPECT_EQ(0, trie.Find("ab", 100));
    EXPECT_EQ(-1, trie.Find("", 0u));
    EXPECT_EQ(-1, trie.GetFreq("a", nHandle));  // an inner node, no word
    EXPECT_EQ(0, nHandle);
}

// Deliberate: a deleted word keeps its node and count, and comes back with a new handle.
TEST(TrieTest, DeletedWordKeepsCountAndComesBackWithNewHandle) {
    CTrie trie;
    ASSERT_EQ(1, trie.AddTrie("x", true));
    EXPECT_EQ(0, trie.DelTrie("x"));
    EXPECT_EQ(-1, trie.DelTrie("x"));
    EXPECT_EQ(-1, trie.Find("x"));
    int nHandle = -5;
    EXPECT_EQ(-1, trie.GetFreq("x", nHandle));
    EXPECT_EQ(0, nHandle);
    EXPECT_EQ(2, trie.AddTrie("x", true));  // the old addition still counts
    EXPECT_EQ(1, trie.Find("x"));
    EXPECT_EQ(2, trie.GetLowerBound());
    for (const char* s : {"nope", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(-1, trie.DelTrie(s));
    EXPECT_EQ(-1, CTrie().DelTrie("x"));
}

TEST(TrieTest, GetMaxWordTakesTheLongestLiveWord) {
    CTrie trie;
    int nHandle = 7;
    EXPECT_EQ(-1, trie.GetMaxWord("abc", &nHandle));
    EXPECT_EQ(-1, nHandle);
    ASSERT_EQ(1, trie.AddTrie("a t1", false));
    ASSERT_EQ(1, trie.AddTrie("abc t2", false));
    EXPECT_EQ(1, trie.GetMaxWord("abd", &nHandle));
    EXPECT_EQ(0, nHandle);
    EXPECT_EQ("t1", Tag(trie));
    EXPECT_EQ(3, trie.GetMaxWord("ABCD", &nHandle));
    EXPECT_EQ(1, nHandle);
    EXPECT_EQ("t2", Tag(trie));
    EXPECT_EQ(0, trie.GetMaxWord("xa", &nHandle));
    EXPECT_EQ(-1, nHandle);
    EXPECT_EQ("t2", Tag(trie));  // unchanged when nothing is found
    EXPECT_EQ(0, trie.GetMaxWord("", &nHandle));
    EXPECT_EQ(-1, trie.GetMaxWord("abc", nullptr));
    EXPECT_EQ(-1, trie.GetMaxWord(nullptr, &nHandle));
    trie.DelTrie("abc");
    EXPECT_EQ(1, trie.GetMaxWord("abcd", &nHandle));

    // "\xC4\xE3\xBA\xC3" is 你好; a lone lead byte at the end of a text is a character of its own.
    ASSERT_EQ(1, trie.AddTrie("\xC4\xE3\xBA\xC3 g", false));
    ASSERT_EQ(1, trie.AddTrie("\xC4", true));
    EXPECT_EQ(4, trie.GetMaxWord("\xC4\xE3\xBA\xC3\xC2\xF0", &nHandle));  // 你好吗
    EXPECT_EQ(2, nHandle);
    EXPECT_EQ(0, trie.GetMaxWord("\xC4\xE3", &nHandle));  // 你
    EXPECT_EQ(1, trie.GetMaxWord("\xC4", &nHandle));      // the lone lead byte
    EXPECT_EQ(3, nHandle);
    EXPECT_EQ(0, trie.GetMaxWord("\xC4\xE3\xBA", &nHandle));  // 你 + a lone lead byte
}

// Deliberate: every refused input reports 1, like a first addition.
TEST(TrieTest, RefusedInputsReportOneAndAddNothing) {
    CTrie trie;
    const std::string sTag39(39, 't');
    for (const std::string& s :
         {std::string(), std::string(" \t\r\n"), "w40 " + sTag39 + "t", std::string(1024, 'q')}) {
        EXPECT_EQ(1, trie.AddTrie(s.c_str(), false)) << s.size();
    }
    EXPECT_EQ(1, trie.AddTrie(nullptr, true));
    EXPECT_EQ(0, trie.GetLowerBound());
    EXPECT_EQ(-1, trie.Find("w40"));

    int nHandle = -1;
    EXPECT_EQ(1, trie.AddTrie(("w39 " + sTag39).c_str(), false));
    EXPECT_EQ(1, trie.GetFreq("w39", nHandle));
    EXPECT_EQ(sTag39, Tag(trie));
    EXPECT_EQ(1, trie.AddTrie("bare", false));
    EXPECT_EQ(1, trie.GetFreq("bare", nHandle));
    EXPECT_EQ("n", Tag(trie));  // an empty tag is stored as "n"
    // The longest accepted line; one byte more makes Find give up even with a valid first token.
    const std::string sLong(1023, 'q');
    EXPECT_EQ(1, trie.AddTrie(sLong.c_str(), true));
    EXPECT_EQ(2, trie.Find(sLong.c_str()));
    EXPECT_EQ(-1, trie.Find((sLong + " ").c_str()));
    EXPECT_EQ(1023, trie.GetMaxWord((sLong + "qq").c_str(), &nHandle));

    char sPos[64];
    std::memset(sPos, 'z', sizeof(sPos));
    trie.GetPos(sPos, 64);  // copies at most the 40 bytes there are
    EXPECT_EQ('z', sPos[40]);
    trie.GetPos(nullptr, 5);
    trie.GetPos(sPos, -3);
}

TEST(TrieTest, ExportWritesLiveWordsDepthFirstInAdditionOrder) {
    vt_test::CTempDir dir;
    CTrie trie;
    EXPECT_EQ(0, trie.Export(dir.File("empty.txt").c_str()));
    EXPECT_FALSE(vt_test::FileExists(dir.File("empty.txt")));
    // \xC4\xE3: 你
    for (const char* sLine : {"b", "a x", "ab", "AC", "c", "\xC4\xE3"}) trie.AddTrie(sLine, false);
    trie.DelTrie("c");
    ASSERT_EQ(1, trie.Export(dir.File("out.txt").c_str()));
    // Root children b, a, c, 你 in that order; a's subtree (ab, ac) comes before its next sibling.
    EXPECT_EQ("b\tn\na\tx\nab\tn\nac\tn\n\xC4\xE3\tn\n",
              vt_test::ReadWholeFile(dir.File("out.txt")));
    EXPECT_EQ(0, trie.Export(dir.File("no/such/dir.txt").c_str()));
    EXPECT_EQ(0, trie.Export(nullptr));
}

// Deliberate: the count restarts, so an import hands out handles from 0 again.
TEST(TrieTest, ImportRestartsTheCountAndSkipsLiveWords) {
    vt_test::CTempDir dir;
    // A line of 3071 bytes fills the 3072-byte buffer, so "tail" is read as a line of its own.
    const std::string sText =
        "\xEF\xBB\xBF" "foo 3\n\n   \nbar\tx\n  foo\nbaz\n" + std::string(3071, 'q') + "tail\n";
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("words.txt"), sText));
    CTrie trie;
    ASSERT_EQ(1, trie.AddTrie("old", true));
    ASSERT_EQ(1, trie.AddTrie("foo", true));
    EXPECT_EQ(0, trie.Import(dir.File("missing.txt").c_str(), nullptr));
    EXPECT_EQ(3, trie.Import(dir.File("words.txt").c_str(), nullptr));
    for (const auto& [s, h] : std::vector<std::pair<const char*, int>>{
             {"foo", 1}, {"bar", 0}, {"old", 0}, {"baz", 1}, {"tail", 2}, {"qqq", -1}}) {
        EXPECT_EQ(h, trie.Find(s)) << s;
    }
    int nHandle = -1;
    EXPECT_EQ(1, trie.GetFreq("bar", nHandle));
    EXPECT_EQ("n", Tag(trie));
}

// The trie of the golden file: "A" (folded to a, then deleted) and 你 (\xC4\xE3) with tag v.
std::string TinyBytes() {
    return Le32(2) + Le32(1) + Le32(0) + Le32(3) +
           Le32(10000) +                        // counts, root, elements, capacity
           Record(0, 2, 1, -1, "", -1, 0) +     // root: children a, then 你
           Record('a', 0, -1, -1, "n", 2, 1) +  // deleted, keeps freq 1
           Record(0xC4E3, 0, -1, 1, "v", -1, 1);
}

// Deliberate: a trie that never issued a handle is not written at all.
TEST(TrieFileTest, SaveWritesTheExactBytes) {
    vt_test::CTempDir dir;
    EXPECT_EQ(0, CTrie().Save(dir.File("empty.trie").c_str()));
    EXPECT_FALSE(vt_test::FileExists(dir.File("empty.trie")));

    CTrie trie;
    trie.AddTrie("A", true);
    trie.AddTrie("\xC4\xE3 v", false);
    trie.DelTrie("a");
    ASSERT_EQ(1, trie.Save(dir.File("a.trie").c_str()));
    ASSERT_EQ(1, trie.Save(dir.File("b.trie").c_str()));
    EXPECT_EQ(TinyBytes(), vt_test::ReadWholeFile(dir.File("a.trie")));
    EXPECT_EQ(TinyBytes(), vt_test::ReadWholeFile(dir.File("b.trie")));
    EXPECT_EQ(0, trie.Save(dir.File("no/such/dir.trie").c_str()));
    EXPECT_EQ(0, trie.Save(nullptr));

    // A shorter tag after a longer one leaves no old bytes behind.
    CTrie retagged;
    retagged.AddTrie("A longtag", false);
    retagged.AddTrie("\xC4\xE3 v", false);  // 你
    retagged.DelTrie("a");
    retagged.AddTrie("a n", false);  // new handle 2, freq 2
    ASSERT_EQ(1, retagged.Save(dir.File("c.trie").c_str()));
    EXPECT_EQ(Le32(3) + Le32(1) + Le32(0) + Le32(3) + Le32(10000) + Record(0, 2, 1, -1, "", -1, 0) +
                  Record('a', 0, -1, 2, "n", 2, 2) + Record(0xC4E3, 0, -1, 1, "v", -1, 1),
              vt_test::ReadWholeFile(dir.File("c.trie")));
}

TEST(TrieFileTest, RoundTripOfAGrownTrie) {
    vt_test::CTempDir dir;
    CTrie trie;
    for (int i = 0; i < 12000; ++i) trie.AddTrie(("k" + std::to_string(i) + " t").c_str(), false);
    trie.AddTrie(G("中文词语 nz").c_str(), false);
    for (int i = 0; i < 12000; i += 7) trie.DelTrie(("k" + std::to_string(i)).c_str());
    EXPECT_EQ(20000, trie.GetArray().GetBufSize());
    ASSERT_EQ(1, trie.Save(dir.File("a.trie").c_str()));

    CTrie loaded;
    ASSERT_EQ(1, loaded.Load(dir.File("a.trie").c_str()));
    EXPECT_EQ(trie.GetLowerBound(), loaded.GetLowerBound());
    for (int i = 0; i < 12000; ++i) {
        std::string sWord = "k" + std::to_string(i);
        ASSERT_EQ(i % 7 == 0 ? -1 : i, loaded.Find(sWord.c_str())) << sWord;
    }
    int nHandle = -1;
    EXPECT_EQ(1, loaded.GetFreq(G("中文词语").c_str(), nHandle));
    EXPECT_EQ(12000, nHandle);
    EXPECT_EQ("nz", Tag(loaded));
    ASSERT_EQ(1, loaded.Save(dir.File("b.trie").c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("a.trie")),
              vt_test::ReadWholeFile(dir.File("b.trie")));
    ASSERT_EQ(1, trie.Export(dir.File("a.txt").c_str()));
    ASSERT_EQ(1, loaded.Export(dir.File("b.txt").c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("a.txt")), vt_test::ReadWholeFile(dir.File("b.txt")));
    EXPECT_EQ(2, loaded.AddTrie("k0", true));  // deleted before saving: new handle, old count kept
    EXPECT_EQ(12001, loaded.Find("k0"));
}

TEST(TrieFileTest, DamagedFilesFailCleanly) {
    vt_test::CTempDir dir;
    CTrie good;
    for (int i = 0; i < 40; ++i)
        good.AddTrie(("w" + std::to_string(i * 37) + " p" + std::to_string(i)).c_str(), false);
    good.AddTrie(G("敏感 x").c_str(), false);
    good.DelTrie("w37");
    ASSERT_EQ(1, good.Save(dir.File("good.trie").c_str()));
    const std::string sGood = vt_test::ReadWholeFile(dir.File("good.trie"));

    CTrie trie;
    vt_test::ForEachDamagedCopy(sGood, dir.File("bad.trie"), 40, 300, 20240611u, [&](bool bTrunc) {
        int nResult = trie.Load(dir.File("bad.trie").c_str());
        if (bTrunc) {
            EXPECT_EQ(0, nResult);
        }
        if (nResult == 0) {
            ExpectEmptyAndUsable(trie, dir.File("export.txt"));
        } else {  // e.g. a changed character or tag byte: still a well-formed trie
            int nHandle = 0;
            trie.GetMaxWord("w370", &nHandle);
            trie.Find("w74");
            EXPECT_EQ(1, trie.Export(dir.File("export.txt").c_str()));
            trie.AddTrie("w1 q", false);
        }
    });
    ASSERT_EQ(1, trie.Load(dir.File("good.trie").c_str()));
    EXPECT_EQ(2, trie.Find("w74"));
}

TEST(TrieFileTest, LoadRejectsInconsistentCountsAndLinks) {
    vt_test::CTempDir dir;
    const std::string sGood = TinyBytes();
    const size_t nRec = 20;  // offset of the first record (the root)
    struct Patch {
        const char* sWhat;
        size_t nOffset;
        int32_t nValue;
    };
    const Patch patches[] = {
        {"item count 0", 0, 0},
        {"negative item count", 0, -1},
        {"negative deleted count", 4, -1},
        {"root out of range", 8, 3},
        {"no root", 8, -1},
        {"root is a child", 8, 1},
        {"element count beyond the file", 12, 4},
        {"negative element count", 12, -1},
        {"capacity below the count", 16, 2},
        {"huge capacity", 16, INT_MAX},
        {"capacity beyond one growth step", 16, 3 + 10000 + 1},
        {"child out of range", nRec + 8, 3},
        {"negative child count", nRec + 4, -1},
        {"wrong child count", nRec + 4, 1},
        {"sibling loops to itself", nRec + 64 + 56, 1},
        {"sibling loops back", nRec + 128 + 56, 1},
        {"child is the root", nRec + 64 + 8, 0},
        {"two parents", nRec + 64 + 8, 2},
        {"handle below -1", nRec + 128 + 12, -2},
        {"negative freq", nRec + 128 + 60, -1},
        {"tag without NUL", nRec + 128 + 16 + 36, 0x78787878},
    };
    CTrie trie;
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("t.trie"), sGood));
    ASSERT_EQ(1,
              trie.Load(dir.File("t.trie").c_str()));  // the patches below start from a good file
    for (const Patch& patch : patches) {
        SCOPED_TRACE(patch.sWhat);
        std::string sBad = sGood;
        std::memcpy(&sBad[patch.nOffset], &patch.nValue, 4);
        if (std::strcmp(patch.sWhat, "tag without NUL") == 0) {
            std::memset(&sBad[nRec + 128 + 16], 'x', 40);
        }
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("t.trie"), sBad));
        EXPECT_EQ(0, trie.Load(dir.File("t.trie").c_str()));
        ExpectEmptyAndUsable(trie, dir.File("export.txt"));
    }
    // Shapes whose every record and count is in order: a node no one links to, and a node with two
    // parents (ab, c, d with c's list cut short and its child pointed at b; every child count
    // fits).
    std::string sOrphan = sGood + Record('z', 0, -1, -1, "", -1, 0);
    std::memcpy(&sOrphan[12], Le32(4).data(), 4);
    CTrie five;
    for (const char* sWord : {"ab", "c", "d"}) five.AddTrie(sWord, true);
    ASSERT_EQ(1, five.Save(dir.File("five.trie").c_str()));
    std::string sShared = vt_test::ReadWholeFile(dir.File("five.trie"));
    ASSERT_EQ(nRec + 5 * 64, sShared.size());
    std::memcpy(&sShared[nRec + 4], Le32(2).data(), 4);             // root: a, c
    std::memcpy(&sShared[nRec + 3 * 64 + 4], Le32(1).data(), 4);    // c: one child ...
    std::memcpy(&sShared[nRec + 3 * 64 + 8], Le32(2).data(), 4);    // ... which is b
    std::memcpy(&sShared[nRec + 3 * 64 + 56], Le32(-1).data(), 4);  // d dropped
    for (const std::string& sBad : {sOrphan, sShared, sGood + "x"}) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("t.trie"), sBad));
        EXPECT_EQ(0, trie.Load(dir.File("t.trie").c_str()));
        ExpectEmptyAndUsable(trie, dir.File("export.txt"));
    }
    EXPECT_EQ(0, trie.Load(dir.File("missing.trie").c_str()));
    EXPECT_EQ(0, trie.Load(nullptr));
    ExpectEmptyAndUsable(trie, dir.File("export.txt"));
}

TEST(TrieFileTest, DeepChainNeedsNoRecursion) {
    // One word of 300000 'a's: a chain far deeper than any call stack would take frame by frame.
    const int nDepth = 300000;
    std::string sBytes = Le32(1) + Le32(0) + Le32(0) + Le32(nDepth + 1) + Le32(nDepth + 1);
    sBytes += Record(0, 1, 1, -1, "", -1, 0);
    for (int i = 1; i <= nDepth; ++i) {
        bool bLast = i == nDepth;
        sBytes += Record('a', bLast ? 0 : 1, bLast ? -1 : i + 1, bLast ? 0 : -1, bLast ? "n" : "",
                         -1, bLast ? 1 : 0);
    }
    vt_test::CTempDir dir;
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("deep.trie"), sBytes));
    CTrie trie;
    ASSERT_EQ(1, trie.Load(dir.File("deep.trie").c_str()));
    const std::string sWord(nDepth, 'a');
    int nHandle = -1;
    EXPECT_EQ(nDepth, trie.GetMaxWord((sWord + "a").c_str(), &nHandle));
    EXPECT_EQ(0, nHandle);
    ASSERT_EQ(1, trie.Export(dir.File("deep.txt").c_str()));
    EXPECT_EQ(sWord + "\tn\n", vt_test::ReadWholeFile(dir.File("deep.txt")));
}

}  // namespace

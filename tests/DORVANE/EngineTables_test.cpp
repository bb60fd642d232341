// EngineTables_test.cpp: the segmentation engine's small tables: word-pair frequencies (CBigram),
// tag context statistics (CContextStat) and the role automaton (CFSA): building, exact file bytes,
// round trips, and files that are truncated, corrupt or inconsistent.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "DORVANE/Segment/Bigram.h"
#include "DORVANE/Segment/FSA.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "support/TestSupport.h"

namespace {

// Int32s: little-endian bytes of 32-bit values.
std::string Int32s(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        for (int i = 0; i < 4; ++i)
            s += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    }
    return s;
}

// FloatBits: the IEEE-754 single-precision bit pattern of a value, as the file stores it.
int32_t FloatBits(float f) {
    int32_t n;
    std::memcpy(&n, &f, sizeof(n));
    return n;
}

// ---------------------------------------------------------------------------------------------------

TEST(BigramTest, ImportSortsSumsAndDrops) {
    CBigram bigram;
    EXPECT_EQ(bigram.GetFreq(0, 0), 0);  // empty table
    EXPECT_EQ(bigram.Import({{2, 1, 5},
                             {0, 3, 1},
                             {2, 1, 2},   // repeat of (2, 1): summed
                             {-1, 0, 3},  // negative handle
                             {1, -4, 3},  // negative handle
                             {1, 1, 0},   // no frequency
                             {1, 2, -6},  // negative frequency
                             {2, 0, 4}}),
              3);
    EXPECT_EQ(bigram.GetCount(), 3);
    EXPECT_EQ(bigram.GetFreq(2, 1), 7);
    EXPECT_EQ(bigram.GetFreq(0, 3), 1);
    EXPECT_EQ(bigram.GetFreq(2, 0), 4);
    EXPECT_EQ(bigram.GetFreq(1, 2), 0);  // the order matters: (1, 2) is not (2, 1)
    for (int n : {-1, INT_MIN, INT_MAX}) {
        EXPECT_EQ(bigram.GetFreq(n, 1), 0);
        EXPECT_EQ(bigram.GetFreq(2, n), 0);
    }
    // Sums that would overflow stay at the largest int.
    EXPECT_EQ(bigram.Import({{0, 0, INT_MAX}, {0, 0, INT_MAX}}), 1);
    EXPECT_EQ(bigram.GetFreq(0, 0), INT_MAX);
    EXPECT_EQ(bigram.Import({}), 0);
    EXPECT_EQ(bigram.GetFreq(0, 0), 0);
}

TEST(BigramTest, FileBytesAndRoundTrip) {
    vt_test::CTempDir dir;
    CBigram bigram;
    // An empty table is the 4-byte file of count 0, and it loads.
    ASSERT_EQ(bigram.Save(dir.File("empty.big").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("empty.big")), Int32s({0}));
    EXPECT_EQ(bigram.Load(dir.File("empty.big").c_str()), 1);

    // Count, then {left, right, freq} sorted by (left, right).
    bigram.Import({{5, 0, 9}, {0, 7, 1}, {5, 0, 1}});
    ASSERT_EQ(bigram.Save(dir.File("a.big").c_str()), 1);
    std::string sGood = Int32s({2, 0, 7, 1, 5, 0, 10});
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("a.big")), sGood);
    CBigram loaded;
    ASSERT_EQ(loaded.Load(dir.File("a.big").c_str()), 1);
    EXPECT_EQ(loaded.GetFreq(5, 0), 10);
    ASSERT_EQ(loaded.Save(dir.File("b.big").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("b.big")), sGood);

    EXPECT_EQ(loaded.Load(nullptr), 0);
    EXPECT_EQ(loaded.Load(dir.File("missing").c_str()), 0);
    EXPECT_EQ(loaded.GetCount(), 0);
    EXPECT_EQ(bigram.Save(nullptr), 0);
    EXPECT_EQ(bigram.Save(dir.File("no/such/dir").c_str()), 0);
}

TEST(BigramTest, BadFilesLeaveAnEmptyTable) {
    vt_test::CTempDir dir;
    std::string sGood = Int32s({3, 0, 1, 2, 0, 2, 1, 4, 0, 7});
    const std::string bad[] = {
        "",
        "\x01\x00",
        Int32s({3, 0, 1, 2, 0, 2, 1}),  // count says 3, two records
        Int32s({1, 0, 1, 2, 0, 2, 1}),  // count says 1, two records
        Int32s({-1}),                   // negative count
        Int32s({INT32_MAX, 0, 1, 2}),   // huge count, small file
        Int32s({2, 0, 2, 1, 0, 1, 2}),  // out of order
        Int32s({2, 0, 1, 2, 0, 1, 3}),  // repeated pair
        Int32s({1, 0, 1, 0}),           // no frequency
        Int32s({1, -3, 1, 1}),          // negative handle
        Int32s({1, 0, 1, 1}) + "x",     // a stray byte
    };
    CBigram bigram;
    for (const std::string& sBad : bad) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("bad.big"), sBad));
        EXPECT_EQ(bigram.Load(dir.File("bad.big").c_str()), 0) << sBad.size();
        EXPECT_EQ(bigram.GetCount(), 0);
        EXPECT_EQ(bigram.GetFreq(0, 1), 0);
    }
    vt_test::ForEachDamagedCopy(sGood, dir.File("damaged.big"), 24, 200, 11, [&](bool bTruncated) {
        int nResult = bigram.Load(dir.File("damaged.big").c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) {
            EXPECT_EQ(bigram.GetCount(), 0);
        }
        EXPECT_GE(bigram.GetFreq(0, 1), 0);
        EXPECT_EQ(bigram.GetFreq(-1, -1), 0);
    });
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("good.big"), sGood));
    ASSERT_EQ(bigram.Load(dir.File("good.big").c_str()), 1);
    EXPECT_EQ(bigram.GetFreq(4, 0), 7);
}

// ---------------------------------------------------------------------------------------------------

TEST(ContextStatTest, SizesSettersAndLookups) {
    CContextStat ctx;
    EXPECT_EQ(ctx.GetSize(), 0);
    EXPECT_EQ(ctx.GetStart(0), CContextStat::IMPOSSIBLE);
    EXPECT_EQ(ctx.SetStart(0, -1.0f), 0);  // no table yet
    for (int n : {0, -1, CContextStat::MAX_SIZE + 1, INT_MAX}) EXPECT_EQ(ctx.SetSize(n), 0) << n;
    ASSERT_EQ(ctx.SetSize(3), 1);
    EXPECT_EQ(ctx.GetTrans(2, 2), CContextStat::IMPOSSIBLE);  // every value starts impossible

    const float bad[] = {0.5f, std::numeric_limits<float>::infinity(),
                         -std::numeric_limits<float>::infinity(),
                         std::numeric_limits<float>::quiet_NaN()};
    for (float f : bad) {
        EXPECT_EQ(ctx.SetStart(0, f), 0) << f;
        EXPECT_EQ(ctx.SetTrans(0, 1, f), 0) << f;
    }
    EXPECT_EQ(ctx.SetStart(3, -1.0f), 0);
    EXPECT_EQ(ctx.SetTrans(-1, 0, -1.0f), 0);
    EXPECT_EQ(ctx.SetTrans(0, 3, -1.0f), 0);
    EXPECT_EQ(ctx.SetStart(1, 0.0f), 1);
    EXPECT_EQ(ctx.SetTrans(2, 0, -4.0f), 1);
    EXPECT_EQ(ctx.GetStart(1), 0.0f);
    EXPECT_EQ(ctx.GetTrans(2, 0), -4.0f);
    EXPECT_EQ(ctx.GetTrans(0, 2), CContextStat::IMPOSSIBLE);  // rows are the preceding tag
    for (int n : {-1, 3, INT_MAX, INT_MIN}) {
        EXPECT_EQ(ctx.GetStart(n), CContextStat::IMPOSSIBLE);
        EXPECT_EQ(ctx.GetTrans(n, 0), CContextStat::IMPOSSIBLE);
        EXPECT_EQ(ctx.GetTrans(0, n), CContextStat::IMPOSSIBLE);
    }
}

TEST(ContextStatTest, FileBytesRoundTripAndBadFiles) {
    vt_test::CTempDir dir;
    CContextStat ctx;
    EXPECT_EQ(ctx.Save(dir.File("empty.ctx").c_str()), 0);  // nothing to save
    ASSERT_EQ(ctx.SetSize(2), 1);
    ctx.SetStart(0, -0.5f);
    ctx.SetTrans(0, 1, 0.0f);
    ctx.SetTrans(1, 0, -2.0f);
    ASSERT_EQ(ctx.Save(dir.File("a.ctx").c_str()), 1);
    // n, start[2], trans[2 * 2] row by row; -0.5f is 0xBF000000 and -2.0f 0xC0000000.
    const int32_t nImpossible = FloatBits(CContextStat::IMPOSSIBLE);
    std::string sGood = Int32s({2, static_cast<int32_t>(0xBF000000), nImpossible, nImpossible, 0,
                                static_cast<int32_t>(0xC0000000), nImpossible});
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("a.ctx")), sGood);

    CContextStat loaded;
    ASSERT_EQ(loaded.Load(dir.File("a.ctx").c_str()), 1);
    EXPECT_EQ(loaded.GetSize(), 2);
    EXPECT_EQ(loaded.GetTrans(1, 0), -2.0f);
    ASSERT_EQ(loaded.Save(dir.File("b.ctx").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("b.ctx")), sGood);

    const std::string bad[] = {
        "",
        Int32s({0}),
        Int32s({256}) + std::string(4 * (256 + 256 * 256), '\0'),  // more tags than ids
        Int32s({-2}),
        Int32s({1, 0}),                    // one value short
        Int32s({1, 0, 0, 0}),              // one value too many
        Int32s({1, FloatBits(0.25f), 0}),  // a probability above 1
        Int32s({1, 0, FloatBits(std::numeric_limits<float>::quiet_NaN())}),
        Int32s({1, FloatBits(-std::numeric_limits<float>::infinity()), 0}),
    };
    for (const std::string& sBad : bad) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("bad.ctx"), sBad));
        EXPECT_EQ(loaded.Load(dir.File("bad.ctx").c_str()), 0) << sBad.size();
        EXPECT_EQ(loaded.GetSize(), 0);
        EXPECT_EQ(loaded.GetStart(0), CContextStat::IMPOSSIBLE);
    }
    EXPECT_EQ(loaded.Load(nullptr), 0);
    EXPECT_EQ(loaded.Load(dir.File("missing").c_str()), 0);
    EXPECT_EQ(ctx.Save(nullptr), 0);

    vt_test::ForEachDamagedCopy(sGood, dir.File("damaged.ctx"), 20, 200, 5, [&](bool bTruncated) {
        int nResult = loaded.Load(dir.File("damaged.ctx").c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        EXPECT_EQ(loaded.GetSize(), nResult == 1 ? 2 : 0);
        for (int i = -1; i <= 2; ++i) {
            EXPECT_LE(loaded.GetStart(i), 0.0f);
            EXPECT_LE(loaded.GetTrans(i, 1), 0.0f);
        }
    });
    ASSERT_EQ(loaded.Load(dir.File("a.ctx").c_str()), 1);
    EXPECT_EQ(loaded.GetStart(0), -0.5f);
}

// ---------------------------------------------------------------------------------------------------

// The person-name shape: 0 -S/D-> 1 -G-> 2 -G-> 3 (final), with S 0, G 1, D 2.
void MakeNameAutomaton(CFSA& fsa) {
    ASSERT_EQ(fsa.Init(4, 3), 1);
    ASSERT_EQ(fsa.SetNext(0, 0, 1), 1);
    ASSERT_EQ(fsa.SetNext(0, 2, 1), 1);
    ASSERT_EQ(fsa.SetNext(1, 1, 2), 1);
    ASSERT_EQ(fsa.SetNext(2, 1, 3), 1);
    ASSERT_EQ(fsa.SetFinal(3, true), 1);
}

TEST(FSATest, MovesAndLongestMatch) {
    CFSA fsa;
    const int sgg[] = {0, 1, 1};
    EXPECT_EQ(fsa.Match(sgg, 3), 0);  // no states yet
    EXPECT_EQ(fsa.Next(0, 0), -1);
    EXPECT_FALSE(fsa.IsFinal(0));
    for (auto counts : {std::pair<int, int>{0, 1}, {1, 0}, {4097, 1}, {1, 256}, {-1, -1}}) {
        EXPECT_EQ(fsa.Init(counts.first, counts.second), 0);
    }
    MakeNameAutomaton(fsa);
    EXPECT_EQ(fsa.SetNext(0, 3, 1), 0);  // no such symbol
    EXPECT_EQ(fsa.SetNext(4, 0, 1), 0);  // no such state
    EXPECT_EQ(fsa.SetNext(0, 0, 4), 0);  // no such target
    EXPECT_EQ(fsa.SetNext(0, 0, -2), 0);
    EXPECT_EQ(fsa.SetFinal(-1, true), 0);

    const int dgg[] = {2, 1, 1};
    const int sggg[] = {0, 1, 1, 1};
    const int sg[] = {0, 1};
    const int gsg[] = {1, 0, 1};
    const int badsym[] = {0, 7, 1};
    EXPECT_EQ(fsa.Match(sgg, 3), 3);
    EXPECT_EQ(fsa.Match(dgg, 3), 3);
    EXPECT_EQ(fsa.Match(sggg, 4), 3);  // the longest prefix that ends in a final state
    EXPECT_EQ(fsa.Match(sgg, 2), 0);   // only n symbols are read
    EXPECT_EQ(fsa.Match(sg, 2), 0);
    EXPECT_EQ(fsa.Match(gsg, 3), 0);
    EXPECT_EQ(fsa.Match(badsym, 3), 0);
    EXPECT_EQ(fsa.Match(nullptr, 3), 0);
    EXPECT_EQ(fsa.Match(sgg, -1), 0);
    EXPECT_EQ(fsa.Next(1, 1), 2);
    EXPECT_EQ(fsa.Next(3, 1), -1);
    for (int n : {-1, 4, INT_MAX, INT_MIN}) {
        EXPECT_EQ(fsa.Next(n, 0), -1);
        EXPECT_EQ(fsa.Next(0, n), -1);
        EXPECT_FALSE(fsa.IsFinal(n));
    }
}

TEST(FSATest, FileBytesRoundTripAndBadFiles) {
    vt_test::CTempDir dir;
    CFSA fsa;
    EXPECT_EQ(fsa.Save(dir.File("empty.fsa").c_str()), 0);
    ASSERT_EQ(fsa.Init(2, 2), 1);
    fsa.SetNext(0, 1, 1);
    fsa.SetFinal(1, true);
    ASSERT_EQ(fsa.Save(dir.File("a.fsa").c_str()), 1);
    // states, symbols, next[] row by state, final[].
    std::string sSmall = Int32s({2, 2, -1, 1, -1, -1, 0, 1});
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("a.fsa")), sSmall);

    MakeNameAutomaton(fsa);
    ASSERT_EQ(fsa.Save(dir.File("name.fsa").c_str()), 1);
    std::string sGood = vt_test::ReadWholeFile(dir.File("name.fsa"));
    ASSERT_EQ(sGood.size(), static_cast<size_t>(8 + 4 * (4 * 3 + 4)));
    CFSA loaded;
    ASSERT_EQ(loaded.Load(dir.File("name.fsa").c_str()), 1);
    const int dgg[] = {2, 1, 1};
    EXPECT_EQ(loaded.Match(dgg, 3), 3);

    const std::string bad[] = {
        "",
        Int32s({1}),
        Int32s({0, 1}),
        Int32s({1, 0}),
        Int32s({4097, 1}),
        Int32s({1, 256}),
        Int32s({4096, 255, 0}),  // huge table announced, tiny file
        Int32s({1, 1, 0}),       // final flag missing
        Int32s({1, 1, 1, 0}),    // move to state 1 of 1
        Int32s({1, 1, -2, 0}),
        Int32s({1, 1, -1, 2}),     // final flag neither 0 nor 1
        Int32s({1, 1, -1, 1, 0}),  // one value too many
    };
    for (const std::string& sBad : bad) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("bad.fsa"), sBad));
        EXPECT_EQ(loaded.Load(dir.File("bad.fsa").c_str()), 0) << sBad.size();
        EXPECT_EQ(loaded.GetStateCount(), 0);
        EXPECT_EQ(loaded.Match(dgg, 3), 0);
    }
    EXPECT_EQ(loaded.Load(nullptr), 0);
    EXPECT_EQ(fsa.Save(nullptr), 0);

    vt_test::ForEachDamagedCopy(sGood, dir.File("damaged.fsa"), 20, 200, 3, [&](bool bTruncated) {
        int nResult = loaded.Load(dir.File("damaged.fsa").c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) {
            EXPECT_EQ(loaded.GetStateCount(), 0);
        }
        // Whatever loaded, walking it stays inside the table.
        const int walk[] = {0, 1, 1, 2, 1, 0, 1};
        int nMatch = loaded.Match(walk, 7);
        EXPECT_GE(nMatch, 0);
        EXPECT_LE(nMatch, 7);
        for (int s = 0; s < loaded.GetStateCount(); ++s) {
            for (int y = 0; y < loaded.GetSymbolCount(); ++y) {
                EXPECT_LT(loaded.Next(s, y), loaded.GetStateCount());
            }
        }
    });
    ASSERT_EQ(loaded.Load(dir.File("name.fsa").c_str()), 1);
    EXPECT_EQ(loaded.Match(dgg, 3), 3);
}

}  // namespace

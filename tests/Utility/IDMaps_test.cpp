// IDMaps_test.cpp: the id map: compiling collected pairs, lookups, the sort (sorted, reversed,
// shuffled and repetitive input), the .map file, the three text imports and the two exports.
#include "Utility/IDMaps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        uint32_t u = static_cast<uint32_t>(v);
        for (int i = 0; i < 4; ++i) s += static_cast<char>((u >> (8 * i)) & 0xFF);
    }
    return s;
}

// Targets: the targets of handle1 as a vector (empty when GetMaps gives none), checking that the
// count and the pointer agree.
std::vector<int> Targets(const CIDMaps& map, int handle1) {
    int nCount = -99;
    const idmaps_info* pTargets = map.GetMaps(handle1, &nCount);
    std::vector<int> vec;
    if (pTargets == nullptr) {
        EXPECT_EQ(nCount, 0) << handle1;
        return vec;
    }
    EXPECT_GT(nCount, 0) << handle1;
    for (int i = 0; i < nCount; ++i) vec.push_back(pTargets[i].handle2);
    return vec;
}

// Compile: a map of the pairs in the given order, compiled (its success line swallowed).
void Compile(CIDMaps& map, const std::vector<std::pair<int, int>>& vecPairs) {
    map.MapInit();
    for (const auto& pair : vecPairs) map.MapAdd(pair.first, pair.second);
    testing::internal::CaptureStdout();
    map.MapComplete();
    testing::internal::GetCapturedStdout();
}

// SavedBytes: the .map file of a map.
std::string SavedBytes(const CIDMaps& map, const vt_test::CTempDir& dir) {
    std::string sPath = dir.File("saved.map");
    EXPECT_EQ(map.Save(sPath.c_str()), 1);
    return vt_test::ReadWholeFile(sPath);
}

TEST(IDMapsTest, CompilingGroupsSortsAndCollapsesTargets) {
    CIDMaps map;
    map.MapInit();
    map.MapAdd(3, 7);
    map.MapAdd(3, 7);
    map.MapAdd(3, 2);
    map.MapAdd(1, 9);
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.MapComplete(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Build map success!");

    EXPECT_EQ(Targets(map, 3), (std::vector<int>{2, 7}));
    EXPECT_EQ(map.GetMapID(3), 2);
    EXPECT_EQ(Targets(map, 1), (std::vector<int>{9}));
    // Collapsed pairs still count: one slot per pair collected.
    EXPECT_EQ(map.GetSize(), 4);
    EXPECT_EQ(map.GetBound(), 4);
    for (int h : {0, 2, 4, -1, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(Targets(map, h).empty()) << h;
        EXPECT_EQ(map.GetMapID(h), -1) << h;
    }
    EXPECT_EQ(map.GetMaps(3, nullptr)[1].handle2, 7);  // the count pointer may be null

    // A source mapped to -1 only has one target, -1; -1 sorts before every real target.
    CIDMaps none;
    Compile(none, {{0, -1}, {5, 4}, {5, -1}});
    EXPECT_EQ(Targets(none, 0), (std::vector<int>{-1}));
    EXPECT_EQ(none.GetMapID(0), -1);
    EXPECT_EQ(Targets(none, 5), (std::vector<int>{-1, 4}));

    // Pairs outside the accepted ranges are ignored.
    CIDMaps bad;
    Compile(bad,
            {{-1, 3}, {2, -2}, {INT_MIN, 0}, {CIDMaps::MAX_SOURCE_HANDLE + 1, 0}, {INT_MAX, 0}});
    EXPECT_EQ(bad.GetSize(), 0);
    EXPECT_EQ(bad.GetBound(), 0);

    // MapInit starts over; pairs past the first 10240 make the pair array grow.
    std::vector<std::pair<int, int>> vecMany;
    for (int i = 0; i < 25000; ++i) vecMany.push_back({i % 7, i});
    Compile(map, vecMany);
    EXPECT_EQ(map.GetSize(), 25000);
    EXPECT_EQ(map.GetBound(), 7);
    EXPECT_TRUE(Targets(map, 9).empty());
    std::vector<int> vecSix = Targets(map, 6);
    ASSERT_EQ(vecSix.size(), 25000u / 7);
    EXPECT_TRUE(std::is_sorted(vecSix.begin(), vecSix.end()));
    EXPECT_EQ(vecSix.front(), 6);
}

TEST(IDMapsTest, SaveWritesTheGoldenBytesAndLoadsThemBack) {
    vt_test::CTempDir dir;
    CIDMaps map;
    Compile(map, {{2, 5}, {0, 1}, {2, 3}, {2, 5}});
    // Four slots: 1 (source 0), 3 5 (source 2), and -1 left over by the repeated pair; then the
    // index (0, 0), none, (1, 2).
    std::string sGolden = Int32Bytes({4, 3, 1, 3, 5, -1, 0, 0, -1, -1, 1, 2});
    EXPECT_EQ(SavedBytes(map, dir), sGolden);
    EXPECT_EQ(SavedBytes(map, dir), sGolden);

    CIDMaps loaded;
    std::string sPath = dir.File("golden.map");
    vt_test::WriteWholeFile(sPath, sGolden);
    ASSERT_EQ(loaded.Load(sPath.c_str()), 1);
    EXPECT_EQ(loaded.GetSize(), 4);
    EXPECT_EQ(loaded.GetBound(), 3);
    EXPECT_EQ(Targets(loaded, 2), (std::vector<int>{3, 5}));
    EXPECT_EQ(loaded.GetMapID(0), 1);
    EXPECT_TRUE(Targets(loaded, 1).empty());
    EXPECT_EQ(SavedBytes(loaded, dir), sGolden);
    // MapComplete with nothing collected keeps a loaded table; MapAdd starts a new collection.
    EXPECT_EQ(loaded.MapComplete(), 1);
    EXPECT_EQ(SavedBytes(loaded, dir), sGolden);
    loaded.MapAdd(1, 8);
    testing::internal::CaptureStdout();
    loaded.MapComplete();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(SavedBytes(loaded, dir), Int32Bytes({1, 2, 8, -1, -1, 0, 0}));

    // An empty map saves and loads as two zero counts.
    CIDMaps empty;
    EXPECT_EQ(SavedBytes(empty, dir), Int32Bytes({0, 0}));
}

TEST(IDMapsTest, BadFilesLeaveAnEmptyUsableMap) {
    vt_test::CTempDir dir;
    CIDMaps map;
    std::vector<std::pair<int, int>> vecPairs;
    for (int i = 0; i < 60; ++i) vecPairs.push_back({(i * 7) % 23, i % 5 == 0 ? -1 : i});
    Compile(map, vecPairs);
    std::string sGood = dir.File("good.map");
    ASSERT_EQ(map.Save(sGood.c_str()), 1);

    auto ExpectEmpty = [](const CIDMaps& m) {
        EXPECT_EQ(m.GetSize(), 0);
        EXPECT_EQ(m.GetBound(), 0);
        EXPECT_TRUE(Targets(m, 0).empty());
        EXPECT_EQ(m.GetMapID(0), -1);
    };
    CIDMaps loaded;
    EXPECT_EQ(loaded.Load(nullptr), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Load(dir.File("missing.map").c_str()), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Save(nullptr), 0);
    EXPECT_EQ(loaded.Save(dir.File("no/such/dir.map").c_str()), 0);

    // Counts that disagree with the length, and index entries outside the targets or reversed.
    const std::string vecBad[] = {
        Int32Bytes({2, 1, 5, 6}),              // index entry missing
        Int32Bytes({-1, 0}),                   // negative count
        Int32Bytes({INT_MAX, INT_MAX, 0, 0}),  // huge counts, short file
        Int32Bytes({2, 1, 5, 6, 0, 2}),        // end past the targets
        Int32Bytes({2, 1, 5, 6, 1, 0}),        // start after end
        Int32Bytes({2, 1, 5, 6, -1, 0}),       // half empty
        Int32Bytes({2, 1, 5, 6, -5, -5}),      // negative start
        Int32Bytes({2, 1, 5, -7, 0, 1}),       // target below -1
    };
    for (const std::string& sBad : vecBad) {
        vt_test::WriteWholeFile(dir.File("bad.map"), sBad);
        EXPECT_EQ(loaded.Load(dir.File("bad.map").c_str()), 0);
        ExpectEmpty(loaded);
    }

    std::string sBytes = vt_test::ReadWholeFile(sGood);
    std::string sDamaged = dir.File("damaged.map");
    vt_test::ForEachDamagedCopy(sBytes, sDamaged, 24, 300, 11, [&](bool bTruncated) {
        int nResult = loaded.Load(sDamaged.c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) ExpectEmpty(loaded);
        // Whatever was accepted must be safe to walk.
        for (int h = -1; h <= loaded.GetBound(); ++h) {
            for (int t : Targets(loaded, h)) EXPECT_GE(t, -1);
        }
    });
    ASSERT_EQ(loaded.Load(sGood.c_str()), 1);
    EXPECT_EQ(SavedBytes(loaded, dir), sBytes);
}

TEST(IDMapsTest, SortedInputSwitchesToTheExchangeSortAfterTenLopsidedPartitions) {
    // Sorted n pairs: every partition leaves the pivot at the start. With 11 pairs the tenth
    // partition leaves a single pair, so the count stays at 10; with 12 it leaves two, which go to
    // the exchange sort, and the count starts over.
    for (int n : {2, 11, 12, 40}) {
        std::vector<idmaps_elem> vec(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) {
            vec[static_cast<size_t>(i)].handle1 = i / 2;
            vec[static_cast<size_t>(i)].handle2 = i;
        }
        CIDMaps map;
        map.qksort(vec.data(), 0, n - 1);
        EXPECT_EQ(map.GetQKSortCount(), n <= 11 ? n - 1 : 0) << n;
        for (int i = 0; i < n; ++i) ASSERT_EQ(vec[static_cast<size_t>(i)].handle2, i);
    }

    // The exchange sort and the quicksort agree with std::sort on small random arrays full of
    // repeats.
    std::mt19937 rng(3);
    for (int nRound = 0; nRound < 300; ++nRound) {
        int n = 1 + static_cast<int>(rng() % 80);
        std::vector<idmaps_elem> vec(static_cast<size_t>(n));
        for (auto& e : vec) {
            e.handle1 = static_cast<int>(rng() % 6);
            e.handle2 = static_cast<int>(rng() % 5) - 1;
        }
        std::vector<idmaps_elem> vecExpected = vec, vecQuick = vec, vecExchange = vec;
        std::sort(vecExpected.begin(), vecExpected.end());
        CIDMaps map;
        map.qksort(vecQuick.data(), 0, n - 1);
        CIDMaps::bublesort(vecExchange.data(), 0, n - 1);
        for (int i = 0; i < n; ++i) {
            ASSERT_FALSE(vecQuick[i] < vecExpected[i] || vecExpected[i] < vecQuick[i]) << nRound;
            ASSERT_FALSE(vecExchange[i] < vecExpected[i] || vecExpected[i] < vecExchange[i])
                << nRound;
        }
    }
}

TEST(IDMapsTest, LargeSortedReversedAndShuffledInputCompileAlike) {
    // A million pairs in sorted order, the usual case for map files, would recurse a million deep
    // and take quadratic time in a plain first-pivot quicksort.
    constexpr int N = 1000000;
    std::vector<std::pair<int, int>> vecSorted;
    vecSorted.reserve(N);
    for (int i = 0; i < N; ++i) vecSorted.push_back({i / 3, (i % 3) * 1000 + i / 7});
    std::sort(vecSorted.begin(), vecSorted.end());
    vt_test::CTempDir dir;

    CIDMaps sorted;
    Compile(sorted, vecSorted);
    std::string sExpected = SavedBytes(sorted, dir);
    EXPECT_EQ(Targets(sorted, 10), (std::vector<int>{4, 1004, 2004}));

    std::vector<std::pair<int, int>> vecReversed(vecSorted.rbegin(), vecSorted.rend());
    CIDMaps reversed;
    Compile(reversed, vecReversed);
    EXPECT_EQ(SavedBytes(reversed, dir), sExpected);

    std::vector<std::pair<int, int>> vecShuffled = vecSorted;
    std::shuffle(vecShuffled.begin(), vecShuffled.end(), std::mt19937(5));
    CIDMaps shuffled;
    Compile(shuffled, vecShuffled);
    EXPECT_EQ(SavedBytes(shuffled, dir), sExpected);

    // Sorted but for the first pair moved to the end: every partition leaves its pivot second in
    // its range, so the lopsided count never grows and only the partition budget keeps this from
    // quadratic time.
    std::vector<std::pair<int, int>> vecRotated(vecSorted.begin() + 1, vecSorted.end());
    vecRotated.push_back(vecSorted.front());
    CIDMaps rotated;
    Compile(rotated, vecRotated);
    EXPECT_EQ(SavedBytes(rotated, dir), sExpected);

    // A single pair repeated.
    CIDMaps same;
    Compile(same, std::vector<std::pair<int, int>>(N / 4, {4, 2}));
    EXPECT_EQ(same.GetSize(), N / 4);
    EXPECT_EQ(Targets(same, 4), (std::vector<int>{2}));
}

// Imports over small dictionaries. The error log goes to the test's directory.
class IDMapsImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path() + "/log";
        std::filesystem::create_directory(g_sLogPath);
        Build(m_src, {"a", "b", "c", vt_test::G("中")});
        Build(m_dst, {"x", "y", "z", vt_test::G("zhong")});
    }
    static void Build(CPDAT& dict, const std::vector<std::string>& vecWords) {
        dict.AddWordInit();
        for (const std::string& s : vecWords) dict.AddWord(s.c_str());
        dict.AddWordComplete();
    }
    // ErrorLog: the contents of every error log written so far.
    std::string ErrorLog() const {
        std::string sAll;
        for (const auto& entry : std::filesystem::directory_iterator(g_sLogPath)) {
            if (entry.path().extension() == ".err")
                sAll += vt_test::ReadWholeFile(entry.path().string());
        }
        return sAll;
    }
    int S(const std::string& s) const { return m_src.Find(s.c_str()); }
    int D(const std::string& s) const { return m_dst.Find(s.c_str()); }

    vt_test::CTempDir m_dir;
    CPDAT m_src;
    CPDAT m_dst;
};

TEST_F(IDMapsImportTest, TwoColumnImport) {
    std::string sPath = m_dir.File("pairs.txt");
    vt_test::WriteWholeFile(sPath,
                            "\xEF\xBB\xBF"
                            "a x\n"
                            "a y extra\n"
                            "b nothere\n"  // missing target: kept as -1
                            "nothere x\n"  // missing source: reported
                            "gone gone\n"  // both missing: reported
                            "\n"           // blank: nothing
                            "c\n"          // one word: nothing
                                + vt_test::G("中") + "\t" + vt_test::G("zhong") + "\n");
    CIDMaps map;
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.Import(sPath.c_str(), &m_src, &m_dst), 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Build map success!");
    EXPECT_EQ(Targets(map, S("a")), (std::vector<int>{D("x"), D("y")}));
    EXPECT_EQ(Targets(map, S("b")), (std::vector<int>{-1}));
    EXPECT_EQ(map.GetMapID(S(vt_test::G("中"))), D(vt_test::G("zhong")));
    EXPECT_TRUE(Targets(map, S("c")).empty());
    std::string sLog = ErrorLog();
    EXPECT_NE(sLog.find("]\tnothere invalid argument!\n"), std::string::npos) << sLog;
    EXPECT_NE(sLog.find("]\tgone gone invalid argument!\n"), std::string::npos) << sLog;
    EXPECT_EQ(sLog.find("b nothere"), std::string::npos) << sLog;

    // One dictionary on both sides: a word mapped to itself is reported and left out.
    std::string sSame = m_dir.File("same.txt");
    std::string sText = "a a\n";
    for (int i = 1; i < 200; ++i) sText += "a b\n";
    vt_test::WriteWholeFile(sSame, sText);
    CIDMaps self;
    testing::internal::CaptureStdout();
    EXPECT_EQ(self.Import(sSame.c_str(), &m_src, &m_src), 199);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Line 100: a->b\nLine 200: a->b\nBuild map success!");
    EXPECT_EQ(Targets(self, S("a")), (std::vector<int>{S("b")}));
    EXPECT_NE(ErrorLog().find("]\t invalid argument!\n"), std::string::npos);

    EXPECT_EQ(map.Import(m_dir.File("missing.txt").c_str(), &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(nullptr, &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sPath.c_str(), nullptr, &m_dst), 0);
    EXPECT_EQ(map.GetMapID(S("b")), -1);
    EXPECT_EQ(map.GetSize(), 4);  // failures change nothing
}

TEST_F(IDMapsImportTest, TabSeparatedImport) {
    // Over m_src: last field the source, the others its targets.
    std::string sPath = m_dir.File("tabs.txt");
    std::string sText;
    for (int i = 0; i < 92; ++i) sText += "x\n";
    sText +=
        "b\tc\ta\n"     // a -> b, c
        "a\n"           // one field: skipped
        "b\t\tc\n"      // empty fields do not count: c -> b
        "c\tc\n"        // to itself: reported
        "b\tnothere\n"  // unknown source: nothing
        "nothere\tb\n"  // unknown target: b -> -1
        "a\tb\r\n"      // only the line end is cut: "b\r" is not found
        "c\tb";         // the last line, without a line end, keeps its last byte: b -> c
    vt_test::WriteWholeFile(sPath, sText);
    CIDMaps map;
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.Import(sPath.c_str(), &m_src), 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "100\rBuild map success!");
    EXPECT_EQ(Targets(map, S("a")), (std::vector<int>{S("b"), S("c")}));
    EXPECT_EQ(Targets(map, S("b")), (std::vector<int>{-1, S("c")}));
    EXPECT_EQ(Targets(map, S("c")), (std::vector<int>{S("b")}));
    EXPECT_NE(ErrorLog().find("]\t invalid argument!\n"), std::string::npos);

    EXPECT_EQ(map.Import(m_dir.File("missing.txt").c_str(), &m_src), 0);
    EXPECT_EQ(map.Import(sPath.c_str(), nullptr), 0);
    EXPECT_EQ(map.Import(nullptr, &m_src), 0);
}

TEST_F(IDMapsImportTest, ParallelFileImport) {
    std::string sSrc = m_dir.File("src.txt");
    std::string sDst = m_dir.File("dst.txt");
    vt_test::WriteWholeFile(sSrc,
                            "\xEF\xBB\xBF"
                            "a first\n"
                            "b\n"
                            "\n"
                            "nothere\n"
                            "c\n"
                            "a\n");
    vt_test::WriteWholeFile(sDst,
                            "\xEF\xBB\xBF"
                            "x\n"
                            "y second\n"
                            "z\n"  // blank source line: nothing
                            "z\n"  // missing source: reported
                            "z");  // the target file ends here: "a" is never read
    CIDMaps map;
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.Import(sSrc.c_str(), sDst.c_str(), &m_src, &m_dst), 3);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Targets(map, S("a")), (std::vector<int>{D("x")}));
    EXPECT_EQ(Targets(map, S("b")), (std::vector<int>{D("y")}));
    EXPECT_EQ(Targets(map, S("c")), (std::vector<int>{D("z")}));
    EXPECT_NE(ErrorLog().find("]\tnothere invalid argument!\n"), std::string::npos);

    EXPECT_EQ(map.Import(sSrc.c_str(), m_dir.File("missing.txt").c_str(), &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(m_dir.File("missing.txt").c_str(), sDst.c_str(), &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sSrc.c_str(), nullptr, &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sSrc.c_str(), sDst.c_str(), &m_src, nullptr), 0);
}

TEST(IDMapsExportTest, FileAndPairExports) {
    vt_test::CTempDir dir;
    CIDMaps map;
    Compile(map, {{3, 7}, {3, 2}, {5, 1}, {3, 7}});
    CWordList src(false, nullptr);
    src.AddWord("three", 3);
    src.AddWord("five", 5);
    src.AddWordComplete();
    CWordList dst(false, nullptr);
    dst.AddWord("one", 1);
    dst.AddWord("two", 2);
    dst.AddWord("seven", 7);
    dst.AddWordComplete();

    std::string sPath = dir.File("dump.txt");
    ASSERT_EQ(map.Export(sPath.c_str(), &src, &dst, false), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(sPath),
              "Data Size=4,Index Size=6\n"
              "Handle=3(three),Start=0\tEnd=1 count=2\n data=2(two) 7(seven) \n"
              "Handle=5(five),Start=2\tEnd=2 count=1\n data=1(one) \n");
    ASSERT_EQ(map.Export(sPath.c_str(), nullptr, nullptr, true), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(sPath),
              "Data Size=4,Index Size=6\n"
              "Handle=3((null)),Start=0\tEnd=1 count=2\n data=2((null)) 7((null)) \n");
    EXPECT_EQ(map.Export(nullptr, &src, &dst, false), 0);
    EXPECT_EQ(map.Export(dir.File("no/such/dir.txt").c_str(), &src, &dst, false), 0);

    std::vector<map_str> vecPairs = {{"kept", "kept"}};
    EXPECT_EQ(map.Export(vecPairs, &src, &dst), 3);
    ASSERT_EQ(vecPairs.size(), 4u);
    EXPECT_EQ(vecPairs[0].src, "kept");
    EXPECT_EQ(vecPairs[1].src, "three");
    EXPECT_EQ(vecPairs[1].dsn, "two");
    EXPECT_EQ(vecPairs[2].dsn, "seven");
    EXPECT_EQ(vecPairs[3].src, "five");
    EXPECT_EQ(vecPairs[3].dsn, "one");
    vecPairs.clear();
    EXPECT_EQ(map.Export(vecPairs, nullptr, &dst), 3);
    EXPECT_EQ(vecPairs[0].src, "");
}

}  // namespace

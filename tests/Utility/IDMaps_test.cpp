// IDMaps_test.cpp: the id map: compiling collected pairs, lookups, the sort on sorted, reversed,
// shuffled and repetitive input, the .map file, the three text imports and the two exports.
#include "Utility/IDMaps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

using Pairs = std::vector<std::pair<int, int>>;

std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        for (int i = 0; i < 4; ++i)
            s += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    }
    return s;
}

// Targets: the targets of handle1 (empty when GetMaps gives none), checking that the count agrees.
std::vector<int> Targets(const CIDMaps& map, int handle1) {
    int nCount = -99;
    const idmaps_info* pTargets = map.GetMaps(handle1, &nCount);
    EXPECT_EQ(pTargets == nullptr, nCount == 0) << handle1;
    std::vector<int> vec;
    for (int i = 0; pTargets != nullptr && i < nCount; ++i) vec.push_back(pTargets[i].handle2);
    return vec;
}

// Compile: MapInit, MapAdd of every pair in order, MapComplete; returns what it printed.
std::string Compile(CIDMaps& map, const Pairs& vecPairs) {
    map.MapInit();
    for (const auto& pair : vecPairs) map.MapAdd(pair.first, pair.second);
    testing::internal::CaptureStdout();
    map.MapComplete();
    return testing::internal::GetCapturedStdout();
}

std::string SavedBytes(const CIDMaps& map, const vt_test::CTempDir& dir) {
    EXPECT_EQ(map.Save(dir.File("saved.map").c_str()), 1);
    return vt_test::ReadWholeFile(dir.File("saved.map"));
}

// Deliberate: one target slot per collected pair, even when equal pairs collapse, and a target of
// -1 is stored (the source maps to nothing).
TEST(IDMapsTest, CompilingSortsGroupsAndCollapsesTargets) {
    CIDMaps map;
    EXPECT_EQ(Compile(map, {{3, 7}, {3, 7}, {3, 2}, {1, 9}}), "Build map success!");
    EXPECT_EQ(Targets(map, 3), (std::vector<int>{2, 7}));
    EXPECT_EQ(map.GetMapID(3), 2);
    EXPECT_EQ(Targets(map, 1), (std::vector<int>{9}));
    EXPECT_EQ(map.GetSize(), 4);  // one slot per pair collected
    EXPECT_EQ(map.GetBound(), 4);
    for (int h : {0, 2, 4, -1, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(Targets(map, h).empty()) << h;
        EXPECT_EQ(map.GetMapID(h), -1) << h;
    }
    EXPECT_EQ(map.GetMaps(3, nullptr)[1].handle2, 7);

    // -1 is a stored target (a source that maps to nothing) and sorts first; bad pairs are ignored.
    Compile(map, {{0, -1}, {5, 4}, {5, -1}, {-1, 3}, {2, -2}, {CIDMaps::MAX_SOURCE_HANDLE + 1, 0}});
    EXPECT_EQ(Targets(map, 0), (std::vector<int>{-1}));
    EXPECT_EQ(map.GetMapID(0), -1);
    EXPECT_EQ(Targets(map, 5), (std::vector<int>{-1, 4}));
    EXPECT_EQ(map.GetSize(), 3);
    EXPECT_EQ(map.GetBound(), 6);
}

TEST(IDMapsTest, SaveWritesTheGoldenBytesAndLoadsThemBack) {
    vt_test::CTempDir dir;
    CIDMaps map;
    Compile(map, {{2, 5}, {0, 1}, {2, 3}, {2, 5}});
    // Slots 1 (source 0), 3 5 (source 2), -1 left by the repeated pair; index (0,0), none, (1,2).
    std::string sGolden = Int32Bytes({4, 3, 1, 3, 5, -1, 0, 0, -1, -1, 1, 2});
    EXPECT_EQ(SavedBytes(map, dir), sGolden);
    EXPECT_EQ(SavedBytes(map, dir), sGolden);

    CIDMaps loaded;
    EXPECT_EQ(SavedBytes(loaded, dir), Int32Bytes({0, 0}));
    vt_test::WriteWholeFile(dir.File("golden.map"), sGolden);
    ASSERT_EQ(loaded.Load(dir.File("golden.map").c_str()), 1);
    EXPECT_EQ(Targets(loaded, 2), (std::vector<int>{3, 5}));
    EXPECT_EQ(loaded.GetMapID(0), 1);
    EXPECT_EQ(loaded.GetSize(), 4);
    // MapComplete with nothing collected keeps a loaded table; MapAdd starts a new collection.
    EXPECT_EQ(loaded.MapComplete(), 1);
    EXPECT_EQ(SavedBytes(loaded, dir), sGolden);
    loaded.MapAdd(1, 8);
    testing::internal::CaptureStdout();
    loaded.MapComplete();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(SavedBytes(loaded, dir), Int32Bytes({1, 2, 8, -1, -1, 0, 0}));
}

TEST(IDMapsTest, BadFilesLeaveAnEmptyUsableMap) {
    vt_test::CTempDir dir;
    CIDMaps map;
    Pairs vecPairs;
    for (int i = 0; i < 60; ++i) vecPairs.push_back({(i * 7) % 23, i % 5 == 0 ? -1 : i});
    Compile(map, vecPairs);
    std::string sGood = dir.File("good.map");
    ASSERT_EQ(map.Save(sGood.c_str()), 1);
    auto ExpectEmpty = [](const CIDMaps& m) {
        EXPECT_EQ(m.GetBound(), 0);
        EXPECT_TRUE(Targets(m, 0).empty());
        EXPECT_EQ(m.GetMapID(0), -1);
    };
    CIDMaps loaded;
    EXPECT_EQ(loaded.Load(nullptr), 0);
    EXPECT_EQ(loaded.Load(dir.File("missing").c_str()), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Save(nullptr), 0);
    EXPECT_EQ(loaded.Save(dir.File("no/dir.map").c_str()), 0);
    for (const std::string& sBad : {
             Int32Bytes({2, 1, 5, 6}),              // index entry missing
             Int32Bytes({-1, 0}),                   // negative count
             Int32Bytes({INT_MAX, INT_MAX, 0, 0}),  // huge counts, short file
             Int32Bytes({2, 1, 5, 6, 0, 2}),        // end past the targets
             Int32Bytes({2, 1, 5, 6, 1, 0}),        // start after end
             Int32Bytes({2, 1, 5, 6, -1, 0}),       // half empty
             Int32Bytes({2, 1, 5, -7, 0, 1}),       // target below -1
         }) {
        vt_test::WriteWholeFile(dir.File("bad"), sBad);
        EXPECT_EQ(loaded.Load(dir.File("bad").c_str()), 0);
        ExpectEmpty(loaded);
    }
    std::string sBytes = vt_test::ReadWholeFile(sGood);
    std::string sDamaged = dir.File("damaged.map");
    vt_test::ForEachDamagedCopy(sBytes, sDamaged, 24, 300, 11, [&](bool bCut) {
        int nResult = loaded.Load(sDamaged.c_str());
        if (bCut || nResult == 0) {
            EXPECT_EQ(nResult, 0);
            ExpectEmpty(loaded);
        }
        for (int h = -1; h <= loaded.GetBound(); ++h) {
            for (int t : Targets(loaded, h)) EXPECT_GE(t, -1);  // whatever was accepted is safe
        }
    });
    ASSERT_EQ(loaded.Load(sGood.c_str()), 1);
    EXPECT_EQ(SavedBytes(loaded, dir), sBytes);
}

TEST(IDMapsTest, SortedInputSwitchesToTheExchangeSortAfterTenLopsidedPartitions) {
    // In sorted input every partition leaves the pivot first. With 11 pairs the tenth partition
    // leaves one pair, and the count stays at 10; with 12 it leaves two, which the exchange sort
    // takes, and the count starts over.
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
    // Both sorts agree with std::sort on small random arrays full of repeats.
    std::mt19937 rng(3);
    for (int nRound = 0; nRound < 300; ++nRound) {
        std::vector<idmaps_elem> vec(1 + rng() % 80);
        for (auto& e : vec) {
            e.handle1 = static_cast<int>(rng() % 6);
            e.handle2 = static_cast<int>(rng() % 5) - 1;
        }
        std::vector<idmaps_elem> vecQuick = vec, vecExchange = vec;
        std::sort(vec.begin(), vec.end());
        CIDMaps map;
        map.qksort(vecQuick.data(), 0, static_cast<int>(vec.size()) - 1);
        CIDMaps::bublesort(vecExchange.data(), 0, static_cast<int>(vec.size()) - 1);
        for (size_t i = 0; i < vec.size(); ++i) {
            ASSERT_TRUE(vecQuick[i] <= vec[i] && vec[i] <= vecQuick[i]) << nRound;
            ASSERT_TRUE(vecExchange[i] <= vec[i] && vec[i] <= vecExchange[i]) << nRound;
        }
    }
}

TEST(IDMapsTest, LargeSortedReversedAndShuffledInputCompileAlike) {
    // A million sorted pairs, the usual case for map files, would recurse a million deep and take
    // quadratic time in a plain first-pivot quicksort.
    constexpr int N = 1000000;
    Pairs vecSorted;
    for (int i = 0; i < N; ++i) vecSorted.push_back({i / 3, (i % 3) * 1000 + i / 7});
    std::sort(vecSorted.begin(), vecSorted.end());
    vt_test::CTempDir dir;
    CIDMaps map;
    Compile(map, vecSorted);
    std::string sExpected = SavedBytes(map, dir);
    EXPECT_EQ(Targets(map, 10), (std::vector<int>{4, 1004, 2004}));

    Compile(map, Pairs(vecSorted.rbegin(), vecSorted.rend()));
    EXPECT_EQ(SavedBytes(map, dir), sExpected);
    Pairs vecShuffled = vecSorted;
    std::shuffle(vecShuffled.begin(), vecShuffled.end(), std::mt19937(5));
    Compile(map, vecShuffled);
    EXPECT_EQ(SavedBytes(map, dir), sExpected);
    // Sorted but for the first pair moved to the end: every partition leaves its pivot second in
    // its range, so the lopsided count never grows; only the partition budget avoids quadratic
    // time.
    Pairs vecRotated(vecSorted.begin() + 1, vecSorted.end());
    vecRotated.push_back(vecSorted.front());
    Compile(map, vecRotated);
    EXPECT_EQ(SavedBytes(map, dir), sExpected);

    Compile(map, Pairs(N / 4, {4, 2}));
    EXPECT_EQ(map.GetSize(), N / 4);
    EXPECT_EQ(Targets(map, 4), (std::vector<int>{2}));
}

// Imports over small dictionaries; the error log goes to the test's directory.
class IDMapsImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path();
        for (auto [pDict, vecWords] : {std::make_pair(&m_src, Words{"a", "b", "c", G("中")}),
                                       std::make_pair(&m_dst, Words{"x", "y", "z", "zhong"})}) {
            pDict->AddWordInit();
            for (const std::string& s : vecWords) pDict->AddWord(s.c_str());
            pDict->AddWordComplete();
        }
    }
    using Words = std::vector<std::string>;
    static std::string G(const char* s) { return vt_test::G(s); }
    // Logged: true when the error log holds the line with this message.
    bool Logged(const std::string& sMessage) const {
        for (const auto& entry : std::filesystem::directory_iterator(m_dir.Path())) {
            if (entry.path().extension() == ".err" &&
                vt_test::ReadWholeFile(entry.path()).find("]\t" + sMessage + "\n") !=
                    std::string::npos) {
                return true;
            }
        }
        return false;
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
                            "a x\na y extra\n"
                            "b nothere\n"             // missing target: kept as -1
                            "nothere x\ngone gone\n"  // missing source: reported
                            "\nc\n" +
                                G("中") + "\tzhong\n");  // under two words: nothing
    CIDMaps map;
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.Import(sPath.c_str(), &m_src, &m_dst), 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Build map success!");
    EXPECT_EQ(Targets(map, S("a")), (std::vector<int>{D("x"), D("y")}));
    EXPECT_EQ(Targets(map, S("b")), (std::vector<int>{-1}));
    EXPECT_EQ(map.GetMapID(S(G("中"))), D("zhong"));
    EXPECT_TRUE(Logged("nothere invalid argument!") && Logged("gone gone invalid argument!"));

    // One dictionary on both sides: a word mapped to itself is reported and left out.
    std::string sText = "a a\n";
    for (int i = 1; i < 200; ++i) sText += "a b\n";
    vt_test::WriteWholeFile(sPath, sText);
    CIDMaps self;
    testing::internal::CaptureStdout();
    EXPECT_EQ(self.Import(sPath.c_str(), &m_src, &m_src), 199);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Line 100: a->b\nLine 200: a->b\nBuild map success!");
    EXPECT_EQ(Targets(self, S("a")), (std::vector<int>{S("b")}));
    EXPECT_TRUE(Logged(" invalid argument!"));

    const std::string sMissing = m_dir.File("missing");
    for (const char* sFile : {sMissing.c_str(), static_cast<const char*>(nullptr)})
        EXPECT_EQ(map.Import(sFile, &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sPath.c_str(), nullptr, &m_dst), 0);
    EXPECT_EQ(map.GetSize(), 4);  // failures change nothing
}

// Deliberate: the source is the last field with its last byte, the line end, removed.
TEST_F(IDMapsImportTest, TabSeparatedAndParallelFileImports) {
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
    EXPECT_TRUE(Logged(" invalid argument!"));
    EXPECT_EQ(map.Import(m_dir.File("missing").c_str(), &m_src), 0);
    EXPECT_EQ(map.Import(sPath.c_str(), nullptr), 0);

    // Parallel files: first tokens of line i of each, byte-order marks skipped, until either ends.
    const std::string sSrc = m_dir.File("src.txt"), sDst = m_dir.File("dst.txt"),
                      sNo = m_dir.File("no");
    vt_test::WriteWholeFile(sSrc, "\xEF\xBB\xBF" "a first\nb\n\nnothere\nc\na\n");
    vt_test::WriteWholeFile(sDst, "\xEF\xBB\xBF" "x\ny second\nz\nz\nz");
    testing::internal::CaptureStdout();
    EXPECT_EQ(map.Import(sSrc.c_str(), sDst.c_str(), &m_src, &m_dst), 3);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Targets(map, S("a")), (std::vector<int>{D("x")}));  // the last "a" has no partner
    EXPECT_EQ(Targets(map, S("b")), (std::vector<int>{D("y")}));
    EXPECT_EQ(Targets(map, S("c")), (std::vector<int>{D("z")}));
    EXPECT_TRUE(Logged("nothere invalid argument!"));
    EXPECT_EQ(map.Import(sSrc.c_str(), sNo.c_str(), &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sNo.c_str(), sDst.c_str(), &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sSrc.c_str(), nullptr, &m_src, &m_dst), 0);
    EXPECT_EQ(map.Import(sSrc.c_str(), sDst.c_str(), &m_src, nullptr), 0);
}

TEST(IDMapsExportTest, FileAndPairExports) {
    vt_test::CTempDir dir;
    CIDMaps map;
    Compile(map, {{3, 7}, {3, 2}, {5, 1}, {3, 7}});
    CWordList src(false, nullptr);
    CWordList dst(false, nullptr);
    for (auto [pList, sWord, h] :
         {std::make_tuple(&src, "three", 3), std::make_tuple(&src, "five", 5),
          std::make_tuple(&dst, "one", 1), std::make_tuple(&dst, "two", 2),
          std::make_tuple(&dst, "seven", 7)}) {
        pList->AddWord(sWord, h);
    }
    src.AddWordComplete();
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
    EXPECT_EQ(map.Export(dir.File("no/dir.txt").c_str(), &src, &dst, false), 0);

    auto fnJoin = [](const std::vector<map_str>& vec) {
        std::string s;
        for (const map_str& m : vec) s += m.src + ">" + m.dsn + ";";
        return s;
    };
    std::vector<map_str> vecPairs = {{"kept", "kept"}};
    EXPECT_EQ(map.Export(vecPairs, &src, &dst), 3);
    EXPECT_EQ(fnJoin(vecPairs), "kept>kept;three>two;three>seven;five>one;");
    vecPairs.clear();
    EXPECT_EQ(map.Export(vecPairs, nullptr, &dst), 3);
    EXPECT_EQ(fnJoin(vecPairs), ">two;>seven;>one;");
}

}  // namespace

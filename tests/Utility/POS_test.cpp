// POS_test.cpp: CPOS (class records per handle, the .pos file) and CPOSmap (class names).
#include "Utility/POS.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/POSmap.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

using vt_test::CTempDir;
using vt_test::G;
using vt_test::ReadWholeFile;
using vt_test::WriteWholeFile;

std::string Int32(int32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }
std::string Record(unsigned char nId, int32_t nFreq) {
    return std::string(1, static_cast<char>(nId)) + std::string(3, '\0') + Int32(nFreq);
}

POS_elem Elem(int nHandle, int nId, int nFreq) {
    POS_elem elem;
    elem.handle = nHandle;
    elem.POS_id = static_cast<unsigned char>(nId);
    elem.freq = nFreq;
    return elem;
}

// The records of a handle as (id, freq) pairs.
std::vector<std::pair<int, int>> Records(const CPOS& pos, int nHandle) {
    int nCount = -1;
    const POS_info* p = pos.GetPOS(nHandle, &nCount);
    std::vector<std::pair<int, int>> vec;
    for (int i = 0; i < nCount; ++i) vec.emplace_back(p[i].POS_id, p[i].freq);
    return vec;
}

using Pairs = std::vector<std::pair<int, int>>;

TEST(POSImport, CollapsesDuplicatesAndOrdersByClass) {
    CPOS pos;
    std::vector<POS_elem> vecElems = {Elem(5, 3, 7), Elem(2, 9, 4), Elem(5, 3, 10),
                                      Elem(2, 1, 6), Elem(5, 3, 8), Elem(0, 4, 1)};
    EXPECT_EQ(pos.Import(vecElems, 8), 6) << "the count is the number of rows given";
    EXPECT_EQ(pos.GetSize(), 6);
    EXPECT_EQ(pos.GetBound(), 8);
    // The rows were sorted in place.
    EXPECT_TRUE(std::is_sorted(vecElems.begin(), vecElems.end()));
    EXPECT_EQ(Records(pos, 5), (Pairs{{3, 10}})) << "one record, the larger freq";
    EXPECT_EQ(Records(pos, 2), (Pairs{{1, 6}, {9, 4}}));
    EXPECT_EQ(pos.GetPOS(2), 1);
    EXPECT_EQ(pos.GetPOS(0), 4);

    // Handles without records, or outside the index, have none.
    for (int h : {1, 7, 8, -1, INT_MAX, INT_MIN}) {
        int nCount = 99;
        EXPECT_EQ(pos.GetPOS(h, &nCount), nullptr) << h;
        EXPECT_EQ(nCount, 0);
        EXPECT_EQ(pos.GetPOS(h), 255);
        EXPECT_EQ(pos.GetMaxPOS(h), nullptr);
        EXPECT_EQ(pos.GetPOSFreq(h, 3), 0);
    }
    EXPECT_NE(pos.GetPOS(2, nullptr), nullptr);

    // Rows of handles outside the bound are dropped; a new import replaces the table.
    std::vector<POS_elem> vecOut = {Elem(-1, 2, 2), Elem(3, 2, 2), Elem(1, 1, 1)};
    EXPECT_EQ(pos.Import(vecOut, 2), 3);
    EXPECT_EQ(Records(pos, 1), (Pairs{{1, 1}}));
    EXPECT_EQ(pos.GetPOS(5), 255);
    EXPECT_EQ(pos.Import(vecOut, -4), 3);
    EXPECT_EQ(pos.GetBound(), 0);
    EXPECT_EQ(pos.Import(vecOut, CPOS::MAX_BOUND + 1), 0);
    EXPECT_EQ(pos.GetBound(), 0);
}

TEST(POSLookup, MaxFreqAndFreqByClass) {
    CPOS pos;
    std::vector<POS_elem> vecElems = {Elem(0, 7, 9), Elem(0, 1, 5), Elem(0, 4, 9), Elem(1, 2, -3),
                                      Elem(1, 6, -1)};
    pos.Import(vecElems, 2);
    const POS_info* pMax = pos.GetMaxPOS(0);
    ASSERT_NE(pMax, nullptr);
    EXPECT_EQ(pMax->POS_id, 4) << "a tie goes to the lower class id";
    EXPECT_EQ(pMax->freq, 9);
    EXPECT_EQ(pos.GetMaxPOS(1)->POS_id, 6);
    for (const auto& [nHandle, nId, nFreq] : std::vector<std::tuple<int, int, int>>{
             {0, 7, 9}, {0, 1, 5}, {0, 2, 0}, {1, 2, -3}, {0, 7 + 256, 0}}) {
        EXPECT_EQ(pos.GetPOSFreq(nHandle, nId), nFreq) << nHandle << "/" << nId;
    }
}

TEST(POSLookup, GetAllItemAppendsRowsOfHandlesNotExcluded) {
    CPOS pos;
    std::vector<POS_elem> vecElems = {Elem(3, 2, 1), Elem(0, 5, 2), Elem(3, 1, 3), Elem(1, 4, 4)};
    pos.Import(vecElems, 5);
    std::vector<POS_elem> vecOut = {Elem(9, 9, 9)};
    EXPECT_EQ(pos.GetAllItem(vecOut, {}), 5);
    auto fnRows = [](const std::vector<POS_elem>& vec) {
        std::vector<std::vector<int>> rows;
        for (const POS_elem& e : vec) rows.push_back({e.handle, e.POS_id, e.freq});
        return rows;
    };
    EXPECT_EQ(fnRows(vecOut), (std::vector<std::vector<int>>{
                                  {9, 9, 9}, {0, 5, 2}, {1, 4, 4}, {3, 1, 3}, {3, 2, 1}}));
    std::vector<POS_elem> vecSome;
    EXPECT_EQ(pos.GetAllItem(vecSome, {3, -1, 77, 0}), 1);
    EXPECT_EQ(fnRows(vecSome), (std::vector<std::vector<int>>{{1, 4, 4}}));
}

TEST(POSFile, GoldenBytes) {
    // Rows (0, 2, 5), (2, 1, 3), (2, 1, 1) over 3 handles: records (2, 5), (1, 3) and one left over
    // (255, 0); index (0, 1), (-1, -1), (1, 1).
    CPOS pos;
    std::vector<POS_elem> vecElems = {Elem(0, 2, 5), Elem(2, 1, 3), Elem(2, 1, 1)};
    ASSERT_EQ(pos.Import(vecElems, 3), 3);
    CTempDir dir;
    ASSERT_EQ(pos.Save(dir.File("golden.pos").c_str()), 1);
    const std::string sExpected = Int32(3) + Int32(3) + Record(2, 5) + Record(1, 3) +
                                  Record(255, 0) + Int32(0) + Int32(1) + Int32(-1) + Int32(-1) +
                                  Int32(1) + Int32(1);
    ASSERT_EQ(pos.Save(dir.File("again.pos").c_str()), 1);
    EXPECT_EQ(ReadWholeFile(dir.File("golden.pos")), sExpected);
    EXPECT_EQ(ReadWholeFile(dir.File("again.pos")), sExpected);

    // Padding is ignored on reading and written as zero.
    std::string sPadded = sExpected;
    sPadded[8 + 1] = 'x';
    sPadded[8 + 8 + 3] = '\x7F';
    ASSERT_TRUE(WriteWholeFile(dir.File("padded.pos"), sPadded));
    CPOS loaded;
    ASSERT_EQ(loaded.Load(dir.File("padded.pos").c_str()), 1);
    EXPECT_EQ(loaded.GetBound(), 3);
    EXPECT_EQ(Records(loaded, 0), (Pairs{{2, 5}}));
    EXPECT_EQ(Records(loaded, 1), Pairs{});
    EXPECT_EQ(Records(loaded, 2), (Pairs{{1, 3}}));
    ASSERT_EQ(loaded.Save(dir.File("resaved.pos").c_str()), 1);
    EXPECT_EQ(ReadWholeFile(dir.File("resaved.pos")), sExpected);

    EXPECT_EQ(pos.Save(dir.File("no/such/dir").c_str()), 0);
    EXPECT_EQ(pos.Save(nullptr), 0);
}

TEST(POSFile, LoadRejectsBadFilesAndStaysUsable) {
    CTempDir dir;
    CPOS good;
    std::vector<POS_elem> vecElems;
    std::mt19937 rng(11);
    for (int i = 0; i < 60; ++i) vecElems.push_back(Elem(rng() % 20, rng() % 6, rng() % 100));
    good.Import(vecElems, 25);
    ASSERT_EQ(good.Save(dir.File("good.pos").c_str()), 1);
    const std::string sGood = ReadWholeFile(dir.File("good.pos"));

    CPOS pos;
    auto fnCheck = [&](bool bTruncated) {
        const int nRet = pos.Load(dir.File("bad.pos").c_str());
        if (bTruncated) {
            EXPECT_EQ(nRet, 0);
        }
        if (nRet == 0) {
            EXPECT_EQ(pos.GetSize(), 0);
            EXPECT_EQ(pos.GetBound(), 0);
        }
        std::vector<POS_elem> vecAll;
        pos.GetAllItem(vecAll, {});
        for (int h = -1; h <= 30; ++h) {
            int nCount = 0;
            pos.GetPOS(h, &nCount);
            pos.GetMaxPOS(h);
            pos.GetPOSFreq(h, 1);
            EXPECT_LE(nCount, pos.GetSize());
        }
    };
    vt_test::ForEachDamagedCopy(sGood, dir.File("bad.pos"), 40, 300, 5, fnCheck);

    auto fnLoadBytes = [&](const std::string& sBytes) {
        WriteWholeFile(dir.File("bad.pos"), sBytes);
        return pos.Load(dir.File("bad.pos").c_str());
    };
    // Two records and one handle whose index entry (start, count) is (0, 2).
    auto fnFile = [](int32_t nSize, int32_t nStart, int32_t nCount) {
        return Int32(nSize) + Int32(1) + Record(1, 1) + Record(2, 2) + Int32(nStart) +
               Int32(nCount);
    };
    EXPECT_EQ(fnLoadBytes(fnFile(2, 0, 2)), 1);
    EXPECT_EQ(Records(pos, 0), (Pairs{{1, 1}, {2, 2}}));
    // Past the end, no records, half empty, a huge count, a negative size, a trailing byte, and
    // sizes that would take gigabytes.
    for (const std::string& sBad : {fnFile(2, 1, 2), fnFile(2, 0, 0), fnFile(2, -1, 1),
                                    fnFile(2, 1, INT_MAX), fnFile(-2, 0, 2), fnFile(2, 0, 2) + "x",
                                    Int32(0x10000000) + Int32(0x10000000)}) {
        EXPECT_EQ(fnLoadBytes(sBad), 0);
    }
    EXPECT_EQ(pos.Load(dir.File("missing").c_str()), 0);
    EXPECT_EQ(pos.Load(nullptr), 0);
    EXPECT_EQ(pos.GetPOS(0), 255);

    ASSERT_EQ(pos.Load(dir.File("good.pos").c_str()), 1);
    for (int h = 0; h < 25; ++h) EXPECT_EQ(Records(pos, h), Records(good, h)) << h;
}

class POSTextTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_sLogPath = m_dir.Path();
        for (const char* s : {"n", "v", "nr", "adj"}) m_sMap += std::string(s) + "\n";
        ASSERT_TRUE(WriteWholeFile(m_dir.File("tags.map"), m_sMap));
        ASSERT_EQ(m_map.Load(m_dir.File("tags.map").c_str()), 1);
        for (const std::string& sWord : {G("中国"), std::string("run"), G("人")}) {
            m_dict.AddWord(sWord.c_str());
        }
        m_dict.AddWordComplete();
    }

    CTempDir m_dir;
    std::string m_sMap;
    CPOSmap m_map;
    CPDAT m_dict;
};

TEST_F(POSTextTest, ImportWithClassNamesAndExport) {
    const std::string sFile = G("中国") + " NR 30\n" + G("中国") +
                              " n 12\nrun v 5\nrun N 2\nbroken line\n" + "missing v 3\n" + G("人") +
                              " unknownclass 4\n";
    ASSERT_TRUE(WriteWholeFile(m_dir.File("pos.txt"), sFile));
    CPOS pos;
    EXPECT_EQ(pos.Import(m_dir.File("pos.txt").c_str(), &m_dict, &m_map), 5);
    EXPECT_EQ(pos.GetBound(), m_dict.GetLowerBound());
    EXPECT_EQ(Records(pos, 0), (Pairs{{0, 12}, {2, 30}}));
    EXPECT_EQ(Records(pos, 1), (Pairs{{0, 2}, {1, 5}}));
    EXPECT_EQ(Records(pos, 2), (Pairs{{255, 4}})) << "an unknown class name is id 255";

    CWordList words(false, &m_dict);
    for (const std::string& sWord : {G("中国"), std::string("run"), G("人")})
        words.AddWord(sWord.c_str());
    words.AddWordComplete();
    ASSERT_EQ(pos.Export(m_dir.File("export.txt").c_str(), &m_map, &words), 1);
    const std::string sExpected = "Data Size=5,Index Size=" + std::to_string(pos.GetBound()) +
                                  "\n" + G("中国") + "\tn\t12\n" + G("中国") + "\tnr\t30\n" +
                                  G("中国") + "\tUNIGRAM\t42\n" +
                                  "run\tn\t2\nrun\tv\t5\nrun\tUNIGRAM\t7\n" + G("人") + "\tn\t4\n" +
                                  G("人") + "\tUNIGRAM\t4\n";
    EXPECT_EQ(ReadWholeFile(m_dir.File("export.txt")), sExpected);
    EXPECT_EQ(pos.Export(m_dir.File("no/such/dir").c_str(), &m_map, &words), 0);
    EXPECT_EQ(pos.Export(m_dir.File("x.txt").c_str(), nullptr, &words), 0);
    EXPECT_EQ(pos.Export(m_dir.File("x.txt").c_str(), &m_map, nullptr), 0);

    EXPECT_EQ(pos.Import(m_dir.File("missing.txt").c_str(), &m_dict, &m_map), 0);
    EXPECT_EQ(pos.Import(m_dir.File("pos.txt").c_str(), nullptr, &m_map), 0);
}

TEST_F(POSTextTest, ExportSkipsTheSumWhenItIsNotPositive) {
    CPOS pos;
    std::vector<POS_elem> vecElems = {Elem(0, 1, 0), Elem(1, 1, -2), Elem(1, 2, 1)};
    pos.Import(vecElems, 2);
    CWordList words(false, nullptr);
    for (int h : {0, 1}) words.AddWord(h == 0 ? "a" : "b", h);
    words.AddWordComplete();
    ASSERT_EQ(pos.Export(m_dir.File("e.txt").c_str(), &m_map, &words), 1);
    EXPECT_EQ(ReadWholeFile(m_dir.File("e.txt")),
              "Data Size=3,Index Size=2\na\tv\t0\nb\tv\t-2\nb\tnr\t1\n");
}

TEST_F(POSTextTest, ImportWithClassIdsAndProgress) {
    // Without a map the class is a number; every 100th line is reported with the word's handle.
    std::string sFile;
    for (int i = 1; i <= 200; ++i) {
        sFile += (i == 100 ? std::string("missing") : std::string("run")) + " " +
                 std::to_string(i % 7) + " " + std::to_string(i) + "\n";
    }
    sFile += G("人") + " 300 1\n";  // the class id keeps its low byte
    ASSERT_TRUE(WriteWholeFile(m_dir.File("ids.txt"), sFile));
    CPOS pos;
    testing::internal::CaptureStdout();
    EXPECT_EQ(pos.Import(m_dir.File("ids.txt").c_str(), &m_dict, nullptr), 200);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Line 100:word=missing(-1) pos=2(2)\nLine 200:word=run(1) pos=4(4)\n");
    // run: classes 0..6, the largest freq of each (the line numbers up to 200 with i % 7 == id).
    EXPECT_EQ(Records(pos, 1),
              (Pairs{{0, 196}, {1, 197}, {2, 198}, {3, 199}, {4, 200}, {5, 194}, {6, 195}}));
    EXPECT_EQ(Records(pos, 2), (Pairs{{300 & 0xFF, 1}}));

    // The unknown word was logged.
    std::vector<std::string> vecLogs;
    gfn_vScanFiles(m_dir.Path().c_str(), vecLogs, ".log");
    ASSERT_EQ(vecLogs.size(), 1u);
    EXPECT_NE(ReadWholeFile(vecLogs[0]).find("\tmissing\n"), std::string::npos);
}

TEST(POSSort, QuicksortAndTheEarlyStoppingBubbleSort) {
    std::mt19937 rng(9);
    std::vector<POS_elem> vecElems;
    for (int i = 0; i < 3000; ++i) vecElems.push_back(Elem(rng() % 100, rng() % 5, i));
    std::vector<POS_elem> vecQuick = vecElems;
    CPOS::qksort(vecQuick.data(), 0, static_cast<int>(vecQuick.size()) - 1);
    EXPECT_TRUE(std::is_sorted(vecQuick.begin(), vecQuick.end()));
    auto fnFreqs = [](std::vector<POS_elem> vec) {
        std::vector<int> v;
        for (const POS_elem& e : vec) v.push_back(e.freq);
        std::sort(v.begin(), v.end());
        return v;
    };
    EXPECT_EQ(fnFreqs(vecQuick), fnFreqs(vecElems));

    // The bubble sort puts the smallest of the rest at each position in turn...
    std::vector<POS_elem> vecBubble = {Elem(3, 0, 0), Elem(1, 2, 0), Elem(2, 0, 0), Elem(1, 1, 0)};
    CPOS::bubblesort(vecBubble.data(), 0, 3);
    EXPECT_TRUE(std::is_sorted(vecBubble.begin(), vecBubble.end()));
    // ...but stops after the first pass without a swap, even when later rows are out of order.
    std::vector<POS_elem> vecStop = {Elem(1, 0, 0), Elem(3, 0, 0), Elem(2, 0, 0)};
    CPOS::bubblesort(vecStop.data(), 0, 2);
    EXPECT_EQ(vecStop[1].handle, 3);
    EXPECT_EQ(vecStop[2].handle, 2);
    CPOS::bubblesort(nullptr, 0, 3);
    CPOS::qksort(nullptr, 0, 3);
}

// ---------------------------------------------------------------------------------------------------------

TEST(POSmap, LoadsNamesAndLooksThemUp) {
    CTempDir dir;
    // Blank lines give no id; only the first token of a line counts.
    ASSERT_TRUE(WriteWholeFile(dir.File("a.map"), "n noun\n\n  nr\tperson\r\nv\n   \nadj"));
    CPOSmap map;
    EXPECT_STREQ(map.GetPOS(0), "n") << "no table: the default name";
    ASSERT_EQ(map.Load(dir.File("a.map").c_str()), 1);
    EXPECT_EQ(map.GetItemCount(), 4);
    for (const auto& [s, nId] : std::vector<std::pair<const char*, int>>{{"n", 0},
                                                                         {"NR", 1},
                                                                         {"Adj", 3},
                                                                         {"noun", 255},
                                                                         {"nr ", 255},
                                                                         {"", 255},
                                                                         {nullptr, 255}}) {
        EXPECT_EQ(map.GetID(s), nId) << (s ? s : "null");
    }
    EXPECT_STREQ(map.GetPOS(2), "v");
    for (int nId : {4, 200, 255}) EXPECT_STREQ(map.GetPOS(nId), "n") << nId;  // beyond the table

    char sOut[CPOSmap::LINE_BUFFER_SIZE];
    EXPECT_EQ(map.GetPOS(1, sOut), 1);
    EXPECT_STREQ(sOut, "nr");
    EXPECT_EQ(map.GetPOS(200, sOut), 0);
    EXPECT_STREQ(sOut, "n");
    EXPECT_EQ(map.GetPOS(1, nullptr), 0);

    // GBK names: only ASCII letters fold.
    ASSERT_TRUE(WriteWholeFile(dir.File("g.map"), G("名词") + "\nAb\n"));
    ASSERT_EQ(map.Load(dir.File("g.map").c_str()), 1);
    EXPECT_EQ(map.GetID(G("名词").c_str()), 0);
    EXPECT_EQ(map.GetID("aB"), 1);

    EXPECT_EQ(map.Load(dir.File("missing.map").c_str()), 0);
    EXPECT_EQ(map.GetItemCount(), 0);
    EXPECT_EQ(map.GetID("Ab"), 255);
    EXPECT_EQ(map.Load(nullptr), 0);
}

TEST(POSmap, LongLinesAreReadInPiecesAndAtMost255NamesKept) {
    CTempDir dir;
    // 150 letters: a piece of 99 bytes, then the other 51 (with the line end) as a second name.
    const std::string sLong = std::string(99, 'a') + std::string(51, 'b');
    ASSERT_TRUE(WriteWholeFile(dir.File("long.map"), "x\n" + sLong + "\ny\n"));
    CPOSmap map;
    ASSERT_EQ(map.Load(dir.File("long.map").c_str()), 1);
    EXPECT_EQ(map.GetItemCount(), 4);
    EXPECT_EQ(map.GetPOS(1), std::string(99, 'a'));
    EXPECT_EQ(map.GetPOS(2), std::string(51, 'b'));
    EXPECT_STREQ(map.GetPOS(3), "y");

    std::string sNames;
    for (int i = 0; i < 300; ++i) sNames += "t" + std::to_string(i) + "\n";
    ASSERT_TRUE(WriteWholeFile(dir.File("300.map"), sNames));
    ASSERT_EQ(map.Load(dir.File("300.map").c_str()), 1);
    EXPECT_EQ(map.GetItemCount(), 255);
    EXPECT_STREQ(map.GetPOS(254), "t254");
    EXPECT_EQ(map.GetID("t254"), 254);
    EXPECT_EQ(map.GetID("t255"), 255);
    EXPECT_STREQ(map.GetPOS(255), "n");
}

}  // namespace

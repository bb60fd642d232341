// Unigram_test.cpp: the frequency table: bounds, hit counting, output order, the .unig file and the
// import of "word frequency" lists with its repeated-word rules.
#include "Utility/Unigram.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "Utility/PDAT.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

// Bytes of little-endian int32 values.
std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        uint32_t u = static_cast<uint32_t>(v);
        for (int i = 0; i < 4; ++i) s += static_cast<char>((u >> (8 * i)) & 0xFF);
    }
    return s;
}

TEST(UnigramTest, BoundsAndCounting) {
    CUnigram table(3);
    EXPECT_EQ(table.GetBound(), 3);
    EXPECT_EQ(table.AddFreq(1, 5), 5);
    EXPECT_EQ(table.AddFreq(1, 2), 2);
    EXPECT_EQ(table.AddFreq(0, 1), 1);
    EXPECT_EQ(table.GetFreq(1), 7);
    EXPECT_EQ(table.GetTotalFreq(), 8);
    EXPECT_EQ(table.GetItemCount(), 0);  // only imports count entries

    // Out-of-range handles change nothing and read as 0.
    for (int h : {-1, 3, INT_MAX, INT_MIN}) {
        EXPECT_EQ(table.AddFreq(h, 5), 0) << h;
        EXPECT_EQ(table.GetFreq(h), 0) << h;
    }
    EXPECT_EQ(table.GetTotalFreq(), 8);

    // A non-positive bound gives a table without counts.
    for (int nBound : {0, -1, INT_MIN}) {
        CUnigram empty(nBound);
        EXPECT_EQ(empty.GetBound(), 0);
        EXPECT_EQ(empty.AddFreq(0, 1), 0);
        EXPECT_EQ(empty.GetFreq(0), 0);
        EXPECT_EQ(empty.GetTotalFreq(), 0);
        std::vector<unigram_elem> vecOut(2);
        EXPECT_EQ(empty.OutputFreq(vecOut), 0);
        EXPECT_TRUE(vecOut.empty());
    }
}

TEST(UnigramTest, OutputFreqListsPositiveCountsByFallingCount) {
    CUnigram table(6);
    std::vector<unigram_elem> vecOut = {{9, 9}};
    EXPECT_EQ(table.OutputFreq(vecOut), 0);
    EXPECT_TRUE(vecOut.empty());

    table.AddFreq(0, 3);
    table.AddFreq(2, 9);
    table.AddFreq(3, -2);  // negative: left out
    table.AddFreq(5, 5);
    table.AddFreq(4, 1);
    table.AddFreq(4, -1);  // back to zero: left out
    ASSERT_EQ(table.OutputFreq(vecOut), 3);
    ASSERT_EQ(vecOut.size(), 3u);
    EXPECT_EQ(vecOut[0].handle, 2);
    EXPECT_EQ(vecOut[0].freq, 9);
    EXPECT_EQ(vecOut[1].handle, 5);
    EXPECT_EQ(vecOut[2].handle, 0);
    EXPECT_EQ(vecOut[2].freq, 3);
}

TEST(UnigramTest, ConcurrentAddFreqLosesNothing) {
    CUnigram table(4);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t) {
        vecThreads.emplace_back([&table] {
            for (int i = 0; i < 20000; ++i) table.AddFreq(i % 4, 1);
        });
    }
    for (auto& th : vecThreads) th.join();
    EXPECT_EQ(table.GetTotalFreq(), 80000);
    for (int h = 0; h < 4; ++h) EXPECT_EQ(table.GetFreq(h), 20000);
}

TEST(UnigramTest, QksortOrdersByHandle) {
    // Descending, ascending and equal handles; equal handles keep their counts as a multiset.
    std::vector<unigram_elem> vec;
    for (int i = 0; i < 200; ++i) vec.push_back({(i * 37) % 101, i});
    for (int i = 0; i < 5000; ++i)
        vec.push_back({5000 - i, -i});  // long sorted run: no deep recursion
    std::vector<unigram_elem> vecSorted = vec;
    CUnigram::qksort(vecSorted.data(), 0, static_cast<int>(vecSorted.size()) - 1);
    for (size_t i = 1; i < vecSorted.size(); ++i)
        ASSERT_LE(vecSorted[i - 1].handle, vecSorted[i].handle);
    long long nSumBefore = 0, nSumAfter = 0;
    for (size_t i = 0; i < vec.size(); ++i) {
        nSumBefore += vec[i].handle * 100003LL + vec[i].freq;
        nSumAfter += vecSorted[i].handle * 100003LL + vecSorted[i].freq;
    }
    EXPECT_EQ(nSumBefore, nSumAfter);
    CUnigram::qksort(nullptr, 0, 5);  // no crash
}

TEST(UnigramTest, SaveWritesTheGoldenBytesAndLoadsThemBack) {
    vt_test::CTempDir dir;
    CUnigram table(3);
    table.AddFreq(0, 5);
    table.AddFreq(2, 7);
    ASSERT_EQ(table.Save(dir.File("a.unig").c_str()), 1);
    ASSERT_EQ(table.Save(dir.File("b.unig").c_str()), 1);
    std::string sBytes = vt_test::ReadWholeFile(dir.File("a.unig"));
    // size 0, bound 3, total 12, counts 5 0 7, then the extra count of a constructed table, written
    // as 0.
    EXPECT_EQ(sBytes, Int32Bytes({0, 3, 12, 5, 0, 7, 0}));
    EXPECT_EQ(sBytes, vt_test::ReadWholeFile(dir.File("b.unig")));

    CUnigram loaded(-1);
    ASSERT_EQ(loaded.Load(dir.File("a.unig").c_str()), 1);
    EXPECT_EQ(loaded.GetBound(), 3);
    EXPECT_EQ(loaded.GetTotalFreq(), 12);
    EXPECT_EQ(loaded.GetFreq(0), 5);
    EXPECT_EQ(loaded.GetFreq(2), 7);
    EXPECT_EQ(loaded.GetFreq(3), 0);  // the extra count is not a handle
    ASSERT_EQ(loaded.Save(dir.File("c.unig").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("c.unig")), sBytes);

    // A file's last count is kept across a load and save even though no lookup reads it.
    std::string sExtra = Int32Bytes({4, 1, 9, 9, 123});
    vt_test::WriteWholeFile(dir.File("x.unig"), sExtra);
    ASSERT_EQ(loaded.Load(dir.File("x.unig").c_str()), 1);
    EXPECT_EQ(loaded.GetItemCount(), 4);
    EXPECT_EQ(loaded.GetFreq(1), 0);
    ASSERT_EQ(loaded.Save(dir.File("y.unig").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(dir.File("y.unig")), sExtra);
}

TEST(UnigramTest, BadFilesLeaveAnEmptyUsableTable) {
    vt_test::CTempDir dir;
    CUnigram table(50);
    for (int h = 0; h < 50; ++h) table.AddFreq(h, h + 1);
    std::string sGood = dir.File("good.unig");
    ASSERT_EQ(table.Save(sGood.c_str()), 1);

    auto ExpectEmpty = [](CUnigram& t) {
        EXPECT_EQ(t.GetBound(), 0);
        EXPECT_EQ(t.GetTotalFreq(), 0);
        EXPECT_EQ(t.GetItemCount(), 0);
        EXPECT_EQ(t.GetFreq(0), 0);
        EXPECT_EQ(t.AddFreq(0, 1), 0);
    };
    CUnigram loaded(10);
    EXPECT_EQ(loaded.Load(nullptr), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Load(dir.File("missing.unig").c_str()), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Save(nullptr), 0);
    EXPECT_EQ(loaded.Save(dir.File("no/such/dir.unig").c_str()), 0);

    // Lengths that disagree with the bound, and a negative or huge bound.
    for (const std::string& sBad :
         {Int32Bytes({0, 2, 0, 1, 2}), Int32Bytes({0, 1, 0, 1, 2, 3}), Int32Bytes({0, -1, 0}),
          Int32Bytes({0, INT_MAX, 0, 1}), Int32Bytes({0, INT_MIN, 0, 1})}) {
        vt_test::WriteWholeFile(dir.File("bad.unig"), sBad);
        EXPECT_EQ(loaded.Load(dir.File("bad.unig").c_str()), 0);
        ExpectEmpty(loaded);
    }

    std::string sBytes = vt_test::ReadWholeFile(sGood);
    std::string sDamaged = dir.File("damaged.unig");
    vt_test::ForEachDamagedCopy(sBytes, sDamaged, 20, 200, 7, [&](bool bTruncated) {
        int nResult = loaded.Load(sDamaged.c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) {
            ExpectEmpty(loaded);
        } else {
            EXPECT_EQ(loaded.GetBound(), 50);  // only counts or totals were hit
        }
        for (int h = -1; h <= 51; ++h) loaded.GetFreq(h);
        std::vector<unigram_elem> vecOut;
        loaded.OutputFreq(vecOut);
    });
    ASSERT_EQ(loaded.Load(sGood.c_str()), 1);
    EXPECT_EQ(loaded.GetFreq(49), 50);
}

class UnigramImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dict.AddWordInit();
        for (const std::string& sWord : {std::string("ab"), std::string("cd"), std::string("ef"),
                                         std::string("gh"), G("中国")}) {
            m_dict.AddWord(sWord.c_str());
        }
        m_dict.AddWordComplete();
    }
    int Handle(const std::string& sWord) const { return m_dict.Find(sWord.c_str()); }

    vt_test::CTempDir m_dir;
    CPDAT m_dict;
};

TEST_F(UnigramImportTest, RepeatedWordsKeepTheSmallerFrequencyAndAreReported) {
    std::string sInput = m_dir.File("freq.txt");
    vt_test::WriteWholeFile(sInput,
                            "\xEF\xBB\xBF"
                            "ab 10\n"
                            "ab 4\n"  // smaller: both report lines, 4 kept
                            "cd 4\n"
                            "cd 10\n"  // larger: first report line only, 4 kept
                            "gh 5\n"
                            "gh 5\n"  // equal: no report
                            "ef 0\n"  // zero: counted in size, count stays 0
                            "ef 3\n"
                            "xx 99\n"  // unknown word: ignored
                                + G("中国") + " 7\n");
    CUnigram table(-1);
    ASSERT_EQ(table.Import(sInput.c_str(), &m_dict), 9);
    EXPECT_EQ(table.GetItemCount(), 9);
    EXPECT_EQ(table.GetBound(), m_dict.GetLowerBound());
    EXPECT_EQ(table.GetFreq(Handle("ab")), 4);
    EXPECT_EQ(table.GetFreq(Handle("cd")), 4);
    EXPECT_EQ(table.GetFreq(Handle("gh")), 5);
    EXPECT_EQ(table.GetFreq(Handle("ef")), 3);
    EXPECT_EQ(table.GetFreq(Handle(G("中国"))), 7);
    // Every line with a known word adds to the total, repeated words included.
    EXPECT_EQ(table.GetTotalFreq(), 10 + 4 + 4 + 10 + 5 + 5 + 0 + 3 + 7);

    std::string sExpected = "Word=ab:freq=4" + G("重复") + "10\n" + "Word=ab:" + G("选择") +
                            "freq=4\n" + "Word=cd:freq=10" + G("重复") + "4\n";
    EXPECT_EQ(vt_test::ReadWholeFile(sInput + ".log"), sExpected);

    // An imported table saves bound + 1 counts, the last one for handle "bound" (never a word).
    std::string sSaved = m_dir.File("t.unig");
    ASSERT_EQ(table.Save(sSaved.c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(sSaved).size(), 12u + 4u * (m_dict.GetLowerBound() + 1u));
}

TEST_F(UnigramImportTest, UnparsableLinesRepeatThePreviousWordAndFrequency) {
    std::string sInput = m_dir.File("freq.txt");
    vt_test::WriteWholeFile(sInput,
                            "ab 10\n"
                            "\n"       // nothing readable: ab 10 again
                            "cd\n"     // no number: cd with the previous 10
                            "  \t \n"  // blanks only: cd 10 again
                                + std::string(3000, 'q') +
                                " 5\n"  // over-long: cut into pieces
                                "gh 2\n");
    CUnigram table(-1);
    testing::internal::CaptureStdout();
    int nCount = table.Import(sInput.c_str(), &m_dict);
    testing::internal::GetCapturedStdout();
    // The over-long line is read in 1023-byte pieces; its unknown words add nothing.
    EXPECT_EQ(nCount, 5);
    EXPECT_EQ(table.GetFreq(Handle("ab")), 10);
    EXPECT_EQ(table.GetFreq(Handle("cd")), 10);
    EXPECT_EQ(table.GetFreq(Handle("gh")), 2);
    EXPECT_EQ(table.GetTotalFreq(), 10 + 10 + 10 + 10 + 2);
    EXPECT_EQ(vt_test::ReadWholeFile(sInput + ".log"), "");
}

TEST_F(UnigramImportTest, ProgressAndBadArguments) {
    std::string sInput = m_dir.File("freq.txt");
    std::string sText;
    for (int i = 0; i < 250; ++i) sText += "ab 1\n";
    vt_test::WriteWholeFile(sInput, sText);
    CUnigram table(-1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(table.Import(sInput.c_str(), &m_dict), 250);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Line 100 completed!\nLine 200 completed!\n");

    // Failures leave the table as it was.
    EXPECT_EQ(table.Import(nullptr, &m_dict), 0);
    EXPECT_EQ(table.Import(sInput.c_str(), nullptr), 0);
    EXPECT_EQ(table.Import(m_dir.File("missing.txt").c_str(), &m_dict), 0);
    EXPECT_FALSE(vt_test::FileExists(m_dir.File("missing.txt.log")));
    EXPECT_EQ(table.GetTotalFreq(), 250);
    EXPECT_EQ(table.GetFreq(Handle("ab")), 1);
}

}  // namespace

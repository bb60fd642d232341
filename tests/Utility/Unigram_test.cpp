// Unigram_test.cpp: the frequency table: bounds, counting, output order, the .unig file and the
// import of "word frequency" lists with its repeated-word rules.
#include "Utility/Unigram.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Utility/PDAT.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        for (int i = 0; i < 4; ++i)
            s += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    }
    return s;
}

TEST(UnigramTest, CountingBoundsAndOutput) {
    CUnigram table(6);
    std::vector<unigram_elem> vecOut = {{9, 9}};
    EXPECT_EQ(table.OutputFreq(vecOut), 0);
    EXPECT_TRUE(vecOut.empty());
    EXPECT_EQ(table.AddFreq(2, 5), 5);
    table.AddFreq(2, 4);
    table.AddFreq(0, 3);
    table.AddFreq(3, -2);  // not positive: left out of the output
    table.AddFreq(5, 5);
    EXPECT_EQ(table.GetFreq(2), 9);
    EXPECT_EQ(table.GetTotalFreq(), 15);
    for (int h : {-1, 6, INT_MAX, INT_MIN}) {
        EXPECT_EQ(table.AddFreq(h, 5), 0) << h;
        EXPECT_EQ(table.GetFreq(h), 0) << h;
    }
    EXPECT_EQ(table.GetTotalFreq(), 15);
    ASSERT_EQ(table.OutputFreq(vecOut), 3);
    std::vector<std::pair<int, int>> vecPairs;
    for (const unigram_elem& e : vecOut) vecPairs.emplace_back(e.handle, e.freq);
    EXPECT_EQ(vecPairs, (std::vector<std::pair<int, int>>{{2, 9}, {5, 5}, {0, 3}}));

    for (int nBound : {0, -1}) {  // no counts at all
        CUnigram empty(nBound);
        EXPECT_EQ(empty.AddFreq(0, 1), 0);
        EXPECT_EQ(empty.GetFreq(0), 0);
        EXPECT_EQ(empty.OutputFreq(vecOut), 0);
    }

    // Many threads adding at once lose nothing.
    CUnigram shared(4);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t) {
        vecThreads.emplace_back([&shared] {
            for (int i = 0; i < 20000; ++i) shared.AddFreq(i % 4, 1);
        });
    }
    for (auto& th : vecThreads) th.join();
    EXPECT_EQ(shared.GetTotalFreq(), 80000);
    EXPECT_EQ(shared.GetFreq(3), 20000);

    // qksort orders by handle, also a long sorted run (which must not recurse deeply).
    std::vector<unigram_elem> vec;
    for (int i = 0; i < 5000; ++i) vec.push_back({i < 200 ? (i * 37) % 101 : i, i});
    CUnigram::qksort(vec.data(), 0, static_cast<int>(vec.size()) - 1);
    for (size_t i = 1; i < vec.size(); ++i) ASSERT_LE(vec[i - 1].handle, vec[i].handle);
}

TEST(UnigramTest, SaveWritesTheGoldenBytesAndLoadsThemBack) {
    vt_test::CTempDir dir;
    CUnigram table(3);
    table.AddFreq(0, 5);
    table.AddFreq(2, 7);
    // size 0, bound 3, total 12, counts 5 0 7, and the count for handle 3 that a constructed table
    // does not have, written as 0.
    const std::string sGolden = Int32Bytes({0, 3, 12, 5, 0, 7, 0});
    for (const char* sName : {"a.unig", "b.unig"}) {
        ASSERT_EQ(table.Save(dir.File(sName).c_str()), 1);
        EXPECT_EQ(vt_test::ReadWholeFile(dir.File(sName)), sGolden);
    }

    CUnigram loaded(-1);
    ASSERT_EQ(loaded.Load(dir.File("a.unig").c_str()), 1);
    EXPECT_EQ(loaded.GetTotalFreq(), 12);
    EXPECT_EQ(loaded.GetFreq(2), 7);
    EXPECT_EQ(loaded.GetFreq(3), 0);  // the last count is not a handle
    // A file's last count survives a load and a save although no lookup reads it.
    std::string sExtra = Int32Bytes({4, 1, 9, 9, 123});
    vt_test::WriteWholeFile(dir.File("x.unig"), sExtra);
    ASSERT_EQ(loaded.Load(dir.File("x.unig").c_str()), 1);
    EXPECT_EQ(loaded.GetItemCount(), 4);
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
        EXPECT_EQ(t.GetFreq(0), 0);
        EXPECT_EQ(t.AddFreq(0, 1), 0);
    };
    CUnigram loaded(10);
    EXPECT_EQ(loaded.Load(nullptr), 0);
    ExpectEmpty(loaded);
    EXPECT_EQ(loaded.Load(dir.File("missing").c_str()), 0);
    EXPECT_EQ(loaded.Save(nullptr), 0);
    EXPECT_EQ(loaded.Save(dir.File("no/dir.unig").c_str()), 0);
    // Lengths that disagree with the bound; negative and huge bounds.
    for (const std::string& sBad : {Int32Bytes({0, 2, 0, 1, 2}), Int32Bytes({0, 1, 0, 1, 2, 3}),
                                    Int32Bytes({0, -1, 0}), Int32Bytes({0, INT_MAX, 0, 1})}) {
        vt_test::WriteWholeFile(dir.File("bad"), sBad);
        EXPECT_EQ(loaded.Load(dir.File("bad").c_str()), 0);
        ExpectEmpty(loaded);
    }
    std::string sDamaged = dir.File("damaged.unig");
    vt_test::ForEachDamagedCopy(
        vt_test::ReadWholeFile(sGood), sDamaged, 20, 200, 7, [&](bool bCut) {
            int nResult = loaded.Load(sDamaged.c_str());
            if (bCut || nResult == 0) {
                EXPECT_EQ(nResult, 0);
                ExpectEmpty(loaded);
            } else {
                EXPECT_EQ(loaded.GetBound(), 50);  // only counts or totals were hit
            }
            for (int h = -1; h <= 51; ++h) loaded.GetFreq(h);
        });
    ASSERT_EQ(loaded.Load(sGood.c_str()), 1);
    EXPECT_EQ(loaded.GetFreq(49), 50);
}

class UnigramImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const std::string& s : {std::string("ab"), std::string("cd"), std::string("ef"),
                                     std::string("gh"), G("中国")}) {
            m_dict.AddWord(s.c_str());
        }
        m_dict.AddWordComplete();
        m_sInput = m_dir.File("freq.txt");
    }
    int Handle(const std::string& sWord) const { return m_dict.Find(sWord.c_str()); }

    vt_test::CTempDir m_dir;
    CPDAT m_dict;
    std::string m_sInput;
};

// Deliberate: of a repeated word the smaller frequency is kept, and the total counts every line
// with a known word, repeated words included.
TEST_F(UnigramImportTest, RepeatedWordsKeepTheSmallerFrequencyAndAreReported) {
    vt_test::WriteWholeFile(m_sInput,
                            "\xEF\xBB\xBF"
                            "ab 10\nab 4\n"  // smaller second: both report lines, 4 kept
                            "cd 4\ncd 10\n"  // larger second: first line only, 4 kept
                            "gh 5\ngh 5\n"   // equal: no report
                            "ef 0\nef 3\n"   // 0 is no frequency, but a counted line
                            "xx 99\n" +      // unknown word: ignored
                                G("中国") +
                                " 7\n");
    CUnigram table(-1);
    ASSERT_EQ(table.Import(m_sInput.c_str(), &m_dict), 9);
    EXPECT_EQ(table.GetBound(), m_dict.GetLowerBound());
    for (const auto& [s, nFreq] : std::vector<std::pair<std::string, int>>{
             {"ab", 4}, {"cd", 4}, {"gh", 5}, {"ef", 3}, {G("中国"), 7}}) {
        EXPECT_EQ(table.GetFreq(Handle(s)), nFreq) << s;
    }
    EXPECT_EQ(table.GetTotalFreq(), 10 + 4 + 4 + 10 + 5 + 5 + 0 + 3 + 7);
    EXPECT_EQ(vt_test::ReadWholeFile(m_sInput + ".log"),
              "Word=ab:freq=4" + G("重复") + "10\nWord=ab:" + G("选择") + "freq=4\n" +
                  "Word=cd:freq=10" + G("重复") + "4\n");
    // An imported table saves bound + 1 counts.
    ASSERT_EQ(table.Save(m_dir.File("t.unig").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("t.unig")).size(),
              12u + 4u * (m_dict.GetLowerBound() + 1u));
}

// Deliberate: a line without a word (or without a number) keeps the previous word (or number).
TEST_F(UnigramImportTest, UnparsableLinesProgressAndBadArguments) {
    std::string sText =
        "ab 10\n"
        "\n"       // nothing readable: ab 10 again
        "cd\n"     // no number: cd with the previous 10
        "  \t \n"  // blanks only: cd 10 again
        + std::string(3000, 'q') +
        " 5\n"  // read in 1023-byte pieces, unknown
        "gh 2\n";
    for (int i = 6; i <= 250; ++i) sText += "ef 1\n";
    vt_test::WriteWholeFile(m_sInput, sText);
    CUnigram table(-1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(table.Import(m_sInput.c_str(), &m_dict), 5 + 245);
    // The over-long line counts as three lines.
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Line 100 completed!\nLine 200 completed!\n");
    EXPECT_EQ(table.GetFreq(Handle("ab")), 10);
    EXPECT_EQ(table.GetFreq(Handle("cd")), 10);
    EXPECT_EQ(table.GetTotalFreq(), 10 + 10 + 10 + 10 + 2 + 245);
    EXPECT_EQ(vt_test::ReadWholeFile(m_sInput + ".log"), "");

    // Failures leave the table as it was and write no report.
    EXPECT_EQ(table.Import(nullptr, &m_dict), 0);
    EXPECT_EQ(table.Import(m_sInput.c_str(), nullptr), 0);
    EXPECT_EQ(table.Import(m_dir.File("missing").c_str(), &m_dict), 0);
    EXPECT_FALSE(vt_test::FileExists(m_dir.File("missing.log")));
    EXPECT_EQ(table.GetFreq(Handle("gh")), 2);
}

}  // namespace

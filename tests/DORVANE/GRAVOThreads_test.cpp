// GRAVOThreads_test.cpp: segmentation from eight threads at once while another thread adds and
// cleans user words: every result is well formed, and results that the changing user words cannot
// touch equal the single-threaded ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "DORVANE/API/GRAVO.h"
#include "Utility/Utility.h"
#include "support/EngineSupport.h"

namespace {

using vt_test::G;

// Lines: varied GBK sentences (pieces combined in many orders).
std::vector<std::string> Lines() {
    const char* const pieces[] = {
        "南京市长江大桥",   "南京市长说",   "江泽民主席",         "1998年3月",
        "二○○一年新年贺词", "增长３．５％", "中华人民共和国成立", "他说——好",
        "Hello世界",        "代开发票",     "我们的朋友们",       "第四十三名",
        "百分之五",         "，。！？",     "^^保护^^",           "张三丰练功"};
    const size_t n = sizeof(pieces) / sizeof(pieces[0]);
    std::vector<std::string> vec;
    for (size_t i = 0; i < 3000; ++i) {
        std::string s;
        for (size_t k = 0; k < 1 + i % 4; ++k) s += pieces[(i * 7 + k * 5 + i / n) % n];
        vec.push_back(G(s));
    }
    return vec;
}

// The call's own words: the first four bytes of the line and a word of the pieces.
std::vector<std::string> WordsOf(const std::string& sLine) {
    return {sLine.substr(0, 4), G("南京市长"), G("发票")};
}

TEST(EngineThreads, ParallelSegmentationMatchesSingleThreaded) {
    vt_test::CTempDir logs;
    g_sLogPath = logs.Path();
    ASSERT_EQ(GRAVO_Init(vt_test::BuiltDataRoot().c_str(), 0), 1) << GetLastErrorMessage();
    const std::vector<std::string> vecLines = Lines();
    std::vector<std::string> vecExpected;
    for (const std::string& sLine : vecLines)
        vecExpected.push_back(GRAVO_ParagraphProcessWords(sLine.c_str(), 1, WordsOf(sLine)));
    ASSERT_EQ(vt_test::WellFormedError(vecLines[1], vecExpected[1], true), "");

    // Shared user words that the writer adds and cleans; lines holding one of them may come out either
    // way, the others must come out exactly as they did alone.
    const std::vector<std::string> vecShared = {G("长江大"), G("市长说"), G("练功"), G("朋友们")};
    std::vector<bool> vecStable;
    for (const std::string& sLine : vecLines) {
        bool bStable = true;
        for (const std::string& sWord : vecShared) bStable = bStable && sLine.find(sWord) == std::string::npos;
        vecStable.push_back(bStable);
    }
    ASSERT_GT(std::count(vecStable.begin(), vecStable.end(), true), 500);
    ASSERT_GT(std::count(vecStable.begin(), vecStable.end(), false), 500);

    std::atomic<bool> bStop(false);
    std::atomic<int> nMismatch(0), nMalformed(0);
    std::thread writer([&] {
        const std::vector<std::string> vecWords = {vecShared[0], vecShared[1], vecShared[2] + " v", vecShared[3]};
        for (size_t i = 0; !bStop.load(); ++i) {
            GRAVO_AddUserWord(vecWords[i % vecWords.size()].c_str());
            if (i % 3 == 2) GRAVO_CleanUserWord();
        }
    });
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 8; ++t) {
        vecThreads.emplace_back([&, t] {
            for (size_t k = 0; k < vecLines.size(); ++k) {
                size_t i = (k * 13 + static_cast<size_t>(t) * 101) % vecLines.size();
                const std::string& sLine = vecLines[i];
                if ((k + static_cast<size_t>(t)) % 2 == 0) {
                    std::string sOut = GRAVO_ParagraphProcessWords(sLine.c_str(), 1, WordsOf(sLine));
                    if (vecStable[i] ? sOut != vecExpected[i] : !vt_test::WellFormedError(sLine, sOut, true).empty())
                        ++nMismatch;
                } else {
                    std::string sOut = GRAVO_ParagraphProcess(sLine.c_str(), 1);
                    if (!vt_test::WellFormedError(sLine, sOut, true).empty()) ++nMalformed;
                }
            }
        });
    }
    for (std::thread& t : vecThreads) t.join();
    bStop = true;
    writer.join();
    GRAVO_CleanUserWord();
    EXPECT_EQ(nMismatch.load(), 0);
    EXPECT_EQ(nMalformed.load(), 0);
    // Once the shared user words are gone the results are those of a fresh engine again.
    for (size_t i = 0; i < 50; ++i)
        EXPECT_EQ(GRAVO_ParagraphProcessWords(vecLines[i].c_str(), 1, WordsOf(vecLines[i])),
                  vecExpected[i]);
    GRAVO_Exit();
}

}  // namespace

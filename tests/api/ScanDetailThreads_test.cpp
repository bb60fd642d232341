// ScanDetailThreads_test.cpp: eight threads run detailed scans on one instance at once; every result
// equals the single-threaded one (each call segments with its own hit keywords only).
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Vintrel/VintrelAPI.h"
#include "ApiSupport.h"

namespace {

// Texts that take every path of the scan: confirmed and rejected hits, noise, look-alike and pinyin
// retries, repeated keywords, compound rules, clean text.
const char* const PIECES[] = {
    "南京市长说", "南京市长江大桥", "他是南京市长", "代開發票", "弓长三丰", "daikaifapiao", "要dkfp吗", "带开发漂",
    "赌*博", "赌博", "出售代开的发票", "出售正规代开的发票", "今天天气很好", "我们去公园散步", "长江大桥通车",
    "信用卡套现", "，", "！", "abc", "中华人民共和国", "市场经济", "发展"};

TEST(ScanDetailThreads, EightThreadsGiveTheSingleThreadedResults) {
    vt_api::EnterScratchDirectory();
    vt_api::CDataRoot root;
    ASSERT_EQ(VT_Init(root.Path().c_str(), 1, "\t"), 1) << VT_GetLastErrorMsg();
    ASSERT_TRUE(vt_api::WriteFile(root.File("words.txt"),
                                  "南京市长 politics 5\n代开发票 fraud 10 1\n张三丰 person 3\n赌博 gambling 8 1\n"
                                  "信用卡套现 fraud 6 1\n长江大桥 place 1\n{代开;发票}+出售-正规 fraud 7\n"));
    ASSERT_EQ(VT_ImportUserDict(root.File("words.txt").c_str(), 1, 0), 7);

    // 2000 texts, scanned once alone and then by 8 threads: 18000 results, below the 20000 the
    // instance keeps before it frees any, so every result can still be read when it is compared.
    std::mt19937 random(20261122);
    std::vector<std::string> vecTexts(2000);
    for (std::string& sText : vecTexts) {
        const int nPieces = 1 + static_cast<int>(random() % 5);
        for (int i = 0; i < nPieces; ++i) sText += PIECES[random() % (sizeof(PIECES) / sizeof(PIECES[0]))];
    }
    std::vector<std::string> vecExpected;
    int nHits = 0;
    for (const std::string& sText : vecTexts) {
        const char* s = VT_ScanDetail(sText.c_str(), 0);
        vecExpected.emplace_back(s != nullptr ? s : "<null>");
        nHits += !vecExpected.back().empty();
    }
    ASSERT_GT(nHits, 1000);

    std::atomic<int> nDifferent(0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 8; ++t) {
        vecThreads.emplace_back([&, t] {
            // Each thread starts at its own place, so different texts are in flight at once.
            for (size_t k = 0; k < vecTexts.size(); ++k) {
                const size_t i = (k + static_cast<size_t>(t) * 251) % vecTexts.size();
                const char* s = VT_ScanDetail(vecTexts[i].c_str(), 0);
                if (vecExpected[i] != (s != nullptr ? s : "<null>")) ++nDifferent;
            }
        });
    }
    for (std::thread& thread : vecThreads) thread.join();
    EXPECT_EQ(nDifferent.load(), 0);
    VT_Exit();
}

}  // namespace

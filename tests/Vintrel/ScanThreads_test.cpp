// ScanThreads_test.cpp: eight threads scan one instance while two importers replace its dictionaries
// in turn: every scan answers as the old or as the new dictionaries would, never a mix, and nothing
// crashes or reads freed memory.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Utility/Utility.h"
#include "Vintrel/BufferManager.h"
#include "Vintrel/Vintrel.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

TEST(ScanThreads, ScansSeeWholeDictionarySetsWhileImportsRun) {
    vt_test::CTempDir dir;
    g_sLogPath = dir.Path();
    CVintrel vintrel(dir.Path().c_str(), 0, "\t");
    // Two keyword files over the same keywords with other weights and classes: the scan of the text
    // tells which set it used.
    const std::string sFileA = dir.File("a.txt"), sFileB = dir.File("b.txt");
    ASSERT_TRUE(vt_test::WriteWholeFile(sFileA, G("南京市长 politics 5\n长江大桥 place 2\nabc+def rule 3\n")));
    ASSERT_TRUE(vt_test::WriteWholeFile(sFileB, G("南京市长 people 7\n长江大桥 bridge 1\nxyz other 4\n")));
    const std::string sText = G("南京市长江大桥xyz");
    ASSERT_EQ(vintrel.ImportUserDict(sFileA.c_str(), true), 3);
    const std::string sResultA = vintrel.Scan(sText.c_str());
    ASSERT_EQ(vintrel.ImportUserDict(sFileB.c_str(), true), 3);
    const std::string sResultB = vintrel.Scan(sText.c_str());
    ASSERT_EQ(sResultA, "politics/5#place/2#");
    ASSERT_EQ(sResultB, "people/7#other/4#bridge/1#");

    std::atomic<bool> bStop(false);
    std::atomic<int> nBad(0), nScans(0);
    std::vector<std::thread> vecThreads;
    // Each scan result belongs to the instance, which frees results in batches once more than 20000
    // are held; the scans stay below that (and are paced to overlap the imports), so every result is
    // still alive when it is read.
    const int nScansPerThread = (CBufferManager::KEEP - 100) / 8;
    for (int t = 0; t < 8; ++t) {
        vecThreads.emplace_back([&] {
            for (int i = 0; i < nScansPerThread && !bStop.load(); ++i) {
                std::string s = vintrel.Scan(sText.c_str());
                if (s != sResultA && s != sResultB) ++nBad;
                ++nScans;
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        });
    }
    std::vector<std::thread> vecImporters;
    for (int k = 0; k < 2; ++k) {
        vecImporters.emplace_back([&, k] {
            for (int i = 0; i < 6; ++i) {
                if (vintrel.ImportUserDict((k == 0 ? sFileA : sFileB).c_str(), true) != 3) ++nBad;
            }
        });
    }
    for (std::thread& t : vecImporters) t.join();
    bStop = true;
    for (std::thread& t : vecThreads) t.join();
    EXPECT_EQ(nBad.load(), 0);
    EXPECT_GT(nScans.load(), 0);
}

}  // namespace

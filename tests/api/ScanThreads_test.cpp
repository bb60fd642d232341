// ScanThreads_test.cpp: VT_Scan from several threads while other calls take away what the scans
// use: an instance deleted under them, its dictionaries replaced by imports, the library shut down
// and started again. Every scan gives a whole result or the failure value, never a crash or a read
// of freed memory (ASan, TSan).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "Vintrel/VintrelAPI.h"
#include "ApiSupport.h"

namespace {

using vt_api::G;

class ScanThreadsTest : public ::testing::Test {
protected:
    void SetUp() override {
        vt_api::EnterScratchDirectory();
        ASSERT_EQ(VT_Init(m_root.Path().c_str(), 0, "\t"), 1) << VT_GetLastErrorMsg();
    }
    void TearDown() override { VT_Exit(); }
    int Import(const std::string& sName, const std::string& sLines, int handle) {
        vt_api::WriteFile(m_root.File(sName), sLines);
        return VT_ImportUserDict(m_root.File(sName).c_str(), 1, handle);
    }
    const std::string m_sText = G("南京市长江大桥");
    vt_api::CDataRoot m_root;
};

// A result text lives only as long as its instance, so while an instance may go away the scanning
// threads look only at whether a scan gave a text; once one gave NULL, every later one must (a
// handle is never reused).
TEST_F(ScanThreadsTest, ScansOfAnInstanceBeingDeleted) {
    for (int nRound = 0; nRound < 10; ++nRound) {
        const int handle = VT_NewInstance();
        ASSERT_GT(handle, 0);
        ASSERT_EQ(Import("d.txt", G("南京市长 politics 5\n"), handle), 1);
        ASSERT_STREQ(VT_Scan(m_sText.c_str(), handle), "politics/5#");
        std::atomic<int> nBad(0), nScans(0);
        std::vector<std::thread> vecThreads;
        for (int t = 0; t < 3; ++t)
            vecThreads.emplace_back([&] {
                bool bGone = false;
                for (int i = 0; i < 100000; ++i) {
                    const bool bNull = VT_Scan(m_sText.c_str(), handle) == nullptr;
                    ++nScans;
                    if (bGone && !bNull) ++nBad;
                    bGone = bNull;
                    if (bGone && i > 100) break;
                }
                if (!bGone) ++nBad;
            });
        while (nScans.load() < 300) std::this_thread::yield();
        EXPECT_EQ(VT_DeleteInstance(handle), 1);
        for (std::thread& t : vecThreads) t.join();
        EXPECT_EQ(nBad.load(), 0);
        EXPECT_EQ(VT_Scan(m_sText.c_str(), handle), nullptr);
        EXPECT_STREQ(VT_GetLastErrorMsg(), "Vintrelner not init!");
    }
}

// The instance lives on, so its results can be read: each is the old or the new dictionaries'
// answer. The scans stay below the 10000 texts a result is guaranteed to outlive.
TEST_F(ScanThreadsTest, ScansWhileImportsReplaceTheDictionaries) {
    const std::string sA = G("南京市长 politics 5\n长江大桥 place 2\n");
    const std::string sB = G("南京市长 people 7\n长江大桥 bridge 1\n");
    ASSERT_EQ(Import("a.txt", sA, 0), 2);
    const std::string sResultA = VT_Scan(m_sText.c_str(), 0);
    ASSERT_EQ(Import("b.txt", sB, 0), 2);
    const std::string sResultB = VT_Scan(m_sText.c_str(), 0);
    ASSERT_EQ(sResultA, "politics/5#place/2#");
    ASSERT_EQ(sResultB, "people/7#bridge/1#");
    std::atomic<bool> bStop(false);
    std::atomic<int> nBad(0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 2; ++t)
        vecThreads.emplace_back([&] {
            for (int i = 0; i < 4500 && !bStop.load(); ++i) {
                const char* s = VT_Scan(m_sText.c_str(), 0);
                if (s == nullptr || (sResultA != s && sResultB != s)) ++nBad;
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
        });
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(Import(i % 2 == 0 ? "a.txt" : "b.txt", i % 2 == 0 ? sA : sB, 0), 2);
    bStop = true;
    for (std::thread& t : vecThreads) t.join();
    EXPECT_EQ(nBad.load(), 0);
}

// Shutting down frees the instances and their results, so the scanning threads only count texts and
// NULLs; after the last start-up the instance answers from the dictionary files it loaded.
TEST_F(ScanThreadsTest, ScansWhileTheLibraryStopsAndStarts) {
    ASSERT_EQ(Import("a.txt", G("南京市长 politics 5\n"), 0), 1);
    std::atomic<bool> bStop(false);
    std::atomic<int> nTexts(0), nNulls(0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 3; ++t)
        vecThreads.emplace_back([&] {
            while (!bStop.load()) {
                if (VT_Scan(m_sText.c_str(), 0) != nullptr) {
                    ++nTexts;
                } else {
                    ++nNulls;
                }
            }
        });
    for (int i = 0; i < 4; ++i) {
        while (nTexts.load() < 200 * (i + 1)) std::this_thread::yield();
        VT_Exit();
        ASSERT_EQ(VT_Init(m_root.Path().c_str(), i % 2 == 0 ? 1 : 0, "\t"), 1)
            << VT_GetLastErrorMsg();
    }
    bStop = true;
    for (std::thread& t : vecThreads) t.join();
    EXPECT_STREQ(VT_Scan(m_sText.c_str(), 0), "politics/5#");
}

// Calls that hold the library's start-up lock while they run (a detailed scan, a failing plain scan)
// come one after another from several threads without a pause, so that at almost
// every moment one of them holds it: VT_Exit and VT_Init still get their turn.
TEST_F(ScanThreadsTest, StopAndStartAmidNonstopCalls) {
    ASSERT_EQ(Import("a.txt", G("南京市长 politics 5\n"), 0), 1);
    std::atomic<bool> bStop(false);
    std::atomic<int> nCalls(0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t)
        vecThreads.emplace_back([&, t] {
            while (!bStop.load()) {
                if (t % 2 == 0) {
                    VT_ScanDetail(m_sText.c_str(), 0);
                } else {
                    EXPECT_EQ(VT_Scan(m_sText.c_str(), 1 << 30), nullptr);
                }
                ++nCalls;
            }
        });
    for (int i = 0; i < 20; ++i) {
        const int nBefore = nCalls.load();
        while (nCalls.load() < nBefore + 100) std::this_thread::yield();
        VT_Exit();
        if (VT_Init(m_root.Path().c_str(), 0, "\t") != 1) {
            ADD_FAILURE() << VT_GetLastErrorMsg();
            break;
        }
    }
    bStop = true;
    for (std::thread& t : vecThreads) t.join();
    EXPECT_STREQ(VT_Scan(m_sText.c_str(), 0), "politics/5#");
}

}  // namespace

// BufferManager_test.cpp: the owner of returned texts frees them in batches, oldest first.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Vintrel/BufferManager.h"

namespace {

TEST(BufferManager, FreesTheOldestBatchOnceMoreThanTheKeptNumberAreHeld) {
    CBufferManager manager;
    std::vector<char*> vecTexts;
    for (int i = 0; i < CBufferManager::KEEP; ++i) vecTexts.push_back(manager.NewText("x", 1));
    EXPECT_EQ(manager.GetCount(), 20000u);
    // Registering with exactly 20000 held frees nothing; with 20001 held the 10000 oldest go.
    char* pText = manager.NewText("abc", 3);
    EXPECT_STREQ(pText, "abc");
    EXPECT_EQ(manager.GetCount(), 20001u);
    manager.AddBuffer(nullptr);
    EXPECT_EQ(manager.GetCount(), 10002u);
    EXPECT_STREQ(vecTexts[CBufferManager::BATCH], "x");  // the newer half is still alive
    manager.ReleaseBuf(false);                           // nothing due
    EXPECT_EQ(manager.GetCount(), 10002u);
    manager.ReleaseBuf(true);  // frees all; the empty slots stay until a partial release
    EXPECT_EQ(manager.GetCount(), 10002u);
}

// Threads that run at once register into lists of their own (the four threads here take four of
// the lists nobody holds) and each list keeps its own count: every thread sees exactly
// the single-threaded behaviour, its text from BATCH registrations ago is still intact, and in the
// end each list holds what one thread alone would leave (30000 texts: 20000 slots). Meanwhile
// another thread runs partial releases and counts; under ASan this also shows that no text is freed
// twice, read after it was freed or lost.
TEST(BufferManager, ThreadsRegisterIntoListsOfTheirOwn) {
    CBufferManager manager;
    constexpr int THREADS = 4, TEXTS = 30000;
    std::atomic<int> nBad(0), nDone(0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < THREADS; ++t)
        vecThreads.emplace_back([&manager, &nBad, &nDone, t] {
            std::vector<char*> vecTexts;
            for (int i = 0; i < TEXTS; ++i) {
                const std::string sText = std::to_string(t) + "-" + std::to_string(i);
                vecTexts.push_back(manager.NewText(sText.c_str(), sText.size()));
                const int nOld = i - CBufferManager::BATCH;
                if (nOld >= 0 && std::to_string(t) + "-" + std::to_string(nOld) != vecTexts[nOld])
                    ++nBad;
            }
            ++nDone;
        });
    while (nDone.load() < THREADS) {
        manager.ReleaseBuf(false);
        EXPECT_LE(manager.GetCount(), static_cast<size_t>(THREADS * (CBufferManager::KEEP + 1)));
    }
    for (std::thread& t : vecThreads) t.join();
    EXPECT_EQ(nBad.load(), 0);
    EXPECT_EQ(manager.GetCount(), static_cast<size_t>(THREADS * CBufferManager::KEEP));
}

}  // namespace

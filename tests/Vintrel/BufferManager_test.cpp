// BufferManager_test.cpp: the owner of returned texts frees them in batches, oldest first.
#include <gtest/gtest.h>

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

// Under ASan this also shows that no text is freed twice or lost when releases and registrations
// race. (A registered text may be freed by another thread's release as soon as enough newer texts
// follow it, so the threads do not read their texts back.)
TEST(BufferManager, ManyThreadsRegisterTexts) {
    CBufferManager manager;
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t)
        vecThreads.emplace_back([&manager] {
            for (int i = 0; i < 15000; ++i) manager.NewText("text", 4);
        });
    for (std::thread& t : vecThreads) t.join();
    for (int i = 0; i < 10 && manager.GetCount() > static_cast<size_t>(CBufferManager::KEEP); ++i)
        manager.ReleaseBuf(false);
    EXPECT_LE(manager.GetCount(), static_cast<size_t>(CBufferManager::KEEP));
    EXPECT_GE(manager.GetCount(), static_cast<size_t>(CBufferManager::BATCH));
}

}  // namespace

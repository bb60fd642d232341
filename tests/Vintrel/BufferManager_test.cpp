// BufferManager_test.cpp: the owner of returned texts frees them in batches, oldest first.
#include <gtest/gtest.h>

#include <cstring>
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

TEST(BufferManager, ManyThreadsRegisterTexts) {
    CBufferManager manager;
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t)
        vecThreads.emplace_back([&manager] {
            for (int i = 0; i < 15000; ++i) {
                char* p = manager.NewText("text", 4);
                ASSERT_EQ(std::memcmp(p, "text", 5), 0);  // still alive right after registration
            }
        });
    for (std::thread& t : vecThreads) t.join();
    EXPECT_LE(manager.GetCount(), 30000u);
    EXPECT_GE(manager.GetCount(), 10000u);
}

}  // namespace

// ReadGateThreads_test.cpp: the read gate: Synchronize waits for the readers inside (until their
// outermost Leave), not for readers that left or keep coming back, and an object swapped out and
// freed after Synchronize is never read afterwards (ASan and TSan check the last).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "Vintrel/ReadGate.h"

namespace {

void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(20)); }

TEST(ReadGate, SynchronizeWaitsForTheOutermostLeave) {
    static CReadGate gate;
    std::atomic<bool> bInnerLeft(false), bSyncStarted(false), bOuterLeaving(false), bSynced(false);
    std::thread reader([&] {
        gate.Enter();
        gate.Enter();
        gate.Leave();  // still inside: the outer Enter holds
        bInnerLeft = true;
        while (!bSyncStarted.load()) std::this_thread::yield();
        Pause();  // gives Synchronize time to return early, were it wrong
        EXPECT_FALSE(bSynced.load());
        bOuterLeaving = true;
        gate.Leave();
    });
    while (!bInnerLeft.load()) std::this_thread::yield();
    bSyncStarted = true;
    gate.Synchronize();
    bSynced = true;
    EXPECT_TRUE(bOuterLeaving.load());
    reader.join();
}

TEST(ReadGate, ReadersThatLeftOrComeBackDoNotHoldSynchronizeUp) {
    static CReadGate gate;
    // A reader that was inside and left is not waited for.
    std::thread([] { CReadGate::CGuard guard(gate); }).join();
    { CReadGate::CGuard guard(gate); }
    gate.Synchronize();
    // Readers that are inside almost all the time, leaving only to enter again at once: each of
    // them holds Synchronize up for one call at most.
    std::atomic<bool> bStop(false);
    std::vector<std::thread> vecReaders;
    for (int t = 0; t < 3; ++t)
        vecReaders.emplace_back([&] {
            while (!bStop.load()) {
                CReadGate::CGuard guard(gate);
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    for (int i = 0; i < 200; ++i) gate.Synchronize();
    bStop = true;
    for (std::thread& t : vecReaders) t.join();
}

// Readers (some threads ending and others taking over their records) read an object through an
// atomic pointer inside the library's gate while a writer keeps replacing it, synchronising and
// then overwriting and freeing the old one: no reader may see the overwrite or touch freed memory.
TEST(ReadGate, ObjectsFreedAfterSynchronizeAreNoLongerRead) {
    struct CObject {
        std::vector<int> vecValues = std::vector<int>(64, 7);
    };
    std::atomic<CObject*> pCurrent(new CObject());
    std::atomic<bool> bStop(false);
    std::atomic<int> nBad(0), nReads(0);
    auto Reader = [&] {
        for (int i = 0; i < 2000 && !bStop.load(); ++i) {
            CReadGate::CGuard guard(g_readGate);
            CReadGate::CGuard nested(g_readGate);
            const CObject* p = pCurrent.load(std::memory_order_seq_cst);
            for (int v : p->vecValues) nBad += v != 7;
            ++nReads;
        }
    };
    std::vector<std::thread> vecReaders;
    for (int t = 0; t < 4; ++t) vecReaders.emplace_back(Reader);
    for (int i = 0; i < 300; ++i) {
        std::unique_ptr<CObject> pOld(pCurrent.exchange(new CObject(), std::memory_order_seq_cst));
        g_readGate.Synchronize();
        for (int& v : pOld->vecValues) v = -1;  // a reader still holding it would see this
        if (i % 50 == 49) {
            // Readers end and new ones start, reusing the records the others handed back.
            for (std::thread& t : vecReaders) t.join();
            vecReaders.clear();
            for (int t = 0; t < 4; ++t) vecReaders.emplace_back(Reader);
        }
    }
    bStop = true;
    for (std::thread& t : vecReaders) t.join();
    delete pCurrent.load();
    EXPECT_EQ(nBad.load(), 0);
    EXPECT_GT(nReads.load(), 0);
}

}  // namespace

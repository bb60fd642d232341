// HitCountThreads_test.cpp: hits counted by many threads at once, each into counters of its own
// while there are enough and into shared ones beyond, add up exactly; threads that end hand their
// counters on to later threads without losing counts; an import carries the counts over to the new
// dictionaries.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Vintrel/BufferManager.h"
#include "Vintrel/Vintrel.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

TEST(HitCountThreads, CountsFromManyThreadsAddUp) {
    vt_test::CTempDir dir;
    g_sLogPath = dir.Path();
    CVintrel vintrel(dir.Path().c_str(), 0, "\t");
    ASSERT_TRUE(
        vt_test::WriteWholeFile(dir.File("k.txt"), G("南京 city 2\n北京 city 3\n长江 river 1\n")));
    ASSERT_EQ(vintrel.ImportUserDict(dir.File("k.txt").c_str(), true), 3);
    // One scan: 南京 twice, 北京 once, 长江 never.
    const std::string sText = G("南京，北京和南京");
    ASSERT_EQ(std::string(vintrel.Scan(sText.c_str())), "city/7#");
    std::shared_ptr<const CDictionarySet> pSet = vintrel.Dictionaries();
    const int hNanjing = pSet->m_pKeyDict->Find(G("南京").c_str());
    const int hBeijing = pSet->m_pKeyDict->Find(G("北京").c_str());
    const int hChangjiang = pSet->m_pKeyDict->Find(G("长江").c_str());
    ASSERT_GE(hNanjing, 0);
    ASSERT_GE(hBeijing, 0);
    ASSERT_GE(hChangjiang, 0);

    // More threads than a set has blocks of counters, in two waves: the second wave takes over the
    // blocks the first handed back. Results stay below the buffer manager's batch, so none is
    // freed.
    const int nScans = 150;
    auto wave = [&](int nThreads) {
        std::vector<std::thread> vecThreads;
        for (int t = 0; t < nThreads; ++t) {
            vecThreads.emplace_back([&] {
                for (int i = 0; i < nScans; ++i) vintrel.Scan(sText.c_str());
            });
        }
        for (std::thread& t : vecThreads) t.join();
    };
    wave(24);
    wave(5);
    const int nTotal = 1 + 29 * nScans;
    EXPECT_EQ(pSet->Hits(hNanjing), 2 * nTotal);
    EXPECT_EQ(pSet->Hits(hBeijing), nTotal);
    EXPECT_EQ(pSet->Hits(hChangjiang), 0);
    ASSERT_LT(static_cast<int>(vintrel.BufferManager().GetCount()), CBufferManager::KEEP);

    // An import of the same keywords carries the counts over, handle by handle; scans go on
    // counting.
    ASSERT_EQ(vintrel.ImportUserDict(dir.File("k.txt").c_str(), true), 3);
    std::shared_ptr<const CDictionarySet> pNew = vintrel.Dictionaries();
    ASSERT_NE(pNew, pSet);
    EXPECT_EQ(pNew->Hits(hNanjing), 2 * nTotal);
    EXPECT_EQ(pNew->Hits(hBeijing), nTotal);
    vintrel.Scan(sText.c_str());
    EXPECT_EQ(pNew->Hits(hNanjing), 2 * nTotal + 2);
    EXPECT_EQ(pSet->Hits(hNanjing), 2 * nTotal);  // the old set counts no more
}

}  // namespace

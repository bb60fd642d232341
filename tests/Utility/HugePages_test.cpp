// HugePages_test.cpp: blocks from the huge-page allocator are aligned to a huge page from its size
// on, usable to their last byte, and serve a container like any allocator's.
#include "Utility/HugePages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

namespace {

TEST(HugePages, LargeBlocksAreAlignedAndSmallOnesAreOrdinary) {
    for (size_t nBytes :
         {size_t{1}, size_t{4096}, HUGE_PAGE_BYTES - 1, HUGE_PAGE_BYTES, HUGE_PAGE_BYTES * 3 + 5}) {
        char* p = static_cast<char*>(AllocateHugePages(nBytes));
        ASSERT_NE(p, nullptr) << nBytes;
        if (nBytes >= HUGE_PAGE_BYTES) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % HUGE_PAGE_BYTES, 0u) << nBytes;
        }
        std::memset(p, 0x5A, nBytes);
        EXPECT_EQ(p[nBytes - 1], 0x5A);
        FreeHugePages(p);
    }
    FreeHugePages(nullptr);
    EXPECT_EQ(AllocateHugePages(static_cast<size_t>(-1)), nullptr);
}

TEST(HugePages, ServesAVectorThatGrowsPastAHugePage) {
    std::vector<int, CHugePageAllocator<int>> vec;
    for (int i = 0; i < (1 << 20); ++i) vec.push_back(i);  // 4 MiB
    EXPECT_EQ(reinterpret_cast<uintptr_t>(vec.data()) % HUGE_PAGE_BYTES, 0u);
    std::vector<int, CHugePageAllocator<int>> vecCopy = vec;
    EXPECT_EQ(std::accumulate(vecCopy.begin(), vecCopy.end(), int64_t{0}),
              int64_t{(1 << 20)} * ((1 << 20) - 1) / 2);
}

}  // namespace

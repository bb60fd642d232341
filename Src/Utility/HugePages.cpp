// HugePages.cpp: AllocateHugePages and FreeHugePages.
#include "Utility/HugePages.h"

#include <sys/mman.h>

#include <cstdlib>

void* AllocateHugePages(size_t nBytes) noexcept {
    if (nBytes < HUGE_PAGE_BYTES) return std::malloc(nBytes);
    if (nBytes > static_cast<size_t>(-1) - HUGE_PAGE_BYTES) return nullptr;
    const size_t nRounded = (nBytes + HUGE_PAGE_BYTES - 1) / HUGE_PAGE_BYTES * HUGE_PAGE_BYTES;
    void* p = std::aligned_alloc(HUGE_PAGE_BYTES, nRounded);
#ifdef MADV_HUGEPAGE
    // Only advice: where the system keeps huge pages off, the memory stays in ordinary pages.
    if (p != nullptr) madvise(p, nRounded, MADV_HUGEPAGE);
#endif
    return p;
}

void FreeHugePages(void* p) noexcept { std::free(p); }

// HugePages.h: CHugePageAllocator, an allocator whose large blocks the system may back with huge
// pages, so that reads scattered over a large table (the scans' walks) miss the address
// translation caches less often.
#ifndef VINTREL_UTILITY_HUGEPAGES_H_
#define VINTREL_UTILITY_HUGEPAGES_H_

#include <cstddef>
#include <new>

// AllocateHugePages: nBytes (more than 0) of uninitialised memory; from HUGE_PAGE_BYTES up aligned
// to a huge page, its size rounded up to whole huge pages and marked for huge pages before anything
// touches it (the system decides whether it follows). Null when there is no memory. Free it with
// FreeHugePages. Threads: any.
constexpr size_t HUGE_PAGE_BYTES = size_t{2} << 20;
void* AllocateHugePages(size_t nBytes) noexcept;
void FreeHugePages(void* p) noexcept;

// CHugePageAllocator: std::allocator's contract, with AllocateHugePages for the blocks.
template <typename T>
struct CHugePageAllocator {
    using value_type = T;
    CHugePageAllocator() noexcept = default;
    template <typename U>
    CHugePageAllocator(const CHugePageAllocator<U>&) noexcept {}
    T* allocate(size_t n) {
        if (n > static_cast<size_t>(-1) / sizeof(T)) throw std::bad_alloc();
        void* p = AllocateHugePages(n == 0 ? 1 : n * sizeof(T));
        if (p == nullptr) throw std::bad_alloc();
        return static_cast<T*>(p);
    }
    void deallocate(T* p, size_t) noexcept { FreeHugePages(p); }
    template <typename U>
    bool operator==(const CHugePageAllocator<U>&) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const CHugePageAllocator<U>&) const noexcept {
        return false;
    }
};

#endif  // VINTREL_UTILITY_HUGEPAGES_H_

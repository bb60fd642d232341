// BufferManager.h: CBufferManager, the owner of every text the library hands to its callers.
#ifndef VINTREL_VINTREL_BUFFERMANAGER_H_
#define VINTREL_VINTREL_BUFFERMANAGER_H_

#include <cstddef>
#include <mutex>
#include <vector>

// CBufferManager keeps the texts it is given (allocated with new[]) alive for a while after they
// were returned and frees them in large batches, oldest first, so that callers never free what the
// library returns. The texts are kept in SHARDS lists; each thread registers into one of them, so
// threads registering at once do not write the same cache lines. Once a list holds more than KEEP
// texts, a release frees its BATCH oldest: a text stays valid at least until BATCH further texts
// were registered with the manager, and a single thread sees one list that behaves exactly so.
// On its first registration with any manager a thread takes the list index that the fewest running
// threads hold, and keeps it for every manager until it ends: up to SHARDS threads that run at once
// each have lists of their own.
//
// Threads: AddBuffer, NewText, ReleaseBuf and GetCount may run from many threads at once; per list,
// at most one release frees texts at a time (a release that finds another running leaves the work
// to it).
class CBufferManager {
public:
    static constexpr int KEEP = 2000 * 10;  // texts a list keeps before a release frees any
    static constexpr int BATCH = 2000 * 5;  // texts one release frees from a list
    static constexpr size_t SHARDS = 8;     // lists

    CBufferManager();
    ~CBufferManager();
    CBufferManager(const CBufferManager&) = delete;  // owns the texts it holds
    CBufferManager& operator=(const CBufferManager&) = delete;

    // AddBuffer: releases a batch of the calling thread's list when one is due, then takes
    // ownership of pBuffer (allocated with new[]; null is kept as an empty slot) and returns it.
    // When memory runs out, pBuffer is freed and std::bad_alloc thrown.
    char* AddBuffer(char* pBuffer);
    // ReleaseBuf: with bReleaseAll frees every text held; otherwise frees the BATCH oldest of each
    // list that holds more than KEEP and has no other release running.
    void ReleaseBuf(bool bReleaseAll);
    // GetCount: the number of slots held in all lists (freed slots not yet removed included).
    size_t GetCount() const;

    // NewText: a new[] copy of nLen bytes of sText with a NUL after them, registered here.
    char* NewText(const char* sText, size_t nLen);

private:
    // One list, on cache lines of its own.
    struct alignas(64) _stShard {
        mutable std::mutex hBuffer;    // guards vecBuffer and nBufferWritingThread
        std::vector<char*> vecBuffer;  // oldest first; freed slots hold null until removed
        int nBufferWritingThread = 0;  // releases running
    };

    // ReleaseShard: ReleaseBuf for one list.
    static void ReleaseShard(_stShard& shard, bool bReleaseAll);

    _stShard m_shards[SHARDS];
};

#endif  // VINTREL_VINTREL_BUFFERMANAGER_H_

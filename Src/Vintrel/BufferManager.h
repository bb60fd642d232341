// BufferManager.h: CBufferManager, the owner of every text the library hands to its callers.
#ifndef VINTREL_VINTREL_BUFFERMANAGER_H_
#define VINTREL_VINTREL_BUFFERMANAGER_H_

#include <mutex>
#include <vector>

// CBufferManager keeps the texts it is given (allocated with new[]) alive for a while after they
// were returned and frees them in large batches, oldest first, so that callers never free what the
// library returns: once more than KEEP texts are held, a release frees the BATCH oldest.
//
// Threads: AddBuffer and ReleaseBuf may run from many threads at once; at most one release frees
// texts at a time (a release that finds another running leaves the work to it).
class CBufferManager {
public:
    static constexpr int KEEP = 2000 * 10;   // texts kept before a release frees any
    static constexpr int BATCH = 2000 * 5;   // texts one release frees

    CBufferManager();
    ~CBufferManager();
    CBufferManager(const CBufferManager&) = delete;  // owns the texts it holds
    CBufferManager& operator=(const CBufferManager&) = delete;

    // AddBuffer: releases a batch when one is due, then takes ownership of pBuffer (allocated with
    // new[]; null is kept as an empty slot) and returns it.
    char* AddBuffer(char* pBuffer);
    // ReleaseBuf: with bReleaseAll frees every text held; otherwise frees the BATCH oldest when more
    // than KEEP are held and no other release is running.
    void ReleaseBuf(bool bReleaseAll);
    // GetCount: the number of slots held (freed slots not yet removed included).
    size_t GetCount() const;

    // NewText: a new[] copy of nLen bytes of sText with a NUL after them, registered here.
    char* NewText(const char* sText, size_t nLen);

private:
    mutable std::mutex m_hBuffer;       // guards m_vecBuffer and m_nBufferWritingThread
    std::vector<char*> m_vecBuffer;     // oldest first; freed slots hold null until removed
    int m_nBufferWritingThread = 0;     // releases running
};

#endif  // VINTREL_VINTREL_BUFFERMANAGER_H_

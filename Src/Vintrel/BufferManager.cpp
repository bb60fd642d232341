// BufferManager.cpp: CBufferManager.
#include "Vintrel/BufferManager.h"

#include <cstring>
#include <memory>
#include <mutex>

namespace {

std::mutex g_mutexShards;
size_t g_nShardThreads[CBufferManager::SHARDS];  // running threads per list index; g_mutexShards

// CShardHolder: a thread's hold on its list index, given up when the thread ends.
class CShardHolder {
public:
    explicit CShardHolder(size_t nShard) : m_nShard(nShard) {}
    ~CShardHolder() {
        std::lock_guard<std::mutex> lock(g_mutexShards);
        --g_nShardThreads[m_nShard];
    }
    CShardHolder(const CShardHolder&) = delete;  // gives the index up once
    CShardHolder& operator=(const CShardHolder&) = delete;

private:
    size_t m_nShard;
};

// ThreadShard: the calling thread's list index: on its first call, the index the fewest running
// threads hold (the lowest of them), kept until the thread ends. Indices are reused as threads come
// and go, so threads that run at the same time keep apart (up to SHARDS of them).
size_t ThreadShard() {
    // SHARDS: none yet (a constant initialiser, so no guard is checked per call).
    thread_local size_t nShard = CBufferManager::SHARDS;
    if (nShard == CBufferManager::SHARDS) {
        size_t nBest = 0;
        {
            std::lock_guard<std::mutex> lock(g_mutexShards);
            for (size_t i = 1; i < CBufferManager::SHARDS; ++i) {
                if (g_nShardThreads[i] < g_nShardThreads[nBest]) nBest = i;
            }
            ++g_nShardThreads[nBest];
        }
        thread_local CShardHolder holder(nBest);
        nShard = nBest;
    }
    return nShard;
}

}  // namespace

CBufferManager::CBufferManager() = default;

CBufferManager::~CBufferManager() { ReleaseBuf(true); }

char* CBufferManager::AddBuffer(char* pBuffer) {
    std::unique_ptr<char[]> pOwned(pBuffer);  // freed should anything below throw
    _stShard& shard = m_shards[ThreadShard()];
    std::unique_lock<std::mutex> lock(shard.hBuffer);
    // One lock when no release is due (the common case); ReleaseShard checks again under its own.
    if (shard.nBufferWritingThread == 0 && shard.vecBuffer.size() > static_cast<size_t>(KEEP)) {
        lock.unlock();
        ReleaseShard(shard, false);
        lock.lock();
    }
    shard.vecBuffer.push_back(pBuffer);
    return pOwned.release();
}

char* CBufferManager::NewText(const char* sText, size_t nLen) {
    char* pText = new char[nLen + 1];
    if (nLen > 0) std::memcpy(pText, sText, nLen);
    pText[nLen] = '\0';
    return AddBuffer(pText);
}

size_t CBufferManager::GetCount() const {
    size_t nCount = 0;
    for (const _stShard& shard : m_shards) {
        std::lock_guard<std::mutex> lock(shard.hBuffer);
        nCount += shard.vecBuffer.size();
    }
    return nCount;
}

void CBufferManager::ReleaseBuf(bool bReleaseAll) {
    for (_stShard& shard : m_shards) ReleaseShard(shard, bReleaseAll);
}

void CBufferManager::ReleaseShard(_stShard& shard, bool bReleaseAll) {
    std::vector<char*> vecFree;
    {
        std::lock_guard<std::mutex> lock(shard.hBuffer);
        std::vector<char*>& vecBuffer = shard.vecBuffer;
        size_t nBatch = bReleaseAll ? vecBuffer.size() : static_cast<size_t>(BATCH);
        if (!bReleaseAll &&
            (shard.nBufferWritingThread > 0 || vecBuffer.size() < static_cast<size_t>(KEEP)))
            return;
        // With exactly KEEP texts nothing is freed: the release starts only above KEEP.
        if (bReleaseAll ? nBatch == 0 : vecBuffer.size() <= static_cast<size_t>(KEEP)) return;
        // The texts leave the list under the lock and are freed outside it, so registering threads
        // do not wait for the freeing.
        size_t nFree = nBatch < vecBuffer.size() ? nBatch : vecBuffer.size();
        vecFree.assign(vecBuffer.begin(), vecBuffer.begin() + static_cast<std::ptrdiff_t>(nFree));
        for (size_t i = 0; i < nFree; ++i) vecBuffer[i] = nullptr;
        // Deliberate: a full release keeps its emptied slots; a later partial release drops them.
        if (vecBuffer.size() > nBatch) {
            vecBuffer.erase(vecBuffer.begin(),
                            vecBuffer.begin() + static_cast<std::ptrdiff_t>(nBatch));
        }
        ++shard.nBufferWritingThread;
    }
    for (char* p : vecFree) delete[] p;
    std::lock_guard<std::mutex> lock(shard.hBuffer);
    --shard.nBufferWritingThread;
}

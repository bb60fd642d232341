// BufferManager.cpp: CBufferManager.
#include "Vintrel/BufferManager.h"

#include <cstring>

CBufferManager::CBufferManager() = default;

CBufferManager::~CBufferManager() { ReleaseBuf(true); }

char* CBufferManager::AddBuffer(char* pBuffer) {
    ReleaseBuf(false);
    std::lock_guard<std::mutex> lock(m_hBuffer);
    m_vecBuffer.push_back(pBuffer);
    return pBuffer;
}

char* CBufferManager::NewText(const char* sText, size_t nLen) {
    char* pText = new char[nLen + 1];
    if (nLen > 0) std::memcpy(pText, sText, nLen);
    pText[nLen] = '\0';
    return AddBuffer(pText);
}

size_t CBufferManager::GetCount() const {
    std::lock_guard<std::mutex> lock(m_hBuffer);
    return m_vecBuffer.size();
}

void CBufferManager::ReleaseBuf(bool bReleaseAll) {
    std::vector<char*> vecFree;
    {
        std::lock_guard<std::mutex> lock(m_hBuffer);
        size_t nBatch = bReleaseAll ? m_vecBuffer.size() : static_cast<size_t>(BATCH);
        if (!bReleaseAll && (m_nBufferWritingThread > 0 || m_vecBuffer.size() < static_cast<size_t>(KEEP)))
            return;
        // With exactly KEEP texts nothing is freed: the release starts only above KEEP.
        if (bReleaseAll ? nBatch == 0 : m_vecBuffer.size() <= static_cast<size_t>(KEEP)) return;
        // The texts leave the list under the lock and are freed outside it, so registering threads do
        // not wait for the freeing.
        size_t nFree = nBatch < m_vecBuffer.size() ? nBatch : m_vecBuffer.size();
        vecFree.assign(m_vecBuffer.begin(), m_vecBuffer.begin() + static_cast<std::ptrdiff_t>(nFree));
        for (size_t i = 0; i < nFree; ++i) m_vecBuffer[i] = nullptr;
        if (m_vecBuffer.size() > nBatch) {
            m_vecBuffer.erase(m_vecBuffer.begin(), m_vecBuffer.begin() + static_cast<std::ptrdiff_t>(nBatch));
        }  // Deliberate: a full release keeps its (now empty) slots; the next partial release drops them.
        ++m_nBufferWritingThread;
    }
    for (char* p : vecFree) delete[] p;
    std::lock_guard<std::mutex> lock(m_hBuffer);
    --m_nBufferWritingThread;
}

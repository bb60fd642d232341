// DynamicArry.cpp: CDynamicArry, the growable node array of the modifiable trie.
#include "Utility/DynamicArry.h"

#include <climits>
#include <cstring>
#include <new>

namespace {

// AllocZeroed: nCount zero-filled elements, or null when they cannot be allocated.
std::unique_ptr<trie_elem[]> AllocZeroed(int nCount) {
    if (nCount <= 0) return nullptr;
    // Value-initialisation of a trivial struct array zero-fills it.
    return std::unique_ptr<trie_elem[]>(new (std::nothrow)
                                            trie_elem[static_cast<size_t>(nCount)]());
}

// IsValidLink: -1 (none) or an index inside an array of nElemNum elements.
bool IsValidLink(int32_t nLink, int nElemNum) {
    return nLink == -1 || (nLink >= 0 && nLink < nElemNum);
}

// IsValidRecord: the per-record checks of a loaded array.
bool IsValidRecord(const trie_elem& elem, int nElemNum) {
    return IsValidLink(elem.children, nElemNum) && IsValidLink(elem.nextNode, nElemNum) &&
           elem.child_count >= 0 && elem.handle >= -1 && elem.freq >= 0 &&
           std::memchr(elem.sPos, '\0', sizeof(elem.sPos)) != nullptr;
}

}  // namespace

CDynamicArry::CDynamicArry() {
    m_pData.reset(new trie_elem[GROW_STEP]());
    m_nTotalNum = GROW_STEP;
}

CDynamicArry::~CDynamicArry() = default;

void CDynamicArry::Reset() {
    std::unique_ptr<trie_elem[]> pFresh = AllocZeroed(GROW_STEP);
    if (pFresh != nullptr) {
        m_pData = std::move(pFresh);
        m_nTotalNum = GROW_STEP;
    } else {
        // Out of memory: keep the old block but make every element unused and zero again.
        std::memset(static_cast<void*>(m_pData.get()), 0,
                    sizeof(trie_elem) * static_cast<size_t>(m_nTotalNum));
    }
    m_nElemNum = 0;
}

int CDynamicArry::NewElem() {
    if (m_nElemNum == INT_MAX) return -1;
    if (Full()) {
        if (m_nTotalNum > INT_MAX - GROW_STEP) return -1;
        int nNewTotal = m_nTotalNum + GROW_STEP;
        std::unique_ptr<trie_elem[]> pNew = AllocZeroed(nNewTotal);
        if (pNew == nullptr) return -1;
        if (m_nTotalNum > 0) {
            std::memcpy(static_cast<void*>(pNew.get()), m_pData.get(),
                        sizeof(trie_elem) * static_cast<size_t>(m_nTotalNum));
        }
        m_pData = std::move(pNew);
        m_nTotalNum = nNewTotal;
    }
    return m_nElemNum++;
}

bool CDynamicArry::ValidateIndex(int nIndex) const {
    return !Empty() && nIndex >= 0 && nIndex < m_nElemNum;
}

int CDynamicArry::GetElem(int nIndex, trie_elem*& pElem) {
    if (!ValidateIndex(nIndex)) return 0;
    pElem = &m_pData[static_cast<size_t>(nIndex)];
    return 1;
}

int CDynamicArry::GetElem(int nIndex, const trie_elem*& pElem) const {
    if (!ValidateIndex(nIndex)) return 0;
    pElem = &m_pData[static_cast<size_t>(nIndex)];
    return 1;
}

int CDynamicArry::Save(FILE* fp) const {
    if (fp == nullptr) return 0;
    int32_t nCounts[2] = {m_nElemNum, m_nTotalNum};
    if (fwrite(nCounts, sizeof(int32_t), 2, fp) != 2) return 0;
    size_t nRecords = static_cast<size_t>(m_nElemNum);
    if (nRecords > 0 && fwrite(m_pData.get(), sizeof(trie_elem), nRecords, fp) != nRecords)
        return 0;
    return 1;
}

int CDynamicArry::Load(FILE* fp) {
    Reset();
    if (fp == nullptr) return 0;
    int32_t nCounts[2];
    if (fread(nCounts, sizeof(int32_t), 2, fp) != 2) return 0;
    const int nElemNum = nCounts[0];
    const int nTotalNum = nCounts[1];
    // A writer grows the capacity only when the array is full, so it never exceeds the count by
    // more than one growth step; anything else is damage and must not decide how much memory we
    // take.
    if (nElemNum < 0 || nTotalNum < nElemNum || nTotalNum - nElemNum > GROW_STEP ||
        nTotalNum == 0) {
        return 0;
    }

    // The records must fill the rest of the file exactly.
    long nHere = ftell(fp);
    if (nHere < 0 || fseek(fp, 0, SEEK_END) != 0) return 0;
    long nEnd = ftell(fp);
    if (nEnd < nHere || fseek(fp, nHere, SEEK_SET) != 0) return 0;
    if (static_cast<unsigned long>(nEnd - nHere) !=
        static_cast<unsigned long>(nElemNum) * sizeof(trie_elem)) {
        return 0;
    }

    std::unique_ptr<trie_elem[]> pData = AllocZeroed(nTotalNum);
    if (pData == nullptr) return 0;
    size_t nRecords = static_cast<size_t>(nElemNum);
    if (nRecords > 0 && fread(pData.get(), sizeof(trie_elem), nRecords, fp) != nRecords) return 0;
    for (size_t i = 0; i < nRecords; ++i) {
        if (!IsValidRecord(pData[i], nElemNum)) return 0;
    }

    m_pData = std::move(pData);
    m_nElemNum = nElemNum;
    m_nTotalNum = nTotalNum;
    return 1;
}

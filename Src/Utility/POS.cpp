// POS.cpp: CPOS, the per-handle class records.
//
// The rows given to Import are sorted by (handle, class id) and walked once: the first row of a
// handle opens its index entry and a record, each later row either raises the freq of the current
// record (same class id, larger freq) or opens the next record. The records of each handle are
// therefore contiguous and unique per class id; collapsed rows leave (255, 0) records at the end of
// the array.
#include "Utility/POS.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "Utility/PDAT.h"
#include "Utility/POSmap.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

constexpr size_t LINE_BUFFER_SIZE = 1024;
constexpr size_t RECORD_BYTES = 8;  // uint8 id, 3 padding bytes, int32 freq
constexpr size_t INDEX_BYTES = 8;   // int32 start, int32 count

// PutInt32: stores nValue little-endian at p and returns the byte after it.
unsigned char* PutInt32(unsigned char* p, int32_t nValue) {
    const uint32_t u = static_cast<uint32_t>(nValue);
    for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(u >> (8 * i));
    return p + 4;
}

int32_t GetInt32(const unsigned char* p) {
    const uint32_t u = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                       (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    return static_cast<int32_t>(u);
}

}  // namespace

CPOS::CPOS() = default;

CPOS::~CPOS() = default;

void CPOS::Clear() {
    m_pData.clear();
    m_pIndex.clear();
    m_nSize = 0;
    m_nBound = 0;
}

int CPOS::Import(std::vector<POS_elem>& vecElems, int nBound) {
    Clear();
    if (nBound > MAX_BOUND) return 0;
    if (nBound < 0) nBound = 0;
    std::sort(vecElems.begin(), vecElems.end());
    m_nSize = static_cast<int>(vecElems.size());
    m_pData.assign(vecElems.size(), POS_info());
    m_pIndex.assign(static_cast<size_t>(nBound), index_t());
    m_nBound = nBound;

    int k = 0;
    size_t i = 0;
    while (i < vecElems.size()) {
        const int nHandle = vecElems[i].handle;
        if (nHandle < 0 || nHandle >= nBound) {
            ++i;
            continue;
        }
        index_t& entry = m_pIndex[nHandle];
        entry.start = k;
        entry.end = 1;
        m_pData[k].POS_id = vecElems[i].POS_id;
        m_pData[k].freq = vecElems[i].freq;
        for (++i; i < vecElems.size() && vecElems[i].handle == nHandle; ++i) {
            if (vecElems[i].POS_id == m_pData[k].POS_id) {
                m_pData[k].freq = std::max(m_pData[k].freq, vecElems[i].freq);
            } else {
                ++k;
                m_pData[k].POS_id = vecElems[i].POS_id;
                m_pData[k].freq = vecElems[i].freq;
                ++entry.end;
            }
        }
        ++k;
    }
    // Deliberate: the count stays the number of rows given, so the (255, 0) records left behind by
    // collapsed duplicates are counted and saved.
    return m_nSize;
}

int CPOS::Import(const char* sFilename, CPDAT* pDict, CPOSmap* pMap) {
    if (sFilename == nullptr || pDict == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "r"));
    if (!fp) return 0;
    char sLine[LINE_BUFFER_SIZE];
    char sWord[LINE_BUFFER_SIZE];
    char sClass[LINE_BUFFER_SIZE];
    std::vector<POS_elem> vecElems;
    int nLine = 0;
    while (fgets(sLine, sizeof(sLine), fp.get()) != nullptr) {
        ++nLine;
        int nFreq = 0;
        int nPOS = 0;
        if (pMap != nullptr) {
            if (sscanf(sLine, "%1023s %1023s %d", sWord, sClass, &nFreq) != 3) continue;
            nPOS = pMap->GetID(sClass);
        } else {
            int nId = 0;
            if (sscanf(sLine, "%1023s %d %d", sWord, &nId, &nFreq) != 3) continue;
            nPOS = nId & 0xFF;  // class ids are one byte
            snprintf(sClass, sizeof(sClass), "%d", nId);
        }
        const int nHandle = pDict->Find(sWord);
        if (nLine % 100 == 0) {
            printf("Line %d:word=%s(%d) pos=%s(%d)\n", nLine, sWord, nHandle, sClass, nPOS);
        }
        if (nHandle < 0) {
            WriteLog(sWord);
            continue;
        }
        POS_elem elem;
        elem.POS_id = static_cast<unsigned char>(nPOS);
        elem.freq = nFreq;
        elem.handle = nHandle;
        vecElems.push_back(elem);
    }
    // The highest state index of the dictionary bounds every handle it gives.
    return Import(vecElems, pDict->GetLowerBound());
}

const index_t* CPOS::Entry(int nHandle) const {
    if (nHandle < 0 || nHandle >= m_nBound) return nullptr;
    const index_t& entry = m_pIndex[nHandle];
    if (entry.start < 0 || entry.end <= 0) return nullptr;
    return &entry;
}

const POS_info* CPOS::GetPOS(int nHandle, int* pCount) const {
    const index_t* pEntry = Entry(nHandle);
    if (pCount != nullptr) *pCount = pEntry != nullptr ? pEntry->end : 0;
    return pEntry != nullptr ? &m_pData[pEntry->start] : nullptr;
}

int CPOS::GetPOS(int nHandle) const {
    const index_t* pEntry = Entry(nHandle);
    return pEntry != nullptr ? m_pData[pEntry->start].POS_id : 255;
}

const POS_info* CPOS::GetMaxPOS(int nHandle) const {
    const index_t* pEntry = Entry(nHandle);
    if (pEntry == nullptr) return nullptr;
    const POS_info* pBest = &m_pData[pEntry->start];
    for (int i = pEntry->start + 1; i < pEntry->start + pEntry->end; ++i) {
        if (m_pData[i].freq > pBest->freq) pBest = &m_pData[i];
    }
    return pBest;
}

int CPOS::GetPOSFreq(int nHandle, int nPOS) const {
    const index_t* pEntry = Entry(nHandle);
    if (pEntry == nullptr) return 0;
    for (int i = pEntry->start; i < pEntry->start + pEntry->end; ++i) {
        if (m_pData[i].POS_id == nPOS) return m_pData[i].freq;
    }
    return 0;
}

int CPOS::GetFollowingFreq(int nHandle) const {
    const index_t* pEntry = Entry(nHandle);
    if (pEntry == nullptr) return 0;
    const int nNext = pEntry->start + pEntry->end;
    return nNext < m_nSize ? m_pData[nNext].freq : 0;
}

int CPOS::GetAllItem(std::vector<POS_elem>& vecOut, const std::vector<int>& vecExcluded) const {
    std::vector<char> vecSkip(static_cast<size_t>(m_nBound), 0);
    for (int nHandle : vecExcluded) {
        if (nHandle >= 0 && nHandle < m_nBound) vecSkip[nHandle] = 1;
    }
    for (int h = 0; h < m_nBound; ++h) {
        const index_t* pEntry = vecSkip[h] != 0 ? nullptr : Entry(h);
        if (pEntry == nullptr) continue;
        for (int i = pEntry->start; i < pEntry->start + pEntry->end; ++i) {
            POS_elem elem;
            elem.POS_id = m_pData[i].POS_id;
            elem.freq = m_pData[i].freq;
            elem.handle = h;
            vecOut.push_back(elem);
        }
    }
    return static_cast<int>(vecOut.size());
}

int CPOS::Save(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    // Padding bytes stay zero from the initialisation.
    std::vector<unsigned char> vecBytes(
        8 + RECORD_BYTES * m_pData.size() + INDEX_BYTES * m_pIndex.size(), 0);
    unsigned char* p = PutInt32(vecBytes.data(), m_nSize);
    p = PutInt32(p, m_nBound);
    for (const POS_info& info : m_pData) {
        p[0] = info.POS_id;
        PutInt32(p + 4, info.freq);
        p += RECORD_BYTES;
    }
    for (const index_t& entry : m_pIndex) {
        p = PutInt32(p, entry.start);
        p = PutInt32(p, entry.end);
    }
    FilePtr fp(fopen(sFilename, "wb"));
    if (!fp) return 0;
    bool bOk = fwrite(vecBytes.data(), 1, vecBytes.size(), fp.get()) == vecBytes.size();
    bOk = (fclose(fp.release()) == 0) && bOk;
    return bOk ? 1 : 0;
}

int CPOS::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 8) return 0;

    unsigned char header[8];
    if (fread(header, 1, sizeof(header), fp.get()) != sizeof(header)) return 0;
    const int32_t nSize = GetInt32(header);
    const int32_t nBound = GetInt32(header + 4);
    if (nSize < 0 || nBound < 0) return 0;
    const uint64_t nExpected = 8 + RECORD_BYTES * static_cast<uint64_t>(nSize) +
                               INDEX_BYTES * static_cast<uint64_t>(nBound);
    if (nExpected != static_cast<uint64_t>(nFileSize)) return 0;

    std::vector<unsigned char> vecBytes(static_cast<size_t>(nExpected - 8));
    if (fread(vecBytes.data(), 1, vecBytes.size(), fp.get()) != vecBytes.size()) return 0;
    std::vector<POS_info> vecData(static_cast<size_t>(nSize));
    const unsigned char* p = vecBytes.data();
    for (POS_info& info : vecData) {
        info.POS_id = p[0];  // p[1..3] are padding
        info.freq = GetInt32(p + 4);
        p += RECORD_BYTES;
    }
    std::vector<index_t> vecIndex(static_cast<size_t>(nBound));
    for (index_t& entry : vecIndex) {
        entry.start = GetInt32(p);
        entry.end = GetInt32(p + 4);
        p += INDEX_BYTES;
        if (entry.start == -1 && entry.end == -1) continue;
        if (entry.start < 0 || entry.end <= 0 ||
            static_cast<int64_t>(entry.start) + entry.end > static_cast<int64_t>(nSize)) {
            return 0;
        }
    }
    m_pData = std::move(vecData);
    m_pIndex = std::move(vecIndex);
    m_nSize = nSize;
    m_nBound = nBound;
    return 1;
}

int CPOS::Export(const char* sFilename, const CPOSmap* pMap, const CWordList* pWords) const {
    if (sFilename == nullptr || pMap == nullptr || pWords == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "w"));
    if (!fp) return 0;
    fprintf(fp.get(), "Data Size=%d,Index Size=%d\n", m_nSize, m_nBound);
    for (int h = 0; h < m_nBound; ++h) {
        const index_t* pEntry = Entry(h);
        if (pEntry == nullptr) continue;
        const char* sText = pWords->GetWord(h);
        long long nSum = 0;
        for (int i = pEntry->start; i < pEntry->start + pEntry->end; ++i) {
            fprintf(fp.get(), "%s\t%s\t%d\n", sText, pMap->GetPOS(m_pData[i].POS_id),
                    m_pData[i].freq);
            nSum += m_pData[i].freq;
        }
        if (nSum > 0) fprintf(fp.get(), "%s\tUNIGRAM\t%lld\n", sText, nSum);
    }
    return fclose(fp.release()) == 0 ? 1 : 0;
}

int CPOS::qkpass(POS_elem* pElems, int nLow, int nHigh) {
    const POS_elem pivot = pElems[nLow];
    while (nLow < nHigh) {
        while (nLow < nHigh && !(pElems[nHigh] < pivot)) --nHigh;  // pivot <= element
        pElems[nLow] = pElems[nHigh];
        while (nLow < nHigh && !(pivot < pElems[nLow])) ++nLow;  // element <= pivot
        pElems[nHigh] = pElems[nLow];
    }
    pElems[nLow] = pivot;
    return nLow;
}

void CPOS::qksort(POS_elem* pElems, int nLow, int nHigh) {
    if (pElems == nullptr) return;
    // Recursing into the smaller half and looping on the larger gives the same order as sorting the
    // two halves in turn, with a stack depth of at most log2(n).
    while (nLow < nHigh) {
        const int nMid = qkpass(pElems, nLow, nHigh);
        if (nMid - nLow < nHigh - nMid) {
            qksort(pElems, nLow, nMid - 1);
            nLow = nMid + 1;
        } else {
            qksort(pElems, nMid + 1, nHigh);
            nHigh = nMid - 1;
        }
    }
}

void CPOS::bubblesort(POS_elem* pElems, int nLow, int nHigh) {
    if (pElems == nullptr) return;
    for (int i = nLow; i < nHigh; ++i) {
        bool bSwapped = false;
        for (int j = i + 1; j <= nHigh; ++j) {
            if (pElems[j] < pElems[i]) {
                std::swap(pElems[i], pElems[j]);
                bSwapped = true;
            }
        }
        // Deliberate: a pass without swaps ends the sort, although it only shows that row i was
        // already the smallest of the rest; rows after it may still be out of order.
        if (!bSwapped) break;
    }
}

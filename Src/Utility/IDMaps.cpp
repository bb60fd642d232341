// IDMaps.cpp: CIDMaps, the id map. See IDMaps.h.
//
// Collecting and compiling. MapAdd appends (source, target) pairs to a growing array. MapComplete
// sorts them by source, then target, and walks them once: the first pair of a source opens its
// index entry (k, k) at the next free target slot k; each later pair of that source whose target
// differs from the last one stored is stored behind it and extends the entry's inclusive end; equal
// targets are dropped. The target array keeps one slot per collected pair, so when pairs collapse
// the slots behind the last stored target stay -1 (and are saved). The compiled table depends only
// on the sorted order of the pairs, and pairs that compare equal are identical, so any correct sort
// yields the same table.
//
// Sorting. qksort is the table's historical quicksort: qkpass takes the first element of a range as
// its pivot, and a counter of partitions that leave the pivot at an end of its range ("lopsided")
// switches the next range to bublesort once it exceeds 9. Sorted pair lists, the usual case for map
// files, are thus caught after ten partitions. On top of that, recursion goes into the smaller part
// only (the larger part is handled by the loop), which bounds the stack by log2 of the range, and a
// partition budget per path of 10 + 2 log2(n) sends any range that keeps splitting badly without
// ten lopsided partitions in a row to bublesort as well. bublesort sorts short ranges by the plain
// exchange sort (for each i, every later element that sorts before element i is swapped into place)
// and long ones with std::sort, which gives the same order in O(n log n) instead of O(n^2) for the
// million-pair remainders a sorted input leaves behind.
//
// The .map file is a raw little-endian dump: m_nSize and m_nBound (int32), m_nSize targets (int32),
// then m_nBound index entries (start, end: int32 each, end inclusive, (-1, -1) for none). Load
// accepts a file only when its length matches the two counts, every target is -1 or more and every
// index entry is (-1, -1) or lies inside the target array with start <= end.
#include "Utility/IDMaps.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

constexpr int INITIAL_PAIRS = 10240;
constexpr int PAIR_GROWTH = 10000;
constexpr int LINE_BUFFER_SIZE = 1024;
constexpr int PROGRESS_EVERY = 100;
constexpr int EXCHANGE_SORT_MAX = 32;
constexpr char INVALID_ARGUMENT[] = " invalid argument!";
constexpr char NULL_TEXT[] = "(null)";

// SkipBom: the text after a UTF-8 byte-order mark at its start, else the text itself.
const char* SkipBom(const char* sLine) {
    return std::strncmp(sLine, "\xEF\xBB\xBF", 3) == 0 ? sLine + 3 : sLine;
}

// ReadLine: the next line of fp, of any length, with its '\n' if it has one; false at the end of
// the file.
bool ReadLine(FILE* fp, std::string& sLine) {
    sLine.clear();
    char sChunk[LINE_BUFFER_SIZE];
    while (std::fgets(sChunk, sizeof(sChunk), fp) != nullptr) {
        sLine += sChunk;
        if (!sLine.empty() && sLine.back() == '\n') return true;
    }
    return !sLine.empty();
}

// WordText: the text of handle in pWords, null when there is no list or no text.
const char* WordText(const CWordList* pWords, int handle) {
    if (pWords == nullptr) return nullptr;
    return pWords->GetWord(handle);
}

}  // namespace

CIDMaps::CIDMaps() = default;

CIDMaps::~CIDMaps() = default;

void CIDMaps::Clear() {
    m_nMemSize = 0;
    m_nSize = 0;
    m_pData = std::vector<idmaps_info>();
    m_nBound = 0;
    m_pIndex = std::vector<index_t>();
    m_vecBiWord = std::vector<idmaps_elem>();
    m_bLoaded = false;
}

int CIDMaps::MapInit() {
    if (m_nMemSize == 0) {
        m_nMemSize = INITIAL_PAIRS;
        m_vecBiWord.assign(static_cast<size_t>(m_nMemSize), idmaps_elem());
    }
    m_nSize = 0;
    m_nBound = 0;
    m_pData = std::vector<idmaps_info>();
    m_pIndex = std::vector<index_t>();
    m_bLoaded = false;
    return 1;
}

int CIDMaps::MapAdd(int handle1, int handle2) {
    if (handle1 < 0 || handle1 > MAX_SOURCE_HANDLE || handle2 < -1) return 1;
    if (m_bLoaded) MapInit();
    if (m_nSize >= m_nMemSize) {
        if (m_nMemSize > INT_MAX - PAIR_GROWTH) return 1;
        m_nMemSize += PAIR_GROWTH;
        m_vecBiWord.resize(static_cast<size_t>(m_nMemSize));
    }
    idmaps_elem& elem = m_vecBiWord[static_cast<size_t>(m_nSize)];
    elem.handle1 = handle1;
    // Deliberate: a target of -1 is stored: the source then maps to nothing, and says so.
    elem.handle2 = handle2;
    ++m_nSize;
    m_nBound = std::max(m_nBound, handle1 + 1);
    return 1;
}

int CIDMaps::MapComplete() {
    if (m_bLoaded) return 1;  // nothing collected since Load: keep the loaded table
    qksort(m_vecBiWord.data(), 0, m_nSize - 1);

    // Deliberate: one target slot per collected pair, even when equal pairs collapse; the unused
    // slots at the end stay -1 and are saved with the table.
    m_pData.assign(static_cast<size_t>(m_nSize), idmaps_info());
    m_pIndex.assign(static_cast<size_t>(m_nBound), index_t());
    int nCurrent = -1;  // the source being filled
    int k = 0;          // the next free target slot
    for (int i = 0; i < m_nSize; ++i) {
        const idmaps_elem& elem = m_vecBiWord[static_cast<size_t>(i)];
        if (elem.handle1 != nCurrent) {
            nCurrent = elem.handle1;
            m_pIndex[static_cast<size_t>(nCurrent)] = index_t{k, k};
            m_pData[static_cast<size_t>(k)].handle2 = elem.handle2;
            ++k;
        } else if (m_pData[static_cast<size_t>(k - 1)].handle2 != elem.handle2) {
            m_pData[static_cast<size_t>(k)].handle2 = elem.handle2;
            m_pIndex[static_cast<size_t>(nCurrent)].end = k;
            ++k;
        }
    }
    std::printf("Build map success!");
    return 1;
}

const idmaps_info* CIDMaps::GetMaps(int handle1, int* pCount) const {
    if (pCount != nullptr) *pCount = 0;
    if (handle1 < 0 || handle1 >= m_nBound || static_cast<size_t>(handle1) >= m_pIndex.size()) {
        return nullptr;
    }
    const index_t& index = m_pIndex[static_cast<size_t>(handle1)];
    if (index.start < 0) return nullptr;
    if (pCount != nullptr) *pCount = index.end - index.start + 1;
    return &m_pData[static_cast<size_t>(index.start)];
}

int CIDMaps::GetMapID(int handle1) const {
    const idmaps_info* pTargets = GetMaps(handle1, nullptr);
    return pTargets == nullptr ? -1 : pTargets->handle2;
}

void CIDMaps::AddPairChecked(const char* sSrc, const char* sDst, CPDAT* pSrcDict, CPDAT* pDstDict) {
    int handle1 = pSrcDict->Find(sSrc);
    int handle2 = pDstDict->Find(sDst);
    if (handle1 >= 0 && (pSrcDict != pDstDict || handle1 != handle2)) {
        MapAdd(handle1, handle2);
        return;
    }
    std::string sMessage;
    if (handle1 < 0) sMessage += sSrc;
    if (handle2 < 0) {
        sMessage += " ";
        sMessage += sDst;
    }
    sMessage += INVALID_ARGUMENT;
    WriteError(sMessage);
}

int CIDMaps::Import(const char* sFilename, CPDAT* pSrcDict, CPDAT* pDstDict) {
    if (sFilename == nullptr || pSrcDict == nullptr || pDstDict == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "r"));
    if (!fp) return 0;
    MapInit();
    char sLine[LINE_BUFFER_SIZE];
    int nLine = 0;
    while (std::fgets(sLine, sizeof(sLine), fp.get()) != nullptr) {
        char sSrc[LINE_BUFFER_SIZE] = "";
        char sDst[LINE_BUFFER_SIZE] = "";
        int nFields = std::sscanf(SkipBom(sLine), "%1023s %1023s", sSrc, sDst);
        ++nLine;
        if (nLine % PROGRESS_EVERY == 0) std::printf("Line %d: %s->%s\n", nLine, sSrc, sDst);
        if (nFields < 2) continue;  // a line without two words adds nothing
        AddPairChecked(sSrc, sDst, pSrcDict, pDstDict);
    }
    MapComplete();
    return m_nSize;
}

int CIDMaps::Import(const char* sFilename, CPDAT* pDict) {
    if (sFilename == nullptr || pDict == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "r"));
    if (!fp) return 0;
    MapInit();
    std::string sLine;
    std::vector<std::string> vecFields;
    int nLine = 0;
    while (ReadLine(fp.get(), sLine)) {
        ++nLine;
        if (nLine % PROGRESS_EVERY == 0) std::printf("%d\r", nLine);
        // The fields are the non-empty runs between tabs.
        vecFields.clear();
        const char* p = SkipBom(sLine.c_str());
        while (*p != '\0') {
            const char* pTab = std::strchr(p, '\t');
            size_t nLen = pTab != nullptr ? static_cast<size_t>(pTab - p) : std::strlen(p);
            if (nLen > 0) vecFields.emplace_back(p, nLen);
            p += nLen;
            if (*p == '\t') ++p;
        }
        if (vecFields.size() < 2) continue;
        // Deliberate: the source is the last field with its last byte, the line end, removed (so a
        // carriage return before it stays and the source is then not found).
        std::string& sSource = vecFields.back();
        if (sSource.back() == '\n') sSource.pop_back();
        int handle1 = pDict->Find(sSource.c_str());
        if (handle1 < 0) continue;
        for (size_t i = 0; i + 1 < vecFields.size(); ++i) {
            int handle2 = pDict->Find(vecFields[i].c_str());
            if (handle2 == handle1) {
                WriteError(INVALID_ARGUMENT);
            } else {
                MapAdd(handle1, handle2);
            }
        }
    }
    MapComplete();
    return m_nSize;
}

int CIDMaps::Import(const char* sSrcFile, const char* sDstFile, CPDAT* pSrcDict, CPDAT* pDstDict) {
    if (sSrcFile == nullptr || sDstFile == nullptr || pSrcDict == nullptr || pDstDict == nullptr)
        return 0;
    FilePtr fpSrc(std::fopen(sSrcFile, "r"));
    if (!fpSrc) return 0;
    FilePtr fpDst(std::fopen(sDstFile, "r"));
    if (!fpDst) return 0;
    MapInit();
    char sSrcLine[LINE_BUFFER_SIZE];
    char sDstLine[LINE_BUFFER_SIZE];
    int nLine = 0;
    while (std::fgets(sSrcLine, sizeof(sSrcLine), fpSrc.get()) != nullptr &&
           std::fgets(sDstLine, sizeof(sDstLine), fpDst.get()) != nullptr) {
        char sSrc[LINE_BUFFER_SIZE] = "";
        char sDst[LINE_BUFFER_SIZE] = "";
        int nSrcFields = std::sscanf(SkipBom(sSrcLine), "%1023s", sSrc);
        int nDstFields = std::sscanf(SkipBom(sDstLine), "%1023s", sDst);
        ++nLine;
        if (nLine % PROGRESS_EVERY == 0) std::printf("Line %d: %s->%s\n", nLine, sSrc, sDst);
        if (nSrcFields < 1 || nDstFields < 1) continue;  // a blank line on either side adds nothing
        AddPairChecked(sSrc, sDst, pSrcDict, pDstDict);
    }
    MapComplete();
    return m_nSize;
}

int CIDMaps::Export(const char* sFilename, CWordList* pSrcWords, CWordList* pDstWords,
                    bool bMultiOnly) const {
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "w");
    if (fp == nullptr) return 0;
    // A missing text is written as "(null)", explicitly: never hand a null pointer to printf.
    auto Text = [](const CWordList* pWords, int handle) {
        const char* sText = WordText(pWords, handle);
        return sText != nullptr ? sText : NULL_TEXT;
    };
    std::fprintf(fp, "Data Size=%d,Index Size=%d\n", m_nSize, m_nBound);
    for (size_t h = 0; h < m_pIndex.size(); ++h) {
        const index_t& index = m_pIndex[h];
        if (index.start < 0) continue;
        int nCount = index.end - index.start + 1;
        if (bMultiOnly && nCount == 1) continue;
        int handle1 = static_cast<int>(h);
        std::fprintf(fp, "Handle=%d(%s),Start=%d\tEnd=%d count=%d\n data=", handle1,
                     Text(pSrcWords, handle1), index.start, index.end, nCount);
        for (int i = index.start; i <= index.end; ++i) {
            int handle2 = m_pData[static_cast<size_t>(i)].handle2;
            std::fprintf(fp, "%d(%s) ", handle2, Text(pDstWords, handle2));
        }
        std::fprintf(fp, "\n");
    }
    bool bOk = !std::ferror(fp);
    bOk = (std::fclose(fp) == 0) && bOk;
    return bOk ? 1 : 0;
}

int CIDMaps::Export(std::vector<map_str>& vecOut, CWordList* pSrcWords,
                    CWordList* pDstWords) const {
    int nAppended = 0;
    for (size_t h = 0; h < m_pIndex.size(); ++h) {
        const index_t& index = m_pIndex[h];
        if (index.start < 0) continue;
        const char* sSrc = WordText(pSrcWords, static_cast<int>(h));
        for (int i = index.start; i <= index.end; ++i) {
            const char* sDst = WordText(pDstWords, m_pData[static_cast<size_t>(i)].handle2);
            vecOut.push_back(map_str{sSrc != nullptr ? sSrc : "", sDst != nullptr ? sDst : ""});
            ++nAppended;
        }
    }
    return nAppended;
}

int CIDMaps::Save(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    // The compiled table is written; while pairs are being collected it is the last one compiled.
    std::vector<int32_t> vecOut;
    vecOut.reserve(2 + m_pData.size() + 2 * m_pIndex.size());
    vecOut.push_back(static_cast<int32_t>(m_pData.size()));
    vecOut.push_back(static_cast<int32_t>(m_pIndex.size()));
    for (const idmaps_info& info : m_pData) vecOut.push_back(info.handle2);
    for (const index_t& index : m_pIndex) {
        vecOut.push_back(index.start);
        vecOut.push_back(index.end);
    }
    return WriteInt32File(sFilename, vecOut);
}

int CIDMaps::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 8) return 0;

    int32_t aHeader[2];
    if (std::fread(aHeader, sizeof(int32_t), 2, fp.get()) != 2) return 0;
    int32_t nSize = aHeader[0];
    int32_t nBound = aHeader[1];
    if (nSize < 0 || nBound < 0) return 0;
    uint64_t nExpected = 8 + 4 * static_cast<uint64_t>(nSize) + 8 * static_cast<uint64_t>(nBound);
    if (static_cast<uint64_t>(nFileSize) != nExpected) return 0;

    std::vector<idmaps_info> vecData(static_cast<size_t>(nSize));
    std::vector<index_t> vecIndex(static_cast<size_t>(nBound));
    if (std::fread(vecData.data(), sizeof(idmaps_info), vecData.size(), fp.get()) !=
            vecData.size() ||
        std::fread(vecIndex.data(), sizeof(index_t), vecIndex.size(), fp.get()) !=
            vecIndex.size()) {
        return 0;
    }
    for (const idmaps_info& info : vecData) {
        if (info.handle2 < -1) return 0;
    }
    for (const index_t& index : vecIndex) {
        bool bNone = index.start == -1 && index.end == -1;
        bool bInside = index.start >= 0 && index.start <= index.end && index.end < nSize;
        if (!bNone && !bInside) return 0;
    }
    m_nSize = nSize;
    m_nBound = nBound;
    m_pData = std::move(vecData);
    m_pIndex = std::move(vecIndex);
    m_bLoaded = true;
    return 1;
}

int CIDMaps::qkpass(idmaps_elem* pData, int low, int high) {
    idmaps_elem pivot = pData[low];
    while (low < high) {
        while (low < high && pivot <= pData[high]) --high;
        pData[low] = pData[high];
        while (low < high && pData[low] <= pivot) ++low;
        pData[high] = pData[low];
    }
    pData[low] = pivot;
    return low;
}

void CIDMaps::bublesort(idmaps_elem* pData, int low, int high) {
    if (pData == nullptr || low >= high) return;
    if (high - low < EXCHANGE_SORT_MAX) {
        for (int i = low; i <= high; ++i) {
            for (int j = i + 1; j <= high; ++j) {
                if (pData[j] < pData[i]) std::swap(pData[i], pData[j]);
            }
        }
        return;
    }
    // Same order as the exchange sort (equal pairs are identical), without its quadratic time.
    std::sort(pData + low, pData + high + 1);
}

void CIDMaps::qksort(idmaps_elem* pData, int low, int high) {
    if (pData == nullptr || low >= high) return;
    // Ten partitions for the lopsided count to catch sorted input, then 2 log2(n) more per path.
    int nDepth = 10;
    for (unsigned n = static_cast<unsigned>(high - low) + 1; n > 1; n >>= 1) nDepth += 2;
    QKSortRange(pData, low, high, nDepth);
}

void CIDMaps::QKSortRange(idmaps_elem* pData, int low, int high, int nDepth) {
    while (low < high) {
        // Deliberate: after more than 9 lopsided partitions in a row the next range is sorted whole
        // by bublesort; this is what catches already sorted input.
        if (m_nQKSortCount > 9) {
            bublesort(pData, low, high);
            m_nQKSortCount = 0;
            return;
        }
        if (nDepth <= 0) {  // splitting badly in some other pattern
            bublesort(pData, low, high);
            return;
        }
        --nDepth;
        int nPivot = qkpass(pData, low, high);
        if (nPivot == low || nPivot == high) {
            ++m_nQKSortCount;
        } else {
            m_nQKSortCount = 0;
        }
        if (nPivot - low < high - nPivot) {
            QKSortRange(pData, low, nPivot - 1, nDepth);
            low = nPivot + 1;
        } else {
            QKSortRange(pData, nPivot + 1, high, nDepth);
            high = nPivot - 1;
        }
    }
}

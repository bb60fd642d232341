// Unigram.cpp: CUnigram, the frequency table. See Unigram.h.
//
// The .unig file is a raw little-endian dump: m_nSize, m_nBound, m_nTotal (int32 each), then
// m_nBound + 1 counts (int32) for handles 0..m_nBound; the last count is never read by the lookups.
// Load accepts a file only when its length is exactly what its bound announces.
#include "Utility/Unigram.h"
#include "Utility/Utility.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Utility/PDAT.h"

namespace {

constexpr int LINE_BUFFER_SIZE = 1024;
constexpr int PROGRESS_EVERY = 100;
constexpr long HEADER_BYTES = 3 * 4;

// SkipBom: the text after a UTF-8 byte-order mark at its start, else the text itself.
const char* SkipBom(const char* sLine) {
    return std::strncmp(sLine, "\xEF\xBB\xBF", 3) == 0 ? sLine + 3 : sLine;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// ScanWordAndFreq: reads "%s %d" from sLine into sWord and *pFreq the way sscanf does: a field that
// cannot be read leaves its variable (and every later one) as it was. A number outside the int
// range is clamped. REQUIRES: sWord holds strlen(sLine) + 1 bytes.
void ScanWordAndFreq(const char* sLine, char* sWord, int* pFreq) {
    const char* p = sLine;
    while (IsBlank(*p)) ++p;
    if (*p == '\0') return;
    const char* pStart = p;
    while (*p != '\0' && !IsBlank(*p)) ++p;
    std::memcpy(sWord, pStart, static_cast<size_t>(p - pStart));
    sWord[p - pStart] = '\0';
    char* pEnd = nullptr;
    long nValue = std::strtol(p, &pEnd, 10);
    if (pEnd == p) return;
    *pFreq = static_cast<int>(std::clamp<long>(nValue, INT_MIN, INT_MAX));
}

}  // namespace

bool less_unigram_cmp(const unigram_elem& a, const unigram_elem& b) { return a.freq > b.freq; }

CUnigram::CUnigram(int nBound) {
    if (nBound > 0) {
        m_nBound = nBound;
        m_pData = std::vector<std::atomic<int>>(static_cast<size_t>(nBound));  // zeroed
    }
}

CUnigram::~CUnigram() = default;

void CUnigram::Clear() {
    m_nSize = 0;
    m_nBound = 0;
    m_nTotal.store(0, std::memory_order_relaxed);
    m_pData = std::vector<std::atomic<int>>();
}

int CUnigram::GetFreq(int handle) const {
    if (handle < 0 || handle >= m_nBound) return 0;
    return m_pData[static_cast<size_t>(handle)].load(std::memory_order_relaxed);
}

int CUnigram::AddFreq(int handle, int n) {
    if (handle < 0 || handle >= m_nBound) return 0;
    // Atomic arithmetic on int wraps around instead of overflowing.
    m_pData[static_cast<size_t>(handle)].fetch_add(n, std::memory_order_relaxed);
    m_nTotal.fetch_add(n, std::memory_order_relaxed);
    return n;
}

int CUnigram::GetTotalFreq() const { return m_nTotal.load(std::memory_order_relaxed); }

int CUnigram::GetItemCount() const { return m_nSize; }

int CUnigram::OutputFreq(std::vector<unigram_elem>& vecOut) const {
    vecOut.clear();
    for (int i = 0; i < m_nBound; ++i) {
        int nFreq = m_pData[static_cast<size_t>(i)].load(std::memory_order_relaxed);
        if (nFreq > 0) vecOut.push_back(unigram_elem{i, nFreq});
    }
    std::sort(vecOut.begin(), vecOut.end(), less_unigram_cmp);
    return static_cast<int>(vecOut.size());
}

int CUnigram::Import(const char* sFilename, CPDAT* pDict) {
    if (sFilename == nullptr || pDict == nullptr) return 0;
    FilePtr fpIn(std::fopen(sFilename, "r"));
    if (!fpIn) return 0;
    std::string sReportName = std::string(sFilename) + ".log";
    FilePtr fpReport(std::fopen(sReportName.c_str(), "w"));
    if (!fpReport) return 0;

    m_nTotal.store(0, std::memory_order_relaxed);
    m_nBound = std::max(pDict->GetLowerBound(), 0);
    m_pData = std::vector<std::atomic<int>>(static_cast<size_t>(m_nBound) + 1);  // zeroed
    m_nSize = 0;

    char sLine[LINE_BUFFER_SIZE];
    char sWord[LINE_BUFFER_SIZE] = "";
    int nFreq = 0;
    int nLine = 1;
    while (std::fgets(sLine, sizeof(sLine), fpIn.get()) != nullptr) {
        // Deliberate: a line without a word (or without a number) keeps the previous word (or
        // frequency) and is processed with it again, as the table's data files have always been
        // read.
        ScanWordAndFreq(SkipBom(sLine), sWord, &nFreq);
        // Words are taken as GBK: the files are GBK, and there is no conversion from other
        // encodings here.
        int nHandle = pDict->Find(sWord);
        if (nHandle >= 0 && nHandle <= m_nBound) {
            std::atomic<int>& nCount = m_pData[static_cast<size_t>(nHandle)];
            if (nFreq != 0) {
                int nOld = nCount.load(std::memory_order_relaxed);
                if (nOld != 0 && nOld != nFreq) {
                    // "\xD6\xD8\xB8\xB4" is GBK for 重复 (repeated).
                    std::fprintf(fpReport.get(), "Word=%s:freq=%d\xD6\xD8\xB8\xB4%d\n", sWord,
                                 nFreq, nOld);
                    // Deliberate: of a repeated word the smaller frequency is kept.
                    if (nOld > nFreq) {
                        // "\xD1\xA1\xD4\xF1" is GBK for 选择 (chosen).
                        std::fprintf(fpReport.get(),
                                     "Word=%s:\xD1\xA1\xD4\xF1"
                                     "freq=%d\n",
                                     sWord, nFreq);
                        nCount.store(nFreq, std::memory_order_relaxed);
                    }
                } else {
                    nCount.store(nFreq, std::memory_order_relaxed);
                }
            }
            // Deliberate: the total counts every line with a known word, repeated words included.
            m_nTotal.fetch_add(nFreq, std::memory_order_relaxed);
            ++m_nSize;
        }
        if (nLine % PROGRESS_EVERY == 0) std::printf("Line %d completed!\n", nLine);
        ++nLine;
    }
    return m_nSize;
}

int CUnigram::Save(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    std::vector<int32_t> vecOut;
    vecOut.reserve(static_cast<size_t>(m_nBound) + 4);
    vecOut.push_back(m_nSize);
    vecOut.push_back(m_nBound);
    vecOut.push_back(m_nTotal.load(std::memory_order_relaxed));
    for (size_t i = 0; i <= static_cast<size_t>(m_nBound); ++i) {
        // A table made by the constructor has no count for handle m_nBound: it is written as 0.
        vecOut.push_back(i < m_pData.size() ? m_pData[i].load(std::memory_order_relaxed) : 0);
    }
    return WriteInt32File(sFilename, vecOut);
}

int CUnigram::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < HEADER_BYTES) return 0;

    int32_t aHeader[3];
    if (std::fread(aHeader, sizeof(int32_t), 3, fp.get()) != 3) return 0;
    int32_t nBound = aHeader[1];
    if (nBound < 0) return 0;
    size_t nCounts = static_cast<size_t>(nBound) + 1;
    if (static_cast<uint64_t>(nFileSize) != HEADER_BYTES + 4 * static_cast<uint64_t>(nCounts))
        return 0;

    std::vector<int32_t> vecCounts(nCounts);
    if (std::fread(vecCounts.data(), sizeof(int32_t), nCounts, fp.get()) != nCounts) return 0;

    std::vector<std::atomic<int>> vecData(nCounts);
    for (size_t i = 0; i < nCounts; ++i) vecData[i].store(vecCounts[i], std::memory_order_relaxed);
    m_nSize = aHeader[0];
    m_nBound = nBound;
    m_nTotal.store(aHeader[2], std::memory_order_relaxed);
    m_pData = std::move(vecData);
    return 1;
}

int CUnigram::qkpass(unigram_elem* pData, int low, int high) {
    unigram_elem pivot = pData[low];
    while (low < high) {
        while (low < high && pivot.handle <= pData[high].handle) --high;
        pData[low] = pData[high];
        while (low < high && pData[low].handle <= pivot.handle) ++low;
        pData[high] = pData[low];
    }
    pData[low] = pivot;
    return low;
}

void CUnigram::qksort(unigram_elem* pData, int low, int high) {
    if (pData == nullptr) return;
    // The two parts are sorted in turn, the smaller one by recursion and the larger one by the
    // loop, so the depth stays below log2 of the range whatever the input.
    while (low < high) {
        int nPivot = qkpass(pData, low, high);
        if (nPivot - low < high - nPivot) {
            qksort(pData, low, nPivot - 1);
            low = nPivot + 1;
        } else {
            qksort(pData, nPivot + 1, high);
            high = nPivot - 1;
        }
    }
}

// ContextStat.cpp: CContextStat, tag start and transition log probabilities in two float arrays.
// Load reads the whole file only after its size has been found to be exactly what its tag count
// announces, and takes it only when every value is finite and <= 0.
#include "DORVANE/Tagger/ContextStat.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

#include "Utility/Utility.h"

static_assert(sizeof(float) == 4, "the file stores float32 values");

namespace {

bool IsLogProb(float f) { return std::isfinite(f) && f <= 0.0f; }

}  // namespace

CContextStat::CContextStat() = default;
CContextStat::~CContextStat() = default;

int CContextStat::SetSize(int n) {
    if (n < 1 || n > MAX_SIZE) return 0;
    m_nSize = n;
    m_vecStart.assign(static_cast<size_t>(n), IMPOSSIBLE);
    m_vecTrans.assign(static_cast<size_t>(n) * static_cast<size_t>(n), IMPOSSIBLE);
    return 1;
}

int CContextStat::SetStart(int nTag, float fLogProb) {
    if (nTag < 0 || nTag >= m_nSize || !IsLogProb(fLogProb)) return 0;
    m_vecStart[static_cast<size_t>(nTag)] = fLogProb;
    return 1;
}

int CContextStat::SetTrans(int nFrom, int nTo, float fLogProb) {
    if (nFrom < 0 || nFrom >= m_nSize || nTo < 0 || nTo >= m_nSize || !IsLogProb(fLogProb)) {
        return 0;
    }
    m_vecTrans[static_cast<size_t>(nFrom) * static_cast<size_t>(m_nSize) +
               static_cast<size_t>(nTo)] = fLogProb;
    return 1;
}

float CContextStat::GetStart(int nTag) const {
    if (nTag < 0 || nTag >= m_nSize) return IMPOSSIBLE;
    return m_vecStart[static_cast<size_t>(nTag)];
}

float CContextStat::GetTrans(int nFrom, int nTo) const {
    if (nFrom < 0 || nFrom >= m_nSize || nTo < 0 || nTo >= m_nSize) return IMPOSSIBLE;
    return m_vecTrans[static_cast<size_t>(nFrom) * static_cast<size_t>(m_nSize) +
                      static_cast<size_t>(nTo)];
}

int CContextStat::Load(const char* sFilename) {
    m_nSize = 0;
    m_vecStart.clear();
    m_vecTrans.clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 4) return 0;
    int32_t nSize = 0;
    if (std::fread(&nSize, sizeof(nSize), 1, fp.get()) != 1) return 0;
    if (nSize < 1 || nSize > MAX_SIZE) return 0;
    size_t n = static_cast<size_t>(nSize);
    if (static_cast<size_t>(nFileSize) != 4 + 4 * (n + n * n)) return 0;
    std::vector<float> vecStart(n), vecTrans(n * n);
    if (std::fread(vecStart.data(), sizeof(float), n, fp.get()) != n ||
        std::fread(vecTrans.data(), sizeof(float), n * n, fp.get()) != n * n) {
        return 0;
    }
    for (float f : vecStart) {
        if (!IsLogProb(f)) return 0;
    }
    for (float f : vecTrans) {
        if (!IsLogProb(f)) return 0;
    }
    m_nSize = nSize;
    m_vecStart = std::move(vecStart);
    m_vecTrans = std::move(vecTrans);
    return 1;
}

int CContextStat::Save(const char* sFilename) const {
    if (m_nSize == 0) return 0;
    // The floats are written through their bit patterns, so the int32 writer serves.
    std::vector<int32_t> vecOut;
    vecOut.reserve(1 + m_vecStart.size() + m_vecTrans.size());
    vecOut.push_back(m_nSize);
    for (const std::vector<float>* pValues : {&m_vecStart, &m_vecTrans}) {
        for (float f : *pValues) {
            int32_t nBits;
            std::memcpy(&nBits, &f, sizeof(nBits));
            vecOut.push_back(nBits);
        }
    }
    return WriteInt32File(sFilename, vecOut);
}

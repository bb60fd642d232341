// Bigram.cpp: CBigram, word-pair frequencies kept as one array sorted by (left, right) and looked
// up by binary search. Load checks the count against the file size before it allocates, and checks
// every record (fields in range, strictly ascending) before the table is replaced.
#include "DORVANE/Segment/Bigram.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "Utility/Utility.h"

namespace {

constexpr long RECORD_BYTES = static_cast<long>(sizeof(bigram_elem));

bool PairLess(const bigram_elem& a, const bigram_elem& b) {
    return a.left != b.left ? a.left < b.left : a.right < b.right;
}

}  // namespace

CBigram::CBigram() = default;
CBigram::~CBigram() = default;

int CBigram::Import(std::vector<bigram_elem> vecPairs) {
    vecPairs.erase(std::remove_if(vecPairs.begin(), vecPairs.end(),
                                  [](const bigram_elem& e) {
                                      return e.left < 0 || e.right < 0 || e.freq <= 0;
                                  }),
                   vecPairs.end());
    std::stable_sort(vecPairs.begin(), vecPairs.end(), PairLess);
    std::vector<bigram_elem> vecKept;
    vecKept.reserve(vecPairs.size());
    for (const bigram_elem& e : vecPairs) {
        if (!vecKept.empty() && vecKept.back().left == e.left && vecKept.back().right == e.right) {
            // Summed in 64 bits and held at INT32_MAX, so a huge sum cannot turn negative.
            int64_t nSum = static_cast<int64_t>(vecKept.back().freq) + e.freq;
            vecKept.back().freq = static_cast<int32_t>(std::min<int64_t>(nSum, INT32_MAX));
        } else {
            vecKept.push_back(e);
        }
    }
    m_vecPairs = std::move(vecKept);
    return GetCount();
}

int CBigram::Load(const char* sFilename) {
    m_vecPairs.clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 4) return 0;
    int32_t nCount = 0;
    if (std::fread(&nCount, sizeof(nCount), 1, fp.get()) != 1) return 0;
    if (nCount < 0 || (nFileSize - 4) % RECORD_BYTES != 0 ||
        static_cast<long>(nCount) != (nFileSize - 4) / RECORD_BYTES) {
        return 0;
    }
    std::vector<bigram_elem> vecPairs(static_cast<size_t>(nCount));
    if (nCount > 0 && std::fread(vecPairs.data(), sizeof(bigram_elem), vecPairs.size(), fp.get()) !=
                          vecPairs.size()) {
        return 0;
    }
    for (size_t i = 0; i < vecPairs.size(); ++i) {
        const bigram_elem& e = vecPairs[i];
        if (e.left < 0 || e.right < 0 || e.freq <= 0) return 0;
        if (i > 0 && !PairLess(vecPairs[i - 1], e)) return 0;  // out of order or repeated
    }
    m_vecPairs = std::move(vecPairs);
    return 1;
}

int CBigram::Save(const char* sFilename) const {
    std::vector<int32_t> vecOut;
    vecOut.reserve(1 + 3 * m_vecPairs.size());
    vecOut.push_back(static_cast<int32_t>(m_vecPairs.size()));
    for (const bigram_elem& e : m_vecPairs) {
        vecOut.push_back(e.left);
        vecOut.push_back(e.right);
        vecOut.push_back(e.freq);
    }
    return WriteInt32File(sFilename, vecOut);
}

int CBigram::GetFreq(int nLeft, int nRight) const {
    bigram_elem key{nLeft, nRight, 0};
    auto it = std::lower_bound(m_vecPairs.begin(), m_vecPairs.end(), key, PairLess);
    return it != m_vecPairs.end() && it->left == nLeft && it->right == nRight ? it->freq : 0;
}

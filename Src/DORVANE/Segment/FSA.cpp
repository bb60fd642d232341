// FSA.cpp: CFSA, a deterministic automaton held as a dense next-state table. Load checks the file
// size against the two counts before it allocates, and every target state and final flag before
// the automaton is replaced.
#include "DORVANE/Segment/FSA.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include "Utility/Utility.h"

namespace {

constexpr int MAX_STATES = 4096;
constexpr int MAX_SYMBOLS = 255;

}  // namespace

CFSA::CFSA() = default;
CFSA::~CFSA() = default;

int CFSA::Init(int nStates, int nSymbols) {
    if (nStates < 1 || nStates > MAX_STATES || nSymbols < 1 || nSymbols > MAX_SYMBOLS) return 0;
    m_nStates = nStates;
    m_nSymbols = nSymbols;
    m_vecNext.assign(static_cast<size_t>(nStates) * static_cast<size_t>(nSymbols), -1);
    m_vecFinal.assign(static_cast<size_t>(nStates), 0);
    return 1;
}

int CFSA::SetNext(int nState, int nSymbol, int nNext) {
    if (nState < 0 || nState >= m_nStates || nSymbol < 0 || nSymbol >= m_nSymbols || nNext < -1 ||
        nNext >= m_nStates) {
        return 0;
    }
    m_vecNext[static_cast<size_t>(nState) * static_cast<size_t>(m_nSymbols) +
              static_cast<size_t>(nSymbol)] = nNext;
    return 1;
}

int CFSA::SetFinal(int nState, bool bFinal) {
    if (nState < 0 || nState >= m_nStates) return 0;
    m_vecFinal[static_cast<size_t>(nState)] = bFinal ? 1 : 0;
    return 1;
}

int CFSA::Next(int nState, int nSymbol) const {
    if (nState < 0 || nState >= m_nStates || nSymbol < 0 || nSymbol >= m_nSymbols) return -1;
    return m_vecNext[static_cast<size_t>(nState) * static_cast<size_t>(m_nSymbols) +
                     static_cast<size_t>(nSymbol)];
}

bool CFSA::IsFinal(int nState) const {
    return nState >= 0 && nState < m_nStates && m_vecFinal[static_cast<size_t>(nState)] != 0;
}

int CFSA::Match(const int* pSymbols, int n) const {
    if (pSymbols == nullptr || m_nStates == 0) return 0;
    int nLongest = 0;
    int nState = 0;
    for (int i = 0; i < n; ++i) {
        nState = Next(nState, pSymbols[i]);
        if (nState < 0) break;
        if (IsFinal(nState)) nLongest = i + 1;
    }
    return nLongest;
}

int CFSA::Load(const char* sFilename) {
    m_nStates = 0;
    m_nSymbols = 0;
    m_vecNext.clear();
    m_vecFinal.clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(std::fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 8) return 0;
    int32_t aCounts[2];
    if (std::fread(aCounts, sizeof(int32_t), 2, fp.get()) != 2) return 0;
    int32_t nStates = aCounts[0], nSymbols = aCounts[1];
    if (nStates < 1 || nStates > MAX_STATES || nSymbols < 1 || nSymbols > MAX_SYMBOLS) return 0;
    size_t nCells = static_cast<size_t>(nStates) * static_cast<size_t>(nSymbols);
    size_t nFinals = static_cast<size_t>(nStates);
    if (static_cast<size_t>(nFileSize) != 8 + 4 * (nCells + nFinals)) return 0;
    std::vector<int32_t> vecNext(nCells), vecFinal(nFinals);
    if (std::fread(vecNext.data(), sizeof(int32_t), nCells, fp.get()) != nCells ||
        std::fread(vecFinal.data(), sizeof(int32_t), nFinals, fp.get()) != nFinals) {
        return 0;
    }
    for (int32_t nNext : vecNext) {
        if (nNext < -1 || nNext >= nStates) return 0;
    }
    for (int32_t nFinal : vecFinal) {
        if (nFinal != 0 && nFinal != 1) return 0;
    }
    m_nStates = nStates;
    m_nSymbols = nSymbols;
    m_vecNext.assign(vecNext.begin(), vecNext.end());
    m_vecFinal.assign(vecFinal.begin(), vecFinal.end());
    return 1;
}

int CFSA::Save(const char* sFilename) const {
    if (m_nStates == 0) return 0;
    std::vector<int32_t> vecOut;
    vecOut.reserve(2 + m_vecNext.size() + m_vecFinal.size());
    vecOut.push_back(m_nStates);
    vecOut.push_back(m_nSymbols);
    vecOut.insert(vecOut.end(), m_vecNext.begin(), m_vecNext.end());
    vecOut.insert(vecOut.end(), m_vecFinal.begin(), m_vecFinal.end());
    return WriteInt32File(sFilename, vecOut);
}

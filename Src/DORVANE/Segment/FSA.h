// FSA.h: CFSA, a small deterministic automaton over role symbols ("nr.fsa"): which sequences of
// character roles make a person name.
#ifndef VINTREL_DORVANE_SEGMENT_FSA_H_
#define VINTREL_DORVANE_SEGMENT_FSA_H_

#include <vector>

// CFSA: states 0 .. GetStateCount() - 1, start state 0, symbols 0 .. GetSymbolCount() - 1.
//
// File (little-endian): int32 nStates (1 .. 4096), int32 nSymbols (1 .. 255), then int32
// next[nStates * nSymbols] (row-major by state; -1 for no move, else a state), then int32
// final[nStates] (0 or 1). Exactly 8 + 4 * (nStates * nSymbols + nStates) bytes.
//
// Lifecycle: construct; Init and the setters, or Load; then Next / IsFinal / Match. Owns its table.
// Threads: read-only after Load: Next, IsFinal, Match and Save may run from many threads at once.
class CFSA {
public:
    CFSA();
    ~CFSA();
    CFSA(const CFSA&) = delete;  // share by pointer
    CFSA& operator=(const CFSA&) = delete;

    // Init: an automaton of nStates states over nSymbols symbols with no moves and no final state;
    // 1, or 0 for counts out of range.
    int Init(int nStates, int nSymbols);
    // SetNext, SetFinal: 1, or 0 for an argument out of range.
    int SetNext(int nState, int nSymbol, int nNext);
    int SetFinal(int nState, bool bFinal);
    // Next: the state after reading nSymbol in nState; -1 for no move or arguments out of range.
    int Next(int nState, int nSymbol) const;
    bool IsFinal(int nState) const;
    // Match: the length of the longest prefix of pSymbols[0 .. n) that leads from the start state to
    // a final state; 0 when there is none (or pSymbols is null).
    int Match(const int* pSymbols, int n) const;
    int GetStateCount() const { return m_nStates; }
    int GetSymbolCount() const { return m_nSymbols; }

    // Load: 1; 0 when the file cannot be read, has the wrong size or a value out of range, leaving
    // the automaton empty (no states).
    int Load(const char* sFilename);
    // Save: 1, or 0 when the file cannot be written or there are no states.
    int Save(const char* sFilename) const;

private:
    int m_nStates = 0;
    int m_nSymbols = 0;
    std::vector<int> m_vecNext;   // m_nStates * m_nSymbols
    std::vector<int> m_vecFinal;  // m_nStates
};

#endif  // VINTREL_DORVANE_SEGMENT_FSA_H_

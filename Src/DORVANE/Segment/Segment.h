// Segment.h: CSegment, the word lattice over the atoms of a text and the choice of its best path.
#ifndef VINTREL_DORVANE_SEGMENT_SEGMENT_H_
#define VINTREL_DORVANE_SEGMENT_SEGMENT_H_

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "DORVANE/Segment/PreProcess.h"

class CBigram;
class CPDAT;
class CTrie;
class CUnigram;

// Where a word of the path came from.
enum WordSource {
    WORD_CORE = 0,  // the core dictionary (nHandle is its handle)
    WORD_FIELD,     // the field dictionary (nHandle is its handle there)
    WORD_USER,      // a user word (sTag names its tag)
    WORD_ATOM,      // a number, time, letter string or mark that no dictionary holds
    WORD_UNKNOWN,   // a character no dictionary holds
    WORD_PERSON     // part of a recognised person name
};

// What the pipeline needs about a core word, in four bytes so that the table of a large dictionary
// stays in the processor's cache (the lattice reads it for every candidate word): its cost as a
// fixed-point number (CSegment::COST_SCALE steps), its most frequent tag (255 when none) and flags.
struct _stCoreWord {
    uint16_t nCost;
    unsigned char nTag;
    unsigned char nFlags;  // CORE_* bits
};
static_assert(sizeof(_stCoreWord) == 4, "four bytes per core word");
enum : unsigned char {
    CORE_ROLE_SURNAME = 1,         // a family name
    CORE_ROLE_GIVEN = 2,           // seen in given names
    CORE_ROLE_GIVEN_OFTEN = 4,     // seen in given names often enough to make up an unknown name
    CORE_ROLE_DOUBLE_SURNAME = 8,  // a family name of two characters
    CORE_SEVERAL_TAGS = 16         // more than one tag: the tagger chooses
};

struct _stWord {
    int nStart;       // byte offset in the text
    int nLen;         // bytes
    int nHandle;      // dictionary handle, -1 when none
    int nSource;      // WordSource
    int nAtomType;    // AtomType of its first atom
    int nAtoms;       // number of atoms it spans
    int nTag;         // tag id, -1 until tagged
    const char* sTag; // user words: the tag the user gave (may be null)
};

// CCallWords: the user words of one call, indexed by their first two bytes so that looking up the
// words at a place costs the few that start there, also when a call brings thousands. Each word is
// kept once, in the order first given. Threads: built and read by one call.
class CCallWords {
public:
    explicit CCallWords(const std::vector<std::string>& vecWords);
    // Prefixes: the lengths of the words that sText (nRest bytes left) starts with, at most nMax (the
    // one-byte words first, then the longer ones, each in the order first given); their number.
    int Prefixes(const char* sText, size_t nRest, int* pLengths, int nMax) const;
    bool Empty() const { return m_nWords == 0; }

private:
    static unsigned Key(const char* s, size_t nLen);
    std::unordered_map<unsigned, std::vector<const std::string*>> m_mapBuckets;
    size_t m_nWords = 0;
};

// The dictionaries and settings one segmentation reads. Every pointer but pCore may be null.
struct _stLexicon {
    const CPDAT* pCore = nullptr;
    const CUnigram* pUnigram = nullptr;  // core frequencies (for the bigram smoothing)
    const std::vector<_stCoreWord>* pWords = nullptr;  // per core handle: cost, tag, flags
    double dLogTotal = 0;                // log of the total core frequency
    const CBigram* pBigram = nullptr;
    const CPDAT* pField = nullptr;
    const CPDAT* pGran = nullptr;        // words that are never taken whole
    const CTrie* pUser = nullptr;        // user words shared by every call
    const CCallWords* pExtra = nullptr;  // user words of this call only
    bool bUserPrior = false;             // a user word wins wherever it fits
    int nSentStart = -1;                 // handle of the sentence-start entry (bigram context)
    int nNumberHandle = -1, nTimeHandle = -1, nLettersHandle = -1;  // unknown atoms' entries
};

// CSegment chooses, for a text already cut into atoms, the path of words with the lowest cost. A word
// costs -log(freq / total) of the core frequencies, plus LENGTH_PENALTY per character beyond the
// second: the dictionary holds many long compounds that running text is better cut into (中央军事委员会
// is 中央 军事 委员会). Where the bigram table knows a pair, the cost of the second word is smoothed
// with it. A user word (and a word of the field dictionary) costs as a word of USER_FREQ without the
// length penalty, so it wins where it forms a natural word and loses where dictionary words cover the
// text better; with bUserPrior it wins wherever it fits. A word of the granularity dictionary is never
// taken whole.
//
// Threads: one CSegment per thread (it keeps scratch space); the dictionaries are only read.
class CSegment {
public:
    static constexpr double LENGTH_PENALTY = 4.0;
    static constexpr double USER_FREQ = 16.0;
    static constexpr double UNKNOWN_FREQ = 1.0;
    static constexpr int MAX_WORD_BYTES = 64;
    // Word costs are kept as 16-bit fixed-point numbers (1/2048 steps, up to 32).
    static constexpr double COST_SCALE = 2048.0;
    static uint16_t EncodeCost(double dCost);

    CSegment() = default;
    CSegment(const CSegment&) = delete;  // scratch space of one thread
    CSegment& operator=(const CSegment&) = delete;

    // BestPath: the words of the best path over atoms [nFirst, nLast) of sText into vecWords (appended).
    // With bNoWhole the word spanning the whole range is not a candidate (finer segmentation).
    void BestPath(const char* sText, const std::vector<_stAtom>& vecAtoms, size_t nFirst, size_t nLast,
                  const _stLexicon& lex, bool bNoWhole, std::vector<_stWord>& vecWords);

private:
    struct Edge {
        int nFrom, nTo;   // atom indexes, relative to the range
        int nHandle;      // dictionary handle, -1 when none
        int nSource;      // WordSource
        double dCost;
        const char* sTag;
        double dBest;     // lowest cost of a path ending with this edge
        int nPrevEdge;    // the edge before it on that path, -1 at the start
    };
    void AddEdge(int nFrom, int nTo, int nHandle, int nSource, double dCost, const char* sTag);

    std::vector<Edge> m_vecEdges;
    std::vector<int> m_vecBadBlanks;  // per atom boundary: blanks before it that no word may hold
    std::vector<int> m_vecEndAtom;    // byte offset (relative) -> atom index ending there + 1, 0 when none
    std::vector<int> m_vecEndsAt;     // per atom boundary: first edge ending there (linked list)
    std::vector<int> m_vecNextEnd;    // per edge: next edge with the same end
    std::vector<double> m_vecBestAt;  // per boundary: lowest cost of reaching it
    std::vector<int> m_vecBestEdge;   // per boundary: the last edge of that path
};

#endif  // VINTREL_DORVANE_SEGMENT_SEGMENT_H_

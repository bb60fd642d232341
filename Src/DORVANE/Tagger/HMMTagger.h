// HMMTagger.h: CHMMTagger, which gives every word of a segmented text its part of speech.
#ifndef VINTREL_DORVANE_TAGGER_HMMTAGGER_H_
#define VINTREL_DORVANE_TAGGER_HMMTAGGER_H_

#include <vector>

#include "DORVANE/Segment/Segment.h"

class CContextStat;
class CPOS;

// The tables the tagger reads; any pointer may be null.
struct _stTagTables {
    const CPOS* pCorePOS = nullptr;       // core handle -> tags with frequencies
    const std::vector<_stCoreWord>* pCoreWords = nullptr;  // core handle -> its tag when it has one
    const CPOS* pFieldPOS = nullptr;      // field handle -> tags
    const CContextStat* pContext = nullptr;  // tag start and transition log probabilities
};

// CHMMTagger: each word gets the candidate tags of its dictionary entry (or of the special entry of
// its kind: number, time, letter string, person; "w" for marks; the user's tag for user words); where
// some word has several, the sequence with the highest product of P(tag | word) and the context
// probabilities P(tag | previous tag) wins (Viterbi). Threads: one tagger per thread.
class CHMMTagger {
public:
    static constexpr int MAX_CANDIDATES = 8;

    CHMMTagger() = default;
    CHMMTagger(const CHMMTagger&) = delete;  // scratch space of one thread
    CHMMTagger& operator=(const CHMMTagger&) = delete;

    // Tag: sets nTag of every word in vecWords.
    void Tag(std::vector<_stWord>& vecWords, const _stTagTables& tables);

private:
    struct Cand {
        int nTag;
        double dLogProb;  // log P(tag | word)
    };
    void Candidates(const _stWord& word, const _stTagTables& tables, std::vector<Cand>& vecOut) const;

    std::vector<Cand> m_vecCands;     // MAX_CANDIDATES per word
    std::vector<int> m_vecCount;      // candidates per word
    std::vector<double> m_vecScore;   // Viterbi scores, MAX_CANDIDATES per word
    std::vector<int> m_vecBack;       // back pointers, MAX_CANDIDATES per word
    std::vector<Cand> m_vecOne;       // the candidates of one word
};

#endif  // VINTREL_DORVANE_TAGGER_HMMTAGGER_H_

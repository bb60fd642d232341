// Segment.cpp: CSegment.
//
// The lattice has one node per atom boundary. Its edges: every atom on its own; every word of the
// core, field and user dictionaries that starts at an atom start and ends at an atom end; the user
// words of the call. The best path is found forwards over the boundaries; with bigram data each
// edge's cost depends on the edge before it, so the search keeps the best path per edge.
#include "DORVANE/Segment/Segment.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "DORVANE/Segment/Bigram.h"
#include "Utility/PDAT.h"
#include "Utility/Trie.h"
#include "Utility/Unigram.h"

namespace {

constexpr int MAX_PREFIXES = 32;
constexpr int PREFETCH_AHEAD = 5;  // atoms
constexpr double USER_PRIOR_BONUS = 1.0e6;  // per atom of a user word with UserDictPrior
constexpr double BIGRAM_WEIGHT = 0.9;       // share of the bigram estimate in the smoothed one

}  // namespace

uint16_t CSegment::EncodeCost(double dCost) {
    double d = std::round(dCost * COST_SCALE);
    return static_cast<uint16_t>(d < 0 ? 0 : d > 65535 ? 65535 : d);
}

CCallWords::CCallWords(const std::vector<std::string>& vecWords) {
    std::unordered_map<std::string, bool> mapSeen;
    for (const std::string& w : vecWords) {
        if (w.empty() || !mapSeen.emplace(w, true).second) continue;
        m_mapBuckets[Key(w.data(), w.size())].push_back(&w);
        ++m_nWords;
    }
}

unsigned CCallWords::Key(const char* s, size_t nLen) {
    const unsigned c0 = static_cast<unsigned char>(s[0]);
    return nLen < 2 ? c0 : (c0 << 8 | static_cast<unsigned char>(s[1])) + 256;
}

int CCallWords::Prefixes(const char* sText, size_t nRest, int* pLengths, int nMax) const {
    int nCount = 0;
    // Words of one byte and of two or more are kept apart; both may start here.
    for (size_t nKeyLen = 1; nKeyLen <= 2 && nKeyLen <= nRest; ++nKeyLen) {
        auto it = m_mapBuckets.find(Key(sText, nKeyLen));
        if (it == m_mapBuckets.end()) continue;
        for (const std::string* w : it->second) {
            if (nCount == nMax) return nCount;
            if (w->size() <= nRest && std::memcmp(sText, w->data(), w->size()) == 0) {
                pLengths[nCount++] = static_cast<int>(w->size());
            }
        }
    }
    return nCount;
}

void CSegment::AddEdge(int nFrom, int nTo, int nHandle, int nSource, double dCost, const char* sTag) {
    Edge e{nFrom, nTo, nHandle, nSource, dCost, sTag, 0, -1};
    m_vecEdges.push_back(e);
}

void CSegment::BestPath(const char* sText, const std::vector<_stAtom>& vecAtoms, size_t nFirst,
                        size_t nLast, const _stLexicon& lex, bool bNoWhole, std::vector<_stWord>& vecWords) {
    if (sText == nullptr || nFirst >= nLast || nLast > vecAtoms.size()) return;
    const int n = static_cast<int>(nLast - nFirst);
    const _stAtom* atoms = vecAtoms.data() + nFirst;
    const int nBase = atoms[0].nStart;
    const int nBytes = atoms[n - 1].nStart + atoms[n - 1].nLen - nBase;
    const char* s = sText + nBase;

    m_vecEndAtom.assign(static_cast<size_t>(nBytes) + 1, 0);
    for (int i = 0; i < n; ++i) m_vecEndAtom[static_cast<size_t>(atoms[i].nStart + atoms[i].nLen - nBase)] = i + 1;
    m_vecEdges.clear();
    // A word may hold single spaces (user words such as "free tibet") but no other blank, and it never
    // ends with one, so that the output stays readable as words between two-blank boundaries.
    m_vecBadBlanks.assign(static_cast<size_t>(n) + 1, 0);
    for (int i = 0; i < n; ++i) {
        bool bBad = atoms[i].nType == ATOM_BLANK && !(atoms[i].nLen == 1 && s[atoms[i].nStart - nBase] == ' ');
        m_vecBadBlanks[static_cast<size_t>(i) + 1] = m_vecBadBlanks[static_cast<size_t>(i)] + (bBad ? 1 : 0);
    }

    const double dUserCost = lex.dLogTotal - std::log(USER_FREQ);
    const double dUnknownCost = lex.dLogTotal - std::log(UNKNOWN_FREQ);
    auto CoreCost = [&](int nHandle) {
        if (lex.pWords != nullptr && nHandle >= 0 && static_cast<size_t>(nHandle) < lex.pWords->size())
            return (*lex.pWords)[static_cast<size_t>(nHandle)].nCost / COST_SCALE;
        return dUnknownCost;
    };
    auto Penalty = [](int nAtoms) { return nAtoms > 2 ? LENGTH_PENALTY * (nAtoms - 2) : 0.0; };

    int handles[MAX_PREFIXES];
    int lengths[MAX_PREFIXES];
    const char* tags[MAX_PREFIXES];
    int coreHandles[MAX_PREFIXES];
    int coreLengths[MAX_PREFIXES];
    for (int i = 0; i < n; ++i) {
        const _stAtom& atom = atoms[i];
        const int nOffset = atom.nStart - nBase;
        const size_t nRest = static_cast<size_t>(nBytes - nOffset);
        const size_t nWindow = nRest < static_cast<size_t>(MAX_WORD_BYTES) ? nRest : MAX_WORD_BYTES;
        bool bWhole = bNoWhole && i == 0;
        // The walk of a later atom waits for memory: start fetching its second cell a few atoms ahead
        // (the first cells are few and stay in the cache), and the costs of the words it may find,
        // which lie near the cost of its first character since words that start alike have near
        // handles.
        if (lex.pCore != nullptr && i + PREFETCH_AHEAD < n) {
            const int nAhead = atoms[i + PREFETCH_AHEAD].nStart - nBase;
            int nNear = lex.pCore->Prefetch(s + nAhead, static_cast<size_t>(nBytes - nAhead), 2);
            if (nNear >= 0 && lex.pWords != nullptr && static_cast<size_t>(nNear) < lex.pWords->size())
                __builtin_prefetch(lex.pWords->data() + nNear);
        }
        // Every core word starting here (none starts with a blank, a mark or a stray byte).
        int nAtomHandle = -1;
        int nCoreCount = 0;
        if (lex.pCore != nullptr && atom.nType != ATOM_BLANK && atom.nType != ATOM_PUNCT && atom.nType != ATOM_OTHER)
            nCoreCount = lex.pCore->PrefixWords(s + nOffset, nWindow, coreHandles, coreLengths, MAX_PREFIXES);
        for (int k = 0; k < nCoreCount && coreLengths[k] <= atom.nLen; ++k)
            if (coreLengths[k] == atom.nLen) nAtomHandle = coreHandles[k];
        int nCount = 0;
        // The atom on its own, unless it is the whole range of a finer segmentation.
        if (!(bWhole && n == 1)) {
            if (nAtomHandle >= 0) {
                AddEdge(i, i + 1, nAtomHandle, WORD_CORE, CoreCost(nAtomHandle), nullptr);
            } else if (atom.nType == ATOM_CHAR || atom.nType == ATOM_OTHER) {
                AddEdge(i, i + 1, -1, WORD_UNKNOWN, dUnknownCost, nullptr);
            } else {
                int nEntry = atom.nType == ATOM_NUMBER ? lex.nNumberHandle
                             : atom.nType == ATOM_TIME  ? lex.nTimeHandle
                             : atom.nType == ATOM_LETTERS ? lex.nLettersHandle
                                                          : -1;
                double dCost = nEntry >= 0 ? CoreCost(nEntry) : dUnknownCost;
                AddEdge(i, i + 1, nEntry, WORD_ATOM, dCost, nullptr);
            }
        }
        if (atom.nType == ATOM_BLANK) continue;  // no word starts with a blank
        // Dictionary words over several atoms.
        auto AddMatches = [&](int nMatches, int nSource, bool bTags) {
            for (int k = 0; k < nMatches; ++k) {
                int nEnd = lengths[k] + nOffset;
                if (nEnd > nBytes) continue;
                int nTo = m_vecEndAtom[static_cast<size_t>(nEnd)];
                if (nTo <= i + 1) continue;  // a single atom, or not ending at an atom end
                if (atoms[nTo - 1].nType == ATOM_BLANK ||
                    m_vecBadBlanks[static_cast<size_t>(nTo)] != m_vecBadBlanks[static_cast<size_t>(i)])
                    continue;
                if (bNoWhole && i == 0 && nTo == n) continue;
                if (nSource == WORD_USER) {
                    double dCost = lex.bUserPrior ? -USER_PRIOR_BONUS * (nTo - i) : dUserCost;
                    AddEdge(i, nTo, -1, WORD_USER, dCost, bTags ? tags[k] : nullptr);
                } else if (nSource == WORD_FIELD) {
                    AddEdge(i, nTo, handles[k], WORD_FIELD, dUserCost, nullptr);  // a domain word: as a user word
                } else {
                    if (lex.pGran != nullptr && lex.pGran->Find(s + nOffset, static_cast<unsigned>(lengths[k])) >= 0)
                        continue;
                    AddEdge(i, nTo, handles[k], WORD_CORE, CoreCost(handles[k]) + Penalty(nTo - i), nullptr);
                }
            }
        };
        if (nCoreCount > 0) {
            std::copy(coreHandles, coreHandles + nCoreCount, handles);
            std::copy(coreLengths, coreLengths + nCoreCount, lengths);
            AddMatches(nCoreCount, WORD_CORE, false);
        }
        if (lex.pField != nullptr) {
            nCount = lex.pField->PrefixWords(s + nOffset, nWindow, handles, lengths, MAX_PREFIXES);
            AddMatches(nCount, WORD_FIELD, false);
        }
        // User words; one that is this atom alone still counts as a user word.
        bool bUserAtom = false;
        const char* sAtomTag = nullptr;
        if (lex.pUser != nullptr) {
            nCount = lex.pUser->PrefixWords(s + nOffset, nWindow, lengths, tags, MAX_PREFIXES);
            for (int k = 0; k < nCount; ++k) {
                if (lengths[k] != atom.nLen) continue;
                bUserAtom = true;
                sAtomTag = tags[k];
            }
            AddMatches(nCount, WORD_USER, true);
        }
        if (lex.pExtra != nullptr) {
            nCount = lex.pExtra->Prefixes(s + nOffset, nRest, lengths, MAX_PREFIXES);
            for (int k = 0; k < nCount; ++k) bUserAtom = bUserAtom || lengths[k] == atom.nLen;
            AddMatches(nCount, WORD_USER, false);
        }
        if (bUserAtom && !(bWhole && n == 1))
            AddEdge(i, i + 1, -1, WORD_USER, lex.bUserPrior ? -USER_PRIOR_BONUS : dUserCost, sAtomTag);
    }

    // Forward search. Edges were added in order of their start atom.
    const bool bBigram = lex.pBigram != nullptr && lex.pBigram->GetCount() > 0 && lex.pUnigram != nullptr;
    const double kInf = std::numeric_limits<double>::infinity();
    m_vecBestAt.assign(static_cast<size_t>(n) + 1, kInf);
    m_vecBestEdge.assign(static_cast<size_t>(n) + 1, -1);
    m_vecEndsAt.assign(static_cast<size_t>(n) + 1, -1);
    m_vecNextEnd.assign(m_vecEdges.size(), -1);
    m_vecBestAt[0] = 0;
    for (size_t e = 0; e < m_vecEdges.size(); ++e) {
        Edge& edge = m_vecEdges[e];
        const size_t nFrom = static_cast<size_t>(edge.nFrom);
        if (m_vecBestAt[nFrom] == kInf) continue;  // cannot be reached
        if (!bBigram || edge.nSource != WORD_CORE || edge.nHandle < 0) {
            edge.dBest = m_vecBestAt[nFrom] + edge.dCost;
            edge.nPrevEdge = m_vecBestEdge[nFrom];
        } else {
            // Smoothed: -log((1 - w) * P(b) + w * P(b | a)) for each edge a ending where this one starts.
            double dUni = std::exp(-edge.dCost);  // P(b), length penalty included
            edge.dBest = kInf;
            auto Try = [&](int nPrevEdge, int nLeft, double dBefore) {
                double dProb = (1 - BIGRAM_WEIGHT) * dUni;
                int nLeftFreq = nLeft >= 0 ? lex.pUnigram->GetFreq(nLeft) : 0;
                int nPair = nLeft >= 0 ? lex.pBigram->GetFreq(nLeft, edge.nHandle) : 0;
                if (nPair > 0 && nLeftFreq > 0) dProb += BIGRAM_WEIGHT * nPair / static_cast<double>(nLeftFreq);
                else dProb = dUni;
                double dCost = dBefore - std::log(dProb);
                if (dCost < edge.dBest) {
                    edge.dBest = dCost;
                    edge.nPrevEdge = nPrevEdge;
                }
            };
            if (nFrom == 0) {
                Try(-1, lex.nSentStart, 0);
            } else {
                for (int p = m_vecEndsAt[nFrom]; p >= 0; p = m_vecNextEnd[static_cast<size_t>(p)]) {
                    const Edge& prev = m_vecEdges[static_cast<size_t>(p)];
                    if (prev.dBest == kInf) continue;
                    Try(p, prev.nSource == WORD_CORE ? prev.nHandle : -1, prev.dBest);
                }
            }
        }
        const size_t nTo = static_cast<size_t>(edge.nTo);
        m_vecNextEnd[e] = m_vecEndsAt[nTo];
        m_vecEndsAt[nTo] = static_cast<int>(e);
        if (edge.dBest < m_vecBestAt[nTo]) {
            m_vecBestAt[nTo] = edge.dBest;
            m_vecBestEdge[nTo] = static_cast<int>(e);
        }
    }
    // Back from the end. Every atom has its own edge, so the end is always reached, except in a finer
    // segmentation of a single atom, which has no path: the words stay as they were.
    int e = m_vecBestEdge[static_cast<size_t>(n)];
    if (e < 0) return;
    size_t nOld = vecWords.size();
    while (e >= 0) {
        const Edge& edge = m_vecEdges[static_cast<size_t>(e)];
        const _stAtom& first = atoms[edge.nFrom];
        const _stAtom& last = atoms[edge.nTo - 1];
        _stWord w;
        w.nStart = first.nStart;
        w.nLen = last.nStart + last.nLen - first.nStart;
        w.nHandle = edge.nHandle;
        w.nSource = edge.nSource;
        w.nAtomType = first.nType;
        w.nAtoms = edge.nTo - edge.nFrom;
        w.nTag = -1;
        w.sTag = edge.sTag;
        vecWords.push_back(w);
        e = edge.nPrevEdge;
    }
    std::reverse(vecWords.begin() + static_cast<std::ptrdiff_t>(nOld), vecWords.end());
}

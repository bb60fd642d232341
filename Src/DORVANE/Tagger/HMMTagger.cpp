// HMMTagger.cpp: CHMMTagger.
#include "DORVANE/Tagger/HMMTagger.h"

#include <cmath>
#include <limits>

#include "DORVANE/API/GRAVO.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"

namespace {

// Tags of a dictionary entry, by frequency, as candidates.
template <class F>
void FromPOS(const CPOS* pPOS, int nHandle, F add) {
    if (pPOS == nullptr || nHandle < 0) return;
    int nCount = 0;
    const POS_info* pInfo = pPOS->GetPOS(nHandle, &nCount);
    if (pInfo == nullptr || nCount <= 0) return;
    double dTotal = 0;
    for (int i = 0; i < nCount; ++i) dTotal += pInfo[i].freq > 0 ? pInfo[i].freq : 1;
    for (int i = 0; i < nCount; ++i)
        add(pInfo[i].POS_id, std::log((pInfo[i].freq > 0 ? pInfo[i].freq : 1) / dTotal));
}

}  // namespace

void CHMMTagger::Candidates(const _stWord& word, const _stTagTables& tables, std::vector<Cand>& vecOut) const {
    vecOut.clear();
    auto add = [&](int nTag, double dLogProb) {
        if (nTag >= 0 && nTag < CPOSmap::NO_CLASS && vecOut.size() < static_cast<size_t>(MAX_CANDIDATES))
            vecOut.push_back(Cand{nTag, dLogProb});
    };
    switch (word.nSource) {
        case WORD_PERSON:
            add(g_nTagPerson, 0);
            break;
        case WORD_USER: {
            int nTag = -1;
            if (word.sTag != nullptr && word.sTag[0] != '\0' && g_ppPOSmap != nullptr && g_ppPOSmap[3] != nullptr) {
                nTag = g_ppPOSmap[3]->GetID(word.sTag);
                if (nTag == CPOSmap::NO_CLASS) nTag = -1;
            }
            add(nTag >= 0 ? nTag : g_nTagNoun, 0);
            break;
        }
        case WORD_FIELD:
            FromPOS(tables.pFieldPOS, word.nHandle, add);
            break;
        case WORD_CORE:
        case WORD_ATOM:
            if (tables.pCoreWords != nullptr && word.nHandle >= 0 &&
                static_cast<size_t>(word.nHandle) < tables.pCoreWords->size() &&
                (*tables.pCoreWords)[static_cast<size_t>(word.nHandle)].nTag != CPOSmap::NO_CLASS &&
                !((*tables.pCoreWords)[static_cast<size_t>(word.nHandle)].nFlags & CORE_SEVERAL_TAGS)) {
                add((*tables.pCoreWords)[static_cast<size_t>(word.nHandle)].nTag, 0);  // the common case
            } else {
                FromPOS(tables.pCorePOS, word.nHandle, add);
            }
            break;
        default:
            break;
    }
    if (vecOut.empty()) {
        if (word.nAtomType == ATOM_PUNCT) add(g_nTagPunct, 0);
        else if (word.nAtomType == ATOM_NUMBER) add(g_nTagNumber, 0);
        else add(g_nTagUnknown, 0);
        if (vecOut.empty()) vecOut.push_back(Cand{0, 0});
    }
}

void CHMMTagger::Tag(std::vector<_stWord>& vecWords, const _stTagTables& tables) {
    const size_t n = vecWords.size();
    if (n == 0) return;
    m_vecCands.resize(n * MAX_CANDIDATES);
    m_vecCount.assign(n, 0);
    bool bChoice = false;
    std::vector<Cand>& vecOne = m_vecOne;
    for (size_t i = 0; i < n; ++i) {
        Candidates(vecWords[i], tables, vecOne);
        m_vecCount[i] = static_cast<int>(vecOne.size());
        for (size_t k = 0; k < vecOne.size(); ++k) m_vecCands[i * MAX_CANDIDATES + k] = vecOne[k];
        if (vecOne.size() > 1) bChoice = true;
    }
    if (!bChoice || tables.pContext == nullptr || tables.pContext->GetSize() == 0) {
        // Each word's most frequent tag (the candidates come most frequent first).
        for (size_t i = 0; i < n; ++i) {
            const Cand* c = &m_vecCands[i * MAX_CANDIDATES];
            int nBest = 0;
            for (int k = 1; k < m_vecCount[i]; ++k)
                if (c[k].dLogProb > c[nBest].dLogProb) nBest = k;
            vecWords[i].nTag = c[nBest].nTag;
        }
        return;
    }
    const CContextStat& ctx = *tables.pContext;
    const double kNone = -std::numeric_limits<double>::infinity();
    m_vecScore.assign(n * MAX_CANDIDATES, kNone);
    m_vecBack.assign(n * MAX_CANDIDATES, 0);
    for (int k = 0; k < m_vecCount[0]; ++k) {
        const Cand& c = m_vecCands[k];
        m_vecScore[static_cast<size_t>(k)] = c.dLogProb + ctx.GetStart(c.nTag);
    }
    for (size_t i = 1; i < n; ++i) {
        for (int k = 0; k < m_vecCount[i]; ++k) {
            const Cand& c = m_vecCands[i * MAX_CANDIDATES + static_cast<size_t>(k)];
            double dBest = kNone;
            int nBack = 0;
            for (int j = 0; j < m_vecCount[i - 1]; ++j) {
                const Cand& p = m_vecCands[(i - 1) * MAX_CANDIDATES + static_cast<size_t>(j)];
                double d = m_vecScore[(i - 1) * MAX_CANDIDATES + static_cast<size_t>(j)] +
                           ctx.GetTrans(p.nTag, c.nTag);
                if (d > dBest) {
                    dBest = d;
                    nBack = j;
                }
            }
            m_vecScore[i * MAX_CANDIDATES + static_cast<size_t>(k)] = dBest + c.dLogProb;
            m_vecBack[i * MAX_CANDIDATES + static_cast<size_t>(k)] = nBack;
        }
    }
    int nBest = 0;
    for (int k = 1; k < m_vecCount[n - 1]; ++k)
        if (m_vecScore[(n - 1) * MAX_CANDIDATES + static_cast<size_t>(k)] >
            m_vecScore[(n - 1) * MAX_CANDIDATES + static_cast<size_t>(nBest)])
            nBest = k;
    for (size_t i = n; i-- > 0;) {
        vecWords[i].nTag = m_vecCands[i * MAX_CANDIDATES + static_cast<size_t>(nBest)].nTag;
        nBest = m_vecBack[i * MAX_CANDIDATES + static_cast<size_t>(nBest)];
    }
}

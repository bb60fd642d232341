// MainSystem.cpp: CMainSystem.
#include "DORVANE/System/MainSystem.h"

#include <cctype>
#include <cstring>
#include <memory>

#include "DORVANE/API/GRAVO.h"
#include "DORVANE/Segment/FSA.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"
#include "Utility/PDAT.h"

namespace {

// Symbols of the person-name automaton: family name, given-name character, two-character family name.
constexpr int ROLE_SURNAME = 0;
constexpr int ROLE_GIVEN = 1;
constexpr int ROLE_DOUBLE_SURNAME = 2;
// Words of at least this many bytes are followed by their pieces with "FinerSegCombined".
constexpr int FINER_MIN_BYTES = 7;

// Roles: the person-name roles of a core word (CORE_ROLE_* bits), 0 for no word.
int Roles(int nHandle) {
    if (nHandle < 0 || static_cast<size_t>(nHandle) >= g_vecCoreWords.size()) return 0;
    return g_vecCoreWords[static_cast<size_t>(nHandle)].nFlags;
}

// The handle of the core word that is the nLen bytes at s, or -1.
int CoreHandle(const char* s, int nLen) {
    if (g_pCoreDict == nullptr || nLen <= 0) return -1;
    return g_pCoreDict->Find(s, static_cast<unsigned int>(nLen));
}

// The most frequent tag of a core word, 255 when it has none.
int TopTag(int nHandle) {
    if (nHandle < 0 || static_cast<size_t>(nHandle) >= g_vecCoreWords.size()) return CPOSmap::NO_CLASS;
    return g_vecCoreWords[static_cast<size_t>(nHandle)].nTag;
}

bool IsSingleChar(const _stWord& w) {
    return w.nAtoms == 1 && w.nAtomType == ATOM_CHAR && w.nLen == 2 &&
           (w.nSource == WORD_CORE || w.nSource == WORD_UNKNOWN);
}

_stWord Piece(const _stWord& w, int nOffset, int nLen) {
    _stWord p = w;
    p.nStart = w.nStart + nOffset;
    p.nLen = nLen;
    p.nAtoms = nLen / 2;
    p.nSource = WORD_PERSON;
    p.nHandle = -1;
    p.sTag = nullptr;
    return p;
}

}  // namespace

CMainSystem::CMainSystem() = default;
CMainSystem::~CMainSystem() = default;

void CMainSystem::RecognizePersons(const char* sText) {
    if (g_pPersonRole == nullptr) return;
    m_vecScratch.clear();
    bool bChanged = false;  // words are copied to the scratch list only from the first change on
    auto Change = [&](size_t i) {
        if (!bChanged) m_vecScratch.assign(m_vecWords.begin(), m_vecWords.begin() + static_cast<std::ptrdiff_t>(i));
        bChanged = true;
    };
    const size_t n = m_vecWords.size();
    for (size_t i = 0; i < n; ++i) {
        const _stWord& w = m_vecWords[i];
        // A known name: family name + given name, every character of the given name seen in names.
        if (w.nSource == WORD_CORE && w.nAtomType == ATOM_CHAR && w.nLen == 2 * w.nAtoms && w.nAtoms >= 2 &&
            w.nAtoms <= 4 && TopTag(w.nHandle) == g_nTagPerson) {
            const char* s = sText + w.nStart;
            int nSurname = 0;
            if (w.nAtoms >= 3 && (Roles(CoreHandle(s, 4)) & CORE_ROLE_DOUBLE_SURNAME)) nSurname = 4;
            else if (w.nAtoms <= 3 && (Roles(CoreHandle(s, 2)) & CORE_ROLE_SURNAME)) nSurname = 2;
            bool bGiven = nSurname > 0;
            for (int k = nSurname; bGiven && k < w.nLen; k += 2)
                bGiven = (Roles(CoreHandle(s + k, 2)) & CORE_ROLE_GIVEN) != 0;
            if (bGiven) {
                Change(i);
                m_vecScratch.push_back(Piece(w, 0, nSurname));
                m_vecScratch.push_back(Piece(w, nSurname, w.nLen - nSurname));
                continue;
            }
        }
        // An unknown name: a family name and two single characters likely in given names.
        if (i + 2 < n && g_pPersonFSA != nullptr && IsSingleChar(m_vecWords[i + 1]) &&
            IsSingleChar(m_vecWords[i + 2]) && w.nStart + w.nLen == m_vecWords[i + 1].nStart &&
            m_vecWords[i + 1].nStart + 2 == m_vecWords[i + 2].nStart) {  // no blank between them
            int nRole = -1;
            if (IsSingleChar(w) && (Roles(w.nHandle) & CORE_ROLE_SURNAME)) nRole = ROLE_SURNAME;
            else if (w.nSource == WORD_CORE && w.nLen == 4 && (Roles(w.nHandle) & CORE_ROLE_DOUBLE_SURNAME))
                nRole = ROLE_DOUBLE_SURNAME;
            if (nRole >= 0 && (Roles(m_vecWords[i + 1].nHandle) & CORE_ROLE_GIVEN_OFTEN) &&
                (Roles(m_vecWords[i + 2].nHandle) & CORE_ROLE_GIVEN_OFTEN)) {
                int symbols[3] = {nRole, ROLE_GIVEN, ROLE_GIVEN};
                if (g_pPersonFSA->Match(symbols, 3) == 3) {
                    Change(i);
                    m_vecScratch.push_back(Piece(w, 0, w.nLen));
                    m_vecScratch.push_back(Piece(m_vecWords[i + 1], 0, 4));
                    i += 2;
                    continue;
                }
            }
        }
        if (bChanged) m_vecScratch.push_back(w);
    }
    if (bChanged) m_vecWords.swap(m_vecScratch);
}

void CMainSystem::MergeWords() {
    m_vecScratch.clear();
    for (size_t i = 0; i < m_vecWords.size(); ++i) {
        _stWord w = m_vecWords[i];
        if (i + 1 < m_vecWords.size()) {
            const _stWord& next = m_vecWords[i + 1];
            bool bName = w.nSource == WORD_PERSON && next.nSource == WORD_PERSON &&
                         w.nStart + w.nLen == next.nStart;
            bool bNumber = (w.nAtomType == ATOM_NUMBER || w.nTag == g_nTagNumber) && next.nTag == g_nTagMeasure &&
                           w.nStart + w.nLen == next.nStart;
            if (bName || bNumber) {
                w.nLen += next.nLen;
                w.nAtoms += next.nAtoms;
                if (bNumber) w.nTag = g_nTagNumMeasure;
                ++i;
            }
        }
        m_vecScratch.push_back(w);
    }
    m_vecWords.swap(m_vecScratch);
}

void CMainSystem::WriteWord(const char* sText, int nStart, int nLen, const char* sTag, bool bTags) {
    m_sResult.append(sText + nStart, static_cast<size_t>(nLen));
    if (bTags) {
        if (!g_sPOSDelimiter.empty()) m_sResult.push_back(g_sPOSDelimiter[0]);
        size_t nFrom = m_sResult.size();
        m_sResult.append(sTag);
        if (g_nPOSPresent == 1)
            for (size_t k = nFrom; k < m_sResult.size(); ++k)
                m_sResult[k] = static_cast<char>(std::toupper(static_cast<unsigned char>(m_sResult[k])));
    }
    if (g_sWordBoundary.size() >= 2) {
        m_sResult.push_back(g_sWordBoundary[0]);
        m_sResult.push_back(g_sWordBoundary[1]);
    } else {
        m_sResult.append(g_sWordBoundary);
    }
}

void CMainSystem::Write(const char* sText, bool bTags, const _stLexicon& lex) {
    const CPOSmap* pMap = g_ppPOSmap != nullptr ? g_ppPOSmap[g_nPosMap] : nullptr;
    for (const _stWord& w : m_vecWords) {
        const char* sTag = "";
        if (bTags) sTag = pMap != nullptr ? pMap->GetPOS(static_cast<unsigned char>(w.nTag < 0 ? 0 : w.nTag)) : "n";
        WriteWord(sText, w.nStart, w.nLen, sTag, bTags);
        if (!g_bFinerSegCombined || w.nLen < FINER_MIN_BYTES || w.nAtoms < 2) continue;
        CPreProcess pre(g_pCharset);
        pre.Atomize(sText + w.nStart, static_cast<size_t>(w.nLen), m_vecFinerAtoms);
        m_vecFiner.clear();
        m_segment.BestPath(sText + w.nStart, m_vecFinerAtoms, 0, m_vecFinerAtoms.size(), lex, true, m_vecFiner);
        for (const _stWord& piece : m_vecFiner)
            if (m_vecFiner.size() > 1) WriteWord(sText + w.nStart, piece.nStart, piece.nLen, "seg", bTags);
    }
}

const std::string& CMainSystem::Process(const char* sParagraph, bool bPOSTagged, bool bOutput,
                                        const std::vector<std::string>* pExtra) {
    m_sResult.clear();
    m_vecWords.clear();
    m_vecScratch.clear();
    if (sParagraph == nullptr || g_pCoreDict == nullptr) return m_sResult;
    const size_t nLen = std::strlen(sParagraph);
    CPreProcess pre(g_pCharset);
    pre.Atomize(sParagraph, nLen, m_vecAtoms);

    _stLexicon lex;
    lex.pCore = g_pCoreDict;
    lex.pUnigram = g_pUnigram;
    lex.pWords = &g_vecCoreWords;
    lex.dLogTotal = g_dCoreLogTotal;
    lex.pBigram = g_pBiDict;
    lex.pField = g_pFieldDict;
    lex.pGran = g_pGranDict;
    lex.pUser = m_pUserDict;
    std::unique_ptr<CCallWords> pCallWords;
    if (pExtra != nullptr && !pExtra->empty()) pCallWords.reset(new CCallWords(*pExtra));
    lex.pExtra = pCallWords && !pCallWords->Empty() ? pCallWords.get() : nullptr;
    lex.bUserPrior = g_bUserDictPrior;
    lex.nSentStart = gSent_StartID;
    lex.nNumberHandle = gUnknown_m_ID;
    lex.nTimeHandle = gUnknown_t_ID;
    lex.nLettersHandle = gUnknown_x_ID;

    // Blanks are atoms of the lattice (a user word may hold one) but not words of the output.
    m_segment.BestPath(sParagraph, m_vecAtoms, 0, m_vecAtoms.size(), lex, false, m_vecScratch);
    for (const _stWord& w : m_vecScratch)
        if (!(w.nAtoms == 1 && w.nAtomType == ATOM_BLANK)) m_vecWords.push_back(w);
    if (g_bNERPerson) RecognizePersons(sParagraph);
    bool bTags = bPOSTagged && g_bPOSTagger && g_nPOSPresent != 0;
    if (bTags || g_bWordMerged) {
        _stTagTables tables;
        tables.pCorePOS = g_pCorePOS;
        tables.pCoreWords = &g_vecCoreWords;
        tables.pFieldPOS = g_pFieldPOS;
        tables.pContext = g_pPOSContext;
        m_tagger.Tag(m_vecWords, tables);
    }
    if (g_bWordMerged) MergeWords();
    if (bOutput) {
        m_sResult.reserve(nLen * 3 + 16);
        Write(sParagraph, bTags, lex);
    }
    return m_sResult;
}

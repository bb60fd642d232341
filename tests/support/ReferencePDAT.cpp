// ReferencePDAT.cpp: see ReferencePDAT.h. Written for clarity, not speed: every step is the plain form of
// the rule it follows.
#include "support/ReferencePDAT.h"

#include <algorithm>
#include <map>
#include <set>

namespace vt_test {

namespace {

// Mode 2 foldings of double-byte characters.
const std::map<int, int>& FoldTable() {
    static const std::map<int, int> mapFold = {
        {0xA3A8, '('}, {0xA1BE, '('},  // full-width left parenthesis, left black lenticular bracket
        {0xA3A9, ')'}, {0xA1BF, ')'},  // full-width right parenthesis, right black lenticular bracket
        {0xA1B0, '"'}, {0xA1B1, '"'},  // left and right double quotation marks
        {0xA1AE, '"'}, {0xA3A7, '"'},  // left single quotation mark, full-width apostrophe
    };
    return mapFold;
}

// Mode 2 separators: ASCII bytes and double-byte codes.
bool IsSeparator(int nCode, int nBytes) {
    static const std::set<int> setAscii = {' ', '\t', '\r', '\n', ',', '/', '_'};
    static const std::set<int> setDouble = {0xA3DC, 0xA3FC, 0xA3AC, 0xA3AE, 0xA1A3,
                                            0xA1A2, 0xA3AD, 0xA1AA, 0xAAA4};
    return nBytes == 1 ? setAscii.count(nCode) > 0 : setDouble.count(nCode) > 0;
}

int Lower(int c) { return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c; }

bool IsWhite(int c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

struct CReferencePDAT::Node {
    int code = 0;
    int handle = -1;
    int position = -1;
    std::vector<std::unique_ptr<Node>> children;  // insertion order

    Node* Child(int c) const {
        for (const auto& p : children) {
            if (p->code == c) return p.get();
        }
        return nullptr;
    }
};

std::vector<std::pair<int, int>> CReferencePDAT::Codes(const std::string& sText, int nMode) {
    // First the raw characters: single bytes in mode 1, otherwise a pair when a byte has its top bit set
    // and another byte follows.
    std::vector<std::pair<int, int>> vecRaw;
    for (size_t i = 0; i < sText.size();) {
        unsigned char c = static_cast<unsigned char>(sText[i]);
        if (nMode != 1 && c >= 0x80 && i + 1 < sText.size()) {
            vecRaw.push_back({c * 256 + static_cast<unsigned char>(sText[i + 1]), 2});
            i += 2;
        } else {
            vecRaw.push_back({c, 1});
            i += 1;
        }
    }
    std::vector<std::pair<int, int>> vecOut;
    for (size_t k = 0; k < vecRaw.size(); ++k) {
        int nCode = vecRaw[k].first, nBytes = vecRaw[k].second;
        if (nMode == 1) {
            vecOut.push_back({nCode, nBytes});
        } else if (nMode == 0) {
            vecOut.push_back({Lower(nCode), nBytes});
        } else if (IsSeparator(nCode, nBytes)) {
            int nRun = nBytes;
            while (k + 1 < vecRaw.size() && IsSeparator(vecRaw[k + 1].first, vecRaw[k + 1].second)) {
                ++k;
                nRun += vecRaw[k].second;
            }
            vecOut.push_back({9, nRun});
        } else if (nBytes == 2 && FoldTable().count(nCode)) {
            vecOut.push_back({FoldTable().at(nCode), 2});
        } else if (nBytes == 2 && nCode >= 0xA3B0 && nCode <= 0xA3B9) {
            vecOut.push_back({'0' + (nCode - 0xA3B0), 2});
        } else if (nBytes == 2 && nCode >= 0xA3C1 && nCode <= 0xA3DA) {
            vecOut.push_back({'a' + (nCode - 0xA3C1), 2});
        } else if (nBytes == 2 && nCode >= 0xA3E1 && nCode <= 0xA3FA) {
            vecOut.push_back({'a' + (nCode - 0xA3E1), 2});
        } else {
            vecOut.push_back({Lower(nCode), nBytes});
        }
    }
    return vecOut;
}

CReferencePDAT::CReferencePDAT(int nMode)
    : m_nMode(nMode), m_pRoot(new Node), m_vecFreq(65536, 0), m_vecRank(65536, -1) {}

CReferencePDAT::~CReferencePDAT() = default;

int CReferencePDAT::AddWord(const std::string& sWord, bool bFreq) {
    return Build(sWord, m_nCount, bFreq, false);
}

int CReferencePDAT::AddFilterWord(const std::string& sWord) {
    int h = AddWord(sWord, true);
    if (h >= 0 && h < static_cast<int>(m_vecTermFreq.size())) m_vecTermFreq[static_cast<size_t>(h)] = -1;
    return h;
}

int CReferencePDAT::FindWord(const std::string& sWord) { return Build(sWord, -1, false, true); }

int CReferencePDAT::Build(const std::string& sWordIn, int nHandle, bool bFreq, bool bFindOnly) {
    std::string sWord = sWordIn;
    if (sWord.compare(0, 3, "\xEF\xBB\xBF") == 0) sWord.erase(0, 3);
    if (m_nMode == 2) {
        for (;;) {
            if (sWord.size() < 2) break;
            unsigned char cLast = static_cast<unsigned char>(sWord.back());
            if (cLast >= 0x80) {
                int nCode = static_cast<unsigned char>(sWord[sWord.size() - 2]) * 256 + cLast;
                if (!IsSeparator(nCode, 2)) break;
                sWord.resize(sWord.size() - 2);
            } else {
                if (!IsSeparator(cLast, 1)) break;
                sWord.resize(sWord.size() - 1);
            }
        }
    }
    std::vector<std::pair<int, int>> vecCodes = Codes(sWord, m_nMode);
    Node* pNode = m_pRoot.get();
    for (size_t k = 0; k < vecCodes.size(); ++k) {
        int c = vecCodes[k].first;
        bool bLast = (k + 1 == vecCodes.size());
        if (c == 9) continue;
        ++m_vecFreq[static_cast<size_t>(c)];
        m_nLow = std::min(m_nLow, c);
        m_nHigh = std::max(m_nHigh, c);
        Node* pChild = pNode->Child(c);
        if (pChild == nullptr) {
            if (bFindOnly) return -1;
            pNode->children.push_back(std::make_unique<Node>());
            pChild = pNode->children.back().get();
            pChild->code = c;
        } else if (bLast && pChild->handle >= 0) {
            if (!bFindOnly && bFreq && pChild->handle < static_cast<int>(m_vecTermFreq.size()) &&
                m_vecTermFreq[static_cast<size_t>(pChild->handle)] >= 0) {
                ++m_vecTermFreq[static_cast<size_t>(pChild->handle)];
            }
            return pChild->handle;
        } else if (bLast && bFindOnly) {
            return -1;
        } else if (!bLast && bFreq && pChild->handle >= 0 &&
                   pChild->handle < static_cast<int>(m_vecTermFreq.size()) &&
                   m_vecTermFreq[static_cast<size_t>(pChild->handle)] < 0) {
            return -1;
        }
        if (bLast) {
            pChild->handle = nHandle;
            ++m_nCount;
            if (bFreq) m_vecTermFreq.push_back(1);
            return nHandle;
        }
        pNode = pChild;
    }
    return -1;
}

void CReferencePDAT::Compile() {
    // Ranks: take the largest count each round (the first, lowest code on ties) until none is left.
    std::map<int, int> mapLeft;
    for (int c = m_nLow; c <= m_nHigh; ++c) {
        if (m_vecFreq[static_cast<size_t>(c)] >= 1) mapLeft[c] = m_vecFreq[static_cast<size_t>(c)];
    }
    m_vecRank.assign(65536, -1);
    for (int nRank = 0; !mapLeft.empty(); ++nRank) {
        auto best = mapLeft.begin();
        for (auto it = mapLeft.begin(); it != mapLeft.end(); ++it) {
            if (it->second > best->second) best = it;
        }
        m_vecRank[static_cast<size_t>(best->first)] = nRank;
        mapLeft.erase(best);
    }

    std::vector<Cell> vecCells;
    bool bUsed = false;
    int nMax = 0;
    auto at = [&](int i) -> Cell& {
        if (i >= static_cast<int>(vecCells.size())) vecCells.resize(static_cast<size_t>(i) + 100);
        if (!bUsed || i > nMax) nMax = i;
        bUsed = true;
        return vecCells[static_cast<size_t>(i)];
    };
    auto isFree = [&](int i) {
        return i >= static_cast<int>(vecCells.size()) ||
               (vecCells[static_cast<size_t>(i)].base == -1 && vecCells[static_cast<size_t>(i)].check == -1);
    };
    auto rank = [&](const Node* p) { return m_vecRank[static_cast<size_t>(p->code)]; };

    std::vector<Node*> vecList;
    for (auto& p : m_pRoot->children) {
        int i = rank(p.get());
        p->position = i;
        at(i).check = -2;
        if (p->children.empty()) {
            at(i).base = -i;
            at(i).handle = p->handle;
        }
        vecList.push_back(p.get());
    }
    for (;;) {
        vecList.erase(std::remove_if(vecList.begin(), vecList.end(),
                                     [](Node* p) { return p->children.empty(); }),
                      vecList.end());
        if (vecList.empty()) break;
        size_t nPick = 0;
        for (size_t k = 1; k < vecList.size(); ++k) {
            if (vecList[k]->children.size() > vecList[nPick]->children.size()) nPick = k;
        }
        Node* e = vecList[nPick];
        int b = 1;
        for (;;) {
            if (b == e->position && e->handle >= 0) ++b;
            bool bFits = true;
            for (auto& c : e->children) bFits = bFits && isFree(b + rank(c.get()));
            if (bFits) break;
            ++b;
        }
        if (e->handle >= 0) {
            at(e->position).base = -b;
            at(e->position).handle = e->handle;
        } else {
            at(e->position).base = b;
        }
        for (auto& c : e->children) {
            int i = b + rank(c.get());
            c->position = i;
            at(i).check = e->position;
            if (c->children.empty()) {
                at(i).base = -i;
                at(i).handle = c->handle;
            }
        }
        vecList[nPick] = e->children.front().get();
        for (size_t k = 1; k < e->children.size(); ++k) vecList.push_back(e->children[k].get());
    }
    m_nLowerBound = bUsed ? nMax : 0;
    if (bUsed) vecCells.resize(static_cast<size_t>(nMax) + 1);
    m_vecCells = vecCells;
}

int CReferencePDAT::Find(const std::string& sWordIn) const {
    std::string sWord = sWordIn;
    if (sWord.size() > 2 && sWord.compare(0, 3, "\xEF\xBB\xBF") == 0) sWord.erase(0, 3);
    if (sWord.size() > 1 && sWord.front() == '"' && sWord.back() == '"') {
        sWord = sWord.substr(1, sWord.size() - 2);
    }
    const Node* pNode = m_pRoot.get();
    bool bPrevWhite = false, bAny = false;
    for (const auto& code : Codes(sWord, m_nMode)) {
        int c = code.first;
        if (IsWhite(c)) {
            if (bPrevWhite) continue;
            c = ' ';
            bPrevWhite = true;
        } else {
            bPrevWhite = false;
        }
        pNode = pNode->Child(c);
        if (pNode == nullptr || m_vecRank[static_cast<size_t>(c)] < 0) return -1;
        bAny = true;
    }
    return bAny ? pNode->handle : -1;
}

int CReferencePDAT::GetMaxWord(const std::string& sText, int* pHandle) const {
    const Node* pNode = m_pRoot.get();
    int nBest = 0, nBestHandle = -1, nBytes = 0;
    bool bPrevWhite = false;
    for (const auto& code : Codes(sText, m_nMode)) {
        int c = code.first;
        nBytes += code.second;
        if (IsWhite(c)) {
            if (bPrevWhite) continue;
            c = ' ';
            bPrevWhite = true;
        } else {
            bPrevWhite = false;
        }
        pNode = pNode->Child(c);
        if (pNode == nullptr) break;
        if (pNode->handle >= 0 || pNode->children.empty()) {
            nBest = nBytes;
            nBestHandle = pNode->handle;
        }
        if (pNode->children.empty()) break;
    }
    *pHandle = nBestHandle;
    return nBest;
}

}  // namespace vt_test

// Trie.cpp: CTrie, the modifiable dictionary of user words.
//
// The trie is a first-child / next-sibling tree stored in one CDynamicArry: every node holds the
// character code of the edge into it, the index of its first child and of its next sibling (-1 for
// none), and, when a word ends there, the word's handle, tag and addition count. The root
// (character 0) is the first node created and never holds a word. Character codes come from
// GetCharCode: a GBK pair is one code (lead << 8 | trail), every other byte its own code with ASCII
// capitals folded.
//
// Adding walks the word's codes from the root; at each level the child list is searched in order
// and a missing child is appended at its end, so children stay in the order they were first added
// (Export relies on it). Deleting only sets the handle to -1: nodes are never freed or reused, the
// addition count stays, and adding the word again issues a fresh handle. Lookups walk the same
// child lists; each list walk is bounded by the node count so that even a damaged array cannot make
// them loop.
//
// The trie file is the three counts of the trie followed by the node array (CDynamicArry::Save).
// Loading trusts nothing: the array checks its counts against the file size and each record's
// links; the trie then checks that the links form exactly one tree over all nodes, rooted at the
// stored root index (no node reached twice, none left out, child counts matching), which also rules
// out cycles for every walk.
#include "Utility/Trie.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Utility/Utility.h"

namespace {

// Largest item count we keep, so that GetWordNum (count + 1) stays inside int.
constexpr int MAX_ITEM_COUNT = INT_MAX - 1;
// FindChild's result for broken links.
constexpr int BROKEN_LINK = -2;
// A UTF-8 byte-order mark, skipped at the start of an imported line.
constexpr char UTF8_BOM[] = "\xEF\xBB\xBF";

// IsBlank: the white space that separates tokens (as isspace in the C locale).
bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// CopyToken: skips blanks at sCur, copies the following run of non-blank bytes into sOut with a NUL
// and leaves sCur after it; returns the token's length (0 when there is none). REQUIRES: sOut holds
// the token and its NUL.
size_t CopyToken(const char*& sCur, char* sOut) {
    while (IsBlank(*sCur)) ++sCur;
    size_t nLen = 0;
    while (*sCur != '\0' && !IsBlank(*sCur)) sOut[nLen++] = *sCur++;
    sOut[nLen] = '\0';
    return nLen;
}

// NextCode: the character code at nPos of a NUL-terminated text, without measuring the whole text:
// a lead byte forms a pair only when another byte follows. REQUIRES: sText[nPos] is not NUL.
unsigned int NextCode(const char* sText, int& nPos) {
    unsigned int nLen = static_cast<unsigned int>(nPos) + (sText[nPos + 1] != '\0' ? 2u : 1u);
    return GetCharCode(sText, nPos, nLen);
}

// AppendCode: appends the bytes of a character code (two for a pair, else one).
void AppendCode(std::string& sOut, uint32_t nCode) {
    if (nCode > 0xFF) sOut.push_back(static_cast<char>((nCode >> 8) & 0xFF));
    sOut.push_back(static_cast<char>(nCode & 0xFF));
}

}  // namespace

CTrie::CTrie() : m_pDynamicArry(new CDynamicArry()) {}

CTrie::~CTrie() = default;

void CTrie::Clear() {
    m_nItemCount = 0;
    m_nItemDelNum = 0;
    std::memset(m_sCurPos, 0, sizeof(m_sCurPos));
    m_pDynamicArry->Reset();
    m_iHeadIndex = -1;
}

void CTrie::SetWordTag(trie_elem* pElem, const char* sPos) {
    // Zero-padded so that the saved record never carries bytes of an earlier, longer tag.
    std::memset(pElem->sPos, 0, sizeof(pElem->sPos));
    std::strncpy(pElem->sPos, sPos, sizeof(pElem->sPos) - 1);
}

int CTrie::NewNode(unsigned int nCode) {
    int nIndex = m_pDynamicArry->NewElem();
    trie_elem* pElem = nullptr;
    if (nIndex < 0 || !m_pDynamicArry->GetElem(nIndex, pElem)) return -1;
    pElem->node = nCode;
    pElem->child_count = 0;
    pElem->children = -1;
    pElem->handle = -1;
    pElem->nextNode = -1;
    pElem->freq = 0;
    return nIndex;
}

int CTrie::FindChild(int nParent, unsigned int nCode, int* pLast) const {
    const CDynamicArry& array = *m_pDynamicArry;
    const trie_elem* pElem = nullptr;
    if (!array.GetElem(nParent, pElem)) return BROKEN_LINK;
    int nLast = -1;
    int nSteps = 0;
    for (int nIndex = pElem->children; nIndex != -1; nIndex = pElem->nextNode) {
        if (++nSteps > array.GetElemNum() || !array.GetElem(nIndex, pElem)) return BROKEN_LINK;
        if (pElem->node == nCode) return nIndex;
        nLast = nIndex;
    }
    if (pLast != nullptr) *pLast = nLast;
    return -1;
}

int CTrie::FindNode(const char* sWord, unsigned int nLen) const {
    if (!m_pDynamicArry->ValidateIndex(m_iHeadIndex)) return -1;
    int nCur = m_iHeadIndex;
    int nPos = 0;
    while (static_cast<unsigned int>(nPos) < nLen) {
        unsigned int nCode = GetCharCode(sWord, nPos, nLen);
        nCur = FindChild(nCur, nCode, nullptr);
        if (nCur < 0) return -1;
    }
    return nCur;
}

int CTrie::AddTrie(const char* sLine, bool bWordOnly) {
    // Deliberate: every refused input reports 1, the same result as a first addition.
    if (sLine == nullptr) return 1;
    size_t nLineLen = strnlen(sLine, MAX_LINE_LEN + 1);
    if (nLineLen > static_cast<size_t>(MAX_LINE_LEN)) return 1;
    if (m_nItemCount >= MAX_ITEM_COUNT) return 1;

    char sWord[MAX_LINE_LEN + 1];
    char sPos[MAX_LINE_LEN + 1];
    if (bWordOnly) {
        std::memcpy(sWord, sLine, nLineLen + 1);
        sPos[0] = '\0';
    } else {
        const char* sCur = sLine;
        CopyToken(sCur, sWord);
        CopyToken(sCur, sPos);
    }
    if (std::strlen(sPos) > static_cast<size_t>(MAX_TAG_LEN)) return 1;
    if (sPos[0] == '\0') std::strcpy(sPos, "n");
    if (sWord[0] == '\0') return 1;

    if (m_iHeadIndex == -1) {
        int nRoot = NewNode(0);
        if (nRoot < 0) return 1;
        m_iHeadIndex = nRoot;
    }
    return BuildTRIE(sWord, sPos, m_iHeadIndex);
}

int CTrie::BuildTRIE(const char* sWord, const char* sPos, int nRoot) {
    CDynamicArry& array = *m_pDynamicArry;
    trie_elem* pElem = nullptr;
    if (!array.GetElem(nRoot, pElem)) return 1;

    const int nLen = static_cast<int>(std::strlen(sWord));
    int nPos = 0;
    int nCur = nRoot;
    while (nPos < nLen) {
        unsigned int nCode = GetCharCode(sWord, nPos, static_cast<unsigned int>(nLen));
        const bool bLast = nPos >= nLen;
        int nLastChild = -1;
        int nChild = FindChild(nCur, nCode, &nLastChild);
        if (nChild == BROKEN_LINK) return 1;
        if (nChild < 0) {
            nChild = NewNode(nCode);
            if (nChild < 0) return 1;
            // NewNode may have moved the array: take every pointer afresh.
            trie_elem* pParent = nullptr;
            trie_elem* pPrev = nullptr;
            array.GetElem(nCur, pParent);
            if (nLastChild == -1) {
                pParent->children = nChild;
            } else {
                array.GetElem(nLastChild, pPrev);
                pPrev->nextNode = nChild;
            }
            pParent->child_count++;
            if (bLast) {
                array.GetElem(nChild, pElem);
                pElem->handle = m_nItemCount++;
                SetWordTag(pElem, sPos);
                pElem->freq = 1;
            }
        } else if (bLast) {
            array.GetElem(nChild, pElem);
            // Deliberate: a deleted word (handle -1) gets a new handle; handles are never reused.
            if (pElem->freq == 0 || pElem->handle == -1) pElem->handle = m_nItemCount++;
            SetWordTag(pElem, sPos);
            if (pElem->freq < INT_MAX) pElem->freq++;
        }
        nCur = nChild;
    }
    array.GetElem(nCur, pElem);
    return pElem->freq >= 2 ? 2 : 1;
}

int CTrie::DelTrie(const char* sWord) {
    if (sWord == nullptr || sWord[0] == '\0') return -1;
    size_t nLen = std::strlen(sWord);
    if (nLen > static_cast<size_t>(INT_MAX)) return -1;
    int nNode = FindNode(sWord, static_cast<unsigned int>(nLen));
    trie_elem* pElem = nullptr;
    if (nNode < 0 || !m_pDynamicArry->GetElem(nNode, pElem) || pElem->handle == -1) return -1;
    int nOld = pElem->handle;
    // Deliberate: the node and its addition count stay; only the handle goes.
    pElem->handle = -1;
    if (m_nItemDelNum < INT_MAX) m_nItemDelNum++;
    return nOld;
}

int CTrie::Find(const char* sLine) const {
    if (sLine == nullptr) return -1;
    if (strnlen(sLine, MAX_LINE_LEN + 1) > static_cast<size_t>(MAX_LINE_LEN)) return -1;
    char sWord[MAX_LINE_LEN + 1];
    const char* sCur = sLine;
    size_t nLen = CopyToken(sCur, sWord);
    return Find(sWord, static_cast<unsigned int>(nLen));
}

int CTrie::Find(const char* sWord, unsigned int nLen) const {
    if (sWord == nullptr || nLen == 0) return -1;
    size_t nWordLen = strnlen(sWord, nLen);
    if (nWordLen == 0 || nWordLen > static_cast<size_t>(INT_MAX)) return -1;
    int nNode = FindNode(sWord, static_cast<unsigned int>(nWordLen));
    const trie_elem* pElem = nullptr;
    if (nNode < 0 || !m_pDynamicArry->GetElem(nNode, pElem)) return -1;
    return pElem->handle;
}

int CTrie::GetMaxWord(const char* sText, int* pHandle) {
    if (pHandle == nullptr) return -1;
    *pHandle = -1;
    if (m_pDynamicArry->Empty() || !m_pDynamicArry->ValidateIndex(m_iHeadIndex) ||
        sText == nullptr) {
        return -1;
    }
    int nMaxLen = 0;
    int nPos = 0;
    int nCur = m_iHeadIndex;
    while (sText[nPos] != '\0') {
        unsigned int nCode = NextCode(sText, nPos);
        nCur = FindChild(nCur, nCode, nullptr);
        const trie_elem* pElem = nullptr;
        if (nCur < 0 || !m_pDynamicArry->GetElem(nCur, pElem)) break;
        if (pElem->handle != -1) {
            nMaxLen = nPos;
            *pHandle = pElem->handle;
            std::memcpy(m_sCurPos, pElem->sPos, sizeof(m_sCurPos));
        }
    }
    return nMaxLen;
}

int CTrie::PrefixWords(const char* sText, size_t nLen, int* pLengths, const char** pTags,
                       int nMax) const {
    if (sText == nullptr || pLengths == nullptr || m_pDynamicArry->Empty() ||
        !m_pDynamicArry->ValidateIndex(m_iHeadIndex) || nLen > static_cast<size_t>(INT_MAX)) {
        return 0;
    }
    int nCount = 0;
    int nPos = 0;
    int nCur = m_iHeadIndex;
    while (static_cast<size_t>(nPos) < nLen && nCount < nMax) {
        unsigned int nCode = GetCharCode(sText, nPos, static_cast<unsigned int>(nLen));
        nCur = FindChild(nCur, nCode, nullptr);
        const trie_elem* pElem = nullptr;
        if (nCur < 0 || !m_pDynamicArry->GetElem(nCur, pElem)) break;
        if (pElem->handle != -1) {
            pLengths[nCount] = nPos;
            if (pTags != nullptr) pTags[nCount] = pElem->sPos;
            ++nCount;
        }
    }
    return nCount;
}

int CTrie::GetFreq(const char* sWord, int& nHandle) {
    // Deliberate: a missing word reports handle 0, not -1.
    nHandle = 0;
    if (sWord == nullptr || sWord[0] == '\0') return -1;
    size_t nLen = std::strlen(sWord);
    if (nLen > static_cast<size_t>(INT_MAX)) return -1;
    int nNode = FindNode(sWord, static_cast<unsigned int>(nLen));
    const trie_elem* pElem = nullptr;
    if (nNode < 0 || !m_pDynamicArry->GetElem(nNode, pElem) || pElem->handle == -1) return -1;
    nHandle = pElem->handle;
    std::memcpy(m_sCurPos, pElem->sPos, sizeof(m_sCurPos));
    return pElem->freq;
}

void CTrie::GetPos(char* sPos, int nLen) const {
    if (sPos == nullptr || nLen <= 0) return;
    size_t nCopy = std::min(static_cast<size_t>(nLen), sizeof(m_sCurPos));
    std::memcpy(sPos, m_sCurPos, nCopy);
}

int CTrie::GetLowerBound() const { return m_nItemCount; }

// Deliberate: one more than the number of handles issued; callers rely on this count.
int CTrie::GetWordNum() const { return m_nItemCount + 1; }

int CTrie::Import(const char* sFilename, CPDAT* /*pDict*/) {
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "r"));
    if (fp == nullptr) return 0;
    // Deliberate: the count restarts at 0, so the result counts only this import's new words, and
    // their handles start again at 0 even when the trie already held words.
    m_nItemCount = 0;
    std::vector<char> vecLine(IMPORT_LINE_BUF);
    std::vector<char> vecToken(IMPORT_LINE_BUF);
    while (fgets(vecLine.data(), IMPORT_LINE_BUF, fp.get()) != nullptr) {
        const char* sCur = vecLine.data();
        if (std::strncmp(sCur, UTF8_BOM, 3) == 0) sCur += 3;
        if (CopyToken(sCur, vecToken.data()) == 0) continue;
        if (Find(vecToken.data()) != -1) continue;
        AddTrie(vecToken.data(), true);
    }
    return m_nItemCount;
}

bool CTrie::ParseTire(FILE* fp) const {
    const CDynamicArry& array = *m_pDynamicArry;
    const trie_elem* pElem = nullptr;
    if (!array.GetElem(m_iHeadIndex, pElem)) return false;
    // Depth first without recursion: each entry is a node and the length of its parent's prefix. A
    // node's next sibling is pushed before its first child, so the whole subtree is written before
    // the sibling.
    std::vector<std::pair<int, size_t>> vecStack;
    if (pElem->children != -1) vecStack.emplace_back(pElem->children, 0);
    std::string sWord;
    int nSteps = 0;
    while (!vecStack.empty()) {
        auto [nIndex, nPrefixLen] = vecStack.back();
        vecStack.pop_back();
        if (++nSteps > array.GetElemNum() || !array.GetElem(nIndex, pElem)) return false;
        sWord.resize(nPrefixLen);
        AppendCode(sWord, pElem->node);
        if (pElem->handle != -1 && fprintf(fp, "%s\t%s\n", sWord.c_str(), pElem->sPos) < 0)
            return false;
        if (pElem->nextNode != -1) vecStack.emplace_back(pElem->nextNode, nPrefixLen);
        if (pElem->children != -1) vecStack.emplace_back(pElem->children, sWord.size());
    }
    return true;
}

int CTrie::Export(const char* sFilename) const {
    if (sFilename == nullptr || m_pDynamicArry->Empty() ||
        !m_pDynamicArry->ValidateIndex(m_iHeadIndex)) {
        return 0;
    }
    FILE* fp = fopen(sFilename, "w");
    if (fp == nullptr) return 0;
    bool bOk = ParseTire(fp);
    if (fclose(fp) != 0) bOk = false;
    return bOk ? 1 : 0;
}

int CTrie::Save(const char* sFilename) const {
    // Deliberate: a trie that never issued a handle is not written at all.
    if (m_nItemCount == 0 || sFilename == nullptr) return 0;
    FILE* fp = fopen(sFilename, "wb");
    if (fp == nullptr) return 0;
    int32_t nHeader[3] = {m_nItemCount, m_nItemDelNum, m_iHeadIndex};
    bool bOk = fwrite(nHeader, sizeof(int32_t), 3, fp) == 3 && m_pDynamicArry->Save(fp) == 1;
    if (fclose(fp) != 0) bOk = false;
    return bOk ? 1 : 0;
}

bool CTrie::IsWellFormed(const CDynamicArry& array, int nHead) {
    const int nElemNum = array.GetElemNum();
    if (!array.ValidateIndex(nHead)) return false;
    const trie_elem* pData = array.GetBufPoint();
    if (pData[nHead].nextNode != -1) return false;

    // Every node is linked to at most once and the root not at all ...
    std::vector<unsigned char> vecLinked(static_cast<size_t>(nElemNum), 0);
    for (int i = 0; i < nElemNum; ++i) {
        for (int32_t nLink : {pData[i].children, pData[i].nextNode}) {
            if (nLink == -1) continue;
            if (nLink == nHead || vecLinked[static_cast<size_t>(nLink)] != 0) return false;
            vecLinked[static_cast<size_t>(nLink)] = 1;
        }
    }
    // ... so what the root reaches is a tree; it must hold every node, with true child counts. (The
    // step limits are only a second line of defence.)
    std::vector<int> vecStack = {nHead};
    int nVisited = 0;
    while (!vecStack.empty()) {
        int nIndex = vecStack.back();
        vecStack.pop_back();
        if (++nVisited > nElemNum) return false;
        int nChildren = 0;
        for (int nChild = pData[nIndex].children; nChild != -1; nChild = pData[nChild].nextNode) {
            if (++nChildren > nElemNum) return false;
            vecStack.push_back(nChild);
        }
        if (nChildren != pData[nIndex].child_count) return false;
    }
    return nVisited == nElemNum;
}

int CTrie::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "rb"));
    if (fp == nullptr) return 0;

    int32_t nItemCount = 0;
    if (fread(&nItemCount, sizeof(int32_t), 1, fp.get()) != 1) return 0;
    // A file that never issued a handle is empty: the rest is not read.
    if (nItemCount <= 0 || nItemCount > MAX_ITEM_COUNT) return 0;
    int32_t nRest[2];
    if (fread(nRest, sizeof(int32_t), 2, fp.get()) != 2) return 0;
    const int nDelNum = nRest[0];
    const int nHead = nRest[1];
    if (nDelNum < 0) return 0;

    if (m_pDynamicArry->Load(fp.get()) != 1) return 0;
    // A handle was issued, so there is a root and at least one word node below it.
    if (m_pDynamicArry->GetElemNum() < 2 || !IsWellFormed(*m_pDynamicArry, nHead)) {
        Clear();
        return 0;
    }
    m_nItemCount = nItemCount;
    m_nItemDelNum = nDelNum;
    m_iHeadIndex = nHead;
    return 1;
}

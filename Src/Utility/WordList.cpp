// WordList.cpp: CWordList, handle-to-text table.
//
// Adding appends each text with its NUL to one buffer and records (handle, offset) pairs;
// completing turns the pairs, in the order added, into a table indexed by handle, so a later text
// of a handle overrides an earlier one and a handle that never got a text keeps offset 0 (the first
// text). Two invariants keep every lookup inside the buffer: the buffer is empty or ends with a NUL
// byte that is never written (it grows while a text and its NUL would reach its last byte), and
// every table entry is an offset below the buffer's size (checked when a file is loaded).
#include "Utility/WordList.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "Encript/QMTEncript.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"

namespace {

// The answer for a handle outside the list: one constant string shared by every list and thread.
constexpr char EMPTY_TEXT[] = "";

constexpr size_t LINE_BUFFER_SIZE = 1024;

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// FirstToken: the first blank-delimited token of sLine into sToken; false (sToken untouched) when
// the line has none.
bool FirstToken(const char* sLine, std::string& sToken) {
    const char* p = sLine;
    while (*p != '\0' && IsBlank(*p)) ++p;
    if (*p == '\0') return false;
    const char* pEnd = p;
    while (*pEnd != '\0' && !IsBlank(*pEnd)) ++pEnd;
    sToken.assign(p, pEnd);
    return true;
}

bool ReadExact(FILE* fp, void* pData, size_t nSize) {
    return nSize == 0 || fread(pData, 1, nSize, fp) == nSize;
}

bool WriteExact(FILE* fp, const void* pData, size_t nSize) {
    return nSize == 0 || fwrite(pData, 1, nSize, fp) == nSize;
}

// GrowText: grows a text buffer by CWordList::TEXT_BLOCK steps while a text of nLen bytes, its NUL
// and one spare byte would not fit behind nDataSize used bytes. False when the buffer would pass 2
// GB.
bool GrowText(std::vector<char>& vecBuf, int& nMemSize, int nDataSize, size_t nLen) {
    const uint64_t nNeeded = static_cast<uint64_t>(nDataSize) + nLen + 1;
    if (nNeeded + CWordList::TEXT_BLOCK >= static_cast<uint64_t>(INT32_MAX)) return false;
    uint64_t nCap = vecBuf.size();
    while (nNeeded >= nCap) nCap += CWordList::TEXT_BLOCK;
    if (nCap != vecBuf.size()) vecBuf.resize(static_cast<size_t>(nCap), '\0');
    nMemSize = static_cast<int>(vecBuf.size());
    return true;
}

}  // namespace

CWordList::CWordList(bool bEncript, CPDAT* pDict) : m_pDict(pDict), m_bEncript(bEncript) {
    AddWordInit();
}

CWordList::~CWordList() = default;

void CWordList::Clear() {
    m_nSize = 0;
    m_nBound = 0;
    m_pData.clear();
    m_pWordListBuf.clear();
    m_pWordListBuf.shrink_to_fit();
    m_nWordListMemSize = 0;
    m_nWordListDataSize = 0;
}

int CWordList::AddWordInit() {
    if (m_nMemSize == 0) {
        m_vecPair.clear();
        m_vecPair.reserve(PAIR_BLOCK);
        m_nMemSize = PAIR_BLOCK;
    }
    if (m_pWordListBuf.empty()) {
        m_pWordListBuf.assign(TEXT_BLOCK, '\0');
        m_nWordListMemSize = TEXT_BLOCK;
    }
    m_vecPair.clear();
    m_nSize = 0;
    m_nWordListDataSize = 0;
    m_bAddCompleted = false;
    return 1;
}

int CWordList::AddWord(const char* sWord, int nHandle) {
    if (sWord == nullptr) return 0;
    if (nHandle < 0) {
        // A word its dictionary does not hold: noted, never stored.
        WriteLog(sWord);
        return 1;
    }
    if (nHandle > MAX_HANDLE) return 0;
    const size_t nLen = strlen(sWord);
    if (!GrowText(m_pWordListBuf, m_nWordListMemSize, m_nWordListDataSize, nLen)) return 0;
    if (m_nSize + 1 >= m_nMemSize) {
        m_nMemSize += PAIR_BLOCK;
        m_vecPair.reserve(m_nMemSize);
    }
    m_vecPair.push_back(word_elem{nHandle, m_nWordListDataSize});
    memcpy(m_pWordListBuf.data() + m_nWordListDataSize, sWord, nLen + 1);
    m_nWordListDataSize += static_cast<int>(nLen + 1);
    ++m_nSize;
    m_nBound = std::max(m_nBound, nHandle + 1);
    return 1;
}

int CWordList::AddWord(const char* sWord) {
    if (sWord == nullptr) return 0;
    if (strncmp(sWord, "\xEF\xBB\xBF", 3) == 0) sWord += 3;  // a UTF-8 byte-order mark
    int nHandle = m_pDict != nullptr ? m_pDict->Find(sWord) : -1;
    return AddWord(sWord, nHandle);
}

int CWordList::AddWordComplete() {
    if (m_bAddCompleted) return 1;
    m_pData.assign(static_cast<size_t>(m_nBound) + 1, 0);
    // Deliberate: the pairs are applied in the order added, unsorted, so the last text given to a
    // handle is the one kept.
    for (const word_elem& pair : m_vecPair) m_pData[pair.handle] = pair.nWordIndex;
    m_bAddCompleted = true;
    return 1;
}

const char* CWordList::GetWord(int nHandle) const {
    // Deliberate: outside the bound the answer is an empty string, and it is one constant string
    // shared by all callers (so it can never be overwritten under another thread).
    if (nHandle < 0 || nHandle >= m_nBound || static_cast<size_t>(nHandle) >= m_pData.size()) {
        return EMPTY_TEXT;
    }
    // Deliberate: a handle inside the bound that never got a text has offset 0, the first text.
    const int nOffset = m_pData[nHandle];
    if (nOffset < 0 || static_cast<size_t>(nOffset) >= m_pWordListBuf.size()) return EMPTY_TEXT;
    return m_pWordListBuf.data() + nOffset;
}

int CWordList::Import(const char* sFilename, CPDAT* pDict) {
    if (pDict != nullptr) m_pDict = pDict;
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "r"));
    if (!fp) return 0;
    AddWordInit();
    char sLine[LINE_BUFFER_SIZE];
    std::string sToken;
    int nLine = 1;
    while (fgets(sLine, sizeof(sLine), fp.get()) != nullptr) {
        ++nLine;
        if (nLine % 100 == 0) printf("Line %d\r", nLine);
        // Deliberate: a line without a token adds the previous token again (same handle, same
        // text).
        FirstToken(sLine, sToken);
        if (!sToken.empty()) AddWord(sToken.c_str());
    }
    AddWordComplete();
    return static_cast<int>(m_nSize);
}

int CWordList::Import(std::vector<WORD_INFO>& vecWords, CPDAT* pDict, bool bStoreInfo) {
    if (pDict == nullptr) return 0;
    std::vector<word_elem> vecPairs;
    vecPairs.reserve(PAIR_BLOCK);
    if (m_pWordListBuf.empty()) {
        m_pWordListBuf.assign(TEXT_BLOCK, '\0');
        m_nWordListMemSize = TEXT_BLOCK;
    }
    const int nBound = static_cast<int>(
        std::min<size_t>(pDict->GetItemCount(), static_cast<size_t>(MAX_HANDLE) + 1));
    int nDataSize = 0;
    for (const WORD_INFO& info : vecWords) {
        const int nHandle = pDict->Find(info.word.c_str());
        if (nHandle < 0 || nHandle >= nBound) continue;
        const std::string& sText = bStoreInfo ? info.store_info : info.word;
        const size_t nLen =
            strlen(sText.c_str());  // up to the first NUL, as stored texts end there
        if (!GrowText(m_pWordListBuf, m_nWordListMemSize, nDataSize, nLen)) break;
        if (vecPairs.size() + 1 >= vecPairs.capacity())
            vecPairs.reserve(vecPairs.capacity() + PAIR_BLOCK);
        vecPairs.push_back(word_elem{nHandle, nDataSize});
        memcpy(m_pWordListBuf.data() + nDataSize, sText.c_str(), nLen + 1);
        nDataSize += static_cast<int>(nLen + 1);
    }
    m_nWordListDataSize = nDataSize;
    m_nSize = static_cast<unsigned int>(vecPairs.size());
    m_nBound = nBound;
    m_pData.assign(static_cast<size_t>(m_nBound) + 1, 0);
    for (const word_elem& pair : vecPairs) m_pData[pair.handle] = pair.nWordIndex;
    return static_cast<int>(m_nSize);
}

int CWordList::Export(const char* sFilename, CPDAT* pDict, const char* pExcludeFile) const {
    if (pDict == nullptr || sFilename == nullptr) return 1;
    const size_t nCount = pDict->GetItemCount();
    std::vector<char> vecMarked(nCount, 0);
    if (pExcludeFile != nullptr) {
        FilePtr fpExclude(fopen(pExcludeFile, "r"));
        if (fpExclude) {
            char sLine[LINE_BUFFER_SIZE];
            std::string sToken;
            while (fgets(sLine, sizeof(sLine), fpExclude.get()) != nullptr) {
                if (!FirstToken(sLine, sToken)) continue;
                // Only tokens that start with a non-ASCII byte and are longer than 2 bytes (more
                // than one Chinese character) exclude anything.
                if ((static_cast<unsigned char>(sToken[0]) & 0x80) == 0 || sToken.size() <= 2)
                    continue;
                const int nHandle = pDict->Find(sToken.c_str());
                if (nHandle >= 0 && static_cast<size_t>(nHandle) < nCount) vecMarked[nHandle] = 1;
            }
        }
    }
    FilePtr fp(fopen(sFilename, "w"));
    if (!fp) {
        printf("Error open file %s.\n", sFilename);
        return 1;
    }
    for (size_t i = 0; i < nCount; ++i) {
        if (vecMarked[i] == 0) fprintf(fp.get(), "%s\n", GetWord(static_cast<int>(i)));
    }
    // Deliberate: 0 is success here, unlike Save and Load.
    return fclose(fp.release()) == 0 ? 0 : 1;
}

int CWordList::Save(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "wb"));
    if (!fp) return 0;
    const uint32_t nSize = m_nSize;
    const int32_t nBound = m_nBound;
    std::vector<int32_t> vecTable(static_cast<size_t>(m_nBound) + 1, 0);
    for (int i = 0; i < m_nBound && static_cast<size_t>(i) < m_pData.size(); ++i) {
        vecTable[i] = m_pData[i];
    }
    const int32_t nDataSize = m_nWordListDataSize;
    // The text part is scrambled in a copy, so that a completed list stays read-only while it is
    // saved.
    std::vector<char> vecText(m_pWordListBuf.begin(), m_pWordListBuf.begin() + m_nWordListDataSize);
    if (m_bEncript) CQMTEncript(QMT_WORD_LIST_KEY).Encrypt(vecText.data(), vecText.size());
    bool bOk = WriteExact(fp.get(), &nSize, sizeof(nSize)) &&
               WriteExact(fp.get(), &nBound, sizeof(nBound)) &&
               WriteExact(fp.get(), vecTable.data(), vecTable.size() * sizeof(int32_t)) &&
               WriteExact(fp.get(), &nDataSize, sizeof(nDataSize)) &&
               WriteExact(fp.get(), vecText.data(), vecText.size());
    bOk = (fclose(fp.release()) == 0) && bOk;
    return bOk ? 1 : 0;
}

int CWordList::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "rb"));
    if (!fp) return 0;
    const long nFileSize = FileSize(fp.get());
    if (nFileSize < 12) return 0;

    uint32_t nSize = 0;
    int32_t nBound = 0;
    if (!ReadExact(fp.get(), &nSize, sizeof(nSize)) ||
        !ReadExact(fp.get(), &nBound, sizeof(nBound)))
        return 0;
    // The table (nBound + 1 entries) and the text size must fit in what is left.
    const uint64_t nLeft = static_cast<uint64_t>(nFileSize) - 8;
    if (nBound < 0 || (static_cast<uint64_t>(nBound) + 2) * 4 > nLeft) return 0;
    std::vector<int> vecTable(static_cast<size_t>(nBound) + 1);
    int32_t nDataSize = 0;
    if (!ReadExact(fp.get(), vecTable.data(), vecTable.size() * sizeof(int)) ||
        !ReadExact(fp.get(), &nDataSize, sizeof(nDataSize))) {
        return 0;
    }
    if (nDataSize < 0 ||
        static_cast<uint64_t>(nDataSize) != nLeft - (static_cast<uint64_t>(nBound) + 2) * 4) {
        return 0;
    }
    std::vector<char> vecText(static_cast<size_t>(nDataSize));
    if (!ReadExact(fp.get(), vecText.data(), vecText.size())) return 0;
    if (m_bEncript) CQMTEncript(QMT_WORD_LIST_KEY).Encrypt(vecText.data(), vecText.size());

    // Every text ends with its NUL, one per word stored.
    if (!vecText.empty() && vecText.back() != '\0') return 0;
    if (static_cast<uint64_t>(std::count(vecText.begin(), vecText.end(), '\0')) != nSize) return 0;
    for (int i = 0; i < nBound; ++i) {
        const int nOffset = vecTable[i];
        if (nOffset < 0 || (nOffset >= nDataSize && nOffset != 0)) return 0;
    }
    vecTable[nBound] = 0;  // not used by readers

    m_nSize = nSize;
    m_nBound = nBound;
    m_pData = std::move(vecTable);
    m_pWordListBuf = std::move(vecText);
    m_nWordListMemSize = nDataSize;
    m_nWordListDataSize = nDataSize;
    return 1;
}

int CWordList::qkpass(word_elem* pPairs, int nLow, int nHigh) {
    const word_elem pivot = pPairs[nLow];
    while (nLow < nHigh) {
        while (nLow < nHigh && pivot <= pPairs[nHigh]) --nHigh;
        pPairs[nLow] = pPairs[nHigh];
        while (nLow < nHigh && pPairs[nLow] <= pivot) ++nLow;
        pPairs[nHigh] = pPairs[nLow];
    }
    pPairs[nLow] = pivot;
    return nLow;
}

void CWordList::qksort(word_elem* pPairs, int nLow, int nHigh) {
    if (pPairs == nullptr) return;
    // The halves are disjoint, so recursing into the smaller and looping on the larger gives the
    // same order as sorting them in turn, with a stack depth of at most log2(n).
    while (nLow < nHigh) {
        const int nMid = qkpass(pPairs, nLow, nHigh);
        if (nMid - nLow < nHigh - nMid) {
            qksort(pPairs, nLow, nMid - 1);
            nLow = nMid + 1;
        } else {
            qksort(pPairs, nMid + 1, nHigh);
            nHigh = nMid - 1;
        }
    }
}

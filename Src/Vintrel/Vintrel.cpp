// Vintrel.cpp: CVintrel, the scanner instance: construction from its files, the plain scan and its
// statistics report, and the import, deletion and export of user dictionaries.
//
// Dictionary sets. An instance holds its dictionaries as one immutable CDictionarySet behind a
// shared_ptr; every scan takes the current set (and the hit-counter table) under m_mutex and keeps them
// for the whole call, or, inside g_readGate, borrows it through a raw pointer. An import or deletion
// builds a complete new set, writes its files under a staging directory beside the instance's files,
// renames them into place once all were written and then swaps the set in under m_mutex, waiting for
// the gated scans before it drops its reference to the old set. Old sets live on until the last scan
// using them ends.
#include "Vintrel/Vintrel.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_set>

#include "Utility/CodeTran.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/Pinyin.h"
#include "Utility/StrTran.h"
#include "Utility/Unigram.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "Vintrel/BufferManager.h"
#include "Vintrel/ComplexFilter.h"
#include "Vintrel/ReadGate.h"

namespace {

constexpr int LINE_BUFFER = 3072;  // bytes of one read of a keyword or deletion file
constexpr int MAX_CLASSES = 255;   // class ids are one byte; 255 means none

// The instance's dictionary files, in the order they are saved.
const char* const DICT_FILES[] = {"key.pdat", "class.pdat", "key.wordlist", "class.wordlist", "key.pos"};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

// ReadToken: like scanf's %s: skips blanks, then takes the run of non-blank bytes; false at the end.
bool ReadToken(const char*& p, std::string& sOut) {
    while (*p != '\0' && IsBlank(*p)) ++p;
    if (*p == '\0') return false;
    const char* pStart = p;
    while (*p != '\0' && !IsBlank(*p)) ++p;
    sOut.assign(pStart, static_cast<size_t>(p - pStart));
    return true;
}

// ReadInt: like scanf's %d: skips blanks, an optional sign, then at least one digit; false when no
// digit follows. A value beyond 32 bits is clamped to INT_MIN .. INT_MAX.
bool ReadInt(const char*& p, int& nOut) {
    const char* q = p;
    while (*q != '\0' && IsBlank(*q)) ++q;
    bool bNegative = false;
    if (*q == '+' || *q == '-') bNegative = *q++ == '-';
    if (*q < '0' || *q > '9') return false;
    long long nValue = 0;
    while (*q >= '0' && *q <= '9') {
        if (nValue <= static_cast<long long>(INT_MAX) + 1) nValue = nValue * 10 + (*q - '0');
        ++q;
    }
    if (bNegative) nValue = -nValue;
    if (nValue > INT_MAX) nValue = INT_MAX;
    if (nValue < INT_MIN) nValue = INT_MIN;
    nOut = static_cast<int>(nValue);
    p = q;
    return true;
}

// ReadLine: the next piece of a file as fgets with a buffer of LINE_BUFFER bytes gives it; false at
// the end. A piece may hold NUL bytes; the text ends at the first of them.
bool ReadLine(FILE* fp, std::string& sLine) {
    char sBuffer[LINE_BUFFER];
    if (std::fgets(sBuffer, sizeof(sBuffer), fp) == nullptr) return false;
    sLine.assign(sBuffer);
    return true;
}

// SkipMark: the line without a leading UTF-8 byte-order mark.
const char* SkipMark(const std::string& sLine) {
    return sLine.compare(0, 3, "\xEF\xBB\xBF") == 0 ? sLine.c_str() + 3 : sLine.c_str();
}

// Bracketed: the text between the first "[" of the line and the first "]" after it, normalised;
// false when there is no such "]". pAfter points just after the "]".
bool Bracketed(const char* sLine, std::string& sWord, const char** pAfter) {
    const char* pOpen = std::strchr(sLine, '[');
    const char* pClose = pOpen != nullptr ? std::strchr(pOpen + 1, ']') : nullptr;
    if (pClose == nullptr) return false;
    std::string sInside(pOpen + 1, static_cast<size_t>(pClose - pOpen - 1));
    StrNormalize(&sInside[0]);
    sWord.assign(sInside.c_str());
    *pAfter = pClose + 1;
    return true;
}

// ToGBK: the text in GBK (through the library's converter when there is one).
std::string ToGBK(const std::string& sText) {
    if (g_pVintrelCodeTranslator == nullptr) return sText;
    std::string sOut;
    const char* p = g_pVintrelCodeTranslator->CodeToGBK(sText.c_str(), sOut);
    return p != nullptr ? std::string(p) : std::string();
}

// Standard: WordStandard of a copy.
std::string Standard(const std::string& sWord) {
    std::vector<char> vecBuffer(sWord.begin(), sWord.end());
    vecBuffer.push_back('\0');
    return std::string(WordStandard(vecBuffer.data()));
}

// CClassList: class names in order of first appearance.
class CClassList {
public:
    void Add(const std::string& sName) {
        if (m_setNames.insert(sName).second) m_vecNames.push_back(sName);
    }
    std::vector<std::string>& Names() { return m_vecNames; }

private:
    std::vector<std::string> m_vecNames;
    std::unordered_set<std::string> m_setNames;
};

// KeywordRows: a WORD_INFO for every class-table row of the set (in keyword handle order), leaving
// out the keywords listed in vecExcluded; their class names go to classes. Nothing without a table.
void KeywordRows(const CDictionarySet& set, const std::vector<int>& vecExcluded, std::vector<WORD_INFO>& vecOut,
                 CClassList& classes) {
    if (!set.m_pKeyPOS || !set.m_pKeyWordList || !set.m_pClassWordList) return;
    std::vector<POS_elem> vecRows;
    set.m_pKeyPOS->GetAllItem(vecRows, vecExcluded);
    for (const POS_elem& row : vecRows) {
        WORD_INFO w;
        w.word = set.m_pKeyWordList->GetWord(row.handle);
        w.store_info = set.m_pClassWordList->GetWord(row.POS_id);
        w.weight = row.freq;
        classes.Add(w.store_info);
        vecOut.push_back(std::move(w));
    }
}

// FileName: the last path component.
std::string FileName(const std::string& sPath) {
    size_t nSlash = sPath.rfind('/');
    return nSlash == std::string::npos ? sPath : sPath.substr(nSlash + 1);
}

// Directory: the path up to its last "/" ("." when there is none).
std::string Directory(const std::string& sPath) {
    size_t nSlash = sPath.rfind('/');
    return nSlash == std::string::npos ? std::string(".") : sPath.substr(0, nSlash);
}

// RemoveTree: deletes a staging directory and the files in it.
void RemoveTree(const std::string& sDir) {
    if (sDir.empty()) return;
    if (DIR* dir = opendir(sDir.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string sName = entry->d_name;
            if (sName != "." && sName != "..") unlink((sDir + "/" + sName).c_str());
        }
        closedir(dir);
    }
    rmdir(sDir.c_str());
}

}  // namespace

namespace {
std::atomic<uint64_t> g_nSetSerial{0};  // the last serial number given to a dictionary set
}  // namespace

struct CDictionarySet::CHitBlock {
    explicit CHitBlock(size_t nCount) : pCounts(new std::atomic<int>[nCount]) {
        for (size_t h = 0; h < nCount; ++h) pCounts[h].store(0, std::memory_order_relaxed);
    }
    std::unique_ptr<std::atomic<int>[]> pCounts;
    // True while a thread adds to the block. Handing it back (release) and taking it (acquire)
    // order one owner's additions before the next one's.
    std::atomic<bool> bTaken{true};
};

CDictionarySet::CDictionarySet()
    : m_nSerial(g_nSetSerial.fetch_add(1, std::memory_order_relaxed) + 1) {}
CDictionarySet::~CDictionarySet() = default;

std::atomic<int>* CDictionarySet::ThreadBlock() const {
    // This thread's blocks, in the last few sets it counted in. A block pushed out of the list, and
    // every block when the thread ends, is handed back; the list keeps the blocks alive meanwhile,
    // even when their set is gone.
    struct CThreadBlocks {
        struct Entry {
            uint64_t nSerial = 0;
            std::shared_ptr<CHitBlock> pBlock;
        };
        Entry vecEntries[4];
        size_t nNext = 0;  // the entry replaced next
        ~CThreadBlocks() {
            for (Entry& e : vecEntries) {
                if (e.pBlock) e.pBlock->bTaken.store(false, std::memory_order_release);
            }
        }
    };
    thread_local CThreadBlocks blocks;
    for (const CThreadBlocks::Entry& e : blocks.vecEntries) {
        if (e.nSerial == m_nSerial) return e.pBlock ? e.pBlock->pCounts.get() : nullptr;
    }
    std::shared_ptr<CHitBlock> pBlock;
    {
        std::lock_guard<std::mutex> lock(m_mutexBlocks);
        for (const std::shared_ptr<CHitBlock>& p : m_vecBlocks) {
            bool bFree = false;
            if (p->bTaken.compare_exchange_strong(bFree, true, std::memory_order_acquire)) {
                pBlock = p;
                break;
            }
        }
        if (!pBlock && m_vecBlocks.size() < MAX_HIT_BLOCKS) {
            pBlock = std::make_shared<CHitBlock>(m_nKeyCells);
            m_vecBlocks.push_back(pBlock);
        }
    }
    CThreadBlocks::Entry& e = blocks.vecEntries[blocks.nNext];
    blocks.nNext = (blocks.nNext + 1) % 4;
    if (e.pBlock) e.pBlock->bTaken.store(false, std::memory_order_release);
    e.nSerial = m_nSerial;
    e.pBlock = pBlock;  // null: this thread counts into the cells
    return pBlock ? pBlock->pCounts.get() : nullptr;
}

void CDictionarySet::CountHit(std::atomic<int>* pCounts, size_t h) const {
    if (pCounts != nullptr) {
        // This thread alone adds to its block: a plain increment.
        pCounts[h].store(pCounts[h].load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    } else {
        m_pSharedHits[h].fetch_add(1, std::memory_order_relaxed);
    }
}

void CDictionarySet::AddHit(int nHandle) const { CountHit(ThreadBlock(), static_cast<size_t>(nHandle)); }

namespace {
// AddWeight: nTotal += nWeight, wrapping around on overflow as two's complement does.
inline void AddWeight(int& nTotal, int nWeight) {
    nTotal = static_cast<int>(static_cast<unsigned>(nTotal) + static_cast<unsigned>(nWeight));
}
}  // namespace

bool CDictionarySet::AddHitsAndWeights(const _stTermPosition* pHits, size_t nCount, int* pTotals,
                                       int nClasses) const {
    std::atomic<int>* pCounts = ThreadBlock();
    // The hits' cells and counters are fetched from memory all at once, before they are read.
    for (size_t i = 0; i < nCount; ++i) {
        const size_t h = static_cast<size_t>(pHits[i].nHandle);
        if (h < m_nKeyCells) {
            __builtin_prefetch(&m_pKeyCells[h]);
            if (pCounts != nullptr) __builtin_prefetch(&pCounts[h]);
        }
    }
    bool bPositive = false;
    for (size_t i = 0; i < nCount; ++i) {
        const int nHandle = pHits[i].nHandle;
        const size_t h = static_cast<size_t>(nHandle);  // a negative handle is out of range too
        if (h >= m_nKeyCells) continue;
        const _stKeyCell& cell = m_pKeyCells[h];
        CountHit(pCounts, h);
        if (cell.nClasses == 1) {
            if (cell.nClass < nClasses) AddWeight(pTotals[cell.nClass], cell.nWeight);
            bPositive |= cell.nWeight > 0;
            continue;
        }
        int nRows = 0;
        const POS_info* pInfo = cell.nClasses > 1 ? m_pKeyPOS->GetPOS(nHandle, &nRows) : nullptr;
        for (int k = 0; pInfo != nullptr && k < nRows; ++k) {
            if (pInfo[k].POS_id < nClasses) AddWeight(pTotals[pInfo[k].POS_id], pInfo[k].freq);
            bPositive |= pInfo[k].freq > 0;
        }
    }
    return bPositive;
}

int CDictionarySet::Hits(int nHandle) const {
    const size_t h = static_cast<size_t>(nHandle);
    int nCount = m_pSharedHits[h].load(std::memory_order_relaxed);
    std::lock_guard<std::mutex> lock(m_mutexBlocks);
    for (const std::shared_ptr<CHitBlock>& p : m_vecBlocks)
        nCount += p->pCounts[h].load(std::memory_order_relaxed);
    return nCount;
}

void CDictionarySet::TakeHits(const CDictionarySet& old) {
    size_t nCommon = std::min(m_nKeyCells, old.m_nKeyCells);
    // The old set's blocks as they are now (blocks are only ever added), under one lock.
    std::vector<std::shared_ptr<CHitBlock>> vecBlocks;
    {
        std::lock_guard<std::mutex> lock(old.m_mutexBlocks);
        vecBlocks = old.m_vecBlocks;
    }
    for (size_t h = 0; h < nCommon; ++h) {
        int nCount = old.m_pSharedHits[h].load(std::memory_order_relaxed);
        for (const std::shared_ptr<CHitBlock>& p : vecBlocks)
            nCount += p->pCounts[h].load(std::memory_order_relaxed);
        m_pSharedHits[h].store(nCount, std::memory_order_relaxed);
    }
}

void CDictionarySet::BuildKeyCells() {
    const size_t nClassNames = m_pClassDict && m_pClassWordList ? m_pClassDict->GetItemCount() : 0;
    m_vecClassLabels.clear();
    for (size_t i = 0; i < nClassNames; ++i)
        m_vecClassLabels.push_back(std::string(m_pClassWordList->GetWord(static_cast<int>(i))) + "/");
    m_nClassLabelBytes = 0;
    for (const std::string& sLabel : m_vecClassLabels) m_nClassLabelBytes += sLabel.size();
    m_nKeyCells = m_pKeyDict ? m_pKeyDict->GetItemCount() : 0;
    m_pKeyCells.reset(new _stKeyCell[m_nKeyCells]);
    m_pSharedHits.reset(new std::atomic<int>[m_nKeyCells]);
    for (size_t h = 0; h < m_nKeyCells; ++h) m_pSharedHits[h].store(0, std::memory_order_relaxed);
    for (size_t h = 0; h < m_nKeyCells && m_pKeyPOS; ++h) {
        int nCount = 0;
        const POS_info* pInfo = m_pKeyPOS->GetPOS(static_cast<int>(h), &nCount);
        _stKeyCell& cell = m_pKeyCells[h];
        cell.nClasses = static_cast<unsigned char>(pInfo == nullptr ? 0 : nCount > 255 ? 255 : nCount);
        if (pInfo != nullptr && nCount == 1) {
            cell.nClass = pInfo[0].POS_id;
            cell.nWeight = pInfo[0].freq;
        }
    }
}

// The new dictionaries of an import or deletion, and where their files were staged.
struct CVintrel::CBuild {
    std::shared_ptr<CDictionarySet> pSet = std::make_shared<CDictionarySet>();
    std::string sStaging;  // staging directory; "" before it is made
    std::string sPrefix;   // staging directory + "/" + the instance's file stem
    ~CBuild() { RemoveTree(sStaging); }
};

CVintrel::CVintrel(const char* sDataPath, int nHandle, const char* sDelimiter)
    : m_pBufManager(new CBufferManager()), m_sDelimiter(sDelimiter != nullptr ? sDelimiter : "") {
    if (sDataPath != nullptr && sDataPath[0] != '\0') {
        m_sDataPath = sDataPath;
    } else {
        char sCwd[1000] = {0};
        if (getcwd(sCwd, sizeof(sCwd) - 1) != nullptr) m_sDataPath = sCwd;
    }
    char sStem[32];
    std::snprintf(sStem, sizeof(sStem), "Filter%d_", nHandle);
    m_sCommFile = m_sDataPath + "/" + "Vintrelner" + "/" + sStem;

    auto pSet = std::make_shared<CDictionarySet>();
    const std::string& p = m_sCommFile;
    // Deliberate: a file that cannot be loaded also drops every keyword table loaded before it (the
    // key dictionary is dropped by any failure), while the tables after it are still loaded.
    auto Failed = [&pSet](int nStep, const std::string& sMessage) {
        ReportError(sMessage);
        if (nStep >= 0) pSet->m_pKeyDict.reset();
        if (nStep >= 1) pSet->m_pKeyWordList.reset();
        if (nStep >= 2) pSet->m_pKeyPOS.reset();
        if (nStep >= 3) pSet->m_pClassDict.reset();
        if (nStep >= 4) pSet->m_pClassWordList.reset();
    };
    pSet->m_pKeyDict.reset(new CPDAT());
    if (pSet->m_pKeyDict->Load((p + "key.pdat").c_str()) != 1) Failed(0, "Cannot open key dictionary file " + p + "key.pdat");
    pSet->m_pKeyWordList.reset(new CWordList(true, nullptr));
    if (pSet->m_pKeyWordList->Load((p + "key.wordlist").c_str()) != 1)
        Failed(1, "Cannot open key dictionary wordlist file " + p + "key.wordlist");
    pSet->m_pKeyPOS.reset(new CPOS());
    if (pSet->m_pKeyPOS->Load((p + "key.pos").c_str()) != 1)
        Failed(2, "Cannot open key dictionary pos file " + p + "key.pos");
    pSet->m_pClassDict.reset(new CPDAT());
    if (pSet->m_pClassDict->Load((p + "class.pdat").c_str()) != 1)
        Failed(3, "Cannot open key dictionary file " + p + "class.pdat");
    pSet->m_pClassWordList.reset(new CWordList(true, nullptr));
    if (pSet->m_pClassWordList->Load((p + "class.wordlist").c_str()) != 1)
        Failed(4, "Cannot open key dictionary wordlist file " + p + "class.wordlist");
    pSet->m_pPY2Word.reset(new CStrTran(p.c_str(), "py", "word", ""));
    if (!pSet->m_pPY2Word->Load()) pSet->m_pPY2Word.reset();
    pSet->m_pComplexFilter.reset(new CComplexFilter(p.c_str()));
    if (!pSet->m_pComplexFilter->Load()) pSet->m_pComplexFilter.reset();
    pSet->BuildKeyCells();
    m_pDicts = pSet;
    m_pGatedDicts.store(pSet.get(), std::memory_order_seq_cst);
    m_lStart = clock();
}

CVintrel::~CVintrel() = default;

std::shared_ptr<const CDictionarySet> CVintrel::Dictionaries() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_pDicts;
}

const char* CVintrel::ReturnText(const std::string& sText) { return m_pBufManager->NewText(sText.data(), sText.size()); }

// ---------------------------------------------------------------------------------------------------
// Plain scan and statistics.

const char* CVintrel::Scan(const char* sContent) {
    std::shared_ptr<const CDictionarySet> pSet = Dictionaries();
    return ScanWith(*pSet, sContent);
}

const char* CVintrel::ScanWith(const CDictionarySet& set, const char* sContent) {
    const CDictionarySet* pSet = &set;
    if (sContent == nullptr) {
        ReportError("The text to scan is NULL!");
        return nullptr;
    }
    if (!pSet->m_pKeyDict) {
        ReportError("Keyword Dictionary is Empty!");
        return ReturnText("");
    }
    // Working space of this thread, kept between calls.
    struct CScratch {
        std::string sGBK, sOut;
        std::unique_ptr<char[]> pText;  // the standardised text (not cleared between calls)
        size_t nTextCap = 0;
        std::unique_ptr<char[]> pResult;  // the result text
        size_t nResultCap = 0;
        std::vector<_stTermPosition> vecHits;
        std::vector<int> vecTotal, vecPlace;
        std::vector<uint64_t> vecPositive;
    };
    thread_local CScratch scratch;
    CScratch& w = scratch;
    if (w.vecHits.capacity() > (size_t{1} << 16)) std::vector<_stTermPosition>().swap(w.vecHits);
    if (w.sGBK.capacity() > (size_t{1} << 20)) std::string().swap(w.sGBK);
    const char* sText = sContent;
    if (g_pVintrelCodeTranslator != nullptr) {
        sText = g_pVintrelCodeTranslator->CodeToGBK(sContent, w.sGBK);
        if (sText == nullptr) sText = "";
    }
    // The text is standardised as keywords were at import, so that both meet in the same form.
    const size_t nLen = std::strlen(sText);
    if (w.nTextCap < nLen + 1 || w.nTextCap > std::max<size_t>(nLen + 1, size_t{1} << 20)) {
        w.nTextCap = std::max<size_t>(nLen + 1, 4096);  // no huge leftovers either
        w.pText.reset(new char[w.nTextCap]);
    }
    const size_t nStandard = WordStandard(sText, nLen, w.pText.get());
    w.vecHits.clear();
    pSet->m_pKeyDict->MMScanPosition(w.pText.get(), nStandard, w.vecHits, 1);

    const int nClasses = pSet->m_pClassDict ? static_cast<int>(pSet->m_pClassDict->GetItemCount()) : 0;
    std::vector<int>& vecTotal = w.vecTotal;
    vecTotal.assign(static_cast<size_t>(nClasses), 0);
    // Without a positive weight no total can be positive: the result is empty, nothing to order.
    if (!pSet->AddHitsAndWeights(w.vecHits.data(), w.vecHits.size(), vecTotal.data(), nClasses)) {
        return ReturnText("");
    }
    // Deliberate: the classes are ordered by an exchange sort (for each place i in turn, every later
    // place j whose total is greater than place i's swaps with it), which decides the order of equal
    // totals; the places are printed from the first while their total is positive. Place i ends up
    // with the greatest total from place i on, so printing ends at the first place without a positive
    // total. The totals of 0 and below count as 0 here: such a total never displaces a positive one,
    // and two of them trade places only with each other, so the positive totals move exactly as they
    // would. Then only the places holding a positive total take part in a pass: the list
    // pPositive / pPlace holds those from place i on, in rising order, each as its total and class
    // in one word, the total in the high half: one select moves both, and as every total compared
    // is 0 or more, "total of a < total of b" is (a | low half) < b. A pass at a place that holds
    // one starts with it; at a place holding 0 it starts with the first positive place, which takes
    // the 0 and drops out, its total going on through the later positive places. Either way the
    // list loses its first place. (Which class a total of 0 carries is never seen: the total a pass
    // prints is positive.)
    auto pack = [](int nTotal, int nId) {
        return (static_cast<uint64_t>(static_cast<uint32_t>(nTotal)) << 32) | static_cast<uint32_t>(nId);
    };
    auto totalOf = [](uint64_t nPacked) {
        return static_cast<int32_t>(static_cast<uint32_t>(nPacked >> 32));
    };
    auto idOf = [](uint64_t nPacked) { return static_cast<int>(static_cast<uint32_t>(nPacked)); };
    w.vecPositive.resize(static_cast<size_t>(nClasses));
    w.vecPlace.resize(static_cast<size_t>(nClasses));
    uint64_t* pPositive = w.vecPositive.data();
    int* pPlace = w.vecPlace.data();
    size_t nPositive = 0;
    for (int i = 0; i < nClasses; ++i) {
        pPositive[nPositive] = pack(vecTotal[static_cast<size_t>(i)], i);
        pPlace[nPositive] = i;
        nPositive += vecTotal[static_cast<size_t>(i)] > 0;
    }
    // Room for every class once: its label and 12 bytes, and the NUL.
    const size_t nResultCap = pSet->m_nClassLabelBytes + 12 * static_cast<size_t>(nClasses) + 1;
    if (w.nResultCap < nResultCap) {
        w.nResultCap = nResultCap;
        w.pResult.reset(new char[nResultCap]);
    }
    char* pResult = w.pResult.get();
    const std::vector<std::string>& vecLabels = pSet->m_vecClassLabels;
    static const std::string sNoLabel = "/";
    for (size_t nFirst = 0, i = 0; nFirst < nPositive; ++nFirst, ++i) {
        const bool bHolds = static_cast<size_t>(pPlace[nFirst]) == i;
        uint64_t nCurrent = bHolds ? pPositive[nFirst] : 0;
        for (size_t n = bHolds ? nFirst + 1 : nFirst; n < nPositive; ++n) {
            const uint64_t nOther = pPositive[n];
            const bool bSwap = (nCurrent | 0xFFFFFFFFu) < nOther;
            pPositive[n] = bSwap ? nCurrent : nOther;
            nCurrent = bSwap ? nOther : nCurrent;
        }
        const int nTotal = totalOf(nCurrent), nId = idOf(nCurrent);
        const std::string& sLabel =
            static_cast<size_t>(nId) < vecLabels.size() ? vecLabels[static_cast<size_t>(nId)] : sNoLabel;
        // The name and "/", the total and "#" (at most 11 bytes).
        std::memcpy(pResult, sLabel.data(), sLabel.size());
        pResult = std::to_chars(pResult + sLabel.size(), pResult + sLabel.size() + 11, nTotal).ptr;
        *pResult++ = '#';
    }
    *pResult = '\0';
    const size_t nResult = static_cast<size_t>(pResult - w.pResult.get());
    if (g_pVintrelCodeTranslator != nullptr && nResult > 0) {
        const char* p = g_pVintrelCodeTranslator->GBKToCode(w.pResult.get(), w.sOut);
        if (p == nullptr) p = "";
        return m_pBufManager->NewText(p, std::strlen(p));
    }
    return m_pBufManager->NewText(w.pResult.get(), nResult);
}

bool CVintrel::FreqStat(const char* sResultFile) {
    if (sResultFile == nullptr) {
        WriteError("FreqStat argument cannot be empty");
        return false;
    }
    std::shared_ptr<const CDictionarySet> pSet;
    size_t nLines, nHits;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        pSet = m_pDicts;
        m_lEnd = clock();
        nLines = m_nLineCount;
        nHits = m_nHitCount;
    }
    FilePtr fp(std::fopen(sResultFile, "wt"));
    if (!fp) {
        ReportError(std::string("Error open  ") + sResultFile);
        return false;
    }
    // Every keyword hit at least once, most hits first (equal counts by handle).
    std::vector<unigram_elem> vecFreq;
    for (size_t h = 0; h < pSet->m_nKeyCells; ++h) {
        int nCount = pSet->Hits(static_cast<int>(h));
        if (nCount > 0) vecFreq.push_back(unigram_elem{static_cast<int>(h), nCount});
    }
    std::stable_sort(vecFreq.begin(), vecFreq.end(),
                     [](const unigram_elem& a, const unigram_elem& b) { return a.freq > b.freq; });
    float fSeconds = static_cast<float>(m_lEnd - m_lStart) / 1000000;
    float fSpeed = static_cast<float>(nLines) / fSeconds;
    // Deliberate: nothing guards 0 / 0 before any line was scanned (the rate prints as not a number).
    double dRate = 100.0 * static_cast<double>(nHits) / static_cast<double>(nLines);
    time_t now = time(nullptr);
    char sTime[64];
    if (ctime_r(&now, sTime) == nullptr) sTime[0] = '\0';
    // 测试时间 (time of the test)
    std::fprintf(fp.get(), "\xB2\xE2\xCA\xD4\xCA\xB1\xBC\xE4:\t%s\n", sTime);
    // 扫描的记录数 条记录 / 扫描所花时间 秒 / 处理速度 条/秒 / 命中的规则数： 命中的记录数： 疑似敏感率：
    std::fprintf(fp.get(),
                 "\xC9\xA8\xC3\xE8\xB5\xC4\xBC\xC7\xC2\xBC\xCA\xFD:\t%lld\t\xCC\xF5\xBC\xC7\xC2\xBC\n"
                 "\xC9\xA8\xC3\xE8\xCB\xF9\xBB\xA8\xCA\xB1\xBC\xE4:\t%.2f\t\xC3\xEB\n"
                 "\xB4\xA6\xC0\xED\xCB\xD9\xB6\xC8:\t%.2f\t\xCC\xF5/\xC3\xEB\n"
                 "\xC3\xFC\xD6\xD0\xB5\xC4\xB9\xE6\xD4\xF2\xCA\xFD\xA3\xBA\t%d\t"
                 "\xC3\xFC\xD6\xD0\xB5\xC4\xBC\xC7\xC2\xBC\xCA\xFD\xA3\xBA\t%d\t"
                 "\xD2\xC9\xCB\xC6\xC3\xF4\xB8\xD0\xC2\xCA\xA3\xBA\t%.2f%%\n",
                 static_cast<long long>(nLines), static_cast<double>(fSeconds), static_cast<double>(fSpeed),
                 static_cast<int>(vecFreq.size()), static_cast<int>(nHits), dRate);
    // 规则编号 关键词 类别 权重 命中次数 (rule number, keyword, class, weight, hit count)
    std::fputs("\xB9\xE6\xD4\xF2\xB1\xE0\xBA\xC5\t\xB9\xD8\xBC\xFC\xB4\xCA\t\xC0\xE0\xB1\xF0\t\xC8\xA8\xD6\xD8\t"
               "\xC3\xFC\xD6\xD0\xB4\xCE\xCA\xFD\n",
               fp.get());
    for (const unigram_elem& e : vecFreq) {
        int nCount = 0;
        const POS_info* pInfo = pSet->m_pKeyPOS ? pSet->m_pKeyPOS->GetPOS(e.handle, &nCount) : nullptr;
        if (pInfo == nullptr || nCount <= 0) continue;
        std::fprintf(fp.get(), "%d\t%s\t%s\t%d\t%d\n", e.handle,
                     pSet->m_pKeyWordList ? pSet->m_pKeyWordList->GetWord(e.handle) : "",
                     pSet->m_pClassWordList ? pSet->m_pClassWordList->GetWord(pInfo[0].POS_id) : "", pInfo[0].freq,
                     e.freq);
    }
    return std::fclose(fp.release()) == 0;
}

// ---------------------------------------------------------------------------------------------------
// Import, deletion, export.

bool CVintrel::BuildFromRows(std::vector<WORD_INFO>& vecWordClassFreq, std::vector<std::string>& vecClass,
                             const std::vector<std::string>* pRuleKeywords, bool bWordListByImport,
                             CBuild& build) {
    CDictionarySet& set = *build.pSet;
    // Key dictionary: the keywords, then the keywords that only rules mention.
    set.m_pKeyDict.reset(new CPDAT());
    set.m_pKeyDict->AddWordInit();
    for (const WORD_INFO& w : vecWordClassFreq) set.m_pKeyDict->AddWord(w.word.c_str(), false);
    if (pRuleKeywords != nullptr)
        for (const std::string& s : *pRuleKeywords) set.m_pKeyDict->AddWord(s.c_str(), false);
    set.m_pKeyDict->AddWordComplete();
    set.m_pClassDict.reset(new CPDAT());
    set.m_pClassDict->AddWordInit();
    for (const std::string& s : vecClass) set.m_pClassDict->AddWord(s.c_str(), false);
    set.m_pClassDict->AddWordComplete();
    // Deliberate: more classes than one byte can name are reported, and the import goes on.
    if (set.m_pClassDict->GetItemCount() > static_cast<size_t>(MAX_CLASSES))
        ReportError("Class count cannot over 255");
    set.m_pKeyWordList.reset(new CWordList(true, set.m_pKeyDict.get()));
    if (bWordListByImport) {
        set.m_pKeyWordList->Import(vecWordClassFreq, set.m_pKeyDict.get(), false);
    } else {
        set.m_pKeyWordList->AddWordInit();
        for (const WORD_INFO& w : vecWordClassFreq) set.m_pKeyWordList->AddWord(w.word.c_str());
        if (pRuleKeywords != nullptr)
            for (const std::string& s : *pRuleKeywords) set.m_pKeyWordList->AddWord(s.c_str());
        set.m_pKeyWordList->AddWordComplete();
    }
    set.m_pClassWordList.reset(new CWordList(true, set.m_pClassDict.get()));
    set.m_pClassWordList->AddWordInit();
    for (const std::string& s : vecClass) set.m_pClassWordList->AddWord(s.c_str());
    set.m_pClassWordList->AddWordComplete();
    std::vector<POS_elem> vecItems;
    vecItems.reserve(vecWordClassFreq.size());
    for (const WORD_INFO& w : vecWordClassFreq) {
        POS_elem elem;
        elem.handle = set.m_pKeyDict->Find(w.word.c_str());
        elem.POS_id = static_cast<unsigned char>(set.m_pClassDict->Find(w.store_info.c_str()) & 0xFF);
        elem.freq = w.weight;
        vecItems.push_back(elem);
    }
    set.m_pKeyPOS.reset(new CPOS());
    set.m_pKeyPOS->Import(vecItems, static_cast<int>(set.m_pKeyWordList->GetItemCount()));

    for (const char* sName : DICT_FILES) {
        std::string sPath = build.sPrefix + sName;
        int nSaved;
        if (std::strcmp(sName, "key.pdat") == 0) nSaved = set.m_pKeyDict->Save(sPath.c_str());
        else if (std::strcmp(sName, "class.pdat") == 0) nSaved = set.m_pClassDict->Save(sPath.c_str());
        else if (std::strcmp(sName, "key.wordlist") == 0) nSaved = set.m_pKeyWordList->Save(sPath.c_str());
        else if (std::strcmp(sName, "class.wordlist") == 0) nSaved = set.m_pClassWordList->Save(sPath.c_str());
        else nSaved = set.m_pKeyPOS->Save(sPath.c_str());
        if (nSaved != 1) {
            std::lock_guard<std::mutex> lock(m_mutex);
            WriteError("Cannot Save user dictionary  ");
            WriteError(m_sCommFile + sName);
            return false;
        }
    }
    return true;
}

FILE* CVintrel::OpenCallerFile(const char* sFilenameO, const char* sMode) {
    const std::string sFilename = sFilenameO != nullptr ? ToGBK(sFilenameO) : std::string();
    FILE* fp = sFilenameO != nullptr ? std::fopen(sFilename.c_str(), sMode) : nullptr;
    if (fp == nullptr) {
        std::lock_guard<std::mutex> lock(m_mutex);
        WriteError("Failed Open file " + sFilename);
    }
    return fp;
}

bool CVintrel::Stage(CBuild& build) {
    // The files go to a staging directory beside the instance's files (same file system, so that
    // they can be renamed into place).
    const std::string sDir = Directory(m_sCommFile);
    mkdir(Directory(sDir).c_str(), 0755);
    mkdir(sDir.c_str(), 0755);
    std::string sTemplate = sDir + "/.staging-XXXXXX";
    std::vector<char> vecTemplate(sTemplate.begin(), sTemplate.end());
    vecTemplate.push_back('\0');
    if (mkdtemp(vecTemplate.data()) == nullptr) {
        std::lock_guard<std::mutex> lock(m_mutex);
        WriteError("Cannot Save user dictionary  ");
        WriteError(sDir);
        return false;
    }
    build.sStaging = vecTemplate.data();
    build.sPrefix = build.sStaging + "/" + FileName(m_sCommFile);
    return true;
}

bool CVintrel::Install(CBuild& build) {
    // Every staged file replaces the instance's file of the same name.
    std::vector<std::string> vecNames;
    if (DIR* dir = opendir(build.sStaging.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::string sName = entry->d_name;
            if (sName != "." && sName != "..") vecNames.push_back(sName);
        }
        closedir(dir);
    }
    const std::string sDir = Directory(m_sCommFile);
    for (const std::string& sName : vecNames) {
        if (std::rename((build.sStaging + "/" + sName).c_str(), (sDir + "/" + sName).c_str()) != 0) {
            std::lock_guard<std::mutex> lock(m_mutex);
            WriteError("Cannot Save user dictionary  ");
            WriteError(sDir + "/" + sName);
            return false;
        }
    }
    // The hit counters carry over to the new set, handle by handle (hits counted by scans that still
    // use the old set after this point are not carried over).
    build.pSet->BuildKeyCells();
    std::shared_ptr<const CDictionarySet> pOld;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        build.pSet->TakeHits(*m_pDicts);
        pOld = std::move(m_pDicts);
        m_pDicts = build.pSet;
        m_pGatedDicts.store(m_pDicts.get(), std::memory_order_seq_cst);
    }
    // Gated scans may still be reading the old set through its raw pointer: they end before the
    // reference is dropped (outside m_mutex, so that ungated scans are not held up meanwhile).
    g_readGate.Synchronize();
    pOld.reset();
    return true;
}

int CVintrel::ImportUserDict(const char* sFilenameO, bool bOverwrite) {
    std::lock_guard<std::mutex> update(m_hUpdate);
    FilePtr fp(OpenCallerFile(sFilenameO, "rb"));
    if (!fp) return 0;
    std::shared_ptr<const CDictionarySet> pOld = Dictionaries();
    std::vector<WORD_INFO> vecWordClassFreq;
    CClassList classes;
    std::vector<map_str> vecPY2Word;
    if (!bOverwrite) KeywordRows(*pOld, std::vector<int>(), vecWordClassFreq, classes);
    if (!bOverwrite && pOld->m_pComplexFilter && pOld->m_pKeyWordList && pOld->m_pClassWordList) {
        // Export rebuilds only the textual rules, which scans never read (they match the compiled
        // ones), and imports and deletions run one at a time.
        pOld->m_pComplexFilter->Export(pOld->m_pKeyWordList.get(), pOld->m_pClassWordList.get());
        for (const std::string& s : pOld->m_pComplexFilter->m_vecKeywords) {
            WORD_INFO w;
            w.word = s;
            w.store_info = "complex";
            w.weight = -1;
            vecWordClassFreq.push_back(std::move(w));
            classes.Add("complex");
        }
    }
    if (!bOverwrite && pOld->m_pPY2Word) pOld->m_pPY2Word->Export(vecPY2Word);

    CBuild build;
    if (!Stage(build)) return 0;
    auto pComplexFilter = std::make_shared<CComplexFilter>(build.sPrefix.c_str());
    // Deliberate: the rules held in memory survive an overwrite too.
    if (pOld->m_pComplexFilter) pComplexFilter->m_vecComplexFilterOrg = pOld->m_pComplexFilter->m_vecComplexFilterOrg;
    int nCount = 0;
    std::string sLine, sWord, sClass;
    while (ReadLine(fp.get(), sLine)) {
        const char* sText = SkipMark(sLine);
        sWord.clear();
        sClass = "filter";
        int nWeight = 1, nPYRequired = 0;
        const char* p = sText;
        if (ReadToken(p, sWord) && ReadToken(p, sClass) && ReadInt(p, nWeight)) ReadInt(p, nPYRequired);
        if (sWord.empty()) {
            WriteLog(sLine + " Not Imported!");
            continue;
        }
        if (sWord[0] == '[') {
            const char* pAfter = nullptr;
            if (!Bracketed(sText, sWord, &pAfter)) {
                WriteLog(sLine + " Not Imported!");  // "[" without "]"
                continue;
            }
            std::string sAfterClass;
            if (ReadToken(pAfter, sAfterClass)) sClass = sAfterClass;
        }
        sWord = ToGBK(sWord);
        sClass = ToGBK(sClass);
        const std::string sStandard = Standard(sWord);
        if (pComplexFilter->ImportLine(sStandard.c_str(), sClass.c_str(), nWeight)) {
            classes.Add(sClass);
            ++nCount;
            continue;
        }
        if (sStandard.size() <= 1 || (static_cast<unsigned char>(sStandard[0]) >= 0x80 && sStandard.size() <= 2)) {
            WriteLog(sLine + " Not Imported (too short)!");
            continue;
        }
        WORD_INFO w;
        w.word = sStandard;
        w.store_info = sClass;
        w.weight = nWeight;
        vecWordClassFreq.push_back(std::move(w));
        ++nCount;
        classes.Add(sClass);
        if (nPYRequired == 1 && g_pPinyin != nullptr) {
            tstring sPinyin, sAbbrev;
            g_pPinyin->Hanzi2Pinyin(sStandard.c_str(), sPinyin, sAbbrev);
            if (!sPinyin.empty()) vecPY2Word.push_back(map_str{sPinyin, sStandard});
            if (!sAbbrev.empty()) vecPY2Word.push_back(map_str{sAbbrev, sStandard});
        }
    }
    fp.reset();

    if (!BuildFromRows(vecWordClassFreq, classes.Names(), &pComplexFilter->m_vecKeywords, false, build)) return 0;
    // The pinyin table and the rules are written after the five dictionary files; their own
    // failures are reported by their classes and do not change the result.
    build.pSet->m_pPY2Word.reset(new CStrTran(build.sPrefix.c_str(), "py", "word", ""));
    build.pSet->m_pPY2Word->Import(vecPY2Word);
    pComplexFilter->Org2Data(build.pSet->m_pKeyDict.get(), build.pSet->m_pClassDict.get());
    pComplexFilter->Save();
    build.pSet->m_pComplexFilter = pComplexFilter;
    if (!Install(build)) return 0;
    WriteLog("Save user dictionary wordlist");
    return nCount;
}

int CVintrel::DeleteUserDict(const char* sFilenameO) {
    std::lock_guard<std::mutex> update(m_hUpdate);
    FilePtr fp(OpenCallerFile(sFilenameO, "rb"));
    if (!fp) return 0;
    std::shared_ptr<const CDictionarySet> pOld = Dictionaries();
    std::vector<int> vecWordIdList;
    std::string sLine, sWord;
    while (ReadLine(fp.get(), sLine)) {
        const char* sText = SkipMark(sLine);
        const char* p = sText;
        if (!ReadToken(p, sWord)) continue;
        if (sWord[0] == '[') {
            const char* pAfter = nullptr;
            if (!Bracketed(sText, sWord, &pAfter)) continue;  // "[" without "]": no keyword
        }
        sWord = Standard(ToGBK(sWord));
        int nId = pOld->m_pKeyDict ? pOld->m_pKeyDict->Find(sWord.c_str()) : -1;
        if (nId >= 0) vecWordIdList.push_back(nId);
    }
    fp.reset();
    std::vector<WORD_INFO> vecWordClassFreq;
    CClassList classes;
    KeywordRows(*pOld, vecWordIdList, vecWordClassFreq, classes);
    CBuild build;
    if (!Stage(build) || !BuildFromRows(vecWordClassFreq, classes.Names(), nullptr, true, build)) return 0;
    // Deliberate: the rules and the pinyin table stay as they were (the rules keep the old ids).
    build.pSet->m_pComplexFilter = pOld->m_pComplexFilter;
    build.pSet->m_pPY2Word = pOld->m_pPY2Word;
    if (!Install(build)) return 0;
    WriteLog("Save user dictionary wordlist");
    return static_cast<int>(vecWordIdList.size());
}

int CVintrel::ExportKeyDict(const char* sFilenameO) {
    FilePtr fp(OpenCallerFile(sFilenameO, "wb"));
    if (!fp) return 0;
    std::shared_ptr<const CDictionarySet> pSet = Dictionaries();
    std::fputs("Word\tClass\tWeight\n", fp.get());
    std::vector<WORD_INFO> vecRows;
    CClassList classes;
    KeywordRows(*pSet, std::vector<int>(), vecRows, classes);
    for (const WORD_INFO& w : vecRows)
        std::fprintf(fp.get(), "%s\t%s\t%d\n", w.word.c_str(), w.store_info.c_str(), w.weight);
    return std::fclose(fp.release()) == 0 ? static_cast<int>(vecRows.size()) : 0;
}

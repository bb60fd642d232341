// Vintrel.h: CVintrel, one keyword-scanner instance: its dictionaries and their files, the plain scan
// and its statistics, and the import, deletion and export of user dictionaries.
#ifndef VINTREL_VINTREL_VINTREL_H_
#define VINTREL_VINTREL_VINTREL_H_

#include <atomic>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

class CBufferManager;
class CCodeTran;
class CComplexFilter;
class CPDAT;
class CPinyin;
class CPOS;
class CStrTran;
class CWordList;

// The library's shared converters, owned by the exported interface (VT_Init .. VT_Exit): the encoding
// converter (null when callers write GBK), the look-alike table and the pinyin converter (null when
// their data could not be loaded).
extern CCodeTran* g_pVintrelCodeTranslator;
extern CStrTran* g_pXingZiTran;
extern CPinyin* g_pPinyin;

// What a scan needs of one keyword, in 8 bytes: when it has exactly one class, that class and
// weight (nClasses 0: none; 2 or more: read the class table).
struct _stKeyCell {
    int nWeight = 0;
    unsigned char nClass = 255;
    unsigned char nClasses = 0;
};

// CDictionarySet: the dictionaries one instance scans with. A set never changes once built; an
// import or deletion builds a new set and the instance switches to it in one step, so a scan sees
// either all the old dictionaries or all the new ones (it holds its set for the whole call).
//
// Hit counts: a thread that counts hits in a set takes a block of counters of its own (one per
// keyword handle) and alone adds to it, without locked instructions and without sharing cache lines
// with other threads; when the thread ends (or turns to several other sets) it hands the block
// back, and the next thread to count takes it over. Up to MAX_HIT_BLOCKS blocks per set; threads
// beyond count into the cells with atomic additions. A keyword's count is its cell's plus every
// block's.
//
// Threads: the dictionaries are read-only; AddHit and Hits may run from any number of threads at
// once.
class CDictionarySet {
public:
    CDictionarySet();
    ~CDictionarySet();
    CDictionarySet(const CDictionarySet&) = delete;  // owns its dictionaries
    CDictionarySet& operator=(const CDictionarySet&) = delete;

    // A deletion keeps the rules and the pinyin table: sets may share them.
    std::shared_ptr<CPDAT> m_pKeyDict;               // keyword -> keyword handle; null: no keywords
    std::shared_ptr<CWordList> m_pKeyWordList;       // keyword handle -> keyword
    std::shared_ptr<CPOS> m_pKeyPOS;                 // keyword handle -> (class id, weight) rows
    std::shared_ptr<CPDAT> m_pClassDict;             // class name -> class id
    std::shared_ptr<CWordList> m_pClassWordList;     // class id -> class name
    std::shared_ptr<CComplexFilter> m_pComplexFilter;  // compound rules; null when none
    std::shared_ptr<CStrTran> m_pPY2Word;            // pinyin -> keyword; null when none
    // Per keyword handle (0 .. key dictionary item count - 1): hit counter, single class and weight.
    // The counters are the instance's statistics; a new set takes them over handle by handle.
    std::unique_ptr<_stKeyCell[]> m_pKeyCells;
    // Per keyword handle: the part of its hit count that is not in a thread's own counters.
    std::unique_ptr<std::atomic<int>[]> m_pSharedHits;
    size_t m_nKeyCells = 0;

    // BuildKeyCells: the per-keyword cells from the key dictionary and class table (counters 0).
    void BuildKeyCells();
    // AddHit: counts one hit of a keyword. Hits: the keyword's count. REQUIRES: 0 <= nHandle <
    // m_nKeyCells.
    void AddHit(int nHandle) const;
    int Hits(int nHandle) const;
    // AddHitsAndWeights: AddHit for each of nCount hits whose handle is in range (others are
    // skipped), and adds each of those hits' class weights to pTotals[class id]
    // (class ids of nClasses and up are left out). Returns whether any weight added is positive.
    bool AddHitsAndWeights(const _stTermPosition* pHits, size_t nCount, int* pTotals, int nClasses) const;
    // The class names by class id (BuildKeyCells), each followed by "/".
    std::vector<std::string> m_vecClassLabels;
    size_t m_nClassLabelBytes = 0;  // their lengths added up
    // TakeHits: sets the counts of the handles both sets have to the old set's counts. REQUIRES:
    // BuildKeyCells was called; nothing counts in this set yet.
    void TakeHits(const CDictionarySet& old);

private:
    // A block of counters, one per keyword handle, that one thread at a time adds to.
    struct CHitBlock;
    static constexpr size_t MAX_HIT_BLOCKS = 16;

    // ThreadBlock: this thread's block of counters in this set, taking one when it has none; null
    // when MAX_HIT_BLOCKS are taken.
    std::atomic<int>* ThreadBlock() const;
    // CountHit: one hit of handle h into pCounts (this thread's block) or, when null, the shared counts.
    void CountHit(std::atomic<int>* pCounts, size_t h) const;

    const uint64_t m_nSerial;  // tells sets apart for the threads' lists of their blocks
    mutable std::mutex m_mutexBlocks;
    mutable std::vector<std::shared_ptr<CHitBlock>> m_vecBlocks;  // guarded by m_mutexBlocks
};

// CVintrel is one scanner instance. Its files live under m_sCommFile = <data>/Vintrelner/Filter<N>_,
// N being the number it was created with: "key.pdat", "key.wordlist", "key.pos", "class.pdat",
// "class.wordlist", the pinyin table "py.*", "word.*", "py2word.map" and the rules
// "ComplexFilter.dat".
//
// Threads: scans may run from many threads at once, also while an import or deletion runs on the same
// instance (they keep the dictionary set they started with; a scan inside g_readGate may borrow the
// set through GatedDictionaries). Imports and deletions of one instance
// run one at a time (a second waits for the first). A failed import or deletion changes neither the
// dictionaries in memory nor the files on disk: the files are written under a staging directory and
// renamed into place only once all of them were written.
// GetMappedStr: the untranslated form of a hit found in a translated text: the pairs (translated span
// first, untranslated span second) give the untranslated span [start, end) that the hit covers, and
// result becomes the first end - start bytes of sContent. Returns result's text, or null (result "")
// when the hit does not start and end on pair boundaries.
const char* GetMappedStr(const std::vector<_TermPositionPair>& mapPosition, const _stTermPosition& term,
                         const char* sContent, std::string& result);

class CVintrel {
public:
    // CVintrel: loads the instance's dictionaries from <sDataPath>/Vintrelner/Filter<nHandle>_ (the
    // working directory when sDataPath is null or empty). Missing or damaged files leave the instance
    // without keywords, with one message each.
    CVintrel(const char* sDataPath, int nHandle, const char* sDelimiter);
    ~CVintrel();
    CVintrel(const CVintrel&) = delete;  // owns dictionaries, counters and returned texts
    CVintrel& operator=(const CVintrel&) = delete;

    // Scan: "class/total#" for every class whose hit weights add up to more than 0, highest total
    // first (ties in the order of an exchange sort), in the caller's encoding; "" without hits. The
    // text belongs to the instance. Counts every hit for FreqStat.
    const char* Scan(const char* sContent);
    // ScanWith: Scan with the given dictionary set, which the caller keeps alive for the call.
    const char* ScanWith(const CDictionarySet& set, const char* sContent);
    // ScanDetail: the detailed scan of sContent (caller's encoding): hits confirmed by segmentation,
    // scored, compound rules when no keyword is sensitive by itself, then the look-alike and the
    // pinyin retries when the text holds no keyword. The result reads score, delimiter, keywords
    // ("##" between them), delimiter, classes, delimiter, the standardised text (or, for a text over
    // 1024 bytes, its hit sentences marked with <class name="..." weight=...>); "" when nothing is
    // hit. The hit count and score go to *pHitCount and *pScore (either may be null). Null for a
    // null text. nRetryMode: 0 a normal call, 1 a text already translated to standard characters
    // (in GBK, sMappedContent and vecPositionPairs lead back to the untranslated text), any other
    // value no retries.
    const char* ScanDetail(const char* sContent, int* pHitCount, float* pScore, int nRetryMode);
    const char* ScanDetail(const char* sContent, std::string& sMappedContent,
                           std::vector<_TermPositionPair>& vecPositionPairs, int* pHitCount, float* pScore,
                           int nRetryMode);
    // ScanDetailPinyin: the pinyin retry on a GBK text: keywords imported with pinyin found in the
    // text's reading, "(音变)" before the keyword list, the score weighted by the length of each
    // pinyin form and by 1.5. "" (counts 0) when nothing is found.
    const char* ScanDetailPinyin(const char* sContent, int* p_nHitCount, float* p_nScore);
    // ScanFile, ScanFileDetail: Scan or ScanDetail of a whole file; "" (reported "Cannot read file
    // <name>") when it cannot be read or is empty.
    const char* ScanFile(const char* sFilename);
    const char* ScanFileDetail(const char* sFilename);
    // ScanLine: ScanDetail of each line of sFilename (lines of at most 10239 bytes; a longer one is
    // read in pieces), with "Processing <n>\r" on standard output every 100 lines. The result file
    // gets the UTF-8 byte-order mark when callers write in another encoding than GBK. Returns the
    // number of lines read; -1 when the result file cannot be created; 0 when the input cannot be
    // read.
    int ScanLine(const char* sFilename, const char* sResultFilename, bool bEncript);
    // FreqStat: writes the statistics report to sResultFile; true on success.
    bool FreqStat(const char* sResultFile);
    // ImportUserDict: imports a keyword file, merged into the instance's keywords or (bOverwrite)
    // replacing them; compound rules are always kept. The number of accepted lines; 0 when the file
    // cannot be read or the dictionaries cannot be written (the instance then stays as it was).
    int ImportUserDict(const char* sFilenameO, bool bOverwrite);
    // DeleteUserDict: removes the keywords listed in a file; the number of lines whose keyword was
    // found; 0 on failure.
    int DeleteUserDict(const char* sFilenameO);
    // ExportKeyDict: writes "Word\tClass\tWeight" and one line per keyword and class; the number of
    // rows; 0 when the file cannot be created.
    int ExportKeyDict(const char* sFilenameO);

    // Dictionaries: the current dictionary set (never null; its members may be).
    std::shared_ptr<const CDictionarySet> Dictionaries() const;
    // GatedDictionaries: the current dictionary set without a lock or a reference count (never
    // null); it stays alive until the caller leaves g_readGate. REQUIRES: the caller is inside
    // g_readGate.
    const CDictionarySet* GatedDictionaries() const { return m_pGatedDicts.load(std::memory_order_seq_cst); }
    // BufferManager: the owner of the texts this instance returns.
    CBufferManager& BufferManager() { return *m_pBufManager; }
    const std::string& CommFile() const { return m_sCommFile; }
    const std::string& Delimiter() const { return m_sDelimiter; }

private:
    // The result of building new dictionaries: the set and the staging directory holding its files.
    struct CBuild;

    // OpenCallerFile: opens a file named in the caller's encoding; null after reporting "Failed Open
    // file <name>" when it cannot be opened.
    FILE* OpenCallerFile(const char* sFilenameO, const char* sMode);
    // Stage: makes the staging directory of a build; false (reported) when it cannot be made.
    bool Stage(CBuild& build);
    // BuildFromRows: builds the five keyword dictionaries from the rows and saves them under the
    // staging prefix; false (reported) when a file cannot be written.
    bool BuildFromRows(std::vector<WORD_INFO>& vecWordClassFreq, std::vector<std::string>& vecClass,
                       const std::vector<std::string>* pRuleKeywords, bool bWordListByImport,
                       CBuild& build);
    // Install: renames the staged files into place and switches to the new set; false (nothing
    // changed) when a file cannot be moved.
    bool Install(CBuild& build);
    // The detailed and pinyin scans over one dictionary set (a call and its retries use one set).
    // When the scan ends in the pinyin retry, the text it gave that retry goes to *pPinyinText.
    const char* ScanDetailIn(const CDictionarySet& set, const char* sContent, std::string& sMappedContent,
                             std::vector<_TermPositionPair>& vecPositionPairs, int* pHitCount, float* pScore,
                             int nRetryMode, std::string* pPinyinText = nullptr);
    const char* ScanDetailPinyinIn(const CDictionarySet& set, const char* sContent, int* p_nHitCount,
                                   float* p_nScore);
    // ReturnText: registers a copy of sText with the buffer manager and returns it.
    const char* ReturnText(const std::string& sText);

    mutable std::mutex m_mutex;      // guards m_pDicts and the line and hit counts
    std::mutex m_hUpdate;            // one import or deletion at a time
    std::shared_ptr<const CDictionarySet> m_pDicts;
    // m_pDicts.get(), for gated readers: a swap stores the new set here, waits for g_readGate and
    // only then lets the old set go.
    std::atomic<const CDictionarySet*> m_pGatedDicts{nullptr};
    std::string m_sDataPath;
    std::string m_sCommFile;
    std::unique_ptr<CBufferManager> m_pBufManager;
    size_t m_nLineCount = 0;
    size_t m_nHitCount = 0;
    clock_t m_lStart = 0;
    clock_t m_lEnd = 0;
    std::string m_sDelimiter;
};

#endif  // VINTREL_VINTREL_VINTREL_H_

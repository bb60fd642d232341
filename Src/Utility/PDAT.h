// PDAT.h: CPDAT, the double-array trie dictionary that maps words to dense handles and scans text.
#ifndef VINTREL_UTILITY_PDAT_H_
#define VINTREL_UTILITY_PDAT_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

// One term of the optional frequency list: sorts before another when its freq is greater.
// freq starts at 1 when the word is added; -1 marks a filter word.
struct _stTermFreq {
    std::string word;
    int freq = 1;
    bool operator<(const _stTermFreq& other) const { return freq > other.freq; }
};

// A term counted in two lists: sorts by falling total_freq.
struct _stSameTermFreq : public _stTermFreq {
    int freq2 = 0;
    int total_freq = 0;
    bool operator<(const _stSameTermFreq& other) const { return total_freq > other.total_freq; }
};

// CPDAT maps a word (GBK bytes or single bytes, depending on the mode) to a handle, a non-negative int
// handed out densely 0, 1, 2 ... in order of first insertion, which indexes every per-word table.
//
// Lifecycle: construct; AddWord ... (any number); AddWordComplete compiles the build trie into a double
// array (and frees the trie); then Find, GetMaxWord, GetWords, MMScanPosition, MMSegment and Save. Or
// construct and Load. Lookups before AddWordComplete or Load find nothing. AddWordInit starts a new build;
// lookups keep seeing the old array until the next AddWordComplete.
//
// Owns: the build trie (until AddWordComplete), the double array, three 65536-entry code tables, the term
// frequency list, the result buffer of MMSegment(text, ...), MMScan and MMFullScan, and the scan filter
// (see SetScanFilter).
//
// Character modes: 0 folds ASCII capitals and reads GBK pairs; 1 reads every byte on its own; 2 reads GBK
// pairs and also folds full-width digits and letters, brackets and quotes, and turns a run of separators
// into one code 9, which words never store (trailing separators of a word are stripped).
//
// Threads: a compiled dictionary is read-only for Find, GetMaxWord, GetWords and MMScanPosition (and the
// MMSegment form with caller buffers), which may run from many threads at once. Building, Load, Import,
// SetEmpty, SetScanFilter, GetTopWords and the MMSegment/MMScan/MMFullScan forms that use the internal
// result buffer need exclusive use.
class CPDAT {
public:
    // One cell of the double array; an unused cell is (-1, -1, -1).
    struct state {
        int base;    // children at |base| + rank; negative when the path to this cell is a word
        int check;   // -2 for a first character, else the parent cell's index
        int handle;  // the word's handle, -1 when no word ends here
    };
    static_assert(sizeof(state) == 12, "state is a file record");
    using CellArray = std::vector<state>;  // the cells of a double array

    explicit CPDAT(int nMode = 0);
    virtual ~CPDAT();
    CPDAT(const CPDAT&) = delete;  // owns large tables and the build trie; share by pointer
    CPDAT& operator=(const CPDAT&) = delete;

    // GetLowerBound: the highest state index in use (0 when empty).
    virtual int GetLowerBound() const;
    // GetMaxWord: byte length of the longest word that is a prefix of sText (0 when none), its handle through
    // pHandle (-1 when none) and, through pSpace, whether the match took in white space (a run of white
    // space counts as one space, as in Find). Both out-pointers may be null; a null text gives 0.
    virtual int GetMaxWord(const char* sText, int* pHandle, bool* pSpace = nullptr) const;
    // Find: the handle of the word, or -1. A leading UTF-8 byte-order mark and surrounding double quotes
    // are dropped and white space runs count as one space. Null or empty gives -1. Deliberately, the check
    // test is skipped at cell 0, so a word whose last step lands there is found.
    virtual int Find(const char* sWord) const;
    virtual int Find(const char* sWord, unsigned int nLen) const;
    // Load: replaces the dictionary with a .pdat file, the coding mode included. 1 on success; 0 when the
    // file cannot be opened, is truncated or has any field out of range (sizes, ranks, states, mode),
    // leaving the dictionary empty and usable. A file without states (saved before any compile) loads as
    // an empty dictionary.
    virtual int Load(const char* sFilename);
    // Save: writes the .pdat file (the states only when an array exists); 1, or 0 when it cannot be
    // written.
    virtual int Save(const char* sFilename) const;
    // Import: adds the first token of every line of a text file (lines read with a 3072-byte buffer, so a
    // longer line gives several tokens), leaving out tokens that pExclude (if given) finds, printing
    // "%d\t%s Completed!\r" whenever the item count is a multiple of 100, then compiles. Continues the
    // current build, or starts a new one when the dictionary is already compiled. Returns the item count,
    // 0 when the file cannot be opened.
    virtual int Import(const char* sFilename, CPDAT* pExclude = nullptr);
    // AddTrie: placeholder, returns 1.
    virtual int AddTrie(const char* sLine);
    // GetPos: placeholder, does nothing.
    virtual void GetPos(char* sPos, int nLen);

    // Find(int): the handle of the one-character word with this character code, or -1 (also for codes
    // outside 0..65535). Deliberately stricter than Find(text): the cell must lie strictly below the lower
    // bound and have a strictly negative base.
    int Find(int nCode) const;

    // AddWordInit: starts a new build (empty trie, item count 0, character counts and term frequencies
    // cleared; the smallest and largest codes seen are kept); returns 1.
    int AddWordInit();
    // AddWord: adds a word under the next handle (or the given one); returns the word's handle, new or
    // already present, or -1 when nothing was added: null or empty word (or one that codes to nothing),
    // a word extending a filter word while bFreq is on, a negative nHandle, or no build in progress (after
    // AddWordComplete, until AddWordInit). With bFreq a new word gets a term frequency of 1 and a present
    // one has it incremented.
    int AddWord(const char* sWord, bool bFreq = false);
    int AddWord(const char* sWord, int nHandle, bool bFreq);
    // AddFilterWord: AddWord(sWord, true), then marks its term frequency -1; returns the handle.
    int AddFilterWord(const char* sWord);
    // FindWord: during building, the handle of an already added word, or -1; adds nothing, but
    // deliberately counts the characters it reads into the ranking.
    int FindWord(const char* sWord);
    // AddWordComplete: compiles the build trie into the double array and frees the trie; returns 1 (a
    // second call does nothing).
    int AddWordComplete();

    // SetScanFilter: chooses when the scan filter is kept. The scan filter lives in memory only (never
    // saved): a hashed bitset of the ranks of the first two characters of every path in the compiled
    // array (16 bits per pair, at most 1 MiB; 520 KiB for 337k or 1M Chinese words), an 8 KiB bitset
    // of the codes a walk can start with and a 256 KiB table of every code's rank and class for scan
    // mode 1, which takes the text in blocks with it. MMScanPosition consults it before the second
    // step of a walk, so that most start offsets end without reading a cell far out in the array. It
    // only ever rules out steps that fail, so scan results are the same with or without it. By default
    // it is built by AddWordComplete and Load when the array has at least 65536 cells; true builds it
    // now and after every later compile or load whatever the size (tests use this), false drops it and
    // builds none. Threads: needs exclusive use, like building; call it before the dictionary is shared.
    void SetScanFilter(bool bOn);

    // MMScanPosition: appends to vecResult every hit of a forward longest-match scan of sText and returns 0.
    // nScanMode 1 reports overlapping hits (each attempt restarts one character after its start) and lets
    // only GB2312 hanzi, lower-case letters and digits continue a match; 0 and 2 report non-overlapping hits,
    // leftmost and longest; 0 and 1 apply the English word-boundary test, 2 does not (any other value acts
    // as 0). The end of the text ends an attempt like a failing step (the pending word is emitted and the
    // scan resumes), so a keyword inside an unfinished longer match is still found. A null text appends
    // nothing.
    int MMScanPosition(const char* sText, std::vector<_stTermPosition>& vecResult,
                       int nScanMode = 1) const;
    // MMScanPosition: the same for a text whose length the caller knows. REQUIRES: nLen ==
    // strlen(sText).
    int MMScanPosition(const char* sText, size_t nLen, std::vector<_stTermPosition>& vecResult,
                       int nScanMode = 1) const;
    // MMSegment: forward longest-match segmentation of sText into *pOut, each segment followed by cSep;
    // an unmatched character stands alone, with the ASCII bytes after an unmatched ASCII byte glued to it up
    // to one of " \t-_,.:/~#%^*()" or a non-ASCII byte. With nMaxLen >= 1 no match is longer than nMaxLen
    // bytes. Handles of words (of every segment with bAllHandles, -1 for the unmatched) go to *pHandles.
    // Both buffers are malloc'ed and grown by this call (to 6 * length + 1 bytes and length + 2 handles)
    // when smaller; the caller frees them. Returns the number of handles written; 0 for null arguments.
    int MMSegment(const char* sText, int** pHandles, int* pHandleCap, char** pOut, int* pOutCap,
                  bool bReserved, bool bAllHandles, int nMaxLen, char cSep) const;
    // MMSegment: the same into the internal result buffer, without handles; returns that buffer, valid
    // until the next call that uses it; null for a null text.
    const char* MMSegment(const char* sText, int nMaxLen, char cSep);
    // MMScan: the hits of MMScanPosition(sText, nScanMode), each as its text followed by cSep, in the
    // internal buffer; null for a null text.
    const char* MMScan(const char* sText, int nScanMode, char cSep);
    // MMFullScan: at every character offset of sText in turn, every word that starts there (shortest
    // first), each followed by cSep, in the internal buffer; null for a null text.
    const char* MMFullScan(const char* sText, char cSep);
    // GetWords: every word that is a prefix of sText (no white-space folding) and longer than nMinLen
    // bytes: handles and byte lengths are appended to the malloc'ed arrays *pHandles and *pLengths (null
    // with *pCap 0 is fine; both grown together by 5 entries with realloc when *pCount reaches *pCap; the
    // caller frees them), *pCount counting from 0. Returns the byte length of the longest prefix word
    // passed (0 if none), whatever nMinLen. With any out-pointer null nothing is collected.
    int GetWords(const char* sText, unsigned int** pHandles, unsigned int** pLengths, unsigned int* pCap,
                 unsigned int* pCount, int nMinLen) const;

    // PrefixWords: every word that is a prefix of the nLen bytes at sText (no white-space folding),
    // shortest first, at most nMax of them: handles into pHandles, byte lengths into pLengths. Returns the
    // number written; 0 for null arguments. Allocates nothing.
    int PrefixWords(const char* sText, size_t nLen, int* pHandles, int* pLengths, int nMax) const;
    // Prefetch: asks the processor to start fetching the cell that a walk over sText reaches at
    // character nDepth (1-based), so that a later PrefixWords over the same text waits less for memory.
    // Reads the cells of the first nDepth - 1 steps; changes nothing. Returns the handle of the word
    // that the first character makes (-1 when none or nDepth < 2): words that start alike have near
    // handles, so callers may prefetch their own per-word data too.
    int Prefetch(const char* sText, size_t nLen, int nDepth) const;

    // GetTopWordVector: sorts the term frequencies by falling freq, equal ones keeping their order, and
    // returns them (their positions then no longer equal handles).
    std::vector<_stTermFreq>& GetTopWordVector();
    // GetTopWords: "word/freq#" for the n most frequent terms (all when n is negative), leaving out a term
    // longer than 4 bytes that contains an earlier term longer than 3 bytes (it still counts toward n).
    // The text belongs to the dictionary, valid until the next call.
    const char* GetTopWords(int n);
    // FileSegment: segments a whole file with MMSegment (no length limit, tab separator) into another,
    // followed by a line end; returns bytes read / processor seconds / 1000, 0 when either file cannot be
    // opened.
    float FileSegment(const char* sInputFile, const char* sOutputFile);

    size_t GetItemCount() const { return m_nItemCount; }
    // IsEmpty: true when the lower bound is 0 (nothing compiled or loaded, or a single cell).
    bool IsEmpty() const { return m_nLowerBound == 0; }
    // SetEmpty: sets the lower bound and the item count to 0 (the arrays stay); returns 1.
    int SetEmpty();
    // Export: readable dump of the character ranks and the states; 1, or 0 when it cannot be written.
    int Export(const char* sFilename) const;
    int GetMode() const { return m_nMode; }

    // GetStates: the compiled state array, for inspection by tests and tools (m_nLowerBound + 1 cells), or
    // null when there is none. Owned by the dictionary.
    const state* GetStates() const;
    // GetCharRank: rank of a character code, -1 when it has none (or the code is outside 0..65535).
    int GetCharRank(int nCode) const;

private:
    friend void WordTermCompare(CPDAT* pFirst, CPDAT* pSecond, std::string& sOnlyFirst,
                                std::string& sOnlySecond, std::string& sBoth);
    // The build-time trie: a pool of nodes with a hash index of (parent, code) -> child (see PDAT.cpp).
    struct trie_elem;
    class CBuildTrie;

    // BuildTRIE: the shared walk of AddWord (bFindOnly false) and FindWord (bFindOnly true).
    int BuildTRIE(const char* sWord, int nHandle, bool bFreq, bool bFindOnly);
    // GetCharMap: ranks the counted character codes by falling count, ties to the lower code.
    void GetCharMap();
    // Clear: forgets the compiled dictionary (no array, no ranks, count 0).
    void Clear();
    // Rank: rank of a code already known to lie in 0..65535.
    int Rank(int nCode) const { return m_charset[static_cast<size_t>(nCode)]; }
    // Step: one step of the walk from a cell with base nBase to the child of rank nRank whose cell must
    // check nPrev; the new cell index, or -1 when the step fails. REQUIRES: the array is not empty.
    int Step(int nBase, int nPrev, int nRank) const;
    // WalkWords: walks s (nLen bytes) from its start along the array and calls fnWord(cell, end
    // offset) for every word the text starts with, shortest first, until fnWord returns false.
    template <typename F>
    void WalkWords(const unsigned char* s, size_t nLen, F fnWord) const;
    // BuildScanFilter: rebuilds (or drops) the scan filter for the current array, as SetScanFilter says.
    void BuildScanFilter();
    // ScanText: MMScanPosition for one character mode (0, 1, 2) and whether hits overlap (scan mode 1) and
    // take the boundary test (scan modes other than 2).
    template <int MODE, bool OVERLAP, bool BOUNDARY>
    void ScanText(const unsigned char* s, size_t nLen, std::vector<_stTermPosition>& vecResult) const;
    // SegmentInto: the forward longest-match segmentation shared by both MMSegment forms. Writes the
    // segments into sOut (room for 2 * nLen + 1 bytes needed) and handles into pHandles when not null;
    // returns the number of handles.
    int SegmentInto(const unsigned char* sText, size_t nLen, int nMaxLen, char cSep, bool bAllHandles,
                    char* sOut, int* pHandles) const;

    std::unique_ptr<CBuildTrie> m_word_trie;  // build trie; null after AddWordComplete
    CellArray m_vecData;                      // the double array: m_nLowerBound + 1 cells, or none
    int m_nLowerBound = 0;                    // highest state index in use
    size_t m_nItemCount = 0;                  // distinct words (handles handed out)
    std::string m_sResult;                    // result text of MMSegment(text, ...), MMScan, MMFullScan
    std::vector<int> m_charset;               // 65536 entries: code -> rank, -1 when absent
    int m_charsetSize = 0;                    // number of ranked codes
    std::vector<int> m_charsetfreq;           // 65536 entries: count of each ranked code (for Export)
    std::vector<int> m_freq;                  // 65536 entries: counts gathered while words are added
    int m_LowerChar = 65536;                  // smallest code seen while adding
    int m_UpperChar = 0;                      // largest code seen while adding
    std::vector<_stTermFreq> m_vecTermFreq;   // per-handle term frequency (words added with bFreq)
    int m_nMode = 0;                          // character coding mode 0, 1 or 2
    std::string m_sTopWords;                  // text built by GetTopWords
    bool m_bWordAddCompleted = false;         // true once AddWordComplete has compiled the trie
    // The scan filter: bit (hash of first rank, second rank) >> m_nFilterShift is set for every two-step
    // path of the array; m_vecFirstChars has bit c set when the walk's first step succeeds for code c.
    // Both empty when there is no filter. m_nFilterPolicy: -1 automatic, 0 never, 1 always.
    std::vector<uint64_t> m_vecScanFilter;
    std::vector<uint64_t> m_vecFirstChars;
    // With the filter, the scan class for scan mode 1 of the character that starts with each pair of
    // bytes (65536 entries, see PDAT.cpp): its rank and whether a walk can start with it, or that it has
    // no rank or ends every match. m_nFilterBound: the lower bound the filter was built for.
    std::vector<int32_t> m_vecScanClass;
    int m_nFilterBound = 0;
    int m_nFilterShift = 64;
    int m_nFilterPolicy = -1;
};

// WordTermCompare: compares the term frequencies of two dictionaries (filter words left out; a null
// dictionary has none). The three strings are replaced: words only in the first go to sOnlyFirst and
// words only in the second to sOnlySecond, each as "word/freq#" by falling freq; words in both go to sBoth
// as "word/freq1/freq2#" by falling freq1 + freq2; equal counts in byte order of the words.
void WordTermCompare(CPDAT* pFirst, CPDAT* pSecond, std::string& sOnlyFirst, std::string& sOnlySecond,
                     std::string& sBoth);

#endif  // VINTREL_UTILITY_PDAT_H_

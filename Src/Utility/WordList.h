// WordList.h: CWordList, the table that turns a word handle back into its text, and its .wordlist
// file.
#ifndef VINTREL_UTILITY_WORDLIST_H_
#define VINTREL_UTILITY_WORDLIST_H_

#include <vector>

#include "Utility/global_linux.h"

class CPDAT;

// One (handle, text offset) pair collected while adding. a <= b compares the handles only.
struct word_elem {
    int handle = 0;
    int nWordIndex = 0;
    bool operator<=(const word_elem& other) const { return handle <= other.handle; }
};
static_assert(sizeof(word_elem) == 8, "word_elem is two ints");

// CWordList stores, for every handle of a CPDAT, the text to print for it: the keyword itself, or
// another text (a class name, a keyword's stored information). All texts live back to back, each
// with a NUL, in one buffer; an offset table indexed by handle points into it.
//
// Lifecycle: construct (which starts adding); AddWord ... ; AddWordComplete builds the offset
// table; then GetWord, Save, Export. Or construct and Load (or Import). AddWordInit starts over,
// keeping the bound. Owns the offset table, the text buffer and the pair array; borrows the CPDAT
// given to it.
//
// File .wordlist (little-endian): uint32 word count; int32 bound; int32 offsets for handles
// 0..bound (the last one unused, written as 0); int32 text size; the text part, XOR-scrambled with
// QMT_WORD_LIST_KEY when the list was made with bEncript. A scrambled list must be loaded with
// bEncript set, a plain one with it clear.
//
// Threads: once completed or loaded the list is read-only: GetWord, GetItemCount, Save and Export
// may run from many threads at once. Adding, Import and Load need exclusive use.
class CWordList {
public:
    // The sizes by which the pair array (elements) and the text buffer (bytes) grow.
    static constexpr unsigned int PAIR_BLOCK = 10000;
    static constexpr int TEXT_BLOCK = 1024000;
    // The highest handle AddWord accepts (the offset table of a larger one would take gigabytes).
    static constexpr int MAX_HANDLE = (1 << 26) - 1;

    // CWordList: an empty list (bound 0) that is ready for AddWord. bEncript selects a scrambled
    // text part in Save and Load; pDict (not owned, may be null) gives the handles of
    // AddWord(word).
    CWordList(bool bEncript, CPDAT* pDict);
    virtual ~CWordList();
    CWordList(const CWordList&) = delete;  // owns large buffers; share by pointer
    CWordList& operator=(const CWordList&) = delete;

    // AddWordInit: starts collecting (count and text size 0, not completed); the bound is kept.
    // Returns 1.
    int AddWordInit();
    // AddWord: stores sWord as the text of nHandle. A negative handle stores nothing and writes the
    // word to the log. Returns 1; 0 (nothing stored) when sWord is null, nHandle > MAX_HANDLE or
    // the text buffer would pass 2 GB.
    int AddWord(const char* sWord, int nHandle);
    // AddWord: skips a leading UTF-8 byte-order mark and stores the word under the handle the
    // dictionary gives it (a word the dictionary lacks, or any word without a dictionary, is only
    // logged). Returns 1; 0 when sWord is null.
    int AddWord(const char* sWord);
    // AddWordComplete: builds the offset table from the pairs in the order added, so that the last
    // text of a handle added twice wins. Returns 1; a second call does nothing.
    int AddWordComplete();

    // GetWord: the text of nHandle. The text belongs to the list and stays valid until the list is
    // changed (AddWord, Import, Load) or destroyed; never null. A handle inside the bound that
    // never received a text gives the first text of the list; a handle < 0 or >= the bound (or any
    // handle before the table is built) gives "", a static constant string.
    const char* GetWord(int nHandle) const;
    // GetItemCount: the number of texts stored.
    unsigned int GetItemCount() const { return m_nSize; }
    // GetBound: one more than the highest handle stored.
    int GetBound() const { return m_nBound; }

    // Import: builds the list from a text file, the first white-space-delimited token of each line
    // being a word whose handle pDict (or, when pDict is null, the dictionary given before)
    // provides. Prints "Line %d\r" every 100 lines. Returns the number of texts stored; 0 when the
    // file cannot be opened.
    int Import(const char* sFilename, CPDAT* pDict);
    // Import: rebuilds the list from keyword records: the text of pDict->Find(word) is the record's
    // store_info when bStoreInfo is set, else its word; records without a handle are skipped. The
    // bound becomes pDict->GetItemCount(). Returns the number of texts stored; 0 when pDict is
    // null.
    int Import(std::vector<WORD_INFO>& vecWords, CPDAT* pDict, bool bStoreInfo);
    // Export: writes "%s\n" with the text of every handle 0 .. pDict->GetItemCount() - 1 to
    // sFilename, leaving out the handles found by pDict for the first token of a line of
    // pExcludeFile (optional) when that token starts with a non-ASCII byte and is longer than 2
    // bytes. Returns 0 on success; 1 (after printing "Error open file %s.\n") when the output
    // cannot be opened, and 1 when pDict or sFilename is null.
    int Export(const char* sFilename, CPDAT* pDict, const char* pExcludeFile) const;

    // Save: writes the .wordlist file. 1, or 0 when it cannot be opened or written.
    int Save(const char* sFilename) const;
    // Load: replaces the list with a .wordlist file. 1 on success; 0 when the file cannot be opened
    // or is truncated or inconsistent, leaving the list empty (bound 0) and usable.
    int Load(const char* sFilename);

    // qksort: sorts pairs[low..high] by handle (recursive quicksort with qkpass). REQUIRES: the
    // range is inside the array, or low >= high.
    static void qksort(word_elem* pPairs, int nLow, int nHigh);
    // qkpass: partitions pairs[low..high] around pairs[low]; returns the pivot's final index.
    static int qkpass(word_elem* pPairs, int nLow, int nHigh);

private:
    // Clear: forgets every text and the table (bound 0).
    void Clear();

    unsigned int m_nSize = 0;          // texts stored
    int m_nBound = 0;                  // one more than the highest handle stored
    std::vector<int> m_pData;          // offset table: m_nBound + 1 entries once built, else empty
    std::vector<char> m_pWordListBuf;  // the texts; its size is the capacity m_nWordListMemSize
    int m_nWordListMemSize = 0;        // capacity of the text buffer in bytes
    int m_nWordListDataSize = 0;       // bytes of the text buffer in use
    std::vector<word_elem> m_vecPair;  // (handle, offset) pairs collected while adding
    unsigned int m_nMemSize = 0;       // capacity of m_vecPair in elements
    CPDAT* m_pDict;                    // not owned
    bool m_bEncript;
    bool m_bAddCompleted = false;
};

#endif  // VINTREL_UTILITY_WORDLIST_H_

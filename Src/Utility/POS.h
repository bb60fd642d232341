// POS.h: CPOS, the class table that gives every word handle a short list of (class id, frequency)
// records, and its .pos file.
#ifndef VINTREL_UTILITY_POS_H_
#define VINTREL_UTILITY_POS_H_

#include <vector>

#include "Utility/global_linux.h"

class CPDAT;
class CPOSmap;
class CWordList;

// One class record of a word: the class id (255: none) and its frequency or weight.
struct POS_info {
    unsigned char POS_id = 255;
    int freq = 0;
};
static_assert(sizeof(POS_info) == 8, "POS_info is a file record: id, 3 padding bytes, freq");

// One row given to CPOS::Import and returned by GetAllItem: a record and the word handle it belongs
// to
// (-1 when new). Ordered by handle, then by class id.
struct POS_elem : POS_info {
    int handle = -1;
    bool operator<(const POS_elem& other) const {
        return handle != other.handle ? handle < other.handle : POS_id < other.POS_id;
    }
};

// CPOS attaches to each handle 0 .. GetBound() - 1 its records, contiguous, in ascending class id,
// one per class id. A handle outside that range answers like a handle without records.
//
// Lifecycle: construct (empty); Import or Load; then look up, Save, Export, GetAllItem. Owns its
// records and its index.
//
// File .pos (little-endian): int32 record count; int32 bound; the records (uint8 id, 3 zero bytes,
// int32 freq); the index, one (int32 start, int32 count) per handle, (-1, -1) for a handle without
// records.
//
// Threads: read-only after Import or Load; GetPOS, GetMaxPOS, GetPOSFreq, GetAllItem, Save and
// Export may run from many threads at once. Import and Load need exclusive use.
class CPOS {
public:
    // The largest bound Import accepts (an index that size takes 512 MB).
    static constexpr int MAX_BOUND = 1 << 26;

    CPOS();
    virtual ~CPOS();
    CPOS(const CPOS&) = delete;  // owns the record tables; share by pointer
    CPOS& operator=(const CPOS&) = delete;

    // Import: builds the table for handles 0 .. nBound - 1 from rows, which are sorted in place
    // first. Rows of one (handle, class id) collapse into one record with the largest freq. The
    // record count is the number of rows given: records left over by collapsing stay (255, 0) at
    // the end and are saved too. Rows whose handle is outside 0 .. nBound - 1 are not stored.
    // Returns the record count; 0, leaving the table empty, when nBound > MAX_BOUND (a negative
    // bound counts as 0).
    int Import(std::vector<POS_elem>& vecElems, int nBound);
    // Import: builds the table from a text file of lines "word class freq", the class being a name
    // that pMap turns into an id, or (pMap null) an id number. Handles come from pDict; words it
    // lacks are logged and skipped, and so are lines without all three fields. Prints "Line
    // %d:word=%s(%d) pos=%s(%d)\n" every 100 lines. The bound is pDict->GetLowerBound(). Returns
    // the record count; 0 when the file cannot be opened or pDict is null.
    int Import(const char* sFilename, CPDAT* pDict, CPOSmap* pMap);

    // GetPOS: the handle's first record (owned by the table, valid until the next Import or Load)
    // and the number of its records through pCount (may be null); null and 0 when it has none.
    const POS_info* GetPOS(int nHandle, int* pCount) const;
    // GetPOS: the class id of the handle's first record, 255 when it has none.
    int GetPOS(int nHandle) const;
    // GetMaxPOS: the handle's record with the largest freq (the first, i.e. lowest class id, on a
    // tie); null when it has none. Owned by the table.
    const POS_info* GetMaxPOS(int nHandle) const;
    // GetPOSFreq: the freq of the handle's record with class id nPOS, 0 when there is none.
    int GetPOSFreq(int nHandle, int nPOS) const;
    // GetFollowingFreq: the freq of the record that lies right after the handle's last record in the
    // record array (the first record of a later handle, or a record left over by collapsing); 0 when
    // the handle has no records or its records end the array.
    int GetFollowingFreq(int nHandle) const;
    // GetAllItem: appends a row for every record of every handle not listed in vecExcluded (every
    // handle when it is empty), handles ascending. Returns vecOut.size().
    int GetAllItem(std::vector<POS_elem>& vecOut, const std::vector<int>& vecExcluded) const;

    // Save: writes the .pos file. 1, or 0 when it cannot be opened or written.
    int Save(const char* sFilename) const;
    // Load: replaces the table with a .pos file. 1 on success; 0 when the file cannot be opened or
    // is truncated or inconsistent, leaving the table empty and usable.
    int Load(const char* sFilename);
    // Export: a readable dump: "Data Size=%d,Index Size=%d\n", then per handle and record
    // "text\tclass name\tfreq\n" and, when the handle's freqs sum to more than 0,
    // "text\tUNIGRAM\tsum\n". 1; 0 when the file cannot be opened or an argument is null.
    int Export(const char* sFilename, const CPOSmap* pMap, const CWordList* pWords) const;

    // GetSize: the record count. GetBound: the number of handles in the index.
    int GetSize() const { return m_nSize; }
    int GetBound() const { return m_nBound; }

    // Sorting of rows by the POS_elem order. qksort sorts elems[low..high] (quicksort; qkpass
    // partitions around elems[low] and returns the pivot's index); bubblesort(elems, low, high)
    // swaps each later row that sorts before row i into position i and stops after a pass without
    // swaps. REQUIRES: the range is inside the array, or low >= high.
    static void qksort(POS_elem* pElems, int nLow, int nHigh);
    static int qkpass(POS_elem* pElems, int nLow, int nHigh);
    static void bubblesort(POS_elem* pElems, int nLow, int nHigh);

private:
    // Clear: no records, no handles.
    void Clear();
    // Records: the handle's index entry, or null when it has no records.
    const index_t* Entry(int nHandle) const;

    std::vector<POS_info> m_pData;  // the records
    int m_nSize = 0;                // records in m_pData
    int m_nBound = 0;               // handles in the index
    std::vector<index_t> m_pIndex;  // per handle: first record and record count
};

#endif  // VINTREL_UTILITY_POS_H_

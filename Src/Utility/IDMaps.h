// IDMaps.h: CIDMaps, the id map from the handles of one dictionary (sources) to one or more handles
// of another or the same dictionary (targets), with the .map file format.
#ifndef VINTREL_UTILITY_IDMAPS_H_
#define VINTREL_UTILITY_IDMAPS_H_

#include <vector>

#include "Utility/global_linux.h"

class CPDAT;
class CWordList;

// One target of the compiled table: a target handle, -1 when the source maps to nothing.
struct idmaps_info {
    int handle2 = -1;
};
static_assert(sizeof(idmaps_info) == 4, "idmaps_info is a file record");

// One collected pair: the target (handle2) and its source (handle1). Pairs order by handle1, then
// handle2.
struct idmaps_elem : public idmaps_info {
    int handle1 = -1;

    bool operator<(const idmaps_elem& other) const {
        return handle1 < other.handle1 || (handle1 == other.handle1 && handle2 < other.handle2);
    }
    bool operator<=(const idmaps_elem& other) const { return !(other < *this); }
};

// CIDMaps maps a source handle to its targets. The code-page converters map characters with it, the
// string translation tables words to replacements, the pinyin converter characters to readings.
//
// Lifecycle: MapInit, MapAdd (any number of pairs), MapComplete sorts the pairs and compiles them
// into one target array grouped by source (ascending within a source, repeated targets dropped) and
// an index of (start, last) per source; or one of the Import forms, which do all three; or Load.
// Save writes the .map file. A failed Load leaves the map empty: every lookup then finds nothing.
//
// Owns the collected pairs, the target array and the index.
//
// Threads: once completed or loaded the map is read-only: GetMaps, GetMapID and the Export forms
// may run from many threads at once. Collecting, MapComplete (the sort keeps a counter in the
// object), Import and Load need exclusive use.
class CIDMaps {
public:
    CIDMaps();
    virtual ~CIDMaps();
    CIDMaps(const CIDMaps&) = delete;  // owns large tables; share by pointer
    CIDMaps& operator=(const CIDMaps&) = delete;

    // MapInit: starts a new collection (a pair array of 10240 pairs when there is none; no pairs,
    // no sources). Returns 1.
    int MapInit();
    // MapAdd: collects the pair (handle1, handle2); handle2 = -1 (maps to nothing) is kept. The
    // pair is ignored when handle1 < 0, handle1 > MAX_SOURCE_HANDLE or handle2 < -1. Right after
    // Load, the first MapAdd starts a new collection as MapInit does. Returns 1.
    int MapAdd(int handle1, int handle2);
    // MapComplete: sorts the collected pairs and compiles the table; prints "Build map success!" on
    // standard output. Returns 1. (Right after Load, with nothing collected, the table is kept.)
    int MapComplete();

    // GetMaps: the targets of handle1, ascending, and their number through pCount (when not null).
    // Null and a count of 0 when handle1 is out of range or has no targets. The array belongs to
    // the map and lives until the next MapInit, MapComplete, Import or Load.
    const idmaps_info* GetMaps(int handle1, int* pCount) const;
    // GetMapID: the smallest target of handle1 (-1 may be a target), or -1 when it has none or
    // handle1 is out of range.
    int GetMapID(int handle1) const;

    // Import: two-column text file "source target" per line, the source looked up in pSrcDict, the
    // target in pDstDict. Pairs whose source is missing, or whose two words are the same word of
    // one dictionary, are left out and reported " invalid argument!" through the error log. Prints
    // "Line %d: %s->%s\n" every 100 lines. Compiles the map; returns the number of pairs, 0 when
    // the file cannot be opened or an argument is null.
    int Import(const char* sFilename, CPDAT* pSrcDict, CPDAT* pDstDict);
    // Import: tab-separated text file over one dictionary: the last field of a line is the source,
    // every other field a target. Prints "%d\r" every 100 lines. Compiles the map; returns the
    // number of pairs, 0 when the file cannot be opened or an argument is null.
    int Import(const char* sFilename, CPDAT* pDict);
    // Import: two parallel text files: the first token of line i of sSrcFile maps to the first
    // token of line i of sDstFile, with the rules of the two-column import. Stops at the end of the
    // shorter file. Returns the number of pairs, 0 when either file cannot be opened or an argument
    // is null.
    int Import(const char* sSrcFile, const char* sDstFile, CPDAT* pSrcDict, CPDAT* pDstDict);

    // Export: readable dump of the table ("(null)" for a text when its word list is not given);
    // with bMultiOnly only sources with more than one target. Returns 1, or 0 when the file cannot
    // be written.
    int Export(const char* sFilename, CWordList* pSrcWords, CWordList* pDstWords,
               bool bMultiOnly) const;
    // Export: appends one (source text, target text) pair per target of every source, by ascending
    // source and target; a missing word list gives empty texts. Returns the number of pairs
    // appended.
    int Export(std::vector<map_str>& vecOut, CWordList* pSrcWords, CWordList* pDstWords) const;

    // Save: writes the .map file (target count, source count, targets, index). Returns 1, or 0 when
    // the file cannot be written.
    int Save(const char* sFilename) const;
    // Load: replaces the map with a .map file. Returns 1; 0 when the file cannot be opened or is
    // truncated or inconsistent (length, or an index entry outside the target array), leaving the
    // map empty.
    int Load(const char* sFilename);

    // GetSize: the number of target slots (pairs collected); GetBound: the number of sources (the
    // highest source handle + 1).
    int GetSize() const { return m_nSize; }
    int GetBound() const { return m_nBound; }
    // GetQKSortCount: the sort's current count of lopsided partitions (for tests).
    int GetQKSortCount() const { return m_nQKSortCount; }

    // qksort: sorts pData[low..high] ascending. A quicksort whose partitions take the first element
    // of a range as pivot; after more than 9 partitions in a row that leave the pivot at an end of
    // its range, the next range is sorted whole by bublesort. Never recurses deeper than about log2
    // of the range.
    void qksort(idmaps_elem* pData, int low, int high);
    // qkpass: partitions pData[low..high] around pData[low]; returns the pivot's final index.
    static int qkpass(idmaps_elem* pData, int low, int high);
    // bublesort: sorts pData[low..high] ascending, as an exchange sort does (see IDMaps.cpp).
    static void bublesort(idmaps_elem* pData, int low, int high);

    // The largest source handle MapAdd accepts: keeps a stray huge handle from allocating gigabytes
    // of index.
    static constexpr int MAX_SOURCE_HANDLE = (1 << 26) - 1;

private:
    // QKSortRange: the sort loop behind qksort; nDepth bounds the partitions still allowed on one
    // path.
    void QKSortRange(idmaps_elem* pData, int low, int high, int nDepth);
    // AddPairChecked: the pair rules shared by the two-column and parallel-file imports.
    void AddPairChecked(const char* sSrc, const char* sDst, CPDAT* pSrcDict, CPDAT* pDstDict);
    // Clear: no pairs, no table.
    void Clear();

    int m_nMemSize = 0;                // capacity of the pair array (m_vecBiWord.size())
    int m_nSize = 0;                   // pairs collected; size of the target array once compiled
    std::vector<idmaps_info> m_pData;  // targets grouped by source
    int m_nBound = 0;                  // index size: highest source handle + 1
    std::vector<index_t> m_pIndex;     // per source: first and last (inclusive) target, or (-1, -1)
    std::vector<idmaps_elem> m_vecBiWord;  // the collected pairs (first m_nSize of m_nMemSize)
    int m_nQKSortCount = 0;                // lopsided partitions in a row during qksort
    bool m_bLoaded = false;                // the table came from Load; no pairs are collected
};

#endif  // VINTREL_UTILITY_IDMAPS_H_

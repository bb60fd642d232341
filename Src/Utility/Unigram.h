// Unigram.h: CUnigram, the frequency table: one integer count per word handle of a dictionary, plus
// their total, with the .unig file format.
#ifndef VINTREL_UTILITY_UNIGRAM_H_
#define VINTREL_UTILITY_UNIGRAM_H_

#include <atomic>
#include <vector>

class CPDAT;

// One (handle, count) pair. Its `<` compares handles.
struct unigram_elem {
    int handle = -1;
    int freq = 0;
    bool operator<(const unigram_elem& other) const { return handle < other.handle; }
};

// less_unigram_cmp: true when a's freq is greater than b's (orders output by falling count).
bool less_unigram_cmp(const unigram_elem& a, const unigram_elem& b);

// CUnigram holds one count per handle 0..m_nBound-1 of a CPDAT and the sum of all counts added. The
// segmentation engine loads word frequencies from a .unig file; a keyword scanner builds an empty
// table sized to its keyword dictionary and adds hit counts while it scans.
//
// Lifecycle: construct with a bound (zeroed counts), or construct and Import or Load. Save writes
// the .unig file. A failed Load leaves the table empty (bound 0): every lookup then gives 0.
//
// Owns its count array.
//
// Threads: GetFreq, AddFreq, GetTotalFreq, GetItemCount and OutputFreq may run from many threads at
// once (the counts and the total are atomic, so concurrent AddFreq calls are never lost). Import,
// Load and Save need exclusive use.
class CUnigram {
public:
    // CUnigram: nBound > 0 gives nBound zeroed counts; otherwise no counts (bound 0). Size and
    // total 0.
    explicit CUnigram(int nBound);
    virtual ~CUnigram();
    CUnigram(const CUnigram&) = delete;  // owns the count array; share by pointer
    CUnigram& operator=(const CUnigram&) = delete;

    // GetFreq: the count of handle, 0 when handle < 0 or handle >= the bound.
    int GetFreq(int handle) const;
    // AddFreq: adds n to the count of handle and to the total; returns n, or 0 (changing nothing)
    // when handle is out of range. Sums wrap around in 32 bits.
    int AddFreq(int handle, int n);
    // GetTotalFreq: the sum of every count added (by Import, AddFreq or the loaded file).
    int GetTotalFreq() const;
    // GetItemCount: the number of entries imported (or loaded).
    int GetItemCount() const;
    // GetBound: the number of handles covered (0 .. GetBound()-1).
    int GetBound() const { return m_nBound; }

    // OutputFreq: clears vecOut, appends (handle, count) for every handle with a count above 0, and
    // sorts them by falling count (equal counts in no particular order). Returns the number
    // appended.
    int OutputFreq(std::vector<unigram_elem>& vecOut) const;

    // Import: rebuilds the table from a text file of "word frequency" lines, words looked up in
    // pDict. A report of repeated words goes to sFilename + ".log". Of a repeated word the smaller
    // non-zero frequency is kept, while the total counts every line. Prints "Line %d completed!\n"
    // every 100 lines. Returns the number of lines whose word was found; 0 when either file cannot
    // be opened or an argument is null (the table is then unchanged).
    int Import(const char* sFilename, CPDAT* pDict);

    // Save: writes the .unig file (size, bound, total, then bound + 1 counts; a table made by the
    // constructor writes its last count as 0). Returns 1, or 0 when the file cannot be written.
    int Save(const char* sFilename) const;
    // Load: replaces the table with a .unig file. Returns 1; 0 when the file cannot be opened or
    // its length does not match its bound, leaving the table empty and usable.
    int Load(const char* sFilename);

    // qksort: sorts pData[low..high] by handle with a quicksort that takes the first element of a
    // range as its pivot. Recursion goes into the smaller part, so the stack stays shallow on any
    // input.
    static void qksort(unigram_elem* pData, int low, int high);
    // qkpass: partitions pData[low..high] around pData[low]; returns the pivot's final index.
    static int qkpass(unigram_elem* pData, int low, int high);

private:
    // Clear: forgets everything (no counts, bound, size and total 0).
    void Clear();

    int m_nSize = 0;                        // entries imported
    int m_nBound = 0;                       // handles covered: 0 .. m_nBound-1
    std::atomic<int> m_nTotal{0};           // sum of all counts added
    std::vector<std::atomic<int>> m_pData;  // counts by handle: m_nBound entries, or m_nBound + 1
                                            // after Import or Load
};

#endif  // VINTREL_UTILITY_UNIGRAM_H_

// Bigram.h: CBigram, the word-pair frequencies ("BiWord.big") the segmenter uses to choose between
// paths where the data has them.
#ifndef VINTREL_DORVANE_SEGMENT_BIGRAM_H_
#define VINTREL_DORVANE_SEGMENT_BIGRAM_H_

#include <cstdint>
#include <vector>

// One pair of core-dictionary word handles and how often the right word follows the left one.
struct bigram_elem {
    int32_t left;
    int32_t right;
    int32_t freq;
};
static_assert(sizeof(bigram_elem) == 12, "bigram_elem is a file record");

// CBigram holds word-pair frequencies sorted by (left, right).
//
// File "BiWord.big" (little-endian): int32 count, then count records {int32 left, int32 right,
// int32 freq}, sorted ascending by (left, right) without repeats, every field >= 0 and freq > 0.
// A file of count 0 (4 bytes) is a valid, empty table.
//
// Lifecycle: construct (empty); Import or Load; then GetFreq. Owns its records.
// Threads: read-only after Import or Load: GetFreq, GetCount and Save may run from many threads at
// once. Import and Load need exclusive use.
class CBigram {
public:
    CBigram();
    ~CBigram();
    CBigram(const CBigram&) = delete;  // may hold millions of records; share by pointer
    CBigram& operator=(const CBigram&) = delete;

    // Import: replaces the table with vecPairs (sorted here; repeated pairs are summed; pairs with a
    // negative handle or a freq <= 0 are dropped). Returns the number of records kept.
    int Import(std::vector<bigram_elem> vecPairs);
    // Load: replaces the table with a file. 1; 0 when the file cannot be read, is truncated, has a
    // count that does not match its size, or records out of order or out of range, leaving the table
    // empty.
    int Load(const char* sFilename);
    // Save: 1, or 0 when the file cannot be written.
    int Save(const char* sFilename) const;
    // GetFreq: the frequency of the pair, 0 when it is absent.
    int GetFreq(int nLeft, int nRight) const;
    // GetCount: the number of records.
    int GetCount() const { return static_cast<int>(m_vecPairs.size()); }

private:
    std::vector<bigram_elem> m_vecPairs;
};

#endif  // VINTREL_DORVANE_SEGMENT_BIGRAM_H_

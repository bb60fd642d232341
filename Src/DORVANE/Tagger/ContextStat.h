// ContextStat.h: CContextStat, the tag context statistics ("GRAVO.ctx", "nr.ctx"): how likely a
// text starts with each tag and how likely each tag follows another.
#ifndef VINTREL_DORVANE_TAGGER_CONTEXTSTAT_H_
#define VINTREL_DORVANE_TAGGER_CONTEXTSTAT_H_

#include <vector>

// CContextStat holds natural-log probabilities over tag ids 0 .. GetSize() - 1.
//
// File (little-endian): int32 n (1 .. 255), then float32 start[n] (log probability that a text
// starts with tag i), then float32 trans[n * n] (row-major: trans[i * n + j] is the log probability
// that tag j follows tag i). The file is exactly 4 + 4 * (n + n * n) bytes; every value is finite
// and <= 0.
//
// Lifecycle: construct; SetSize and the setters, or Load; then the getters. Owns its arrays.
// Threads: read-only after Load: the getters and Save may run from many threads at once. SetSize,
// the setters and Load need exclusive use.
class CContextStat {
public:
    // The value of an id outside the table: a probability of practically zero.
    static constexpr float IMPOSSIBLE = -1.0e30f;
    static constexpr int MAX_SIZE = 255;

    CContextStat();
    ~CContextStat();
    CContextStat(const CContextStat&) = delete;  // share by pointer
    CContextStat& operator=(const CContextStat&) = delete;

    // SetSize: n tags (1 .. MAX_SIZE), every value IMPOSSIBLE; 1, or 0 for a size out of range.
    int SetSize(int n);
    // SetStart, SetTrans: 1, or 0 for an id out of range or a value that is not finite and <= 0.
    int SetStart(int nTag, float fLogProb);
    int SetTrans(int nFrom, int nTo, float fLogProb);
    // GetStart, GetTrans: the stored log probability, IMPOSSIBLE for ids out of range.
    float GetStart(int nTag) const;
    float GetTrans(int nFrom, int nTo) const;
    int GetSize() const { return m_nSize; }

    // Load: 1; 0 when the file cannot be read, has the wrong size or a bad value, leaving the table
    // empty (size 0).
    int Load(const char* sFilename);
    // Save: 1, or 0 when the file cannot be written or the table is empty.
    int Save(const char* sFilename) const;

private:
    int m_nSize = 0;
    std::vector<float> m_vecStart;  // m_nSize values
    std::vector<float> m_vecTrans;  // m_nSize * m_nSize values
};

#endif  // VINTREL_DORVANE_TAGGER_CONTEXTSTAT_H_

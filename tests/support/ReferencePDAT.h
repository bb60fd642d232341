// ReferencePDAT.h: a slow, plain re-implementation of the double-array trie's layout, used only by the
// tests to check CPDAT's fast compiler cell by cell.
#ifndef VINTREL_TESTS_SUPPORT_REFERENCEPDAT_H_
#define VINTREL_TESTS_SUPPORT_REFERENCEPDAT_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vt_test {

// CReferencePDAT builds a pointer trie from the same calls as CPDAT (AddWord, AddFilterWord, FindWord)
// and lays it out the literal way: ranks chosen one at a time by scanning for the largest count, a work
// list scanned linearly for the node with the most children, and bases tried 1, 2, 3 ... with every child
// checked. Nothing is shared with CPDAT's code.
//
// Threads: one object per thread.
class CReferencePDAT {
public:
    struct Cell {
        int base = -1;
        int check = -1;
        int handle = -1;
    };

    explicit CReferencePDAT(int nMode);
    ~CReferencePDAT();
    CReferencePDAT(const CReferencePDAT&) = delete;  // owns the trie
    CReferencePDAT& operator=(const CReferencePDAT&) = delete;

    // The build calls, with CPDAT's results.
    int AddWord(const std::string& sWord, bool bFreq = false);
    int AddFilterWord(const std::string& sWord);
    int FindWord(const std::string& sWord);
    // Compile: lays the trie out; the trie stays for the lookups below.
    void Compile();

    // After Compile: rank of each code (65536 entries, -1 unranked), the highest cell used (0 when none)
    // and the cells 0 .. LowerBound() (empty when no cell was used).
    const std::vector<int>& Ranks() const { return m_vecRank; }
    int LowerBound() const { return m_nLowerBound; }
    const std::vector<Cell>& Cells() const { return m_vecCells; }

    // Lookups on the trie itself, following CPDAT's documented text rules: Find (BOM and surrounding
    // double quotes dropped, white space folded to one space, the handle of the node reached or -1) and
    // GetMaxWord (byte length of the longest prefix that ends at a word or at a node without children,
    // without white-space folding of runs beyond one space).
    int Find(const std::string& sWord) const;
    int GetMaxWord(const std::string& sText, int* pHandle) const;

    // Codes: the character codes and byte lengths of a text in the given mode (exposed for tests).
    static std::vector<std::pair<int, int>> Codes(const std::string& sText, int nMode);

private:
    struct Node;
    int Build(const std::string& sWord, int nHandle, bool bFreq, bool bFindOnly);

    int m_nMode;
    std::unique_ptr<Node> m_pRoot;
    std::vector<int> m_vecFreq;  // count per code
    int m_nLow = 65536, m_nHigh = 0;
    int m_nCount = 0;
    std::vector<int> m_vecTermFreq;  // per handle (words added with bFreq)
    std::vector<int> m_vecRank;
    int m_nLowerBound = 0;
    std::vector<Cell> m_vecCells;
};

}  // namespace vt_test

#endif  // VINTREL_TESTS_SUPPORT_REFERENCEPDAT_H_

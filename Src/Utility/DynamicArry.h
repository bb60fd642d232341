// DynamicArry.h: CDynamicArry, the growable node array of the modifiable trie (CTrie), and
// trie_elem, the 64-byte node record that is also the record of the trie file.
#ifndef VINTREL_UTILITY_DYNAMICARRY_H_
#define VINTREL_UTILITY_DYNAMICARRY_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

// trie_elem: one node of the modifiable trie, byte for byte as stored in the trie file
// (little-endian, no padding). Nodes are linked by indices into the node array; -1 means "none".
// This record lives at namespace scope; CPDAT's build-time node of the same name is nested in that
// class, so the two never meet.
struct trie_elem {
    uint32_t node;        // character code of the edge into this node (0 for the root)
    int32_t child_count;  // number of nodes in the child list
    int32_t children;     // index of the first child, -1 for none
    int32_t handle;       // word handle; -1 when no word ends here or the word was deleted
    char sPos[40];        // the word's tag, NUL-terminated
    int32_t nextNode;     // index of the next sibling, -1 for none
    int32_t freq;         // how many times the word was added
};
static_assert(sizeof(trie_elem) == 64, "trie_elem is a 64-byte file record");
static_assert(offsetof(trie_elem, node) == 0, "trie_elem layout");
static_assert(offsetof(trie_elem, child_count) == 4, "trie_elem layout");
static_assert(offsetof(trie_elem, children) == 8, "trie_elem layout");
static_assert(offsetof(trie_elem, handle) == 12, "trie_elem layout");
static_assert(offsetof(trie_elem, sPos) == 16, "trie_elem layout");
static_assert(offsetof(trie_elem, nextNode) == 56, "trie_elem layout");
static_assert(offsetof(trie_elem, freq) == 60, "trie_elem layout");

// CDynamicArry: an array of trie_elem that only grows. Elements are handed out in order (0, 1, 2
// ...) by NewElem and never freed; the array starts with room for 10000 zero-filled elements and
// grows by 10000 zero-filled elements whenever it is full, so an element that NewElem returns is
// all zero bytes.
//
// Owns its storage (m_pData). Growing moves the elements: pointers from GetElem or GetBufPoint are
// valid only until the next NewElem or Load.
//
// Threads: no locks. Const members may run concurrently; NewElem, Load and writes through the
// element pointers need exclusive use.
class CDynamicArry {
public:
    // Elements allocated at construction and added by each growth.
    static constexpr int GROW_STEP = 10000;

    CDynamicArry();
    ~CDynamicArry();
    CDynamicArry(const CDynamicArry&) = delete;  // owns a large array; share by pointer
    CDynamicArry& operator=(const CDynamicArry&) = delete;

    // NewElem: the index of a new element (all zero bytes), growing the array by GROW_STEP elements
    // when it is full; -1 when the array cannot grow (out of memory or the int range).
    int NewElem();
    // GetElem: points pElem at the element and returns 1 for a valid index; returns 0 and leaves
    // pElem unchanged otherwise. The element stays owned by the array.
    int GetElem(int nIndex, trie_elem*& pElem);
    int GetElem(int nIndex, const trie_elem*& pElem) const;
    // ValidateIndex: true when the array is not empty and 0 <= nIndex < GetElemNum().
    bool ValidateIndex(int nIndex) const;
    // Empty: no element in use. Full: every allocated element is in use.
    bool Empty() const { return m_nElemNum <= 0; }
    bool Full() const { return m_nElemNum >= m_nTotalNum; }
    // GetElemNum: elements in use. GetBufSize: elements allocated (the capacity).
    int GetElemNum() const { return m_nElemNum; }
    int GetBufSize() const { return m_nTotalNum; }
    // GetBufPoint: the first of GetBufSize() elements, owned by the array.
    trie_elem* GetBufPoint() { return m_pData.get(); }
    const trie_elem* GetBufPoint() const { return m_pData.get(); }

    // Save: writes the element count and the capacity (int32 each), then the GetElemNum() records.
    // Returns 1, or 0 when a write fails. REQUIRES: fp is open for binary writing.
    int Save(FILE* fp) const;
    // Load: reads what Save wrote, from the current position of fp to the end of the file. The
    // counts are checked before anything is allocated (count >= 0, count <= capacity <= count +
    // GROW_STEP, the records fill the rest of the file exactly) and every record after reading
    // (links -1 or inside the array, child_count >= 0, handle >= -1, freq >= 0, sPos
    // NUL-terminated). Returns 1; on any failure returns 0 and the array is as freshly constructed.
    // REQUIRES: fp is open for binary reading and seekable.
    int Load(FILE* fp);

    // Reset: back to the freshly constructed state (no element, GROW_STEP zero-filled ones
    // allocated).
    void Reset();

private:
    std::unique_ptr<trie_elem[]>
        m_pData;          // m_nTotalNum elements; those from m_nElemNum on are zero
    int m_nElemNum = 0;   // elements in use
    int m_nTotalNum = 0;  // elements allocated
};

#endif  // VINTREL_UTILITY_DYNAMICARRY_H_

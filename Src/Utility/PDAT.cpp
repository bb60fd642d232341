// PDAT.cpp: CPDAT, the double-array trie dictionary: building, compiling, lookups, scans and the .pdat
// file.
//
// How it works
// ============
//
// Characters. The dictionary never looks at bytes directly: GetCharCode turns the text at an offset into a
// 16-bit character code and a byte length. Mode 1 reads single bytes; modes 0 and 2 read a GBK pair
// (lead * 256 + trail) when a byte has its top bit set and is not the last byte, else one byte. Mode 0
// folds ASCII capitals; mode 2 also folds full-width digits and letters, brackets and quotes, and turns a
// run of separators into one code 9, which words never store. Every code that occurs in a word gets a
// rank: the most frequent code rank 0, the next rank 1, and so on (ties to the lower code). Ranks, not
// codes, are the offsets of the double array, so the busiest characters sit close together.
//
// The walk. A compiled dictionary is an array of cells (base, check, handle). Starting from base 0 and a
// "previous index" of -2, each character of rank r moves to p = |base| + r; the step is valid when p lies
// in 0..m_nLowerBound and cell p's check equals the previous index (-2 for the first character). The
// cell's base is stored negative when the path so far is a word, and a word with no longer word below it
// has base -p exactly, which lets scans stop early. Every lookup and scan is one such walk per start
// position, one array step per character, bounded by m_nLowerBound so that no walk leaves the array.
//
// Building. While words are added the dictionary is a plain trie kept in one node pool (children linked
// newest first, with a hash index from (parent, code) to the child, so that a root with thousands of
// children still finds one in constant time). AddWordComplete lays that trie out:
//   1. rank the counted codes (a sort by falling count, ties to the lower code);
//   2. put every child of the root at the index equal to its rank (check -2);
//   3. keep a work list of placed nodes that still have children, in list order; repeatedly take the node
//      with the most children (ties: the earliest in the list), find the smallest base b >= 1 such that
//      every cell b + rank(child) is free (skipping b equal to the node's own index when the node is a
//      word, since -b would then read as "word without children"), write the base, place the children,
//      and replace the node in the list by its children: the first child takes the node's slot, the others
//      go to the end.
//
// Doing step 3 literally is quadratic: the list is scanned for the best node each time, and the base
// search tries b = 1, 2, 3 ... over long runs of used cells (nodes with one child, which would fill the
// holes early in the array, all come last, so for most of the build the low cells are a dense field
// with scattered holes that every search must cross). The compiler here produces the very same array
// faster:
//   - The work list becomes a binary heap ordered by (child count descending, order key ascending). The
//     root's children get keys 0, 1, 2 ... in list order; an expanded node's first child inherits the
//     node's key (it takes the node's slot, so it stands exactly where the node stood relative to every
//     other entry) and the other children get fresh keys larger than any given so far (the end of the
//     list). Nodes without children are never entered (the literal procedure drops them, which changes no
//     other entry's relative order). The top of the heap is therefore always the node the list scan would
//     pick.
//   - A base b can only fit if the cell of the child with the smallest rank, rmin, is free. A union-find
//     "next free cell at or after i" over the cells (occupying i links it to i + 1, paths are compressed;
//     cells are never freed during a build, so it stays exact) gives the first such b directly: every
//     smaller b is ruled out.
//   - From there candidates are tested 64 at a time against an occupancy bitmap: for a window of
//     b = 64j .. 64j + 63, the 64 cells that a child of rank r would take are one unaligned 64-bit read,
//     and AND-ing the complements over the children leaves exactly the fitting b of the window. The child
//     that ruled out the last window is tested first on the next one.
//   - 64 windows at a time are first screened one level up: a second bitmap marks the 64-cell words that
//     are completely used, and a window is hopeless when, for some child, both words its 64 cells fall in
//     are full. This skips the dense field 4096 candidates per read and child.
//   - Windows are visited in rising order and the lowest fitting b of the first window that has one is
//     taken, skipping the node's own index when it is a word. Every b below it was ruled out by a used
//     cell, so it is the literal first fit.
//   - Cells beyond the highest used one are free; the bitmaps keep a margin of free cells past it (more
//     than the largest rank plus a screening group), so a fit always exists inside them. The array grows
//     geometrically and is trimmed to m_nLowerBound + 1 cells at the end.
// The character ranking is a sort rather than a repeated maximum search, with the same order. The build
// trie's children are found through a hash index of (parent, code), so adding a word costs one probe per
// character however wide the trie; the tests compare every cell with a plain implementation of the
// literal procedure.
//
// Scanning. MMScanPosition is a single left-to-right pass with a start offset, a pending word and the walk
// state; its restart rules (which decide overlapping hits in scan mode 1 and where scanning resumes after
// a failure) are written out beside the code. On a large array most of a scan's time would go into the
// second step of each attempt: the first step lands in one of the few low cells (index = rank), the
// second anywhere in the array. The scan filter, built from the array by AddWordComplete and Load and
// never saved, answers without that read for most start offsets: a bitset of the codes whose first step
// succeeds (8 KiB) and a hashed bitset of the (first rank, second rank) pairs that some cell's check
// allows (about 16 bits per pair, at most 1 MiB). It may say "maybe" for a step that fails but never "no"
// for one that succeeds, so hits are the same with or without it. With it scan mode 1 (every character
// offset is a start) takes a block of offsets at a time: it reads the characters into their scan class
// (one table lookup for the rank, whether a walk can start there and whether the character may continue
// a match), rules out most offsets without branching on the text or the dictionary's answers (a branch
// per character on data as irregular as text costs more than all the rest), prefetches the second and
// third steps of the others, settles from those cells the ones whose walk ends within three steps and
// walks only the rest on from there. (This block reading takes the characters as mode 0 does; the other
// modes take one attempt after another.)
//
// Files. A .pdat file is the rank table, the lower bound, the item count, the states and the mode, raw and
// little-endian. Load believes none of it: the file size must match the lower bound exactly, the ranks
// must be -1 or a permutation of 0..n-1, and every base, check and handle must lie in range, all before the
// dictionary is touched, so that a damaged file leaves an empty dictionary rather than walks that read
// outside the array.
#include "Utility/PDAT.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <queue>
#include <string>
#include <vector>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr int CODE_COUNT = 65536;
constexpr int CODE_SEPARATOR = 9;     // mode 2's code for a separator run; never stored
constexpr int CODE_SPACE = 32;        // white space as the lookups fold it
constexpr int CODE_QUOTE = 34;        // '"'
constexpr long PDAT_HEADER_BYTES = static_cast<long>(CODE_COUNT) * 4 + 8;  // ranks, bound, count
constexpr long PDAT_FIXED_BYTES = PDAT_HEADER_BYTES + 4;                   // ... plus the mode
constexpr int IMPORT_LINE_BYTES = 3072;
constexpr int CELL_FILL = -1;
constexpr int MAX_BASE = INT_MAX - CODE_COUNT;  // largest |base| a loaded file may hold

static_assert(PDAT_FIXED_BYTES == 262156, "fixed part of a .pdat file");

bool IsAsciiSeparator(unsigned c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',' || c == '/' || c == '_';
}

// The double-byte separators of mode 2: "＼｜，．。、－—" and the code 0xAAA4.
bool IsDoubleByteSeparator(unsigned nCode) {
    switch (nCode) {
        case 0xA3DC:  // ＼
        case 0xA3FC:  // ｜
        case 0xA3AC:  // ，
        case 0xA3AE:  // ．
        case 0xA1A3:  // 。
        case 0xA1A2:  // 、
        case 0xA3AD:  // －
        case 0xA1AA:  // —
        case 0xAAA4:
            return true;
        default:
            return false;
    }
}

// RawChar: the character at nPos as modes 0 and 2 read it, before any folding.
inline unsigned RawChar(const unsigned char* sText, size_t nPos, size_t nLen, int* pCharLen) {
    unsigned c = sText[nPos];
    if ((c & 0x80) && nPos + 1 < nLen) {
        *pCharLen = 2;
        return (c << 8) | sText[nPos + 1];
    }
    *pCharLen = 1;
    return c;
}

inline bool IsSeparatorChar(unsigned nCode, int nCharLen) {
    return nCharLen == 1 ? IsAsciiSeparator(nCode) : IsDoubleByteSeparator(nCode);
}

// GetCharCode: the character code at nPos of a text of nLen bytes in the given mode and its byte length.
// REQUIRES: nPos < nLen.
inline int GetCharCode(int nMode, const unsigned char* sText, size_t nPos, size_t nLen, int* pCharLen) {
    if (nMode == 1) {
        *pCharLen = 1;
        return sText[nPos];
    }
    int nCharLen;
    unsigned nCode = RawChar(sText, nPos, nLen, &nCharLen);
    *pCharLen = nCharLen;
    if (nMode != 2) {
        if (nCode >= 'A' && nCode <= 'Z') nCode += 'a' - 'A';
        return static_cast<int>(nCode);
    }
    if (IsSeparatorChar(nCode, nCharLen)) {
        // The whole run of separators that follows is one character.
        size_t nEnd = nPos + static_cast<size_t>(nCharLen);
        while (nEnd < nLen) {
            int nNextLen;
            unsigned nNext = RawChar(sText, nEnd, nLen, &nNextLen);
            if (!IsSeparatorChar(nNext, nNextLen)) break;
            nEnd += static_cast<size_t>(nNextLen);
        }
        *pCharLen = static_cast<int>(std::min<size_t>(nEnd - nPos, INT_MAX));
        return CODE_SEPARATOR;
    }
    if (nCharLen == 2) {
        switch (nCode) {
            case 0xA3A8:  // （
            case 0xA1BE:  // 【
                return '(';
            case 0xA3A9:  // ）
            case 0xA1BF:  // 】
                return ')';
            case 0xA1B0:  // “
            case 0xA1B1:  // ”
            case 0xA1AE:  // ‘
            case 0xA3A7:  // ＇
                return CODE_QUOTE;
            default:
                break;
        }
        if ((nCode >> 8) == 0xA3) {
            unsigned nTrail = nCode & 0xFF;
            if (nTrail >= 0xB0 && nTrail <= 0xB9) return static_cast<int>(nTrail - 128);  // ０..９
            if (nTrail >= 0xC1 && nTrail <= 0xDA) return static_cast<int>(nTrail - 96);   // Ａ..Ｚ
            if (nTrail >= 0xE1 && nTrail <= 0xFA) return static_cast<int>(nTrail - 128);  // ａ..ｚ
        }
        return static_cast<int>(nCode);
    }
    if (nCode >= 'A' && nCode <= 'Z') nCode += 'a' - 'A';
    return static_cast<int>(nCode);
}

// ScanChar: GetCharCode for the scans' left-to-right reading; mode 0 without branches on the bytes.
// REQUIRES: nPos < nLen and sText[nLen] readable (the terminating NUL).
template <int MODE>
inline int ScanChar(const unsigned char* sText, size_t nPos, size_t nLen, int* pCharLen) {
    if (MODE != 0) return GetCharCode(MODE, sText, nPos, nLen, pCharLen);
    // Masks rather than conditions, so that the compiler adds no branches.
    const unsigned c = sText[nPos];
    const unsigned nNext = sText[nPos + 1];
    const unsigned bPair = (c >> 7) & static_cast<unsigned>(nPos + 1 < nLen);
    const unsigned nSingle = c + (static_cast<unsigned>(c - 'A' < 26u) << 5);  // 'a' - 'A' is 32
    const unsigned nMask = 0u - bPair;
    *pCharLen = static_cast<int>(1 + bPair);
    return static_cast<int>((((c << 8) | nNext) & nMask) | (nSingle & ~nMask));
}

inline bool IsWhiteCode(int nCode) { return nCode == 32 || nCode == 9 || nCode == 13 || nCode == 10; }

// IsWordEnd: the cell ends a word: negative base, or base 0 (a word without children in cell 0) with a
// handle.
inline bool IsWordEnd(const CPDAT::state& cell) {
    return cell.base < 0 || (cell.base == 0 && cell.handle >= 0);
}

inline bool HasBom(const unsigned char* s, size_t nLen) {
    return nLen >= 3 && s[0] == 0xEF && s[1] == 0xBB && s[2] == 0xBF;
}

inline bool IsAsciiLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
inline bool IsAsciiDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// IsValidString: the English word-boundary test of a hit [nStart, nEnd) in a text of nLen bytes: false
// when the hit starts a letter (digit) right after a letter (digit), or ends a letter (digit) right before
// a letter (digit).
bool IsValidStringSlow(const unsigned char* s, size_t nStart, size_t nEnd, size_t nLen) {
    if (nStart > 0) {
        unsigned char c = s[nStart], b = s[nStart - 1];
        if (IsAsciiLetter(c) && IsAsciiLetter(b)) return false;
        if (IsAsciiDigit(c) && IsAsciiDigit(b)) return false;
    }
    if (nEnd < nLen && nEnd > 0) {
        unsigned char c = s[nEnd - 1], a = s[nEnd];
        if (IsAsciiLetter(c) && IsAsciiLetter(a)) return false;
        if (IsAsciiDigit(c) && IsAsciiDigit(a)) return false;
    }
    return true;
}

// The common case first: a hit whose first and last bytes are 0x80 and up (a hanzi word) neither
// starts nor ends a letter or digit. REQUIRES: nStart < nEnd.
inline bool IsValidString(const unsigned char* s, size_t nStart, size_t nEnd, size_t nLen) {
    return (s[nStart] & s[nEnd - 1]) >= 0x80 || IsValidStringSlow(s, nStart, nEnd, nLen);
}

// Delimiters that stop the gluing of unmatched ASCII bytes in MMSegment.
bool IsSegmentDelimiter(unsigned char c) { return std::strchr(" \t-_,.:/~#%^*()", c) != nullptr && c; }

size_t TextLength(const char* sText) { return std::min<size_t>(std::strlen(sText), INT_MAX - 1); }

// The scan filter's size: about 16 bits per two-character path (so that roughly one absent pair in 16
// hits a set bit), at least 4096 bits, at most 2^23 bits (1 MiB).
constexpr int FILTER_MIN_BITS_LOG = 12;
constexpr int FILTER_MAX_BITS_LOG = 23;
constexpr size_t FILTER_BITS_PER_PAIR = 16;
// Arrays of fewer cells than this (768 KiB of cells) stay in the processor's caches anyway and get no
// filter unless asked for.
constexpr size_t FILTER_AUTO_CELLS = 65536;

// FilterBit: the bit of the scan filter for the ranks of a first and a second character (both below
// 65536): a multiplicative hash, top bits.
inline uint64_t FilterBit(int nFirst, int nSecond, int nShift) {
    uint64_t nKey = (static_cast<uint64_t>(static_cast<uint32_t>(nFirst)) << 16) |
                    static_cast<uint32_t>(nSecond);
    return (nKey * 0x9E3779B97F4A7C15ULL) >> nShift;
}

inline bool FilterHas(const uint64_t* pFilter, int nShift, int nFirst, int nSecond) {
    uint64_t nBit = FilterBit(nFirst, nSecond, nShift);
    return ((pFilter[nBit >> 6] >> (nBit & 63)) & 1u) != 0;
}

// ContinuesMatch: whether a character of this code may continue a match in scan mode 1: a GB2312 hanzi
// (lead 0xB0 and up, trail 0xA1 and up; such codes are never folded), or, after folding, a lower-case
// letter or a digit. In every character mode the code alone decides it: a code of 256 and up is an
// unfolded two-byte character, and a lone byte of 0x80 and up is none of them.
inline bool ContinuesMatch(int nCode) {
    if (nCode >= 0x100) return (nCode >> 8) >= 0xB0 && (nCode & 0xFF) >= 0xA1;
    return (nCode >= 'a' && nCode <= 'z') || (nCode >= '0' && nCode <= '9');
}

// The scan class of a character for scan mode 1 (CPDAT::m_vecScanClass): its rank, with SCAN_FIRST added
// when the first step of a walk succeeds with it and SCAN_WORD when moreover that first cell holds a
// word (a handle, or a word end without longer words); SCAN_UNRANKED when it may continue a match but
// has no rank; SCAN_STOP when it ends every match. SCAN_END stands for the end of the text.
constexpr int32_t SCAN_FIRST = 1 << 30;
constexpr int32_t SCAN_WORD = 1 << 29;
constexpr int32_t SCAN_RANK_MASK = 0xFFFF;
// The three negative classes have neither flag bit set, so that a flag reads as one shift.
constexpr int32_t SCAN_UNRANKED = INT32_MIN + 1;
constexpr int32_t SCAN_STOP = INT32_MIN + 2;
constexpr int32_t SCAN_END = INT32_MIN + 3;

// CFreeCells: which cells of the array under construction are used, and the first-fit base search over
// them.
//   - m_vecBits: one bit per cell, 1 = used.
//   - m_vecFull: one bit per 64-cell word of m_vecBits, 1 = all 64 cells used.
//   - m_vecNext: a union-find "next free cell at or after i": a used cell links towards i + 1 and the
//     links are compressed, so runs of used cells are crossed in near-constant time.
// All three cover at least PAD_CELLS free cells beyond the highest used cell, so the search below reads
// them without bounds checks (a fit always exists just past the highest used cell).
class CFreeCells {
public:
    bool IsUsed(size_t i) const { return ((m_vecBits[i >> 6] >> (i & 63)) & 1u) != 0; }
    // FindFree: the first free cell at or after i. REQUIRES: i <= highest used cell + 1.
    size_t FindFree(size_t i) {
        size_t nRoot = i;
        while (m_vecNext[nRoot] != nRoot) nRoot = m_vecNext[nRoot];
        while (i != nRoot) {
            size_t nNext = m_vecNext[i];
            m_vecNext[i] = static_cast<uint32_t>(nRoot);
            i = nNext;
        }
        return nRoot;
    }
    void Use(size_t i) {
        if (i + PAD_CELLS >= m_nSize) Grow(i + PAD_CELLS + 1);
        uint64_t& nWord = m_vecBits[i >> 6];
        nWord |= uint64_t{1} << (i & 63);
        if (nWord == ~uint64_t{0}) m_vecFull[i >> 12] |= uint64_t{1} << ((i >> 6) & 63);
        m_vecNext[i] = static_cast<uint32_t>(i + 1);
    }
    void Reserve(size_t n) {
        if (n + PAD_CELLS >= m_nSize) Grow(n + PAD_CELLS + 1);
    }

    // FindBase: the smallest b >= 1, other than nExclude, such that every cell b + r (r in vecRanks) is
    // free. vecRanks holds distinct ranks below 65536, nMinRank the smallest.
    //
    // Only a b whose smallest-rank cell is free can fit, so the search starts at the first such b. It
    // takes candidates 64 at a time (a "window" of b = 64j .. 64j + 63) and tests all 64 with one
    // bitmap read per child; 64 windows at a time are first screened one level up, with m_vecFull: a
    // window fits nowhere when, for some child, the 64 cells its candidates would use are all used.
    // Windows are visited in rising order and the lowest fitting b of the first window with one is taken,
    // so the result is the first fit.
    size_t FindBase(const std::vector<size_t>& vecRanks, size_t nMinRank, size_t nExclude) {
        size_t nStart = FindFree(nMinRank + 1) - nMinRank;  // every smaller b has its rmin cell used; >= 1
        if (vecRanks.size() == 1) {
            if (nStart != nExclude) return nStart;
            return FindFree(nStart + nMinRank + 1) - nMinRank;
        }
        m_vecProbes.clear();
        for (size_t r : vecRanks) {
            Probe probe;
            probe.nWord = static_cast<uint32_t>(r >> 6);
            probe.nShift = static_cast<uint32_t>(r & 63);
            probe.nFullWord = static_cast<uint32_t>(r >> 12);
            probe.nFullShift = static_cast<uint32_t>((r >> 6) & 63);
            probe.nFullWord2 = static_cast<uint32_t>(((r >> 6) + 1) >> 6);
            probe.nFullShift2 = static_cast<uint32_t>(((r >> 6) + 1) & 63);
            m_vecProbes.push_back(probe);
        }
        const uint64_t* pBits = m_vecBits.data();
        const uint64_t* pFull = m_vecFull.data();
        for (size_t nGroup = nStart >> 12;; ++nGroup) {
            // Window j uses, for a child of rank r, the cells 64j + r .. 64j + r + 63: word j + r/64, and
            // the next one unless r is a multiple of 64.
            uint64_t nViable = ~uint64_t{0};
            for (const Probe& probe : m_vecProbes) {
                uint64_t nBlocked = Extract(pFull + nGroup + probe.nFullWord, probe.nFullShift);
                if (probe.nShift != 0) {
                    nBlocked &= Extract(pFull + nGroup + probe.nFullWord2, probe.nFullShift2);
                }
                nViable &= ~nBlocked;
                if (nViable == 0) break;
            }
            if (nGroup == (nStart >> 12)) nViable &= ~uint64_t{0} << ((nStart >> 6) & 63);
            while (nViable != 0) {
                size_t nWindowWord = nGroup * 64 + static_cast<size_t>(__builtin_ctzll(nViable));
                nViable &= nViable - 1;
                uint64_t nFit = ~uint64_t{0};
                for (size_t k = 0; k < m_vecProbes.size(); ++k) {
                    const Probe& probe = m_vecProbes[k];
                    nFit &= ~Extract(pBits + nWindowWord + probe.nWord, probe.nShift);
                    if (nFit == 0) {
                        // The child that ruled out this window is tested first on the next one.
                        if (k != 0) std::swap(m_vecProbes[0], m_vecProbes[k]);
                        break;
                    }
                }
                size_t nWindow = nWindowWord * 64;
                if (nWindow < nStart) nFit &= ~uint64_t{0} << (nStart - nWindow);
                if (nExclude >= nWindow && nExclude - nWindow < 64) {
                    nFit &= ~(uint64_t{1} << (nExclude - nWindow));
                }
                if (nFit != 0) return nWindow + static_cast<size_t>(__builtin_ctzll(nFit));
            }
        }
    }

private:
    // Free cells kept beyond the highest used one: the largest rank, a group of windows and a word more.
    static constexpr size_t PAD_CELLS = 65536 + 8192;

    struct Probe {
        uint32_t nWord, nShift;            // the child's offset in m_vecBits: words, bits
        uint32_t nFullWord, nFullShift;    // the same in m_vecFull
        uint32_t nFullWord2, nFullShift2;  // ... for the next word of m_vecBits
    };

    // Extract: the 64 bits starting at bit nShift of p[0], continuing into p[1].
    static uint64_t Extract(const uint64_t* p, uint32_t nShift) {
        // One double-width shift (x86 shrd).
        __extension__ typedef unsigned __int128 uint128;
        uint128 nBoth = (static_cast<uint128>(p[1]) << 64) | p[0];
        return static_cast<uint64_t>(nBoth >> (nShift & 63));
    }
    void Grow(size_t nNeeded) {
        size_t nNew = std::max<size_t>(nNeeded, m_nSize * 2);
        nNew = (nNew + 4095) & ~size_t{4095};
        m_vecBits.resize(nNew / 64 + 2, 0);
        m_vecFull.resize(nNew / 4096 + 2, 0);
        m_vecNext.resize(nNew);
        for (size_t j = m_nSize; j < nNew; ++j) m_vecNext[j] = static_cast<uint32_t>(j);
        m_nSize = nNew;
    }

    std::vector<uint64_t> m_vecBits;  // 1 = used
    std::vector<uint64_t> m_vecFull;  // 1 = the 64 cells of that word of m_vecBits are all used
    std::vector<uint32_t> m_vecNext;  // union-find links
    std::vector<Probe> m_vecProbes;   // FindBase's children, the last window's killer first
    size_t m_nSize = 0;               // cells covered
};

}  // namespace

// ---------------------------------------------------------------------------------------------------------
// The build trie.

struct CPDAT::trie_elem {
    int node;          // character code of the edge into this node (0 for the root)
    int handle;        // word handle, -1 unless a word ends here
    int parent;        // pool index of the parent, -1 for the root
    int first_child;   // newest child, -1 when none (children are linked newest first)
    int next_sibling;  // next older sibling, -1 when none
    int child_count;
    int position;      // state index once placed
};

class CPDAT::CBuildTrie {
public:
    CBuildTrie() { Reset(); }

    void Reset() {
        std::vector<trie_elem>().swap(m_vecNodes);
        m_vecNodes.push_back(trie_elem{0, -1, -1, -1, -1, 0, -1});
        m_vecSlots.assign(1024, -1);
    }
    std::vector<trie_elem>& Nodes() { return m_vecNodes; }

    int FindChild(int nParent, int nCode) const {
        size_t nMask = m_vecSlots.size() - 1;
        for (size_t i = Hash(nParent, nCode) & nMask;; i = (i + 1) & nMask) {
            int nId = m_vecSlots[i];
            if (nId < 0) return -1;
            const trie_elem& e = m_vecNodes[static_cast<size_t>(nId)];
            if (e.parent == nParent && e.node == nCode) return nId;
        }
    }
    // AddChild: appends a child (as the newest) and returns its pool index, or -1 when the pool is full.
    int AddChild(int nParent, int nCode) {
        if (m_vecNodes.size() >= static_cast<size_t>(INT_MAX)) return -1;
        if ((m_vecNodes.size() + 1) * 2 > m_vecSlots.size()) Rehash(m_vecSlots.size() * 2);
        int nId = static_cast<int>(m_vecNodes.size());
        trie_elem& parent = m_vecNodes[static_cast<size_t>(nParent)];
        m_vecNodes.push_back(trie_elem{nCode, -1, nParent, -1, parent.first_child, 0, -1});
        trie_elem& p = m_vecNodes[static_cast<size_t>(nParent)];
        p.first_child = nId;
        ++p.child_count;
        Insert(nId);
        return nId;
    }
    // FreeIndex: drops the (parent, code) index, which compiling does not need.
    void FreeIndex() { std::vector<int>().swap(m_vecSlots); }

private:
    static size_t Hash(int nParent, int nCode) {
        uint64_t k = (static_cast<uint64_t>(static_cast<uint32_t>(nParent)) << 16) ^
                     static_cast<uint64_t>(static_cast<uint32_t>(nCode));
        k ^= k >> 33;
        k *= 0xff51afd7ed558ccdULL;
        k ^= k >> 33;
        k *= 0xc4ceb9fe1a85ec53ULL;
        k ^= k >> 33;
        return static_cast<size_t>(k);
    }
    void Insert(int nId) {
        const trie_elem& e = m_vecNodes[static_cast<size_t>(nId)];
        size_t nMask = m_vecSlots.size() - 1;
        size_t i = Hash(e.parent, e.node) & nMask;
        while (m_vecSlots[i] >= 0) i = (i + 1) & nMask;
        m_vecSlots[i] = nId;
    }
    void Rehash(size_t nSlots) {
        m_vecSlots.assign(nSlots, -1);
        for (size_t i = 1; i < m_vecNodes.size(); ++i) Insert(static_cast<int>(i));
    }

    std::vector<trie_elem> m_vecNodes;  // node 0 is the root
    std::vector<int> m_vecSlots;        // open addressing, -1 empty; size a power of two
};

// ---------------------------------------------------------------------------------------------------------
// Construction and building.

CPDAT::CPDAT(int nMode)
    : m_word_trie(new CBuildTrie),
      m_charset(CODE_COUNT, -1),
      m_charsetfreq(CODE_COUNT, 0),
      m_freq(CODE_COUNT, 0),
      m_nMode(nMode) {
    AddWordInit();
}

CPDAT::~CPDAT() = default;

int CPDAT::AddWordInit() {
    if (m_word_trie) {
        m_word_trie->Reset();
    } else {
        m_word_trie.reset(new CBuildTrie);
    }
    std::fill(m_freq.begin(), m_freq.end(), 0);
    m_nItemCount = 0;
    m_bWordAddCompleted = false;
    // The per-handle term list starts again with the handles.
    // Deliberate: m_LowerChar and m_UpperChar are kept, so the range the ranking (and Export) walks only
    // ever widens.
    m_vecTermFreq.clear();
    return 1;
}

int CPDAT::AddWord(const char* sWord, bool bFreq) {
    if (m_nItemCount >= static_cast<size_t>(INT_MAX)) return -1;
    return BuildTRIE(sWord, static_cast<int>(m_nItemCount), bFreq, false);
}

int CPDAT::AddWord(const char* sWord, int nHandle, bool bFreq) {
    if (nHandle < 0) return -1;
    return BuildTRIE(sWord, nHandle, bFreq, false);
}

int CPDAT::AddFilterWord(const char* sWord) {
    int nHandle = AddWord(sWord, true);
    if (nHandle >= 0 && static_cast<size_t>(nHandle) < m_vecTermFreq.size()) {
        m_vecTermFreq[static_cast<size_t>(nHandle)].freq = -1;
    }
    return nHandle;
}

int CPDAT::FindWord(const char* sWord) { return BuildTRIE(sWord, -1, false, true); }

int CPDAT::BuildTRIE(const char* sWord, int nHandle, bool bFreq, bool bFindOnly) {
    if (sWord == nullptr || !m_word_trie) return -1;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sWord);
    size_t nLen = TextLength(sWord);
    size_t i = HasBom(s, nLen) ? 3 : 0;
    if (m_nMode == 2) {
        // Trailing separators are stripped while at least 2 bytes remain.
        while (nLen - i >= 2) {
            if (s[nLen - 1] & 0x80) {
                if (!IsDoubleByteSeparator((static_cast<unsigned>(s[nLen - 2]) << 8) | s[nLen - 1])) break;
                nLen -= 2;
            } else {
                if (!IsAsciiSeparator(s[nLen - 1])) break;
                nLen -= 1;
            }
        }
    }
    CBuildTrie& trie = *m_word_trie;
    int nCur = 0;
    while (i < nLen) {
        int nCharLen;
        int nCode = GetCharCode(m_nMode, s, i, nLen, &nCharLen);
        i += static_cast<size_t>(nCharLen);
        if (nCode == CODE_SEPARATOR) continue;
        // Deliberate: FindWord counts characters too, so lookups during a build shift the ranks.
        ++m_freq[static_cast<size_t>(nCode)];
        m_LowerChar = std::min(m_LowerChar, nCode);
        m_UpperChar = std::max(m_UpperChar, nCode);
        bool bLast = (i == nLen);
        int nChild = trie.FindChild(nCur, nCode);
        if (nChild < 0 || (bLast && trie.Nodes()[static_cast<size_t>(nChild)].handle < 0)) {
            if (bFindOnly) return -1;
            if (nChild < 0) {
                nChild = trie.AddChild(nCur, nCode);
                if (nChild < 0) return -1;
            }
            if (bLast) {
                trie.Nodes()[static_cast<size_t>(nChild)].handle = nHandle;
                ++m_nItemCount;
                if (bFreq) {
                    _stTermFreq term;
                    term.word = sWord;
                    term.freq = 1;
                    m_vecTermFreq.push_back(std::move(term));
                }
                return nHandle;
            }
        } else {
            int nChildHandle = trie.Nodes()[static_cast<size_t>(nChild)].handle;
            bool bTerm = nChildHandle >= 0 && static_cast<size_t>(nChildHandle) < m_vecTermFreq.size();
            if (bLast) {
                if (!bFindOnly && bFreq && bTerm && m_vecTermFreq[static_cast<size_t>(nChildHandle)].freq >= 0) {
                    ++m_vecTermFreq[static_cast<size_t>(nChildHandle)].freq;
                }
                return nChildHandle;
            }
            // Deliberate: while frequencies are counted, no word that extends a filter word is added.
            if (bFreq && bTerm && m_vecTermFreq[static_cast<size_t>(nChildHandle)].freq < 0) return -1;
        }
        nCur = nChild;
    }
    return -1;
}

// ---------------------------------------------------------------------------------------------------------
// Compiling.

void CPDAT::GetCharMap() {
    std::fill(m_charset.begin(), m_charset.end(), -1);
    std::fill(m_charsetfreq.begin(), m_charsetfreq.end(), 0);
    std::vector<int> vecCodes;
    int nLow = std::max(m_LowerChar, 0), nHigh = std::min(m_UpperChar, CODE_COUNT - 1);
    for (int c = nLow; c <= nHigh; ++c) {
        if (m_freq[static_cast<size_t>(c)] >= 1) vecCodes.push_back(c);
    }
    // Falling count; the stable sort keeps equal counts in rising code order.
    std::stable_sort(vecCodes.begin(), vecCodes.end(), [this](int a, int b) {
        return m_freq[static_cast<size_t>(a)] > m_freq[static_cast<size_t>(b)];
    });
    for (size_t r = 0; r < vecCodes.size(); ++r) {
        size_t c = static_cast<size_t>(vecCodes[r]);
        m_charset[c] = static_cast<int>(r);
        m_charsetfreq[c] = m_freq[c];
        m_freq[c] = -1;
    }
    m_charsetSize = static_cast<int>(vecCodes.size());
}

int CPDAT::AddWordComplete() {
    if (m_bWordAddCompleted || !m_word_trie) return 1;
    CBuildTrie& trie = *m_word_trie;
    trie.FreeIndex();
    std::vector<trie_elem>& vecNodes = trie.Nodes();

    CellArray().swap(m_vecData);
    m_nLowerBound = 0;
    GetCharMap();

    const state FREE_CELL{CELL_FILL, CELL_FILL, CELL_FILL};
    size_t nInitial = static_cast<size_t>(static_cast<double>(m_nItemCount) * 1.5);
    CellArray vecData;
    vecData.reserve(nInitial);
    size_t nMaxIndex = 0;
    bool bAnyCell = false, bOverflow = false;
    auto cell = [&](size_t nIndex) -> state& {
        if (nIndex >= vecData.size()) {
            if (nIndex >= vecData.capacity()) vecData.reserve(std::max(nIndex + 100, vecData.capacity() * 2));
            vecData.resize(nIndex + 100, FREE_CELL);
        }
        if (!bAnyCell || nIndex > nMaxIndex) nMaxIndex = nIndex;
        bAnyCell = true;
        return vecData[nIndex];
    };
    CFreeCells freeCells;
    freeCells.Reserve(std::max<size_t>(nInitial, static_cast<size_t>(m_charsetSize) + 1));

    // The work list as a heap of (child count, order key): most children first, then list order.
    struct WorkItem {
        int nChildCount;
        uint32_t nKey;
        int nNode;
    };
    auto lower = [](const WorkItem& a, const WorkItem& b) {
        if (a.nChildCount != b.nChildCount) return a.nChildCount < b.nChildCount;
        return a.nKey > b.nKey;
    };
    std::priority_queue<WorkItem, std::vector<WorkItem>, decltype(lower)> work(lower);
    uint32_t nNextKey = 0;
    std::vector<int> vecChildren;
    auto collectChildren = [&](int nNode) {
        vecChildren.clear();
        for (int c = vecNodes[static_cast<size_t>(nNode)].first_child; c >= 0;
             c = vecNodes[static_cast<size_t>(c)].next_sibling) {
            vecChildren.push_back(c);
        }
        std::reverse(vecChildren.begin(), vecChildren.end());  // insertion order
    };

    // The root's children sit at their ranks.
    collectChildren(0);
    for (int nChild : vecChildren) {
        trie_elem& e = vecNodes[static_cast<size_t>(nChild)];
        size_t nIndex = static_cast<size_t>(Rank(e.node));
        e.position = static_cast<int>(nIndex);
        state& st = cell(nIndex);
        st.check = -2;
        if (e.child_count == 0) {
            st.base = -e.position;
            st.handle = e.handle;
        } else {
            work.push(WorkItem{e.child_count, nNextKey, nChild});
        }
        ++nNextKey;
        freeCells.Use(nIndex);
    }

    std::vector<size_t> vecRanks, vecSorted;
    while (!work.empty()) {
        WorkItem item = work.top();
        work.pop();
        trie_elem& e = vecNodes[static_cast<size_t>(item.nNode)];
        collectChildren(item.nNode);
        vecRanks.clear();
        for (int nChild : vecChildren) {
            vecRanks.push_back(static_cast<size_t>(Rank(vecNodes[static_cast<size_t>(nChild)].node)));
        }
        vecSorted.assign(vecRanks.begin(), vecRanks.end());
        // First fit: the smallest b >= 1 whose child cells are all free, skipping b equal to the node's
        // own index when the node is a word (-b would then read as "a word without children").
        bool bWord = e.handle >= 0;
        size_t nOwn = static_cast<size_t>(e.position);
        std::sort(vecSorted.begin(), vecSorted.end());  // the crowded low cells are tested first
        size_t nMaxRank = vecSorted.back();
        size_t nBase = freeCells.FindBase(vecSorted, vecSorted.front(), bWord ? nOwn : SIZE_MAX);
        if (nBase + nMaxRank >= static_cast<size_t>(INT_MAX)) {
            bOverflow = true;  // more cells than an int can index: give up
            break;
        }
        {
            state& st = cell(nOwn);
            if (bWord) {
                st.base = -static_cast<int>(nBase);
                st.handle = e.handle;
            } else {
                st.base = static_cast<int>(nBase);
            }
        }
        uint32_t nKey = item.nKey;
        bool bFirst = true;
        for (size_t k = 0; k < vecChildren.size(); ++k) {
            trie_elem& c = vecNodes[static_cast<size_t>(vecChildren[k])];
            size_t nIndex = nBase + vecRanks[k];
            c.position = static_cast<int>(nIndex);
            state& st = cell(nIndex);
            st.check = static_cast<int>(nOwn);
            freeCells.Use(nIndex);
            if (c.child_count == 0) {
                st.base = -c.position;
                st.handle = c.handle;
            } else {
                work.push(WorkItem{c.child_count, bFirst ? nKey : nNextKey++, vecChildren[k]});
            }
            if (bFirst) bFirst = false;
        }
    }

    if (bOverflow) {
        // Cannot happen with real word lists: the dictionary is left empty.
        vecData.clear();
        bAnyCell = false;
    }
    if (bAnyCell) {
        vecData.resize(nMaxIndex + 1);
        vecData.shrink_to_fit();
        m_nLowerBound = static_cast<int>(nMaxIndex);
    }
    m_vecData.swap(vecData);
    m_word_trie.reset();
    m_bWordAddCompleted = true;
    BuildScanFilter();
    return 1;
}

void CPDAT::SetScanFilter(bool bOn) {
    m_nFilterPolicy = bOn ? 1 : 0;
    BuildScanFilter();
}

// BuildScanFilter: one pass over the cells. A second step of a walk goes from a first-character cell c
// (index = the first character's rank, check -2) to the cell q = |base of c| + r with check c, r being the
// second character's rank; so every cell q whose check names such a c gives the pair (c, q - |base of c|).
// Only pairs with both ranks below 65536 can be walked. Every index is checked against the array, so any
// array that Load accepts is safe.
void CPDAT::BuildScanFilter() {
    std::vector<uint64_t>().swap(m_vecScanFilter);
    std::vector<uint64_t>().swap(m_vecFirstChars);
    std::vector<int32_t>().swap(m_vecScanClass);
    m_nFilterShift = 64;
    if (m_nFilterPolicy == 0 || m_vecData.empty()) return;
    const size_t nCells = std::min(m_vecData.size(), static_cast<size_t>(m_nLowerBound) + 1);
    if (m_nFilterPolicy < 0 && nCells < FILTER_AUTO_CELLS) return;
    const state* pCells = m_vecData.data();
    auto forEachPair = [&](auto&& fn) {
        for (size_t q = 0; q < nCells; ++q) {
            int c = pCells[q].check;
            if (c < 0 || static_cast<size_t>(c) >= nCells || c >= CODE_COUNT) continue;
            if (pCells[c].check != -2) continue;
            int64_t nBase = pCells[c].base;
            int64_t r = static_cast<int64_t>(q) - (nBase < 0 ? -nBase : nBase);
            if (r >= 0 && r < CODE_COUNT) fn(c, static_cast<int>(r));
        }
    };
    size_t nPairs = 0;
    forEachPair([&](int, int) { ++nPairs; });
    int nBitsLog = FILTER_MIN_BITS_LOG;
    while (nBitsLog < FILTER_MAX_BITS_LOG && (size_t{1} << nBitsLog) < nPairs * FILTER_BITS_PER_PAIR) {
        ++nBitsLog;
    }
    m_vecScanFilter.assign((size_t{1} << nBitsLog) / 64, 0);
    m_nFilterShift = 64 - nBitsLog;
    uint64_t* pFilter = m_vecScanFilter.data();
    const int nShift = m_nFilterShift;
    forEachPair([&](int c, int r) {
        uint64_t nBit = FilterBit(c, r, nShift);
        pFilter[nBit >> 6] |= uint64_t{1} << (nBit & 63);
    });
    // The codes whose first step succeeds: ranked, the rank's cell within the array and checking -2.
    // The scan classes of scan mode 1 come from the same facts.
    m_vecFirstChars.assign(CODE_COUNT / 64, 0);
    std::vector<int32_t> vecClassOfCode(CODE_COUNT, SCAN_STOP);
    for (int nCode = 0; nCode < CODE_COUNT; ++nCode) {
        int r = Rank(nCode);
        bool bFirst = r >= 0 && static_cast<size_t>(r) < nCells && pCells[r].check == -2;
        if (bFirst) m_vecFirstChars[static_cast<size_t>(nCode) >> 6] |= uint64_t{1} << (nCode & 63);
        if (!ContinuesMatch(nCode)) continue;
        bool bWord = bFirst && (pCells[r].handle >= 0 || (IsWordEnd(pCells[r]) && pCells[r].base == -r));
        vecClassOfCode[static_cast<size_t>(nCode)] =
            r < 0 ? SCAN_UNRANKED : r | (bFirst ? SCAN_FIRST : 0) | (bWord ? SCAN_WORD : 0);
    }
    // The block scan reads a character's class straight from its first two bytes b1 b2 (b2 being the
    // terminating NUL for a last byte): a byte below 0x80 stands alone, as its folded code, whatever
    // follows; a byte of 0x80 and up before the NUL stands alone too; any other pair is the code b1 b2.
    m_vecScanClass.assign(CODE_COUNT, SCAN_STOP);
    for (int nPair = 0; nPair < CODE_COUNT; ++nPair) {
        const int b1 = nPair >> 8, b2 = nPair & 0xFF;
        int nCode = nPair;
        if (b1 < 0x80) {
            nCode = b1 >= 'A' && b1 <= 'Z' ? b1 + ('a' - 'A') : b1;
        } else if (b2 == 0) {
            nCode = b1;
        }
        m_vecScanClass[static_cast<size_t>(nPair)] = vecClassOfCode[static_cast<size_t>(nCode)];
    }
    m_nFilterBound = m_nLowerBound;
}

// ---------------------------------------------------------------------------------------------------------
// Lookups.

int CPDAT::Step(int nBase, int nPrev, int nRank) const {
    int64_t p = (nBase < 0 ? -static_cast<int64_t>(nBase) : nBase) + nRank;
    if (p > m_nLowerBound) return -1;
    if (m_vecData[static_cast<size_t>(p)].check != nPrev) return -1;
    return static_cast<int>(p);
}

int CPDAT::GetLowerBound() const { return m_nLowerBound; }

const CPDAT::state* CPDAT::GetStates() const { return m_vecData.empty() ? nullptr : m_vecData.data(); }

int CPDAT::GetCharRank(int nCode) const {
    if (nCode < 0 || nCode >= CODE_COUNT) return -1;
    return Rank(nCode);
}

int CPDAT::Find(const char* sWord) const {
    if (sWord == nullptr) return -1;
    size_t nLen = std::strlen(sWord);
    if (nLen > UINT_MAX) return -1;
    return Find(sWord, static_cast<unsigned int>(nLen));
}

int CPDAT::Find(const char* sWord, unsigned int nLength) const {
    if (sWord == nullptr || m_vecData.empty()) return -1;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sWord);
    size_t nLen = nLength;
    size_t i = 0;
    if (nLen > 2 && HasBom(s, nLen)) i = 3;
    if (nLen - i > 1 && s[i] == '"' && s[nLen - 1] == '"') {
        ++i;
        --nLen;
    }
    int nBase = 0, nPrev = -2;
    bool bWalked = false, bPrevWhite = false;
    while (i < nLen) {
        int nCharLen;
        int nCode = GetCharCode(m_nMode, s, i, nLen, &nCharLen);
        i += static_cast<size_t>(nCharLen);
        bool bWhite = IsWhiteCode(nCode);
        if (bWhite) {
            if (bPrevWhite) continue;  // a run of white space is one space
            nCode = CODE_SPACE;
        }
        bPrevWhite = bWhite;
        int nRank = Rank(nCode);
        if (nRank < 0) return -1;
        int64_t p = (nBase < 0 ? -static_cast<int64_t>(nBase) : nBase) + nRank;
        if (p > m_nLowerBound) return -1;
        const state& st = m_vecData[static_cast<size_t>(p)];
        // Deliberate: no check test at cell 0, so a walk that lands there always succeeds.
        if (p != 0 && st.check != nPrev) return -1;
        nPrev = static_cast<int>(p);
        nBase = st.base;
        bWalked = true;
    }
    if (!bWalked || nBase > 0) return -1;
    return m_vecData[static_cast<size_t>(nPrev)].handle;
}

int CPDAT::Find(int nCode) const {
    if (nCode < 0 || nCode >= CODE_COUNT || m_vecData.empty()) return -1;
    int p = Rank(nCode);
    // Deliberate: a strict bound and a strictly negative base, unlike Find(text): a one-character word in
    // cell 0 (base 0), or in the last cell, is not found here.
    if (p < 0 || p >= m_nLowerBound) return -1;
    const state& st = m_vecData[static_cast<size_t>(p)];
    if (st.check != -2 || st.base >= 0) return -1;
    return st.handle;
}

int CPDAT::GetMaxWord(const char* sText, int* pHandle, bool* pSpace) const {
    if (pHandle) *pHandle = -1;
    if (pSpace) *pSpace = false;
    if (sText == nullptr || m_vecData.empty()) return 0;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sText);
    size_t nLen = TextLength(sText);
    size_t i = 0, nBest = 0;
    int nBestHandle = -1, nBase = 0, nPrev = -2;
    bool bPrevWhite = false, bWhiteSeen = false, bBestWhite = false;
    while (i < nLen) {
        int nCharLen;
        int nCode = GetCharCode(m_nMode, s, i, nLen, &nCharLen);
        i += static_cast<size_t>(nCharLen);
        bool bWhite = IsWhiteCode(nCode);
        if (bWhite) {
            bWhiteSeen = true;
            if (bPrevWhite) continue;
            nCode = CODE_SPACE;
        }
        bPrevWhite = bWhite;
        int nRank = Rank(nCode);
        if (nRank < 0) break;
        int p = Step(nBase, nPrev, nRank);
        if (p < 0) break;
        const state& st = m_vecData[static_cast<size_t>(p)];
        nPrev = p;
        nBase = st.base;
        if (IsWordEnd(st)) {
            nBest = i;
            nBestHandle = st.handle;
            bBestWhite = bWhiteSeen;
            if (st.base == -p) break;  // no longer word below
        }
    }
    if (pHandle) *pHandle = nBestHandle;
    if (pSpace) *pSpace = bBestWhite;
    return static_cast<int>(nBest);
}

template <typename F>
void CPDAT::WalkWords(const unsigned char* s, size_t nLen, F fnWord) const {
    size_t i = 0;
    int nBase = 0, nPrev = -2;
    while (i < nLen) {
        int nCharLen;
        int nCode = GetCharCode(m_nMode, s, i, nLen, &nCharLen);
        i += static_cast<size_t>(nCharLen);
        int nRank = Rank(nCode);
        if (nRank < 0) return;
        int p = Step(nBase, nPrev, nRank);
        if (p < 0) return;
        const state& st = m_vecData[static_cast<size_t>(p)];
        nPrev = p;
        nBase = st.base;
        if (!IsWordEnd(st)) continue;
        if (!fnWord(st, i) || st.base == -p) return;
    }
}

int CPDAT::GetWords(const char* sText, unsigned int** pHandles, unsigned int** pLengths,
                    unsigned int* pCap, unsigned int* pCount, int nMinLen) const {
    bool bCollect = pHandles && pLengths && pCap && pCount;
    if (pCount) *pCount = 0;
    if (sText == nullptr || m_vecData.empty()) return 0;
    size_t nBest = 0;
    WalkWords(reinterpret_cast<const unsigned char*>(sText), TextLength(sText), [&](const state& st, size_t i) {
        nBest = i;
        if (!bCollect || static_cast<int64_t>(i) <= nMinLen) return true;
        if (*pCount >= *pCap) {
            unsigned int nNewCap = *pCap + 5;
            void* pNewHandles = std::realloc(*pHandles, sizeof(unsigned int) * nNewCap);
            if (pNewHandles == nullptr) {
                bCollect = false;
                return true;
            }
            *pHandles = static_cast<unsigned int*>(pNewHandles);
            void* pNewLengths = std::realloc(*pLengths, sizeof(unsigned int) * nNewCap);
            if (pNewLengths == nullptr) {
                bCollect = false;
                return true;
            }
            *pLengths = static_cast<unsigned int*>(pNewLengths);
            *pCap = nNewCap;
        }
        (*pHandles)[*pCount] = static_cast<unsigned int>(st.handle);
        (*pLengths)[*pCount] = static_cast<unsigned int>(i);
        ++*pCount;
        return true;
    });
    return static_cast<int>(nBest);
}

int CPDAT::PrefixWords(const char* sText, size_t nLen, int* pHandles, int* pLengths, int nMax) const {
    if (sText == nullptr || pHandles == nullptr || pLengths == nullptr || m_vecData.empty() || nMax <= 0) return 0;
    int nCount = 0;
    WalkWords(reinterpret_cast<const unsigned char*>(sText), nLen, [&](const state& st, size_t i) {
        pHandles[nCount] = st.handle;
        pLengths[nCount] = static_cast<int>(i);
        return ++nCount < nMax;
    });
    return nCount;
}

int CPDAT::Prefetch(const char* sText, size_t nLen, int nDepth) const {
    int nFirstHandle = -1;
    if (sText == nullptr || m_vecData.empty()) return nFirstHandle;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sText);
    size_t i = 0;
    int nBase = 0, nPrev = -2;
    for (int nStep = 1; nStep <= nDepth && i < nLen; ++nStep) {
        int nCharLen;
        int nCode = GetCharCode(m_nMode, s, i, nLen, &nCharLen);
        i += static_cast<size_t>(nCharLen);
        int nRank = Rank(nCode);
        if (nRank < 0) return nFirstHandle;
        int64_t p = (nBase < 0 ? -static_cast<int64_t>(nBase) : nBase) + nRank;
        if (p > m_nLowerBound) return nFirstHandle;
        if (nStep == nDepth) {
            __builtin_prefetch(&m_vecData[static_cast<size_t>(p)]);
            return nFirstHandle;
        }
        const state& st = m_vecData[static_cast<size_t>(p)];
        if (st.check != nPrev) return nFirstHandle;
        if (nStep == 1 && IsWordEnd(st)) nFirstHandle = st.handle;
        if (st.base == -p) return nFirstHandle;  // the walk ends before that depth
        nPrev = static_cast<int>(p);
        nBase = st.base;
    }
    return nFirstHandle;
}

// ---------------------------------------------------------------------------------------------------------
// Scans.

// MMScanPosition: one attempt per start offset s walks as far as it can, remembering the last word passed
// (handle h, length L; "valid" when h >= 0, L >= 1 and, except in scan mode 2, the word-boundary test
// passes). The attempt ends:
//   1. (scan mode 1) at a character that is no GB2312 hanzi, lower-case letter or digit: the pending word
//      is emitted without the boundary test; resume one character after s;
//   2. at a character without rank: a valid word is emitted and scanning resumes after it (scan mode 1:
//      one character after s); with none, scanning resumes after the unranked character;
//   3. at a failing step: a valid word is emitted and scanning resumes after it (scan mode 1: one
//      character after s); a word failing the boundary test is skipped over; with none, resume one
//      character after s;
//   4. at a word without children: emitted if valid; resume after it (scan mode 1: one character after s);
//   5. at the end of the text: as at a failing step, so the rest of the text is still examined.
int CPDAT::MMScanPosition(const char* sText, std::vector<_stTermPosition>& vecResult,
                          int nScanMode) const {
    if (sText == nullptr) return 0;
    return MMScanPosition(sText, std::strlen(sText), vecResult, nScanMode);
}

int CPDAT::MMScanPosition(const char* sText, size_t nTextLen, std::vector<_stTermPosition>& vecResult,
                          int nScanMode) const {
    if (sText == nullptr || m_vecData.empty()) return 0;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sText);
    const size_t nLen = std::min<size_t>(nTextLen, INT_MAX - 1);
    // One loop per character mode and scan mode, so that neither is tested per character. A mode other
    // than 1 or 2 reads characters as mode 0 does; a scan mode other than 1 or 2 acts as 0.
    const int nMode = (m_nMode == 1 || m_nMode == 2) ? m_nMode : 0;
    const int nScan = (nScanMode == 1 || nScanMode == 2) ? nScanMode : 0;
    switch (nMode * 3 + nScan) {
        case 0: ScanText<0, false, true>(s, nLen, vecResult); break;
        case 1: ScanText<0, true, true>(s, nLen, vecResult); break;
        case 2: ScanText<0, false, false>(s, nLen, vecResult); break;
        case 3: ScanText<1, false, true>(s, nLen, vecResult); break;
        case 4: ScanText<1, true, true>(s, nLen, vecResult); break;
        case 5: ScanText<1, false, false>(s, nLen, vecResult); break;
        case 6: ScanText<2, false, true>(s, nLen, vecResult); break;
        case 7: ScanText<2, true, true>(s, nLen, vecResult); break;
        default: ScanText<2, false, false>(s, nLen, vecResult); break;
    }
    return 0;
}

template <int MODE, bool OVERLAP, bool BOUNDARY>
void CPDAT::ScanText(const unsigned char* s, size_t nLen, std::vector<_stTermPosition>& vecResult) const {
    const state* pCells = m_vecData.data();
    const int* pRanks = m_charset.data();
    const int64_t nBound = m_nLowerBound;
    // Hits are gathered a few at a time and appended together.
    struct {
        int nHandle, nStart, nLen;
    } vecPending[32];
    int nPending = 0;
    auto flush = [&]() {
        // Each hit is written in its place field by field (a copy of a hit just written field by field
        // would wait for the fields).
        const size_t nAt = vecResult.size();
        vecResult.resize(nAt + static_cast<size_t>(nPending));
        _stTermPosition* pHits = vecResult.data() + nAt;
        for (int i = 0; i < nPending; ++i) {
            pHits[i].nHandle = vecPending[i].nHandle;
            pHits[i].iStartPos = vecPending[i].nStart;
            pHits[i].nWordLen = vecPending[i].nLen;
        }
        nPending = 0;
    };
    auto emit = [&](int nHandle, size_t nStart, size_t nWordLen) __attribute__((always_inline)) {
        if (nPending == 32) flush();
        vecPending[nPending++] = {nHandle, static_cast<int>(nStart), static_cast<int>(nWordLen)};
    };
    // Scan mode 1: only a GB2312 hanzi, a lower-case letter or a digit continues a match.
    auto continues = [&](size_t nPos, int nCharLen, int nCode) {
        bool bHanzi = nCharLen == 2 && s[nPos] >= 0xB0 && s[nPos + 1] >= 0xA1;
        return bHanzi || (nCode >= 'a' && nCode <= 'z') || (nCode >= '0' && nCode <= '9');
    };
    const uint64_t* pFilter = m_vecScanFilter.empty() ? nullptr : m_vecScanFilter.data();
    const uint64_t* pFirstChars = m_vecFirstChars.empty() ? nullptr : m_vecFirstChars.data();
    const int nFilterShift = m_nFilterShift;
    // walk: the rest of the attempt at nStart, whose first character is nFirstLen bytes long, from the
    // cell nPrev (|base| nBase) reached with the text up to nPos, with a pending word of nWordLen
    // bytes and handle nHandle (none when negative); bSecond when the next step is the second.
    // Emits the attempt's hit, if any, and returns where the scan resumes.
    auto walk = [&](const size_t nStart, const size_t nFirstLen, size_t nPos, int nPrev, int64_t nBase,
                    int nHandle, size_t nWordLen, bool bSecond) -> size_t {
        // Deliberate: scan mode 2 (the pinyin scan) skips the English word-boundary test.
        auto valid = [&]() {
            return nHandle >= 0 && nWordLen >= 1 &&
                   (!BOUNDARY || IsValidString(s, nStart, nStart + nWordLen, nLen));
        };
        // Where the scan resumes after a valid pending word is emitted.
        auto afterWord = [&]() { return OVERLAP ? nStart + nFirstLen : nStart + nWordLen; };
        for (;;) {
            if (nPos >= nLen) {
                // The end of the text ends the attempt like a failing step: the pending word is emitted
                // and the scan resumes, so a keyword that starts inside an unfinished longer match (开发
                // at the end of 代开发, with 代开发票 a keyword) is still found.
                if (valid()) {
                    emit(nHandle, nStart, nWordLen);
                    return afterWord();
                }
                return (nHandle >= 0 && nWordLen >= 1) ? nStart + nWordLen : nStart + nFirstLen;
            }
            int nCharLen;
            const int nCode = GetCharCode(MODE, s, nPos, nLen, &nCharLen);
            if (OVERLAP && !continues(nPos, nCharLen, nCode)) {
                if (nHandle >= 0 && nWordLen >= 1) emit(nHandle, nStart, nWordLen);  // no boundary test
                return nStart + nFirstLen;
            }
            const int nRank = pRanks[nCode];
            if (nRank < 0) {
                if (valid()) {
                    emit(nHandle, nStart, nWordLen);
                    return afterWord();
                }
                // Deliberate: with nothing to emit the scan resumes after the unranked character, so the
                // text between the start and it is not examined again.
                return nPos + static_cast<size_t>(nCharLen);
            }
            int64_t p = nBase + nRank;
            // The scan filter answers "no" only for second steps that fail, without reading their cell.
            bool bRuledOut = bSecond && pFilter != nullptr && !FilterHas(pFilter, nFilterShift, nPrev, nRank);
            bSecond = false;
            if (bRuledOut || p > nBound || pCells[p].check != nPrev) {
                if (valid()) {
                    emit(nHandle, nStart, nWordLen);
                    return afterWord();
                }
                // A word that fails the boundary test is skipped over.
                return (nHandle >= 0 && nWordLen >= 1) ? nStart + nWordLen : nStart + nFirstLen;
            }
            const state& st = pCells[p];
            nPos += static_cast<size_t>(nCharLen);
            nPrev = static_cast<int>(p);
            nBase = st.base < 0 ? -static_cast<int64_t>(st.base) : st.base;
            if (IsWordEnd(st)) {
                nHandle = st.handle;
                nWordLen = nPos - nStart;
                if (st.base == -p) {  // no longer word below: emit now
                    if (valid()) emit(nHandle, nStart, nWordLen);
                    return afterWord();
                }
            }
        }
    };
    // attempt: the whole attempt at nStart (< nLen): emits its hit, if any, and returns where the scan
    // resumes.
    auto attempt = [&](const size_t nStart) __attribute__((always_inline)) -> size_t {
        int nFirstCharLen;
        const int nCode = GetCharCode(MODE, s, nStart, nLen, &nFirstCharLen);
        const size_t nFirstLen = static_cast<size_t>(nFirstCharLen);
        // A code whose first step fails ends the attempt with nothing pending, as below.
        if (pFirstChars != nullptr && ((pFirstChars[nCode >> 6] >> (nCode & 63)) & 1u) == 0) {
            return nStart + nFirstLen;
        }
        if (OVERLAP && !continues(nStart, nFirstCharLen, nCode)) return nStart + nFirstLen;
        const int nRank = pRanks[nCode];
        // Unranked, or a failing first step, with nothing pending: resume after the character.
        if (nRank < 0 || nRank > nBound || pCells[nRank].check != -2) return nStart + nFirstLen;
        const state& first = pCells[nRank];
        // Both a word end and a plain first cell leave the first character's length and the cell's handle
        // pending (a plain cell's handle is -1 in any array this class compiles).
        if (IsWordEnd(first) && first.base == -nRank) {  // a one-character word without longer words
            if (first.handle >= 0 && (!BOUNDARY || IsValidString(s, nStart, nStart + nFirstLen, nLen))) {
                emit(first.handle, nStart, nFirstLen);
            }
            return nStart + nFirstLen;
        }
        return walk(nStart, nFirstLen, nStart + nFirstLen, nRank,
                    first.base < 0 ? -static_cast<int64_t>(first.base) : first.base, first.handle, nFirstLen,
                    true);
    };

    // Without the filter (a small array, in the caches anyway), and in scan modes 0 and 2 (whose hits
    // skip the text they cover, so that classifying every offset in advance costs more than it saves),
    // one attempt after another.
    // The block scan reads characters as mode 0 does and needs the NUL after the text; after SetEmpty
    // the filter no longer fits the array.
    if (MODE != 0 || pFilter == nullptr || !OVERLAP || nBound != m_nFilterBound || s[nLen] != 0) {
        for (size_t nStart = 0; nStart < nLen;) nStart = attempt(nStart);
        flush();
        return;
    }
    // Scan mode 1 with the filter takes the text in blocks of BLOCK start offsets. A first pass reads
    // each character once, AHEAD characters beyond the block's starts included, into its offset and
    // scan class (m_vecScanClass, by the character's first two bytes: rank and whether a walk can start
    // with it, or that it has no rank or ends every match) and notes the offsets where the first step
    // succeeds; it has no branch on the bytes, as a mispredicted branch per character would cost more
    // than the rest of the pass. A second pass, over those offsets only and without branches on the
    // dictionary's answers (so that its reads overlap in memory), marks the ones whose attempt may emit a
    // hit or skip ahead: the first cell holds a word, or the filter lets the second step pass, or the
    // second character has no rank. Every other offset surely ends with nothing pending and the scan
    // resuming one character later, so it is left out: a resume offset it skips would have moved on to
    // the next character anyway. The pass prefetches the second step's cells, a third pass the third
    // step's. The last pass settles the marked offsets that the scan reaches, in order: where the walk
    // ends within three steps (the common case) from the cells read, as the attempt would; else by
    // walking on from the third cell. Every offset the scan resumes at ends a character read from an earlier start, so it
    // is one of the character offsets of this left-to-right reading.
    constexpr int BLOCK = 64;          // start offsets per block
    constexpr int AHEAD = 2;           // characters read beyond them
    size_t vecPos[BLOCK + AHEAD + 1];  // character offsets, and the offset after the last one read
    int32_t vecClass[BLOCK + AHEAD];   // their scan classes, SCAN_END beyond the text
    int64_t vecCell2[BLOCK];           // the second step's cell, -1 when the step surely fails
    const int32_t* pClass = m_vecScanClass.data();
    auto magnitude = [](int nBase) { return nBase < 0 ? -static_cast<int64_t>(nBase) : nBase; };
    // IsWordEnd and "a word end without longer words below it" as 0 or 1, without branches.
    auto isWordEnd = [](const state& st) { return (st.base < 0) | ((st.base == 0) & (st.handle >= 0)); };
    auto isLeaf = [&](const state& st, int64_t p) { return isWordEnd(st) & (st.base == -p); };
    size_t nResume = 0;  // the next start offset of the scan
    size_t q = 0;        // the next character offset to read
    while (q < nLen) {
        int nCount = 0;
        for (int32_t& t : vecClass) t = SCAN_END;  // beyond the text
        // A byte of 0x80 and up takes the next one with it. Read so, a lone lead byte at the end of
        // the text takes the terminating NUL: the only byte read past the text, which the class table
        // reads as the lone byte's class. The offset after it is the end of the text.
        auto read = [&](int k) __attribute__((always_inline)) {
            const unsigned c = s[q];
            vecPos[k] = q;
            vecClass[k] = pClass[(c << 8) | s[q + 1]];
            q += 1 + (c >> 7);
        };
        if (nLen - q > 2 * (BLOCK + AHEAD)) {
            // Far from the end: no character of the block reaches it.
            for (; nCount < BLOCK + AHEAD; ++nCount) read(nCount);
        } else {
            for (; nCount < BLOCK && q < nLen; ++nCount) read(nCount);
            q = std::min(q, nLen);
            for (int i = 0; i < AHEAD && q < nLen; ++i, ++nCount) read(nCount);
        }
        vecPos[nCount] = std::min(q, nLen);
        q = vecPos[std::min(nCount, BLOCK)];  // the first character not started here
        uint64_t nFirstSteps = 0;  // bit k: the first step succeeds at vecPos[k]
#ifdef __SSE2__
        // The SCAN_FIRST bits of four classes at a time, moved to the sign bits.
        for (int k = 0; k < BLOCK; k += 4) {
            const __m128i nClasses = _mm_loadu_si128(reinterpret_cast<const __m128i*>(vecClass + k));
            const unsigned nBits =
                static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_slli_epi32(nClasses, 1))));
            nFirstSteps |= static_cast<uint64_t>(nBits) << k;
        }
#else
        for (int k = 0; k < BLOCK; ++k) nFirstSteps |= static_cast<uint64_t>((vecClass[k] >> 30) & 1) << k;
#endif
        uint64_t nMarked = 0;  // bit k: the attempt at vecPos[k] needs the last pass
        for (uint64_t nBits = nFirstSteps; nBits != 0; nBits &= nBits - 1) {
            const int k = __builtin_ctzll(nBits);
            const int32_t t1 = vecClass[k], t2 = vecClass[k + 1];
            const int64_t p2 = magnitude(pCells[t1 & SCAN_RANK_MASK].base) + (t2 & SCAN_RANK_MASK);
            // The filter answers "no" only for second steps that fail, without reading their cell.
            const int bStep = (t2 >= 0) & (p2 <= nBound) &
                              FilterHas(pFilter, nFilterShift, t1 & SCAN_RANK_MASK, t2 & SCAN_RANK_MASK);
            // (Masks rather than conditions, so that the compiler adds no branches.)
            const int64_t nStepMask = -static_cast<int64_t>(bStep);
            __builtin_prefetch(pCells + (p2 & nStepMask));
            vecCell2[k] = (p2 & nStepMask) | ~nStepMask;
            const int bMark = ((t1 & SCAN_WORD) != 0) | bStep | (t2 == SCAN_UNRANKED);
            nMarked |= static_cast<uint64_t>(bMark) << k;
        }
        for (uint64_t nBits = nMarked; nBits != 0; nBits &= nBits - 1) {
            const int k = __builtin_ctzll(nBits);
            const int64_t p2 = vecCell2[k];
            const int32_t t3 = vecClass[k + 2];
            if (p2 < 0 || t3 < 0) continue;
            const state& second = pCells[p2];
            if (second.check != (vecClass[k] & SCAN_RANK_MASK)) continue;
            const int64_t p3 = magnitude(second.base) + (t3 & SCAN_RANK_MASK);
            if (p3 <= nBound) __builtin_prefetch(pCells + p3);
        }
        for (; nMarked != 0; nMarked &= nMarked - 1) {
            const int k = __builtin_ctzll(nMarked);
            const size_t nStart = vecPos[k];
            if (nStart < nResume) continue;
            const int r1 = vecClass[k] & SCAN_RANK_MASK;
            const state& first = pCells[r1];
            int nHandle = first.handle;
            size_t nWordLen = vecPos[k + 1] - nStart;
            bool bEnd = isLeaf(first, r1);  // the attempt ends at the last cell reached ...
            int nNext = k + 1;               // ... or else at this character
            const int64_t p2 = vecCell2[k];
            if (!bEnd && p2 >= 0 && pCells[p2].check == r1) {
                const state& second = pCells[p2];
                if (isWordEnd(second)) {
                    nHandle = second.handle;
                    nWordLen = vecPos[k + 2] - nStart;
                    bEnd = second.base == -p2;
                }
                nNext = k + 2;
                const int32_t tNext = vecClass[nNext];
                if (!bEnd && tNext >= 0) {
                    const int64_t p3 = magnitude(second.base) + (tNext & SCAN_RANK_MASK);
                    if (p3 <= nBound && pCells[p3].check == p2) {
                        // The walk goes on from the third cell, as the attempt would.
                        const state& third = pCells[p3];
                        const size_t nPos = vecPos[k + 3];
                        if (isWordEnd(third)) {
                            nHandle = third.handle;
                            nWordLen = nPos - nStart;
                        }
                        if (isLeaf(third, p3)) {
                            if (nHandle >= 0 && IsValidString(s, nStart, nStart + nWordLen, nLen)) {
                                emit(nHandle, nStart, nWordLen);
                            }
                            nResume = vecPos[k + 1];
                        } else {
                            nResume = walk(nStart, vecPos[k + 1] - nStart, nPos, static_cast<int>(p3),
                                           magnitude(third.base), nHandle, nWordLen, false);
                        }
                        continue;
                    }
                }
            }
            const bool bPending = nHandle >= 0;  // (the word is at least one character long)
            const bool bValid = bPending && IsValidString(s, nStart, nStart + nWordLen, nLen);
            const int32_t tNext = vecClass[nNext];
            if (bEnd) {
                if (bValid) emit(nHandle, nStart, nWordLen);
                nResume = vecPos[k + 1];
            } else if (tNext == SCAN_STOP) {
                if (bPending) emit(nHandle, nStart, nWordLen);  // no boundary test
                nResume = vecPos[k + 1];
            } else if (tNext == SCAN_UNRANKED && !bValid) {
                // Deliberate: as in the attempt, the scan resumes after the character without rank.
                nResume = vecPos[nNext + 1];
            } else if (bValid) {  // a failing step, a character without rank or the end of the text
                emit(nHandle, nStart, nWordLen);
                nResume = vecPos[k + 1];
            } else {  // a word that fails the boundary test is skipped over
                nResume = bPending ? nStart + nWordLen : vecPos[k + 1];
            }
        }
    }
    flush();
}

const char* CPDAT::MMScan(const char* sText, int nScanMode, char cSep) {
    if (sText == nullptr) return nullptr;
    std::vector<_stTermPosition> vecHits;
    MMScanPosition(sText, vecHits, nScanMode);
    m_sResult.clear();
    for (const _stTermPosition& hit : vecHits) {
        m_sResult.append(sText + hit.iStartPos, static_cast<size_t>(hit.nWordLen));
        m_sResult.push_back(cSep);
    }
    return m_sResult.c_str();
}

const char* CPDAT::MMFullScan(const char* sText, char cSep) {
    if (sText == nullptr) return nullptr;
    m_sResult.clear();
    if (m_vecData.empty()) return m_sResult.c_str();
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sText);
    size_t nLen = TextLength(sText);
    for (size_t nStart = 0; nStart < nLen;) {
        int nFirstLen;
        GetCharCode(m_nMode, s, nStart, nLen, &nFirstLen);
        size_t i = nStart;
        int nBase = 0, nPrev = -2;
        while (i < nLen) {
            int nCharLen;
            int nRank = Rank(GetCharCode(m_nMode, s, i, nLen, &nCharLen));
            if (nRank < 0) break;
            int p = Step(nBase, nPrev, nRank);
            if (p < 0) break;
            const state& st = m_vecData[static_cast<size_t>(p)];
            i += static_cast<size_t>(nCharLen);
            nPrev = p;
            nBase = st.base;
            if (IsWordEnd(st) && st.handle >= 0) {
                m_sResult.append(sText + nStart, i - nStart);
                m_sResult.push_back(cSep);
            }
            if (st.base == -p) break;
        }
        nStart += static_cast<size_t>(nFirstLen);
    }
    return m_sResult.c_str();
}

int CPDAT::SegmentInto(const unsigned char* s, size_t nLen, int nMaxLen, char cSep, bool bAllHandles,
                       char* sOut, int* pHandles) const {
    int nHandles = 0;
    size_t nOut = 0;
    size_t nStart = 0;
    while (nStart < nLen) {
        // The longest word at nStart, cut at nMaxLen bytes when nMaxLen >= 1.
        size_t nPos = nStart, nBest = 0;
        int nBestHandle = -1, nBase = 0, nPrev = -2;
        while (!m_vecData.empty() && nPos < nLen) {
            int nCharLen;
            int nRank = Rank(GetCharCode(m_nMode, s, nPos, nLen, &nCharLen));
            if (nRank < 0) break;
            int p = Step(nBase, nPrev, nRank);
            if (p < 0) break;
            size_t nNextPos = nPos + static_cast<size_t>(nCharLen);
            if (nMaxLen >= 1 && nNextPos - nStart > static_cast<size_t>(nMaxLen)) break;
            const state& st = m_vecData[static_cast<size_t>(p)];
            nPos = nNextPos;
            nPrev = p;
            nBase = st.base;
            if (IsWordEnd(st)) {
                nBest = nPos - nStart;
                nBestHandle = st.handle;
                if (st.base == -p) break;
            }
        }
        size_t nSegLen = nBest;
        if (nSegLen == 0) {
            // An unmatched character, with the ASCII bytes that follow it glued on up to a delimiter.
            int nCharLen;
            GetCharCode(m_nMode, s, nStart, nLen, &nCharLen);
            nSegLen = static_cast<size_t>(nCharLen);
            nBestHandle = -1;
            if (nSegLen == 1 && s[nStart] < 0x80 && !IsSegmentDelimiter(s[nStart])) {
                while (nStart + nSegLen < nLen && s[nStart + nSegLen] < 0x80 &&
                       !IsSegmentDelimiter(s[nStart + nSegLen])) {
                    ++nSegLen;
                }
            }
        }
        std::memcpy(sOut + nOut, s + nStart, nSegLen);
        nOut += nSegLen;
        sOut[nOut++] = cSep;
        if (pHandles && (bAllHandles || nBestHandle != -1)) pHandles[nHandles++] = nBestHandle;
        nStart += nSegLen;
    }
    sOut[nOut] = '\0';
    return nHandles;
}

int CPDAT::MMSegment(const char* sText, int** pHandles, int* pHandleCap, char** pOut, int* pOutCap,
                     bool /*bReserved*/, bool bAllHandles, int nMaxLen, char cSep) const {
    if (sText == nullptr || pHandles == nullptr || pHandleCap == nullptr || pOut == nullptr ||
        pOutCap == nullptr) {
        return 0;
    }
    size_t nLen = std::min<size_t>(TextLength(sText), (INT_MAX - 1) / 6);
    int nOutNeed = static_cast<int>(6 * nLen + 1);
    int nHandleNeed = static_cast<int>(nLen + 2);
    if (*pOut == nullptr || *pOutCap < nOutNeed) {
        void* p = std::realloc(*pOut, static_cast<size_t>(nOutNeed));
        if (p == nullptr) return 0;
        *pOut = static_cast<char*>(p);
        *pOutCap = nOutNeed;
    }
    if (*pHandles == nullptr || *pHandleCap < nHandleNeed) {
        void* p = std::realloc(*pHandles, sizeof(int) * static_cast<size_t>(nHandleNeed));
        if (p == nullptr) {
            (*pOut)[0] = '\0';
            return 0;
        }
        *pHandles = static_cast<int*>(p);
        *pHandleCap = nHandleNeed;
    }
    return SegmentInto(reinterpret_cast<const unsigned char*>(sText), nLen, nMaxLen, cSep, bAllHandles,
                       *pOut, *pHandles);
}

const char* CPDAT::MMSegment(const char* sText, int nMaxLen, char cSep) {
    if (sText == nullptr) return nullptr;
    size_t nLen = TextLength(sText);
    m_sResult.assign(2 * nLen + 1, '\0');
    SegmentInto(reinterpret_cast<const unsigned char*>(sText), nLen, nMaxLen, cSep, false, &m_sResult[0],
                nullptr);
    m_sResult.resize(std::strlen(m_sResult.c_str()));
    return m_sResult.c_str();
}

float CPDAT::FileSegment(const char* sInputFile, const char* sOutputFile) {
    if (sInputFile == nullptr || sOutputFile == nullptr) return 0;
    FILE* fpIn = std::fopen(sInputFile, "rb");
    if (fpIn == nullptr) return 0;
    std::string sText;
    char sBuffer[65536];
    size_t nRead;
    while ((nRead = std::fread(sBuffer, 1, sizeof(sBuffer), fpIn)) > 0) sText.append(sBuffer, nRead);
    std::fclose(fpIn);
    FILE* fpOut = std::fopen(sOutputFile, "wt");
    if (fpOut == nullptr) return 0;
    std::clock_t tStart = std::clock();
    const char* sResult = MMSegment(sText.c_str(), 0, '\t');
    double dSeconds = static_cast<double>(std::clock() - tStart) / CLOCKS_PER_SEC;
    std::fputs(sResult, fpOut);
    std::fputs("\n", fpOut);
    std::fclose(fpOut);
    return static_cast<float>(static_cast<double>(sText.size()) / std::max(dSeconds, 1e-6) / 1000.0);
}

// ---------------------------------------------------------------------------------------------------------
// Term frequencies.

std::vector<_stTermFreq>& CPDAT::GetTopWordVector() {
    std::stable_sort(m_vecTermFreq.begin(), m_vecTermFreq.end());
    return m_vecTermFreq;
}

const char* CPDAT::GetTopWords(int n) {
    GetTopWordVector();
    m_sTopWords.clear();
    size_t nCount = n < 0 ? m_vecTermFreq.size() : std::min<size_t>(static_cast<size_t>(n), m_vecTermFreq.size());
    for (size_t i = 0; i < nCount; ++i) {
        const std::string& sWord = m_vecTermFreq[i].word;
        bool bSkip = false;
        if (sWord.size() > 4) {
            for (size_t j = 0; j < i && !bSkip; ++j) {
                const std::string& sEarlier = m_vecTermFreq[j].word;
                bSkip = sEarlier.size() > 3 && sWord.find(sEarlier) != std::string::npos;
            }
        }
        if (bSkip) continue;  // still counts toward n
        m_sTopWords += sWord;
        m_sTopWords += '/';
        m_sTopWords += std::to_string(m_vecTermFreq[i].freq);
        m_sTopWords += '#';
    }
    return m_sTopWords.c_str();
}

void WordTermCompare(CPDAT* pFirst, CPDAT* pSecond, std::string& sOnlyFirst, std::string& sOnlySecond,
                     std::string& sBoth) {
    sOnlyFirst.clear();
    sOnlySecond.clear();
    sBoth.clear();
    std::map<std::string, int> mapFirst, mapSecond;
    if (pFirst) {
        for (const _stTermFreq& t : pFirst->m_vecTermFreq) {
            if (t.freq >= 0) mapFirst[t.word] += t.freq;
        }
    }
    if (pSecond) {
        for (const _stTermFreq& t : pSecond->m_vecTermFreq) {
            if (t.freq >= 0) mapSecond[t.word] += t.freq;
        }
    }
    std::vector<_stTermFreq> vecFirst, vecSecond;
    std::vector<_stSameTermFreq> vecBoth;
    for (const auto& kv : mapFirst) {
        auto it = mapSecond.find(kv.first);
        if (it == mapSecond.end()) {
            _stTermFreq t;
            t.word = kv.first;
            t.freq = kv.second;
            vecFirst.push_back(t);
        } else {
            _stSameTermFreq t;
            t.word = kv.first;
            t.freq = kv.second;
            t.freq2 = it->second;
            t.total_freq = kv.second + it->second;
            vecBoth.push_back(t);
        }
    }
    for (const auto& kv : mapSecond) {
        if (mapFirst.count(kv.first) == 0) {
            _stTermFreq t;
            t.word = kv.first;
            t.freq = kv.second;
            vecSecond.push_back(t);
        }
    }
    // Falling frequency; equal frequencies keep the byte order of the words.
    std::stable_sort(vecFirst.begin(), vecFirst.end());
    std::stable_sort(vecSecond.begin(), vecSecond.end());
    std::stable_sort(vecBoth.begin(), vecBoth.end());
    for (const _stTermFreq& t : vecFirst) sOnlyFirst += t.word + "/" + std::to_string(t.freq) + "#";
    for (const _stTermFreq& t : vecSecond) sOnlySecond += t.word + "/" + std::to_string(t.freq) + "#";
    for (const _stSameTermFreq& t : vecBoth) {
        sBoth += t.word + "/" + std::to_string(t.freq) + "/" + std::to_string(t.freq2) + "#";
    }
}

// ---------------------------------------------------------------------------------------------------------
// Files.

void CPDAT::Clear() {
    CellArray().swap(m_vecData);
    std::vector<uint64_t>().swap(m_vecScanFilter);
    std::vector<uint64_t>().swap(m_vecFirstChars);
    std::vector<int32_t>().swap(m_vecScanClass);
    m_nFilterShift = 64;
    m_nLowerBound = 0;
    m_nItemCount = 0;
    std::fill(m_charset.begin(), m_charset.end(), -1);
    std::fill(m_charsetfreq.begin(), m_charsetfreq.end(), 0);
    m_charsetSize = 0;
}

int CPDAT::SetEmpty() {
    // The arrays stay; only the bound and the count are forgotten.
    m_nLowerBound = 0;
    m_nItemCount = 0;
    return 1;
}

int CPDAT::Save(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "wb");
    if (fp == nullptr) return 0;
    bool bOk = std::fwrite(m_charset.data(), sizeof(int), CODE_COUNT, fp) == CODE_COUNT;
    int32_t nBound = m_nLowerBound;
    uint32_t nCount = static_cast<uint32_t>(m_nItemCount);  // low 32 bits
    int32_t nMode = m_nMode;
    bOk = bOk && std::fwrite(&nBound, 4, 1, fp) == 1 && std::fwrite(&nCount, 4, 1, fp) == 1;
    if (!m_vecData.empty()) {
        size_t nCells = static_cast<size_t>(m_nLowerBound) + 1;
        bOk = bOk && std::fwrite(m_vecData.data(), sizeof(state), nCells, fp) == nCells;
    }
    bOk = bOk && std::fwrite(&nMode, 4, 1, fp) == 1;
    bOk = (std::fclose(fp) == 0) && bOk;
    return bOk ? 1 : 0;
}

int CPDAT::Load(const char* sFilename) {
    Clear();
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "rb");
    if (fp == nullptr) return 0;
    struct stat stFile;
    if (fstat(fileno(fp), &stFile) != 0 || stFile.st_size < PDAT_FIXED_BYTES) {
        std::fclose(fp);
        return 0;
    }
    const int64_t nFileSize = stFile.st_size;
    std::vector<int> vecCharset(CODE_COUNT);
    int32_t nBound = 0, nMode = 0;
    uint32_t nCount = 0;
    bool bOk = std::fread(vecCharset.data(), sizeof(int), CODE_COUNT, fp) == CODE_COUNT &&
               std::fread(&nBound, 4, 1, fp) == 1 && std::fread(&nCount, 4, 1, fp) == 1;
    // Ranks: each -1..65535, and the ranked codes use every rank 0..n-1 exactly once.
    int nRanked = 0;
    if (bOk) {
        std::vector<unsigned char> vecSeen(CODE_COUNT, 0);
        for (int r : vecCharset) {
            if (r < -1 || r >= CODE_COUNT) {
                bOk = false;
                break;
            }
            if (r < 0) continue;
            if (vecSeen[static_cast<size_t>(r)]) {
                bOk = false;
                break;
            }
            vecSeen[static_cast<size_t>(r)] = 1;
            ++nRanked;
        }
        for (int r = 0; bOk && r < nRanked; ++r) bOk = vecSeen[static_cast<size_t>(r)] != 0;
    }
    // Sizes: either exactly (bound + 1) states, or none at all for a dictionary never compiled.
    bool bNoStates = false;
    if (bOk) {
        if (nBound < 0 || nBound > INT_MAX - CODE_COUNT - 1) {
            bOk = false;
        } else if (nFileSize == PDAT_FIXED_BYTES) {
            bNoStates = true;
            bOk = nBound == 0 && nCount == 0;
        } else {
            bOk = nFileSize == PDAT_FIXED_BYTES + 12 * (static_cast<int64_t>(nBound) + 1) &&
                  static_cast<int64_t>(nCount) <= static_cast<int64_t>(nBound) + 1;
        }
    }
    CellArray vecData;
    if (bOk && !bNoStates) {
        size_t nCells = static_cast<size_t>(nBound) + 1;
        vecData.resize(nCells);
        bOk = std::fread(vecData.data(), sizeof(state), nCells, fp) == nCells;
        // Every field within range. A walk bounds each index by the lower bound, so a base only has to
        // keep |base| + rank within an int (a dictionary emptied by SetEmpty keeps bases beyond its bound);
        // a check is -2, -1 or a cell index; a handle is -1 or a handle.
        for (size_t i = 0; bOk && i < nCells; ++i) {
            const state& st = vecData[i];
            bOk = st.base >= -MAX_BASE && st.base <= MAX_BASE && st.check >= -2 && st.check <= nBound &&
                  st.handle >= -1;
        }
    }
    bOk = bOk && std::fread(&nMode, 4, 1, fp) == 1 && nMode >= 0 && nMode <= 2;
    std::fclose(fp);
    if (!bOk) return 0;
    m_charset.swap(vecCharset);
    m_charsetSize = nRanked;
    m_vecData.swap(vecData);
    m_nLowerBound = nBound;
    m_nItemCount = nCount;
    m_nMode = nMode;
    BuildScanFilter();
    return 1;
}

int CPDAT::Export(const char* sFilename) const {
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "wt");
    if (fp == nullptr) return 0;
    std::fprintf(fp, "LowerBound=%d\nm_LowerChar=%d\tUpperChar=%d\tCharset Size=%d\nChar\tCharDec\tRank\tFrequency\n",
                 m_nLowerBound, m_LowerChar, m_UpperChar, m_charsetSize);
    for (int c = std::max(m_LowerChar, 0); c <= std::min(m_UpperChar, CODE_COUNT - 1); ++c) {
        int nRank = Rank(c);
        if (nRank < 0) continue;
        char sChar[3] = {0, 0, 0};
        if (c > 0xFF) {
            sChar[0] = static_cast<char>(c >> 8);
            sChar[1] = static_cast<char>(c & 0xFF);
        } else {
            sChar[0] = static_cast<char>(c);
        }
        std::fprintf(fp, "%d\t%s\t%d\t%d\n", c, sChar, nRank, m_charsetfreq[static_cast<size_t>(c)]);
    }
    std::fprintf(fp, "nID\tBase\tCheck\tHandle\n");
    if (!m_vecData.empty()) {
        for (int i = 0; i <= m_nLowerBound; ++i) {
            const state& st = m_vecData[static_cast<size_t>(i)];
            std::fprintf(fp, "%d\t%d\t%d\t%d\n", i, st.base, st.check, st.handle);
        }
    }
    return std::fclose(fp) == 0 ? 1 : 0;
}

int CPDAT::Import(const char* sFilename, CPDAT* pExclude) {
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "rb");
    if (fp == nullptr) return 0;
    if (m_bWordAddCompleted || !m_word_trie) AddWordInit();
    char sLine[IMPORT_LINE_BYTES];
    while (std::fgets(sLine, sizeof(sLine), fp) != nullptr) {
        char* p = sLine;
        if (HasBom(reinterpret_cast<unsigned char*>(p), std::strlen(p))) p += 3;
        p += std::strspn(p, " \t\r\n");
        size_t nToken = std::strcspn(p, " \t\r\n");
        if (nToken == 0) continue;
        p[nToken] = '\0';
        if (pExclude != nullptr && pExclude->Find(p) >= 0) continue;
        AddWord(p, false);
        if (m_nItemCount % 100 == 0) {
            std::printf("%d\t%s Completed!\r", static_cast<int>(m_nItemCount), p);
        }
    }
    std::fclose(fp);
    AddWordComplete();
    return static_cast<int>(m_nItemCount);
}

int CPDAT::AddTrie(const char* /*sLine*/) { return 1; }

void CPDAT::GetPos(char* /*sPos*/, int /*nLen*/) {}

// Trie.h: CTrie, the modifiable dictionary of user words (each with a short tag) that the
// segmentation engine adds to, deletes from and matches against; its nodes live in one
// CDynamicArry.
#ifndef VINTREL_UTILITY_TRIE_H_
#define VINTREL_UTILITY_TRIE_H_

#include <cstdio>
#include <memory>

#include "Utility/DynamicArry.h"

class CPDAT;

// CTrie stores words (GBK or ASCII bytes, read as character codes with ASCII capitals folded) with
// a tag string of at most 39 bytes and an addition count. Unlike CPDAT it can be changed at any
// time: words are added one by one and deleted by marking. A word gets a handle, a non-negative
// int, when it is first added; handles count up from 0 and a deleted word that is added again gets
// a new one, so handles of deleted words are not reused.
//
// Lifecycle: construct (empty; the root node appears with the first word), then AddTrie / DelTrie
// and the lookups in any order; or construct and Load a trie file. Owns its node array.
//
// Threads: no locks. Adding, deleting, Import and Load need exclusive use. GetMaxWord and GetFreq
// record the tag of the word they found (read back with GetPos), so they also need exclusive use or
// a caller that serialises them; Find, GetLowerBound, GetWordNum, Export and Save may run
// concurrently with each other.
class CTrie {
public:
    // Longest line AddTrie and Find accept, in bytes (without the NUL).
    static constexpr int MAX_LINE_LEN = 1023;
    // Longest tag, in bytes (without the NUL); the tag field holds 40 bytes.
    static constexpr int MAX_TAG_LEN = 39;
    // Line buffer of Import, in bytes (lines are read in pieces of at most this size minus one).
    static constexpr int IMPORT_LINE_BUF = 3072;

    CTrie();
    virtual ~CTrie();
    CTrie(const CTrie&) = delete;  // owns the node array; share by pointer
    CTrie& operator=(const CTrie&) = delete;

    // AddTrie: adds one word. With bWordOnly the whole line is the word and the tag is empty;
    // otherwise the line is read as "word tag" (whitespace-separated, anything after the tag
    // ignored). An empty tag is stored as "n"; the tag is replaced on every addition. Returns 2
    // when the word had been added before (its addition count is now 2 or more), else 1. Refused,
    // with result 1 and nothing changed: a null line, a line of more than MAX_LINE_LEN bytes, a tag
    // of more than MAX_TAG_LEN bytes, an empty word, and (only when the trie is damaged or full) an
    // unusable start node.
    int AddTrie(const char* sLine, bool bWordOnly);
    // PrefixWords: every live word that is a prefix of the nLen bytes at sText, shortest first, at most
    // nMax of them: byte lengths into pLengths and, when pTags is not null, the address of each word's
    // tag (owned by the trie; valid until it next changes) into pTags. Reads only, so it may run
    // concurrently with the other reading calls. Returns the number written; 0 for null arguments.
    int PrefixWords(const char* sText, size_t nLen, int* pLengths, const char** pTags, int nMax) const;
    // DelTrie: marks the word deleted; returns its old handle, or -1 when it is absent or already
    // deleted (then nothing changes). The word keeps its node and addition count.
    int DelTrie(const char* sWord);

    // Find: the handle of the first whitespace-separated token of sLine; -1 when it is absent or
    // deleted, when sLine is null or has no token, or when sLine is longer than MAX_LINE_LEN bytes.
    virtual int Find(const char* sLine) const;
    // Find: the handle of the word made of the first nLen bytes of sWord (fewer when a NUL comes
    // first); -1 when absent or deleted, for a null or empty word.
    virtual int Find(const char* sWord, unsigned int nLen) const;
    // GetMaxWord: byte length of the longest live word that begins sText, 0 when none; its handle
    // goes to *pHandle (-1 when none) and its tag to the current tag (see GetPos). Returns -1 (with
    // *pHandle = -1 when pHandle is not null) when the trie is empty, pHandle is null or sText is
    // null.
    virtual int GetMaxWord(const char* sText, int* pHandle);
    // GetFreq: for a live word, sets nHandle, makes its tag the current tag and returns how many
    // times it was added; otherwise returns -1 and sets nHandle to 0.
    int GetFreq(const char* sWord, int& nHandle);
    // GetPos: copies nLen bytes of the current tag (40 bytes, NUL-terminated, "" before the first
    // find) into sPos; nLen is clipped to 0..40. Does nothing for a null sPos.
    void GetPos(char* sPos, int nLen) const;

    // GetLowerBound: the number of handles issued (since construction, Load or the last Import).
    virtual int GetLowerBound() const;
    // GetWordNum: GetLowerBound() + 1.
    int GetWordNum() const;

    // Import: adds the first token of every line of a text file (tag "n") unless it is already a
    // live word, after restarting the handle count at 0. Returns the number of handles issued by
    // the import; 0 and no change when the file cannot be opened. pDict is not used.
    int Import(const char* sFilename, CPDAT* pDict);
    // Export: writes every live word as "word\ttag\n", depth first in the order the characters were
    // added. Returns 1; 0 (and no file) when the trie is empty, 0 when the file cannot be written
    // or the node links are found broken.
    int Export(const char* sFilename) const;

    // Save: writes the trie file (item count, deleted count, root index, then the node array, see
    // CDynamicArry::Save). Returns 1; 0 when no handle was ever issued (nothing is written, no file
    // is created) or the file cannot be written.
    int Save(const char* sFilename) const;
    // Load: replaces the trie with a trie file. Returns 1; 0 when the file cannot be opened, its
    // item count is 0, or it is truncated or inconsistent (counts, links, a node reached twice or
    // never, child counts, tags). After 0 the trie is empty and usable.
    int Load(const char* sFilename);

    // The node array, for inspection by tests and tools.
    const CDynamicArry& GetArray() const { return *m_pDynamicArry; }

private:
    // BuildTRIE: adds sWord with tag sPos below node nRoot; the result of AddTrie.
    int BuildTRIE(const char* sWord, const char* sPos, int nRoot);
    // FindChild: the child of nParent reached by nCode; -1 when there is none (*pLast, when given,
    // is then the last child or -1); -2 when the links are broken.
    int FindChild(int nParent, unsigned int nCode, int* pLast) const;
    // FindNode: the node reached by the nLen bytes of sWord, or a negative value.
    int FindNode(const char* sWord, unsigned int nLen) const;
    // NewNode: a new node for nCode without word, links or tag; its index or -1.
    int NewNode(unsigned int nCode);
    // SetWordTag: copies the tag into a node (zero-padded to 40 bytes).
    static void SetWordTag(trie_elem* pElem, const char* sPos);
    // ParseTire: writes the live words below the root to fp; false when the links are broken.
    bool ParseTire(FILE* fp) const;
    // IsWellFormed: true when the loaded array is one tree over all its nodes with root nHead and
    // every child_count equal to the length of its child list.
    static bool IsWellFormed(const CDynamicArry& array, int nHead);
    // Clear: back to the empty trie.
    void Clear();

    int m_nItemCount = 0;     // handles issued
    int m_nItemDelNum = 0;    // words deleted
    char m_sCurPos[40] = {};  // tag of the last word found by GetMaxWord or GetFreq
    std::unique_ptr<CDynamicArry> m_pDynamicArry;  // the nodes
    int m_iHeadIndex = -1;                         // index of the root, -1 until the first word
};

#endif  // VINTREL_UTILITY_TRIE_H_

// ComplexFilter.h: CComplexFilter, the compound keyword rules of one scanner instance (AND groups of
// OR alternatives and a NOT list over keywords), their compiled form and the rule file
// "ComplexFilter.dat".
#ifndef VINTREL_VINTREL_COMPLEXFILTER_H_
#define VINTREL_VINTREL_COMPLEXFILTER_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

class CPDAT;
class CWordList;

// CStaticStr: an append-only pool of NUL-terminated strings addressed by their byte offset. Equal
// strings are stored again; there is no lookup.
//
// File form: the bytes used as uint64, then those bytes.
//
// Threads: AddString and Read need exclusive use; GetStr and Write only read.
class CStaticStr {
public:
    CStaticStr();
    CStaticStr(const CStaticStr&) = delete;  // owner of the pool; share the filter instead
    CStaticStr& operator=(const CStaticStr&) = delete;

    // AddString: appends sText (null counts as "") with its NUL; returns its offset.
    int64_t AddString(const char* sText);
    // GetStr: the string at nOffset, owned by the pool and valid until it changes; "" (a static
    // constant) when nOffset lies outside the bytes used. Never null.
    const char* GetStr(int64_t nOffset) const;
    // GetSize: the bytes used (m_nDataIndex).
    int64_t GetSize() const { return static_cast<int64_t>(m_pData.size()); }
    // IsStringStart: true when nOffset lies inside the pool at the first byte of a stored string.
    bool IsStringStart(int64_t nOffset) const;
    // Clear: forgets every string.
    void Clear() { m_pData.clear(); }

    // Write: the length as 8 bytes, then the bytes used. False when a write fails.
    bool Write(FILE* fp) const;
    // Read: replaces the pool by the length and bytes at the file position. False, leaving the pool
    // empty, when the length exceeds nBytesLeft (the bytes left in the file), a read fails, or the
    // bytes do not end with a NUL (a pool of length 0 is fine).
    bool Read(FILE* fp, uint64_t nBytesLeft);

private:
    // The bytes used; the vector grows geometrically, which stands for the capacity
    // (m_nDataMaxSize) of the plain buffer.
    std::vector<char> m_pData;
};

// _tIntArray: the half-open range [start, end) of positions in the data pool of a CComplexFilter.
struct _tIntArray {
    int start = 0;
    int end = 0;
};

// _tComplexFilterOrig: one compound rule in textual form.
struct _tComplexFilterOrig {
    std::vector<std::vector<std::string>> vecAndConditions;  // AND groups, each a list of alternatives
    std::vector<std::string> NotCondition;                    // NOT keywords of all "-" parts
    std::string sClass;                                       // class name of the rule
    std::string sRule;                                        // the rule text; its identity
    int weight = 0;
};

// _tComplexFilterData: one compound rule in compiled form. pAndConditions holds nAndSize ranges of
// keyword ids in the filter's data pool, one per AND group; NotCondition the range of NOT ids.
//
// Record layout in the rule file: nAndSize (int32); nAndSize pairs start, end (int32);
// NotCondition start, end (int32); class_id (1 byte); weight (int32); rulestr_id (int32).
struct _tComplexFilterData {
    int nAndSize = 0;
    std::vector<_tIntArray> pAndConditions;  // nAndSize entries
    _tIntArray NotCondition;
    uint8_t class_id = 0;
    int weight = 0;
    int rulestr_id = 0;

    // Destroy: drops the AND groups (nAndSize 0).
    void Destroy();
    // Save: writes the record; false when a write fails.
    bool Save(FILE* fp) const;
    // Load: reads one record. False when a read fails or nAndSize is negative or does not fit in
    // nBytesLeft (the bytes left in the file); the ranges themselves are checked by the caller.
    bool Load(FILE* fp, uint64_t nBytesLeft);
    // RecordSize: bytes the record takes in the file.
    uint64_t RecordSize() const { return 4 + 8 * static_cast<uint64_t>(nAndSize) + 8 + 1 + 4 + 4; }
};

// CComplexFilter holds the compound rules of one scanner instance. A keyword-file entry holding "+"
// is a rule: its parts are cut at "+" and "-"; a part after "+" (and the first part) is an AND group,
// a part after "-" adds to the NOT list; each part is cut into OR alternatives at ";", "{", "}" and
// blanks. A rule fires when each AND group has at least one of its keywords among a text's hits and
// none of its NOT keywords is among them.
//
// Lifecycle: construct with the instance's path prefix (the rule file is that prefix followed by
// "ComplexFilter.dat"); either ImportLine for every rule line, then one Org2Data against the
// instance's key and class dictionaries, then Save; or Load. Filter tests hits; Export rebuilds the
// textual rules (m_vecComplexFilterOrg, m_vecKeywords) from the compiled form. Owns the compiled
// rules, the id index, the data pool and the rule-text pool.
//
// Threads: no lock. Filter only reads the compiled form and may run from many threads at once.
// ImportLine, Org2Data and Load write and need exclusive use. Export writes only the textual rules
// (m_vecComplexFilterOrg, m_vecKeywords), which Filter never reads, so it may run beside Filter but
// not beside another Export or a reader of those lists. The instance replaces its filter as a whole
// under its own mutex.
class CComplexFilter {
public:
    // CComplexFilter: an empty filter whose rule file is sPath (null counts as "") followed by
    // "ComplexFilter.dat".
    explicit CComplexFilter(const char* sPath);
    ~CComplexFilter();
    CComplexFilter(const CComplexFilter&) = delete;  // owns the compiled pools; share by pointer
    CComplexFilter& operator=(const CComplexFilter&) = delete;

    // ImportLine: adds the rule sLine (a normalised keyword) with its class and weight to the
    // textual rules. Returns false (nothing added) when sLine is null or holds no "+" (a plain
    // keyword, even one with "-"); true when a rule was added or one with the same text is already
    // held (then nothing is added). A null sClass counts as "".
    bool ImportLine(const char* sLine, const char* sClass, int weight);
    // Org2Data: compiles every textual rule against the key dictionary (keyword ids) and the class
    // dictionary (class ids, kept in one byte: a class the dictionary lacks becomes 255), replacing
    // any compiled form. A keyword the key dictionary does not know is left out of its list; a null
    // dictionary knows nothing. Returns 1.
    int Org2Data(const CPDAT* pKeyDict, const CPDAT* pClassDict);
    // GenerateIntList: appends the sorted distinct ids of the words of vecKey (words pDict does not
    // know left out) to the data pool and sets result to their range. Returns the number of ids
    // written.
    int GenerateIntList(const std::vector<std::string>& vecKey, _tIntArray& result,
                        const CPDAT* pDict);
    // Or: 1 when the ascending hit ids pIDList[0 .. nCount) and the ascending pool range intArray
    // share an id, else 0. REQUIRES: intArray lies inside the pool.
    int Or(const int* pIDList, int nCount, const _tIntArray& intArray) const;
    // IsMatchRule: whether the rule fires on the ascending distinct hit ids: every AND group has a
    // hit and no NOT id is hit (a rule without AND groups fires whenever no NOT id is hit).
    // REQUIRES: the rule's ranges lie inside the pool.
    bool IsMatchRule(const int* pIDList, int nCount, const _tComplexFilterData& rule) const;
    // Filter: tests the compound rules on the hits of one text (nHandle is the keyword id; hits
    // with a negative id or one at or beyond the ids compiled are left out). Returns the number of
    // rules that fire; sClass and sRule are replaced by their class names and rule texts, each
    // followed by "##", in the order found (by ascending id of the first hit that lists them);
    // weight becomes the greatest rule weight, or 0 when none fired or none is above 0. A null
    // pClassWordList gives empty class names. The hits are not changed.
    int Filter(const std::vector<_stTermPosition>& vstTermPosition, const CWordList* pClassWordList,
               std::string& sClass, std::string& sRule, int& weight) const;
    // Export: rebuilds m_vecComplexFilterOrg and m_vecKeywords from the compiled rules, the words
    // coming from the word lists (null lists give empty words). Within a group the words come in
    // id order without duplicates. Returns the number of rules.
    int Export(const CWordList* pKeyWordList, const CWordList* pClassWordList);
    // Save: writes the compiled rules to the rule file. Returns false when it cannot be opened
    // (last error "Failed open file <path>", also written to the error log) or a write fails.
    bool Save() const;
    // Load: replaces the filter by the rule file; the textual rules stay empty. Returns false,
    // leaving the filter empty and usable, when the file cannot be opened ("Failed open file
    // <path>" written to the ordinary log: a missing rule file is normal) or is truncated, holds
    // trailing bytes, or has any count, range, id, rule number or text offset out of place (then
    // the last error is "Damaged rule file <path>").
    bool Load();

    // GetRuleCount: the number of compiled rules (m_nComplexFilterDataSize).
    size_t GetRuleCount() const { return m_pComplexFilterData.size(); }
    // GetIDCount: the number of keyword ids the compiled rules cover.
    int GetIDCount() const { return m_nIDCount; }
    const std::string& GetFilename() const { return m_sFilename; }

    // The textual rules: every keyword the rules mention, one entry per mention (duplicates kept), in
    // the order met; and the rules. An import copies the rules of the old filter into a new one and
    // adds m_vecKeywords to the new key dictionary.
    std::vector<std::string> m_vecKeywords;
    std::vector<_tComplexFilterOrig> m_vecComplexFilterOrg;

private:
    // ClearCompiled: forgets the compiled form (rules, index, pools); the textual rules stay.
    void ClearCompiled();
    // IsInPool: whether the range is well formed and lies inside the data pool.
    bool IsInPool(const _tIntArray& range) const;
    // CheckLoaded: every range, id, rule number and text offset of a freshly read file in place.
    bool CheckLoaded() const;

    std::vector<_tComplexFilterData> m_pComplexFilterData;  // compiled rules; index = rule number
    std::vector<_tIntArray> m_pIndex;  // m_nIDCount ranges: rule numbers listing each keyword id
    int m_nIDCount = 0;
    // The data pool: the rules' keyword-id lists, then the rule-number lists of m_pIndex. Its size is
    // m_nCurDataSize; it grows geometrically.
    std::vector<int> m_pData;
    std::string m_sFilename;
    std::unique_ptr<CStaticStr> m_pRuleStr;  // the rule texts, addressed by rulestr_id; never null
};

#endif  // VINTREL_VINTREL_COMPLEXFILTER_H_

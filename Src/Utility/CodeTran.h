// CodeTran.h: CCodeTran, the table-driven converter between GBK and the caller's encoding (UTF-8,
// BIG5, GBK written with traditional characters).
#ifndef VINTREL_UTILITY_CODETRAN_H_
#define VINTREL_UTILITY_CODETRAN_H_

#include <memory>
#include <string>

#include "Utility/global_linux.h"

class CPDAT;
class CWordList;
class CIDMaps;

// CCodeTran converts texts between GBK, the encoding of every dictionary, and one caller encoding.
// Encoding codes: 1 UTF-8, 2 BIG5, 3 GBK written with traditional characters (tables "GBKA"),
// 4 UTF-8 over the GBKA tables, 5 UTF-8 (the tables of code 1); 0 (GBK) needs no converter.
//
// Each encoding is six files in the data directory: the GBK-side dictionary (.pdat) and word list
// (.wordlist), the same pair for the caller's side, a code-to-GBK id map and a GBK-to-code id map
// (.map). A text is cut into lines; each line is segmented by forward maximum matching against the
// source dictionary and every unit found is replaced by its first mapped counterpart. Units without
// one pass through; towards GBK, non-ASCII ones are wrapped in "^^" markers, which the way back
// recognises and strips, so such bytes survive a round trip.
//
// Lifecycle: construct with the data directory and the code, check GetStatus() == 1, convert, delete.
// Owns the six tables (each may be null after a failed load, see the constructor) and the
// conversion tables derived from them.
//
// Threads: read-only once constructed. CodeToGBK, GBKToCode, CodeTrans, CodeTransPlain and the file
// forms may run from many threads at once; every call works in its own buffers.
class CCodeTran {
public:
    // CCodeTran: loads the six files of encode from sDataPath + "/" + name. A missing or damaged
    // dictionary or word list writes "<path> cannot load!\n" to the error log, frees what was loaded
    // and leaves the status 0. A missing map file writes the same line and frees the tables, yet
    // the status becomes 1 (a converter without tables passes texts through, see CodeTrans). An
    // encode outside 1..5 or a null sDataPath gives status 0 without a message.
    CCodeTran(const char* sDataPath, int encode);
    virtual ~CCodeTran();
    CCodeTran(const CCodeTran&) = delete;  // owns six tables and their derived tables
    CCodeTran& operator=(const CCodeTran&) = delete;

    // GetStatus: 1 when construction reached its end, else 0 (callers then delete the object).
    int GetStatus() const { return m_nStatus; }
    // GetEncoding: the encoding code (0 until construction succeeded).
    int GetEncoding() const { return m_nEncoding; }

    // CodeToGBK: converts text from the caller's encoding to GBK into result and returns
    // result.c_str() (owned by result). Null or empty text: result becomes "" and null is returned.
    const char* CodeToGBK(const char* text, std::string& result) const;
    // GBKToCode: converts GBK text to the caller's encoding into result and returns result.c_str().
    // Null or empty text: result becomes "" and its (empty) text is returned, not null.
    const char* GBKToCode(const char* text, std::string& result) const;

    // CodeToGBKFile: converts the whole file sSrcFile to GBK and writes it to sDsnFile (text mode)
    // followed by "\n". With code 1 a leading EF BB BF of the source is skipped. Returns false, with
    // nothing written, when the source cannot be read (or is empty) or the target cannot be created.
    bool CodeToGBKFile(const char* sSrcFile, const char* sDsnFile) const;
    // GBKToCodeFile: the other way; with code 1 the target starts with the mark EF BB BF. Returns
    // false as CodeToGBKFile does.
    bool GBKToCodeFile(const char* sSrcFile, const char* sDsnFile) const;

    // CodeTrans: the conversion engine: replaces result with text converted through pSrcDict (the
    // source units), pMap (source unit to target units) and pDsnList (target unit texts); toCode is
    // true in the GBK-to-code direction. Returns result.c_str(). A null text gives "". A null
    // dictionary acts as an empty one and a null map or word list as one that maps nothing, so every
    // unit passes unconverted. With the converter's own tables of one direction this uses the
    // precomputed direct tables; otherwise (or for dictionaries not in byte mode) it is
    // CodeTransPlain. Either way the result is the same.
    const char* CodeTrans(const char* text, std::string& result, CPDAT* pSrcDict, CIDMaps* pMap,
                          CWordList* pDsnList, bool toCode) const;
    // CodeTransPlain: the same conversion done literally (the dictionary's MMSegment with a tab
    // separator, then Find, GetMaps and GetWord per token); the reference for CodeTrans and the path
    // for tables that have no direct table. MMSegment reads at most (INT_MAX - 1) / 6 bytes of a
    // line, so only here is a longer line cut short.
    const char* CodeTransPlain(const char* text, std::string& result, CPDAT* pSrcDict,
                               CIDMaps* pMap, CWordList* pDsnList, bool toCode) const;

    // GetCharUnitCount: how many units of two bytes or more the direction (toCode: GBKToCode, else
    // CodeToGBK) converts one by one without walking the trie: two-byte units (lead byte 0x80 or
    // above), or, from UTF-8 (codes 1, 4, 5 towards GBK), UTF-8 characters of two to four bytes.
    // 0 when it has no direct table or no unit qualifies.
    int GetCharUnitCount(bool toCode) const;

private:
    // The precomputed conversion of one direction (see CodeTran.cpp).
    struct CDirectTable;

    // BuildDirectTables: derives the direct tables from the loaded tables (when all six exist).
    void BuildDirectTables();
    // SkipsBom: the UTF-8 codes (1, 4, 5) skip a leading byte-order mark in both directions.
    bool SkipsBom() const { return m_nEncoding == 1 || m_nEncoding == 4 || m_nEncoding == 5; }

    std::unique_ptr<CPDAT> m_pGBKSrcDict;        // GBK-side units
    std::unique_ptr<CWordList> m_pGBKWordList;   // GBK-side unit texts by handle
    std::unique_ptr<CPDAT> m_pCodeDict;          // caller-encoding units
    std::unique_ptr<CWordList> m_pCodeWordList;  // caller-encoding unit texts by handle
    std::unique_ptr<CIDMaps> m_pCode2GBKMap;     // code unit -> GBK units
    std::unique_ptr<CIDMaps> m_pGBK2CodeMap;     // GBK unit -> code units
    std::unique_ptr<CDirectTable> m_pToGBKDirect;   // CodeToGBK's direct table, or null
    std::unique_ptr<CDirectTable> m_pToCodeDirect;  // GBKToCode's direct table, or null
    int m_nEncoding = 0;
    int m_nStatus = 0;
};

#endif  // VINTREL_UTILITY_CODETRAN_H_

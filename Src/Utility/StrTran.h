// StrTran.h: CStrTran, a string-to-string translation table (look-alike characters to standard
// ones, pinyin to words) applied to a text by maximum matching, with its five table files.
#ifndef VINTREL_UTILITY_STRTRAN_H_
#define VINTREL_UTILITY_STRTRAN_H_

#include <memory>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

class CPDAT;
class CWordList;
class CIDMaps;

// CStrTran translates a text by cutting it into the longest source strings of its table and
// replacing each by its destination string. A table is five files under a path prefix: the source
// dictionary and word list (<src>.pdat, <src>.wordlist), the destination dictionary and word list
// (<dsn>.pdat, <dsn>.wordlist) and the source-to-destination id map (<src>2<dsn>.map). The prefix
// is used exactly as given, so callers pass a directory with a trailing "/".
//
// Lifecycle: construct (nothing loaded), then Load, or Import (which rebuilds and saves the files);
// then Src2Dsn and the lookups. Destroy (or a failed Load) empties the table; an empty table
// translates nothing. Owns the five tables.
//
// Threads: once loaded or imported the table is read-only: Src2Dsn, Src2DsnFile, the lookups,
// Export and Save may run from many threads at once (translation uses per-call buffers only). Load,
// Import and Destroy replace the tables and need exclusive use.
class CStrTran {
public:
    // The longest text Src2Dsn translates (bytes); a longer one is left as it is (null result).
    static constexpr size_t MAX_TEXT_LEN = size_t{1} << 26;

    // CStrTran: stores the path prefix, the two file-name stems and the delimiter appended after
    // every replaced string (a null argument counts as ""). Loads nothing.
    CStrTran(const char* sDataPath, const char* sSrcName, const char* sDsnName,
             const char* sDelimiter);
    virtual ~CStrTran();
    CStrTran(const CStrTran&) = delete;  // owns five tables; share by pointer
    CStrTran& operator=(const CStrTran&) = delete;

    // Load: replaces the tables with the five files. True when all loaded and agree with each other
    // (every mapped destination id lies inside the destination word list, every mapped source
    // inside the source word list). On the first failure writes "<path> cannot load!\n" to the
    // error log, leaves the table empty and returns false.
    bool Load();
    // Save: writes the five files; false when there is no table or a file cannot be written.
    bool Save() const;
    // Import: reads a text table, one pair per line: the source is the first blank-free word, the
    // destination the rest of the line with blanks (space, tab, CR, LF) trimmed at both ends (it
    // may be empty, or hold inner blanks). A UTF-8 byte-order mark at a line start is skipped;
    // lines are read in pieces of up to 10,239 bytes. Then Import(pairs). Returns the number of
    // pairs; 0 when the file cannot be opened, after reporting "Failed Open file <name>" as the
    // last error.
    int Import(const char* sFilename);
    // Import: rebuilds the five tables from the pairs (a source listed twice keeps the destination
    // that was first added to the destination dictionary), then Save(). Returns the number of
    // pairs, also when the files cannot be written. A pair with an empty destination deletes its
    // source string from translated texts.
    int Import(std::vector<map_str>& vecPairs);
    // Export: replaces the contents of vecPairs with the table's pairs, by ascending source and
    // destination id. Returns their number (0 for an empty table).
    int Export(std::vector<map_str>& vecPairs) const;

    // Src2DsnID: the first destination id of a source string; -1 when it has none.
    int Src2DsnID(const char* sSrc) const;
    // SrcID2DsnID: the first destination id of a source id; -1 when it has none.
    int SrcID2DsnID(int nSrcID) const;
    // SrcID2Dsn: the first destination string of a source id ("" for an empty destination), owned
    // by the table and valid until it is replaced; null when the id has no destination.
    const char* SrcID2Dsn(int nSrcID) const;

    // Src2Dsn: translates sText into sResult and returns sResult's text, or null (with sResult "")
    // when no part of the text was replaced: the caller then goes on with sText. vecPos is cleared
    // and receives one pair per piece of every translated line, replaced or not, in text order:
    // `second` is the piece's byte offset and length in sText, `first` its offset and length in
    // sResult (the length of the destination string for a replaced piece; the delimiter that
    // follows belongs to no piece). Lines are cut at CR and LF, their leading blanks dropped and
    // the byte that ended each kept; text between "^^" markers is copied without the markers and
    // has no pair. A null or empty text, or one longer than MAX_TEXT_LEN, gives null.
    const char* Src2Dsn(const char* sText, std::string& sResult,
                        std::vector<_TermPositionPair>& vecPos) const;
    // Src2Dsn: the same without positions.
    const char* Src2Dsn(const char* sText, std::string& sResult) const;
    // Src2DsnFile: translates the whole of sSrcFile and writes it to sDsnFile (opened "wt")
    // followed by a line end; when nothing was replaced, the text is written as read. False when
    // the source cannot be read (or is empty) or the target cannot be created.
    bool Src2DsnFile(const char* sSrcFile, const char* sDsnFile) const;

    // GetSrcDict, GetSrcWordList: the source dictionary and word list (null when not loaded), for
    // callers that scan a text for source strings themselves.
    const CPDAT* GetSrcDict() const { return m_pSrcDict.get(); }
    const CWordList* GetSrcWordList() const { return m_pSrcWordList.get(); }

    // Destroy: frees the five tables; the table is then empty.
    void Destroy();

    // IsLoaded: true when the five tables are present.
    bool IsLoaded() const;

private:
    // FilePath: m_sDataPath followed by the stem and the extension.
    std::string FilePath(const std::string& sStem, const char* sExt) const;
    std::string MapPath() const;
    // CodeTrans: the translation engine behind Src2Dsn; positions go to *pPos when it is not null.
    const char* CodeTrans(const char* sText, std::string& sResult,
                          std::vector<_TermPositionPair>* pPos) const;
    // Consistent: whether the map's ids lie inside the two word lists.
    bool Consistent() const;

    std::string m_sSrcName;
    std::string m_sDsnName;
    std::string m_sDataPath;
    std::string m_sDelimiter;
    std::unique_ptr<CPDAT> m_pSrcDict;
    std::unique_ptr<CPDAT> m_pDsnDict;
    std::unique_ptr<CWordList> m_pSrcWordList;
    std::unique_ptr<CWordList> m_pDsnWordList;
    std::unique_ptr<CIDMaps> m_pSrc2DsnMap;
};

#endif  // VINTREL_UTILITY_STRTRAN_H_

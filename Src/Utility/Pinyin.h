// Pinyin.h: CPinyin, which spells Chinese text in pinyin and in pinyin initials, keeping the place
// of every piece in the input, with its five table files.
#ifndef VINTREL_UTILITY_PINYIN_H_
#define VINTREL_UTILITY_PINYIN_H_

#include <memory>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

class CPDAT;
class CWordList;
class CIDMaps;

// One pair of the import table: a pinyin syllable and a Chinese character.
struct pinyin_hanzi {
    std::string pinyin;
    std::string hanzi;
};

// CPinyin converts GBK text to pinyin. Its tables, in the data directory: the syllable dictionary
// and word list ("pinyin.pdat", "pinyin.wordlist"), the character dictionary and word list
// ("hanzi.pdat", "hanzi.wordlist") and the character-to-syllable map ("hanzi2pinyin.map").
//
// Lifecycle: construct, then Load or ImportPinyin2Hanzi (which rebuilds and saves the files); then
// Hanzi2Pinyin and IsValidPinyinAbbrev. Without tables every character is dropped (letters still
// pass). Owns the tables.
//
// Threads: once loaded the tables are read-only: Hanzi2Pinyin (which writes only the caller's
// strings and vector), IsValidPinyinAbbrev, Save and ExportHanzi2Pinyin may run from many threads
// at once. Load, ImportPinyin2Hanzi and Clear replace the tables and need exclusive use.
class CPinyin {
public:
    // CPinyin: no tables; the data directory is sDataPath as given, or the working directory
    // followed by "/" when sDataPath is null or empty.
    explicit CPinyin(const char* sDataPath);
    ~CPinyin();
    CPinyin(const CPinyin&) = delete;  // owns five tables; share by pointer
    CPinyin& operator=(const CPinyin&) = delete;

    // Load: replaces the tables with the files read from the data directory + "/" + name, in the
    // order pinyin.pdat, pinyin.wordlist, hanzi.pdat, hanzi.wordlist, hanzi2pinyin.map. Returns 1;
    // -1 when a file cannot be loaded or the map's ids fall outside the word lists: the message
    // "Fail Open file <path>" is reported as the last error, and the tables are left empty.
    int Load();
    // Save: writes the five files (the same names as Load). False when there is no table or a file
    // cannot be written.
    bool Save() const;
    // Clear: frees all tables.
    void Clear();

    // ImportPinyin2Hanzi: rebuilds the tables from a text file of lines "<character> <syllable>"
    // (a UTF-8 byte-order mark at a line start skipped; lines read in pieces of up to 1023 bytes;
    // lines without two words ignored), then Save(). Returns 1; -1 when the file cannot be opened
    // (reports "Fail open file <name>") or yields no pair (prints "Pinyin2WordTxtfile <name>
    // failed!\n" on standard output). The syllables of a character follow the order in which the
    // syllables first appear in the whole file.
    int ImportPinyin2Hanzi(const char* sFilename);
    // ExportHanzi2Pinyin: writes "hanzi2pinyin.txt" in the data directory: one line "<character>\t
    // <syllable>\n" per reading, by ascending character id and syllable id. Returns the number of
    // lines; -1 when there is no table or the file cannot be written.
    int ExportHanzi2Pinyin() const;

    // Hanzi2Pinyin: replaces sPinyin with the pinyin of sHanzi (syllables without separators) and
    // sAbbrev with their initials, and returns sPinyin's text (owned by sPinyin). A two-byte
    // character takes the first syllable of its readings and is dropped when it has none; an ASCII
    // letter goes unchanged to both strings; every other byte is dropped. vecPos is cleared and
    // gets one pair per kept character: `second` its offset and length in sHanzi, `first` its
    // offset and length in sPinyin. A null text gives "". Conversion stops before an offset would
    // pass INT_MAX.
    const char* Hanzi2Pinyin(const char* sHanzi, tstring& sPinyin, tstring& sAbbrev,
                             std::vector<_TermPositionPair>& vecPos) const;
    // Hanzi2Pinyin: the same without positions.
    const char* Hanzi2Pinyin(const char* sHanzi, tstring& sPinyin, tstring& sAbbrev) const;

    // IsValidPinyinAbbrev: whether the first occurrence of sPinyinHit in sContent (compared with
    // sContent's ASCII letters lowered) stands alone: an ASCII neighbour on either side must be a
    // space, tab, CR or LF, a non-ASCII one is accepted. Only the first occurrence is judged. False
    // for a null argument, an empty hit or a hit that does not occur.
    static bool IsValidPinyinAbbrev(const char* sContent, const char* sPinyinHit);
    // The two steps of IsValidPinyinAbbrev, for callers that judge many hits in one text:
    // LowerLetters gives sContent with its ASCII letters lowered (null gives ""), and StandsAlone
    // judges the occurrence at nAt (nLen bytes) of that lowered text.
    static std::string LowerLetters(const char* sContent);
    static bool StandsAlone(const std::string& sLower, size_t nAt, size_t nLen);

    const std::string& GetDataPath() const { return m_sDataPath; }

private:
    // FilePath: m_sDataPath + "/" + sName.
    std::string FilePath(const char* sName) const;
    // Consistent: whether the map's ids lie inside the two word lists.
    bool Consistent() const;

    std::unique_ptr<CPDAT> m_pPinyinDict;
    std::unique_ptr<CWordList> m_pPinyinWordList;
    std::unique_ptr<CPDAT> m_pHanziDict;
    std::unique_ptr<CWordList> m_pHanziWordList;
    std::unique_ptr<CIDMaps> m_pPinyin2Hanzi;  // never built or loaded; kept null
    std::unique_ptr<CIDMaps> m_pHanzi2Pinyin;
    std::string m_sResult;  // work string (unused by the conversions, which keep no state)
    std::string m_sDataPath;
};

#endif  // VINTREL_UTILITY_PINYIN_H_

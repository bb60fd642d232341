// vintrel-build-data: builds the library's default data directory (the binary encoding, look-alike,
// pinyin and character-class tables, and the segmentation engine's Data/) from the text sources
// committed under data/.
//
// Usage: vintrel-build-data SOURCE_DIR OUTPUT_DIR
//   SOURCE_DIR: the data/ folder of the source tree (encoding/, xingzi/, pinyin/, and segmenter/,
//               whose absence skips the segmentation engine's Data/)
//   OUTPUT_DIR: the folder to write; created (with its parents) when missing; files already in it
//               are replaced
// Exit status: 0 success, 1 failure (a message on stderr), 2 bad usage.
//
// What is written
// ===============
//
// Encoding tables. The converter cuts a text into units by longest match on a byte-mode dictionary
// (mode 1), maps each unit to the first target of an id map and prints that target's text from the
// target side's word list. Each side is built here as one dictionary of units plus a plain word
// list (scrambling off) whose handles 0..n-1 are the units and whose handles n, n+1 ... hold extra
// texts that only serve as targets (a phrase, or a text of several characters):
//
//   GBK   units: every GBK cell (two-byte cells, and the single byte 0x80, which reads as the euro
//         sign), then the simplified-to-traditional phrases (头发, ...). GBK.pdat is shared by
//         codes 1, 2, 3 and 5, so every phrase unit is mapped in GBK2UTF, GBK2BIG and GBK2GBKA.
//   UTF8  units: the UTF-8 of every code point that has a GBK cell, the old private-use aliases of
//         GB18030, and the one-way extras (full-width and compatibility forms, radicals, variants),
//         which map to GBK only.
//   BIG5  units: every BIG5 cell (HKSCS cells where plain BIG5 has none) that has a GBK character;
//         it maps to the simplified GBK character, as matching works on simplified text.
//   GBKA  units: every GBK cell (identity rows) and the traditional-side phrases (乾隆 stays 乾隆).
//   Pass-through cells: behind those units, GBK, GBKA and BIG5 hold every other two-byte cell of
//         their code page (GBK: lead 0x81-0xFE, trail 0x40-0xFE but 0x7F; BIG5: lead 0x81-0xFE,
//         trail 0x40-0x7E and 0xA1-0xFE): private-use, user-defined and unassigned cells, HKSCS
//         cells left out. They have no map row, so the converter passes them unconverted (wrapped
//         in "^^" towards GBK), but as one token: the dictionaries match byte by byte, and a cell
//         that were no unit would be cut into two bytes, its trail byte read with the next
//         character and that character garbled.
//
//   UTF2GBK  UTF8 -> GBK   the GBK text of the code point
//   GBK2UTF  GBK -> UTF8   the code point of the cell; a phrase -> its UTF-8 (an extra text)
//   BIG2GBK  BIG5 -> GBK   the simplified column
//   GBK2BIG  GBK -> BIG5   the research mapping (traditional form); a GBK character that plain BIG5
//                          lacks takes the BIG5 cell that maps to it, when one does; a phrase takes
//                          the BIG5 of its traditional phrase. GBK characters without any BIG5
//                          counterpart have no row (the converter passes them unchanged). Where
//                          BIG5 holds the simplified character itself (气, 后) its usual
//                          traditional form is written instead (氣, 後; see Big5OfSimplified),
//                          and a hanzi duplicated in the symbol area takes its hanzi cell (十 A451).
//   GBKA2GBK GBKA -> GBK   traditional character -> simplified, every other cell itself; phrase ->
//                          its simplified phrase
//   GBK2GBKA GBK -> GBKA   simplified character -> its first traditional candidate, every other
//                          cell itself; phrase -> its traditional phrase
//   GBKA2UTF UTF8 -> GBKA  (code 4, code-to-GBK column) the GBK text of the code point, as UTF2GBK
//   UTF2GBKA GBKA -> UTF8  (code 4, GBK-to-code column) the UTF-8 of the cell or phrase
//
// ASCII is no unit of any side: it is the same in every encoding and passes the converter as it is.
// Every unit but the pass-through cells has exactly one target, so "the first mapped id" is the only one; every target text is
// checked to exist in its word list, and every unit is checked to be found again by Find.
//
// Look-alike table (Xing/Zi) and pinyin tables: the library's own importers (CStrTran::Import,
// CPinyin::ImportPinyin2Hanzi) over data/xingzi/Xing2Zi.gbk.txt and data/pinyin/pinyin.gbk.txt, so
// their files are exactly what those classes load.
//
// Character classes ("charset.type"): generated from the GBK table by the Unicode code point of
// each cell, written as the "%s %d" text that CCharset::Import reads (a temporary file, removed
// again):
//   1 hanzi (CJK unified and compatibility ideographs, and 〇)
//   2 ASCII letter          3 ASCII digit
//   4 full-width letter     5 full-width digit
//   6 punctuation (ASCII, CJK, full-width, vertical and small forms, general punctuation)
//   7 letter of another script (accented Latin, IPA, Greek, Cyrillic, kana, bopomofo)
//   8 number sign that is no digit (Roman numerals, circled and bracketed numbers, ㈠)
//   9 other symbol (math, arrows, box drawing, shapes, currency, radicals and strokes, ...)
//  28 blank (space, tab, CR, LF, set by the importer, and the ideographic space)
//   0 everything else (control bytes, unassigned and private-use cells)
//
// Segmentation engine ("Data/"): the engine's own data directory OUTPUT_DIR/Data/, from
// data/segmenter/ (see Segmenter.cpp for its files and their formats). Built last: it reads
// charset.type back.
//
// The same sources always give the same bytes: every table is filled in a fixed order.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Segmenter.h"
#include "Utility/Charset.h"
#include "BuildCommon.h"
#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Pinyin.h"
#include "Utility/StrTran.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

// Character classes of "charset.type" (see the file comment).
constexpr int CLASS_HANZI = 1;
constexpr int CLASS_LETTER = 2;
constexpr int CLASS_DIGIT = 3;
constexpr int CLASS_FULL_LETTER = 4;
constexpr int CLASS_FULL_DIGIT = 5;
constexpr int CLASS_PUNCT = 6;
constexpr int CLASS_FOREIGN = 7;
constexpr int CLASS_NUMBER = 8;
constexpr int CLASS_SYMBOL = 9;
constexpr int CLASS_BLANK = 28;

// CQuietStdout: sends standard output to /dev/null while it lives, so the importers' progress lines
// do not flood the build log. Restores it on destruction.
class CQuietStdout {
public:
    CQuietStdout() {
        std::fflush(stdout);
        m_nSaved = dup(STDOUT_FILENO);
        int nNull = open("/dev/null", O_WRONLY);
        if (m_nSaved >= 0 && nNull >= 0) dup2(nNull, STDOUT_FILENO);
        if (nNull >= 0) close(nNull);
    }
    ~CQuietStdout() {
        std::fflush(stdout);
        if (m_nSaved >= 0) {
            dup2(m_nSaved, STDOUT_FILENO);
            close(m_nSaved);
        }
    }
    CQuietStdout(const CQuietStdout&) = delete;  // owns a saved file descriptor
    CQuietStdout& operator=(const CQuietStdout&) = delete;

private:
    int m_nSaved = -1;
};




// ParseHexBytes: "A1A1" -> two bytes, "61" -> one, "49 4A" -> "IJ" (codes separated by blanks).
// False for anything else.
bool ParseHexBytes(const std::string& sHex, std::string& sBytes) {
    sBytes.clear();
    for (const std::string& sCode : Split(sHex, ' ')) {
        if (sCode.empty() || sCode.size() % 2 != 0 || sCode.size() > 4) return false;
        for (size_t i = 0; i < sCode.size(); i += 2) {
            unsigned int nByte = 0;
            for (size_t k = i; k < i + 2; ++k) {
                char c = sCode[k];
                int nDigit = c >= '0' && c <= '9'   ? c - '0'
                             : c >= 'A' && c <= 'F' ? c - 'A' + 10
                             : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                    : -1;
                if (nDigit < 0) return false;
                nByte = nByte * 16 + static_cast<unsigned int>(nDigit);
            }
            sBytes.push_back(static_cast<char>(nByte));
        }
    }
    return !sBytes.empty();
}

// ParseCodePoint: "U+20AC" -> 0x20AC. False for anything else.
bool ParseCodePoint(const std::string& s, uint32_t& nCode) {
    if (s.size() < 6 || s.size() > 8 || s[0] != 'U' || s[1] != '+') return false;
    nCode = 0;
    for (size_t i = 2; i < s.size(); ++i) {
        char c = s[i];
        int nDigit = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (nDigit < 0) return false;
        nCode = nCode * 16 + static_cast<uint32_t>(nDigit);
    }
    return nCode <= 0x10FFFF && (nCode < 0xD800 || nCode > 0xDFFF);
}

std::string Utf8(uint32_t nCode) {
    std::string s;
    if (nCode < 0x80) {
        s.push_back(static_cast<char>(nCode));
    } else if (nCode < 0x800) {
        s.push_back(static_cast<char>(0xC0 | (nCode >> 6)));
        s.push_back(static_cast<char>(0x80 | (nCode & 0x3F)));
    } else if (nCode < 0x10000) {
        s.push_back(static_cast<char>(0xE0 | (nCode >> 12)));
        s.push_back(static_cast<char>(0x80 | ((nCode >> 6) & 0x3F)));
        s.push_back(static_cast<char>(0x80 | (nCode & 0x3F)));
    } else {
        s.push_back(static_cast<char>(0xF0 | (nCode >> 18)));
        s.push_back(static_cast<char>(0x80 | ((nCode >> 12) & 0x3F)));
        s.push_back(static_cast<char>(0x80 | ((nCode >> 6) & 0x3F)));
        s.push_back(static_cast<char>(0x80 | (nCode & 0x3F)));
    }
    return s;
}


// ---------------------------------------------------------------------------------------------------
// The text sources.

struct _stSources {
    // GBK cell -> code point, for GBK -> UTF-8 (two-way cells and the one-way byte 0x80). Also the
    // list of GBK units, in byte order.
    std::map<std::string, uint32_t> mapGbkToCode;
    // Code point -> GBK text, for UTF-8 -> GBK (two-way cells, private-use aliases, extras).
    std::map<uint32_t, std::string> mapCodeToGbk;
    // ASCII code points of the GBK table (for the character classes only).
    std::vector<uint32_t> vecAscii;
    // BIG5 cell -> simplified GBK text; per GBK text the BIG5 cells that map to it, preferring the
    // cell whose character is the same.
    std::map<std::string, std::string> mapBig5ToGbk;
    // (BIG5 cell, whether its character is the same) by GBK text.
    std::map<std::string, std::pair<std::string, bool>> mapGbkToBig5Reverse;
    // GBK cell -> BIG5 cell (the research mapping).
    std::map<std::string, std::string> mapGbkToBig5;
    // GBK cells whose BIG5 cell of the research mapping is the same character.
    std::set<std::string> setGbkSameInBig5;
    // BIG5 cell -> the BIG5 cell of the same hanzi outside the symbol area (lead bytes A1-A3), for
    // the cells of the symbol area that duplicate a hanzi (十 A2CC and A451).
    std::map<std::string, std::string> mapBig5SymbolToHanzi;
    // Single characters and phrases of the traditional/simplified tables (phrases in file order).
    std::map<std::string, std::string> mapT2S;
    std::map<std::string, std::string> mapS2T;
    std::vector<std::pair<std::string, std::string>> vecT2SPhrases;
    std::vector<std::pair<std::string, std::string>> vecS2TPhrases;
};

void ReadGbkUnicode(const std::string& sPath, _stSources& src) {
    std::vector<std::string> vecLines = ReadLines(sPath);
    for (size_t i = 0; i < vecLines.size(); ++i) {
        const std::string& sLine = vecLines[i];
        if (sLine.empty() || sLine[0] == '#') continue;
        std::vector<std::string> f = Split(sLine, '\t');
        std::string sGbk;
        uint32_t nCode = 0;
        if (f.size() < 4 || !ParseHexBytes(f[0], sGbk) || !ParseCodePoint(f[1], nCode)) {
            Fail(Where(sPath, i) + ": bad row");
        }
        const std::string& sSource = f[3];
        if (sSource == "ascii") {
            if (sGbk.size() != 1 || nCode != static_cast<unsigned char>(sGbk[0])) {
                Fail(Where(sPath, i) + ": bad ASCII row");
            }
            src.vecAscii.push_back(nCode);
            continue;
        }
        bool bToUnicode = sSource.rfind("pua-alias", 0) != 0;            // one-way UTF-8 -> GBK
        bool bFromUnicode = sSource.rfind("cp936-single-byte", 0) != 0;  // one-way GBK -> UTF-8
        if (bToUnicode && !src.mapGbkToCode.emplace(sGbk, nCode).second) {
            Fail(Where(sPath, i) + ": GBK cell listed twice");
        }
        if (bFromUnicode && !src.mapCodeToGbk.emplace(nCode, sGbk).second) {
            Fail(Where(sPath, i) + ": code point listed twice");
        }
    }
}

void ReadUtf8Extra(const std::string& sPath, _stSources& src) {
    std::vector<std::string> vecLines = ReadLines(sPath);
    for (size_t i = 0; i < vecLines.size(); ++i) {
        const std::string& sLine = vecLines[i];
        if (sLine.empty() || sLine[0] == '#') continue;
        std::vector<std::string> f = Split(sLine, '\t');
        std::string sGbk;
        uint32_t nCode = 0;
        if (f.size() < 3 || !ParseCodePoint(f[0], nCode) || !ParseHexBytes(f[2], sGbk)) {
            Fail(Where(sPath, i) + ": bad row");
        }
        if (nCode < 0x80 || nCode == 0xFEFF) continue;  // ASCII passes; FEFF reads as a BOM
        if (!src.mapCodeToGbk.emplace(nCode, sGbk).second) {
            Fail(Where(sPath, i) + ": code point already has a GBK cell");
        }
    }
}

void ReadBig5Gbk(const std::string& sPath, _stSources& src) {
    std::vector<std::string> vecLines = ReadLines(sPath);
    std::map<uint32_t, std::string> mapSymbolCell, mapHanziCell;  // code point -> first cell
    for (size_t i = 0; i < vecLines.size(); ++i) {
        const std::string& sLine = vecLines[i];
        if (sLine.empty() || sLine[0] == '#') continue;
        std::vector<std::string> f = Split(sLine, '\t');
        std::string sBig5;
        if (f.size() < 5 || !ParseHexBytes(f[0], sBig5) || sBig5.size() != 2) {
            Fail(Where(sPath, i) + ": bad row");
        }
        uint32_t nCode = 0;
        if (ParseCodePoint(f[1], nCode) && ((nCode >= 0x3400 && nCode <= 0x4DBF) ||
                                            (nCode >= 0x4E00 && nCode <= 0x9FFF))) {
            unsigned char cLead = static_cast<unsigned char>(sBig5[0]);
            bool bSymbol = cLead >= 0xA1 && cLead <= 0xA3;
            bool bHanzi = !bSymbol;
            if (bSymbol) mapSymbolCell.emplace(nCode, sBig5);
            if (bHanzi) mapHanziCell.emplace(nCode, sBig5);
        }
        if (f[4] == "-") continue;  // no GBK counterpart: no unit
        std::string sSimp;
        if (!ParseHexBytes(f[4], sSimp)) Fail(Where(sPath, i) + ": bad GBK column");
        if (!src.mapBig5ToGbk.emplace(sBig5, sSimp).second) {
            Fail(Where(sPath, i) + ": BIG5 cell listed twice");
        }
        // The way back for GBK characters plain BIG5 lacks: the first cell of the same character,
        // else the first cell at all.
        std::string sSame;
        bool bSame = f[3] != "-" && ParseHexBytes(f[3], sSame) && sSame == sSimp;
        auto it = src.mapGbkToBig5Reverse.find(sSimp);
        if (it == src.mapGbkToBig5Reverse.end()) {
            src.mapGbkToBig5Reverse.emplace(sSimp, std::make_pair(sBig5, bSame));
        } else if (bSame && !it->second.second) {
            it->second = std::make_pair(sBig5, true);
        }
    }
    for (const auto& symbol : mapSymbolCell) {
        auto hanzi = mapHanziCell.find(symbol.first);
        if (hanzi != mapHanziCell.end()) {
            src.mapBig5SymbolToHanzi.emplace(symbol.second, hanzi->second);
        }
    }
}

void ReadGbkBig5(const std::string& sPath, _stSources& src) {
    std::vector<std::string> vecLines = ReadLines(sPath);
    for (size_t i = 0; i < vecLines.size(); ++i) {
        const std::string& sLine = vecLines[i];
        if (sLine.empty() || sLine[0] == '#') continue;
        std::vector<std::string> f = Split(sLine, '\t');
        std::string sGbk;
        if (f.size() < 3 || !ParseHexBytes(f[0], sGbk)) Fail(Where(sPath, i) + ": bad row");
        if (f[2] == "-") continue;
        std::string sBig5;
        if (!ParseHexBytes(f[2], sBig5) || sBig5.size() != 2) {
            Fail(Where(sPath, i) + ": bad BIG5 column");
        }
        if (!src.mapGbkToBig5.emplace(sGbk, sBig5).second) {
            Fail(Where(sPath, i) + ": GBK cell listed twice");
        }
        if (f.size() >= 5 && f[4] == "same") src.setGbkSameInBig5.insert(sGbk);
    }
}

// ReadPairs: a GBK file of lines "<from> <to>".
std::vector<std::pair<std::string, std::string>> ReadPairs(const std::string& sPath) {
    std::vector<std::pair<std::string, std::string>> vecPairs;
    std::vector<std::string> vecLines = ReadLines(sPath);
    for (size_t i = 0; i < vecLines.size(); ++i) {
        if (vecLines[i].empty()) continue;
        std::vector<std::string> f = Split(vecLines[i], ' ');
        if (f.size() != 2 || f[0].empty() || f[1].empty()) Fail(Where(sPath, i) + ": bad line");
        vecPairs.emplace_back(f[0], f[1]);
    }
    return vecPairs;
}

std::map<std::string, std::string> ReadCharPairs(const std::string& sPath) {
    std::map<std::string, std::string> mapPairs;
    for (auto& pair : ReadPairs(sPath)) {
        if (!mapPairs.emplace(pair.first, pair.second).second) {
            Fail(sPath + ": " + pair.first + " listed twice");
        }
    }
    return mapPairs;
}

_stSources ReadSources(const std::string& sDir) {
    _stSources src;
    std::string sEnc = sDir + "/encoding/";
    ReadGbkUnicode(sEnc + "enc_gbk_unicode.tsv", src);
    ReadUtf8Extra(sEnc + "enc_utf8_extra.tsv", src);
    ReadBig5Gbk(sEnc + "enc_big5_gbk.tsv", src);
    ReadGbkBig5(sEnc + "enc_gbk_big5.tsv", src);
    src.mapT2S = ReadCharPairs(sEnc + "gbka_t2s.gbk.txt");
    src.mapS2T = ReadCharPairs(sEnc + "gbka_s2t.gbk.txt");
    src.vecT2SPhrases = ReadPairs(sEnc + "gbka_t2s_phrases.gbk.txt");
    src.vecS2TPhrases = ReadPairs(sEnc + "gbka_s2t_phrases.gbk.txt");
    return src;
}

// ---------------------------------------------------------------------------------------------------
// Output files.

// CWritten: the files written, for the closing report.
class CWritten {
public:
    explicit CWritten(std::string sDir) : m_sDir(std::move(sDir)) {}
    std::string Path(const std::string& sName) const { return m_sDir + "/" + sName; }
    // Check: fails unless the file exists; records it.
    void Check(const std::string& sName) {
        struct stat st;
        if (stat(Path(sName).c_str(), &st) != 0) Fail("cannot write " + Path(sName));
        m_vecFiles.emplace_back(sName, static_cast<long long>(st.st_size));
    }
    void Print() const {
        long long nTotal = 0;
        for (const auto& file : m_vecFiles) {
            std::printf("  %-18s %10lld bytes\n", file.first.c_str(), file.second);
            nTotal += file.second;
        }
        std::printf("%zu files, %lld bytes in %s\n", m_vecFiles.size(), nTotal, m_sDir.c_str());
    }

private:
    std::string m_sDir;
    std::vector<std::pair<std::string, long long>> m_vecFiles;
};

// CSide: one side of the encoding tables: a byte-mode dictionary of units and a word list holding
// the text of every unit (handles 0..n-1, in the order added) and, behind them, extra texts that
// are only targets of maps.
class CSide {
public:
    explicit CSide(const char* sName) : m_sName(sName), m_dict(1) {}
    CSide(const CSide&) = delete;  // owns a dictionary; share by reference
    CSide& operator=(const CSide&) = delete;

    // AddUnit: adds a unit (once; a repeated text keeps its handle). Returns its handle.
    int AddUnit(const std::string& sText) {
        if (m_bFrozen) Fail(m_sName + ": unit added after completion");
        auto it = m_mapHandle.find(sText);
        if (it != m_mapHandle.end()) return it->second;
        int nHandle = m_dict.AddWord(sText.c_str());
        if (nHandle != static_cast<int>(m_vecTexts.size())) {
            Fail(m_sName + ": the dictionary did not take a unit as a new word");
        }
        m_mapHandle.emplace(sText, nHandle);
        m_vecTexts.push_back(sText);
        return nHandle;
    }
    // AddPassThroughCells: adds every two-byte cell of the code page (lead bytes 0x81..0xFE, trail
    // bytes accepted by bTrail) that is no unit yet. Such a unit gets no map row: the converter
    // passes it unconverted, but whole, so its trail byte is not read with the next character.
    // Call it after the mapped units; the cells come in byte order.
    template <typename TrailFn>
    void AddPassThroughCells(TrailFn bTrail) {
        if (m_bFrozen) Fail(m_sName + ": unit added after completion");
        m_nFirstPass = m_vecTexts.size();
        for (int nLead = 0x81; nLead <= 0xFE; ++nLead) {
            for (int nTrail = 0x40; nTrail <= 0xFE; ++nTrail) {
                if (!bTrail(nTrail)) continue;
                std::string sCell = {static_cast<char>(nLead), static_cast<char>(nTrail)};
                if (m_mapHandle.count(sCell) == 0) AddUnit(sCell);
            }
        }
    }
    // IsPassThrough: whether a handle is a unit added by AddPassThroughCells.
    bool IsPassThrough(int nHandle) const {
        return nHandle >= 0 && static_cast<size_t>(nHandle) >= m_nFirstPass &&
               static_cast<size_t>(nHandle) < m_nUnits;
    }
    size_t PassThroughCount() const { return m_nUnits - std::min(m_nFirstPass, m_nUnits); }
    // Complete: compiles the dictionary and checks that every unit is found at its handle.
    void Complete() {
        m_dict.AddWordComplete();
        m_nUnits = m_vecTexts.size();
        m_bFrozen = true;
        for (size_t h = 0; h < m_nUnits; ++h) {
            const std::string& s = m_vecTexts[h];
            if (m_dict.Find(s.c_str(), static_cast<unsigned int>(s.size())) !=
                static_cast<int>(h)) {
                Fail(m_sName + ": a unit is not found again at its handle");
            }
        }
    }
    // Unit: the handle of a unit, -1 when the text is none.
    int Unit(const std::string& sText) const {
        auto it = m_mapHandle.find(sText);
        return it != m_mapHandle.end() && static_cast<size_t>(it->second) < m_nUnits ? it->second
                                                                                     : -1;
    }
    // Target: the handle of a text in the word list: the unit, or an extra text added on demand.
    int Target(const std::string& sText) {
        if (!m_bFrozen) Fail(m_sName + ": target asked before completion");
        if (sText.empty()) Fail(m_sName + ": empty target text");
        auto it = m_mapHandle.find(sText);
        if (it != m_mapHandle.end()) return it->second;
        int nHandle = static_cast<int>(m_vecTexts.size());
        m_mapHandle.emplace(sText, nHandle);
        m_vecTexts.push_back(sText);
        return nHandle;
    }
    const std::string& Text(int nHandle) const { return m_vecTexts[static_cast<size_t>(nHandle)]; }
    size_t UnitCount() const { return m_nUnits; }
    size_t TextCount() const { return m_vecTexts.size(); }
    const std::string& Name() const { return m_sName; }

    // Save: <name>.pdat and <name>.wordlist (plain text part, as the converter loads it).
    void Save(CWritten& written) const {
        std::string sPdat = m_sName + ".pdat";
        std::string sList = m_sName + ".wordlist";
        if (m_dict.Save(written.Path(sPdat).c_str()) != 1) Fail("cannot write " + sPdat);
        CWordList list(false, nullptr);
        for (size_t h = 0; h < m_vecTexts.size(); ++h) {
            list.AddWord(m_vecTexts[h].c_str(), static_cast<int>(h));
        }
        list.AddWordComplete();
        if (list.Save(written.Path(sList).c_str()) != 1) Fail("cannot write " + sList);
        written.Check(sPdat);
        written.Check(sList);
    }

private:
    std::string m_sName;
    CPDAT m_dict;
    std::vector<std::string> m_vecTexts;     // by handle: the units, then the extra texts
    std::map<std::string, int> m_mapHandle;  // text -> handle
    size_t m_nUnits = 0;
    size_t m_nFirstPass = SIZE_MAX;  // handle of the first pass-through unit
    bool m_bFrozen = false;
};

// CMap: the pairs of one .map file between two sides; every source unit gets one target.
class CMap {
public:
    CMap(const char* sName, CSide& from, CSide& to) : m_sName(sName), m_from(from), m_to(to) {
        m_map.MapInit();
    }
    CMap(const CMap&) = delete;  // owns an id map
    CMap& operator=(const CMap&) = delete;

    // Add: maps the source unit sFrom to the target text sTo (a unit or an extra text of the
    // target side).
    void Add(const std::string& sFrom, const std::string& sTo) {
        int nFrom = m_from.Unit(sFrom);
        if (nFrom < 0) Fail(m_sName + ": source is not a unit of " + m_from.Name());
        if (m_from.IsPassThrough(nFrom)) Fail(m_sName + ": a pass-through unit mapped");
        if (static_cast<size_t>(nFrom) < m_vecDone.size() &&
            m_vecDone[static_cast<size_t>(nFrom)]) {
            Fail(m_sName + ": a source unit mapped twice");
        }
        if (m_vecDone.size() <= static_cast<size_t>(nFrom)) m_vecDone.resize(nFrom + 1, false);
        m_vecDone[static_cast<size_t>(nFrom)] = true;
        m_map.MapAdd(nFrom, m_to.Target(sTo));
        ++m_nPairs;
    }
    bool Has(const std::string& sFrom) const {
        int nFrom = m_from.Unit(sFrom);
        return nFrom >= 0 && static_cast<size_t>(nFrom) < m_vecDone.size() &&
               m_vecDone[static_cast<size_t>(nFrom)];
    }
    // Save: compiles and writes <name>.map; returns the number of source units left without a row,
    // pass-through units not counted.
    size_t Save(CWritten& written) {
        {
            CQuietStdout quiet;
            m_map.MapComplete();
        }
        std::string sFile = m_sName + ".map";
        if (m_map.Save(written.Path(sFile).c_str()) != 1) Fail("cannot write " + sFile);
        written.Check(sFile);
        return m_from.UnitCount() - m_from.PassThroughCount() - m_nPairs;
    }

private:
    std::string m_sName;
    CSide& m_from;
    CSide& m_to;
    CIDMaps m_map;
    std::vector<bool> m_vecDone;  // by source handle: mapped already
    size_t m_nPairs = 0;
};

// ---------------------------------------------------------------------------------------------------
// The encoding tables.

class CEncodingBuilder {
public:
    explicit CEncodingBuilder(const _stSources& src) : m_src(src) {}
    CEncodingBuilder(const CEncodingBuilder&) = delete;  // owns four sides
    CEncodingBuilder& operator=(const CEncodingBuilder&) = delete;

    void Build(CWritten& written) {
        AddUnits();
        BuildMaps(written);
        m_gbk.Save(written);
        m_utf8.Save(written);
        m_big5.Save(written);
        m_gbka.Save(written);
        std::printf(
            "encoding units: GBK %zu (+%zu texts), UTF8 %zu (+%zu), BIG5 %zu (+%zu), "
            "GBKA %zu (+%zu)\n",
            m_gbk.UnitCount(), m_gbk.TextCount() - m_gbk.UnitCount(), m_utf8.UnitCount(),
            m_utf8.TextCount() - m_utf8.UnitCount(), m_big5.UnitCount(),
            m_big5.TextCount() - m_big5.UnitCount(), m_gbka.UnitCount(),
            m_gbka.TextCount() - m_gbka.UnitCount());
        std::printf("GBK units without a BIG5 counterpart (no GBK2BIG row): %zu\n", m_nNoBig5);
        std::printf("pass-through cells (units without a row): GBK %zu, BIG5 %zu, GBKA %zu\n",
                    m_gbk.PassThroughCount(), m_big5.PassThroughCount(),
                    m_gbka.PassThroughCount());
    }

private:
    void AddUnits() {
        for (const auto& cell : m_src.mapGbkToCode) {
            m_gbk.AddUnit(cell.first);
            m_gbka.AddUnit(cell.first);
        }
        for (const auto& phrase : m_src.vecS2TPhrases) {
            CheckGbkText(phrase.first);
            CheckGbkText(phrase.second);
            m_gbk.AddUnit(phrase.first);
        }
        for (const auto& phrase : m_src.vecT2SPhrases) {
            CheckGbkText(phrase.first);
            CheckGbkText(phrase.second);
            m_gbka.AddUnit(phrase.first);
        }
        for (const auto& code : m_src.mapCodeToGbk) m_utf8.AddUnit(Utf8(code.first));
        for (const auto& cell : m_src.mapBig5ToGbk) m_big5.AddUnit(cell.first);
        auto fnGbkTrail = [](int nTrail) { return nTrail != 0x7F; };
        auto fnBig5Trail = [](int nTrail) { return nTrail <= 0x7E || nTrail >= 0xA1; };
        m_gbk.AddPassThroughCells(fnGbkTrail);
        m_gbka.AddPassThroughCells(fnGbkTrail);
        m_big5.AddPassThroughCells(fnBig5Trail);
        for (CSide* pSide : {&m_gbk, &m_utf8, &m_big5, &m_gbka}) pSide->Complete();
    }

    // CheckGbkText: every character of a phrase must be a GBK cell of the table.
    void CheckGbkText(const std::string& sText) const {
        for (const std::string& sChar : GbkChars(sText)) {
            if (m_src.mapGbkToCode.count(sChar) == 0) {
                Fail("phrase character outside the GBK table");
            }
        }
    }

    std::string GbkToUtf8(const std::string& sGbk) const {
        std::string sOut;
        for (const std::string& sChar : GbkChars(sGbk)) {
            auto it = m_src.mapGbkToCode.find(sChar);
            if (it == m_src.mapGbkToCode.end()) Fail("GBK text outside the GBK table");
            sOut += Utf8(it->second);
        }
        return sOut;
    }

    // Big5Of: the BIG5 cell of one GBK character ("" when it has none): the research mapping, else
    // the BIG5 cell that maps to it, else (for the one-way byte 0x80) that of the cell with the
    // same code point. A cell of the symbol area that duplicates a hanzi gives way to the hanzi
    // cell (十 is A451, not A2CC), as glibc's BIG5 writes it.
    std::string Big5Of(const std::string& sGbkChar) const {
        std::string sCell = Big5OfResearch(sGbkChar);
        auto hanzi = m_src.mapBig5SymbolToHanzi.find(sCell);
        return hanzi != m_src.mapBig5SymbolToHanzi.end() ? hanzi->second : sCell;
    }
    // Big5OfSimplified: Big5Of for a character read as simplified text (a cell of its own, or a
    // phrase character without a traditional BIG5 form). Where BIG5 happens to hold the very
    // character (气, 后, 并, rare or variant forms there) but also the first traditional candidate
    // of the simplified-to-traditional table (氣, 後, 並), the traditional one is written: the text
    // was simplified, so that is what it most likely stood for.
    //
    // The table lists only candidates other than the character itself, so it cannot tell 后 (後
    // first) from 了 (itself first, 瞭 second). The phrase table tells them apart: where a
    // character's default is itself, its phrases are the exceptions that change it (了解 -> 瞭解)
    // and it stays itself in the phrases of its neighbours; where the default is the candidate,
    // it is the other way round (皇后 stays, 以后 -> 以後 among the neighbours'). So the
    // candidate is taken unless the phrases keep the character as it is more often than they
    // change it to the candidate (了 964 to 20 stays; 后 99 to 895, 气 0 to 208 change; a
    // character no phrase holds takes the candidate).
    std::string Big5OfSimplified(const std::string& sGbkChar) const {
        if (m_src.setGbkSameInBig5.count(sGbkChar) != 0) {
            auto s2t = m_src.mapS2T.find(sGbkChar);
            if (s2t != m_src.mapS2T.end() && s2t->second != sGbkChar &&
                m_src.setGbkSameInBig5.count(s2t->second) != 0) {
                if (!KeptAsItself(sGbkChar)) return Big5Of(s2t->second);
            }
        }
        return Big5Of(sGbkChar);
    }
    // KeptAsItself: true when the simplified-to-traditional phrases keep the character as it is
    // more often than they write its first traditional candidate (了 964 to 20; 后 99 to 895 not).
    bool KeptAsItself(const std::string& sGbkChar) const {
        auto votes = m_mapPhraseVotes.find(sGbkChar);
        return votes != m_mapPhraseVotes.end() && votes->second.first > votes->second.second;
    }
    // TraditionalOf: the GBKA form of a single simplified character: its first traditional
    // candidate, unless the phrases show that the character usually stays as it is (了 stays 了
    // outside 了解; 后 becomes 後).
    std::string TraditionalOf(const std::string& sGbkChar) const {
        auto s2t = m_src.mapS2T.find(sGbkChar);
        if (s2t == m_src.mapS2T.end() || KeptAsItself(sGbkChar)) return sGbkChar;
        return s2t->second;
    }
    // CountPhraseVotes: for every character with a traditional candidate, how often the
    // simplified-to-traditional phrases keep it as it is and how often they write that first
    // candidate (phrases whose two sides differ in length are skipped).
    void CountPhraseVotes() {
        for (const auto& phrase : m_src.vecS2TPhrases) {
            std::vector<std::string> vecSimp = GbkChars(phrase.first);
            std::vector<std::string> vecTrad = GbkChars(phrase.second);
            if (vecSimp.size() != vecTrad.size()) continue;
            for (size_t i = 0; i < vecSimp.size(); ++i) {
                auto s2t = m_src.mapS2T.find(vecSimp[i]);
                if (s2t == m_src.mapS2T.end()) continue;
                if (vecTrad[i] == vecSimp[i]) {
                    ++m_mapPhraseVotes[vecSimp[i]].first;
                } else if (vecTrad[i] == s2t->second) {
                    ++m_mapPhraseVotes[vecSimp[i]].second;
                }
            }
        }
    }
    std::string Big5OfResearch(const std::string& sGbkChar) const {
        auto it = m_src.mapGbkToBig5.find(sGbkChar);
        if (it != m_src.mapGbkToBig5.end()) return it->second;
        auto rev = m_src.mapGbkToBig5Reverse.find(sGbkChar);
        if (rev != m_src.mapGbkToBig5Reverse.end()) return rev->second.first;
        auto code = m_src.mapGbkToCode.find(sGbkChar);
        if (code != m_src.mapGbkToCode.end()) {
            auto same = m_src.mapCodeToGbk.find(code->second);
            if (same != m_src.mapCodeToGbk.end() && same->second != sGbkChar) {
                return Big5OfResearch(same->second);
            }
        }
        return std::string();
    }

    void BuildMaps(CWritten& written) {
        CountPhraseVotes();
        CMap utf2gbk("UTF2GBK", m_utf8, m_gbk);
        CMap gbka2utf("GBKA2UTF", m_utf8, m_gbka);  // code 4, code-to-GBK column
        for (const auto& code : m_src.mapCodeToGbk) {
            utf2gbk.Add(Utf8(code.first), code.second);
            gbka2utf.Add(Utf8(code.first), code.second);
        }

        CMap gbk2utf("GBK2UTF", m_gbk, m_utf8);
        CMap gbk2big("GBK2BIG", m_gbk, m_big5);
        CMap gbk2gbka("GBK2GBKA", m_gbk, m_gbka);
        for (const auto& cell : m_src.mapGbkToCode) {
            gbk2utf.Add(cell.first, Utf8(cell.second));
            std::string sBig5 = Big5OfSimplified(cell.first);
            if (!sBig5.empty()) {
                gbk2big.Add(cell.first, sBig5);
            } else {
                ++m_nNoBig5;
            }
            gbk2gbka.Add(cell.first, TraditionalOf(cell.first));
        }
        for (const auto& phrase : m_src.vecS2TPhrases) {
            gbk2utf.Add(phrase.first, GbkToUtf8(phrase.first));
            gbk2gbka.Add(phrase.first, phrase.second);
            // The BIG5 of the traditional phrase; a character plain BIG5 lacks falls back to what
            // the simplified character alone would become, and at worst to its GBK bytes, as the
            // converter would pass it.
            std::vector<std::string> vecSimp = GbkChars(phrase.first);
            std::vector<std::string> vecTrad = GbkChars(phrase.second);
            std::string sBig5;
            for (size_t i = 0; i < vecTrad.size(); ++i) {
                std::string sCell = Big5Of(vecTrad[i]);
                if (sCell.empty() && i < vecSimp.size()) sCell = Big5OfSimplified(vecSimp[i]);
                if (sCell.empty() && i < vecSimp.size()) sCell = vecSimp[i];
                sBig5 += sCell;
            }
            gbk2big.Add(phrase.first, sBig5);
        }

        CMap big2gbk("BIG2GBK", m_big5, m_gbk);
        for (const auto& cell : m_src.mapBig5ToGbk) big2gbk.Add(cell.first, cell.second);

        CMap gbka2gbk("GBKA2GBK", m_gbka, m_gbk);
        CMap utf2gbka("UTF2GBKA", m_gbka, m_utf8);  // code 4, GBK-to-code column
        for (const auto& cell : m_src.mapGbkToCode) {
            auto t2s = m_src.mapT2S.find(cell.first);
            gbka2gbk.Add(cell.first, t2s != m_src.mapT2S.end() ? t2s->second : cell.first);
            utf2gbka.Add(cell.first, Utf8(cell.second));
        }
        for (const auto& phrase : m_src.vecT2SPhrases) {
            gbka2gbk.Add(phrase.first, phrase.second);
            utf2gbka.Add(phrase.first, GbkToUtf8(phrase.first));
        }

        // Every source unit has its row, except GBK characters without any BIG5 counterpart.
        size_t nMissing = 0;
        for (CMap* pMap :
             {&utf2gbk, &gbka2utf, &gbk2utf, &gbk2gbka, &big2gbk, &gbka2gbk, &utf2gbka}) {
            nMissing += pMap->Save(written);
        }
        if (nMissing != 0) Fail("encoding maps: source units without a row");
        if (gbk2big.Save(written) != m_nNoBig5) Fail("GBK2BIG: unexpected rows missing");
    }

    const _stSources& m_src;
    CSide m_gbk{"GBK"};
    CSide m_utf8{"UTF8"};
    CSide m_big5{"BIG5"};
    CSide m_gbka{"GBKA"};
    size_t m_nNoBig5 = 0;
    // Per simplified character: phrases that keep it, phrases that write its first candidate.
    std::map<std::string, std::pair<size_t, size_t>> m_mapPhraseVotes;
};

// ---------------------------------------------------------------------------------------------------
// Character classes.

int ClassOf(uint32_t c) {
    if (c == 0x3000) return CLASS_BLANK;
    if (c < 0x80) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return CLASS_LETTER;
        if (c >= '0' && c <= '9') return CLASS_DIGIT;
        if (c < 0x21 || c == 0x7F) return 0;
        return std::strchr("$+<=>^`|~", static_cast<int>(c)) != nullptr ? CLASS_SYMBOL
                                                                        : CLASS_PUNCT;
    }
    if (c >= 0xFF01 && c <= 0xFF5E) {
        int nAscii = ClassOf(c - 0xFEE0);
        return nAscii == CLASS_LETTER  ? CLASS_FULL_LETTER
               : nAscii == CLASS_DIGIT ? CLASS_FULL_DIGIT
                                       : nAscii;
    }
    if ((c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF) ||
        (c >= 0xF900 && c <= 0xFAFF) || (c >= 0x20000 && c <= 0x3FFFF) || c == 0x3007) {
        return CLASS_HANZI;
    }
    if ((c >= 0x2010 && c <= 0x2027) || (c >= 0x2030 && c <= 0x205E) ||
        (c >= 0x3001 && c <= 0x3003) || (c >= 0x3008 && c <= 0x3011) ||
        (c >= 0x3014 && c <= 0x301F) || c == 0x3030 || c == 0x303D || c == 0x30FB ||
        (c >= 0xFE10 && c <= 0xFE19) || (c >= 0xFE30 && c <= 0xFE6B) ||
        (c >= 0xFF5F && c <= 0xFF65) || c == 0x00A7 || c == 0x00B7 || c == 0x00A1 || c == 0x00BF ||
        c == 0x00AB || c == 0x00BB) {
        return CLASS_PUNCT;
    }
    if ((c >= 0x00C0 && c <= 0x02AF && c != 0x00D7 && c != 0x00F7) ||
        (c >= 0x0370 && c <= 0x052F) || (c >= 0x1E00 && c <= 0x1EFF) ||
        (c >= 0x3041 && c <= 0x30FF) || (c >= 0x3105 && c <= 0x312F) ||
        (c >= 0x31A0 && c <= 0x31BF)) {
        return CLASS_FOREIGN;
    }
    if ((c >= 0x2160 && c <= 0x2188) || (c >= 0x2460 && c <= 0x249B) ||
        (c >= 0x24EA && c <= 0x24FF) || (c >= 0x2776 && c <= 0x2793) ||
        (c >= 0x3220 && c <= 0x3229)) {
        return CLASS_NUMBER;
    }
    if (c >= 0xE000 && c <= 0xF8FF) return 0;  // private use
    return CLASS_SYMBOL;
}

void BuildCharset(const _stSources& src, CWritten& written) {
    std::string sText;
    size_t nLines = 0;
    auto add = [&](const std::string& sChar, uint32_t nCode) {
        int nClass = ClassOf(nCode);
        if (nClass == 0 || (nClass == CLASS_BLANK && nCode < 0x80)) return;
        sText += sChar + " " + std::to_string(nClass) + "\n";
        ++nLines;
    };
    for (uint32_t nCode : src.vecAscii) add(std::string(1, static_cast<char>(nCode)), nCode);
    for (const auto& cell : src.mapGbkToCode) {
        // A one-byte non-ASCII cell (0x80) cannot be written as a line: the importer would read it
        // as the start of a two-byte character.
        if (cell.first.size() == 2) add(cell.first, cell.second);
    }
    std::string sTextPath = written.Path("charset.txt.tmp");
    FILE* fp = std::fopen(sTextPath.c_str(), "wb");
    if (fp == nullptr) Fail("cannot write " + sTextPath);
    bool bOk = std::fwrite(sText.data(), 1, sText.size(), fp) == sText.size();
    bOk = std::fclose(fp) == 0 && bOk;
    if (!bOk) Fail("cannot write " + sTextPath);
    CCharset charset;
    int nImported = charset.Import(sTextPath.c_str());
    std::remove(sTextPath.c_str());
    if (nImported != static_cast<int>(nLines))
        Fail("charset: the importer did not take every line");
    if (charset.Save(written.Path("charset.type").c_str()) != 1) Fail("cannot write charset.type");
    written.Check("charset.type");
    std::printf("character classes: %zu characters\n", nLines);
}

// ---------------------------------------------------------------------------------------------------
// The look-alike and pinyin tables, through the library's importers.

void BuildXingZi(const std::string& sSourceDir, CWritten& written) {
    std::string sFile = sSourceDir + "/xingzi/Xing2Zi.gbk.txt";
    size_t nLines = 0;
    for (const std::string& sLine : ReadLines(sFile)) nLines += sLine.empty() ? 0 : 1;
    std::string sPrefix = written.Path("");
    int nPairs;
    {
        CQuietStdout quiet;
        CStrTran tran(sPrefix.c_str(), "Xing", "Zi", "");
        nPairs = tran.Import(sFile.c_str());
    }
    if (nPairs <= 0 || static_cast<size_t>(nPairs) != nLines) Fail("Xing2Zi: import failed");
    CStrTran check(sPrefix.c_str(), "Xing", "Zi", "");
    if (!check.Load()) Fail("Xing2Zi: the written table does not load");
    for (const char* sName :
         {"Xing.pdat", "Xing.wordlist", "Zi.pdat", "Zi.wordlist", "Xing2Zi.map"}) {
        written.Check(sName);
    }
    std::printf("look-alike table: %d pairs\n", nPairs);
}

void BuildPinyin(const std::string& sSourceDir, CWritten& written) {
    std::string sFile = sSourceDir + "/pinyin/pinyin.gbk.txt";
    std::string sDir = written.Path("");
    sDir.pop_back();  // CPinyin adds the "/" itself
    int nResult;
    {
        CQuietStdout quiet;
        CPinyin pinyin(sDir.c_str());
        nResult = pinyin.ImportPinyin2Hanzi(sFile.c_str());
    }
    if (nResult != 1) Fail("pinyin: import of " + sFile + " failed");
    CPinyin check(sDir.c_str());
    if (check.Load() != 1) Fail("pinyin: the written tables do not load");
    for (const char* sName :
         {"pinyin.pdat", "pinyin.wordlist", "hanzi.pdat", "hanzi.wordlist", "hanzi2pinyin.map"}) {
        written.Check(sName);
    }
    std::printf("pinyin tables: written\n");
}

// MakeDir: creates sDir and its missing parents (mkdir -p).
void MakeDir(const std::string& sDir) {
    for (size_t nEnd = 1; nEnd <= sDir.size(); ++nEnd) {
        if (nEnd < sDir.size() && sDir[nEnd] != '/') continue;
        std::string sPart = sDir.substr(0, nEnd);
        if (mkdir(sPart.c_str(), 0777) != 0 && errno != EEXIST) break;
    }
    struct stat st;
    if (stat(sDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        Fail("cannot create directory " + sDir);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 || argv[1][0] == '\0' || argv[2][0] == '\0') {
        std::fprintf(stderr,
                     "usage: %s SOURCE_DIR OUTPUT_DIR\n"
                     "  SOURCE_DIR: the data/ folder with encoding/, xingzi/, pinyin/ and segmenter/\n"
                     "  OUTPUT_DIR: where the binary tables are written (created when missing)\n",
                     argc > 0 ? argv[0] : "vintrel-build-data");
        return 2;
    }
    // The importers report rejected lines through the error log; the checks below catch every
    // such loss, and a build leaves no log files behind.
    g_bLog = false;
    try {
        std::string sSourceDir = argv[1];
        MakeDir(argv[2]);
        CWritten written(argv[2]);
        _stSources src = ReadSources(sSourceDir);
        {
            CEncodingBuilder encoding(src);
            encoding.Build(written);
        }
        BuildXingZi(sSourceDir, written);
        BuildPinyin(sSourceDir, written);
        BuildCharset(src, written);
        // A source tree without segmenter/ (a test's tiny tree) gets no engine data; the full
        // tree's file list is checked by the build's two-build comparison.
        struct stat st;
        std::string sSegmenterDir = sSourceDir + "/segmenter";
        if (stat(sSegmenterDir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            for (const std::string& sName :
                 BuildSegmenterData(sSourceDir, argv[2], src.mapCodeToGbk)) {
                written.Check(sName);
            }
        } else {
            std::printf("segmentation engine data: skipped (no %s)\n", sSegmenterDir.c_str());
        }
        written.Print();
    } catch (const CBuildError& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "vintrel-build-data: %s\n", error.sMessage.c_str());
        return 1;
    } catch (const std::exception& error) {
        std::fflush(stdout);
        std::fprintf(stderr, "vintrel-build-data: %s\n", error.what());
        return 1;
    }
    return 0;
}

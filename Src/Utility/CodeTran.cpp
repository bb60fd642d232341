// CodeTran.cpp: CCodeTran, the table-driven encoding converter. See CodeTran.h.
//
// How a text is converted
// =======================
//
// Frame (shared by both engines). The result starts empty; for the UTF-8 codes (1, 4, 5) a leading
// byte-order mark EF BB BF is skipped in both directions. The text is copied and cut by StrLine with
// its protected-run handling: a piece that starts with "^^" and is closed by a later "^^" is a
// protected run and is appended verbatim without its markers; any other piece (a line, or the part
// of a line before a protected run) is segmented and converted token by token. After a converted
// piece the CR or LF that ended it is appended (one terminator per line; the blanks StrLine skips
// at the start of every line are lost); a piece that ended before a protected run appends nothing.
//
// Tokens. A token whose lookup (Find in the source dictionary, the first target of GetMaps, the
// target's text from GetWord) succeeds is replaced by that text. A mapped target without a text
// (GetWord answers "" for a handle outside the list) is logged "Cannot find map info of <token>"
// and the token passes unconverted. Towards GBK an unconverted non-ASCII token is wrapped in "^^";
// when the previous token of the piece was exactly "^^" (which is what a wrapped token counts as),
// the closing marker is taken off first, so a run of such tokens shares one pair of markers. Every
// other unconverted token is appended as it is. The previous token starts empty on every piece.
//
// Literal engine (CodeTransPlain). Each piece goes through the source dictionary's MMSegment with a
// tab separator, and the tokens between tabs go through the lookup one by one.
//
// Direct engine (CodeTrans with the converter's own tables). For a byte-mode dictionary the
// segmentation is a walk over the double array with the character ranks of the 256 byte values: at
// each offset the longest word is followed cell by cell exactly as MMSegment follows it (the check
// of each step, the word-end test, the stop at a word without children); an unmatched byte stands
// alone, or, when it is an ASCII byte other than " \t-_,.:/~#%^*()", takes the following such
// bytes with it. A matched token is always the path of the cell where the walk ended, so the
// lookup of every word cell is done once when the converter is built (a depth-first walk of the
// array from its root) and stored by cell: the conversion of a unit is then one array read. The
// unmatched one-byte tokens have their lookups stored by byte value; only unmatched ASCII runs of
// two or more bytes are looked up while converting, and not even those that hold a byte without a
// rank (no word holds it, so the lookup fails; only quotes around a token and line ends, which the
// lookup may drop or fold, are not taken as such bytes). A byte that begins no word (the walk
// fails at its first step) goes straight to that handling of unmatched bytes. A word containing a
// tab, which the literal engine would see as several tokens, is marked and split the same way at
// conversion time. The output is byte for byte that of the literal engine; the tests compare the
// two on random texts.
//
// Units taken one by one. The GBK dictionary also holds phrases (for the traditional-character
// tables), so most characters begin some longer word and the walk above takes several steps per
// character; a UTF-8 character takes a step per byte. Yet where every phrase converts to the
// conversions of its characters in a row, the longest match does not change the output. Units: an
// ASCII byte, or, for a two-byte source (GBK, BIG5, GBKA), a byte of 0x80 or above with the byte
// after it, or, for a UTF-8 source (codes 1, 4, 5 towards GBK), a well-formed UTF-8 sequence of two
// to four bytes (no overlong form, surrogate or code point above U+10FFFF). Either way the unit at
// an offset is decided by the bytes from there on and no unit is the start of another, so a text
// or a word splits into units in only one way (or, with a lone lead byte or invalid UTF-8 in it,
// in none). A unit is good when the segmentation reaches it as a word whose lookup is converted or
// unconverted (not missing, no tab), and every longer word beginning with it splits into units
// that are all good words, whose outputs in a row give the word's output, all wrapped in markers
// or none (towards GBK an unconverted non-ASCII unit is wrapped, and adjacent wrapped tokens share
// their markers, so a wrapped word equals wrapped units in a row; a word "^^" is never good, as it
// changes how the next token is wrapped). This is a greatest fixed point: every unit starts good
// when its own lookup qualifies, and a word that breaks the rule makes its first unit bad, which
// may make other words' first units bad in turn. Only the ASCII bytes and the words the walk from
// the root reaches can start good, so the units are found among the words; a word that does not
// start with a unit is never the longest match where a unit starts, and decides nothing.
//
// Why the output stays the same: say a good unit c starts at offset j. The longest word at j
// begins with c (c is a word the walk reaches), and splits into good units c, c2, ..., ck with
// output out(c) out(c2) ... out(ck). By induction from the end of the piece, the output of the
// literal engine from the offset of c2 is out(c2) ... out(ck) followed by its output after the
// word, so from j it is out(c) followed by the output from j + |c|. The markers fold per token
// (a wrapped token directly after a wrapped one takes back the closing marker), which is the same
// for a word and its units in a row. Hence a good unit of two bytes or more is converted by one
// read of a table holding its output (up to 7 bytes) and whether it is wrapped, and the text goes
// on right after it; every other offset takes the walk. Two-byte units: 32,768 entries, lead byte
// 0x80 to 0xFF by trail byte. UTF-8 units: by code point, in blocks of 64 (the code points that
// differ in their last byte only) found through a table of block numbers, block 0 being empty; the
// sequence is checked to be well-formed first, so that no other byte sequence reads a
// character's entry. Most characters come in runs, which are converted (either kind of unit) in a
// loop of their own that writes straight into the output. With the shipped tables, towards UTF-8
// every GBK character qualifies (the phrases convert as their characters in a row), and so does
// every UTF-8 character of the tables towards GBK (the UTF-8 side holds no phrases); towards BIG5
// and GBKA the characters that begin a phrase converted otherwise keep the walk.
//
// The direct engine also cuts the lines itself (CLineCutter) instead of copying the text for
// StrLine: the same pieces, found by remembering the next CR, LF and "^^" (every search starts at
// or after the previous one), so a text is read a bounded number of times however many lines and
// protected runs it has; StrLine searches to the end of the text for each line. Converted texts of
// up to 8 bytes are stored in the cell's entry and copied 8 bytes at a time into an output buffer
// that is trimmed once at the end.
#include "Utility/CodeTran.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

constexpr int NAME_BYTES = 15;
constexpr int ENCODING_COUNT = 5;
constexpr int FILE_COUNT = 6;

// The six files of codes 1 to 5, by column: GBK-side dictionary, GBK-side word list, code-side
// dictionary, code-side word list, code-to-GBK map, GBK-to-code map.
// Deliberate: row 4 holds "GBKA2UTF.map" in the code-to-GBK column and "UTF2GBKA.map" in the
// GBK-to-code column; the shipped tables are named that way and the loader goes by column.
constexpr char FILE_NAMES[ENCODING_COUNT][FILE_COUNT][NAME_BYTES] = {
    {"GBK.pdat", "GBK.wordlist", "UTF8.pdat", "UTF8.wordlist", "UTF2GBK.map", "GBK2UTF.map"},
    {"GBK.pdat", "GBK.wordlist", "BIG5.pdat", "BIG5.wordlist", "BIG2GBK.map", "GBK2BIG.map"},
    {"GBK.pdat", "GBK.wordlist", "GBKA.pdat", "GBKA.wordlist", "GBKA2GBK.map", "GBK2GBKA.map"},
    {"GBKA.pdat", "GBKA.wordlist", "UTF8.pdat", "UTF8.wordlist", "GBKA2UTF.map", "UTF2GBKA.map"},
    {"GBK.pdat", "GBK.wordlist", "UTF8.pdat", "UTF8.wordlist", "UTF2GBK.map", "GBK2UTF.map"},
};

const char MARKER[] = "^^";
const char CANNOT_LOAD[] = " cannot load!\n";
const char NO_MAP_INFO[] = "Cannot find map info of ";

inline bool HasBom(const char* s) {
    return static_cast<unsigned char>(s[0]) == 0xEF && static_cast<unsigned char>(s[1]) == 0xBB &&
           static_cast<unsigned char>(s[2]) == 0xBF;
}

// A UTF-8 lead byte: the length of the sequence it begins (0: no lead byte) and the range of the
// second byte that makes the sequence well-formed, nLow to nLow + nSpan (overlong forms, surrogates
// and code points above U+10FFFF left out); the later bytes are 0x80 to 0xBF.
struct _stUtf8Lead {
    uint8_t nLen, nLow, nSpan;
};

constexpr _stUtf8Lead Utf8Lead(unsigned int b) {
    if (b >= 0xC2 && b <= 0xDF) return {2, 0x80, 0x3F};
    if (b == 0xE0) return {3, 0xA0, 0x1F};
    if (b == 0xED) return {3, 0x80, 0x1F};
    if (b >= 0xE1 && b <= 0xEF) return {3, 0x80, 0x3F};
    if (b == 0xF0) return {4, 0x90, 0x2F};
    if (b >= 0xF1 && b <= 0xF3) return {4, 0x80, 0x3F};
    if (b == 0xF4) return {4, 0x80, 0x0F};
    return {0, 0, 0};
}

// InSpan: b is within nLow to nLow + nSpan.
inline bool InSpan(unsigned char b, const _stUtf8Lead& lead) {
    return static_cast<uint8_t>(b - lead.nLow) <= lead.nSpan;
}

constexpr std::array<_stUtf8Lead, 256> MakeUtf8Leads() {
    std::array<_stUtf8Lead, 256> a{};
    for (unsigned int b = 0; b < 256; ++b) a[b] = Utf8Lead(b);
    return a;
}

constexpr std::array<_stUtf8Lead, 256> UTF8_LEADS = MakeUtf8Leads();
constexpr size_t UTF8_CODE_POINTS = 0x110000;
constexpr unsigned int UTF8_BLOCK_BITS = 6;
constexpr size_t UTF8_BLOCK = size_t{1} << UTF8_BLOCK_BITS;

inline bool IsContinuation(unsigned char b) { return (b & 0xC0) == 0x80; }

// Utf8Length: the length of the well-formed UTF-8 sequence of two to four bytes that p[0..n)
// starts with, or 0.
inline size_t Utf8Length(const unsigned char* p, size_t n) {
    const _stUtf8Lead& lead = UTF8_LEADS[p[0]];
    if (lead.nLen == 0 || lead.nLen > n || !InSpan(p[1], lead)) return 0;
    if (lead.nLen >= 3 && !IsContinuation(p[2])) return 0;
    if (lead.nLen == 4 && !IsContinuation(p[3])) return 0;
    return lead.nLen;
}

// Utf8CodePoint: the code point of the well-formed sequence at p. REQUIRES: Utf8Length(p, ...) > 0.
inline uint32_t Utf8CodePoint(const unsigned char* p) {
    if (p[0] < 0xE0) return (p[0] & 0x1Fu) << 6 | (p[1] & 0x3Fu);
    if (p[0] < 0xF0) return (p[0] & 0x0Fu) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
    return (p[0] & 0x07u) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
}

// How the lookup of one token came out.
enum class ETokenKind : uint8_t {
    kConverted,    // replaced by the target text
    kUnconverted,  // no word, or a word without targets: the token passes
    kMissing,      // a target without a text: logged, the token passes
    kSplit,        // (direct table only) a word containing tabs: looked up part by part
    kNone,         // (direct table only) no entry
};

struct _stLookup {
    const char* sText = nullptr;  // the target text (kConverted), owned by the word list
    uint32_t nLen = 0;
    ETokenKind eKind = ETokenKind::kUnconverted;
};

// LookupToken: the lookup of one token, as both engines do it.
_stLookup LookupToken(const CPDAT* pDict, const CIDMaps* pMap, const CWordList* pList,
                      const char* sToken, size_t nLen) {
    _stLookup result;
    if (pDict == nullptr || nLen > UINT_MAX) return result;
    int nId = pDict->Find(sToken, static_cast<unsigned int>(nLen));
    if (nId < 0 || pMap == nullptr) return result;
    int nCount = 0;
    const idmaps_info* pTargets = pMap->GetMaps(nId, &nCount);
    if (pTargets == nullptr || nCount <= 0) return result;
    // GetWord never answers null: "" (a handle outside the list) is the missing text.
    const char* sWord = pList != nullptr ? pList->GetWord(pTargets[0].handle2) : nullptr;
    if (sWord == nullptr || *sWord == '\0') {
        result.eKind = ETokenKind::kMissing;
        return result;
    }
    size_t nWordLen = std::strlen(sWord);
    if (nWordLen > UINT32_MAX) return result;
    result.sText = sWord;
    result.nLen = static_cast<uint32_t>(nWordLen);
    result.eKind = ETokenKind::kConverted;
    return result;
}

inline bool IsMarker(const char* sToken, size_t nLen) {
    return nLen == 2 && sToken[0] == '^' && sToken[1] == '^';
}

// COutput: the result under construction: the caller's string used as a buffer with a length of
// its own, so that an append is a bounds test and a copy. Finish trims the string to the text.
class COutput {
public:
    // Texts given to AppendPadded may be read 8 bytes far.
    static constexpr size_t PAD = 8;

    // The string's old bytes are overwritten, not cleared first: a string reused from call to
    // call is filled with zeros only where it grows.
    COutput(std::string& sResult, size_t nHint) : m_s(sResult) {
        if (m_s.size() < nHint + 64) m_s.resize(nHint + 64);
    }
    void Append(const char* p, size_t n) {
        Reserve(n);
        std::memcpy(&m_s[m_nLen], p, n);
        m_nLen += n;
    }
    // AppendPadded: Append for a source that can be read PAD bytes far whatever n is.
    void AppendPadded(const char* p, size_t n) {
        if (n > PAD) {
            Append(p, n);
            return;
        }
        Reserve(PAD);
        std::memcpy(&m_s[m_nLen], p, PAD);
        m_nLen += n;
    }
    void Push(char c) {
        Reserve(1);
        m_s[m_nLen++] = c;
    }
    // Drop: takes back the last n bytes (fewer when there are fewer).
    void Drop(size_t n) { m_nLen -= n < m_nLen ? n : m_nLen; }
    // Cursor: where the next byte goes, with at least nRoom bytes of room. Bytes written there
    // count once SetCursor is given the place after them.
    char* Cursor(size_t nRoom) {
        Reserve(nRoom);
        return &m_s[m_nLen];
    }
    // SetCursor: the text ends at p. REQUIRES: p is within the room of the last Cursor.
    void SetCursor(const char* p) { m_nLen = static_cast<size_t>(p - &m_s[0]); }
    const char* Finish() {
        m_s.resize(m_nLen);
        return m_s.c_str();
    }

private:
    void Reserve(size_t n) {
        if (m_s.size() - m_nLen < n) m_s.resize(std::max(m_s.size() * 2, m_nLen + n + 64));
    }
    std::string& m_s;
    size_t m_nLen = 0;
};

// CTokenSink: appends the tokens of one piece with the marker rules.
class CTokenSink {
public:
    CTokenSink(COutput& out, bool bToCode) : m_out(out), m_bToCode(bToCode) {}

    // StartPiece: the previous token is empty again.
    void StartPiece() { m_bPrevMarker = false; }

    void Emit(const _stLookup& lookup, const char* sToken, size_t nLen) {
        if (lookup.eKind == ETokenKind::kConverted) {
            m_out.Append(lookup.sText, lookup.nLen);
            m_bPrevMarker = IsMarker(sToken, nLen);
        } else if (lookup.eKind == ETokenKind::kMissing) {
            Missing(sToken, nLen);
        } else {
            Unconverted(sToken, nLen);
        }
    }
    // Converted: the token was replaced by sText (padded, see COutput::AppendPadded).
    void Converted(const char* sText, size_t nTextLen, bool bTokenIsMarker) {
        m_out.AppendPadded(sText, nTextLen);
        m_bPrevMarker = bTokenIsMarker;
    }
    // Out and ConvertedRun: tokens other than "^^" written as converted straight into Out().
    COutput& Out() { return m_out; }
    void ConvertedRun() { m_bPrevMarker = false; }
    void Missing(const char* sToken, size_t nLen) {
        ReportError(std::string(NO_MAP_INFO) + std::string(sToken, nLen));
        Unconverted(sToken, nLen);
    }
    void Unconverted(const char* sToken, size_t nLen) {
        if (!m_bToCode && static_cast<unsigned char>(sToken[0]) >= 0x80) {
            if (m_bPrevMarker) {
                // Deliberate: the previous token's closing marker is taken back, whatever the
                // previous token was, so adjacent unconverted bytes share one pair of markers.
                m_out.Drop(2);
            } else {
                m_out.Append(MARKER, 2);
            }
            m_out.Append(sToken, nLen);
            m_out.Append(MARKER, 2);
            m_bPrevMarker = true;
            return;
        }
        m_out.Append(sToken, nLen);
        m_bPrevMarker = IsMarker(sToken, nLen);
    }

private:
    COutput& m_out;
    const bool m_bToCode;
    bool m_bPrevMarker = false;  // the previous token of the piece was exactly "^^"
};

// EmitTabbed: the tokens of a segmented text in which tabs separate tokens (runs of tabs and
// leading or trailing tabs give no token).
void EmitTabbed(const CPDAT* pDict, const CIDMaps* pMap, const CWordList* pList, const char* s,
                size_t nLen, CTokenSink& sink) {
    size_t i = 0;
    while (i < nLen) {
        if (s[i] == '\t') {
            ++i;
            continue;
        }
        const void* pTab = std::memchr(s + i, '\t', nLen - i);
        size_t nEnd = pTab != nullptr ? static_cast<size_t>(static_cast<const char*>(pTab) - s) : nLen;
        sink.Emit(LookupToken(pDict, pMap, pList, s + i, nEnd - i), s + i, nEnd - i);
        i = nEnd;
    }
}

// The empty dictionary that stands in for a null one (byte mode, nothing matches).
const CPDAT& EmptyDictionary() {
    static const CPDAT s_empty(1);
    return s_empty;
}

// CLineCutter: the pieces that StrLine with protected runs cuts from a text, found without
// writing into the text and in linear time: the next line end and the next marker are remembered,
// since every search starts at or after the previous one.
class CLineCutter {
public:
    CLineCutter(const char* s, size_t nLen) : m_s(s), m_nLen(nLen) {
        m_nCR = Find(0, '\r');
        m_nLF = Find(0, '\n');
    }

    // Next: false at the end of the text. Otherwise the piece [*pStart, *pEnd), whether it is a
    // protected run (its markers excluded), and for any other piece the byte that ended it: CR,
    // LF, '^' (a protected run follows) or 0 (the end of the text).
    bool Next(size_t* pStart, size_t* pEnd, bool* pProtected, char* pEndByte) {
        size_t nPos = m_nPos;
        while (nPos < m_nLen && (m_s[nPos] == ' ' || m_s[nPos] == '\t' || m_s[nPos] == '\r' ||
                                 m_s[nPos] == '\n')) {
            ++nPos;
        }
        if (nPos >= m_nLen) return false;
        size_t nEol = FindEol(nPos);
        size_t nMark = FindMarker(nPos);
        *pProtected = false;
        if (nMark + 1 < nEol) {
            size_t nClose = FindMarker(nMark + 2);
            if (nClose < m_nLen) {
                if (nMark == nPos) {
                    *pStart = nMark + 2;
                    *pEnd = nClose;
                    *pProtected = true;
                    *pEndByte = '\0';
                    m_nPos = nClose + 2;
                    return true;
                }
                nEol = nMark;  // the line ends before the marker
            }
        }
        *pStart = nPos;
        *pEnd = nEol;
        *pEndByte = nEol < m_nLen ? m_s[nEol] : '\0';
        m_nPos = nEol;
        return true;
    }

private:
    // FindEol: the first CR or LF at or after nFrom, or the length.
    size_t FindEol(size_t nFrom) {
        if (m_nCR < nFrom) m_nCR = Find(nFrom, '\r');
        if (m_nLF < nFrom) m_nLF = Find(nFrom, '\n');
        return std::min(m_nCR, m_nLF);
    }
    // FindMarker: the first "^^" starting at or after nFrom, or the length.
    size_t FindMarker(size_t nFrom) {
        if (nFrom >= m_nMarkFrom && nFrom <= m_nMark) return m_nMark;
        m_nMarkFrom = nFrom;
        for (size_t i = nFrom;;) {
            i = Find(i, '^');
            if (i + 1 >= m_nLen) {
                m_nMark = m_nLen;
                break;
            }
            if (m_s[i + 1] == '^') {
                m_nMark = i;
                break;
            }
            i += 2;  // the byte after this '^' is no '^'
        }
        return m_nMark;
    }
    size_t Find(size_t nFrom, char c) const {
        if (nFrom >= m_nLen) return m_nLen;
        const void* p = std::memchr(m_s + nFrom, c, m_nLen - nFrom);
        return p != nullptr ? static_cast<size_t>(static_cast<const char*>(p) - m_s) : m_nLen;
    }

    const char* m_s;
    size_t m_nLen;
    size_t m_nPos = 0;
    size_t m_nCR, m_nLF;  // the first CR and LF at or after some earlier position
    size_t m_nMarkFrom = 1, m_nMark = 0;  // the first marker at or after m_nMarkFrom (none yet)
};

}  // namespace

// ---------------------------------------------------------------------------------------------------------
// The direct table of one direction.

struct CCodeTran::CDirectTable {
    // One precomputed lookup. A converted text of up to COutput::PAD bytes is kept in the entry
    // (NUL-padded), a longer one in sPool (padded too), so it can be copied PAD bytes at a time.
    struct Entry {
        char sText[COutput::PAD] = {};
        uint32_t nLen = 0;
        uint32_t nOffset = 0;
        ETokenKind eKind = ETokenKind::kNone;
        bool bMarker = false;  // the token is "^^"
    };
    const CPDAT* pDict = nullptr;
    const CIDMaps* pMap = nullptr;
    const CWordList* pList = nullptr;
    const CPDAT::state* pStates = nullptr;  // the dictionary's array (owned by it), or null
    int64_t nBound = -1;                    // highest cell index
    int anRank[256];                        // rank of each byte value, -1 when unranked
    bool abGlue[256];                       // ASCII bytes that unmatched ASCII runs are made of
    // Glue bytes that no word holds (they have no rank), '"' and the line ends left out (a lookup
    // may drop quotes around a token and fold line ends): a run holding one is no word.
    bool abInNoWord[256];
    // Bytes that begin no word: the walk from them fails at its first step.
    bool abNoWordStart[256];
    std::vector<Entry> vecCells;            // per cell: the lookup of its path (kNone: no word ends there)
    Entry aByteEntry[256];                  // the lookup of each one-byte token
    std::string sPool;                      // converted texts, each followed by COutput::PAD NULs

    // A unit of two bytes or more that is converted on its own, without the trie: its output
    // text (at most 7 bytes, NUL-padded) and nInfo, the text's length, plus 0x80 when the unit
    // passes unconverted and is wrapped in markers. nInfo 0: the unit takes the trie.
    struct CharEntry {
        char sText[7];
        uint8_t nInfo;
    };
    static_assert(sizeof(CharEntry) == COutput::PAD, "an entry is copied PAD bytes at a time");
    bool bToCode = false;
    // The units: false, GBK-like two-byte units; true, UTF-8 characters (the source is UTF-8).
    bool bUtf8Units = false;
    // The entries of the units taken one by one, empty if no unit qualifies. Two-byte units: by
    // (lead - 0x80) * 256 + trail. UTF-8 units: blocks of UTF8_BLOCK code points, block 0 empty,
    // the block of code point c being vecUtf8Blocks[c >> UTF8_BLOCK_BITS] (the bits of c above
    // its last byte's 6).
    std::vector<CharEntry> vecChars;
    std::vector<uint16_t> vecUtf8Blocks;
    int nCharUnits = 0;         // the units of vecChars with nInfo != 0
    bool abCharLead[256] = {};  // lead bytes of the units of vecChars with nInfo != 0
    // UTF-8 units: the lead bytes of abCharLead, the others with length 0 (see _stUtf8Lead).
    _stUtf8Lead aCharLead[256] = {};

    // Build: false when the dictionary is not in byte mode (the literal engine is used then).
    // bUtf8: the units taken one by one are UTF-8 characters, not two-byte units.
    bool Build(const CPDAT* pSrcDict, const CIDMaps* pSrcMap, const CWordList* pDsnList,
               bool bDirToCode, bool bUtf8);
    // ConvertPiece: the tokens of one piece into the sink.
    void ConvertPiece(const unsigned char* s, size_t nLen, CTokenSink& sink) const {
        if (bUtf8Units) {
            ConvertUnits<true>(s, nLen, sink);
        } else {
            ConvertUnits<false>(s, nLen, sink);
        }
    }

private:
    // ConvertUnits: ConvertPiece for one kind of unit (UTF8: the value of bUtf8Units).
    template <bool UTF8>
    void ConvertUnits(const unsigned char* s, size_t nLen, CTokenSink& sink) const;
    // ConvertRun: the units from s[nStart] on that the table converts (not wrapped), straight
    // into the sink's output; returns the offset of the first unit it left.
    template <bool UTF8>
    size_t ConvertRun(const unsigned char* s, size_t nStart, size_t nLen, CTokenSink& sink) const;
    // ConvertToken: the longest word at s[nStart] (or the unmatched byte or ASCII run there) into
    // the sink; returns its length (at least 1). REQUIRES: nStart < nLen.
    size_t ConvertToken(const unsigned char* s, size_t nStart, size_t nLen, CTokenSink& sink) const;
    // ConvertUnmatched: the rest of ConvertToken when no word starts at s[nStart]: the byte there,
    // or the ASCII run there, into the sink; returns its length. REQUIRES: nStart < nLen.
    inline size_t ConvertUnmatched(const unsigned char* s, size_t nStart, size_t nLen,
                                   CTokenSink& sink) const;
    // BuildCharTable: fills vecChars from the words of the dictionary (vecWords: each word of two
    // or more bytes with its cell); see "Units taken one by one" above.
    void BuildCharTable(const std::vector<std::pair<std::string, int64_t>>& vecWords);
    // UnitLength: the length of the unit that p[0..n) starts with, 0 when none does (n == 0, a
    // lone lead byte at the end, a byte sequence that is no well-formed UTF-8).
    size_t UnitLength(const unsigned char* p, size_t n) const {
        if (n == 0) return 0;
        if (p[0] < 0x80) return 1;
        if (!bUtf8Units) return n >= 2 ? 2 : 0;
        return Utf8Length(p, n);
    }
    // UnitIndex: the index of the unit at p (see BuildCharTable). REQUIRES: UnitLength(p, ...) > 0.
    size_t UnitIndex(const unsigned char* p) const {
        if (p[0] < 0x80) return p[0];
        if (bUtf8Units) return Utf8CodePoint(p);
        return ASCII_UNITS + (static_cast<size_t>(p[0] - 0x80) << 8) + p[1];
    }
    static constexpr size_t ASCII_UNITS = 128;
    // UnitEntry: the entry of the word cell that the segmentation reaches with the bytes p[0..n),
    // or null when it does not reach a word there or the word's lookup is neither converted nor
    // unconverted.
    const Entry* UnitEntry(const unsigned char* p, size_t n) const;
    // Output: what a token with entry e adds to a piece: its text into *pText; true when it is
    // wrapped in markers (unconverted, towards GBK, first byte 0x80 or above).
    bool Output(const Entry& e, const unsigned char* p, size_t n, std::string* pText) const;
    Entry MakeEntry(const char* sToken, size_t nLen) {
        Entry entry;
        entry.bMarker = IsMarker(sToken, nLen);
        if (std::memchr(sToken, '\t', nLen) != nullptr) {
            entry.eKind = ETokenKind::kSplit;
            return entry;
        }
        _stLookup lookup = LookupToken(pDict, pMap, pList, sToken, nLen);
        entry.eKind = lookup.eKind;
        if (lookup.eKind != ETokenKind::kConverted) return entry;
        entry.nLen = lookup.nLen;
        if (lookup.nLen <= COutput::PAD) {
            std::memcpy(entry.sText, lookup.sText, lookup.nLen);
        } else if (sPool.size() > UINT32_MAX - lookup.nLen - COutput::PAD) {
            entry.eKind = ETokenKind::kSplit;  // looked up while converting (not reached)
        } else {
            entry.nOffset = static_cast<uint32_t>(sPool.size());
            sPool.append(lookup.sText, lookup.nLen);
            sPool.append(COutput::PAD, '\0');
        }
        return entry;
    }
    void Emit(const Entry& entry, const unsigned char* s, size_t nLen, CTokenSink& sink) const {
        const char* sToken = reinterpret_cast<const char*>(s);
        switch (entry.eKind) {
            case ETokenKind::kConverted:
                sink.Converted(entry.nLen <= COutput::PAD ? entry.sText : sPool.data() + entry.nOffset,
                               entry.nLen, entry.bMarker);
                break;
            case ETokenKind::kUnconverted:
                sink.Unconverted(sToken, nLen);
                break;
            case ETokenKind::kMissing:
                sink.Missing(sToken, nLen);
                break;
            case ETokenKind::kSplit:
            case ETokenKind::kNone:  // not reached: every cell a walk can end on has its entry
                EmitTabbed(pDict, pMap, pList, sToken, nLen, sink);
                break;
        }
    }
    static bool IsWordEnd(const CPDAT::state& st) {
        return st.base < 0 || (st.base == 0 && st.handle >= 0);
    }
};

bool CCodeTran::CDirectTable::Build(const CPDAT* pSrcDict, const CIDMaps* pSrcMap,
                                    const CWordList* pDsnList, bool bDirToCode, bool bUtf8) {
    if (pSrcDict == nullptr || pSrcDict->GetMode() != 1) return false;
    bToCode = bDirToCode;
    bUtf8Units = bUtf8;
    pDict = pSrcDict;
    pMap = pSrcMap;
    pList = pDsnList;
    pStates = pSrcDict->GetStates();
    nBound = pStates != nullptr ? pSrcDict->GetLowerBound() : -1;
    for (int c = 0; c < 256; ++c) {
        anRank[c] = pStates != nullptr ? pSrcDict->GetCharRank(c) : -1;
        abGlue[c] = c != 0 && c < 0x80 && std::strchr(" \t-_,.:/~#%^*()", c) == nullptr;
        abInNoWord[c] = abGlue[c] && anRank[c] < 0 && c != '"' && c != '\r' && c != '\n';
        char sByte[1] = {static_cast<char>(c)};
        aByteEntry[c] = MakeEntry(sByte, 1);
        const int64_t p = anRank[c];  // the first step of a walk, from base 0
        abNoWordStart[c] = p < 0 || p > nBound || pStates[p].check != -2;
    }
    vecCells.assign(static_cast<size_t>(nBound + 1), Entry());
    if (pStates == nullptr) return true;

    // Depth-first walk from the root over the steps a segmentation can take. A step's target cell
    // must check its source cell, so (the root's children checking -2) no cell is reached twice and
    // the walk ends; a word cell without children is not stepped beyond, as the segmentation stops
    // there.
    std::vector<int> vecCodes;  // ranked byte values
    for (int c = 0; c < 256; ++c) {
        if (anRank[c] >= 0) vecCodes.push_back(c);
    }
    struct Frame {
        int64_t nCell;
        size_t nDepth;  // bytes of the path, this cell's included
        unsigned char cCode;
    };
    std::vector<Frame> vecStack;
    auto pushChildren = [&](int64_t nParent, int64_t nBase, size_t nDepth) {
        int64_t nAbs = nBase < 0 ? -nBase : nBase;
        for (int c : vecCodes) {
            int64_t p = nAbs + anRank[c];
            if (p > nBound || pStates[p].check != nParent) continue;
            vecStack.push_back({p, nDepth + 1, static_cast<unsigned char>(c)});
        }
    };
    pushChildren(-2, 0, 0);
    std::string sPath;  // the path of the cell being visited
    std::vector<std::pair<std::string, int64_t>> vecWords;  // the words of two bytes or more
    while (!vecStack.empty()) {
        Frame frame = vecStack.back();
        vecStack.pop_back();
        sPath.resize(frame.nDepth - 1);  // the parent's path (the walk is depth first)
        sPath.push_back(static_cast<char>(frame.cCode));
        const CPDAT::state& st = pStates[frame.nCell];
        if (IsWordEnd(st)) {
            vecCells[static_cast<size_t>(frame.nCell)] = MakeEntry(sPath.data(), sPath.size());
            if (sPath.size() >= 2) vecWords.emplace_back(sPath, frame.nCell);
            if (st.base == -frame.nCell) continue;
        }
        pushChildren(frame.nCell, st.base, frame.nDepth);
    }
    BuildCharTable(vecWords);
    return true;
}

const CCodeTran::CDirectTable::Entry* CCodeTran::CDirectTable::UnitEntry(const unsigned char* p,
                                                                         size_t n) const {
    if (pStates == nullptr) return nullptr;
    int64_t nBase = 0, nPrev = -2;
    for (size_t i = 0; i < n; ++i) {
        int nRank = anRank[p[i]];
        if (nRank < 0) return nullptr;
        int64_t q = (nBase < 0 ? -nBase : nBase) + nRank;
        if (q > nBound || pStates[q].check != nPrev) return nullptr;
        // A word without children ends the segmentation's walk.
        if (i + 1 < n && IsWordEnd(pStates[q]) && pStates[q].base == -q) return nullptr;
        nPrev = q;
        nBase = pStates[q].base;
    }
    if (nPrev < 0 || !IsWordEnd(pStates[nPrev])) return nullptr;
    const Entry& e = vecCells[static_cast<size_t>(nPrev)];
    if (e.eKind != ETokenKind::kConverted && e.eKind != ETokenKind::kUnconverted) return nullptr;
    return &e;
}

bool CCodeTran::CDirectTable::Output(const Entry& e, const unsigned char* p, size_t n,
                                     std::string* pText) const {
    if (e.eKind == ETokenKind::kConverted) {
        pText->append(e.nLen <= COutput::PAD ? e.sText : sPool.data() + e.nOffset, e.nLen);
        return false;
    }
    pText->append(reinterpret_cast<const char*>(p), n);
    return !bToCode && p[0] >= 0x80;
}

void CCodeTran::CDirectTable::BuildCharTable(
    const std::vector<std::pair<std::string, int64_t>>& vecWords) {
    // Unit indexes: an ASCII byte b is b. A two-byte unit, lead byte a (0x80 or above) and the byte
    // b after it, is ASCII_UNITS + (a - 0x80) * 256 + b; a UTF-8 character is its code point.
    const size_t nUnits = bUtf8Units ? UTF8_CODE_POINTS : ASCII_UNITS + 128 * 256;
    auto bytesOf = [](const std::string& s) {
        return reinterpret_cast<const unsigned char*>(s.data());
    };
    // A unit starts good when the segmentation reaches it as a word with a lookup that qualifies.
    // Only the ASCII bytes and the words of the dictionary can be such units.
    std::vector<char> vecGood(nUnits, 0);
    for (size_t c = 0; c < ASCII_UNITS; ++c) {
        unsigned char b = static_cast<unsigned char>(c);
        vecGood[c] = UnitEntry(&b, 1) != nullptr;
    }
    std::vector<const std::string*> vecUnitWords;  // the words that are one unit
    for (const auto& word : vecWords) {
        const unsigned char* w = bytesOf(word.first);
        if (UnitLength(w, word.first.size()) != word.first.size()) continue;
        vecGood[UnitIndex(w)] = UnitEntry(w, word.first.size()) != nullptr;
        vecUnitWords.push_back(&word.first);
    }

    // A word of several units whose output is the units' outputs in a row (all wrapped or none)
    // needs its later units to be good for its first to stay good; any other word makes its first
    // unit bad outright. A word that starts with no unit is never the longest match where a unit
    // starts (that word would start with the unit), so it decides nothing.
    struct Dependency {
        size_t nFirst;
        std::vector<size_t> vecRest;
    };
    std::vector<Dependency> vecDeps;
    std::string sWordText, sUnitsText;
    for (const auto& word : vecWords) {
        const unsigned char* w = bytesOf(word.first);
        size_t n = word.first.size();
        size_t nFirstLen = UnitLength(w, n);
        if (nFirstLen == 0 || nFirstLen == n) continue;  // no unit, or one unit: its own entry
        Dependency dep;
        dep.nFirst = UnitIndex(w);
        const Entry& eWord = vecCells[static_cast<size_t>(word.second)];
        bool bOk = (eWord.eKind == ETokenKind::kConverted ||
                    eWord.eKind == ETokenKind::kUnconverted) &&
                   !eWord.bMarker;
        bool bWrap = false;
        if (bOk) {
            sWordText.clear();
            bWrap = Output(eWord, w, n, &sWordText);
        }
        sUnitsText.clear();
        for (size_t i = 0; bOk && i < n;) {
            size_t nUnit = UnitLength(w + i, n - i);
            if (nUnit == 0) {
                bOk = false;  // ends with a lone lead byte, or holds no well-formed UTF-8
                break;
            }
            const Entry* pUnit = UnitEntry(w + i, nUnit);
            bOk = pUnit != nullptr && Output(*pUnit, w + i, nUnit, &sUnitsText) == bWrap;
            if (i > 0) dep.vecRest.push_back(UnitIndex(w + i));
            i += nUnit;
        }
        if (bOk && sUnitsText == sWordText) {
            vecDeps.push_back(std::move(dep));
        } else {
            vecGood[dep.nFirst] = 0;
        }
    }
    for (bool bChanged = true; bChanged;) {
        bChanged = false;
        for (const Dependency& dep : vecDeps) {
            if (!vecGood[dep.nFirst]) continue;
            for (size_t u : dep.vecRest) {
                if (!vecGood[u]) {
                    vecGood[dep.nFirst] = 0;
                    bChanged = true;
                    break;
                }
            }
        }
    }

    // The entries of the good units of two bytes or more.
    std::vector<CharEntry> vecTable(bUtf8Units ? UTF8_BLOCK : 128 * 256, CharEntry{{}, 0});
    std::vector<uint16_t> vecBlocks(bUtf8Units ? UTF8_CODE_POINTS >> UTF8_BLOCK_BITS : 0, 0);
    int nCount = 0;
    std::string sText;
    for (const std::string* pWord : vecUnitWords) {
        const unsigned char* w = bytesOf(*pWord);
        size_t nIndex = UnitIndex(w);
        if (!vecGood[nIndex]) continue;
        sText.clear();
        bool bWrap = Output(*UnitEntry(w, pWord->size()), w, pWord->size(), &sText);
        if (sText.empty() || sText.size() > sizeof(vecTable[0].sText)) continue;  // the trie's
        size_t nSlot = nIndex - ASCII_UNITS;
        if (bUtf8Units) {
            uint16_t& nBlock = vecBlocks[nIndex >> UTF8_BLOCK_BITS];
            if (nBlock == 0) {
                // At most 0x4400 blocks besides block 0: their numbers fit 16 bits.
                nBlock = static_cast<uint16_t>(vecTable.size() >> UTF8_BLOCK_BITS);
                vecTable.resize(vecTable.size() + UTF8_BLOCK, CharEntry{{}, 0});
            }
            nSlot = static_cast<size_t>(nBlock) << UTF8_BLOCK_BITS | (nIndex & (UTF8_BLOCK - 1));
        }
        CharEntry& ch = vecTable[nSlot];
        std::memcpy(ch.sText, sText.data(), sText.size());
        ch.nInfo = static_cast<uint8_t>(sText.size() | (bWrap ? 0x80 : 0));
        abCharLead[w[0]] = true;
        if (bUtf8Units) aCharLead[w[0]] = UTF8_LEADS[w[0]];
        ++nCount;
    }
    if (nCount > 0) {
        vecChars.swap(vecTable);
        vecUtf8Blocks.swap(vecBlocks);
        nCharUnits = nCount;
    }
}

template <bool UTF8>
void CCodeTran::CDirectTable::ConvertUnits(const unsigned char* s, size_t nLen,
                                           CTokenSink& sink) const {
    const CharEntry* pChars = vecChars.data();  // read only under abCharLead (then not empty)
    const uint16_t* pBlocks = vecUtf8Blocks.data();
    size_t nStart = 0;
    while (nStart < nLen) {
        // A unit converted on its own: its output is what the longest match would give.
        if (abCharLead[s[nStart]]) {
            // Most units convert in a run; the one that ends it is taken on its own.
            size_t nNext = ConvertRun<UTF8>(s, nStart, nLen, sink);
            if (nNext != nStart) {
                nStart = nNext;
                continue;
            }
            const unsigned char* p = s + nStart;
            size_t nUnit = 0;
            const CharEntry* pCh = nullptr;
            if (UTF8) {
                nUnit = Utf8Length(p, nLen - nStart);
                if (nUnit != 0) {
                    uint32_t c = Utf8CodePoint(p);
                    pCh = &pChars[static_cast<size_t>(pBlocks[c >> UTF8_BLOCK_BITS])
                                      << UTF8_BLOCK_BITS |
                                  (c & (UTF8_BLOCK - 1))];
                }
            } else if (nStart + 1 < nLen) {
                nUnit = 2;
                pCh = &pChars[static_cast<size_t>(p[0] - 0x80) << 8 | p[1]];
            }
            if (pCh != nullptr && pCh->nInfo != 0) {
                if ((pCh->nInfo & 0x80) != 0) {
                    sink.Unconverted(reinterpret_cast<const char*>(p), nUnit);
                } else {
                    // The entry is PAD bytes: the text and its length byte after it.
                    sink.Converted(reinterpret_cast<const char*>(pCh), pCh->nInfo, false);
                }
                nStart += nUnit;
                continue;
            }
        }
        if (abNoWordStart[s[nStart]]) {
            nStart += ConvertUnmatched(s, nStart, nLen, sink);  // what ConvertToken would do
        } else {
            nStart += ConvertToken(s, nStart, nLen, sink);
        }
    }
}

template <bool UTF8>
size_t CCodeTran::CDirectTable::ConvertRun(const unsigned char* s, size_t nStart, size_t nLen,
                                           CTokenSink& sink) const {
    const CharEntry* pChars = vecChars.data();
    const uint16_t* pBlocks = vecUtf8Blocks.data();
    const unsigned char* p = s + nStart;
    COutput& out = sink.Out();
    // Rounds of up to UNITS units, each reading at most MAX_UNIT bytes and writing COutput::PAD
    // bytes (of which it keeps at most 7). A unit is 2 bytes or more, so no more than UNITS units
    // start before pStop, and MAX_UNIT bytes can be read wherever one starts; the last
    // MAX_UNIT - 1 bytes of the piece are left to the caller.
    constexpr size_t UNITS = 64, MAX_UNIT = UTF8 ? 4 : 2;
    const size_t nSafe = nLen - nStart >= MAX_UNIT ? nLen - nStart - (MAX_UNIT - 1) : 0;
    const unsigned char* const pSafeEnd = p + nSafe;
    bool bRun = false;
    for (bool bMore = p < pSafeEnd; bMore;) {
        char* pOut = out.Cursor(UNITS * COutput::PAD);
        const unsigned char* const pStop =
            static_cast<size_t>(pSafeEnd - p) > 2 * UNITS ? p + 2 * UNITS : pSafeEnd;
        while (p < pStop) {
            size_t nUnit = 2;
            const CharEntry* pCh;
            if (UTF8) {
                const _stUtf8Lead& lead = aCharLead[p[0]];
                nUnit = lead.nLen;
                if (nUnit == 0 || !InSpan(p[1], lead)) break;
                // The code point's block (its bits above the last byte's 6) and its last byte.
                size_t nBlockOf, nLast;
                if (nUnit == 3) {
                    if (!IsContinuation(p[2])) break;
                    nBlockOf = (p[0] & 0x0Fu) << 6 | (p[1] & 0x3Fu);
                    nLast = p[2];
                } else if (nUnit == 2) {
                    nBlockOf = p[0] & 0x1Fu;
                    nLast = p[1];
                } else {
                    if (!IsContinuation(p[2]) || !IsContinuation(p[3])) break;
                    nBlockOf = (p[0] & 0x07u) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu);
                    nLast = p[3];
                }
                static_assert(UTF8_BLOCK_BITS == 6, "a block is the code points of one last byte");
                pCh = &pChars[static_cast<size_t>(pBlocks[nBlockOf]) << UTF8_BLOCK_BITS |
                              (nLast & 0x3F)];
            } else {
                if (!abCharLead[p[0]]) break;
                pCh = &pChars[static_cast<size_t>(p[0] - 0x80) << 8 | p[1]];
            }
            // nInfo 1 to 7: converted; 0 (the trie's) and wrapped units end the run.
            if (static_cast<uint8_t>(pCh->nInfo - 1) >= 0x7F) break;
            std::memcpy(pOut, pCh, COutput::PAD);
            pOut += pCh->nInfo;
            p += nUnit;
            bRun = true;
        }
        bMore = p >= pStop && p < pSafeEnd;
        out.SetCursor(pOut);
    }
    if (bRun) sink.ConvertedRun();
    return static_cast<size_t>(p - s);
}

size_t CCodeTran::CDirectTable::ConvertToken(const unsigned char* s, size_t nStart, size_t nLen,
                                             CTokenSink& sink) const {
    // The longest word at nStart, step by step as the dictionary's segmentation takes it.
    size_t nBest = 0;
    int64_t nBestCell = -1;
    if (pStates != nullptr) {
        int64_t nBase = 0, nPrev = -2;
        for (size_t i = nStart; i < nLen;) {
            int nRank = anRank[s[i]];
            if (nRank < 0) break;
            int64_t p = (nBase < 0 ? -nBase : nBase) + nRank;
            if (p > nBound) break;
            const CPDAT::state& st = pStates[p];
            if (st.check != nPrev) break;
            ++i;
            nPrev = p;
            nBase = st.base;
            if (IsWordEnd(st)) {
                nBest = i - nStart;
                nBestCell = p;
                if (st.base == -p) break;
            }
        }
    }
    if (nBest > 0) {
        Emit(vecCells[static_cast<size_t>(nBestCell)], s + nStart, nBest, sink);
        return nBest;
    }
    return ConvertUnmatched(s, nStart, nLen, sink);
}

size_t CCodeTran::CDirectTable::ConvertUnmatched(const unsigned char* s, size_t nStart, size_t nLen,
                                                 CTokenSink& sink) const {
    // An unmatched byte, with the ASCII bytes that follow glued to an ASCII one.
    size_t nSeg = 1;
    bool bInNoWord = abInNoWord[s[nStart]];
    if (abGlue[s[nStart]]) {
        for (; nStart + nSeg < nLen && abGlue[s[nStart + nSeg]]; ++nSeg) {
            bInNoWord |= abInNoWord[s[nStart + nSeg]];
        }
    }
    const char* sToken = reinterpret_cast<const char*>(s + nStart);
    if (nSeg == 1) {
        Emit(aByteEntry[s[nStart]], s + nStart, 1, sink);
    } else if (bInNoWord) {
        sink.Unconverted(sToken, nSeg);  // the lookup would find no word
    } else {
        sink.Emit(LookupToken(pDict, pMap, pList, sToken, nSeg), sToken, nSeg);
    }
    return nSeg;
}

// ---------------------------------------------------------------------------------------------------------
// Construction.

CCodeTran::CCodeTran(const char* sDataPath, int encode) {
    if (encode < 1 || encode > ENCODING_COUNT || sDataPath == nullptr) return;
    const char(&names)[FILE_COUNT][NAME_BYTES] = FILE_NAMES[encode - 1];
    auto path = [&](int nColumn) { return std::string(sDataPath) + "/" + names[nColumn]; };
    auto fail = [&](int nColumn) { ReportError(path(nColumn) + CANNOT_LOAD); };
    auto freeAll = [&]() {
        m_pGBKSrcDict.reset();
        m_pGBKWordList.reset();
        m_pCodeDict.reset();
        m_pCodeWordList.reset();
        m_pCode2GBKMap.reset();
        m_pGBK2CodeMap.reset();
    };

    m_pGBKSrcDict.reset(new CPDAT(1));
    if (!m_pGBKSrcDict->Load(path(0).c_str())) {
        fail(0);
        freeAll();
        return;
    }
    m_pGBKWordList.reset(new CWordList(false, nullptr));
    if (!m_pGBKWordList->Load(path(1).c_str())) {
        fail(1);
        freeAll();
        return;
    }
    m_pCodeDict.reset(new CPDAT(1));
    if (!m_pCodeDict->Load(path(2).c_str())) {
        fail(2);
        freeAll();
        return;
    }
    m_pCodeWordList.reset(new CWordList(false, nullptr));
    if (!m_pCodeWordList->Load(path(3).c_str())) {
        fail(3);
        freeAll();
        return;
    }
    // Deliberate: a map file that cannot be loaded is logged and every table is freed, but
    // construction goes on and reports success; such a converter passes texts through unconverted
    // (apart from the markers and the line handling). Callers check only the status.
    m_pCode2GBKMap.reset(new CIDMaps());
    if (!m_pCode2GBKMap->Load(path(4).c_str())) {
        fail(4);
        freeAll();
    }
    m_pGBK2CodeMap.reset(new CIDMaps());
    if (!m_pGBK2CodeMap->Load(path(5).c_str())) {
        fail(5);
        freeAll();
    }
    m_nEncoding = encode;
    m_nStatus = 1;
    BuildDirectTables();
}

CCodeTran::~CCodeTran() = default;

void CCodeTran::BuildDirectTables() {
    if (!m_pGBKSrcDict || !m_pGBKWordList || !m_pCodeDict || !m_pCodeWordList || !m_pCode2GBKMap ||
        !m_pGBK2CodeMap) {
        return;
    }
    std::unique_ptr<CDirectTable> pToGBK(new CDirectTable());
    // From the UTF-8 codes the units taken one by one are UTF-8 characters.
    if (pToGBK->Build(m_pCodeDict.get(), m_pCode2GBKMap.get(), m_pGBKWordList.get(), false,
                      SkipsBom())) {
        m_pToGBKDirect = std::move(pToGBK);
    }
    std::unique_ptr<CDirectTable> pToCode(new CDirectTable());
    if (pToCode->Build(m_pGBKSrcDict.get(), m_pGBK2CodeMap.get(), m_pCodeWordList.get(), true,
                       false)) {
        m_pToCodeDirect = std::move(pToCode);
    }
}

int CCodeTran::GetCharUnitCount(bool toCode) const {
    const CDirectTable* pDirect = toCode ? m_pToCodeDirect.get() : m_pToGBKDirect.get();
    return pDirect != nullptr ? pDirect->nCharUnits : 0;
}

// ---------------------------------------------------------------------------------------------------------
// Conversion.

const char* CCodeTran::CodeToGBK(const char* text, std::string& result) const {
    if (text == nullptr || *text == '\0') {
        result.clear();
        return nullptr;
    }
    return CodeTrans(text, result, m_pCodeDict.get(), m_pCode2GBKMap.get(), m_pGBKWordList.get(),
                     false);
}

const char* CCodeTran::GBKToCode(const char* text, std::string& result) const {
    if (text == nullptr || *text == '\0') {
        result.clear();
        return result.c_str();
    }
    return CodeTrans(text, result, m_pGBKSrcDict.get(), m_pGBK2CodeMap.get(),
                     m_pCodeWordList.get(), true);
}

const char* CCodeTran::CodeTrans(const char* text, std::string& result, CPDAT* pSrcDict,
                                 CIDMaps* pMap, CWordList* pDsnList, bool toCode) const {
    const CDirectTable* pDirect = toCode ? m_pToCodeDirect.get() : m_pToGBKDirect.get();
    if (pDirect == nullptr || pDirect->pDict != pSrcDict || pDirect->pMap != pMap ||
        pDirect->pList != pDsnList) {
        return CodeTransPlain(text, result, pSrcDict, pMap, pDsnList, toCode);
    }
    result.clear();
    if (text == nullptr) return result.c_str();
    if (SkipsBom() && HasBom(text)) text += 3;
    size_t nLen = std::strlen(text);
    COutput out(result, toCode ? nLen + nLen / 2 : nLen);  // GBK to UTF-8 grows by half
    CTokenSink sink(out, toCode);
    CLineCutter cutter(text, nLen);
    size_t nStart = 0, nEnd = 0;
    bool bProtected = false;
    char cEnd = '\0';
    while (cutter.Next(&nStart, &nEnd, &bProtected, &cEnd)) {
        if (bProtected) {
            out.Append(text + nStart, nEnd - nStart);
            continue;
        }
        sink.StartPiece();
        pDirect->ConvertPiece(reinterpret_cast<const unsigned char*>(text) + nStart, nEnd - nStart,
                              sink);
        if (cEnd == '\r' || cEnd == '\n') out.Push(cEnd);
    }
    return out.Finish();
}

const char* CCodeTran::CodeTransPlain(const char* text, std::string& result, CPDAT* pSrcDict,
                                      CIDMaps* pMap, CWordList* pDsnList, bool toCode) const {
    result.clear();
    if (text == nullptr) return result.c_str();
    if (SkipsBom() && HasBom(text)) text += 3;
    const CPDAT* pDict = pSrcDict != nullptr ? pSrcDict : &EmptyDictionary();

    std::vector<char> vecWork(text, text + std::strlen(text) + 1);
    COutput out(result, vecWork.size() + vecWork.size() / 2);
    CTokenSink sink(out, toCode);
    int* pHandles = nullptr;  // MMSegment's buffers, grown by it
    int nHandleCap = 0;
    char* pSegment = nullptr;
    int nSegmentCap = 0;

    char* pCur = vecWork.data();
    for (;;) {
        char* pNext = nullptr;
        char cSep = '\0';
        int nStatus = 0;
        char* pPiece = StrLine(pCur, &pNext, &cSep, &nStatus, true);
        if (pPiece == nullptr) break;
        if (nStatus == 1) {
            out.Append(pPiece, std::strlen(pPiece));  // a protected run, without its markers
        } else {
            sink.StartPiece();
            pDict->MMSegment(pPiece, &pHandles, &nHandleCap, &pSegment, &nSegmentCap, false, false,
                             0, '\t');
            if (pSegment != nullptr) {
                EmitTabbed(pDict, pMap, pDsnList, pSegment, std::strlen(pSegment), sink);
            }
            // The line end is kept; a '^' (the start of a protected run) is put back instead.
            if (cSep == '\r' || cSep == '\n') out.Push(cSep);
        }
        if (pNext == nullptr) break;
        *pNext = cSep;
        pCur = pNext;
    }
    std::free(pHandles);
    std::free(pSegment);
    return out.Finish();
}

// ---------------------------------------------------------------------------------------------------------
// Files.

namespace {

// ConvertFile: reads sSrcFile whole, creates sDsnFile, writes the mark (when given) and the
// converted text followed by "\n".
template <class FnConvert>
bool ConvertFile(const char* sSrcFile, const char* sDsnFile, bool bSkipBom, bool bWriteBom,
                 FnConvert fnConvert) {
    if (sSrcFile == nullptr || sDsnFile == nullptr) return false;
    char* pBuffer = nullptr;
    size_t nRead = ReadFile(sSrcFile, &pBuffer);
    std::unique_ptr<char[]> pOwned(pBuffer);
    if (nRead == 0 || pBuffer == nullptr) return false;
    FILE* fp = std::fopen(sDsnFile, "wt");
    if (fp == nullptr) return false;
    const char* sText = pBuffer;
    if (bSkipBom && nRead >= 3 && HasBom(sText)) sText += 3;
    if (bWriteBom) std::fwrite("\xEF\xBB\xBF", 1, 3, fp);
    std::string sResult;
    fnConvert(sText, sResult);
    std::fprintf(fp, "%s\n", sResult.c_str());
    std::fclose(fp);
    return true;
}

}  // namespace

bool CCodeTran::CodeToGBKFile(const char* sSrcFile, const char* sDsnFile) const {
    return ConvertFile(sSrcFile, sDsnFile, m_nEncoding == 1, false,
                       [this](const char* s, std::string& r) { CodeToGBK(s, r); });
}

bool CCodeTran::GBKToCodeFile(const char* sSrcFile, const char* sDsnFile) const {
    return ConvertFile(sSrcFile, sDsnFile, false, m_nEncoding == 1,
                       [this](const char* s, std::string& r) { GBKToCode(s, r); });
}

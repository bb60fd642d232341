// PreProcess.cpp: CPreProcess.
//
// A first pass reads characters (a GBK pair when the lead byte 0x81-0xFE is followed by a trail byte
// 0x40-0xFE other than 0x7F, else one byte) and groups them into runs by class. A second pass joins
// numbers with what makes them one word in running text: 1998年 and 三十一日 (times), 30亿 and 1万亿
// (magnitudes), 第十七 (ordinals).
#include "DORVANE/Segment/PreProcess.h"

#include <utility>
#include <vector>

#include "Utility/Charset.h"

namespace {

// Character classes of the engine's charset table.
enum {
    CLASS_HANZI = 1,
    CLASS_LETTER = 2,
    CLASS_DIGIT = 3,
    CLASS_WIDE_LETTER = 4,
    CLASS_WIDE_DIGIT = 5,
    CLASS_PUNCT = 6,
    CLASS_BLANK = 28
};

constexpr int Code(unsigned char a, unsigned char b) { return a << 8 | b; }

// Kinds of characters the atom rules test, as bits of one table entry per character code.
enum : unsigned char {
    KIND_NUMERAL = 1,     // ○ 〇 零 一 二 三 四 五 六 七 八 九 十 百 千 万 亿 两
    KIND_ZERO = 2,        // ○ 〇 零: a number on its own
    KIND_MAGNITUDE = 4,   // 十 百 千 万 亿
    KIND_LARGE = 8,       // 万 亿
    KIND_TIME_UNIT = 16,  // 年 月 日 时 分 秒
    KIND_JOINER = 32,     // . : / ． ： ／ between two digits
    KIND_PERCENT = 64,    // % ％ after a number
    KIND_RUN_MARK = 128   // — … － · - . : a repetition is one mark
};

const unsigned char* KindTable() {
    static const std::vector<unsigned char> vecKinds = [] {
        std::vector<unsigned char> v(65536, 0);
        auto set = [&v](unsigned char a, unsigned char b, unsigned char nKind) { v[static_cast<size_t>(Code(a, b))] |= nKind; };
        const unsigned char numerals[][2] = {{0xA1, 0xF0}, {0xA9, 0x96}, {0xC1, 0xE3}, {0xD2, 0xBB}, {0xB6, 0xFE},
                                             {0xC8, 0xFD}, {0xCB, 0xC4}, {0xCE, 0xE5}, {0xC1, 0xF9}, {0xC6, 0xDF},
                                             {0xB0, 0xCB}, {0xBE, 0xC5}, {0xCA, 0xAE}, {0xB0, 0xD9}, {0xC7, 0xA7},
                                             {0xCD, 0xF2}, {0xD2, 0xDA}, {0xC1, 0xBD}};
        for (const auto& c : numerals) set(c[0], c[1], KIND_NUMERAL);
        for (const auto& c : {std::make_pair(0xA1, 0xF0), std::make_pair(0xA9, 0x96), std::make_pair(0xC1, 0xE3)})
            set(static_cast<unsigned char>(c.first), static_cast<unsigned char>(c.second), KIND_ZERO);
        const unsigned char magnitudes[][2] = {{0xCA, 0xAE}, {0xB0, 0xD9}, {0xC7, 0xA7}, {0xCD, 0xF2}, {0xD2, 0xDA}};
        for (const auto& c : magnitudes) set(c[0], c[1], KIND_MAGNITUDE);
        set(0xCD, 0xF2, KIND_LARGE);
        set(0xD2, 0xDA, KIND_LARGE);
        const unsigned char units[][2] = {{0xC4, 0xEA}, {0xD4, 0xC2}, {0xC8, 0xD5}, {0xCA, 0xB1}, {0xB7, 0xD6}, {0xC3, 0xEB}};
        for (const auto& c : units) set(c[0], c[1], KIND_TIME_UNIT);
        v['.'] |= KIND_JOINER | KIND_RUN_MARK;
        v[':'] |= KIND_JOINER;
        v['/'] |= KIND_JOINER;
        set(0xA3, 0xAE, KIND_JOINER);
        set(0xA3, 0xBA, KIND_JOINER);
        set(0xA3, 0xAF, KIND_JOINER);
        v['%'] |= KIND_PERCENT;
        set(0xA3, 0xA5, KIND_PERCENT);
        set(0xA1, 0xAA, KIND_RUN_MARK);
        set(0xA1, 0xAD, KIND_RUN_MARK);
        set(0xA3, 0xAD, KIND_RUN_MARK);
        set(0xA1, 0xA4, KIND_RUN_MARK);
        v['-'] |= KIND_RUN_MARK;
        return v;
    }();
    return vecKinds.data();
}

// Is: whether the character code (or -1 for none) has the kind.
const unsigned char* const g_pKinds = KindTable();
inline bool Is(int nCode, unsigned char nKind) { return nCode >= 0 && (g_pKinds[nCode] & nKind) != 0; }
bool IsChineseNumeral(int c) { return Is(c, KIND_NUMERAL); }
bool IsZero(int c) { return Is(c, KIND_ZERO); }
bool IsMagnitude(int c) { return Is(c, KIND_MAGNITUDE); }
bool IsLargeMagnitude(int c) { return Is(c, KIND_LARGE); }
bool IsTimeUnit(int c) { return Is(c, KIND_TIME_UNIT); }
constexpr int ORDINAL = Code(0xB5, 0xDA);  // 第
bool IsNumberJoiner(int c) { return Is(c, KIND_JOINER); }
bool IsPercent(int c) { return Is(c, KIND_PERCENT); }
bool IsRunMark(int c) { return Is(c, KIND_RUN_MARK); }

struct CharInfo {
    int nCode;
    int nLen;
    int nClass;
};

CharInfo ReadChar(const unsigned char* s, size_t i, size_t n, const CCharset* pCharset) {
    CharInfo ch;
    unsigned char b = s[i];
    if (b >= 0x81 && b <= 0xFE && i + 1 < n && s[i + 1] >= 0x40 && s[i + 1] <= 0xFE && s[i + 1] != 0x7F) {
        ch.nCode = b << 8 | s[i + 1];
        ch.nLen = 2;
    } else {
        ch.nCode = b;
        ch.nLen = 1;
    }
    if (ch.nLen == 1 && b >= 0x80) {
        ch.nClass = -1;  // no character
    } else if (pCharset != nullptr) {
        ch.nClass = pCharset->GetType(ch.nCode);
    } else if (ch.nLen == 2) {
        ch.nClass = b >= 0xB0 ? CLASS_HANZI : CLASS_PUNCT;
    } else if ((b | 0x20) >= 'a' && (b | 0x20) <= 'z') {
        ch.nClass = CLASS_LETTER;
    } else if (b >= '0' && b <= '9') {
        ch.nClass = CLASS_DIGIT;
    } else if (b == ' ' || b == '\t' || b == '\r' || b == '\n') {
        ch.nClass = CLASS_BLANK;
    } else {
        ch.nClass = b > 0x20 && b < 0x7F ? CLASS_PUNCT : 0;
    }
    if (ch.nCode == Code(0xA1, 0xA1)) ch.nClass = CLASS_BLANK;  // the full-width blank
    return ch;
}

bool IsDigitClass(int nClass) { return nClass == CLASS_DIGIT || nClass == CLASS_WIDE_DIGIT; }

}  // namespace

void CPreProcess::Atomize(const char* sText, size_t nLen, std::vector<_stAtom>& vecAtoms) const {
    vecAtoms.clear();
    if (sText == nullptr) return;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(sText);
    // Pass 1: runs by class.
    size_t i = 0;
    while (i < nLen) {
        // The common case first: a GB2312 hanzi (lead B0-F7, trail A1-FE) that is no numeral.
        if (s[i] >= 0xB0 && s[i] <= 0xF7 && i + 1 < nLen && s[i + 1] >= 0xA1 && s[i + 1] != 0xFF &&
            !IsChineseNumeral(Code(s[i], s[i + 1]))) {
            vecAtoms.push_back(_stAtom{static_cast<int>(i), 2, ATOM_CHAR});
            i += 2;
            continue;
        }
        CharInfo ch = ReadChar(s, i, nLen, m_pCharset);
        _stAtom atom{static_cast<int>(i), ch.nLen, ATOM_CHAR};
        size_t j = i + static_cast<size_t>(ch.nLen);
        if (ch.nClass == CLASS_LETTER || ch.nClass == CLASS_WIDE_LETTER) {
            atom.nType = ATOM_LETTERS;
            while (j < nLen) {
                CharInfo next = ReadChar(s, j, nLen, m_pCharset);
                if (next.nClass != ch.nClass) break;
                j += static_cast<size_t>(next.nLen);
            }
        } else if (IsDigitClass(ch.nClass)) {
            atom.nType = ATOM_NUMBER;
            while (j < nLen) {
                CharInfo next = ReadChar(s, j, nLen, m_pCharset);
                if (IsDigitClass(next.nClass)) {
                    j += static_cast<size_t>(next.nLen);
                    continue;
                }
                size_t k = j + static_cast<size_t>(next.nLen);
                if (IsNumberJoiner(next.nCode) && k < nLen &&
                    IsDigitClass(ReadChar(s, k, nLen, m_pCharset).nClass)) {
                    j = k;
                    continue;
                }
                if (IsPercent(next.nCode)) j = k;
                break;
            }
        } else if (ch.nLen == 2 && IsChineseNumeral(ch.nCode)) {
            size_t nChars = 1;
            while (j < nLen) {
                CharInfo next = ReadChar(s, j, nLen, m_pCharset);
                if (next.nLen != 2 || !IsChineseNumeral(next.nCode)) break;
                j += 2;
                ++nChars;
            }
            // A lone numeral other than zero stays a character: it forms words (一些, 统一).
            if (nChars >= 2 || IsZero(ch.nCode)) atom.nType = ATOM_NUMBER;
            else j = i + 2;
        } else if (ch.nClass == CLASS_BLANK) {
            atom.nType = ATOM_BLANK;
            while (j < nLen) {
                CharInfo next = ReadChar(s, j, nLen, m_pCharset);
                if (next.nClass != CLASS_BLANK) break;
                j += static_cast<size_t>(next.nLen);
            }
        } else if (ch.nClass == -1 || ch.nClass == 0) {
            atom.nType = ATOM_OTHER;
        } else if (ch.nClass == CLASS_PUNCT || (ch.nLen == 1 && ch.nClass != CLASS_HANZI)) {
            atom.nType = ATOM_PUNCT;
            if (IsRunMark(ch.nCode)) {
                while (j < nLen) {
                    CharInfo next = ReadChar(s, j, nLen, m_pCharset);
                    if (next.nCode != ch.nCode) break;
                    j += static_cast<size_t>(next.nLen);
                }
            }
        }
        atom.nLen = static_cast<int>(j - i);
        vecAtoms.push_back(atom);
        i = j;
    }
    // Pass 2: numbers with their units, magnitudes and ordinal prefix.
    size_t nOut = 0;
    for (size_t k = 0; k < vecAtoms.size(); ++k) {
        _stAtom atom = vecAtoms[k];
        // Only a number, or 第 before a number, joins with what follows.
        bool bCandidate = nOut > 0 && (atom.nType == ATOM_CHAR || atom.nType == ATOM_NUMBER) &&
                          (vecAtoms[nOut - 1].nType == ATOM_NUMBER ||
                           (vecAtoms[nOut - 1].nType == ATOM_CHAR && atom.nType == ATOM_NUMBER));
        if (bCandidate) {
            _stAtom& prev = vecAtoms[nOut - 1];
            int nCode = atom.nLen == 2 ? (s[atom.nStart] << 8 | s[atom.nStart + 1]) : -1;
            int nFirst = ReadChar(s, static_cast<size_t>(atom.nStart), nLen, m_pCharset).nCode;
            int nPrevCode = prev.nLen == 2 ? (s[prev.nStart] << 8 | s[prev.nStart + 1]) : -1;
            int nPrevLast = prev.nLen >= 2 ? (s[prev.nStart + prev.nLen - 2] << 8 |
                                              s[prev.nStart + prev.nLen - 1])
                                           : -1;
            bool bJoin = false;
            if (prev.nType == ATOM_NUMBER && atom.nType == ATOM_CHAR && IsTimeUnit(nCode)) {
                prev.nType = ATOM_TIME;
                bJoin = true;
            } else if (prev.nType == ATOM_NUMBER && atom.nType == ATOM_CHAR && IsLargeMagnitude(nCode)) {
                bJoin = true;
            } else if (prev.nType == ATOM_NUMBER && atom.nType == ATOM_NUMBER && IsMagnitude(nFirst) &&
                       !IsChineseNumeral(nPrevLast)) {
                bJoin = true;  // 1万亿, 3千万
            } else if (prev.nType == ATOM_NUMBER && atom.nType == ATOM_NUMBER &&
                       IsLargeMagnitude(nPrevLast) && !IsChineseNumeral(nFirst)) {
                bJoin = true;  // 5万 + 3000
            } else if (prev.nType == ATOM_CHAR && nPrevCode == ORDINAL && atom.nType == ATOM_NUMBER) {
                prev.nType = ATOM_NUMBER;
                bJoin = true;
            }
            if (bJoin) {
                prev.nLen += atom.nLen;
                continue;
            }
        }
        vecAtoms[nOut++] = atom;
    }
    vecAtoms.resize(nOut);
}

// TextClean.cpp: the text-cleaning helpers of the encoding-conversion module, see TextClean.h.
//
// str_normalization is one left-to-right pass that writes behind its read position: each character
// becomes either itself or a single ASCII byte, so the text never grows and the rewrite is done in
// place.
//
// vHtmlToText is one pass over the page with a write position that never overtakes the read
// position: every rule consumes at least as many bytes as it writes (a numeric entity of d digits
// takes d + 3 bytes and its UTF-8 form at most d - 2 bytes once d > 2). The searches for the end of
// a comment or a script block have no distance limit; each keeps the answer of its last search, so
// a page full of unclosed "<!--" or "<script>" is still read in linear time and not once per
// opening.
#include "Utility/TextClean.h"

#include <cstdint>
#include <cstring>

// The segmentation engine sets this at start-up from its configuration; Chinese until then.
int g_nLangType = 1;

namespace {

char ToLowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsAsciiLetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// NormalizeGbk: the single byte that replaces the two-byte character c1 c2, or 0 to keep both
// bytes.
char NormalizeGbk(unsigned char c1, unsigned char c2) {
    if (c1 == 0xA3) {
        if (c2 >= 0xB0 && c2 <= 0xB9) return static_cast<char>(c2 - 0x80);  // ０..９
        if (c2 >= 0xC1 && c2 <= 0xDA) return static_cast<char>(c2 - 0x60);  // Ａ..Ｚ
        if (c2 >= 0xE1 && c2 <= 0xFA) return static_cast<char>(c2 - 0x80);  // ａ..ｚ
    }
    switch ((c1 << 8) | c2) {
        case 0xA3A8:  // （
        case 0xA1BE:  // 【
            return '(';
        case 0xA3A9:  // ）
        case 0xA1BF:  // 】
            return ')';
        // Deliberate: "’" (A1AF) is not among the quotes and stays as it is; stored keywords were
        // normalised with this list.
        case 0xA1B0:  // “
        case 0xA1B1:  // ”
        case 0xA1AE:  // ‘
        case 0xA3A7:  // ＇
            return '"';
        case 0xA3DC:  // ＼
        case 0xA3FC:  // ｜
        case 0xA3AC:  // ，
        case 0xA3AE:  // ．
        case 0xA1A3:  // 。
        case 0xA1A2:  // 、
        case 0xA3AD:  // －
        case 0xA1AA:  // —
        case 0xAAA4:  // a user-defined code treated as a dash
        case 0xA1A1:  // ideographic space
            return '\t';
        default:
            return '\0';
    }
}

// CachedFind: finds a fixed byte string in one text, remembering its last answer. The answer found
// from nFrom (or "none" = nLen) stays the answer for any start between nFrom and it, and callers
// only ever move forwards, so each stretch of text is searched about once.
class CachedFind {
public:
    CachedFind(const char* sText, size_t nLen, const char* sPattern)
        : m_sText(sText), m_nLen(nLen), m_sPattern(sPattern), m_nPattern(std::strlen(sPattern)) {}

    // Find: the position of the first occurrence at or after nFrom, or npos.
    size_t Find(size_t nFrom) {
        if (!m_bValid || nFrom < m_nFrom || nFrom > m_nFound) {
            m_nFrom = nFrom;
            m_nFound = Search(nFrom);
            m_bValid = true;
        }
        return m_nFound == m_nLen ? npos : m_nFound;
    }

    static constexpr size_t npos = static_cast<size_t>(-1);

private:
    size_t Search(size_t nFrom) const {
        if (nFrom > m_nLen || m_nLen - nFrom < m_nPattern) return m_nLen;
        const size_t nLast = m_nLen - m_nPattern;  // last possible start
        for (size_t k = nFrom; k <= nLast;) {
            const void* p = std::memchr(m_sText + k, m_sPattern[0], nLast - k + 1);
            if (p == nullptr) break;
            k = static_cast<size_t>(static_cast<const char*>(p) - m_sText);
            if (std::memcmp(m_sText + k, m_sPattern, m_nPattern) == 0) return k;
            ++k;
        }
        return m_nLen;
    }

    const char* m_sText;
    size_t m_nLen;
    const char* m_sPattern;
    size_t m_nPattern;
    bool m_bValid = false;
    size_t m_nFrom = 0;
    size_t m_nFound = 0;  // m_nLen when none
};

// FindWithin: position of byte c in [nFrom, nEnd), or CachedFind::npos.
size_t FindWithin(const char* s, size_t nFrom, size_t nEnd, char c) {
    if (nFrom >= nEnd) return CachedFind::npos;
    const void* p = std::memchr(s + nFrom, c, nEnd - nFrom);
    return p == nullptr ? CachedFind::npos : static_cast<size_t>(static_cast<const char*>(p) - s);
}

// EncodeUtf8: writes nValue in the original UTF-8 form of up to 6 bytes (values up to 0x7FFFFFFF)
// and returns the byte count; 0 (nothing written) for the value 0 and for values above 0x7FFFFFFF.
size_t EncodeUtf8(uint32_t nValue, char* sOut) {
    if (nValue == 0 || nValue > 0x7FFFFFFFu) return 0;
    if (nValue < 0x80) {
        sOut[0] = static_cast<char>(nValue);
        return 1;
    }
    size_t nBytes = nValue < 0x800       ? 2
                    : nValue < 0x10000   ? 3
                    : nValue < 0x200000  ? 4
                    : nValue < 0x4000000 ? 5
                                         : 6;
    static const unsigned char kLead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    for (size_t k = nBytes - 1; k > 0; --k) {
        sOut[k] = static_cast<char>(0x80 | (nValue & 0x3F));
        nValue >>= 6;
    }
    sOut[0] = static_cast<char>(kLead[nBytes] | nValue);
    return nBytes;
}

// HexDigit: the value of a byte read as a hexadecimal digit.
unsigned HexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    // Deliberate: the URL rule only checks that both bytes lie between '0' and 'z', so "%zz" is
    // decoded too; a byte that is no hexadecimal digit counts as 0.
    return 0;
}

bool StartsWith(const char* s, size_t nLeft, const char* sPrefix, size_t nPrefix) {
    return nLeft >= nPrefix && std::memcmp(s, sPrefix, nPrefix) == 0;
}

// StartsWithNoCase: as StartsWith, ASCII letters compared without case (sPrefix in lower case).
bool StartsWithNoCase(const char* s, size_t nLeft, const char* sPrefix, size_t nPrefix) {
    if (nLeft < nPrefix) return false;
    for (size_t k = 0; k < nPrefix; ++k) {
        if (ToLowerAscii(s[k]) != sPrefix[k]) return false;
    }
    return true;
}

}  // namespace

int str_normalization(char* sLine, int nLen, bool bQueryPaser) {
    if (sLine == nullptr || nLen < 1) return 0;
    int j = 0;
    for (int i = 0; i < nLen; ++i) {
        const unsigned char c = static_cast<unsigned char>(sLine[i]);
        if (c >= 0x80 && g_nLangType != 0 && i + 1 < nLen) {
            const char cNew = NormalizeGbk(c, static_cast<unsigned char>(sLine[i + 1]));
            if (cNew != '\0') {
                sLine[j++] = cNew;
            } else {
                sLine[j++] = sLine[i];
                sLine[j++] = sLine[i + 1];
            }
            ++i;
        } else if (!bQueryPaser && (c == ',' || c == '/' || c == '_')) {
            sLine[j++] = '\t';
        } else {
            sLine[j++] = ToLowerAscii(sLine[i]);
        }
    }
    sLine[j] = '\0';
    return j;
}

int zipname_normalization(char* sName, int nLen) { return str_normalization(sName, nLen, false); }

void vHtmlToText(const char* sHtml, size_t nLen, char* sText, size_t& nTextLen) {
    nTextLen = 0;
    if (sText == nullptr || nLen > static_cast<size_t>(PTRDIFF_MAX)) return;
    if (sHtml == nullptr) nLen = 0;

    CachedFind commentEnd(sHtml, nLen, "-->");
    CachedFind scriptEndLower(sHtml, nLen, "</s");
    CachedFind scriptEndUpper(sHtml, nLen, "</S");
    CachedFind tagEnd(sHtml, nLen, ">");
    CachedFind escapedTagEnd(sHtml, nLen, "&gt;");

    size_t i = 0, j = 0;
    if (StartsWith(sHtml, nLen, "\xEF\xBB\xBF", 3)) i = 3;
    // Writes behind the read position; j <= i holds throughout, so sText (nLen + 1 bytes) suffices.
    auto lastIsSpace = [&]() { return j > 0 && sText[j - 1] == ' '; };
    while (i < nLen) {
        const char* p = sHtml + i;
        const size_t nLeft = nLen - i;
        const char c = *p;

        if (c == '<' && nLeft > 1 &&
            (IsAsciiLetter(p[1]) || p[1] == '/' || p[1] == '!' || p[1] == '?')) {
            size_t nResume = CachedFind::npos;
            if (StartsWith(p, nLeft, "<!--", 4)) {
                const size_t k = commentEnd.Find(i + 4);
                if (k != CachedFind::npos) nResume = k + 3;
            }
            if (nResume == CachedFind::npos && StartsWithNoCase(p, nLeft, "<script>", 8)) {
                size_t k = scriptEndLower.Find(i + 8);
                if (k == CachedFind::npos) k = scriptEndUpper.Find(i + 8);
                // Deliberate: any "</s" ends the block ("</span>", "</style>"), and a lower-case
                // one wins over an earlier "</S"; the page scanner has always cut scripts this way.
                if (k != CachedFind::npos) {
                    const size_t nClose = tagEnd.Find(k + 3);
                    if (nClose != CachedFind::npos) nResume = nClose + 1;
                }
            }
            if (nResume == CachedFind::npos) {
                const size_t k = FindWithin(sHtml, i + 1, nLeft < 500 ? nLen : i + 500, '>');
                if (k != CachedFind::npos) nResume = k + 1;
            }
            if (nResume != CachedFind::npos) {
                // Deliberate: the space of a removed tag is written even after a space; only
                // copied spaces collapse, and the scanner's offsets on cleaned pages rely on it.
                sText[j++] = ' ';
                i = nResume;
                continue;
            }
        }

        if (c == '&' && nLeft > 1 && p[1] == '#') {
            const size_t k = FindWithin(sHtml, i + 2, nLeft <= 10 ? nLen : i + 11, ';');
            if (k != CachedFind::npos) {
                // At most 8 digits fit before the ";", so the value stays below 10^8.
                uint32_t nValue = 0;
                for (size_t d = i + 2; d < k && sHtml[d] >= '0' && sHtml[d] <= '9'; ++d)
                    nValue = nValue * 10 + static_cast<uint32_t>(sHtml[d] - '0');
                char sUtf8[6];
                const size_t nBytes = EncodeUtf8(nValue, sUtf8);
                std::memcpy(sText + j, sUtf8, nBytes);  // via sUtf8: sText may be sHtml
                j += nBytes;
                i = k + 1;
                continue;
            }
        }

        if (StartsWith(p, nLeft, "&lt;", 4)) {
            const size_t k = escapedTagEnd.Find(i + 4);
            sText[j++] = ' ';
            i = (k != CachedFind::npos && k - i < 700) ? k + 4 : i + 4;
            continue;
        }

        if (c == '&' && nLeft > 1 && IsAsciiLetter(p[1])) {
            const size_t k = FindWithin(sHtml, i + 2, nLeft < 10 ? nLen : i + 10, ';');
            if (k != CachedFind::npos) {
                sText[j++] = ' ';
                i = k + 1;
                continue;
            }
        }

        if (c == '%' && nLeft > 2 && p[1] >= '0' && p[1] <= 'z' && p[2] >= '0' && p[2] <= 'z') {
            sText[j++] = static_cast<char>(HexDigit(p[1]) * 16 + HexDigit(p[2]));
            i += 3;
            continue;
        }

        if (c == '\0' && nLeft > 1 && p[1] == '\0') {
            ++i;
            continue;
        }

        if (StartsWith(p, nLeft, "nbsp;", 5)) {
            // Deliberate: a bare "nbsp;" (its "&" lost) adds a second space after a space and
            // nothing elsewhere; pages cleaned earlier were scanned with these spaces.
            if (lastIsSpace()) sText[j++] = ' ';
            i += 5;
            continue;
        }

        if (!(c == ' ' && lastIsSpace())) sText[j++] = c;
        ++i;
    }
    sText[j] = '\0';
    nTextLen = j;
}

// StrToken.cpp: CStrToken, see StrToken.h.
#include "Utility/StrToken.h"

#include <cstring>

namespace {

bool IsSeparator(char c, const char* sSeparators) {
    return c != '\0' && std::strchr(sSeparators, c) != nullptr;
}

// Second bytes of "，：。！？“”‘’—（）" (first byte 0xA1 or 0xA3).
bool IsPunctuationTrail(unsigned char c) {
    return std::memchr("\xAC\xBA\xA3\xA1\xBF\xB0\xB1\xAE\xAF\xAA\xA8\xA9", c, 12) != nullptr;
}

}  // namespace

CStrToken::CStrToken(bool bEnglish) : m_bEnglish(bEnglish) {}

void CStrToken::Cut(char* p) {
    m_cSep = *p;
    *p = '\0';
    m_bCut = true;
    m_pTokenEnd = p;
}

char* CStrToken::GetToken(char* sLine, char* sLineEnd, const char* sSeparators) {
    if (sSeparators == nullptr) sSeparators = "";
    if (sLine != nullptr) {
        m_pLineStart = sLine;
        m_pLineEnd = sLineEnd != nullptr ? sLineEnd : sLine + std::strlen(sLine);
        if (m_pLineEnd < m_pLineStart) m_pLineEnd = m_pLineStart;
        m_pTokenEnd = sLine;
        m_bCut = false;
        m_bOutputSep = false;
    } else {
        if (m_pLineStart == nullptr) return nullptr;
        if (m_bCut) *m_pTokenEnd = m_cSep;
        m_bCut = false;
    }

    char* p = m_pTokenEnd;
    while (p < m_pLineEnd &&
           (*p == ' ' || *p == '\t' || *p == '\r' || IsSeparator(*p, sSeparators)))
        ++p;
    char* pStart = p;
    while (p < m_pLineEnd && *p != '\0') {
        if (IsSeparator(*p, sSeparators)) {
            bool bKeep = false;
            if (m_bEnglish && p + 1 < m_pLineEnd && p[1] != '\0' &&
                !IsSeparator(p[1], sSeparators)) {
                // Deliberate: the comparison is on signed char, so ",9" splits while ",8" and a
                // comma before a GBK byte do not; stored English keywords were cut this way.
                bKeep = (*p == '.' && p[1] != '.') ||
                        (*p == ',' && static_cast<signed char>(p[1]) <= '8');
            }
            if (!bKeep) break;
        }
        ++p;
    }

    if (p > pStart && p < m_pLineEnd) {
        Cut(p);
        m_bOutputSep = false;
        return pStart;
    }

    // No separator cut: the token reached the line end, or nothing but a NUL is left before it. A
    // GBK punctuation character there is stepped over whole.
    m_bOutputSep = true;
    unsigned char cLead = static_cast<unsigned char>(p < m_pLineEnd ? *p : 0);
    if (p + 1 < m_pLineEnd && (cLead == 0xA1 || cLead == 0xA3) &&
        IsPunctuationTrail(static_cast<unsigned char>(p[1]))) {
        ++p;
    }
    if (p < m_pLineEnd) {
        ++p;
        if (p < m_pLineEnd) Cut(p);
    }
    if (!m_bCut) m_pTokenEnd = p;
    return p > pStart ? pStart : nullptr;
}

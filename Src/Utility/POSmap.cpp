// POSmap.cpp: CPOSmap, class names by id.
#include "Utility/POSmap.h"
#include "Utility/Utility.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// EqualNoCase: equality with ASCII letters folded; other bytes (GBK included) compare as they are.
bool EqualNoCase(const std::string& sA, const char* sB) {
    size_t i = 0;
    for (; i < sA.size() && sB[i] != '\0'; ++i) {
        if (LowerAscii(sA[i]) != LowerAscii(sB[i])) return false;
    }
    return i == sA.size() && sB[i] == '\0';
}

}  // namespace

CPOSmap::CPOSmap() = default;

CPOSmap::~CPOSmap() = default;

int CPOSmap::Load(const char* sFilename) {
    m_pData.clear();
    m_nItemCount = 0;
    if (sFilename == nullptr) return 0;
    FilePtr fp(fopen(sFilename, "r"));
    if (!fp) return 0;
    // The number of lines sizes the table.
    size_t nLines = 0;
    for (int c = fgetc(fp.get()); c != EOF; c = fgetc(fp.get())) {
        if (c == '\n') ++nLines;
    }
    rewind(fp.get());
    m_pData.reserve(std::min<size_t>(nLines + 1, NO_CLASS));

    // Deliberate: a line of LINE_BUFFER_SIZE - 1 bytes or more is read in pieces, each taken as a
    // line.
    char sLine[LINE_BUFFER_SIZE];
    while (m_pData.size() < NO_CLASS && fgets(sLine, sizeof(sLine), fp.get()) != nullptr) {
        const char* p = sLine;
        while (*p != '\0' && IsBlank(*p)) ++p;
        const char* pEnd = p;
        while (*pEnd != '\0' && !IsBlank(*pEnd)) ++pEnd;
        if (pEnd != p) m_pData.emplace_back(p, pEnd);
    }
    m_nItemCount = static_cast<unsigned char>(m_pData.size());
    return 1;
}

int CPOSmap::GetID(const char* sName) const {
    if (sName == nullptr || sName[0] == '\0') return NO_CLASS;
    for (size_t i = 0; i < m_pData.size(); ++i) {
        if (EqualNoCase(m_pData[i], sName)) return static_cast<int>(i);
    }
    return NO_CLASS;
}

const char* CPOSmap::GetPOS(unsigned char nId) const {
    return nId < m_nItemCount ? m_pData[nId].c_str() : m_pDefaultPos;
}

int CPOSmap::GetPOS(unsigned char nId, char* sOut) const {
    if (sOut == nullptr) return 0;
    const bool bFound = nId < m_nItemCount;
    // Names come from a LINE_BUFFER_SIZE line buffer, so they always fit.
    snprintf(sOut, LINE_BUFFER_SIZE, "%s", bFound ? m_pData[nId].c_str() : m_pDefaultPos);
    return bFound ? 1 : 0;
}

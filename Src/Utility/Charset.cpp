// Charset.cpp: CCharset, the character-class table. See Charset.h.
#include "Utility/Charset.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr int IMPORT_LINE_BYTES = 1024;

// CodeOf: the character code of a NUL-terminated character as the table indexes it.
int CodeOf(const unsigned char* s, bool bNeedSecond) {
    if (s[0] < 0x80) return s[0];
    if (bNeedSecond && s[1] == '\0') return s[0];
    return s[0] * 256 + s[1];
}

}  // namespace

CCharset::CCharset() : m_pData(CODE_COUNT, 0) {}

CCharset::~CCharset() = default;

void CCharset::Clear() {
    m_pData.assign(CODE_COUNT, 0);
    m_nSize = 0;
}

int CCharset::Import(const char* sFile) {
    if (sFile == nullptr) return 0;
    FILE* fp = std::fopen(sFile, "rb");
    if (fp == nullptr) return 0;
    m_nSize = 0;
    char sLine[IMPORT_LINE_BYTES + 1];
    char sChar[IMPORT_LINE_BYTES + 1];
    while (std::fgets(sLine, sizeof(sLine), fp) != nullptr) {
        const char* pLine = sLine;
        if (std::strncmp(pLine, "\xEF\xBB\xBF", 3) == 0) pLine += 3;
        int nType = 0;
        if (std::sscanf(pLine, "%1024s %d", sChar, &nType) != 2) continue;
        // A lone byte with its top bit set reads as lead * 256 (its NUL as the trail byte).
        int nCode = CodeOf(reinterpret_cast<const unsigned char*>(sChar), false);
        m_pData[static_cast<size_t>(nCode)] = static_cast<unsigned char>(nType);
        ++m_nSize;
    }
    std::fclose(fp);
    for (int nBlank : {10, 13, 32, 9}) m_pData[static_cast<size_t>(nBlank)] = BLANK_CLASS;
    return m_nSize;
}

int CCharset::Export(const char* sFile) const {
    if (sFile == nullptr) return 0;
    FILE* fp = std::fopen(sFile, "wt");
    if (fp == nullptr) return 0;
    for (int nCode = 1; nCode < CODE_COUNT; ++nCode) {
        char sChar[3] = {0, 0, 0};
        // Deliberate: codes up to 256 count as one byte, so code 256 writes its byte 0 (nothing);
        // the character is printed as a string, so a trail byte 0 ends it after the lead byte.
        if (nCode < 257) {
            sChar[0] = static_cast<char>(nCode & 0xFF);
        } else {
            sChar[0] = static_cast<char>(nCode / 256);
            sChar[1] = static_cast<char>(nCode % 256);
        }
        std::fprintf(fp, "%s %d\n", sChar, m_pData[static_cast<size_t>(nCode)]);
    }
    std::fclose(fp);
    return m_nSize;
}

int CCharset::Save(const char* sFile) const {
    if (sFile == nullptr) return 0;
    FILE* fp = std::fopen(sFile, "wb");
    if (fp == nullptr) return 0;
    int32_t nSize = m_nSize;
    bool bOk = std::fwrite(&nSize, 4, 1, fp) == 1 &&
               std::fwrite(m_pData.data(), 1, CODE_COUNT, fp) == static_cast<size_t>(CODE_COUNT);
    bOk = std::fclose(fp) == 0 && bOk;
    return bOk ? 1 : 0;
}

int CCharset::Load(const char* sFile) {
    Clear();
    if (sFile == nullptr) return 0;
    FILE* fp = std::fopen(sFile, "rb");
    if (fp == nullptr) return 0;
    struct stat stFile;
    if (fstat(fileno(fp), &stFile) != 0 || stFile.st_size != FILE_BYTES) {
        std::fclose(fp);
        return 0;
    }
    int32_t nSize = 0;
    std::vector<unsigned char> vecData(CODE_COUNT);
    bool bOk = std::fread(&nSize, 4, 1, fp) == 1 &&
               std::fread(vecData.data(), 1, CODE_COUNT, fp) == static_cast<size_t>(CODE_COUNT) &&
               nSize >= 0;
    std::fclose(fp);
    if (!bOk) return 0;
    m_pData.swap(vecData);
    m_nSize = nSize;
    return 1;
}

int CCharset::GetType(int nCode) const {
    if (nCode < 0 || nCode >= CODE_COUNT) return -1;
    return m_pData[static_cast<size_t>(nCode)];
}

int CCharset::GetType(const char* sChar) const {
    if (sChar == nullptr) return -1;
    return m_pData[static_cast<size_t>(CodeOf(reinterpret_cast<const unsigned char*>(sChar), true))];
}

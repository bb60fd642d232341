// BuildCommon.cpp: file and text helpers shared by the parts of vintrel-build-data.
#include "BuildCommon.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

void Fail(const std::string& sMessage) { throw CBuildError{sMessage}; }

std::string ReadBytes(const std::string& sPath) {
    FILE* fp = std::fopen(sPath.c_str(), "rb");
    if (fp == nullptr) Fail("cannot open " + sPath + ": " + std::strerror(errno));
    std::string sAll;
    char buf[65536];
    size_t nRead;
    while ((nRead = std::fread(buf, 1, sizeof(buf), fp)) > 0) sAll.append(buf, nRead);
    bool bError = std::ferror(fp) != 0;
    std::fclose(fp);
    if (bError) Fail("cannot read " + sPath);
    return sAll;
}

void WriteBytes(const std::string& sPath, const std::string& sBytes) {
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    if (fp == nullptr) Fail("cannot write " + sPath);
    bool bOk = std::fwrite(sBytes.data(), 1, sBytes.size(), fp) == sBytes.size();
    bOk = std::fclose(fp) == 0 && bOk;
    if (!bOk) Fail("cannot write " + sPath);
}

std::vector<std::string> ReadLines(const std::string& sPath) {
    std::string sAll = ReadBytes(sPath);
    std::vector<std::string> vecLines;
    size_t nStart = 0;
    while (nStart < sAll.size()) {
        size_t nEnd = sAll.find('\n', nStart);
        if (nEnd == std::string::npos) nEnd = sAll.size();
        std::string sLine = sAll.substr(nStart, nEnd - nStart);
        while (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
        vecLines.push_back(std::move(sLine));
        nStart = nEnd + 1;
    }
    return vecLines;
}

std::vector<std::string> Split(const std::string& sLine, char cSep) {
    std::vector<std::string> vecFields;
    size_t nStart = 0;
    for (;;) {
        size_t nEnd = sLine.find(cSep, nStart);
        vecFields.push_back(sLine.substr(nStart, nEnd == std::string::npos ? nEnd : nEnd - nStart));
        if (nEnd == std::string::npos) return vecFields;
        nStart = nEnd + 1;
    }
}

std::string Where(const std::string& sPath, size_t nLine) { return sPath + ":" + std::to_string(nLine + 1); }

std::vector<std::string> GbkChars(const std::string& sText) {
    std::vector<std::string> vecChars;
    for (size_t i = 0; i < sText.size();) {
        size_t nLen = (static_cast<unsigned char>(sText[i]) & 0x80) && i + 1 < sText.size() ? 2 : 1;
        vecChars.push_back(sText.substr(i, nLen));
        i += nLen;
    }
    return vecChars;
}

// KeywordImport_fuzz.cpp: imports arbitrary bytes as a keyword file into a scanner instance, scans
// with the result, deletes with the same file and exports: nothing may crash, the scan must answer,
// and an instance built from the written files must scan exactly like the one in memory.
//
// Input: byte 0 selects the options (bit 0: overwrite; bit 1: delete afterwards); the rest is the file.
#include <cstdint>
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "Vintrel/Vintrel.h"

namespace {

void WriteBytes(const std::string& sPath, const uint8_t* pData, size_t nSize) {
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    FUZZ_CHECK(fp != nullptr);
    if (nSize > 0) std::fwrite(pData, 1, nSize, fp);
    std::fclose(fp);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    static CFuzzScratch scratch("KeywordImport");
    if (nSize == 0) return 0;
    const uint8_t nOptions = pData[0];
    std::error_code ec;
    std::filesystem::remove_all(scratch.Dir() + "/Vintrelner", ec);  // every input starts afresh
    const std::string sFile = scratch.Dir() + "/words.txt";
    WriteBytes(sFile, pData + 1, nSize - 1);
    CVintrel vintrel(scratch.Dir().c_str(), 0, "\t");
    int nCount = vintrel.ImportUserDict(sFile.c_str(), (nOptions & 1) != 0);
    FUZZ_CHECK(nCount >= 0 && static_cast<size_t>(nCount) <= nSize);
    // The text scanned: the file itself (every keyword in it can hit) and a fixed one.
    std::string sText(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    sText.resize(std::string(sText.c_str()).size());
    const char* sFirst = vintrel.Scan(sText.c_str());
    FUZZ_CHECK(sFirst != nullptr);
    const std::string sResult = sFirst;
    FUZZ_CHECK(vintrel.Scan("\xD6\xD0\xB9\xFA abc") != nullptr);  // 中国 abc
    {
        CVintrel reloaded(scratch.Dir().c_str(), 0, "\t");
        FUZZ_CHECK(sResult == reloaded.Scan(sText.c_str()));
    }
    if (nOptions & 2) {
        FUZZ_CHECK(vintrel.DeleteUserDict(sFile.c_str()) >= 0);
        FUZZ_CHECK(vintrel.Scan(sText.c_str()) != nullptr);
    }
    FUZZ_CHECK(vintrel.ExportKeyDict((scratch.Dir() + "/export.txt").c_str()) >= 0);
    return 0;
}

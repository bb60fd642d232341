// ScanDetail_fuzz.cpp: detailed scans of arbitrary bytes with the shipped data and a fixed small
// keyword list (plain, pinyin-flagged, rule keywords): nothing may crash, every result is "" or starts
// with the score that the call reports, followed by the delimiter.
//
// The library is started once (UTF-8 callers) over a scratch copy of the built data directory, and
// the keywords are imported into instance 0. Input: byte 0 selects the path (bit 0: the text goes
// through the C interface, as UTF-8; otherwise it is scanned as GBK, with bit 1 choosing the call
// without retries; bit 2: the bytes are also scanned as a file, line by line); the rest is the text,
// up to its first NUL.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Vintrel/Vintrel.h"
#include "Vintrel/VintrelAPI.h"

namespace {

// The keywords, in the callers' encoding (UTF-8).
const char KEYWORDS[] =
    "南京市长 politics 5\n"
    "代开发票 fraud 10 1\n"
    "张三丰 person 3\n"
    "赌博 gambling 8 1\n"
    "abc spam 2 1\n"
    "{代开;发票}+出售-正规 fraud 7\n";

// CheckResult: "" or "<score with two decimals>\t..." agreeing with the reported score.
void CheckResult(const char* sResult, int nHits, float fScore) {
    FUZZ_CHECK(sResult != nullptr);
    if (sResult[0] == '\0') return;
    char sScore[64];
    std::snprintf(sScore, sizeof(sScore), "%.2f\t", static_cast<double>(fScore));
    FUZZ_CHECK(std::strncmp(sResult, sScore, std::strlen(sScore)) == 0);
    FUZZ_CHECK(nHits > 0);
}

// CLibrary: the library started over a scratch copy of the data, with the keywords imported.
struct CLibrary {
    CFuzzScratch scratch{"ScanDetail"};
    std::unique_ptr<CVintrel> pGBK;  // a second instance over the same files, called directly
    CLibrary() {
        const std::filesystem::path built = std::filesystem::path(VINTREL_BUILD_DIR) / "data";
        for (const auto& entry : std::filesystem::directory_iterator(built)) {
            std::filesystem::create_symlink(entry.path(), std::filesystem::path(scratch.Dir()) / entry.path().filename());
        }
        FUZZ_CHECK(VT_Init(scratch.Dir().c_str(), 1, "\t") == 1);
        const std::string sWords = scratch.Dir() + "/words.txt";
        FILE* fp = std::fopen(sWords.c_str(), "wb");
        FUZZ_CHECK(fp != nullptr);
        std::fputs(KEYWORDS, fp);
        std::fclose(fp);
        FUZZ_CHECK(VT_ImportUserDict(sWords.c_str(), 1, 0) > 0);
        pGBK.reset(new CVintrel(scratch.Dir().c_str(), 0, "\t"));
    }
    ~CLibrary() {
        pGBK.reset();
        VT_Exit();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    static CLibrary library;
    if (nSize == 0) return 0;
    const uint8_t nOptions = pData[0];
    std::string sText(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    sText.resize(std::strlen(sText.c_str()));
    if (nOptions & 1) {
        const char* sResult = VT_ScanDetail(sText.c_str(), 0);
        FUZZ_CHECK(sResult != nullptr);
    } else {
        int nHits = -1;
        float fScore = -1;
        std::string sMapped;
        std::vector<_TermPositionPair> vecPairs;
        // Mode 1 takes the text as GBK and goes on to the pinyin retry; mode 2 makes no retry.
        const char* sResult =
            library.pGBK->ScanDetail(sText.c_str(), sMapped, vecPairs, &nHits, &fScore, (nOptions & 2) ? 2 : 1);
        CheckResult(sResult, nHits, fScore);
        sResult = library.pGBK->ScanDetail(sText.c_str(), &nHits, &fScore, 0);
        FUZZ_CHECK(sResult != nullptr && nHits >= 0);
    }
    if (nOptions & 4) {
        const std::string sFile = library.scratch.Dir() + "/lines.txt";
        FILE* fp = std::fopen(sFile.c_str(), "wb");
        FUZZ_CHECK(fp != nullptr);
        std::fwrite(pData + 1, 1, nSize - 1, fp);
        std::fclose(fp);
        const int nLines = VT_ScanLine(sFile.c_str(), (library.scratch.Dir() + "/result.txt").c_str(), 0, 1);
        FUZZ_CHECK(nLines >= 0 && static_cast<size_t>(nLines) <= nSize);
    }
    return 0;
}

// CodeTran_fuzz.cpp: converts arbitrary texts both ways with a small UTF-8 converter and checks that
// the direct tables give exactly what the literal engine gives, and that a round trip runs.
//
// The tables (printable ASCII, 中 国 人, the unit 中国, and 民 mapped to a GBK handle without a text)
// are built once, in a scratch directory, the first time the target runs.
//
// Input: byte 0 selects the direction(s) (bit 0: to GBK, bit 1: to the code, both when neither);
// the rest is the text, up to its first NUL.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Utility/CodeTran.h"
#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

// UTF-8 and GBK forms of the table's hanzi units.
const char* const UTF8_UNITS[] = {"\xE4\xB8\xAD", "\xE5\x9B\xBD", "\xE4\xBA\xBA",
                                  "\xE4\xB8\xAD\xE5\x9B\xBD", "\xE6\xB0\x91"};  // 中 国 人 中国 民
const char* const GBK_UNITS[] = {"\xD6\xD0", "\xB9\xFA", "\xC8\xCB", "\xD6\xD0\xB9\xFA"};

void WriteSide(const std::vector<std::string>& vecUnits, const std::string& sDict,
               const std::string& sList) {
    CPDAT dict(1);
    CWordList list(false, nullptr);
    for (size_t i = 0; i < vecUnits.size(); ++i) {
        FUZZ_CHECK(dict.AddWord(vecUnits[i].c_str()) == static_cast<int>(i));
        list.AddWord(vecUnits[i].c_str(), static_cast<int>(i));
    }
    dict.AddWordComplete();
    list.AddWordComplete();
    FUZZ_CHECK(dict.Save(sDict.c_str()) == 1 && list.Save(sList.c_str()) == 1);
}

void WriteMap(int nCount, int nExtraSource, int nExtraTarget, const std::string& sFile) {
    CIDMaps map;
    map.MapInit();
    for (int i = 0; i < nCount; ++i) map.MapAdd(i, i);
    if (nExtraSource >= 0) map.MapAdd(nExtraSource, nExtraTarget);
    map.MapComplete();
    FUZZ_CHECK(map.Save(sFile.c_str()) == 1);
}

// The converter and the fuzzer's own copies of its tables (for the literal engine).
struct CFixture {
    std::string sDir;
    std::unique_ptr<CCodeTran> pTran;
    CPDAT gbkDict{1}, codeDict{1};
    CWordList gbkList{false, nullptr}, codeList{false, nullptr};
    CIDMaps code2Gbk, gbk2Code;

    CFixture() {
        g_bLog = false;
        char sTemplate[] = "/tmp/vintrel-codetran-fuzz-XXXXXX";
        FUZZ_CHECK(mkdtemp(sTemplate) != nullptr);
        sDir = sTemplate;
        std::vector<std::string> vecGbk, vecCode;
        for (int c = 0x20; c < 0x7F; ++c) {
            vecGbk.push_back(std::string(1, static_cast<char>(c)));
            vecCode.push_back(vecGbk.back());
        }
        for (const char* s : GBK_UNITS) vecGbk.push_back(s);
        for (const char* s : UTF8_UNITS) vecCode.push_back(s);
        int nMapped = static_cast<int>(vecGbk.size());
        WriteSide(vecGbk, File("GBK.pdat"), File("GBK.wordlist"));
        WriteSide(vecCode, File("UTF8.pdat"), File("UTF8.wordlist"));
        // 民 (the last code unit) maps to a GBK handle without a text.
        WriteMap(nMapped, nMapped, 999, File("UTF2GBK.map"));
        WriteMap(nMapped, -1, 0, File("GBK2UTF.map"));
        pTran.reset(new CCodeTran(sDir.c_str(), 1));
        FUZZ_CHECK(pTran->GetStatus() == 1);
        FUZZ_CHECK(gbkDict.Load(File("GBK.pdat").c_str()) == 1);
        FUZZ_CHECK(codeDict.Load(File("UTF8.pdat").c_str()) == 1);
        FUZZ_CHECK(gbkList.Load(File("GBK.wordlist").c_str()) == 1);
        FUZZ_CHECK(codeList.Load(File("UTF8.wordlist").c_str()) == 1);
        FUZZ_CHECK(code2Gbk.Load(File("UTF2GBK.map").c_str()) == 1);
        FUZZ_CHECK(gbk2Code.Load(File("GBK2UTF.map").c_str()) == 1);
    }
    ~CFixture() {
        for (const char* s : {"GBK.pdat", "GBK.wordlist", "UTF8.pdat", "UTF8.wordlist",
                              "UTF2GBK.map", "GBK2UTF.map"}) {
            std::remove(File(s).c_str());
        }
        rmdir(sDir.c_str());
    }
    std::string File(const char* sName) const { return sDir + "/" + sName; }
};

CFixture& Fixture() {
    static CFixture s_fixture;
    return s_fixture;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 16) return 0;
    CFixture& fixture = Fixture();
    const CCodeTran& tran = *fixture.pTran;
    int nWays = pData[0] & 3;
    if (nWays == 0) nWays = 3;
    std::string sText(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    sText.resize(std::strlen(sText.c_str()));

    std::string sDirect, sPlain, sBack;
    if (nWays & 1) {
        const char* pResult = tran.CodeToGBK(sText.c_str(), sDirect);
        FUZZ_CHECK((pResult == nullptr) == sText.empty());
        if (!sText.empty()) {
            tran.CodeTransPlain(sText.c_str(), sPlain, &fixture.codeDict, &fixture.code2Gbk,
                                &fixture.gbkList, false);
            FUZZ_CHECK(sDirect == sPlain);
        }
        tran.GBKToCode(sDirect.c_str(), sBack);
    }
    if (nWays & 2) {
        const char* pResult = tran.GBKToCode(sText.c_str(), sDirect);
        FUZZ_CHECK(pResult != nullptr);
        tran.CodeTransPlain(sText.c_str(), sPlain, &fixture.gbkDict, &fixture.gbk2Code,
                            &fixture.codeList, true);
        FUZZ_CHECK(sText.empty() || sDirect == sPlain);
        // Nothing is invented: the result is never longer than the text with every byte wrapped.
        FUZZ_CHECK(sDirect.size() <= 5 * sText.size());
    }
    return 0;
}

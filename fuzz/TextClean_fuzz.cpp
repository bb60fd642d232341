// TextClean_fuzz.cpp: the text-cleaning helpers given arbitrary bytes: HTML-to-text cleaning must
// stay inside its input and output, never grow the text and give the same in place as into a second
// buffer; query normalisation must stay inside its buffer, never grow the text and change nothing
// when run a second time.
//
// Input: byte 0 picks the normalisation mode (bit 0: bQueryPaser, bit 1: language setting 0); the
// rest is the text, cleaned as a page and normalised as a query line.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "FuzzSupport.h"
#include "Utility/TextClean.h"

namespace {

void CheckHtmlToText(const char* pData, size_t nLen) {
    // Exact sizes, so that a sanitizer sees any access outside the documented buffers.
    std::unique_ptr<char[]> pIn(new char[nLen]), pOut(new char[nLen + 1]);
    if (nLen > 0) std::memcpy(pIn.get(), pData, nLen);
    size_t nOut = 0;
    vHtmlToText(pIn.get(), nLen, pOut.get(), nOut);
    FUZZ_CHECK(nOut <= nLen && pOut[nOut] == '\0');

    std::unique_ptr<char[]> pSame(new char[nLen + 1]);
    if (nLen > 0) std::memcpy(pSame.get(), pData, nLen);
    size_t nSame = 0;
    vHtmlToText(pSame.get(), nLen, pSame.get(), nSame);
    FUZZ_CHECK(nSame == nOut && std::memcmp(pSame.get(), pOut.get(), nOut) == 0);
}

void CheckNormalization(const char* pData, size_t nLen, bool bQuery) {
    const int n = static_cast<int>(nLen);
    std::unique_ptr<char[]> pLine(new char[nLen + 1]);
    if (nLen > 0) std::memcpy(pLine.get(), pData, nLen);
    const int nNew = str_normalization(pLine.get(), n, bQuery);
    if (nLen == 0) {  // nothing to do and nothing written
        FUZZ_CHECK(nNew == 0);
        return;
    }
    FUZZ_CHECK(nNew > 0 && nNew <= n && pLine[nNew] == '\0');

    // A normalised text is its own normalisation: every character becomes itself or an ASCII byte,
    // so a second pass sees the same character boundaries.
    const std::string sOnce(pLine.get(), nNew);
    std::unique_ptr<char[]> pAgain(new char[nNew + 1]);
    std::memcpy(pAgain.get(), sOnce.data(), nNew);
    FUZZ_CHECK(str_normalization(pAgain.get(), nNew, bQuery) == nNew);
    FUZZ_CHECK(std::memcmp(pAgain.get(), sOnce.data(), nNew) == 0);

    if (!bQuery) {
        std::unique_ptr<char[]> pName(new char[nLen + 1]);
        std::memcpy(pName.get(), pData, nLen);
        FUZZ_CHECK(zipname_normalization(pName.get(), n) == nNew);
        FUZZ_CHECK(std::memcmp(pName.get(), sOnce.data(), nNew) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 20) return 0;
    const char* pText = reinterpret_cast<const char*>(pData) + 1;
    const size_t nLen = nSize - 1;
    CheckHtmlToText(pText, nLen);
    const int nSavedLang = g_nLangType;
    g_nLangType = (pData[0] & 2) != 0 ? 0 : 1;
    CheckNormalization(pText, nLen, (pData[0] & 1) != 0);
    g_nLangType = nSavedLang;
    return 0;
}

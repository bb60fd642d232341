// vintrel-demo: loads a keyword list into a double-array trie and reports every keyword hit in a text file,
// line by line. Both files are UTF-8; matching works in GBK, as inside the library.
//
// Usage: vintrel-demo WORDS TEXT
#include <iconv.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "Utility/PDAT.h"

namespace {

// Recode: converts sText between two encodings with glibc iconv, dropping what cannot be converted.
std::string Recode(const std::string& sText, const char* sFrom, const char* sTo) {
    std::string sTarget = std::string(sTo) + "//IGNORE";
    iconv_t cd = iconv_open(sTarget.c_str(), sFrom);
    if (cd == reinterpret_cast<iconv_t>(-1)) return std::string();
    std::string sOut(sText.size() * 4 + 4, '\0');
    char* pIn = const_cast<char*>(sText.data());
    size_t nIn = sText.size();
    char* pOut = sOut.data();
    size_t nOut = sOut.size();
    iconv(cd, &pIn, &nIn, &pOut, &nOut);
    iconv_close(cd);
    sOut.resize(sOut.size() - nOut);
    return sOut;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s WORDS TEXT\n  WORDS: one keyword per line (UTF-8)\n"
                     "  TEXT: text to scan (UTF-8)\n", argv[0]);
        return 2;
    }
    std::ifstream words(argv[1]);
    std::ifstream text(argv[2]);
    if (!words || !text) {
        std::fprintf(stderr, "cannot open %s\n", !words ? argv[1] : argv[2]);
        return 1;
    }

    CPDAT dict(0);
    std::string sLine;
    while (std::getline(words, sLine)) {
        if (!sLine.empty()) dict.AddWord(Recode(sLine, "UTF-8", "GBK").c_str());
    }
    dict.AddWordComplete();
    std::printf("Loaded %zu keywords from %s\n\n", dict.GetItemCount(), argv[1]);

    int nLine = 0;
    size_t nHits = 0;
    while (std::getline(text, sLine)) {
        ++nLine;
        std::string sGbk = Recode(sLine, "UTF-8", "GBK");
        std::vector<_stTermPosition> vecHits;
        dict.MMScanPosition(sGbk.c_str(), vecHits, 1);
        std::printf("%d: %s\n", nLine, sLine.c_str());
        for (const _stTermPosition& hit : vecHits) {
            std::string sHit = Recode(sGbk.substr(hit.iStartPos, hit.nWordLen), "GBK", "UTF-8");
            std::printf("   hit %s  bytes %d..%d (GBK)  handle %d\n", sHit.c_str(), hit.iStartPos,
                        hit.iStartPos + hit.nWordLen, hit.nHandle);
        }
        if (vecHits.empty()) std::printf("   no hit\n");
        nHits += vecHits.size();
    }
    std::printf("\n%d lines, %zu hits\n", nLine, nHits);
    return 0;
}

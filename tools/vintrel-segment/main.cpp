// vintrel-segment: segments a text file line by line with the library's segmentation engine.
//
// Usage: vintrel-segment [--data DIR] [--encoding utf8|gbk] [--tags] INPUT OUTPUT
//
// DIR is the library's data directory (the engine reads DIR/Data; default: the "data" directory
// beside this program, which the build fills). Each input line gives one output line: its words
// separated by two blanks, each followed by "/" and its tag with --tags. Line ends (LF or CR LF) are
// not part of the text.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "DORVANE/API/GRAVO.h"
#include "Utility/CodeTran.h"
#include "Utility/Utility.h"

namespace {

int Usage() {
    std::fprintf(stderr, "usage: vintrel-segment [--data DIR] [--encoding utf8|gbk] [--tags] INPUT OUTPUT\n");
    return 2;
}

// The "data" directory beside the running program.
std::string DefaultDataDir() {
    char sPath[4096];
    ssize_t n = readlink("/proc/self/exe", sPath, sizeof(sPath) - 1);
    if (n <= 0) return "build/data";
    std::string sExe(sPath, static_cast<size_t>(n));
    size_t nSlash = sExe.rfind('/');
    return (nSlash == std::string::npos ? std::string(".") : sExe.substr(0, nSlash)) + "/data";
}

// ReadLine: the next line of fp without its line end; false at the end of the file.
bool ReadLine(FILE* fp, std::string& sLine) {
    sLine.clear();
    int c;
    bool bAny = false;
    while ((c = std::fgetc(fp)) != EOF) {
        bAny = true;
        if (c == '\n') break;
        sLine.push_back(static_cast<char>(c));
    }
    if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
    return bAny;
}

}  // namespace

int main(int argc, char** argv) {
    std::string sData = DefaultDataDir();
    bool bUtf8 = true, bTags = false;
    const char* sFiles[2] = {nullptr, nullptr};
    int nFiles = 0;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--data") == 0 && i + 1 < argc) {
            sData = argv[++i];
        } else if (std::strcmp(argv[i], "--encoding") == 0 && i + 1 < argc) {
            std::string sEncoding = argv[++i];
            if (sEncoding == "utf8") bUtf8 = true;
            else if (sEncoding == "gbk") bUtf8 = false;
            else return Usage();
        } else if (std::strcmp(argv[i], "--tags") == 0) {
            bTags = true;
        } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
            return Usage();
        } else if (nFiles < 2) {
            sFiles[nFiles++] = argv[i];
        } else {
            return Usage();
        }
    }
    if (nFiles != 2) return Usage();

    if (GRAVO_Init(sData.c_str(), 0) != 1) {
        std::fprintf(stderr, "vintrel-segment: %s\n", GetLastErrorMessage());
        return 1;
    }
    CCodeTran* pTran = nullptr;
    if (bUtf8) {
        pTran = new CCodeTran(sData.c_str(), 1);
        if (pTran->GetStatus() != 1) {
            std::fprintf(stderr, "vintrel-segment: cannot load the encoding tables of %s\n", sData.c_str());
            delete pTran;
            GRAVO_Exit();
            return 1;
        }
    }
    int nResult = 0;
    FILE* fin = std::fopen(sFiles[0], "rb");
    FILE* fout = fin != nullptr ? std::fopen(sFiles[1], "wb") : nullptr;
    if (fin == nullptr || fout == nullptr) {
        std::fprintf(stderr, "vintrel-segment: cannot %s %s\n", fin == nullptr ? "read" : "write",
                     fin == nullptr ? sFiles[0] : sFiles[1]);
        nResult = 1;
    } else {
        std::string sLine, sGBK, sOut;
        bool bFirst = true;
        while (ReadLine(fin, sLine)) {
            // A UTF-8 byte-order mark at the start of the file is no text.
            if (bFirst && bUtf8 && sLine.compare(0, 3, "\xEF\xBB\xBF") == 0) sLine.erase(0, 3);
            bFirst = false;
            const char* sText = sLine.c_str();
            if (pTran != nullptr) sText = pTran->CodeToGBK(sText, sGBK);
            const char* sSegmented = GRAVO_ParagraphProcess(sText != nullptr ? sText : "", bTags ? 1 : 0);
            if (pTran != nullptr) {
                const char* p = pTran->GBKToCode(sSegmented, sOut);
                sSegmented = p != nullptr ? p : "";
            }
            std::fputs(sSegmented, fout);
            std::fputc('\n', fout);
        }
        if (std::ferror(fin) || std::fclose(fout) != 0) {
            std::fprintf(stderr, "vintrel-segment: error while writing %s\n", sFiles[1]);
            nResult = 1;
        }
        fout = nullptr;
    }
    if (fin != nullptr) std::fclose(fin);
    if (fout != nullptr) std::fclose(fout);
    delete pTran;
    GRAVO_Exit();
    return nResult;
}

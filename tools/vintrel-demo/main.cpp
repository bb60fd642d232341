// vintrel-demo: the library's main job, end to end, through its C interface only. It starts the library
// on a copy of a data directory, imports a keyword list, scans a text file line by line with the
// detailed scan and prints every result, then prints the hit statistics report.
//
// Usage: vintrel-demo DATA_DIR KEYWORDS TEXT
//   DATA_DIR  the default data directory (build/data); it is copied into a scratch directory under /tmp,
//             which is also the working directory of the run (the library's logs go there) and is
//             removed at the end, so DATA_DIR is never written to
//   KEYWORDS  keyword list in the import format, UTF-8
//   TEXT      texts to scan, one a line, UTF-8
#include <iconv.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "Vintrel/VintrelAPI.h"

namespace fs = std::filesystem;

namespace {

constexpr int ENCODE_UTF8 = 1;
constexpr const char* DELIMITER = "\t";
constexpr size_t SHOW_MAX = 160;  // bytes of a long input or result field shown
const char STAT_FILE[] = "scan-stat.txt";
const char INSTANCE_DIR[] = "Vintrelner";  // where the library keeps each instance's keyword dictionaries

// ScratchDir: a fresh directory under /tmp holding a copy of the data directory; removed with its
// contents when the object goes. Copying is deleted: one owner removes the directory.
// Thread rule: used by the main thread only.
class ScratchDir {
public:
    ScratchDir() {
        char sTemplate[] = "/tmp/vintrel-demo-XXXXXX";
        if (mkdtemp(sTemplate) != nullptr) m_path = sTemplate;
    }
    ~ScratchDir() {
        if (m_path.empty()) return;
        std::error_code ec;
        fs::remove_all(m_path, ec);
    }
    ScratchDir(const ScratchDir&) = delete;  // two owners would remove one directory twice
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool Created() const { return !m_path.empty(); }
    const fs::path& Path() const { return m_path; }

private:
    fs::path m_path;
};

// Recode: sText from one encoding into another with iconv(3); bytes that cannot be converted are
// dropped.
std::string Recode(const std::string& sText, const char* sFrom, const char* sTo) {
    const std::string sTarget = std::string(sTo) + "//IGNORE";
    iconv_t cd = iconv_open(sTarget.c_str(), sFrom);
    if (cd == reinterpret_cast<iconv_t>(-1)) return sText;
    std::string sOut(sText.size() * 4 + 16, '\0');
    char* pIn = const_cast<char*>(sText.data());
    size_t nIn = sText.size();
    char* pOut = sOut.data();
    size_t nOut = sOut.size();
    while (nIn > 0) {
        if (iconv(cd, &pIn, &nIn, &pOut, &nOut) != static_cast<size_t>(-1)) break;
        if (errno != EILSEQ && errno != EINVAL) break;
        ++pIn;  // skip one byte that is no character and go on
        --nIn;
    }
    iconv_close(cd);
    sOut.resize(sOut.size() - nOut);
    return sOut;
}

// Shortened: sText cut to at most nMax bytes at a UTF-8 character boundary, with a note of its length.
std::string Shortened(const std::string& sText, size_t nMax) {
    if (sText.size() <= nMax) return sText;
    size_t n = nMax;
    while (n > 0 && (static_cast<unsigned char>(sText[n]) & 0xC0) == 0x80) --n;
    return sText.substr(0, n) + " ... (" + std::to_string(sText.size()) + " bytes in all)";
}

// Split: the fields of a detailed result: score, keywords, classes and the rest (the text).
std::vector<std::string> Split(const std::string& sResult, const std::string& sDelimiter, size_t nFields) {
    std::vector<std::string> vecFields;
    size_t nFrom = 0;
    while (vecFields.size() + 1 < nFields) {
        const size_t nAt = sResult.find(sDelimiter, nFrom);
        if (nAt == std::string::npos) break;
        vecFields.push_back(sResult.substr(nFrom, nAt - nFrom));
        nFrom = nAt + sDelimiter.size();
    }
    vecFields.push_back(sResult.substr(nFrom));
    return vecFields;
}

// PrintText: the text field, one printed line for each of its lines (marked sentences of a pinyin hit
// end in CR LF), each shortened.
void PrintText(const std::string& sText) {
    std::istringstream in(sText);
    std::string sLine;
    bool bFirst = true;
    while (std::getline(in, sLine)) {
        if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
        if (sLine.empty()) continue;
        std::printf("     %-9s %s\n", bFirst ? "text" : "", Shortened(sLine, SHOW_MAX).c_str());
        bFirst = false;
    }
    if (bFirst) std::printf("     %-9s\n", "text");
}

void PrintResult(const char* sResult) {
    if (sResult[0] == '\0') {
        std::printf("     (no hit)\n");
        return;
    }
    const std::vector<std::string> vecFields = Split(sResult, DELIMITER, 4);
    if (vecFields.size() < 4) {  // not the documented layout: show it as it is
        std::printf("     result    %s\n", Shortened(sResult, SHOW_MAX).c_str());
        return;
    }
    std::printf("     score     %s\n", vecFields[0].c_str());
    std::printf("     keywords  %s\n", vecFields[1].c_str());
    std::printf("     classes   %s\n", vecFields[2].c_str());
    PrintText(vecFields[3]);
}

// Fail: the library's last error after a failed call, on stderr.
void Fail(const char* sWhat) {
    std::fflush(stdout);
    std::fprintf(stderr, "vintrel-demo: %s failed: %s\n", sWhat, VT_GetLastErrorMsg());
}

// AbsolutePath: sPath made absolute against the starting working directory, checked to exist.
bool AbsolutePath(const char* sPath, fs::path& path) {
    std::error_code ec;
    path = fs::absolute(sPath, ec);
    if (ec || !fs::exists(path, ec)) {
        std::fprintf(stderr, "vintrel-demo: cannot find %s\n", sPath);
        return false;
    }
    return true;
}

// CopyData: the entries of the data directory into the scratch directory, except the keyword
// dictionaries a former run may have left there (VT_Init would load their compound rules, which an
// overwriting import keeps).
bool CopyData(const fs::path& dataDir, const fs::path& scratch) {
    std::error_code ec;
    for (fs::directory_iterator it(dataDir, ec), end; !ec && it != end; it.increment(ec)) {
        const fs::path name = it->path().filename();
        if (name == INSTANCE_DIR) continue;
        fs::copy(it->path(), scratch / name, fs::copy_options::recursive, ec);
    }
    if (ec) {
        std::fprintf(stderr, "vintrel-demo: cannot copy %s to %s: %s\n", dataDir.c_str(), scratch.c_str(),
                     ec.message().c_str());
        return false;
    }
    return true;
}

// Run: everything after the scratch directory was made, with it as the working directory.
int Run(const fs::path& dataDir, const fs::path& keywords, const fs::path& textFile, const fs::path& scratch) {
    std::printf("Data: %s (copied to %s)\n", dataDir.c_str(), scratch.c_str());
    std::fflush(stdout);
    if (VT_Init(scratch.c_str(), ENCODE_UTF8, DELIMITER) != 1) {
        Fail("VT_Init");
        return 1;
    }
    int nExit = 0;
    std::printf("Keywords: %s\n", keywords.c_str());
    std::fflush(stdout);
    const int nImported = VT_ImportUserDict(keywords.c_str(), 1, 0);
    // The import's own message ("Build map success!") ends without a line feed.
    std::printf("\n");
    if (nImported <= 0) {
        // 0 lines accepted is no error of its own: the last message may be older than the import.
        std::fflush(stdout);
        std::fprintf(stderr, "vintrel-demo: VT_ImportUserDict imported nothing from %s (last library message: %s)\n",
                     keywords.c_str(), VT_GetLastErrorMsg());
        VT_Exit();
        return 1;
    }
    std::printf("Imported %d keyword lines (keywords and compound rules)\n\n", nImported);

    std::ifstream in(textFile, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "vintrel-demo: cannot read %s\n", textFile.c_str());
        VT_Exit();
        return 1;
    }
    std::printf("Texts: %s\n", textFile.c_str());
    std::string sLine;
    int nLine = 0, nHitLines = 0;
    while (std::getline(in, sLine)) {
        ++nLine;
        if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
        if (nLine == 1 && sLine.compare(0, 3, "\xEF\xBB\xBF") == 0) sLine.erase(0, 3);
        if (sLine.empty()) continue;
        std::printf("\n[%2d] %s\n", nLine, Shortened(sLine, SHOW_MAX).c_str());
        const char* sResult = VT_ScanDetail(sLine.c_str(), 0);
        if (sResult == nullptr) {
            Fail("VT_ScanDetail");
            nExit = 1;
            continue;
        }
        if (sResult[0] != '\0') ++nHitLines;
        PrintResult(sResult);
    }
    std::printf("\n%d lines, %d with a hit\n", nLine, nHitLines);

    const fs::path statFile = scratch / STAT_FILE;
    if (VT_ScanStat(statFile.c_str(), 0) != 1) {
        Fail("VT_ScanStat");
        nExit = 1;
    } else {
        std::ifstream stat(statFile, std::ios::binary);
        std::ostringstream content;
        content << stat.rdbuf();
        std::printf("\nStatistics report (VT_ScanStat, GBK, shown in UTF-8):\n%s",
                    Recode(content.str(), "GBK", "UTF-8").c_str());
    }
    VT_Exit();
    return nExit;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr,
                     "usage: %s DATA_DIR KEYWORDS TEXT\n"
                     "  DATA_DIR: the data directory (build/data), copied to a scratch directory\n"
                     "  KEYWORDS: keyword list, one 'keyword class weight [pinyin-flag]' a line (UTF-8)\n"
                     "  TEXT:     texts to scan, one a line (UTF-8)\n",
                     argv[0]);
        return 2;
    }
    fs::path dataDir, keywords, textFile;
    if (!AbsolutePath(argv[1], dataDir) || !AbsolutePath(argv[2], keywords) || !AbsolutePath(argv[3], textFile))
        return 1;
    std::error_code ec;
    if (!fs::is_directory(dataDir / "Data", ec)) {
        std::fprintf(stderr, "vintrel-demo: %s is no data directory (no Data/ in it); run `make` first\n", argv[1]);
        return 1;
    }

    const fs::path startDir = fs::current_path(ec);
    int nExit = 1;
    {
        ScratchDir scratch;
        if (!scratch.Created()) {
            std::fprintf(stderr, "vintrel-demo: cannot create a scratch directory under /tmp: %s\n",
                         std::strerror(errno));
            return 1;
        }
        if (!CopyData(dataDir, scratch.Path())) return 1;
        // The library writes its log files into the working directory.
        if (chdir(scratch.Path().c_str()) != 0) {
            std::fprintf(stderr, "vintrel-demo: cannot enter %s: %s\n", scratch.Path().c_str(), std::strerror(errno));
            return 1;
        }
        nExit = Run(dataDir, keywords, textFile, scratch.Path());
        std::fflush(stdout);
        if (!startDir.empty() && chdir(startDir.c_str()) != 0 && chdir("/") != 0) nExit = 1;
    }
    return nExit;
}

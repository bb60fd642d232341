// BenchSupport.h: what the library benchmarks share: the shipped word list and the PKU test text,
// a scratch data directory over the built tables, a scratch working directory, peak memory.
#ifndef VINTREL_BENCH_BENCHSUPPORT_H_
#define VINTREL_BENCH_BENCHSUPPORT_H_

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace vt_bench {

const std::string BUILT_DATA = VINTREL_BUILD_DIR "/data";
const std::string PKU_TEXT = VINTREL_SHARED_DIR "/benchmarks/sighan2005/pku_test.txt";
const std::string JIEBA = VINTREL_SOURCE_DIR "/data/segmenter/jieba_dict.gbk.txt";

inline std::string ReadBytes(const std::string& sPath) {
    std::string s;
    FILE* fp = std::fopen(sPath.c_str(), "rb");
    if (fp == nullptr) return s;
    char sBuffer[1 << 16];
    size_t n;
    while ((n = std::fread(sBuffer, 1, sizeof(sBuffer), fp)) > 0) s.append(sBuffer, n);
    std::fclose(fp);
    return s;
}

// Words: jieba's words of two or more characters (GBK), in file order.
inline const std::vector<std::string>& Words() {
    static const std::vector<std::string> vec = [] {
        std::vector<std::string> v;
        std::string sAll = ReadBytes(JIEBA);
        size_t nPos = 0;
        while (nPos < sAll.size()) {
            size_t nEnd = sAll.find('\n', nPos);
            if (nEnd == std::string::npos) nEnd = sAll.size();
            std::string sWord = sAll.substr(nPos, sAll.find(' ', nPos) - nPos);
            nPos = nEnd + 1;
            if (sWord.size() >= 4 || (sWord.size() >= 2 && static_cast<unsigned char>(sWord[0]) < 0x80))
                v.push_back(sWord);
        }
        return v;
    }();
    return vec;
}

// Lines: the PKU test text (GBK), line by line, without line ends.
inline const std::vector<std::string>& Lines() {
    static const std::vector<std::string> vec = [] {
        std::vector<std::string> v;
        std::string sAll = ReadBytes(PKU_TEXT);
        size_t nPos = 0;
        while (nPos < sAll.size()) {
            size_t nEnd = sAll.find('\n', nPos);
            if (nEnd == std::string::npos) nEnd = sAll.size();
            std::string sLine = sAll.substr(nPos, nEnd - nPos);
            if (!sLine.empty() && sLine.back() == '\r') sLine.pop_back();
            if (!sLine.empty()) v.push_back(sLine);
            nPos = nEnd + 1;
        }
        return v;
    }();
    return vec;
}

// CRoot: a temporary data directory linking the built tables, where instances write their files.
class CRoot {
public:
    CRoot() {
        char sTemplate[] = "/tmp/vintrel-bench-XXXXXX";
        m_sPath = mkdtemp(sTemplate) != nullptr ? sTemplate : "/tmp";
        if (DIR* dir = opendir(BUILT_DATA.c_str())) {
            while (dirent* e = readdir(dir)) {
                std::string sName = e->d_name;
                if (sName != "." && sName != ".." &&
                    symlink((BUILT_DATA + "/" + sName).c_str(), (m_sPath + "/" + sName).c_str()) != 0)
                    continue;
            }
            closedir(dir);
        }
    }
    ~CRoot() {
        std::string s = "rm -rf '" + m_sPath + "'";
        if (std::system(s.c_str()) != 0) return;
    }
    CRoot(const CRoot&) = delete;  // owns a directory
    CRoot& operator=(const CRoot&) = delete;
    const std::string& Path() const { return m_sPath; }

private:
    std::string m_sPath;
};

// CScratchWorkingDirectory: the library writes its log files to the working directory; a benchmark
// program holds one of these so they go to a scratch directory, removed at exit.
struct CScratchWorkingDirectory {
    CScratchWorkingDirectory() {
        char sTemplate[] = "/tmp/vintrel-bench-cwd-XXXXXX";
        if (mkdtemp(sTemplate) == nullptr || chdir(sTemplate) != 0) return;
        m_sPath = sTemplate;
    }
    ~CScratchWorkingDirectory() {
        std::string s = "rm -rf '" + m_sPath + "'";
        if (!m_sPath.empty() && std::system(s.c_str()) != 0) return;
    }
    CScratchWorkingDirectory(const CScratchWorkingDirectory&) = delete;  // owns a directory
    CScratchWorkingDirectory& operator=(const CScratchWorkingDirectory&) = delete;
    std::string m_sPath;
};

inline long PeakRSSMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

// CurrentRSSMiB: the resident set now (from /proc/self/statm), -1 when it cannot be read.
inline long CurrentRSSMiB() {
    long nPages = -1, nResident = -1;
    FILE* fp = std::fopen("/proc/self/statm", "r");
    if (fp == nullptr) return -1;
    if (std::fscanf(fp, "%ld %ld", &nPages, &nResident) != 2) nResident = -1;
    std::fclose(fp);
    return nResident < 0 ? -1 : nResident * sysconf(_SC_PAGESIZE) / (1024 * 1024);
}

}  // namespace vt_bench

#endif  // VINTREL_BENCH_BENCHSUPPORT_H_

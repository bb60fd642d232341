// ApiSupport.h: helpers of the C-interface tests, which link only the shared library: a private data
// directory (the built tables linked in, the instances' files written inside it), files, GBK text.
#ifndef VINTREL_TESTS_API_APISUPPORT_H_
#define VINTREL_TESTS_API_APISUPPORT_H_

#include <dirent.h>
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace vt_api {

// G: UTF-8 text in GBK (glibc iconv).
inline std::string G(const std::string& sUtf8) {
    iconv_t cd = iconv_open("GBK", "UTF-8");
    std::string sOut(sUtf8.size() * 2 + 4, '\0');
    char* pIn = const_cast<char*>(sUtf8.data());
    size_t nIn = sUtf8.size();
    char* pOut = &sOut[0];
    size_t nOut = sOut.size();
    iconv(cd, &pIn, &nIn, &pOut, &nOut);
    iconv_close(cd);
    sOut.resize(sOut.size() - nOut);
    return sOut;
}

inline bool WriteFile(const std::string& sPath, const std::string& sBytes) {
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    if (fp == nullptr) return false;
    bool bOk = std::fwrite(sBytes.data(), 1, sBytes.size(), fp) == sBytes.size();
    return std::fclose(fp) == 0 && bOk;
}

inline std::string ReadFile(const std::string& sPath) {
    std::string sBytes;
    FILE* fp = std::fopen(sPath.c_str(), "rb");
    if (fp == nullptr) return sBytes;
    char sBuffer[65536];
    size_t n;
    while ((n = std::fread(sBuffer, 1, sizeof(sBuffer), fp)) > 0) sBytes.append(sBuffer, n);
    std::fclose(fp);
    return sBytes;
}

inline bool Exists(const std::string& sPath) {
    struct stat st;
    return stat(sPath.c_str(), &st) == 0;
}

// CDataRoot: a fresh directory that links every entry of the built data directory (tables and the
// engine's Data/), so instances can write their Vintrelner/ files into it. Removed with its contents.
class CDataRoot {
public:
    CDataRoot() {
        char sTemplate[] = "/tmp/vintrel-api-XXXXXX";
        const char* p = mkdtemp(sTemplate);
        m_sPath = p != nullptr ? p : "/tmp";
        std::string sBuilt = std::string(VINTREL_BUILD_DIR) + "/data";
        if (DIR* dir = opendir(sBuilt.c_str())) {
            while (dirent* entry = readdir(dir)) {
                std::string sName = entry->d_name;
                if (sName == "." || sName == "..") continue;
                if (symlink((sBuilt + "/" + sName).c_str(), (m_sPath + "/" + sName).c_str()) != 0) continue;
            }
            closedir(dir);
        }
    }
    ~CDataRoot() {
        std::string sCommand = "rm -rf '" + m_sPath + "'";
        if (m_sPath.rfind("/tmp/vintrel-api-", 0) == 0 && std::system(sCommand.c_str()) != 0) return;
    }
    CDataRoot(const CDataRoot&) = delete;  // owns a directory
    CDataRoot& operator=(const CDataRoot&) = delete;

    const std::string& Path() const { return m_sPath; }
    std::string File(const std::string& sName) const { return m_sPath + "/" + sName; }
    // Unlink: removes one linked table (the tests of missing data).
    void Unlink(const std::string& sName) const { unlink(File(sName).c_str()); }

private:
    std::string m_sPath;
};

// EnterScratchDirectory: makes the working directory a fresh temporary one (once per process, removed
// at exit), so that the library's log files and relative paths stay out of the build tree.
inline void EnterScratchDirectory() {
    static const std::string sDir = [] {
        char sTemplate[] = "/tmp/vintrel-cwd-XXXXXX";
        const char* p = mkdtemp(sTemplate);
        std::string s = p != nullptr ? p : "/tmp";
        if (chdir(s.c_str()) != 0) return std::string("/tmp");
        static std::string sRemove = "rm -rf '" + s + "'";
        std::atexit([] {
            if (std::system(sRemove.c_str()) != 0) return;
        });
        return s;
    }();
    (void)sDir;
}

}  // namespace vt_api

#endif  // VINTREL_TESTS_API_APISUPPORT_H_

// TestSupport.cpp: see TestSupport.h.
#include "support/TestSupport.h"

#include <iconv.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace vt_test {

CTempDir::CTempDir() {
    const char* sBase = std::getenv("TMPDIR");
    std::string sTemplate = std::string(sBase && *sBase ? sBase : "/tmp") + "/vintrel-test-XXXXXX";
    std::vector<char> vecBuf(sTemplate.begin(), sTemplate.end());
    vecBuf.push_back('\0');
    if (mkdtemp(vecBuf.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    m_sPath = vecBuf.data();
}

CTempDir::~CTempDir() {
    std::error_code ec;
    std::filesystem::remove_all(m_sPath, ec);
}

std::string Today() {
    std::time_t t = std::time(nullptr);
    struct tm tmLocal;
    localtime_r(&t, &tmLocal);
    char sBuf[16];
    std::strftime(sBuf, sizeof(sBuf), "%Y%m%d", &tmLocal);
    return sBuf;
}

std::string ReadWholeFile(const std::string& sPath) {
    std::ifstream in(sPath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool WriteWholeFile(const std::string& sPath, const std::string& sBytes) {
    std::ofstream out(sPath, std::ios::binary | std::ios::trunc);
    out.write(sBytes.data(), static_cast<std::streamsize>(sBytes.size()));
    return static_cast<bool>(out);
}

bool FileExists(const std::string& sPath) { return access(sPath.c_str(), F_OK) == 0; }

std::string Convert(const std::string& sText, const char* sFrom, const char* sTo) {
    iconv_t cd = iconv_open(sTo, sFrom);
    if (cd == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("iconv_open failed");
    std::string sOut(sText.size() * 4 + 16, '\0');
    char* pIn = const_cast<char*>(sText.data());
    size_t nIn = sText.size();
    char* pOut = sOut.data();
    size_t nOut = sOut.size();
    size_t nRet = iconv(cd, &pIn, &nIn, &pOut, &nOut);
    iconv_close(cd);
    if (nRet == static_cast<size_t>(-1)) throw std::runtime_error("iconv: invalid input");
    sOut.resize(sOut.size() - nOut);
    return sOut;
}

void ForEachDamagedCopy(const std::string& sGood, const std::string& sPath, int nTruncations, int nFlips,
                        uint32_t nSeed, const std::function<void(bool bTruncated)>& fnCheck) {
    std::vector<size_t> vecCuts = {0, 1, 4};
    if (sGood.size() > 1) vecCuts.push_back(sGood.size() - 1);
    for (int i = 1; i <= nTruncations; ++i) {
        vecCuts.push_back(sGood.size() * static_cast<size_t>(i) / static_cast<size_t>(nTruncations + 1));
    }
    for (size_t nCut : vecCuts) {
        if (nCut >= sGood.size()) continue;
        WriteWholeFile(sPath, sGood.substr(0, nCut));
        fnCheck(true);
    }
    std::mt19937 rng(nSeed);
    for (int i = 0; i < nFlips && !sGood.empty(); ++i) {
        std::string sBad = sGood;
        int nBytes = 1 + static_cast<int>(rng() % 8);
        for (int j = 0; j < nBytes; ++j) {
            // Favour the head of the file, where the counts live.
            size_t nPos = (rng() % 2) ? rng() % std::min<size_t>(sBad.size(), 64) : rng() % sBad.size();
            sBad[nPos] = static_cast<char>(rng() & 0xFF);
        }
        WriteWholeFile(sPath, sBad);
        fnCheck(false);
    }
}

}  // namespace vt_test

// TestSupport.h: helpers shared by the tests: temporary directories, whole-file I/O, GBK/UTF-8 conversion
// through glibc iconv (the independent reference for the converters) and damaged copies of good files.
#ifndef VINTREL_TESTS_SUPPORT_TESTSUPPORT_H_
#define VINTREL_TESTS_SUPPORT_TESTSUPPORT_H_

#include <cstdint>
#include <functional>
#include <string>

namespace vt_test {

// CTempDir: a fresh directory under $TMPDIR (or /tmp), removed with its contents on destruction.
class CTempDir {
public:
    CTempDir();
    ~CTempDir();
    CTempDir(const CTempDir&) = delete;  // owns the directory on disk
    CTempDir& operator=(const CTempDir&) = delete;

    const std::string& Path() const { return m_sPath; }
    // File: Path() + "/" + sName.
    std::string File(const std::string& sName) const { return m_sPath + "/" + sName; }

private:
    std::string m_sPath;
};

// ReadWholeFile: the bytes of a file ("" when it cannot be read).
std::string ReadWholeFile(const std::string& sPath);
// WriteWholeFile: replaces a file with the bytes; false on failure.
bool WriteWholeFile(const std::string& sPath, const std::string& sBytes);
bool FileExists(const std::string& sPath);
// Today: the local date as the library names its daily log files ("%Y%m%d").
std::string Today();

// Convert: iconv from one encoding to another ("GBK", "UTF-8", "BIG5" ...); throws on invalid input.
std::string Convert(const std::string& sText, const char* sFrom, const char* sTo);
// G: UTF-8 text (as written in the test sources) to GBK bytes.
inline std::string G(const std::string& sUtf8) { return Convert(sUtf8, "UTF-8", "GBK"); }
// U: GBK bytes to UTF-8, for readable assertion messages.
inline std::string U(const std::string& sGbk) { return Convert(sGbk, "GBK", "UTF-8"); }

// ForEachDamagedCopy: writes damaged copies of sGood to sPath and calls fnCheck(bTruncated) after each:
// the file cut at nTruncations offsets spread over its length (always including 0, 1, 4 and size - 1),
// then nFlips copies each with 1 to 8 random bytes overwritten (fixed seed).
void ForEachDamagedCopy(const std::string& sGood, const std::string& sPath, int nTruncations, int nFlips,
                        uint32_t nSeed, const std::function<void(bool bTruncated)>& fnCheck);

}  // namespace vt_test

#endif  // VINTREL_TESTS_SUPPORT_TESTSUPPORT_H_

// Utility.cpp: text utilities, logging and the last-error text. See Utility.h for each contract.
//
// Logging: every write of the process takes g_mutexLog, builds the whole line in memory and appends
// it with one write(2) on a descriptor opened with O_APPEND and closed at once, so lines from
// concurrent threads never mix and none is lost. The last-error text has its own mutex; ReportError
// releases it before it logs, so no path holds two locks at once.
#include "Utility/Utility.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>


#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "Utility/ReadFile.h"
#include "Utility/StrToken.h"

bool g_bLog = true;
std::string g_sLogPath;

namespace {

std::mutex g_mutexLog;  // serialises log writes and the first-write setting of g_sLogPath

std::mutex g_mutexLastError;
std::string g_sLastErrorMessage;  // guarded by g_mutexLastError

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// FormatTime: tmLocal with sFormat.
std::string FormatTime(const struct tm& tmLocal, const char* sFormat) {
    char sBuf[64];
    size_t nLen = std::strftime(sBuf, sizeof(sBuf), sFormat, &tmLocal);
    return std::string(sBuf, nLen);
}

// WriteAll: writes the whole buffer, retrying short writes; false on an error.
bool WriteAll(int fd, const char* pData, size_t nLen) {
    while (nLen > 0) {
        ssize_t nDone = write(fd, pData, nLen);
        if (nDone < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        pData += nDone;
        nLen -= static_cast<size_t>(nDone);
    }
    return true;
}

// The two-byte sentence-ending characters: "。" "！" "？" "；".
bool IsSentenceEnd2(unsigned char c1, unsigned char c2) {
    return (c1 == 0xA1 && c2 == 0xA3) ||                              // 。
           (c1 == 0xA3 && (c2 == 0xA1 || c2 == 0xBF || c2 == 0xBB));  // ！ ？ ；
}

// What WordStandard makes of a character: one byte (a table entry of 2 and up), nothing
// (STANDARD_DROP) or, for a two-byte character, its two bytes as they are (STANDARD_KEEP).
constexpr unsigned char STANDARD_DROP = 0;
constexpr unsigned char STANDARD_KEEP = 1;
struct CStandardTables {
    // By the byte that decides: [0] a one-byte character, [1] a two-byte character outside rows A1
    // and A3, [2] row A1, [3] row A3. A lead byte before the terminating NUL is dropped.
    unsigned char sTables[4][256] = {};
    unsigned char sTableOfLead[256] = {};  // the table of a character by its first byte
};
constexpr CStandardTables MakeStandardTables() {
    CStandardTables t;
    unsigned char* sAscii = t.sTables[0];
    for (int c = 0; c < 128; ++c) {
        if (c >= 'A' && c <= 'Z') {
            sAscii[c] = static_cast<unsigned char>(c - 'A' + 'a');
        } else if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || c == '+' || c == '-' || c == '{' ||
                   c == '}' || c == ';') {
            sAscii[c] = static_cast<unsigned char>(c);
        }  // blanks, other punctuation and control bytes are dropped
    }
    for (int c = 0x80; c < 256; ++c) t.sTableOfLead[c] = c == 0xA1 ? 2 : c == 0xA3 ? 3 : 1;
    for (int c = 1; c < 256; ++c) {
        t.sTables[1][c] = STANDARD_KEEP;
        // "。“”【】《》" are dropped; the rest of row A1 is kept.
        bool bDrop = c == 0xA3 || c == 0xB0 || c == 0xB1 || c == 0xBE || c == 0xBF || c == 0xB6 || c == 0xB7;
        t.sTables[2][c] = bDrop ? STANDARD_DROP : STANDARD_KEEP;
        unsigned char nOut = STANDARD_KEEP;
        if (c >= 0xB0 && c <= 0xB9) {  // full-width digit
            nOut = static_cast<unsigned char>(c - 0x80);
        } else if (c >= 0xC1 && c <= 0xDA) {  // full-width capital
            nOut = static_cast<unsigned char>(c - 0x60);
        } else if (c >= 0xE1 && c <= 0xFA) {  // full-width small letter
            nOut = static_cast<unsigned char>(c - 0x80);
        } else if (c >= 0xBB) {  // other full-width symbols: the rule separator
            nOut = ';';
        } else if (c == 0xAB) {  // ＋
            nOut = '+';
        } else if (c == 0xA8 || c == 0xA9) {  // （）
            nOut = STANDARD_DROP;
        }
        t.sTables[3][c] = nOut;
    }
    return t;
}
constexpr CStandardTables kStandard = MakeStandardTables();

bool IsSentenceEnd1(char c) {
    return c == '.' || c == '!' || c == ';' || c == '?' || c == '\r' || c == '\n' || c == '\t';
}

bool ScanFilesBelow(const std::string& sFolder, std::vector<std::string>& vsFileName,
                    const std::string& sFilter, std::vector<std::pair<dev_t, ino_t>>& vecOpenDirs);

}  // namespace

// ---------------------------------------------------------------------------------------------------------
// Logging and the last error.

void WriteLog(const std::string& sContent, const char* sFilePath, bool bError) {
    if (!g_bLog) return;
    const char* sText = sContent.c_str();  // printed with "%s": up to the first NUL

    std::lock_guard<std::mutex> lock(g_mutexLog);
    // One reading of the clock for both, so a line never carries another day than its file.
    std::time_t tNow = std::time(nullptr);
    struct tm tmLocal = {};
    localtime_r(&tNow, &tmLocal);
    std::string sTime = FormatTime(tmLocal, "%Y-%m-%d %H:%M:%S");
    std::string sFile = FormatTime(tmLocal, "%Y%m%d") + (bError ? ".err" : ".log");
    std::string sDir;
    if (sFilePath != nullptr && *sFilePath != '\0') {
        sDir = sFilePath;
    } else {
        if (g_sLogPath.empty()) {
            char sCwd[4096];
            g_sLogPath = getcwd(sCwd, sizeof(sCwd)) != nullptr ? sCwd : ".";
        }
        sDir = g_sLogPath;
    }
    // Deliberate: the separator is added even when the directory already ends in one
    // ("logs//x.log"); the check that was meant to avoid it never succeeded, and the doubled slash
    // is harmless.
    std::string sPath = sDir + "/" + sFile;

    std::string sLine = "[" + sTime + "]\t" + sText + "\n";
    int fd = open(sPath.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        std::printf("[%s] %s\n", sTime.c_str(), sText);
        std::printf("Cannot write log file %s!\r\n", sPath.c_str());
        std::fflush(stdout);
        return;
    }
    WriteAll(fd, sLine.data(), sLine.size());
    close(fd);
}

void WriteError(const std::string& sContent, const char* sFilePath) {
    WriteLog(sContent, sFilePath, true);
}

void ReportError(const std::string& sMessage) {
    {
        std::lock_guard<std::mutex> lock(g_mutexLastError);
        g_sLastErrorMessage = sMessage;
    }
    WriteError(sMessage);
}

void ReportErrorF(const char* sFormat, ...) {
    if (sFormat == nullptr) return;
    va_list args;
    va_start(args, sFormat);
    va_list argsCopy;
    va_copy(argsCopy, args);
    int nLen = std::vsnprintf(nullptr, 0, sFormat, args);
    va_end(args);
    std::string sMessage;
    if (nLen > 0) {
        sMessage.resize(static_cast<size_t>(nLen));
        std::vsnprintf(sMessage.data(), sMessage.size() + 1, sFormat, argsCopy);
    }
    va_end(argsCopy);
    ReportError(sMessage);
}

const char* GetLastErrorMessage() {
    thread_local std::string sCopy;
    std::lock_guard<std::mutex> lock(g_mutexLastError);
    sCopy = g_sLastErrorMessage;
    return sCopy.c_str();
}

// ---------------------------------------------------------------------------------------------------------
// Files and paths.

size_t ReadFile(const char* sFilename, char** pBuffer, long nOffset, size_t nSize, bool bReadAll) {
    CReadFile reader;
    return reader.ReadFile(sFilename, pBuffer, nOffset, nSize, bReadAll);
}

namespace {

bool ScanFilesBelow(const std::string& sFolder, std::vector<std::string>& vsFileName,
                    const std::string& sFilter, std::vector<std::pair<dev_t, ino_t>>& vecOpenDirs) {
    DIR* pDir = opendir(sFolder.c_str());
    if (pDir == nullptr) {
        std::printf(" Failure to open the directory %s\n", sFolder.c_str());
        return false;
    }
    struct stat stDir;
    if (fstat(dirfd(pDir), &stDir) == 0) vecOpenDirs.emplace_back(stDir.st_dev, stDir.st_ino);
    size_t nOpenDirs = vecOpenDirs.size();

    while (struct dirent* pEntry = readdir(pDir)) {
        if (std::strcmp(pEntry->d_name, ".") == 0 || std::strcmp(pEntry->d_name, "..") == 0)
            continue;
        std::string sPath = sFolder + "/" + pEntry->d_name;
        struct stat st;
        if (stat(sPath.c_str(), &st) != 0) {
            std::printf("Error:stat %s\n", sPath.c_str());
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            // A link back to a directory being listed would recurse without end: skip it.
            bool bOnStack = false;
            for (const auto& dirId : vecOpenDirs) {
                if (dirId.first == st.st_dev && dirId.second == st.st_ino) bOnStack = true;
            }
            if (!bOnStack) ScanFilesBelow(sPath, vsFileName, sFilter, vecOpenDirs);
        } else if (S_ISREG(st.st_mode)) {
            if (sFilter.empty() ||
                (sPath.size() >= sFilter.size() &&
                 sPath.compare(sPath.size() - sFilter.size(), sFilter.size(), sFilter) == 0)) {
                vsFileName.push_back(sPath);
            }
        }
    }
    closedir(pDir);
    vecOpenDirs.resize(nOpenDirs > 0 ? nOpenDirs - 1 : 0);
    return true;
}

}  // namespace

bool gfn_vScanFiles(const char* sFolderName, std::vector<std::string>& vsFileName,
                    const char* sFilter) {
    if (sFolderName == nullptr) {
        std::printf(" Failure to open the directory %s\n", "(null)");
        return false;
    }
    // "*" is how the directory scan asks for every file.
    std::string sSuffix = (sFilter == nullptr || std::strcmp(sFilter, "*") == 0) ? "" : sFilter;
    std::vector<std::pair<dev_t, ino_t>> vecOpenDirs;
    return ScanFilesBelow(sFolderName, vsFileName, sSuffix, vecOpenDirs);
}

bool gfn_bCleanDirectory(const char* sDirPath) {
    if (sDirPath == nullptr || *sDirPath == '\0') return false;
    if (mkdir(sDirPath, 0755) != 0 && errno != EEXIST) return false;
    DIR* pDir = opendir(sDirPath);
    if (pDir == nullptr) return false;
    bool bOk = true;
    while (struct dirent* pEntry = readdir(pDir)) {
        if (std::strcmp(pEntry->d_name, ".") == 0 || std::strcmp(pEntry->d_name, "..") == 0)
            continue;
        std::string sPath = std::string(sDirPath) + "/" + pEntry->d_name;
        struct stat st;
        if (lstat(sPath.c_str(), &st) != 0) {
            bOk = false;
        } else if (!S_ISDIR(st.st_mode) && unlink(sPath.c_str()) != 0) {
            bOk = false;
        }
    }
    closedir(pDir);
    return bOk;
}

char* GetRelevatePath(const char* sFilename, char* sPath, char* sFile) {
    if (sPath == nullptr || sFile == nullptr) return nullptr;
    if (sFilename == nullptr) {
        sPath[0] = '\0';
        sFile[0] = '\0';
        return sFile;
    }
    const std::string sName(sFilename);  // a copy: sFilename may share a buffer with sPath or sFile
    size_t nSlash = sName.rfind('/');
    size_t nBackslash = sName.rfind('\\');
    size_t nSep = nSlash;
    if (nSep == std::string::npos || (nBackslash != std::string::npos && nBackslash > nSep))
        nSep = nBackslash;
    if (nSep == std::string::npos) {
        if (getcwd(sPath, 1000) == nullptr) sPath[0] = '\0';
        std::memcpy(sFile, sName.c_str(), sName.size() + 1);
        return sFile;
    }
    std::memcpy(sPath, sName.data(), nSep);
    sPath[nSep] = '/';
    sPath[nSep + 1] = '\0';
    std::memcpy(sFile, sName.c_str() + nSep + 1, sName.size() - nSep);
    return sFile;
}

bool IsEnglishText(const char* sText, size_t nLen) {
    if (sText == nullptr) return false;
    size_t nNonBlank = 0;
    size_t nAscii = 0;
    for (size_t i = 0; i < nLen; ++i) {
        unsigned char c = static_cast<unsigned char>(sText[i]);
        if (IsBlank(static_cast<char>(c))) continue;
        ++nNonBlank;
        if (c >= 0x21 && c <= 0x7E) ++nAscii;
    }
    return nNonBlank > 0 && nAscii * 5 >= nNonBlank * 4;
}

bool IsEnglishTextFile(const char* sFilename) {
    char* pBuf = nullptr;
    size_t nLen = ReadFile(sFilename, &pBuf);
    bool bEnglish = nLen > 0 && IsEnglishText(pBuf, nLen);
    delete[] pBuf;
    return bEnglish;
}

// ---------------------------------------------------------------------------------------------------------
// Text.

char* WordStandard(char* sWord) {
    if (sWord == nullptr) return nullptr;
    WordStandard(sWord, std::strlen(sWord), sWord);
    return sWord;
}

size_t WordStandard(const char* sWord, size_t nLen, char* sOut) {
    if (sWord == nullptr || sOut == nullptr) return 0;
    const char* pRead = sWord;
    const char* const pEnd = sWord + nLen;
    [[maybe_unused]] const bool bInPlace = sOut == sWord;
    char* pWrite = sOut;
    // The output of a character is never longer than the character, so writing over the input is
    // safe.
    for (;;) {
#ifdef __SSE2__
        // Sixteen bytes at a time: the two-byte characters outside rows A1 and A3 at their start
        // (lead byte 0x80 or more, not A1 or A3; no trail byte is 0 before the end) are kept as
        // they are. Sixteen bytes are stored only when all of them are such characters, as the
        // output may be the input (stored after loaded, never beyond the bytes loaded); a shorter
        // run is copied.
        while (pEnd - pRead >= 16) {
            const __m128i nBytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pRead));
            const __m128i nRows =
                _mm_or_si128(_mm_cmpeq_epi8(nBytes, _mm_set1_epi8(static_cast<char>(0xA1))),
                             _mm_cmpeq_epi8(nBytes, _mm_set1_epi8(static_cast<char>(0xA3))));
            const unsigned nOther = (~static_cast<unsigned>(_mm_movemask_epi8(nBytes)) |
                                     static_cast<unsigned>(_mm_movemask_epi8(nRows))) &
                                    0x5555u;
            if (nOther == 0) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pWrite), nBytes);
                pRead += 16;
                pWrite += 16;
                continue;
            }
            const size_t nKept =
                static_cast<size_t>(__builtin_ctz(nOther)) & ~size_t{1};  // whole characters
            if (!bInPlace || pWrite == pRead) {
                // The bytes stored beyond the run are written over later (or are the input's own).
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pWrite), nBytes);
            } else {
                // Forwards, as the output never passes the input.
                for (size_t i = 0; i < nKept; i += 2) {
                    pWrite[i] = pRead[i];
                    pWrite[i + 1] = pRead[i + 1];
                }
            }
            pRead += nKept;
            pWrite += nKept;
            break;
        }
#endif
        if (pRead >= pEnd) break;
        // Then one character without branches on the text (which kind comes next is as irregular as
        // the text): its table entry decides whether its two bytes, one byte or nothing is written.
        // Two bytes are always stored and the write position moves by the output's length; the
        // bytes stored never pass the input's terminating NUL.
        // (Masks rather than conditions, so that the compiler adds no branches.)
        const unsigned c0 = static_cast<unsigned char>(pRead[0]);
        const unsigned c1 = static_cast<unsigned char>(pRead[1]);
        const unsigned bPair = c0 >> 7;
        const unsigned nPairMask = 0u - bPair;
        const unsigned nOut = kStandard.sTables[kStandard.sTableOfLead[c0]][(c1 & nPairMask) | (c0 & ~nPairMask)];
        const unsigned bKeep = nOut == STANDARD_KEEP;
        const unsigned nKeepMask = 0u - bKeep;
        pWrite[0] = static_cast<char>((c0 & nKeepMask) | (nOut & ~nKeepMask));
        pWrite[1] = static_cast<char>(c1);
        pWrite += 2 * bKeep + (nOut > STANDARD_KEEP);
        pRead += 1 + bPair;
    }
    *pWrite = '\0';
    return static_cast<size_t>(pWrite - sOut);
}

char* StrNormalize(char* sStr) {
    if (sStr == nullptr) return nullptr;
    size_t nLead = 0;
    while (IsBlank(sStr[nLead])) ++nLead;
    if (nLead > 0) std::memmove(sStr, sStr + nLead, std::strlen(sStr + nLead) + 1);

    size_t nRead = 0;
    size_t nWrite = 0;
    while (sStr[nRead] != '\0') {
        if (IsBlank(sStr[nRead])) {
            sStr[nWrite++] = ' ';
            while (IsBlank(sStr[nRead])) ++nRead;
        } else {
            sStr[nWrite++] = sStr[nRead++];
        }
    }
    // Deliberate: the trailing-blank test looks at the first byte NOT written (what is left of the
    // input there), not at the last written byte: "a  " loses its last space, "a b " keeps it.
    // Callers' stored keywords depend on this exact result.
    if (nWrite > 0 && sStr[nWrite] == ' ') --nWrite;
    sStr[nWrite] = '\0';
    return sStr;
}

size_t FindSentenceStart(const char* sLine, size_t nLocatePos) {
    return sLine == nullptr ? 0 : FindSentenceStartAbove(sLine, std::strlen(sLine), nLocatePos, 0);
}

size_t FindSentenceStartAbove(const char* sLine, size_t nLen, size_t nLocatePos, size_t nFloor) {
    if (sLine == nullptr || nLocatePos == 0) return 0;
    if (nLocatePos > nLen) nLocatePos = nLen;
    // Deliberate: the walk goes back byte-wise without resynchronising GBK characters (a trail byte
    // below 0x80 is read as a one-byte character) and never tests the byte at 0; callers' sentence
    // spans depend on it.
    size_t i = nLocatePos - 1;
    while (i > 0) {
        if (i + 1 < nFloor) return 0;  // whatever is found from here lies below the floor
        unsigned char c = static_cast<unsigned char>(sLine[i]);
        if (c < 0x80 || i < 2) {
            if (IsSentenceEnd1(static_cast<char>(c))) return i + 1;
            i -= 1;
        } else {
            if (IsSentenceEnd2(static_cast<unsigned char>(sLine[i - 1]), c)) return i + 1;
            i -= 2;
        }
    }
    return 0;
}

size_t FindSentenceEnd(const char* sLine, size_t nLocatePos) {
    if (sLine == nullptr) return 0;
    const size_t nLen = std::strlen(sLine);
    return FindSentenceEndBelow(sLine, nLen, nLocatePos, nLen);
}

size_t FindSentenceEndBelow(const char* sLine, size_t nLen, size_t nLocatePos, size_t nCeiling) {
    if (sLine == nullptr) return 0;
    size_t i = nLocatePos;
    while (i < nLen) {
        if (i >= nCeiling) return nLen;  // whatever is found from here lies beyond the ceiling (< nLen)
        unsigned char c = static_cast<unsigned char>(sLine[i]);
        if (c >= 0x80 && i + 1 < nLen) {
            if (IsSentenceEnd2(c, static_cast<unsigned char>(sLine[i + 1]))) return i + 2;
            i += 2;
        } else {
            if (IsSentenceEnd1(static_cast<char>(c))) return i + 1;
            i += 1;
        }
    }
    return nLen;
}

char* StrLine(char* pCur, char** pNextRet, char* chSep, int* n_pStatus,
              bool bInvalidCharConsidered) {
    char* pNextDummy;
    char cSepDummy;
    int nStatusDummy;
    if (pNextRet == nullptr) pNextRet = &pNextDummy;
    if (chSep == nullptr) chSep = &cSepDummy;
    if (n_pStatus == nullptr) n_pStatus = &nStatusDummy;
    *n_pStatus = 0;
    *chSep = '\0';
    *pNextRet = nullptr;
    if (pCur == nullptr) return nullptr;

    while (*pCur == ' ' || *pCur == '\t' || *pCur == '\n' || *pCur == '\r') ++pCur;
    if (*pCur == '\0') return nullptr;

    char* pEnd = std::strpbrk(pCur, "\r\n");
    if (bInvalidCharConsidered) {
        // The opening marker must lie before the line end; only then is the rest of the text
        // searched for the closing one.
        char* pMark = nullptr;
        for (char* p = pCur; (pEnd == nullptr || p + 1 < pEnd) && *p != '\0'; ++p) {
            if (p[0] == '^' && p[1] == '^') {
                pMark = p;
                break;
            }
        }
        char* pClose = pMark != nullptr ? std::strstr(pMark + 2, "^^") : nullptr;
        if (pClose != nullptr) {
            if (pMark == pCur) {
                *pClose = '\0';
                *pNextRet = pClose + 2;
                *chSep = pClose[2];  // putting it back changes nothing
                *n_pStatus = 1;
                return pMark + 2;
            }
            pEnd = pMark;
        }
    }
    if (pEnd != nullptr) {
        *chSep = *pEnd;
        *pEnd = '\0';
        *pNextRet = pEnd;
    }
    return pCur;
}

size_t Getchar(const char* sBuffer, char* sChar) {
    if (sChar == nullptr) return 0;
    sChar[0] = '\0';
    if (sBuffer == nullptr || sBuffer[0] == '\0') return 0;
    size_t nLen = (static_cast<unsigned char>(sBuffer[0]) >= 0x80 && sBuffer[1] != '\0') ? 2 : 1;
    std::memcpy(sChar, sBuffer, nLen);
    sChar[nLen] = '\0';
    return nLen;
}

unsigned GetCharCode(const char* sText, int& nPos, unsigned nLen) {
    if (sText == nullptr || nPos < 0) {
        nPos = nLen > static_cast<unsigned>(INT_MAX) ? INT_MAX : static_cast<int>(nLen);
        return 0;
    }
    unsigned nAt = static_cast<unsigned>(nPos);
    if (nAt >= nLen) return 0;
    unsigned char c = static_cast<unsigned char>(sText[nAt]);
    if (c >= 0x80 && nAt + 1 != nLen) {
        nPos += 2;
        return c * 256u + static_cast<unsigned char>(sText[nAt + 1]);
    }
    nPos += 1;
    return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c;
}

const char* CC_Find(const char* string, const char* strCharSet) {
    if (string == nullptr || strCharSet == nullptr || *strCharSet == '\0') return nullptr;
    const char* pFound = std::strstr(string, strCharSet);
    // Deliberate: only the first byte-wise occurrence is considered, and it counts when its offset
    // is even (not when it starts a GBK character): callers test short GBK texts that start
    // aligned.
    if (pFound == nullptr || (pFound - string) % 2 != 0) return nullptr;
    return pFound;
}

int BinarySearch(const char* sVal, const char** sTable, int nTableLen) {
    if (sVal == nullptr || sTable == nullptr || nTableLen <= 0) return -1;
    int nLow = 0;
    int nHigh = nTableLen - 1;
    while (nLow <= nHigh) {
        int nMid = nLow + (nHigh - nLow) / 2;
        int nCmp = strcasecmp(sVal, sTable[nMid] != nullptr ? sTable[nMid] : "");
        if (nCmp == 0) return nMid;
        if (nCmp < 0) {
            nHigh = nMid - 1;
        } else {
            nLow = nMid + 1;
        }
    }
    return -1;
}

size_t GetStrVector(const char* sLine, const char* pDelimiter,
                    std::vector<std::string>& vecResult) {
    vecResult.clear();
    if (sLine == nullptr) return 0;
    std::vector<char> vecCopy(sLine, sLine + std::strlen(sLine) + 1);
    CStrToken token(false);
    const char* sSeparators = pDelimiter != nullptr ? pDelimiter : "";
    for (char* pToken = token.GetToken(vecCopy.data(), nullptr, sSeparators); pToken != nullptr;
         pToken = token.GetToken(nullptr, nullptr, sSeparators)) {
        size_t nLen = std::strlen(pToken);
        while (nLen > 0 && (pToken[nLen - 1] == '\r' || pToken[nLen - 1] == '\n')) --nLen;
        if (nLen > 0) vecResult.emplace_back(pToken, nLen);
    }
    return vecResult.size();
}

bool Delimiter2DictFormat(char cDelimiter, char* sWordRet) {
    if (sWordRet == nullptr) return false;
    // ASCII delimiter -> full-width GBK form.
    static constexpr struct {
        char cAscii;
        const char* sFull;
    } DELIMITER_TABLE[] = {
        {'.', "\xA1\xA3"},  // 。
        {',', "\xA3\xAC"},  // ，
        {';', "\xA3\xBB"},  // ；
        {':', "\xA3\xBA"},  // ：
        {'?', "\xA3\xBF"},  // ？
        {'!', "\xA3\xA1"},  // ！
        {'%', "\xA3\xA5"},  // ％
        {'(', "\xA3\xA8"},  // （
        {')', "\xA3\xA9"},  // ）
        {'{', "\xA3\xFB"},  // ｛
        {'+', "\xA3\xAB"},  // ＋
        {'}', "\xA3\xFD"},  // ｝
        {'[', "\xA3\xDB"},  // ［
        {']', "\xA3\xDD"},  // ］
        {'/', "\xA3\xAF"},  // ／
        {'=', "\xA3\xBD"},  // ＝
    };
    for (const auto& entry : DELIMITER_TABLE) {
        if (entry.cAscii == cDelimiter) {
            std::memcpy(sWordRet, entry.sFull, 3);
            return true;
        }
    }
    sWordRet[0] = cDelimiter;
    sWordRet[1] = '\0';
    return false;
}

size_t Intersection(std::vector<int>& a, std::vector<int>& b, int nDistance,
                    std::vector<int>& result) {
    size_t i = 0;
    size_t j = 0;
    while (i < a.size() && j < b.size()) {
        long long nTarget = static_cast<long long>(a[i]) + nDistance;
        if (b[j] > nTarget) {
            ++i;
        } else if (b[j] == nTarget) {
            result.push_back(a[i]);
            ++i;
            ++j;
        } else {
            ++j;
        }
    }
    return result.size();
}

bool Not(std::vector<int>& a, std::vector<int>& b) {
    size_t nKept = 0;
    size_t j = 0;
    bool bRemoved = false;
    for (size_t i = 0; i < a.size(); ++i) {
        while (j < b.size() && b[j] < a[i]) ++j;
        if (j < b.size() && b[j] == a[i]) {
            ++j;
            bRemoved = true;
            continue;
        }
        a[nKept++] = a[i];
    }
    a.resize(nKept);
    return bRemoved;
}

int WriteInt32File(const char* sFilename, const std::vector<int32_t>& vecValues) {
    if (sFilename == nullptr) return 0;
    FILE* fp = std::fopen(sFilename, "wb");
    if (fp == nullptr) return 0;
    bool bOk = std::fwrite(vecValues.data(), sizeof(int32_t), vecValues.size(), fp) == vecValues.size();
    bOk = (std::fclose(fp) == 0) && bOk;
    return bOk ? 1 : 0;
}

bool GetXMLItemValue(const char* sXML, const char* sItem, std::string& sValue) {
    sValue.clear();
    if (sXML == nullptr || sItem == nullptr || sItem[0] == '\0') return false;
    std::string sOpen = std::string("<") + sItem + ">";
    std::string sClose = std::string("</") + sItem + ">";
    const char* pOpen = std::strstr(sXML, sOpen.c_str());
    if (pOpen == nullptr) return false;
    const char* pValue = pOpen + sOpen.size();
    const char* pClose = std::strstr(pValue, sClose.c_str());
    if (pClose == nullptr) return false;
    sValue.assign(pValue, static_cast<size_t>(pClose - pValue));
    return true;
}

long FileSize(FILE* fp) {
    if (fp == nullptr || std::fseek(fp, 0, SEEK_END) != 0) return -1;
    long nSize = std::ftell(fp);
    if (std::fseek(fp, 0, SEEK_SET) != 0) return -1;
    return nSize;
}

// Utility.h: the text utilities every unit relies on: logging and the last-error text, whole-file
// reading, directory listing, path splitting, keyword standardisation, blank normalisation, sentence
// bounds, GBK character stepping, line splitting and sorted-list set operations. All text is GBK: a byte
// with the top bit set starts a two-byte character, every other byte is a one-byte character.
#ifndef VINTREL_UTILITY_UTILITY_H_
#define VINTREL_UTILITY_UTILITY_H_

#include <cstddef>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

// ---------------------------------------------------------------------------------------------------------
// Logging. One file a day and kind: "%Y%m%d.log" (WriteLog) or "%Y%m%d.err" (WriteError), each line
// "[%Y-%m-%d %H:%M:%S]\t<content>\n". Lines written from several threads at once are never lost or mixed.

// True while logging is on (the default; the engine turns it off when its configuration says "Log" "off").
extern bool g_bLog;
// Default log directory; set to the current working directory at the first write when empty.
extern std::string g_sLogPath;

// WriteLog: appends one line to the day's ".log" file (".err" with bError) in sFilePath + "/" (always a
// slash, even after one the path already ends with), or in g_sLogPath + "/" when sFilePath is null. Never
// fails the caller: when the file cannot be opened, prints "[time] content\n" and
// "Cannot write log file <path>!\r\n" on standard output. Does nothing while g_bLog is false.
void WriteLog(const std::string& sContent, const char* sFilePath = nullptr, bool bError = false);
// WriteError: WriteLog(sContent, sFilePath, true).
void WriteError(const std::string& sContent, const char* sFilePath = nullptr);

// ReportError: stores sMessage as the library's last error text and passes it to WriteError (null path).
void ReportError(const std::string& sMessage);
// ReportErrorF: the same with a printf-style format.
void ReportErrorF(const char* sFormat, ...) __attribute__((format(printf, 1, 2)));
// GetLastErrorMessage: the latest text given to ReportError by any thread ("" before the first). The
// pointer is a per-thread copy, valid in the calling thread until its next call; never null.
const char* GetLastErrorMessage();

// ---------------------------------------------------------------------------------------------------------
// Files and paths.

// ReadFile: reads nSize bytes from nOffset of sFilename (the whole file when nSize is 0 and bReadAll) into a
// new buffer, NUL-terminated, which the caller frees with delete[]. Returns the bytes read; 0 and a log
// line "Failed open file  <name>" when the file cannot be opened (*pBuffer is then left untouched).
// REQUIRES: pBuffer is not null.
size_t ReadFile(const char* sFilename, char** pBuffer, long nOffset = 0, size_t nSize = 0,
                bool bReadAll = true);

// gfn_vScanFiles: appends to vsFileName, depth first in the order the system lists entries, the full path of
// every file below sFolderName whose path ends with sFilter (every file when sFilter is empty or null).
// Returns false only when sFolderName cannot be opened (" Failure to open the directory %s\n" is printed);
// an entry that cannot be stat'ed prints "Error:stat %s\n" and is skipped.
bool gfn_vScanFiles(const char* sFolderName, std::vector<std::string>& vsFileName, const char* sFilter);

// GetRelevatePath: splits sFilename at its last '/' or '\\' into sPath (everything before, plus "/") and
// sFile (everything after); without a separator sPath is the working directory and sFile the whole name.
// Returns sFile. REQUIRES: sPath and sFile hold strlen(sFilename) + 1002 bytes.
char* GetRelevatePath(const char* sFilename, char* sPath, char* sFile);

// IsEnglishTextFile: true when the whole file reads as English text (see IsEnglishText); false when it
// cannot be read.
bool IsEnglishTextFile(const char* sFilename);
// IsEnglishText: true when at least 80% of the non-blank bytes of the first nLen bytes are ASCII.
bool IsEnglishText(const char* sText, size_t nLen);

// ---------------------------------------------------------------------------------------------------------
// Text.

// WordStandard: standardises a keyword in place (ASCII and full-width letters to lower-case ASCII,
// full-width digits to ASCII, blanks and punctuation dropped but "+-{};" kept); returns sWord.
// Null in, null out.
char* WordStandard(char* sWord);
// StrNormalize: collapses every run of blanks (space, tab, CR, LF) into one space and drops leading blanks,
// in place; returns sStr. Null in, null out.
char* StrNormalize(char* sStr);
// FindSentenceStart: the offset just after the nearest sentence-ending character before nLocatePos, 0 when
// there is none.
size_t FindSentenceStart(const char* sLine, size_t nLocatePos);
// FindSentenceEnd: the offset just after the first sentence-ending character at or after nLocatePos, or
// the length of sLine.
size_t FindSentenceEnd(const char* sLine, size_t nLocatePos);
// StrLine: cuts the next line out of pCur in place (see Utility.cpp); returns its start or null at the end.
char* StrLine(char* pCur, char** pNextRet, char* chSep, int* n_pStatus, bool bInvalidCharConsidered);
// Getchar: copies the character at sBuffer (2 bytes when the first has its top bit set and a second
// follows, else 1) into sChar with a NUL; returns its length, 0 at the end of the text.
// REQUIRES: sChar holds 3 bytes.
size_t Getchar(const char* sBuffer, char* sChar);
// GetCharCode: the character code at nPos of a text of nLen bytes: lead * 256 + trail for a two-byte
// character (nPos += 2), else the byte with 'A'..'Z' lowered (nPos += 1).
unsigned GetCharCode(const char* sText, int& nPos, unsigned nLen);
// CC_Find: the first byte-wise occurrence of strCharSet in string when it lies at an even byte offset,
// else null; null for an empty needle.
const char* CC_Find(const char* string, const char* strCharSet);
// BinarySearch: index of sVal in a table sorted without case, compared without case; -1 when absent.
int BinarySearch(const char* sVal, const char** sTable, int nTableLen);
// GetStrVector: clears vecResult and fills it with the non-empty tokens of sLine cut at the bytes of
// pDelimiter (trailing CR and LF stripped from each); returns their number.
size_t GetStrVector(const char* sLine, const char* pDelimiter, std::vector<std::string>& vecResult);
// Delimiter2DictFormat: writes the full-width GBK form of an ASCII delimiter ". , ; : ? ! % ( ) { + } [ ] / ="
// into sWordRet and returns true; any other byte is written as a one-byte string and false is returned.
// REQUIRES: sWordRet holds 3 bytes.
bool Delimiter2DictFormat(char cDelimiter, char* sWordRet);
// Intersection: appends to result every a[i] for which b holds a[i] + nDistance (both sorted ascending);
// returns result.size().
size_t Intersection(std::vector<int>& a, std::vector<int>& b, int nDistance, std::vector<int>& result);
// Not: removes from a (sorted) every value that also occurs in b (sorted), each b value consumed once;
// true when anything was removed.
bool Not(std::vector<int>& a, std::vector<int>& b);

#endif  // VINTREL_UTILITY_UTILITY_H_

// Utility.h: the text utilities every unit relies on: logging and the last-error text, whole-file
// reading, directory listing, path splitting, keyword standardisation, blank normalisation,
// sentence bounds, GBK character stepping, line splitting and sorted-list set operations. All text
// is GBK: a byte with the top bit set starts a two-byte character, every other byte is a one-byte
// character.
//
// Threads: the text functions work on the caller's buffers only and may run from any number of
// threads. Logging and the last-error text are safe from any thread; g_bLog and g_sLogPath are
// written only while no other thread logs (at engine start, or by a test before it starts threads).
#ifndef VINTREL_UTILITY_UTILITY_H_
#define VINTREL_UTILITY_UTILITY_H_

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Utility/global_linux.h"

// ---------------------------------------------------------------------------------------------------------
// Logging. One file a day and kind: "%Y%m%d.log" (WriteLog) or "%Y%m%d.err" (WriteError), each line
// "[%Y-%m-%d %H:%M:%S]\t<content>\n" in local time. Writes of the whole process are serialised and
// each line goes to the file in a single write, so lines written from several threads at once are
// never lost or mixed.

// True while logging is on (the default; the engine turns it off when its configuration says "Log"
// "off").
extern bool g_bLog;
// Default log directory; set to the current working directory at the first write when empty.
extern std::string g_sLogPath;

// WriteLog: appends one line to the day's ".log" file (".err" with bError) in sFilePath + "/"
// (always a slash, even after one the path already ends with: "logs/" gives "logs//20261115.log"),
// or in g_sLogPath + "/" when sFilePath is null or empty. The content is written up to its first
// NUL byte. Never fails the caller: when the file cannot be opened, prints "[time] content\n" and
// "Cannot write log file <path>!\r\n" on standard output. Does nothing while g_bLog is false.
void WriteLog(const std::string& sContent, const char* sFilePath = nullptr, bool bError = false);
// WriteError: WriteLog(sContent, sFilePath, true).
void WriteError(const std::string& sContent, const char* sFilePath = nullptr);

// GetXMLItemValue: the text between the first "<sItem>" and the "</sItem>" after it in sXML,
// copied unchanged (blanks included) into sValue; false, with sValue empty, when either tag is missing
// or an argument is null.
bool GetXMLItemValue(const char* sXML, const char* sItem, std::string& sValue);

// ReportError: stores sMessage as the library's last error text (process-wide; the last writer
// wins) and passes it to WriteError with a null path.
void ReportError(const std::string& sMessage);
// ReportErrorF: formats printf-style and calls ReportError with the text. A null format does
// nothing.
void ReportErrorF(const char* sFormat, ...) __attribute__((format(printf, 1, 2)));
// GetLastErrorMessage: the latest text given to ReportError by any thread ("" before the first).
// The pointer is a per-thread copy, valid in the calling thread until its next call; never null.
const char* GetLastErrorMessage();

// ---------------------------------------------------------------------------------------------------------
// Files and paths.

// FileCloser/FilePtr: a FILE* owned by a scope, closed when the scope ends.
struct FileCloser {
    void operator()(FILE* fp) const {
        if (fp != nullptr) std::fclose(fp);
    }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;
// FileSize: the size of an open file, -1 when it cannot be taken; the file is left at its start.
long FileSize(FILE* fp);

// WriteInt32File: replaces sFilename with the values as raw little-endian int32; 1 on success, 0 when
// the file cannot be opened or written (null path included).
int WriteInt32File(const char* sFilename, const std::vector<int32_t>& vecValues);

// ReadFile: reads nSize bytes from byte nOffset of sFilename (the whole file when nSize is 0 and
// bReadAll) through a fresh CReadFile (see Utility/ReadFile.h), so the file is opened, read and
// closed. Returns the bytes read; when it is above 0, *pBuffer receives a new NUL-terminated buffer
// that the caller frees with delete[]. When 0 is returned *pBuffer is null (nothing to free): the
// file cannot be opened (logged as "Failed open file  <name>" in the ".log" file), is empty,
// nOffset lies outside it, or memory runs out. A request past the end of the file gives the bytes
// up to the end. Null sFilename or pBuffer gives 0.
size_t ReadFile(const char* sFilename, char** pBuffer, long nOffset = 0, size_t nSize = 0,
                bool bReadAll = true);

// gfn_vScanFiles: appends to vsFileName (not cleared first), depth first in the order the system
// lists entries, the full path (sFolderName + "/" + name ...) of every regular file below
// sFolderName whose path ends with sFilter; a null or empty filter, or "*", takes every file.
// Symbolic links are followed, but a directory already being listed higher up is not entered again.
// Returns false only when sFolderName is null or cannot be opened (" Failure to open the directory
// %s\n" is printed to standard output); an entry that cannot be stat'ed prints "Error:stat %s\n"
// and is skipped.
bool gfn_vScanFiles(const char* sFolderName, std::vector<std::string>& vsFileName,
                    const char* sFilter);

// gfn_bCleanDirectory: empties the directory sDirPath of the files directly inside it (regular
// files and symbolic links are unlinked; subdirectories and their contents are left alone),
// creating the directory first when it does not exist. Returns true when the directory exists
// afterwards and every file could be removed; false for a null or empty path or on any failure.
bool gfn_bCleanDirectory(const char* sDirPath);

// GetRelevatePath: splits sFilename at the later of its last '/' and last '\\' into sPath
// (everything before, plus "/") and sFile (everything after); without a separator sPath is the
// working directory ("" when it is longer than 999 bytes) and sFile the whole name. Returns sFile.
// A null sFilename gives "" in both; a null sPath or sFile gives null and writes nothing. REQUIRES:
// sPath holds max(strlen(sFilename) + 2, 1000) bytes, sFile strlen(sFilename) + 1.
char* GetRelevatePath(const char* sFilename, char* sPath, char* sFile);

// IsEnglishTextFile: true when the whole file passes IsEnglishText; false when it cannot be read or
// is empty. Null gives false.
bool IsEnglishTextFile(const char* sFilename);
// IsEnglishText: true when the first nLen bytes hold at least one non-blank byte and at least 80%
// of the non-blank bytes (blanks: space, tab, CR, LF) are printable ASCII (0x21..0x7E). GBK
// characters and control bytes (binary data) count against it. Null gives false.
bool IsEnglishText(const char* sText, size_t nLen);

// ---------------------------------------------------------------------------------------------------------
// Text.

// WordStandard: standardises a keyword in place and returns sWord: ASCII and full-width letters
// become lower-case ASCII, full-width digits ASCII digits, "＋" "+", other full-width symbols from
// 0xA3 0xBB up
// ";"; "。“”【】《》（）", blanks, other ASCII punctuation and a lone lead byte are dropped;
// "+-{};" and every other two-byte character are kept. Null in, null out.
char* WordStandard(char* sWord);
// WordStandard: the same for the C string sWord of length nLen, written to sOut, which has room for
// nLen + 1 bytes and is either sWord itself or does not overlap it (saves a copy); returns the
// length written (the terminating NUL not counted), 0 for a null pointer. REQUIRES: nLen ==
// strlen(sWord).
size_t WordStandard(const char* sWord, size_t nLen, char* sOut);
// StrNormalize: collapses every run of blanks (space, tab, CR, LF) into one space and drops leading
// blanks, in place; returns sStr. A trailing blank is dropped only when the byte after the written
// text is a space (so "a  " gives "a" but "a b " stays). Null in, null out.
char* StrNormalize(char* sStr);
// FindSentenceStart: the offset just after the nearest sentence-ending character (". ! ; ? CR LF
// tab" or "。！？；") before nLocatePos, walking back byte-wise; 0 when there is none, when
// nLocatePos is 0 and for a null sLine. The byte at offset 0 is never tested. nLocatePos past the
// end counts as the end.
size_t FindSentenceStart(const char* sLine, size_t nLocatePos);
// FindSentenceEnd: the offset just after the first sentence-ending character at or after nLocatePos
// (walking character by character), or the length of sLine when there is none or nLocatePos is past
// the end. A null sLine gives 0.
size_t FindSentenceEnd(const char* sLine, size_t nLocatePos);
// FindSentenceStartAbove, FindSentenceEndBelow: the same over the first nLen bytes of sLine, for
// callers that only need to know whether the bound lies on their side of a limit, walking no further
// than that: FindSentenceStartAbove gives FindSentenceStart's answer when it is at least nFloor, else
// some value below nFloor; FindSentenceEndBelow gives FindSentenceEnd's answer when it is at most
// nCeiling, else some value above nCeiling. So many bounds in one long text cost its length, not its
// length for each.
size_t FindSentenceStartAbove(const char* sLine, size_t nLen, size_t nLocatePos, size_t nFloor);
size_t FindSentenceEndBelow(const char* sLine, size_t nLen, size_t nLocatePos, size_t nCeiling);
// StrLine: cuts the next line out of pCur in place. Skips leading spaces, tabs, CR and LF; returns
// null (and *pNextRet = null) at the end of the text. Otherwise the line ends at the first CR or
// LF: the byte there goes to *chSep, is overwritten with NUL, and its address goes to *pNextRet
// (null when the line runs to the end of the text); the caller puts *chSep back and continues at
// *pNextRet. With bInvalidCharConsidered, "^^" marks a protected run: a line starting with "^^"
// that is closed by a later
// "^^" returns the text between the markers with *n_pStatus = 1 (*pNextRet just after the closing
// "^^", *chSep the unchanged byte there), and a marker later in the line ends the line before it
// (*chSep '^'). Otherwise *n_pStatus is 0. Returns the line start. A null pCur gives null; null
// out-pointers are not written.
char* StrLine(char* pCur, char** pNextRet, char* chSep, int* n_pStatus,
              bool bInvalidCharConsidered);
// Getchar: copies the character at sBuffer (2 bytes when the first has its top bit set and a second
// non-NUL byte follows, else 1) into sChar with a NUL; returns its length, 0 at the end of the
// text. A null sBuffer gives 0 and sChar ""; a null sChar gives 0. REQUIRES: sChar holds 3 bytes.
size_t Getchar(const char* sBuffer, char* sChar);
// GetCharCode: the character code at nPos of a text of nLen bytes: lead * 256 + trail for a
// two-byte character not cut by the end (nPos += 2), else the byte with 'A'..'Z' lowered (nPos +=
// 1). Gives 0 and leaves nPos when nPos >= nLen; gives 0 and sets nPos to nLen for a null text or a
// negative nPos.
unsigned GetCharCode(const char* sText, int& nPos, unsigned nLen);
// CC_Find: the first byte-wise occurrence of strCharSet in string when it lies at an even byte
// offset from the start of string, else null (a later, aligned occurrence is not looked for); null
// for an empty needle or a null argument.
const char* CC_Find(const char* string, const char* strCharSet);
// BinarySearch: index of sVal in a table of nTableLen texts sorted without case, compared without
// case; -1 when absent, for a null sVal or table or nTableLen <= 0. A null entry compares as "".
int BinarySearch(const char* sVal, const char** sTable, int nTableLen);
// GetStrVector: clears vecResult and fills it with the non-empty tokens of sLine cut at the bytes
// of pDelimiter by CStrToken (English mode off), trailing CR and LF stripped from each; returns
// their number. A null sLine gives 0; a null pDelimiter counts as "".
size_t GetStrVector(const char* sLine, const char* pDelimiter, std::vector<std::string>& vecResult);
// Delimiter2DictFormat: writes the full-width GBK form of an ASCII delimiter ". , ; : ? ! % ( ) { +
// } [ ] / =" into sWordRet and returns true; any other byte is written as a one-byte string and
// false is returned. A null sWordRet gives false. REQUIRES: sWordRet holds 3 bytes.
bool Delimiter2DictFormat(char cDelimiter, char* sWordRet);
// Intersection: appends to result every a[i] for which b holds exactly a[i] + nDistance (both
// sorted ascending, merge walk); returns result.size().
size_t Intersection(std::vector<int>& a, std::vector<int>& b, int nDistance,
                    std::vector<int>& result);
// Not: removes from a (sorted) every value that also occurs in b (sorted), each b value consumed
// once; true when anything was removed.
bool Not(std::vector<int>& a, std::vector<int>& b);

#endif  // VINTREL_UTILITY_UTILITY_H_

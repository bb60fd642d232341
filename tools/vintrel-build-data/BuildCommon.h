// BuildCommon.h: file and text helpers shared by the parts of vintrel-build-data. Every failure
// throws CBuildError through Fail; main prints the message and exits 1.
#ifndef VINTREL_TOOLS_VINTREL_BUILD_DATA_BUILDCOMMON_H_
#define VINTREL_TOOLS_VINTREL_BUILD_DATA_BUILDCOMMON_H_

#include <string>
#include <vector>

// CBuildError: the reason the build stopped.
struct CBuildError {
    std::string sMessage;
};

[[noreturn]] void Fail(const std::string& sMessage);
// ReadBytes: the whole file; fails when it cannot be read.
std::string ReadBytes(const std::string& sPath);
// WriteBytes: writes the file; fails when it cannot be written completely.
void WriteBytes(const std::string& sPath, const std::string& sBytes);
// ReadLines: the lines of a file, without their CR/LF ends; fails when it cannot be read.
std::vector<std::string> ReadLines(const std::string& sPath);
// Split: the fields of a line between every cSep.
std::vector<std::string> Split(const std::string& sLine, char cSep);
// Where, for messages: "file:line" (nLine counted from 0).
std::string Where(const std::string& sPath, size_t nLine);
// GbkChars: a GBK text cut into characters (a byte with the top bit set and a byte after it form
// one character).
std::vector<std::string> GbkChars(const std::string& sText);

#endif  // VINTREL_TOOLS_VINTREL_BUILD_DATA_BUILDCOMMON_H_

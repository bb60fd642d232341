// Charset.h: CCharset, the 65,536-entry character-class table of the segmentation engine, and its
// "charset.type" file.
#ifndef VINTREL_UTILITY_CHARSET_H_
#define VINTREL_UTILITY_CHARSET_H_

#include <vector>

#include "Utility/global_linux.h"

// CCharset holds one class byte per character code: the byte value of a one-byte character, or
// lead byte * 256 + trail byte of a GBK two-byte character. The class values belong to the
// segmentation engine; 28 marks the blanks (space, tab, CR, LF) after an import.
//
// File "charset.type" (little-endian): int32 m_nSize, then the 65,536 class bytes; 65,540 bytes in
// all.
//
// Lifecycle: construct (every class 0), then Import or Load; GetType afterwards. Owns the table.
//
// Threads: read-only once imported or loaded: GetType, Export and Save may run from many threads
// at once. Import and Load need exclusive use.
class CCharset {
public:
    static constexpr int CODE_COUNT = 65536;
    static constexpr int BLANK_CLASS = 28;
    static constexpr long FILE_BYTES = 4 + CODE_COUNT;

    CCharset();
    virtual ~CCharset();
    CCharset(const CCharset&) = delete;  // owns a 64 KB table; share by pointer
    CCharset& operator=(const CCharset&) = delete;

    // Import: reads a text file of lines "%s %d" (a character and its class; lines of up to 1,024
    // bytes, a UTF-8 byte-order mark at a line start skipped) and stores each class (as one byte)
    // at the character's code: its first byte when below 0x80, else first * 256 + second. Lines
    // without both fields are skipped. Afterwards tab, LF, CR and space get class 28 whatever the
    // file said. Returns the number of lines stored (also kept as m_nSize), 0 when the file cannot
    // be opened (the table is then unchanged).
    int Import(const char* sFile);
    // Export: writes, for every code 1 to 65,535, the character and " %d\n" with its class (text
    // mode). Codes up to 256 are one byte, the others two (code / 256, code % 256); a NUL byte ends
    // the character early. Returns m_nSize, 0 when the file cannot be created.
    int Export(const char* sFile) const;
    // Save: writes "charset.type". 1, or 0 when it cannot be created or written.
    int Save(const char* sFile) const;
    // Load: replaces the table with a "charset.type" file. 1; 0 when the file cannot be opened, is
    // not exactly 65,540 bytes long or holds a negative count, leaving every class 0 and the size 0.
    int Load(const char* sFile);

    // GetType: the class of nCode; -1 when nCode is below 0 or at least 65,536.
    int GetType(int nCode) const;
    // GetType: the class of the character at sChar: first * 256 + second when the first byte has
    // its top bit set and a second byte follows, else the first byte. -1 for null.
    int GetType(const char* sChar) const;

    // GetSize: the number of entries imported (or loaded).
    int GetSize() const { return m_nSize; }

private:
    void Clear();

    std::vector<unsigned char> m_pData;  // CODE_COUNT class bytes
    int m_nSize = 0;
};

#endif  // VINTREL_UTILITY_CHARSET_H_

// global_linux.h: the shared records of the library and the portability helpers that Linux lacks.
// Every dictionary and scanner unit includes this header.
#ifndef VINTREL_UTILITY_GLOBAL_LINUX_H_
#define VINTREL_UTILITY_GLOBAL_LINUX_H_

#include <cstdint>
#include <string>

static_assert(sizeof(int) == 4, "the dictionary files store int as 32 bits");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the dictionary files are little-endian dumps");

// The library's string type: a byte string, GBK inside the library.
typedef std::string tstring;

// One keyword hit: the word handle, its byte offset and byte length in the scanned text, and a
// weight that the scanner fills in.
struct _stTermPosition {
    int nHandle = -1;
    int iStartPos = 0;
    int nWordLen = 0;
    double weight = 0.0;
};

// A span of a converted text (`first`) and the span of the input text it came from (`second`).
struct _TermPositionPair {
    _stTermPosition first;
    _stTermPosition second;
};

// One keyword with its class name (or other stored text) and weight while dictionaries are rebuilt.
struct WORD_INFO {
    std::string word;
    std::string store_info;
    int weight = 0;
};

// One pair of a translation table: a source text and its replacement.
struct map_str {
    std::string src;
    std::string dsn;
};

// Per-handle index entry of the class table and the id map. Both use `start` as the first record;
// the class table stores the record count in `end`, the id map the index of the last target
// (inclusive).
// (-1, -1) means no records.
struct index_t {
    int start = -1;
    int end = -1;
};
static_assert(sizeof(index_t) == 8, "index_t is a file record");

// Portability helpers of the Windows C library.
// itoa: prints nValue into sBuffer with "%o" for radix 8, "%x" for radix 16, "%d" for any other;
// returns sBuffer. REQUIRES: sBuffer holds at least 12 bytes.
char* itoa(int nValue, char* sBuffer, int nRadix);
// strlwr/strupr: fold a NUL-terminated string in place with tolower/toupper; null in, null out.
char* strlwr(char* sStr);
char* strupr(char* sStr);
// strrev: reverses a NUL-terminated string in place (byte-wise); null in, null out.
char* strrev(char* sStr);
// GetUpperLetter/GetLowerLetter: fold one ASCII letter; any other byte comes back unchanged.
char GetUpperLetter(char c);
char GetLowerLetter(char c);

#endif  // VINTREL_UTILITY_GLOBAL_LINUX_H_

// QMTEncript.h: CQMTEncript, the repeating-key XOR scrambler of result files and word lists, and
// the two fixed keys compiled into the library.
#ifndef VINTREL_ENCRIPT_QMTENCRIPT_H_
#define VINTREL_ENCRIPT_QMTENCRIPT_H_

#include <cstddef>
#include <cstdio>
#include <string>

// The key of line-scan result files and of their unscrambling: 182 bytes of GBK text, 12 ASCII
// letters followed by 85 two-byte Chinese characters (four quatrains and the first line of a
// fifth). Files scrambled by one build are readable only with the same keys: never change these
// bytes.
constexpr char QMT_RESULT_FILE_KEY[] =
    "VintrelScans"
    "\xB4\xB2\xC7\xB0\xC3\xF7\xD4\xC2\xB9\xE2\xD2\xC9\xCA\xC7\xB5\xD8\xC9\xCF\xCB\xAA"  // 床前明月光疑是地上霜
    "\xBE\xD9\xCD\xB7\xCD\xFB\xC3\xF7\xD4\xC2\xB5\xCD\xCD\xB7\xCB\xBC\xB9\xCA\xCF\xE7"  // 举头望明月低头思故乡
    "\xB4\xBA\xC3\xDF\xB2\xBB\xBE\xF5\xCF\xFE\xB4\xA6\xB4\xA6\xCE\xC5\xCC\xE4\xC4\xF1"  // 春眠不觉晓处处闻啼鸟
    "\xD2\xB9\xC0\xB4\xB7\xE7\xD3\xEA\xC9\xF9\xBB\xA8\xC2\xE4\xD6\xAA\xB6\xE0\xC9\xD9"  // 夜来风雨声花落知多少
    "\xB0\xD7\xC8\xD5\xD2\xC0\xC9\xBD\xBE\xA1\xBB\xC6\xBA\xD3\xC8\xEB\xBA\xA3\xC1\xF7"  // 白日依山尽黄河入海流
    "\xD3\xFB\xC7\xEE\xC7\xA7\xC0\xEF\xC4\xBF\xB8\xFC\xC9\xCF\xD2\xBB\xB2\xE3\xC2\xA5"  // 欲穷千里目更上一层楼
    "\xBA\xEC\xB6\xB9\xC9\xFA\xC4\xCF\xB9\xFA\xB4\xBA\xC0\xB4\xB7\xA2\xBC\xB8\xD6\xA6"  // 红豆生南国春来发几枝
    "\xD4\xB8\xBE\xFD\xB6\xE0\xB2\xC9\xDF\xA2\xB4\xCB\xCE\xEF\xD7\xEE\xCF\xE0\xCB\xBC"  // 愿君多采撷此物最相思
    "\xC7\xA7\xC9\xBD\xC4\xF1\xB7\xC9\xBE\xF8";  // 千山鸟飞绝
static_assert(sizeof(QMT_RESULT_FILE_KEY) == 182 + 1, "the result-file key is 182 bytes");

// The key of the text part of .wordlist files: 136 bytes of GBK text, 78 characters of which the
// first 20 are ASCII and the other 58 two-byte Chinese characters (a title and an eight-line poem).
constexpr char QMT_WORD_LIST_KEY[] =
    "VintrelWordListKey20"
    "\xB5\xC7\xB8\xDF\xB7\xE7\xBC\xB1\xCC\xEC\xB8\xDF\xD4\xB3\xD0\xA5\xB0\xA7\xE4\xBE"  // 登高风急天高猿啸哀渚
    "\xC7\xE5\xC9\xB3\xB0\xD7\xC4\xF1\xB7\xC9\xBB\xD8\xCE\xDE\xB1\xDF\xC2\xE4\xC4\xBE"  // 清沙白鸟飞回无边落木
    "\xCF\xF4\xCF\xF4\xCF\xC2\xB2\xBB\xBE\xA1\xB3\xA4\xBD\xAD\xB9\xF6\xB9\xF6\xC0\xB4"  // 萧萧下不尽长江滚滚来
    "\xCD\xF2\xC0\xEF\xB1\xAF\xC7\xEF\xB3\xA3\xD7\xF7\xBF\xCD\xB0\xD9\xC4\xEA\xB6\xE0"  // 万里悲秋常作客百年多
    "\xB2\xA1\xB6\xC0\xB5\xC7\xCC\xA8\xBC\xE8\xC4\xD1\xBF\xE0\xBA\xDE\xB7\xB1\xCB\xAA"  // 病独登台艰难苦恨繁霜
    "\xF7\xDE\xC1\xCA\xB5\xB9\xD0\xC2\xCD\xA3\xD7\xC7\xBE\xC6\xB1\xAD";  // 鬓潦倒新停浊酒杯
static_assert(sizeof(QMT_WORD_LIST_KEY) == 136 + 1, "the word-list key is 136 bytes");

// CQMTEncript scrambles bytes by XOR with a repeating key. XOR is its own inverse, so the same
// Encrypt call scrambles and unscrambles. The key restarts at the first byte of every buffer: a
// file must be unscrambled as one buffer (or in buffers that start at the same offsets as when it
// was scrambled).
//
// Lifecycle: construct with a key (copied); call any Encrypt form any number of times.
// Threads: the buffer forms are const and may run from many threads at once on one object; the file
// forms touch only their own files.
class CQMTEncript {
public:
    // CQMTEncript: copies the NUL-terminated key (null counts as an empty key).
    explicit CQMTEncript(const char* sKey);
    virtual ~CQMTEncript();
    CQMTEncript(const CQMTEncript&) = delete;  // one scrambler per user; build another from the key
    CQMTEncript& operator=(const CQMTEncript&) = delete;

    // Encrypt: XORs the nSize bytes at pBuffer in place with the key, restarting the key at
    // pBuffer[0]. Returns true; false (nothing done) when the key is empty, or when pBuffer is null
    // and nSize is not 0.
    bool Encrypt(char* pBuffer, size_t nSize) const;
    // Encrypt: the same over the bytes of sText in place.
    bool Encrypt(std::string& sText) const;
    // Encrypt: writes the scrambled contents of sSrcFile (read whole, as one buffer) to sDsnFile.
    // Both files are opened first ("rb" and "wb"), so the target is created or emptied even when
    // the source cannot be opened. Returns true; false when either cannot be opened, a path is
    // null, the source cannot be read whole or the target cannot be written. With an empty key the
    // file is copied unchanged (the scrambling step does nothing). nReserved is not used.
    // REQUIRES: the two paths name different files.
    bool Encrypt(const char* sSrcFile, const char* sDsnFile, long nReserved);
    // Encrypt: the stream form. Takes the size of fpSrc by seeking to its end and then reads from
    // there, so it reads nothing and writes the scrambled contents of a zero-filled buffer of that
    // size, i.e. the key itself repeated (or cut) to the stream's length. The stream is left at its
    // end. Returns true; false when fpSrc or sDsnFile is null, the target cannot be opened or
    // written, or the stream cannot be sized. No caller depends on this form; use the file-name
    // form to scramble a file.
    bool Encrypt(FILE* fpSrc, const char* sDsnFile);

    // GetKeyLength: the key length in bytes.
    unsigned int GetKeyLength() const { return m_nKeyLen; }

private:
    std::string m_sKey;      // owned copy of the key
    unsigned int m_nKeyLen;  // strlen of the key
};

#endif  // VINTREL_ENCRIPT_QMTENCRIPT_H_

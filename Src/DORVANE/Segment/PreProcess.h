// PreProcess.h: CPreProcess, the atom segmentation that comes before the word lattice: single
// characters, runs of letters, numbers, dates and times, runs of dashes and blanks.
#ifndef VINTREL_DORVANE_SEGMENT_PREPROCESS_H_
#define VINTREL_DORVANE_SEGMENT_PREPROCESS_H_

#include <cstddef>
#include <vector>

class CCharset;

// The kinds of atoms. Words of the lattice start and end at atom boundaries.
enum AtomType {
    ATOM_CHAR = 0,   // one GBK character: a hanzi or another two-byte character
    ATOM_LETTERS,    // a run of ASCII letters, or of full-width letters
    ATOM_NUMBER,     // digits (ASCII or full-width, with a decimal point, ratio or percent sign),
                     // Chinese numerals, "第" + a number, a number with 万/亿
    ATOM_TIME,       // a number followed by 年, 月, 日, 时, 分 or 秒
    ATOM_PUNCT,      // a punctuation mark, or a run of one repeated dash, ellipsis or dot
    ATOM_BLANK,      // a run of blanks (never written out)
    ATOM_OTHER       // a byte that is no GBK character (invalid or lone lead byte) or a control byte
};

struct _stAtom {
    int nStart;  // byte offset in the text
    int nLen;    // bytes
    int nType;   // AtomType
};

// CPreProcess cuts a GBK text into atoms. Uses the engine's character classes when given (null: a
// byte-based fallback). Threads: Atomize is const and may run from many threads at once.
class CPreProcess {
public:
    explicit CPreProcess(const CCharset* pCharset) : m_pCharset(pCharset) {}

    // Atomize: the atoms of the nLen bytes at sText, in text order, covering every byte.
    void Atomize(const char* sText, size_t nLen, std::vector<_stAtom>& vecAtoms) const;

private:
    const CCharset* m_pCharset;
};

#endif  // VINTREL_DORVANE_SEGMENT_PREPROCESS_H_

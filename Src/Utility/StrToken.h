// StrToken.h: CStrToken, a re-entrant tokenizer over one line, in the manner of a safer strtok.
#ifndef VINTREL_UTILITY_STRTOKEN_H_
#define VINTREL_UTILITY_STRTOKEN_H_

// CStrToken cuts a line into tokens in place: each token returned is NUL-terminated by overwriting
// the byte after it, and that byte is put back at the next call. In English mode "." and "," inside
// numbers and words do not split ("3.14", "1,000").
//
// Lifecycle: construct, GetToken(line, ...) to start a line, GetToken(nullptr, ...) for the
// following tokens until it returns null. The line must stay alive and writable while it is being
// cut.
//
// Threads: the cutting state lives in the object; each thread needs its own CStrToken.
class CStrToken {
public:
    explicit CStrToken(bool bEnglish = false);
    CStrToken(const CStrToken&) = delete;  // holds pointers into one line being cut
    CStrToken& operator=(const CStrToken&) = delete;

    // GetToken: the next token, or null when the line is used up. A non-null sLine starts a new
    // line that ends at sLineEnd (at its NUL when sLineEnd is null); a null sLine continues the
    // current line (null when no line was started). Bytes that are a space, tab, CR or in
    // sSeparators are skipped before a token; the token runs to the line end, a NUL or a byte of
    // sSeparators. In English mode a separator followed by a byte that is not a separator stays
    // inside the token when it is "." not followed by "." or "," followed by a byte not above '8'
    // (compared as signed char, so ",9" splits but a GBK byte after
    // "," does not). A token that reaches sLineEnd is not cut there; a NUL before sLineEnd gives an
    // empty token and the cutting goes on after it. A null sSeparators counts as "". REQUIRES:
    // sLineEnd, when given, lies within sLine's buffer at or after sLine.
    char* GetToken(char* sLine, char* sLineEnd, const char* sSeparators);
    // IsOutputSep: true when the last GetToken did not end at a separator it cut (the token reached
    // the line end, or nothing was left).
    bool IsOutputSep() const { return m_bOutputSep; }

private:
    // Cut: remembers the byte at p and overwrites it with NUL; the next call puts it back and goes
    // on there.
    void Cut(char* p);

    bool m_bEnglish;
    bool m_bOutputSep = false;
    char* m_pLineStart = nullptr;
    char* m_pLineEnd = nullptr;
    char m_cSep = '\0';
    bool m_bCut = false;  // m_cSep is to be put back at m_pTokenEnd
    char* m_pTokenEnd = nullptr;
};

#endif  // VINTREL_UTILITY_STRTOKEN_H_

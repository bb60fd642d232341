// TextClean.h: the text-cleaning helpers of the encoding-conversion module: normalisation of query
// and archive-member texts (punctuation, full-width forms, case) and HTML-to-text cleaning of web
// pages.
#ifndef VINTREL_UTILITY_TEXTCLEAN_H_
#define VINTREL_UTILITY_TEXTCLEAN_H_

#include <cstddef>

// g_nLangType: the language setting of the segmentation engine. Non-zero (Chinese, the default 1)
// makes str_normalization read a byte with the top bit set, when a further byte follows, as the
// lead byte of a two-byte GBK character; 0 makes every byte a character of its own.
//
// Threads: set once at start-up, before any cleaning runs; read-only afterwards.
extern int g_nLangType;

// The functions below are free functions without state of their own: any number of threads may call
// them at once on different buffers (they read g_nLangType only).

// str_normalization: rewrites the nLen bytes of sLine in place and returns the new length; the
// result is NUL-terminated at that length. Returns 0 and touches nothing when sLine is null or nLen
// is below 1. Bytes are walked left to right; with g_nLangType non-zero a byte of 0x80 or above
// with a further byte inside nLen starts a two-byte character (whatever the second byte is), else
// every byte stands alone:
//   - single bytes: "," "/" "_" become a tab when bQueryPaser is false; "A" to "Z" become lower
//     case; every other byte (a lone lead byte at the end included) is kept;
//   - "（" "【" become "(", "）" "】" become ")", "“" "”" "‘" "＇" become a double quote;
//   - "＼" "｜" "，" "．" "。" "、" "－" "—", AA A4 and the ideographic space become a tab;
//   - full-width digits and letters become ASCII digits and lower-case letters;
//   - every other two-byte character is kept as it is.
// The text only shrinks. NUL bytes inside nLen are ordinary bytes.
// REQUIRES: sLine holds at least nLen + 1 bytes (room for the terminating NUL, as a C string of
// length nLen has).
int str_normalization(char* sLine, int nLen, bool bQueryPaser);

// zipname_normalization: the same rewrite for the name of a member of an archive, so that names are
// cut into the same pieces as scanned text: str_normalization(sName, nLen, false) ("/" between path
// components and "," "_" inside names become tabs). Same result, failure values and REQUIRES.
int zipname_normalization(char* sName, int nLen);

// vHtmlToText: the text of a web page for scanning. Copies the nLen bytes of sHtml (a leading UTF-8
// byte-order mark EF BB BF skipped) into sText, cleaning as it goes, sets nTextLen to the bytes
// written and NUL-terminates sText there. At each position the first rule that applies wins:
//   1. "<" and a letter, "/", "!" or "?": a tag, replaced by one space. "<!--" ends after the next
//      "-->"; else a bare "<script>" (any case) ends after the first ">" that follows the first
//      "</s" after it (or, when there is none, the first "</S"); else the tag ends at a ">" less
//      than 500 bytes after the "<". When none of these ends is found, the "<" is an ordinary byte.
//   2. "&#" with a ";" at most 10 bytes after the "&": the decimal digits right after "&#" (at
//      most 8, so at most 99,999,999) are written as UTF-8 in the original up-to-6-byte form; the
//      value 0 (also "&#;" or no digits) writes nothing. Reading resumes after the ";".
//   3. "&lt;": removed with everything up to the end of a "&gt;" starting less than 700 bytes after
//      it, else on its own; one space either way.
//   4. "&", a letter and a ";" less than 10 bytes after the "&": one space.
//   5. "%" and two bytes both between "0" and "z": the byte they give read as hexadecimal (a byte
//      that is no hexadecimal digit counts as 0).
//   6. NUL followed by NUL: the first is dropped.
//   7. "nbsp;": dropped, except that it writes a space when the last byte written is a space.
//   8. any other byte is copied, except a space when the last byte written is a space.
// The spaces written by rules 1, 3 and 4 are always written. The output never grows past the input,
// so nTextLen <= nLen. Nothing is read outside the nLen bytes of sHtml.
// Bad arguments: a null sText or an nLen above PTRDIFF_MAX (a negative length cast to size_t) set
// nTextLen to 0 and write nothing; a null sHtml is an empty text.
// REQUIRES: sText holds at least nLen + 1 bytes. sText may be sHtml itself (cleaning in place).
void vHtmlToText(const char* sHtml, size_t nLen, char* sText, size_t& nTextLen);

#endif  // VINTREL_UTILITY_TEXTCLEAN_H_

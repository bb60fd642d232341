// PDATScanFilter_test.cpp: CPDAT's keyword scan with and without the scan filter. The filter and the
// rewritten scan loop must change nothing: the hits of a dictionary with the filter, of the same
// dictionary without it, and of a plain walk written from the scan rules are compared for random
// dictionaries and texts in every character mode and scan mode, after compiling, after Save/Load and
// after loading damaged files.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "support/ReferencePDAT.h"
#include "support/ScanHits.h"
#include "support/TestSupport.h"

namespace {

using vt_test::Hit;
using vt_test::Hits;
using vt_test::Scan;

bool IsLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }

// The English word-boundary test of a hit [s, e).
bool BoundaryOk(const std::string& t, size_t s, size_t e) {
    auto at = [&](size_t i) { return static_cast<unsigned char>(t[i]); };
    if (s > 0 && ((IsLetter(at(s)) && IsLetter(at(s - 1))) || (IsDigit(at(s)) && IsDigit(at(s - 1))))) {
        return false;
    }
    if (e < t.size() && e > 0 &&
        ((IsLetter(at(e - 1)) && IsLetter(at(e))) || (IsDigit(at(e - 1)) && IsDigit(at(e))))) {
        return false;
    }
    return true;
}

// PlainScan: the scan rules walked literally over the public array (cells, ranks), one attempt per
// start offset, with the characters read by the reference reader.
Hits PlainScan(const CPDAT& dict, const std::string& t, int nScanMode) {
    Hits vec;
    const CPDAT::state* pCells = dict.GetStates();
    if (pCells == nullptr) return vec;
    const size_t n = t.size();
    std::vector<int> vecCode(n), vecLen(n);
    for (size_t i = 0; i < n; ++i) {
        auto codes = vt_test::CReferencePDAT::Codes(t.substr(i), dict.GetMode() == 1 || dict.GetMode() == 2
                                                                     ? dict.GetMode()
                                                                     : 0);
        vecCode[i] = codes.front().first;
        vecLen[i] = codes.front().second;
    }
    const bool bOverlap = nScanMode == 1, bBoundary = nScanMode != 2;
    const int64_t nBound = dict.GetLowerBound();
    size_t s = 0;
    while (s < n) {
        size_t nPos = s, nWordLen = 0, nNext = 0;
        const size_t nFirst = static_cast<size_t>(vecLen[s]);
        int nHandle = -1;
        int64_t nBase = 0, nPrev = -2;
        auto pending = [&] { return nHandle >= 0 && nWordLen >= 1; };
        auto valid = [&] { return pending() && (!bBoundary || BoundaryOk(t, s, s + nWordLen)); };
        auto emit = [&] { vec.push_back({nHandle, static_cast<int>(s), static_cast<int>(nWordLen)}); };
        auto failed = [&] {  // a failing step, or the end of the text
            if (valid()) {
                emit();
                return bOverlap ? s + nFirst : s + nWordLen;
            }
            return pending() ? s + nWordLen : s + nFirst;
        };
        for (;;) {
            if (nPos >= n) {
                nNext = failed();
                break;
            }
            int c = vecCode[nPos];
            size_t nLen = static_cast<size_t>(vecLen[nPos]);
            if (bOverlap) {
                bool bHanzi = nLen == 2 && static_cast<unsigned char>(t[nPos]) >= 0xB0 &&
                              static_cast<unsigned char>(t[nPos + 1]) >= 0xA1;
                if (!bHanzi && !(c >= 'a' && c <= 'z') && !(c >= '0' && c <= '9')) {
                    if (pending()) emit();
                    nNext = s + nFirst;
                    break;
                }
            }
            int r = dict.GetCharRank(c);
            if (r < 0) {
                if (valid()) {
                    emit();
                    nNext = bOverlap ? s + nFirst : s + nWordLen;
                } else {
                    nNext = nPos + nLen;
                }
                break;
            }
            int64_t p = std::llabs(nBase) + r;
            if (p > nBound || pCells[p].check != nPrev) {
                nNext = failed();
                break;
            }
            const CPDAT::state& st = pCells[p];
            nPos += nLen;
            nPrev = p;
            nBase = st.base;
            if (st.base < 0 || (st.base == 0 && st.handle >= 0)) {
                nHandle = st.handle;
                nWordLen = nPos - s;
                if (st.base == -p) {
                    if (valid()) emit();
                    nNext = bOverlap ? s + nFirst : s + nWordLen;
                    break;
                }
            } else if (nPos - nLen == s) {
                nWordLen = nLen;
                nHandle = st.handle;
            }
        }
        s = nNext;
    }
    return vec;
}

// Characters of the random words and texts: GB2312 hanzi (few, so that words share prefixes), ASCII
// letters of both cases and digits, full-width letters, digits, brackets and quotes, separators, and a
// GBK character outside GB2312.
const std::vector<std::string>& Pieces() {
    static const std::vector<std::string> vec = {
        "\xB0\xA1", "\xB0\xA2", "\xB0\xA3", "\xB1\xA1", "\xB1\xA2", "\xC4\xCF",  // 啊阿埃 癌蔼 南
        "a", "b", "A", "B", "z", "1", "2",
        "\xA3\xC1", "\xA3\xE1", "\xA3\xB1",  // Ａ ａ １
        "\xA3\xA8", "\xA1\xB0",              // （ “
        " ", ",", "_", "\xA3\xAC", "\xA1\xA3",  // ， 。
        "\x81\x40",                              // a GBK character outside GB2312
    };
    return vec;
}

std::string RandomWord(std::mt19937& rng, int nMaxChars) {
    std::string s;
    int n = 1 + static_cast<int>(rng() % static_cast<unsigned>(nMaxChars));
    for (int i = 0; i < n; ++i) s += Pieces()[rng() % Pieces().size()];
    return s;
}

// A text of random pieces and dictionary words, with invalid bytes now and then and sometimes a lone
// lead byte at the end.
std::string RandomText(std::mt19937& rng, const std::vector<std::string>& vecWords) {
    std::string s;
    int n = static_cast<int>(rng() % 40);
    for (int i = 0; i < n; ++i) {
        unsigned k = rng() % 10;
        if (k < 4 && !vecWords.empty()) {
            s += vecWords[rng() % vecWords.size()];
        } else if (k == 4) {
            s += static_cast<char>(0x80 + rng() % 128);  // a stray high byte
        } else {
            s += Pieces()[rng() % Pieces().size()];
        }
    }
    if (rng() % 4 == 0) s += "\xB0";
    return s;
}

// ExpectSameScans: the filtered and the unfiltered dictionary give the same hits as the plain walk,
// for every scan mode (7 acts as 0).
void ExpectSameScans(const CPDAT& withFilter, const CPDAT& without, const std::string& sText) {
    for (int nScanMode : {0, 1, 2, 7}) {
        Hits plain = PlainScan(without, sText, nScanMode);
        EXPECT_EQ(Scan(without, sText, nScanMode), plain) << "scan mode " << nScanMode;
        EXPECT_EQ(Scan(withFilter, sText, nScanMode), plain) << "scan mode " << nScanMode;
    }
}

void AddAll(CPDAT& dict, const std::vector<std::string>& vecWords) {
    for (const std::string& s : vecWords) dict.AddWord(s.c_str());
    dict.AddWordComplete();
}

TEST(PDATScanFilter, RandomDictionariesScanAlikeInEveryMode) {
    vt_test::CTempDir dir;
    std::mt19937 rng(4242);
    for (int nRound = 0; nRound < 60; ++nRound) {
        int nMode = nRound % 3;
        std::vector<std::string> vecWords;
        int nWords = 1 + static_cast<int>(rng() % 60);
        for (int i = 0; i < nWords; ++i) vecWords.push_back(RandomWord(rng, nRound % 5 == 0 ? 1 : 4));
        CPDAT on(nMode), off(nMode);
        on.SetScanFilter(true);
        off.SetScanFilter(false);
        AddAll(on, vecWords);
        AddAll(off, vecWords);
        // The filter is never saved: both files are the same bytes.
        ASSERT_EQ(on.Save(dir.File("on.pdat").c_str()), 1);
        ASSERT_EQ(off.Save(dir.File("off.pdat").c_str()), 1);
        ASSERT_EQ(vt_test::ReadWholeFile(dir.File("on.pdat")), vt_test::ReadWholeFile(dir.File("off.pdat")));
        CPDAT loadedOn(0), loadedOff(1);
        loadedOn.SetScanFilter(true);
        loadedOff.SetScanFilter(false);
        ASSERT_EQ(loadedOn.Load(dir.File("on.pdat").c_str()), 1);
        ASSERT_EQ(loadedOff.Load(dir.File("on.pdat").c_str()), 1);
        for (int t = 0; t < 15; ++t) {
            std::string sText = RandomText(rng, vecWords);
            SCOPED_TRACE("round " + std::to_string(nRound) + " mode " + std::to_string(nMode));
            ExpectSameScans(on, off, sText);
            ExpectSameScans(loadedOn, loadedOff, sText);
        }
    }
}

TEST(PDATScanFilter, OneCharacterWordsAndFilterTurnedOnLater) {
    // One-character words end attempts at the first step; two-character words share the first one.
    CPDAT on(0), off(0);
    std::vector<std::string> vecWords = {"\xB0\xA1", "a", "\xC4\xCF\xB0\xA1", "1", "\xB0\xA1\xB0\xA2"};
    AddAll(on, vecWords);  // small: no filter until asked for
    AddAll(off, vecWords);
    on.SetScanFilter(true);
    off.SetScanFilter(false);
    std::mt19937 rng(9);
    ExpectSameScans(on, off, "\xC4\xCF\xB0\xA1\xB0\xA2 a1 A \xB0");  // 南啊阿 a1 A, then a lone lead byte
    for (int t = 0; t < 200; ++t) ExpectSameScans(on, off, RandomText(rng, vecWords));
    // Turning it off again keeps the results too.
    on.SetScanFilter(false);
    for (int t = 0; t < 50; ++t) ExpectSameScans(on, off, RandomText(rng, vecWords));
}

TEST(PDATScanFilter, LargeDictionaryGetsTheFilterByDefault) {
    // Enough two- to five-character words over some 3700 hanzi to pass 65536 cells, so the default
    // builds the filter; texts of dictionary words and stray hanzi.
    std::mt19937 rng(77);
    auto hanzi = [&] {
        std::string s;
        s += static_cast<char>(0xB0 + rng() % 40);
        s += static_cast<char>(0xA1 + rng() % 94);
        return s;
    };
    std::vector<std::string> vecWords;
    for (int i = 0; i < 30000; ++i) {
        std::string s;
        int n = 2 + static_cast<int>(rng() % 4);
        for (int k = 0; k < n; ++k) s += hanzi();
        vecWords.push_back(s);
    }
    CPDAT automatic(0), off(0);
    off.SetScanFilter(false);
    AddAll(automatic, vecWords);
    AddAll(off, vecWords);
    ASSERT_GE(automatic.GetLowerBound(), 65536);
    for (int t = 0; t < 20; ++t) {
        std::string sText;
        for (int i = 0; i < 300; ++i) sText += rng() % 3 == 0 ? vecWords[rng() % vecWords.size()] : hanzi();
        for (int nScanMode : {0, 1, 2}) {
            Hits plain = Scan(off, sText, nScanMode);
            EXPECT_EQ(Scan(automatic, sText, nScanMode), plain) << "scan mode " << nScanMode;
            if (t == 0) {
                EXPECT_EQ(plain, PlainScan(off, sText, nScanMode)) << "scan mode " << nScanMode;
            }
        }
    }
}

TEST(PDATScanFilter, DamagedFilesNeverBreakTheFilter) {
    // A damaged file that Load still accepts gets a filter built from its cells as they are, and scans
    // alike with and without it; a refused one leaves an empty dictionary that finds nothing.
    vt_test::CTempDir dir;
    std::mt19937 rng(31);
    std::vector<std::string> vecWords;
    for (int i = 0; i < 40; ++i) vecWords.push_back(RandomWord(rng, 4));
    CPDAT good(2);
    AddAll(good, vecWords);
    ASSERT_EQ(good.Save(dir.File("good.pdat").c_str()), 1);
    std::string sGood = vt_test::ReadWholeFile(dir.File("good.pdat"));
    std::vector<std::string> vecTexts;
    for (int t = 0; t < 6; ++t) vecTexts.push_back(RandomText(rng, vecWords));
    CPDAT on(0), off(0);
    on.SetScanFilter(true);
    off.SetScanFilter(false);
    vt_test::ForEachDamagedCopy(sGood, dir.File("bad.pdat"), 30, 300, 5, [&](bool bTruncated) {
        int nOn = on.Load(dir.File("bad.pdat").c_str());
        int nOff = off.Load(dir.File("bad.pdat").c_str());
        ASSERT_EQ(nOn, nOff);
        if (bTruncated) {
            EXPECT_EQ(nOn, 0);
        }
        for (const std::string& sText : vecTexts) {
            if (nOn == 0) {
                EXPECT_TRUE(Scan(on, sText, 1).empty());
            } else {
                ExpectSameScans(on, off, sText);
            }
        }
    });
    ASSERT_EQ(on.Load(dir.File("good.pdat").c_str()), 1);
    ASSERT_EQ(off.Load(dir.File("good.pdat").c_str()), 1);
    for (const std::string& sText : vecTexts) ExpectSameScans(on, off, sText);
}

}  // namespace

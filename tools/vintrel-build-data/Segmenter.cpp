// Segmenter.cpp: the segmentation engine's data directory (OUTPUT_DIR/Data/), built from the
// sources under data/segmenter/ through the library's own dictionary classes.
//
// Sources
// =======
//   jieba_dict.gbk.txt  GBK lines "word freq tag": the core dictionary, its frequencies and tags.
//   hmm_posseg.tsv      the joint segmentation-and-tagging HMM, states written "B,tag" (B, M, E, S
//                       = begin, middle, end of a word, single-character word); rows "start",
//                       "trans" (read here) and "emit", "charstate" (not used).
//   Configure.xml       the engine configuration, copied byte for byte.
//   surnames.txt        the project's own list of family names, UTF-8, converted to GBK here.
//
// Files written (little-endian, as the classes named save them)
// =============================================================
//   PKU.map          the tag names, one per line, sorted by bytes; a tag's id is its line index.
//                    The names: every tag of the dictionary, every tag of the HMM states, and w nx
//                    m t nr ns nt nz x q. At most 255.
//   PKU_First.map    the same ids, each name cut to its first letter (the first-level class).
//   GRAVO_First.map  the same ids, coarse English class names by first letter (noun, verb, ...;
//                    "foreign" for eng* and nx, "other" for letters without a class).
//   Configure.xml    the engine configuration.
//   CoreDict.pdat    CPDAT, character mode 0. Handles: 0..8 the special entries 始##始 末##末
//                    未##串 未##人 未##地 未##团 未##时 未##数 未##专; then the dictionary words in
//                    file order (a repeated word, also one that differs only in ASCII case, keeps
//                    its first handle and tag and adds up its frequencies); then every punctuation
//                    character (class 6 of charset.type) that is no word yet, in code order.
//   CoreDict.unig    CUnigram: the frequency of every handle (special entries: 0 for the sentence
//                    start and end, 1000 for the others; punctuation 1).
//   CoreDict.pos     CPOS: one record per handle, the PKU.map id of its tag and its frequency (at
//                    least 1). Special entries: x x nx nr ns nt t m nz; punctuation: w.
//   BiWord.big       CBigram: int32 count, then {int32 left, int32 right, int32 freq} records.
//                    Empty (4 bytes): there is no word-pair data under a license we can ship.
//   GRAVO.ctx        CContextStat over the PKU.map ids: int32 n, float32 start[n], float32
//                    trans[n * n] (row = preceding tag), natural logs. From the HMM: a word starts
//                    in state B or S, so start(t) = log(e^start(B,t) + e^start(S,t)); a word ends
//                    in E or S and the next begins in B or S, so trans(t1, t2) sums e^trans over
//                    those four state pairs, each row renormalised to 1 (a row without mass is
//                    uniform). Values below -100 (the HMM's -3.14e100 "impossible" included) are
//                    -100; tags the HMM lacks start at -100 and have uniform rows.
//   charset.type     CCharset: the character classes, the same bytes as the root directory's.
//   nr.role          CPOS over CoreDict handles: the person-name roles of words, role ids
//                    0 S (single-character surname), 1 G (given-name character), 2 D (compound
//                    surname); a character may hold several. Frequencies from the dictionary's
//                    words tagged nr: S and D count the 2-3- and 3-4-character names that start
//                    with the surname (a name starting with a compound surname counts for it
//                    only), G counts the characters after such a surname, function characters left
//                    out; surnames get at least 1.
//   nr.ctx           CContextStat over the 3 roles: start S, D log 0.5, G -100; trans S->G and
//                    D->G log 1, G->G log 0.5, G->S and G->D log 0.25, the rest -100.
//   nr.fsa           CFSA: int32 states, int32 symbols, int32 next[states * symbols] (-1: no move),
//                    int32 final[states]. 4 states over the 3 roles, accepting exactly "S G G" and
//                    "D G G": 0 -S/D-> 1 -G-> 2 -G-> 3 (final).
//
// Every table is filled in a fixed order, so the same sources give the same bytes.
#include "Segmenter.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <utility>

#include "BuildCommon.h"
#include "DORVANE/Segment/Bigram.h"
#include "DORVANE/Segment/FSA.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "Utility/Charset.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"
#include "Utility/Unigram.h"

namespace {

constexpr int CLASS_PUNCT = 6;  // punctuation in charset.type
constexpr double LOG_FLOOR = -100.0;

// The special entries of the core dictionary, handles 0..8, with their frequencies and tags.
struct _stSpecialEntry {
    const char* sWord;
    int nFreq;
    const char* sTag;
};
const _stSpecialEntry SPECIAL_ENTRIES[] = {
    {"\xCA\xBC##\xCA\xBC", 0, "x"},      // 始##始 sentence start
    {"\xC4\xA9##\xC4\xA9", 0, "x"},      // 末##末 sentence end
    {"\xCE\xB4##\xB4\xAE", 1000, "nx"},  // 未##串 unknown string
    {"\xCE\xB4##\xC8\xCB", 1000, "nr"},  // 未##人 unknown person
    {"\xCE\xB4##\xB5\xD8", 1000, "ns"},  // 未##地 unknown place
    {"\xCE\xB4##\xCD\xC5", 1000, "nt"},  // 未##团 unknown organisation
    {"\xCE\xB4##\xCA\xB1", 1000, "t"},   // 未##时 unknown time
    {"\xCE\xB4##\xCA\xFD", 1000, "m"},   // 未##数 unknown number
    {"\xCE\xB4##\xD7\xA8", 1000, "nz"},  // 未##专 unknown proper noun
};

// Tags always in PKU.map, whatever the sources hold.
const char* const FIXED_TAGS[] = {"w", "nx", "m", "t", "nr", "ns", "nt", "nz", "x", "q"};

// Person-name roles (nr.role ids, nr.ctx and nr.fsa symbols).
constexpr int ROLE_S = 0;  // single-character surname
constexpr int ROLE_G = 1;  // given-name character
constexpr int ROLE_D = 2;  // compound surname
constexpr int ROLE_COUNT = 3;

// Characters that are not counted as given-name characters:
// 的了是在和与及或也都就而把被对从向为以于 上下中不有这那个们说.
const char STOP_CHARS[] =
    "\xB5\xC4\xC1\xCB\xCA\xC7\xD4\xDA\xBA\xCD\xD3\xEB\xBC\xB0\xBB\xF2\xD2\xB2\xB6\xBC\xBE\xCD"
    "\xB6\xF8\xB0\xD1\xB1\xBB\xB6\xD4\xB4\xD3\xCF\xF2\xCE\xAA\xD2\xD4\xD3\xDA\xC9\xCF\xCF\xC2"
    "\xD6\xD0\xB2\xBB\xD3\xD0\xD5\xE2\xC4\xC7\xB8\xF6\xC3\xC7\xCB\xB5";








// Utf8ToGbk: the GBK text of a UTF-8 text through the code point table; false when a sequence is
// malformed or a code point has no GBK text.
bool Utf8ToGbk(const std::string& sUtf8, const std::map<uint32_t, std::string>& mapCodeToGbk,
               std::string& sGbk) {
    sGbk.clear();
    for (size_t i = 0; i < sUtf8.size();) {
        unsigned char c = static_cast<unsigned char>(sUtf8[i]);
        size_t nLen = c < 0x80         ? 1
                      : (c >> 5) == 6  ? 2
                      : (c >> 4) == 14 ? 3
                      : (c >> 3) == 30 ? 4
                                       : 0;
        if (nLen == 0 || i + nLen > sUtf8.size()) return false;
        uint32_t nCode = nLen == 1 ? c : c & (0xFF >> (nLen + 1));
        for (size_t k = 1; k < nLen; ++k) {
            unsigned char t = static_cast<unsigned char>(sUtf8[i + k]);
            if ((t & 0xC0) != 0x80) return false;
            nCode = (nCode << 6) | (t & 0x3F);
        }
        i += nLen;
        if (nCode < 0x80) {
            sGbk.push_back(static_cast<char>(nCode));
            continue;
        }
        auto it = mapCodeToGbk.find(nCode);
        if (it == mapCodeToGbk.end()) return false;
        sGbk += it->second;
    }
    return true;
}

// ParseCount: a decimal count of at most 9 digits (no sign, no blanks); false otherwise.
bool ParseCount(const std::string& s, int& nValue) {
    if (s.empty() || s.size() > 9) return false;
    nValue = 0;
    for (char c : s) {
        if (c < '0' || c > '9') return false;
        nValue = nValue * 10 + (c - '0');
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------
// The sources.

struct _stDictLine {
    std::string sWord;
    int nFreq;
    std::string sTag;
};

std::vector<_stDictLine> ReadDictionary(const std::string& sPath) {
    std::vector<std::string> vecLines = ReadLines(sPath);
    std::vector<_stDictLine> vecWords;
    vecWords.reserve(vecLines.size());
    for (size_t i = 0; i < vecLines.size(); ++i) {
        if (vecLines[i].empty()) continue;
        std::vector<std::string> f = Split(vecLines[i], ' ');
        _stDictLine line;
        if (f.size() != 3 || f[0].empty() || f[2].empty() || !ParseCount(f[1], line.nFreq)) {
            Fail(Where(sPath, i) + ": not \"word freq tag\"");
        }
        line.sWord = std::move(f[0]);
        line.sTag = std::move(f[2]);
        vecWords.push_back(std::move(line));
    }
    return vecWords;
}

// The start and transition rows of the HMM, by state text ("B,n"); natural logs.
struct _stHmm {
    std::map<std::string, double> mapStart;
    std::map<std::pair<std::string, std::string>, double> mapTrans;
};

bool ParseLogProb(const std::string& s, double& fValue) {
    if (s.empty()) return false;
    char* pEnd = nullptr;
    fValue = std::strtod(s.c_str(), &pEnd);
    return pEnd == s.c_str() + s.size() && !std::isnan(fValue) && fValue <= 0.0;
}

_stHmm ReadHmm(const std::string& sPath) {
    _stHmm hmm;
    std::vector<std::string> vecLines = ReadLines(sPath);
    for (size_t i = 0; i < vecLines.size(); ++i) {
        const std::string& sLine = vecLines[i];
        if (sLine.empty() || sLine[0] == '#') continue;
        std::vector<std::string> f = Split(sLine, '\t');
        double fValue = 0;
        if (f[0] == "start") {
            if (f.size() != 4 || !ParseLogProb(f[3], fValue)) Fail(Where(sPath, i) + ": bad row");
            hmm.mapStart[f[1]] = fValue;
        } else if (f[0] == "trans") {
            if (f.size() != 4 || !ParseLogProb(f[3], fValue)) Fail(Where(sPath, i) + ": bad row");
            hmm.mapTrans[{f[1], f[2]}] = fValue;
        }
    }
    if (hmm.mapStart.empty() || hmm.mapTrans.empty()) Fail(sPath + ": no start or trans rows");
    return hmm;
}

// HmmTag: the tag of a state text "B,n" ("" when it has no comma).
std::string HmmTag(const std::string& sState) {
    size_t nComma = sState.find(',');
    return nComma == std::string::npos ? std::string() : sState.substr(nComma + 1);
}

// ---------------------------------------------------------------------------------------------------
// Tag maps.

std::string FirstLevel(const std::string& sTag) {
    if (sTag == "w" || sTag == "x") return sTag;
    return sTag.substr(0, 1);
}

std::string CoarseName(const std::string& sTag) {
    if (sTag.rfind("eng", 0) == 0 || sTag.rfind("nx", 0) == 0) return "foreign";
    static const std::map<char, const char*> NAMES = {
        {'n', "noun"},     {'v', "verb"},   {'a', "adj"},   {'d', "adv"},      {'m', "num"},
        {'q', "quant"},    {'r', "pron"},   {'p', "prep"},  {'c', "conj"},     {'u', "aux"},
        {'y', "modal"},    {'e', "interj"}, {'o', "onom"},  {'t', "time"},     {'s', "space"},
        {'f', "locative"}, {'w', "punct"},  {'x', "other"}, {'b', "distinct"}, {'z', "status"},
        {'i', "idiom"},    {'l', "phrase"}, {'j', "abbr"},  {'g', "morpheme"}, {'h', "prefix"},
        {'k', "suffix"}};
    auto it = NAMES.find(sTag.empty() ? '\0' : sTag[0]);
    return it != NAMES.end() ? it->second : "other";
}

// The context table is written through CContextStat; its values are clamped here.
// Clamp: a log probability held to -100 .. 0 (a rounding error above 0 would not be a probability).
float Clamp(double fLog) {
    return static_cast<float>(std::isnan(fLog) ? LOG_FLOOR
                                               : std::min(std::max(fLog, LOG_FLOOR), 0.0));
}

// ---------------------------------------------------------------------------------------------------

// CSegmenterBuilder: reads the sources once and writes every file of Data/ (Build), keeping what
// later files need (tag ids, the words by handle, the written core dictionary).
// Threads: one build at a time, on one thread.
class CSegmenterBuilder {
public:
    CSegmenterBuilder(const std::string& sSourceDir, const std::string& sOutputDir,
                      const std::map<uint32_t, std::string>& mapCodeToGbk)
        : m_sSource(sSourceDir + "/segmenter/"),
          m_sOutputDir(sOutputDir),
          m_sData(sOutputDir + "/Data/"),
          m_mapCodeToGbk(mapCodeToGbk) {}
    CSegmenterBuilder(const CSegmenterBuilder&) =
        delete;  // owns a loaded dictionary; one per build
    CSegmenterBuilder& operator=(const CSegmenterBuilder&) = delete;

    std::vector<std::string> Build() {
        if (mkdir(m_sData.c_str(), 0777) != 0 && errno != EEXIST) Fail("cannot create " + m_sData);
        std::vector<_stDictLine> vecDict = ReadDictionary(m_sSource + "jieba_dict.gbk.txt");
        _stHmm hmm = ReadHmm(m_sSource + "hmm_posseg.tsv");
        BuildTagMaps(vecDict, hmm);
        CopyFile(m_sSource + "Configure.xml", "Configure.xml");
        CopyFile(m_sOutputDir + "/charset.type", "charset.type");
        BuildCoreDict(vecDict);
        CBigram bigram;
        Save(bigram.Save(Path("BiWord.big").c_str()), "BiWord.big");
        BuildTagContext(hmm);
        BuildPersonTables();
        return m_vecWritten;
    }

private:
    std::string Path(const char* sName) const { return m_sData + sName; }
    void Save(int nResult, const char* sName) {
        if (nResult != 1) Fail("cannot write " + Path(sName));
        m_vecWritten.push_back(std::string("Data/") + sName);
    }
    void CopyFile(const std::string& sFrom, const char* sName) {
        WriteBytes(Path(sName), ReadBytes(sFrom));
        m_vecWritten.push_back(std::string("Data/") + sName);
    }
    void WriteMap(const char* sName, const std::vector<std::string>& vecNames) {
        std::string sText;
        for (const std::string& sTagName : vecNames) sText += sTagName + "\n";
        WriteBytes(Path(sName), sText);
        CPOSmap check;
        if (check.Load(Path(sName).c_str()) != 1 ||
            check.GetItemCount() != static_cast<int>(vecNames.size())) {
            Fail(std::string(sName) + ": the written map does not load with every name");
        }
        m_vecWritten.push_back(std::string("Data/") + sName);
    }

    int TagId(const std::string& sTag) const {
        auto it = m_mapTagId.find(sTag);
        if (it == m_mapTagId.end()) Fail("tag " + sTag + " missing from PKU.map");
        return it->second;
    }

    void BuildTagMaps(const std::vector<_stDictLine>& vecDict, const _stHmm& hmm) {
        std::set<std::string> setTags(std::begin(FIXED_TAGS), std::end(FIXED_TAGS));
        for (const _stDictLine& line : vecDict) setTags.insert(line.sTag);
        for (const auto& start : hmm.mapStart) setTags.insert(HmmTag(start.first));
        for (const auto& trans : hmm.mapTrans) {
            setTags.insert(HmmTag(trans.first.first));
            setTags.insert(HmmTag(trans.first.second));
        }
        setTags.erase("");
        if (setTags.size() > CPOSmap::NO_CLASS) Fail("more than 255 tags");
        std::vector<std::string> vecPku(setTags.begin(), setTags.end());  // byte order
        std::vector<std::string> vecFirst, vecCoarse;
        for (size_t i = 0; i < vecPku.size(); ++i) {
            const std::string& sTag = vecPku[i];
            if (sTag.find_first_of(" \t") != std::string::npos ||
                sTag.size() >= static_cast<size_t>(CPOSmap::LINE_BUFFER_SIZE) - 1) {
                Fail("tag \"" + sTag + "\" cannot be a map line");
            }
            m_mapTagId[sTag] = static_cast<int>(i);
            vecFirst.push_back(FirstLevel(sTag));
            vecCoarse.push_back(CoarseName(sTag));
        }
        m_vecTags = vecPku;
        WriteMap("PKU.map", vecPku);
        WriteMap("PKU_First.map", vecFirst);
        WriteMap("GRAVO_First.map", vecCoarse);
        std::printf("segmenter tags: %zu\n", vecPku.size());
    }

    void BuildCoreDict(const std::vector<_stDictLine>& vecDict) {
        CPDAT dict(0);
        std::vector<int> vecFreq;  // by handle
        std::vector<int> vecTag;   // by handle
        size_t nRepeated = 0, nDropped = 0, nPunct = 0;
        // add: adds a word; a new one takes the next handle, a repeated dictionary word adds its
        // frequency to the first (a special entry or a punctuation character stays as it is).
        // Returns the handle.
        size_t nSpecial = std::size(SPECIAL_ENTRIES);
        auto add = [&](const std::string& sWord, int nFreq, int nTag, bool bSumRepeat) {
            int nHandle = dict.AddWord(sWord.c_str());
            if (nHandle < 0) {
                ++nDropped;
                return nHandle;
            }
            size_t h = static_cast<size_t>(nHandle);
            if (h == vecFreq.size()) {
                vecFreq.push_back(nFreq);
                vecTag.push_back(nTag);
                m_vecWords.push_back(sWord);
                return nHandle;
            }
            if (h > vecFreq.size()) Fail("CoreDict: handles not dense");
            if (!bSumRepeat) return nHandle;
            ++nRepeated;
            if (h >= nSpecial) {
                long long nSum = static_cast<long long>(vecFreq[h]) + nFreq;
                if (nSum > INT_MAX) Fail("CoreDict: frequency of " + sWord + " too large");
                vecFreq[h] = static_cast<int>(nSum);
            }
            return nHandle;
        };
        for (size_t i = 0; i < nSpecial; ++i) {
            const _stSpecialEntry& entry = SPECIAL_ENTRIES[i];
            if (add(entry.sWord, entry.nFreq, TagId(entry.sTag), false) != static_cast<int>(i)) {
                Fail("CoreDict: special entry not added as a new word");
            }
        }
        for (const _stDictLine& line : vecDict) add(line.sWord, line.nFreq, TagId(line.sTag), true);
        size_t nDictWords = vecFreq.size() - nSpecial;
        // Punctuation the engine must find as words, in code order.
        CCharset charset;
        if (charset.Load((m_sOutputDir + "/charset.type").c_str()) != 1) {
            Fail("cannot load " + m_sOutputDir + "/charset.type");
        }
        int nTagW = TagId("w");
        for (int nCode = 1; nCode < CCharset::CODE_COUNT; ++nCode) {
            if (charset.GetType(nCode) != CLASS_PUNCT) continue;
            std::string sChar = nCode < 0x80 ? std::string(1, static_cast<char>(nCode))
                                             : std::string{static_cast<char>(nCode >> 8),
                                                           static_cast<char>(nCode & 0xFF)};
            size_t nCount = vecFreq.size();
            add(sChar, 1, nTagW, false);
            if (vecFreq.size() == nCount + 1) ++nPunct;
        }
        dict.AddWordComplete();
        Save(dict.Save(Path("CoreDict.pdat").c_str()), "CoreDict.pdat");

        int nBound = static_cast<int>(vecFreq.size());
        CUnigram unigram(nBound);
        long long nTotal = 0;
        for (int h = 0; h < nBound; ++h) {
            unigram.AddFreq(h, vecFreq[static_cast<size_t>(h)]);
            nTotal += vecFreq[static_cast<size_t>(h)];
        }
        if (nTotal > INT_MAX) Fail("CoreDict: total frequency does not fit in 32 bits");
        Save(unigram.Save(Path("CoreDict.unig").c_str()), "CoreDict.unig");

        std::vector<POS_elem> vecRows(static_cast<size_t>(nBound));
        for (int h = 0; h < nBound; ++h) {
            POS_elem& row = vecRows[static_cast<size_t>(h)];
            row.handle = h;
            row.POS_id = static_cast<unsigned char>(vecTag[static_cast<size_t>(h)]);
            row.freq = std::max(vecFreq[static_cast<size_t>(h)], 1);
        }
        CPOS pos;
        if (pos.Import(vecRows, nBound) != nBound) Fail("CoreDict.pos: import failed");
        Save(pos.Save(Path("CoreDict.pos").c_str()), "CoreDict.pos");

        // The compiled dictionary finds what was added under the same handles.
        m_pCheck = std::make_unique<CPDAT>(0);
        if (m_pCheck->Load(Path("CoreDict.pdat").c_str()) != 1) Fail("CoreDict.pdat does not load");
        for (size_t i = 0; i < nSpecial; ++i) {
            if (m_pCheck->Find(SPECIAL_ENTRIES[i].sWord) != static_cast<int>(i)) {
                Fail("CoreDict: special entry " + std::to_string(i) + " not found again");
            }
        }
        m_nBound = nBound;
        std::printf(
            "core dictionary: %zu words (%zu special, %zu from the dictionary, %zu "
            "punctuation), %zu repeated lines merged, %zu dropped, total frequency %lld\n",
            vecFreq.size(), nSpecial, nDictWords, nPunct, nRepeated, nDropped, nTotal);
        m_vecTagOfHandle = std::move(vecTag);
    }

    void BuildTagContext(const _stHmm& hmm) {
        int n = static_cast<int>(m_vecTags.size());
        CContextStat ctx;
        if (ctx.SetSize(n) != 1) Fail("GRAVO.ctx: bad size");
        auto prob = [](const std::map<std::string, double>& map, const std::string& sKey) {
            auto it = map.find(sKey);
            return it == map.end() ? 0.0 : std::exp(it->second);
        };
        auto trans = [&](const std::string& sFrom, const std::string& sTo) {
            auto it = hmm.mapTrans.find({sFrom, sTo});
            return it == hmm.mapTrans.end() ? 0.0 : std::exp(it->second);
        };
        double fUniform = std::log(1.0 / n);
        for (int i = 0; i < n; ++i) {
            const std::string& t1 = m_vecTags[static_cast<size_t>(i)];
            double fStart = prob(hmm.mapStart, "B," + t1) + prob(hmm.mapStart, "S," + t1);
            if (ctx.SetStart(i, Clamp(fStart > 0 ? std::log(fStart) : LOG_FLOOR)) != 1) {
                Fail("GRAVO.ctx: bad start value");
            }
            std::vector<double> vecRow(static_cast<size_t>(n), 0.0);
            double fRowMass = 0;
            for (int j = 0; j < n; ++j) {
                const std::string& t2 = m_vecTags[static_cast<size_t>(j)];
                double fMass = 0;
                for (const char* sFrom : {"E,", "S,"}) {
                    for (const char* sTo : {"B,", "S,"}) fMass += trans(sFrom + t1, sTo + t2);
                }
                vecRow[static_cast<size_t>(j)] = fMass;
                fRowMass += fMass;
            }
            for (int j = 0; j < n; ++j) {
                double fMass = vecRow[static_cast<size_t>(j)];
                double fLog = fRowMass <= 0 ? fUniform
                              : fMass > 0   ? std::log(fMass / fRowMass)
                                            : LOG_FLOOR;
                if (ctx.SetTrans(i, j, Clamp(fLog)) != 1) Fail("GRAVO.ctx: bad transition value");
            }
        }
        Save(ctx.Save(Path("GRAVO.ctx").c_str()), "GRAVO.ctx");
    }

    std::vector<std::string> ReadSurnames(const std::string& sPath) {
        std::vector<std::string> vecLines = ReadLines(sPath);
        std::vector<std::string> vecNames;
        std::set<std::string> setSeen;
        for (size_t i = 0; i < vecLines.size(); ++i) {
            std::string sLine = vecLines[i];
            if (i == 0 && sLine.rfind("\xEF\xBB\xBF", 0) == 0) sLine.erase(0, 3);
            if (sLine.empty() || sLine[0] == '#') continue;
            std::string sGbk;
            if (!Utf8ToGbk(sLine, m_mapCodeToGbk, sGbk)) Fail(Where(sPath, i) + ": not GBK text");
            std::vector<std::string> vecChars = GbkChars(sGbk);
            if (vecChars.empty() || vecChars.size() > 2 || vecChars[0].size() != 2 ||
                vecChars.back().size() != 2) {
                Fail(Where(sPath, i) + ": a surname is one or two Chinese characters");
            }
            if (!setSeen.insert(sGbk).second) Fail(Where(sPath, i) + ": repeated surname");
            if (m_pCheck->Find(sGbk.c_str()) < 0) {
                Fail(Where(sPath, i) + ": surname is not a word of the core dictionary");
            }
            vecNames.push_back(sGbk);
        }
        if (vecNames.empty()) Fail(sPath + ": no surnames");
        return vecNames;
    }

    void BuildPersonTables() {
        std::vector<std::string> vecSurnames = ReadSurnames(m_sSource + "surnames.txt");
        std::set<std::string> setSingle, setCompound;
        for (const std::string& s : vecSurnames)
            (s.size() == 2 ? setSingle : setCompound).insert(s);
        std::set<std::string> setStop;
        for (const std::string& c : GbkChars(STOP_CHARS)) setStop.insert(c);

        // Counts over the dictionary's person names (tag nr), one per distinct word.
        std::map<std::string, int> mapSurname, mapGiven;
        int nTagNr = TagId("nr");
        for (size_t h = 0; h < m_vecWords.size(); ++h) {
            if (m_vecTagOfHandle[h] != nTagNr || h < std::size(SPECIAL_ENTRIES)) continue;
            std::vector<std::string> vecChars = GbkChars(m_vecWords[h]);
            bool bAllHanzi = std::all_of(vecChars.begin(), vecChars.end(),
                                         [](const std::string& c) { return c.size() == 2; });
            if (!bAllHanzi) continue;
            size_t nLen = vecChars.size();
            size_t nGivenFrom = 0;
            if (nLen >= 3 && nLen <= 4 && setCompound.count(vecChars[0] + vecChars[1]) != 0) {
                ++mapSurname[vecChars[0] + vecChars[1]];
                nGivenFrom = 2;
            } else if (nLen >= 2 && nLen <= 3 && setSingle.count(vecChars[0]) != 0) {
                ++mapSurname[vecChars[0]];
                nGivenFrom = 1;
            } else {
                continue;
            }
            for (size_t k = nGivenFrom; k < nLen; ++k) {
                if (setStop.count(vecChars[k]) == 0) ++mapGiven[vecChars[k]];
            }
        }

        std::vector<POS_elem> vecRows;
        auto addRow = [&](int nHandle, int nRole, int nFreq) {
            POS_elem row;
            row.handle = nHandle;
            row.POS_id = static_cast<unsigned char>(nRole);
            row.freq = nFreq;
            vecRows.push_back(row);
        };
        for (const std::string& s : vecSurnames) {
            auto it = mapSurname.find(s);
            addRow(m_pCheck->Find(s.c_str()), s.size() == 2 ? ROLE_S : ROLE_D,
                   std::max(it == mapSurname.end() ? 0 : it->second, 1));
        }
        size_t nGiven = 0, nNoWord = 0;
        for (const auto& given : mapGiven) {  // byte order
            int nHandle = m_pCheck->Find(given.first.c_str());
            if (nHandle < 0) {
                ++nNoWord;  // a character that is no word has no handle to carry the role
                continue;
            }
            addRow(nHandle, ROLE_G, given.second);
            ++nGiven;
        }
        CPOS roles;
        int nRows = static_cast<int>(vecRows.size());
        if (roles.Import(vecRows, m_nBound) != nRows) Fail("nr.role: import failed");
        Save(roles.Save(Path("nr.role").c_str()), "nr.role");

        CContextStat ctx;
        ctx.SetSize(ROLE_COUNT);
        float fHalf = static_cast<float>(std::log(0.5)),
              fQuarter = static_cast<float>(std::log(0.25));
        for (int i = 0; i < ROLE_COUNT; ++i) {
            for (int j = 0; j < ROLE_COUNT; ++j) ctx.SetTrans(i, j, static_cast<float>(LOG_FLOOR));
        }
        ctx.SetStart(ROLE_S, fHalf);
        ctx.SetStart(ROLE_D, fHalf);
        ctx.SetStart(ROLE_G, static_cast<float>(LOG_FLOOR));
        ctx.SetTrans(ROLE_S, ROLE_G, 0.0f);
        ctx.SetTrans(ROLE_D, ROLE_G, 0.0f);
        ctx.SetTrans(ROLE_G, ROLE_G, fHalf);
        ctx.SetTrans(ROLE_G, ROLE_S, fQuarter);
        ctx.SetTrans(ROLE_G, ROLE_D, fQuarter);
        Save(ctx.Save(Path("nr.ctx").c_str()), "nr.ctx");

        CFSA fsa;
        fsa.Init(4, ROLE_COUNT);
        fsa.SetNext(0, ROLE_S, 1);
        fsa.SetNext(0, ROLE_D, 1);
        fsa.SetNext(1, ROLE_G, 2);
        fsa.SetNext(2, ROLE_G, 3);
        fsa.SetFinal(3, true);
        Save(fsa.Save(Path("nr.fsa").c_str()), "nr.fsa");
        std::printf(
            "person names: %zu single and %zu compound surnames, %zu given-name characters "
            "(%zu without a word left out)\n",
            setSingle.size(), setCompound.size(), nGiven, nNoWord);
    }

    std::string m_sSource;
    std::string m_sOutputDir;
    std::string m_sData;
    const std::map<uint32_t, std::string>& m_mapCodeToGbk;
    std::vector<std::string> m_vecTags;     // PKU.map names by id
    std::map<std::string, int> m_mapTagId;  // PKU.map id by name
    std::vector<std::string> m_vecWords;    // CoreDict word text by handle
    std::vector<int> m_vecTagOfHandle;      // CoreDict tag id by handle
    std::unique_ptr<CPDAT> m_pCheck;        // the written CoreDict.pdat, loaded again
    int m_nBound = 0;
    std::vector<std::string> m_vecWritten;
};

}  // namespace

std::vector<std::string> BuildSegmenterData(const std::string& sSourceDir,
                                            const std::string& sOutputDir,
                                            const std::map<uint32_t, std::string>& mapCodeToGbk) {
    CSegmenterBuilder builder(sSourceDir, sOutputDir, mapCodeToGbk);
    return builder.Build();
}

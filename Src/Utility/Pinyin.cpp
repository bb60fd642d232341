// Pinyin.cpp: CPinyin, the pinyin converter. See Pinyin.h.
//
// Conversion walks the text one GBK character at a time. A two-byte character is looked up in the
// character dictionary; its first reading is the smallest syllable id the map holds for it, which
// after an import is the syllable that appeared first in the whole import file. The syllable goes
// to the pinyin text and its first letter to the initials, and one position pair ties the character
// to its syllable. ASCII letters pass to both texts as they are; everything else is dropped.
//
// Loading checks each file through its own loader and then that the map's ids stay inside the
// word lists, so no lookup can fall on GetWord's out-of-range answer.
#include "Utility/Pinyin.h"

#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unordered_set>
#include <vector>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

constexpr int IMPORT_LINE_SIZE = 1024;
constexpr char PINYIN_PDAT[] = "pinyin.pdat";
constexpr char PINYIN_WORDLIST[] = "pinyin.wordlist";
constexpr char HANZI_PDAT[] = "hanzi.pdat";
constexpr char HANZI_WORDLIST[] = "hanzi.wordlist";
constexpr char HANZI2PINYIN_MAP[] = "hanzi2pinyin.map";
constexpr char HANZI2PINYIN_TXT[] = "hanzi2pinyin.txt";

bool IsAsciiLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// IsWordBoundary: whether a byte next to a pinyin hit lets it stand alone.
bool IsWordBoundary(unsigned char c) {
    if (c == 0 || c >= 0x80) return true;  // a Chinese character (or no byte) is accepted
    return c == '\t' || c == '\r' || c == '\n' || c == ' ';
}

// NextWord: the next blank-delimited word from *pCur ("%s" rules); "" when none.
std::string NextWord(const char** pCur) {
    const char* s = *pCur;
    while (*s != '\0' && std::isspace(static_cast<unsigned char>(*s))) ++s;
    const char* e = s;
    while (*e != '\0' && !std::isspace(static_cast<unsigned char>(*e))) ++e;
    *pCur = e;
    return std::string(s, e);
}

std::unique_ptr<CPDAT> BuildDict(const std::vector<std::string>& vecWords) {
    auto pDict = std::make_unique<CPDAT>(0);
    pDict->AddWordInit();
    for (const std::string& sWord : vecWords) pDict->AddWord(sWord.c_str());
    pDict->AddWordComplete();
    return pDict;
}

std::unique_ptr<CWordList> BuildWordList(const std::vector<std::string>& vecWords, CPDAT* pDict) {
    auto pList = std::make_unique<CWordList>(true, pDict);
    std::unordered_set<std::string> setSeen;
    for (const std::string& sWord : vecWords) {
        if (setSeen.insert(sWord).second) pList->AddWord(sWord.c_str());
    }
    pList->AddWordComplete();
    return pList;
}

}  // namespace

CPinyin::CPinyin(const char* sDataPath) {
    if (sDataPath != nullptr && sDataPath[0] != '\0') {
        m_sDataPath = sDataPath;
        return;
    }
    std::vector<char> vecCwd(4096);
    if (getcwd(vecCwd.data(), vecCwd.size()) != nullptr) m_sDataPath = vecCwd.data();
    m_sDataPath += "/";
}

CPinyin::~CPinyin() = default;

std::string CPinyin::FilePath(const char* sName) const { return m_sDataPath + "/" + sName; }

void CPinyin::Clear() {
    m_pPinyinDict.reset();
    m_pPinyinWordList.reset();
    m_pHanziDict.reset();
    m_pHanziWordList.reset();
    m_pPinyin2Hanzi.reset();
    m_pHanzi2Pinyin.reset();
}

int CPinyin::Load() {
    Clear();
    auto fnFail = [this](const std::string& sPath) {
        ReportError("Fail Open file " + sPath);
        Clear();
        // Deliberate: failure is -1, not 0. The library start treats only 0 as failure, so a
        // missing pinyin table leaves the converter in place, finding nothing for characters.
        return -1;
    };
    std::string sPath = FilePath(PINYIN_PDAT);
    m_pPinyinDict = std::make_unique<CPDAT>(0);
    if (!m_pPinyinDict->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(PINYIN_WORDLIST);
    m_pPinyinWordList = std::make_unique<CWordList>(true, m_pPinyinDict.get());
    if (!m_pPinyinWordList->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(HANZI_PDAT);
    m_pHanziDict = std::make_unique<CPDAT>(0);
    if (!m_pHanziDict->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(HANZI_WORDLIST);
    m_pHanziWordList = std::make_unique<CWordList>(true, m_pHanziDict.get());
    if (!m_pHanziWordList->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(HANZI2PINYIN_MAP);
    m_pHanzi2Pinyin = std::make_unique<CIDMaps>();
    if (!m_pHanzi2Pinyin->Load(sPath.c_str()) || !Consistent()) return fnFail(sPath);
    return 1;
}

bool CPinyin::Consistent() const {
    const int nSyllables = m_pPinyinWordList->GetBound();
    const int nSources = m_pHanzi2Pinyin->GetBound();
    if (nSources > m_pHanziWordList->GetBound()) return false;
    for (int h = 0; h < nSources; ++h) {
        int nCount = 0;
        const idmaps_info* pTargets = m_pHanzi2Pinyin->GetMaps(h, &nCount);
        for (int i = 0; pTargets != nullptr && i < nCount; ++i) {
            if (pTargets[i].handle2 < -1 || pTargets[i].handle2 >= nSyllables) return false;
        }
    }
    return true;
}

bool CPinyin::Save() const {
    if (!m_pPinyinDict || !m_pPinyinWordList || !m_pHanziDict || !m_pHanziWordList ||
        !m_pHanzi2Pinyin) {
        return false;
    }
    bool bOk = m_pPinyinDict->Save(FilePath(PINYIN_PDAT).c_str()) == 1;
    bOk = m_pPinyinWordList->Save(FilePath(PINYIN_WORDLIST).c_str()) == 1 && bOk;
    bOk = m_pHanziDict->Save(FilePath(HANZI_PDAT).c_str()) == 1 && bOk;
    bOk = m_pHanziWordList->Save(FilePath(HANZI_WORDLIST).c_str()) == 1 && bOk;
    bOk = m_pHanzi2Pinyin->Save(FilePath(HANZI2PINYIN_MAP).c_str()) == 1 && bOk;
    return bOk;
}

int CPinyin::ImportPinyin2Hanzi(const char* sFilename) {
    FilePtr fp(sFilename != nullptr ? std::fopen(sFilename, "rt") : nullptr);
    if (!fp) {
        ReportError(std::string("Fail open file ") + (sFilename != nullptr ? sFilename : ""));
        return -1;
    }
    std::vector<std::string> vecHanzi, vecPinyin;
    char sLine[IMPORT_LINE_SIZE];
    while (std::fgets(sLine, sizeof(sLine), fp.get()) != nullptr) {
        const char* s = sLine;
        if (std::strncmp(s, "\xEF\xBB\xBF", 3) == 0) s += 3;
        std::string sHanzi = NextWord(&s);
        std::string sPinyin = NextWord(&s);
        if (sPinyin.empty()) continue;  // fewer than two words
        vecHanzi.push_back(std::move(sHanzi));
        vecPinyin.push_back(std::move(sPinyin));
    }
    fp.reset();

    Clear();
    m_pPinyinDict = BuildDict(vecPinyin);
    m_pHanziDict = BuildDict(vecHanzi);
    m_pPinyinWordList = BuildWordList(vecPinyin, m_pPinyinDict.get());
    m_pHanziWordList = BuildWordList(vecHanzi, m_pHanziDict.get());
    m_pHanzi2Pinyin = std::make_unique<CIDMaps>();
    if (m_pHanzi2Pinyin->Import(sFilename, m_pHanziDict.get(), m_pPinyinDict.get()) <= 0) {
        std::printf("Pinyin2WordTxtfile %s failed!\n", sFilename);
        Clear();
        return -1;
    }
    Save();
    return 1;
}

int CPinyin::ExportHanzi2Pinyin() const {
    if (!m_pHanzi2Pinyin || !m_pHanziWordList || !m_pPinyinWordList) return -1;
    std::vector<map_str> vecPairs;
    m_pHanzi2Pinyin->Export(vecPairs, m_pHanziWordList.get(), m_pPinyinWordList.get());
    FilePtr fp(std::fopen(FilePath(HANZI2PINYIN_TXT).c_str(), "wt"));
    if (!fp) return -1;
    int nLines = 0;
    for (const map_str& pair : vecPairs) {
        if (pair.dsn.empty()) continue;  // a character mapped to no syllable
        std::fprintf(fp.get(), "%s\t%s\n", pair.src.c_str(), pair.dsn.c_str());
        ++nLines;
    }
    return nLines;
}

const char* CPinyin::Hanzi2Pinyin(const char* sHanzi, tstring& sPinyin, tstring& sAbbrev) const {
    std::vector<_TermPositionPair> vecPos;
    return Hanzi2Pinyin(sHanzi, sPinyin, sAbbrev, vecPos);
}

const char* CPinyin::Hanzi2Pinyin(const char* sHanzi, tstring& sPinyin, tstring& sAbbrev,
                                  std::vector<_TermPositionPair>& vecPos) const {
    sPinyin.clear();
    sAbbrev.clear();
    vecPos.clear();
    if (sHanzi == nullptr) return sPinyin.c_str();
    const bool bTables = m_pHanziDict && m_pHanzi2Pinyin && m_pPinyinWordList;
    auto fnRecord = [&](size_t nAt, int nLen, size_t nOutLen) {
        _TermPositionPair pair;
        pair.second.iStartPos = static_cast<int>(nAt);
        pair.second.nWordLen = nLen;
        pair.first.iStartPos = static_cast<int>(sPinyin.size());
        pair.first.nWordLen = static_cast<int>(nOutLen);
        vecPos.push_back(pair);
    };
    char sChar[3];
    size_t nAt = 0;
    for (;;) {
        const size_t nCharLen = Getchar(sHanzi + nAt, sChar);
        // Offsets are ints: the conversion stops before one would pass INT_MAX.
        if (nCharLen == 0 || nAt + nCharLen > INT_MAX) break;
        if (nCharLen == 2) {
            const int nID = bTables ? m_pHanziDict->Find(sChar) : -1;
            const int nPinyinID = nID >= 0 ? m_pHanzi2Pinyin->GetMapID(nID) : -1;
            if (nPinyinID >= 0 && nPinyinID < m_pPinyinWordList->GetBound()) {
                const char* sSyllable = m_pPinyinWordList->GetWord(nPinyinID);
                const size_t nSyllableLen = std::strlen(sSyllable);
                if (sPinyin.size() + nSyllableLen > INT_MAX) break;
                if (nSyllableLen > 0) {
                    fnRecord(nAt, 2, nSyllableLen);
                    sPinyin += sSyllable;
                    sAbbrev += sSyllable[0];
                }
            }
        } else if (IsAsciiLetter(static_cast<unsigned char>(sChar[0]))) {
            if (sPinyin.size() + 1 > INT_MAX) break;
            fnRecord(nAt, 1, 1);
            sPinyin += sChar[0];
            sAbbrev += sChar[0];
        }
        nAt += nCharLen;
    }
    return sPinyin.c_str();
}

bool CPinyin::IsValidPinyinAbbrev(const char* sContent, const char* sPinyinHit) {
    if (sContent == nullptr || sPinyinHit == nullptr || sPinyinHit[0] == '\0') return false;
    const std::string sLower = LowerLetters(sContent);
    // Deliberate: only the first occurrence is judged; a later, properly delimited occurrence
    // does not rescue a first one glued to a letter. The pinyin scan relies on this.
    const size_t nAt = sLower.find(sPinyinHit);
    return nAt != std::string::npos && StandsAlone(sLower, nAt, std::strlen(sPinyinHit));
}

std::string CPinyin::LowerLetters(const char* sContent) {
    std::string sLower(sContent != nullptr ? sContent : "");
    for (char& c : sLower) c = GetLowerLetter(c);
    return sLower;
}

bool CPinyin::StandsAlone(const std::string& sLower, size_t nAt, size_t nLen) {
    if (nAt > 0 && !IsWordBoundary(static_cast<unsigned char>(sLower[nAt - 1]))) return false;
    const size_t nEnd = nAt + nLen;
    return nEnd >= sLower.size() || IsWordBoundary(static_cast<unsigned char>(sLower[nEnd]));
}

// StrTran.cpp: CStrTran, the string translation table. See StrTran.h.
//
// Translation. The text is copied into a work buffer and cut into lines by StrLine with protected
// runs switched on. A protected run (the text between a "^^" at a line start and the next "^^") is
// appended without its markers and gets no position pair. Every other line is segmented by the
// source dictionary's forward longest match (MMSegment with caller-owned buffers, so nothing shared
// is written). Each segment ("piece") is looked up with Find: when it has a first destination it is
// replaced by that string followed by the delimiter, otherwise it is copied as it is; either way
// one position pair records its span in the input and in the result. The byte that ended a line (CR
// or LF) is appended after it; a line that ended at a "^^" marker is followed by nothing, and the
// marker byte is put back into the work buffer so that the next cut starts the protected run. When
// no piece was replaced the result is "" and null is returned: the caller keeps its own text.
//
// Segments are separated by NUL bytes rather than tabs: a line holds no NUL, so every piece is cut
// out exactly, tabs inside a line included, and the offsets of the pieces add up to the line.
//
// Building. Import(pairs) makes the source and destination dictionaries from all strings, the two
// word lists over them (scrambled text, as Load expects) and the id map from the ids Find gives for
// each pair, then saves the five files.
//
// Loading checks each file through its own loader and then that the map's ids stay inside the
// word lists, so no lookup can fall on GetWord's out-of-range answer.
#include "Utility/StrTran.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unordered_set>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

namespace {

constexpr int IMPORT_LINE_SIZE = 10240;
constexpr char CANNOT_LOAD[] = " cannot load!\n";
constexpr char FAILED_OPEN[] = "Failed Open file ";

// The malloc'ed buffers MMSegment grows; freed when the call ends.
struct SegmentBuffers {
    int* pHandles = nullptr;
    int nHandleCap = 0;
    char* pOut = nullptr;
    int nOutCap = 0;
    SegmentBuffers() = default;
    SegmentBuffers(const SegmentBuffers&) = delete;  // owns the two buffers
    SegmentBuffers& operator=(const SegmentBuffers&) = delete;
    ~SegmentBuffers() {
        std::free(pHandles);
        std::free(pOut);
    }
};

// Thrown inside the translation when it cannot go on (no memory, or offsets that would pass
// INT_MAX).
struct GiveUp {};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// BuildDict: a compiled mode-0 dictionary of the non-empty strings, handles in order of first
// appearance.
std::unique_ptr<CPDAT> BuildDict(const std::vector<const std::string*>& vecWords) {
    auto pDict = std::make_unique<CPDAT>(0);
    pDict->AddWordInit();
    for (const std::string* pWord : vecWords) pDict->AddWord(pWord->c_str());
    pDict->AddWordComplete();
    return pDict;
}

// BuildWordList: a scrambled word list over pDict holding every distinct non-empty string once.
std::unique_ptr<CWordList> BuildWordList(const std::vector<const std::string*>& vecWords,
                                         CPDAT* pDict) {
    auto pList = std::make_unique<CWordList>(true, pDict);
    std::unordered_set<std::string> setSeen;
    for (const std::string* pWord : vecWords) {
        // An empty string has no id (the dictionary refuses it); adding it would only log it.
        if (pWord->empty() || !setSeen.insert(*pWord).second) continue;
        pList->AddWord(pWord->c_str());
    }
    pList->AddWordComplete();
    return pList;
}

}  // namespace

CStrTran::CStrTran(const char* sDataPath, const char* sSrcName, const char* sDsnName,
                   const char* sDelimiter)
    : m_sSrcName(sSrcName != nullptr ? sSrcName : ""),
      m_sDsnName(sDsnName != nullptr ? sDsnName : ""),
      m_sDataPath(sDataPath != nullptr ? sDataPath : ""),
      m_sDelimiter(sDelimiter != nullptr ? sDelimiter : "") {}

CStrTran::~CStrTran() = default;

std::string CStrTran::FilePath(const std::string& sStem, const char* sExt) const {
    return m_sDataPath + sStem + sExt;
}

std::string CStrTran::MapPath() const {
    return m_sDataPath + m_sSrcName + "2" + m_sDsnName + ".map";
}

void CStrTran::Destroy() {
    m_pSrcDict.reset();
    m_pDsnDict.reset();
    m_pSrcWordList.reset();
    m_pDsnWordList.reset();
    m_pSrc2DsnMap.reset();
}

bool CStrTran::IsLoaded() const {
    return m_pSrcDict && m_pDsnDict && m_pSrcWordList && m_pDsnWordList && m_pSrc2DsnMap;
}

bool CStrTran::Load() {
    Destroy();
    auto fnFail = [this](const std::string& sPath) {
        WriteError(sPath + CANNOT_LOAD);
        Destroy();
        return false;
    };

    std::string sPath = FilePath(m_sSrcName, ".pdat");
    m_pSrcDict = std::make_unique<CPDAT>(0);
    if (!m_pSrcDict->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(m_sSrcName, ".wordlist");
    m_pSrcWordList = std::make_unique<CWordList>(true, nullptr);
    if (!m_pSrcWordList->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(m_sDsnName, ".pdat");
    m_pDsnDict = std::make_unique<CPDAT>(0);
    if (!m_pDsnDict->Load(sPath.c_str())) return fnFail(sPath);

    sPath = FilePath(m_sDsnName, ".wordlist");
    m_pDsnWordList = std::make_unique<CWordList>(true, nullptr);
    if (!m_pDsnWordList->Load(sPath.c_str())) return fnFail(sPath);

    sPath = MapPath();
    m_pSrc2DsnMap = std::make_unique<CIDMaps>();
    if (!m_pSrc2DsnMap->Load(sPath.c_str()) || !Consistent()) return fnFail(sPath);
    return true;
}

bool CStrTran::Consistent() const {
    const int nDsnBound = m_pDsnWordList->GetBound();
    const int nSources = m_pSrc2DsnMap->GetBound();
    if (nSources > m_pSrcWordList->GetBound()) return false;
    for (int h = 0; h < nSources; ++h) {
        int nCount = 0;
        const idmaps_info* pTargets = m_pSrc2DsnMap->GetMaps(h, &nCount);
        for (int i = 0; pTargets != nullptr && i < nCount; ++i) {
            // -1 is an empty destination; any other id must name a destination string.
            if (pTargets[i].handle2 < -1 || pTargets[i].handle2 >= nDsnBound) return false;
        }
    }
    return true;
}

bool CStrTran::Save() const {
    if (!IsLoaded()) return false;
    bool bOk = m_pSrcDict->Save(FilePath(m_sSrcName, ".pdat").c_str()) == 1;
    bOk = m_pSrcWordList->Save(FilePath(m_sSrcName, ".wordlist").c_str()) == 1 && bOk;
    bOk = m_pDsnDict->Save(FilePath(m_sDsnName, ".pdat").c_str()) == 1 && bOk;
    bOk = m_pDsnWordList->Save(FilePath(m_sDsnName, ".wordlist").c_str()) == 1 && bOk;
    bOk = m_pSrc2DsnMap->Save(MapPath().c_str()) == 1 && bOk;
    return bOk;
}

int CStrTran::Import(const char* sFilename) {
    FilePtr fp(sFilename != nullptr ? std::fopen(sFilename, "rt") : nullptr);
    if (!fp) {
        ReportError(std::string(FAILED_OPEN) + (sFilename != nullptr ? sFilename : ""));
        return 0;
    }
    std::vector<map_str> vecPairs;
    std::vector<char> vecLine(IMPORT_LINE_SIZE);
    while (std::fgets(vecLine.data(), IMPORT_LINE_SIZE, fp.get()) != nullptr) {
        const char* s = vecLine.data();
        if (std::strncmp(s, "\xEF\xBB\xBF", 3) == 0) s += 3;
        // The source: the first word, delimited as "%s" reads it.
        while (*s != '\0' && std::isspace(static_cast<unsigned char>(*s))) ++s;
        if (*s == '\0') continue;
        const char* e = s;
        while (*e != '\0' && !std::isspace(static_cast<unsigned char>(*e))) ++e;
        // The destination: the rest of the line, blanks trimmed at both ends.
        const char* d = e;
        const char* dEnd = e + std::strlen(e);
        while (d < dEnd && IsBlank(*d)) ++d;
        while (dEnd > d && IsBlank(dEnd[-1])) --dEnd;
        map_str pair;
        pair.src.assign(s, e);
        pair.dsn.assign(d, dEnd);
        vecPairs.push_back(std::move(pair));
    }
    fp.reset();
    return Import(vecPairs);
}

int CStrTran::Import(std::vector<map_str>& vecPairs) {
    std::vector<const std::string*> vecSrc, vecDsn;
    vecSrc.reserve(vecPairs.size());
    vecDsn.reserve(vecPairs.size());
    for (const map_str& pair : vecPairs) {
        vecSrc.push_back(&pair.src);
        vecDsn.push_back(&pair.dsn);
    }
    Destroy();
    m_pSrcDict = BuildDict(vecSrc);
    m_pDsnDict = BuildDict(vecDsn);
    m_pSrcWordList = BuildWordList(vecSrc, m_pSrcDict.get());
    m_pDsnWordList = BuildWordList(vecDsn, m_pDsnDict.get());
    m_pSrc2DsnMap = std::make_unique<CIDMaps>();
    m_pSrc2DsnMap->MapInit();
    for (const map_str& pair : vecPairs) {
        // Deliberate: both ids come from Find, the lookup translation uses. A source Find cannot
        // see (wrapped in double quotes, or with inner runs of blanks) is left out of the map, and
        // such a destination maps to -1, which deletes its source like an empty destination.
        m_pSrc2DsnMap->MapAdd(m_pSrcDict->Find(pair.src.c_str()),
                              m_pDsnDict->Find(pair.dsn.c_str()));
    }
    m_pSrc2DsnMap->MapComplete();
    Save();
    return static_cast<int>(std::min<size_t>(vecPairs.size(), INT_MAX));
}

int CStrTran::Export(std::vector<map_str>& vecPairs) const {
    vecPairs.clear();
    if (!IsLoaded()) return 0;
    return m_pSrc2DsnMap->Export(vecPairs, m_pSrcWordList.get(), m_pDsnWordList.get());
}

int CStrTran::SrcID2DsnID(int nSrcID) const {
    if (!m_pSrc2DsnMap) return -1;
    return m_pSrc2DsnMap->GetMapID(nSrcID);
}

int CStrTran::Src2DsnID(const char* sSrc) const {
    if (sSrc == nullptr || !m_pSrcDict) return -1;
    return SrcID2DsnID(m_pSrcDict->Find(sSrc));
}

const char* CStrTran::SrcID2Dsn(int nSrcID) const {
    if (!IsLoaded() || nSrcID < 0) return nullptr;
    int nCount = 0;
    const idmaps_info* pTargets = m_pSrc2DsnMap->GetMaps(nSrcID, &nCount);
    if (pTargets == nullptr || nCount <= 0) return nullptr;
    const int nDsnID = pTargets[0].handle2;
    if (nDsnID == -1) return "";  // an empty destination
    if (nDsnID < 0 || nDsnID >= m_pDsnWordList->GetBound()) return nullptr;
    return m_pDsnWordList->GetWord(nDsnID);
}

const char* CStrTran::Src2Dsn(const char* sText, std::string& sResult,
                              std::vector<_TermPositionPair>& vecPos) const {
    vecPos.clear();
    return CodeTrans(sText, sResult, &vecPos);
}

const char* CStrTran::Src2Dsn(const char* sText, std::string& sResult) const {
    return CodeTrans(sText, sResult, nullptr);
}

const char* CStrTran::CodeTrans(const char* sText, std::string& sResult,
                                std::vector<_TermPositionPair>* pPos) const {
    sResult.clear();
    if (sText == nullptr || sText[0] == '\0' || !IsLoaded()) return nullptr;
    const size_t nLen = strnlen(sText, MAX_TEXT_LEN + 1);
    if (nLen > MAX_TEXT_LEN) return nullptr;

    bool bReplaced = false;
    try {
        std::vector<char> vecWork(sText, sText + nLen + 1);
        char* const pBase = vecWork.data();
        SegmentBuffers buffers;
        char* pCur = pBase;
        while (pCur != nullptr) {
            char* pNext = nullptr;
            char chSep = '\0';
            int nStatus = 0;
            char* pLine = StrLine(pCur, &pNext, &chSep, &nStatus, true);
            if (pLine == nullptr) break;
            if (nStatus == 1) {
                sResult += pLine;  // a protected run: verbatim, no position
            } else {
                const int nPieces =
                    m_pSrcDict->MMSegment(pLine, &buffers.pHandles, &buffers.nHandleCap,
                                          &buffers.pOut, &buffers.nOutCap, false, true, 0, '\0');
                if (nPieces <= 0) throw GiveUp();  // a line is never empty: no memory
                size_t nOffset = static_cast<size_t>(pLine - pBase);
                const char* pPiece = buffers.pOut;
                for (int i = 0; i < nPieces; ++i) {
                    const size_t nPieceLen = std::strlen(pPiece);
                    const char* sDsn = nullptr;
                    int nCount = 0;
                    // Deliberate: looked up with Find, which drops double quotes around the
                    // piece, so a quoted source string is replaced quotes and all.
                    const idmaps_info* pTargets =
                        m_pSrc2DsnMap->GetMaps(m_pSrcDict->Find(pPiece), &nCount);
                    if (pTargets != nullptr && nCount > 0) {
                        const int nDsnID = pTargets[0].handle2;
                        if (nDsnID == -1) {
                            sDsn = "";
                        } else if (nDsnID >= 0 && nDsnID < m_pDsnWordList->GetBound()) {
                            sDsn = m_pDsnWordList->GetWord(nDsnID);
                        }
                    }
                    const size_t nOutLen = sDsn != nullptr ? std::strlen(sDsn) : nPieceLen;
                    // Offsets are ints: a result that would outgrow them is given up.
                    if (sResult.size() + nOutLen + m_sDelimiter.size() > INT_MAX) throw GiveUp();
                    if (pPos != nullptr) {
                        _TermPositionPair pair;
                        pair.second.iStartPos = static_cast<int>(nOffset);
                        pair.second.nWordLen = static_cast<int>(nPieceLen);
                        pair.first.iStartPos = static_cast<int>(sResult.size());
                        pair.first.nWordLen = static_cast<int>(nOutLen);
                        pPos->push_back(pair);
                    }
                    if (sDsn != nullptr) {
                        sResult += sDsn;
                        sResult += m_sDelimiter;
                        bReplaced = true;
                    } else {
                        sResult.append(pPiece, nPieceLen);
                    }
                    nOffset += nPieceLen;
                    pPiece += nPieceLen + 1;
                }
                // The line end is kept; a "^" that ended the line opens the next protected run.
                if (chSep != '\0' && chSep != '^') sResult += chSep;
            }
            if (pNext != nullptr) *pNext = chSep;
            pCur = pNext;
        }
    } catch (const std::bad_alloc&) {
        bReplaced = false;
    } catch (const GiveUp&) {
        bReplaced = false;
    }
    if (!bReplaced) {
        // Deliberate: null and an empty result, not a copy of the text; callers that get null go
        // on with their own text.
        sResult.clear();
        if (pPos != nullptr) pPos->clear();
        return nullptr;
    }
    return sResult.c_str();
}

bool CStrTran::Src2DsnFile(const char* sSrcFile, const char* sDsnFile) const {
    char* pBuffer = nullptr;
    if (sSrcFile == nullptr || sDsnFile == nullptr || ReadFile(sSrcFile, &pBuffer) == 0) {
        return false;
    }
    std::unique_ptr<char[]> pText(pBuffer);
    FilePtr fp(std::fopen(sDsnFile, "wt"));
    if (!fp) return false;
    std::string sResult;
    const char* sOut = Src2Dsn(pText.get(), sResult);
    std::fprintf(fp.get(), "%s\n", sOut != nullptr ? sOut : pText.get());
    return true;
}

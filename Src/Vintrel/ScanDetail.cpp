// ScanDetail.cpp: CVintrel's detailed scan (hits confirmed by segmentation, scored, compound rules,
// the look-alike and pinyin retries) and the scans that read files.
//
// Segmentation. The hit keywords of a call are given to the segmenter as words of that call only, so
// that detailed scans from many threads neither wait for nor see each other's words.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "DORVANE/API/GRAVO.h"
#include "Encript/QMTEncript.h"
#include "Utility/CodeTran.h"
#include "Utility/TextSearch.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/Pinyin.h"
#include "Utility/StrTran.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "Vintrel/BufferManager.h"
#include "Vintrel/ComplexFilter.h"
#include "Vintrel/Vintrel.h"

namespace {

constexpr size_t WHOLE_TEXT_MAX = 1024;  // longer texts are reported as their marked hit sentences
constexpr int LINE_LIMIT = 10240;        // bytes of one read of ScanLine (NUL included)
constexpr double REPEAT_FACTOR = 0.1;    // a keyword hit again in the same text counts a tenth
constexpr double PINYIN_FACTOR = 1.5;    // weight of a text's pinyin score
constexpr size_t ABBREV_MAX = 6;         // shorter pinyin hits need the initials in the text itself

const char SHAPE_TAG[] = "[\xD0\xCE\xB1\xE4]";   // [形变]: found after replacing look-alike characters
const char SOUND_TAG[] = "(\xD2\xF4\xB1\xE4)";   // (音变): found through the pinyin reading
const char UTF8_BOM[] = "\xEF\xBB\xBF";

// FromGBK: a GBK text in the caller's encoding.
std::string FromGBK(const std::string& sText) {
    if (g_pVintrelCodeTranslator == nullptr || sText.empty()) return sText;
    std::string sOut;
    const char* p = g_pVintrelCodeTranslator->GBKToCode(sText.c_str(), sOut);
    return p != nullptr ? std::string(p) : std::string();
}

bool Contains(const std::string& sText, const char* sPart) { return std::strstr(sText.c_str(), sPart) != nullptr; }

// Standardised: WordStandard of a copy of sText.
std::string Standardised(const char* sText) {
    std::vector<char> vecBuffer(sText, sText + std::strlen(sText) + 1);
    return std::string(WordStandard(vecBuffer.data()));
}

// Confirmed: whether the segmented text has a word at the first occurrence (nPos) of a keyword of
// nLen bytes: at the start or after a blank, and followed by its tag.
bool Confirmed(const std::string& sSegmented, size_t nPos, size_t nLen) {
    if (nPos == std::string::npos) return false;
    const size_t nEnd = nPos + nLen;
    return nEnd < sSegmented.size() && sSegmented[nEnd] == '/' && (nPos == 0 || sSegmented[nPos - 1] == ' ');
}

// ClassTag: the opening mark of a hit sentence.
std::string ClassTag(const char* sName, int nWeight) {
    std::string sTag = "<class name=\"";
    sTag += sName;
    sTag += "\" weight=" + std::to_string(nWeight) + ">";
    return sTag;
}

std::string ScoreHead(float fScore, const std::string& sDelimiter) {
    char sScore[64];
    std::snprintf(sScore, sizeof(sScore), "%.2f", static_cast<double>(fScore));
    return sScore + sDelimiter;
}

// ReadWholeFile: the whole file, NUL-terminated; null (reported "Cannot read file <name>") when it
// cannot be read or is empty.
std::unique_ptr<char[]> ReadWholeFile(const char* sFilename) {
    char* pBuffer = nullptr;
    if (ReadFile(sFilename, &pBuffer) == 0) {
        ReportError(std::string("Cannot read file ") + (sFilename != nullptr ? sFilename : ""));
        return nullptr;
    }
    return std::unique_ptr<char[]>(pBuffer);
}

}  // namespace

const char* GetMappedStr(const std::vector<_TermPositionPair>& mapPosition, const _stTermPosition& term,
                         const char* sContent, std::string& result) {
    result.clear();
    // The pairs are in text order: the first pair at or after the hit's start is found by halving.
    size_t i = static_cast<size_t>(
        std::lower_bound(mapPosition.begin(), mapPosition.end(), term.iStartPos,
                         [](const _TermPositionPair& pair, int nPos) { return pair.first.iStartPos < nPos; }) -
        mapPosition.begin());
    if (i == mapPosition.size()) return nullptr;
    const long nStart = mapPosition[i].second.iStartPos;
    const long nTermEnd = static_cast<long>(term.iStartPos) + term.nWordLen;
    auto FirstEnd = [&](size_t k) { return static_cast<long>(mapPosition[k].first.iStartPos) + mapPosition[k].first.nWordLen; };
    while (i < mapPosition.size() && FirstEnd(i) < nTermEnd) ++i;
    if (i == mapPosition.size() || FirstEnd(i) != nTermEnd) return nullptr;
    const long nEnd = static_cast<long>(mapPosition[i].second.iStartPos) + mapPosition[i].second.nWordLen;
    if (sContent == nullptr || nEnd <= nStart) return result.c_str();
    // Deliberate: the bytes are taken from the beginning of the untranslated text, not from the hit's
    // start: the reported form is the prefix of the hit's length.
    const size_t nLen = std::min(static_cast<size_t>(nEnd - nStart), std::strlen(sContent));
    result.assign(sContent, nLen);
    return result.c_str();
}

const char* CVintrel::ScanDetail(const char* sContent, int* pHitCount, float* pScore, int nRetryMode) {
    std::string sMappedContent;
    std::vector<_TermPositionPair> vecPositionPairs;
    return ScanDetail(sContent, sMappedContent, vecPositionPairs, pHitCount, pScore, nRetryMode);
}

const char* CVintrel::ScanDetail(const char* sContent, std::string& sMappedContent,
                                 std::vector<_TermPositionPair>& vecPositionPairs, int* pHitCount, float* pScore,
                                 int nRetryMode) {
    std::shared_ptr<const CDictionarySet> pSet = Dictionaries();
    return ScanDetailIn(*pSet, sContent, sMappedContent, vecPositionPairs, pHitCount, pScore, nRetryMode);
}

const char* CVintrel::ScanDetailPinyin(const char* sContent, int* p_nHitCount, float* p_nScore) {
    std::shared_ptr<const CDictionarySet> pSet = Dictionaries();
    return ScanDetailPinyinIn(*pSet, sContent, p_nHitCount, p_nScore);
}

const char* CVintrel::ScanDetailIn(const CDictionarySet& set, const char* sContent, std::string& sMappedContent,
                                   std::vector<_TermPositionPair>& vecPositionPairs, int* pHitCount,
                                   float* pScore, int nRetryMode, std::string* pPinyinText) {
    if (pHitCount != nullptr) *pHitCount = 0;
    if (sContent == nullptr) {
        ReportError("The text to scan is NULL!");
        return nullptr;
    }
    if (!set.m_pKeyDict) {
        ReportError("Keyword Dictionary is Empty!");
        return ReturnText("");
    }
    // The text in GBK, standardised as keywords were at import; L is its length before that.
    std::string sGBK;
    const char* sText = sContent;
    if (g_pVintrelCodeTranslator != nullptr && nRetryMode == 0) {
        sText = g_pVintrelCodeTranslator->CodeToGBK(sContent, sGBK);
        if (sText == nullptr) sText = "";
    }
    const size_t nLength = std::strlen(sText);
    std::string sT = Standardised(sText);

    std::vector<_stTermPosition> vecHits;
    set.m_pKeyDict->MMScanPosition(sT.c_str(), vecHits, 1);

    if (vecHits.empty() && nRetryMode == 0) {
        // Look-alike retry: replace variant characters by their standard forms and scan again.
        std::string sTranslated;
        const char* sTrans = g_pXingZiTran != nullptr ? g_pXingZiTran->Src2Dsn(sT.c_str(), sTranslated, vecPositionPairs)
                                                       : nullptr;
        if (sTrans != nullptr) {
            sMappedContent = sT;
            int nLocalHits = 0;
            float fLocalScore = 0;
            std::string sSubPinyin;
            const char* sSub =
                ScanDetailIn(set, sTrans, sMappedContent, vecPositionPairs, &nLocalHits, &fLocalScore, 1, &sSubPinyin);
            if (nLocalHits > 0 && sSub != nullptr) {
                const char* sDelim = sSub[0] != '\0' ? std::strstr(sSub, m_sDelimiter.c_str()) : nullptr;
                if (sDelim != nullptr && sDelim[0] != '\0') {
                    const float fDoubled = fLocalScore * 2;
                    // The converter drops tabs, so only the tag goes through it, not the delimiter.
                    std::string sAnswer = ScoreHead(fDoubled, m_sDelimiter) + FromGBK(SHAPE_TAG);
                    // Deliberate: the rest is taken from one byte after the delimiter's start.
                    sAnswer += sDelim + 1;
                    while (!sAnswer.empty() && (sAnswer.back() == '\n' || sAnswer.back() == '\r')) sAnswer.pop_back();
                    sAnswer += "||";
                    sAnswer += sContent;
                    if (pHitCount != nullptr) *pHitCount = nLocalHits;
                    if (pScore != nullptr) *pScore = fDoubled;
                    return ReturnText(sAnswer);
                }
            } else {
                sT = sTranslated;
                // The retry's own pinyin scan already read this very text and found nothing: the
                // pinyin scan below would give the same empty answer.
                if (nLocalHits == 0 && sSubPinyin == sT && sSub != nullptr) {
                    if (pScore != nullptr) *pScore = fLocalScore;
                    return sSub;
                }
            }
        }
    }
    if (vecHits.empty() && (nRetryMode == 0 || nRetryMode == 1)) {
        if (pPinyinText != nullptr) *pPinyinText = sT;
        return ScanDetailPinyinIn(set, sT.c_str(), pHitCount, pScore);
    }

    // Confirmation: a hit stands only where the segmentation of the text, with the hit keywords as
    // words of this call, has its keyword as a word (at its first occurrence).
    if (!vecHits.empty()) {
        std::vector<std::string> vecWords;
        vecWords.reserve(vecHits.size());
        for (const _stTermPosition& hit : vecHits) vecWords.emplace_back(set.m_pKeyWordList->GetWord(hit.nHandle));
        const std::string sSegmented = GRAVO_ParagraphProcessWords(sT.c_str(), 1, vecWords);
        const std::vector<size_t> vecFirst = FirstOccurrences(sSegmented, vecWords);
        size_t nKept = 0;
        for (size_t i = 0; i < vecHits.size(); ++i) {
            if (vecWords[i].size() != static_cast<size_t>(vecHits[i].nWordLen) ||
                Confirmed(sSegmented, vecFirst[i], vecWords[i].size())) {
                vecHits[nKept++] = vecHits[i];
            }
        }
        vecHits.resize(nKept);
    }
    if (pHitCount != nullptr) *pHitCount = static_cast<int>(vecHits.size());
    if (vecHits.empty()) return ReturnText("");

    CJoinedList keywords;
    std::string sClasses, sMarked, sMapped;
    double dScore = 0;
    float fScore = 0;
    bool bSensitive = false;
    const bool bLong = nLength > WHOLE_TEXT_MAX;
    for (size_t i = 0; i < vecHits.size(); ++i) {
        const _stTermPosition& hit = vecHits[i];
        const bool bMore = i + 1 < vecHits.size();
        const char* sWord = set.m_pKeyWordList->GetWord(hit.nHandle);
        double dFactor = 1.0;
        if (!keywords.Contains(sWord)) {
            keywords.AppendEntry(sWord);
            if (nRetryMode == 1 && GetMappedStr(vecPositionPairs, hit, sMappedContent.c_str(), sMapped) != nullptr &&
                !sMapped.empty()) {
                keywords.AppendSeparator("-->");
                keywords.AppendEntry(sMapped);
            }
            if (bMore) keywords.AppendSeparator("##");
        } else {
            dFactor = REPEAT_FACTOR;
        }
        if (hit.nHandle >= 0 && static_cast<size_t>(hit.nHandle) < set.m_nKeyCells) set.AddHit(hit.nHandle);
        const size_t nHitStart = static_cast<size_t>(hit.iStartPos);
        const size_t nHitEnd = nHitStart + static_cast<size_t>(hit.nWordLen);
        size_t nSentenceEnd = nHitEnd;
        if (bLong) {
            // The sentence around the hit, cut short at the neighbouring hits (the walks stop there).
            const size_t nPrevEnd = i > 0 ? static_cast<size_t>(vecHits[i - 1].iStartPos + vecHits[i - 1].nWordLen) : 0;
            const size_t nNextStart = bMore ? static_cast<size_t>(vecHits[i + 1].iStartPos) : sT.size();
            size_t nStart = FindSentenceStartAbove(sT.c_str(), sT.size(), nHitStart, nPrevEnd);
            if (i > 0 && nPrevEnd > nStart) nStart = nHitStart;
            nSentenceEnd = FindSentenceEndBelow(sT.c_str(), sT.size(), nHitEnd, nNextStart);
            if (bMore && nNextStart < nSentenceEnd) nSentenceEnd = nHitEnd;
            sMarked.append(sT, nStart, nHitStart - nStart);
        }
        int nCount = 0;
        const POS_info* pInfo = set.m_pKeyPOS ? set.m_pKeyPOS->GetPOS(hit.nHandle, &nCount) : nullptr;
        if (pInfo == nullptr) nCount = 0;
        if (nCount > 0 && pInfo[0].freq > 0) bSensitive = true;
        const double dLength = static_cast<double>(std::strlen(sWord)) / 6.0;
        for (int j = 0; j < nCount; ++j) {
            const int nWeight = pInfo[j].freq;
            const char* sName = set.m_pClassWordList ? set.m_pClassWordList->GetWord(pInfo[j].POS_id) : "";
            if (bLong && nWeight > 0) sMarked += ClassTag(sName, nWeight);
            if (nWeight > 0 && !Contains(sClasses, sName)) {
                sClasses += sName;
                if (j + 1 < nCount || bMore) sClasses += "##";
            }
            dScore = static_cast<double>(fScore) + dFactor * nWeight * dLength;
            fScore = static_cast<float>(dScore);
        }
        // Deliberate: whether the sentence is closed is decided by the class record that follows this
        // keyword's own records (the next keyword's first one).
        if (nCount > 0 && bLong && set.m_pKeyPOS->GetFollowingFreq(hit.nHandle) >= 1) {
            sMarked.append(sT, nHitStart, nHitEnd - nHitStart);
            for (int j = 0; j < nCount; ++j) sMarked += "</class>";
            if (nSentenceEnd > nHitEnd) sMarked.append(sT, nHitEnd, nSentenceEnd - nHitEnd);
        }
    }

    if (!bSensitive) {
        // No keyword is sensitive by itself: the compound rules decide, and the result lists the rules.
        int nRuleScore = 0;
        const int nRules = set.m_pComplexFilter
                               ? set.m_pComplexFilter->Filter(vecHits, set.m_pClassWordList.get(), sClasses, keywords.Text(),
                                                              nRuleScore)
                               : 0;
        fScore = static_cast<float>(nRuleScore);
        if (pHitCount != nullptr) *pHitCount = nRules;
        if (nRules == 0) {
            if (pScore != nullptr) *pScore = fScore;
            return ReturnText("");
        }
    }
    std::string sResult = ScoreHead(fScore, m_sDelimiter);
    sResult += FromGBK(keywords.Text()) + m_sDelimiter + FromGBK(sClasses) + m_sDelimiter;
    sResult += FromGBK(bLong ? sMarked : sT);
    if (pScore != nullptr) *pScore = fScore;
    return ReturnText(sResult);
}

const char* CVintrel::ScanDetailPinyinIn(const CDictionarySet& set, const char* sContent, int* p_nHitCount,
                                         float* p_nScore) {
    if (p_nHitCount != nullptr) *p_nHitCount = 0;
    if (p_nScore != nullptr) *p_nScore = 0;
    const CStrTran* pTable = set.m_pPY2Word.get();
    if (sContent == nullptr || g_pPinyin == nullptr || pTable == nullptr || !pTable->IsLoaded() || !set.m_pKeyDict) {
        return ReturnText("");
    }
    tstring sPinyin, sAbbrev;
    std::vector<_TermPositionPair> vecPairs;
    g_pPinyin->Hanzi2Pinyin(sContent, sPinyin, sAbbrev, vecPairs);
    std::vector<_stTermPosition> vecHits;
    pTable->GetSrcDict()->MMScanPosition(sPinyin.c_str(), vecHits, 2);
    if (vecHits.empty()) return ReturnText("");

    // The hits that count: a short form (initials) only where the text itself has it standing alone,
    // judged at its first occurrence; all short forms are looked up in one pass.
    std::vector<std::string> vecForms(vecHits.size());
    std::vector<std::string> vecShort;
    for (size_t i = 0; i < vecHits.size(); ++i) {
        vecForms[i] = pTable->GetSrcWordList()->GetWord(vecHits[i].nHandle);
        if (static_cast<size_t>(vecHits[i].nWordLen) < ABBREV_MAX) vecShort.push_back(vecForms[i]);
    }
    std::vector<char> vecCounts(vecHits.size(), 1);
    if (!vecShort.empty()) {
        const std::string sLower = CPinyin::LowerLetters(sContent);
        const std::vector<size_t> vecFirst = FirstOccurrences(sLower, vecShort);
        for (size_t i = 0, k = 0; i < vecHits.size(); ++i) {
            if (static_cast<size_t>(vecHits[i].nWordLen) >= ABBREV_MAX) continue;
            const size_t nAt = vecFirst[k++];
            vecCounts[i] = !vecForms[i].empty() && nAt != std::string::npos &&
                           CPinyin::StandsAlone(sLower, nAt, vecForms[i].size());
        }
    }
    // For a long text, the input span of each counted hit: the characters whose readings it covers.
    const bool bLong = sPinyin.size() > WHOLE_TEXT_MAX;
    const size_t nContentLen = std::strlen(sContent);
    std::vector<std::pair<size_t, size_t>> vecSpans;
    std::vector<size_t> vecCounted;
    for (size_t i = 0; i < vecHits.size(); ++i) {
        if (vecCounts[i] == 0) continue;
        vecCounted.push_back(i);
        if (!bLong) continue;
        const _stTermPosition& hit = vecHits[i];
        const long nHitEnd = static_cast<long>(hit.iStartPos) + hit.nWordLen;
        size_t nFrom = nContentLen, nTo = 0;
        auto it = std::lower_bound(vecPairs.begin(), vecPairs.end(), hit.iStartPos,
                                   [](const _TermPositionPair& pair, int nPos) { return pair.first.iStartPos < nPos; });
        for (; it != vecPairs.end() && static_cast<long>(it->first.iStartPos) + it->first.nWordLen <= nHitEnd; ++it) {
            nFrom = std::min(nFrom, static_cast<size_t>(it->second.iStartPos));
            nTo = std::max(nTo, static_cast<size_t>(it->second.iStartPos + it->second.nWordLen));
        }
        vecSpans.emplace_back(nFrom, nTo);
    }

    CJoinedList rule(SOUND_TAG);
    std::string sClasses, sMarked, sMapped;
    double dScore = 0;
    const int nHits = static_cast<int>(vecCounted.size());
    for (size_t n = 0; n < vecCounted.size(); ++n) {
        const size_t i = vecCounted[n];
        const _stTermPosition& hit = vecHits[i];
        const size_t nFormLen = vecForms[i].size();
        const char* sKeyword = pTable->SrcID2Dsn(hit.nHandle);
        if (sKeyword == nullptr) sKeyword = "";
        const int nHandle = set.m_pKeyDict->Find(sKeyword);
        double dFactor = 1.0;
        if (!rule.Contains(sKeyword)) {
            rule.AppendEntry(sKeyword);
            if (GetMappedStr(vecPairs, hit, sContent, sMapped) != nullptr && !sMapped.empty()) {
                rule.AppendSeparator("-->");
                rule.AppendEntry(sMapped);
            }
            if (i + 1 < vecHits.size()) rule.AppendSeparator("##");
        } else {
            dFactor = REPEAT_FACTOR;
        }
        if (nHandle >= 0 && static_cast<size_t>(nHandle) < set.m_nKeyCells) set.AddHit(nHandle);
        int nCount = 0;
        const POS_info* pInfo = set.m_pKeyPOS && nHandle >= 0 ? set.m_pKeyPOS->GetPOS(nHandle, &nCount) : nullptr;
        if (pInfo == nullptr) nCount = 0;
        if (bLong && vecSpans[n].first < vecSpans[n].second) {
            // The hit's sentence, cut short at the neighbouring hits as in the detailed scan.
            const size_t nFrom = vecSpans[n].first, nTo = vecSpans[n].second;
            const size_t nPrevEnd = n > 0 ? vecSpans[n - 1].second : 0;
            const size_t nNextStart = n + 1 < vecSpans.size() ? vecSpans[n + 1].first : nContentLen;
            size_t nStart = FindSentenceStartAbove(sContent, nContentLen, nFrom, nPrevEnd);
            if (n > 0 && nPrevEnd > nStart) nStart = nFrom;
            size_t nEnd = FindSentenceEndBelow(sContent, nContentLen, nTo, nNextStart);
            if (n + 1 < vecSpans.size() && nNextStart < nEnd) nEnd = nTo;
            int nTags = 0;
            for (int j = 0; j < nCount; ++j) {
                if (pInfo[j].freq <= 0) continue;
                sMarked += ClassTag(set.m_pClassWordList ? set.m_pClassWordList->GetWord(pInfo[j].POS_id) : "",
                                    pInfo[j].freq);
                ++nTags;
            }
            sMarked.append(sContent + nStart, nEnd - nStart);
            for (int j = 0; j < nTags; ++j) sMarked += "</class>";
            sMarked += "\r\n";
        }
        const double dLengths = static_cast<double>(std::strlen(sKeyword)) / 6.0 * static_cast<double>(nFormLen) / 9.0;
        for (int j = 0; j < nCount; ++j) {
            const char* sName = set.m_pClassWordList ? set.m_pClassWordList->GetWord(pInfo[j].POS_id) : "";
            if (!Contains(sClasses, sName)) {
                if (!sClasses.empty()) sClasses += "##";
                sClasses += sName;
            }
            dScore += dFactor * pInfo[j].freq * dLengths;
        }
    }
    // Hits whose initials the text does not really have are no hits.
    if (nHits == 0) return ReturnText("");
    const float fScore = static_cast<float>(dScore * PINYIN_FACTOR);
    std::string sResult = ScoreHead(fScore, m_sDelimiter);
    sResult += FromGBK(rule.Text()) + m_sDelimiter + FromGBK(sClasses) + m_sDelimiter;
    sResult += FromGBK(bLong ? sMarked : std::string(sContent));
    if (p_nHitCount != nullptr) *p_nHitCount = nHits;
    if (p_nScore != nullptr) *p_nScore = fScore;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_nLineCount;
    }
    return ReturnText(sResult);
}

// ---------------------------------------------------------------------------------------------------
// Scans that read files.

const char* CVintrel::ScanFile(const char* sFilename) {
    std::unique_ptr<char[]> pText = ReadWholeFile(sFilename);
    return pText ? Scan(pText.get()) : ReturnText("");
}

const char* CVintrel::ScanFileDetail(const char* sFilename) {
    std::unique_ptr<char[]> pText = ReadWholeFile(sFilename);
    return pText ? ScanDetail(pText.get(), nullptr, nullptr, 0) : ReturnText("");
}

int CVintrel::ScanLine(const char* sFilename, const char* sResultFilename, bool bEncript) {
    const std::string sName = sFilename != nullptr ? sFilename : "";
    FilePtr fpIn(sFilename != nullptr ? std::fopen(sFilename, "rb") : nullptr);
    if (!fpIn) {
        ReportError("Cannot read file " + sName);
        ReturnText("");
        return 0;
    }
    std::vector<char> vecPath(std::max<size_t>(sName.size() + 2, 1000)), vecFile(sName.size() + 1);
    const std::string sFile = GetRelevatePath(sFilename, vecPath.data(), vecFile.data());

    std::vector<char> vecLine(LINE_LIMIT);
    char* sLine = vecLine.data();
    if (std::fgets(sLine, LINE_LIMIT, fpIn.get()) == nullptr) sLine[0] = '\0';
    if (std::strncmp(sLine, UTF8_BOM, 3) == 0) sLine += 3;

    FilePtr fpOut(sResultFilename != nullptr ? std::fopen(sResultFilename, "wb") : nullptr);
    if (!fpOut) {
        // Deliberate: the message names the input file, not the result file.
        ReportError("Cannot read file " + sName);
        return -1;
    }
    if (g_pVintrelCodeTranslator != nullptr) std::fwrite(UTF8_BOM, 1, 3, fpOut.get());

    const CQMTEncript encript(QMT_RESULT_FILE_KEY);
    int nLine = 0;
    while (sLine[0] != '\0') {
        ++nLine;
        if (nLine % 100 == 0) {
            std::printf("Processing %d\r", nLine);
            std::fflush(stdout);
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            ++m_nLineCount;
        }
        const char* sResult = ScanDetail(sLine, nullptr, nullptr, 0);
        // Deliberate: the line's hit count is never handed to the scan, so it stays 0 and no record is
        // written; the record below is the result-file line for a counted hit.
        int nLineHits = 0;
        if (nLineHits > 0 && sResult != nullptr) {
            std::string sRecord = "###" + FromGBK(sFile) + m_sDelimiter + std::to_string(nLine) + m_sDelimiter;
            sRecord += sResult;
            sRecord += "\n";
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                ++m_nHitCount;
            }
            if (bEncript) encript.Encrypt(sRecord);
            std::fwrite(sRecord.data(), 1, sRecord.size(), fpOut.get());
        }
        sLine = vecLine.data();
        if (std::fgets(sLine, LINE_LIMIT, fpIn.get()) == nullptr) sLine[0] = '\0';
    }
    return nLine;
}

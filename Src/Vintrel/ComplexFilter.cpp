// ComplexFilter.cpp: CComplexFilter, CStaticStr and the compiled rule records; see ComplexFilter.h.
//
// How compound rules are compiled and matched
//
// A rule such as {A;B}+C-D;E is kept in two forms. The textual form (_tComplexFilterOrig) lists the
// AND groups ({A, B} and {C}) and the NOT list ({D, E}) as words. Compiling turns every word into
// its keyword id in the instance's key dictionary and writes, for each rule, the sorted distinct ids
// of its NOT list and then of each AND group into one int pool; a rule record keeps only the ranges
// [start, end) of its lists. After all rules, the pool receives an inverted index: for each keyword
// id the numbers of the rules that mention it (a rule that mentions an id in two lists is listed
// twice), and m_pIndex keeps each id's range.
//
// To test a text, its hits are reduced to the ascending list of distinct keyword ids. For each hit
// id in ascending order, the index gives the rules that mention it; each such rule not yet fired in
// this call is tested: every AND group must share an id with the hits and the NOT list must share
// none. "Shares an id" is one merge of two ascending lists (Or), so a test costs the sum of the list
// lengths, and only rules that mention at least one hit keyword are ever tested. Fired rules are
// reported in the order found.
//
// The rule file is the compiled form dumped field by field (see Save); Load trusts none of it and
// checks every count against the bytes left and every range, id, rule number and text offset
// against the arrays before the filter is used.
#include "Vintrel/ComplexFilter.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "Utility/PDAT.h"
#include "Utility/StrToken.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"

static_assert(sizeof(_tIntArray) == 8 && std::is_standard_layout<_tIntArray>::value,
              "_tIntArray is written as two int32");
static_assert(sizeof(int) == 4, "pool values are written as int32");

namespace {

constexpr const char* RULE_FILE_NAME = "ComplexFilter.dat";
constexpr size_t STRING_POOL_RESERVE = 10240;  // bytes reserved for rule texts at construction
constexpr size_t DATA_POOL_RESERVE = 1024;     // ints reserved in the data pool at construction
constexpr const char* PART_SEPARATORS = "+-";
constexpr const char* ALTERNATIVE_SEPARATORS = ";{} ";

bool WriteBytes(FILE* fp, const void* pData, size_t nBytes) {
    return nBytes == 0 || std::fwrite(pData, 1, nBytes, fp) == nBytes;
}

template <typename T>
bool WriteValue(FILE* fp, T value) {
    return WriteBytes(fp, &value, sizeof(value));
}

bool ReadBytes(FILE* fp, void* pData, size_t nBytes) {
    return nBytes == 0 || std::fread(pData, 1, nBytes, fp) == nBytes;
}

// BytesLeft: the bytes between the file position and the end of the file; 0 when unknown.
uint64_t BytesLeft(FILE* fp) {
    struct stat st;
    if (fstat(fileno(fp), &st) != 0 || st.st_size < 0) return 0;
    const long nPos = std::ftell(fp);
    if (nPos < 0 || nPos > st.st_size) return 0;
    return static_cast<uint64_t>(st.st_size - nPos);
}

// WordOf: the text of a handle in a word list, "" without a list.
const char* WordOf(const CWordList* pList, int nHandle) {
    return pList != nullptr ? pList->GetWord(nHandle) : "";
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// CStaticStr

CStaticStr::CStaticStr() { m_pData.reserve(STRING_POOL_RESERVE); }

int64_t CStaticStr::AddString(const char* sText) {
    if (sText == nullptr) sText = "";
    const int64_t nOffset = GetSize();
    m_pData.insert(m_pData.end(), sText, sText + std::strlen(sText) + 1);
    return nOffset;
}

const char* CStaticStr::GetStr(int64_t nOffset) const {
    if (nOffset < 0 || nOffset >= GetSize()) return "";
    return m_pData.data() + nOffset;
}

bool CStaticStr::IsStringStart(int64_t nOffset) const {
    if (nOffset < 0 || nOffset >= GetSize()) return false;
    return nOffset == 0 || m_pData[static_cast<size_t>(nOffset) - 1] == '\0';
}

bool CStaticStr::Write(FILE* fp) const {
    return WriteValue<uint64_t>(fp, m_pData.size()) && WriteBytes(fp, m_pData.data(), m_pData.size());
}

bool CStaticStr::Read(FILE* fp, uint64_t nBytesLeft) {
    m_pData.clear();
    uint64_t nLength = 0;
    if (nBytesLeft < sizeof(nLength) || !ReadBytes(fp, &nLength, sizeof(nLength))) return false;
    if (nLength > nBytesLeft - sizeof(nLength)) return false;
    std::vector<char> vecData(static_cast<size_t>(nLength));
    if (!ReadBytes(fp, vecData.data(), vecData.size())) return false;
    // Every string ends with its NUL, so any offset inside the pool gives a terminated string.
    if (!vecData.empty() && vecData.back() != '\0') return false;
    m_pData = std::move(vecData);
    return true;
}

// ---------------------------------------------------------------------------------------------------
// _tComplexFilterData

void _tComplexFilterData::Destroy() {
    pAndConditions.clear();
    nAndSize = 0;
}

bool _tComplexFilterData::Save(FILE* fp) const {
    return WriteValue<int32_t>(fp, nAndSize) &&
           WriteBytes(fp, pAndConditions.data(), pAndConditions.size() * sizeof(_tIntArray)) &&
           WriteBytes(fp, &NotCondition, sizeof(NotCondition)) && WriteValue<uint8_t>(fp, class_id) &&
           WriteValue<int32_t>(fp, weight) && WriteValue<int32_t>(fp, rulestr_id);
}

bool _tComplexFilterData::Load(FILE* fp, uint64_t nBytesLeft) {
    Destroy();
    int32_t nSize = 0;
    if (nBytesLeft < 4 || !ReadBytes(fp, &nSize, 4)) return false;
    if (nSize < 0 || 4 + 8 * static_cast<uint64_t>(nSize) + 17 > nBytesLeft) return false;
    std::vector<_tIntArray> vecGroups(static_cast<size_t>(nSize));
    if (!ReadBytes(fp, vecGroups.data(), vecGroups.size() * sizeof(_tIntArray)) ||
        !ReadBytes(fp, &NotCondition, sizeof(NotCondition)) ||
        !ReadBytes(fp, &class_id, 1) || !ReadBytes(fp, &weight, 4) || !ReadBytes(fp, &rulestr_id, 4)) {
        return false;
    }
    pAndConditions = std::move(vecGroups);
    nAndSize = nSize;
    return true;
}

// ---------------------------------------------------------------------------------------------------
// CComplexFilter

CComplexFilter::CComplexFilter(const char* sPath)
    : m_sFilename(std::string(sPath != nullptr ? sPath : "") + RULE_FILE_NAME),
      m_pRuleStr(new CStaticStr()) {
    m_pData.reserve(DATA_POOL_RESERVE);
}

CComplexFilter::~CComplexFilter() = default;

void CComplexFilter::ClearCompiled() {
    for (_tComplexFilterData& rule : m_pComplexFilterData) rule.Destroy();
    m_pComplexFilterData.clear();
    m_pIndex.clear();
    m_nIDCount = 0;
    m_pData.clear();
    m_pRuleStr->Clear();
}

bool CComplexFilter::ImportLine(const char* sLine, const char* sClass, int weight) {
    if (sLine == nullptr || std::strchr(sLine, '+') == nullptr) return false;
    for (const _tComplexFilterOrig& rule : m_vecComplexFilterOrg) {
        if (rule.sRule == sLine) return true;
    }

    _tComplexFilterOrig rule;
    rule.sRule = sLine;
    const size_t nLineLen = std::strlen(sLine);
    std::string sParts(sLine);
    CStrToken partReader(false);
    char cOperator = '+';
    // Deliberate: parts and alternatives are cut byte by byte, so a GBK character whose second byte
    // is "{" or "}" is split there; stored rules were cut this way.
    for (char* pPart = partReader.GetToken(&sParts[0], nullptr, PART_SEPARATORS); pPart != nullptr;
         pPart = partReader.GetToken(nullptr, nullptr, PART_SEPARATORS)) {
        // The byte that ended this part in the original line is the operator of the next part.
        const size_t nEnd = static_cast<size_t>(pPart - sParts.data()) + std::strlen(pPart);
        const char cNext = nEnd < nLineLen ? sLine[nEnd] : '\0';

        std::string sPart(pPart);
        CStrToken alternativeReader(false);
        std::vector<std::string> vecGroup;
        for (char* pWord = alternativeReader.GetToken(&sPart[0], nullptr, ALTERNATIVE_SEPARATORS);
             pWord != nullptr;
             pWord = alternativeReader.GetToken(nullptr, nullptr, ALTERNATIVE_SEPARATORS)) {
            if (*pWord == '\0') continue;
            // Deliberate: one entry per mention, duplicates kept; the import adds them all to the
            // key dictionary, which keeps each word once.
            m_vecKeywords.emplace_back(pWord);
            if (cOperator == '-') {
                rule.NotCondition.emplace_back(pWord);
            } else {
                vecGroup.emplace_back(pWord);
            }
        }
        if (!vecGroup.empty()) rule.vecAndConditions.push_back(std::move(vecGroup));
        cOperator = cNext;
    }
    rule.sClass = sClass != nullptr ? sClass : "";
    rule.weight = weight;
    m_vecComplexFilterOrg.push_back(std::move(rule));
    return true;
}

int CComplexFilter::GenerateIntList(const std::vector<std::string>& vecKey, _tIntArray& result,
                                    const CPDAT* pDict) {
    std::vector<int> vecIDs;
    vecIDs.reserve(vecKey.size());
    for (const std::string& sWord : vecKey) {
        const int nID = pDict != nullptr ? pDict->Find(sWord.c_str()) : -1;
        // A word the dictionary lacks has no id; -1 must never index the id table.
        if (nID >= 0) vecIDs.push_back(nID);
    }
    std::sort(vecIDs.begin(), vecIDs.end());
    result.start = static_cast<int>(m_pData.size());
    result.end = result.start;
    for (size_t i = 0; i < vecIDs.size(); ++i) {
        if (i > 0 && vecIDs[i] == vecIDs[i - 1]) continue;
        m_pData.push_back(vecIDs[i]);
        ++result.end;
    }
    return result.end - result.start;
}

int CComplexFilter::Org2Data(const CPDAT* pKeyDict, const CPDAT* pClassDict) {
    ClearCompiled();
    m_nIDCount = pKeyDict != nullptr ? static_cast<int>(pKeyDict->GetItemCount()) : 0;
    std::vector<std::vector<int>> vecRulesOfID(static_cast<size_t>(m_nIDCount));
    m_pComplexFilterData.resize(m_vecComplexFilterOrg.size());

    for (size_t i = 0; i < m_vecComplexFilterOrg.size(); ++i) {
        const _tComplexFilterOrig& org = m_vecComplexFilterOrg[i];
        _tComplexFilterData& data = m_pComplexFilterData[i];
        data.rulestr_id = static_cast<int>(m_pRuleStr->AddString(org.sRule.c_str()));
        // Deliberate: the class id is kept in one byte, as in the class table: a class the
        // dictionary lacks (-1) becomes 255 ("none") and ids above 255 wrap.
        data.class_id =
            static_cast<uint8_t>(pClassDict != nullptr ? pClassDict->Find(org.sClass.c_str()) : -1);
        data.weight = org.weight;
        GenerateIntList(org.NotCondition, data.NotCondition, pKeyDict);
        data.nAndSize = static_cast<int>(org.vecAndConditions.size());
        data.pAndConditions.resize(org.vecAndConditions.size());
        for (size_t g = 0; g < org.vecAndConditions.size(); ++g) {
            GenerateIntList(org.vecAndConditions[g], data.pAndConditions[g], pKeyDict);
        }
        // Deliberate: every id written for this rule lists the rule, so a rule that mentions an id
        // in two lists (A+B-A, A+A) is listed twice under it.
        for (size_t p = static_cast<size_t>(data.NotCondition.start); p < m_pData.size(); ++p) {
            vecRulesOfID[static_cast<size_t>(m_pData[p])].push_back(static_cast<int>(i));
        }
    }

    m_pIndex.assign(static_cast<size_t>(m_nIDCount), _tIntArray());
    for (size_t k = 0; k < vecRulesOfID.size(); ++k) {
        m_pIndex[k].start = static_cast<int>(m_pData.size());
        m_pData.insert(m_pData.end(), vecRulesOfID[k].begin(), vecRulesOfID[k].end());
        m_pIndex[k].end = static_cast<int>(m_pData.size());
    }
    return 1;
}

int CComplexFilter::Or(const int* pIDList, int nCount, const _tIntArray& intArray) const {
    if (pIDList == nullptr) return 0;
    int j = 0;
    int p = intArray.start;
    while (j < nCount && p < intArray.end) {
        const int nPoolID = m_pData[static_cast<size_t>(p)];
        if (pIDList[j] == nPoolID) return 1;
        if (pIDList[j] > nPoolID) {
            ++p;
        } else {
            ++j;
        }
    }
    return 0;
}

bool CComplexFilter::IsMatchRule(const int* pIDList, int nCount,
                                 const _tComplexFilterData& rule) const {
    bool bMatch = true;
    for (size_t g = 0; g < rule.pAndConditions.size() && bMatch; ++g) {
        if (Or(pIDList, nCount, rule.pAndConditions[g]) == 0) bMatch = false;
    }
    if (bMatch && Or(pIDList, nCount, rule.NotCondition) == 1) bMatch = false;
    return bMatch;
}

int CComplexFilter::Filter(const std::vector<_stTermPosition>& vstTermPosition,
                           const CWordList* pClassWordList, std::string& sClass, std::string& sRule,
                           int& weight) const {
    sClass.clear();
    sRule.clear();
    weight = 0;

    // The distinct keyword ids of the hits, ascending; ids the index does not cover (negative, or
    // from a dictionary that changed after compiling) are left out: no rule lists them.
    std::vector<int> vecIDs;
    vecIDs.reserve(vstTermPosition.size());
    for (const _stTermPosition& hit : vstTermPosition) {
        if (hit.nHandle >= 0 && hit.nHandle < m_nIDCount) vecIDs.push_back(hit.nHandle);
    }
    std::sort(vecIDs.begin(), vecIDs.end());
    vecIDs.erase(std::unique(vecIDs.begin(), vecIDs.end()), vecIDs.end());
    const int nIDs = static_cast<int>(vecIDs.size());

    std::vector<bool> vecFired(m_pComplexFilterData.size(), false);
    int nCount = 0;
    for (int nID : vecIDs) {
        const _tIntArray& range = m_pIndex[static_cast<size_t>(nID)];
        for (int p = range.start; p < range.end; ++p) {
            const size_t r = static_cast<size_t>(m_pData[static_cast<size_t>(p)]);
            // Deliberate: only fired rules are remembered; a rule that failed is tested again
            // under each later hit id that lists it (the answer is the same).
            if (vecFired[r]) continue;
            const _tComplexFilterData& rule = m_pComplexFilterData[r];
            if (!IsMatchRule(vecIDs.data(), nIDs, rule)) continue;
            vecFired[r] = true;
            sClass += WordOf(pClassWordList, rule.class_id);
            sClass += "##";
            sRule += m_pRuleStr->GetStr(rule.rulestr_id);
            sRule += "##";
            if (rule.weight > weight) weight = rule.weight;
            ++nCount;
        }
    }
    return nCount;
}

int CComplexFilter::Export(const CWordList* pKeyWordList, const CWordList* pClassWordList) {
    m_vecComplexFilterOrg.clear();
    m_vecKeywords.clear();
    for (const _tComplexFilterData& data : m_pComplexFilterData) {
        _tComplexFilterOrig org;
        for (int p = data.NotCondition.start; p < data.NotCondition.end; ++p) {
            const char* sWord = WordOf(pKeyWordList, m_pData[static_cast<size_t>(p)]);
            org.NotCondition.emplace_back(sWord);
            m_vecKeywords.emplace_back(sWord);
        }
        for (const _tIntArray& range : data.pAndConditions) {
            std::vector<std::string> vecGroup;
            for (int p = range.start; p < range.end; ++p) {
                const char* sWord = WordOf(pKeyWordList, m_pData[static_cast<size_t>(p)]);
                vecGroup.emplace_back(sWord);
                m_vecKeywords.emplace_back(sWord);
            }
            org.vecAndConditions.push_back(std::move(vecGroup));
        }
        org.sClass = WordOf(pClassWordList, data.class_id);
        org.weight = data.weight;
        org.sRule = m_pRuleStr->GetStr(data.rulestr_id);
        m_vecComplexFilterOrg.push_back(std::move(org));
    }
    return static_cast<int>(m_vecComplexFilterOrg.size());
}

bool CComplexFilter::Save() const {
    FILE* fp = std::fopen(m_sFilename.c_str(), "wb");
    if (fp == nullptr) {
        ReportError("Failed open file " + m_sFilename);
        return false;
    }
    bool bOk = WriteValue<uint32_t>(fp, static_cast<uint32_t>(m_pComplexFilterData.size()));
    for (size_t i = 0; bOk && i < m_pComplexFilterData.size(); ++i) {
        bOk = m_pComplexFilterData[i].Save(fp);
    }
    bOk = bOk && WriteValue<int32_t>(fp, m_nIDCount) &&
          WriteBytes(fp, m_pIndex.data(), m_pIndex.size() * sizeof(_tIntArray)) &&
          WriteValue<int32_t>(fp, static_cast<int32_t>(m_pData.size())) &&
          WriteBytes(fp, m_pData.data(), m_pData.size() * sizeof(int)) && m_pRuleStr->Write(fp);
    // Closing flushes the buffer: a full disk shows here.
    if (std::fclose(fp) != 0) bOk = false;
    return bOk;
}

bool CComplexFilter::IsInPool(const _tIntArray& range) const {
    return range.start >= 0 && range.start <= range.end &&
           static_cast<size_t>(range.end) <= m_pData.size();
}

bool CComplexFilter::CheckLoaded() const {
    const int nRules = static_cast<int>(m_pComplexFilterData.size());
    // A keyword-id list: inside the pool, ascending, distinct, each id covered by the index.
    auto fnIDList = [this](const _tIntArray& range) {
        if (!IsInPool(range)) return false;
        for (int p = range.start; p < range.end; ++p) {
            const int nID = m_pData[static_cast<size_t>(p)];
            if (nID < 0 || nID >= m_nIDCount) return false;
            if (p > range.start && nID <= m_pData[static_cast<size_t>(p) - 1]) return false;
        }
        return true;
    };
    for (const _tComplexFilterData& rule : m_pComplexFilterData) {
        if (!fnIDList(rule.NotCondition)) return false;
        for (const _tIntArray& range : rule.pAndConditions) {
            if (!fnIDList(range)) return false;
        }
        if (!m_pRuleStr->IsStringStart(rule.rulestr_id)) return false;
    }
    for (const _tIntArray& range : m_pIndex) {
        if (!IsInPool(range)) return false;
        for (int p = range.start; p < range.end; ++p) {
            const int nRule = m_pData[static_cast<size_t>(p)];
            if (nRule < 0 || nRule >= nRules) return false;
        }
    }
    return true;
}

bool CComplexFilter::Load() {
    ClearCompiled();
    m_vecComplexFilterOrg.clear();
    m_vecKeywords.clear();
    FilePtr fp(std::fopen(m_sFilename.c_str(), "rb"));
    if (!fp) {
        // A missing rule file is normal for an instance without rules: ordinary log, not errors.
        // (The library's last-error text cannot be set without writing the error log.)
        WriteLog("Failed open file " + m_sFilename);
        return false;
    }

    uint64_t nLeft = BytesLeft(fp.get());
    auto fnLoad = [&]() {
        uint32_t nRules = 0;
        if (nLeft < 4 || !ReadBytes(fp.get(), &nRules, 4)) return false;
        nLeft -= 4;
        // Records take at least 21 bytes each: the count cannot ask for more than the file holds.
        if (nRules > nLeft / 21) return false;
        m_pComplexFilterData.resize(nRules);
        for (_tComplexFilterData& rule : m_pComplexFilterData) {
            if (!rule.Load(fp.get(), nLeft)) return false;
            nLeft -= rule.RecordSize();
        }

        int32_t nIDCount = 0;
        if (nLeft < 4 || !ReadBytes(fp.get(), &nIDCount, 4)) return false;
        nLeft -= 4;
        if (nIDCount < 0 || 8 * static_cast<uint64_t>(nIDCount) > nLeft) return false;
        m_pIndex.resize(static_cast<size_t>(nIDCount));
        if (!ReadBytes(fp.get(), m_pIndex.data(), m_pIndex.size() * sizeof(_tIntArray))) return false;
        nLeft -= 8 * static_cast<uint64_t>(nIDCount);
        m_nIDCount = nIDCount;

        int32_t nPoolSize = 0;
        if (nLeft < 4 || !ReadBytes(fp.get(), &nPoolSize, 4)) return false;
        nLeft -= 4;
        if (nPoolSize < 0 || 4 * static_cast<uint64_t>(nPoolSize) > nLeft) return false;
        std::vector<int> vecPool(static_cast<size_t>(nPoolSize));
        if (!ReadBytes(fp.get(), vecPool.data(), vecPool.size() * sizeof(int))) return false;
        nLeft -= 4 * static_cast<uint64_t>(nPoolSize);
        m_pData = std::move(vecPool);

        if (!m_pRuleStr->Read(fp.get(), nLeft)) return false;
        nLeft -= 8 + static_cast<uint64_t>(m_pRuleStr->GetSize());
        // Bytes after the string pool mean the file is not what Save wrote: refused.
        return nLeft == 0 && CheckLoaded();
    };
    if (!fnLoad()) {
        ClearCompiled();
        ReportError("Damaged rule file " + m_sFilename);
        return false;
    }
    return true;
}

// ComplexFilter_fuzz.cpp: compound rules from arbitrary text and rule files from arbitrary bytes.
//
// Input: byte 0 picks the mode.
//   even: rules. Every line (at most 64) is offered to ImportLine with a class k0, k1 or k2 (k2
//         unknown to the class dictionary) and a weight from its line number. The rules are
//         compiled against eight key words (see Dictionaries) and tested on sets of key ids (see
//         Masks; plus ids outside the index) against a naive evaluation of the textual rules; a
//         save/load round trip, a second save and an export followed by a new compile must all
//         give the same answers and bytes.
//   odd:  a rule file. The remaining bytes are loaded as a rule file; a file that loads must save
//         to the same bytes, and Filter and Export must answer safely either way.
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "Utility/PDAT.h"
#include "Utility/WordList.h"
#include "Vintrel/ComplexFilter.h"

namespace {

constexpr int MAX_WORDS = 8;
constexpr size_t MAX_RULES = 64;

std::string ReadBytes(const std::string& sPath) {
    std::ifstream in(sPath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::vector<std::string> SplitLines(const std::string& sText) {
    std::vector<std::string> vecLines;
    std::istringstream in(sText);
    for (std::string sLine; std::getline(in, sLine);) vecLines.push_back(sLine);
    return vecLines;
}

// Answer: everything Filter gives for one set of hits.
struct Answer {
    int nCount = 0;
    std::string sClass, sRule;
    int weight = 0;
    bool operator==(const Answer& other) const {
        return nCount == other.nCount && sClass == other.sClass && sRule == other.sRule &&
               weight == other.weight;
    }
};

// Masks: the sets of hit ids tried, as bit masks over ids 0 .. nIDs - 1 (at most MAX_WORDS): every
// subset of up to five ids; else none, all, and 30 fixed pseudo-random subsets.
std::vector<int> Masks(int nIDs) {
    if (nIDs > MAX_WORDS) nIDs = MAX_WORDS;
    std::vector<int> vecMasks;
    if (nIDs <= 5) {
        for (int nMask = 0; nMask < (1 << nIDs); ++nMask) vecMasks.push_back(nMask);
        return vecMasks;
    }
    vecMasks = {0, (1 << nIDs) - 1};
    uint32_t nState = 12345;
    for (int i = 0; i < 30; ++i) {
        nState = nState * 1103515245u + 12345u;
        vecMasks.push_back(static_cast<int>((nState >> 8) & ((1u << nIDs) - 1)));
    }
    return vecMasks;
}

// Answers: Filter on each set of Masks(nIDs), the ids given in falling order and twice, together
// with ids the index does not cover.
std::vector<Answer> Answers(const CComplexFilter& filter, const CWordList* pClassWords, int nIDs) {
    if (nIDs > MAX_WORDS) nIDs = MAX_WORDS;
    std::vector<Answer> vecAnswers;
    for (int nMask : Masks(nIDs)) {
        std::vector<_stTermPosition> vecHits;
        for (int nID : {-1, filter.GetIDCount(), 1 << 30}) {
            _stTermPosition hit;
            hit.nHandle = nID;
            vecHits.push_back(hit);
        }
        for (int i = nIDs - 1; i >= 0; --i) {
            if ((nMask & (1 << i)) == 0) continue;
            _stTermPosition hit;
            hit.nHandle = i;
            vecHits.push_back(hit);
            vecHits.push_back(hit);
        }
        Answer answer;
        answer.nCount = filter.Filter(vecHits, pClassWords, answer.sClass, answer.sRule, answer.weight);
        FUZZ_CHECK(answer.nCount >= 0 && static_cast<size_t>(answer.nCount) <= filter.GetRuleCount());
        vecAnswers.push_back(answer);
    }
    return vecAnswers;
}

// Dictionaries: the key words a, b, c, d, ab, \xB0\xA1 (啊), \xD6\xD0 (中) and \x81\x7B (亄, whose second
// byte is "{"), ids 0 .. 7, and the classes k0, k1, with their word lists. Built once: building
// tries is what would cost most per input.
struct Dictionaries {
    CPDAT keyDict;
    CWordList keyWords{false, &keyDict};
    CPDAT classDict;
    CWordList classWords{false, &classDict};
    Dictionaries() {
        for (const char* sWord : {"a", "b", "c", "d", "ab", "\xB0\xA1", "\xD6\xD0", "\x81\x7B"}) {
            keyDict.AddWord(sWord);
        }
        keyDict.AddWordComplete();
        for (const char* sWord : {"a", "b", "c", "d", "ab", "\xB0\xA1", "\xD6\xD0", "\x81\x7B"}) {
            keyWords.AddWord(sWord);
        }
        keyWords.AddWordComplete();
        for (const char* sClass : {"k0", "k1"}) classDict.AddWord(sClass);
        classDict.AddWordComplete();
        for (const char* sClass : {"k0", "k1"}) classWords.AddWord(sClass);
        classWords.AddWordComplete();
    }
};

void FuzzRules(const std::string& sInput, const std::string& sDir) {
    static Dictionaries dicts;
    const CPDAT& keyDict = dicts.keyDict;
    const CWordList& keyWords = dicts.keyWords;
    const CPDAT& classDict = dicts.classDict;
    const CWordList& classWords = dicts.classWords;
    const int nIDs = static_cast<int>(keyDict.GetItemCount());
    FUZZ_CHECK(nIDs == MAX_WORDS);
    std::vector<std::string> vecLines = SplitLines(sInput);

    CComplexFilter filter((sDir + "/a_").c_str());
    for (size_t i = 0; i < vecLines.size() && i < MAX_RULES; ++i) {
        const std::string sClass = "k" + std::to_string(i % 3);
        const char* sLine = vecLines[i].c_str();
        const bool bRule = filter.ImportLine(sLine, sClass.c_str(), static_cast<int>(i) - 5);
        FUZZ_CHECK(bRule == (std::strchr(sLine, '+') != nullptr));
    }
    FUZZ_CHECK(filter.Org2Data(&keyDict, &classDict) == 1);
    FUZZ_CHECK(filter.GetRuleCount() == filter.m_vecComplexFilterOrg.size());
    std::vector<Answer> vecAnswers = Answers(filter, &classWords, nIDs);

    // Naive evaluation of the textual rules on each subset: a rule fires when it has AND groups,
    // each group has a word whose id is hit, and no NOT word's id is hit.
    const std::vector<int> vecMasks = Masks(nIDs);
    for (size_t m = 0; m < vecMasks.size(); ++m) {
        const int nMask = vecMasks[m];
        auto fnHit = [&](const std::string& sWord) {
            const int nID = keyDict.Find(sWord.c_str());
            return nID >= 0 && nID < MAX_WORDS && (nMask & (1 << nID)) != 0;
        };
        int nCount = 0;
        int weight = 0;
        for (const _tComplexFilterOrig& rule : filter.m_vecComplexFilterOrg) {
            bool bFires = !rule.vecAndConditions.empty();
            for (const auto& vecGroup : rule.vecAndConditions) {
                bool bAny = false;
                for (const std::string& sWord : vecGroup) bAny = bAny || fnHit(sWord);
                bFires = bFires && bAny;
            }
            for (const std::string& sWord : rule.NotCondition) bFires = bFires && !fnHit(sWord);
            if (bFires) {
                ++nCount;
                if (rule.weight > weight) weight = rule.weight;
            }
        }
        FUZZ_CHECK(vecAnswers[m].nCount == nCount);
        FUZZ_CHECK(vecAnswers[m].weight == weight);
    }

    // Save, load, save again: same answers, same bytes.
    if (!filter.Save()) return;
    CComplexFilter loaded((sDir + "/a_").c_str());
    FUZZ_CHECK(loaded.Load());
    FUZZ_CHECK(Answers(loaded, &classWords, nIDs) == vecAnswers);
    const std::string sBytes = ReadBytes(filter.GetFilename());
    FUZZ_CHECK(loaded.Save());
    FUZZ_CHECK(ReadBytes(filter.GetFilename()) == sBytes);

    // The exported rules compile to the same answers.
    FUZZ_CHECK(loaded.Export(&keyWords, &classWords) == static_cast<int>(loaded.GetRuleCount()));
    CComplexFilter recompiled((sDir + "/b_").c_str());
    recompiled.m_vecComplexFilterOrg = loaded.m_vecComplexFilterOrg;
    recompiled.Org2Data(&keyDict, &classDict);
    FUZZ_CHECK(Answers(recompiled, &classWords, nIDs) == vecAnswers);
}

void FuzzFile(const std::string& sInput, const std::string& sDir) {
    CComplexFilter filter((sDir + "/c_").c_str());
    {
        std::ofstream out(filter.GetFilename(), std::ios::binary | std::ios::trunc);
        out.write(sInput.data(), static_cast<std::streamsize>(sInput.size()));
    }
    const bool bLoaded = filter.Load();
    if (!bLoaded) FUZZ_CHECK(filter.GetRuleCount() == 0 && filter.GetIDCount() == 0);
    CWordList emptyList(false, nullptr);
    Answers(filter, nullptr, filter.GetIDCount());
    Answers(filter, &emptyList, filter.GetIDCount());
    FUZZ_CHECK(filter.Export(nullptr, &emptyList) == static_cast<int>(filter.GetRuleCount()));
    if (bLoaded) {
        FUZZ_CHECK(filter.Save());
        FUZZ_CHECK(ReadBytes(filter.GetFilename()) == sInput);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    if (nSize == 0 || nSize > 1 << 16) return 0;
    static CFuzzScratch scratch("ComplexFilter");
    const std::string sInput(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
    if (pData[0] % 2 == 0) {
        FuzzRules(sInput, scratch.Dir());
    } else {
        FuzzFile(sInput, scratch.Dir());
    }
    return 0;
}

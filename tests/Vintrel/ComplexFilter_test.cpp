// ComplexFilter_test.cpp: CComplexFilter: rule parsing, matching, export and the rule file.
#include "Vintrel/ComplexFilter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Utility/WordList.h"
#include "support/TestSupport.h"

namespace {

using vt_test::ReadWholeFile;
using vt_test::WriteWholeFile;
using Strings = std::vector<std::string>;

std::string Int32(int32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }

// Key words aa bb cc dd (ids 0..3) and classes c1 c2 (ids 0, 1), with their word lists.
class ComplexFilterTest : public ::testing::Test {
protected:
    enum { AA, BB, CC, DD };

    void SetUp() override {
        g_sLogPath = m_dir.Path();
        for (const char* sWord : {"aa", "bb", "cc", "dd"}) m_keyDict.AddWord(sWord);
        m_keyDict.AddWordComplete();
        for (const char* sClass : {"c1", "c2"}) m_classDict.AddWord(sClass);
        m_classDict.AddWordComplete();
        for (const char* sWord : {"aa", "bb", "cc", "dd"}) m_keyWords.AddWord(sWord);
        m_keyWords.AddWordComplete();
        for (const char* sClass : {"c1", "c2"}) m_classWords.AddWord(sClass);
        m_classWords.AddWordComplete();
        m_sPrefix = m_dir.Path() + "/inst_";
    }

    // Compile: rules given as {text, class, weight} imported and compiled into filter.
    struct Rule {
        const char* sText;
        const char* sClass;
        int weight;
    };
    void Compile(CComplexFilter& filter, const std::vector<Rule>& vecRules) {
        for (const Rule& rule : vecRules) {
            ASSERT_TRUE(filter.ImportLine(rule.sText, rule.sClass, rule.weight)) << rule.sText;
        }
        ASSERT_EQ(filter.Org2Data(&m_keyDict, &m_classDict), 1);
    }

    static std::vector<_stTermPosition> Hits(const std::vector<int>& vecIDs) {
        std::vector<_stTermPosition> vecHits;
        for (int nID : vecIDs) {
            _stTermPosition hit;
            hit.nHandle = nID;
            vecHits.push_back(hit);
        }
        return vecHits;
    }

    // Run: Filter on the hits; the outputs are kept in m_sClass, m_sRule, m_nWeight.
    int Run(const CComplexFilter& filter, const std::vector<int>& vecIDs) {
        m_sClass = "stale";
        m_sRule = "stale";
        m_nWeight = -99;
        return filter.Filter(Hits(vecIDs), &m_classWords, m_sClass, m_sRule, m_nWeight);
    }

    // Signature: the filter's answers on every subset of the four ids, as one string.
    std::string Signature(const CComplexFilter& filter) {
        std::string sAll;
        for (int nMask = 0; nMask < 16; ++nMask) {
            std::vector<int> vecIDs;
            for (int i = 0; i < 4; ++i) {
                if (nMask & (1 << i)) vecIDs.push_back(i);
            }
            int nCount = Run(filter, vecIDs);
            sAll += std::to_string(nCount) + "|" + m_sClass + "|" + m_sRule + "|" +
                    std::to_string(m_nWeight) + "\n";
        }
        return sAll;
    }

    vt_test::CTempDir m_dir;
    CPDAT m_keyDict;
    CPDAT m_classDict;
    CWordList m_keyWords{false, &m_keyDict};
    CWordList m_classWords{false, &m_classDict};
    std::string m_sPrefix;
    std::string m_sClass, m_sRule;
    int m_nWeight = 0;
};

TEST_F(ComplexFilterTest, ImportLineParsesGroupsAlternativesAndNotList) {
    CComplexFilter filter(m_sPrefix.c_str());
    EXPECT_EQ(filter.GetFilename(), m_sPrefix + "ComplexFilter.dat");
    // Without "+" a line is a plain keyword, even with "-".
    EXPECT_FALSE(filter.ImportLine("aa-bb", "c1", 1));
    EXPECT_FALSE(filter.ImportLine(nullptr, "c1", 1));
    EXPECT_TRUE(filter.m_vecComplexFilterOrg.empty());

    ASSERT_TRUE(filter.ImportLine("{aa;bb}+cc-dd;ee", "c2", 4));
    // The same text again is held once, with its first class and weight.
    ASSERT_TRUE(filter.ImportLine("{aa;bb}+cc-dd;ee", "c1", 9));
    ASSERT_EQ(filter.m_vecComplexFilterOrg.size(), 1u);
    const _tComplexFilterOrig& rule = filter.m_vecComplexFilterOrg[0];
    EXPECT_EQ(rule.vecAndConditions, (std::vector<Strings>{{"aa", "bb"}, {"cc"}}));
    EXPECT_EQ(rule.NotCondition, (Strings{"dd", "ee"}));
    EXPECT_EQ(rule.sRule, "{aa;bb}+cc-dd;ee");
    EXPECT_EQ(rule.sClass, "c2");
    EXPECT_EQ(rule.weight, 4);

    // Leading blanks and runs of separators are skipped; braces only delimit; in a run of "+" and
    // "-" the first one decides the next part's operator; every mention is kept as a keyword.
    ASSERT_TRUE(filter.ImportLine(" aa  bb+;cc{dd}+-aa", "c1", 1));
    const _tComplexFilterOrig& runs = filter.m_vecComplexFilterOrg[1];
    EXPECT_EQ(runs.vecAndConditions, (std::vector<Strings>{{"aa", "bb"}, {"cc", "dd"}, {"aa"}}));
    EXPECT_TRUE(runs.NotCondition.empty());
    EXPECT_EQ(filter.m_vecKeywords,
              (Strings{"aa", "bb", "cc", "dd", "ee", "aa", "bb", "cc", "dd", "aa"}));

    // Cutting is byte by byte: the GBK characters \x81\x7B and \x81\x7D (亄, 亇) end in "{" and
    // "}" and are split there.
    ASSERT_TRUE(filter.ImportLine("\x81\x7B\xB0\xA1+\x81\x7D", "c1", 1));  // 亄啊+亇
    EXPECT_EQ(filter.m_vecComplexFilterOrg[2].vecAndConditions,
              (std::vector<Strings>{{"\x81", "\xB0\xA1"}, {"\x81"}}));
}

TEST_F(ComplexFilterTest, FilterFiresOnlyWhenEveryGroupIsHitAndNoNotWord) {
    struct Case {
        const char* sRule;
        std::vector<int> vecHits;
        int nExpected;
    };
    const Case cases[] = {
        {"aa+bb", {AA, BB}, 1},
        {"aa+bb", {AA}, 0},
        {"aa+bb", {AA, AA, AA}, 0},           // repeats are one hit
        {"aa+bb", {BB, AA, BB, AA}, 1},       // order and repeats do not matter
        {"aa+bb", {-1, 99, AA, -7, BB}, 1},   // ids outside the index are left out
        {"aa+bb", {-1, 1000000}, 0},
        {"aa;bb+cc", {BB, CC}, 1},
        {"aa;bb+cc", {AA, BB}, 0},
        {"aa+bb-cc", {AA, BB, CC}, 0},
        {"aa+bb-cc", {AA, BB, DD}, 1},
        {"aa+bb+cc", {AA, BB}, 0},            // fails under both listed ids
        {"aa+zz", {AA}, 0},                   // a group of unknown words is never hit
        {"aa+bb-zz", {AA, BB}, 1},            // an unknown NOT word is dropped
        {"aa+aa;bb", {AA}, 1},                // listed twice under aa, reported once
    };
    for (const Case& c : cases) {
        CComplexFilter filter(m_sPrefix.c_str());
        Compile(filter, {{c.sRule, "c2", 3}});
        EXPECT_EQ(Run(filter, c.vecHits), c.nExpected) << c.sRule;
        EXPECT_EQ(m_sRule, c.nExpected ? std::string(c.sRule) + "##" : "") << c.sRule;
        EXPECT_EQ(m_sClass, c.nExpected ? "c2##" : "") << c.sRule;
        EXPECT_EQ(m_nWeight, c.nExpected ? 3 : 0) << c.sRule;
    }
}

TEST_F(ComplexFilterTest, SeveralRulesReportInDiscoveryOrderWithTheGreatestWeight) {
    CComplexFilter filter(m_sPrefix.c_str());
    // Rule 1 is found first: it is listed under aa, the lowest hit id. A class the class
    // dictionary lacks becomes id 255, which has no name.
    Compile(filter, {{"cc+dd", "c1", 2}, {"aa+dd", "c2", 7}, {"bb+dd", "none", -4}});
    EXPECT_EQ(Run(filter, {DD, CC, AA, BB}), 3);
    EXPECT_EQ(m_sClass, "c2####c1##");
    EXPECT_EQ(m_sRule, "aa+dd##bb+dd##cc+dd##");
    EXPECT_EQ(m_nWeight, 7);
    // Only rules of weight 0 or less: the weight stays 0.
    EXPECT_EQ(Run(filter, {BB, DD}), 1);
    EXPECT_EQ(m_nWeight, 0);
    EXPECT_EQ(filter.Filter(Hits({AA, DD}), nullptr, m_sClass, m_sRule, m_nWeight), 1);
    EXPECT_EQ(m_sClass, "##");
}

// Two rules over the four words. Expected file, field by field:
//   rule 0 "aa+bb-cc" (c1, 5): NOT {cc} -> pool[0] = 2; groups {aa} -> pool[1] = 0, {bb} -> pool[2] = 1.
//   rule 1 "{dd;bb}+bb" (c2, 7): no NOT -> [3, 3); groups {bb, dd} -> pool[3..5) = 1 3,
//     {bb} -> pool[5] = 1.
//   index: aa [6, 7) = 0; bb [7, 10) = 0 1 1 (rule 1 mentions bb twice); cc [10, 11) = 0;
//     dd [11, 12) = 1.
//   rule texts "aa+bb-cc\0" at 0 and "{dd;bb}+bb\0" at 9: 20 bytes.
std::string GoldenFile() {
    std::string s = Int32(2);
    s += Int32(2) + Int32(1) + Int32(2) + Int32(2) + Int32(3) + Int32(0) + Int32(1) +
         std::string(1, '\0') + Int32(5) + Int32(0);
    s += Int32(2) + Int32(3) + Int32(5) + Int32(5) + Int32(6) + Int32(3) + Int32(3) +
         std::string(1, '\1') + Int32(7) + Int32(9);
    s += Int32(4) + Int32(6) + Int32(7) + Int32(7) + Int32(10) + Int32(10) + Int32(11) + Int32(11) +
         Int32(12);
    s += Int32(12);
    for (int n : {2, 0, 1, 1, 3, 1, 0, 0, 1, 1, 0, 1}) s += Int32(n);
    s += Int32(20) + Int32(0);
    s += std::string("aa+bb-cc\0{dd;bb}+bb\0", 20);
    return s;
}

TEST_F(ComplexFilterTest, SaveWritesTheExactLayoutAndLoadRoundTrips) {
    CComplexFilter filter(m_sPrefix.c_str());
    Compile(filter, {{"aa+bb-cc", "c1", 5}, {"{dd;bb}+bb", "c2", 7}});
    ASSERT_TRUE(filter.Save());
    const std::string sGood = GoldenFile();
    ASSERT_EQ(sGood.size(), 194u);
    EXPECT_EQ(ReadWholeFile(filter.GetFilename()), sGood);
    const std::string sSignature = Signature(filter);
    EXPECT_EQ(Run(filter, {AA, BB}), 2);
    EXPECT_EQ(m_sRule, "aa+bb-cc##{dd;bb}+bb##");

    CComplexFilter loaded(m_sPrefix.c_str());
    loaded.ImportLine("cc+dd", "c1", 1);  // a load drops textual rules
    ASSERT_TRUE(loaded.Load());
    EXPECT_TRUE(loaded.m_vecComplexFilterOrg.empty());
    EXPECT_TRUE(loaded.m_vecKeywords.empty());
    EXPECT_EQ(Signature(loaded), sSignature);
    ASSERT_TRUE(loaded.Save());
    EXPECT_EQ(ReadWholeFile(filter.GetFilename()), sGood);

    // Export: NOT words first, then each group in id order without duplicates.
    ASSERT_EQ(loaded.Export(&m_keyWords, &m_classWords), 2);
    const auto& rules = loaded.m_vecComplexFilterOrg;
    EXPECT_EQ(rules[0].vecAndConditions, (std::vector<Strings>{{"aa"}, {"bb"}}));
    EXPECT_EQ(rules[0].NotCondition, (Strings{"cc"}));
    EXPECT_EQ(rules[0].sRule, "aa+bb-cc");
    EXPECT_EQ(rules[0].sClass, "c1");
    EXPECT_EQ(rules[0].weight, 5);
    EXPECT_EQ(rules[1].vecAndConditions, (std::vector<Strings>{{"bb", "dd"}, {"bb"}}));
    EXPECT_TRUE(rules[1].NotCondition.empty());
    EXPECT_EQ(rules[1].sClass, "c2");
    EXPECT_EQ(loaded.m_vecKeywords, (Strings{"cc", "aa", "bb", "bb", "dd", "bb"}));
    // The rebuilt textual rules compile to the same answers.
    CComplexFilter recompiled(m_sPrefix.c_str());
    recompiled.m_vecComplexFilterOrg = loaded.m_vecComplexFilterOrg;
    recompiled.Org2Data(&m_keyDict, &m_classDict);
    EXPECT_EQ(Signature(recompiled), sSignature);
}

TEST_F(ComplexFilterTest, ZeroRulesSaveLoadAndNeverFire) {
    CComplexFilter empty(m_sPrefix.c_str());
    ASSERT_TRUE(empty.Save());  // never compiled: four empty counts
    EXPECT_EQ(ReadWholeFile(empty.GetFilename()), std::string(20, '\0'));
    CComplexFilter compiled(m_sPrefix.c_str());
    Compile(compiled, {});
    ASSERT_TRUE(compiled.Save());
    // Zero rules, four ids with empty ranges at 0, an empty pool, no texts.
    EXPECT_EQ(ReadWholeFile(compiled.GetFilename()),
              Int32(0) + Int32(4) + std::string(32, '\0') + Int32(0) + std::string(8, '\0'));
    CComplexFilter loaded(m_sPrefix.c_str());
    ASSERT_TRUE(loaded.Load());
    EXPECT_EQ(loaded.GetIDCount(), 4);
    EXPECT_EQ(Run(loaded, {AA, BB, CC, DD}), 0);
    EXPECT_EQ(loaded.Export(&m_keyWords, &m_classWords), 0);
}

TEST_F(ComplexFilterTest, OpenFailuresReportTheirMessage) {
    const std::string sErrFile = m_dir.File(vt_test::Today() + ".err");
    const std::string sLogFile = m_dir.File(vt_test::Today() + ".log");
    const std::string sPrefix = m_dir.Path() + "/missing/";
    CComplexFilter filter(sPrefix.c_str());
    const std::string sMessage = "Failed open file " + sPrefix + "ComplexFilter.dat";
    // A missing rule file is normal: ordinary log only.
    EXPECT_FALSE(filter.Load());
    EXPECT_NE(ReadWholeFile(sLogFile).find(sMessage), std::string::npos);
    EXPECT_EQ(ReadWholeFile(sErrFile).find(sMessage), std::string::npos);
    EXPECT_EQ(Run(filter, {AA, BB}), 0);
    EXPECT_FALSE(filter.Save());
    EXPECT_STREQ(GetLastErrorMessage(), sMessage.c_str());
    EXPECT_NE(ReadWholeFile(sErrFile).find(sMessage), std::string::npos);
}

TEST_F(ComplexFilterTest, DamagedFilesAreRefusedAndLeaveTheFilterEmpty) {
    CComplexFilter filter(m_sPrefix.c_str());
    const std::string sGood = GoldenFile();
    auto fnCheckEmpty = [&]() {
        EXPECT_EQ(filter.GetRuleCount(), 0u);
        EXPECT_EQ(filter.GetIDCount(), 0);
        EXPECT_EQ(Run(filter, {AA, BB, CC, DD}), 0);
        EXPECT_EQ(filter.Export(&m_keyWords, &m_classWords), 0);
    };
    auto fnCheck = [&](bool bTruncated) {
        const bool bLoaded = filter.Load();
        if (bTruncated) {
            EXPECT_FALSE(bLoaded);
        }
        if (!bLoaded) fnCheckEmpty();
        Signature(filter);  // any loaded file answers safely (checked by the sanitizers)
        filter.Export(&m_keyWords, &m_classWords);
    };
    vt_test::ForEachDamagedCopy(sGood, filter.GetFilename(), 40, 400, 11, fnCheck);

    // Inconsistent fields, each patched into the good file at its offset.
    auto fnPatch = [&](size_t nOffset, int32_t nValue, std::string s) {
        return s.replace(nOffset, 4, Int32(nValue));
    };
    std::string sUnterminated = sGood;
    sUnterminated.back() = 'x';
    const std::string bad[] = {
        sGood + "x",                   // trailing bytes
        fnPatch(0, -1, sGood),                // rule count beyond the file
        fnPatch(4, 0x7FFFFFFF, sGood),        // AND groups beyond the file
        fnPatch(4, -1, sGood),                // negative AND group count
        fnPatch(12, 200, sGood),              // group range beyond the pool
        fnPatch(8, 3, sGood),                 // group range with start after end
        fnPatch(118, 4, sGood),               // keyword id not covered by the index
        fnPatch(130, 3, fnPatch(134, 1, sGood)),  // ids of a group not ascending
        fnPatch(142, 2, sGood),               // rule number beyond the rules
        fnPatch(74, 10, sGood),               // text offset inside a text
        fnPatch(74, 20, sGood),               // text offset beyond the texts
        fnPatch(78, -1, sGood),               // negative id count
        fnPatch(114, 0x40000000, sGood),      // pool beyond the file
        sUnterminated,                 // last text without its NUL
    };
    for (const std::string& sBad : bad) {
        WriteWholeFile(filter.GetFilename(), sBad);
        EXPECT_FALSE(filter.Load()) << &sBad - bad;
        fnCheckEmpty();
    }
    EXPECT_EQ(GetLastErrorMessage(), "Damaged rule file " + filter.GetFilename());

    WriteWholeFile(filter.GetFilename(), sGood);
    ASSERT_TRUE(filter.Load());
    EXPECT_EQ(Run(filter, {AA, BB}), 2);
}

}  // namespace

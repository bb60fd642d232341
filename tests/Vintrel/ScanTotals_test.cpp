// ScanTotals_test.cpp: the plain scan's result lists the classes whose hit weights add up to more
// than 0, in the order of an exchange sort over all class totals (negative and zero ones included),
// and counts every hit of every keyword. Random keyword weights (negative, zero, positive, one or
// two classes per keyword) and random texts are checked against the sort and the sums done plainly
// here.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Vintrel/Vintrel.h"
#include "support/TestSupport.h"

namespace {

// Hanzi number i (distinct for i below 94 * 40), so that keywords made of distinct ones never
// overlap.
std::string Hanzi(int i) {
    std::string s;
    s += static_cast<char>(0xB0 + i / 94);
    s += static_cast<char>(0xA1 + i % 94);
    return s;
}

TEST(ScanTotals, ClassOrderIsTheExchangeSortOfAllTotals) {
    vt_test::CTempDir dir;
    g_sLogPath = dir.Path();
    CVintrel vintrel(dir.Path().c_str(), 0, "\t");
    std::mt19937 rng(303);
    const int nClasses = 9, nKeywords = 40;
    struct Row {
        int nKeyword, nClass, nWeight;
    };
    std::vector<Row> vecRows;
    // First one keyword per class with weight 1, in class order, so that class ids follow the
    // names; then keywords with one or two classes and weights from -3 to 4.
    for (int c = 0; c < nClasses; ++c) vecRows.push_back({c, c, 1});
    for (int k = nClasses; k < nKeywords; ++k) {
        int c1 = static_cast<int>(rng() % nClasses);
        vecRows.push_back({k, c1, static_cast<int>(rng() % 8) - 3});
        if (rng() % 4 == 0)
            vecRows.push_back({k, (c1 + 1 + static_cast<int>(rng() % (nClasses - 1))) % nClasses,
                               static_cast<int>(rng() % 8) - 3});
    }
    auto word = [](int k) { return Hanzi(2 * k) + Hanzi(2 * k + 1); };
    std::string sFile;
    for (const Row& r : vecRows) {
        sFile += word(r.nKeyword) + " c" + std::to_string(r.nClass) + " " +
                 std::to_string(r.nWeight) + "\n";
    }
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("k.txt"), sFile));
    ASSERT_EQ(vintrel.ImportUserDict(dir.File("k.txt").c_str(), true),
              static_cast<int>(vecRows.size()));
    // All classes tie at 1: an exchange sort keeps them in class order.
    std::string sTies, sExpectedTies;
    for (int c = 0; c < nClasses; ++c) {
        sTies += word(c) + "\xA3\xAC";  // ，
        sExpectedTies += "c" + std::to_string(c) + "/1#";
    }
    ASSERT_EQ(std::string(vintrel.Scan(sTies.c_str())), sExpectedTies);
    std::map<int, int> mapCount;  // keyword -> hits so far
    for (int c = 0; c < nClasses; ++c) ++mapCount[c];

    for (int t = 0; t < 300; ++t) {
        std::string sText;
        std::vector<int> vecTotal(nClasses, 0);
        int n = static_cast<int>(rng() % 12);
        for (int i = 0; i < n; ++i) {
            int k = static_cast<int>(rng() % nKeywords);
            sText += word(k) + (rng() % 2 == 0 ? "\xA3\xAC" : "");
            ++mapCount[k];
            for (const Row& r : vecRows) {
                if (r.nKeyword == k) vecTotal[static_cast<size_t>(r.nClass)] += r.nWeight;
            }
        }
        // The exchange sort over every total, as written.
        std::vector<int> vecId(nClasses);
        for (int c = 0; c < nClasses; ++c) vecId[static_cast<size_t>(c)] = c;
        for (size_t i = 0; i + 1 < vecTotal.size(); ++i) {
            for (size_t j = i + 1; j < vecTotal.size(); ++j) {
                if (vecTotal[i] < vecTotal[j]) {
                    std::swap(vecTotal[i], vecTotal[j]);
                    std::swap(vecId[i], vecId[j]);
                }
            }
        }
        std::string sExpected;
        for (size_t i = 0; i < vecTotal.size() && vecTotal[i] > 0; ++i) {
            sExpected += "c" + std::to_string(vecId[i]) + "/" + std::to_string(vecTotal[i]) + "#";
        }
        ASSERT_EQ(std::string(vintrel.Scan(sText.c_str())), sExpected) << t;
    }
    // Every hit was counted, keyword by keyword.
    std::shared_ptr<const CDictionarySet> pSet = vintrel.Dictionaries();
    for (int k = 0; k < nKeywords; ++k) {
        int h = pSet->m_pKeyDict->Find(word(k).c_str());
        ASSERT_GE(h, 0);
        EXPECT_EQ(pSet->Hits(h), mapCount[k]) << k;
    }
}

}  // namespace

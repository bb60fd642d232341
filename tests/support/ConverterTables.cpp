// ConverterTables.cpp: see ConverterTables.h.
#include "support/ConverterTables.h"

#include <gtest/gtest.h>

#include "Utility/IDMaps.h"
#include "Utility/PDAT.h"
#include "Utility/WordList.h"

namespace vt_test {

const char* const CONVERTER_FILE_NAMES[6][6] = {
    {},
    {"GBK.pdat", "GBK.wordlist", "UTF8.pdat", "UTF8.wordlist", "UTF2GBK.map", "GBK2UTF.map"},
    {"GBK.pdat", "GBK.wordlist", "BIG5.pdat", "BIG5.wordlist", "BIG2GBK.map", "GBK2BIG.map"},
    {"GBK.pdat", "GBK.wordlist", "GBKA.pdat", "GBKA.wordlist", "GBKA2GBK.map", "GBK2GBKA.map"},
    {"GBKA.pdat", "GBKA.wordlist", "UTF8.pdat", "UTF8.wordlist", "GBKA2UTF.map", "UTF2GBKA.map"},
    {"GBK.pdat", "GBK.wordlist", "UTF8.pdat", "UTF8.wordlist", "UTF2GBK.map", "GBK2UTF.map"},
};

void WriteSide(const std::vector<std::string>& vecUnits, const std::string& sDict,
               const std::string& sList) {
    CPDAT dict(1);
    CWordList list(false, nullptr);
    for (size_t i = 0; i < vecUnits.size(); ++i) {
        ASSERT_EQ(dict.AddWord(vecUnits[i].c_str()), static_cast<int>(i)) << vecUnits[i];
        list.AddWord(vecUnits[i].c_str(), static_cast<int>(i));
    }
    dict.AddWordComplete();
    list.AddWordComplete();
    ASSERT_EQ(dict.Save(sDict.c_str()), 1);
    ASSERT_EQ(list.Save(sList.c_str()), 1);
}

void WriteMap(const Pairs& vecPairs, const std::string& sFile) {
    CIDMaps map;
    map.MapInit();
    for (const auto& pair : vecPairs) map.MapAdd(pair.first, pair.second);
    testing::internal::CaptureStdout();  // the compile step prints a line
    map.MapComplete();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(map.Save(sFile.c_str()), 1);
}

}  // namespace vt_test

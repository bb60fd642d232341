// ExportedSymbols_test.cpp: the shared library exports the VT_ functions and nothing else.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

namespace {

// Defined dynamic symbols of the shared library, as nm -D lists them.
std::set<std::string> DefinedDynamicSymbols() {
    std::string sCommand = std::string("nm -D --defined-only '") + VINTREL_SHARED_LIBRARY + "'";
    std::set<std::string> setNames;
    FILE* fp = popen(sCommand.c_str(), "r");
    if (fp == nullptr) return setNames;
    char sLine[4096];
    while (fgets(sLine, sizeof(sLine), fp) != nullptr) {
        std::istringstream in(sLine);
        std::string sAddress, sType, sName;
        if (in >> sAddress >> sType >> sName) setNames.insert(sName);
    }
    pclose(fp);
    return setNames;
}

TEST(ExportedSymbols, OnlyVTFunctionsAreExported) {
    std::set<std::string> setNames = DefinedDynamicSymbols();
    ASSERT_FALSE(setNames.empty()) << "nm -D listed nothing for " << VINTREL_SHARED_LIBRARY;
    for (const std::string& sName : setNames) {
        EXPECT_EQ(sName.rfind("VT_", 0), 0u) << "unexpected export: " << sName;
    }
    EXPECT_TRUE(setNames.count("VT_GetLastErrorMsg"));
    EXPECT_TRUE(setNames.count("VT_ExportDict"));
}

}  // namespace

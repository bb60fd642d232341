// ArgumentCheck_test.cpp: every exported function called with NULL, empty and invalid arguments answers
// with its failure value and never crashes.
#include <gtest/gtest.h>

#include <string>

#include "Vintrel/VintrelAPI.h"
#include "ApiSupport.h"

namespace {

TEST(ArgumentCheck, ExportDictAlwaysReturnsZero) {
    EXPECT_EQ(VT_ExportDict(nullptr, 0), 0);
    EXPECT_EQ(VT_ExportDict("", -1), 0);
    EXPECT_EQ(VT_ExportDict("/tmp/vintrel-export.txt", 0), 0);
    EXPECT_EQ(VT_ExportDict("/tmp/vintrel-export.txt", 1 << 30), 0);
}

TEST(ArgumentCheck, LastErrorMessageIsNeverNull) {
    const char* sMsg = VT_GetLastErrorMsg();
    ASSERT_NE(sMsg, nullptr);
    EXPECT_EQ(std::string(VT_GetLastErrorMsg()), std::string(sMsg));
}

}  // namespace

namespace {

// Every function with NULL and empty texts and with negative, huge and deleted handles, before
// VT_Init, while started, and after VT_Exit (twice): the failure value, never a crash.
TEST(ArgumentCheck, BadArgumentsInEveryState) {
    vt_api::EnterScratchDirectory();
    vt_api::CDataRoot root;
    auto Probe = [](int handle) {
        EXPECT_EQ(VT_ImportUserDict(nullptr, 0, handle), 0);
        EXPECT_EQ(VT_ImportUserDict("", 1, handle), 0);
        EXPECT_EQ(VT_DeleteUserDict(nullptr, handle), 0);
        EXPECT_EQ(VT_DeleteUserDict("", handle), 0);
        EXPECT_EQ(VT_Scan(nullptr, handle), nullptr);
        EXPECT_EQ(VT_ScanDetail(nullptr, handle), nullptr);
        EXPECT_EQ(VT_ScanLine(nullptr, nullptr, handle, 1), 0);
        EXPECT_EQ(VT_ScanLine("", "", handle, 0), 0);
        const char* sFile = VT_ScanFile(nullptr, handle);  // "" from an instance, NULL without one
        EXPECT_TRUE(sFile == nullptr || sFile[0] == '\0');
        sFile = VT_ScanFileDetail("", handle);
        EXPECT_TRUE(sFile == nullptr || sFile[0] == '\0');
        EXPECT_EQ(VT_ScanStat(nullptr, handle), 0);
        EXPECT_EQ(VT_ScanStat("", handle), 0);
        EXPECT_EQ(VT_ExportDict(nullptr, handle), 0);
    };
    for (int handle : {-1, 0, 1 << 30}) Probe(handle);
    EXPECT_EQ(VT_DeleteInstance(-5), 0);
    VT_Exit();
    ASSERT_EQ(VT_Init(root.Path().c_str(), 0, nullptr), 1) << VT_GetLastErrorMsg();
    for (int handle : {-1, 1, 1 << 30, -(1 << 30)}) {
        Probe(handle);
        EXPECT_EQ(std::string(VT_GetLastErrorMsg()), "Vintrelner not init!");
    }
    Probe(0);  // a valid handle with NULL and empty arguments
    EXPECT_STREQ(VT_Scan("", 0), "");
    EXPECT_STREQ(VT_ScanDetail("", 0), "");
    EXPECT_EQ(VT_ScanFile(nullptr, 1 << 30), nullptr);
    ASSERT_EQ(VT_Init(root.Path().c_str(), 0, "\t"), 1);  // a second start-up adds an instance
    EXPECT_EQ(VT_NewInstance(), 2);
    EXPECT_EQ(VT_DeleteInstance(1), 1);
    Probe(1);
    VT_Exit();
    VT_Exit();
    for (int handle : {-1, 0, 1}) Probe(handle);
    EXPECT_EQ(VT_NewInstance(), -1);
}

}  // namespace

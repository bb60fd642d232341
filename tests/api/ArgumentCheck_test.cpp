// ArgumentCheck_test.cpp: every exported function called with NULL, empty and invalid arguments answers
// with its failure value and never crashes.
#include <gtest/gtest.h>

#include <string>

#include "Vintrel/VintrelAPI.h"

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

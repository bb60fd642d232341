// ImportFiles_test.cpp: the files an import writes, read back by their formats, and the keyword rows
// that merges, overwrites and deletions leave (through ExportKeyDict).
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "Encript/QMTEncript.h"
#include "Utility/PDAT.h"
#include "Utility/Utility.h"
#include "Vintrel/Vintrel.h"
#include "support/TestSupport.h"

namespace {

int32_t Int32At(const std::string& s, size_t nPos) {
    int32_t n = 0;
    if (nPos + 4 <= s.size()) std::memcpy(&n, s.data() + nPos, 4);
    return n;
}

std::string LE32(int32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }

class ImportFilesTest : public ::testing::Test {
protected:
    void SetUp() override { g_sLogPath = m_dir.Path(); }
    int Import(CVintrel& v, const std::string& sLines, bool bOverwrite) {
        vt_test::WriteWholeFile(m_dir.File("in.txt"), sLines);
        return v.ImportUserDict(m_dir.File("in.txt").c_str(), bOverwrite);
    }
    std::string Export(CVintrel& v) {
        v.ExportKeyDict(m_dir.File("out.txt").c_str());
        return vt_test::ReadWholeFile(m_dir.File("out.txt"));
    }
    std::string File(const std::string& sName) {
        return vt_test::ReadWholeFile(m_dir.Path() + "/Vintrelner/Filter0_" + sName);
    }
    vt_test::CTempDir m_dir;
};

// Keywords abc (x, 3) and bcd (y, 2) and the rule abc+cde (class r, weight 1): key handles abc 0,
// bcd 1, cde 2 (the rule's new keyword comes last); class ids x 0, y 1, r 2.
TEST_F(ImportFilesTest, FilesFollowTheirFormats) {
    CVintrel v(m_dir.Path().c_str(), 0, "\t");
    ASSERT_EQ(Import(v, "abc x 3\nbcd y 2\nabc+cde r 1\n", false), 3);

    CPDAT key;
    ASSERT_EQ(key.Load((m_dir.Path() + "/Vintrelner/Filter0_key.pdat").c_str()), 1);
    EXPECT_EQ(key.Find("abc"), 0);
    EXPECT_EQ(key.Find("bcd"), 1);
    EXPECT_EQ(key.Find("cde"), 2);

    // key.wordlist: uint32 count, int32 bound, bound + 1 offsets, int32 text size, scrambled text.
    std::string sList = File("key.wordlist");
    const int32_t nBound = Int32At(sList, 4);
    ASSERT_EQ(nBound, 3);
    const size_t nTextAt = 8 + 4 * static_cast<size_t>(nBound + 1) + 4;
    const int32_t nTextSize = Int32At(sList, nTextAt - 4);
    ASSERT_EQ(sList.size(), nTextAt + static_cast<size_t>(nTextSize));
    std::string sText = sList.substr(nTextAt);
    for (size_t i = 0; i < sText.size(); ++i) sText[i] ^= QMT_WORD_LIST_KEY[i % 136];
    for (int h = 0; h < 3; ++h) {
        int32_t nOffset = Int32At(sList, 8 + 4 * static_cast<size_t>(h));
        ASSERT_LT(static_cast<size_t>(nOffset), sText.size());
        EXPECT_STREQ(sText.c_str() + nOffset, h == 0 ? "abc" : h == 1 ? "bcd" : "cde");
    }

    // key.pos: int32 records, int32 bound, records (id, 3 zero bytes, int32 weight), index per handle.
    // Deliberate: the bound is the word list's count of texts added, 4 (abc came twice: as a keyword
    // and as a rule keyword), so handle 3 has an empty entry.
    std::string sPos = File("key.pos");
    const std::string sExpectedPos = LE32(2) + LE32(4) + std::string("\x00\x00\x00\x00", 4) + LE32(3) +
                                     std::string("\x01\x00\x00\x00", 4) + LE32(2) + LE32(0) + LE32(1) +
                                     LE32(1) + LE32(1) + LE32(-1) + LE32(-1) + LE32(-1) + LE32(-1);
    EXPECT_EQ(sPos, sExpectedPos);

    // ComplexFilter.dat: one rule (groups {abc} {cde}, no NOT words, class 2, weight 1, text at 0);
    // ids 0..2 list rule 0 for abc and cde; pool: the groups' ids 0 and 2, then the rule numbers.
    const std::string sExpectedRules = LE32(1) + LE32(2) + LE32(0) + LE32(1) + LE32(1) + LE32(2) + LE32(0) +
                                       LE32(0) + std::string("\x02", 1) + LE32(1) + LE32(0) + LE32(3) + LE32(2) +
                                       LE32(3) + LE32(3) + LE32(3) + LE32(3) + LE32(4) + LE32(4) + LE32(0) +
                                       LE32(2) + LE32(0) + LE32(0) + LE32(8) + LE32(0) +
                                       std::string("abc+cde\0", 8);
    EXPECT_EQ(File("ComplexFilter.dat"), sExpectedRules);
    // No staging directory is left behind.
    DIR* dir = opendir((m_dir.Path() + "/Vintrelner").c_str());
    ASSERT_NE(dir, nullptr);
    while (dirent* entry = readdir(dir)) EXPECT_NE(std::string(entry->d_name).rfind(".staging", 0), 0u);
    closedir(dir);
}

TEST_F(ImportFilesTest, MergeOverwriteAndDeleteLeaveTheExpectedRows) {
    CVintrel v(m_dir.Path().c_str(), 0, "\t");
    EXPECT_EQ(Export(v), "Word\tClass\tWeight\n");
    ASSERT_EQ(Import(v, "abc x 3\nbcd y 2\n", false), 2);
    ASSERT_EQ(Import(v, "cde x -1\nabc y 5\n", false), 2);  // merge: abc gets a second class
    EXPECT_EQ(Export(v), "Word\tClass\tWeight\nabc\tx\t3\nabc\ty\t5\nbcd\ty\t2\ncde\tx\t-1\n");
    ASSERT_EQ(Import(v, "def z 7\nabc+xyz r 1\n", true), 2);  // overwrite; the rule keyword has no row
    EXPECT_EQ(Export(v), "Word\tClass\tWeight\ndef\tz\t7\n");
    // A merge turns the rule keywords into rows of class "complex" with weight -1.
    ASSERT_EQ(Import(v, "ghi z 1\n", false), 1);
    EXPECT_EQ(Export(v), "Word\tClass\tWeight\ndef\tz\t7\nabc\tcomplex\t-1\nxyz\tcomplex\t-1\nghi\tz\t1\n");
    vt_test::WriteWholeFile(m_dir.File("del.txt"), "abc\n[def] z 7\nunknown\n");
    EXPECT_EQ(v.DeleteUserDict(m_dir.File("del.txt").c_str()), 2);
    EXPECT_EQ(Export(v), "Word\tClass\tWeight\nxyz\tcomplex\t-1\nghi\tz\t1\n");
    EXPECT_EQ(v.ExportKeyDict("/nonexistent/dir/out.txt"), 0);
}

}  // namespace

namespace {

// An instance over files of which one is missing: its message, and every keyword table loaded before
// it is dropped with it, so the instance has no keywords; the tables after it still load.
TEST_F(ImportFilesTest, AMissingFileDropsTheKeywordTablesBeforeIt) {
    {
        CVintrel v(m_dir.Path().c_str(), 0, "\t");
        ASSERT_EQ(Import(v, "abc x 3\n", true), 1);
    }
    const std::string sPrefix = m_dir.Path() + "/Vintrelner/Filter0_";
    const char* const rows[][2] = {{"key.pdat", "Cannot open key dictionary file "},
                                   {"key.wordlist", "Cannot open key dictionary wordlist file "},
                                   {"key.pos", "Cannot open key dictionary pos file "},
                                   {"class.pdat", "Cannot open key dictionary file "},
                                   {"class.wordlist", "Cannot open key dictionary wordlist file "}};
    for (const auto& row : rows) {
        const std::string sFile = sPrefix + row[0], sKept = vt_test::ReadWholeFile(sFile);
        ASSERT_EQ(std::remove(sFile.c_str()), 0);
        CVintrel v(m_dir.Path().c_str(), 0, "\t");
        EXPECT_EQ(std::string(GetLastErrorMessage()), row[1] + sFile);
        std::shared_ptr<const CDictionarySet> pSet = v.Dictionaries();
        EXPECT_FALSE(pSet->m_pKeyDict) << row[0];
        const bool bClassTables = std::string(row[0]) != "class.pdat" && std::string(row[0]) != "class.wordlist";
        EXPECT_EQ(static_cast<bool>(pSet->m_pClassWordList), std::string(row[0]) != "class.wordlist") << row[0];
        EXPECT_EQ(static_cast<bool>(pSet->m_pClassDict), bClassTables) << row[0];
        EXPECT_STREQ(v.Scan("abc"), "");
        EXPECT_EQ(std::string(GetLastErrorMessage()), "Keyword Dictionary is Empty!");
        ASSERT_TRUE(vt_test::WriteWholeFile(sFile, sKept));
    }
}

}  // namespace

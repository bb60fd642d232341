// Charset_test.cpp: the character-class table: import, the blank classes, lookups by code and by
// character, the exact bytes of "charset.type", loading good and damaged files, and the export.
#include "Utility/Charset.h"

#include <gtest/gtest.h>

#include <string>

#include "support/TestSupport.h"

namespace {

using vt_test::G;

class CharsetTest : public testing::Test {
protected:
    // ImportText: imports a text file with these contents.
    int ImportText(CCharset& charset, const std::string& sText) {
        vt_test::WriteWholeFile(m_dir.File("charset.txt"), sText);
        return charset.Import(m_dir.File("charset.txt").c_str());
    }
    vt_test::CTempDir m_dir;
};

// Import stores each class at the character's code, counts the lines stored, skips a mark at a line
// start and lines without both fields, keeps one byte of the class, and gives the blanks 28.
TEST_F(CharsetTest, ImportAndLookups) {
    CCharset charset;
    EXPECT_EQ(charset.GetType('a'), 0);  // zeroed at construction
    std::string sText = "\xEF\xBB\xBF" "a 5\n" + G("中") + " 7\r\n\n" + "only\n" + "b 300\n" +
                        "\xD6 4\n" + "a 6\n";
    EXPECT_EQ(ImportText(charset, sText), 5);
    EXPECT_EQ(charset.GetSize(), 5);
    EXPECT_EQ(charset.GetType('a'), 6);  // the later line wins
    EXPECT_EQ(charset.GetType(0xD6D0), 7);
    EXPECT_EQ(charset.GetType(G("中").c_str()), 7);
    EXPECT_EQ(charset.GetType((G("中") + "x").c_str()), 7);
    EXPECT_EQ(charset.GetType('b'), 300 - 256);
    EXPECT_EQ(charset.GetType(0xD600), 4);   // a lone lead byte in the file: lead * 256
    EXPECT_EQ(charset.GetType("\xD6"), 0);   // a lone lead byte asked for: the byte itself
    for (int nBlank : {9, 10, 13, 32}) EXPECT_EQ(charset.GetType(nBlank), 28) << nBlank;
    EXPECT_EQ(charset.GetType(" "), 28);
    EXPECT_EQ(charset.GetType(65535), 0);
    EXPECT_EQ(charset.GetType(65536), -1);
    EXPECT_EQ(charset.GetType(-1), -1);
    EXPECT_EQ(charset.GetType(static_cast<const char*>(nullptr)), -1);

    // A second import starts counting again but keeps the classes it does not set.
    EXPECT_EQ(ImportText(charset, "c 1\n"), 1);
    EXPECT_EQ(charset.GetType('a'), 6);
    EXPECT_EQ(charset.GetType('c'), 1);
    EXPECT_EQ(charset.Import(m_dir.File("absent.txt").c_str()), 0);
    EXPECT_EQ(charset.GetSize(), 1);
    EXPECT_EQ(charset.Import(nullptr), 0);
}

// "charset.type" is the count as a little-endian int32, then one byte per code.
TEST_F(CharsetTest, SaveWritesTheExactBytes) {
    CCharset charset;
    ASSERT_EQ(ImportText(charset, "A 3\n" + G("中") + " 200\n"), 2);
    std::string sExpected(65540, '\0');
    sExpected[0] = 2;
    sExpected[4 + 'A'] = 3;
    sExpected[4 + 0xD6D0] = static_cast<char>(200);
    for (int nBlank : {9, 10, 13, 32}) sExpected[4 + nBlank] = 28;
    std::string sFile = m_dir.File("charset.type");
    ASSERT_EQ(charset.Save(sFile.c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(sFile), sExpected);
    ASSERT_EQ(charset.Save(m_dir.File("again.type").c_str()), 1);
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("again.type")), sExpected);
    EXPECT_EQ(charset.Save(m_dir.File("no/dir.type").c_str()), 0);

    CCharset loaded;
    ASSERT_EQ(loaded.Load(sFile.c_str()), 1);
    EXPECT_EQ(loaded.GetSize(), 2);
    EXPECT_EQ(loaded.GetType(0xD6D0), 200);
    EXPECT_EQ(loaded.GetType('A'), 3);
}

// Load takes only a file of exactly 65,540 bytes with a non-negative count; otherwise the table is
// empty and usable, and a good file loads again.
TEST_F(CharsetTest, LoadRefusesDamagedFiles) {
    CCharset charset;
    ASSERT_EQ(ImportText(charset, "a 5\n"), 1);
    std::string sGood = m_dir.File("good.type");
    ASSERT_EQ(charset.Save(sGood.c_str()), 1);
    std::string sBytes = vt_test::ReadWholeFile(sGood);
    std::string sBad = m_dir.File("bad.type");

    CCharset loaded;
    vt_test::ForEachDamagedCopy(sBytes, sBad, 20, 60, 5, [&](bool bTruncated) {
        int nResult = loaded.Load(sBad.c_str());
        if (bTruncated) {
            EXPECT_EQ(nResult, 0);
        }
        if (nResult == 0) {
            EXPECT_EQ(loaded.GetSize(), 0);
            EXPECT_EQ(loaded.GetType('a'), 0);
            EXPECT_EQ(loaded.GetType(32), 0);
        } else {
            EXPECT_GE(loaded.GetSize(), 0);
        }
        EXPECT_EQ(loaded.GetType(65536), -1);
        EXPECT_GE(loaded.GetType(65535), 0);
    });
    vt_test::WriteWholeFile(sBad, sBytes + "x");
    EXPECT_EQ(loaded.Load(sBad.c_str()), 0);
    std::string sNegative = sBytes;
    sNegative[3] = static_cast<char>(0x80);
    vt_test::WriteWholeFile(sBad, sNegative);
    EXPECT_EQ(loaded.Load(sBad.c_str()), 0);
    EXPECT_EQ(loaded.Load(m_dir.File("absent.type").c_str()), 0);
    EXPECT_EQ(loaded.Load(nullptr), 0);
    ASSERT_EQ(loaded.Load(sGood.c_str()), 1);
    EXPECT_EQ(loaded.GetType('a'), 5);
    EXPECT_EQ(loaded.GetSize(), 1);
}

// Export writes one "<character> <class>" line per code 1 to 65,535: one byte up to 256 (so 256,
// whose byte is 0, prints no character), two bytes above, a trail byte 0 ending the character.
TEST_F(CharsetTest, ExportWritesEveryCode) {
    CCharset charset;
    ASSERT_EQ(ImportText(charset, "a 5\n" + G("中") + " 7\n\x81\x40 9\n"), 3);
    std::string sFile = m_dir.File("export.txt");
    EXPECT_EQ(charset.Export(sFile.c_str()), 3);
    std::string sText = vt_test::ReadWholeFile(sFile);
    ASSERT_EQ(sText.substr(0, 4), "\x01 0\n");
    EXPECT_NE(sText.find("\n\n 28\n\x0B 0\n"), std::string::npos);  // code 10 is itself a line end
    EXPECT_NE(sText.find("\n\x7F 0\n\x80 0\n"), std::string::npos);
    EXPECT_NE(sText.find("\n\xFF 0\n 0\n\x01\x01 0\n"), std::string::npos);  // 255, 256, 257
    EXPECT_NE(sText.find("\na 5\n"), std::string::npos);
    EXPECT_NE(sText.find("\n" + G("中") + " 7\n"), std::string::npos);
    EXPECT_NE(sText.find("\n\x81\x3F 0\n\x81\x40 9\n"), std::string::npos);
    EXPECT_NE(sText.find("\n\x81 0\n\x81\x01 0\n"), std::string::npos);  // 0x8100 prints its lead only
    EXPECT_EQ(sText.substr(sText.size() - 5), "\xFF\xFF 0\n");
    EXPECT_EQ(charset.Export(m_dir.File("no/dir.txt").c_str()), 0);
}

}  // namespace

// QMTEncript_test.cpp: the XOR scrambler and its two fixed keys.
#include "Encript/QMTEncript.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "support/TestSupport.h"

namespace {

using vt_test::CTempDir;
using vt_test::ReadWholeFile;
using vt_test::WriteWholeFile;

// Reference: byte i XOR key[i mod key length].
std::string XorReference(const std::string& sData, const std::string& sKey) {
    std::string sOut = sData;
    for (size_t i = 0; i < sOut.size(); ++i)
        sOut[i] = static_cast<char>(sOut[i] ^ sKey[i % sKey.size()]);
    return sOut;
}

// Some bytes of every value, longer than either key.
std::string SampleBytes(size_t nSize) {
    std::string s(nSize, '\0');
    for (size_t i = 0; i < nSize; ++i) s[i] = static_cast<char>((i * 37 + 11) & 0xFF);
    return s;
}

// Each key is nAscii ASCII letters or digits followed by nChinese two-byte GB2312 characters (lead
// 0xB0..0xF7, trail 0xA1..0xFE), valid GBK as a whole.
TEST(QMTEncriptKeys, HaveTheStatedForms) {
    struct Key {
        const char* sKey;
        size_t nAscii, nChinese;
    };
    for (const Key& k : {Key{QMT_RESULT_FILE_KEY, 12, 85}, Key{QMT_WORD_LIST_KEY, 20, 58}}) {
        const std::string sKey = k.sKey;
        ASSERT_EQ(sKey.size(), k.nAscii + 2 * k.nChinese);
        EXPECT_EQ(CQMTEncript(k.sKey).GetKeyLength(), sKey.size());
        for (size_t i = 0; i < k.nAscii; ++i)
            EXPECT_TRUE(isalnum(static_cast<unsigned char>(sKey[i]))) << i;
        for (size_t i = k.nAscii; i < sKey.size(); i += 2) {
            const unsigned char lead = sKey[i], trail = sKey[i + 1];
            EXPECT_TRUE(lead >= 0xB0 && lead <= 0xF7 && trail >= 0xA1 && trail <= 0xFE) << i;
        }
        EXPECT_NO_THROW(vt_test::U(sKey));
    }
    EXPECT_EQ(std::strlen(QMT_RESULT_FILE_KEY), 182u);
    EXPECT_EQ(std::strlen(QMT_WORD_LIST_KEY), 136u);
    for (size_t i = 0; i < 12; ++i)
        EXPECT_TRUE(isalpha(static_cast<unsigned char>(QMT_RESULT_FILE_KEY[i])));
}

TEST(QMTEncriptBuffer, XorsWithTheKeyRestartingAtEveryBuffer) {
    const std::string sKey = QMT_WORD_LIST_KEY;
    CQMTEncript encript(QMT_WORD_LIST_KEY);
    const std::string sPlain = SampleBytes(3 * sKey.size() + 5);
    std::string sData = sPlain;
    ASSERT_TRUE(encript.Encrypt(sData.data(), sData.size()));
    EXPECT_EQ(sData, XorReference(sPlain, sKey));
    ASSERT_TRUE(encript.Encrypt(sData.data(), sData.size()));  // its own inverse
    EXPECT_EQ(sData, sPlain);
    ASSERT_TRUE(encript.Encrypt(sData));  // the string form is the buffer form
    EXPECT_EQ(sData, XorReference(sPlain, sKey));
    // Zero bytes are fine; a null buffer of some size is not.
    char* pNull = nullptr;
    EXPECT_TRUE(encript.Encrypt(pNull, size_t{0}));
    EXPECT_FALSE(encript.Encrypt(pNull, size_t{5}));
    // An empty key changes nothing and fails.
    for (const char* sEmptyKey : {"", static_cast<const char*>(nullptr)}) {
        CQMTEncript empty(sEmptyKey);
        EXPECT_EQ(empty.GetKeyLength(), 0u);
        std::string sText = "unchanged";
        EXPECT_FALSE(empty.Encrypt(sText.data(), sText.size()));
        EXPECT_FALSE(empty.Encrypt(sText));
        EXPECT_EQ(sText, "unchanged");
    }
}

TEST(QMTEncriptFile, ScramblesAWholeFileAndBack) {
    CTempDir dir;
    const std::string sPlain = SampleBytes(1000);
    ASSERT_TRUE(WriteWholeFile(dir.File("plain"), sPlain));
    CQMTEncript encript(QMT_RESULT_FILE_KEY);
    ASSERT_TRUE(encript.Encrypt(dir.File("plain").c_str(), dir.File("scrambled").c_str(), 0));
    EXPECT_EQ(ReadWholeFile(dir.File("scrambled")), XorReference(sPlain, QMT_RESULT_FILE_KEY));
    ASSERT_TRUE(encript.Encrypt(dir.File("scrambled").c_str(), dir.File("back").c_str(), 12345));
    EXPECT_EQ(ReadWholeFile(dir.File("back")), sPlain);
    // An empty file gives an empty file.
    ASSERT_TRUE(WriteWholeFile(dir.File("empty"), ""));
    ASSERT_TRUE(encript.Encrypt(dir.File("empty").c_str(), dir.File("empty.out").c_str(), 0));
    EXPECT_TRUE(vt_test::FileExists(dir.File("empty.out")));
    EXPECT_EQ(ReadWholeFile(dir.File("empty.out")), "");

    EXPECT_FALSE(encript.Encrypt(dir.File("missing").c_str(), dir.File("out").c_str(), 0));
    // Both files are opened before either is checked, so the target exists (empty) all the same.
    EXPECT_TRUE(vt_test::FileExists(dir.File("out")));
    EXPECT_EQ(ReadWholeFile(dir.File("out")), "");
    EXPECT_FALSE(encript.Encrypt(dir.File("plain").c_str(), dir.File("no/such/dir").c_str(), 0));
    EXPECT_FALSE(encript.Encrypt(nullptr, dir.File("out").c_str(), 0));
    EXPECT_FALSE(encript.Encrypt(dir.File("plain").c_str(), static_cast<const char*>(nullptr), 0));
    // With an empty key the scrambling step does nothing, so the file is copied unchanged.
    EXPECT_TRUE(CQMTEncript("").Encrypt(dir.File("plain").c_str(), dir.File("copy").c_str(), 0));
    EXPECT_EQ(ReadWholeFile(dir.File("copy")), sPlain);
}

// Deliberate: the stream is not rewound after taking its size, so its contents are never read: the
// output is a zero buffer of its size, scrambled.
TEST(QMTEncriptStream, WritesTheKeyRepeatedToTheStreamLength) {
    CTempDir dir;
    const std::string sContent = SampleBytes(400);
    ASSERT_TRUE(WriteWholeFile(dir.File("src"), sContent));
    ASSERT_TRUE(WriteWholeFile(dir.File("empty"), ""));
    CQMTEncript encript(QMT_RESULT_FILE_KEY);
    FILE* fp = fopen(dir.File("src").c_str(), "rb");
    ASSERT_NE(fp, nullptr);
    ASSERT_TRUE(encript.Encrypt(fp, dir.File("out").c_str()));
    EXPECT_EQ(ReadWholeFile(dir.File("out")),
              XorReference(std::string(sContent.size(), '\0'), QMT_RESULT_FILE_KEY));
    EXPECT_EQ(ftell(fp), static_cast<long>(sContent.size()));
    fclose(fp);

    fp = fopen(dir.File("empty").c_str(), "rb");
    ASSERT_NE(fp, nullptr);
    EXPECT_TRUE(encript.Encrypt(fp, dir.File("out.empty").c_str()));
    EXPECT_EQ(ReadWholeFile(dir.File("out.empty")), "");
    EXPECT_FALSE(encript.Encrypt(fp, dir.File("no/such/dir").c_str()));
    EXPECT_FALSE(encript.Encrypt(fp, static_cast<const char*>(nullptr)));
    fclose(fp);
    EXPECT_FALSE(encript.Encrypt(static_cast<FILE*>(nullptr), dir.File("out.null").c_str()));
    EXPECT_FALSE(vt_test::FileExists(dir.File("out.null")));
}

}  // namespace

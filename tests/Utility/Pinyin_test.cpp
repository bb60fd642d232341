// Pinyin_test.cpp: the pinyin converter: import, the five files, conversion with positions and
// initials, first readings, the whole-word test, bad input, damaged files and concurrent
// conversion.
#include "Utility/Pinyin.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Utility/Utility.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        for (int i = 0; i < 4; ++i)
            s += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    }
    return s;
}

// Pairs: each position pair as {input start, input length, pinyin start, pinyin length}.
std::vector<std::vector<int>> Pairs(const std::vector<_TermPositionPair>& vecPos) {
    std::vector<std::vector<int>> vec;
    for (const auto& pair : vecPos) {
        vec.push_back({pair.second.iStartPos, pair.second.nWordLen, pair.first.iStartPos,
                       pair.first.nWordLen});
    }
    return vec;
}

const char* const FILES[] = {"pinyin.pdat", "pinyin.wordlist", "hanzi.pdat", "hanzi.wordlist",
                             "hanzi2pinyin.map"};

// Syllable ids follow the first appearance of each syllable: zhong 0, guo 1, di 2, de 3, ren 4;
// character ids: 中 0, 国 1, 地 2, 的 3, 人 4. 地 has two readings, di listed first.
class PinyinTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path();
        vt_test::WriteWholeFile(m_dir.File("pinyin.txt"),
                                "\xEF\xBB\xBF" + G("中 zhong\n国\tguo\n地 di\n地 de\n\n的 de\n") +
                                    "lonely\n" + G("人 ren\r\n"));
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_pinyin.ImportPinyin2Hanzi(m_dir.File("pinyin.txt").c_str()), 1);
        testing::internal::GetCapturedStdout();
    }
    std::string Convert(const CPinyin& pinyin, const char* sText, std::string* pAbbrev = nullptr,
                        std::vector<_TermPositionPair>* pPos = nullptr) {
        std::string sPinyin = "stale", sAbbrev = "stale";
        std::vector<_TermPositionPair> vecPos(2);
        const char* s = pinyin.Hanzi2Pinyin(sText, sPinyin, sAbbrev, vecPos);
        EXPECT_EQ(s, sPinyin.c_str());
        if (pAbbrev != nullptr) *pAbbrev = sAbbrev;
        if (pPos != nullptr) *pPos = vecPos;
        return sPinyin;
    }

    vt_test::CTempDir m_dir;
    CPinyin m_pinyin{m_dir.Path().c_str()};
};

TEST_F(PinyinTest, ConvertsPhraseWithPositionsAndInitials) {
    std::string sAbbrev;
    std::vector<_TermPositionPair> vecPos;
    // 中 国 blank 人 2 a 地 B: the blank and the digit are dropped, letters keep their case, 地
    // takes its first reading.
    EXPECT_EQ(Convert(m_pinyin, G("中国 人2a地B").c_str(), &sAbbrev, &vecPos), "zhongguorenadiB");
    EXPECT_EQ(sAbbrev, "zgradB");
    EXPECT_EQ(Pairs(vecPos), (std::vector<std::vector<int>>{{0, 2, 0, 5},
                                                            {2, 2, 5, 3},
                                                            {5, 2, 8, 3},
                                                            {8, 1, 11, 1},
                                                            {9, 2, 12, 2},
                                                            {11, 1, 14, 1}}));
    // The form without positions gives the same texts.
    std::string sPinyin, sAbbrev2;
    EXPECT_STREQ(m_pinyin.Hanzi2Pinyin(G("中国 人2a地B").c_str(), sPinyin, sAbbrev2),
                 "zhongguorenadiB");
    EXPECT_EQ(sAbbrev2, "zgradB");

    // Unknown characters, punctuation and a lone lead byte at the end are dropped.
    EXPECT_EQ(Convert(m_pinyin, (G("天的，") + "\xB5").c_str(), &sAbbrev, &vecPos), "de");
    EXPECT_EQ(Pairs(vecPos), (std::vector<std::vector<int>>{{2, 2, 0, 2}}));
    EXPECT_EQ(Convert(m_pinyin, nullptr, &sAbbrev, &vecPos), "");
    EXPECT_EQ(sAbbrev, "");
    EXPECT_TRUE(vecPos.empty());
    EXPECT_EQ(Convert(m_pinyin, "", &sAbbrev), "");
    EXPECT_EQ(Convert(m_pinyin, "\x81\x30\xFF\xFF\x01\x02", &sAbbrev), "");

    // Without tables characters are dropped, letters still pass.
    CPinyin empty(m_dir.File("nowhere").c_str());
    EXPECT_EQ(Convert(empty, G("中x国Y").c_str(), &sAbbrev, &vecPos), "xY");
    EXPECT_EQ(Pairs(vecPos), (std::vector<std::vector<int>>{{2, 1, 0, 1}, {5, 1, 1, 1}}));
}

// The first reading is the character's smallest syllable id, so the order in which syllables first
// appear in the whole file decides, not the order of the character's own lines.
TEST_F(PinyinTest, FirstReadingFollowsSyllableOrderOfTheFile) {
    vt_test::CTempDir dir;
    vt_test::WriteWholeFile(dir.File("p.txt"), G("的 de\n地 di\n地 de\n"));
    CPinyin pinyin(dir.Path().c_str());
    testing::internal::CaptureStdout();
    ASSERT_EQ(pinyin.ImportPinyin2Hanzi(dir.File("p.txt").c_str()), 1);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Convert(pinyin, G("地").c_str()), "de");
    EXPECT_EQ(Convert(m_pinyin, G("地").c_str()), "di");
}

TEST_F(PinyinTest, FilesExportAndLoad) {
    // The map: 6 pairs (slots), 5 characters; targets 0 1 2 3 3 4; 地 spans slots 2..3.
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("hanzi2pinyin.map")),
              Int32Bytes({6, 5, 0, 1, 2, 3, 3, 4, 0, 0, 1, 1, 2, 3, 4, 4, 5, 5}));
    EXPECT_EQ(m_pinyin.ExportHanzi2Pinyin(), 6);
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("hanzi2pinyin.txt")),
              G("中\tzhong\n国\tguo\n地\tdi\n地\tde\n的\tde\n人\tren\n"));

    // Importing the same file again writes the same bytes; a loaded converter agrees.
    std::vector<std::string> vecBefore;
    for (const char* sName : FILES) vecBefore.push_back(vt_test::ReadWholeFile(m_dir.File(sName)));
    CPinyin loaded(m_dir.Path().c_str());
    ASSERT_EQ(loaded.Load(), 1);
    testing::internal::CaptureStdout();
    ASSERT_EQ(loaded.ImportPinyin2Hanzi(m_dir.File("pinyin.txt").c_str()), 1);
    testing::internal::GetCapturedStdout();
    for (size_t i = 0; i < vecBefore.size(); ++i) {
        EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File(FILES[i])), vecBefore[i]) << FILES[i];
    }
    ASSERT_EQ(loaded.Load(), 1);
    std::string sAbbrev;
    EXPECT_EQ(Convert(loaded, G("中国人地").c_str(), &sAbbrev), "zhongguorendi");
    EXPECT_EQ(sAbbrev, "zgrd");
    ASSERT_TRUE(loaded.Save());
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("hanzi.wordlist")), vecBefore[3]);

    // A data path defaults to the working directory.
    std::vector<char> vecCwd(4096);
    ASSERT_NE(getcwd(vecCwd.data(), vecCwd.size()), nullptr);
    EXPECT_EQ(CPinyin(nullptr).GetDataPath(), std::string(vecCwd.data()) + "/");
    EXPECT_EQ(CPinyin("").GetDataPath(), std::string(vecCwd.data()) + "/");
    EXPECT_EQ(loaded.GetDataPath(), m_dir.Path());

    loaded.Clear();
    EXPECT_EQ(Convert(loaded, G("中a").c_str()), "a");
    EXPECT_FALSE(loaded.Save());
    EXPECT_EQ(loaded.ExportHanzi2Pinyin(), -1);
}

TEST_F(PinyinTest, ImportFailures) {
    const std::string sMissing = m_dir.File("missing.txt");
    EXPECT_EQ(m_pinyin.ImportPinyin2Hanzi(sMissing.c_str()), -1);
    EXPECT_STREQ(GetLastErrorMessage(), ("Fail open file " + sMissing).c_str());
    EXPECT_EQ(m_pinyin.ImportPinyin2Hanzi(nullptr), -1);
    // The tables are untouched by a file that cannot be opened.
    EXPECT_EQ(Convert(m_pinyin, G("中").c_str()), "zhong");

    // A file without a single pair: the map import fails.
    const std::string sEmpty = m_dir.File("empty.txt");
    vt_test::WriteWholeFile(sEmpty, "one\n\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(m_pinyin.ImportPinyin2Hanzi(sEmpty.c_str()), -1);
    EXPECT_NE(
        testing::internal::GetCapturedStdout().find("Pinyin2WordTxtfile " + sEmpty + " failed!\n"),
        std::string::npos);
    EXPECT_EQ(Convert(m_pinyin, G("中x").c_str()), "x");
}

// Load reports failure as -1 (the library start keeps the converter then), leaves the tables empty,
// and never trusts a damaged file.
TEST_F(PinyinTest, MissingAndDamagedFiles) {
    const std::string sText = G("中国 人2a地B");
    for (const char* sName : FILES) {
        const std::string sPath = m_dir.Path() + "/" + sName;
        const std::string sGood = vt_test::ReadWholeFile(sPath);
        CPinyin pinyin(m_dir.Path().c_str());
        std::filesystem::remove(sPath);
        EXPECT_EQ(pinyin.Load(), -1) << sName;
        EXPECT_STREQ(GetLastErrorMessage(), ("Fail Open file " + sPath).c_str());
        EXPECT_EQ(Convert(pinyin, sText.c_str()), "aB");

        vt_test::ForEachDamagedCopy(sGood, sPath, 12, 30, 9, [&](bool bTruncated) {
            const int nLoaded = pinyin.Load();
            EXPECT_TRUE(nLoaded == 1 || nLoaded == -1);
            if (bTruncated) {
                EXPECT_EQ(nLoaded, -1) << sName;
            }
            std::string sAbbrev;
            std::vector<_TermPositionPair> vecPos;
            const std::string sPinyin = Convert(pinyin, sText.c_str(), &sAbbrev, &vecPos);
            ASSERT_EQ(vecPos.size(), sAbbrev.size());
            for (const auto& pair : vecPos) {
                ASSERT_LE(pair.first.iStartPos + pair.first.nWordLen,
                          static_cast<int>(sPinyin.size()));
                ASSERT_LE(pair.second.iStartPos + pair.second.nWordLen,
                          static_cast<int>(sText.size()));
            }
            if (nLoaded == -1) {
                EXPECT_EQ(sPinyin, "aB");
            }
            pinyin.ExportHanzi2Pinyin();
        });
        ASSERT_TRUE(vt_test::WriteWholeFile(sPath, sGood));
        ASSERT_EQ(pinyin.Load(), 1) << sName;
        EXPECT_EQ(Convert(pinyin, sText.c_str()), "zhongguorenadiB");
    }

    // Files that load one by one but do not belong together: a map naming a syllable beyond the
    // syllable list beside it.
    vt_test::CTempDir other;
    vt_test::WriteWholeFile(other.File("p.txt"),
                            G("中 zhong\n国 guo\n地 di\n的 de\n人 ren\n人 xx\n"));
    CPinyin bigger(other.Path().c_str());
    testing::internal::CaptureStdout();
    ASSERT_EQ(bigger.ImportPinyin2Hanzi(other.File("p.txt").c_str()), 1);
    testing::internal::GetCapturedStdout();
    vt_test::CTempDir mixed;
    for (const char* sName : FILES) {
        const vt_test::CTempDir& from = std::string(sName) == "hanzi2pinyin.map" ? other : m_dir;
        vt_test::WriteWholeFile(mixed.File(sName), vt_test::ReadWholeFile(from.File(sName)));
    }
    CPinyin pinyin(mixed.Path().c_str());
    EXPECT_EQ(pinyin.Load(), -1);
    EXPECT_EQ(Convert(pinyin, sText.c_str()), "aB");
}

TEST(PinyinAbbrevTest, JudgesTheFirstOccurrence) {
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev("ni hao", "hao"));
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev("hao", "hao"));
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev("a\thao\r\n", "hao"));
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev("NI HAO", "hao"));   // the content is lowered
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("ni hao", "HAO"));  // the hit is not
    // Enclosed by Chinese characters (non-ASCII neighbours) is fine.
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev(G("中hao国").c_str(), "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("nihao", "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("haoma", "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("hao,", "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("1hao", "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("ni hao", "ma"));
    // Deliberate: the first occurrence is glued to a letter; the later, delimited one does not
    // rescue it.
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("xhao hao", "hao"));
    EXPECT_TRUE(CPinyin::IsValidPinyinAbbrev("hao xhao", "hao"));
    // Bad input.
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev(nullptr, "hao"));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("hao", nullptr));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("hao", ""));
    EXPECT_FALSE(CPinyin::IsValidPinyinAbbrev("", "hao"));
}

TEST_F(PinyinTest, ManyThreadsConvertAtOnce) {
    const std::string sText = G("中国 人2a地B");
    std::vector<int> vecFailures(4, 0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                std::string sPinyin, sAbbrev;
                std::vector<_TermPositionPair> vecPos;
                m_pinyin.Hanzi2Pinyin(sText.c_str(), sPinyin, sAbbrev, vecPos);
                if (sPinyin != "zhongguorenadiB" || sAbbrev != "zgradB" || vecPos.size() != 6 ||
                    vecPos[4].first.iStartPos != 12) {
                    ++vecFailures[t];
                }
            }
        });
    }
    for (auto& thread : vecThreads) thread.join();
    EXPECT_EQ(vecFailures, std::vector<int>(4, 0));
}

}  // namespace

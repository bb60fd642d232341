// ScanDetail_test.cpp: the detailed scan through the C interface with the shipped data: confirmation
// by segmentation, scores, the keyword and class lists, noise, the look-alike and pinyin retries,
// compound rules, long texts, UTF-8 callers; the file and line scans and their failures.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "Vintrel/VintrelAPI.h"
#include "ApiSupport.h"

namespace {

using vt_api::G;

std::string LastError() { return VT_GetLastErrorMsg(); }

// Keyword handles follow the file's order: 南京市长 0, 代开发票 1, 张三丰 2, 赌博 3, then the words only
// the rule names. The class records lie in that order too, so 南京市长's are followed by a weight of
// 10 and 赌博's are the last.
const char* const KEYWORDS =
    "南京市长 politics 5\n"
    "代开发票 fraud 10 1\n"
    "张三丰 person 3\n"
    "赌博 gambling 8 1\n"
    "{代开;发票}+出售-正规 fraud 7\n";

class ScanDetailTest : public ::testing::Test {
protected:
    void SetUp() override { vt_api::EnterScratchDirectory(); }
    void TearDown() override { VT_Exit(); }
    // Start: starts the library (encode 0: GBK callers, 1: UTF-8) and imports the keywords.
    void Start(int encode) {
        m_bUtf8 = encode == 1;
        ASSERT_EQ(VT_Init(m_root.Path().c_str(), encode, "\t"), 1) << LastError();
        ASSERT_TRUE(vt_api::WriteFile(m_root.File("words.txt"), In(KEYWORDS)));
        ASSERT_EQ(VT_ImportUserDict(m_root.File("words.txt").c_str(), 1, 0), 5) << LastError();
    }
    // In: UTF-8 test text in the callers' encoding.
    std::string In(const std::string& sUtf8) const { return m_bUtf8 ? sUtf8 : G(sUtf8); }
    std::string Detail(const std::string& sUtf8) const { return Raw(In(sUtf8)); }
    static std::string Raw(const std::string& sText) {
        const char* s = VT_ScanDetail(sText.c_str(), 0);
        return s != nullptr ? s : "<null>";
    }
    vt_api::CDataRoot m_root;
    bool m_bUtf8 = false;
};

// The same expectations hold for GBK callers (results in GBK) and UTF-8 callers (results in UTF-8).
class ScanDetailBothEncodings : public ScanDetailTest, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        ScanDetailTest::SetUp();
        Start(GetParam());
    }
};

TEST_P(ScanDetailBothEncodings, HitsStandOnlyWhereTheSegmenterKeepsTheKeyword) {
    // score = weight x bytes / 6 = 5 x 8 / 6
    EXPECT_EQ(Detail("南京市长说"), In("6.67\t南京市长\tpolitics\t南京市长说"));
    EXPECT_EQ(Detail("他是南京市长"), In("6.67\t南京市长\tpolitics\t他是南京市长"));
    EXPECT_EQ(Detail("南京市长江大桥"), "");
    EXPECT_EQ(Detail("今天天气很好"), "");
}

TEST_P(ScanDetailBothEncodings, NoiseIsRemovedAndTheTextReportedStandardised) {
    EXPECT_EQ(Detail("赌*博"), In("5.33\t赌博\tgambling\t赌博"));
    EXPECT_EQ(Detail("别 赌_博 了"), In("5.33\t赌博\tgambling\t别赌博了"));
}

TEST_P(ScanDetailBothEncodings, ARepeatedKeywordCountsATenthAndIsListedOnce) {
    // 5.333 + 0.5333; the "##" after each list is written because another hit follows.
    EXPECT_EQ(Detail("我们赌博，他们也赌博"), In("5.87\t赌博##\tgambling##\t我们赌博，他们也赌博"));
}

TEST_P(ScanDetailBothEncodings, LookAlikeCharactersAreFoundWithTheDoubledScore) {
    // 10 x 8 / 6 = 13.33, doubled; the input follows "||" as the caller wrote it.
    EXPECT_EQ(Detail("代開發票"), In("26.67\t[形变]代开发票-->代開發票\tfraud\t代开发票||代開發票"));
    EXPECT_EQ(Detail("弓长三丰"), In("6.00\t[形变]张三丰-->弓长三丰\tperson\t张三丰||弓长三丰"));
    // Deliberate: the untranslated form is the prefix of the text as long as the hit's source span
    // (弓长三丰 is 8 bytes: 我说弓长), not the span itself.
    EXPECT_EQ(Detail("我说弓长三丰"), In("6.00\t[形变]张三丰-->我说弓长\tperson\t我说张三丰||我说弓长三丰"));
}

TEST_P(ScanDetailBothEncodings, PinyinSpellingsAndHomophonesAreFoundThroughTheReading) {
    // 10 x 8 / 6 x 12 / 9 x 1.5 (12 bytes of pinyin)
    EXPECT_EQ(Detail("daikaifapiao"), In("26.67\t(音变)代开发票-->daikaifapiao\tfraud\tdaikaifapiao"));
    EXPECT_EQ(Detail("带开发漂"), In("26.67\t(音变)代开发票-->带开发漂\tfraud\t带开发漂"));
    // Initials (4 bytes: x 4 / 9) count only where the text has them standing alone; the reported
    // form is again the prefix of the text (要dk).
    EXPECT_EQ(Detail("要dkfp吗"), In("8.89\t(音变)代开发票-->要dk\tfraud\t要dkfp吗"));
    EXPECT_EQ(Detail("xdkfp"), "");
    // A keyword imported without the pinyin flag is not found by its reading.
    EXPECT_EQ(Detail("zhangsanfeng"), "");
}

TEST_P(ScanDetailBothEncodings, CompoundRulesDecideWhenNoKeywordIsSensitiveByItself) {
    EXPECT_EQ(Detail("出售代开的发票"), In("7.00\t{代开;发票}+出售-正规##\tfraud##\t出售代开的发票"));
    EXPECT_EQ(Detail("出售正规代开的发票"), "");  // the NOT part blocks the rule
    EXPECT_EQ(Detail("代开的发票"), "");        // the AND part is missing
}

INSTANTIATE_TEST_SUITE_P(Gbk, ScanDetailBothEncodings, ::testing::Values(0));
INSTANTIATE_TEST_SUITE_P(Utf8, ScanDetailBothEncodings, ::testing::Values(1));

TEST_F(ScanDetailTest, TextsOver1024BytesGiveTheirMarkedSentences) {
    Start(0);
    // 1024 bytes: the whole text.
    std::string sText = G("南京市长说！");
    while (sText.size() < 1024) sText += G("好");
    ASSERT_EQ(sText.size(), 1024u);
    EXPECT_EQ(Raw(sText), G("6.67\t南京市长\tpolitics\t") + sText);
    // 1025 bytes: the sentence of the hit. 南京市长's class records are followed by a weight of 10, so
    // its sentence is closed.
    EXPECT_EQ(Raw(sText + "a"), G("6.67\t南京市长\tpolitics\t<class name=\"politics\" weight=5>南京市长</class>说！"));

    std::string sLong;
    for (int i = 0; i < 75; ++i) sLong += G("今天天气很好！");
    sLong += G("他是南京市长说的！大家都在赌博！");
    // Deliberate: 赌博's records are the last of the table, so its sentence stays open.
    EXPECT_EQ(Raw(sLong), G("12.00\t南京市长##赌博\tpolitics##gambling\t"
                            "他是<class name=\"politics\" weight=5>南京市长</class>说的！"
                            "大家都在<class name=\"gambling\" weight=8>"));
}

TEST_F(ScanDetailTest, BadTextsGiveEmptyResultsOrNull) {
    Start(1);
    EXPECT_EQ(VT_ScanDetail(nullptr, 0), nullptr);
    EXPECT_EQ(Raw(""), "");
    EXPECT_EQ(Raw("*** ___ !!! ..."), "");
    EXPECT_EQ(Raw("\xFF\xFE\x80\xC0\xAF \xE4\xB8"), "");  // not UTF-8
    EXPECT_EQ(VT_ScanDetail("abc", 7), nullptr);
    EXPECT_EQ(LastError(), "Vintrelner not init!");
    std::string sHuge(1 << 20, 'x');
    sHuge += "daikaifapiao";
    // Full pinyin forms need no word boundary.
    EXPECT_EQ(Raw(sHuge).rfind("26.67\t(音变)代开发票-->xxxxxxxxxxxx\tfraud\t", 0), 0u);
    std::string sLine;
    for (int i = 0; i < 40000; ++i) sLine += "今天天气很好，";
    sLine += "南京市长说";
    const std::string sResult = Raw(sLine);
    EXPECT_EQ(sResult.rfind("6.67\t南京市长\tpolitics\t", 0), 0u) << sResult.substr(0, 80);
}

TEST_F(ScanDetailTest, ConfirmedHitsAreCountedInTheStatistics) {
    Start(0);
    for (const char* sText : {"南京市长说", "他是南京市长", "南京市长江大桥", "代開發票", "daikaifapiao"}) Detail(sText);
    ASSERT_EQ(VT_ScanStat(m_root.File("stat.txt").c_str(), 0), 1);
    const std::string sReport = vt_api::ReadFile(m_root.File("stat.txt"));
    // Two confirmed hits of 南京市长 (the one in 南京市长江大桥 is dropped); 代开发票 by look-alike and
    // by pinyin.
    EXPECT_NE(sReport.find(G("\n0\t南京市长\tpolitics\t5\t2\n")), std::string::npos) << sReport;
    EXPECT_NE(sReport.find(G("\n1\t代开发票\tfraud\t10\t2\n")), std::string::npos) << sReport;
}

TEST_F(ScanDetailTest, WithoutKeywordsTheScanSaysSo) {
    ASSERT_EQ(VT_Init(m_root.Path().c_str(), 0, "\t"), 1);
    EXPECT_EQ(Raw(G("南京市长说")), "");
    EXPECT_EQ(LastError(), "Keyword Dictionary is Empty!");
}

// -------------------------------------------------------------------------------------------------
// Files.

TEST_F(ScanDetailTest, FileScansReadTheWholeFile) {
    Start(1);
    const std::string sFile = m_root.File("text.txt");
    ASSERT_TRUE(vt_api::WriteFile(sFile, "他是南京市长\n大家都在赌博\n"));
    EXPECT_STREQ(VT_ScanFileDetail(sFile.c_str(), 0), "12.00\t南京市长##赌博\tpolitics##gambling\t他是南京市长大家都在赌博");
    EXPECT_STREQ(VT_ScanFile(sFile.c_str(), 0), "gambling/8#politics/5#");
    const std::string sMissing = m_root.File("missing.txt");
    EXPECT_STREQ(VT_ScanFileDetail(sMissing.c_str(), 0), "");
    EXPECT_EQ(LastError(), "Cannot read file " + sMissing);
    ASSERT_TRUE(vt_api::WriteFile(sFile, ""));
    EXPECT_STREQ(VT_ScanFile(sFile.c_str(), 0), "");
    EXPECT_EQ(VT_ScanFile(sFile.c_str(), -1), nullptr);
}

TEST_F(ScanDetailTest, LineScanCountsLinesAndWritesOnlyTheByteOrderMark) {
    Start(1);
    const std::string sInput = m_root.File("lines.txt"), sResult = m_root.File("result.txt");
    std::string sLines = "\xEF\xBB\xBF";
    for (int i = 0; i < 250; ++i) sLines += i % 2 == 0 ? "他是南京市长\n" : "\n";
    ASSERT_TRUE(vt_api::WriteFile(sInput, sLines));
    testing::internal::CaptureStdout();
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), sResult.c_str(), 0, 0), 250);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Processing 100\rProcessing 200\r");
    // Deliberate: the line scan never learns its lines' hit counts, so no record is written.
    EXPECT_EQ(vt_api::ReadFile(sResult), "\xEF\xBB\xBF");

    // The scan stops at a line that starts with a NUL byte; a last line without a line end counts.
    ASSERT_TRUE(vt_api::WriteFile(sInput, std::string("a\nb\n\0c\nd\n", 9)));
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), sResult.c_str(), 0, 1), 2);
    ASSERT_TRUE(vt_api::WriteFile(sInput, "a\nb"));
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), sResult.c_str(), 0, 0), 2);
    // A line longer than a read is read in pieces of 10239 bytes.
    ASSERT_TRUE(vt_api::WriteFile(sInput, std::string(25000, 'x') + "\n"));
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), sResult.c_str(), 0, 0), 3);
}

TEST_F(ScanDetailTest, LineScanFailures) {
    Start(0);
    const std::string sInput = m_root.File("lines.txt"), sMissing = m_root.File("missing.txt");
    ASSERT_TRUE(vt_api::WriteFile(sInput, "a\n"));
    EXPECT_EQ(VT_ScanLine(sMissing.c_str(), m_root.File("r.txt").c_str(), 0, 0), 0);
    EXPECT_EQ(LastError(), "Cannot read file " + sMissing);
    // Deliberate: an unwritable result file is reported with the input's name.
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), m_root.File("no/such/dir/r.txt").c_str(), 0, 0), -1);
    EXPECT_EQ(LastError(), "Cannot read file " + sInput);
    // GBK callers get no byte-order mark.
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), m_root.File("r.txt").c_str(), 0, 0), 1);
    EXPECT_EQ(vt_api::ReadFile(m_root.File("r.txt")), "");
    EXPECT_EQ(VT_ScanLine(nullptr, nullptr, 0, 0), 0);
    EXPECT_EQ(VT_ScanLine(sInput.c_str(), m_root.File("r.txt").c_str(), 3, 0), 0);
    EXPECT_EQ(LastError(), "Vintrelner not init!");
}

}  // namespace

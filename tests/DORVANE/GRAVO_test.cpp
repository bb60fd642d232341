// GRAVO_test.cpp: the segmentation engine through its interface: start-up and configuration, the
// segmented-text format, user words, bad input.
#include "DORVANE/API/GRAVO.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <string>
#include <vector>

#include "DORVANE/Segment/PreProcess.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"
#include "Utility/Trie.h"
#include "Utility/Utility.h"
#include "support/EngineSupport.h"

namespace {

using vt_test::G;
using vt_test::U;

// Segment: the UTF-8 segmentation of a UTF-8 text.
std::string Segment(const std::string& sUtf8, bool bTags = true) {
    return U(GRAVO_ParagraphProcess(G(sUtf8).c_str(), bTags ? 1 : 0));
}

// Words: the words of a UTF-8 text joined by "|".
std::string Words(const std::string& sUtf8) {
    return vt_test::JoinWords(Segment(sUtf8, false), false);
}

class EngineTest : public ::testing::Test {
protected:
    void SetUp() override { g_sLogPath = m_logs.Path(); }
    void TearDown() override { GRAVO_Exit(); }
    // Start: starts the engine on a copy of the built data whose configuration the test may change.
    void Start() { ASSERT_EQ(GRAVO_Init(m_root.Path().c_str(), 0), 1) << GetLastErrorMessage(); }
    vt_test::CTempDir m_logs;
    vt_test::CEngineRoot m_root;
};

// ---------------------------------------------------------------------------------------------------
// Start-up and shut-down.

TEST_F(EngineTest, CallsBeforeStartUpAndAfterExitDoNothing) {
    ASSERT_NE(GRAVO_ParagraphProcess("abc", 1), nullptr);
    EXPECT_STREQ(GRAVO_ParagraphProcess("abc", 1), "");
    EXPECT_EQ(GRAVO_AddUserWord("abc"), 0);
    EXPECT_EQ(GRAVO_CleanUserWord(), 0);
    Start();
    EXPECT_STRNE(GRAVO_ParagraphProcess("abc", 1), "");
    EXPECT_TRUE(GRAVO_Exit());
    EXPECT_STREQ(GRAVO_ParagraphProcess("abc", 1), "");
    EXPECT_EQ(GRAVO_AddUserWord("abc"), 0);
}

TEST_F(EngineTest, SecondStartUpKeepsTheRunningEngine) {
    Start();
    ASSERT_EQ(GRAVO_AddUserWord(G("南京市长").c_str()), 1);
    m_root.SetItem("Tagger",
                   "off");  // would change the output if the configuration were read again
    EXPECT_EQ(GRAVO_Init("/nonexistent/root", 0), 1);
    EXPECT_EQ(Segment("南京市长说"), "南京市长/n  说/v  ");
}

TEST_F(EngineTest, EmptyRootMeansTheWorkingDirectory) {
    char sOld[4096];
    ASSERT_NE(getcwd(sOld, sizeof(sOld)), nullptr);
    ASSERT_EQ(chdir(m_root.Path().c_str()), 0);
    int nResult = GRAVO_Init("", 0);
    std::string sError = GetLastErrorMessage();
    ASSERT_EQ(chdir(sOld), 0);
    EXPECT_EQ(nResult, 1) << sError;
    GRAVO_Exit();
    ASSERT_EQ(chdir("/"), 0);
    EXPECT_EQ(GRAVO_Init(nullptr, 0), 0);
    EXPECT_EQ(std::string(GetLastErrorMessage()),
              "Cannot Open Configure file //Data/Configure.xml");
    ASSERT_EQ(chdir(sOld), 0);
}

TEST_F(EngineTest, FatalFilesStopTheStartUpWithTheirMessage) {
    m_root.Remove("Configure.xml");
    EXPECT_EQ(GRAVO_Init(m_root.Path().c_str(), 0), 0);
    EXPECT_EQ(GetLastErrorMessage(),
              "Cannot Open Configure file " + m_root.DataFile("Configure.xml"));
    EXPECT_STREQ(GRAVO_ParagraphProcess("abc", 1), "");

    for (const char* sName :
         {"CoreDict.pdat", "CoreDict.unig", "BiWord.big", "CoreDict.pos", "GRAVO.ctx"}) {
        vt_test::CEngineRoot root;
        root.Replace(sName, "\x05\x00\x00");  // truncated
        EXPECT_EQ(GRAVO_Init(root.Path().c_str(), 0), 0) << sName;
        EXPECT_EQ(std::string(GetLastErrorMessage()), "Cannot open file " + root.DataFile(sName));
    }
    // Without tagging the tag tables are not needed.
    vt_test::CEngineRoot root;
    root.SetItem("Tagger", "off");
    root.Remove("CoreDict.pos");
    root.Remove("GRAVO.ctx");
    EXPECT_EQ(GRAVO_Init(root.Path().c_str(), 0), 1) << GetLastErrorMessage();
}

TEST_F(EngineTest, CoreDictionaryWithoutASpecialEntryIsDestroyed) {
    CPDAT dict;
    dict.AddWordInit();
    for (const char* sWord : {"\xCA\xBC##\xCA\xBC", "\xC4\xA9##\xC4\xA9", "abc"})
        dict.AddWord(sWord);
    dict.AddWordComplete();
    ASSERT_EQ(dict.Save(m_root.DataFile("Core.tmp").c_str()), 1);
    m_root.Replace("CoreDict.pdat", vt_test::ReadWholeFile(m_root.DataFile("Core.tmp")));
    EXPECT_EQ(GRAVO_Init(m_root.Path().c_str(), 0), 0);
    EXPECT_EQ(std::string(GetLastErrorMessage()), "The Core Dictionary has been destroyed! ");
}

TEST_F(EngineTest, OptionalUserAndFieldDictionariesJoinTheLattice) {
    CTrie user;
    user.AddTrie(G("南京市长 nt").c_str(), false);
    ASSERT_EQ(user.Save(m_root.DataFile("UserDict.pdat").c_str()), 1);
    CPDAT field;
    field.AddWordInit();
    field.AddWord(G("荭荮").c_str());  // two characters the core dictionary lacks
    field.AddWordComplete();
    ASSERT_EQ(field.Save(m_root.DataFile("FieldDict.pdat").c_str()), 1);
    CPOSmap tags;
    ASSERT_EQ(tags.Load(m_root.DataFile("PKU.map").c_str()), 1);
    std::vector<POS_elem> vecRows(1);
    vecRows[0].handle = 0;
    vecRows[0].POS_id = static_cast<unsigned char>(tags.GetID("nz"));
    vecRows[0].freq = 1;
    CPOS fieldPOS;
    fieldPOS.Import(vecRows, 1);
    ASSERT_EQ(fieldPOS.Save(m_root.DataFile("FieldDict.pos").c_str()), 1);
    m_root.SetItem("UserDict", "on");
    m_root.SetItem("FieldDict", "on");
    Start();
    EXPECT_EQ(Segment("南京市长说"), "南京市长/nt  说/v  ");
    EXPECT_EQ(Segment("荭荮"), "荭荮/nz  ");
    GRAVO_Exit();
    m_root.SetItem("UserDict", "off");
    m_root.SetItem("FieldDict", "off");
    Start();
    EXPECT_EQ(Words("南京市长说"), "南京|市长|说");
    EXPECT_EQ(Words("荭荮"), "荭|荮");
}

TEST_F(EngineTest, MissingOptionalTablesAreSkipped) {
    for (const char* sKey : {"UserDict", "FieldDict", "GranularityContorl", "Sentiment"})
        m_root.SetItem(sKey, "on");
    m_root.Remove("nr.fsa");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我/r  爱/v  北京/ns  ");
    // Each failed optional table is in the error log.
    char sDay[16];
    time_t now = time(nullptr);
    strftime(sDay, sizeof(sDay), "%Y%m%d", localtime(&now));
    std::string sLog = vt_test::ReadWholeFile(m_logs.File(std::string(sDay) + ".err"));
    EXPECT_NE(sLog.find("Cannot open user dictionary " + m_root.DataFile("UserDict.pdat")),
              std::string::npos);
    EXPECT_NE(sLog.find("Cannot open field dictionary " + m_root.DataFile("FieldDict.pdat")),
              std::string::npos);
    EXPECT_NE(sLog.find("Cannot open Granularity dictionary " + m_root.DataFile("GranDict.pdat")),
              std::string::npos);
}

// ---------------------------------------------------------------------------------------------------
// The segmented text.

TEST_F(EngineTest, WordsAreFollowedByDelimiterTagAndTwoBlanks) {
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我/r  爱/v  北京/ns  ");
    EXPECT_EQ(Segment("我爱北京", false), "我  爱  北京  ");
    EXPECT_EQ(Segment(""), "");
    EXPECT_EQ(Segment("  \t "), "");
}

// golden/segment_tags.tsv: UTF-8 lines "text<TAB>segmented text with tags" with the shipped data.
TEST_F(EngineTest, ShippedDataSegmentsTheGoldenSentences) {
    Start();
    std::string sGolden = vt_test::ReadWholeFile(std::string(VINTREL_SOURCE_DIR) + "/tests/DORVANE/golden/segment_tags.tsv");
    ASSERT_FALSE(sGolden.empty());
    size_t nPos = 0, nLines = 0;
    while (nPos < sGolden.size()) {
        size_t nEnd = sGolden.find('\n', nPos);
        std::string sLine = sGolden.substr(nPos, nEnd - nPos);
        nPos = nEnd == std::string::npos ? sGolden.size() : nEnd + 1;
        size_t nTab = sLine.find('\t');
        ASSERT_NE(nTab, std::string::npos) << sLine;
        EXPECT_EQ(Segment(sLine.substr(0, nTab)), sLine.substr(nTab + 1));
        ++nLines;
    }
    EXPECT_GE(nLines, 5u);
}

TEST_F(EngineTest, NumbersDatesAndLettersAreWordsOfTheirOwn) {
    Start();
    EXPECT_EQ(Words("1998年3月"), "1998年|3月");
    EXPECT_EQ(Words("二○○一年十二月三十一日"), "二○○一年|十二月|三十一日");
    EXPECT_EQ(Words("增长３．５％"), "增长|３．５％");
    EXPECT_EQ(Words("第四十三名"), "第四十三|名");
    EXPECT_EQ(Words("30亿元"), "30亿|元");
    EXPECT_EQ(Words("Hello中国"), "Hello|中国");
    EXPECT_EQ(Words("他说——好"), "他|说|——|好");
    std::string s = Segment("1998年");
    EXPECT_EQ(s, "1998年/t  ");
    EXPECT_EQ(Segment("2008"), "2008/m  ");
}

TEST_F(EngineTest, PersonNamesAreFamilyAndGivenName) {
    Start();
    EXPECT_EQ(Segment("江泽民说"), "江/nr  泽民/nr  说/v  ");
    m_root.SetItem("Merge", "on");
    GRAVO_Exit();
    Start();
    EXPECT_EQ(Segment("江泽民说"), "江泽民/nr  说/v  ");
    m_root.SetItem("Merge", "off");
    m_root.SetItem("Person", "off");
    GRAVO_Exit();
    Start();
    EXPECT_EQ(Words("江泽民说"), "江泽民|说");
}

TEST_F(EngineTest, ConfigurationChangesThePresentation) {
    m_root.SetItem("POSDelimiter", "_#");
    m_root.SetItem("WordBoundary", "|#|");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我_r|#爱_v|#北京_ns|#");
    GRAVO_Exit();
    m_root.SetItem("POSDelimiter", "/");
    m_root.SetItem("WordBoundary", "  ");
    m_root.SetItem("POS", "upper");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我/R  爱/V  北京/NS  ");
    GRAVO_Exit();
    m_root.SetItem("POS", "NONE");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我  爱  北京  ");
    GRAVO_Exit();
    m_root.SetItem("POS", "Default");
    m_root.SetItem("Tagger", "OFF");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我  爱  北京  ");
    GRAVO_Exit();
    m_root.SetItem("Tagger", "on");
    m_root.SetItem("TagSet", "GRAVO_First.map");
    Start();
    EXPECT_EQ(Segment("我爱北京"), "我/pron  爱/verb  北京/noun  ");
    GRAVO_Exit();
    m_root.SetItem("TagSet", "PKU.map");
    m_root.SetItem("Log", "Off");
    Start();
    EXPECT_FALSE(g_bLog);
}

TEST_F(EngineTest, FinerSegmentationFollowsLongWords) {
    m_root.SetItem("FinerSegCombined", "on");
    Start();
    // 中华人民共和国 is one dictionary word of 14 bytes; its pieces follow it, tagged "seg".
    std::string s = Segment("中华人民共和国");
    EXPECT_EQ(s.find("中华人民共和国/ns  "), 0u) << s;
    EXPECT_NE(s.find("/seg  "), std::string::npos) << s;
    EXPECT_EQ(Segment("我爱北京"), "我/r  爱/v  北京/ns  ");  // short words have no pieces
}

// ---------------------------------------------------------------------------------------------------
// User words.

TEST_F(EngineTest, UserWordsWinWhereTheyFormANaturalWord) {
    Start();
    EXPECT_EQ(GRAVO_AddUserWord(""), -1);
    EXPECT_EQ(GRAVO_AddUserWord(nullptr), -1);
    EXPECT_EQ(Words("南京市长说"), "南京|市长|说");
    ASSERT_EQ(GRAVO_AddUserWord(G("南京市长").c_str()), 1);
    EXPECT_EQ(GRAVO_AddUserWord(G("南京市长").c_str()), 2);
    EXPECT_EQ(Segment("南京市长说"), "南京市长/n  说/v  ");
    EXPECT_EQ(Words("南京市长江大桥").find("南京市长|"), std::string::npos)
        << Words("南京市长江大桥");
    EXPECT_EQ(Words("他是南京市长"), "他|是|南京市长");
    EXPECT_EQ(GRAVO_CleanUserWord(), 0);
    EXPECT_EQ(Words("南京市长说"), "南京|市长|说");
    EXPECT_EQ(GRAVO_CleanUserWord(), 0);  // nothing left to clean
    // A tag given with the word is its tag.
    ASSERT_EQ(GRAVO_AddUserWord(G("南京市长 nt").c_str()), 1);
    EXPECT_EQ(Segment("南京市长说"), "南京市长/nt  说/v  ");
}

TEST_F(EngineTest, UserWordsWithPriorityWinWheneverTheyFit) {
    m_root.SetItem("UserDictPrior", "on");
    Start();
    ASSERT_EQ(GRAVO_AddUserWord(G("南京市长").c_str()), 1);
    EXPECT_EQ(Words("南京市长江大桥").find("南京市长|"), 0u) << Words("南京市长江大桥");
}

TEST_F(EngineTest, WordsOfOneCallAreSeenByThatCallOnly) {
    Start();
    std::vector<std::string> vecWords = {G("南京市长"), G("大桥下")};
    EXPECT_EQ(U(GRAVO_ParagraphProcessWords(G("南京市长说").c_str(), 1, vecWords)),
              "南京市长/n  说/v  ");
    EXPECT_EQ(Words("南京市长说"), "南京|市长|说");
    // A keyword with a blank in it can still be one word.
    vecWords = {"free tibet"};
    EXPECT_EQ(GRAVO_ParagraphProcessWords("say free tibet now", 0, vecWords),
              "say  free tibet  now  ");
}

TEST_F(EngineTest, ManyWordsOfOneCallAllCount) {
    Start();
    // Thousands of words, most of them many times over (a scan passes one per keyword hit): every
    // distinct word is still seen, also where more copies start at one place than a lookup keeps.
    std::vector<std::string> vecWords(100, G("南京"));
    for (int i = 0; i < 3000; ++i) vecWords.push_back(G("中") + std::to_string(i));
    vecWords.push_back(G("南京市长"));
    vecWords.push_back("x");
    EXPECT_EQ(U(GRAVO_ParagraphProcessWords(G("南京市长说x").c_str(), 0, vecWords)), "南京市长  说  x  ");
    EXPECT_EQ(U(GRAVO_ParagraphProcessWords(G("中2999").c_str(), 0, vecWords)), "中2999  ");
}

// ---------------------------------------------------------------------------------------------------
// Bad input: always a well-formed result.

TEST_F(EngineTest, BadInputGivesWellFormedResults) {
    Start();
    EXPECT_STREQ(GRAVO_ParagraphProcess(nullptr, 1), "");
    std::vector<std::string> vecInputs = {"",
                                          "   \r\n\t",
                                          G("，。！？“”"),
                                          "\xC4",
                                          G("中国") + "\xC4",
                                          "\x81\x20\xFF\xFE\x7F\x80",
                                          "^^^^^^^^",
                                          G("中^^国^^^") + "\xB0",
                                          std::string(3000, '\xB0'),
                                          G("１２３４５６．．．．％％"),
                                          std::string("\x01\x02\x03", 3)};
    std::string sLong;
    while (sLong.size() < (1u << 20)) sLong += G("中华人民共和国成立于1949年，") + "abc ^^ ";
    vecInputs.push_back(sLong);
    for (const std::string& sInput : vecInputs) {
        for (int bTags : {0, 1}) {
            const char* sOut = GRAVO_ParagraphProcess(sInput.c_str(), bTags);
            ASSERT_NE(sOut, nullptr);
            EXPECT_EQ(vt_test::WellFormedError(sInput, sOut, bTags != 0), "")
                << U(sInput.substr(0, 60));
        }
    }
}

}  // namespace

// Library_test.cpp: the library through its C interface: start-up and shut-down, the instance
// registry and its messages, keyword import (file forms, merge, overwrite, rules), deletion, the plain
// scan, persistence across processes and bad arguments.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "Vintrel/VintrelAPI.h"
#include "ApiSupport.h"

namespace {

using vt_api::G;

std::string LastError() { return VT_GetLastErrorMsg(); }

// Blanks and ASCII punctuation do not separate English keywords (the text is standardised like the
// keywords, which drops them); a hanzi does.
const std::string S = G("中");

class LibraryTest : public ::testing::Test {
protected:
    void SetUp() override { vt_api::EnterScratchDirectory(); }
    void TearDown() override { VT_Exit(); }
    void Start(int encode = 0) { ASSERT_EQ(VT_Init(m_root.Path().c_str(), encode, "\t"), 1) << LastError(); }
    // Import: writes sLines (GBK unless said otherwise) to a file and imports it into handle.
    int Import(const std::string& sLines, bool bOverwrite = false, int handle = 0) {
        std::string sFile = m_root.File("words.txt");
        vt_api::WriteFile(sFile, sLines);
        return VT_ImportUserDict(sFile.c_str(), bOverwrite ? 1 : 0, handle);
    }
    std::string Scan(const std::string& sText, int handle = 0) {
        const char* s = VT_Scan(sText.c_str(), handle);
        return s != nullptr ? s : "<null>";
    }
    vt_api::CDataRoot m_root;
};

// -------------------------------------------------------------------------------------------------
// Start-up, registry, messages.

TEST_F(LibraryTest, CallsBeforeStartUpFailWithTheirMessages) {
    EXPECT_EQ(VT_Scan("abc", 0), nullptr);
    EXPECT_EQ(LastError(), "Vintrelner not init!");
    EXPECT_EQ(VT_ImportUserDict("x", 0, 0), 0);
    EXPECT_EQ(VT_ScanStat("x", 0), 0);
    EXPECT_EQ(VT_NewInstance(), -1);
    EXPECT_EQ(LastError(), "Not Init, no operation!");
    EXPECT_EQ(VT_DeleteInstance(0), 0);
    EXPECT_EQ(LastError(), "PZ_DeleteInstance  argument(handle 0) is invalid!");
    EXPECT_EQ(VT_ExportDict("x", 0), 0);
    VT_Exit();  // harmless twice and before start-up
}

TEST_F(LibraryTest, HandlesGrowAndAreNeverReused) {
    Start();
    EXPECT_EQ(VT_NewInstance(), 1);
    EXPECT_EQ(VT_NewInstance(), 2);
    EXPECT_EQ(VT_DeleteInstance(1), 1);
    EXPECT_EQ(VT_Scan("abc", 1), nullptr);
    EXPECT_EQ(LastError(), "Vintrelner not init!");
    EXPECT_EQ(VT_DeleteInstance(1), 1);  // an emptied slot is still a valid handle
    EXPECT_EQ(VT_NewInstance(), 3);
    EXPECT_EQ(VT_DeleteInstance(-1), 0);
    EXPECT_EQ(LastError(), "PZ_DeleteInstance  argument(handle -1) is invalid!");
    EXPECT_EQ(VT_DeleteInstance(4), 0);
    EXPECT_EQ(LastError(), "PZ_DeleteInstance  argument(handle 4) is invalid!");
    EXPECT_EQ(VT_Scan("abc", 99), nullptr);
    EXPECT_EQ(LastError(), "Vintrelner not init!");
    EXPECT_EQ(VT_ExportDict("x", 0), 0);
    VT_Exit();
    EXPECT_EQ(VT_Scan("abc", 0), nullptr);
    EXPECT_EQ(VT_NewInstance(), -1);
}

TEST_F(LibraryTest, StartUpNeedsTheEngineAndTheConverter) {
    EXPECT_EQ(VT_Init("/nonexistent/vintrel", 0, "\t"), 0);
    EXPECT_EQ(LastError(), "Error Init DORVANE from /nonexistent/vintrel");
    // Without the encoding tables a converter cannot be built: 0, silently.
    vt_api::CDataRoot bare;
    bare.Unlink("UTF8.pdat");
    EXPECT_EQ(VT_Init(bare.Path().c_str(), 1, "\t"), 0);
    EXPECT_EQ(VT_Init(bare.Path().c_str(), 0, "\t"), 1);  // GBK needs no converter
}

TEST_F(LibraryTest, MissingLookAlikeAndPinyinTablesAreNotFatal) {
    m_root.Unlink("Xing.pdat");
    m_root.Unlink("pinyin.pdat");
    Start();
    EXPECT_EQ(Import("abc\n"), 1);
    EXPECT_EQ(Scan("abc"), "filter/1#");
}

TEST_F(LibraryTest, FreshInstanceHasNoKeywords) {
    Start();
    EXPECT_STREQ(VT_Scan("abc", 0), "");
    EXPECT_EQ(LastError(), "Keyword Dictionary is Empty!");
}

// -------------------------------------------------------------------------------------------------
// Import and the plain scan.

TEST_F(LibraryTest, KeywordFileFormsAndDefaults) {
    Start();
    const std::string sFile = std::string("abc\n") +                   // class filter, weight 1
                              "\xEF\xBB\xBF" + "bcd politics 5\n" +     // a byte-order mark on any line
                              "[two words] politics 7\n" +              // weight token is "politics": 1
                              "[xy] money 7 1\n" +                      // bracket without blanks: 7
                              "\n" +                                    // blank: not imported
                              "q\n" +                                   // too short
                              G("中") + "\n" +                          // one GBK character: too short
                              "[broken politics 3\n" +                  // "[" without "]"
                              "mn money 99999999999\n";                 // beyond 32 bits: clamped
    EXPECT_EQ(Import(sFile), 5);
    EXPECT_EQ(Scan("abc" + S + "bcd"), "politics/5#filter/1#");
    EXPECT_EQ(Scan("two words"), "politics/1#");
    EXPECT_EQ(Scan("xy"), "money/7#");
    EXPECT_EQ(Scan("mn"), "money/2147483647#");
    EXPECT_EQ(Scan("q" + S + "broken"), "");
    EXPECT_EQ(Scan(""), "");
    EXPECT_EQ(VT_Scan(nullptr, 0), nullptr);
}

TEST_F(LibraryTest, ScanAddsWeightsOfEveryHitAndOrdersClasses) {
    Start();
    EXPECT_EQ(Import(G("南京市长 politics 5\n长江大桥 place 2\n市长 politics 1\nab b 3\ncd a 3\n")), 5);
    // Overlapping keywords are all counted: 南京市长 (5) + 市长 (1), and 长江大桥 (2).
    EXPECT_EQ(Scan(G("南京市长江大桥")), "politics/6#place/2#");
    EXPECT_EQ(Scan(G("南京市长说南京市长")), "politics/12#");
    // Equal totals keep the order of the class dictionary (b was met first).
    EXPECT_EQ(Scan("cd" + S + "ab"), "b/3#a/3#");
    // Negative totals are left out.
    EXPECT_EQ(Import("neg c -4\n"), 1);
    EXPECT_EQ(Scan("neg" + S + "ab"), "b/3#");
}

TEST_F(LibraryTest, MergeOverwriteAndDelete) {
    Start();
    ASSERT_EQ(Import("abc x 1\nbcd y 2\n"), 2);
    ASSERT_EQ(Import("cde z 3\n"), 1);  // merged
    EXPECT_EQ(Scan("abc" + S + "bcd" + S + "cde"), "z/3#y/2#x/1#");
    ASSERT_EQ(Import("abc x 4\n"), 1);  // merged again: the rows of one class collapse, largest weight
    EXPECT_EQ(Scan("abc"), "x/4#");
    ASSERT_EQ(Import("efg w 4\n", true), 1);  // overwrite
    EXPECT_EQ(Scan("abc" + S + "bcd" + S + "cde" + S + "efg"), "w/4#");
    ASSERT_EQ(Import("abc x 1\nbcd y 2\n"), 2);
    std::string sDelete = m_root.File("delete.txt");
    vt_api::WriteFile(sDelete, "abc anything 9\nnothere\n[efg]\n");
    EXPECT_EQ(VT_DeleteUserDict(sDelete.c_str(), 0), 2);
    EXPECT_EQ(Scan("abc" + S + "bcd" + S + "efg"), "y/2#");
    EXPECT_EQ(VT_DeleteUserDict("/nonexistent/file", 0), 0);
    EXPECT_EQ(Scan("bcd"), "y/2#");
}

TEST_F(LibraryTest, RulesSurviveAnOverwriteAndFailedImportsChangeNothing) {
    Start();
    ASSERT_EQ(Import("abc+bcd rule 5\nabc plain 1\n"), 2);
    EXPECT_EQ(Scan("abc" + S + "bcd"), "plain/1#");  // rule keywords have no class rows of their own
    ASSERT_EQ(Import("xyz other 2\n", true), 1);
    EXPECT_EQ(Scan("abc" + S + "xyz"), "other/2#");
    // A file that cannot be read: 0, and the dictionaries stay.
    EXPECT_EQ(VT_ImportUserDict("/nonexistent/words.txt", 1, 0), 0);
    EXPECT_EQ(Scan("xyz"), "other/2#");
    // Files that cannot be written (a file-size limit the library runs into half-way): 0, and both the
    // dictionaries in memory and the files on disk stay exactly as they were.
    const std::string sKeyFile = m_root.File("Vintrelner/Filter0_key.pdat");
    const std::string sBefore = vt_api::ReadFile(sKeyFile);
    ASSERT_FALSE(sBefore.empty());
    std::string sBig;
    for (int i = 0; i < 3000; ++i) sBig += "word" + std::to_string(i) + " big 1\n";
    signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    std::string sFile = m_root.File("big.txt");
    ASSERT_TRUE(vt_api::WriteFile(sFile, sBig));
    rlimit limit = old;
    limit.rlim_cur = 100000;  // the new key dictionary is larger
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    int nResult = VT_ImportUserDict(sFile.c_str(), 1, 0);
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(nResult, 0);
    EXPECT_EQ(Scan("xyz" + S + "word1"), "other/2#");
    EXPECT_EQ(vt_api::ReadFile(sKeyFile), sBefore);
    EXPECT_EQ(VT_ImportUserDict(sFile.c_str(), 1, 0), 3000);  // without the limit it goes through
}

TEST_F(LibraryTest, TooManyClassesAreReportedAndTheImportGoesOn) {
    Start();
    std::string sFile;
    for (int i = 0; i < 256; ++i) sFile += "kw" + std::to_string(i) + " class" + std::to_string(i) + " 1\n";
    EXPECT_EQ(Import(sFile), 256);
    EXPECT_EQ(LastError(), "Class count cannot over 255");
}

TEST_F(LibraryTest, JunkAndLongLinesLoseNothingElse) {
    Start();
    std::string sFile = "abc good 2\n";
    sFile += std::string(5000, 'x') + " long 1\n";  // read in pieces of 3071 bytes
    for (int i = 1; i < 256; ++i) sFile.push_back(static_cast<char>(i));
    sFile += "\nbcd good 3\n+ - ; { } rule 1\n";
    EXPECT_GE(Import(sFile), 2);
    EXPECT_EQ(Scan("abc" + S + "bcd"), "good/5#");
}

TEST_F(LibraryTest, UTF8CallersReadAndWriteUTF8) {
    Start(1);
    std::string sFile = "南京市长 政治 5\n";
    EXPECT_EQ(Import(sFile), 1);
    EXPECT_EQ(Scan("南京市长江大桥"), "政治/5#");
}

TEST_F(LibraryTest, StatisticsReport) {
    Start();
    ASSERT_EQ(Import("abc x 3\nbcd y 2\n"), 2);
    Scan("abc" + S + "abc" + S + "bcd");
    std::string sReport = m_root.File("stat.txt");
    ASSERT_EQ(VT_ScanStat(sReport.c_str(), 0), 1);
    std::string s = vt_api::ReadFile(sReport);
    // 命中的规则数： 2 ... then the header and one row per keyword hit, most hits first.
    EXPECT_NE(s.find(G("命中的规则数：") + "\t2\t"), std::string::npos);
    // Deliberate: no line was scanned by the line scan, and nothing guards the rate's 0 / 0.
    EXPECT_NE(s.find(G("疑似敏感率：") + "\t"), std::string::npos);
    EXPECT_NE(s.find("nan%\n"), std::string::npos);
    EXPECT_NE(s.find(G("规则编号\t关键词\t类别\t权重\t命中次数\n") + "0\tabc\tx\t3\t2\n1\tbcd\ty\t2\t1\n"),
              std::string::npos);
    EXPECT_EQ(VT_ScanStat(nullptr, 0), 0);
    EXPECT_EQ(VT_ScanStat("/nonexistent/dir/stat.txt", 0), 0);
    EXPECT_EQ(LastError(), "Error open  /nonexistent/dir/stat.txt");
}

// -------------------------------------------------------------------------------------------------
// Persistence: an import survives VT_Exit and is found by another process.

TEST_F(LibraryTest, ImportInOneProcessScanInAnother) {
    std::string sFile = m_root.File("persist.txt");
    vt_api::WriteFile(sFile, "abc x 3\nbcd y 2\nabc+bcd r 1\n");
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        int nOk = VT_Init(m_root.Path().c_str(), 0, "\t") == 1 && VT_NewInstance() == 1 &&
                  VT_ImportUserDict(sFile.c_str(), 0, 1) == 3;
        VT_Exit();
        _exit(nOk ? 0 : 1);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
    ASSERT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);
    Start();
    EXPECT_EQ(VT_NewInstance(), 1);  // instance 1 loads Filter1_ files
    EXPECT_EQ(Scan("abc" + S + "bcd", 1), "x/3#y/2#");
    EXPECT_STREQ(VT_Scan("abc", 0), "");  // instance 0 has its own (empty) files
    EXPECT_TRUE(vt_api::Exists(m_root.File("Vintrelner/Filter1_ComplexFilter.dat")));
}

}  // namespace

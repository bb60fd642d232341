// Utility_test.cpp: logging, file reading, directory listing and the text helpers of Utility.h, and
// the portability helpers of global_linux.h.
#include "Utility/Utility.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <ctime>
#include <filesystem>
#include <regex>
#include <utility>

#include "Utility/ReadFile.h"
#include "support/TestSupport.h"

using vt_test::G;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The names of the files in sDir, sorted.
std::vector<std::string> FileNames(const std::string& sDir) {
    std::vector<std::string> vecNames;
    for (const auto& entry : std::filesystem::directory_iterator(sDir)) {
        vecNames.push_back(entry.path().filename().string());
    }
    std::sort(vecNames.begin(), vecNames.end());
    return vecNames;
}

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path();
    }
    vt_test::CTempDir m_dir;
};

// WriteLog and WriteError write one dated file per kind, each line "[date time]\tcontent\n" whose
// date is the file's date; the content stops at a NUL; nothing is written while logging is off.
// ReportError keeps the last message and logs it.
TEST_F(LogTest, WritesDatedLinesPerKind) {
    std::string sBefore = vt_test::Today();
    WriteLog("first line");
    WriteError(std::string("cut\0here", 8));
    g_bLog = false;
    WriteLog("not written");
    WriteError("not written");
    g_bLog = true;
    WriteLog(G("中文"));
    ReportErrorF("Cannot read file %s (%d)", "x.txt", 7);
    EXPECT_STREQ(GetLastErrorMessage(), "Cannot read file x.txt (7)");
    ReportError("second");
    ReportErrorF(nullptr);
    EXPECT_STREQ(GetLastErrorMessage(), "second");
    ASSERT_EQ(sBefore, vt_test::Today()) << "the day changed during the test; run it again";

    EXPECT_EQ(FileNames(m_dir.Path()),
              (std::vector<std::string>{sBefore + ".err", sBefore + ".log"}));
    std::string sLog = vt_test::ReadWholeFile(m_dir.File(sBefore + ".log"));
    std::smatch m;
    std::string sFirst = sLog.substr(0, sLog.find('\n') + 1);
    ASSERT_TRUE(std::regex_match(sFirst, m,
                                 std::regex(R"(\[(\d{4})-(\d\d)-(\d\d) \d\d:\d\d:\d\d\]\t(.*)\n)")))
        << sFirst;
    EXPECT_EQ(m[1].str() + m[2].str() + m[3].str(), sBefore);
    EXPECT_EQ(m[4].str(), "first line");
    EXPECT_EQ(sLog.substr(sFirst.size() + 21), "\t" + G("中文") + "\n");
    std::string sErr = vt_test::ReadWholeFile(m_dir.File(sBefore + ".err"));
    EXPECT_EQ(sErr.substr(21, 5), "\tcut\n");
    EXPECT_NE(sErr.find("]\tCannot read file x.txt (7)\n["), std::string::npos);
    EXPECT_NE(sErr.find("]\tsecond\n"), std::string::npos);
}

// Deliberate: an explicit directory gets a slash added even when it already ends in one. When it
// cannot be written, the line and the full path go to standard output. An empty g_sLogPath becomes
// the working directory at the first write.
TEST_F(LogTest, ExplicitDirectoryStdoutFallbackAndWorkingDirectory) {
    std::string sDay = vt_test::Today();
    std::string sSub = m_dir.File("sub");
    ASSERT_EQ(mkdir(sSub.c_str(), 0755), 0);
    WriteError("into sub", (sSub + "/").c_str());
    EXPECT_NE(vt_test::ReadWholeFile(sSub + "/" + sDay + ".err").find("]\tinto sub\n"),
              std::string::npos);

    std::string sMissing = m_dir.File("missing") + "/";
    testing::internal::CaptureStdout();
    WriteLog("lost line", sMissing.c_str());
    std::string sOut = testing::internal::GetCapturedStdout();
    size_t nFirstEnd = sOut.find('\n') + 1;
    EXPECT_TRUE(std::regex_match(sOut.substr(0, nFirstEnd),
                                 std::regex(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] lost line\n)")))
        << sOut;
    EXPECT_EQ(sOut.substr(nFirstEnd),
              "Cannot write log file " + sMissing + "/" + sDay + ".log!\r\n");

    char sOld[4096], sCwd[4096];
    ASSERT_NE(getcwd(sOld, sizeof(sOld)), nullptr);
    ASSERT_EQ(chdir(sSub.c_str()), 0);
    g_sLogPath.clear();
    WriteLog("here");
    ASSERT_NE(getcwd(sCwd, sizeof(sCwd)), nullptr);
    ASSERT_EQ(chdir(sOld), 0);
    EXPECT_EQ(g_sLogPath, sCwd);
    EXPECT_TRUE(vt_test::FileExists(sSub + "/" + sDay + ".log"));
}

// ReadFile: whole files, pieces, requests past the end, bad offsets and missing files.
TEST_F(LogTest, ReadFileReadsPiecesAndFailsSafely) {
    std::string sData = std::string("0123456789") + '\0' + "abc";
    std::string sPath = m_dir.File("data.bin");
    ASSERT_TRUE(vt_test::WriteWholeFile(sPath, sData));
    char* pBuf = reinterpret_cast<char*>(1);
    EXPECT_EQ(ReadFile(sPath.c_str(), &pBuf), sData.size());
    EXPECT_EQ(std::string(pBuf, sData.size() + 1), sData + '\0');
    delete[] pBuf;
    EXPECT_EQ(ReadFile(sPath.c_str(), &pBuf, 3, 4), 4u);
    EXPECT_STREQ(pBuf, "3456");
    delete[] pBuf;
    EXPECT_EQ(ReadFile(sPath.c_str(), &pBuf, 11, SIZE_MAX), 3u);  // past the end: up to the end
    EXPECT_STREQ(pBuf, "abc");
    delete[] pBuf;

    struct Case {
        long nOffset;
        size_t nSize;
        bool bReadAll;
    };
    for (Case c : {Case{14, 0, true}, Case{100, 5, true}, Case{-1, 5, true}, Case{0, 0, false}}) {
        pBuf = reinterpret_cast<char*>(1);
        EXPECT_EQ(ReadFile(sPath.c_str(), &pBuf, c.nOffset, c.nSize, c.bReadAll), 0u) << c.nOffset;
        EXPECT_EQ(pBuf, nullptr);
    }
    ASSERT_TRUE(vt_test::WriteWholeFile(m_dir.File("empty"), ""));
    const std::string sEmpty = m_dir.File("empty"), sMissing = m_dir.File("missing.txt");
    EXPECT_EQ(ReadFile(nullptr, &pBuf), 0u);
    for (const char* s : {sEmpty.c_str(), "", sMissing.c_str()}) {
        pBuf = reinterpret_cast<char*>(1);
        EXPECT_EQ(ReadFile(s, &pBuf), 0u);
        EXPECT_EQ(pBuf, nullptr) << s;
    }
    EXPECT_EQ(ReadFile(sPath.c_str(), nullptr), 0u);
    std::string sLog = vt_test::ReadWholeFile(m_dir.File(vt_test::Today() + ".log"));
    EXPECT_NE(sLog.find("]\tFailed open file  " + sMissing + "\n"), std::string::npos) << sLog;
}

// CReadFile keeps the file open: an unlinked file can still be read under its name, names are
// compared without case, and asking for another file lets the old one go.
TEST_F(LogTest, ReadFileHoldsLastFile) {
    ASSERT_TRUE(vt_test::WriteWholeFile(m_dir.File("a.txt"), "lower"));
    ASSERT_TRUE(vt_test::WriteWholeFile(m_dir.File("A.txt"), "UPPER"));
    ASSERT_TRUE(vt_test::WriteWholeFile(m_dir.File("b.txt"), "bee"));
    CReadFile reader;
    std::string s;
    EXPECT_EQ(reader.ReadFile(m_dir.File("a.txt").c_str(), s), 5u);
    EXPECT_EQ(reader.ReadFile(m_dir.File("A.txt").c_str(), s), 5u);
    EXPECT_EQ(s, "lower");  // Deliberate: same name without case, so the held file answers
    ASSERT_EQ(unlink(m_dir.File("a.txt").c_str()), 0);
    EXPECT_EQ(reader.ReadFile(m_dir.File("a.txt").c_str(), s, 1, 3), 3u);
    EXPECT_EQ(s, "owe");
    EXPECT_EQ(reader.ReadFile(m_dir.File("b.txt").c_str(), s), 3u);
    EXPECT_EQ(s, "bee");
    EXPECT_EQ(reader.ReadFile(m_dir.File("a.txt").c_str(), s), 0u);
    EXPECT_EQ(s, "");
    EXPECT_EQ(reader.ReadFile(m_dir.File("b.txt").c_str(), s), 3u);  // a failed open keeps b held
}

TEST_F(LogTest, ScanFilesAndCleanDirectory) {
    std::string sRoot = m_dir.File("root");
    std::filesystem::create_directories(sRoot + "/sub/deeper");
    for (const char* sName : {"/a.ks", "/b.txt", "/sub/c.ks", "/sub/deeper/d.ks", "/sub/e"}) {
        ASSERT_TRUE(vt_test::WriteWholeFile(sRoot + sName, "x"));
    }
    std::filesystem::create_directory_symlink(sRoot, sRoot + "/sub/loop");     // a cycle
    std::filesystem::create_symlink(sRoot + "/nowhere", sRoot + "/dangling");  // stat fails

    std::vector<std::string> vecFiles{"kept"};
    testing::internal::CaptureStdout();
    EXPECT_TRUE(gfn_vScanFiles(sRoot.c_str(), vecFiles, ".ks"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error:stat " + sRoot + "/dangling\n");
    std::sort(vecFiles.begin(), vecFiles.end());
    EXPECT_EQ(vecFiles, (std::vector<std::string>{sRoot + "/a.ks", sRoot + "/sub/c.ks",
                                                  sRoot + "/sub/deeper/d.ks", "kept"}));
    auto fnInSub = [](const std::string& s) { return s.find("/sub/") != std::string::npos; };
    for (const char* sFilter : {"", "*"}) {
        vecFiles.clear();
        testing::internal::CaptureStdout();
        EXPECT_TRUE(gfn_vScanFiles(sRoot.c_str(), vecFiles, sFilter));
        testing::internal::GetCapturedStdout();
        ASSERT_EQ(vecFiles.size(), 5u) << sFilter;
        auto itFirst = std::find_if(vecFiles.begin(), vecFiles.end(), fnInSub);  // depth first
        EXPECT_TRUE(itFirst <= vecFiles.end() - 3 && std::all_of(itFirst, itFirst + 3, fnInSub));
    }
    testing::internal::CaptureStdout();
    EXPECT_FALSE(gfn_vScanFiles((sRoot + "/none").c_str(), vecFiles, ""));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              " Failure to open the directory " + sRoot + "/none\n");

    EXPECT_TRUE(gfn_bCleanDirectory(sRoot.c_str()));
    EXPECT_EQ(FileNames(sRoot), (std::vector<std::string>{"sub"}));
    EXPECT_TRUE(vt_test::FileExists(sRoot + "/sub/c.ks"));
    EXPECT_TRUE(gfn_bCleanDirectory(m_dir.File("new").c_str()));
    EXPECT_TRUE(vt_test::FileExists(m_dir.File("new")));
    EXPECT_FALSE(gfn_bCleanDirectory(""));
    EXPECT_FALSE(gfn_bCleanDirectory(nullptr));
}

TEST(PathTest, GetRelevatePathSplitsAtLastSeparator) {
    char sPath[1100];
    char sFile[1100];
    const std::string sCwd = std::filesystem::current_path().string();
    for (const auto& [sIn, sDir, sName] :
         std::vector<std::tuple<std::string, std::string, std::string>>{
             {"/data/in/x.txt", "/data/in/", "x.txt"},
             {"a/b\\c.txt", "a/b/", "c.txt"},
             {"a\\b/c.txt", "a\\b/", "c.txt"},
             {"dir/", "dir/", ""},
             {"plain.txt", sCwd, "plain.txt"}}) {
        EXPECT_STREQ(GetRelevatePath(sIn.c_str(), sPath, sFile), sName.c_str()) << sIn;
        EXPECT_EQ(sPath, sDir) << sIn;
    }
    EXPECT_STREQ(GetRelevatePath(nullptr, sPath, sFile), "");
    EXPECT_STREQ(sPath, "");
    EXPECT_EQ(GetRelevatePath("a/b", nullptr, sFile), nullptr);
}

TEST(TextTest, IsEnglishText) {
    // At least 80% of the non-blank bytes printable ASCII; blanks do not count.
    EXPECT_TRUE(IsEnglishText("Hello, world!\n", 14));
    std::string s8 = "abcdefgh" + G("中");  // 8 of 10
    EXPECT_TRUE(IsEnglishText(s8.c_str(), s8.size()));
    std::string s7 = "abc  \t\r\n  defg" + G("中");  // 7 of 9
    EXPECT_FALSE(IsEnglishText(s7.c_str(), s7.size()));
    EXPECT_FALSE(IsEnglishText("abc\0\0\0\0\0\0\0", 10));  // binary
    EXPECT_FALSE(IsEnglishText(" \n", 2));
    EXPECT_FALSE(IsEnglishText(nullptr, 5));

    vt_test::CTempDir dir;
    g_sLogPath = dir.Path();
    vt_test::WriteWholeFile(dir.File("en.txt"), "The quick brown fox.\n");
    vt_test::WriteWholeFile(dir.File("zh.txt"), G("敏感词扫描。\n"));
    EXPECT_TRUE(IsEnglishTextFile(dir.File("en.txt").c_str()));
    EXPECT_FALSE(IsEnglishTextFile(dir.File("zh.txt").c_str()));
    EXPECT_FALSE(IsEnglishTextFile(dir.File("none.txt").c_str()));
    EXPECT_FALSE(IsEnglishTextFile(nullptr));
}

// InPlace: fn applied to a writable copy of s.
std::string InPlace(char* (*fn)(char*), const std::string& s) {
    std::vector<char> vec(s.begin(), s.end());
    vec.push_back('\0');
    return fn(vec.data());
}

TEST(TextTest, WordStandardAndStrNormalize) {
    // "，" (0xAC) is below 0xBB: kept whole. Earlier rules win: "｛" (0xA3 0xFB) is caught by the
    // 0xBB-and-above rule, not kept as "{". A lone lead byte at the end goes.
    for (const auto& [sIn, sOut] : Pairs{{G("ＡＢｃ１２3 Ｘ"), "abc123x"},
                                         {G("（中文）"), G("中文")},
                                         {G("a＋b"), "a+b"},
                                         {G("a；b"), "a;b"},
                                         {G("a，b"), G("a，b")},
                                         {G("｛x｝"), ";x;"},
                                         {G("。“A”【b】《c》"), "abc"},
                                         {"A+B-{C};d.e,f_g!", "a+b-{c};defg"},
                                         {"ab\xD6", "ab"},
                                         {"", ""}}) {
        EXPECT_EQ(InPlace(WordStandard, sIn), sOut) << sIn;
    }
    EXPECT_EQ(WordStandard(nullptr), nullptr);
    // Deliberate: the trailing-blank test looks at the byte after the written text, which is what
    // is left of the input there: "a  " loses its blank, "a b " keeps it, and in "x\t\ty  z" the
    // leftover space at offset 5 costs the final "z".
    for (const auto& [sIn, sOut] : Pairs{{"  a \t\r\n b", "a b"},
                                         {"x\t\ty z", "x y z"},
                                         {"a  ", "a"},
                                         {"a b ", "a b "},
                                         {"x\t\ty  z", "x y "},
                                         {" \r\n ", ""},
                                         {G("中 文"), G("中 文")}}) {
        EXPECT_EQ(InPlace(StrNormalize, sIn), sOut) << sIn;
    }
    EXPECT_EQ(StrNormalize(nullptr), nullptr);
}

TEST(TextTest, SentenceBounds) {
    std::string s = "abc" + G("。") + "def";
    EXPECT_EQ(FindSentenceEnd(s.c_str(), 0), 5u);
    EXPECT_EQ(FindSentenceEnd(s.c_str(), 5), s.size());
    EXPECT_EQ(FindSentenceEnd("a b?c", 0), 4u);
    EXPECT_EQ(FindSentenceEnd("ab\xD6", 0), 3u);
    EXPECT_EQ(FindSentenceEnd("abc", 99), 3u);
    EXPECT_EQ(FindSentenceEnd(nullptr, 0), 0u);

    EXPECT_EQ(FindSentenceStart(s.c_str(), 0), 0u);
    EXPECT_EQ(FindSentenceStart(s.c_str(), s.size()), 5u);
    EXPECT_EQ(FindSentenceStart("ab.cd\nef", 8), 6u);
    EXPECT_EQ(FindSentenceStart("ab.cd", 99), 3u);
    // Deliberate: the byte at 0 is never tested, and the walk does not resynchronise: the trail
    // byte 0x40 of "丂" (0x81 0x40) is read alone, so the pair (0xA3, 0x81) hides the "。" before
    // it.
    EXPECT_EQ(FindSentenceStart(".abc", 4), 0u);
    std::string sShifted = "x" + G("。丂") + "c";
    EXPECT_EQ(FindSentenceStart(sShifted.c_str(), sShifted.size()), 0u);
    std::string sAligned = "x" + G("。中") + "c";
    EXPECT_EQ(FindSentenceStart(sAligned.c_str(), sAligned.size()), 3u);
    EXPECT_EQ(FindSentenceStart(nullptr, 3), 0u);
}

TEST(TextTest, StrLineSplitsLinesAndProtectedRuns) {
    char sText[] = "  ab\r\ncd^^raw\nx^^tail^^open";
    char* pNext = nullptr;
    char cSep = 'x';
    int nStatus = 9;
    EXPECT_STREQ(StrLine(sText, &pNext, &cSep, &nStatus, true), "ab");
    EXPECT_EQ(cSep, '\r');
    EXPECT_EQ(pNext, sText + 4);
    EXPECT_EQ(nStatus, 0);
    *pNext = cSep;
    EXPECT_STREQ(StrLine(pNext, &pNext, &cSep, &nStatus, true), "cd");  // ends before the marker
    EXPECT_EQ(cSep, '^');
    *pNext = cSep;
    EXPECT_STREQ(StrLine(pNext, &pNext, &cSep, &nStatus, true),
                 "raw\nx");  // the run crosses a line end
    EXPECT_EQ(nStatus, 1);
    EXPECT_EQ(pNext, sText + 17);  // just after the closing marker
    *pNext = cSep;
    EXPECT_STREQ(StrLine(pNext, &pNext, &cSep, &nStatus, true),
                 "tail^^open");  // unclosed: plain text
    EXPECT_EQ(nStatus, 0);
    EXPECT_EQ(pNext, nullptr);

    char sPlain[] = "^^a^^\n";
    EXPECT_STREQ(StrLine(sPlain, &pNext, &cSep, &nStatus, false), "^^a^^");
    char sLater[] = "ab\n^^x^^";  // the marker is after the line end
    EXPECT_STREQ(StrLine(sLater, &pNext, &cSep, &nStatus, true), "ab");
    char sBlank[] = " \r\n\t";
    EXPECT_EQ(StrLine(sBlank, &pNext, &cSep, &nStatus, true), nullptr);
    EXPECT_EQ(pNext, nullptr);
    EXPECT_EQ(StrLine(nullptr, &pNext, &cSep, &nStatus, true), nullptr);
    char sOk[] = "a\nb";
    EXPECT_STREQ(StrLine(sOk, nullptr, nullptr, nullptr, true), "a");
}

TEST(TextTest, CharacterStepping) {
    char sChar[3];
    EXPECT_EQ(Getchar((G("中") + "a").c_str(), sChar), 2u);
    EXPECT_EQ(std::string(sChar), G("中"));
    EXPECT_EQ(Getchar("\xD6", sChar), 1u);  // lone lead byte
    EXPECT_STREQ(sChar, "\xD6");
    EXPECT_EQ(Getchar("", sChar), 0u);
    EXPECT_EQ(Getchar(nullptr, sChar), 0u);
    EXPECT_EQ(Getchar("a", nullptr), 0u);

    // (start, length, code, position after): the last byte is no pair; the length, not the NUL,
    // decides; a negative or past-the-end start gives 0 and moves to the length.
    std::string t = "A" + G("中") + "\xD6";
    struct Step {
        int nPos;
        unsigned nLen, nCode;
        int nAfter;
    };
    for (const Step& c : {Step{0, 4, 'a', 1}, Step{1, 4, 0xD6D0u, 3}, Step{3, 4, 0xD6u, 4},
                          Step{4, 4, 0, 4}, Step{1, 2, 0xD6u, 2}, Step{-3, 4, 0, 4}}) {
        int nPos = c.nPos;
        EXPECT_EQ(GetCharCode(t.c_str(), nPos, c.nLen), c.nCode) << c.nPos << "/" << c.nLen;
        EXPECT_EQ(nPos, c.nAfter) << c.nPos << "/" << c.nLen;
    }
    int nPos = 0;
    EXPECT_EQ(GetCharCode(nullptr, nPos, 10), 0u);
    EXPECT_EQ(nPos, 10);
}

TEST(TextTest, FindingAndSearching) {
    // Deliberate: only the first byte-wise occurrence counts, and only at an even offset.
    std::string s = G("中文"), sOdd = "a" + G("中"), sHidden = G("啊啊“");  // B0A1 B0A1 A1B0
    EXPECT_EQ(CC_Find(s.c_str(), G("文").c_str()), s.c_str() + 2);
    EXPECT_EQ(CC_Find(sOdd.c_str(), G("中").c_str()), nullptr);
    EXPECT_EQ(CC_Find(sHidden.c_str(), G("“").c_str()), nullptr);  // "“" matches at 1 first
    EXPECT_EQ(CC_Find("abcd", "b"), nullptr);
    EXPECT_STREQ(CC_Find("abcd", "cd"), "cd");
    EXPECT_EQ(CC_Find("abcd", ""), nullptr);
    EXPECT_EQ(CC_Find(nullptr, "a"), nullptr);
    EXPECT_EQ(CC_Find("a", nullptr), nullptr);

    // BinarySearch ignores case.
    const char* sTable[] = {"Apple", "banana", "Cherry", "date"};
    const char* sKeys[] = {"apple", "BANANA", "cherry", "Date"};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(BinarySearch(sKeys[i], sTable, 4), i) << sKeys[i];
    EXPECT_EQ(BinarySearch("fig", sTable, 4), -1);
    EXPECT_EQ(BinarySearch("date", sTable, 3), -1);
    EXPECT_EQ(BinarySearch("apple", sTable, 0), -1);
    EXPECT_EQ(BinarySearch(nullptr, sTable, 4), -1);
    EXPECT_EQ(BinarySearch("a", nullptr, 4), -1);
}

TEST(TextTest, GetStrVectorAndDelimiter2DictFormat) {
    std::vector<std::string> vec{"old"};
    EXPECT_EQ(GetStrVector(",a,b c,,d\r\n", ",", vec), 3u);
    EXPECT_EQ(vec, (std::vector<std::string>{"a", "b c", "d"}));
    EXPECT_EQ(GetStrVector("3.14", ".", vec), 2u);  // English mode is off
    EXPECT_EQ(GetStrVector("x\n", nullptr, vec), 1u);
    EXPECT_EQ(vec[0], "x");
    EXPECT_EQ(GetStrVector(nullptr, ",", vec), 0u);
    EXPECT_TRUE(vec.empty());
    EXPECT_EQ(GetStrVector(",,\r\n", ",", vec), 0u);

    const std::string sAscii = ".,;:?!%(){+}[]/=";
    const std::string sFull = G("。，；：？！％（）｛＋｝［］／＝");
    char sWord[3];
    for (size_t i = 0; i < sAscii.size(); ++i) {
        EXPECT_TRUE(Delimiter2DictFormat(sAscii[i], sWord)) << sAscii[i];
        EXPECT_EQ(std::string(sWord), sFull.substr(2 * i, 2)) << sAscii[i];
    }
    EXPECT_FALSE(Delimiter2DictFormat('@', sWord));
    EXPECT_STREQ(sWord, "@");
    EXPECT_FALSE(Delimiter2DictFormat('.', nullptr));
}

TEST(TextTest, SortedListSetOperations) {
    std::vector<int> a{1, 3, 5, 7, 10}, b{2, 4, 8, 9}, result{99};
    EXPECT_EQ(Intersection(a, b, 1, result), 4u);  // appended after what was there
    EXPECT_EQ(result, (std::vector<int>{99, 1, 3, 7}));
    result.clear();
    EXPECT_EQ(Intersection(b, a, -1, result), 3u);
    EXPECT_EQ(result, (std::vector<int>{2, 4, 8}));
    std::vector<int> big{INT_MAX}, small{INT_MIN};
    result.clear();
    EXPECT_EQ(Intersection(big, small, 1, result), 0u);  // no overflow

    std::vector<int> c{1, 2, 2, 3, 5}, d{2, 3, 4}, empty;
    EXPECT_TRUE(Not(c, d));
    EXPECT_EQ(c, (std::vector<int>{1, 2, 5}));  // each b value removes one
    EXPECT_FALSE(Not(c, d = {0, 4}));
    EXPECT_EQ(c, (std::vector<int>{1, 2, 5}));
    EXPECT_FALSE(Not(empty, d));
}

TEST(PortabilityTest, GlobalLinuxHelpers) {
    char sBuf[12];
    EXPECT_STREQ(itoa(8, sBuf, 8), "10");
    EXPECT_STREQ(itoa(255, sBuf, 16), "ff");
    EXPECT_STREQ(itoa(-1, sBuf, 16), "ffffffff");
    EXPECT_STREQ(itoa(INT_MIN, sBuf, 10), "-2147483648");
    EXPECT_STREQ(itoa(5, sBuf, 2), "5");  // every other radix prints in decimal

    const std::string s = "AbC" + G("中") + "z!";
    EXPECT_EQ(InPlace(strlwr, s), "abc" + G("中") + "z!");
    EXPECT_EQ(InPlace(strupr, s), "ABC" + G("中") + "Z!");
    EXPECT_EQ(InPlace(strrev, s), "!z" + G("中").substr(1) + G("中").substr(0, 1) + "CbA");
    EXPECT_TRUE(strlwr(nullptr) == nullptr && strupr(nullptr) == nullptr &&
                strrev(nullptr) == nullptr);
    EXPECT_EQ(std::string() + GetUpperLetter('q') + GetUpperLetter('{') + GetUpperLetter('\xE1'),
              "Q{\xE1");
    EXPECT_EQ(std::string() + GetLowerLetter('Q') + GetLowerLetter('@') + GetLowerLetter('\xC1'),
              "q@\xC1");
}

}  // namespace

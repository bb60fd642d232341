// LoggingThreads_test.cpp: logging, the last-error text and CReadFile used from several threads at
// once. Run under ThreadSanitizer by `make tsan`.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "Utility/ReadFile.h"
#include "Utility/Utility.h"
#include "support/TestSupport.h"

namespace {

constexpr int THREADS = 8;
constexpr int LINES = 300;

// Every line of the files in sDir whose name ends with sExt.
std::vector<std::string> LinesOf(const std::string& sDir, const std::string& sExt) {
    std::vector<std::string> vecLines;
    for (const auto& entry : std::filesystem::directory_iterator(sDir)) {
        if (entry.path().extension() != sExt) continue;
        std::istringstream in(vt_test::ReadWholeFile(entry.path().string()));
        for (std::string s; std::getline(in, s);) vecLines.push_back(s);
    }
    return vecLines;
}

// Each text "t<thread> l<line> <padding>" appears exactly once as a well-formed line.
void ExpectEveryLineOnce(const std::vector<std::string>& vecLines, const std::string& sPadding) {
    const std::regex reLine(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\]\tt(\d+) l(\d+) (.*))");
    std::map<std::pair<int, int>, int> mapSeen;
    for (const auto& sLine : vecLines) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(sLine, m, reLine)) << sLine.substr(0, 80);
        EXPECT_EQ(m[3].str(), sPadding);
        ++mapSeen[{std::stoi(m[1].str()), std::stoi(m[2].str())}];
    }
    EXPECT_EQ(mapSeen.size(), size_t{THREADS * LINES});
    for (const auto& seen : mapSeen) EXPECT_EQ(seen.second, 1);
}

TEST(LoggingThreadsTest, ConcurrentLinesAreWholeAndComplete) {
    vt_test::CTempDir dir;
    g_bLog = true;
    g_sLogPath = dir.Path();
    // Long lines make a torn write likely if writes were not whole.
    const std::string sPadding(700, 'x');
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < THREADS; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int i = 0; i < LINES; ++i) {
                std::string sText =
                    "t" + std::to_string(t) + " l" + std::to_string(i) + " " + sPadding;
                if (t % 2 == 0) {
                    WriteLog(sText);
                } else {
                    WriteLog(sText, dir.Path().c_str());
                }
            }
        });
    }
    for (auto& th : vecThreads) th.join();
    ExpectEveryLineOnce(LinesOf(dir.Path(), ".log"), sPadding);
}

// ReportError from many threads: the last-error text is always one whole message (the last writer
// wins) and every message reaches the error log once.
TEST(LoggingThreadsTest, ReportErrorIsRaceFree) {
    vt_test::CTempDir dir;
    g_bLog = true;
    g_sLogPath = dir.Path();
    EXPECT_STREQ(GetLastErrorMessage(), "");
    std::vector<std::thread> vecThreads;
    std::vector<int> vecTorn(THREADS, 0);
    for (int t = 0; t < THREADS; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int i = 0; i < LINES; ++i) {
                ReportErrorF("t%d l%d %s", t, i, "msg");
                const char* sLast = GetLastErrorMessage();
                // A whole message is "t<n> l<n> msg" and nothing more (no std::regex here: its
                // locale caching is itself racy under ThreadSanitizer).
                int nThread = -1;
                int nLine = -1;
                int nEnd = -1;
                std::sscanf(sLast, "t%d l%d msg%n", &nThread, &nLine, &nEnd);
                if (nEnd < 0 || sLast[nEnd] != '\0' || nThread >= THREADS || nLine >= LINES)
                    ++vecTorn[t];
            }
        });
    }
    for (auto& th : vecThreads) th.join();
    for (int t = 0; t < THREADS; ++t) EXPECT_EQ(vecTorn[t], 0) << t;
    ExpectEveryLineOnce(LinesOf(dir.Path(), ".err"), "msg");
}

// One CReadFile shared by readers of one file and readers that keep switching between two files:
// every read returns the right bytes.
TEST(LoggingThreadsTest, SharedReadFileServesAllReaders) {
    vt_test::CTempDir dir;
    g_sLogPath = dir.Path();
    std::string sA;
    std::string sB;
    for (int i = 0; i < 5000; ++i) {
        sA += static_cast<char>('a' + i % 26);
        sB += static_cast<char>('0' + i % 10);
    }
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("a.txt"), sA));
    ASSERT_TRUE(vt_test::WriteWholeFile(dir.File("b.txt"), sB));
    CReadFile reader;
    std::vector<int> vecWrong(THREADS, 0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < THREADS; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int i = 0; i < 200; ++i) {
                bool bUseB = (t % 4 == 3) && (i % 2 == 1);
                const std::string& sWhole = bUseB ? sB : sA;
                std::string sPath = dir.File(bUseB ? "b.txt" : "a.txt");
                size_t nOffset = static_cast<size_t>((t * 7919 + i * 104729) % 4900);
                std::string sGot;
                size_t nRead =
                    reader.ReadFile(sPath.c_str(), sGot, static_cast<long>(nOffset), 100);
                if (nRead != 100 || sGot != sWhole.substr(nOffset, 100)) ++vecWrong[t];
            }
        });
    }
    for (auto& th : vecThreads) th.join();
    for (int t = 0; t < THREADS; ++t) EXPECT_EQ(vecWrong[t], 0) << t;
}

}  // namespace

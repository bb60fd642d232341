// StrTran_test.cpp: the string translation table: text and pair imports, the five files, lookups,
// translation with position pairs, protected runs, bad input, damaged and mismatched files, and
// concurrent translation.
#include "Utility/StrTran.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Utility/Utility.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

// Pairs: each position pair as {input start, input length, result start, result length}.
using PairList = std::vector<std::vector<int>>;
PairList Pairs(const std::vector<_TermPositionPair>& vecPos) {
    PairList vec;
    for (const auto& pair : vecPos) {
        vec.push_back({pair.second.iStartPos, pair.second.nWordLen, pair.first.iStartPos,
                       pair.first.nWordLen});
    }
    return vec;
}

std::string Int32Bytes(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        for (int i = 0; i < 4; ++i)
            s += static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    }
    return s;
}

const char* const FILES[] = {"Xing.pdat", "Xing.wordlist", "Zi.pdat", "Zi.wordlist", "Xing2Zi.map"};

// A shape-variant table of look-alike character pairs and one traditional character, built in a
// temporary directory; the error log goes there too.
class StrTranTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_bLog = true;
        g_sLogPath = m_dir.Path();
        m_vecPairs = {
            {G("弓长"), G("张")}, {G("辶斤"), G("近")}, {G("言午"), G("许")}, {G("習"), G("习")}};
        testing::internal::CaptureStdout();
        EXPECT_EQ(m_tran.Import(m_vecPairs), 4);
        testing::internal::GetCapturedStdout();
    }
    std::string Prefix() const { return m_dir.Path() + "/"; }
    bool Logged(const std::string& sMessage) const {
        for (const auto& entry : std::filesystem::directory_iterator(m_dir.Path())) {
            if (entry.path().extension() == ".err" &&
                vt_test::ReadWholeFile(entry.path()).find("]\t" + sMessage) != std::string::npos) {
                return true;
            }
        }
        return false;
    }
    // Translate: the result text, or "<null>" when Src2Dsn gives null (checking that it left the
    // result and positions empty then).
    std::string Translate(const CStrTran& tran, const std::string& sText,
                          std::vector<_TermPositionPair>* pPos = nullptr) {
        std::string sResult = "stale";
        std::vector<_TermPositionPair> vecPos(3);
        const char* s = tran.Src2Dsn(sText.c_str(), sResult, vecPos);
        if (pPos != nullptr) *pPos = vecPos;
        if (s == nullptr) {
            EXPECT_EQ(sResult, "");
            EXPECT_TRUE(vecPos.empty());
            return "<null>";
        }
        EXPECT_EQ(s, sResult.c_str());
        return sResult;
    }

    vt_test::CTempDir m_dir;
    std::vector<map_str> m_vecPairs;
    CStrTran m_tran{(m_dir.Path() + "/").c_str(), "Xing", "Zi", ""};
};

TEST_F(StrTranTest, TranslatesMixedTextWithOnePairPerPiece) {
    std::vector<_TermPositionPair> vecPos;
    // 他 姓 弓长 ， 習 字: the two-character look-alike shrinks to one character, so every later
    // translated offset moves back by 2 while the input offsets stay.
    EXPECT_EQ(Translate(m_tran, G("他姓弓长，習字"), &vecPos), G("他姓张，习字"));
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 2, 0, 2},
                                       {2, 2, 2, 2},
                                       {4, 4, 4, 2},
                                       {8, 2, 6, 2},
                                       {10, 2, 8, 2},
                                       {12, 2, 10, 2}}));

    // With a delimiter after every replaced string; the delimiter belongs to no piece.
    CStrTran delimited(Prefix().c_str(), "Xing", "Zi", "|");
    ASSERT_TRUE(delimited.Load());
    EXPECT_EQ(Translate(delimited, G("他姓弓长，習字"), &vecPos), G("他姓张|，习|字"));
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 2, 0, 2},
                                       {2, 2, 2, 2},
                                       {4, 4, 4, 2},
                                       {8, 2, 7, 2},
                                       {10, 2, 9, 2},
                                       {12, 2, 12, 2}}));

    // A destination longer than its source pushes later pieces to the right.
    std::vector<map_str> vecLong = {{"x", "long"}};
    CStrTran longer(Prefix().c_str(), "a", "b", "");
    testing::internal::CaptureStdout();
    longer.Import(vecLong);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Translate(longer, G("x，x"), &vecPos), G("long，long"));
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 1, 0, 4}, {1, 2, 4, 2}, {3, 1, 6, 4}}));
}

TEST_F(StrTranTest, LinesAndProtectedRuns) {
    std::vector<_TermPositionPair> vecPos;
    // Lines keep the CR or LF that ended them and lose their leading blanks; the text between
    // "^^" markers is copied without them and has no position pair.
    const std::string sText =
        G("弓长") + "\r\n  " + G("言午") + "x\n^^" + G("弓长") + "^^" + G("習");
    EXPECT_EQ(Translate(m_tran, sText, &vecPos),
              G("张") + "\r" + G("许") + "x\n" + G("弓长") + G("习"));
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 4, 0, 2}, {8, 4, 3, 2}, {12, 1, 5, 1}, {22, 2, 11, 2}}));

    // A marker inside a line ends the line without adding anything; the run follows.
    EXPECT_EQ(Translate(m_tran, G("習") + "^^a^^" + G("習")), G("习") + "a" + G("习"));
    // Without a closing marker "^^" is plain text.
    EXPECT_EQ(Translate(m_tran, G("弓长") + "^^" + G("習"), &vecPos), G("张") + "^^" + G("习"));
    EXPECT_EQ(vecPos.size(), 4u);
    // Only protected text: nothing replaced.
    EXPECT_EQ(Translate(m_tran, "^^" + G("弓长") + "^^"), "<null>");
}

TEST_F(StrTranTest, NothingReplacedAndBadInput) {
    std::string sResult = "stale";
    std::vector<_TermPositionPair> vecPos(2);
    EXPECT_EQ(m_tran.Src2Dsn(nullptr, sResult, vecPos), nullptr);
    EXPECT_EQ(sResult, "");
    EXPECT_TRUE(vecPos.empty());
    EXPECT_EQ(m_tran.Src2Dsn(nullptr, sResult), nullptr);
    EXPECT_EQ(Translate(m_tran, ""), "<null>");
    EXPECT_EQ(Translate(m_tran, " \t\r\n"), "<null>");
    // A text without any variant gives null and an empty result, not a copy of the text.
    EXPECT_EQ(Translate(m_tran, G("他们说弓") + "abc"), "<null>");
    // A look-alike split by a line end is not one.
    EXPECT_EQ(Translate(m_tran, G("弓") + "\n" + G("长")), "<null>");

    // A lone lead byte at the end is a piece of its own.
    EXPECT_EQ(Translate(m_tran, G("弓长") + "\xB5", &vecPos), G("张") + "\xB5");
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 4, 0, 2}, {4, 1, 2, 1}}));

    // A table that is not loaded translates nothing, and a lookup finds nothing.
    CStrTran empty(Prefix().c_str(), "none", "none", "");
    EXPECT_EQ(Translate(empty, G("弓长")), "<null>");
    EXPECT_EQ(empty.Src2DsnID(G("弓长").c_str()), -1);
    EXPECT_EQ(empty.SrcID2Dsn(0), nullptr);
    std::vector<map_str> vecOut(1);
    EXPECT_EQ(empty.Export(vecOut), 0);
    EXPECT_TRUE(vecOut.empty());
    EXPECT_FALSE(empty.Save());

    // Huge texts: a long one is translated whole; one beyond the limit is left to the caller.
    std::string sLong;
    for (int i = 0; i < 200000; ++i) sLong += G("弓长言午");
    std::string sExpected;
    for (int i = 0; i < 200000; ++i) sExpected += G("张许");
    EXPECT_EQ(Translate(m_tran, sLong, &vecPos), sExpected);
    ASSERT_EQ(vecPos.size(), 400000u);
    EXPECT_EQ(vecPos.back().second.iStartPos, 1599996);
    EXPECT_EQ(vecPos.back().first.iStartPos, 799998);
    std::string sTooLong(CStrTran::MAX_TEXT_LEN + 1, 'a');
    sTooLong.replace(0, 4, G("弓长"));
    EXPECT_EQ(Translate(m_tran, sTooLong), "<null>");
}

// Random texts over pieces of the table: the pairs must tile the input (after its leading blanks)
// and the result, and each piece must come out either unchanged or as its destination. Blanks
// inside a line, tabs included, are pieces like any other.
TEST_F(StrTranTest, PairsTileInputAndResult) {
    const std::vector<std::string> vecParts = {G("弓"),   G("长"), G("弓长"), G("習"),
                                               G("辶斤"), "a",     "ab",      " ",
                                               "\t",      "\xB5",  G("，"),   "\xFF\x01"};
    std::mt19937 rng(11);
    int nTranslated = 0;
    for (int nRound = 0; nRound < 300; ++nRound) {
        std::string sText;
        const int nParts = 1 + static_cast<int>(rng() % 12);
        for (int i = 0; i < nParts; ++i) sText += vecParts[rng() % vecParts.size()];
        std::vector<_TermPositionPair> vecPos;
        std::string sResult;
        if (m_tran.Src2Dsn(sText.c_str(), sResult, vecPos) == nullptr) continue;
        ++nTranslated;
        int nIn = static_cast<int>(sText.find_first_not_of(" \t"));
        int nOut = 0;
        for (const auto& pair : vecPos) {
            ASSERT_EQ(pair.second.iStartPos, nIn) << vt_test::U(sText);
            ASSERT_EQ(pair.first.iStartPos, nOut) << vt_test::U(sText);
            const std::string sPiece = sText.substr(nIn, pair.second.nWordLen);
            const std::string sOut = sResult.substr(nOut, pair.first.nWordLen);
            std::string sExpected = sPiece;
            for (const map_str& p : m_vecPairs) {
                if (p.src == sPiece) sExpected = p.dsn;
            }
            EXPECT_EQ(sOut, sExpected) << vt_test::U(sText);
            nIn += pair.second.nWordLen;
            nOut += pair.first.nWordLen;
        }
        EXPECT_EQ(nIn, static_cast<int>(sText.size()));
        EXPECT_EQ(nOut, static_cast<int>(sResult.size()));
    }
    EXPECT_GT(nTranslated, 100);
}

TEST_F(StrTranTest, ImportsTextTableAndLooksUp) {
    const std::string sTable = m_dir.File("xing.txt");
    vt_test::WriteWholeFile(sTable, "\xEF\xBB\xBF" + G("弓长 张") + "\n  " + G("辶斤") + "\t" +
                                        G("近") + " \r\n\n   \na b c\n" + G("言午") + "\n" +
                                        G("習 习") + "\n");
    CStrTran tran(Prefix().c_str(), "T", "U", "");
    testing::internal::CaptureStdout();
    EXPECT_EQ(tran.Import(sTable.c_str()), 5);
    testing::internal::GetCapturedStdout();

    // Three words: the destination is the last two with the blank between them; a line with one
    // word gives an empty destination. Export lists the pairs by source id.
    std::vector<map_str> vecOut(2);
    EXPECT_EQ(tran.Export(vecOut), 5);
    const std::vector<std::pair<std::string, std::string>> vecExpected = {{G("弓长"), G("张")},
                                                                          {G("辶斤"), G("近")},
                                                                          {"a", "b c"},
                                                                          {G("言午"), ""},
                                                                          {G("習"), G("习")}};
    ASSERT_EQ(vecOut.size(), vecExpected.size());
    for (size_t i = 0; i < vecOut.size(); ++i) {
        EXPECT_EQ(vecOut[i].src, vecExpected[i].first) << i;
        EXPECT_EQ(vecOut[i].dsn, vecExpected[i].second) << i;
    }

    // Source ids follow the file; destination ids skip the empty destination.
    EXPECT_EQ(tran.Src2DsnID(G("習").c_str()), 3);
    EXPECT_EQ(tran.SrcID2DsnID(4), 3);
    EXPECT_STREQ(tran.SrcID2Dsn(2), "b c");
    EXPECT_STREQ(tran.SrcID2Dsn(3), "");  // an empty destination
    EXPECT_EQ(tran.SrcID2DsnID(3), -1);
    for (int nID : {-1, 5, 1 << 30}) {
        EXPECT_EQ(tran.SrcID2Dsn(nID), nullptr) << nID;
        EXPECT_EQ(tran.SrcID2DsnID(nID), -1) << nID;
    }
    EXPECT_EQ(tran.Src2DsnID(G("弓").c_str()), -1);
    EXPECT_EQ(tran.Src2DsnID(nullptr), -1);

    // An empty destination deletes its source: a replacement that adds nothing.
    std::vector<_TermPositionPair> vecPos;
    EXPECT_EQ(Translate(tran, G("言午") + "x", &vecPos), "x");
    EXPECT_EQ(Pairs(vecPos), (PairList{{0, 4, 0, 0}, {4, 1, 0, 1}}));
    EXPECT_EQ(Translate(tran, "a"), "b c");

    // An unreadable file: 0 pairs and the message, the table untouched.
    const std::string sMissing = m_dir.File("missing.txt");
    EXPECT_EQ(tran.Import(sMissing.c_str()), 0);
    EXPECT_STREQ(GetLastErrorMessage(), ("Failed Open file " + sMissing).c_str());
    EXPECT_TRUE(Logged("Failed Open file " + sMissing));
    EXPECT_EQ(tran.Import(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(Translate(tran, "a"), "b c");
}

TEST_F(StrTranTest, FilesRoundTripAndAreStable) {
    // The map of four pairs whose sources and destinations take ids 0..3 in order: 4 target
    // slots, 4 sources, targets 0 1 2 3, index (0,0) (1,1) (2,2) (3,3).
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("Xing2Zi.map")),
              Int32Bytes({4, 4, 0, 1, 2, 3, 0, 0, 1, 1, 2, 2, 3, 3}));

    // The same pairs imported elsewhere give the same bytes in all five files.
    vt_test::CTempDir other;
    CStrTran copy((other.Path() + "/").c_str(), "Xing", "Zi", "");
    testing::internal::CaptureStdout();
    EXPECT_EQ(copy.Import(m_vecPairs), 4);
    testing::internal::GetCapturedStdout();
    for (const char* sName : FILES) {
        EXPECT_FALSE(vt_test::ReadWholeFile(m_dir.File(sName)).empty()) << sName;
        EXPECT_EQ(vt_test::ReadWholeFile(other.File(sName)),
                  vt_test::ReadWholeFile(m_dir.File(sName)))
            << sName;
    }

    // Loaded from the files, the table translates and exports the pairs it was made from.
    CStrTran loaded(Prefix().c_str(), "Xing", "Zi", "");
    ASSERT_TRUE(loaded.Load());
    EXPECT_EQ(Translate(loaded, G("他姓弓长，習字")), G("他姓张，习字"));
    std::vector<map_str> vecOut;
    ASSERT_EQ(loaded.Export(vecOut), 4);
    for (size_t i = 0; i < vecOut.size(); ++i) {
        EXPECT_EQ(vecOut[i].src, m_vecPairs[i].src);
        EXPECT_EQ(vecOut[i].dsn, m_vecPairs[i].dsn);
    }
    ASSERT_TRUE(loaded.Save());
    EXPECT_EQ(vt_test::ReadWholeFile(m_dir.File("Xing.wordlist")),
              vt_test::ReadWholeFile(other.File("Xing.wordlist")));

    // A source listed twice keeps the destination that entered the destination table first.
    std::vector<map_str> vecTwice = {{"x", "q"}, {"y", "p"}, {"x", "p"}};
    CStrTran twice((other.Path() + "/").c_str(), "s", "d", "");
    testing::internal::CaptureStdout();
    twice.Import(vecTwice);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Translate(twice, "x y"), "q p");
    EXPECT_EQ(twice.Export(vecOut), 3);

    // Destroy empties the table.
    loaded.Destroy();
    EXPECT_FALSE(loaded.IsLoaded());
    EXPECT_EQ(Translate(loaded, G("弓长")), "<null>");
}

TEST_F(StrTranTest, MissingDamagedAndMismatchedFiles) {
    const std::string sText = G("他姓弓长，習字");
    for (const char* sName : FILES) {
        const std::string sPath = m_dir.File(sName);
        const std::string sGood = vt_test::ReadWholeFile(sPath);
        CStrTran tran(Prefix().c_str(), "Xing", "Zi", "");

        std::filesystem::remove(sPath);
        EXPECT_FALSE(tran.Load()) << sName;
        EXPECT_TRUE(Logged(sPath + " cannot load!\n")) << sName;
        EXPECT_FALSE(tran.IsLoaded());
        EXPECT_EQ(Translate(tran, sText), "<null>");

        vt_test::ForEachDamagedCopy(sGood, sPath, 12, 30, 5, [&](bool bTruncated) {
            const bool bLoaded = tran.Load();
            if (bTruncated) {
                EXPECT_FALSE(bLoaded) << sName;
            }
            EXPECT_EQ(tran.IsLoaded(), bLoaded);
            std::string sResult;
            std::vector<_TermPositionPair> vecPos;
            tran.Src2Dsn(sText.c_str(), sResult, vecPos);
            for (const auto& pair : vecPos) {
                ASSERT_LE(pair.second.iStartPos + pair.second.nWordLen,
                          static_cast<int>(sText.size()));
                ASSERT_LE(pair.first.iStartPos + pair.first.nWordLen,
                          static_cast<int>(sResult.size()));
            }
            std::vector<map_str> vecOut;
            tran.Export(vecOut);
            for (int nID = -1; nID < 6; ++nID) tran.SrcID2Dsn(nID);
        });
        ASSERT_TRUE(vt_test::WriteWholeFile(sPath, sGood));
        ASSERT_TRUE(tran.Load()) << sName;
        EXPECT_EQ(Translate(tran, sText), G("他姓张，习字"));
    }

    // Files that load one by one but do not belong together: a map naming a destination or a
    // source outside the word lists beside it.
    auto fnBuild = [](const std::string& sDir, std::vector<map_str> vecPairs) {
        CStrTran tran((sDir + "/").c_str(), "s", "d", "");
        testing::internal::CaptureStdout();
        tran.Import(vecPairs);
        testing::internal::GetCapturedStdout();
    };
    vt_test::CTempDir dirA, dirB, dirC;
    fnBuild(dirA.Path(), {{"a", "p"}, {"b", "p"}});
    fnBuild(dirB.Path(), {{"a", "p"}, {"b", "q"}});
    fnBuild(dirC.Path(), {{"a", "p"}, {"b", "p"}, {"c", "p"}});
    CStrTran tranA((dirA.Path() + "/").c_str(), "s", "d", "");
    ASSERT_TRUE(tranA.Load());
    for (const vt_test::CTempDir* pDir : {&dirB, &dirC}) {
        ASSERT_TRUE(vt_test::WriteWholeFile(dirA.File("s2d.map"),
                                            vt_test::ReadWholeFile(pDir->File("s2d.map"))));
        EXPECT_FALSE(tranA.Load());
        EXPECT_FALSE(tranA.IsLoaded());
        EXPECT_EQ(Translate(tranA, "a b"), "<null>");
    }
}

TEST_F(StrTranTest, TranslatesFiles) {
    const std::string sIn = m_dir.File("in.txt"), sOut = m_dir.File("out.txt");
    vt_test::WriteWholeFile(sIn, G("弓长") + "\n" + G("習"));
    EXPECT_TRUE(m_tran.Src2DsnFile(sIn.c_str(), sOut.c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(sOut), G("张") + "\n" + G("习") + "\n");
    // Nothing to replace: the text as read.
    vt_test::WriteWholeFile(sIn, G("他们"));
    EXPECT_TRUE(m_tran.Src2DsnFile(sIn.c_str(), sOut.c_str()));
    EXPECT_EQ(vt_test::ReadWholeFile(sOut), G("他们") + "\n");
    EXPECT_FALSE(m_tran.Src2DsnFile(m_dir.File("none.txt").c_str(), sOut.c_str()));
    EXPECT_FALSE(m_tran.Src2DsnFile(sIn.c_str(), m_dir.File("no/such/dir.txt").c_str()));
    EXPECT_FALSE(m_tran.Src2DsnFile(nullptr, sOut.c_str()));
    EXPECT_FALSE(m_tran.Src2DsnFile(sIn.c_str(), nullptr));
}

// Pieces are looked up with the dictionary's Find, which drops double quotes around a word, and
// pairs are made of the ids Find gives, so a destination Find cannot see again (inner double
// blank) becomes "maps to nothing" and deletes its source.
TEST_F(StrTranTest, DeliberateFindLookups) {
    std::vector<map_str> vecPairs = {{"ab", "X"}, {"k", "x  y"}};
    CStrTran tran(Prefix().c_str(), "q", "w", "");
    testing::internal::CaptureStdout();
    tran.Import(vecPairs);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Translate(tran, "\"ab\" ab"), "X X");
    EXPECT_EQ(Translate(tran, "x\"ab\""), "<null>");  // one glued piece, not quoted
    std::string sResult;
    EXPECT_STREQ(tran.Src2Dsn("k", sResult), "");
    EXPECT_EQ(tran.SrcID2DsnID(1), -1);
}

TEST_F(StrTranTest, ManyThreadsTranslateAtOnce) {
    const std::string sText = G("他姓弓长，習字") + "\n" + G("辶斤言午") + "^^" + G("習") + "^^";
    std::vector<_TermPositionPair> vecExpected;
    const std::string sExpected = Translate(m_tran, sText, &vecExpected);
    ASSERT_EQ(sExpected, G("他姓张，习字") + "\n" + G("近许") + G("習"));
    std::vector<int> vecFailures(4, 0);
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 4; ++t) {
        vecThreads.emplace_back([&, t] {
            for (int i = 0; i < 300; ++i) {
                std::string sResult;
                std::vector<_TermPositionPair> vecPos;
                const char* s = m_tran.Src2Dsn(sText.c_str(), sResult, vecPos);
                if (s == nullptr || sResult != sExpected || vecPos.size() != vecExpected.size() ||
                    vecPos.back().first.iStartPos != vecExpected.back().first.iStartPos) {
                    ++vecFailures[t];
                }
            }
        });
    }
    for (auto& thread : vecThreads) thread.join();
    EXPECT_EQ(vecFailures, std::vector<int>(4, 0));
}

}  // namespace

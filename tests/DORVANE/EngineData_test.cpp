// EngineData_test.cpp: the segmentation engine's data directory (build/data/Data/) that
// vintrel-build-data makes from data/segmenter/: the special entries, dictionary words with their
// tags and frequencies, the tag maps, the context tables and the person-name tables; and the exact
// tables it makes from a tiny source tree.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "DORVANE/Segment/Bigram.h"
#include "DORVANE/Segment/FSA.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "Utility/Charset.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"
#include "Utility/Unigram.h"
#include "support/TestSupport.h"

namespace {

using vt_test::G;

const std::string ROOT_DIR = std::string(VINTREL_BUILD_DIR) + "/data";
const std::string DATA_DIR = ROOT_DIR + "/Data";
const std::string SOURCE_DIR = std::string(VINTREL_SOURCE_DIR) + "/data/segmenter";

// Lines: the lines of a text (without their "\n").
std::vector<std::string> Lines(const std::string& sText) {
    std::vector<std::string> vecLines;
    std::istringstream in(sText);
    std::string sLine;
    while (std::getline(in, sLine)) vecLines.push_back(sLine);
    return vecLines;
}

std::string Int32s(std::initializer_list<int32_t> values) {
    std::string s;
    for (int32_t v : values) {
        char bytes[4];
        std::memcpy(bytes, &v, 4);
        s.append(bytes, 4);
    }
    return s;
}

// The roles of nr.role and the symbols of nr.fsa.
constexpr int ROLE_S = 0, ROLE_G = 1, ROLE_D = 2;

// The core dictionary and its companions, loaded as the engine loads them.
class EngineDataTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(dict.Load((DATA_DIR + "/CoreDict.pdat").c_str()), 1);
        ASSERT_EQ(unigram.Load((DATA_DIR + "/CoreDict.unig").c_str()), 1);
        ASSERT_EQ(pos.Load((DATA_DIR + "/CoreDict.pos").c_str()), 1);
        ASSERT_EQ(tags.Load((DATA_DIR + "/PKU.map").c_str()), 1);
    }
    // TagOf: the PKU.map name of a word's first record ("" when the word is missing).
    std::string TagOf(const std::string& sWord) const {
        int nHandle = dict.Find(sWord.c_str());
        return nHandle < 0 ? "" : tags.GetPOS(static_cast<unsigned char>(pos.GetPOS(nHandle)));
    }

    CPDAT dict{0};
    CUnigram unigram{-1};
    CPOS pos;
    CPOSmap tags;
};

TEST_F(EngineDataTest, SpecialEntriesComeFirst) {
    // 始##始 末##末 未##串 未##人 未##地 未##团 未##时 未##数 未##专
    const char* words[] = {"始##始", "末##末", "未##串", "未##人", "未##地",
                           "未##团", "未##时", "未##数", "未##专"};
    const char* entryTags[] = {"x", "x", "nx", "nr", "ns", "nt", "t", "m", "nz"};
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(dict.Find(G(words[i]).c_str()), i) << words[i];
        EXPECT_EQ(TagOf(G(words[i])), entryTags[i]) << words[i];
        EXPECT_EQ(unigram.GetFreq(i), i < 2 ? 0 : 1000) << words[i];
        EXPECT_GE(pos.GetMaxPOS(i)->freq, 1);
    }
    // The first dictionary line takes handle 9; every handle has exactly one tag.
    std::string sFirst = Lines(vt_test::ReadWholeFile(SOURCE_DIR + "/jieba_dict.gbk.txt"))[0];
    EXPECT_EQ(dict.Find(sFirst.substr(0, sFirst.find(' ')).c_str()), 9);
    EXPECT_EQ(pos.GetBound(), unigram.GetBound());
    EXPECT_EQ(pos.GetSize(), pos.GetBound());
}

TEST_F(EngineDataTest, DictionaryWordsKeepTheirTagsAndFrequencies) {
    // Frequencies as the source gives them (summed over repeated lines), first tag kept.
    std::map<std::string, std::pair<long long, std::string>> mapExpected = {
        {G("南京市"), {0, ""}}, {G("中国"), {0, ""}}, {G("欧阳"), {0, ""}}, {G("的"), {0, ""}}};
    for (const std::string& sLine :
         Lines(vt_test::ReadWholeFile(SOURCE_DIR + "/jieba_dict.gbk.txt"))) {
        size_t nSpace = sLine.find(' '), nSpace2 = sLine.rfind(' ');
        auto it = mapExpected.find(sLine.substr(0, nSpace));
        if (it == mapExpected.end()) continue;
        it->second.first += std::atoll(sLine.substr(nSpace + 1).c_str());
        if (it->second.second.empty()) it->second.second = sLine.substr(nSpace2 + 1);
    }
    for (const auto& word : mapExpected) {
        ASSERT_FALSE(word.second.second.empty()) << vt_test::U(word.first);
        int nHandle = dict.Find(word.first.c_str());
        ASSERT_GE(nHandle, 9);
        EXPECT_EQ(unigram.GetFreq(nHandle), word.second.first) << vt_test::U(word.first);
        EXPECT_EQ(TagOf(word.first), word.second.second) << vt_test::U(word.first);
    }
    EXPECT_EQ(TagOf(G("南京市")), "ns");

    // Every punctuation character of the character classes is a word; those the source lacks
    // are tagged w.
    std::map<std::string, bool> mapSourceWords;
    for (const std::string& sLine :
         Lines(vt_test::ReadWholeFile(SOURCE_DIR + "/jieba_dict.gbk.txt"))) {
        mapSourceWords[sLine.substr(0, sLine.find(' '))] = true;
    }
    CCharset charset;
    ASSERT_EQ(charset.Load((DATA_DIR + "/charset.type").c_str()), 1);
    int nAdded = 0;
    for (int nCode = 0x21; nCode < CCharset::CODE_COUNT; ++nCode) {
        if (charset.GetType(nCode) != 6 || nCode == '"') continue;  // Find drops quotes
        std::string sChar = nCode < 0x80 ? std::string(1, static_cast<char>(nCode))
                                         : std::string{static_cast<char>(nCode >> 8),
                                                       static_cast<char>(nCode & 0xFF)};
        EXPECT_GE(dict.Find(sChar.c_str()), 9) << std::hex << nCode;
        if (mapSourceWords.count(sChar) == 0) {
            ++nAdded;
            EXPECT_EQ(TagOf(sChar), "w") << std::hex << nCode;
            EXPECT_EQ(unigram.GetFreq(dict.Find(sChar.c_str())), 1);
        }
    }
    EXPECT_GT(nAdded, 100);
}

TEST_F(EngineDataTest, TagMapsShareTheirIds) {
    std::vector<std::string> vecPku = Lines(vt_test::ReadWholeFile(DATA_DIR + "/PKU.map"));
    std::vector<std::string> vecFirst = Lines(vt_test::ReadWholeFile(DATA_DIR + "/PKU_First.map"));
    std::vector<std::string> vecCoarse =
        Lines(vt_test::ReadWholeFile(DATA_DIR + "/GRAVO_First.map"));
    ASSERT_EQ(vecFirst.size(), vecPku.size());
    ASSERT_EQ(vecCoarse.size(), vecPku.size());
    ASSERT_LE(vecPku.size(), 255u);
    EXPECT_EQ(tags.GetItemCount(), static_cast<int>(vecPku.size()));
    std::map<std::string, std::string> mapCoarse;
    for (size_t i = 0; i < vecPku.size(); ++i) {
        if (i > 0) {
            EXPECT_LT(vecPku[i - 1], vecPku[i]);  // sorted, no repeats
        }
        EXPECT_EQ(vecFirst[i], vecPku[i].substr(0, 1)) << vecPku[i];
        mapCoarse[vecPku[i]] = vecCoarse[i];
    }
    for (const char* sTag : {"w", "nx", "m", "t", "nr", "ns", "nt", "nz", "x", "q"}) {
        EXPECT_EQ(mapCoarse.count(sTag), 1u) << sTag;
    }
    EXPECT_EQ(mapCoarse["nr"], "noun");
    EXPECT_EQ(mapCoarse["vn"], "verb");
    EXPECT_EQ(mapCoarse["nx"], "foreign");
    EXPECT_EQ(mapCoarse["w"], "punct");
    EXPECT_EQ(mapCoarse["uj"], "aux");
    // Every tag of the dictionary has an id.
    for (const std::string& sLine :
         Lines(vt_test::ReadWholeFile(SOURCE_DIR + "/jieba_dict.gbk.txt"))) {
        std::string sTag = sLine.substr(sLine.rfind(' ') + 1);
        if (mapCoarse.count(sTag) == 0) ADD_FAILURE() << "tag " << sTag << " has no id";
    }
}

TEST_F(EngineDataTest, CopiedAndEmptyTables) {
    EXPECT_EQ(vt_test::ReadWholeFile(DATA_DIR + "/Configure.xml"),
              vt_test::ReadWholeFile(SOURCE_DIR + "/Configure.xml"));
    EXPECT_EQ(vt_test::ReadWholeFile(DATA_DIR + "/charset.type"),
              vt_test::ReadWholeFile(ROOT_DIR + "/charset.type"));
    CBigram bigram;
    ASSERT_EQ(bigram.Load((DATA_DIR + "/BiWord.big").c_str()), 1);
    EXPECT_EQ(bigram.GetCount(), 0);

    // The configuration names every key the engine reads, each value as an element of its own.
    std::string sXml = vt_test::ReadWholeFile(DATA_DIR + "/Configure.xml");
    EXPECT_EQ(sXml.rfind("<?xml version=\"1.0\" encoding=\"GBK\"?>\n", 0), 0u);
    const char* items[][2] = {{"Log", "on"},
                              {"TagSet", "PKU.map"},
                              {"POSDelimiter", "/"},
                              {"WordBoundary", "  "},
                              {"Merge", "off"},
                              {"Person", "on"},
                              {"Tagger", "on"},
                              {"UserDictPrior", "off"},
                              {"UserDict", "off"},
                              {"FieldDict", "off"},
                              {"GranularityContorl", "off"},
                              {"POS", "Default"},
                              {"Sentiment", "off"},
                              {"FinerSegCombined", "off"}};
    for (const auto& item : items) {
        std::string sElement = std::string("<") + item[0] + ">" + item[1] + "</" + item[0] + ">";
        EXPECT_NE(sXml.find(sElement), std::string::npos) << sElement;
        EXPECT_EQ(sXml.find(std::string("<") + item[0] + ">"), sXml.find(sElement)) << item[0];
    }
}

TEST_F(EngineDataTest, TagContextIsAProbabilityTable) {
    CContextStat ctx;
    ASSERT_EQ(ctx.Load((DATA_DIR + "/GRAVO.ctx").c_str()), 1);
    int n = tags.GetItemCount();
    ASSERT_EQ(ctx.GetSize(), n);
    double fStart = 0;
    for (int i = 0; i < n; ++i) {
        fStart += std::exp(ctx.GetStart(i));
        double fRow = 0;
        for (int j = 0; j < n; ++j) {
            EXPECT_GE(ctx.GetTrans(i, j), -100.0f);
            fRow += std::exp(ctx.GetTrans(i, j));
        }
        EXPECT_NEAR(fRow, 1.0, 1e-4) << tags.GetPOS(static_cast<unsigned char>(i));
    }
    EXPECT_NEAR(fStart, 1.0, 1e-4);
    // Tags the tagging model lacks never start a text.
    EXPECT_EQ(ctx.GetStart(tags.GetID("nx")), -100.0f);
    // A noun is more likely followed by a verb than by a pronoun of manner (rz).
    int nNoun = tags.GetID("n");
    EXPECT_GT(ctx.GetTrans(nNoun, tags.GetID("v")), ctx.GetTrans(nNoun, tags.GetID("rz")));
}

TEST_F(EngineDataTest, PersonNameTables) {
    CPOS roles;
    ASSERT_EQ(roles.Load((DATA_DIR + "/nr.role").c_str()), 1);
    EXPECT_EQ(roles.GetBound(), pos.GetBound());
    auto role = [&](const char* sUtf8, int nRole) {
        return roles.GetPOSFreq(dict.Find(G(sUtf8).c_str()), nRole);
    };
    EXPECT_GT(role("王", ROLE_S), 100);
    EXPECT_GT(role("张", ROLE_S), 100);
    EXPECT_GE(role("欧阳", ROLE_D), 1);
    EXPECT_GE(role("诸葛", ROLE_D), 1);
    EXPECT_EQ(role("欧阳", ROLE_S), 0);
    EXPECT_GT(role("明", ROLE_G), 10);
    EXPECT_GT(role("华", ROLE_G), 10);
    EXPECT_EQ(role("的", ROLE_G), 0);  // function characters are no given names
    EXPECT_EQ(role("们", ROLE_G), 0);
    EXPECT_EQ(roles.GetPOS(dict.Find(G("中国").c_str())), 255);
    // Every surname of the list is a word with its role.
    for (const std::string& sLine : Lines(vt_test::ReadWholeFile(SOURCE_DIR + "/surnames.txt"))) {
        if (sLine.empty() || sLine[0] == '#') continue;
        int nHandle = dict.Find(G(sLine).c_str());
        ASSERT_GE(nHandle, 0) << sLine;
        EXPECT_GE(roles.GetPOSFreq(nHandle, sLine.size() == 3 ? ROLE_S : ROLE_D), 1) << sLine;
    }

    CContextStat ctx;
    ASSERT_EQ(ctx.Load((DATA_DIR + "/nr.ctx").c_str()), 1);
    ASSERT_EQ(ctx.GetSize(), 3);
    EXPECT_FLOAT_EQ(ctx.GetStart(ROLE_S), std::log(0.5f));
    EXPECT_EQ(ctx.GetTrans(ROLE_S, ROLE_G), 0.0f);
    EXPECT_EQ(ctx.GetTrans(ROLE_S, ROLE_S), -100.0f);
    CFSA fsa;
    ASSERT_EQ(fsa.Load((DATA_DIR + "/nr.fsa").c_str()), 1);
    const int sgg[] = {ROLE_S, ROLE_G, ROLE_G, ROLE_G};
    const int dgg[] = {ROLE_D, ROLE_G, ROLE_G};
    const int sg[] = {ROLE_S, ROLE_G};
    const int ggs[] = {ROLE_G, ROLE_G, ROLE_S};
    EXPECT_EQ(fsa.Match(sgg, 4), 3);
    EXPECT_EQ(fsa.Match(dgg, 3), 3);
    EXPECT_EQ(fsa.Match(sg, 2), 0);
    EXPECT_EQ(fsa.Match(ggs, 3), 0);
}

// ---------------------------------------------------------------------------------------------------

// LogText: a natural log written with enough digits to read back the same double.
std::string LogText(double f) {
    char buf[64];
    std::snprintf(buf, sizeof(buf), "%.17g", std::log(f));
    return buf;
}

// RunTool: the exit status of vintrel-build-data over sSrc into sOut (-1 when it did not exit).
int RunTool(const std::string& sSrc, const std::string& sOut) {
    std::string sTool = std::string(VINTREL_BUILD_DIR) + "/vintrel-build-data";
    int nStatus = std::system((sTool + " " + sSrc + " " + sOut + " > /dev/null 2>&1").c_str());
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

// A source tree with seven GBK characters (王 张 小 明 三 了 ，) and a handful of words.
TEST(BuildDataTool, WritesTheEngineTablesOfATinySourceTree) {
    vt_test::CTempDir dir;
    std::string sSrc = dir.File("src");
    for (const char* sSub : {"", "/encoding", "/xingzi", "/pinyin", "/segmenter"}) {
        ASSERT_EQ(std::system(("mkdir -p " + sSrc + sSub).c_str()), 0);
    }
    auto write = [&](const char* sName, const std::string& sText) {
        ASSERT_TRUE(vt_test::WriteWholeFile(sSrc + "/" + sName, sText)) << sName;
    };
    write("encoding/enc_gbk_unicode.tsv",
          "#gbk\tunicode\tchar\tsource\n2C\tU+002C\t,\tascii\n41\tU+0041\tA\tascii\n"
          "42\tU+0042\tB\tascii\nA3AC\tU+FF0C\t，\tcp936\nC1CB\tU+4E86\t了\tcp936\n"
          "C3F7\tU+660E\t明\tcp936\nC8FD\tU+4E09\t三\tcp936\nCDF5\tU+738B\t王\tcp936\n"
          "D0A1\tU+5C0F\t小\tcp936\nD5C5\tU+5F20\t张\tcp936\n");
    write("encoding/enc_utf8_extra.tsv", "#unicode\tchar\tgbk\ttarget\tvia\n");
    write("encoding/enc_big5_gbk.tsv",
          "#big5\tunicode\tchar\tgbk_same_char\tgbk_simplified\tvia\tset\n");
    write("encoding/enc_gbk_big5.tsv", "#gbk\tchar\tbig5\tbig5_char\tvia\n");
    for (const char* sName :
         {"encoding/gbka_s2t.gbk.txt", "encoding/gbka_t2s.gbk.txt",
          "encoding/gbka_s2t_phrases.gbk.txt", "encoding/gbka_t2s_phrases.gbk.txt"}) {
        write(sName, "");
    }
    write("xingzi/Xing2Zi.gbk.txt", G("小三 王\n"));
    write("pinyin/pinyin.gbk.txt", G("王 wang\n"));
    write("segmenter/jieba_dict.gbk.txt",
          G("王小明 5 nr\n张三 3 nr\n王 100 nr\n张 50 nr\n小 10 a\n明 7 a\n三 9 m\nAB 2 eng\n"
            "ab 3 n\n王小明 4 n\n王三 2 nr\n王了 1 nr\n了 10 ul\n， 4 x\n"));
    // Word level: start(n) = .4 + .2, start(a) = .3 + .1; from n (states E and S) to a (B)
    // .5, to n (S from E, B from S) .5 + 1: row n is a .25, n .75. B,n -> E,n stays inside a word.
    write("segmenter/hmm_posseg.tsv",
          "#table\tstate\tto_or_char\tlogprob\nstart\tB,n\t\t" + LogText(0.4) + "\nstart\tS,n\t\t" +
              LogText(0.2) + "\nstart\tB,a\t\t" + LogText(0.3) + "\nstart\tS,a\t\t" + LogText(0.1) +
              "\nstart\tB,m\t\t-3.14e+100\n" + "trans\tE,n\tB,a\t" + LogText(0.5) +
              "\ntrans\tE,n\tS,n\t" + LogText(0.5) +
              "\ntrans\tS,n\tB,n\t0.0\ntrans\tB,n\tE,n\t-0.1\nemit\tB,n\t王\t-1.5\n");
    write("segmenter/Configure.xml", "<GRAVO><Log>off</Log></GRAVO>\n");
    write("segmenter/surnames.txt", "# two names\n王\n张\n");

    std::string sOut = dir.File("out");
    ASSERT_EQ(RunTool(sSrc, sOut), 0);
    std::string sData = sOut + "/Data/";

    // Tags: the dictionary's (nr a m eng n ul x), the model's (n a m) and the fixed ten, sorted.
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "PKU.map"),
              "a\neng\nm\nn\nnr\nns\nnt\nnx\nnz\nq\nt\nul\nw\nx\n");
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "PKU_First.map"),
              "a\ne\nm\nn\nn\nn\nn\nn\nn\nq\nt\nu\nw\nx\n");
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "GRAVO_First.map"),
              "adj\nforeign\nnum\nnoun\nnoun\nnoun\nnoun\nforeign\nnoun\nquant\ntime\naux\npunct\n"
              "other\n");
    enum { A, ENG, M, N, NR, NS, NT, NX, NZ, Q, T, UL, W, X, TAGS };
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "Configure.xml"), "<GRAVO><Log>off</Log></GRAVO>\n");
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "BiWord.big"), Int32s({0}));

    // Handles: the nine special entries, the words in order of first appearance (ab is AB, as
    // the dictionary folds ASCII capitals, and 王小明 comes back once), then the punctuation
    // the source lacks: ',' (， is a word of its own).
    CPDAT dict(0);
    ASSERT_EQ(dict.Load((sData + "CoreDict.pdat").c_str()), 1);
    const char* words[] = {"王小明", "张三", "王",   "张", "小", "明", "三",
                           "AB",     "王三", "王了", "了", "，", ","};
    for (int i = 0; i < 13; ++i) EXPECT_EQ(dict.Find(G(words[i]).c_str()), 9 + i) << words[i];
    EXPECT_EQ(dict.Find("ab"), 16);
    EXPECT_EQ(dict.Find(G("未##专").c_str()), 8);
    CUnigram unigram(-1);
    ASSERT_EQ(unigram.Load((sData + "CoreDict.unig").c_str()), 1);
    ASSERT_EQ(unigram.GetBound(), 22);
    const int freqs[] = {0,   0,  1000, 1000, 1000, 1000, 1000, 1000, 1000, 9, 3,
                         100, 50, 10,   7,    9,    5,    2,    1,    10,   4, 1};
    for (int h = 0; h < 22; ++h) EXPECT_EQ(unigram.GetFreq(h), freqs[h]) << h;
    EXPECT_EQ(unigram.GetTotalFreq(), 7000 + 210 + 1);
    CPOS pos;
    ASSERT_EQ(pos.Load((sData + "CoreDict.pos").c_str()), 1);
    const int posTags[] = {X,  X,  NX, NR, NS, NT,  T,  M,  NZ, NR, NR,
                           NR, NR, A,  A,  M,  ENG, NR, NR, UL, X,  W};
    for (int h = 0; h < 22; ++h) {
        int nCount = 0;
        const POS_info* pInfo = pos.GetPOS(h, &nCount);
        ASSERT_EQ(nCount, 1) << h;
        EXPECT_EQ(pInfo->POS_id, posTags[h]) << h;
        EXPECT_EQ(pInfo->freq, std::max(freqs[h], 1)) << h;
    }

    CContextStat ctx;
    ASSERT_EQ(ctx.Load((sData + "GRAVO.ctx").c_str()), 1);
    ASSERT_EQ(ctx.GetSize(), static_cast<int>(TAGS));
    for (int i = 0; i < TAGS; ++i) {
        double fStart = i == N ? std::log(0.6) : i == A ? std::log(0.4) : -100.0;
        EXPECT_NEAR(ctx.GetStart(i), fStart, 1e-5) << i;
        for (int j = 0; j < TAGS; ++j) {
            double fTrans = i != N   ? std::log(1.0 / TAGS)
                            : j == A ? std::log(0.25)
                            : j == N ? std::log(0.75)
                                     : -100.0;
            EXPECT_NEAR(ctx.GetTrans(i, j), fTrans, 1e-5) << i << " " << j;
        }
    }

    // Roles: 王 starts 王小明, 王三 and 王了, 张 starts 张三; given names 小 明 三 (twice); 了 is
    // a function character.
    CPOS roles;
    ASSERT_EQ(roles.Load((sData + "nr.role").c_str()), 1);
    EXPECT_EQ(roles.GetBound(), 22);
    EXPECT_EQ(roles.GetSize(), 5);
    EXPECT_EQ(roles.GetPOSFreq(11, ROLE_S), 3);
    EXPECT_EQ(roles.GetPOSFreq(12, ROLE_S), 1);
    EXPECT_EQ(roles.GetPOSFreq(13, ROLE_G), 1);
    EXPECT_EQ(roles.GetPOSFreq(14, ROLE_G), 1);
    EXPECT_EQ(roles.GetPOSFreq(15, ROLE_G), 2);
    EXPECT_EQ(roles.GetPOS(19), 255);
    EXPECT_EQ(roles.GetPOS(9), 255);
    EXPECT_EQ(vt_test::ReadWholeFile(sData + "nr.fsa"),
              Int32s({4, 3, 1, -1, 1, -1, 2, -1, -1, 3, -1, -1, -1, -1, 0, 0, 0, 1}));

    // A second build gives the same bytes.
    ASSERT_EQ(RunTool(sSrc, dir.File("again")), 0);
    for (const char* sName : {"CoreDict.pdat", "CoreDict.unig", "CoreDict.pos", "GRAVO.ctx",
                              "nr.role", "nr.ctx", "charset.type"}) {
        EXPECT_TRUE(vt_test::ReadWholeFile(sData + sName) ==
                    vt_test::ReadWholeFile(dir.File("again") + "/Data/" + sName))
            << sName;
    }

    // A surname that is no word, a repeated one, or no list at all stops the build.
    write("segmenter/surnames.txt", "明\n王\n明\n");
    EXPECT_EQ(RunTool(sSrc, dir.File("repeated")), 1);
    write("segmenter/surnames.txt", "王\n小明\n");
    EXPECT_EQ(RunTool(sSrc, dir.File("noword")), 1);
    ASSERT_EQ(std::remove((sSrc + "/segmenter/surnames.txt").c_str()), 0);
    EXPECT_EQ(RunTool(sSrc, dir.File("missing")), 1);
}

}  // namespace

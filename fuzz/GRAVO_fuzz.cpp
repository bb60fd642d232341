// GRAVO_fuzz.cpp: segments arbitrary bytes with a small engine and checks that every result is well
// formed: tokens each ended by the two-blank boundary, "/tag" on each when tags were asked for, and
// the word texts joined give the input back without its blanks.
//
// The engine's data (a dozen words with tags and frequencies, one bigram, the tag context and the
// person tables) is built once, in a scratch directory, the first time the target runs.
//
// Input: byte 0 selects the options (bit 0: tags; bit 1: add bytes 1-4 as a shared user word; bit 2:
// pass bytes 1-6 as a word of the call; bit 3: clean the user words afterwards); the rest is the
// text, up to its first NUL.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "DORVANE/API/GRAVO.h"
#include "DORVANE/Segment/Bigram.h"
#include "DORVANE/Segment/FSA.h"
#include "DORVANE/Segment/PreProcess.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "FuzzSupport.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/Unigram.h"

namespace {

void WriteText(const std::string& sPath, const std::string& sText) {
    FILE* fp = std::fopen(sPath.c_str(), "wb");
    FUZZ_CHECK(fp != nullptr);
    std::fwrite(sText.data(), 1, sText.size(), fp);
    std::fclose(fp);
}

// BuildEngineData: the Data/ directory of a tiny engine under sRoot.
void BuildEngineData(const std::string& sRoot) {
    const std::string sData = sRoot + "/Data/";
    std::filesystem::create_directories(sData);
    WriteText(sData + "Configure.xml",
              "<GRAVO><TagSet>PKU.map</TagSet><Person>on</Person><FinerSegCombined>on</FinerSegCombined></GRAVO>");
    const char* const tags[] = {"m", "n", "nr", "ns", "nt", "nx", "nz", "q", "t", "v", "w", "x"};
    std::string sMap;
    for (const char* sTag : tags) sMap += std::string(sTag) + "\n";
    for (const char* sName : {"PKU.map", "PKU_First.map", "GRAVO_First.map"}) WriteText(sData + sName, sMap);
    struct Entry {
        const char* sWord;
        int nFreq;
        int nTag;
    };
    // 始##始 末##末 未##串 未##人 未##地 未##团 未##时 未##数 未##专, then words.
    const Entry entries[] = {
        {"\xCA\xBC##\xCA\xBC", 1, 11}, {"\xC4\xA9##\xC4\xA9", 1, 11}, {"\xCE\xB4##\xB4\xAE", 100, 5},
        {"\xCE\xB4##\xC8\xCB", 100, 2}, {"\xCE\xB4##\xB5\xD8", 100, 3}, {"\xCE\xB4##\xCD\xC5", 100, 4},
        {"\xCE\xB4##\xCA\xB1", 100, 8}, {"\xCE\xB4##\xCA\xFD", 100, 0}, {"\xCE\xB4##\xD7\xA8", 100, 6},
        {"\xD6\xD0\xB9\xFA", 5000, 3},                  // 中国
        {"\xD6\xD0\xBB\xAA\xC8\xCB\xC3\xF1", 900, 3},   // 中华人民
        {"\xC8\xCB\xC3\xF1", 4000, 1},                  // 人民
        {"\xD6\xD0", 3000, 1},                          // 中
        {"\xB9\xFA", 2000, 1},                          // 国
        {"\xCB\xB5", 8000, 9},                          // 说
        {"\xD5\xC5", 500, 2},                           // 张
        {"\xC8\xFD", 700, 0},                           // 三
        {"\xB7\xE1", 200, 1},                           // 丰
        {"\xB8\xF6", 900, 7},                           // 个
        {"abc", 50, 5},
        {"\xA3\xAC", 1, 10},                            // ，
    };
    CPDAT dict;
    dict.AddWordInit();
    for (const Entry& e : entries) dict.AddWord(e.sWord);
    dict.AddWordComplete();
    FUZZ_CHECK(dict.Save((sData + "CoreDict.pdat").c_str()) == 1);
    const int nCount = static_cast<int>(sizeof(entries) / sizeof(entries[0]));
    CUnigram unigram(nCount);
    std::vector<POS_elem> vecPOS;
    for (int h = 0; h < nCount; ++h) {
        unigram.AddFreq(h, entries[h].nFreq);
        POS_elem elem;
        elem.handle = h;
        elem.POS_id = static_cast<unsigned char>(entries[h].nTag);
        elem.freq = entries[h].nFreq;
        vecPOS.push_back(elem);
    }
    POS_elem second;  // 中 is also a verb now and then: the tagger has a choice to make
    second.handle = 12;
    second.POS_id = 9;
    second.freq = 10;
    vecPOS.push_back(second);
    FUZZ_CHECK(unigram.Save((sData + "CoreDict.unig").c_str()) == 1);
    CPOS pos;
    pos.Import(vecPOS, nCount);
    FUZZ_CHECK(pos.Save((sData + "CoreDict.pos").c_str()) == 1);
    CBigram bigram;
    bigram.Import({bigram_elem{12, 13, 40}, bigram_elem{9, 14, 30}});
    FUZZ_CHECK(bigram.Save((sData + "BiWord.big").c_str()) == 1);
    CContextStat ctx;
    ctx.SetSize(12);
    for (int i = 0; i < 12; ++i) {
        ctx.SetStart(i, -2.5f);
        for (int j = 0; j < 12; ++j) ctx.SetTrans(i, j, -2.5f);
    }
    FUZZ_CHECK(ctx.Save((sData + "GRAVO.ctx").c_str()) == 1);
    // Person roles: 张 family name; 三 丰 given-name characters.
    std::vector<POS_elem> vecRoles;
    const int roles[][3] = {{15, 0, 50}, {16, 1, 20}, {17, 1, 20}};
    for (const auto& r : roles) {
        POS_elem elem;
        elem.handle = r[0];
        elem.POS_id = static_cast<unsigned char>(r[1]);
        elem.freq = r[2];
        vecRoles.push_back(elem);
    }
    CPOS role;
    role.Import(vecRoles, nCount);
    FUZZ_CHECK(role.Save((sData + "nr.role").c_str()) == 1);
    CContextStat roleCtx;
    roleCtx.SetSize(3);
    FUZZ_CHECK(roleCtx.Save((sData + "nr.ctx").c_str()) == 1);
    CFSA fsa;
    fsa.Init(4, 3);
    fsa.SetNext(0, 0, 1);
    fsa.SetNext(0, 2, 1);
    fsa.SetNext(1, 1, 2);
    fsa.SetNext(2, 1, 3);
    fsa.SetFinal(3, true);
    FUZZ_CHECK(fsa.Save((sData + "nr.fsa").c_str()) == 1);
}

// Check: the result is well formed for the text.
void Check(const std::string& sText, const std::string& sOut, bool bTags) {
    std::string sJoined;
    size_t nPos = 0;
    while (nPos < sOut.size()) {
        size_t nEnd = sOut.find("  ", nPos);
        FUZZ_CHECK(nEnd != std::string::npos && nEnd > nPos);
        std::string sToken = sOut.substr(nPos, nEnd - nPos);
        if (bTags) {
            size_t nSlash = sToken.rfind('/');
            FUZZ_CHECK(nSlash != std::string::npos && nSlash > 0 && nSlash + 1 < sToken.size());
            sToken.resize(nSlash);
        }
        sJoined += sToken;
        nPos = nEnd + 2;
    }
    std::vector<_stAtom> vecAtoms;
    CPreProcess(nullptr).Atomize(sText.data(), sText.size(), vecAtoms);
    std::string sExpected;
    for (const _stAtom& atom : vecAtoms)
        if (atom.nType != ATOM_BLANK) sExpected.append(sText, static_cast<size_t>(atom.nStart), static_cast<size_t>(atom.nLen));
    // With finer segmentation a long word is followed by its pieces, so the words give the input back
    // with some words repeated: the input must be a subsequence of the words.
    size_t k = 0;
    for (char c : sJoined)
        if (k < sExpected.size() && c == sExpected[k]) ++k;
    FUZZ_CHECK(k == sExpected.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    static CFuzzScratch scratch("GRAVO");
    static bool bStarted = [] {
        BuildEngineData(scratch.Dir());
        return GRAVO_Init(scratch.Dir().c_str(), 0) == 1;
    }();
    FUZZ_CHECK(bStarted);
    if (nSize == 0) return 0;
    const uint8_t nOptions = pData[0];
    std::string sText(reinterpret_cast<const char*>(pData + 1), nSize - 1);
    sText.resize(std::strlen(sText.c_str()));
    const bool bTags = nOptions & 1;
    if (nOptions & 2) GRAVO_AddUserWord(sText.substr(0, 4).c_str());
    std::vector<std::string> vecWords;
    if (nOptions & 4) vecWords.push_back(sText.substr(0, 6));
    const char* sOut = GRAVO_ParagraphProcess(sText.c_str(), bTags ? 1 : 0);
    FUZZ_CHECK(sOut != nullptr);
    Check(sText, sOut, bTags);
    Check(sText, GRAVO_ParagraphProcessWords(sText.c_str(), bTags ? 1 : 0, vecWords), bTags);
    if (nOptions & 8) GRAVO_CleanUserWord();
    return 0;
}

// GRAVO.cpp: the segmentation engine's start-up, shut-down, paragraph segmentation, user words and
// pipeline pool.
//
// Locking: g_engineLock is a reader/writer lock over the engine-wide state. Segmentation holds it
// shared for the whole call; GRAVO_Init, GRAVO_Exit and the user-word calls hold it exclusively, so
// they wait (blocking, not polling) until no segmentation is running and segmentations wait for them.
// The pool's registry, flags and pipeline table are guarded by the worker mutex g_hWoker, taken only
// briefly and always after g_engineLock. Taking a pool instance never waits: under g_hWoker an
// available instance has no thread inside.
#include "DORVANE/API/GRAVO.h"

#include <unistd.h>

#include <cmath>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "DORVANE/Segment/Bigram.h"
#include "DORVANE/Segment/FSA.h"
#include "DORVANE/Segment/Segment.h"
#include "DORVANE/System/MainSystem.h"
#include "DORVANE/Tagger/ContextStat.h"
#include "Utility/Charset.h"
#include "Utility/CodeTran.h"
#include "Utility/PDAT.h"
#include "Utility/POS.h"
#include "Utility/POSmap.h"
#include "Utility/Trie.h"
#include "Utility/Unigram.h"
#include "Utility/Utility.h"
#include "Vintrel/BufferManager.h"

std::atomic<bool> g_bActive(false);
std::atomic<bool> g_bInitStart(false);
std::string g_sDataPath = "Data";
std::string g_sTagset;
std::string g_sPOSDelimiter = "/";
std::string g_sWordBoundary = "  ";
int g_nPOSPresent = 2;
bool g_bWordMerged = false;
bool g_bNERPerson = true;
bool g_bPOSTagger = true;
bool g_bUserDictPrior = false;
bool g_bFinerSegCombined = false;
int g_nPosMap = 0;

CCodeTran* g_pCodeTranslator = nullptr;
CTrie* g_pUserDict = nullptr;
CPDAT* g_pCoreDict = nullptr;
CPOS* g_pCorePOS = nullptr;
CUnigram* g_pUnigram = nullptr;
CBigram* g_pBiDict = nullptr;
CContextStat* g_pPOSContext = nullptr;
CPDAT* g_pFieldDict = nullptr;
CPOS* g_pFieldPOS = nullptr;
CPDAT* g_pGranDict = nullptr;
CPOS* g_pGranPOS = nullptr;
CPDAT* g_pSentiDict = nullptr;
CUnigram* g_pSentiScore = nullptr;
CPDAT* g_pKeyBlackList = nullptr;
CCharset* g_pCharset = nullptr;
CPOSmap** g_ppPOSmap = nullptr;
CPOS* g_pPersonRole = nullptr;
CContextStat* g_pPersonContext = nullptr;
CFSA* g_pPersonFSA = nullptr;
std::vector<_stCoreWord> g_vecCoreWords;
double g_dCoreLogTotal = 0;
CMainSystem* g_pGRAVO = nullptr;
int g_nCopyMemSize = 0;

int gSent_StartID = -1;
int gSent_EndID = -1;
int gUnknown_x_ID = -1;
int gUnknown_nr_ID = -1;
int gUnknown_ns_ID = -1;
int gUnknown_nt_ID = -1;
int gUnknown_t_ID = -1;
int gUnknown_m_ID = -1;
int gUnknown_nz_ID = -1;
int gOneID = -1;
int gCommaID = -1;
int gPeriodID = -1;
int gLeftQuoteID = -1;
int gRightQuoteID = -1;

int g_nTagPunct = 0;
int g_nTagUnknown = 0;
int g_nTagNoun = 0;
int g_nTagPerson = 0;
int g_nTagNumber = 0;
int g_nTagNumMeasure = 0;
int g_nTagMeasure = 0;

namespace {

constexpr int TAG_MAP_COUNT = 4;
constexpr int POOL_SLOTS = 5;
// How often a character must have been seen in given names before an unknown name may use it.
constexpr int MIN_GIVEN_FREQ = 5;

std::shared_mutex g_engineLock;    // the engine-wide state (see the file comment)
std::mutex g_hWoker;               // the pool: registry, flags, pipeline table
std::vector<std::unique_ptr<CGRAVO>> g_vecInstances;    // the pool's registry
std::vector<std::unique_ptr<CMainSystem>> g_vecGRAVO;   // per-instance pipelines, by handle
CBufferManager* g_pEngineBuffers = nullptr;              // owns the texts of GRAVO_ParagraphProcess

// The special entries of the core dictionary, GBK, and where their handles go.
struct SpecialEntry {
    const char* sWord;
    int* pHandle;
};
const SpecialEntry kSpecialEntries[] = {
    {"\xCA\xBC##\xCA\xBC", &gSent_StartID},   // 始##始
    {"\xC4\xA9##\xC4\xA9", &gSent_EndID},     // 末##末
    {"\xCE\xB4##\xB4\xAE", &gUnknown_x_ID},   // 未##串
    {"\xCE\xB4##\xC8\xCB", &gUnknown_nr_ID},  // 未##人
    {"\xCE\xB4##\xB5\xD8", &gUnknown_ns_ID},  // 未##地
    {"\xCE\xB4##\xCD\xC5", &gUnknown_nt_ID},  // 未##团
    {"\xCE\xB4##\xCA\xB1", &gUnknown_t_ID},   // 未##时
    {"\xCE\xB4##\xCA\xFD", &gUnknown_m_ID},   // 未##数
    {"\xCE\xB4##\xD7\xA8", &gUnknown_nz_ID},  // 未##专
};

bool EqualsNoCase(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }

// FreeAll: deletes every table and pipeline and resets the state to its defaults.
void FreeAll() {
    delete g_pCodeTranslator;
    g_pCodeTranslator = nullptr;
    delete g_pUserDict;
    g_pUserDict = nullptr;
    delete g_pCoreDict;
    g_pCoreDict = nullptr;
    delete g_pCorePOS;
    g_pCorePOS = nullptr;
    delete g_pUnigram;
    g_pUnigram = nullptr;
    delete g_pBiDict;
    g_pBiDict = nullptr;
    delete g_pPOSContext;
    g_pPOSContext = nullptr;
    delete g_pFieldDict;
    g_pFieldDict = nullptr;
    delete g_pFieldPOS;
    g_pFieldPOS = nullptr;
    delete g_pGranDict;
    g_pGranDict = nullptr;
    delete g_pGranPOS;
    g_pGranPOS = nullptr;
    delete g_pSentiDict;
    g_pSentiDict = nullptr;
    delete g_pSentiScore;
    g_pSentiScore = nullptr;
    delete g_pKeyBlackList;
    g_pKeyBlackList = nullptr;
    delete g_pCharset;
    g_pCharset = nullptr;
    if (g_ppPOSmap != nullptr) {
        for (int i = 0; i < TAG_MAP_COUNT; ++i) delete g_ppPOSmap[i];
        delete[] g_ppPOSmap;
        g_ppPOSmap = nullptr;
    }
    delete g_pPersonRole;
    g_pPersonRole = nullptr;
    delete g_pPersonContext;
    g_pPersonContext = nullptr;
    delete g_pPersonFSA;
    g_pPersonFSA = nullptr;
    delete g_pGRAVO;
    g_pGRAVO = nullptr;
    {
        std::lock_guard<std::mutex> lock(g_hWoker);
        g_vecGRAVO.clear();
        g_vecInstances.clear();
    }
    g_nCopyMemSize = 0;
    delete g_pEngineBuffers;
    g_pEngineBuffers = nullptr;
    g_vecCoreWords.clear();
    g_dCoreLogTotal = 0;
    for (const SpecialEntry& e : kSpecialEntries) *e.pHandle = -1;
    gOneID = gCommaID = gPeriodID = gLeftQuoteID = gRightQuoteID = -1;
    g_sDataPath = "Data";
    g_sTagset.clear();
    g_sPOSDelimiter = "/";
    g_sWordBoundary = "  ";
    g_nPOSPresent = 2;
    g_bWordMerged = false;
    g_bNERPerson = true;
    g_bPOSTagger = true;
    g_bUserDictPrior = false;
    g_bFinerSegCombined = false;
    g_nPosMap = 0;
    g_bActive = false;
}

// Fail: keeps the reason as the last error (and in the error log) and undoes the start-up.
int Fail(const std::string& sMessage) {
    ReportError(sMessage);
    FreeAll();
    g_bInitStart = false;
    return 0;
}

// LoadOptional: a table that may be missing; a failed load is logged and the table dropped.
template <class T>
T* LoadOptional(T* pTable, const std::string& sPath, const char* sMessage) {
    if (pTable->Load(sPath.c_str()) == 1) return pTable;
    WriteError(std::string(sMessage) + sPath);
    delete pTable;
    return nullptr;
}

int TagId(const char* sName, int nDefault) {
    if (g_ppPOSmap == nullptr || g_ppPOSmap[3] == nullptr) return nDefault;
    int nId = g_ppPOSmap[3]->GetID(sName);
    return nId == CPOSmap::NO_CLASS ? nDefault : nId;
}

int InitLocked(const char* sInitDirPath, int encode) {
    // The root directory and the data directory.
    std::string sRoot;
    if (sInitDirPath != nullptr && sInitDirPath[0] != '\0') {
        sRoot = sInitDirPath;
    } else {
        char sCwd[1000];
        if (getcwd(sCwd, sizeof(sCwd)) != nullptr) sRoot = sCwd;
    }
    FreeAll();
    g_bLog = true;
    const std::string sData = sRoot + "/" + g_sDataPath;
    auto Path = [&](const char* sName) { return sData + "/" + sName; };

    // The configuration.
    const std::string sConfigPath = Path("Configure.xml");
    char* pConfig = nullptr;
    size_t nConfig = ReadFile(sConfigPath.c_str(), &pConfig);
    std::unique_ptr<char[]> config(pConfig);
    if (pConfig == nullptr) return Fail("Cannot Open Configure file " + sConfigPath);
    (void)nConfig;
    std::string sValue;
    auto Item = [&](const char* sKey) { return GetXMLItemValue(pConfig, sKey, sValue); };
    if (Item("Log") && EqualsNoCase(sValue, "off")) g_bLog = false;
    if (Item("TagSet")) g_sTagset = sValue;
    if (Item("POSDelimiter")) g_sPOSDelimiter = sValue;
    if (Item("WordBoundary")) g_sWordBoundary = sValue;
    if (Item("Merge") && EqualsNoCase(sValue, "on")) g_bWordMerged = true;
    if (Item("Person") && EqualsNoCase(sValue, "off")) g_bNERPerson = false;
    if (Item("Tagger") && EqualsNoCase(sValue, "off")) g_bPOSTagger = false;
    if (Item("UserDictPrior") && EqualsNoCase(sValue, "on")) g_bUserDictPrior = true;

    // The engine's own converter for user words. The encoding tables live beside the data
    // subdirectory in the library's data directory; a copy inside the subdirectory is used first.
    if (encode >= 1 && encode <= 4) {
        g_pCodeTranslator = new CCodeTran(sData.c_str(), encode);
        if (g_pCodeTranslator->GetStatus() != 1) {
            delete g_pCodeTranslator;
            g_pCodeTranslator = new CCodeTran(sRoot.c_str(), encode);
        }
        if (g_pCodeTranslator->GetStatus() != 1) {
            delete g_pCodeTranslator;
            g_pCodeTranslator = nullptr;
            return Fail("Cannot build the code translator for " + sData);
        }
    }

    // Optional dictionaries.
    if (Item("UserDict") && EqualsNoCase(sValue, "on"))
        g_pUserDict = LoadOptional(new CTrie(), Path("UserDict.pdat"), "Cannot open user dictionary ");
    if (Item("FieldDict") && EqualsNoCase(sValue, "on")) {
        g_pFieldDict = LoadOptional(new CPDAT(), Path("FieldDict.pdat"), "Cannot open field dictionary ");
        if (g_pFieldDict != nullptr && g_bPOSTagger)
            g_pFieldPOS = LoadOptional(new CPOS(), Path("FieldDict.pos"), "Cannot open field dictionary POS data ");
    }
    if (Item("GranularityContorl") && EqualsNoCase(sValue, "on")) {
        g_pGranDict = LoadOptional(new CPDAT(), Path("GranDict.pdat"), "Cannot open Granularity dictionary ");
        if (g_pGranDict != nullptr)
            g_pGranPOS = LoadOptional(new CPOS(), Path("GranDict.pos"), "Cannot open Granularity dictionary POS data ");
    }
    if (Item("POS")) {
        if (EqualsNoCase(sValue, "None")) g_nPOSPresent = 0;
        else if (EqualsNoCase(sValue, "Upper")) g_nPOSPresent = 1;
    }
    if (Item("Sentiment") && EqualsNoCase(sValue, "on")) {
        g_pSentiDict = LoadOptional(new CPDAT(), Path("sentiment.pdat"), "Cannot open sentiment dictionary ");
        if (g_pSentiDict != nullptr)
            g_pSentiScore = LoadOptional(new CUnigram(-1), Path("sentiment.ung"), "Cannot open sentiment scores ");
    }
    if (Item("FinerSegCombined") && EqualsNoCase(sValue, "on")) g_bFinerSegCombined = true;

    // Character classes (the pipeline falls back to byte tests without them).
    g_pCharset = new CCharset();
    if (g_pCharset->Load(Path("charset.type").c_str()) != 1) {
        WriteError("Cannot open file " + Path("charset.type"));
        delete g_pCharset;
        g_pCharset = nullptr;
    }

    // The core dictionary and its companions.
    g_pCoreDict = new CPDAT();
    if (g_pCoreDict->Load(Path("CoreDict.pdat").c_str()) != 1 || g_pCoreDict->IsEmpty())
        return Fail("Cannot open file " + Path("CoreDict.pdat"));
    for (const SpecialEntry& e : kSpecialEntries) {
        *e.pHandle = g_pCoreDict->Find(e.sWord);
        if (*e.pHandle < 0) return Fail("The Core Dictionary has been destroyed! ");
    }
    gOneID = g_pCoreDict->Find("\xD2\xBB");          // 一
    gCommaID = g_pCoreDict->Find("\xA3\xAC");        // ，
    gPeriodID = g_pCoreDict->Find("\xA1\xA3");       // 。
    gLeftQuoteID = g_pCoreDict->Find("\xA1\xB0");    // “
    gRightQuoteID = g_pCoreDict->Find("\xA1\xB1");   // ”

    g_pUnigram = new CUnigram(-1);
    if (g_pUnigram->Load(Path("CoreDict.unig").c_str()) != 1) return Fail("Cannot open file " + Path("CoreDict.unig"));
    g_pBiDict = new CBigram();
    if (g_pBiDict->Load(Path("BiWord.big").c_str()) != 1) return Fail("Cannot open file " + Path("BiWord.big"));
    if (g_bPOSTagger) {
        g_pCorePOS = new CPOS();
        if (g_pCorePOS->Load(Path("CoreDict.pos").c_str()) != 1) return Fail("Cannot open file " + Path("CoreDict.pos"));
        g_pPOSContext = new CContextStat();
        if (g_pPOSContext->Load(Path("GRAVO.ctx").c_str()) != 1) return Fail("Cannot open file " + Path("GRAVO.ctx"));
    }

    // Word costs: -log(freq / total), a word never seen counting as seen once.
    const int nWords = static_cast<int>(g_pCoreDict->GetItemCount());
    double dTotal = 0;
    for (int h = 0; h < nWords; ++h) dTotal += g_pUnigram->GetFreq(h) > 0 ? g_pUnigram->GetFreq(h) : 0;
    g_dCoreLogTotal = std::log(dTotal > 1 ? dTotal : 1);
    g_vecCoreWords.resize(static_cast<size_t>(nWords));
    for (int h = 0; h < nWords; ++h) {
        int nFreq = g_pUnigram->GetFreq(h);
        _stCoreWord& word = g_vecCoreWords[static_cast<size_t>(h)];
        word.nCost = CSegment::EncodeCost(g_dCoreLogTotal - std::log(nFreq > 1 ? nFreq : 1));
        int nTags = 0;
        const POS_info* pMax = g_pCorePOS != nullptr ? g_pCorePOS->GetMaxPOS(h) : nullptr;
        if (pMax != nullptr) g_pCorePOS->GetPOS(h, &nTags);
        word.nTag = pMax != nullptr ? pMax->POS_id : CPOSmap::NO_CLASS;
        word.nFlags = nTags > 1 ? CORE_SEVERAL_TAGS : 0;
    }

    // Tag maps: the output tag set, then the first-level maps, then the map of the stored ids.
    g_ppPOSmap = new CPOSmap*[TAG_MAP_COUNT]();
    const std::string sMaps[TAG_MAP_COUNT] = {g_sTagset, "PKU_First.map", "GRAVO_First.map", "PKU.map"};
    for (int i = 0; i < TAG_MAP_COUNT; ++i) {
        g_ppPOSmap[i] = new CPOSmap();
        if (g_ppPOSmap[i]->Load(Path(sMaps[i].c_str()).c_str()) != 1) WriteError("Cannot open file " + Path(sMaps[i].c_str()));
    }
    g_nTagPunct = TagId("w", 0);
    g_nTagUnknown = TagId("x", 0);
    g_nTagNoun = TagId("n", 0);
    g_nTagPerson = TagId("nr", g_nTagNoun);
    g_nTagNumber = TagId("m", 0);
    g_nTagNumMeasure = TagId("mq", g_nTagNumber);
    g_nTagMeasure = TagId("q", 0);

    // Person names.
    if (g_bNERPerson) {
        g_pPersonRole = LoadOptional(new CPOS(), Path("nr.role"), "Cannot open file ");
        g_pPersonContext = LoadOptional(new CContextStat(), Path("nr.ctx"), "Cannot open file ");
        g_pPersonFSA = LoadOptional(new CFSA(), Path("nr.fsa"), "Cannot open file ");
    }
    if (g_pPersonRole != nullptr) {
        // Roles of the person-name table: 0 family name, 1 given-name character, 2 two-character
        // family name; the frequency of role 1 says how often the character was seen in given names.
        for (int h = 0; h < nWords; ++h) {
            _stCoreWord& word = g_vecCoreWords[static_cast<size_t>(h)];
            if (g_pPersonRole->GetPOSFreq(h, 0) > 0) word.nFlags |= CORE_ROLE_SURNAME;
            int nGiven = g_pPersonRole->GetPOSFreq(h, 1);
            if (nGiven > 0) word.nFlags |= CORE_ROLE_GIVEN;
            if (nGiven >= MIN_GIVEN_FREQ) word.nFlags |= CORE_ROLE_GIVEN_OFTEN;
            if (g_pPersonRole->GetPOSFreq(h, 2) > 0) word.nFlags |= CORE_ROLE_DOUBLE_SURNAME;
        }
    }
    if (access(Path("KeyBlackList.pdat").c_str(), F_OK) == 0)
        g_pKeyBlackList = LoadOptional(new CPDAT(), Path("KeyBlackList.pdat"), "Cannot open file ");

    g_pGRAVO = new CMainSystem();
    g_nCopyMemSize = POOL_SLOTS;
    {
        std::lock_guard<std::mutex> lock(g_hWoker);
        g_vecGRAVO.clear();
        g_vecGRAVO.resize(static_cast<size_t>(g_nCopyMemSize));
    }
    if (g_pEngineBuffers == nullptr) g_pEngineBuffers = new CBufferManager();
    g_bActive = true;
    return 1;
}

// TakeInstance: the first free instance of the pool, or a new one. REQUIRES: g_hWoker held.
CGRAVO* TakeInstance() {
    for (const std::unique_ptr<CGRAVO>& p : g_vecInstances)
        if (p->SetAvailable(false)) return p.get();
    g_vecInstances.emplace_back(new CGRAVO(static_cast<int>(g_vecInstances.size())));
    CGRAVO* pNew = g_vecInstances.back().get();
    pNew->m_bAvailable = false;
    pNew->m_nThreadCount = 1;
    return pNew;
}

// The pipeline of a pool instance, made on first use. REQUIRES: g_hWoker held.
CMainSystem* PipelineOf(const CGRAVO* pInstance) {
    size_t nSlot = static_cast<size_t>(pInstance->m_nHandle);
    if (nSlot >= g_vecGRAVO.size()) g_vecGRAVO.resize(nSlot + 1);
    if (!g_vecGRAVO[nSlot]) g_vecGRAVO[nSlot].reset(new CMainSystem());
    return g_vecGRAVO[nSlot].get();
}

// Segment: runs one call on a pool pipeline and hands its text to take (before the pipeline goes back
// to the pool). REQUIRES: g_engineLock held shared and the engine active.
template <class F>
auto Segment(const char* sParagraph, int bPOStagged, const std::vector<std::string>* pExtra, F take) {
    CGRAVO* pInstance;
    CMainSystem* pPipeline;
    {
        std::lock_guard<std::mutex> lock(g_hWoker);
        pInstance = TakeInstance();
        pPipeline = PipelineOf(pInstance);
    }
    pPipeline->SetUserDict(g_pUserDict);
    auto result = take(pPipeline->Process(sParagraph, bPOStagged != 0, true, pExtra));
    ReleaseInstance(pInstance);
    return result;
}

}  // namespace

bool CGRAVO::SetAvailable(bool bAvailable) {
    if (bAvailable) {
        if (m_nThreadCount > 0) --m_nThreadCount;
        m_bAvailable = true;
        return true;
    }
    if (m_bSwitching || !m_bAvailable) return false;
    m_bAvailable = false;
    ++m_nThreadCount;
    return m_nThreadCount == 1;
}

CGRAVO* GetActiveInstance() {
    std::lock_guard<std::mutex> lock(g_hWoker);
    return TakeInstance();
}

void ReleaseInstance(CGRAVO* pInstance) {
    if (pInstance == nullptr) return;
    std::lock_guard<std::mutex> lock(g_hWoker);
    pInstance->SetAvailable(true);
}

int GRAVO_Init(const char* sInitDirPath, int encode) {
    std::unique_lock<std::shared_mutex> lock(g_engineLock, std::try_to_lock);
    if (!lock.owns_lock()) {
        // Another thread is starting or stopping the engine, or adding user words.
        if (g_bInitStart && !g_bActive) {
            ReportError("Other thread is under initialization ");
            return 0;
        }
        lock.lock();
    }
    if (g_bActive) return 1;
    g_bInitStart = true;
    return InitLocked(sInitDirPath, encode);
}

bool GRAVO_Exit() {
    std::unique_lock<std::shared_mutex> lock(g_engineLock);
    FreeAll();
    g_bInitStart = false;
    return true;
}

const char* GRAVO_ParagraphProcess(const char* sParagraph, int bPOStagged) {
    std::shared_lock<std::shared_mutex> lock(g_engineLock);
    if (!g_bActive || g_pEngineBuffers == nullptr) return "";
    if (sParagraph == nullptr) return g_pEngineBuffers->NewText("", 0);
    return Segment(sParagraph, bPOStagged, nullptr,
                   [](const std::string& s) { return static_cast<const char*>(g_pEngineBuffers->NewText(s.data(), s.size())); });
}

std::string GRAVO_ParagraphProcessWords(const char* sParagraph, int bPOStagged,
                                        const std::vector<std::string>& vecWords) {
    std::shared_lock<std::shared_mutex> lock(g_engineLock);
    if (!g_bActive || sParagraph == nullptr) return std::string();
    return Segment(sParagraph, bPOStagged, &vecWords, [](const std::string& s) { return s; });
}

int GRAVO_AddUserWord(const char* sWord) {
    std::unique_lock<std::shared_mutex> lock(g_engineLock);
    if (!g_bActive) return 0;
    if (sWord == nullptr || sWord[0] == '\0') return -1;
    std::string sGBK;
    const char* sAdd = sWord;
    if (g_pCodeTranslator != nullptr) {
        const char* p = g_pCodeTranslator->CodeToGBK(sWord, sGBK);
        if (p != nullptr) sAdd = p;
    }
    if (sAdd[0] == '\0') return -1;
    if (g_pUserDict == nullptr) g_pUserDict = new CTrie();
    return g_pUserDict->AddTrie(sAdd, false);
}

int GRAVO_CleanUserWord() {
    std::unique_lock<std::shared_mutex> lock(g_engineLock);
    if (!g_bActive || g_pUserDict == nullptr) return 0;
    delete g_pUserDict;
    g_pUserDict = nullptr;
    // Every pipeline takes the current trie at the start of each call, so none keeps the old one.
    if (g_pGRAVO != nullptr) g_pGRAVO->SetUserDict(nullptr);
    return 0;
}

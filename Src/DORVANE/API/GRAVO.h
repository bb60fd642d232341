// GRAVO.h: the segmentation engine's interface: start-up from a data directory, segmentation of a
// paragraph into tagged words, user words, shut-down; and the engine-wide state they share.
#ifndef VINTREL_DORVANE_API_GRAVO_H_
#define VINTREL_DORVANE_API_GRAVO_H_

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "DORVANE/Segment/Segment.h"

class CBigram;
class CBufferManager;
class CCharset;
class CCodeTran;
class CContextStat;
class CFSA;
class CMainSystem;
class CPDAT;
class CPOS;
class CPOSmap;
class CTrie;
class CUnigram;

// GRAVO_Init: starts the engine from sInitDirPath + "/Data" (the working directory when the path is
// null or empty). encode 1 to 4 makes the engine convert user words from that encoding. 1 on success,
// also when already started; 0 on failure, the reason in the last-error text.
int GRAVO_Init(const char* sInitDirPath, int encode);
// GRAVO_Exit: stops the engine and frees everything GRAVO_Init built; returns true.
bool GRAVO_Exit();
// GRAVO_ParagraphProcess: the words of sParagraph (GBK), each followed by the POS delimiter and its
// tag when bPOStagged is set (and tagging is on), then the first two bytes of the word boundary. The
// text belongs to the engine's buffer manager (valid until many later texts have been returned);
// never null: an empty text before start-up.
const char* GRAVO_ParagraphProcess(const char* sParagraph, int bPOStagged);
// GRAVO_AddUserWord: adds a word (optionally followed by a blank and a tag) to the user words that
// every later segmentation honours. The trie's result (1 new, 2 added before); -1 for an empty
// word; 0 when the engine is not started.
int GRAVO_AddUserWord(const char* sWord);
// GRAVO_CleanUserWord: forgets every user word; returns 0.
int GRAVO_CleanUserWord();

// GRAVO_ParagraphProcessWords: GRAVO_ParagraphProcess with vecWords (GBK) as additional user words
// of this one call only: other calls neither wait for them nor see them. Returns the segmented text
// as a string (empty before start-up).
std::string GRAVO_ParagraphProcessWords(const char* sParagraph, int bPOStagged,
                                        const std::vector<std::string>& vecWords);

// ---------------------------------------------------------------------------------------------------
// Engine-wide state, set by GRAVO_Init and cleared by GRAVO_Exit. The pipelines read it while they
// segment; GRAVO_Init, GRAVO_Exit and the user-word calls change it only while no segmentation runs.

extern std::atomic<bool> g_bActive;     // engine started and usable
extern std::atomic<bool> g_bInitStart;  // a start-up is under way or done
extern std::string g_sDataPath;    // name of the data subdirectory ("Data")
extern std::string g_sTagset;      // file name of the output tag map ("TagSet")
extern std::string g_sPOSDelimiter;  // between a word and its tag (first byte written)
extern std::string g_sWordBoundary;  // after each word (first two bytes written)
extern int g_nPOSPresent;          // 2 tags as named, 1 upper case ("Upper"), 0 no tags ("None")
extern bool g_bWordMerged;         // merge name parts and numeral-measure pairs ("Merge")
extern bool g_bNERPerson;          // recognise person names ("Person")
extern bool g_bPOSTagger;          // tag words ("Tagger")
extern bool g_bUserDictPrior;      // a user word wins wherever it fits ("UserDictPrior")
extern bool g_bFinerSegCombined;   // follow long words by their pieces ("FinerSegCombined")
extern int g_nPosMap;              // index of the output tag map in g_ppPOSmap

extern CCodeTran* g_pCodeTranslator;  // converts user words to GBK; null for GBK
extern CTrie* g_pUserDict;            // user words; null while there are none
extern CPDAT* g_pCoreDict;
extern CPOS* g_pCorePOS;
extern CUnigram* g_pUnigram;
extern CBigram* g_pBiDict;
extern CContextStat* g_pPOSContext;
extern CPDAT* g_pFieldDict;
extern CPOS* g_pFieldPOS;
extern CPDAT* g_pGranDict;
extern CPOS* g_pGranPOS;
extern CPDAT* g_pSentiDict;
extern CUnigram* g_pSentiScore;
extern CPDAT* g_pKeyBlackList;
extern CCharset* g_pCharset;
extern CPOSmap** g_ppPOSmap;          // four tag maps: TagSet, "PKU_First.map", "GRAVO_First.map", "PKU.map"
extern CPOS* g_pPersonRole;
extern CContextStat* g_pPersonContext;
extern CFSA* g_pPersonFSA;
extern std::vector<_stCoreWord> g_vecCoreWords;  // per core handle: cost, most frequent tag, flags
extern double g_dCoreLogTotal;            // log of the total core frequency
extern CMainSystem* g_pGRAVO;         // the primary pipeline
extern int g_nCopyMemSize;            // initial number of pipeline slots (5)

// Handles of the special entries of the core dictionary and of a few fixed characters.
extern int gSent_StartID;    // "始##始"
extern int gSent_EndID;      // "末##末"
extern int gUnknown_x_ID;    // "未##串": a string of letters
extern int gUnknown_nr_ID;   // "未##人": a person name
extern int gUnknown_ns_ID;   // "未##地": a place name
extern int gUnknown_nt_ID;   // "未##团": an organisation
extern int gUnknown_t_ID;    // "未##时": a time
extern int gUnknown_m_ID;    // "未##数": a number
extern int gUnknown_nz_ID;   // "未##专": another proper name
extern int gOneID;           // "一"
extern int gCommaID;         // "，"
extern int gPeriodID;        // "。"
extern int gLeftQuoteID;     // "“"
extern int gRightQuoteID;    // "”"

// Tag ids (of "PKU.map", the ids the dictionaries store) the pipeline gives words it makes itself.
extern int g_nTagPunct;      // "w"
extern int g_nTagUnknown;    // "x"
extern int g_nTagNoun;       // "n", also for user words without a known tag
extern int g_nTagPerson;     // "nr"
extern int g_nTagNumber;     // "m"
extern int g_nTagNumMeasure; // "mq" (or "m" without it)
extern int g_nTagMeasure;    // "q"

// CGRAVO: one engine instance of the pool; each serves one thread at a time.
// Threads: its flags and count change only under the pool's worker mutex.
class CGRAVO {
public:
    explicit CGRAVO(int nHandle) : m_nHandle(nHandle) {}
    CGRAVO(const CGRAVO&) = delete;  // lives in the pool's registry
    CGRAVO& operator=(const CGRAVO&) = delete;

    // SetAvailable(false): takes the instance for the calling thread; false when it is being switched
    // or already taken. SetAvailable(true): gives it back. REQUIRES: the worker mutex is held.
    bool SetAvailable(bool bAvailable);

    int m_nHandle;            // index of its pipeline in the pipeline table
    int m_nThreadCount = 0;   // threads inside
    bool m_bAvailable = true;
    bool m_bSwitching = false;
};

// GetActiveInstance: takes a free instance from the pool, or makes a new one. Never null.
CGRAVO* GetActiveInstance();
// ReleaseInstance: gives an instance back to the pool.
void ReleaseInstance(CGRAVO* pInstance);

#endif  // VINTREL_DORVANE_API_GRAVO_H_

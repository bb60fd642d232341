// MainSystem.h: CMainSystem, one segmentation pipeline: atoms, word lattice and best path, person
// names, merging, tagging and the segmented-text output.
#ifndef VINTREL_DORVANE_SYSTEM_MAINSYSTEM_H_
#define VINTREL_DORVANE_SYSTEM_MAINSYSTEM_H_

#include <string>
#include <vector>

#include "DORVANE/Segment/PreProcess.h"
#include "DORVANE/Segment/Segment.h"
#include "DORVANE/Tagger/HMMTagger.h"

class CTrie;

// CMainSystem segments GBK paragraphs with the engine-wide dictionaries (see GRAVO.h), which it only
// reads. Output: each word, then (when tagging is on and asked for) the first byte of the POS
// delimiter and the word's tag, then the first two bytes of the word boundary. Blanks are not words.
//
// Person names follow the common segmentation standard: a name is its family name and its given
// name, two words (江 泽民); known names of the dictionary are split so, and a family name followed by
// two single characters that are likely in given names is taken as a name. With "Merge" on the two
// parts are written as one word, and a number is joined with the measure word after it.
//
// Threads: one pipeline serves one thread at a time (the engine's pool hands them out); it keeps the
// scratch space of its stages and the user-word trie it was given.
class CMainSystem {
public:
    CMainSystem();
    ~CMainSystem();
    CMainSystem(const CMainSystem&) = delete;  // scratch space of one thread
    CMainSystem& operator=(const CMainSystem&) = delete;

    // Process: the segmented text of sParagraph (null gives an empty text). pExtra: user words of this
    // call only (GBK), may be null. The text is valid until the next call on this pipeline.
    const std::string& Process(const char* sParagraph, bool bPOSTagged, bool bOutput,
                               const std::vector<std::string>* pExtra = nullptr);
    // Words: the words of the last Process call.
    const std::vector<_stWord>& Words() const { return m_vecWords; }
    // SetUserDict: the user words every later call honours (null: none). Not owned.
    void SetUserDict(const CTrie* pUserDict) { m_pUserDict = pUserDict; }

private:
    void RecognizePersons(const char* sText);
    void MergeWords();
    void Write(const char* sText, bool bTags, const _stLexicon& lex);
    void WriteWord(const char* sText, int nStart, int nLen, const char* sTag, bool bTags);

    const CTrie* m_pUserDict = nullptr;
    std::vector<_stAtom> m_vecAtoms;
    std::vector<_stWord> m_vecWords;
    std::vector<_stWord> m_vecScratch;
    std::vector<_stWord> m_vecFiner;
    std::vector<_stAtom> m_vecFinerAtoms;
    CSegment m_segment;
    CHMMTagger m_tagger;
    std::string m_sResult;
};

#endif  // VINTREL_DORVANE_SYSTEM_MAINSYSTEM_H_

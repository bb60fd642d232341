// TextSearch.h: searches that stay fast when a long text meets many words: the first occurrence of
// each of many words in one text, and a growing list of words that is asked what it contains.
#ifndef VINTREL_UTILITY_TEXTSEARCH_H_
#define VINTREL_UTILITY_TEXTSEARCH_H_

#include <string>
#include <unordered_set>
#include <vector>

// FirstOccurrences: for each word, the byte offset of its first occurrence in sText (as
// sText.find(word) gives it: byte-wise, at any offset), or std::string::npos. An empty word is found
// at 0. Few words are looked up one by one; many take one pass of an Aho-Corasick automaton over
// the text, so the cost is the text's length plus the words' length, not their product.
std::vector<size_t> FirstOccurrences(const std::string& sText, const std::vector<std::string>& vecWords);

// CJoinedList: the keyword list of a result, grown by appending entries and separators ("-->",
// "##"), and asked whether a word already occurs anywhere in it. Short lists are searched; once the
// list is long (a long text with thousands of keywords) the substrings of its entries are indexed,
// so that each question costs the word's length, not the list's. A word holding a separator byte
// may span entries and is always searched. Threads: one per call.
class CJoinedList {
public:
    explicit CJoinedList(std::string sStart = std::string());
    const std::string& Text() const { return m_sText; }
    std::string& Text() { return m_sText; }
    // AppendEntry: appends an entry (a keyword, an original form); AppendSeparator: a separator.
    void AppendEntry(const std::string& sEntry);
    void AppendSeparator(const char* sSeparator);
    // Contains: whether sWord occurs anywhere in the text (byte-wise, as std::string::find).
    bool Contains(const std::string& sWord);

private:
    static constexpr size_t SEARCH_MAX = 4096;  // lists up to this long are simply searched
    static constexpr size_t INDEX_LEN = 64;     // longest entry (and word) the index covers
    void Index(const std::string& sEntry);
    std::string m_sText;
    std::vector<std::string> m_vecEntries;
    std::unordered_set<std::string> m_setParts;
    bool m_bSeparator[256] = {};  // bytes of the separators appended
    bool m_bIndexed = false;
    bool m_bLongEntry = false;  // an entry too long to index: searched instead
};

#endif  // VINTREL_UTILITY_TEXTSEARCH_H_

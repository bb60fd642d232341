// TextSearch.cpp: first occurrences of many words by an Aho-Corasick automaton; the indexed list.
#include "Utility/TextSearch.h"

#include <cstdint>
#include <unordered_map>
#include <utility>

namespace {

// Up to this many distinct words, a search each is cheaper than building the automaton.
constexpr size_t DIRECT_WORDS = 8;

struct CNode {
    int nFail = 0;      // the node of the longest proper suffix that is also a path
    int nOutput = -1;   // the word ending here (index into the distinct words), -1 when none
    int nDictLink = -1; // the nearest node on the fail chain with a word, -1 when none
};

}  // namespace

std::vector<size_t> FirstOccurrences(const std::string& sText, const std::vector<std::string>& vecWords) {
    std::vector<size_t> vecFirst(vecWords.size(), std::string::npos);
    // Distinct words: a word given several times is looked for once.
    std::unordered_map<std::string, size_t> mapDistinct;
    std::vector<size_t> vecDistinctOf(vecWords.size());
    std::vector<const std::string*> vecDistinct;
    for (size_t i = 0; i < vecWords.size(); ++i) {
        auto inserted = mapDistinct.emplace(vecWords[i], vecDistinct.size());
        if (inserted.second) vecDistinct.push_back(&vecWords[i]);
        vecDistinctOf[i] = inserted.first->second;
    }
    std::vector<size_t> vecFound(vecDistinct.size(), std::string::npos);
    if (vecDistinct.size() <= DIRECT_WORDS) {
        for (size_t k = 0; k < vecDistinct.size(); ++k) vecFound[k] = sText.find(*vecDistinct[k]);
    } else {
        // The trie of the words; edges keyed by (node << 8) | byte.
        std::vector<CNode> vecNodes(1);
        std::unordered_map<uint64_t, int> mapEdges;
        mapEdges.reserve(vecDistinct.size() * 8);
        auto Edge = [&](int nNode, unsigned char c) {
            auto it = mapEdges.find((static_cast<uint64_t>(nNode) << 8) | c);
            return it == mapEdges.end() ? -1 : it->second;
        };
        std::vector<std::vector<std::pair<unsigned char, int>>> vecChildren(1);
        for (size_t k = 0; k < vecDistinct.size(); ++k) {
            const std::string& sWord = *vecDistinct[k];
            if (sWord.empty()) {
                vecFound[k] = 0;
                continue;
            }
            int nNode = 0;
            for (unsigned char c : sWord) {
                int nNext = Edge(nNode, c);
                if (nNext < 0) {
                    nNext = static_cast<int>(vecNodes.size());
                    vecNodes.emplace_back();
                    vecChildren.emplace_back();
                    mapEdges.emplace((static_cast<uint64_t>(nNode) << 8) | c, nNext);
                    vecChildren[static_cast<size_t>(nNode)].emplace_back(c, nNext);
                }
                nNode = nNext;
            }
            vecNodes[static_cast<size_t>(nNode)].nOutput = static_cast<int>(k);
        }
        // Fail and dictionary links, breadth first.
        std::vector<int> vecQueue;
        for (const auto& child : vecChildren[0]) vecQueue.push_back(child.second);
        for (size_t q = 0; q < vecQueue.size(); ++q) {
            const int nNode = vecQueue[q];
            for (const auto& child : vecChildren[static_cast<size_t>(nNode)]) {
                int nFail = vecNodes[static_cast<size_t>(nNode)].nFail;
                int nTarget;
                while ((nTarget = Edge(nFail, child.first)) < 0 && nFail != 0) nFail = vecNodes[static_cast<size_t>(nFail)].nFail;
                if (nTarget < 0 || nTarget == child.second) nTarget = 0;
                CNode& node = vecNodes[static_cast<size_t>(child.second)];
                node.nFail = nTarget;
                const CNode& fail = vecNodes[static_cast<size_t>(nTarget)];
                node.nDictLink = fail.nOutput >= 0 ? nTarget : fail.nDictLink;
                vecQueue.push_back(child.second);
            }
        }
        // One pass: a word ending at i starts at i + 1 - its length; the first end is the first start.
        int nNode = 0;
        for (size_t i = 0; i < sText.size(); ++i) {
            const unsigned char c = static_cast<unsigned char>(sText[i]);
            int nNext;
            while ((nNext = Edge(nNode, c)) < 0 && nNode != 0) nNode = vecNodes[static_cast<size_t>(nNode)].nFail;
            nNode = nNext < 0 ? 0 : nNext;
            for (int nOut = vecNodes[static_cast<size_t>(nNode)].nOutput >= 0 ? nNode : vecNodes[static_cast<size_t>(nNode)].nDictLink;
                 nOut >= 0; nOut = vecNodes[static_cast<size_t>(nOut)].nDictLink) {
                const size_t k = static_cast<size_t>(vecNodes[static_cast<size_t>(nOut)].nOutput);
                if (vecFound[k] == std::string::npos) vecFound[k] = i + 1 - vecDistinct[k]->size();
            }
        }
    }
    for (size_t i = 0; i < vecWords.size(); ++i) vecFirst[i] = vecFound[vecDistinctOf[i]];
    return vecFirst;
}

CJoinedList::CJoinedList(std::string sStart) : m_sText(std::move(sStart)) { m_vecEntries.push_back(m_sText); }

void CJoinedList::AppendEntry(const std::string& sEntry) {
    m_sText += sEntry;
    m_vecEntries.push_back(sEntry);
    if (m_bIndexed) Index(sEntry);
}

void CJoinedList::AppendSeparator(const char* sSeparator) {
    m_sText += sSeparator;
    for (const char* p = sSeparator; *p != '\0'; ++p) m_bSeparator[static_cast<unsigned char>(*p)] = true;
}

bool CJoinedList::Contains(const std::string& sWord) {
    if (m_sText.size() <= SEARCH_MAX || sWord.size() > INDEX_LEN) return m_sText.find(sWord) != std::string::npos;
    for (unsigned char c : sWord) {
        if (m_bSeparator[c]) return m_sText.find(sWord) != std::string::npos;
    }
    if (!m_bIndexed) {
        m_bIndexed = true;
        for (const std::string& sEntry : m_vecEntries) Index(sEntry);
    }
    if (m_bLongEntry) return m_sText.find(sWord) != std::string::npos;
    return sWord.empty() || m_setParts.count(sWord) > 0;
}

void CJoinedList::Index(const std::string& sEntry) {
    if (sEntry.size() > INDEX_LEN) m_bLongEntry = true;
    if (m_bLongEntry) return;
    for (size_t i = 0; i < sEntry.size(); ++i) {
        for (size_t n = 1; i + n <= sEntry.size(); ++n) m_setParts.insert(sEntry.substr(i, n));
    }
}

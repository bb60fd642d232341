// EngineSupport.h: helpers for the segmentation engine's tests: a copy of the built engine data with
// its own configuration, and a check that a segmented text is well formed.
#ifndef VINTREL_TESTS_SUPPORT_ENGINESUPPORT_H_
#define VINTREL_TESTS_SUPPORT_ENGINESUPPORT_H_

#include <map>
#include <string>

#include "support/TestSupport.h"

namespace vt_test {

// The library data directory this build made (holds Data/).
std::string BuiltDataRoot();

// CEngineRoot: a temporary data root whose Data/ links every file of the built Data/ except
// "Configure.xml", which is the shipped one with some items replaced (or added, or removed).
class CEngineRoot {
public:
    CEngineRoot();
    CEngineRoot(const CEngineRoot&) = delete;  // owns a directory
    CEngineRoot& operator=(const CEngineRoot&) = delete;

    const std::string& Path() const { return m_dir.Path(); }
    std::string DataFile(const std::string& sName) const { return m_dir.Path() + "/Data/" + sName; }
    // SetItem: the value of <sKey> in the configuration ("" values kept as such).
    void SetItem(const std::string& sKey, const std::string& sValue);
    // RemoveItem: drops <sKey> from the configuration.
    void RemoveItem(const std::string& sKey);
    // Replace: puts sBytes in place of the named data file (a real file, no longer a link).
    void Replace(const std::string& sName, const std::string& sBytes);
    // Remove: deletes the named data file.
    void Remove(const std::string& sName);

private:
    void WriteConfig();
    CTempDir m_dir;
    std::string m_sConfig;
};

// WellFormedError: "" when sOutput is a segmentation of the GBK text sInput: tokens each followed by
// the two-blank boundary, with "/" and a non-empty tag of letters when bTags, whose texts joined give
// sInput without its blanks (ASCII blanks and the full-width blank, the engine's blank atoms);
// otherwise what is wrong.
std::string WellFormedError(const std::string& sInput, const std::string& sOutput, bool bTags);

// Words: the word texts of a segmented text (tags dropped when bTags).
std::string JoinWords(const std::string& sOutput, bool bTags, const std::string& sSep = "|");

}  // namespace vt_test

#endif  // VINTREL_TESTS_SUPPORT_ENGINESUPPORT_H_

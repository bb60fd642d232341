// EngineSupport.cpp: helpers for the segmentation engine's tests.
#include "support/EngineSupport.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <vector>

#include "DORVANE/Segment/PreProcess.h"

namespace vt_test {

std::string BuiltDataRoot() { return std::string(VINTREL_BUILD_DIR) + "/data"; }

CEngineRoot::CEngineRoot() {
    std::string sData = m_dir.Path() + "/Data";
    mkdir(sData.c_str(), 0755);
    std::string sBuilt = BuiltDataRoot() + "/Data";
    DIR* dir = opendir(sBuilt.c_str());
    if (dir != nullptr) {
        while (dirent* entry = readdir(dir)) {
            std::string sName = entry->d_name;
            if (sName == "." || sName == ".." || sName == "Configure.xml") continue;
            if (symlink((sBuilt + "/" + sName).c_str(), (sData + "/" + sName).c_str()) != 0) continue;
        }
        closedir(dir);
    }
    m_sConfig = ReadWholeFile(sBuilt + "/Configure.xml");
    WriteConfig();
}

void CEngineRoot::WriteConfig() { WriteWholeFile(DataFile("Configure.xml"), m_sConfig); }

void CEngineRoot::SetItem(const std::string& sKey, const std::string& sValue) {
    std::string sOpen = "<" + sKey + ">", sClose = "</" + sKey + ">";
    size_t nOpen = m_sConfig.find(sOpen);
    size_t nClose = nOpen == std::string::npos ? nOpen : m_sConfig.find(sClose, nOpen);
    if (nClose == std::string::npos) {
        size_t nEnd = m_sConfig.rfind("</");
        m_sConfig.insert(nEnd == std::string::npos ? m_sConfig.size() : nEnd, sOpen + sValue + sClose + "\n");
    } else {
        m_sConfig.replace(nOpen + sOpen.size(), nClose - nOpen - sOpen.size(), sValue);
    }
    WriteConfig();
}

void CEngineRoot::RemoveItem(const std::string& sKey) {
    std::string sOpen = "<" + sKey + ">", sClose = "</" + sKey + ">";
    size_t nOpen = m_sConfig.find(sOpen);
    size_t nClose = nOpen == std::string::npos ? nOpen : m_sConfig.find(sClose, nOpen);
    if (nClose != std::string::npos) m_sConfig.erase(nOpen, nClose + sClose.size() - nOpen);
    WriteConfig();
}

void CEngineRoot::Replace(const std::string& sName, const std::string& sBytes) {
    unlink(DataFile(sName).c_str());
    WriteWholeFile(DataFile(sName), sBytes);
}

void CEngineRoot::Remove(const std::string& sName) { unlink(DataFile(sName).c_str()); }

namespace {

// Tokens: the pieces of sOutput each ended by two blanks; false when bytes are left after the last.
bool Tokens(const std::string& sOutput, std::vector<std::string>& vecTokens) {
    vecTokens.clear();
    size_t nPos = 0;
    while (nPos < sOutput.size()) {
        size_t nEnd = sOutput.find("  ", nPos);
        if (nEnd == std::string::npos) return false;
        vecTokens.push_back(sOutput.substr(nPos, nEnd - nPos));
        nPos = nEnd + 2;
    }
    return true;
}

}  // namespace

std::string WellFormedError(const std::string& sInput, const std::string& sOutput, bool bTags) {
    std::vector<std::string> vecTokens;
    if (!Tokens(sOutput, vecTokens)) return "output does not end with the boundary";
    std::string sJoined;
    for (const std::string& sToken : vecTokens) {
        if (sToken.empty()) return "an empty word";
        std::string sWord = sToken;
        if (bTags) {
            size_t nSlash = sToken.rfind('/');
            if (nSlash == std::string::npos || nSlash == 0 || nSlash + 1 == sToken.size())
                return "token without a tag: " + sToken;
            for (size_t k = nSlash + 1; k < sToken.size(); ++k)
                if (!std::isalpha(static_cast<unsigned char>(sToken[k]))) return "bad tag in " + sToken;
            sWord = sToken.substr(0, nSlash);
        }
        sJoined += sWord;
    }
    std::vector<_stAtom> vecAtoms;
    CPreProcess(nullptr).Atomize(sInput.data(), sInput.size(), vecAtoms);
    std::string sExpected;
    for (const _stAtom& atom : vecAtoms)
        if (atom.nType != ATOM_BLANK) sExpected.append(sInput, static_cast<size_t>(atom.nStart), static_cast<size_t>(atom.nLen));
    if (sJoined != sExpected) return "words do not give the input back";
    return "";
}

std::string JoinWords(const std::string& sOutput, bool bTags, const std::string& sSep) {
    std::vector<std::string> vecTokens;
    Tokens(sOutput, vecTokens);
    std::string sOut;
    for (const std::string& sToken : vecTokens) {
        if (!sOut.empty()) sOut += sSep;
        size_t nSlash = bTags ? sToken.rfind('/') : std::string::npos;
        sOut += nSlash == std::string::npos ? sToken : sToken.substr(0, nSlash);
    }
    return sOut;
}

}  // namespace vt_test

